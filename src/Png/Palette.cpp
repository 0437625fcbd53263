// SPDX-License-Identifier: MIT
#include <ORVEX/Png.h>

#include "../Allocator/NewArray.h"
#include "BigEndian.h"

#include <algorithm>

using ORVEX::Internal::BigEndian16;

namespace {

const char File[] = "src/Png/Palette";

} // namespace

ZrPngPalette::~ZrPngPalette() { delete[] entry; }

std::int32_t ZrPngPalette::Decode(unsigned int length, unsigned char* data)
{
    if (length % 3 != 0)
        return 0;
    delete[] entry;
    entry = nullptr;
    nEntry = 0;
    if (length == 0)
        return 1;
    entry = ORVEX::NewArray<unsigned char>(length, File, __LINE__, static_cast<int>(length));
    std::copy(data, data + length, entry);
    nEntry = length / 3;
    return 1;
}

std::int32_t ZrPngTransparency::Decode(unsigned int length, unsigned char* data,
                                       unsigned int colorType)
{
    switch (colorType) {
    case 0:
        if (length < 2)
            return 0;
        col[0] = BigEndian16(data);
        return 1;
    case 2:
        if (length < 6)
            return 0;
        for (int sample = 0; sample < 3; ++sample)
            col[sample] = BigEndian16(data + 2 * sample);
        return 1;
    case 3:
        // Only three values are kept; RawDecoder takes them for the indices that are transparent.
        std::copy(data, data + std::min(length, 3u), col);
        return 1;
    default:
        return 0;
    }
}
