// SPDX-License-Identifier: MIT
// Files that are put together well, of any format, size, interlacing, palette, transparency,
// filters and pixels, cut or damaged in their compressed data alone; against a model that takes
// the image data byte by byte.
//
//   ./tools/fuzz 60 StructuredPngFuzz
#include "DeflateWriter.h"
#include "Harness.h"
#include "PlainInflate.h"
#include "Png/PngFile.h"
#include "Png/RawModel.h"

#include <ORVEX/Ping.h>
#include <ORVEX/Png.h>

#include <algorithm>
#include <cstring>

using namespace ORVEX;

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Format {
    unsigned int colorType;
    unsigned int depth;
    unsigned int bits; // of a pixel
    bool taken;
};

const Format Formats[] = {
    {0, 1, 1, true},  {0, 8, 8, true},    {2, 8, 24, true},   {2, 16, 48, true},
    {3, 4, 4, true},  {3, 8, 8, true},    {4, 8, 16, true},   {6, 8, 32, true},
    {0, 2, 2, false}, {0, 4, 4, false},   {0, 16, 16, false}, {3, 1, 1, false},
    {3, 2, 2, false}, {4, 16, 32, false}, {6, 16, 64, false}, {5, 8, 8, false}};

/// One file, as the input describes it.
struct Description {
    explicit Description(Feed& feed)
    {
        const std::uint8_t flags = feed.Byte();
        const std::uint8_t kind = feed.Byte();
        format = Formats[kind & 0x80 ? kind % 16 : kind % 8];
        interlace = kind / 16 % 8 < 4 ? 0 : kind / 16 % 8 < 7 ? 1 : 2;
        width = feed.Number(flags & 1 ? 400 : 20);
        height = feed.Number(flags & 1 ? 3 : 20);
        if (flags & 2)
            std::swap(width, height);
        lateHeader = (flags & 0x1c) == 0x1c;
        refuse = (flags & 0xe0) == 0xe0 ? feed.Byte() % 32 : 0;
        palette.resize(3 * feed.Number(260));
        const std::uint8_t seed = feed.Byte();
        for (std::size_t i = 0; i < palette.size(); ++i)
            palette[i] = static_cast<std::uint8_t>(i * 11 + seed);
        transparency = feed.Bytes(feed.Number(7));
        blocks = feed.Byte();
        cut = feed.Byte();
        damage = feed.Byte();
        split = feed.Number(511);
        extra = feed.Byte();
        MakeImage(feed);
    }

    // The lines of all passes, each with its filter, as far as the input describes them.
    void MakeImage(Feed& feed)
    {
        static const unsigned int First[8][2] = {{0, 0}, {0, 0}, {4, 0}, {0, 4},
                                                 {2, 0}, {0, 2}, {1, 0}, {0, 1}};
        static const unsigned int Step[8][2] = {{1, 1}, {8, 8}, {8, 8}, {4, 8},
                                                {4, 4}, {2, 4}, {2, 2}, {1, 2}};
        for (int pass = interlace == 1 ? 1 : 0; pass <= (interlace == 1 ? 7 : 0); ++pass) {
            const std::uint32_t columns = Count(width, First[pass][0], Step[pass][0]);
            const std::uint32_t rows = Count(height, First[pass][1], Step[pass][1]);
            for (std::uint32_t row = 0; columns != 0 && row < rows; ++row)
                MakeLine(feed, (std::size_t{columns} * format.bits + 7) / 8);
        }
        image.insert(image.end(), extra % 8, 0);
    }

    static std::uint32_t Count(std::uint32_t size, unsigned int first, unsigned int step)
    {
        return size <= first ? 0 : (size - first + step - 1) / step;
    }

    void MakeLine(Feed& feed, std::size_t length)
    {
        const std::uint8_t filter = feed.Byte();
        image.push_back(filter < 250 ? filter % 5 : filter);
        while (length > 0) {
            const std::uint8_t run = feed.Byte();
            const std::size_t count = std::min<std::size_t>(run % 64 + 1, length);
            if (run < 128) {
                image.insert(image.end(), count, feed.Byte());
            } else {
                const Bytes bytes = feed.Bytes(count);
                image.insert(image.end(), bytes.begin(), bytes.end());
                image.insert(image.end(), count - bytes.size(), run);
            }
            length -= count;
        }
    }

    // The image data as a zlib stream.
    Bytes Stream() const
    {
        DeflateWriter writer(7 - blocks / 16 % 8);
        const std::size_t middle = image.size() * (blocks / 4 % 4) / 4;
        const Bytes head(image.begin(), image.begin() + static_cast<long>(middle));
        const Bytes tail(image.begin() + static_cast<long>(middle), image.end());
        if (!head.empty())
            writer.Block(head, false, blocks & 1);
        writer.Block(tail, (damage & 1) == 0, blocks & 2);
        writer.Pad(extra / 8 % 4);
        Bytes stream = writer.Stream();
        if (cut >= 200)
            stream.resize(stream.size() * (cut - 200) / 56);
        if (damage >= 200 && stream.size() > 2)
            stream[2 + damage * 977u % (stream.size() - 2)] ^=
                static_cast<std::uint8_t>(1u << damage % 8);
        return stream;
    }

