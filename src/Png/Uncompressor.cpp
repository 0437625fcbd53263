// SPDX-License-Identifier: MIT
#include <ORVEX/Png.h>

#include <ORVEX/Vector.h>

#include "HuffmanTree.h"

#include <algorithm>
#include <cstddef>

using ORVEX::Vector;
using ORVEX::Internal::HuffmanTree;

namespace {

const unsigned int Codes = 322;      // entries of the arrays of lengths and codes
const unsigned int FixedCodes = 288; // of them, in the fixed code

// Takes bits out of bytes, each byte's lowest bit first (RFC 1951, 3.1.1). Every bit is
// fetched from its byte; nothing is held back in between.
struct BitReader {
    const unsigned char* at;  // Byte of the next bit.
    const unsigned char* end; // Behind the last byte; null when the caller vouches for them.
    std::uint32_t mask;       // Value of the next bit in its byte; 0 reads as 0 for ever.

    bool AtEnd() const { return at == end; }

    // Takes the next bit. The input must not be at its end.
    std::uint32_t Next()
    {
        const std::uint32_t bit = (*at & mask) != 0;
        mask <<= 1;
        if (mask > 255) {
            mask = 1;
            ++at;
        }
        return bit;
    }

    // Takes a number of `count` bits, the first of which is the least significant one.
    // @return whether the input held them all
    bool Take(std::uint32_t count, std::uint32_t& number)
    {
        number = 0;
        for (std::uint32_t i = 0; i < count; ++i) {
            if (AtEnd())
                return false;
            number |= Next() << i;
        }
        return true;
    }
};

bool IsLeaf(const ZrPngHuffmanTree* node) { return !node->zero && !node->one; }

// Walks from `root` to the leaf that the next bits lead to; null when they lead nowhere or end.
const ZrPngHuffmanTree* Walk(BitReader& bits, const ZrPngHuffmanTree* root)
{
    const ZrPngHuffmanTree* node = root;
    do {
        if (bits.AtEnd())
            return nullptr;
        node = bits.Next() ? node->one : node->zero;
        if (!node)
            return nullptr;
    } while (!IsLeaf(node));
    return node;
}

// Extra bits of a length symbol and the length without them; the table of RFC 1951, 3.2.5,
// computed.
std::uint32_t LengthBits(std::uint32_t symbol)
{
    return symbol < 265 || symbol > 284 ? 0 : (symbol - 265) / 4 + 1;
}

std::uint32_t LengthBase(std::uint32_t symbol)
{
    if (symbol < 265)
        return symbol - 254;
    if (symbol > 284)
        return 258;
    const std::uint32_t k = (symbol - 265) / 4;
    return 3 + (8u << k) + (symbol - 265) % 4 * (2u << k);
}

// The same of a distance code. Codes 30 and 31, which the format does not use, follow the formula.
std::uint32_t DistanceBits(std::uint32_t code) { return code < 4 ? 0 : (code - 2) / 2; }

std::uint32_t DistanceBase(std::uint32_t code)
{
    if (code < 4)
        return code + 1;
    const std::uint32_t k = (code - 4) / 2;
    return 1 + (4u << k) + code % 2 * (2u << k);
}

// The code lengths of a dynamic block come in a code of their own; reads `total` of them and more
// where the last repeat runs on.
bool ReadCodeLengths(BitReader& bits, const ZrPngHuffmanTree* root, unsigned int total,
                     unsigned int* lengths)
{
    unsigned int at = 0;
    while (at < total) {
        const ZrPngHuffmanTree* const leaf = Walk(bits, root);
        if (!leaf)
            return false;
        if (leaf->value < 16) {
            lengths[at++] = leaf->value;
            continue;
        }
        if (leaf->value == 16 && at == 0)
            return false;
        const unsigned int repeated = leaf->value == 16 ? lengths[at - 1] : 0;
        const unsigned int least = leaf->value == 18 ? 11 : 3;
        unsigned int more;
        if (!bits.Take(leaf->value == 18 ? 7 : leaf->value - 14, more))
            return false;
        // Repeats are not clipped at the total, only at the arrays.
        if (least + more > Codes - at)
            return false;
        std::fill_n(lengths + at, least + more, repeated);
        at += least + more;
    }
    return true;
}

// What one dynamic block says of its codes.
struct DynamicCodes {
    unsigned int hlit;
    unsigned int hdist;
    unsigned int hclen;
    unsigned int* lengths; // Codes entries: hlit + 257 literals and lengths, then the distances
    unsigned int* codes;   // the same
};

bool ReadDynamicCodes(ZrPngUncompressor& maker, BitReader& bits, DynamicCodes& block)
{
    static const unsigned char Order[19] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                            11, 4,  12, 3, 13, 2, 14, 1, 15};
    if (!bits.Take(5, block.hlit) || !bits.Take(5, block.hdist) || !bits.Take(4, block.hclen))
        return false;
    unsigned int lengths[19] = {};
    for (unsigned int i = 0; i < block.hclen + 4; ++i)
        if (!bits.Take(3, lengths[Order[i]]))
            return false;
    unsigned int codes[19];
    maker.MakeDynamicHuffmanCode(lengths, codes, 19, lengths);
    HuffmanTree tree;
    tree.Make(19, lengths, codes);

