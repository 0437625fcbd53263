// SPDX-License-Identifier: MIT
#include <ORVEX/Png.h>

#include "BitWriter.h"
#include "PngFile.h"
#include "Support/ExpectRaises.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <type_traits>
#include <vector>

using ORVEX::BufferBase;
using Bytes = std::vector<std::uint8_t>;

static_assert(std::has_virtual_destructor<ZrGenericPngDecoder>::value, "");
static_assert(!std::is_copy_constructible<ZrGenericPngDecoder>::value, "the palette is owned");
static_assert(!std::is_copy_constructible<ZrPngPalette>::value, "the entries are owned");
static_assert(sizeof(ZrPngHeader) == 28, "seven words");
static_assert(offsetof(ZrPngHeader, width) == 0, "");
static_assert(offsetof(ZrPngHeader, height) == 4, "");
static_assert(offsetof(ZrPngHeader, bitDepth) == 8, "");
static_assert(offsetof(ZrPngHeader, colorType) == 12, "");
static_assert(offsetof(ZrPngHeader, compressionMethod) == 16, "");
static_assert(offsetof(ZrPngHeader, filterMethod) == 20, "");
static_assert(offsetof(ZrPngHeader, interlaceMethod) == 24, "");

// The types of the operations are part of the interface.
template <class Type, class Operation> constexpr bool Is(Operation)
{
    return std::is_same<Type, Operation>::value;
}

using Generic = ZrGenericPngDecoder;
using Place = const unsigned char*;
static_assert(Is<void (Generic::*)()>(&Generic::Initialize), "");
static_assert(Is<std::int32_t (Generic::*)(const BufferBase&)>(&Generic::Decode), "");
static_assert(Is<std::int32_t (Generic::*)(const BufferBase&, Place&)>(&Generic::CheckSignature),
              "");
static_assert(Is<std::int32_t (Generic::*)(unsigned&, unsigned char*&, unsigned&, unsigned&,
                                           const BufferBase&, Place&)>(&Generic::ReadChunk),
              "length, data, type, checksum; the file; the position");
static_assert(Is<std::int32_t (Generic::*)()>(&Generic::PrepareOutput), "");
static_assert(Is<std::int32_t (Generic::*)(unsigned char)>(&Generic::Output), "");
static_assert(Is<std::int32_t (Generic::*)()>(&Generic::EndOutput), "");
static_assert(Is<void (ZrPngHeader::*)(unsigned char*)>(&ZrPngHeader::Decode), "");
static_assert(Is<std::int32_t (ZrPngPalette::*)(unsigned, unsigned char*)>(&ZrPngPalette::Decode),
              "length, data");
static_assert(Is<std::int32_t (ZrPngTransparency::*)(unsigned, unsigned char*, unsigned)>(
                  &ZrPngTransparency::Decode),
              "length, data, colour type");

namespace {

// Writes down which virtual operations are called, and keeps the bytes.
class Recorder : public ZrGenericPngDecoder {
public:
    std::int32_t PrepareOutput() override
    {
        calls += 'P';
        return prepared;
    }
    std::int32_t Output(unsigned char byte) override
    {
        if (bytes.empty())
            calls += 'O';
        bytes.push_back(byte);
        return 1;
    }
    std::int32_t EndOutput() override
    {
        calls += 'E';
        return 0; // of no account
    }

    std::int32_t prepared = 1;
    std::string calls;
    Bytes bytes;
};

std::int32_t Decode(ZrGenericPngDecoder& decoder, const Bytes& file)
{
    const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
    const OwnBlock block(file);
    const std::int32_t result = decoder.Decode(block.Range());
    EXPECT_EQ(nodes, ZrPngHuffmanTree::leakTracker);
    return result;
}

// A zlib stream of the literals of `text`.
Bytes Zlib(const std::string& text)
{
    BitWriter writer;
    writer.Block(true, 1);
    for (char letter : text)
        writer.Fixed(static_cast<unsigned char>(letter));
    return writer.Fixed(256).Stream();
}

Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }

} // namespace

