// SPDX-License-Identifier: MIT
#include <ORVEX/CRC.h>

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

using ORVEX::BufferBase;
using ORVEX::CRC32;
using ORVEX::CRC8;

static_assert(std::is_same<decltype(CRC32::Table), const std::uint32_t[256]>::value, "256 entries");
static_assert(std::is_same<decltype(CRC8::Table), const std::uint8_t[256]>::value, "256 entries");
static_assert(std::is_same<decltype(&CRC32::Get), std::uint32_t (CRC32::*)()>::value, "not const");
static_assert(std::is_same<decltype(&CRC8::Get), std::uint8_t (CRC8::*)()>::value, "not const");
static_assert(sizeof(CRC32) == 4 && sizeof(CRC8) == 1, "the register is all there is");

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }

Bytes Noise(std::size_t length, unsigned seed)
{
    std::mt19937 random(seed);
    Bytes bytes(length);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

template <class CRC> void Feed(CRC& crc, const unsigned char* first, std::size_t length)
{
    // The range is only read; it just has no way to say so.
    const BufferBase buffer(const_cast<unsigned char*>(first), length);
    crc.Update(buffer);
}

template <class CRC> unsigned long Sum(const Bytes& bytes)
{
    CRC crc;
    Feed(crc, bytes.data(), bytes.size());
    return crc.Get();
}

unsigned long ZlibSum(const unsigned char* first, std::size_t length)
{
    return crc32(0, first, static_cast<uInt>(length));
}

// CRC-8 as a shift register, a bit at a time, without a table.
class BitwiseCRC8 {
public:
    void Update(unsigned char byte)
    {
        for (int bit = 7; bit >= 0; --bit) {
            const bool out = ((value >> 7) ^ (byte >> bit & 1)) != 0;
            value = (value << 1 & 0xFF) ^ (out ? 0x31 : 0);
        }
    }
    unsigned long Get() const
    {
        unsigned long reversed = 0;
        for (int bit = 0; bit < 8; ++bit)
            reversed |= static_cast<unsigned long>(value >> bit & 1) << (7 - bit);
        return reversed;
    }

private:
    unsigned value = 0;
};

} // namespace

TEST(CRC32, TableHasItsKnownEntries)
{
    EXPECT_EQ(0u, CRC32::Table[0]);
    EXPECT_EQ(0x77073096u, CRC32::Table[1]);
    EXPECT_EQ(0xEDB88320u, CRC32::Table[128]);
    EXPECT_EQ(0x2D02EF8Du, CRC32::Table[255]);
}

TEST(CRC32, TableIsEightShiftsOfEachByte)
{
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t value = i;
        for (int step = 0; step < 8; ++step) {
            const bool out = (value & 1) != 0;
            value >>= 1;
            if (out)
                value ^= 0xEDB88320;
        }
        EXPECT_EQ(value, CRC32::Table[i]) << i;
    }
}

TEST(CRC32, FreshOneGivesZero) { EXPECT_EQ(0u, CRC32().Get()); }

TEST(CRC32, CheckValueOfTheNineDigits) { EXPECT_EQ(0xCBF43926u, Sum<CRC32>(Text("123456789"))); }

TEST(CRC32, KnownMessages)
{
    EXPECT_EQ(0xE8B7BE43u, Sum<CRC32>(Text("a")));
    EXPECT_EQ(0x414FA339u, Sum<CRC32>(Text("The quick brown fox jumps over the lazy dog")));
    EXPECT_EQ(0x190A55ADu, Sum<CRC32>(Bytes(32, 0x00)));
    EXPECT_EQ(0xFF6CAB0Bu, Sum<CRC32>(Bytes(32, 0xFF)));
}

TEST(CRC32, EmptyBufferChangesNothing)
{
    CRC32 crc;
    crc.Update(BufferBase());
    EXPECT_EQ(0u, crc.Get());
    const Bytes bytes = Text("123456789");
    Feed(crc, bytes.data(), bytes.size());
    crc.Update(BufferBase());
    Feed(crc, bytes.data(), 0);
    EXPECT_EQ(0xCBF43926u, crc.Get());
}

TEST(CRC32, PiecesGiveWhatTheWholeGives)
{
    CRC32 crc;
    const Bytes bytes = Text("123456789");
    Feed(crc, bytes.data(), 5);
    Feed(crc, bytes.data() + 5, 4);
    EXPECT_EQ(0xCBF43926u, crc.Get());
}

TEST(CRC32, GetLeavesTheRunningStateAlone)
{
    CRC32 crc;
    const Bytes bytes = Text("123456789");
    Feed(crc, bytes.data(), 5);
    EXPECT_EQ(0xCBF53A1Cu, crc.Get());
    EXPECT_EQ(0xCBF53A1Cu, crc.Get());
    Feed(crc, bytes.data() + 5, 4);
    EXPECT_EQ(0xCBF43926u, crc.Get());
}

TEST(CRC32, ClearStartsAfresh)
{
    CRC32 crc;
    const Bytes bytes = Text("123456789");
    Feed(crc, bytes.data(), 4);
    crc.Clear();
    EXPECT_EQ(0u, crc.Get());
    Feed(crc, bytes.data(), bytes.size());
    EXPECT_EQ(0xCBF43926u, crc.Get());
}