    const unsigned int literals = block.hlit + 257;
    const unsigned int distances = block.hdist + 1;
    if (!ReadCodeLengths(bits, tree.Root(), literals + distances, block.lengths))
        return false;
    maker.MakeDynamicHuffmanCode(block.lengths, block.codes, literals, block.lengths);
    maker.MakeDynamicHuffmanCode(block.lengths + literals, block.codes + literals, distances,
                                 block.lengths + literals);
    return true;
}

// The bytes that went out last, as many as the stream's header says: matches are copied from here.
class Window {
public:
    // Zeroed, so that what a match finds before the first byte is 0.
    explicit Window(std::uint32_t size) : mask(size - 1)
    {
        bytes.TryResizeNoCopy(size);
        std::fill(bytes.Begin(), bytes.End(), 0);
    }

    Vector<unsigned char> bytes;
    std::uint32_t mask;         // size - 1; the size is a power of two
    std::uint32_t position = 0; // where the next byte goes
};

// How a run of symbols ended.
enum Ending { BlockEnded, Failed, InputRunsOut };

// One call of Uncompress.
class Inflation {
public:
    Inflation(ZrPngUncompressor& owner, const BitReader& input, std::uint32_t windowSize)
        : maker(owner), sink(owner.output), bits(input), window(windowSize)
    {
    }

    bool Blocks();

private:
    bool FixedBlock();
    bool DynamicBlock();
    bool Symbols(const ZrPngHuffmanTree* literals, const ZrPngHuffmanTree* distances);
    bool Copy(std::uint32_t length, std::uint32_t distance);

    ZrPngUncompressor& maker;
    ZrGenericPngDecoder* sink;
    BitReader bits;
    Window window;
    HuffmanTree fixedTree; // made for the first fixed block
};

bool Inflation::Blocks()
{
    std::uint32_t isLast = 0;
    while (!isLast) {
        std::uint32_t type;
        if (!bits.Take(1, isLast) || !bits.Take(2, type) || bits.AtEnd())
            return false;
        switch (type) {
        case 0:
            // A stored block hands out nothing. Its length is taken from the 2 bytes behind the
            // next one and its data passed over, wherever that leads. Behind a block that is not
            // the last every bit reads as 0, so one stored block seems to follow the other until
            // the input ends: the call can only fail.
            return isLast && bits.end - bits.at >= 3;
        case 1:
            if (!FixedBlock())
                return false;
            break;
        case 2:
            if (!DynamicBlock())
                return false;
            break;
        default:
            return false;
        }
    }
    return true;
}

