// SPDX-License-Identifier: MIT
// More than 100,000 damaged files, each decoded on a heap of 0x5A bytes and again on one of 0xC3:
// both must give the same picture, nothing may be left behind, and no file may read or write
// outside its memory (which the sanitizers' builds see).
#include <ORVEX/Ping.h>
#include <ORVEX/Png.h>

#include "BitWriter.h"
#include "PngFile.h"
#include "Random.h"
#include "Support/FailingNew.h"
#include "Support/Raised.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

// A picture that asks for more is refused, as on the device; the largest window is 8 MiB.
const std::size_t LargestBlock = 1u << 20;
const std::size_t LargestWindow = 8u << 20;

/// What a load left behind.
struct Outcome {
    enum Kind { Refused, Loaded, RaisedErr, RaisedBadAlloc } kind = Refused;
    std::int32_t width = 0, height = 0;
    Bytes pixels;

    bool operator==(const Outcome& other) const
    {
        return kind == other.kind && width == other.width && height == other.height &&
               pixels == other.pixels;
    }
};

Outcome Load(const ORVEX::BufferBase& file)
{
    Outcome outcome;
    ORVEX::Ping ping;
    try {
        outcome.kind = ping.Load(file) ? Outcome::Loaded : Outcome::Refused;
    } catch (const ORVEX::Err&) {
        outcome.kind = Outcome::RaisedErr;
    } catch (const std::bad_alloc&) {
        outcome.kind = Outcome::RaisedBadAlloc;
    }
    outcome.width = ping.GetSize().x;
    outcome.height = ping.GetSize().y;
    const auto* first = reinterpret_cast<const std::uint8_t*>(ping.Pixels().Begin());
    outcome.pixels.assign(first, first + ping.Pixels().Length() * 4);
    return outcome;
}

/// Decodes every file that it is given, and counts them.
class DamagedPng : public testing::Test {
protected:
    DamagedPng() { RefuseBlocksAbove(LargestBlock); }
    ~DamagedPng() override
    {
        RefuseBlocksAbove(0);
        FillNewBlocksWith(-1);
        RecordProperty("files", files);
    }

    // Gives what the file made of itself; fails the test when two heaps show a difference.
    Outcome Try(const Bytes& file)
    {
        ++files;
        const OwnBlock own(file);
        Outcome outcomes[2];
        const int fills[] = {0x5A, 0xC3};
        for (int i = 0; i < 2; ++i) {
            FillNewBlocksWith(fills[i]);
            const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
            const long blocks = LiveBlocks();
            CapturedCerr quiet;
            {
                const Outcome outcome = Load(own.Range());
                outcomes[i].pixels.reserve(outcome.pixels.size());
                outcomes[i] = outcome;
            }
            const long kept = outcomes[i].pixels.capacity() != 0 ? 1 : 0;
            if (ZrPngHuffmanTree::leakTracker != nodes)
                ADD_FAILURE() << "nodes of a tree are left, file " << files;
            if (LiveBlocks() != blocks + kept)
                ADD_FAILURE() << "a block is left, file " << files;
        }
        if (!(outcomes[0] == outcomes[1]))
            ADD_FAILURE() << "old memory shows, file " << files;
        return outcomes[0];
    }

    int files = 0;
};

struct Kind {
    unsigned colorType, depth, bitsPerPixel;
};

const Kind Kinds[] = {{0, 1, 1}, {0, 8, 8}, {2, 8, 24}, {2, 16, 48},
                      {3, 4, 4}, {3, 8, 8}, {4, 8, 16}, {6, 8, 32}};

Bytes Deflate(const Bytes& raw)
{
    uLongf length = compressBound(static_cast<uLong>(raw.size()));
    Bytes out(length);
    compress2(out.data(), &length, raw.data(), static_cast<uLong>(raw.size()), 9);
    out.resize(length);
    return out;
}

/// The lines of a small picture, each of the filters in turn.
Bytes Lines(const Kind& kind, std::uint32_t width, std::uint32_t height)
{
    Random random(kind.colorType * 100 + kind.depth);
    Bytes lines;
    for (std::uint32_t y = 0; y < height; ++y) {
        lines.push_back(static_cast<std::uint8_t>(y % 5));
        for (std::uint32_t i = 0; i < (width * kind.bitsPerPixel + 7) / 8; ++i)
            lines.push_back(static_cast<std::uint8_t>(random() % 4 ? i : random()));
    }
    return lines;
}