TEST(CRC32, CopyGoesOnByItself)
{
    CRC32 crc;
    const Bytes bytes = Text("123456789");
    Feed(crc, bytes.data(), 5);
    CRC32 copy(crc);
    Feed(copy, bytes.data() + 5, 4);
    EXPECT_EQ(0xCBF53A1Cu, crc.Get());
    EXPECT_EQ(0xCBF43926u, copy.Get());
}

TEST(CRC32, EveryLengthAtEveryAlignmentIsZlibs)
{
    const Bytes bytes = Noise(2000 + 16, 1);
    for (std::size_t start = 0; start < 16; ++start) {
        for (std::size_t length = 0; length <= 2000; ++length) {
            CRC32 crc;
            Feed(crc, bytes.data() + start, length);
            ASSERT_EQ(ZlibSum(bytes.data() + start, length), crc.Get())
                << length << " bytes at " << start;
        }
    }
}

TEST(CRC32, LongRangesAreZlibs)
{
    const Bytes bytes = Noise((4 << 20) + 37, 2);
    for (std::size_t start = 0; start < 4; ++start) {
        CRC32 crc;
        Feed(crc, bytes.data() + start, bytes.size() - start);
        EXPECT_EQ(ZlibSum(bytes.data() + start, bytes.size() - start), crc.Get());
    }
}

TEST(CRC32, AnyCutIntoPiecesIsZlibs)
{
    const Bytes bytes = Noise(5000, 3);
    const unsigned long whole = ZlibSum(bytes.data(), bytes.size());
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        CRC32 crc;
        Feed(crc, bytes.data(), cut);
        ASSERT_EQ(ZlibSum(bytes.data(), cut), crc.Get()) << cut;
        Feed(crc, bytes.data() + cut, bytes.size() - cut);
        ASSERT_EQ(whole, crc.Get()) << cut;
    }
    std::mt19937 random(4);
    for (int round = 0; round < 200; ++round) {
        CRC32 crc;
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t piece = std::min<std::size_t>(random() % 300, bytes.size() - at);
            Feed(crc, bytes.data() + at, piece);
            at += piece;
        }
        ASSERT_EQ(whole, crc.Get());
    }
}

TEST(CRC8, TableHasItsKnownEntries)
{
    const std::uint8_t first[] = {0x00, 0x31, 0x62, 0x53, 0xC4, 0xF5, 0xA6, 0x97};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(first[i], CRC8::Table[i]) << i;
    EXPECT_EQ(0xAC, CRC8::Table[255]);
}

TEST(CRC8, TableIsEightShiftsOfEachByte)
{
    for (unsigned i = 0; i < 256; ++i) {
        unsigned value = i;
        for (int step = 0; step < 8; ++step) {
            const bool out = (value & 0x80) != 0;
            value = value << 1 & 0xFF;
            if (out)
                value ^= 0x31;
        }
        EXPECT_EQ(value, CRC8::Table[i]) << i;
    }
}

TEST(CRC8, FreshOneGivesZero) { EXPECT_EQ(0, CRC8().Get()); }

TEST(CRC8, NineDigitsGiveTheReversedRegister)
{
    EXPECT_EQ(0x45u, Sum<CRC8>(Text("123456789"))); // the register is 0xA2
}

TEST(CRC8, SingleByteOne)
{
    EXPECT_EQ(0x8Cu, Sum<CRC8>(Bytes(1, 0x01))); // the register is 0x31
}

TEST(CRC8, EmptyBufferChangesNothing)
{
    CRC8 crc;
    crc.Update(BufferBase());
    EXPECT_EQ(0, crc.Get());
    const Bytes bytes = Text("123456789");
    Feed(crc, bytes.data(), bytes.size());
    crc.Update(BufferBase());
    EXPECT_EQ(0x45, crc.Get());
}

TEST(CRC8, PiecesGiveWhatTheWholeGivesAndGetDisturbsNothing)
{
    CRC8 crc;
    const Bytes bytes = Text("123456789");
    Feed(crc, bytes.data(), 5);
    const unsigned partial = crc.Get();
    EXPECT_EQ(partial, crc.Get());
    Feed(crc, bytes.data() + 5, 4);
    EXPECT_EQ(0x45, crc.Get());
    crc.Clear();
    EXPECT_EQ(0, crc.Get());
}

TEST(CRC8, EveryLengthIsTheShiftRegisters)
{
    const Bytes bytes = Noise(2000, 5);
    BitwiseCRC8 model;
    for (std::size_t length = 0; length <= bytes.size(); ++length) {
        CRC8 crc;
        Feed(crc, bytes.data(), length);
        ASSERT_EQ(model.Get(), crc.Get()) << length;
        if (length < bytes.size())
            model.Update(bytes[length]);
    }
}

TEST(CRC8, EveryByteAfterEveryByteIsTheShiftRegisters)
{
    for (unsigned first = 0; first < 256; ++first) {
        for (unsigned second = 0; second < 256; ++second) {
            const Bytes bytes{static_cast<unsigned char>(first),
                              static_cast<unsigned char>(second)};
            BitwiseCRC8 model;
            model.Update(bytes[0]);
            model.Update(bytes[1]);
            ASSERT_EQ(model.Get(), Sum<CRC8>(bytes)) << first << ' ' << second;
        }
    }
}
