// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_RAISED_H
#define ORVEX_TESTS_RAISED_H

#include <ORVEX/Err.h>

#include <gtest/gtest.h>

#include <iostream>
#include <optional>
#include <streambuf>
#include <string>

/// Takes what is printed on std::cerr while it lives. Allocates nothing, so that it can stand
/// around a failing allocation.
class CapturedCerr : private std::streambuf {
public:
    CapturedCerr()
    {
        setp(text, text + sizeof text);
        old = std::cerr.rdbuf(this);
    }
    ~CapturedCerr() override { std::cerr.rdbuf(old); }
    CapturedCerr(const CapturedCerr&) = delete;
    CapturedCerr& operator=(const CapturedCerr&) = delete;

    std::string Text() const { return std::string(pbase(), pptr()); }

private:
    char text[4096];
    std::streambuf* old;
};

/// Runs `action` and returns what it printed on std::cerr meanwhile.
template <class Action> std::string PrintedBy(Action action)
{
    CapturedCerr captured;
    action();
    return captured.Text();
}

/// Runs `action`, which must raise, and returns the record that it raised; what the record
/// prints is kept from the test's output. An action that does not raise fails the test.
template <class Action> ORVEX::Err Raised(Action action)
{
    std::optional<ORVEX::Err> raised;
    {
        CapturedCerr captured;
        try {
            action();
        } catch (const ORVEX::Err& err) {
            raised.emplace(err);
        }
    }
    if (raised)
        return *raised;
    ADD_FAILURE() << "the action raised nothing";
    return ORVEX::Err("nothing was raised", 0, ORVEX::Err::ERR_PARAMETER, 0);
}

#endif
