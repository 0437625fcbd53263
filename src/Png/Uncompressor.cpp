// SPDX-License-Identifier: MIT
#include <ORVEX/Png.h>

#include "../Allocator/NewArray.h"
#include "HuffmanTree.h"
#include "Owned.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

using ORVEX::NewArray;
using ORVEX::Internal::HuffmanTree;
using ORVEX::Internal::Owned;

namespace {

const char File[] = "src/Png/Uncompressor";

const unsigned int Codes = 322;      // entries of the arrays of lengths and codes
const unsigned int FixedCodes = 288; // of them, in the fixed code

const std::uint32_t NoSymbol = 0x7fffffff; // value of a node that ends no code

// Takes bits out of bytes, each byte's lowest bit first (RFC 1951, 3.1.1). Every bit is fetched
// from its byte; nothing is held back in between.
struct BitReader {
    const unsigned char* at; // byte where it stands or began
    std::size_t left;        // bytes from there; all that can be counted when the caller vouches
    std::uint32_t bit;       // the next one, counted on from the byte's lowest over the bytes

    // Whether the input holds so many bits more.
    bool Holds(std::uint32_t count) const { return (bit + count + 7) / 8 <= left; }

    // Takes the next bit, which the input must hold.
    std::uint32_t Next()
    {
        const std::uint32_t value = at[bit / 8] >> bit % 8 & 1;
        ++bit;
        return value;
    }

    // Moves on to the byte of the next bit.
    void Settle()
    {
        at += bit / 8;
        left -= bit / 8;
        bit %= 8;
    }
};

// Takes a number of `count` bits, the first of which is the least significant one.
// @return whether the input held them all
bool Take(BitReader& bits, std::uint32_t count, std::uint32_t& number)
{
    number = 0;
    if (!bits.Holds(count))
        return false;
    for (std::uint32_t i = 0; i < count; ++i)
        number |= bits.Next() << i;
    return true;
}

// Codes follow on each other from an even one, so that no node has only a child for the bit 1.
bool IsLeaf(const ZrPngHuffmanTree* node) { return !node->zero; }

// Whether every node has two children or none, so that no bit leads nowhere.
bool IsComplete(const ZrPngHuffmanTree* node)
{
    if (IsLeaf(node))
        return true;
    return node->one && IsComplete(node->zero) && IsComplete(node->one);
}

// Where a bit leads; null when no code goes there. The two children are indexed by the bit, because
// a branch on it would go wrong every other time.
const ZrPngHuffmanTree* Child(const ZrPngHuffmanTree* node, std::uint32_t bit)
{
    static_assert(offsetof(ZrPngHuffmanTree, zero) == 0, "the first child is the node's start");
    const std::size_t next = offsetof(ZrPngHuffmanTree, one);
    const ZrPngHuffmanTree* child;
    std::memcpy(&child, reinterpret_cast<const char*>(node) + bit * next, sizeof(void*));
    return child;
}

// Walks on from `node` to the leaf that the next bits lead to. Null when they lead nowhere or end,
// and when the tree is a bare root, whose value is no symbol.
const ZrPngHuffmanTree* Walk(BitReader& bits, const ZrPngHuffmanTree* node)
{
    while (!IsLeaf(node)) {
        if (!bits.Holds(1))
            return nullptr;
        node = Child(node, bits.Next());
        if (!node)
            return nullptr;
    }
    return node->value != NoSymbol ? node : nullptr;
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
        if (leaf->value == 16 && at == 0) // nothing to repeat
            return false;
        const unsigned int repeated = leaf->value == 16 ? lengths[at - 1] : 0;
        const unsigned int least = leaf->value == 18 ? 11 : 3;
        unsigned int more;
        if (!Take(bits, leaf->value == 18 ? 7 : leaf->value - 14, more))
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
    if (!Take(bits, 5, block.hlit) || !Take(bits, 5, block.hdist) || !Take(bits, 4, block.hclen))
        return false;
    unsigned int lengths[19] = {};
    for (unsigned int i = 0; i < block.hclen + 4; ++i)
        if (!Take(bits, 3, lengths[Order[i]]))
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
    explicit Window(std::uint32_t size)
        : bytes(NewArray<unsigned char>(size, File, __LINE__, static_cast<int>(size))),
          mask(size - 1)
    {
        // A zero of the bytes' own type makes it a memset in every build.
        std::fill_n(bytes.First(), size, static_cast<unsigned char>(0));
    }

    Owned<unsigned char> bytes;
    std::uint32_t mask;         // size - 1; the size is a power of two
    std::uint32_t position = 0; // where the next byte goes
};

// One call of Uncompress.
class Inflation {
public:
    Inflation(ZrPngUncompressor& owner, const BitReader& input, std::uint32_t windowSize)
        : maker(owner), sink(owner.output), bits(input), window(windowSize)
    {
    }

