// SPDX-License-Identifier: MIT
#ifndef ORVEX_EXAMPLES_PNGFILE_H
#define ORVEX_EXAMPLES_PNGFILE_H

#include <ORVEX/Bitmap.h>
#include <ORVEX/String.h>

/// Writes a picture as a PNG file, by libpng.
///
/// The bytes go to a file beside it, which takes the name over when it is complete: whoever looks
/// sees the old file or the new one. Where the name stands for something else than a file (a
/// device, a pipe), the bytes go there.
/// @param picture  not empty
/// @param reason   receives why it could not be written
/// @return true on success
bool WritePng(const ORVEX::Bitmap& picture, const char* path, ORVEX::String& reason);

#endif
