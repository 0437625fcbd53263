// SPDX-License-Identifier: MIT
#ifndef ORVEX_PRINT_H
#define ORVEX_PRINT_H

/// @file
/// Writes the library's values on standard streams, for logs and for test frameworks that show
/// values by `operator<<`. Opt-in and header-only: ORVEX.h does not include it. Numbers are
/// written the same whatever the stream's format is, and that format is left as it was.

#include <ORVEX/Buffer.h>
#include <ORVEX/Char.h>
#include <ORVEX/Clock.h>
#include <ORVEX/Color.h>
#include <ORVEX/Err.h>
#include <ORVEX/Nmpi.h>
#include <ORVEX/Point.h>
#include <ORVEX/Rect.h>
#include <ORVEX/String.h>

#include <cstdint>
#include <ostream>

namespace ORVEX {

namespace Printing {

/// Writes `value` in hexadecimal with capitals and at least `digits` digits.
inline void Hex(std::ostream& out, std::uint64_t value, int digits)
{
    char text[17];
    char* first = text + 16;
    *first = '\0';
    for (; value != 0 || digits > 0; value /= 16, --digits)
        *--first = "0123456789ABCDEF"[value % 16];
    out << first;
}

/// Writes `value` in decimal with at least `digits` digits.
inline void Decimal(std::ostream& out, std::int64_t value, int digits = 1)
{
    char text[32];
    char* first = text + 31;
    *first = '\0';
    std::uint64_t rest = static_cast<std::uint64_t>(value);
    if (value < 0)
        rest = 0 - rest;
    for (; rest != 0 || digits > 0; rest /= 10, --digits)
        *--first = static_cast<char>('0' + rest % 10);
    if (value < 0)
        *--first = '-';
    out << first;
}

} // namespace Printing

/// "#RRGGBBAA".
inline std::ostream& operator<<(std::ostream& out, const Color& color)
{
    out << '#';
    Printing::Hex(out, color.red, 2);
    Printing::Hex(out, color.green, 2);
    Printing::Hex(out, color.blue, 2);
    Printing::Hex(out, color.alpha, 2);
    return out;
}

/// "(x, y)".
inline std::ostream& operator<<(std::ostream& out, const Point& point)
{
    out << '(';
    Printing::Decimal(out, point.x);
    out << ", ";
    Printing::Decimal(out, point.y);
    return out << ')';
}

/// "(x, y) width x height".
inline std::ostream& operator<<(std::ostream& out, const Rect& rect)
{
    Point corner;
    corner.x = rect.x;
    corner.y = rect.y;
    out << corner << ' ';
    Printing::Decimal(out, rect.width);
    out << " x ";
    Printing::Decimal(out, rect.height);
    return out;
}

/// "U+20AC": at least four digits.
inline std::ostream& operator<<(std::ostream& out, const Char& character)
{
    out << "U+";
    Printing::Hex(out, character.GetUTF32(), 4);
    return out;
}

/// The text's bytes as they are, without the NUL.
inline std::ostream& operator<<(std::ostream& out, const String& text)
{
    return out.write(text.CStr(), static_cast<std::streamsize>(text.Length()));
}

/// "3 bytes: 01 02 03"; of a long range the first 16 bytes and then "...".
inline std::ostream& operator<<(std::ostream& out, const BufferBase& bytes)
{
    const unsigned long length = bytes.Length();
    const unsigned long shown = length < 16 ? length : 16;
    Printing::Decimal(out, static_cast<std::int64_t>(length));
    out << (length == 1 ? " byte" : " bytes");
    for (unsigned long i = 0; i < shown; ++i) {
        out << (i == 0 ? ": " : " ");
        Printing::Hex(out, bytes.Begin()[i], 2);
    }
    return shown < length ? out << " ..." : out;
}

/// "250 ms".
inline std::ostream& operator<<(std::ostream& out, const Clock& clock)
{
    Printing::Decimal(out, static_cast<std::int64_t>(clock.Get()));
    return out << " ms";
}

/// "2026-11-16 07:12:09 UTC", by the calendar number of GetYYYYMMDDhhmmss.
inline std::ostream& operator<<(std::ostream& out, const Time& time)
{
    Time copy = time;
    const std::int64_t number = static_cast<std::int64_t>(copy.GetYYYYMMDDhhmmss());
    Printing::Decimal(out, number / 10000000000, 4);
    out << '-';
    Printing::Decimal(out, number / 100000000 % 100, 2);
    out << '-';
    Printing::Decimal(out, number / 1000000 % 100, 2);
    out << ' ';
    Printing::Decimal(out, number / 10000 % 100, 2);
    out << ':';
    Printing::Decimal(out, number / 100 % 100, 2);
    out << ':';
    Printing::Decimal(out, number % 100, 2);
    return out << " UTC";
}

/// "src/Buffer/Buffer:169 code 3 data 256".
inline std::ostream& operator<<(std::ostream& out, const Err& err)
{
    out << (err.file ? err.file : "(no file)") << ':';
    Printing::Decimal(out, err.line);
    out << " code ";
    Printing::Decimal(out, err.code);
    out << " data ";
    Printing::Decimal(out, err.data);
    return out;
}

/// "0x1FFFFFFFF", the most significant limb first; "0x0" for 0.
inline std::ostream& operator<<(std::ostream& out, const NmpiBaseBuffer& number)
{
    out << "0x";
    const std::uint32_t* limb = number.end;
    if (limb == number.begin)
        return out << '0';
    Printing::Hex(out, *--limb, 1);
    while (limb != number.begin)
        Printing::Hex(out, *--limb, 8);
    return out;
}

} // namespace ORVEX

#endif
