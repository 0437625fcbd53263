// SPDX-License-Identifier: MIT
// Texts of any bytes: conversion to and from UTF-16, the walk from character to character, search,
// comparison and splitting, and numbers and addresses as text; against the plain walk.
//
//   ./tools/fuzz 60 StringFuzz
#include "Harness.h"
#include "String/TextModel.h"

#include <ORVEX/FileList.h>
#include <ORVEX/Socket.h>
#include <ORVEX/Std.h>
#include <ORVEX/String.h>
#include <ORVEX/Vector.h>

#include <algorithm>
#include <cstdio>

using namespace ORVEX;

namespace {

// Any code point, of each length in UTF-8 about as often.
std::uint32_t TakeCode(Feed& feed)
{
    const std::uint32_t word = feed.Word();
    return word >> word % 29 / 4 * 4;
}

// Up to about 2000 bytes, from few bytes of input: what works on many bytes at once needs many.
std::string TakeText(Feed& feed)
{
    std::string text;
    for (std::uint8_t pieces = feed.Byte() % 8; pieces > 0 && text.size() < 2000; --pieces) {
        const std::uint8_t kind = feed.Byte();
        std::string piece;
        if (kind < 160) {
            const std::vector<std::uint8_t> bytes = feed.Bytes(kind % 32 + 1u);
            piece.assign(bytes.begin(), bytes.end());
        } else {
            piece = Model::Encode(TakeCode(feed));
        }
        for (std::uint8_t times = kind < 96 ? 1 : feed.Byte(); times > 0; --times)
            text += piece;
    }
    return text;
}

// A text that has much in common with `other`, or nothing.
std::string TakeSimilar(Feed& feed, const std::string& other)
{
    std::string text = other;
    const std::uint8_t kind = feed.Byte();
    if (kind & 1)
        text.erase(0, feed.Number(1023) % (text.size() + 1));
    if (kind & 2)
        text.resize(feed.Number(1023) % (text.size() + 1));
    if (kind & 4 && !text.empty())
        text[feed.Number(1023) % text.size()] = static_cast<char>(feed.Byte());
    if (kind & 8)
        text += TakeText(feed);
    return kind & 16 ? TakeText(feed) : text;
}

String Make(const std::string& bytes)
{
    String text;
    text.UpdateCharStr(bytes.data(), bytes.data() + bytes.size());
    return text;
}

void Expect(const String& text, const std::string& expected, const char* what)
{
    Require(View(text) == expected, what);
    Require(text.CStr()[expected.size()] == 0, "a NUL is behind the text");
}

void Characters(const std::string& bytes)
{
    const String text = Make(bytes);
    Require(text.Size() == Model::Size(bytes), "Size counts the walk's steps");
    for (std::size_t at = 0; at < bytes.size(); at = Model::Next(bytes, at)) {
        const unsigned long length = Model::LeadLength(bytes[at]);
        Require(Char::CheckUTF8(bytes[at]) == length, "a lead byte says its length");
        if (length > bytes.size() - at)
            break;
        const Char c(text.CStr() + at);
        Require(c.GetUTF32() == Model::Decode(bytes, at), "a character is decoded");
        char utf8[9] = {};
        for (int i = 0; i < 8; ++i)
            utf8[i] = static_cast<char>(c.GetUTF8() >> 8 * i & 0xFF);
        Require(utf8 == Model::Encode(c.GetUTF32()), "a character is encoded");
        String::IteratorConst next(text.CStr() + at);
        Require((*next).GetUTF32() == c.GetUTF32() &&
                    (++next).Address() == text.CStr() + Model::Next(bytes, at),
                "an iterator steps over a character");
    }
    // A stray continuation byte at a lead position keeps both of them for ever.
    const std::optional<std::size_t> covered = Model::Covered(bytes);
    if (!covered)
        return;
    Require(text.Check() == (*covered == bytes.size()), "Check sees a text that is cut off");
    String fixed(text);
    Require(fixed.CheckFix() == (*covered == bytes.size()), "CheckFix says whether it cut");
    Expect(fixed, bytes.substr(0, *covered), "CheckFix cuts the last character");
}

void UTF16(Feed& feed, const std::string& bytes)
{
    const String text = Make(bytes);
    const auto expected = Model::ToUTF16(bytes);
    Vector<unsigned short> units;
    Require(text.GetUTF16(units) == expected.second, "GetUTF16 says whether all had units");
    const auto same = [&expected](const ArrayBase<unsigned short>& found) {
        return std::equal(expected.first.begin(), expected.first.end(), found.Begin());
    };
    Require(units.Length() >= expected.first.size() && same(units), "GetUTF16 gives the units");

    Array<unsigned short, 64> few;
    const bool fits = units.Length() <= 64;
    Require(text.GetUTF16(few) == (fits && expected.second), "GetUTF16 needs the room");
    Require(fits ? same(few) : few.Empty(), "GetUTF16 gives all units or none");

    // Units of the input's own, surrogates more often than not, and those of the text.
    std::vector<unsigned short> source(feed.Number(20));
    for (unsigned short& unit : source) {
        const std::uint32_t word = feed.Number(0xFFFF);
        unit = static_cast<unsigned short>(word % 4 == 0 ? word / 4 : 0xD800 | (word & 0x7FF));
        unit = static_cast<unsigned short>(unit == 0 ? 1 : unit);
    }
    if (feed.Byte() & 1)
        source.assign(expected.first.begin(),
                      std::find(expected.first.begin(), expected.first.end(), 0));
    const auto back = Model::FromUTF16(source);
    source.push_back(0);
    String converted;
    Require(converted.UpdateCharStrUTF16(source.data()) == back.second,
            "UpdateCharStrUTF16 says whether all were taken");
    Expect(converted, back.first, "UpdateCharStrUTF16 takes the units");
    Expect(String::ChangeCharStrUTF16(source.data()), back.first, "so does ChangeCharStrUTF16");
}

void OneCharacter(Feed& feed)
{
    const std::uint32_t code = TakeCode(feed);
    Char c;
    c.SetUTF32(code);
    unsigned short first = 7, second = 8;
    const bool has = c.GetUTF16(first, second);
    Require(has == (code < 0x110000) && c.GetUTF16Size() == (has ? 1u + (code > 0xFFFF) : 0u),
            "a character knows its units");
    if (has) {
        Char again;
        again.SetUTF16(first, second);
        Require(again.GetUTF32() == code, "units give the character back");
    } else {
        Require(first == 7 && second == 8, "without units nothing is written");
    }
    String text;
    text += c;
    Expect(text, Model::Encode(code), "a character is appended as its bytes");
}

void Search(Feed& feed, const std::string& bytes, const std::string& other)
{
    const String text = Make(bytes);
    const String part = Make(other);
    Require(text.Compare(part) == Model::Compare(bytes, other), "Compare orders by code points");
    Require(part.Compare(text) == Model::Compare(other, bytes), "Compare orders both ways");
    Require(text.FindFirst(part) == (!other.empty() && bytes.compare(0, other.size(), other) == 0),
            "FindFirst looks at the first bytes");

    std::size_t from = 0;
    for (std::uint32_t steps = feed.Number(40); steps > 0 && from < bytes.size(); --steps)
        from = Model::Next(bytes, from);
    const char* const start = text.CStr() + from;
    Require(text.Find(part, start).Address() == text.CStr() + Model::Find(bytes, other, from),
            "Find finds the first text");
    const std::size_t length = feed.Number(15);
    const std::string small = other.substr(0, std::min(length, other.size()));
    Require(text.Find(Make(small), start).Address() ==
                text.CStr() + Model::Find(bytes, small, from),
            "Find finds the first short text");

    // A character that is there, or any.
    const bool there = feed.Byte() % 4 != 0 && !bytes.empty();
    const std::uint32_t code =
        there ? Model::Decode(bytes, feed.Number(1023) % bytes.size()) : TakeCode(feed);
    Char c;
    c.SetUTF32(code);
    Require(text.Find(c, start).Address() == text.CStr() + Model::Find(bytes, code, from),
            "Find finds the first character");
    Require(text.Find(c).Address() == text.CStr() + Model::Find(bytes, code, std::size_t{0}),
            "Find starts at the front");

    const std::vector<std::string> expected = Model::Split(bytes, code);
    const List<String> pieces = text.FindSplit(c);
    Require(std::equal(expected.begin(), expected.end(), pieces.begin(),
                       [](const std::string& a, const String& b) { return View(b) == a; }),
            "FindSplit gives the pieces");
    std::string joined;
    for (const std::string& piece : expected)
        joined += piece;
    String removed(text);
    removed.RemoveChar(c);
    Expect(removed, joined, "RemoveChar leaves the pieces");
}

void Lines(const std::string& bytes)
{
    const String text = Make(bytes);
    String::IteratorConst position = text.Begin();
    String line;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t stop = Model::Find(bytes, '\n', at);
        Require(text.GetLine(position, line), "there is another line");
        Expect(line, bytes.substr(at, stop - at), "a line ends before its newline");
        Expect(text.Split(text.CStr() + at, text.CStr() + stop), bytes.substr(at, stop - at),
               "Split takes the bytes");
        at = stop < bytes.size() ? Model::Next(bytes, stop) : stop;
        Require(position.Address() == text.CStr() + at, "GetLine steps over the newline");
    }
    Require(!text.GetLine(position, line), "there is no other line");
}