/// The same as the seven passes of an interlaced picture.
Bytes Passes(const Kind& kind, std::uint32_t width, std::uint32_t height)
{
    static const std::uint32_t x0[] = {0, 4, 0, 2, 0, 1, 0}, dx[] = {8, 8, 4, 4, 2, 2, 1};
    static const std::uint32_t y0[] = {0, 0, 4, 0, 2, 0, 1}, dy[] = {8, 8, 8, 4, 4, 2, 2};
    Bytes all;
    for (int pass = 0; pass < 7; ++pass) {
        const std::uint32_t columns = (width + dx[pass] - 1 - x0[pass]) / dx[pass];
        const std::uint32_t rows = (height + dy[pass] - 1 - y0[pass]) / dy[pass];
        const Bytes lines = columns ? Lines(kind, columns, rows) : Bytes();
        all.insert(all.end(), lines.begin(), lines.end());
    }
    return all;
}

/// A whole file with everything that the decoder reads.
Bytes SmallFile(const Kind& kind, bool interlaced)
{
    const std::uint32_t width = 9, height = 6;
    PngFile file;
    file.Header(width, height, kind.depth, kind.colorType, interlaced);
    file.Chunk("gAMA", {0, 0, 0xB1, 0x8F});
    if (kind.colorType == 3)
        file.Chunk("PLTE", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    if (kind.colorType < 4)
        file.Chunk("tRNS", {0, 1, 0, 2, 0, 3});
    const Bytes data =
        Deflate(interlaced ? Passes(kind, width, height) : Lines(kind, width, height));
    const auto middle = data.begin() + static_cast<long>(data.size() / 2);
    file.Chunk("IDAT", Bytes(data.begin(), middle)).Chunk("tEXt", {'a', 0, 'b'});
    file.Chunk("IDAT", Bytes(middle, data.end())).End();
    return file.bytes;
}

/// A file of 4 x 4 grey pixels around a zlib stream.
Bytes FileAround(const Bytes& stream)
{
    return PngFile().Header(4, 4, 8, 0).Chunk("IDAT", stream).End().bytes;
}

} // namespace

TEST_F(DamagedPng, WholeSmallFilesLoad)
{
    for (const Kind& kind : Kinds)
        for (const bool interlaced : {false, true}) {
            const Outcome outcome = Try(SmallFile(kind, interlaced));
            EXPECT_EQ(Outcome::Loaded, outcome.kind);
            EXPECT_EQ(9, outcome.width);
            EXPECT_EQ(6, outcome.height);
        }
}

TEST_F(DamagedPng, EveryTruncationOfEveryFormat)
{
    for (const Kind& kind : Kinds)
        for (const bool interlaced : {false, true}) {
            const Bytes whole = SmallFile(kind, interlaced);
            for (std::size_t length = 0; length < whole.size(); ++length) {
                const Bytes cut(whole.begin(), whole.begin() + static_cast<long>(length));
                EXPECT_EQ(length >= 8 ? Outcome::Loaded : Outcome::Refused, Try(cut).kind);
            }
        }
    EXPECT_GT(files, 3000);
}

TEST_F(DamagedPng, EveryBitOfEveryFormatFlipped)
{
    for (const Kind& kind : Kinds)
        for (const bool interlaced : {false, true}) {
            Bytes file = SmallFile(kind, interlaced);
            for (std::size_t at = 0; at < file.size(); ++at)
                for (unsigned bit = 1; bit < 256; bit <<= 1) {
                    file[at] = static_cast<std::uint8_t>(file[at] ^ bit);
                    Try(file);
                    file[at] = static_cast<std::uint8_t>(file[at] ^ bit);
                }
        }
    EXPECT_GT(files, 25000);
}

TEST_F(DamagedPng, EveryByteOfEveryFormatCleared)
{
    for (const Kind& kind : Kinds)
        for (const bool interlaced : {false, true}) {
            const Bytes whole = SmallFile(kind, interlaced);
            for (std::size_t at = 0; at < whole.size(); ++at)
                for (const std::uint8_t value : {std::uint8_t(0x00), std::uint8_t(0xFF)}) {
                    Bytes file = whole;
                    file[at] = value;
                    Try(file);
                }
        }
    EXPECT_GT(files, 6000);
}

