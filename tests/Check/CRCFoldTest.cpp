// SPDX-License-Identifier: MIT
// The ways of CRC32 that multiply without carries, each by itself.
#include "src/Check/CRCFold.h"

#include "Support/OlderProcessor.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <random>
#include <vector>

#if defined(__x86_64__) || defined(__i386__)

namespace {

using Fold = std::uint32_t (*)(std::uint32_t, const unsigned char*, unsigned long);

// From any register, over any length from `least` up and at any alignment, `fold` has to take in
// the whole blocks of 16 bytes as zlib does.
void ExpectZlibs(Fold fold, unsigned long least)
{
    std::mt19937 random(1);
    std::vector<unsigned char> bytes((1 << 16) + 16);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    const auto Expect = [&](const unsigned char* first, unsigned long length) {
        const std::uint32_t before = static_cast<std::uint32_t>(random());
        const uInt whole = static_cast<uInt>(length - length % 16);
        // zlib's value is the register's complement.
        ASSERT_EQ(crc32(~before & 0xFFFFFFFF, first, whole) ^ 0xFFFFFFFF,
                  fold(before, first, length))
            << length;
    };
    for (unsigned start = 0; start < 16; ++start) {
        for (unsigned long length = least; length <= 1200; ++length)
            ASSERT_NO_FATAL_FAILURE(Expect(bytes.data() + start, length));
        ASSERT_NO_FATAL_FAILURE(Expect(bytes.data() + start, 1 << 16));
    }
}

} // namespace

TEST(CRC32Fold, BlockByBlockIsZlibs)
{
    if (!ORVEX::Internal::CanFoldCRC32())
        GTEST_SKIP() << "this processor has no carry-less multiplication";
    ExpectZlibs(ORVEX::Internal::FoldCRC32By16, ORVEX::Internal::FoldLeast);
}

TEST(CRC32Fold, TwoBlocksAtOnceAreZlibs)
{
    if (!ORVEX::Internal::CanFoldCRC32By32())
        GTEST_SKIP() << "this processor multiplies one block at once";
    ExpectZlibs(ORVEX::Internal::FoldCRC32By32, 128);
}

TEST(CRC32Fold, ChosenWayIsZlibs)
{
    if (!ORVEX::Internal::CanFoldCRC32())
        GTEST_SKIP() << "this processor has no carry-less multiplication";
    ExpectZlibs(ORVEX::Internal::FoldCRC32, ORVEX::Internal::FoldLeast);
}

TEST(CRC32Fold, WhateverTheProcessorLacksTheChosenWayIsZlibs)
{
    if (!ORVEX::Internal::CanFoldCRC32By32())
        GTEST_SKIP() << "this processor has no choice";
    std::vector<unsigned char> bytes(8192, 0xA5);
    int cannot = 0;
    int cannotBy32 = 0;
    for (unsigned int feature = 0; feature < OlderProcessor::Features; ++feature) {
        const OlderProcessor older(feature);
        cannotBy32 += !ORVEX::Internal::CanFoldCRC32By32();
        if (!ORVEX::Internal::CanFoldCRC32()) {
            ++cannot;
            continue;
        }
        for (const unsigned long length : {64ul, 4095ul, 4096ul, 8192ul})
            EXPECT_EQ(crc32(0, bytes.data(), static_cast<uInt>(length / 16 * 16)) ^ 0xFFFFFFFF,
                      ORVEX::Internal::FoldCRC32(0xFFFFFFFF, bytes.data(), length));
    }
    EXPECT_EQ(2, cannot);     // the multiplication, and SSE 4.1
    EXPECT_EQ(4, cannotBy32); // its wide form and AVX2 as well
}

#else

TEST(CRC32Fold, NoProcessorHereCan) { EXPECT_FALSE(ORVEX::Internal::CanFoldCRC32()); }

#endif
