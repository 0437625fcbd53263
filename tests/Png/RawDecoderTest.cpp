// SPDX-License-Identifier: MIT
#include <ORVEX/Png.h>

#include "Random.h"
#include "RawModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// Where a field lies; offsetof is for plain records only.
template <class Field> std::size_t Offset(const ZrRawPngDecoder& decoder, const Field& field)
{
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&field) -
                                    reinterpret_cast<const char*>(&decoder));
}

struct FormatCase {
    unsigned colorType;
    unsigned depth;
};

const FormatCase Taken[] = {{0, 1}, {0, 8}, {2, 8}, {2, 16}, {3, 4}, {3, 8}, {4, 8}, {6, 8}};

void SetHeader(ZrRawPngDecoder& decoder, std::uint32_t width, std::uint32_t height,
               FormatCase format, unsigned interlace = 0)
{
    decoder.hdr.width = width;
    decoder.hdr.height = height;
    decoder.hdr.colorType = format.colorType;
    decoder.hdr.bitDepth = format.depth;
    decoder.hdr.interlaceMethod = interlace;
}

void SetPalette(ZrRawPngDecoder& decoder, unsigned entries)
{
    std::vector<unsigned char> data;
    for (unsigned i = 0; i < entries * 3; ++i)
        data.push_back(static_cast<unsigned char>(i * 37 + 11));
    ASSERT_EQ(1, decoder.plt.Decode(entries * 3, data.data()));
}

std::vector<unsigned char> Raster(const ZrRawPngDecoder& decoder)
{
    return {decoder.rgba, decoder.rgba + std::size_t(decoder.outWidth) * decoder.outHeight * 4};
}

// Feeds bytes until the decoder wants no more; -1 when it takes them all.
long Feed(ZrRawPngDecoder& decoder, const std::vector<unsigned char>& bytes)
{
    for (std::size_t i = 0; i < bytes.size(); ++i)
        if (decoder.Output(bytes[i]) != 1)
            return static_cast<long>(i);
    return -1;
}

// Random bytes whose filter types are mostly known ones: small numbers are frequent everywhere.
std::vector<unsigned char> RandomBytes(std::size_t size, Random& random)
{
    std::vector<unsigned char> bytes(size);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random() % 3 == 0 ? random() : random() % 6);
    return bytes;
}

void ExpectAsTheModel(ZrRawPngDecoder& decoder, const std::vector<unsigned char>& bytes)
{
    ASSERT_EQ(1, decoder.PrepareOutput());
    RawModel model(decoder);
    for (unsigned char byte : bytes) {
        const int expected = model.Output(byte);
        ASSERT_EQ(expected, decoder.Output(byte));
        if (expected != 1)
            break;
    }
    ASSERT_EQ(1, decoder.EndOutput());
    ASSERT_EQ(model.raster, Raster(decoder));
    ASSERT_EQ(model.x, decoder.x);
    ASSERT_EQ(model.y, decoder.y);
    ASSERT_EQ(model.pass, decoder.pass);
    ASSERT_EQ(model.filter, decoder.filter);
    ASSERT_EQ(model.red, decoder.red);
    ASSERT_EQ(model.green, decoder.green);
    ASSERT_EQ(model.blue, decoder.blue);
    ASSERT_EQ(model.inLineBytePos, decoder.inLineBytePos);
    ASSERT_EQ(model.inPixelBytePos, decoder.inPixelBytePos);
}

// More bytes than any image of that size takes.
std::size_t Plenty(std::uint32_t width, std::uint32_t height)
{
    return (width * 6 + 2) * (height + 2) * 2;
}

// Decodes the pixel (1, 2, 3, 4); its raster is the caller's from then on.
unsigned char* TakeRaster(ZrRawPngDecoder& decoder)
{
    SetHeader(decoder, 1, 1, {6, 8});
    EXPECT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(-1, Feed(decoder, {0, 1, 2, 3, 4}));
    decoder.autoDeleteRgba = 0;
    return decoder.rgba;
}

} // namespace

