// SPDX-License-Identifier: MIT
#ifndef ORVEX_CRC_H
#define ORVEX_CRC_H

#include <ORVEX/Buffer.h>

#include <cstdint>

namespace ORVEX {

/// The common CRC-32 (ISO-HDLC, IEEE 802.3, ITU-T V.42; the checksum of zlib, gzip and PNG) of any
/// number of byte ranges fed one after the other.
///
/// Polynomial 0x04C11DB7, bits reflected on the way in and out, start value and final XOR
/// 0xFFFFFFFF; the nine ASCII bytes 123456789 give 0xCBF43926. Owns nothing; copies carry the
/// running state on. One thread at a time per object. Raises nothing.
class CRC32 {
public:
    CRC32() { Clear(); } ///< Ready for the first byte.

    /// Forgets all bytes fed so far.
    void Clear() { shiftRegister = 0xFFFFFFFF; }

    /// Takes in the bytes of `buffer` behind all bytes fed before; an empty range changes nothing.
    void Update(const BufferBase& buffer);

    /// The checksum of all bytes fed since the start, 0 when there were none. The running state
    /// stays, so that more bytes may follow.
    std::uint32_t Get() { return shiftRegister ^ 0xFFFFFFFF; }

    /// What eight steps make of each byte: shift right, XOR 0xEDB88320 when the bit shifted out
    /// was 1. Constant, and there before any other static object is built.
    static const std::uint32_t Table[256];

private:
    std::uint32_t shiftRegister;
};

/// An 8-bit CRC of any number of byte ranges fed one after the other.
///
/// Polynomial 0x31 (x^8 + x^5 + x^4 + 1), start value 0, most significant bit first, no final
/// XOR; but the result is handed out with its bits reversed. No catalogued CRC-8 does both: the
/// nine ASCII bytes 123456789 leave 0xA2 in the register and give 0x45. Owns nothing; copies
/// carry the running state on. One thread at a time per object. Raises nothing.
class CRC8 {
public:
    CRC8() { Clear(); } ///< Ready for the first byte.

    /// Forgets all bytes fed so far.
    void Clear() { shiftRegister = 0; }

    /// Takes in the bytes of `buffer` behind all bytes fed before; an empty range changes nothing.
    void Update(const BufferBase& buffer);

    /// The register's eight bits in reversed order, 0 when no byte was fed. The running state
    /// stays, so that more bytes may follow.
    std::uint8_t Get();

    /// What eight steps make of each byte: shift left within 8 bits, XOR 0x31 when the bit
    /// shifted out was 1. Constant, and there before any other static object is built.
    static const std::uint8_t Table[256];

private:
    std::uint8_t shiftRegister;
};

} // namespace ORVEX

#endif
