// SPDX-License-Identifier: MIT
#ifndef ORVEX_PNG_PIXEL_H
#define ORVEX_PNG_PIXEL_H

#include <cstdint>
#include <cstring>

#pragma GCC visibility push(hidden)
namespace ORVEX {
namespace Internal {

// Pixels of four bytes, moved as one number each: byte by byte they would take four times as long.

/// Whether the first byte of a number in memory is its lowest.
const bool LowByteFirst = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

/// Writes the four bytes at `to`.
inline void PutPixel(void* to, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                     std::uint32_t fourth)
{
    const std::uint32_t pixel = LowByteFirst ? first | second << 8 | third << 16 | fourth << 24
                                             : first << 24 | second << 16 | third << 8 | fourth;
    std::memcpy(to, &pixel, sizeof pixel);
}

/// Copies the four bytes at `from`, the last one to the front.
inline void RotatePixel(void* to, const void* from)
{
    std::uint32_t pixel;
    std::memcpy(&pixel, from, sizeof pixel);
    pixel = LowByteFirst ? pixel << 8 | pixel >> 24 : pixel >> 8 | pixel << 24;
    std::memcpy(to, &pixel, sizeof pixel);
}

} // namespace Internal
} // namespace ORVEX
#pragma GCC visibility pop

#endif
