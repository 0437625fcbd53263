// SPDX-License-Identifier: MIT
#ifndef ORVEX_FUZZ_DEFLATEWRITER_H
#define ORVEX_FUZZ_DEFLATEWRITER_H

#include "Png/BitWriter.h"

#include <cstddef>
#include <vector>

/// Writes blocks of zlib streams (RFC 1951), good ones and any others.
class DeflateWriter : public BitWriter {
public:
    /// Starts a stream with a window of 2^(cinfo + 8) bytes.
    explicit DeflateWriter(unsigned int cinfo) : BitWriter(cinfo << 4 | 8) {}

    /// A block that holds `data`, runs as matches: in the fixed code, or in one of its own.
    void Block(const std::vector<std::uint8_t>& data, bool last, bool dynamic)
    {
        if (dynamic) {
            // 226 codes of 8 bits, 60 of 9 bits, and distances 1 and 2 in a bit each.
            std::vector<unsigned int> lengths(286, 8);
            for (std::size_t symbol = 226; symbol < 286; ++symbol)
                lengths[symbol] = 9;
            lengths.insert(lengths.end(), 2, 1);
            DynamicHeader(last, lengths, 286, 2);
        } else {
            BitWriter::Block(last, 1);
        }
        for (std::size_t i = 0; i < data.size();) {
            std::size_t run = 0;
            while (i != 0 && run < 258 && i + run < data.size() && data[i + run] == data[i - 1])
                ++run;
            if (run >= 3) {
                Repeat(static_cast<unsigned int>(run), dynamic);
                i += run;
            } else {
                Symbol(data[i++], dynamic);
            }
        }
        Symbol(256, dynamic);
    }

    /// The head of a dynamic block with these code lengths, each 0 to 15: `literals` (257 to 288)
    /// of them for literals and lengths, then `distances` (1 to 32). Where there are more, the last
    /// repeat may run on into them. The code length code has a code for each of its symbols, so
    /// that any lengths can be written.
    void DynamicHeader(bool last, const std::vector<unsigned int>& lengths, unsigned int literals,
                       unsigned int distances)
    {
        static const unsigned char Order[19] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                11, 4,  12, 3, 13, 2, 14, 1, 15};
        BitWriter::Block(last, 2);
        Number(literals - 257, 5);
        Number(distances - 1, 5);
        Number(15, 4);
        // 13 codes of 4 bits, 6 of 5 bits: 0 to 12 and 13 to 18.
        for (const unsigned char symbol : Order)
            Number(symbol < 13 ? 4 : 5, 3);
        for (std::size_t i = 0; i < literals + distances;) {
            std::size_t run = 1;
            while (i + run < lengths.size() && lengths[i + run] == lengths[i])
                ++run;
            if (lengths[i] == 0 && run >= 11) {
                run = run < 138 ? run : 138;
                LengthSymbol(18);
                Number(static_cast<unsigned int>(run) - 11, 7);
            } else if (run >= 4) {
                run = run < 7 ? run : 7;
                LengthSymbol(lengths[i]);
                LengthSymbol(16);
                Number(static_cast<unsigned int>(run) - 4, 2);
            } else {
                run = 1;
                LengthSymbol(lengths[i]);
            }
            i += run;
        }
    }

    /// Any bytes, from the next bit on.
    void Raw(const std::vector<std::uint8_t>& data)
    {
        for (const std::uint8_t byte : data)
            Number(byte, 8);
    }

private:
    void Symbol(unsigned int symbol, bool dynamic)
    {
        if (!dynamic)
            Fixed(symbol);
        else if (symbol < 226)
            Code(symbol, 8);
        else
            Code(2 * 226 + symbol - 226, 9);
    }

    // A match of 3 to 258 bytes at distance 1.
    void Repeat(unsigned int length, bool dynamic)
    {
        if (length == 258) {
            Symbol(285, dynamic);
        } else if (length < 11) {
            Symbol(254 + length, dynamic);
        } else {
            unsigned int k = 1; // extra bits
            while (k < 5 && 3 + (4u << (k + 1)) <= length)
                ++k;
            const unsigned int above = length - 3 - (4u << k);
            Symbol(261 + 4 * k + (above >> k), dynamic);
            Number(above & ((1u << k) - 1), k);
        }
        Code(0, dynamic ? 1 : 5);
    }

    void LengthSymbol(unsigned int symbol)
    {
        if (symbol < 13)
            Code(symbol, 4);
        else
            Code(26 + symbol - 13, 5);
    }
};

#endif
