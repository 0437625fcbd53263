// SPDX-License-Identifier: MIT
#include <ORVEX/Err.h>

#include "Support/Raised.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iostream>
#include <type_traits>

using ORVEX::Err;

// The order of the fields is part of the interface.
static_assert(std::is_standard_layout<Err>::value, "Err is a plain record");
static_assert(std::is_trivially_copyable<Err>::value, "Err is a plain record");
static_assert(offsetof(Err, file) == 0, "file comes first");
static_assert(offsetof(Err, line) == sizeof(char*), "line follows file");
static_assert(offsetof(Err, code) == sizeof(char*) + 4, "code follows line");
static_assert(offsetof(Err, data) == sizeof(char*) + 8, "data follows code");
static_assert(sizeof(Err::ERR_CODE) == 4, "codes are 32 bits wide");

TEST(Err, CodesHaveTheirNumbers)
{
    EXPECT_EQ(1, Err::ERR_PARAMETER);
    EXPECT_EQ(3, Err::ERR_MEMORY);
    EXPECT_EQ(5, Err::ERR_OVERFLOW);
    EXPECT_EQ(6, Err::ERR_SYSTEM);
}

TEST(Err, ConstructingPrintsTheLineAfterAnEmptyOne)
{
    const std::string printed =
        PrintedBy([] { Err("src/Buffer/Buffer", 169, Err::ERR_MEMORY, 256); });
    EXPECT_EQ("\nORVEX ASSERT[src/Buffer/Buffer]Line:169[code:3 Data:256]\n", printed);
}

TEST(Err, NegativeDataIsPrintedWithItsSign)
{
    const std::string printed =
        PrintedBy([] { Err("src/Thread/Thread", 220, Err::ERR_SYSTEM, -1); });
    EXPECT_EQ("\nORVEX ASSERT[src/Thread/Thread]Line:220[code:6 Data:-1]\n", printed);
}

TEST(Err, NumbersFollowTheStreamsFormat)
{
    const auto flags = std::cerr.setf(std::ios::hex, std::ios::basefield);
    const std::string printed = PrintedBy([] { Err("a", 255, Err::ERR_OVERFLOW, 16); });
    std::cerr.flags(flags);
    EXPECT_EQ("\nORVEX ASSERT[a]Line:ff[code:5 Data:10]\n", printed);
}

TEST(Err, NullFileLosesTheRestOfTheLine)
{
    bool bad = false;
    const std::string printed = PrintedBy([&] {
        Err(nullptr, 1, Err::ERR_PARAMETER, 2);
        bad = std::cerr.bad();
    });
    EXPECT_EQ("\nORVEX ASSERT[", printed);
    EXPECT_TRUE(bad);
}

TEST(Err, CaughtRecordHoldsTheFourArguments)
{
    const char* file = "some/path";
    const Err err = Raised([&] { throw Err(file, 7, Err::ERR_OVERFLOW, -3); });
    EXPECT_EQ(file, err.file);
    EXPECT_EQ(7, err.line);
    EXPECT_EQ(Err::ERR_OVERFLOW, err.code);
    EXPECT_EQ(-3, err.data);
}
