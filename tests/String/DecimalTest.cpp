// SPDX-License-Identifier: MIT
#include <ORVEX/String.h>

#include "Model.h"
#include "Support/ExpectRaises.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>
#include <string>

using ORVEX::Err;
using ORVEX::String;

namespace {

std::string Unsigned(unsigned long long value, char sign, unsigned long width)
{
    String text;
    text.SetDecimal(value, sign, width);
    ExpectInvariants(text);
    return Text(text);
}

std::string Signed(long long value, bool plus, unsigned long width)
{
    String text;
    text.SetDecimal(value, plus, width);
    ExpectInvariants(text);
    return Text(text);
}

} // namespace

TEST(Decimal, WritesSignZerosAndDigits)
{
    EXPECT_EQ("0", Unsigned(0, 0, 0));
    EXPECT_EQ("+007", Unsigned(7, '+', 3));
    EXPECT_EQ("12345", Unsigned(12345, 0, 3));
    EXPECT_EQ("18446744073709551615", Unsigned(ULLONG_MAX, 0, 0));
    EXPECT_EQ("0018446744073709551615", Unsigned(ULLONG_MAX, 0, 22));
}

TEST(Decimal, WidthCountsDigitsAlone)
{
    EXPECT_EQ("-0005", Unsigned(5, '-', 4));
    EXPECT_EQ("0000", Unsigned(0, 0, 4));
    EXPECT_EQ("+10", Unsigned(10, '+', 2));
}

TEST(Decimal, AnyCharacterIsASign)
{
    EXPECT_EQ(" 7", Unsigned(7, ' ', 1));
    EXPECT_EQ("\xFF"
              "7",
              Unsigned(7, '\xFF', 1));
}

TEST(Decimal, SignedNumbers)
{
    EXPECT_EQ("-9223372036854775808", Signed(LLONG_MIN, false, 0));
    EXPECT_EQ("-9223372036854775808", Signed(LLONG_MIN, true, 19));
    EXPECT_EQ("9223372036854775807", Signed(LLONG_MAX, false, 0));
    EXPECT_EQ("-0005", Signed(-5, false, 4));
    EXPECT_EQ("+5", Signed(5, true, 0));
    EXPECT_EQ("+0", Signed(0, true, 0));
    EXPECT_EQ("0", Signed(0, false, 0));
}

TEST(Decimal, ReplacesTheTextBefore)
{
    String text =
        Make("something else, and rather long, so that its block is larger than 64 bytes");
    text.SetDecimal(1ull, 0, 0);
    EXPECT_EQ("1", Text(text));
    EXPECT_EQ(64ul, text.Capacity());
    ExpectInvariants(text);
}

TEST(Decimal, EveryWidthOfIntegerHasItsFunction)
{
    EXPECT_EQ("18446744073709551615", Text(String::Decimal(18446744073709551615ull)));
    EXPECT_EQ("-9223372036854775808", Text(String::Decimal(static_cast<long long>(LLONG_MIN))));
    EXPECT_EQ(std::to_string(ULONG_MAX), Text(String::Decimal(ULONG_MAX)));
    EXPECT_EQ(std::to_string(LONG_MIN), Text(String::Decimal(LONG_MIN)));
    EXPECT_EQ("4294967295", Text(String::Decimal(UINT_MAX)));
    EXPECT_EQ("-2147483648", Text(String::Decimal(INT_MIN)));
    EXPECT_EQ("5", Text(String::Decimal(5)));
    EXPECT_EQ("65535", Text(String::Decimal(static_cast<unsigned short>(65535))));
    EXPECT_EQ("-32768", Text(String::Decimal(static_cast<short>(-32768))));
    EXPECT_EQ("255", Text(String::Decimal(static_cast<unsigned char>(255))));
    EXPECT_EQ("-128", Text(String::Decimal(static_cast<signed char>(-128))));
}