TEST(ZrGenericPngDecoder, StartsWithDefaults)
{
    ZrGenericPngDecoder decoder;
    EXPECT_EQ(0u, decoder.hdr.width);
    EXPECT_EQ(0u, decoder.hdr.height);
    EXPECT_EQ(0u, decoder.hdr.bitDepth);
    EXPECT_EQ(0u, decoder.hdr.colorType);
    EXPECT_EQ(0u, decoder.hdr.compressionMethod);
    EXPECT_EQ(0u, decoder.hdr.filterMethod);
    EXPECT_EQ(0u, decoder.hdr.interlaceMethod);
    EXPECT_EQ(0u, decoder.plt.nEntry);
    EXPECT_EQ(nullptr, decoder.plt.entry);
    for (std::uint32_t col : decoder.trns.col)
        EXPECT_EQ(0x7fffffffu, col);
    EXPECT_EQ(100000u, decoder.gamma);
    EXPECT_EQ(1, decoder.PrepareOutput());
    EXPECT_EQ(1, decoder.Output(0));
    EXPECT_EQ(1, decoder.EndOutput());
}

TEST(ZrGenericPngDecoder, VirtualOperationsStandInTheirSlots)
{
    // Destructor, deleting destructor, PrepareOutput, Output, EndOutput.
    Recorder decoder;
    void** const table = *reinterpret_cast<void***>(&decoder);
    typedef std::int32_t (*Plain)(ZrGenericPngDecoder*);
    typedef std::int32_t (*WithByte)(ZrGenericPngDecoder*, unsigned char);
    Plain prepare, end;
    WithByte output;
    std::memcpy(&prepare, table + 2, sizeof prepare);
    std::memcpy(&output, table + 3, sizeof output);
    std::memcpy(&end, table + 4, sizeof end);
    prepare(&decoder);
    output(&decoder, 7);
    end(&decoder);
    EXPECT_EQ("POE", decoder.calls);
    EXPECT_EQ(Bytes{7}, decoder.bytes);
}

TEST(ZrGenericPngDecoder, InitializeSetsGammaAndTransparencyAlone)
{
    ZrGenericPngDecoder decoder;
    unsigned char entry[3] = {1, 2, 3};
    ASSERT_EQ(1, decoder.plt.Decode(3, entry));
    decoder.hdr.width = 5;
    decoder.gamma = 1;
    decoder.trns.col[1] = 2;
    decoder.Initialize();
    EXPECT_EQ(100000u, decoder.gamma);
    EXPECT_EQ(0x7fffffffu, decoder.trns.col[1]);
    EXPECT_EQ(5u, decoder.hdr.width);
    EXPECT_EQ(1u, decoder.plt.nEntry);
}

TEST(ZrGenericPngDecoder, EveryByteOfTheSignatureCounts)
{
    const Bytes file = PngFile().Header(1, 1, 8, 6).Chunk("IDAT", Zlib("x")).End().bytes;
    for (std::size_t i = 0; i < 8; ++i) {
        Bytes wrong = file;
        wrong[i] ^= 1;
        Recorder decoder;
        EXPECT_EQ(-1, Decode(decoder, wrong));
        EXPECT_EQ("", decoder.calls);
        EXPECT_EQ(0u, decoder.hdr.width);
    }
}

TEST(ZrGenericPngDecoder, BufferShorterThanASignatureIsABadSignature)
{
    for (std::size_t size = 0; size < 8; ++size) {
        Bytes start = PngFile().bytes;
        start.resize(size);
        Recorder decoder;
        EXPECT_EQ(-1, Decode(decoder, start));
        EXPECT_EQ("", decoder.calls);
    }
}

TEST(ZrGenericPngDecoder, SignatureAloneIsAFileWithoutChunks)
{
    Recorder decoder;
    EXPECT_EQ(1, Decode(decoder, PngFile().bytes));
    EXPECT_EQ("PE", decoder.calls);
}

