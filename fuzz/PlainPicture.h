// SPDX-License-Identifier: MIT
#ifndef ORVEX_FUZZ_PLAINPICTURE_H
#define ORVEX_FUZZ_PLAINPICTURE_H

#include "Harness.h"

#include <ORVEX/Bitmap.h>

#include <algorithm>
#include <cstring>

/// A bitmap in the plainest form there is, each operation as slow as its definition.
struct PlainPicture {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<ORVEX::Color> pixels;

    /// Whether there is a pixel for each pair of coordinates.
    bool Whole() const
    {
        return !pixels.empty() &&
               static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) ==
                   pixels.size();
    }

    ORVEX::Color& At(std::int64_t x, std::int64_t y)
    {
        return pixels[static_cast<std::size_t>(y * width + x)];
    }

    ORVEX::Color& AtNearest(std::int64_t x, std::int64_t y)
    {
        return At(std::clamp<std::int64_t>(x, 0, width - 1),
                  std::clamp<std::int64_t>(y, 0, height - 1));
    }

    void Clear() { *this = PlainPicture(); }

    static ORVEX::Color Blended(const ORVEX::Color& under, const ORVEX::Color& over)
    {
        const unsigned int a = over.alpha;
        const auto mix = [a](unsigned int above, unsigned int below) {
            return static_cast<unsigned char>((a * above + (255 - a) * below) / 255);
        };
        return ORVEX::Color(mix(over.red, under.red), mix(over.green, under.green),
                            mix(over.blue, under.blue), std::max(under.alpha, over.alpha));
    }

    /// Looks for each pixel of this picture whether one of the part of `src` comes to lie on it.
    void Overlap(PlainPicture& src, const ORVEX::Point& pos, const ORVEX::Rect& rect)
    {
        if (!Whole() || !src.Whole())
            return;
        // What lies before the source is taken off the part, which moves nothing.
        const std::int64_t left = std::max(rect.x, 0);
        const std::int64_t top = std::max(rect.y, 0);
        const std::int64_t columns = rect.width + std::int64_t{std::min(rect.x, 0)};
        const std::int64_t rows = rect.height + std::int64_t{std::min(rect.y, 0)};
        for (std::int64_t y = 0; y < height; ++y) {
            for (std::int64_t x = 0; x < width; ++x) {
                const std::int64_t column = x - pos.x;
                const std::int64_t row = y - pos.y;
                if (column >= 0 && column < columns && left + column < src.width && row >= 0 &&
                    row < rows && top + row < src.height)
                    At(x, y) = Blended(At(x, y), src.At(left + column, top + row));
            }
        }
    }

    /// This picture at another size; both have all their pixels.
    PlainPicture Scaled(std::int32_t newWidth, std::int32_t newHeight)
    {
        PlainPicture scaled;
        scaled.width = newWidth;
        scaled.height = newHeight;
        for (std::int64_t j = 0; j < newHeight; ++j)
            for (std::int64_t i = 0; i < newWidth; ++i)
                scaled.pixels.push_back(Mean(width * i / newWidth, width * (i + 1) / newWidth,
                                             height * j / newHeight, height * (j + 1) / newHeight));
        return scaled;
    }

    ORVEX::Color Mean(std::int64_t left, std::int64_t right, std::int64_t top, std::int64_t bottom)
    {
        std::uint64_t sums[4] = {};
        std::uint64_t count = 0;
        for (std::int64_t y = top; y < std::max(bottom, top + 1); ++y) {
            for (std::int64_t x = left; x < std::max(right, left + 1); ++x, ++count) {
                const ORVEX::Color& pixel = At(x, y);
                sums[0] += pixel.red;
                sums[1] += pixel.green;
                sums[2] += pixel.blue;
                sums[3] += pixel.alpha;
            }
        }
        unsigned char means[4];
        for (int i = 0; i < 4; ++i)
            means[i] = static_cast<unsigned char>(sums[i] / count);
        return ORVEX::Color(means[0], means[1], means[2], means[3]);
    }

    bool Equals(const ORVEX::Bitmap& bitmap) const
    {
        return bitmap.GetSize().x == width && bitmap.GetSize().y == height &&
               bitmap.Pixels().Length() == pixels.size() &&
               (pixels.empty() ||
                std::memcmp(bitmap.Pixels().Begin(), pixels.data(), 4 * pixels.size()) == 0);
    }
};

inline bool Same(const ORVEX::Color& a, const ORVEX::Color& b)
{
    return std::memcmp(&a, &b, 4) == 0;
}

inline ORVEX::Color TakeColor(Feed& feed)
{
    const std::uint32_t word = feed.Word();
    const auto byte = [word](int at) { return static_cast<unsigned char>(word >> at); };
    // Every other colour is opaque or transparent, which code likes to treat by itself.
    const unsigned char alpha = word & 1 ? byte(24) : word & 2 ? 255 : 0;
    return ORVEX::Color(byte(16), byte(8), byte(0), alpha);
}

/// A coordinate or length that is small, a little negative, or at the ends of the 32 bits.
inline std::int32_t TakeCoordinate(Feed& feed)
{
    static const std::int32_t Ends[] = {INT32_MIN, INT32_MIN + 1, INT32_MAX, INT32_MAX - 1,
                                        -65536,    65536,         1 << 30,   -(1 << 30)};
    const std::uint8_t byte = feed.Byte();
    return byte < 240   ? byte % 80 - 20
           : byte < 248 ? Ends[byte - 240]
                        : static_cast<std::int32_t>(feed.Word());
}

/// Fills the bitmap and the picture, which have the same size, with the same colours: runs of one
/// colour and runs of different ones.
inline void FillAlike(Feed& feed, ORVEX::Bitmap& bitmap, PlainPicture& picture)
{
    std::uint32_t run = 0;
    std::uint32_t change = 0;
    ORVEX::Color color;
    for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
        if (run-- == 0) {
            color = TakeColor(feed);
            run = feed.Byte();
            change = run & 1 ? 0 : feed.Word();
            run /= 2;
        }
        picture.pixels[i] = color;
        color.red = static_cast<unsigned char>(color.red + change);
        color.green = static_cast<unsigned char>(color.green + (change >> 8));
        color.blue = static_cast<unsigned char>(color.blue + (change >> 16));
        color.alpha = static_cast<unsigned char>(color.alpha + (change >> 24));
    }
    std::copy(picture.pixels.begin(), picture.pixels.end(), bitmap.Pixels().Begin());
}

#endif