    Bytes File(const Bytes& stream) const
    {
        PngFile file;
        if (lateHeader)
            file.Chunk("tRNS", transparency); // before its meaning is known
        file.Header(width, height, format.depth, format.colorType, interlace);
        if (!palette.empty())
            file.Chunk("PLTE", palette);
        if (!lateHeader && !transparency.empty())
            file.Chunk("tRNS", transparency);
        const std::size_t first = std::min<std::size_t>(split, stream.size());
        file.Chunk("IDAT", Bytes(stream.begin(), stream.begin() + static_cast<long>(first)));
        if (split % 3 == 0)
            file.Chunk("tEXt", {'a', 0, 'b'});
        file.Chunk("IDAT", Bytes(stream.begin() + static_cast<long>(first), stream.end()));
        if (split % 2 == 0)
            file.End();
        return file.bytes;
    }

    Format format;
    std::uint32_t width, height;
    unsigned int interlace;
    bool lateHeader;
    unsigned int refuse;
    Bytes palette, transparency, image;
    std::uint8_t blocks, cut, damage, extra;
    std::uint32_t split;
};

void ExpectRaster(const ZrRawPngDecoder& decoder, const Description& file, const RawModel& model)
{
    Require(decoder.outWidth == file.width && decoder.outHeight == file.height,
            "the raster has the header's size");
    Require(model.raster.empty() ||
                std::memcmp(decoder.rgba, model.raster.data(), model.raster.size()) == 0,
            "the raster is the model's");
}

void ExpectPixels(const Bitmap& bitmap, const Description& file, const RawModel& model)
{
    if (file.width == 0 || file.height == 0) {
        Require(bitmap.Empty(), "a picture without pixels is empty");
        return;
    }
    Require(bitmap.Pixels().Length() * 4 == model.raster.size(), "there is a pixel for each place");
    const unsigned char* from = model.raster.data();
    for (const Color* pixel = bitmap.Pixels().Begin(); pixel != bitmap.Pixels().End();
         ++pixel, from += 4)
        Require(pixel->red == from[0] && pixel->green == from[1] && pixel->blue == from[2] &&
                    pixel->alpha == from[3],
                "the bitmap's pixels are the raster's");
}

// The image data handed over directly, and all that the decoder tells meanwhile.
void PushBytes(const Description& file, const ZrRawPngDecoder& header)
{
    ZrRawPngDecoder decoder;
    decoder.hdr = header.hdr;
    decoder.plt.Decode(static_cast<unsigned int>(file.palette.size()),
                       const_cast<unsigned char*>(file.palette.data()));
    std::copy(header.trns.col, header.trns.col + 3, decoder.trns.col);
    Require(decoder.PrepareOutput() == 1, "the format is taken again");
    RawModel model(decoder);
    for (const std::uint8_t byte : file.image) {
        const std::int32_t expected = model.Output(byte);
        Require(decoder.Output(byte) == expected, "Output says whether it goes on");
        if (expected != 1)
            break;
    }
    decoder.EndOutput();
    ExpectRaster(decoder, file, model);
    decoder.Flip();
    decoder.Flip();
    ExpectRaster(decoder, file, model);
}

// As an application loads it. False when an allocation was refused.
bool Load(Ping& ping, const Description& file, const BufferBase& bytes)
{
    bool loaded = false;
    const Outcome outcome = Attempt(file.refuse, [&] { loaded = ping.Load(bytes); });
    if (outcome.refused) {
        // A raster that cannot be had counts as a format that is not taken.
        Require(outcome.how != Outcome::Returned || (loaded && ping.Empty()),
                "a refused Load gives no picture");
        return false;
    }
    Require(outcome.how == Outcome::Returned && loaded, "a file without faults is loaded");
    return true;
}

void Check(const Description& file)
{
    const Bytes stream = file.Stream();
    const OwnBlock block(file.File(stream));
    Ping ping;
    const bool loads = file.refuse != 0 || file.extra < 64;
    if (loads && !Load(ping, file, block.Range()))
        return;

    ZrRawPngDecoder decoder;
    Require(decoder.Decode(block.Range()) == 1, "a file without faults is decoded");
    if (!file.format.taken) {
        Require(!decoder.rgba && decoder.outWidth == 0 && ping.Empty(),
                "other formats give no picture");
        return;
    }
    RawModel model(decoder);
    const auto sink = [&model](std::uint8_t byte) { return model.Output(byte) == 1; };
    PlainInflate<decltype(sink)>(stream, sink).Run();
    ExpectRaster(decoder, file, model);
    if (loads)
        ExpectPixels(ping, file, model);
    PushBytes(file, decoder);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
    {
        Feed feed(data, size);
        Check(Description(feed));
    }
    Require(ZrPngHuffmanTree::leakTracker == nodes, "every node of a tree has been released");
    return 0;
}
