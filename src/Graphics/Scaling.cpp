// SPDX-License-Identifier: MIT
#include <ORVEX/Bitmap.h>

#include <algorithm>
#include <cstdint>

namespace ORVEX {

namespace {

/// Where each of `parts` equal shares of `length` pixels begins; one entry more, for the end.
void MakeBounds(Vector<std::int32_t>& bounds, std::int32_t length, std::int32_t parts)
{
    bounds.TryResizeNoCopy(static_cast<unsigned long>(parts) + 1);
    for (std::int64_t at = 0; at <= parts; ++at)
        bounds[static_cast<unsigned long>(at)] = static_cast<std::int32_t>(length * at / parts);
}

/// The mean of the block of `columns` times `rows` pixels from `first` on; rows are `stride`
/// pixels apart.
Color Mean(const Color* first, std::int32_t stride, std::int32_t columns, std::int32_t rows)
{
    std::uint64_t alpha = 0;
    std::uint64_t red = 0;
    std::uint64_t green = 0;
    std::uint64_t blue = 0;
    for (std::int32_t row = 0; row < rows; ++row, first += stride) {
        for (const Color* pixel = first; pixel != first + columns; ++pixel) {
            alpha += pixel->alpha;
            red += pixel->red;
            green += pixel->green;
            blue += pixel->blue;
        }
    }
    const std::uint64_t count =
        static_cast<std::uint64_t>(columns) * static_cast<std::uint64_t>(rows);
    return Color(static_cast<unsigned char>(red / count), static_cast<unsigned char>(green / count),
                 static_cast<unsigned char>(blue / count),
                 static_cast<unsigned char>(alpha / count));
}

} // namespace

void Bitmap::Scaling(const Bitmap& src, const Point& newSize)
{
    if (newSize.x < 1 || newSize.y < 1) {
        Clear();
        return;
    }
    if (newSize.x == src.size.x && newSize.y == src.size.y) {
        *this = src;
        return;
    }
    if (&src == this) {
        Scaling(newSize);
        return;
    }
    ResizeNoCopy(newSize);
    if (!src.HoldsItsSize()) {
        Fill(Color());
        return;
    }
    if (!HoldsItsSize())
        return;
    Vector<std::int32_t> xs;
    MakeBounds(xs, src.size.x, size.x);
    Vector<std::int32_t> ys;
    MakeBounds(ys, src.size.y, size.y);
    Color* to = pixels.Begin();
    for (std::int32_t j = 0; j < size.y; ++j) {
        const std::int32_t top = ys[static_cast<unsigned long>(j)];
        // Where the picture grows, the bounds are equal and the block is one pixel.
        const std::int32_t rows = std::max(ys[static_cast<unsigned long>(j) + 1] - top, 1);
        const Color* const line = src.pixels.Begin() + static_cast<std::int64_t>(top) * src.size.x;
        for (std::int32_t i = 0; i < size.x; ++i) {
            const std::int32_t left = xs[static_cast<unsigned long>(i)];
            const std::int32_t columns = std::max(xs[static_cast<unsigned long>(i) + 1] - left, 1);
            *to++ = Mean(line + left, src.size.x, columns, rows);
        }
    }
}

void Bitmap::Scaling(const Point& newSize)
{
    Bitmap scaled;
    scaled.Scaling(*this, newSize);
    Swap(scaled);
}

void Bitmap::Rotation(const Bitmap& src, short angle)
{
    static_cast<void>(angle);
    ResizeNoCopy(src.size);
    Fill(Color(255, 255, 255));
}

void Bitmap::Rotation(short angle)
{
    Bitmap rotated;
    rotated.Rotation(*this, angle);
    Swap(rotated);
}

} // namespace ORVEX
