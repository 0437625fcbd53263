// SPDX-License-Identifier: MIT
#include <ORVEX/Png.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

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

const Pass& PassOf(const ZrRawPngDecoder& image)
{
    return Passes[image.hdr.interlaceMethod == 1 ? image.pass : 0];
}

// The neighbour that is closest to left + above - corner (PNG specification, 9.4); of two that are
// as close, the earlier of left, above, corner.
unsigned char Paeth(int left, int above, int corner)
{
    const int toLeft = std::abs(above - corner);
    const int toAbove = std::abs(left - corner);
    const int toCorner = std::abs(left + above - 2 * corner);
    if (toLeft <= toAbove && toLeft <= toCorner)
        return static_cast<unsigned char>(left);
    return static_cast<unsigned char>(toAbove <= toCorner ? above : corner);
}

// Takes the filter off the bytes [first, last) of a line (PNG specification, 9.2), those before
// `first` being done. `above` is null in the first line of a pass.
void Unfilter(std::uint32_t filter, unsigned char* line, const unsigned char* above,
              std::uint32_t first, std::uint32_t last, std::uint32_t bytesPerPixel)
{
    for (std::uint32_t i = first; i < last; ++i) {
        const bool hasLeft = i >= bytesPerPixel;
        const int left = hasLeft ? line[i - bytesPerPixel] : 0;
        const int up = above ? above[i] : 0;
        const int corner = hasLeft && above ? above[i - bytesPerPixel] : 0;
        int add = 0;
        switch (filter) {
        case 1:
            add = left;
            break;
        case 2:
            add = up;
            break;
        case 3:
            add = (left + up) / 2;
            break;
        case 4:
            add = Paeth(left, up, corner);
            break;
        default: // no filter, and unknown ones
            break;
        }
        line[i] = static_cast<unsigned char>(line[i] + add);
    }
}

void Put(unsigned char* pixel, unsigned char red, unsigned char green, unsigned char blue,
         unsigned char alpha)
{
    pixel[0] = red;
    pixel[1] = green;
    pixel[2] = blue;
    pixel[3] = alpha;
}

bool IsAny(std::uint32_t value, const std::uint32_t* keys)
{
    return value == keys[0] || value == keys[1] || value == keys[2];
}

bool IsKey(std::uint32_t first, std::uint32_t second, std::uint32_t third, const std::uint32_t* key)
{
    return first == key[0] && second == key[1] && third == key[2];
}

void PutIndexed(unsigned char* pixel, std::uint32_t index, const ZrRawPngDecoder& image)
{
    if (index >= image.plt.nEntry)
        return;
    const unsigned char* const entry = image.plt.entry + 3 * index;
    // The bytes of tRNS are taken for indices.
    Put(pixel, entry[0], entry[1], entry[2], IsAny(index, image.trns.col) ? 0 : 255);
}

// Writes the pixels [first, last) of the current line to `to` and every `step` bytes from there.
void WritePixels(ZrRawPngDecoder& image, Format format, std::uint32_t first, std::uint32_t last,
                 unsigned char* to, std::uint32_t step)
{
    const bool interlaced = image.hdr.interlaceMethod == 1;
    const std::uint32_t* const key = image.trns.col;
    const unsigned char* from = image.curLine;
    switch (format) {
    case Grey1:
        // Interlaced, these pixels are passed over, and so are those of 4-bit palettes.
        if (interlaced)
            return;
        for (std::uint32_t x = first; x < last; ++x, to += step) {
            const unsigned char grey = from[x / 8] >> (7 - x % 8) & 1 ? 255 : 0;
            // Transparent, whatever tRNS says.
            Put(to, grey, grey, grey, 0);
        }
        return;
    case Palette4:
        if (interlaced)
            return;
        for (std::uint32_t x = first; x < last; ++x, to += step)
            PutIndexed(to, x % 2 == 0 ? from[x / 2] >> 4 : from[x / 2] & 15, image);
        return;
    case Grey8:
        from += first;
        for (std::uint32_t x = first; x < last; ++x, to += step, from += 1)
            Put(to, from[0], from[0], from[0], IsAny(from[0], key) ? 0 : 255);
        return;
    case Palette8:
        from += first;
        for (std::uint32_t x = first; x < last; ++x, to += step, from += 1)
            PutIndexed(to, from[0], image);
        return;
    case GreyAlpha8:
        from += 2 * first;
        for (std::uint32_t x = first; x < last; ++x, to += step, from += 2)
            Put(to, from[0], from[0], from[0], from[1]);
        return;
    case Rgb8:
        from += 3 * first;
        for (std::uint32_t x = first; x < last; ++x, to += step, from += 3)
            Put(to, from[0], from[1], from[2], IsKey(from[0], from[1], from[2], key) ? 0 : 255);
        return;
    case Rgb16:
        from += 6 * first;
        for (std::uint32_t x = first; x < last; ++x, to += step, from += 6) {
            image.red = std::uint32_t(from[0]) << 8 | from[1];
            image.green = std::uint32_t(from[2]) << 8 | from[3];
            image.blue = std::uint32_t(from[4]) << 8 | from[5];
            // Interlaced, the key is compared with the pixel's first three bytes.
            const bool transparent = interlaced ? IsKey(from[0], from[1], from[2], key)
                                                : IsKey(image.red, image.green, image.blue, key);
            Put(to, from[0], from[2], from[4], transparent ? 0 : 255);
        }
        return;
    case Rgba8:
        from += 4 * first;
        for (std::uint32_t x = first; x < last; ++x, to += step, from += 4)
            Put(to, from[0], from[1], from[2], from[3]);
        return;
    case NotTaken:
        return;
    }
}

