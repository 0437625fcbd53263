// SPDX-License-Identifier: MIT
#include <ORVEX/Ping.h>

#include "LibPng.h"
#include "PngFile.h"
#include "Random.h"

#include <ORVEX/Png.h>

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

using ORVEX::Bitmap;
using ORVEX::BufferBase;
using ORVEX::Color;
using ORVEX::Ping;
using ORVEX::Point;
using Bytes = std::vector<std::uint8_t>;

static_assert(sizeof(Ping) == sizeof(Bitmap), "no fields of its own");
static_assert(!std::is_polymorphic<Ping>::value, "and no virtual operations");

namespace {

bool Load(Ping& ping, const Bytes& file)
{
    const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
    const OwnBlock block(file);
    const bool result = ping.Load(block.Range());
    EXPECT_EQ(nodes, ZrPngHuffmanTree::leakTracker);
    return result;
}

void ExpectSize(const Ping& ping, std::int32_t width, std::int32_t height)
{
    EXPECT_EQ(width, ping.GetSize().x);
    EXPECT_EQ(height, ping.GetSize().y);
    EXPECT_EQ(static_cast<unsigned long>(width) * static_cast<unsigned long>(height),
              ping.Pixels().Length());
}

bool IsTaken(int colorType, int depth)
{
    switch (colorType) {
    case 0:
        return depth == 1 || depth == 8;
    case 2:
        return depth == 8 || depth == 16;
    case 3:
        return depth == 4 || depth == 8;
    default:
        return depth == 8;
    }
}

// The colour that the rules of the decoder make of a picture's samples.
Color Expected(const Picture& picture, std::uint32_t x, std::uint32_t y)
{
    const auto sample = [&](unsigned channel) { return picture.Sample(x, y, channel); };
    const auto byte = [&](unsigned channel) {
        return static_cast<unsigned char>(picture.depth == 16 ? sample(channel) >> 8
                                                              : sample(channel));
    };
    // The three values that are kept of tRNS.
    unsigned col[3] = {0x7fffffff, 0x7fffffff, 0x7fffffff};
    for (std::size_t i = 0; i < 3; ++i) {
        const Bytes& bytes = picture.transparency;
        if (picture.colorType == 3 && i < bytes.size())
            col[i] = bytes[i];
        else if (picture.colorType != 3 && 2 * i < bytes.size())
            col[i] = bytes[2 * i] * 256u + bytes[2 * i + 1];
    }
    const auto isAny = [&](unsigned value) {
        return value == col[0] || value == col[1] || value == col[2];
    };
    const auto isKey = [&](unsigned a, unsigned b, unsigned c) {
        return a == col[0] && b == col[1] && c == col[2];
    };

    switch (picture.colorType) {
    case 0:
        if (picture.depth == 1 && picture.interlaced)
            return Color();
        if (picture.depth == 1) {
            const unsigned char grey = sample(0) ? 255 : 0;
            return Color(grey, grey, grey, 0);
        }
        return Color(byte(0), byte(0), byte(0), isAny(sample(0)) ? 0 : 255);
    case 2: {
        bool transparent = isKey(sample(0), sample(1), sample(2));
        if (picture.depth == 16 && picture.interlaced)
            transparent = isKey(sample(0) >> 8, sample(0) & 255, sample(1) >> 8);
        return Color(byte(0), byte(1), byte(2), transparent ? 0 : 255);
    }
    case 3: {
        const unsigned index = sample(0);
        if (index >= picture.palette.size() / 3 || (picture.depth == 4 && picture.interlaced))
            return Color();
        const std::uint8_t* const entry = &picture.palette[3 * index];
        return Color(entry[0], entry[1], entry[2], isAny(index) ? 0 : 255);
    }
    case 4:
        return Color(byte(0), byte(0), byte(0), byte(1));
    default:
        return Color(byte(0), byte(1), byte(2), byte(3));
    }
}

void ExpectPicture(const Picture& picture, const Ping& ping)
{
    if (!IsTaken(picture.colorType, picture.depth)) {
        ExpectSize(ping, 0, 0);
        return;
    }
    ExpectSize(ping, static_cast<std::int32_t>(picture.width),
               static_cast<std::int32_t>(picture.height));
    const Color* pixel = ping.Pixels().Begin();
    for (std::uint32_t y = 0; y < picture.height; ++y)
        for (std::uint32_t x = 0; x < picture.width; ++x, ++pixel) {
            const Color expected = Expected(picture, x, y);
            ASSERT_TRUE(expected.alpha == pixel->alpha && expected.red == pixel->red &&
                        expected.green == pixel->green && expected.blue == pixel->blue)
                << "pixel " << x << ", " << y;
        }
}

// Samples with slopes and a little noise; they compress, so that zlib stores no block.
Picture Draw(std::uint32_t width, std::uint32_t height, int colorType, int depth, bool interlaced,
             unsigned seed)
{
    Random random(seed);
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.colorType = colorType;
    picture.depth = depth;
    picture.interlaced = interlaced;
    const std::size_t rowBytes = (std::size_t(width) * picture.BitsPerPixel() + 7) / 8;
    for (std::uint32_t y = 0; y < height; ++y) {
        Bytes row(rowBytes);
        for (std::size_t i = 0; i < rowBytes; ++i)
            row[i] =
                static_cast<std::uint8_t>(i / 4 * 5 + y * 3 + (random() % 8 == 0 ? random() : 0));
        picture.rows.push_back(row);
    }
    if (colorType == 3)
        for (unsigned i = 0; i < 3u << depth; ++i)
            picture.palette.push_back(static_cast<std::uint8_t>(random()));
    return picture;
}

const struct {
    int colorType;
    int depth;
} AllFormats[] = {{0, 1}, {0, 2}, {0, 4}, {0, 8}, {0, 16}, {2, 8}, {2, 16}, {3, 1},
                  {3, 2}, {3, 4}, {3, 8}, {4, 8}, {4, 16}, {6, 8}, {6, 16}};

void ExpectAsLibPngReads(const Bytes& file)
{
    Picture read;
    ASSERT_TRUE(ReadWithLibPng(file, read));
    Ping ping;
    ASSERT_TRUE(Load(ping, file));
    ExpectPicture(read, ping);
}

Bytes Pack(const Bytes& data)
{
    Bytes out(compressBound(static_cast<uLong>(data.size())));
    uLongf size = static_cast<uLongf>(out.size());
    EXPECT_EQ(Z_OK, compress2(out.data(), &size, data.data(), static_cast<uLong>(data.size()), 9));
    out.resize(size);
    return out;
}

} // namespace