TEST(ZrRawPngDecoder, FieldsStandInTheirOrder)
{
    const ZrRawPngDecoder decoder;
    const std::size_t pointer = sizeof(void*);
    EXPECT_EQ(pointer, Offset(decoder, decoder.hdr)); // behind the table of virtual operations
    EXPECT_EQ(28u, sizeof(ZrPngHeader));
    const std::size_t plt = Offset(decoder, decoder.plt);
    EXPECT_EQ(pointer == 8 ? 40u : 32u, plt);
    EXPECT_EQ(plt, Offset(decoder, decoder.plt.nEntry));
    EXPECT_EQ(plt + pointer, Offset(decoder, decoder.plt.entry));
    const std::size_t trns = Offset(decoder, decoder.trns);
    EXPECT_EQ(plt + 2 * pointer, trns);
    EXPECT_EQ(trns + 12, Offset(decoder, decoder.gamma));
    EXPECT_EQ(trns + 16, sizeof(ZrGenericPngDecoder));

    const std::size_t width = Offset(decoder, decoder.outWidth);
    EXPECT_EQ(trns + 16, width);
    EXPECT_EQ(width + 4, Offset(decoder, decoder.outHeight));
    const std::size_t rgba = Offset(decoder, decoder.rgba);
    EXPECT_EQ(width + 8, rgba);
    const std::size_t words = rgba + pointer;
    EXPECT_EQ(words, Offset(decoder, decoder.autoDeleteRgba));
    EXPECT_EQ(words + 4, Offset(decoder, decoder.filter));
    EXPECT_EQ(words + 8, Offset(decoder, decoder.x));
    EXPECT_EQ(words + 12, Offset(decoder, decoder.y));
    EXPECT_EQ(words + 16, Offset(decoder, decoder.prepared));
    EXPECT_EQ(words + 20, Offset(decoder, decoder.inLineBytePos));
    EXPECT_EQ(words + 24, Offset(decoder, decoder.inPixelBytePos));
    EXPECT_EQ(words + 28, Offset(decoder, decoder.red));
    EXPECT_EQ(words + 32, Offset(decoder, decoder.green));
    EXPECT_EQ(words + 36, Offset(decoder, decoder.blue));
    EXPECT_EQ(words + 40, Offset(decoder, decoder.lineBytes));
    EXPECT_EQ(words + 44, Offset(decoder, decoder.outPos));
    EXPECT_EQ(words + 48, Offset(decoder, decoder.pass));
    const std::size_t lines = Offset(decoder, decoder.twoLineBuf);
    EXPECT_EQ(pointer == 8 ? words + 56 : words + 52, lines);
    EXPECT_EQ(lines + pointer, Offset(decoder, decoder.curLine));
    EXPECT_EQ(lines + 2 * pointer, Offset(decoder, decoder.prevLine));
    EXPECT_EQ(lines + 3 * pointer, sizeof(ZrRawPngDecoder));
}

TEST(ZrRawPngDecoder, StartsWithoutARaster)
{
    ZrRawPngDecoder decoder;
    EXPECT_EQ(0u, decoder.outWidth);
    EXPECT_EQ(0u, decoder.outHeight);
    EXPECT_EQ(nullptr, decoder.rgba);
    EXPECT_EQ(nullptr, decoder.twoLineBuf);
    EXPECT_EQ(nullptr, decoder.curLine);
    EXPECT_EQ(nullptr, decoder.prevLine);
    EXPECT_EQ(1u, decoder.autoDeleteRgba);
    EXPECT_EQ(100000u, decoder.gamma);
    decoder.ShiftTwoLineBuf();
    decoder.Flip();
    EXPECT_EQ(nullptr, decoder.curLine);
    EXPECT_EQ(0, decoder.Output(0));
    EXPECT_EQ(1, decoder.EndOutput());
}

