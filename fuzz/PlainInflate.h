// SPDX-License-Identifier: MIT
#ifndef ORVEX_FUZZ_PLAININFLATE_H
#define ORVEX_FUZZ_PLAININFLATE_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/// A tree of codes; node 0 is the root.
struct PlainTree {
    struct Node {
        std::size_t next[2] = {0, 0}; // 0: no code goes there
        unsigned int symbol = 0;
    };
    std::vector<Node> nodes{Node()};

    PlainTree(const unsigned int* lengths, unsigned int count)
    {
        unsigned int perLength[16] = {};
        unsigned int next[16] = {};
        for (unsigned int i = 0; i < count; ++i)
            ++perLength[lengths[i]];
        perLength[0] = 0;
        for (int length = 1; length < 16; ++length)
            next[length] = (next[length - 1] + perLength[length - 1]) * 2;
        for (unsigned int i = 0; i < count; ++i)
            if (lengths[i] != 0)
                Insert(next[lengths[i]]++, lengths[i], i);
    }

    void Insert(unsigned int code, unsigned int length, unsigned int symbol)
    {
        std::size_t node = 0;
        for (unsigned int bit = length; bit-- > 0;) {
            const unsigned int side = code >> bit & 1;
            if (nodes[node].next[side] == 0) {
                nodes[node].next[side] = nodes.size();
                nodes.push_back(Node());
            }
            node = nodes[node].next[side];
        }
        nodes[node].symbol = symbol; // of two codes that are equal the later stays
    }

    bool IsLeaf(std::size_t node) const
    {
        return nodes[node].next[0] == 0 && nodes[node].next[1] == 0;
    }
};

/// The fixed code's (RFC 1951, 3.2.6); made at the start, so that no call has to account for it.
inline const PlainTree PlainFixedTree = [] {
    unsigned int lengths[288];
    for (unsigned int i = 0; i < 288; ++i)
        lengths[i] = i < 144 ? 8 : i < 256 ? 9 : i < 280 ? 7 : 8;
    return PlainTree(lengths, 288);
}();