TEST(Ping, EmptyBufferFailsAndEmptiesTheBitmap)
{
    Ping ping;
    ping.ResizeNoCopy(Point(2, 2));
    EXPECT_FALSE(ping.Load(BufferBase::Zero));
    ExpectSize(ping, 0, 0);
    EXPECT_TRUE(ping.Empty());
}

TEST(Ping, BadSignatureFailsAndEmptiesTheBitmap)
{
    Ping ping;
    ping.ResizeNoCopy(Point(2, 2));
    EXPECT_FALSE(Load(ping, {137, 80, 78, 71, 13, 10, 26, 11, 0, 0, 0, 0}));
    ExpectSize(ping, 0, 0);
    ping.ResizeNoCopy(Point(2, 2));
    EXPECT_FALSE(Load(ping, {137}));
    ExpectSize(ping, 0, 0);
}

TEST(Ping, PaletteOfOddLengthFailsAndEmptiesTheBitmap)
{
    Ping ping;
    ping.ResizeNoCopy(Point(2, 2));
    EXPECT_FALSE(Load(ping, PngFile().Header(1, 1, 8, 3).Chunk("PLTE", Bytes(10)).End().bytes));
    ExpectSize(ping, 0, 0);
}

TEST(Ping, SignatureAloneIsAnEmptySuccess)
{
    Ping ping;
    ping.ResizeNoCopy(Point(2, 2));
    EXPECT_TRUE(Load(ping, PngFile().bytes));
    ExpectSize(ping, 0, 0);
}