// Finishes the pixels of the current line whose bytes are all there.
void FinishPixels(ZrRawPngDecoder& image)
{
    const Format format = FormatOf(image.hdr);
    const Pass& pass = PassOf(image);
    const std::uint32_t bytesPerPixel = BytesOf(format);
    const std::uint32_t received = image.inLineBytePos + image.inPixelBytePos;
    const std::uint32_t complete = received - received % bytesPerPixel;
    Unfilter(image.filter, image.curLine, image.y > 0 ? image.prevLine : nullptr,
             image.inLineBytePos, complete, bytesPerPixel);

    const std::uint32_t first = static_cast<std::uint32_t>(image.x);
    const std::uint32_t last = static_cast<std::uint32_t>(std::min<std::uint64_t>(
        std::uint64_t(complete) * 8 / BitsOf(format), Columns(image, pass)));
    const std::uint32_t step = pass.stepX * 4u;
    WritePixels(image, format, first, last, image.rgba + image.outPos, step);
    image.x = static_cast<std::int32_t>(last);
    image.outPos += (last - first) * step;
    image.inLineBytePos = complete;
    image.inPixelBytePos = received - complete;
}

// Steps over the passes of an interlaced image that have no pixel, from the current one on.
void SkipEmptyPasses(ZrRawPngDecoder& image)
{
    while (image.pass <= LastPass &&
           (Columns(image, Passes[image.pass]) == 0 || Rows(image, Passes[image.pass]) == 0))
        ++image.pass;
}

// Opens the next scanline; false when there is none.
bool StartLine(ZrRawPngDecoder& image, unsigned char filter)
{
    if (image.hdr.interlaceMethod > 1 || image.outWidth == 0)
        return false;
    const bool interlaced = image.hdr.interlaceMethod == 1;
    if (interlaced && image.pass > LastPass)
        return false;
    const Pass& pass = PassOf(image);
    if (static_cast<std::uint32_t>(image.y) >= Rows(image, pass))
        return false;
    image.filter = filter;
    image.inLineBytePos = 0;
    image.inPixelBytePos = 0;
    image.x = 0;
    image.lineBytes =
        static_cast<std::uint32_t>(LineBytes(FormatOf(image.hdr), Columns(image, pass)));
    image.outPos =
        ((pass.firstY + static_cast<std::uint32_t>(image.y) * pass.stepY) * image.outWidth +
         pass.firstX) *
        4;
    return true;
}

// Goes on to the next scanline, and to the next pass behind the last of its lines.
void EndLine(ZrRawPngDecoder& image)
{
    image.lineBytes = 0;
    image.x = -1;
    ++image.y;
    image.ShiftTwoLineBuf();
    if (image.hdr.interlaceMethod != 1)
        return;
    if (static_cast<std::uint32_t>(image.y) < Rows(image, PassOf(image)))
        return;
    ++image.pass;
    image.y = 0;
    SkipEmptyPasses(image);
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
    const std::size_t rasterBytes = static_cast<std::size_t>(pixels) * 4;
    const std::size_t lineBytesTwice = static_cast<std::size_t>(line) * 2;
    unsigned char* const raster = new (std::nothrow) unsigned char[rasterBytes]();
    unsigned char* const lines = new (std::nothrow) unsigned char[lineBytesTwice];
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

std::int32_t ZrRawPngDecoder::Output(unsigned char byte)
{
    const std::uint32_t at = inLineBytePos + inPixelBytePos;
    if (at >= lineBytes)
        return StartLine(*this, byte) ? 1 : 0;
    curLine[at] = byte;
    ++inPixelBytePos;
    if (at + 1 == lineBytes) {
        FinishPixels(*this);
        EndLine(*this);
    }
    return 1;
}

std::int32_t ZrRawPngDecoder::EndOutput()
{
    if (x >= 0 && lineBytes != 0)
        FinishPixels(*this);
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
