// SPDX-License-Identifier: MIT
#ifndef ORVEX_BITMAP_H
#define ORVEX_BITMAP_H

#include <ORVEX/Color.h>
#include <ORVEX/Point.h>
#include <ORVEX/Rect.h>
#include <ORVEX/Vector.h>

#include <cstdint>

namespace ORVEX {

/// A picture in memory: its pixels row after row, the top row first, no padding in between.
///
/// Owns its pixels unless Pixels().Replace lends it others, such as a display's. Copies are deep,
/// Swap is the only hand-over, nothing moves. One thread at a time. No destructor of the class is
/// virtual: derived classes are destroyed as what they are. Positions outside the picture are
/// never an error.
///
/// Invariant: the store holds exactly width * height pixels. Where it does not (a failed request,
/// a size whose product wraps, a store that was exchanged), every operation that goes by
/// coordinates takes the bitmap for empty; Fill and SetAlphaMax work on the pixels there are.
class Bitmap {
public:
    Bitmap() = default; ///< Empty, of size (0, 0); allocates nothing.

    Bitmap(const Bitmap& src); ///< Deep copy; raises as assignment does.

    /// Deep copy of size and pixels; the own store is kept when it has the same number of pixels.
    /// @throws Err  ERR_MEMORY, data the number of pixels; the old ones are gone then, and nothing
    /// is left to draw on
    Bitmap& operator=(const Bitmap& src);

    ~Bitmap() = default; ///< Releases the pixels if they are owned.

    void Fill(const Color& color); ///< Sets every pixel to `color`, without blending.

    bool Empty() const { return pixels.Empty(); } ///< Whether there are no pixels, whatever size.

    /// The point of the picture that is nearest to `point`. Without pixels there is none, and the
    /// result is (-1, -1) for size (0, 0).
    Point NormalizationPoint(const Point& point) const;

    /// The pixel at `point`, or the nearest one on the edge. Of an empty bitmap it is a shared
    /// transparent black that must not be written to.
    const Color& GetPixel(const Point& point) const;

    /// Sets the pixel at `point`; outside the picture the nearest one on the edge is overwritten.
    /// An empty bitmap stays as it is.
    void SetPixel(const Point& point, Color color);

    /// Blends the part `rect` of `src` over this bitmap, each pixel as Color::Overlap does, with
    /// the part's top-left corner at `pos`. The part is clipped to `src` first, and what is left
    /// of it, at `pos`, to this bitmap: a negative rect.x takes columns away at the left and still
    /// puts the first one that is left at pos.x. Any numbers are legal.
    ///
    /// `src` may be this bitmap; pixels are then read as they have become, in the order from left
    /// to right and top to bottom.
    void Overlap(const Bitmap& src, const Point& pos, const Rect& rect);

    void Swap(Bitmap& other); ///< Trades pixels, who owns them, and size; never raises.

    void Clear(); ///< Releases the pixels; the size becomes (0, 0).

    /// Makes the bitmap newSize.x pixels wide and newSize.y high. A store that has as many pixels
    /// already stays as it is, pixels included; a new one is transparent black.
    /// @param newSize  in pixels; below 1 in either direction it clears the bitmap. The number of
    /// pixels is the product modulo 2^32: a size for which that is 0 is kept, without pixels
    /// @throws Err  ERR_MEMORY, data the number of pixels; the old ones are gone then, and nothing
    /// is left to draw on
    void ResizeNoCopy(const Point& newSize);

    /// Multiplies every pixel's alpha by `a` / 255, cut to a whole number: 255 changes nothing,
    /// 0 makes the picture transparent. The colours stay.
    void SetAlphaMax(unsigned char a);

    /// Makes this bitmap `src` at another size. Each pixel is the mean of the block of `src` that
    /// it stands for, each channel by itself and cut to a whole number; where the picture grows,
    /// that is the one pixel that it repeats.
    ///
    /// Column i stands for the columns from width * i / newSize.x on to width * (i + 1) /
    /// newSize.x, whole numbers, the last one excluded, but for one column at least; so do rows.
    /// An empty `src` gives transparent black. `src` may be this bitmap.
    /// @param src      the picture
    /// @param newSize  in pixels; below 1 in either direction it clears the bitmap
    /// @throws Err  ERR_MEMORY, data the number of pixels as ResizeNoCopy does, or, once this
    /// bitmap has its new size, the number of columns or rows plus 1
    void Scaling(const Bitmap& src, const Point& newSize);

    /// Scales this bitmap itself. When it raises, as Scaling from another bitmap does, this bitmap
    /// has not changed.
    void Scaling(const Point& newSize);

    /// Makes this bitmap an opaque white one of the size of `src`, whatever the angle and the
    /// pixels are: rotating is not there yet, and white is the defined result.
    /// @throws Err  as ResizeNoCopy does
    void Rotation(const Bitmap& src, short angle);

    /// Makes this bitmap opaque white, as Rotation of another bitmap does. When it raises, this
    /// bitmap has not changed.
    void Rotation(short angle);

    Point GetSize() const { return size; } ///< Width and height in pixels.

    /// The pixels; pixel (x, y) is element y * width + x. Replace makes the bitmap draw into memory
    /// of the caller; no bitmap may borrow pixels of one that it is assigned or scaled to.
    Vector<Color>& Pixels() { return pixels; }
    const Vector<Color>& Pixels() const { return pixels; } ///< Pixel (x, y) is y * width + x.

private:
    /// The invariant; in 64 bits, where no product wraps.
    bool HoldsItsSize() const
    {
        return !Empty() && static_cast<std::int64_t>(size.x) * size.y ==
                               static_cast<std::int64_t>(pixels.Length());
    }

    Vector<Color> pixels;
    Point size;
};

} // namespace ORVEX

#endif
