// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_STRING_TEXTMODEL_H
#define ORVEX_TESTS_STRING_TEXTMODEL_H

#include <ORVEX/String.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The plain form of everything that a string does character by character: one character after the
/// other, on a std::string, with nothing clever in it.
namespace Model {

/// Leading 1 bits; 1 for ASCII, 0 for a continuation byte.
inline unsigned long LeadLength(char lead)
{
    unsigned long ones = 0;
    for (unsigned int b = static_cast<unsigned char>(lead); (b & 0x80) != 0; b = b << 1 & 0xFF)
        ++ones;
    return ones == 0 ? 1 : ones == 1 ? 0 : ones;
}

/// The number that the bytes stand for; those that are missing count as 0.
inline std::uint32_t Decode(const std::string& text, std::size_t at)
{
    const unsigned long length = LeadLength(text[at]);
    if (length == 0)
        return 0;
    const std::uint32_t lead = static_cast<unsigned char>(text[at]);
    std::uint32_t code = length == 1 ? lead : lead & (0x7Fu >> length);
    for (std::size_t i = at + 1; i < at + length; ++i)
        code = code * 64 + (i < text.size() ? static_cast<unsigned char>(text[i]) % 64 : 0);
    return code;
}

inline std::size_t Next(const std::string& text, std::size_t at)
{
    return std::min<std::size_t>(text.size(), at + std::max(1ul, LeadLength(text[at])));
}

inline unsigned long Size(const std::string& text)
{
    unsigned long size = 0;
    for (std::size_t at = 0; at < text.size(); at = Next(text, at))
        ++size;
    return size;
}

inline int Compare(const std::string& a, const std::string& b)
{
    std::size_t i = 0;
    std::size_t j = 0;
    for (;;) {
        if (i == a.size())
            return j == b.size() ? 0 : -1;
        if (j == b.size())
            return 1;
        const std::uint32_t left = Decode(a, i);
        const std::uint32_t right = Decode(b, j);
        if (left != right)
            return left > right ? 1 : -1;
        i = Next(a, i);
        j = Next(b, j);
    }
}

inline std::size_t Find(const std::string& text, std::uint32_t code, std::size_t from)
{
    std::size_t at = from;
    while (at < text.size() && Decode(text, at) != code)
        at = Next(text, at);
    return at;
}

inline std::size_t Find(const std::string& text, const std::string& part, std::size_t from)
{
    if (part.empty())
        return text.size();
    for (std::size_t at = from; text.size() - at >= part.size(); at = Next(text, at)) {
        if (std::memcmp(text.data() + at, part.data(), part.size()) == 0)
            return at;
    }
    return text.size();
}

inline std::vector<std::string> Split(const std::string& text, std::uint32_t code)
{
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t stop = Find(text, code, at);
        if (stop != at)
            pieces.push_back(text.substr(at, stop - at));
        at = stop < text.size() ? Next(text, stop) : stop;
    }
    return pieces;
}

/// How far the lead bytes cover the text; nothing where the walk does not end.
inline std::optional<std::size_t> Covered(const std::string& text)
{
    std::size_t at = 0;
    while (at < text.size()) {
        const unsigned long length = LeadLength(text[at]);
        if (length == 0)
            return std::nullopt;
        if (length > text.size() - at)
            break;
        at += length;
    }
    return at;
}

/// The scheme of RFC 2279, from its table.
inline std::string Encode(std::uint32_t code)
{
    const auto tail = [code](int shift) {
        return static_cast<char>(0x80 | (code >> shift & 0x3F));
    };
    if (code == 0 || code > 0x7FFFFFFF)
        return "";
    if (code < 0x80)
        return {static_cast<char>(code)};
    if (code < 0x800)
        return {static_cast<char>(0xC0 | code >> 6), tail(0)};
    if (code < 0x10000)
        return {static_cast<char>(0xE0 | code >> 12), tail(6), tail(0)};
    if (code < 0x200000)
        return {static_cast<char>(0xF0 | code >> 18), tail(12), tail(6), tail(0)};
    if (code < 0x4000000)
        return {static_cast<char>(0xF8 | code >> 24), tail(18), tail(12), tail(6), tail(0)};
    return {static_cast<char>(0xFC | code >> 30), tail(24), tail(18), tail(12), tail(6), tail(0)};
}

/// The text, and whether all of it could be taken.
inline std::pair<std::string, bool> FromUTF16(const std::vector<unsigned short>& units)
{
    std::string text;
    std::uint32_t pending = 0;
    for (const unsigned short unit : units) {
        if (unit >= 0xD800 && unit < 0xDC00) {
            pending = unit;
        } else if (unit >= 0xDC00 && unit < 0xE000) {
            if (pending == 0)
                return {text, false};
            text += Encode((pending - 0xD800) * 0x400 + (unit - 0xDC00u) + 0x10000);
            pending = 0;
        } else {
            text += Encode(unit);
            pending = 0;
        }
    }
    return {text, pending == 0};
}

/// The units with the 0 behind them, and whether every character had some.
inline std::pair<std::vector<unsigned short>, bool> ToUTF16(const std::string& text)
{
    std::pair<std::vector<unsigned short>, bool> result{{}, true};
    for (std::size_t at = 0; at < text.size(); at = Next(text, at)) {
        const std::uint32_t code = Decode(text, at);
        if (code >= 0x110000) {
            result.second = false;
        } else if (code >= 0x10000) {
            result.first.push_back(static_cast<unsigned short>(0xD800 + (code - 0x10000) / 0x400));
            result.first.push_back(static_cast<unsigned short>(0xDC00 + code % 0x400));
        } else {
            result.first.push_back(static_cast<unsigned short>(code));
        }
    }
    result.first.push_back(0);
    return result;
}

/// The capacity of a string's block: the sizing policy, worked out from its two sizes.
class Block {
public:
    explicit Block(ORVEX::String::Sizing sizing) : base(sizing.baseSize), step(sizing.blockSize) {}

    void Release() { capacity = stored = 0; }

    void Renew(unsigned long n) // in a block of its own from the start
    {
        capacity = (n <= base ? base : Whole(n + step / 2)) + 7;
        capacity -= capacity % 8;
        stored = n;
    }

    void Resize(unsigned long n)
    {
        if (n == stored)
            return;
        if (capacity != 0 && Fits(n))
            stored = n;
        else
            Renew(n);
    }

    void Adopt(const Block& other)
    {
        capacity = other.capacity;
        stored = other.stored;
    }

    unsigned long Capacity() const { return capacity; }
    unsigned long Stored() const { return stored; }

private:
    unsigned long Whole(unsigned long n) const { return (n + step - 1) / step * step; }

    bool Fits(unsigned long n) const
    {
        if (n > capacity)
            return false;
        const unsigned long idle = capacity - n;
        if (base >= capacity || idle < step + step / 2 || step + step / 2 >= capacity)
            return true;
        return n <= base || Whole(n) == capacity;
    }

    unsigned long base;
    unsigned long step;
    unsigned long capacity = 0;
    unsigned long stored = 0;
};

} // namespace Model

#endif