TEST(Ping, RgbaKeepsItsFourSamples)
{
    // 2 x 2; each line begins with filter type 0.
    const Bytes lines = {0, 1, 2, 3, 4, 5, 6, 7, 8, 0, 9, 10, 11, 12, 13, 14, 15, 16};
    // Runs of nothing, so zlib would store them; the fixed code does not.
    z_stream zip = {};
    ASSERT_EQ(Z_OK, deflateInit2(&zip, 9, Z_DEFLATED, 15, 8, Z_FIXED));
    Bytes data(200);
    Bytes in = lines;
    zip.next_in = in.data();
    zip.avail_in = static_cast<uInt>(in.size());
    zip.next_out = data.data();
    zip.avail_out = static_cast<uInt>(data.size());
    ASSERT_EQ(Z_STREAM_END, deflate(&zip, Z_FINISH));
    data.resize(zip.total_out);
    deflateEnd(&zip);
    Ping ping;
    ASSERT_TRUE(Load(ping, PngFile().Header(2, 2, 8, 6).Chunk("IDAT", data).End().bytes));
    ExpectSize(ping, 2, 2);
    const Color& last = ping.GetPixel(Point(1, 1));
    EXPECT_EQ(13, last.red);
    EXPECT_EQ(14, last.green);
    EXPECT_EQ(15, last.blue);
    EXPECT_EQ(16, last.alpha);
    EXPECT_EQ(4, ping.GetPixel(Point(0, 0)).alpha);
    EXPECT_EQ(8, ping.GetPixel(Point(1, 0)).alpha);
    EXPECT_EQ(12, ping.GetPixel(Point(0, 1)).alpha);
}

TEST(Ping, FormatThatIsNotTakenIsAnEmptySuccess)
{
    for (const auto& format : AllFormats) {
        if (IsTaken(format.colorType, format.depth))
            continue;
        Ping ping;
        ping.ResizeNoCopy(Point(3, 3));
        EXPECT_TRUE(
            Load(ping, WriteWithLibPng(Draw(4, 4, format.colorType, format.depth, false, 1))));
        ExpectSize(ping, 0, 0);
    }
}

TEST(Ping, SecondLoadReplacesTheFirst)
{
    Ping ping;
    ASSERT_TRUE(Load(ping, WriteWithLibPng(Draw(9, 7, 6, 8, false, 1))));
    ExpectSize(ping, 9, 7);
    const Picture second = Draw(3, 21, 2, 8, false, 2); // as many pixels
    ASSERT_TRUE(Load(ping, WriteWithLibPng(second)));
    ExpectPicture(second, ping);
}

TEST(Ping, LoadsEveryFormatFilterAndSizeAsLibPngReadsThem)
{
    for (const auto& format : AllFormats)
        for (bool interlaced : {false, true})
            for (int filters : {0x08, 0x10, 0x20, 0x40, 0x80, 0xf8})
                for (std::uint32_t size : {1u, 2u, 3u, 5u, 8u, 9u, 33u, 64u}) {
                    SCOPED_TRACE(format.colorType * 100 + format.depth);
                    const Picture picture = Draw(size, size < 9 ? size + 2 : 20, format.colorType,
                                                 format.depth, interlaced, size);
                    Packing packing;
                    packing.filters = filters;
                    packing.strategy = size < 9 ? Z_FIXED : Z_DEFAULT_STRATEGY;
                    const Bytes file = WriteWithLibPng(picture, packing);
                    ExpectAsLibPngReads(file);
                    Ping ping;
                    ASSERT_TRUE(Load(ping, file));
                    ExpectPicture(picture, ping);
                    if (HasFatalFailure())
                        return;
                }
}

