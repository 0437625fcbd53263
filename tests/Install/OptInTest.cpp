// SPDX-License-Identifier: MIT
#include <ORVEX/Print.h>
#include <ORVEX/Std.h>

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>

using namespace ORVEX;

namespace {

template <class T> std::string Shown(const T& value)
{
    std::ostringstream out;
    // None of this may show in the numbers.
    out << std::hex << std::showbase << std::uppercase;
    out << value;
    return out.str();
}

} // namespace

TEST(Print, ColoursShowTheirChannelsWithAlphaLast)
{
    EXPECT_EQ("#01020304", Shown(Color(1, 2, 3, 4)));
    EXPECT_EQ("#FF00ABFF", Shown(Color(255, 0, 171)));
}

TEST(Print, PointsAndRectanglesShowSignedNumbers)
{
    Rect rect;
    rect.x = -1, rect.y = Point::TypeMin, rect.width = 3, rect.height = Point::TypeMax;
    EXPECT_EQ("(-1, -2147483648) 3 x 2147483647", Shown(rect));
    EXPECT_EQ("(10, -20)", Shown(Point(10, -20)));
}

TEST(Print, CharactersShowAtLeastFourDigits)
{
    EXPECT_EQ("U+000A", Shown(Char("\n")));
    EXPECT_EQ("U+1F600", Shown(Char("\xF0\x9F\x98\x80")));
}

TEST(Print, TextsShowTheirBytes)
{
    EXPECT_EQ("Gr\xC3\xBC\xC3\x9F"
              "e",
              Shown(String::ChangeCharStr("Gr\xC3\xBC\xC3\x9F"
                                          "e")));
    EXPECT_EQ("", Shown(String()));
}

TEST(Print, RangesShowTheirFirstSixteenBytes)
{
    Buffer bytes;
    EXPECT_EQ("0 bytes", Shown(bytes));
    bytes.Resize(1);
    bytes[0] = 0xAB;
    EXPECT_EQ("1 byte: AB", Shown(bytes));
    bytes.Resize(17);
    for (unsigned char i = 0; i < 17; ++i)
        bytes[i] = i;
    EXPECT_EQ("17 bytes: 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F ...", Shown(bytes));
}

TEST(Print, TimesShowTheCalendar)
{
    EXPECT_EQ("250 ms", Shown(Clock(250)));
    EXPECT_EQ("2026-11-16 07:12:09 UTC", Shown(Time(1794813129)));
    EXPECT_EQ("1970-01-01 00:00:00 UTC", Shown(Time(0)));
}

TEST(Print, RecordsShowWhereAndWhy)
{
    std::cerr.setstate(std::ios::failbit);
    const Err err("src/Buffer/Buffer", 169, Err::ERR_MEMORY, -256);
    std::cerr.clear();
    EXPECT_EQ("src/Buffer/Buffer:169 code 3 data -256", Shown(err));
}

TEST(Print, BigIntegersShowInHexadecimal)
{
    Nmpi<4> number;
    EXPECT_EQ("0x0", Shown(number));
    number.NocheckIntSet(0x1A);
    EXPECT_EQ("0x1A", Shown(number));
    unsigned char bytes[] = {1, 0, 0, 0, 0x0F};
    number.NocheckSetBuffer(BufferBase(bytes, 5));
    EXPECT_EQ("0x10000000F", Shown(number));
}

TEST(Print, TheStreamsFormatIsLeftAsItWas)
{
    std::ostringstream out;
    out << std::hex << Color(1, 2, 3) << 255;
    EXPECT_EQ("#010203FFff", out.str());
}

TEST(Std, TextsAreSeenWhereTheyLie)
{
    const String text = String::ChangeCharStr("abc");
    const std::string_view view = View(text);
    EXPECT_EQ("abc", view);
    EXPECT_EQ(text.CStr(), view.data());
    EXPECT_EQ("", View(String()));
}

TEST(Std, BytesAreSeenWithTheirZeros)
{
    unsigned char bytes[] = {'a', 0, 'b'};
    EXPECT_EQ(std::string_view("a\0b", 3), View(BufferBase(bytes, 3)));
    EXPECT_EQ(0u, View(BufferBase()).size());
}

TEST(Std, ViewsBecomeTextsUpToTheFirstNul)
{
    EXPECT_EQ("abc", View(ToString("abc")));
    EXPECT_EQ("", View(ToString("")));
    EXPECT_EQ("ab", View(ToString(std::string_view("ab\0cd", 5))));
    EXPECT_EQ("bc", View(ToString(std::string_view("abcd").substr(1, 2))));
    EXPECT_EQ(0u, ToString(std::string_view()).Length());
}
