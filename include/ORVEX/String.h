// SPDX-License-Identifier: MIT
#ifndef ORVEX_STRING_H
#define ORVEX_STRING_H

#include <ORVEX/Allocator.h>
#include <ORVEX/Array.h>
#include <ORVEX/Buffer.h>
#include <ORVEX/Char.h>
#include <ORVEX/List.h>

#include <cstdint>

namespace ORVEX {

/// Text: UTF-8 bytes of its own with a NUL behind them.
///
/// Owns its bytes: copies are deep, Swap is the only hand-over, nothing moves. One thread at a
/// time.
///
/// Nothing asks whether the bytes are well-formed UTF-8; Check and CheckFix do, on request. On any
/// bytes whatever, all operations here go from character to character by the lead bytes alone: a
/// lead byte takes as many bytes along as it announces, whatever they are; a continuation byte
/// where a lead byte should be counts as one character, U+0000; and a character that the end of the
/// text cuts off has zeros for the bytes that are missing, and ends there. Only an IteratorConst in
/// the caller's hands, which knows no end, steps past it on such a text.
///
/// The block follows Allocator's policy. What does not fit it raises what Allocator::Alloc raises:
/// ERR_MEMORY, data 4, when the heap refuses a block, and ERR_OVERFLOW, data the bytes asked for
/// with the NUL, when Parm fixed the capacity. The text is then as it was, unless the operation
/// says otherwise.
///
/// Invariant: the NUL is the last byte stored; or nothing is stored, not even a NUL, which counts
/// as the empty text. Only SetDecimal leaves that form, when it raises, and copies of a string in
/// that form have it.
class String : protected Allocator<char, AllocatorEnum::COPY_BYTES> {
public:
    /// How large the blocks of a string are: the two sizes of an AllocatorBase, in bytes.
    struct Sizing {
        std::uint32_t baseSize;  ///< Capacity that every text up to it is given, NUL included.
        std::uint32_t blockSize; ///< Unit of larger capacities; 0 fixes the capacity at baseSize.
    };

    /// A position in a text: the byte at which a character starts.
    ///
    /// Knows neither its string nor where it ends: good as long as the string lives unchanged, and
    /// for stepping as long as the text behind it is well formed.
    class IteratorConst {
    public:
        IteratorConst() = default;                     ///< Not set to anything.
        IteratorConst(const char* p) : position(p) {}  ///< The character that starts at `p`.
        IteratorConst(const IteratorConst&) = default; ///< The same position.
        IteratorConst& operator=(const IteratorConst&) = default; ///< The same position.

        const char* Address() const { return position; } ///< The byte.

        /// To the next character: as many bytes as the lead byte announces, one from a continuation
        /// byte.
        IteratorConst& operator++()
        {
            // The same questions in the same order as decoding asks them, so that a loop which does
            // both asks them once.
            const unsigned int lead = static_cast<unsigned char>(*position);
            if (lead < 0x80)
                position += 1;
            else if (lead - 0xC0 < 0x20)
                position += 2;
            else if (lead - 0xE0 < 0x10)
                position += 3;
            else if (lead - 0xF0 < 0x08)
                position += 4;
            else
                position += lead < 0xC0 ? 1 : Char::CheckUTF8(*position);
            return *this;
        }

        /// `n` characters on.
        IteratorConst& operator+=(unsigned long n)
        {
            for (; n != 0; --n)
                ++*this;
            return *this;
        }

        /// The character.
        Char operator*() const
        {
            Char c;
            c.SetUTF8(position);
            return c;
        }

        /// Whether both are the same position.
        bool operator==(const IteratorConst& other) const { return position == other.position; }
        /// Whether they are different positions.
        bool operator!=(const IteratorConst& other) const { return position != other.position; }

    private:
        const char* position;
    };

    String();                    ///< The empty text.
    String(const String& other); ///< The same text.

