// SPDX-License-Identifier: MIT
// Says what PNG files contain, what Ping::Load makes of them and why, and what to do about it.
//
//   png-doctor FILE...
//
// The exit status is 0 when all files show as they are meant, 1 when one does not, 2 when one
// cannot be read.
#include <ORVEX/CRC.h>
#include <ORVEX/Err.h>
#include <ORVEX/File.h>
#include <ORVEX/Ping.h>
#include <ORVEX/Png.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::Color;
using ORVEX::CRC32;
using ORVEX::FileBuffer;
using ORVEX::Ping;
using ORVEX::String;

namespace {

enum Status { Fine = 0, NotAsMeant = 1, Unreadable = 2 };

const char* const UseRgba = "save it as 8-bit RGB + alpha";

// What has been found wrong so far; each finding is printed when it is made.
class Findings {
public:
    void Add(Status severity, const char* what, const char* advice)
    {
        std::printf("  %s: %s\n", severity == Unreadable ? "CANNOT BE READ" : "NOT AS MEANT", what);
        if (advice)
            std::printf("    advice: %s\n", advice);
        worst = std::max(worst, severity);
    }

    Status Worst() const { return worst; }

private:
    Status worst = Fine;
};

// A format that PNG knows, and how the decoder takes it.
struct Format {
    unsigned int colorType;
    unsigned int bitDepth;
    unsigned int bitsPerPixel; // 0: not taken
};

const Format Formats[] = {{0, 1, 1},  {0, 2, 0},   {0, 4, 0},  {0, 8, 8},  {0, 16, 0},
                          {2, 8, 24}, {2, 16, 48}, {3, 1, 0},  {3, 2, 0},  {3, 4, 4},
                          {3, 8, 8},  {4, 8, 16},  {4, 16, 0}, {6, 8, 32}, {6, 16, 0}};

const Format* FindFormat(const ZrPngHeader& header)
{
    for (const Format& format : Formats)
        if (format.colorType == header.colorType && format.bitDepth == header.bitDepth)
            return &format;
    return nullptr;
}

const char* ColorTypeName(unsigned int colorType)
{
    static const char* const Names[] = {"grey",         "?", "RGB",        "palette",
                                        "grey + alpha", "?", "RGB + alpha"};
    return colorType < 7 ? Names[colorType] : "?";
}

// Bytes of all scanlines, each with its filter type. Adam7 has seven small images of its own.
std::uint64_t ScanlineBytes(const ZrPngHeader& header, unsigned int bitsPerPixel)
{
    static const unsigned char Passes[8][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8},
                                               {2, 0, 4, 4}, {0, 2, 2, 4}, {1, 0, 2, 2},
                                               {0, 1, 1, 2}, {0, 0, 1, 1}}; // the last: no passes
    const bool interlaced = header.interlaceMethod == 1;
    std::uint64_t sum = 0;
    for (int i = interlaced ? 0 : 7; i < (interlaced ? 7 : 8); ++i) {
        const unsigned char* const pass = Passes[i]; // first column, row, steps
        if (header.width <= pass[0] || header.height <= pass[1])
            continue;
        const std::uint64_t columns = (header.width - pass[0] - 1ull) / pass[2] + 1;
        const std::uint64_t rows = (header.height - pass[1] - 1ull) / pass[3] + 1;
        sum += rows * (1 + (columns * bitsPerPixel + 7) / 8);
    }
    return sum;
}

// Decodes a file without making a picture of it: counts the bytes that the image data gives.
class Probe : public ZrGenericPngDecoder {
public:
    std::int32_t PrepareOutput() override
    {
        const Format* const format = FindFormat(hdr);
        taken = format && format->bitsPerPixel != 0;
        const std::uint64_t pixels = std::uint64_t(hdr.width) * hdr.height;
        const std::uint64_t lineBits =
            std::uint64_t(hdr.width) * (taken ? format->bitsPerPixel : 0);
        fits = pixels != 0 && pixels <= INT32_MAX / 4 && lineBits / 8 < INT32_MAX / 2;
        if (!taken || !fits)
            return 0;
        needed = ScanlineBytes(hdr, format->bitsPerPixel);
        return 1;
    }

    std::int32_t Output(unsigned char) override
    {
        ++arrived;
        return arrived < needed ? 1 : 0;
    }