void Number(Feed& feed)
{
    const std::uint64_t high = feed.Word();
    const std::uint64_t value = (high << 32 | feed.Word()) >> feed.Byte() % 64;
    const char sign = static_cast<char>(feed.Byte() & 1 ? feed.Byte() : 0);
    const unsigned long width = feed.Number(300);
    char digits[24];
    std::snprintf(digits, sizeof digits, "%llu", static_cast<unsigned long long>(value));
    std::string expected(digits);
    if (expected.size() < width)
        expected.insert(0, width - expected.size(), '0');
    String text;
    text.SetDecimal(static_cast<unsigned long long>(value), sign, width);
    Expect(text, sign ? sign + expected : expected, "SetDecimal writes the number");

    const long long number = static_cast<long long>(value);
    std::snprintf(digits, sizeof digits, "%lld", number);
    Expect(String::Decimal(number), digits, "Decimal writes the signed number");
    Expect(String::Decimal(static_cast<signed char>(number)),
           std::to_string(static_cast<signed char>(number)), "Decimal writes the smallest type");
}

// Four numbers from 0 to 255 without leading zeros, and dots between them; 0 for anything else.
unsigned long Address(const std::string& text)
{
    unsigned long address = 0;
    std::size_t at = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && (at >= text.size() || text[at++] != '.'))
            return 0;
        const std::size_t first = at;
        unsigned long number = 0;
        while (at < text.size() && text[at] >= '0' && text[at] <= '9' && number < 256)
            number = number * 10 + static_cast<unsigned long>(text[at++] - '0');
        if (at == first || number > 255 || (text[first] == '0' && at - first > 1))
            return 0;
        address = address << 8 | number;
    }
    return at == text.size() ? address : 0;
}

