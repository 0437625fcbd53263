// SPDX-License-Identifier: MIT
#ifndef ORVEX_RECT_H
#define ORVEX_RECT_H

#include <cstdint>

namespace ORVEX {

/// A rectangle in pixels. A plain value; any numbers are legal, who uses it clips it.
class Rect {
public:
    constexpr Rect() : x(0), y(0), width(0), height(0) {} ///< Nothing at (0, 0).

    /// `across` columns and `down` rows from column `left` and row `top` on.
    constexpr Rect(std::int32_t left, std::int32_t top, std::int32_t across, std::int32_t down)
        : x(left), y(top), width(across), height(down)
    {
    }

    std::int32_t x;      ///< First column.
    std::int32_t y;      ///< First row.
    std::int32_t width;  ///< Number of columns; below 1 the rectangle covers nothing.
    std::int32_t height; ///< Number of rows; below 1 the rectangle covers nothing.
};

static_assert(sizeof(Rect) == 16, "four 32-bit numbers without padding");

} // namespace ORVEX

#endif
