// SPDX-License-Identifier: MIT
#ifndef ORVEX_CHAR_H
#define ORVEX_CHAR_H

#include <cstdint>

namespace ORVEX {

/// One Unicode code point, converted to and from UTF-8 and UTF-16.
///
/// A plain value; 0 stands for no character as well as for U+0000. UTF-8 is meant as in RFC 2279,
/// with up to six bytes a character. Nothing is refused on the way in: overlong forms, surrogates
/// and numbers above U+10FFFF are taken as they come, and the lead byte alone says how many bytes
/// belong to a character. Nothing raises.
class Char {
public:
    constexpr Char() = default;                       ///< Code point 0.
    constexpr Char(const Char&) = default;            ///< The same code point.
    constexpr Char& operator=(const Char&) = default; ///< The same code point.

    /// The first character of the UTF-8 text `p`, as SetUTF8 reads it; what follows is ignored.
    /// Code point 0 for a null pointer, and so for Char(0), which is one to the language.
    /// Not explicit, so that Find("/") reads well.
    constexpr Char(const char* p)
    {
        if (p)
            SetUTF8(p);
    }

    /// How many bytes the character that starts with `lead` has: the number of leading 1 bits, from
    /// 2 to 8, or 1 for ASCII. 0 for a continuation byte (80 to BF), which starts none.
    static constexpr unsigned long CheckUTF8(char lead)
    {
        const unsigned int b = static_cast<unsigned char>(lead);
        if (b < 0x80)
            return 1;
        if (b < 0xC0)
            return 0;
        if (b < 0xE0)
            return 2;
        if (b < 0xF0)
            return 3;
        if (b < 0xF8)
            return 4;
        return 5ul + (b >= 0xFC) + (b >= 0xFE) + (b == 0xFF);
    }

    /// What kind of UTF-16 unit `unit` is: 1 a high surrogate, which a second unit follows; 2 a low
    /// surrogate; 0 any other.
    static unsigned long CheckUTF16(unsigned short unit);

    /// Makes this code point `value`; its low 32 bits, where unsigned long has more.
    void SetUTF32(unsigned long value) { code = static_cast<std::uint32_t>(value); }

    /// Decodes the character that starts at `p`: as many bytes as CheckUTF8 says for the first, the
    /// following ones taken as they are, a NUL among them too. All of them must be readable. A
    /// continuation byte at `p` gives 0, and nothing behind it is read. Of a number with more than
    /// 32 bits the low ones remain.
    constexpr void SetUTF8(const char* p)
    {
        const std::uint32_t lead = static_cast<unsigned char>(*p);
        if (lead < 0x80)
            code = lead;
        else if (lead - 0xC0 < 0x20)
            code = (lead & 0x1F) << 6 | Tail(p[1]);
        else if (lead - 0xE0 < 0x10)
            code = (lead & 0x0F) << 12 | Tail(p[1]) << 6 | Tail(p[2]);
        else if (lead - 0xF0 < 0x08)
            code = (lead & 0x07) << 18 | Tail(p[1]) << 12 | Tail(p[2]) << 6 | Tail(p[3]);
        else
            code = lead < 0xC0 ? 0 : DecodeLong(p);
    }

    /// Makes this the character of one or two UTF-16 units.
    /// @param first   the unit, or the high surrogate of a pair
    /// @param second  the low surrogate, or 0 when there is none; neither is checked to be one
    void SetUTF16(unsigned short first, unsigned short second);

    /// Number of UTF-16 units: 1, or 2 from U+10000 on, or 0 from 0x110000 on.
    unsigned long GetUTF16Size() const;

    /// Gives the UTF-16 units; a lone surrogate passes unchanged.
    /// @param first   receives the unit, or the high surrogate of a pair
    /// @param second  receives the low surrogate, or 0 when there is none
    /// @return false from 0x110000 on; nothing is written then
    bool GetUTF16(unsigned short& first, unsigned short& second) const;

    /// The UTF-8 bytes, the first in the least significant place, zeros above the last. Stored on a
    /// little-endian machine that is a NUL-terminated text of at most six bytes. 0 for code point 0
    /// and from 0x80000000 on, which no sequence stands for.
    std::uint64_t GetUTF8() const;

    constexpr std::uint32_t GetUTF32() const { return code; } ///< The code point.

private:
    static constexpr std::uint32_t Tail(char b) { return static_cast<unsigned char>(b) & 0x3F; }

    static std::uint32_t DecodeLong(const char* p); // what starts with a byte from F8 on

    std::uint32_t code = 0;
};

} // namespace ORVEX

#endif
