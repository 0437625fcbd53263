// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_PNG_INFLATEMODEL_H
#define ORVEX_TESTS_PNG_INFLATEMODEL_H

#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

/// What ZrPngUncompressor::Uncompress has to do, in its plainest form: one bit after the other from
/// a byte position and a mask, a set of code prefixes instead of a tree, every position checked.
class InflateModel {
public:
    using Bytes = std::vector<std::uint8_t>;

    /// Takes a byte; false ends the call.
    using Sink = std::function<bool(std::uint8_t)>;

    static bool Run(const Bytes& stream, const Sink& sink)
    {
        InflateModel model(stream, sink);
        try {
            return model.Uncompress();
        } catch (const Stop&) {
            return false;
        }
    }

    /// Runs with a sink that takes all.
    static bool Run(const Bytes& stream, Bytes& out)
    {
        return Run(stream, [&out](std::uint8_t byte) {
            out.push_back(byte);
            return true;
        });
    }

private:
    struct Stop {};

    using Number = std::uint32_t;
    using Prefix = std::pair<Number, Number>; // length and bits

    struct Node {
        bool hasChild = false;
        Number value = 0x7fffffff;
    };

    using Tree = std::map<Prefix, Node>;

    InflateModel(const Bytes& stream, const Sink& sink) : in(stream), out(sink) {}

    Number Bit()
    {
        if (position >= in.size())
            throw Stop();
        const Number bit = (in[position] & mask) != 0;
        mask *= 2;
        if (mask > 255) {
            mask = 1;
            ++position;
        }
        return bit;
    }

    Number Bits(Number count)
    {
        Number number = 0;
        for (Number i = 0; i < count; ++i)
            number += Bit() << i;
        return number;
    }

    void Output(std::uint8_t byte)
    {
        if (!out(byte))
            throw Stop();
    }

