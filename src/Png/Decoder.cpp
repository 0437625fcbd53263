// SPDX-License-Identifier: MIT
#include <ORVEX/Png.h>

#include "../Allocator/NewArray.h"
#include "BigEndian.h"
#include "Owned.h"

#include <algorithm>
#include <climits>

using ORVEX::NewArray;
using ORVEX::Internal::BigEndian32;
using ORVEX::Internal::Owned;

namespace {

const char File[] = "src/Png/Decoder";

// The types that are understood, as ReadChunk gives them.
const std::uint32_t IHDR = 0x49484452;
const std::uint32_t PLTE = 0x504C5445;
const std::uint32_t IDAT = 0x49444154;
const std::uint32_t IEND = 0x49454E44;
const std::uint32_t tRNS = 0x74524E53;
const std::uint32_t gAMA = 0x67414D41;

// Bytes of the image data of all IDAT chunks at most; they are counted in 32 bits, so a longer
// file asks for more than any heap has.
unsigned long DataBytes(unsigned long fileBytes)
{
    return fileBytes <= UINT32_MAX ? fileBytes : ULONG_MAX;
}

unsigned long BytesLeft(const ORVEX::BufferBase& file, const unsigned char* position)
{
    return static_cast<unsigned long>(file.End() - position);
}

// Reads 4 bytes at `position` and moves on behind them; at the end of the file when fewer are left.
bool Read32(std::uint32_t& number, const ORVEX::BufferBase& file, const unsigned char*& position)
{
    if (BytesLeft(file, position) < 4) {
        position = file.End();
        return false;
    }
    number = BigEndian32(position);
    position += 4;
    return true;
}

} // namespace

ZrGenericPngDecoder::ZrGenericPngDecoder() { Initialize(); }

ZrGenericPngDecoder::~ZrGenericPngDecoder() = default;

std::int32_t ZrGenericPngDecoder::PrepareOutput() { return 1; }

std::int32_t ZrGenericPngDecoder::Output(unsigned char) { return 1; }

std::int32_t ZrGenericPngDecoder::EndOutput() { return 1; }

void ZrGenericPngDecoder::Initialize()
{
    gamma = 100000;
    std::fill(trns.col, trns.col + 3, 0x7fffffff);
}

std::int32_t ZrGenericPngDecoder::Decode(const ORVEX::BufferBase& file)
{
    const unsigned char* position = file.Begin();
    if (CheckSignature(file, position) != 1)
        return -1;

    // As large as the file, so that joining chunks never has to move them.
    const unsigned long fileBytes = file.Length();
    const Owned<unsigned char> imageData(
        NewArray<unsigned char>(DataBytes(fileBytes), File, __LINE__, static_cast<int>(fileBytes)));
    unsigned int imageBytes = 0;

    unsigned int length;
    unsigned char* data;
    unsigned int type;
    unsigned int crc;
    while (ReadChunk(length, data, type, crc, file, position) == 1) {
        const Owned<unsigned char> chunk(data);
        if (type == IEND)
            break;
        switch (type) {
        case IHDR:
            if (length >= 13)
                hdr.Decode(data);
            break;
        case PLTE:
            if (plt.Decode(length, data) != 1)
                return -1;
            break;
        case tRNS:
            if (length != 0)
                trns.Decode(length, data, hdr.colorType);
            break;
        case gAMA:
            if (length >= 4)
                gamma = BigEndian32(data);
            break;
        case IDAT:
            std::copy(data, data + length, imageData.First() + imageBytes);
            imageBytes += length;
            break;
        default:
            break;
        }
    }

    if (PrepareOutput() != 1)
        return 1;
    ZrPngUncompressor uncompressor;
    uncompressor.output = this;
    // Damaged image data still ends with EndOutput, and what was handed out stays.
    uncompressor.Uncompress(imageBytes, imageData.First());
    EndOutput();
    return 1;
}

std::int32_t ZrGenericPngDecoder::CheckSignature(const ORVEX::BufferBase& file,
                                                 const unsigned char*& position)
{
    static const unsigned char Signature[8] = {137, 80, 78, 71, 13, 10, 26, 10};
    if (BytesLeft(file, position) < 8) {
        position = file.End();
        return 0;
    }
    const unsigned char* const bytes = position;
    position += 8;
    return std::equal(bytes, position, Signature) ? 1 : 0;
}

std::int32_t ZrGenericPngDecoder::ReadChunk(unsigned int& length, unsigned char*& data,
                                            unsigned int& type, unsigned int& crc,
                                            const ORVEX::BufferBase& file,
                                            const unsigned char*& position)
{
    data = nullptr;
    if (!Read32(length, file, position) || !Read32(type, file, position))
        return 0;
    // Before anything is allocated, so that a length of nothing but nines costs nothing.
    if (BytesLeft(file, position) < length) {
        position = file.End();
        return 0;
    }
    const unsigned char* const first = position;
    position += length;
    if (!Read32(crc, file, position))
        return 0;
    if (length != 0) {
        data = NewArray<unsigned char>(length, File, __LINE__, static_cast<int>(length));
        std::copy(first, first + length, data);
    }
    return 1;
}
