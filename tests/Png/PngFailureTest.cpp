// SPDX-License-Identifier: MIT
// Every allocation of a decode is refused once.
#include <ORVEX/Ping.h>
#include <ORVEX/Png.h>

#include "BitWriter.h"
#include "PngFile.h"
#include "Support/ExpectRaises.h"
#include "Support/FailingNew.h"

#include <gtest/gtest.h>

#include <new>
#include <vector>

using ORVEX::Err;
using ORVEX::Ping;
using Bytes = std::vector<std::uint8_t>;

namespace {

const char UncompressorFile[] = "src/Png/Uncompressor";
const char DecoderFile[] = "src/Png/Decoder";

// An image of 2 x 1 RGBA pixels and a palette nobody needs; fixed and dynamic blocks.
Bytes SmallImage()
{
    BitWriter writer(0x08); // a window of 256 bytes
    writer.Block(false, 1).Fixed(0).Fixed(1).Fixed(2).Fixed(3).Fixed(256);
    // Dynamic: literal 4 and the end have codes of 1 bit, given plainly by a code of 4 bits.
    writer.Block(true, 2).Number(0, 5).Number(0, 5).Number(15, 4);
    writer.Number(0, 3).Number(0, 3).Number(0, 3);
    for (int i = 0; i < 16; ++i)
        writer.Number(4, 3);
    for (unsigned i = 0; i < 258; ++i)
        writer.Code(i == 4 || i == 256 ? 1 : 0, 4);
    for (int i = 0; i < 5; ++i)
        writer.Code(0, 1);
    writer.Code(1, 1);
    return PngFile()
        .Header(2, 1, 8, 6)
        .Chunk("PLTE", {1, 2, 3})
        .Chunk("IDAT", writer.Stream())
        .End()
        .bytes;
}

enum Outcome { Loaded, LoadedEmpty, RaisedErr, RaisedBadAlloc };

Outcome LoadOnce(const ORVEX::BufferBase& file, Ping& ping, Err& raised)
{
    const CapturedCerr quiet;
    try {
        if (!ping.Load(file))
            ADD_FAILURE() << "a good file did not load";
        return ping.Empty() ? LoadedEmpty : Loaded;
    } catch (const Err& err) {
        raised = err;
        return RaisedErr;
    } catch (const std::bad_alloc&) {
        return RaisedBadAlloc;
    }
}

} // namespace

TEST(PngFailure, EveryRefusedAllocationEndsTheLoadCleanly)
{
    const Bytes bytes = SmallImage();
    const OwnBlock block(bytes);
    const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
    long outcomes[4] = {};
    for (long which = 1;; ++which) {
        Ping ping;
        Err raised = Raised([] { throw Err("none", 0, Err::ERR_PARAMETER, 0); });
        const long live = LiveBlocks();
        Outcome outcome;
        {
            const FailingNew next(which);
            outcome = LoadOnce(block.Range(), ping, raised);
            if (!next.Hit()) {
                EXPECT_EQ(Loaded, outcome);
                EXPECT_EQ(2, ping.GetSize().x);
                EXPECT_EQ(4, ping.GetPixel(ORVEX::Point(1, 0)).alpha);
                break;
            }
        }
        ++outcomes[outcome];
        EXPECT_NE(Loaded, outcome) << "allocation " << which;
        EXPECT_TRUE(ping.Empty());
        EXPECT_EQ(live, LiveBlocks()) << "allocation " << which;
        EXPECT_EQ(nodes, ZrPngHuffmanTree::leakTracker) << "allocation " << which;
        if (outcome == RaisedErr) {
            EXPECT_EQ(Err::ERR_MEMORY, raised.code);
        }
    }
    EXPECT_EQ(2, outcomes[LoadedEmpty]); // the raster and the lines
    // The image data, 3 chunks (the palette's and two more), the palette, the window, 2 arrays for
    // each of 3 canonical codes, and the bitmap.
    EXPECT_EQ(1 + 3 + 1 + 1 + 6 + 1, outcomes[RaisedErr]);
    EXPECT_LT(500, outcomes[RaisedBadAlloc]); // the nodes
}