TEST(ZrGenericPngDecoder, CheckSignatureMovesOnInEitherCase)
{
    Bytes bytes = PngFile().bytes;
    bytes.resize(12);
    const BufferBase file(bytes.data(), bytes.size());
    ZrGenericPngDecoder decoder;
    const unsigned char* position = file.Begin();
    EXPECT_EQ(1, decoder.CheckSignature(file, position));
    EXPECT_EQ(file.Begin() + 8, position);
    position = file.Begin() + 1;
    EXPECT_EQ(0, decoder.CheckSignature(file, position));
    EXPECT_EQ(file.Begin() + 9, position);
    EXPECT_EQ(0, decoder.CheckSignature(file, position)); // 3 bytes are left
    EXPECT_EQ(file.End(), position);
}

TEST(ZrGenericPngDecoder, ReadChunkGivesItsParts)
{
    Bytes bytes = PngFile().Chunk("abCd", {7, 8, 9}).Chunk("IEND", {}).bytes;
    const BufferBase file(bytes.data(), bytes.size());
    ZrGenericPngDecoder decoder;
    const unsigned char* position = file.Begin() + 8;
    unsigned int length, type, crc;
    unsigned char* data;
    ASSERT_EQ(1, decoder.ReadChunk(length, data, type, crc, file, position));
    EXPECT_EQ(3u, length);
    EXPECT_EQ(0x61624364u, type);
    EXPECT_EQ(0xDEADBEEFu, crc);
    EXPECT_EQ((Bytes{7, 8, 9}), Bytes(data, data + 3));
    delete[] data;
    ASSERT_EQ(1, decoder.ReadChunk(length, data, type, crc, file, position));
    EXPECT_EQ(0u, length);
    EXPECT_EQ(0x49454E44u, type);
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(file.End(), position);
    EXPECT_EQ(0, decoder.ReadChunk(length, data, type, crc, file, position));
}

