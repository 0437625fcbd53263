// SPDX-License-Identifier: MIT
#include <ORVEX/Color.h>

#include <algorithm>

namespace ORVEX {

namespace {

unsigned char Mix(unsigned int over, unsigned int under, unsigned int a)
{
    return static_cast<unsigned char>((a * over + (255 - a) * under) / 255);
}

} // namespace

Color& Color::Overlap(const Color& src)
{
    // The formula needs no case of its own for alpha 0 and 255: it keeps the one or the other.
    const unsigned int a = src.alpha;
    red = Mix(src.red, red, a);
    green = Mix(src.green, green, a);
    blue = Mix(src.blue, blue, a);
    // Alpha takes the larger of the two; the colours alone are mixed.
    alpha = std::max(alpha, src.alpha);
    return *this;
}

} // namespace ORVEX
