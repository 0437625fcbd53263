// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_STRING_MODEL_H
#define ORVEX_TESTS_STRING_MODEL_H

#include <ORVEX/String.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <random>
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
    return std::min(text.size(), at + std::max(1ul, LeadLength(text[at])));
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

/// A string of these bytes, NULs among them too.
inline ORVEX::String Make(const std::string& bytes)
{
    ORVEX::String text;
    text.UpdateCharStr(bytes.data(), bytes.data() + bytes.size());
    return text;
}

/// A std::string of numbers from 0 to 255.
inline std::string Bytes(std::initializer_list<int> numbers)
{
    std::string bytes;
    for (const int number : numbers)
        bytes += static_cast<char>(number);
    return bytes;
}

/// Opens the store.
class OpenString : public ORVEX::String {
public:
    static const char* Begin(const String& s) { return s.*(&OpenString::begin); }
    static const char* End(const String& s) { return s.*(&OpenString::end); }
    static const unsigned char* Data(const String& s) { return s.*(&OpenString::data); }
    static unsigned long UsedSize(const String& s) { return s.*(&OpenString::size); }

    static bool HasNoBlock(const String& s) { return Begin(s) == nullptr && End(s) == nullptr; }
};

/// Expects what always holds, whatever was done to the string.
inline void ExpectInvariants(const ORVEX::String& s)
{
    EXPECT_EQ(0ul, s.Capacity() % 8);
    EXPECT_EQ(0, s.CStr()[s.Length()]);
    EXPECT_EQ(s.CStr(), s.Begin().Address());
    EXPECT_EQ(s.CStr() + s.Length(), s.End().Address());
    if (OpenString::HasNoBlock(s)) {
        EXPECT_EQ(0ul, s.Length());
        EXPECT_EQ(&ORVEX::String::CharNull, s.CStr());
        if (s.BlockSize() != 0) {
            EXPECT_EQ(0ul, s.Capacity());
        }
        return;
    }
    EXPECT_EQ(static_cast<const void*>(OpenString::Data(s)), OpenString::Begin(s));
    EXPECT_EQ(OpenString::Begin(s), s.CStr());
    EXPECT_EQ(OpenString::Begin(s) + s.Length() + 1, OpenString::End(s));
    EXPECT_LE(s.Length() + 1, s.Capacity());
    if (s.BlockSize() != 0) {
        EXPECT_EQ(s.Length() + 1, OpenString::UsedSize(s));
    }
}

/// The text as a std::string.
inline std::string Text(const ORVEX::String& s) { return std::string(s.CStr(), s.Length()); }

/// Sets String::Parm while it lives.
class WithSizing {
public:
    WithSizing(std::uint32_t base, std::uint32_t block) : old(ORVEX::String::Parm)
    {
        ORVEX::String::Parm = {base, block};
    }
    ~WithSizing() { ORVEX::String::Parm = old; }
    WithSizing(const WithSizing&) = delete;
    WithSizing& operator=(const WithSizing&) = delete;

private:
    ORVEX::String::Sizing old;
};

/// Bytes that are hard on a walk: every kind of lead byte, ASCII, NUL, and continuation bytes.
const char HardBytes[] = {'A',    'B',    '\n',   '\x00', '\x80', '\xBF', '\xC3', '\xC0',
                          '\xE2', '\xF0', '\xF4', '\xF8', '\xFC', '\xFE', '\xFF'};

/// Random texts, the same at every run.
class RandomText {
public:
    unsigned long Below(unsigned long limit)
    {
        return static_cast<unsigned long>(random()) % limit;
    }

    /// Well-formed, `characters` long, of one to four bytes each.
    std::string WellFormed(unsigned long characters)
    {
        const std::uint32_t first[] = {0x20, 0x20, 0x20, 0x20, 0x80, 0x800, 0x10000};
        const std::uint32_t count[] = {0x60, 0x60, 0x60, 0x60, 0x780, 0xF800, 0x100000};
        std::string text;
        while (characters-- != 0) {
            const unsigned long kind = Below(7);
            text += Model::Encode(first[kind] + static_cast<std::uint32_t>(Below(count[kind])));
        }
        return text;
    }

    /// One of the hard bytes, or any byte.
    char Byte()
    {
        return Below(4) == 0 ? static_cast<char>(Below(256)) : HardBytes[Below(sizeof HardBytes)];
    }

    /// `length` bytes of any kind.
    std::string Garbage(unsigned long length)
    {
        std::string text;
        while (text.size() < length)
            text += Byte();
        return text;
    }

    /// Well-formed for the most part, with some bytes put in, taken out or changed.
    std::string Damaged(unsigned long characters)
    {
        std::string text = WellFormed(characters);
        for (unsigned long wounds = Below(4); wounds != 0 && !text.empty(); --wounds) {
            const unsigned long at = Below(text.size());
            switch (Below(4)) {
            case 0:
                text.erase(at, 1 + Below(3));
                break;
            case 1:
                text.insert(at, Garbage(1 + Below(12)));
                break;
            case 2:
                text.resize(at);
                break;
            default:
                text[at] = Byte();
            }
        }
        return text;
    }

    /// Any of the three kinds, at most about `most` characters long.
    std::string Any(unsigned long most)
    {
        const unsigned long length = Below(most + 1);
        switch (Below(3)) {
        case 0:
            return WellFormed(length);
        case 1:
            return Garbage(length);
        default:
            return Damaged(length);
        }
    }

private:
    std::mt19937 random{20260};
};

/// Calls `action` with every text of at most `most` of these bytes.
template <class Action>
void ForEveryText(const std::string& bytes, unsigned long most, const Action& action)
{
    std::vector<std::string> level{""};
    for (unsigned long length = 0;; ++length) {
        for (const std::string& text : level)
            action(text);
        if (length == most)
            return;
        std::vector<std::string> longer;
        for (const std::string& text : level) {
            for (const char byte : bytes)
                longer.push_back(text + byte);
        }
        level.swap(longer);
    }
}

#endif
