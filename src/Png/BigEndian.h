// SPDX-License-Identifier: MIT
#ifndef ORVEX_PNG_BIGENDIAN_H
#define ORVEX_PNG_BIGENDIAN_H

#include <cstdint>

#pragma GCC visibility push(hidden)
namespace ORVEX {
namespace Internal {

/// The number in the 2 bytes at `bytes`, most significant first.
inline std::uint32_t BigEndian16(const unsigned char* bytes)
{
    return std::uint32_t(bytes[0]) << 8 | bytes[1];
}

/// The number in the 4 bytes at `bytes`, most significant first.
inline std::uint32_t BigEndian32(const unsigned char* bytes)
{
    return BigEndian16(bytes) << 16 | BigEndian16(bytes + 2);
}

} // namespace Internal
} // namespace ORVEX
#pragma GCC visibility pop

#endif
