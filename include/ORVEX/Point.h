// SPDX-License-Identifier: MIT
#ifndef ORVEX_POINT_H
#define ORVEX_POINT_H

#include <cstdint>

namespace ORVEX {

/// A pair of coordinates in pixels, y growing downward; also a size, x the width and y the
/// height. A plain value.
class Point {
public:
    static const std::int32_t TypeZero = 0;        ///< The lower bound when pixels are clamped.
    static const std::int32_t TypeMin = INT32_MIN; ///< The least coordinate, -2147483648.
    static const std::int32_t TypeMax = INT32_MAX; ///< The largest coordinate, 2147483647.

    constexpr Point() : x(0), y(0) {} ///< (0, 0)

    /// (`horizontal`, `vertical`)
    constexpr Point(std::int32_t horizontal, std::int32_t vertical) : x(horizontal), y(vertical) {}

    std::int32_t x; ///< Distance from the left edge, or width.
    std::int32_t y; ///< Distance from the top edge, or height.
};

static_assert(sizeof(Point) == 8, "two 32-bit numbers without padding");

} // namespace ORVEX

#endif