    static Tree MakeTree(const std::vector<Number>& lengths)
    {
        Number longest = 0;
        for (Number length : lengths)
            longest = length > longest ? length : longest;
        std::vector<Number> count(longest + 1);
        for (Number length : lengths)
            ++count[length];
        count[0] = 0;
        std::vector<Number> next(longest + 1);
        for (Number length = 1; length <= longest; ++length)
            next[length] = (next[length - 1] + count[length - 1]) * 2;
        std::vector<Number> codes(lengths.size());
        for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol)
            if (lengths[symbol])
                codes[symbol] = next[lengths[symbol]]++;
        return MakeTree(lengths, codes);
    }

    static Tree MakeTree(const std::vector<Number>& lengths, const std::vector<Number>& codes)
    {
        Tree tree;
        tree[{0, 0}] = Node();
        for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol) {
            const Number length = lengths[symbol];
            if (length == 0)
                continue;
            const Number code = codes[symbol] & ((1u << length) - 1);
            for (Number bits = 1; bits <= length; ++bits) {
                tree[{bits - 1, code >> (length - bits + 1)}].hasChild = true;
                tree[{bits, code >> (length - bits)}];
            }
            tree[{length, code}].value = static_cast<Number>(symbol);
        }
        return tree;
    }

    Number Walk(const Tree& tree)
    {
        Prefix node{0, 0};
        do {
            node = {node.first + 1, node.second * 2 + Bit()};
            if (tree.count(node) == 0)
                throw Stop();
        } while (tree.at(node).hasChild);
        return tree.at(node).value;
    }

    bool Uncompress()
    {
        if (in.size() < 2 || (in[0] & 15) != 8 || (in[1] & 0x20))
            return false;
        window.assign(std::size_t(1) << ((in[0] >> 4) + 8), 0);
        position = 2;
        mask = 1;
        for (;;) {
            // Behind a stored block the mask is 0, and every bit reads as 0 where it stands.
            const bool final = mask != 0 && Bit() == 1;
            const Number type = mask != 0 ? Bits(2) : 0;
            if (position >= in.size())
                return false;
            if (type == 3)
                return false;
            if (type == 0) {
                if (mask != 0) {
                    ++position;
                    mask = 0;
                }
                if (position + 1 >= in.size())
                    return false;
                position += 4u + in[position] * 256u + in[position + 1];
            } else if (type == 1) {
                std::vector<Number> lengths(288), codes(288);
                for (Number symbol = 0; symbol < 288; ++symbol) {
                    lengths[symbol] = symbol < 144 ? 8 : symbol < 256 ? 9 : symbol < 280 ? 7 : 8;
                    codes[symbol] = symbol < 144   ? 48 + symbol
                                    : symbol < 256 ? 256 + symbol
                                    : symbol < 280 ? symbol - 256
                                                   : symbol - 88;
                }
                Symbols(MakeTree(lengths, codes), nullptr);
            } else {
                Dynamic();
            }
            if (final)
                return true;
        }
    }

    void Dynamic()
    {
        static const Number Order[19] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                         11, 4,  12, 3, 13, 2, 14, 1, 15};
        const Number literals = Bits(5) + 257;
        const Number distances = Bits(5) + 1;
        const Number count = Bits(4) + 4;
        std::vector<Number> small(19);
        for (Number i = 0; i < count; ++i)
            small[Order[i]] = Bits(3);
        const Tree tree = MakeTree(small);
        std::vector<Number> lengths;
        while (lengths.size() < literals + distances) {
            const Number symbol = Walk(tree);
            if (symbol < 16) {
                lengths.push_back(symbol);
            } else if (symbol == 16) {
                if (lengths.empty())
                    throw Stop();
                lengths.insert(lengths.end(), 3 + Bits(2), Number(lengths.back()));
            } else {
                lengths.insert(lengths.end(), symbol == 17 ? 3 + Bits(3) : 11 + Bits(7), 0);
            }
            if (lengths.size() > 322)
                throw Stop();
        }
        const auto middle = lengths.begin() + literals;
        const Tree distanceTree = MakeTree({middle, middle + distances});
        Symbols(MakeTree({lengths.begin(), middle}), &distanceTree);
    }

    void Put(std::uint8_t byte)
    {
        window[at] = byte;
        at = (at + 1) & (window.size() - 1);
    }

    void Symbols(const Tree& literals, const Tree* distances)
    {
        static const Number LengthBase[29] = {3,  4,  5,  6,   7,   8,   9,   10,  11, 13,
                                              15, 17, 19, 23,  27,  31,  35,  43,  51, 59,
                                              67, 83, 99, 115, 131, 163, 195, 227, 258};
        static const Number LengthBits[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                              2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
        static const Number DistanceBase[32] = {
            1,    2,    3,    4,    5,    7,     9,     13,    17,    25,   33,
            49,   65,   97,   129,  193,  257,   385,   513,   769,   1025, 1537,
            2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577, 32769, 49153};
        static const Number DistanceBits[32] = {0,  0,  0,  0,  1,  1,  2,  2,  3,  3, 4,
                                                4,  5,  5,  6,  6,  7,  7,  8,  8,  9, 9,
                                                10, 10, 11, 11, 12, 12, 13, 13, 14, 14};
        for (;;) {
            const Number symbol = Walk(literals);
            if (symbol == 256)
                return;
            if (symbol < 256) {
                Put(static_cast<std::uint8_t>(symbol));
                Output(static_cast<std::uint8_t>(symbol));
            } else if (symbol < 286) {
                const Number length = LengthBase[symbol - 257] + Bits(LengthBits[symbol - 257]);
                Number code = 0;
                if (distances)
                    code = Walk(*distances);
                else
                    for (int i = 0; i < 5; ++i)
                        code = code * 2 + Bit();
                const Number distance = DistanceBase[code] + Bits(DistanceBits[code]);
                for (Number i = 0; i < length; ++i) {
                    const std::uint8_t byte = window[(at - distance) & (window.size() - 1)];
                    Output(byte);
                    Put(byte);
                }
            }
            if (position >= in.size())
                throw Stop();
        }
    }

    const Bytes& in;
    const Sink& out;
    std::size_t position = 0;
    Number mask = 1;
    Bytes window;
    std::size_t at = 0;
};

#endif
