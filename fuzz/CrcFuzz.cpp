// SPDX-License-Identifier: MIT
// The checksums of any bytes at any address, fed in any pieces, against zlib's CRC-32 and against
// CRC-8 bit by bit.
//
//   ./tools/fuzz 60 CrcFuzz
#include "Harness.h"

#include <ORVEX/CRC.h>

#include <zlib.h>

#include <algorithm>

using namespace ORVEX;

namespace {

std::uint8_t Crc8BitByBit(const std::vector<std::uint8_t>& bytes)
{
    unsigned int crc = 0;
    for (const std::uint8_t byte : bytes)
        for (int bit = 7; bit >= 0; --bit)
            crc = (crc << 1 ^ ((crc >> 7 ^ byte >> bit) & 1u ? 0x31u : 0u)) & 0xFFu;
    unsigned int reversed = 0;
    for (int bit = 0; bit < 8; ++bit)
        reversed = reversed << 1 | (crc >> bit & 1u);
    return static_cast<std::uint8_t>(reversed);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    Feed feed(data, size);
    const std::uint32_t offset = feed.Number(31);
    std::vector<std::uint32_t> cuts(feed.Number(7));
    for (std::uint32_t& cut : cuts)
        cut = feed.Number(8191);
    // Long ranges are taken in larger blocks, so the input is repeated, each time a little changed.
    const std::uint32_t times = feed.Byte() < 200 ? 1 : feed.Number(40);
    const std::vector<std::uint8_t> once = feed.Rest();
    std::vector<std::uint8_t> bytes;
    for (std::uint32_t i = 0; i < times; ++i)
        for (const std::uint8_t byte : once)
            bytes.push_back(static_cast<std::uint8_t>(byte + i * bytes.size()));

    std::vector<std::uint8_t> moved(offset + bytes.size());
    std::copy(bytes.begin(), bytes.end(), moved.begin() + static_cast<long>(offset));
    CRC32 crc32InPieces;
    CRC8 crc8InPieces;
    unsigned char* at = moved.data() + offset;
    unsigned long left = bytes.size();
    cuts.push_back(UINT32_MAX);
    for (const std::uint32_t cut : cuts) {
        const BufferBase piece(at, std::min<unsigned long>(cut, left));
        crc32InPieces.Update(piece);
        crc8InPieces.Update(piece);
        at += piece.Length();
        left -= piece.Length();
    }

    const std::uint32_t expected =
        static_cast<std::uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
    Require(crc32InPieces.Get() == expected, "CRC-32 is zlib's");
    Require(crc32InPieces.Get() == expected, "reading CRC-32 changes nothing");
    Require(crc8InPieces.Get() == Crc8BitByBit(bytes), "CRC-8 is the polynomial's");
    crc32InPieces.Clear();
    crc8InPieces.Clear();
    Require(crc32InPieces.Get() == 0 && crc8InPieces.Get() == 0, "Clear forgets all bytes");
    return 0;
}
