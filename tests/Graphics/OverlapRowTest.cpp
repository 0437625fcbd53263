// SPDX-License-Identifier: MIT
// The ways to blend a row that the library chooses from by the processor, one by one.
#include "src/Graphics/OverlapRow.h"

#include "Graphics/Pictures.h"
#include "Support/OlderProcessor.h"

#include <gtest/gtest.h>

using ORVEX::Color;

namespace {

using Blocks = unsigned long (*)(Color* to, const Color* from, unsigned long count);

unsigned long Pixels(Color* to, const Color* from, unsigned long count)
{
    ORVEX::Internal::OverlapPixels(to, from, count);
    return count;
}

unsigned long Row(Color* to, const Color* from, unsigned long count)
{
    ORVEX::Internal::OverlapRow(to, from, count);
    return count;
}

struct Way {
    const char* name;
    Blocks blend;
    unsigned long block; // blends as many pixels as are a multiple of this
};

/// What this processor can do; there are always the first two.
std::vector<Way> Ways()
{
    std::vector<Way> ways = {{"row", Row, 1}, {"pixels", Pixels, 1}};
#if defined(__SSE2__)
    ways.push_back({"SSE2", ORVEX::Internal::OverlapBlocksSse2, 8});
#endif
#if defined(__x86_64__) || defined(__i386__)
    if (__builtin_cpu_supports("avx2"))
        ways.push_back({"AVX2", ORVEX::Internal::OverlapBlocksAvx2, 8});
#endif
#if defined(__ARM_NEON)
    ways.push_back({"NEON", ORVEX::Internal::OverlapBlocksNeon, 8});
#endif
    return ways;
}

/// Blends `over` over `under` from pixel `offset` of both on, and compares with the formula.
void ExpectBlended(const Way& way, const std::vector<Color>& under, const std::vector<Color>& over,
                   unsigned long offset)
{
    std::vector<Color> expected = under;
    const unsigned long count = under.size() - offset;
    const unsigned long done = count / way.block * way.block;
    for (unsigned long i = offset; i < offset + done; ++i)
        expected[i] = Blended(under[i], over[i]);
    std::vector<Color> row = under;
    ASSERT_EQ(done, way.blend(row.data() + offset, over.data() + offset, count)) << way.name;
    ASSERT_TRUE(expected == row) << way.name << ", " << count << " pixels";
}

unsigned char Byte(unsigned int value) { return static_cast<unsigned char>(value & 255u); }

} // namespace

TEST(OverlapRow, EveryWayFollowsTheFormulaForEveryAlphaSourceAndDestination)
{
    for (const Way& way : Ways()) {
        std::vector<Color> under(256);
        std::vector<Color> over(256);
        std::vector<Color> row;
        std::vector<Color> expected(256);
        for (unsigned int a = 0; a < 256; ++a) {
            for (unsigned int s = 0; s < 256; ++s) {
                for (unsigned int d = 0; d < 256; ++d) {
                    // Each channel sees all the pairs, in an order of its own.
                    under[d] = Color(Byte(d), Byte(d), Byte(255 - d), Byte(s ^ d));
                    over[d] = Color(Byte(s), Byte(255 - s), Byte(s + d), Byte(a));
                    expected[d] = Blended(under[d], over[d]);
                }
                row = under;
                way.blend(row.data(), over.data(), 256);
                ASSERT_TRUE(expected == row) << way.name << ", alpha " << a << ", source " << s;
            }
        }
    }
}

TEST(OverlapRow, EveryWayKeepsTheLargerAlphaOfAnyTwo)
{
    for (const Way& way : Ways()) {
        for (unsigned int a = 0; a < 256; ++a) {
            std::vector<Color> under;
            for (unsigned int b = 0; b < 256; ++b)
                under.emplace_back(Byte(a), Byte(b), Byte(a + b), Byte(b));
            ExpectBlended(way, under, std::vector<Color>(256, Color(1, 2, 3, Byte(a))), 0);
        }
    }
}

TEST(OverlapRow, EveryWayTakesRowsOfAnyLengthFromAnyPixelOn)
{
    Random random(11);
    for (const Way& way : Ways()) {
        for (std::int32_t length = 0; length <= 70; ++length) {
            for (unsigned long offset = 0; offset <= 5; ++offset) {
                const std::int32_t all = length + static_cast<std::int32_t>(offset);
                const std::vector<Color> under = RandomPicture(random, all, 1).pixels;
                const std::vector<Color> over = RandomPicture(random, all, 1).pixels;
                ExpectBlended(way, under, over, offset);
            }
        }
    }
}

TEST(OverlapRow, EveryWayMixesBlocksWithOneOddPixel)
{
    // One pixel that is not as clear or as opaque as its neighbours must not be passed over.
    for (const Way& way : Ways()) {
        for (const unsigned int alpha : {0u, 255u}) {
            for (unsigned long odd = 0; odd < 16; ++odd) {
                for (const unsigned int other : {0u, 1u, 127u, 128u, 254u, 255u}) {
                    std::vector<Color> over(16, Color(200, 100, 50, Byte(alpha)));
                    over[odd].alpha = Byte(other);
                    ExpectBlended(way, std::vector<Color>(16, Color(9, 99, 199, 77)), over, 0);
                }
            }
        }
    }
}

TEST(OverlapRow, RowsThatReadThemselvesComeOutAsPixelByPixel)
{
    Random random(12);
    for (int distance = -40; distance <= 40; ++distance) {
        const std::vector<Color> row = RandomPicture(random, 140, 1).pixels;
        std::vector<Color> expected = row;
        for (std::size_t i = 45; i < 95; ++i) {
            Color& to = expected[i + static_cast<std::size_t>(distance)];
            to = Blended(to, expected[i]);
        }
        std::vector<Color> blended = row;
        ORVEX::Internal::OverlapRow(blended.data() + 45 + distance, blended.data() + 45, 50);
        ASSERT_TRUE(expected == blended) << "moved by " << distance;
    }
}

#if defined(__x86_64__) || defined(__i386__)

TEST(OverlapRow, WhateverTheProcessorLacksRowsFollowTheFormula)
{
    Random random(13);
    const std::vector<Color> under = RandomPicture(random, 70, 1).pixels;
    const std::vector<Color> over = RandomPicture(random, 70, 1).pixels;
    for (unsigned int feature = 0; feature < OlderProcessor::Features; ++feature) {
        const OlderProcessor older(feature);
        ExpectBlended({"row", Row, 1}, under, over, 0);
    }
}

#endif
