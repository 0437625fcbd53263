// SPDX-License-Identifier: MIT
// The portable way of CRC32, whatever the processor offers.
#include <ORVEX/CRC.h>

#include "src/Check/CRCFold.h"
#include "src/Check/NmpiHalves.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

std::vector<unsigned char> Noise(std::size_t length)
{
    std::mt19937 random(1);
    std::vector<unsigned char> bytes(length);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

void ExpectZlibs(unsigned char* first, std::size_t length)
{
    ORVEX::CRC32 crc;
    crc.Update(ORVEX::BufferBase(first, length));
    ASSERT_EQ(crc32(0, first, static_cast<uInt>(length)), crc.Get()) << length;
}

} // namespace

TEST(CRC32Braids, EveryLengthAtEveryAlignmentIsZlibs)
{
    std::vector<unsigned char> bytes = Noise(1000 + 16);
    for (std::size_t start = 0; start < 16; ++start) {
        for (std::size_t length = 0; length <= 1000; ++length)
            ASSERT_NO_FATAL_FAILURE(ExpectZlibs(bytes.data() + start, length));
    }
}

TEST(CRC32Braids, LongRangeIsZlibs)
{
    std::vector<unsigned char> bytes = Noise((1 << 20) + 5);
    ASSERT_NO_FATAL_FAILURE(ExpectZlibs(bytes.data(), bytes.size()));
}

TEST(CRC32Braids, PiecesGiveWhatTheWholeGives)
{
    std::vector<unsigned char> bytes = Noise(400);
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        ORVEX::CRC32 crc;
        crc.Update(ORVEX::BufferBase(bytes.data(), cut));
        crc.Update(ORVEX::BufferBase(bytes.data() + cut, bytes.size() - cut));
        ASSERT_EQ(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())), crc.Get()) << cut;
    }
}

TEST(FastPaths, WithoutThemNothingIsDone)
{
    using namespace ORVEX::Internal;
    EXPECT_FALSE(CanFoldCRC32());
    EXPECT_EQ(5u, FoldCRC32(5, nullptr, 0));
    std::uint32_t limb = 7;
    EXPECT_FALSE(MultiplyHalves(&limb, 1, &limb, 1));
    const HalvesDivisor divisor(&limb, 1);
    EXPECT_FALSE(divisor.Fits(1));
    EXPECT_EQ(0u, divisor.SubtractMultiple(&limb, 1));
    EXPECT_EQ(7u, limb);
}
