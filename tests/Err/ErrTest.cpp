// SPDX-License-Identifier: MIT
#include <ORVEX/Err.h>

#include "EarlyRaise.h"
#include "Support/Raised.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iostream>
#include <ostream>
#include <streambuf>
#include <string>
#include <type_traits>

using ORVEX::Err;

namespace {

// Takes what is printed, with a "|" for each flush.
class FlushMarks : public std::streambuf {
public:
    std::string text;

protected:
    int_type overflow(int_type c) override
    {
        text += static_cast<char>(c);
        return c;
    }
    int sync() override
    {
        text += '|';
        return 0;
    }
};

} // namespace

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

TEST(Err, AfterANullFileTheStreamStaysSilentUntilItIsCleared)
{
    const std::string printed = PrintedBy([] {
        Err(nullptr, 1, Err::ERR_PARAMETER, 2);
        Err("lost", 3, Err::ERR_PARAMETER, 4);
        std::cerr.clear();
        Err("shown", 5, Err::ERR_PARAMETER, 6);
    });
    EXPECT_EQ("\nORVEX ASSERT[\nORVEX ASSERT[shown]Line:5[code:1 Data:6]\n", printed);
}

TEST(Err, BothLineEndsAreFlushedAndNothingElse)
{
    FlushMarks marks;
    std::streambuf* const usual = std::cerr.rdbuf(&marks);
    std::cerr << std::nounitbuf; // by itself the stream would flush after every piece
    Err("a", 1, Err::ERR_MEMORY, 2);
    std::cerr << std::unitbuf;
    std::cerr.rdbuf(usual);
    EXPECT_EQ("\n|ORVEX ASSERT[a]Line:1[code:3 Data:2]\n|", marks.text);
}

TEST(Err, ExceptionOfTheStreamTakesTheRecordsPlace)
{
    EXPECT_THROW(
        {
            const CapturedCerr captured;
            std::cerr.exceptions(std::ios::badbit);
            try {
                throw Err(nullptr, 1, Err::ERR_PARAMETER, 2);
            } catch (...) {
                std::cerr.exceptions(std::ios::goodbit);
                throw;
            }
        },
        std::ios_base::failure);
}

TEST(Err, StaticObjectsMayFailBeforeMain)
{
    EXPECT_STREQ("\nORVEX ASSERT[early]Line:12[code:3 Data:34]\n", PrintedEarly());
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
