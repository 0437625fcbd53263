// SPDX-License-Identifier: MIT
#include <ORVEX/Color.h>
#include <ORVEX/Point.h>
#include <ORVEX/Rect.h>

#include "Graphics/Pictures.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

using ORVEX::Color;
using ORVEX::Point;
using ORVEX::Rect;

// Pixels are taken from bitmaps as bytes: the layout is part of the interface.
static_assert(std::is_standard_layout<Color>::value, "Color is a plain value");
static_assert(std::is_trivially_copyable<Color>::value, "Color is a plain value");
static_assert(sizeof(Color) == 4 && alignof(Color) == 1, "four bytes without padding");
static_assert(offsetof(Color, alpha) == 0, "alpha comes first");
static_assert(offsetof(Color, red) == 1, "red follows alpha");
static_assert(offsetof(Color, green) == 2, "green follows red");
static_assert(offsetof(Color, blue) == 3, "blue follows green");

static_assert(std::is_standard_layout<Point>::value, "Point is a plain value");
static_assert(std::is_trivially_copyable<Point>::value, "Point is a plain value");
static_assert(sizeof(Point) == 8, "two 32-bit numbers");
static_assert(offsetof(Point, x) == 0 && offsetof(Point, y) == 4, "x, then y");
static_assert(std::is_same<decltype(Point::x), std::int32_t>::value, "signed, 32 bits");
static_assert(std::is_same<decltype(Point::y), std::int32_t>::value, "signed, 32 bits");

static_assert(std::is_standard_layout<Rect>::value, "Rect is a plain value");
static_assert(std::is_trivially_copyable<Rect>::value, "Rect is a plain value");
static_assert(sizeof(Rect) == 16, "four 32-bit numbers");
static_assert(offsetof(Rect, x) == 0 && offsetof(Rect, y) == 4, "the corner comes first");
static_assert(offsetof(Rect, width) == 8 && offsetof(Rect, height) == 12, "then the size");

namespace {

void ExpectBytes(const Color& color, int first, int second, int third, int fourth)
{
    unsigned char bytes[4];
    std::memcpy(bytes, &color, 4);
    EXPECT_EQ(first, bytes[0]);
    EXPECT_EQ(second, bytes[1]);
    EXPECT_EQ(third, bytes[2]);
    EXPECT_EQ(fourth, bytes[3]);
}

} // namespace

TEST(Color, StartsAsTransparentBlack) { ExpectBytes(Color(), 0, 0, 0, 0); }

TEST(Color, ThreeChannelsAreOpaque) { ExpectBytes(Color(1, 2, 3), 255, 1, 2, 3); }

TEST(Color, AlphaIsTheLastArgumentAndTheFirstByte) { ExpectBytes(Color(1, 2, 3, 4), 4, 1, 2, 3); }

TEST(Color, CopiesTakeAllFourBytes)
{
    const Color color(1, 2, 3, 4);
    const Color copy(color);
    ExpectBytes(copy, 4, 1, 2, 3);
    Color assigned(9, 9, 9, 9);
    EXPECT_EQ(&assigned, &(assigned = color));
    ExpectBytes(assigned, 4, 1, 2, 3);
}

TEST(Color, OverlapReturnsTheColourItself)
{
    Color color;
    EXPECT_EQ(&color, &color.Overlap(Color(1, 2, 3, 4)));
    EXPECT_EQ(&color, &color.Overlap(Color(1, 2, 3, 0)));
    EXPECT_EQ(&color, &color.Overlap(Color(1, 2, 3, 255)));
}

TEST(Color, TransparentSourceChangesNothing)
{
    ExpectBytes(Color(10, 20, 30, 40).Overlap(Color(200, 201, 202, 0)), 40, 10, 20, 30);
    ExpectBytes(Color(10, 20, 30, 0).Overlap(Color(200, 201, 202, 0)), 0, 10, 20, 30);
}

TEST(Color, OpaqueSourceReplacesAllFourBytes)
{
    ExpectBytes(Color(10, 20, 30, 40).Overlap(Color(200, 201, 202, 255)), 255, 200, 201, 202);
    ExpectBytes(Color(10, 20, 30, 255).Overlap(Color(0, 0, 0, 255)), 255, 0, 0, 0);
}

TEST(Color, MixesWithTheHiddenColourOfATransparentDestination)
{
    // 128 * 255 / 255 = 128 and (128 * 255 + 127 * 100) / 255 = 177.8
    ExpectBytes(Color(0, 100, 0, 0).Overlap(Color(255, 255, 0, 128)), 128, 128, 177, 0);
}

TEST(Color, KeepsTheLargerAlpha)
{
    // 1 * 255 / 255 = 1
    ExpectBytes(Color(0, 0, 0, 200).Overlap(Color(255, 0, 0, 1)), 200, 1, 0, 0);
    ExpectBytes(Color(0, 0, 0, 1).Overlap(Color(255, 0, 0, 200)), 200, 200, 0, 0);
}

TEST(Color, CutsFractions)
{
    // (254 * 0 + 1 * 255) / 255 = 1, and (254 * 0 + 1 * 254) / 255 = 0.996
    ExpectBytes(Color(255, 254, 0, 0).Overlap(Color(0, 0, 0, 254)), 254, 1, 0, 0);
}

TEST(Color, BlendsItselfOverItself)
{
    Color color(255, 7, 100, 128);
    color.Overlap(color);
    ExpectBytes(color, 128, 255, 7, 100);
}

TEST(Color, OverlapFollowsTheFormulaForEveryAlphaSourceAndDestination)
{
    long wrong = 0;
    for (unsigned int a = 0; a < 256; ++a) {
        for (unsigned int s = 0; s < 256; ++s) {
            for (unsigned int d = 0; d < 256; ++d) {
                const auto byte = [](unsigned int value) {
                    return static_cast<unsigned char>(value & 255u);
                };
                // Each channel sees all the pairs, in an order of its own.
                const Color over(byte(s), byte(255 - s), byte(s + d), byte(a));
                const Color under(byte(d), byte(d), byte(255 - d), byte(s ^ d));
                Color color = under;
                color.Overlap(over);
                wrong += !(color == Blended(under, over));
            }
        }
    }
    EXPECT_EQ(0, wrong);
}

TEST(Point, ConstantsHaveTheirValues)
{
    EXPECT_EQ(0, Point::TypeZero);
    EXPECT_EQ(-2147483647 - 1, Point::TypeMin);
    EXPECT_EQ(2147483647, Point::TypeMax);
}

TEST(Point, ConstantsCanBeReferredTo)
{
    const std::int32_t* const zero = &Point::TypeZero;
    EXPECT_EQ(0, *zero);
}

TEST(Point, HoldsWhatItIsMadeFrom)
{
    EXPECT_EQ(0, Point().x);
    EXPECT_EQ(0, Point().y);
    const Point point(-3, 4);
    EXPECT_EQ(-3, point.x);
    EXPECT_EQ(4, point.y);
}

TEST(Rect, HoldsWhatItIsMadeFrom)
{
    const Rect nothing;
    EXPECT_EQ(0, nothing.x);
    EXPECT_EQ(0, nothing.y);
    EXPECT_EQ(0, nothing.width);
    EXPECT_EQ(0, nothing.height);
    const Rect rect(-1, 2, -3, 4);
    EXPECT_EQ(-1, rect.x);
    EXPECT_EQ(2, rect.y);
    EXPECT_EQ(-3, rect.width);
    EXPECT_EQ(4, rect.height);
}