TEST_F(DamagedPng, EveryPairOfColourTypeAndDepth)
{
    const Bytes data = Deflate(Bytes(200, 1));
    for (unsigned colorType = 0; colorType < 256; ++colorType)
        for (unsigned depth = 0; depth < 256; ++depth) {
            const bool taken = std::any_of(std::begin(Kinds), std::end(Kinds), [&](const Kind& k) {
                return k.colorType == colorType && k.depth == depth;
            });
            const Outcome outcome =
                Try(PngFile().Header(3, 2, depth, colorType).Chunk("IDAT", data).End().bytes);
            EXPECT_EQ(Outcome::Loaded, outcome.kind);
            EXPECT_EQ(taken ? 3 : 0, outcome.width) << colorType << ", " << depth;
            EXPECT_EQ(taken ? 24u : 0u, outcome.pixels.size());
        }
    EXPECT_EQ(65536, files);
}

TEST_F(DamagedPng, EveryPairOfOddSizes)
{
    // Of the last two an RGB line of 8 and of 16 bits wraps in 32 bits, and the raster does not.
    const std::uint32_t sizes[] = {0,          1,          2,          7,          8,
                                   9,          65535,      65536,      65537,      0x40000000,
                                   0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x55555556, 0x2AAAAAAB};
    const Bytes data = Deflate(Bytes(3000, 1));
    for (const Kind& kind : Kinds)
        for (const unsigned interlaced : {0u, 1u, 2u})
            for (const std::uint32_t width : sizes)
                for (const std::uint32_t height : sizes) {
                    PngFile file;
                    file.Header(width, height, kind.depth, kind.colorType, interlaced);
                    file.Chunk("PLTE", {1, 2, 3}).Chunk("IDAT", data);
                    const Outcome outcome = Try(file.bytes);
                    // What is there is whole, whatever was asked for.
                    if (!outcome.pixels.empty()) {
                        EXPECT_EQ(std::uint64_t(width) * height * 4, outcome.pixels.size());
                    }
                }
    EXPECT_EQ(8 * 3 * 15 * 15, files);
}

