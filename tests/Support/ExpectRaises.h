// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_EXPECTRAISES_H
#define ORVEX_TESTS_EXPECTRAISES_H

#include "Raised.h"

#include <string>

/// Expects that `action` raises this record, whatever its line, and prints the record's line and
/// nothing else.
template <class Action>
void ExpectRaises(const char* file, ORVEX::Err::ERR_CODE code, int data, Action action)
{
    int line = -1;
    const std::string printed = PrintedBy([&] {
        try {
            action();
        } catch (const ORVEX::Err& err) {
            line = err.line;
            EXPECT_STREQ(file, err.file);
            EXPECT_EQ(code, err.code);
            EXPECT_EQ(data, err.data);
        }
    });
    EXPECT_GT(line, 0) << "the action raised nothing";
    EXPECT_EQ("\nORVEX ASSERT[" + std::string(file) + "]Line:" + std::to_string(line) +
                  "[code:" + std::to_string(code) + " Data:" + std::to_string(data) + "]\n",
              printed);
}

#endif
