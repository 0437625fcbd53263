// SPDX-License-Identifier: MIT
#include "PngFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

using ORVEX::Bitmap;
using ORVEX::Color;
using ORVEX::String;

namespace {

static_assert(sizeof(Color) == 4, "libpng reads the pixels as they lie: A, R, G, B");

// Writes the picture and closes the stream.
bool Write(const Bitmap& picture, std::FILE* stream, String& reason)
{
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.GetSize().x);
    image.height = static_cast<png_uint_32>(picture.GetSize().y);
    image.format = PNG_FORMAT_ARGB;
    if (!png_image_write_to_stdio(&image, stream, 0, picture.Pixels().Begin(), 0, nullptr)) {
        reason.UpdateCharStr(image.message);
        std::fclose(stream);
        return false;
    }
    const bool flushed = std::fflush(stream) == 0;
    const bool closed = std::fclose(stream) == 0;
    if (!flushed || !closed)
        reason.UpdateCharStr(std::strerror(errno));
    return flushed && closed;
}

bool WriteInto(const Bitmap& picture, const char* path, String& reason)
{
    std::FILE* const stream = std::fopen(path, "wb");
    if (stream == nullptr) {
        reason.UpdateCharStr(std::strerror(errno));
        return false;
    }
    return Write(picture, stream, reason);
}

bool WriteBeside(const Bitmap& picture, const char* path, String& reason)
{
    char name[4096];
    if (std::snprintf(name, sizeof name, "%s.XXXXXX", path) >= static_cast<int>(sizeof name)) {
        reason.UpdateCharStr("the name is too long");
        return false;
    }
    const int descriptor = mkstemp(name);
    std::FILE* const stream = descriptor < 0 ? nullptr : fdopen(descriptor, "wb");
    if (stream == nullptr) {
        reason.UpdateCharStr(std::strerror(errno));
        return false;
    }
    const mode_t mask = umask(0); // mkstemp keeps others out; the result is an ordinary file
    umask(mask);
    fchmod(descriptor, 0666 & ~mask);
    if (!Write(picture, stream, reason)) {
        unlink(name);
        return false;
    }
    if (std::rename(name, path) != 0) {
        reason.UpdateCharStr(std::strerror(errno));
        unlink(name);
        return false;
    }
    return true;
}

} // namespace

bool WritePng(const Bitmap& picture, const char* path, String& reason)
{
    struct stat status;
    if (stat(path, &status) == 0 && !S_ISREG(status.st_mode))
        return WriteInto(picture, path, reason);
    // A link stays, and what it leads to is replaced.
    char* const real = realpath(path, nullptr);
    const bool written = WriteBeside(picture, real ? real : path, reason);
    std::free(real);
    return written;
}