TEST_F(DamagedPng, ChunkLengthsThatLie)
{
    for (const char* type : {"IHDR", "PLTE", "tRNS", "gAMA", "IDAT", "IEND", "tEXt"})
        for (const std::uint32_t behind : {0u, 1u, 12u, 13u, 100u})
            for (const std::uint32_t lie :
                 {0u, 1u, behind - 1, behind, behind + 1, behind + 3, behind + 4, 0x7FFFFFFFu,
                  0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
                PngFile file;
                file.Header(4, 4, 8, 0).Chunk("IDAT", Deflate(Bytes(20, 3)));
                file.Number(lie);
                file.bytes.insert(file.bytes.end(), type, type + 4);
                file.bytes.insert(file.bytes.end(), behind, 7);
                Try(file.bytes);
            }
}

TEST_F(DamagedPng, WindowsOfEverySize)
{
    RefuseBlocksAbove(LargestWindow);
    for (unsigned cinfo = 0; cinfo < 16; ++cinfo)
        for (const unsigned distance : {1u, 2u, 16u, 300u, 5000u, 40000u}) {
            // Four bytes, then a match of 258 from a distance that no byte has been written to.
            BitWriter stream(cinfo << 4 | 8, 0x01);
            stream.Block(true, 1).Fixed(0).Fixed(200).Fixed(3).Fixed(77).Fixed(285);
            unsigned code = 0;
            while (code < 29 &&
                   (code < 4 ? code + 1 : (2u + code % 2) << (code / 2 - 1)) < distance)
                ++code;
            stream.Code(code, 5).Number(0, code < 4 ? 0 : code / 2 - 1).Fixed(256).Pad(4);
            const Outcome outcome = Try(FileAround(stream.Stream()));
            EXPECT_EQ(4, outcome.width);
        }
}

TEST_F(DamagedPng, BlocksThatBreakTheirOwnCodes)
{
    // A dynamic block with these lengths of the code length code (in the order of the format), and
    // then whatever bits.
    const std::uint8_t lengths[][19] = {
        {0},                                                       // no code at all
        {1},                                                       // 16 alone: nothing before it
        {0, 1},                                                    // 17 alone
        {0, 0, 1},                                                 // 18 alone, up to 138 a time
        {0, 0, 0, 1},                                              // 0 alone: empty trees
        {1, 0, 0, 1},                                              // 16 and 0
        {2, 2, 2, 2},                                              // 16, 17, 18 and 0
        {1, 1, 1, 1},                                              // over-subscribed
        {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7}, // far from complete
        {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1}, // lengths 1 and 15
        {0, 0, 2, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 2, 0}, // 18, 0, 2 and 1
    };
    Random random(11);
    for (const auto& code : lengths)
        for (const unsigned hlit : {0u, 1u, 29u, 30u, 31u})
            for (const unsigned hdist : {0u, 1u, 29u, 31u})
                for (int variant = 0; variant < 12; ++variant) {
                    BitWriter stream;
                    stream.Block(variant % 2 != 0, 2);
                    stream.Number(hlit, 5).Number(hdist, 5).Number(15, 4);
                    for (const std::uint8_t length : code)
                        stream.Number(length, 3);
                    for (int i = 0; i < 40 * variant; ++i)
                        stream.Number(variant < 3 ? 0 : variant < 6 ? 255 : random(), 8);
                    Try(FileAround(stream.Stream()));
                }
    EXPECT_EQ(11 * 5 * 4 * 12, files);
}

TEST_F(DamagedPng, ADistanceTreeOfOneChildlessRoot)
{
    // Literals 0 and 256 and length 257 of 2 bits each, no distance at all: 18, 18 and single
    // lengths say so. Then the symbol 257.
    BitWriter stream;
    stream.Block(true, 2).Number(1, 5).Number(0, 5).Number(14, 4);
    // Code lengths 18: 1 bit, 0: 2 bits, 2: 2 bits (in the order 16 17 18 0 8 7 9 6 10 5 11 4 12 3
    // 13 2 14 1).
    for (const unsigned length :
         {0u, 0u, 1u, 2u, 0u, 0u, 0u, 0u, 0u, 0u, 0u, 0u, 0u, 0u, 0u, 2u, 0u, 0u})
        stream.Number(length, 3);
    const auto two = [&] { stream.Code(3, 2); };  // the symbol 2
    const auto zero = [&] { stream.Code(2, 2); }; // the symbol 0
    two();                                        // literal 0
    stream.Code(0, 1).Number(138 - 11, 7);        // 138 zeros
    stream.Code(0, 1).Number(117 - 11, 7);        // 117 more: up to 255
    two();                                        // 256
    two();                                        // 257
    zero();                                       // the only distance has no code
    stream.Code(0, 2).Code(2, 2).Pad(8);          // a literal, then a match without a distance
    const Outcome outcome = Try(FileAround(stream.Stream()));
    EXPECT_EQ(Outcome::Loaded, outcome.kind);
    EXPECT_EQ(4, outcome.width);
}

TEST_F(DamagedPng, RandomStreamsAndRandomDamage)
{
    Random random(5);
    for (int i = 0; i < 4000; ++i) {
        Bytes stream{0x78, 0x01};
        for (unsigned length = random() % 200; length > 0; --length)
            stream.push_back(static_cast<std::uint8_t>(random()));
        Try(FileAround(stream));
    }
    for (const Kind& kind : Kinds)
        for (const bool interlaced : {false, true}) {
            const Bytes whole = SmallFile(kind, interlaced);
            for (int i = 0; i < 300; ++i) {
                Bytes file = whole;
                for (unsigned changes = 1 + random() % 8; changes > 0; --changes)
                    file[random() % file.size()] = static_cast<std::uint8_t>(random());
                Try(file);
            }
        }
}

TEST_F(DamagedPng, AMegabyteOfEmptyFixedBlocks)
{
    RefuseBlocksAbove(LargestWindow);
    // 3 header bits and the 7 bits of the end of block, over and over.
    BitWriter stream;
    while (stream.Stream().size() < 1u << 20)
        stream.Block(false, 1).Fixed(256);
    const Outcome outcome = Try(FileAround(stream.Stream()));
    EXPECT_EQ(4, outcome.width);
}