bool Inflation::FixedBlock()
{
    if (!fixedTree.Root()) {
        unsigned int lengths[FixedCodes];
        unsigned int codes[FixedCodes];
        maker.MakeFixedHuffmanCode(lengths, codes);
        fixedTree.Make(FixedCodes, lengths, codes);
    }
    return Symbols(fixedTree.Root(), nullptr);
}

bool Inflation::DynamicBlock()
{
    unsigned int lengths[Codes];
    unsigned int codes[Codes];
    DynamicCodes block;
    block.lengths = lengths;
    block.codes = codes;
    if (!ReadDynamicCodes(maker, bits, block))
        return false;
    const unsigned int count = block.hlit + 257;
    HuffmanTree literals;
    HuffmanTree distances;
    literals.Make(count, lengths, codes);
    distances.Make(block.hdist + 1, lengths + count, codes + count);
    return Symbols(literals.Root(), distances.Root());
}

bool Inflation::Symbols(const ZrPngHuffmanTree* literals, const ZrPngHuffmanTree* distances)
{
    do {
        const ZrPngHuffmanTree* const leaf = Walk(bits, literals);
        if (!leaf)
            return false;
        const std::uint32_t symbol = leaf->value;
        if (symbol < 256) {
            const unsigned char byte = static_cast<unsigned char>(symbol);
            window.bytes.Begin()[window.position] = byte;
            window.position = (window.position + 1) & window.mask;
            if (sink->Output(byte) != 1)
                return false;
        } else if (symbol == 256) {
            return true;
        } else if (symbol < 286) {
            std::uint32_t length;
            std::uint32_t distance;
            if (!bits.Take(LengthBits(symbol), length))
                return false;
            length += LengthBase(symbol);
            std::uint32_t code = 0;
            if (distances) {
                const ZrPngHuffmanTree* const found = Walk(bits, distances);
                if (!found)
                    return false;
                code = found->value;
            } else {
                for (int i = 0; i < 5; ++i) {
                    if (bits.AtEnd())
                        return false;
                    code = code << 1 | bits.Next();
                }
            }
            if (!bits.Take(DistanceBits(code), distance))
                return false;
            distance += DistanceBase(code);
            if (!Copy(length, distance))
                return false;
        }
        // Symbols 286 and 287 are passed over.
    } while (!bits.AtEnd());
    return false;
}

bool Inflation::Copy(std::uint32_t length, std::uint32_t distance)
{
    unsigned char* const bytes = window.bytes.Begin();
    for (std::uint32_t i = 0; i < length; ++i) {
        const unsigned char byte = bytes[(window.position - distance) & window.mask];
        if (sink->Output(byte) != 1)
            return false;
        bytes[window.position] = byte;
        window.position = (window.position + 1) & window.mask;
    }
    return true;
}

// A reader at a caller's position; Put gives the position back.
BitReader ReaderAt(const unsigned char* input, unsigned int position, unsigned int mask)
{
    return BitReader{input + position, nullptr, mask};
}

void Put(const BitReader& bits, const unsigned char* input, unsigned int& position,
         unsigned int& mask)
{
    position = static_cast<unsigned int>(bits.at - input);
    mask = bits.mask;
}

} // namespace

std::int32_t ZrPngUncompressor::Uncompress(unsigned int size, unsigned char* stream)
{
    // RFC 1950, 2.2: method 8 is deflate. CINFO is not limited to 7, and FCHECK not looked at.
    if (size == 0 || (stream[0] & 0x0f) != 8)
        return 0;
    Inflation inflation(*this, BitReader{stream + std::min(size, 2u), stream + size, 1},
                        1u << ((stream[0] >> 4) + 8));
    if (size < 2 || (stream[1] & 0x20) != 0)
        return 0;
    return inflation.Blocks() ? 1 : 0;
}

