// SPDX-License-Identifier: MIT
#include <ORVEX/Png.h>

#include "BigEndian.h"

void ZrPngHeader::Decode(unsigned char* data)
{
    width = ORVEX::Internal::BigEndian32(data);
    height = ORVEX::Internal::BigEndian32(data + 4);
    bitDepth = data[8];
    colorType = data[9];
    compressionMethod = data[10];
    filterMethod = data[11];
    interlaceMethod = data[12];
}
