// SPDX-License-Identifier: MIT
#include <ORVEX/Char.h>

namespace ORVEX {

unsigned long Char::CheckUTF16(unsigned short unit)
{
    switch (unit & 0xFC00) {
    case 0xD800:
        return 1;
    case 0xDC00:
        return 2;
    default:
        return 0;
    }
}

void Char::SetUTF16(unsigned short first, unsigned short second)
{
    if (second == 0)
        code = first;
    else
        code = (((first & 0x3FFu) << 10) + 0x10000u) | (second & 0x3FFu);
}

unsigned long Char::GetUTF16Size() const
{
    if (code < 0x10000)
        return 1;
    return code < 0x110000 ? 2 : 0;
}

bool Char::GetUTF16(unsigned short& first, unsigned short& second) const
{
    if (code >= 0x110000)
        return false;
    if (code < 0x10000) {
        first = static_cast<unsigned short>(code);
        second = 0;
    } else {
        first = static_cast<unsigned short>(0xD800 | (code - 0x10000) >> 10);
        second = static_cast<unsigned short>(0xDC00 | (code & 0x3FF));
    }
    return true;
}

std::uint64_t Char::GetUTF8() const
{
    if (code < 0x80)
        return code;
    if (code >= 0x80000000)
        return 0;
    // A lead byte of n bytes leaves room for 7 - n bits, and each byte behind it for six.
    std::uint64_t bytes = 0;
    std::uint32_t rest = code;
    std::uint32_t room = 0x3F;
    do {
        bytes = bytes << 8 | 0x80 | (rest & 0x3F);
        rest >>= 6;
        room >>= 1;
    } while (rest > room);
    return bytes << 8 | (~(2 * room + 1) & 0xFF) | rest;
}

std::uint32_t Char::DecodeLong(const char* p)
{
    const unsigned long length = CheckUTF8(*p);
    std::uint32_t value = static_cast<unsigned char>(*p) & 0x7Fu >> length;
    for (unsigned long i = 1; i < length; ++i)
        value = value << 6 | Tail(p[i]);
    return value;
}

} // namespace ORVEX