TEST(ZrRawPngDecoder, TakesExactlyItsFormats)
{
    for (unsigned colorType = 0; colorType < 10; ++colorType)
        for (unsigned depth = 0; depth < 300; ++depth) {
            bool taken = false;
            for (const FormatCase& format : Taken)
                taken = taken || (format.colorType == colorType && format.depth == depth);
            ZrRawPngDecoder decoder;
            SetHeader(decoder, 3, 2, {colorType, depth});
            EXPECT_EQ(taken ? 1 : 0, decoder.PrepareOutput()) << colorType << ' ' << depth;
            EXPECT_EQ(taken ? 3u : 0u, decoder.outWidth);
            EXPECT_EQ(taken ? 2u : 0u, decoder.outHeight);
            EXPECT_EQ(taken, decoder.rgba != nullptr);
            EXPECT_EQ(taken, decoder.twoLineBuf != nullptr);
        }
}

TEST(ZrRawPngDecoder, PreparesForTheFirstByte)
{
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 3, 2, {6, 8});
    ASSERT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(-1, decoder.x);
    EXPECT_EQ(0, decoder.y);
    EXPECT_EQ(0u, decoder.filter);
    EXPECT_EQ(1u, decoder.prepared);
    EXPECT_EQ(0u, decoder.inLineBytePos);
    EXPECT_EQ(0u, decoder.inPixelBytePos);
    EXPECT_EQ(0u, decoder.outPos);
    EXPECT_EQ(1, decoder.pass);
    EXPECT_EQ(decoder.twoLineBuf, decoder.curLine);
    EXPECT_EQ(decoder.twoLineBuf + 12, decoder.prevLine); // 4w bytes further on
    EXPECT_EQ(std::vector<unsigned char>(24), Raster(decoder));
}

TEST(ZrRawPngDecoder, RefusedFormatLeavesTheFormerImage)
{
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 1, 1, {6, 8});
    ASSERT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(-1, Feed(decoder, {0, 1, 2, 3, 4}));
    SetHeader(decoder, 5, 5, {6, 16});
    EXPECT_EQ(0, decoder.PrepareOutput());
    EXPECT_EQ(1u, decoder.outWidth);
    EXPECT_EQ(1u, decoder.outHeight);
    EXPECT_EQ((std::vector<unsigned char>{1, 2, 3, 4}), Raster(decoder));
}

TEST(ZrRawPngDecoder, SizesThatNoPositionDenotesAreRefused)
{
    struct Size {
        std::uint32_t width, height;
        FormatCase format;
    };
    const Size sizes[] = {
        {0x10000, 0x10000, {0, 8}},       // the raster's bytes wrap to 0
        {0xffffffff, 0xffffffff, {6, 8}}, // in 64 bits as well
        {0x40000001, 1, {0, 1}},          // the raster wraps to 4 bytes
        {0x55555556, 3, {2, 8}},          // raster and line both wrap to next to nothing
        {0x55555556, 0, {2, 8}},          // no raster at all, and a line that wraps to 2 bytes
        {0x40000001, 0, {6, 8}},          {0x80000000, 2, {3, 4}}, {1, 0x40000000, {0, 8}},
    };
    for (const Size& size : sizes) {
        ZrRawPngDecoder decoder;
        SetHeader(decoder, size.width, size.height, size.format);
        EXPECT_EQ(0, decoder.PrepareOutput()) << size.width << 'x' << size.height;
        EXPECT_EQ(0u, decoder.outWidth);
        EXPECT_EQ(0u, decoder.outHeight);
        EXPECT_EQ(nullptr, decoder.rgba);
        EXPECT_EQ(nullptr, decoder.twoLineBuf);
    }
}

