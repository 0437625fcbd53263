// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_PICTURES_H
#define ORVEX_TESTS_PICTURES_H

#include <ORVEX/Bitmap.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <random>
#include <vector>

namespace ORVEX {

inline bool operator==(const Color& a, const Color& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

inline void PrintTo(const Color& color, std::ostream* out)
{
    *out << "(a " << int{color.alpha} << ", r " << int{color.red} << ", g " << int{color.green}
         << ", b " << int{color.blue} << ")";
}

inline bool operator==(const Point& a, const Point& b) { return a.x == b.x && a.y == b.y; }

inline void PrintTo(const Point& point, std::ostream* out)
{
    *out << "(" << point.x << ", " << point.y << ")";
}

} // namespace ORVEX

/// A picture in the plainest form there is: what the tests compare bitmaps with.
struct Picture {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<ORVEX::Color> pixels;

    ORVEX::Color& At(std::int64_t x, std::int64_t y)
    {
        return pixels[static_cast<std::size_t>(y * width + x)];
    }
    const ORVEX::Color& At(std::int64_t x, std::int64_t y) const
    {
        return pixels[static_cast<std::size_t>(y * width + x)];
    }
};

using Random = std::mt19937;

/// A whole number from `least` to `most`, the same on every host.
inline std::int32_t Pick(Random& random, std::int32_t least, std::int32_t most)
{
    return least +
           static_cast<std::int32_t>(random() % (static_cast<std::uint32_t>(most - least) + 1u));
}

/// Any colour: transparent, opaque and mixed pixels, alone and in runs.
inline Picture RandomPicture(Random& random, std::int32_t width, std::int32_t height)
{
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    int kind = 0;
    int left = 0;
    for (ORVEX::Color& pixel : picture.pixels) {
        if (left-- == 0) {
            kind = Pick(random, 0, 3);
            left = Pick(random, 0, 1) == 0 ? 0 : Pick(random, 1, 20);
        }
        const auto byte = [&random] { return static_cast<unsigned char>(random() & 255u); };
        pixel.alpha = byte();
        pixel.red = byte();
        pixel.green = byte();
        pixel.blue = byte();
        if (kind == 0)
            pixel.alpha = 0;
        if (kind == 1)
            pixel.alpha = 255;
    }
    return picture;
}

/// A bitmap with the pixels of `picture`.
inline ORVEX::Bitmap MakeBitmap(const Picture& picture)
{
    ORVEX::Bitmap bitmap;
    bitmap.ResizeNoCopy(ORVEX::Point(picture.width, picture.height));
    std::copy(picture.pixels.begin(), picture.pixels.end(), bitmap.Pixels().Begin());
    return bitmap;
}

/// The bitmap's size and pixels.
inline Picture PictureOf(const ORVEX::Bitmap& bitmap)
{
    Picture picture;
    picture.width = bitmap.GetSize().x;
    picture.height = bitmap.GetSize().y;
    picture.pixels.assign(bitmap.Pixels().Begin(), bitmap.Pixels().End());
    return picture;
}

inline bool operator==(const Picture& a, const Picture& b)
{
    return a.width == b.width && a.height == b.height && a.pixels == b.pixels;
}

inline void PrintTo(const Picture& picture, std::ostream* out)
{
    *out << picture.width << " x " << picture.height;
    for (const ORVEX::Color& pixel : picture.pixels) {
        *out << ' ';
        PrintTo(pixel, out);
    }
}

/// Source over destination, as the formula says it.
inline ORVEX::Color Blended(const ORVEX::Color& under, const ORVEX::Color& over)
{
    const unsigned int a = over.alpha;
    const auto mix = [a](unsigned int s, unsigned int d) {
        return static_cast<unsigned char>((a * s + (255u - a) * d) / 255u);
    };
    return ORVEX::Color(mix(over.red, under.red), mix(over.green, under.green),
                        mix(over.blue, under.blue), std::max(under.alpha, over.alpha));
}

#endif