TEST(Ping, LoadsEveryLevelAndStrategyAsLibPngReadsThem)
{
    const Picture picture = Draw(150, 90, 6, 8, false, 4);
    for (int strategy : {Z_DEFAULT_STRATEGY, Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED})
        for (int level = 1; level <= 9; ++level) {
            Packing packing;
            packing.level = level;
            packing.strategy = strategy;
            ExpectAsLibPngReads(WriteWithLibPng(picture, packing));
        }
}

TEST(Ping, KeysAreComparedByTheirOwnRules)
{
    const Bytes cases[] = {{0, 40}, {0, 40, 0, 43, 0, 46}, {40, 43, 46, 49}, {17, 0, 40, 1, 2, 3}};
    for (const auto& format : AllFormats)
        for (bool interlaced : {false, true})
            for (const Bytes& transparency : cases) {
                if (format.colorType > 3 || (format.colorType == 0 && transparency.size() != 2) ||
                    (format.colorType == 2 && transparency.size() != 6))
                    continue;
                Picture picture = Draw(90, 40, format.colorType, format.depth, interlaced, 6);
                picture.transparency = transparency;
                if (format.colorType == 3)
                    picture.transparency.resize(
                        std::min(transparency.size(), std::size_t(1) << format.depth));
                if (format.colorType == 0 && format.depth < 8)
                    picture.transparency = {0, 1};
                if (format.colorType == 2) // one pixel has the key for certain
                    for (std::size_t i = 0; i < 6; ++i) {
                        if (format.depth == 16)
                            picture.rows[3][6 * 5 + i] = transparency[i];
                        else
                            picture.rows[3][3 * 5 + i / 2] = transparency[i | 1];
                    }
                ExpectAsLibPngReads(WriteWithLibPng(picture));
                if (HasFatalFailure())
                    return;
            }
}

TEST(Ping, IndicesPastThePaletteStayTransparentBlack)
{
    Picture picture = Draw(60, 30, 3, 8, false, 8);
    const Bytes whole = WriteWithLibPng(picture);
    picture.palette.resize(3 * 20);
    // libpng would not write it so; only the palette chunk is another.
    PngFile file;
    Bytes lines;
    for (const Bytes& row : picture.rows) {
        lines.push_back(0);
        lines.insert(lines.end(), row.begin(), row.end());
    }
    file.Header(60, 30, 8, 3).Chunk("PLTE", picture.palette).Chunk("IDAT", Pack(lines)).End();
    Ping ping;
    ASSERT_TRUE(Load(ping, file.bytes));
    ExpectPicture(picture, ping);
}

TEST(Ping, TruncatedFilesLoadAsFarAsTheyGo)
{
    // What has come so far is what the whole file shows; the rest is transparent black.
    for (const auto& format : AllFormats)
        for (bool interlaced : {false, true}) {
            if (!IsTaken(format.colorType, format.depth))
                continue;
            const Picture picture = Draw(24, 16, format.colorType, format.depth, interlaced, 9);
            const Bytes file = WriteWithLibPng(picture);
            Ping whole;
            ASSERT_TRUE(Load(whole, file));
            for (std::size_t size = 0; size < file.size(); ++size) {
                // The image data is one chunk, and a chunk that is cut does not count: its length
                // is made to fit.
                Bytes part(file.begin(), file.begin() + static_cast<long>(size));
                Ping ping;
                EXPECT_EQ(size >= 8, Load(ping, part));
                const std::string idat = "IDAT";
                const auto at = std::search(part.begin(), part.end(), idat.begin(), idat.end());
                if (size < 4 || part.end() - at < 8)
                    continue;
                const std::size_t length = static_cast<std::size_t>(part.end() - at) - 4;
                for (int i = 0; i < 4; ++i)
                    *(at - 4 + i) = static_cast<std::uint8_t>(length >> (24 - 8 * i));
                part.insert(part.end(), 4, 0);
                ASSERT_TRUE(Load(ping, part));
                ExpectSize(ping, 24, 16);
                unsigned shown = 0;
                for (unsigned long i = 0; i < 24 * 16; ++i) {
                    const Color& pixel = ping.Pixels()[i];
                    const Color& full = whole.Pixels()[i];
                    const bool isFull = pixel.alpha == full.alpha && pixel.red == full.red &&
                                        pixel.green == full.green && pixel.blue == full.blue;
                    const bool isEmpty = pixel.alpha + pixel.red + pixel.green + pixel.blue == 0;
                    ASSERT_TRUE(isFull || isEmpty) << size << ' ' << i;
                    shown += isFull && !isEmpty;
                }
                if (size == file.size() - 20) { // Adler-32, checksum and IEND are missing
                    const bool isDrawn = format.depth >= 8 || !interlaced;
                    EXPECT_LE(isDrawn && format.depth != 1 ? 380u : 0u, shown);
                }
            }
        }
}

