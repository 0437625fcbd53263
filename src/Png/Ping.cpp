// SPDX-License-Identifier: MIT
#include <ORVEX/Ping.h>

#include <ORVEX/Png.h>

#include "Pixel.h"

namespace ORVEX {

bool Ping::Load(const BufferBase& file)
{
    Clear();
    if (file.Empty())
        return false;
    ZrRawPngDecoder decoder;
    if (decoder.Decode(file) != 1)
        return false;
    ResizeNoCopy(Point(static_cast<std::int32_t>(decoder.outWidth),
                       static_cast<std::int32_t>(decoder.outHeight)));
    // R, G, B, A in the raster, A, R, G, B in the bitmap.
    const unsigned char* from = decoder.rgba;
    for (Color* to = Pixels().Begin(); to != Pixels().End(); ++to, from += 4)
        Internal::RotatePixel(to, from);
    return true;
}

} // namespace ORVEX