void ZrPngUncompressor::MakeFixedHuffmanCode(unsigned int* lengths, unsigned int* codes)
{
    for (unsigned int symbol = 0; symbol < FixedCodes; ++symbol) {
        if (symbol < 144) {
            lengths[symbol] = 8;
            codes[symbol] = 48 + symbol;
        } else if (symbol < 256) {
            lengths[symbol] = 9;
            codes[symbol] = 400 + symbol - 144;
        } else if (symbol < 280) {
            lengths[symbol] = 7;
            codes[symbol] = symbol - 256;
        } else {
            lengths[symbol] = 8;
            codes[symbol] = 192 + symbol - 280;
        }
    }
}

void ZrPngUncompressor::MakeDynamicHuffmanCode(unsigned int* lengths, unsigned int* codes,
                                               unsigned int n, unsigned int* inputLengths)
{
    unsigned int longest = 0;
    for (unsigned int symbol = 0; symbol < n; ++symbol) {
        lengths[symbol] = inputLengths[symbol];
        codes[symbol] = 0;
        longest = std::max(longest, lengths[symbol]);
    }
    Vector<unsigned int> count; // of the codes of each length
    count.TryResizeNoCopy(longest + 1ul);
    std::fill(count.Begin(), count.End(), 0);
    for (unsigned int symbol = 0; symbol < n; ++symbol)
        ++count[lengths[symbol]];
    count[0] = 0;
    Vector<unsigned int> next; // code of each length
    next.TryResizeNoCopy(longest + 1ul);
    next[0] = 0;
    for (unsigned int length = 1; length <= longest; ++length)
        next[length] = (next[length - 1] + count[length - 1]) * 2;
    for (unsigned int symbol = 0; symbol < n; ++symbol)
        if (lengths[symbol] != 0)
            codes[symbol] = next[lengths[symbol]]++;
}

ZrPngHuffmanTree* ZrPngUncompressor::MakeHuffmanTree(unsigned int n, unsigned int* lengths,
                                                     unsigned int* codes)
{
    HuffmanTree tree;
    tree.Make(n, lengths, codes);
    return tree.HandOver();
}

void ZrPngUncompressor::DeleteHuffmanTree(ZrPngHuffmanTree* root)
{
    ORVEX::Internal::DeleteHuffmanTree(root);
}

std::int32_t ZrPngUncompressor::DecodeDynamicHuffmanCode(
    unsigned int& hlit, unsigned int& hdist, unsigned int& hclen, unsigned int*& literalLengths,
    unsigned int*& literalCodes, unsigned int*& distanceLengths, unsigned int*& distanceCodes,
    unsigned int* lengths, unsigned int* codes, const unsigned char* input, unsigned int& position,
    unsigned int& mask)
{
    BitReader bits = ReaderAt(input, position, mask);
    DynamicCodes block;
    block.lengths = lengths;
    block.codes = codes;
    const bool complete = ReadDynamicCodes(*this, bits, block);
    Put(bits, input, position, mask);
    hlit = block.hlit;
    hdist = block.hdist;
    hclen = block.hclen;
    literalLengths = lengths;
    literalCodes = codes;
    distanceLengths = lengths + hlit + 257;
    distanceCodes = codes + hlit + 257;
    return complete ? 1 : 0;
}

unsigned int ZrPngUncompressor::GetCopyLength(unsigned int symbol, unsigned char* input,
                                              unsigned int& position, unsigned int& mask)
{
    BitReader bits = ReaderAt(input, position, mask);
    unsigned int extra;
    bits.Take(LengthBits(symbol), extra);
    Put(bits, input, position, mask);
    return LengthBase(symbol) + extra;
}

unsigned int ZrPngUncompressor::GetBackwardDistance(unsigned int code, unsigned char* input,
                                                    unsigned int& position, unsigned int& mask)
{
    BitReader bits = ReaderAt(input, position, mask);
    unsigned int extra;
    bits.Take(DistanceBits(code), extra);
    Put(bits, input, position, mask);
    return DistanceBase(code) + extra;
}
