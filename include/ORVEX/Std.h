// SPDX-License-Identifier: MIT
#ifndef ORVEX_STD_H
#define ORVEX_STD_H

/// @file
/// Bridges between the library's texts and bytes and those of the standard library, for
/// applications that use both. Opt-in and header-only: ORVEX.h does not include it.

#include <ORVEX/Buffer.h>
#include <ORVEX/String.h>

#include <string_view>

namespace ORVEX {

/// The text's bytes without the NUL, seen where they lie: valid until `text` changes or goes.
inline std::string_view View(const String& text)
{
    return std::string_view(text.CStr(), text.Length());
}

/// The range's bytes seen where they lie: valid until the range changes or goes.
inline std::string_view View(const BufferBase& bytes)
{
    return std::string_view(reinterpret_cast<const char*>(bytes.Begin()), bytes.Length());
}

/// A text of its own that holds the bytes of `text`, up to the first NUL if there is one.
/// @throws Err  ERR_MEMORY as String's constructor from a range
inline String ToString(std::string_view text)
{
    const std::string_view whole = text.substr(0, text.find('\0'));
    String result;
    result.UpdateCharStr(whole.data(), whole.data() + whole.size());
    return result;
}

} // namespace ORVEX

#endif