TEST(ZrRawPngDecoder, ImagesWithoutPixelsTakeNothing)
{
    for (const FormatCase& format : Taken)
        for (unsigned interlace : {0u, 1u})
            for (bool noWidth : {false, true}) {
                ZrRawPngDecoder decoder;
                SetHeader(decoder, noWidth ? 0 : 7, noWidth ? 7 : 0, format, interlace);
                ASSERT_EQ(1, decoder.PrepareOutput());
                EXPECT_EQ(0, decoder.Output(0));
                EXPECT_EQ(0, decoder.Output(0));
                EXPECT_EQ(1, decoder.EndOutput());
            }
}

TEST(ZrRawPngDecoder, UnknownInterlaceMethodTakesNothing)
{
    for (unsigned interlace : {2u, 3u, 255u}) {
        ZrRawPngDecoder decoder;
        SetHeader(decoder, 2, 2, {6, 8}, interlace);
        ASSERT_EQ(1, decoder.PrepareOutput());
        EXPECT_EQ(0, decoder.Output(0));
        EXPECT_EQ(-1, decoder.x);
        EXPECT_EQ(1, decoder.EndOutput());
    }
}

TEST(ZrRawPngDecoder, OneBitGreyIsTransparentBlackOrWhite)
{
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 10, 1, {0, 1});
    decoder.trns.col[0] = 1; // of no account
    ASSERT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(-1, Feed(decoder, {0, 0xa0, 0x40})); // 1010 0000 01
    std::vector<unsigned char> expected;
    for (int white : {1, 0, 1, 0, 0, 0, 0, 0, 0, 1})
        for (int i = 0; i < 4; ++i)
            expected.push_back(i < 3 && white ? 255 : 0);
    EXPECT_EQ(expected, Raster(decoder));
}

TEST(ZrRawPngDecoder, GreyIsTransparentWhereItEqualsAnyOfTheThreeValues)
{
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 4, 1, {0, 8});
    decoder.trns.col[0] = 7;
    decoder.trns.col[1] = 256 + 8; // compared whole
    decoder.trns.col[2] = 9;
    ASSERT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(-1, Feed(decoder, {0, 7, 8, 9, 10}));
    EXPECT_EQ((std::vector<unsigned char>{7, 7, 7, 0, 8, 8, 8, 255, 9, 9, 9, 0, 10, 10, 10, 255}),
              Raster(decoder));
}

TEST(ZrRawPngDecoder, RgbIsTransparentWhereAllThreeSamplesAreTheKey)
{
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 3, 1, {2, 8});
    decoder.trns.col[0] = 1;
    decoder.trns.col[1] = 2;
    decoder.trns.col[2] = 3;
    ASSERT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(-1, Feed(decoder, {0, 1, 2, 3, 1, 2, 4, 3, 2, 1}));
    EXPECT_EQ((std::vector<unsigned char>{1, 2, 3, 0, 1, 2, 4, 255, 3, 2, 1, 255}),
              Raster(decoder));
}

TEST(ZrRawPngDecoder, SixteenBitRgbKeepsTheHighBytesAndComparesWholeSamples)
{
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 2, 1, {2, 16});
    decoder.trns.col[0] = 0x0102;
    decoder.trns.col[1] = 0x0304;
    decoder.trns.col[2] = 0x0506;
    ASSERT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(-1, Feed(decoder, {0, 1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 5, 7}));
    EXPECT_EQ((std::vector<unsigned char>{1, 3, 5, 0, 1, 3, 5, 255}), Raster(decoder));
    EXPECT_EQ(0x0102u, decoder.red);
    EXPECT_EQ(0x0304u, decoder.green);
    EXPECT_EQ(0x0507u, decoder.blue);
}

