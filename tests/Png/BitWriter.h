// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_PNG_BITWRITER_H
#define ORVEX_TESTS_PNG_BITWRITER_H

#include <cstdint>
#include <vector>

/// Writes a zlib stream by hand, bit by bit (RFC 1951).
class BitWriter {
public:
    /// Starts with the two bytes of the zlib header; 0x78 0x01 has a window of 32 KiB.
    explicit BitWriter(unsigned cmf = 0x78, unsigned flg = 0x01)
        : bytes{static_cast<std::uint8_t>(cmf), static_cast<std::uint8_t>(flg)}
    {
    }

    /// A number of `count` bits, the least significant first.
    BitWriter& Number(unsigned number, unsigned count)
    {
        for (unsigned i = 0; i < count; ++i)
            Bit(number >> i & 1);
        return *this;
    }

    /// A code of `count` bits, the most significant first.
    BitWriter& Code(unsigned code, unsigned count)
    {
        while (count > 0)
            Bit(code >> --count & 1);
        return *this;
    }

    /// A block's three header bits; type 1 is fixed, 2 dynamic.
    BitWriter& Block(bool isLast, unsigned type) { return Number(isLast, 1).Number(type, 2); }

    /// A symbol of the fixed literal and length code.
    BitWriter& Fixed(unsigned symbol)
    {
        if (symbol < 144)
            return Code(48 + symbol, 8);
        if (symbol < 256)
            return Code(400 + symbol - 144, 9);
        if (symbol < 280)
            return Code(symbol - 256, 7);
        return Code(192 + symbol - 280, 8);
    }

    /// Fills the last byte up with 0 bits and appends `count` zero bytes.
    BitWriter& Pad(unsigned count)
    {
        free = 0;
        bytes.insert(bytes.end(), count, 0);
        return *this;
    }

    BitWriter& Byte(unsigned byte)
    {
        free = 0;
        bytes.push_back(static_cast<std::uint8_t>(byte));
        return *this;
    }

    const std::vector<std::uint8_t>& Stream() const { return bytes; }

private:
    void Bit(unsigned bit)
    {
        if (free == 0) {
            bytes.push_back(0);
            free = 8;
        }
        bytes.back() = static_cast<std::uint8_t>(bytes.back() | bit << (8 - free));
        --free;
    }

    std::vector<std::uint8_t> bytes;
    unsigned free = 0; // bits of the last byte that are not written yet
};

#endif