TEST(ZrGenericPngDecoder, ReadChunkFailsWhereverTheFileEnds)
{
    const Bytes whole = PngFile().Chunk("abCd", {7, 8, 9}).bytes;
    for (std::size_t size = 8; size < whole.size(); ++size) {
        const OwnBlock block(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
        ZrGenericPngDecoder decoder;
        const unsigned char* position = block.Range().Begin() + 8;
        unsigned int length, type, crc;
        unsigned char* data;
        EXPECT_EQ(0, decoder.ReadChunk(length, data, type, crc, block.Range(), position));
        EXPECT_EQ(nullptr, data);
        EXPECT_EQ(block.Range().End(), position);
    }
}

TEST(ZrGenericPngDecoder, LengthBeyondTheFileEndsTheReading)
{
    for (std::uint32_t length : {4u, 1000u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
        PngFile file;
        file.Chunk("IDAT", Zlib("ab")).Number(length);
        for (char letter : std::string("IDAT"))
            file.bytes.push_back(static_cast<std::uint8_t>(letter));
        file.bytes.insert(file.bytes.end(), 3, 0);
        Recorder decoder;
        EXPECT_EQ(1, Decode(decoder, file.bytes));
        EXPECT_EQ("POE", decoder.calls);
        EXPECT_EQ(Text("ab"), decoder.bytes);
    }
}

TEST(ZrGenericPngDecoder, FileOf4GiBIsRefusedBeforeAChunkIsRead)
{
    if (sizeof(void*) == 4)
        GTEST_SKIP() << "no range has 4 GiB here";
    const std::size_t size = static_cast<std::size_t>(0x100000000ull);
    const Bytes signature = PngFile().bytes;
    void* const map = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (map == MAP_FAILED)
        GTEST_SKIP() << "4 GiB of addresses cannot be had here";
    std::memcpy(map, signature.data(), signature.size());
    const BufferBase file(static_cast<unsigned char*>(map), size);
    ZrGenericPngDecoder decoder;
    ExpectRaises("src/Png/Decoder", ORVEX::Err::ERR_MEMORY, 0, [&] { decoder.Decode(file); });
    munmap(map, size);
}

TEST(ZrGenericPngDecoder, HeaderTakesItsThirteenBytes)
{
    Bytes data = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 99};
    Recorder decoder;
    EXPECT_EQ(1, Decode(decoder, PngFile().Chunk("IHDR", data).bytes)); // longer is as good
    EXPECT_EQ(0x01020304u, decoder.hdr.width);
    EXPECT_EQ(0x05060708u, decoder.hdr.height);
    EXPECT_EQ(9u, decoder.hdr.bitDepth);
    EXPECT_EQ(10u, decoder.hdr.colorType);
    EXPECT_EQ(11u, decoder.hdr.compressionMethod);
    EXPECT_EQ(12u, decoder.hdr.filterMethod);
    EXPECT_EQ(13u, decoder.hdr.interlaceMethod);
    for (std::size_t size = 0; size < 13; ++size) { // shorter is passed over
        Recorder other;
        data.resize(size);
        EXPECT_EQ(1, Decode(other, PngFile().Chunk("IHDR", data).bytes));
        EXPECT_EQ(0u, other.hdr.width);
        EXPECT_EQ("PE", other.calls);
    }
}

TEST(ZrGenericPngDecoder, SecondHeaderReplacesTheFirst)
{
    Recorder decoder;
    Decode(decoder, PngFile().Header(1, 2, 8, 6).Header(3, 4, 1, 0).bytes);
    EXPECT_EQ(3u, decoder.hdr.width);
    EXPECT_EQ(1u, decoder.hdr.bitDepth);
}

TEST(ZrGenericPngDecoder, ImageDataIsJoinedWhereverItStands)
{
    const Bytes zlib = Zlib("hello, world");
    const auto middle = zlib.begin() + 5;
    Recorder decoder;
    EXPECT_EQ(1, Decode(decoder, PngFile()
                                     .Chunk("IDAT", Bytes(zlib.begin(), middle))
                                     .Chunk("IDAT", {})
                                     .Chunk("tEXt", Text("a\0b"))
                                     .Header(1, 1, 8, 0)
                                     .Chunk("ABCD", {1, 2, 3}) // unknown and critical
                                     .Chunk("IDAT", Bytes(middle, zlib.end()))
                                     .End()
                                     .bytes));
    EXPECT_EQ(Text("hello, world"), decoder.bytes);
    EXPECT_EQ("POE", decoder.calls);
}

TEST(ZrGenericPngDecoder, NothingBehindTheEndIsRead)
{
    Recorder decoder;
    EXPECT_EQ(1, Decode(decoder, PngFile().End().Header(9, 9, 8, 0).Chunk("PLTE", {1}).bytes));
    EXPECT_EQ(0u, decoder.hdr.width);
}

TEST(ZrGenericPngDecoder, FileWithoutAnEndCountsAsFarAsItGoes)
{
    const Bytes first = Zlib("abc");
    const Bytes whole =
        PngFile().Header(1, 1, 8, 0).Chunk("IDAT", first).Chunk("IDAT", {1, 2, 3, 4}).End().bytes;
    const std::size_t firstEnd = PngFile().Header(1, 1, 8, 0).Chunk("IDAT", first).bytes.size();
    for (std::size_t size = 8; size <= whole.size(); ++size) {
        Recorder decoder;
        EXPECT_EQ(1,
                  Decode(decoder, Bytes(whole.begin(), whole.begin() + static_cast<long>(size))));
        EXPECT_EQ(size < firstEnd ? "PE" : "POE", decoder.calls) << size;
        EXPECT_EQ(size < firstEnd ? Bytes() : Text("abc"), decoder.bytes);
    }
}

TEST(ZrGenericPngDecoder, DamagedImageDataStillEndsWithEndOutput)
{
    BitWriter writer;
    writer.Block(false, 1).Fixed('a').Fixed(256).Block(true, 3);
    Recorder decoder;
    EXPECT_EQ(1, Decode(decoder, PngFile().Chunk("IDAT", writer.Stream()).bytes));
    EXPECT_EQ("POE", decoder.calls);
    EXPECT_EQ(Text("a"), decoder.bytes);
}

TEST(ZrGenericPngDecoder, ImageDataIsLeftAloneWhenItIsNotWanted)
{
    for (std::int32_t answer : {0, -1, 2}) {
        Recorder decoder;
        decoder.prepared = answer;
        EXPECT_EQ(1, Decode(decoder, PngFile().Chunk("IDAT", Zlib("abc")).End().bytes));
        EXPECT_EQ("P", decoder.calls);
    }
}

TEST(ZrGenericPngDecoder, PaletteOfOddLengthEndsEverything)
{
    Recorder decoder;
    EXPECT_EQ(-1, Decode(decoder, PngFile()
                                      .Chunk("PLTE", {1, 2, 3})
                                      .Chunk("PLTE", Bytes(10))
                                      .Chunk("IDAT", Zlib("abc"))
                                      .End()
                                      .bytes));
    EXPECT_EQ("", decoder.calls);
    EXPECT_EQ(1u, decoder.plt.nEntry); // the earlier one stays
}

TEST(ZrGenericPngDecoder, EmptyPaletteEmptiesThePalette)
{
    Recorder decoder;
    EXPECT_EQ(1, Decode(decoder, PngFile()
                                     .Chunk("PLTE", {1, 2, 3})
                                     .Chunk("PLTE", {})
                                     .Chunk("IDAT", Zlib("abc"))
                                     .End()
                                     .bytes));
    EXPECT_EQ("POE", decoder.calls);
    EXPECT_EQ(0u, decoder.plt.nEntry);
    EXPECT_EQ(nullptr, decoder.plt.entry);
}

TEST(ZrGenericPngDecoder, TransparencyGoesByTheColourTypeOfThatMoment)
{
    Recorder decoder;
    Decode(decoder, PngFile().Chunk("tRNS", {1, 2, 3, 4, 5, 6}).Header(1, 1, 8, 2).bytes);
    EXPECT_EQ(0x0102u, decoder.trns.col[0]); // colour type 0 so far
    EXPECT_EQ(0x7fffffffu, decoder.trns.col[1]);
    Recorder later;
    Decode(later, PngFile().Header(1, 1, 8, 2).Chunk("tRNS", {1, 2, 3, 4, 5, 6}).bytes);
    EXPECT_EQ(0x0102u, later.trns.col[0]);
    EXPECT_EQ(0x0304u, later.trns.col[1]);
    EXPECT_EQ(0x0506u, later.trns.col[2]);
}

TEST(ZrGenericPngDecoder, TransparencyThatCannotBeTakenIsPassedOver)
{
    const struct {
        unsigned colorType;
        Bytes data;
    } cases[] = {{0, {1}}, {2, {1, 2, 3, 4, 5}}, {3, {}}, {4, {1, 2}}, {6, {1, 2, 3, 4, 5, 6}}};
    for (const auto& one : cases) {
        Recorder decoder;
        PngFile file;
        file.Header(1, 1, 8, one.colorType).Chunk("tRNS", one.data).Chunk("IDAT", Zlib("ab"));
        EXPECT_EQ(1, Decode(decoder, file.End().bytes));
        EXPECT_EQ("POE", decoder.calls);
        for (std::uint32_t col : decoder.trns.col)
            EXPECT_EQ(0x7fffffffu, col) << one.colorType;
    }
}

TEST(ZrGenericPngDecoder, LongTransparencyOfAPaletteKeepsThreeValues)
{
    Recorder decoder;
    Bytes data;
    for (unsigned i = 0; i < 256; ++i)
        data.push_back(static_cast<std::uint8_t>(255 - i));
    EXPECT_EQ(1, Decode(decoder, PngFile().Header(1, 1, 8, 3).Chunk("tRNS", data).End().bytes));
    EXPECT_EQ(255u, decoder.trns.col[0]);
    EXPECT_EQ(254u, decoder.trns.col[1]);
    EXPECT_EQ(253u, decoder.trns.col[2]);
}

TEST(ZrGenericPngDecoder, GammaIsKept)
{
    Recorder decoder;
    Decode(decoder, PngFile().Chunk("gAMA", {0, 0, 0xb1, 0x8f, 7}).bytes);
    EXPECT_EQ(45455u, decoder.gamma);
    Decode(decoder, PngFile().Chunk("gAMA", {1, 2, 3}).Chunk("gAMA", {}).bytes); // too short
    EXPECT_EQ(45455u, decoder.gamma);
}

TEST(ZrGenericPngDecoder, SecondFileStartsFromWhatTheFirstLeft)
{
    Recorder decoder;
    Decode(decoder, PngFile().Header(4, 4, 8, 3).Chunk("PLTE", {1, 2, 3}).Chunk("tRNS", {5}).bytes);
    Decode(decoder, PngFile().Chunk("IDAT", Zlib("x")).bytes);
    EXPECT_EQ(4u, decoder.hdr.width);
    EXPECT_EQ(1u, decoder.plt.nEntry);
    EXPECT_EQ(5u, decoder.trns.col[0]);
}

TEST(ZrPngPalette, TakesACopyOfItsEntries)
{
    ZrPngPalette palette;
    unsigned char data[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(1, palette.Decode(6, data));
    EXPECT_EQ(2u, palette.nEntry);
    data[5] = 0;
    EXPECT_EQ(6, palette.entry[5]);
    EXPECT_EQ(0, palette.Decode(4, data)); // the palette stays
    EXPECT_EQ(2u, palette.nEntry);
    EXPECT_EQ(1, palette.entry[0]);
    EXPECT_EQ(1, palette.Decode(3, data));
    EXPECT_EQ(1u, palette.nEntry);
    EXPECT_EQ(1, palette.Decode(0, nullptr));
    EXPECT_EQ(0u, palette.nEntry);
    EXPECT_EQ(nullptr, palette.entry);
}

TEST(ZrPngPalette, MayHaveMoreThan256Entries)
{
    std::vector<unsigned char> data(3 * 1000, 8);
    ZrPngPalette palette;
    EXPECT_EQ(1, palette.Decode(3000, data.data()));
    EXPECT_EQ(1000u, palette.nEntry);
    EXPECT_EQ(8, palette.entry[2999]);
}

TEST(ZrPngTransparency, KeepsAtMostThreeValues)
{
    const std::uint32_t none = 0x7fffffff;
    const struct {
        unsigned colorType, length;
        std::int32_t result;
        std::uint32_t col[3];
    } cases[] = {
        {0, 0, 0, {none, none, none}},
        {0, 1, 0, {none, none, none}},
        {0, 2, 1, {0x0102, none, none}},
        {0, 8, 1, {0x0102, none, none}},
        {2, 5, 0, {none, none, none}},
        {2, 6, 1, {0x0102, 0x0304, 0x0506}},
        {2, 256, 1, {0x0102, 0x0304, 0x0506}},
        {3, 0, 1, {none, none, none}},
        {3, 1, 1, {1, none, none}},
        {3, 2, 1, {1, 2, none}},
        {3, 3, 1, {1, 2, 3}},
        {3, 256, 1, {1, 2, 3}},
        {4, 256, 0, {none, none, none}},
        {6, 256, 0, {none, none, none}},
        {1, 256, 0, {none, none, none}},
        {77, 256, 0, {none, none, none}},
    };
    for (const auto& one : cases) {
        // Exactly as many bytes as are announced.
        std::vector<unsigned char> data;
        for (unsigned i = 0; i < one.length; ++i)
            data.push_back(static_cast<unsigned char>(i + 1));
        ZrPngTransparency transparency;
        EXPECT_EQ(one.result, transparency.Decode(one.length, data.data(), one.colorType));
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(one.col[i], transparency.col[i]) << one.colorType << ' ' << one.length;
    }
}