    /// The bytes of `bytes` up to the first NUL among them.
    String(const BufferBase& bytes);

    /// A new string as UpdateCharStr makes it; empty for a null pointer.
    static String ChangeCharStr(const char* text);

    /// A new string as UpdateCharStrUTF16 makes it; empty for a null pointer.
    static String ChangeCharStrUTF16(const unsigned short* text);

    ~String() = default; ///< Releases the block.

    String& operator=(const String& other); ///< The same text.

    /// The bytes of `bytes`, which may be this text's own, up to the first NUL among them. All of
    /// them are stored first, so that the block is as large as they need, or smaller when the cut
    /// is worth it; when that smaller block is refused, all of them stay, with their NULs.
    String& operator=(const BufferBase& bytes);

    /// Makes this the NUL-terminated `text`, which may be this text's own but not null.
    void UpdateCharStr(const char* text);

    /// Makes this the bytes [first, last), which may be this text's own. All of them are taken, a
    /// NUL among them too.
    void UpdateCharStr(const char* first, const char* last);

    /// Makes this what the UTF-16 text up to its unit 0 says.
    ///
    /// A high surrogate that no low one follows is left out. A low surrogate that follows no high
    /// one ends the conversion.
    /// @return false when a low surrogate ended it, or a high one was the last unit; what was
    /// converted so far stays then, and also when the block is refused
    bool UpdateCharStrUTF16(const unsigned short* text);

    /// Makes this the empty text. A block is kept, unless the base size is 0.
    void Clear();

    /// Trades the texts; each side keeps its sizing.
    /// @throws Err  ERR_PARAMETER, data 0, when this string's capacity is fixed
    void Swap(String& other) { Allocator::Swap(other); }

    /// Number of characters.
    std::uint32_t Size() const;

    /// Number of bytes, the NUL not counted.
    unsigned long Length() const { return begin ? Allocator::Length() - 1 : 0; }

    /// The bytes and the NUL behind them, until the string changes.
    const char* CStr() const { return begin ? begin : &CharNull; }

    IteratorConst Begin() const { return CStr(); }          ///< The first character.
    IteratorConst End() const { return CStr() + Length(); } ///< Behind the last: the NUL.

    using Allocator::BaseSize;  ///< In bytes, from Parm.
    using Allocator::BlockSize; ///< In bytes, from Parm; 0 when the capacity is fixed.
    using Allocator::Capacity;  ///< Size of the block in bytes.

    /// Number of bytes of [first, last) before the first NUL, or of all of them; 0 when it is
    /// empty.
    static unsigned long StrLen(const char* first, const char* last);

    /// Whether the text ends where its last character does. Looks at lead bytes only, so C3 41
    /// passes.
    ///
    /// DOES NOT RETURN when a continuation byte (80 to BF) stands where a lead byte should: the
    /// walk stays there for good. Give it only texts that hold none in such a place.
    bool Check() const;

    /// Cuts off a last character that is not all there. DOES NOT RETURN where Check does not.
    /// @return true when there was nothing to cut
    bool CheckFix();

    /// Gives the text in UTF-16 with a unit 0 behind it.
    /// @param units  is asked for the length that the text needs; a longer one serves as well
    /// @return false when the length was not granted (`units` is then asked for length 0), or when
    /// characters from 0x110000 on were left out. What its TryResizeNoCopy raises passes.
    bool GetUTF16(ArrayBase<unsigned short>& units) const;

    String&
    operator+=(const String& other); ///< Appends the text of `other`, which may be this one.

    /// Appends the character; nothing for code point 0 and from 0x80000000 on.
    String& operator+=(Char c);

    /// Would take a text for its first character.
    String& operator+=(const char*) = delete;

    String operator+(const String& other) const;  ///< This text, then that of `other`.
    String operator+(Char c) const;               ///< This text, then the character.
    String operator+(const char*) const = delete; ///< Would take a text for its first character.

