// SPDX-License-Identifier: MIT
#ifndef ORVEX_STRING_WALK_H
#define ORVEX_STRING_WALK_H

#include <ORVEX/Char.h>

#include <algorithm>
#include <cstdint>

#pragma GCC visibility push(hidden)

namespace ORVEX {
namespace Internal {

/// The walk over a text that ends at `end`, from character to character, whatever the bytes
/// are. It never gets past the end. Every position is one that a walk has reached, before the
/// end.

/// Behind the character at `p`.
inline const char* NextCharacter(const char* p, const char* end)
{
    const unsigned long length = std::max(1ul, Char::CheckUTF8(*p));
    return length < static_cast<unsigned long>(end - p) ? p + length : end;
}

/// The character at `p`, with zeros for bytes that the end cuts off; moves `p` behind it.
inline std::uint32_t TakeCharacter(const char*& p, const char* end)
{
    const char* const start = p;
    p = NextCharacter(p, end);
    if (Char::CheckUTF8(*start) <= static_cast<unsigned long>(end - start))
        return Char(start).GetUTF32();
    char whole[8] = {};
    std::copy(start, end, whole);
    return Char(whole).GetUTF32();
}

} // namespace Internal
} // namespace ORVEX

#pragma GCC visibility pop

#endif
