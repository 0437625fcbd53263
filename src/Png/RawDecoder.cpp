// SPDX-License-Identifier: MIT
#include <ORVEX/Png.h>

#include "BigEndian.h"
#include "Pixel.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

using ORVEX::Internal::BigEndian16;
using ORVEX::Internal::PutPixel;

namespace {

// What a 32-bit position can denote, and an array can hold.
const std::uint64_t MaxBytes = std::min<std::uint64_t>(UINT32_MAX, PTRDIFF_MAX);

// The formats that are taken: a colour type and the bits of a sample.
enum Format {
    NotTaken,
    Grey1,
    Grey8,
    Rgb8,
    Rgb16,
    Palette4,
    Palette8,
    GreyAlpha8,
    Rgba8,
};

Format FormatOf(const ZrPngHeader& header)
{
    static const struct {
        unsigned char colorType;
        unsigned char bitDepth;
        Format format;
    } Taken[] = {
        {0, 1, Grey1},    {0, 8, Grey8},    {2, 8, Rgb8},       {2, 16, Rgb16},
        {3, 4, Palette4}, {3, 8, Palette8}, {4, 8, GreyAlpha8}, {6, 8, Rgba8},
    };
    for (const auto& row : Taken)
        if (header.colorType == row.colorType && header.bitDepth == row.bitDepth)
            return row.format;
    return NotTaken;
}

// Bits of a pixel.
std::uint32_t BitsOf(Format format)
{
    static const unsigned char Bits[] = {0, 1, 8, 24, 48, 4, 8, 16, 32};
    return Bits[format];
}

// Bytes of a pixel, which is how far the filters look back: 1 where a byte holds several pixels.
std::uint32_t BytesOf(Format format) { return (BitsOf(format) + 7) / 8; }

// Bytes of a scanline of `columns` pixels, without its filter type.
std::uint64_t LineBytes(Format format, std::uint32_t columns)
{
    return (std::uint64_t(columns) * BitsOf(format) + 7) / 8;
}

// Where the pixels of an Adam7 pass stand in the image (PNG specification, 8.2).
struct Pass {
    unsigned char firstX;
    unsigned char firstY;
    unsigned char stepX;
    unsigned char stepY;
};

const Pass Passes[8] = {{0, 0, 1, 1}, // the only pass of an image that is not interlaced
                        {0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                        {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};

const std::int32_t LastPass = 7;

// How many of `size` columns or rows a pass has.
std::uint32_t Count(std::uint32_t size, std::uint32_t first, std::uint32_t step)
{
    return size > first ? (size - first - 1) / step + 1 : 0;
}

std::uint32_t Columns(const ZrRawPngDecoder& image, const Pass& pass)
{
    return Count(image.outWidth, pass.firstX, pass.stepX);
}

std::uint32_t Rows(const ZrRawPngDecoder& image, const Pass& pass)
{
    return Count(image.outHeight, pass.firstY, pass.stepY);
}

bool IsEmpty(const ZrRawPngDecoder& image, const Pass& pass)
{
    return Columns(image, pass) == 0 || Rows(image, pass) == 0;
}

const Pass& PassOf(const ZrRawPngDecoder& image)
{
    return Passes[image.hdr.interlaceMethod == 1 ? image.pass : 0];
}

// Filter types of a scanline (PNG specification, 9.2).
const std::uint32_t Sub = 1;
const std::uint32_t Up = 2;
const std::uint32_t Average = 3;
const std::uint32_t PaethFilter = 4;

// All ones when the number is negative, otherwise 0: every compiler here shifts the sign in.
std::int32_t IfNegative(std::int32_t number)
{
    // cppcheck-suppress shiftTooManyBitsSigned
    return number >> 31;
}

// The neighbour that is closest to left + above - corner (PNG specification, 9.4); of two that are
// as close, the earlier of left, above, corner. The corner is the closest exactly when 3 * corner -
// left - above lies between the other two; beyond the larger one it is the smaller, and the other
// way about. Noise makes a branch on any of that costly, so there is none.
std::int32_t Paeth(std::int32_t left, std::int32_t above, std::int32_t corner)
{
    if (above == corner) // flat areas, where this branch spares the wait for all the sums
        return left;
    const std::int32_t turn = 3 * corner - left - above;
    const std::int32_t excess = (left - above) & IfNegative(left - above);
    const std::int32_t smaller = above + excess;
    const std::int32_t larger = left - excess;
    const std::int32_t guess = corner + ((smaller - corner) & ~IfNegative(turn - larger));
    return guess + ((larger - guess) & ~IfNegative(smaller - turn));
}

// Takes the filter Sub, Average or Paeth off the bytes [first, last) of a line (PNG specification,
// 9.2), those before `first` being done; both are multiples of `Bytes`, a pixel's. `above` is null
// in the first line of a pass, where Paeth does not come.
template <std::uint32_t Bytes> void Unfilter(std::uint32_t filter, unsigned char* line,
                                             const unsigned char* above, std::uint32_t first,
                                             std::uint32_t last)
{
    std::uint32_t left[Bytes];
    for (std::uint32_t i = 0; i < Bytes; ++i)
        left[i] = first != 0 ? line[first - Bytes + i] : 0;
    if (filter == Sub) {
        // Sums that are not cut to a byte each time; over a long line they wrap, which is as good.
        for (std::uint32_t at = first; at < last; at += Bytes)
            for (std::uint32_t i = 0; i < Bytes; ++i)
                line[at + i] = static_cast<unsigned char>(left[i] += line[at + i]);
    } else if (filter == Average) {
        for (std::uint32_t at = first; at < last; at += Bytes)
            for (std::uint32_t i = 0; i < Bytes; ++i) {
                const std::uint32_t mean = (left[i] + (above ? above[at + i] : 0u)) / 2;
                left[i] = line[at + i] = static_cast<unsigned char>(line[at + i] + mean);
            }
    } else {
        int corner[Bytes];
        for (std::uint32_t i = 0; i < Bytes; ++i)
            corner[i] = first != 0 ? above[first - Bytes + i] : 0;
        for (std::uint32_t at = first; at < last; at += Bytes)
            for (std::uint32_t i = 0; i < Bytes; ++i) {
                const int up = above[at + i];
                const int guess = Paeth(static_cast<int>(left[i]), up, corner[i]);
                left[i] = line[at + i] = static_cast<unsigned char>(line[at + i] + guess);
                corner[i] = up;
            }
    }
}

// Takes the filter off the bytes [first, last) of the open line of an image, by the bytes of its
// pixels.
void Unfilter(const ZrRawPngDecoder& image, std::uint32_t pixelBytes, std::uint32_t first,
              std::uint32_t last)
{
    unsigned char* const line = image.curLine;
    const unsigned char* const above = image.y > 0 ? image.prevLine : nullptr;
    std::uint32_t filter = image.filter;
    if (filter < Sub || filter > PaethFilter) // none, and unknown ones
        return;
    if (filter == Up) {
        if (above)
            for (std::uint32_t at = first; at < last; ++at)
                line[at] = static_cast<unsigned char>(line[at] + above[at]);
        return;
    }
    // Of left, 0 and 0 the guess is always left.
    if (filter == PaethFilter && !above)
        filter = Sub;
    switch (pixelBytes) {
    case 1:
        return Unfilter<1>(filter, line, above, first, last);
    case 2:
        return Unfilter<2>(filter, line, above, first, last);
    case 3:
        return Unfilter<3>(filter, line, above, first, last);
    case 4:
        return Unfilter<4>(filter, line, above, first, last);
    default:
        return Unfilter<6>(filter, line, above, first, last);
    }
}

// The three values that are kept of tRNS. A copy: bytes of the raster are written in between, and
// as far as the compiler knows any of them could be a part of the decoder.
class Keys {
public:
    explicit Keys(const ZrPngTransparency& trns)
        : first(trns.col[0]), second(trns.col[1]), third(trns.col[2])
    {
    }

    // The alpha of a sample or index that is transparent when it equals any of the three.
    std::uint32_t AnyAlpha(std::uint32_t value) const
    {
        return value == first || value == second || value == third ? 0 : 255;
    }

    // The alpha of samples that are transparent when they are the three.
    std::uint32_t AllAlpha(std::uint32_t a, std::uint32_t b, std::uint32_t c) const
    {
        return a == first && b == second && c == third ? 0 : 255;
    }

private:
    std::uint32_t first;
    std::uint32_t second;
    std::uint32_t third;
};

// The colours of a palette image.
class Indexed {
public:
    explicit Indexed(const ZrRawPngDecoder& image)
        : entries(image.plt.entry), count(image.plt.nEntry), keys(image.trns)
    {
    }

    // Writes the colour of `index`; an index past the palette leaves the pixel as it is.
    void Put(unsigned char* pixel, std::uint32_t index) const
    {
        if (index >= count)
            return;
        const unsigned char* const entry = entries + 3 * index;
        // The bytes of tRNS are taken for indices, not for the alpha of indices 0, 1 and 2.
        PutPixel(pixel, entry[0], entry[1], entry[2], keys.AnyAlpha(index));
    }

private:
    const unsigned char* entries;
    std::uint32_t count;
    Keys keys;
};

// Writes the `count` pixels whose bytes begin at `from` to `to` and every `step` bytes from there.
void WritePixels(ZrRawPngDecoder& image, Format format, const unsigned char* from,
                 std::uint32_t count, unsigned char* to, std::uint32_t step)
{
    const bool interlaced = image.hdr.interlaceMethod == 1;
    const Keys keys(image.trns);
    const Indexed palette(image);
    switch (format) {
    case Grey1:
        // Interlaced, these pixels are passed over, and so are those of 4-bit palettes.
        if (interlaced)
            return;
        for (std::uint32_t i = 0; i < count; ++i, to += step) {
            const std::uint32_t grey = from[i / 8] >> (7 - i % 8) & 1 ? 255 : 0;
            PutPixel(to, grey, grey, grey, 0); // transparent, whatever tRNS says
        }
        return;
    case Palette4:
        if (interlaced)
            return;
        for (std::uint32_t i = 0; i < count; ++i, to += step)
            palette.Put(to, from[i / 2] >> (4 - i % 2 * 4) & 15);
        return;
    case Grey8:
        for (std::uint32_t i = 0; i < count; ++i, to += step, from += 1)
            PutPixel(to, from[0], from[0], from[0], keys.AnyAlpha(from[0]));
        return;
    case Palette8:
        for (std::uint32_t i = 0; i < count; ++i, to += step, from += 1)
            palette.Put(to, from[0]);
        return;
    case GreyAlpha8:
        for (std::uint32_t i = 0; i < count; ++i, to += step, from += 2)
            PutPixel(to, from[0], from[0], from[0], from[1]);
        return;
    case Rgb8:
        for (std::uint32_t i = 0; i < count; ++i, to += step, from += 3)
            PutPixel(to, from[0], from[1], from[2], keys.AllAlpha(from[0], from[1], from[2]));
        return;
    case Rgb16:
        for (std::uint32_t i = 0; i < count; ++i, to += step, from += 6) {
            image.red = BigEndian16(from);
            image.green = BigEndian16(from + 2);
            image.blue = BigEndian16(from + 4);
            // Interlaced, the key is compared with the pixel's first three bytes.
            const std::uint32_t alpha = interlaced
                                            ? keys.AllAlpha(from[0], from[1], from[2])
                                            : keys.AllAlpha(image.red, image.green, image.blue);
            PutPixel(to, from[0], from[2], from[4], alpha);
        }
        return;
    default: // Rgba8; what is not taken does not get here
        if (step == 4) {
            std::copy(from, from + 4 * count, to);
            return;
        }
        for (std::uint32_t i = 0; i < count; ++i, to += step, from += 4)
            PutPixel(to, from[0], from[1], from[2], from[3]);
        return;
    }
}

// Finishes the pixels of the open line whose bytes are all there, from pixel x on, which begins a
// byte.
void FinishPixels(ZrRawPngDecoder& image)
{
    const Format format = FormatOf(image.hdr);
    if (format == NotTaken) // somebody has changed the header since PrepareOutput
        return;
    const Pass& pass = PassOf(image);
    const std::uint32_t bits = BitsOf(format);
    const std::uint32_t pixelBytes = BytesOf(format);
    const std::uint32_t received = image.inLineBytePos;
    const std::uint32_t complete = received - received % pixelBytes;
    const std::uint32_t first = static_cast<std::uint32_t>(image.x);
    const std::uint32_t start = static_cast<std::uint32_t>(LineBytes(format, first));
    const std::uint32_t whole = complete / pixelBytes * (bits < 8 ? 8 / bits : 1);
    // The last byte of a line may hold more pixels than the line.
    const std::uint32_t last = std::min(whole, Columns(image, pass));

    Unfilter(image, pixelBytes, start, complete);
    const std::uint32_t step = pass.stepX * 4u;
    WritePixels(image, format, image.curLine + start, last - first, image.rgba + image.outPos,
                step);
    image.x = static_cast<std::int32_t>(last);
    image.outPos += (last - first) * step;
    image.inLineBytePos = complete;
    image.inPixelBytePos = received - complete;
}

// Takes the filter type of the next scanline; 0 when there is none. Behind EndOutput inside a
// scanline it takes the byte that goes on with that one.
std::int32_t OpenLine(ZrRawPngDecoder& image, unsigned char byte)
{
    const bool interlaced = image.hdr.interlaceMethod == 1;
    if (image.hdr.interlaceMethod > 1 || (interlaced && image.pass > LastPass))
        return 0;
    const Pass& pass = PassOf(image);
    const std::uint32_t columns = Columns(image, pass);
    const std::uint32_t y = static_cast<std::uint32_t>(image.y);
    if (columns == 0 || y >= Rows(image, pass))
        return 0;
    image.lineBytes = static_cast<std::uint32_t>(LineBytes(FormatOf(image.hdr), columns));
    const std::uint32_t started = image.inPixelBytePos;
    image.inPixelBytePos = 0;
    if (image.x >= 0) {
        image.inLineBytePos += started;
        return image.Output(byte);
    }
    image.filter = byte;
    image.x = 0;
    image.inLineBytePos = 0;
    image.outPos = ((pass.firstY + y * pass.stepY) * image.outWidth + pass.firstX) * 4;
    return 1;
}

// Finishes the scanline whose bytes are all there and goes on to the next one, behind the last one
// of a pass to the next pass that has any.
void CloseLine(ZrRawPngDecoder& image)
{
    FinishPixels(image);
    image.lineBytes = 0;
    image.x = -1;
    ++image.y;
    image.ShiftTwoLineBuf();
    if (image.hdr.interlaceMethod == 1 &&
        static_cast<std::uint32_t>(image.y) >= Rows(image, PassOf(image))) {
        image.y = 0;
        do
            ++image.pass;
        while (image.pass <= LastPass && IsEmpty(image, Passes[image.pass]));
    }
}

// Takes a byte that opens a scanline or is its last.
[[gnu::noinline]] std::int32_t OutputAtEdge(ZrRawPngDecoder& image, unsigned char byte)
{
    if (image.inLineBytePos >= image.lineBytes)
        return OpenLine(image, byte);
    image.curLine[image.inLineBytePos++] = byte;
    CloseLine(image);
    return 1;
}

} // namespace

ZrRawPngDecoder::ZrRawPngDecoder() = default;

ZrRawPngDecoder::~ZrRawPngDecoder()
{
    if (autoDeleteRgba == 1)
        delete[] rgba;
    delete[] twoLineBuf;
}

std::int32_t ZrRawPngDecoder::PrepareOutput()
{
    const Format format = FormatOf(hdr);
    if (format == NotTaken)
        return 0;
    // Each product by itself: positions in the raster and in a line are 32 bits wide.
    const std::uint64_t pixels = std::uint64_t(hdr.width) * hdr.height;
    const std::uint64_t line = LineBytes(format, hdr.width);
    if (pixels > MaxBytes / 4 || line > MaxBytes / 2)
        return 0;

    // What was there is given up only when both are had. No old bytes of the heap show in an
    // image: the raster is zeroed.
    unsigned char* const raster = new (std::nothrow) unsigned char[std::size_t(pixels) * 4]();
    unsigned char* const lines = new (std::nothrow) unsigned char[std::size_t(line) * 2];
    if (!raster || !lines) {
        delete[] raster;
        delete[] lines;
        return 0;
    }
    if (autoDeleteRgba == 1)
        delete[] rgba;
    rgba = raster;
    outWidth = hdr.width;
    outHeight = hdr.height;
    delete[] twoLineBuf;
    twoLineBuf = lines;
    curLine = twoLineBuf;
    prevLine = twoLineBuf + line;

    x = -1;
    y = 0;
    filter = 0;
    prepared = 1;
    inLineBytePos = 0;
    inPixelBytePos = 0;
    lineBytes = 0;
    outPos = 0;
    pass = 1;
    return 1;
}

// Runs once for each byte; whatever can wait for the end of the line does.
std::int32_t ZrRawPngDecoder::Output(unsigned char byte)
{
    const std::uint32_t at = inLineBytePos;
    if (at + 1 >= lineBytes)
        return OutputAtEdge(*this, byte);
    curLine[at] = byte;
    inLineBytePos = at + 1;
    return 1;
}

std::int32_t ZrRawPngDecoder::EndOutput()
{
    if (lineBytes != 0) {
        FinishPixels(*this);
        lineBytes = 0;
    }
    return 1;
}

void ZrRawPngDecoder::ShiftTwoLineBuf()
{
    if (twoLineBuf)
        std::swap(curLine, prevLine);
}

void ZrRawPngDecoder::Flip()
{
    const std::size_t rowBytes = std::size_t(outWidth) * 4;
    for (std::uint32_t row = 0; row < outHeight / 2; ++row) {
        unsigned char* const upper = rgba + row * rowBytes;
        std::swap_ranges(upper, upper + rowBytes, rgba + (outHeight - 1 - row) * rowBytes);
    }
}
