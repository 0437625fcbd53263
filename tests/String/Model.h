// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_STRING_MODEL_H
#define ORVEX_TESTS_STRING_MODEL_H

#include "TextModel.h"

#include <ORVEX/String.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

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
