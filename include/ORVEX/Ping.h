// SPDX-License-Identifier: MIT
#ifndef ORVEX_PING_H
#define ORVEX_PING_H

#include <ORVEX/Bitmap.h>
#include <ORVEX/Buffer.h>

namespace ORVEX {

/// A bitmap that loads itself from a PNG file in memory (PNG specification, second edition).
class Ping : public Bitmap {
public:
    /// Becomes the image in `file`, the bytes of a whole PNG file; what it held before is gone in
    /// any case.
    ///
    /// Of a format that the decoder does not take (ZrRawPngDecoder says which it takes), the bitmap
    /// is empty, and that is a success. Image data that is damaged or cut short is one as well: the
    /// bitmap has its full size then, and pixels that no data came for are transparent black.
    ///
    /// At the peak the picture is in memory twice, at 4 bytes a pixel each time.
    /// @return true; false when the file is empty, does not start with the PNG signature, or has a
    /// palette whose length is not a multiple of 3; the bitmap is then empty
    /// @throws Err  ERR_MEMORY, data the number of pixels, bytes or elements that were asked for.
    /// The decoder's small objects may raise std::bad_alloc. Nothing is leaked either way.
    bool Load(const BufferBase& file);
};

} // namespace ORVEX

#endif