    bool Blocks();

private:
    enum Ending { BlockEnded, Failed, InputEnds };

    bool FixedBlock();
    bool DynamicBlock();
    bool Symbols(const ZrPngHuffmanTree* literals, const ZrPngHuffmanTree* distances);
    Ending FastSymbols(const ZrPngHuffmanTree* literals, const ZrPngHuffmanTree* distances,
                       const ZrPngHuffmanTree*& node);
    bool Match(std::uint32_t symbol, const ZrPngHuffmanTree* distances);
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
        if (!Take(bits, 1, isLast) || !Take(bits, 2, type) || !bits.Holds(1))
            return false;
        bits.Settle();
        switch (type) {
        case 0:
            // A stored block hands out nothing. Its length is taken from the 2 bytes behind the
            // next one and its data passed over, wherever that leads. Behind a block that is not
            // the last every bit reads as 0, so one stored block seems to follow the other until
            // the input ends: the call can only fail.
            return isLast && bits.left >= 3;
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
    DynamicCodes block = {0, 0, 0, lengths, codes};
    if (!ReadDynamicCodes(maker, bits, block))
        return false;
    const unsigned int count = block.hlit + 257;
    HuffmanTree literals;
    HuffmanTree distances;
    literals.Make(count, lengths, codes);
    distances.Make(block.hdist + 1, lengths + count, codes + count);
    return Symbols(literals.Root(), distances.Root());
}

// Decodes the symbols of one block. The fast way goes as far as the input does; what is left is the
// symbol that ends with it, and trees with gaps.
bool Inflation::Symbols(const ZrPngHuffmanTree* literals, const ZrPngHuffmanTree* distances)
{
    const ZrPngHuffmanTree* node = literals;
    const bool isFixed = !distances; // and complete: to look each time would cost 575 nodes a block
    if (isFixed || (!IsLeaf(literals) && IsComplete(literals))) {
        const Ending ending = FastSymbols(literals, distances, node);
        if (ending != InputEnds)
            return ending == BlockEnded;
    }
    do {
        const ZrPngHuffmanTree* const leaf = Walk(bits, node);
        if (!leaf)
            return false;
        bits.Settle();
        node = literals;
        const std::uint32_t symbol = leaf->value;
        if (symbol < 256) {
            const unsigned char byte = static_cast<unsigned char>(symbol);
            window.bytes[window.position] = byte;
            window.position = (window.position + 1) & window.mask;
            if (sink->Output(byte) != 1)
                return false;
        } else if (symbol == 256) {
            return true;
        } else if (!Match(symbol, distances)) {
            return false;
        }
    } while (bits.Holds(1));
    return false;
}

// What the fast way works on, in registers as far as they go.
struct Run {
    const unsigned char* at;          // byte of the next bit
    std::uint32_t place;              // of that bit in it, when the walk stands still
    const ZrPngHuffmanTree* node;     // how far the walk through the tree has come
    const ZrPngHuffmanTree* literals; // where each walk starts
    unsigned char* window;
    std::uint32_t windowMask;
    std::uint32_t windowPosition;
    ZrGenericPngDecoder* sink;
    bool isRefused; // the last byte, by the sink
};

// Takes the bit at `Place` of its byte. If a literal ends before it, that is handed out first; at
// any other symbol, and when the byte is refused, the result is false and the bit is not taken.
//
// That a node is a leaf shows in its having no child for the bit. The bit is then the first of the
// next code, and where it leads from the root is looked up before it is known whether that is
// wanted, so that nothing has to wait for it.
template <std::uint32_t Place> inline bool Step(Run& run)
{
    const std::uint32_t bit = *run.at >> Place & 1;
    const ZrPngHuffmanTree* next = Child(run.node, bit);
    const ZrPngHuffmanTree* const first = Child(run.literals, bit);
    if (!next) {
        run.place = Place;
        if (run.node->value > 255)
            return false;
        const unsigned char byte = static_cast<unsigned char>(run.node->value);
        run.window[run.windowPosition] = byte;
        run.windowPosition = (run.windowPosition + 1) & run.windowMask;
        run.isRefused = run.sink->Output(byte) != 1;
        if (run.isRefused)
            return false;
        next = first;
    }
    run.node = next;
    return true;
}

// Takes bits until Step stops or the input ends. Each place in a byte has a step of its own, in
// which its mask is a constant.
inline void Steps(Run& run, const unsigned char* end)
{
    switch (run.place) {
        for (;;) {
        case 0:
            if (!Step<0>(run))
                return;
            [[fallthrough]];
        case 1:
            if (!Step<1>(run))
                return;
            [[fallthrough]];
        case 2:
            if (!Step<2>(run))
                return;
            [[fallthrough]];
        case 3:
            if (!Step<3>(run))
                return;
            [[fallthrough]];
        case 4:
            if (!Step<4>(run))
                return;
            [[fallthrough]];
        case 5:
            if (!Step<5>(run))
                return;
            [[fallthrough]];
        case 6:
            if (!Step<6>(run))
                return;
            [[fallthrough]];
        default:
            if (!Step<7>(run))
                return;
            run.place = 0;
            if (++run.at == end)
                return;
        }
    }
}

// The same as Symbols, for a complete tree of literals and up to the end of the input; `node` is
// how far the walk has come by then.
Inflation::Ending Inflation::FastSymbols(const ZrPngHuffmanTree* literals,
                                         const ZrPngHuffmanTree* distances,
                                         const ZrPngHuffmanTree*& node)
{
    Run run = {};
    run.literals = literals;
    run.window = window.bytes.First();
    run.windowMask = window.mask;
    run.sink = sink;
    for (;;) {
        node = literals;
        if (!bits.Holds(1))
            return InputEnds;
        bits.Settle();
        run.at = bits.at;
        run.place = bits.bit;
        run.node = literals;
        run.windowPosition = window.position;
        Steps(run, bits.at + bits.left);
        bits.left -= static_cast<std::size_t>(run.at - bits.at);
        bits.at = run.at;
        bits.bit = run.place;
        window.position = run.windowPosition;
        node = run.node;
        if (run.isRefused)
            return Failed;
        if (!bits.Holds(1))
            return InputEnds;
        if (node->value == 256)
            return BlockEnded;
        if (!Match(node->value, distances))
            return Failed;
    }
}

// Decodes the rest of a match, which is extra bits of the length, the distance code and its extra
// bits, and copies it. Symbols 286 and 287 are passed over.
bool Inflation::Match(std::uint32_t symbol, const ZrPngHuffmanTree* distances)
{
    if (symbol > 285)
        return true;
    BitReader local = bits;
    std::uint32_t length;
    if (!Take(local, LengthBits(symbol), length))
        return false;
    std::uint32_t code = 0;
    if (distances) {
        const ZrPngHuffmanTree* const leaf = Walk(local, distances);
        if (!leaf)
            return false;
        code = leaf->value;
    } else {
        // The fixed code: 5 bits, the first one the most significant.
        if (!local.Holds(5))
            return false;
        for (int i = 0; i < 5; ++i)
            code = code << 1 | local.Next();
    }
    std::uint32_t distance;
    if (!Take(local, DistanceBits(code), distance))
        return false;
    local.Settle();
    bits = local;
    return Copy(LengthBase(symbol) + length, DistanceBase(code) + distance);
}

// Hands out `length` bytes from `distance` bytes back. Where the bytes overlap, those just written
// are copied on.
bool Inflation::Copy(std::uint32_t length, std::uint32_t distance)
{
    ZrGenericPngDecoder* const out = sink;
    unsigned char* const bytes = window.bytes.First();
    const std::uint32_t size = window.mask + 1;
    const std::uint32_t from = (window.position - distance) & window.mask;
    const std::uint32_t to = window.position;
    window.position = (to + length) & window.mask;
    if (std::max(from, to) + length > size) {
        // Goes round the window's end.
        for (std::uint32_t i = 0; i < length; ++i) {
            const unsigned char byte = bytes[(from + i) & window.mask];
            if (out->Output(byte) != 1)
                return false;
            bytes[(to + i) & window.mask] = byte;
        }
        return true;
    }
    unsigned char* target = bytes + to;
    unsigned char* const end = target + length;
    if (distance == 1) {
        const unsigned char byte = bytes[from];
        std::fill(target, end, byte);
        for (; target != end; ++target)
            if (out->Output(byte) != 1)
                return false;
        return true;
    }
    for (const unsigned char* source = bytes + from; target != end; ++source, ++target) {
        const unsigned char byte = *source;
        *target = byte;
        if (out->Output(byte) != 1)
            return false;
    }
    return true;
}

// The reader at a caller's position. A mask of 0 reads as 0 for ever, which is 4 bytes at most.
BitReader ReaderAt(const unsigned char* input, unsigned int position, unsigned int mask)
{
    static const unsigned char Zeros[4] = {};
    if (mask == 0)
        return BitReader{Zeros, SIZE_MAX, 0};
    std::uint32_t place = 0;
    while (mask >> place != 1)
        ++place;
    return BitReader{input + position, SIZE_MAX, place};
}

// Gives the reader's position back to the caller.
void Put(BitReader bits, const unsigned char* input, unsigned int& position, unsigned int& mask)
{
    if (mask == 0)
        return;
    bits.Settle();
    position = static_cast<unsigned int>(bits.at - input);
    mask = 1u << bits.bit;
}

// Takes a number of `count` bits at a caller's position and moves that on.
std::uint32_t TakeAt(const unsigned char* input, unsigned int& position, unsigned int& mask,
                     std::uint32_t count)
{
    BitReader bits = ReaderAt(input, position, mask);
    std::uint32_t number;
    Take(bits, count, number);
    Put(bits, input, position, mask);
    return number;
}

} // namespace

std::int32_t ZrPngUncompressor::Uncompress(unsigned int size, unsigned char* stream)
{
    // RFC 1950, 2.2: method 8 is deflate. CINFO is not limited to 7, and FCHECK not looked at.
    if (size == 0 || (stream[0] & 0x0f) != 8)
        return 0;
    Inflation inflation(*this, BitReader{stream + std::min(size, 2u), size - std::min(size, 2u), 0},
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
    const unsigned long entries = longest + 1ul;
    const int data = static_cast<int>(entries);
    const Owned<unsigned int> count(NewArray<unsigned int>(entries, File, __LINE__, data));
    const Owned<unsigned int> next(NewArray<unsigned int>(entries, File, __LINE__, data));
    std::fill_n(count.First(), entries, 0);
    for (unsigned int symbol = 0; symbol < n; ++symbol)
        ++count[lengths[symbol]];
    count[0] = 0;
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
    DynamicCodes block = {0, 0, 0, lengths, codes};
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
    return LengthBase(symbol) + TakeAt(input, position, mask, LengthBits(symbol));
}

unsigned int ZrPngUncompressor::GetBackwardDistance(unsigned int code, unsigned char* input,
                                                    unsigned int& position, unsigned int& mask)
{
    return DistanceBase(code) + TakeAt(input, position, mask, DistanceBits(code));
}