    /// Compares by code points, character by character; a text that begins another comes first.
    /// @return 1 when this one is the greater, -1 when `other` is, 0 when they are equal
    std::int32_t Compare(const String& other) const;

    /// The first character at or behind `from` that has this code point; the end when there is
    /// none.
    IteratorConst Find(Char c, IteratorConst from) const;
    IteratorConst Find(Char c) const; ///< The same from the first character on.

    /// The first character at or behind `from` at which the bytes of `text` start; the end when
    /// there is none, and also when `text` is empty.
    IteratorConst Find(const String& text, IteratorConst from) const;

    /// Whether this text begins with the bytes of `text`; false when that is empty.
    bool FindFirst(const String& text) const;

    /// A new string of the bytes [first, last), which are not checked to be this text's.
    String Split(IteratorConst first, IteratorConst last) const;

    /// Reads the line at `pos` and steps over it. Only U+000A ends a line; a carriage return before
    /// it stays in the line. Behind a final U+000A there is no further, empty line.
    /// @param pos   a character of this text; moves to the start of the next line
    /// @param line  receives the line without its U+000A; must not be this string
    /// @return false when `pos` is at the end; nothing changes then
    bool GetLine(IteratorConst& pos, String& line) const;

    /// Removes every character that has this code point.
    /// @throws Err  ERR_PARAMETER, data 0, when this string's capacity is fixed
    void RemoveChar(Char c);

    /// The pieces between the characters that have this code point, without the empty ones.
    /// @throws Err  ERR_PARAMETER, data 0, when Parm fixes the capacity and there is a piece; what
    /// a node raises passes as std::bad_alloc
    List<String> FindSplit(Char separator) const;

    /// Makes this the number in decimal: the sign, then zeros up to the width, then the digits.
    /// When it raises, nothing is stored: the text is empty, without a block unless that is fixed.
    /// @param value  the number
    /// @param sign   any character to stand in front, or 0 for none
    /// @param width  least number of digits, the sign not counted
    void SetDecimal(unsigned long long value, char sign, unsigned long width);

    /// The same for a signed number.
    /// @param value  the number
    /// @param plus   whether a number that is not negative has the sign '+' instead of none
    /// @param width  least number of digits, the sign not counted
    void SetDecimal(long long value, bool plus, unsigned long width);

    static String Decimal(unsigned long long value); ///< The digits.
    static String Decimal(long long value);          ///< The digits, with '-' below 0.
    static String Decimal(unsigned long value);      ///< The digits.
    static String Decimal(long value);               ///< The digits, with '-' below 0.
    static String Decimal(unsigned int value);       ///< The digits.
    static String Decimal(int value);                ///< The digits, with '-' below 0.
    static String Decimal(unsigned short value);     ///< The digits.
    static String Decimal(short value);              ///< The digits, with '-' below 0.
    static String Decimal(unsigned char value);      ///< The digits of the number.
    static String Decimal(signed char value); ///< The digits of the number, with '-' below 0.

    /// The sizing of strings made from now on; {64, 16} at first. To be set while no other thread
    /// makes strings. Ready before any other static object is constructed.
    static Sizing Parm;

    static const char CharNull; ///< The character 0.

private:
    explicit String(const Sizing& sizing); // no block yet

    unsigned long Covered() const;                              // bytes up to which Check gets
    String Plus(const char* first, unsigned long length) const; // this text, then these bytes
};

/// The read-only side of a string, as an operand: what it is added to becomes a new string. Refers
/// to the string, which must outlive it.
class StringConst {
public:
    StringConst(const String& text) : string(&text) {} ///< The side of `text`.

    String operator+(const String& other) const;  ///< A copy of the text, `other` appended.
    String operator+(Char c) const;               ///< A copy of the text, the character appended.
    String operator+(const char*) const = delete; ///< Would take a text for its first character.

private:
    const String* string;
};

} // namespace ORVEX

#endif