TEST(Decimal, AgreesWithTheStandardLibraryAroundEveryPowerOfTenAndTwo)
{
    const auto check = [](unsigned long long value) {
        const String text = String::Decimal(value);
        ASSERT_EQ(std::to_string(value), Text(text));
        const long long number = static_cast<long long>(value);
        ASSERT_EQ(std::to_string(number), Text(String::Decimal(number)));
    };
    for (unsigned long long power = 1; power <= ULLONG_MAX / 10; power *= 10) {
        for (unsigned long long value = power * 10 - 3; value != power * 10 + 3; ++value)
            check(value);
    }
    for (int bit = 0; bit < 64; ++bit) {
        for (unsigned long long value = (1ull << bit) - 2; value != (1ull << bit) + 2; ++value)
            check(value);
    }
    for (unsigned long long value = 0; value < 20000; ++value)
        check(value);
    std::mt19937_64 random(4);
    for (int round = 0; round < 50000; ++round)
        check(random() >> random() % 64);
}

TEST(Decimal, BlockIsWhatGrowingByteByByteGives)
{
    for (const String::Sizing sizing :
         {String::Sizing{64, 16}, String::Sizing{8, 8}, String::Sizing{0, 16},
          String::Sizing{60, 12}, String::Sizing{1, 1}}) {
        const WithSizing with(sizing.baseSize, sizing.blockSize);
        for (const unsigned long long value : {7ull, 12345678ull, 18446744073709551615ull}) {
            for (const char sign : {'\0', '+'}) {
                for (unsigned long width = 0; width < 300; ++width) {
                    const std::string digits = std::to_string(value);
                    std::string expected(sign != 0, sign);
                    if (width > digits.size())
                        expected.append(width - digits.size(), '0');
                    Model::Block block(sizing);
                    for (unsigned long n = 1; n <= expected.size(); ++n)
                        block.Resize(n);
                    expected += digits;
                    block.Resize(expected.size() + 1);
                    String text;
                    text.SetDecimal(value, sign, width);
                    ASSERT_EQ(expected, Text(text));
                    ASSERT_EQ(block.Capacity(), text.Capacity()) << sizing.baseSize << ' ' << width;
                }
            }
        }
    }
}

TEST(Decimal, WidthThatNoBlockHoldsRaisesAtOnceAndLeavesTheEmptyText)
{
    for (const unsigned long width : {ULONG_MAX, ULONG_MAX - 30, 0xFFFFFFFFul}) {
        String text = Make("before");
        ExpectRaises("src/Allocator/Heep", Err::ERR_MEMORY, 4,
                     [&] { text.SetDecimal(1ull, '+', width); });
        EXPECT_EQ("", Text(text));
        ExpectInvariants(text);
        text.SetDecimal(2ull, 0, 0);
        EXPECT_EQ("2", Text(text));
    }
}

TEST(Decimal, NumberThatDoesNotFitAFixedCapacityRaisesAndLeavesTheEmptyText)
{
    const WithSizing fixed(16, 0);
    const char file[] = "src/Allocator/Allocator";
    String text;
    text.SetDecimal(123456789012345ull, 0, 0); // 15 digits and the NUL
    EXPECT_EQ("123456789012345", Text(text));
    ExpectRaises(file, Err::ERR_OVERFLOW, 17, [&] { text.SetDecimal(1234567890123456ull, 0, 0); });
    EXPECT_EQ("", Text(text));
    ExpectInvariants(text);
    EXPECT_EQ(0u, text.Size());
    for (const unsigned long width : {1000000ul, ULONG_MAX - 30})
        ExpectRaises(file, Err::ERR_OVERFLOW, 17, [&] { text.SetDecimal(0ull, 0, width); });
    ExpectRaises(file, Err::ERR_OVERFLOW, 18, [&] { text.SetDecimal(1ull, '+', 16); });
    EXPECT_EQ("", Text(text));
    text.SetDecimal(-7ll, false, 0);
    EXPECT_EQ("-7", Text(text));
    ExpectInvariants(text);
}