    bool taken = false;        // the format is one of the decoder's
    bool fits = false;         // there are pixels, and not too many for 32 bits
    std::uint64_t needed = 0;  // bytes of all scanlines
    std::uint64_t arrived = 0; // of them
};

// What the chunks are, beyond what the decoder keeps of them.
struct Contents {
    bool header = false;
    bool palette = false;
    bool imageData = false;
    bool cutShort = false;      // the file ends inside a chunk
    bool damaged = false;       // a chunk that the picture depends on has a wrong CRC
    bool complete = false;      // there is an IEND
    bool gamma = false;         // there is a gAMA
    Buffer transparency;        // data of the last tRNS
    unsigned char zlib[3] = {}; // the image data's first bytes
    unsigned long zlibLength = 0;
};

bool IsType(const unsigned char* type, const char* name) { return std::memcmp(type, name, 4) == 0; }

// Chunks that follow each other with the same type make one line.
class ChunkLine {
public:
    ~ChunkLine() { Print(); }

    void Add(const unsigned char* chunkType, unsigned long length, bool wrong)
    {
        if (count == 0 || std::memcmp(type, chunkType, 4) != 0) {
            Print();
            std::memcpy(type, chunkType, 4);
            count = bytes = wrongOnes = 0;
        }
        ++count;
        bytes += length;
        wrongOnes += wrong;
    }

private:
    void Print() const
    {
        if (count == 0)
            return;
        std::printf("  ");
        for (const unsigned char letter : type)
            std::putchar(letter > 0x20 && letter < 0x7F ? letter : '?');
        std::printf("  %lu byte%s", bytes, bytes == 1 ? "" : "s");
        if (count > 1)
            std::printf(" in %lu chunks", count);
        if (wrongOnes != 0)
            std::printf(", WRONG CRC%s", count > 1 ? " among them" : "");
        std::puts("");
    }

    unsigned char type[4] = {};
    unsigned long count = 0;
    unsigned long bytes = 0;
    unsigned long wrongOnes = 0;
};

// Prints the chunks in their order.
void ListChunks(Probe& reader, const BufferBase& file, Contents& contents)
{
    const unsigned char* position = file.Begin();
    reader.CheckSignature(file, position);
    ChunkLine line;
    while (position != file.End() && !contents.complete) {
        const unsigned char* const start = position;
        unsigned int length;
        unsigned int type;
        unsigned int crc;
        unsigned char* data;
        if (reader.ReadChunk(length, data, type, crc, file, position) != 1) {
            contents.cutShort = true;
            return;
        }
        delete[] data; // a copy; the chunk itself is at `start`: length, type, data, CRC
        unsigned char* const inPlace = const_cast<unsigned char*>(start) + 4;
        CRC32 check;
        check.Update(BufferBase(inPlace, length + 4ul));
        const bool wrong = check.Get() != crc;
        const BufferBase bytes(inPlace + 4, length);
        line.Add(inPlace, length, wrong);

        if (IsType(inPlace, "IHDR"))
            contents.header = true;
        if (IsType(inPlace, "PLTE"))
            contents.palette = true;
        if (IsType(inPlace, "gAMA"))
            contents.gamma = length >= 4;
        if (IsType(inPlace, "tRNS"))
            contents.transparency = bytes;
        if (IsType(inPlace, "IEND"))
            contents.complete = true;
        if (IsType(inPlace, "IDAT")) {
            contents.imageData = true;
            for (unsigned long i = 0; i < length && contents.zlibLength < 3; ++i)
                contents.zlib[contents.zlibLength++] = bytes[i];
        }
        // A capital first letter: the picture depends on it.
        if (wrong && ((inPlace[0] & 0x20) == 0 || IsType(inPlace, "tRNS")))
            contents.damaged = true;
    }
    if (position != file.End())
        std::printf("  (%lu bytes behind the end)\n",
                    static_cast<unsigned long>(file.End() - position));
}

// How the first block is compressed (RFC 1951, 3.2.3); -1 when that is not known.
int FirstBlock(const Contents& contents)
{
    return contents.zlibLength == 3 ? contents.zlib[2] >> 1 & 3 : -1;
}