TEST(ZrRawPngDecoder, InterlacedSixteenBitRgbComparesThePixelsFirstThreeBytes)
{
    for (bool key : {false, true}) {
        ZrRawPngDecoder decoder;
        SetHeader(decoder, 1, 1, {2, 16}, 1);
        decoder.trns.col[0] = key ? 1 : 0x0102;
        decoder.trns.col[1] = key ? 2 : 0x0304;
        decoder.trns.col[2] = key ? 3 : 0x0506;
        ASSERT_EQ(1, decoder.PrepareOutput());
        EXPECT_EQ(-1, Feed(decoder, {0, 1, 2, 3, 4, 5, 6}));
        EXPECT_EQ((std::vector<unsigned char>{1, 3, 5, static_cast<unsigned char>(key ? 0 : 255)}),
                  Raster(decoder));
    }
}

TEST(ZrRawPngDecoder, PaletteTransparencyNamesIndices)
{
    // A tRNS of 0, 255, 255: indices 0 and 255 are transparent, not index 0 alone.
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 3, 1, {3, 8});
    SetPalette(decoder, 256);
    unsigned char trns[3] = {0, 255, 255};
    ASSERT_EQ(1, decoder.trns.Decode(3, trns, 3));
    ASSERT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(-1, Feed(decoder, {0, 0, 1, 255}));
    EXPECT_EQ(0, decoder.rgba[3]);
    EXPECT_EQ(255, decoder.rgba[7]);
    EXPECT_EQ(0, decoder.rgba[11]);
    EXPECT_EQ(11, decoder.rgba[0]);
    EXPECT_EQ(11 + 3 * 37, decoder.rgba[4]);
}

TEST(ZrRawPngDecoder, IndexPastThePaletteLeavesThePixelUntouched)
{
    for (unsigned depth : {4u, 8u}) {
        ZrRawPngDecoder decoder;
        SetHeader(decoder, 2, 1, {3, depth});
        SetPalette(decoder, 2);
        ASSERT_EQ(1, decoder.PrepareOutput());
        decoder.rgba[4] = 99;
        Feed(decoder, depth == 4 ? std::vector<unsigned char>{0, 0x12}
                                 : std::vector<unsigned char>{0, 1, 2});
        EXPECT_EQ(255, decoder.rgba[3]);
        EXPECT_EQ(99, decoder.rgba[4]);
        EXPECT_EQ(0, decoder.rgba[7]);
    }
    ZrRawPngDecoder none; // and without a palette all of them do
    SetHeader(none, 2, 1, {3, 8});
    ASSERT_EQ(1, none.PrepareOutput());
    EXPECT_EQ(-1, Feed(none, {0, 0, 1}));
    EXPECT_EQ(std::vector<unsigned char>(8), Raster(none));
}