TEST(PngFailure, ArraysRaiseWhatTheyAskedFor)
{
    const Bytes bytes = SmallImage();
    const OwnBlock block(bytes);
    ZrGenericPngDecoder decoder;
    {
        const FailingNew next;
        ExpectRaises(DecoderFile, Err::ERR_MEMORY, static_cast<int>(bytes.size()),
                     [&] { decoder.Decode(block.Range()); });
    }
    {
        const FailingNew second(2);
        ExpectRaises(DecoderFile, Err::ERR_MEMORY, 13, [&] { decoder.Decode(block.Range()); });
    }
    {
        const FailingNew next;
        unsigned char entries[6] = {};
        ExpectRaises("src/Png/Palette", Err::ERR_MEMORY, 6,
                     [&] { decoder.plt.Decode(6, entries); });
        EXPECT_EQ(0u, decoder.plt.nEntry);
        EXPECT_EQ(nullptr, decoder.plt.entry);
    }
    {
        const FailingNew next;
        ZrPngUncompressor uncompressor;
        unsigned char stream[] = {0x78, 1, 0, 0};
        ExpectRaises(UncompressorFile, Err::ERR_MEMORY, 32768,
                     [&] { uncompressor.Uncompress(4, stream); });
    }
    for (long which : {1, 2}) {
        const FailingNew fails(which);
        unsigned lengths[3] = {1, 2, 2};
        unsigned codes[3];
        ExpectRaises(UncompressorFile, Err::ERR_MEMORY, 3, [&] {
            ZrPngUncompressor().MakeDynamicHuffmanCode(lengths, codes, 3, lengths);
        });
    }
}

TEST(PngFailure, RefusedNodeLeavesNoTree)
{
    const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
    unsigned lengths[3] = {1, 2, 2};
    unsigned codes[3] = {0, 2, 3};
    for (long which = 1; which <= 5; ++which) {
        const long live = LiveBlocks();
        const FailingNew fails(which);
        EXPECT_THROW(ZrPngUncompressor().MakeHuffmanTree(3, lengths, codes), std::bad_alloc);
        EXPECT_EQ(live, LiveBlocks());
        EXPECT_EQ(nodes, ZrPngHuffmanTree::leakTracker);
    }
}

TEST(PngFailure, RefusedRasterOrLinesKeepTheFormerImage)
{
    ZrRawPngDecoder decoder;
    decoder.hdr.width = 1;
    decoder.hdr.height = 1;
    decoder.hdr.bitDepth = 8;
    decoder.hdr.colorType = 6;
    ASSERT_EQ(1, decoder.PrepareOutput());
    unsigned char* const raster = decoder.rgba;
    unsigned char* const lines = decoder.twoLineBuf;
    decoder.hdr.width = 5;
    for (long which : {1, 2}) {
        const long live = LiveBlocks();
        const FailingNew fails(which);
        EXPECT_EQ(0, decoder.PrepareOutput());
        EXPECT_EQ(live, LiveBlocks());
        EXPECT_EQ(1u, decoder.outWidth);
        EXPECT_EQ(raster, decoder.rgba);
        EXPECT_EQ(lines, decoder.twoLineBuf);
    }
}

TEST(PngFailure, NothingIsAllocatedForAChunkThatLies)
{
    PngFile file;
    file.Number(0x7fffffff).Number(0x49444154); // IDAT
    file.bytes.insert(file.bytes.end(), 100, 0);
    const OwnBlock block(file.bytes);
    ZrGenericPngDecoder decoder;
    const unsigned char* position = block.Range().Begin() + 8;
    unsigned int length, type, crc;
    unsigned char* data;
    const long before = AllocationsSoFar();
    EXPECT_EQ(0, decoder.ReadChunk(length, data, type, crc, block.Range(), position));
    EXPECT_EQ(before, AllocationsSoFar());
}

TEST(PngFailure, NoOldBytesOfTheHeapShow)
{
    FillNewBlocksWith(0xA5);
    // A match before the first byte, in a fixed block, then an early end: a line of 8 grey pixels
    // and one more that nothing came for.
    BitWriter writer;
    writer.Block(true, 1).Fixed(0).Fixed(5).Fixed(257).Code(2, 5); // length 3 at distance 3
    writer.Fixed(257).Code(20, 5).Number(5, 9);                    // and at distance 1030
    writer.Fixed(256);
    const OwnBlock block(PngFile().Header(8, 2, 8, 0).Chunk("IDAT", writer.Stream()).End().bytes);
    Ping ping;
    ASSERT_TRUE(ping.Load(block.Range()));
    FillNewBlocksWith(-1);
    for (std::int32_t y = 0; y < 2; ++y)
        for (std::int32_t x = 0; x < 8; ++x) {
            const ORVEX::Color& pixel = ping.GetPixel(ORVEX::Point(x, y));
            // 5, then zero, 0, 5 by the first match, then zeros; the filter byte is not shown.
            const int grey = y == 0 && (x == 0 || x == 3) ? 5 : 0;
            EXPECT_EQ(grey, pixel.red) << x << ' ' << y;
            EXPECT_EQ(y == 0 && x < 7 ? 255 : 0, pixel.alpha) << x << ' ' << y;
        }
}