void Describe(const Probe& probe, const Contents& contents)
{
    const ZrPngHeader& header = probe.hdr;
    std::printf("  %lu x %lu pixels, %u-bit %s, %s\n", static_cast<unsigned long>(header.width),
                static_cast<unsigned long>(header.height), header.bitDepth,
                ColorTypeName(header.colorType),
                header.interlaceMethod == 1 ? "interlaced (Adam7)" : "not interlaced");
    if (contents.palette)
        std::printf("  palette of %u colours\n", probe.plt.nEntry);
    if (!contents.transparency.Empty())
        std::printf("  transparency: %lu bytes\n", contents.transparency.Length());
    if (contents.gamma)
        std::printf("  gamma %u.%05u, which is not applied\n", probe.gamma / 100000,
                    probe.gamma % 100000);
    static const char* const Blocks[] = {"stored", "compressed with the fixed codes",
                                         "compressed with codes of its own", "of no known kind"};
    if (FirstBlock(contents) >= 0)
        std::printf("  image data: the first block is %s\n", Blocks[FirstBlock(contents)]);
    if (probe.needed != 0)
        std::printf("  image data: %llu of %llu bytes can be had\n",
                    static_cast<unsigned long long>(probe.arrived),
                    static_cast<unsigned long long>(probe.needed));
}

void JudgeFormat(const Probe& probe, const Contents& contents, Findings& findings)
{
    const ZrPngHeader& header = probe.hdr;
    const bool interlaced = header.interlaceMethod == 1;
    if (!contents.header)
        findings.Add(Unreadable, "there is no header (IHDR)", "get the file anew");
    else if (!FindFormat(header))
        findings.Add(Unreadable, "PNG has no such combination of colour type and depth",
                     "get the file anew");
    else if (!probe.taken)
        findings.Add(Unreadable, "this depth is not supported: the bitmap is empty",
                     header.colorType == 3 ? "save it with a palette of 8 bits" : UseRgba);
    else if (!probe.fits)
        findings.Add(Unreadable,
                     header.width == 0 || header.height == 0
                         ? "it has no pixels"
                         : "it has more pixels than the device can address",
                     header.width == 0 || header.height == 0 ? nullptr : "scale it down");
    if (header.interlaceMethod > 1)
        findings.Add(NotAsMeant, "the interlace method is unknown: the picture stays blank",
                     "save it without interlacing");
    if (header.compressionMethod != 0 || header.filterMethod != 0)
        findings.Add(NotAsMeant, "compression or filter method is unknown, and taken for 0",
                     "get the file anew");
    if (header.colorType == 0 && header.bitDepth == 1)
        findings.Add(NotAsMeant,
                     interlaced ? "interlaced 1-bit grey stays blank"
                                : "1-bit grey comes out transparent, every pixel of it",
                     "save it as 8-bit grey");
    if (header.colorType == 3 && header.bitDepth == 4 && interlaced)
        findings.Add(NotAsMeant, "interlaced pictures with a 4-bit palette stay blank",
                     "save it without interlacing");
    if (header.colorType == 3 && !contents.palette)
        findings.Add(NotAsMeant, "the palette (PLTE) is missing: the picture stays blank",
                     "get the file anew");
}

// Palettes: tRNS holds an alpha value for each entry; the decoder takes its first three bytes for
// the numbers of the entries that are transparent.
bool PaletteAlphaDiffers(const Probe& probe, const Buffer& alphas)
{
    const std::uint32_t* const numbers = probe.trns.col;
    for (std::uint32_t i = 0; i < probe.plt.nEntry && i < 256; ++i) {
        const unsigned int meant = i < alphas.Length() ? alphas[i] : 255;
        const bool hidden = std::find(numbers, numbers + 3, i) != numbers + 3;
        if (meant != (hidden ? 0u : 255u))
            return true;
    }
    return false;
}

void JudgeTransparency(const Probe& probe, const Contents& contents, Findings& findings)
{
    const Buffer& chunk = contents.transparency;
    const unsigned int colorType = probe.hdr.colorType;
    if (chunk.Empty())
        return;
    if (colorType == 3 && PaletteAlphaDiffers(probe, chunk))
        findings.Add(NotAsMeant,
                     "the first three bytes of a palette's transparency are taken for the numbers "
                     "of the transparent entries",
                     "save it as 8-bit RGB + alpha, or without transparency");
    if ((colorType == 0 && chunk.Length() < 2) || (colorType == 2 && chunk.Length() < 6))
        findings.Add(NotAsMeant, "the transparency (tRNS) is too short, and passed over", UseRgba);
    if (colorType == 2 && probe.hdr.bitDepth == 16 && probe.hdr.interlaceMethod == 1)
        findings.Add(NotAsMeant, "interlaced 16-bit RGB compares its transparent colour wrongly",
                     UseRgba);
}