TEST(ZrRawPngDecoder, GreyAlphaAndRgbaKeepTheirAlpha)
{
    ZrRawPngDecoder grey;
    SetHeader(grey, 2, 1, {4, 8});
    ASSERT_EQ(1, grey.PrepareOutput());
    EXPECT_EQ(-1, Feed(grey, {0, 5, 6, 7, 8}));
    EXPECT_EQ((std::vector<unsigned char>{5, 5, 5, 6, 7, 7, 7, 8}), Raster(grey));
    ZrRawPngDecoder rgba;
    SetHeader(rgba, 2, 1, {6, 8});
    ASSERT_EQ(1, rgba.PrepareOutput());
    EXPECT_EQ(-1, Feed(rgba, {0, 1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ((std::vector<unsigned char>{1, 2, 3, 4, 5, 6, 7, 8}), Raster(rgba));
}

TEST(ZrRawPngDecoder, InterlacedGreyOfOneBitAndPalettesOfFourDrawNothing)
{
    Random random(1);
    for (const FormatCase& format : {FormatCase{0, 1}, FormatCase{3, 4}}) {
        ZrRawPngDecoder decoder;
        SetHeader(decoder, 9, 9, format, 1);
        SetPalette(decoder, 16);
        ASSERT_EQ(1, decoder.PrepareOutput());
        EXPECT_LT(0, Feed(decoder, RandomBytes(Plenty(9, 9), random)));
        EXPECT_EQ(8, decoder.pass);
        EXPECT_EQ(std::vector<unsigned char>(9 * 9 * 4), Raster(decoder));
    }
}

TEST(ZrRawPngDecoder, FiltersFollowTheStandard)
{
    // Grey of 3 pixels; the line above is 10 20 30.
    const struct {
        unsigned char filter;
        unsigned char expected[3];
    } cases[] = {
        {0, {1, 2, 3}},    {1, {1, 3, 6}}, // left
        {2, {11, 22, 33}},                 // above
        {3, {6, 15, 25}},                  // 1 + 10 / 2, 2 + (6 + 20) / 2, 3 + (15 + 30) / 2
        {4, {11, 22, 33}},                 // above each time
        {5, {1, 2, 3}},                    // unknown ones leave the bytes alone
        {255, {1, 2, 3}},
    };
    for (const auto& one : cases) {
        ZrRawPngDecoder decoder;
        SetHeader(decoder, 3, 2, {0, 8});
        ASSERT_EQ(1, decoder.PrepareOutput());
        EXPECT_EQ(-1, Feed(decoder, {0, 10, 20, 30, one.filter, 1, 2, 3}));
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(one.expected[i], decoder.rgba[12 + 4 * i]) << int(one.filter) << ' ' << i;
    }
}

TEST(ZrRawPngDecoder, PaethChoosesAsTheStandardDoesForAllNeighbours)
{
    // The choice depends on how far left and above are from the corner, so every pair of distances
    // stands for all. Two pixels a line: corner and above, then left and the chosen neighbour.
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 2, 511 * 2, {0, 8});
    for (int toLeft = -255; toLeft <= 255; ++toLeft) {
        ASSERT_EQ(1, decoder.PrepareOutput());
        std::vector<int> expected;
        for (int toAbove = -255; toAbove <= 255; ++toAbove) {
            const int corner = std::max({0, -toLeft, -toAbove});
            const int left = corner + toLeft;
            const int above = corner + toAbove;
            if (left > 255 || above > 255) {
                for (int i = 0; i < 6; ++i)
                    decoder.Output(0);
                expected.push_back(0);
                continue;
            }
            // The first pixel has no left neighbour; above is its guess then.
            for (int byte : {0, corner, above, 4, left - corner, 0})
                decoder.Output(static_cast<unsigned char>(byte));
            const int guess = left + above - corner;
            int nearest = left;
            if (std::abs(guess - above) < std::abs(guess - nearest))
                nearest = above;
            if (std::abs(guess - corner) < std::abs(guess - nearest))
                nearest = corner;
            expected.push_back(nearest);
        }
        for (std::size_t i = 0; i < expected.size(); ++i)
            ASSERT_EQ(expected[i], decoder.rgba[16 * i + 12]) << toLeft << ' ' << i;
    }
}

TEST(ZrRawPngDecoder, FirstLineHasNothingAboveIt)
{
    // The second pass begins with line 0 again, whatever the first pass left in the line buffer.
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 5, 1, {0, 8}, 1);
    ASSERT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(-1, Feed(decoder, {0, 200, 2, 50})); // pass 1 and, with filter Up, pass 2
    EXPECT_EQ(200, decoder.rgba[0]);
    EXPECT_EQ(50, decoder.rgba[16]);
}

TEST(ZrRawPngDecoder, SumsOverALongLineStayBytes)
{
    // 8,500,000 times 255 is more than a signed 32-bit sum holds.
    const std::uint32_t width = 8500000;
    ZrRawPngDecoder decoder;
    SetHeader(decoder, width, 1, {0, 8});
    ASSERT_EQ(1, decoder.PrepareOutput());
    decoder.Output(1); // Sub
    for (std::uint32_t i = 0; i < width; ++i)
        ASSERT_EQ(1, decoder.Output(255));
    // Each pixel is one less than the one before it: 255, 254, ...
    EXPECT_EQ(255, decoder.rgba[0]);
    EXPECT_EQ(1, decoder.rgba[4 * 254]);
    EXPECT_EQ(224, decoder.rgba[4 * (width - 1)]); // 8,500,000 is 33,203 * 256 + 32
}

TEST(ZrRawPngDecoder, DataPastTheLastScanlineIsNotTaken)
{
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 1, 2, {0, 8});
    ASSERT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(4, Feed(decoder, {0, 1, 0, 2, 0, 3}));
    EXPECT_EQ((std::vector<unsigned char>{1, 1, 1, 255, 2, 2, 2, 255}), Raster(decoder));
}

