// SPDX-License-Identifier: MIT
#ifndef ORVEX_COLOR_H
#define ORVEX_COLOR_H

namespace ORVEX {

/// One pixel: four channels of 8 bits, in memory alpha, red, green, blue.
///
/// A plain value without padding, so an array of colours is the byte sequence A,R,G,B, A,R,G,B...
/// The colour channels are straight, not multiplied by alpha.
class Color {
public:
    /// Transparent black: all four channels 0.
    constexpr Color() : alpha(0), red(0), green(0), blue(0) {}

    /// The given channels, opaque (alpha 255).
    constexpr Color(unsigned char r, unsigned char g, unsigned char b)
        : alpha(255), red(r), green(g), blue(b)
    {
    }

    /// The given channels; alpha is the last argument, although it is the first in memory.
    constexpr Color(unsigned char r, unsigned char g, unsigned char b, unsigned char a)
        : alpha(a), red(r), green(g), blue(b)
    {
    }

    Color(const Color&) = default;            ///< The same four bytes.
    Color& operator=(const Color&) = default; ///< The same four bytes.

    /// Blends `src` over this colour. With a = src.alpha, red, green and blue each become
    /// (a * src + (255 - a) * own) / 255, cut to a whole number; alpha becomes the larger of the
    /// two. Alpha 0 therefore changes nothing, and alpha 255 gives exactly `src`.
    ///
    /// The own alpha has no part in mixing the colours: what is blended over a transparent pixel
    /// mixes with the colour that is hidden there.
    /// @return this colour
    Color& Overlap(const Color& src);

    unsigned char alpha; ///< 0 transparent to 255 opaque.
    unsigned char red;   ///< 0 to 255.
    unsigned char green; ///< 0 to 255.
    unsigned char blue;  ///< 0 to 255.
};

static_assert(sizeof(Color) == 4, "pixels are bytes without padding");

} // namespace ORVEX

#endif