void JudgeData(const Probe& probe, const Contents& contents, Findings& findings)
{
    if (contents.damaged)
        findings.Add(NotAsMeant, "a wrong CRC: bytes have changed since the file was written",
                     "get the file anew");
    if (probe.needed == 0 || probe.arrived >= probe.needed)
        return; // whatever else is wrong, the pixels are there
    if (!contents.imageData)
        findings.Add(NotAsMeant,
                     contents.cutShort ? "the file ends before its image data does: what was not "
                                         "complete is lost, and the picture stays blank"
                                       : "there is no image data (IDAT): the picture stays blank",
                     "get the file anew");
    else if (FirstBlock(contents) == 0)
        findings.Add(NotAsMeant,
                     "the image data starts with a stored block, which hands out nothing: the "
                     "picture stays blank",
                     "save it with compression");
    else if (contents.cutShort)
        findings.Add(NotAsMeant, "the file is cut short: the rest of the picture is transparent",
                     "get the file anew");
    else
        findings.Add(NotAsMeant,
                     "the image data stops early, at a stored block or at damage: the rest of the "
                     "picture is transparent",
                     "save it anew, with compression");
}

// Does it, unless the picture is very large.
void TryLoad(const Probe& probe, const BufferBase& file, Findings& findings)
{
    const std::uint64_t pixels = std::uint64_t(probe.hdr.width) * probe.hdr.height;
    if (probe.needed != 0 && pixels > 16u << 20) {
        std::printf("  Ping::Load was not tried: it takes %llu MiB\n",
                    static_cast<unsigned long long>(pixels >> 17));
        return;
    }
    Ping picture;
    if (!picture.Load(file)) {
        std::puts("  Ping::Load says false");
        return;
    }
    if (picture.Empty()) {
        std::puts("  Ping::Load says true, and the bitmap is empty");
        if (findings.Worst() != Unreadable)
            findings.Add(Unreadable, "there is no memory for the picture", "scale it down");
        return;
    }
    const unsigned long transparent = static_cast<unsigned long>(
        std::count_if(picture.Pixels().Begin(), picture.Pixels().End(),
                      [](const Color& pixel) { return pixel.alpha == 0; }));
    std::printf("  Ping::Load says true: %ld x %ld pixels, %lu of them transparent\n",
                static_cast<long>(picture.GetSize().x), static_cast<long>(picture.GetSize().y),
                transparent);
}

Status Examine(const BufferBase& file)
{
    Findings findings;
    Probe probe;
    const unsigned char* position = file.Begin();
    if (file.Empty() || probe.CheckSignature(file, position) != 1) {
        findings.Add(Unreadable, "it does not start as a PNG file does", "convert it to PNG");
        TryLoad(probe, file, findings);
        return findings.Worst();
    }
    Contents contents;
    ListChunks(probe, file, contents);
    if (contents.cutShort)
        std::puts("  (the file ends inside a chunk)");
    else if (!contents.complete)
        std::puts("  (IEND is missing)");
    if (probe.Decode(file) != 1) {
        findings.Add(Unreadable, "the length of the palette (PLTE) is not a multiple of 3",
                     "get the file anew");
    } else {
        Describe(probe, contents);
        JudgeFormat(probe, contents, findings);
        JudgeTransparency(probe, contents, findings);
        JudgeData(probe, contents, findings);
    }
    TryLoad(probe, file, findings);
    return findings.Worst();
}

Status ExamineFile(const char* path)
{
    try {
        FileBuffer file;
        if (!file.Load(String::ChangeCharStr(path))) {
            std::printf("%s: %s\n", path, std::strerror(errno));
            return Unreadable;
        }
        std::printf("%s: %lu bytes\n", path, file.Length());
        const Status status = Examine(file);
        if (status == Fine)
            std::puts("  FINE: it shows as it is meant");
        return status;
    } catch (const ORVEX::Err&) { // it has printed itself
        std::printf("%s: no memory for it\n", path);
    } catch (const std::bad_alloc&) {
        std::printf("%s: no memory for it\n", path);
    }
    return Unreadable;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs("usage: png-doctor FILE...\n", stderr);
        return Unreadable;
    }
    Status worst = Fine;
    for (int i = 1; i < argc; ++i)
        worst = std::max(worst, ExamineFile(argv[i]));
    return worst;
}