TEST(ZrRawPngDecoder, PassesWithoutPixelsAreSteppedOver)
{
    // 1 x 1 has pass 1 alone; 2 x 1 passes 1 and 6; 1 x 2 passes 1 and 7.
    const struct {
        std::uint32_t width, height;
        std::vector<unsigned char> bytes;
        std::vector<unsigned char> greys;
    } cases[] = {
        {1, 1, {0, 9}, {9}},
        {2, 1, {0, 9, 0, 8}, {9, 8}},
        {1, 2, {0, 9, 0, 8}, {9, 8}},
        {3, 3, {0, 1, 0, 2, 0, 3, 4, 0, 5, 0, 6, 0, 7, 8, 9}, {1, 5, 2, 7, 8, 9, 3, 6, 4}},
    };
    for (const auto& one : cases) {
        ZrRawPngDecoder decoder;
        SetHeader(decoder, one.width, one.height, {0, 8}, 1);
        ASSERT_EQ(1, decoder.PrepareOutput());
        EXPECT_EQ(-1, Feed(decoder, one.bytes));
        EXPECT_EQ(8, decoder.pass);
        EXPECT_EQ(0, decoder.Output(0));
        for (std::size_t i = 0; i < one.greys.size(); ++i)
            EXPECT_EQ(one.greys[i], decoder.rgba[4 * i]) << i;
    }
}

TEST(ZrRawPngDecoder, EveryFormatDecodesAsTheModelDoes)
{
    Random random(21);
    for (const FormatCase& format : Taken)
        for (unsigned interlace : {0u, 1u})
            for (std::uint32_t width = 1; width < 20; ++width)
                for (std::uint32_t height = 1; height < 12; ++height) {
                    ZrRawPngDecoder decoder;
                    SetHeader(decoder, width, height, format, interlace);
                    SetPalette(decoder, format.depth == 4 ? 13 : 200);
                    for (std::uint32_t& col : decoder.trns.col)
                        col = random() % 8;
                    ExpectAsTheModel(decoder, RandomBytes(Plenty(width, height), random));
                    if (HasFatalFailure())
                        return;
                }
}

TEST(ZrRawPngDecoder, LongLinesDecodeAsTheModelDoes)
{
    Random random(22);
    for (const FormatCase& format : Taken)
        for (unsigned interlace : {0u, 1u})
            for (std::uint32_t width : {63u, 64u, 65u, 255u, 1000u}) {
                ZrRawPngDecoder decoder;
                SetHeader(decoder, width, 7, format, interlace);
                SetPalette(decoder, 256);
                std::vector<unsigned char> bytes(Plenty(width, 7));
                for (unsigned char& byte : bytes)
                    byte = static_cast<unsigned char>(random());
                ExpectAsTheModel(decoder, bytes);
                for (std::size_t i = 0; i < bytes.size(); ++i) // known filters by and large
                    bytes[i] = static_cast<unsigned char>(bytes[i] & 3 ? bytes[i] : bytes[i] / 50);
                ExpectAsTheModel(decoder, bytes);
                if (HasFatalFailure())
                    return;
            }
}