void Outside(const std::string& bytes)
{
    const std::string whole = bytes.substr(0, bytes.find('\0'));
    Require(SocketV4::InetAdder(Make(bytes)) == Address(whole), "an address is its four numbers");
    std::uint32_t last = '/';
    for (std::size_t at = 0; at < bytes.size(); at = Model::Next(bytes, at))
        last = Model::Decode(bytes, at);
    String path = Make(bytes);
    Require(FileList::CheckLastSeparator(path) == (last == '/'), "a path ends in a separator");
    FileList::AddLastSeparator(path);
    Expect(path, last == '/' ? bytes : bytes + '/', "a path gets its separator");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    Feed feed(data, size);
    const std::uint8_t what = feed.Byte();
    if (what % 8 == 7) {
        const std::vector<std::uint8_t> bytes = feed.Rest();
        Outside(std::string(bytes.begin(), bytes.end()));
        return 0;
    }
    if (what % 8 == 6) {
        OneCharacter(feed);
        Number(feed);
        return 0;
    }
    std::string bytes = TakeText(feed);
    if (what % 8 < 2) {
        Characters(bytes);
        UTF16(feed, bytes);
    } else if (what % 8 == 2) {
        Lines(bytes);
        const String text(BufferBase(reinterpret_cast<unsigned char*>(&bytes[0]), bytes.size()));
        Expect(text, bytes.substr(0, bytes.find('\0')), "a buffer is text up to its first NUL");
        Require(String::StrLen(bytes.data(), bytes.data() + bytes.size()) == text.Length(),
                "StrLen counts up to the first NUL");
    } else {
        const std::string other = TakeSimilar(feed, bytes);
        Search(feed, bytes, other);
    }
    return 0;
}