/// The inflater as it is defined, one bit at a time, with the whole output in place of a window:
/// what ZrPngUncompressor is compared with. Stored blocks hand out nothing; checksums and whether
/// the codes are complete are not looked at.
///
/// Sink is called with each byte; when it returns false, the call stops.
template <class Sink> class PlainInflate {
public:
    PlainInflate(const std::vector<std::uint8_t>& stream, Sink output)
        : input(stream), sink(std::move(output))
    {
    }

    /// 1 when the last block has been decoded, 0 otherwise.
    int Run()
    {
        try {
            return Decode() ? 1 : 0;
        } catch (const Stop&) {
            return 0;
        }
    }

    bool SawStored() const { return stored; }
    bool SawOddDistance() const { return oddDistance; }

private:
    struct Stop {};

    unsigned int Bit()
    {
        if (at >= input.size())
            throw Stop();
        const unsigned int bit = input[at] >> shift & 1u;
        if (++shift == 8) {
            shift = 0;
            ++at;
        }
        return bit;
    }

    unsigned int Bits(unsigned int count)
    {
        unsigned int number = 0;
        for (unsigned int i = 0; i < count; ++i)
            number |= Bit() << i;
        return number;
    }

    // From the root to a leaf, one bit a step; a node that has children is not a leaf, whatever
    // code ends there.
    unsigned int Symbol(const PlainTree& tree)
    {
        std::size_t node = 0;
        do {
            node = tree.nodes[node].next[Bit()];
            if (node == 0)
                throw Stop();
        } while (!tree.IsLeaf(node));
        return tree.nodes[node].symbol;
    }

    void Put(std::uint8_t byte)
    {
        out.push_back(byte);
        if (!sink(byte))
            throw Stop();
    }

    bool Decode()
    {
        if (input.size() < 2 || (input[0] & 15) != 8 || (input[1] & 0x20) != 0)
            return false;
        window = std::size_t{1} << ((input[0] >> 4) + 8);
        at = 2;
        for (;;) {
            const bool last = Bit() != 0;
            const unsigned int type = Bits(2);
            if (at >= input.size() || type == 3)
                return false;
            if (type == 0) {
                // One byte is passed over, and the length is read; where a block that is not the
                // last leads, every bit is 0 until the input ends.
                stored = true;
                return last && at + 1 + 1 < input.size();
            }
            if (type == 1)
                Symbols(PlainFixedTree, nullptr);
            else
                DynamicBlock();
            if (last)
                return true;
        }
    }

    void DynamicBlock()
    {
        static const unsigned char Order[19] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                11, 4,  12, 3, 13, 2, 14, 1, 15};
        const unsigned int literals = Bits(5) + 257;
        const unsigned int distances = Bits(5) + 1;
        const unsigned int given = Bits(4) + 4;
        unsigned int order[19] = {};
        for (unsigned int i = 0; i < given; ++i)
            order[Order[i]] = Bits(3);
        const PlainTree code(order, 19);
        std::vector<unsigned int> lengths;
        while (lengths.size() < literals + distances) {
            const unsigned int symbol = Symbol(code);
            if (symbol < 16) {
                lengths.push_back(symbol);
                continue;
            }
            if (symbol == 16 && lengths.empty())
                throw Stop();
            const unsigned int value = symbol == 16 ? lengths.back() : 0;
            const unsigned int times = symbol == 16   ? 3 + Bits(2)
                                       : symbol == 17 ? 3 + Bits(3)
                                                      : 11 + Bits(7);
            lengths.insert(lengths.end(), times, value);
            if (lengths.size() > 322)
                throw Stop();
        }
        const PlainTree distanceTree(lengths.data() + literals, distances);
        Symbols(PlainTree(lengths.data(), literals), &distanceTree);
    }

    void Symbols(const PlainTree& literals, const PlainTree* distances)
    {
        for (;;) {
            const unsigned int symbol = Symbol(literals);
            if (symbol < 256)
                Put(static_cast<std::uint8_t>(symbol));
            else if (symbol == 256)
                return;
            else if (symbol < 286)
                Match(symbol, distances);
            if (at >= input.size())
                throw Stop();
        }
    }

    void Match(unsigned int symbol, const PlainTree* distances)
    {
        // RFC 1951, 3.2.5.
        static const unsigned int Lengths[29] = {3,  4,  5,  6,   7,   8,   9,   10,  11, 13,
                                                 15, 17, 19, 23,  27,  31,  35,  43,  51, 59,
                                                 67, 83, 99, 115, 131, 163, 195, 227, 258};
        static const unsigned int Extra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                               2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
        // Codes 30 and 31 go on as the others do.
        static const std::size_t Distances[32] = {
            1,    2,    3,    4,    5,    7,     9,     13,    17,    25,   33,
            49,   65,   97,   129,  193,  257,   385,   513,   769,   1025, 1537,
            2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577, 32769, 49153};
        const unsigned int length = Lengths[symbol - 257] + Bits(Extra[symbol - 257]);
        unsigned int code = 0;
        if (distances) {
            code = Symbol(*distances);
        } else {
            for (int i = 0; i < 5; ++i)
                code = code * 2 + Bit();
        }
        const std::size_t distance = Distances[code] + Bits(code < 4 ? 0 : code / 2 - 1);
        // The window wraps around, and holds zeros where nothing has been written yet.
        const std::size_t back = distance % window == 0 ? window : distance % window;
        oddDistance = oddDistance || back != distance || back > out.size();
        for (unsigned int i = 0; i < length; ++i)
            Put(back <= out.size() ? out[out.size() - back] : std::uint8_t{0});
    }

    const std::vector<std::uint8_t>& input;
    Sink sink;
    std::size_t at = 0;
    unsigned int shift = 0;
    std::size_t window = 0;
    std::vector<std::uint8_t> out;
    bool stored = false;
    bool oddDistance = false;
};

#endif
