// SPDX-License-Identifier: MIT
#include <ORVEX/Bitmap.h>

#include "OverlapRow.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace ORVEX {

namespace {

/// What is left of one direction of a composition once it has been clipped.
struct Span {
    std::int64_t to;    // first column or row of the destination
    std::int64_t from;  // the source's column or row that goes there
    std::int64_t count; // below 1: nothing is drawn
};

/// Clips one direction: `length` columns or rows from `first` on, of a source that has `srcSize`,
/// go to `pos` of a destination that has `dstSize`. In 64 bits, so that no number is too large.
Span Clip(std::int64_t pos, std::int64_t first, std::int64_t length, std::int64_t srcSize,
          std::int64_t dstSize)
{
    // The part loses what lies before the source, and `pos` stays where it is.
    if (first < Point::TypeZero) {
        length += first;
        first = Point::TypeZero;
    }
    length = std::min(length, srcSize - first);
    if (pos > Point::TypeZero)
        return {pos, first, std::min(length, dstSize - pos)};
    return {Point::TypeZero, first - pos, std::min(pos + length, dstSize)};
}

std::int32_t Clamp(std::int32_t value, std::int32_t size)
{
    // The lower bound first: of a size 0 the result is -1.
    return std::min(std::max(value, Point::TypeZero), size - 1);
}

Point Clamp(const Point& point, const Point& size)
{
    return Point(Clamp(point.x, size.x), Clamp(point.y, size.y));
}

/// Which element of the store of a bitmap of this size is nearest to `point`.
unsigned long IndexOf(const Point& point, const Point& size)
{
    const Point inside = Clamp(point, size);
    return static_cast<unsigned long>(inside.y) * static_cast<unsigned long>(size.x) +
           static_cast<unsigned long>(inside.x);
}

} // namespace

Bitmap::Bitmap(const Bitmap& src) : Bitmap() { *this = src; }

Bitmap& Bitmap::operator=(const Bitmap& src)
{
    size = src.size;
    pixels = src.pixels;
    return *this;
}

void Bitmap::Fill(const Color& color)
{
    const Color value = color; // the argument may be one of the pixels
    std::fill(pixels.Begin(), pixels.End(), value);
}

Point Bitmap::NormalizationPoint(const Point& point) const { return Clamp(point, size); }

const Color& Bitmap::GetPixel(const Point& point) const
{
    static const Color dummy;
    if (!HoldsItsSize())
        return dummy;
    return pixels[IndexOf(point, size)];
}

void Bitmap::SetPixel(const Point& point, Color color)
{
    if (!HoldsItsSize())
        return;
    pixels[IndexOf(point, size)] = color;
}

void Bitmap::Overlap(const Bitmap& src, const Point& pos, const Rect& rect)
{
    if (!HoldsItsSize() || !src.HoldsItsSize())
        return;
    const Span columns = Clip(pos.x, rect.x, rect.width, src.size.x, size.x);
    const Span rows = Clip(pos.y, rect.y, rect.height, src.size.y, size.y);
    if (columns.count <= 0 || rows.count <= 0)
        return;
    // Indices below fit, since both stores hold their pixels.
    for (std::int64_t row = 0; row < rows.count; ++row) {
        Color* const to = pixels.Begin() + ((rows.to + row) * size.x + columns.to);
        const Color* const from =
            src.pixels.Begin() + ((rows.from + row) * src.size.x + columns.from);
        Internal::OverlapRow(to, from, static_cast<unsigned long>(columns.count));
    }
}

void Bitmap::Swap(Bitmap& other)
{
    pixels.Swap(other.pixels);
    std::swap(size, other.size);
}

void Bitmap::Clear()
{
    pixels.TryResizeNoCopy(0);
    size = Point();
}

void Bitmap::ResizeNoCopy(const Point& newSize)
{
    if (newSize.x < 1 || newSize.y < 1) {
        Clear();
        return;
    }
    // A product that wraps to 0 leaves a size without pixels, which Empty tells.
    const std::uint32_t count =
        static_cast<std::uint32_t>(newSize.x) * static_cast<std::uint32_t>(newSize.y);
    pixels.TryResizeNoCopy(count);
    size = newSize;
}

void Bitmap::SetAlphaMax(unsigned char a)
{
    const unsigned int most = a;
    for (Color* pixel = pixels.Begin(); pixel != pixels.End(); ++pixel)
        pixel->alpha = static_cast<unsigned char>(pixel->alpha * most / 255);
}

} // namespace ORVEX