TEST(Ping, DamagedFilesLoadOrFailWithoutHarm)
{
    Random random(31);
    for (const auto& format : AllFormats)
        for (int round = 0; round < 60; ++round) {
            Bytes file =
                WriteWithLibPng(Draw(1 + random() % 40, 1 + random() % 20, format.colorType,
                                     format.depth, random() % 2 == 0, random()));
            for (unsigned change = 1 + random() % 6; change > 0; --change) {
                std::size_t at = random() % file.size();
                if (at >= 16 && at < 24) // not the size: images of gigabytes are slow to clear
                    at += 8;
                file[at] = static_cast<std::uint8_t>(random() % 2 ? random() : file[at] ^ 1);
            }
            Ping ping;
            Load(ping, file);
        }
}

TEST(Ping, NoiseBehindTheSignatureLoadsWithoutHarm)
{
    Random random(32);
    for (int round = 0; round < 2000; ++round) {
        PngFile file;
        file.Header(1 + random() % 9, 1 + random() % 9, 8, random() % 7, random() % 2);
        Bytes noise(random() % 80);
        for (std::uint8_t& byte : noise)
            byte = static_cast<std::uint8_t>(random());
        if (noise.size() > 2) {
            noise[0] = 0x78;
            noise[1] = 1;
        }
        file.Chunk(random() % 8 ? "IDAT" : "PLTE", noise);
        file.bytes.insert(file.bytes.end(), noise.begin(), noise.end());
        Ping ping;
        Load(ping, file.bytes);
    }
}

TEST(Ping, SeveralThreadsLoadAtOnceAndCountTheirNodesTogether)
{
    const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
    const Picture picture = Draw(40, 30, 6, 8, false, 10);
    const Bytes file = WriteWithLibPng(picture);
    Ping pings[4];
    std::vector<std::thread> threads;
    for (Ping& ping : pings)
        threads.emplace_back([&ping, &file] {
            Bytes own = file;
            for (int i = 0; i < 50; ++i)
                ping.Load(BufferBase(own.data(), own.size()));
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(nodes, ZrPngHuffmanTree::leakTracker);
    for (const Ping& ping : pings)
        ExpectPicture(picture, ping);
}

TEST(Ping, IconsOfADesktopLoadAsLibPngReadsThem)
{
    const std::filesystem::path folder = "/usr/share/icons/Tango";
    if (!std::filesystem::is_directory(folder))
        GTEST_SKIP() << "there are no icons in " << folder << "; tango-icon-theme has them";
    unsigned pictures = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != ".png" || entry.is_symlink())
            continue;
        std::ifstream in(entry.path(), std::ios::binary);
        const Bytes file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        SCOPED_TRACE(entry.path());
        ExpectAsLibPngReads(file);
        if (HasFailure())
            return;
        ++pictures;
    }
    EXPECT_LE(200u, pictures);
    RecordProperty("pictures", static_cast<int>(pictures));
}