TEST(ZrRawPngDecoder, AStreamCutAnywhereLeavesItsFinishedPixels)
{
    Random random(23);
    for (const FormatCase& format : Taken)
        for (unsigned interlace : {0u, 1u}) {
            const std::vector<unsigned char> bytes = RandomBytes(200, random);
            for (std::size_t size = 0; size < bytes.size(); ++size) {
                ZrRawPngDecoder decoder;
                SetHeader(decoder, 11, 5, format, interlace);
                SetPalette(decoder, 16);
                ExpectAsTheModel(decoder, {bytes.begin(), bytes.begin() + static_cast<long>(size)});
                if (HasFatalFailure())
                    return;
            }
        }
}

TEST(ZrRawPngDecoder, GoesOnInsideALineAfterEndOutput)
{
    Random random(24);
    for (const FormatCase& format : Taken) {
        ZrRawPngDecoder decoder;
        SetHeader(decoder, 11, 5, format);
        SetPalette(decoder, 16);
        ASSERT_EQ(1, decoder.PrepareOutput());
        RawModel model(decoder);
        for (unsigned char byte : RandomBytes(300, random)) {
            ASSERT_EQ(model.Output(byte), decoder.Output(byte));
            ASSERT_EQ(1, decoder.EndOutput());
            ASSERT_EQ(model.raster, Raster(decoder));
            ASSERT_EQ(model.x, decoder.x);
        }
    }
}

TEST(ZrRawPngDecoder, FlipTurnsTheRowsUpsideDown)
{
    for (std::uint32_t height : {0u, 1u, 2u, 3u, 4u}) {
        ZrRawPngDecoder decoder;
        SetHeader(decoder, 2, height, {0, 8});
        ASSERT_EQ(1, decoder.PrepareOutput());
        for (unsigned char row = 0; row < height; ++row)
            EXPECT_EQ(-1, Feed(decoder, {0, row, static_cast<unsigned char>(row + 100)}));
        decoder.Flip();
        for (std::uint32_t row = 0; row < height; ++row) {
            EXPECT_EQ(height - 1 - row, decoder.rgba[8 * row]);
            EXPECT_EQ(height - 1 - row + 100, decoder.rgba[8 * row + 4]);
        }
    }
}

TEST(ZrRawPngDecoder, ShiftTradesTheTwoLines)
{
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 2, 2, {0, 8});
    ASSERT_EQ(1, decoder.PrepareOutput());
    unsigned char* const first = decoder.curLine;
    unsigned char* const second = decoder.prevLine;
    decoder.ShiftTwoLineBuf();
    EXPECT_EQ(second, decoder.curLine);
    EXPECT_EQ(first, decoder.prevLine);
}

TEST(ZrRawPngDecoder, RasterThatIsNotItsOwnIsLeftAlone)
{
    unsigned char* taken = nullptr;
    {
        ZrRawPngDecoder decoder;
        taken = TakeRaster(decoder);
        ASSERT_EQ(1, decoder.PrepareOutput()); // does not release it either
        unsigned char* const another = decoder.rgba;
        EXPECT_NE(taken, another);
        decoder.autoDeleteRgba = 1;
    }
    EXPECT_EQ(3, taken[2]);
    delete[] taken;
}

TEST(ZrRawPngDecoder, RasterThatIsNotItsOwnOutlivesIt)
{
    unsigned char* taken = nullptr;
    {
        ZrRawPngDecoder decoder;
        taken = TakeRaster(decoder);
    }
    EXPECT_EQ(4, taken[3]);
    delete[] taken;
}

TEST(ZrRawPngDecoder, HeaderThatChangesMeanwhileDrawsNothingMore)
{
    ZrRawPngDecoder decoder;
    SetHeader(decoder, 1, 2, {6, 8});
    ASSERT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(-1, Feed(decoder, {0, 1, 2, 3, 4, 0}));
    decoder.hdr.bitDepth = 3;
    EXPECT_EQ(-1, Feed(decoder, {5, 6, 7, 8}));
    decoder.EndOutput();
    EXPECT_EQ(4, decoder.rgba[3]);
    EXPECT_EQ(0, decoder.rgba[4]);
    EXPECT_EQ(0, decoder.rgba[7]);
}
