// SPDX-License-Identifier: MIT
#include <ORVEX/String.h>

#include "Store.h"

#include <cstring>

namespace ORVEX {

namespace {

const unsigned long Places = 20; // digits of 18446744073709551615

const char Pairs[] = "00010203040506070809101112131415161718192021222324"
                     "25262728293031323334353637383940414243444546474849"
                     "50515253545556575859606162636465666768697071727374"
                     "75767778798081828384858687888990919293949596979899";

// Writes the two digits of `value` before `p` and returns where they start.
char* WritePair(char* p, std::uint32_t value)
{
    p -= 2;
    std::memcpy(p, Pairs + 2 * value, 2);
    return p;
}

// Writes exactly four digits of `value` before `p`.
char* WriteFour(char* p, std::uint32_t value)
{
    WritePair(p, value % 100);
    return WritePair(p - 2, value / 100);
}

// Writes exactly nine digits of `value` before `p`: the two halves do not wait for each other.
char* WriteNine(char* p, std::uint32_t value)
{
    const std::uint32_t upper = value / 10000;
    WriteFour(p, value % 10000);
    p = WriteFour(p - 4, upper % 10000);
    *--p = static_cast<char>('0' + upper / 10000);
    return p;
}

// Writes the digits of `value` before `p` and returns where they start.
char* WriteDigits(char* p, unsigned long long value)
{
    // Nine digits fit 32 bits: at most two divisions are of 64 bits, which are a call on the
    // device, and all others are multiplications.
    const std::uint32_t billion = 1000000000;
    while (value > UINT32_MAX) {
        p = WriteNine(p, static_cast<std::uint32_t>(value % billion));
        value /= billion;
    }
    std::uint32_t rest = static_cast<std::uint32_t>(value);
    while (rest >= 100) {
        p = WritePair(p, rest % 100);
        rest /= 100;
    }
    if (rest >= 10)
        return WritePair(p, rest);
    *--p = static_cast<char>('0' + rest);
    return p;
}

// The text becomes the digits alone.
void AssignDigits(Internal::Store& store, unsigned long long value)
{
    Array<char, Places> digits;
    const char* const first = WriteDigits(digits.End(), value);
    Internal::Assign(store, first, static_cast<unsigned long>(digits.End() - first));
}

} // namespace

void String::SetDecimal(unsigned long long value, char sign, unsigned long width)
{
    Array<char, Places + 1> digits;
    char* const nul = digits.End() - 1;
    *nul = 0;
    const char* const first = WriteDigits(nul, value);
    const unsigned long count = static_cast<unsigned long>(nul - first);
    const unsigned long zeros = width > count ? width - count : 0;
    const unsigned long before = (sign != 0) + zeros;

    Internal::Release(*this);
    // The block has the size that growing byte by byte up to the digits, which follow all at once,
    // would give it.
    Internal::Growth growth(*this);
    growth.ByteByByteTo(before);
    growth.To(before + count + 1);
    growth.Apply(*this);
    char* to = begin;
    if (sign != 0)
        *to++ = sign;
    std::memset(to, '0', zeros);
    std::memcpy(to + zeros, first, count + 1);
}

void String::SetDecimal(long long value, bool plus, unsigned long width)
{
    if (value < 0)
        SetDecimal(0 - static_cast<unsigned long long>(value), '-', width);
    else
        SetDecimal(static_cast<unsigned long long>(value), plus ? '+' : '\0', width);
}

String String::Decimal(unsigned long long value)
{
    String text(Parm);
    AssignDigits(text, value);
    return text;
}

String String::Decimal(long long value)
{
    String text(Parm);
    if (value < 0)
        text.SetDecimal(value, false, 0);
    else
        AssignDigits(text, static_cast<unsigned long long>(value));
    return text;
}

String String::Decimal(unsigned long value)
{
    return Decimal(static_cast<unsigned long long>(value));
}

String String::Decimal(long value) { return Decimal(static_cast<long long>(value)); }

String String::Decimal(unsigned int value)
{
    return Decimal(static_cast<unsigned long long>(value));
}

String String::Decimal(int value) { return Decimal(static_cast<long long>(value)); }

String String::Decimal(unsigned short value)
{
    return Decimal(static_cast<unsigned long long>(value));
}

String String::Decimal(short value) { return Decimal(static_cast<long long>(value)); }

String String::Decimal(unsigned char value)
{
    return Decimal(static_cast<unsigned long long>(value));
}

String String::Decimal(signed char value) { return Decimal(static_cast<long long>(value)); }

} // namespace ORVEX
