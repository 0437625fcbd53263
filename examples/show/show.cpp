// SPDX-License-Identifier: MIT
// Shows a PNG picture on a Linux frame buffer, or in a terminal that knows 24-bit colours.
//
//   show PICTURE.png [--device /dev/fb0] [--format rgb565|xrgb8888] [--size WxH] [--terminal]
//
// Size and format are the device's own. Given here, the device may be a plain file, which then
// holds the rows of pixels one after the other.
#include <ORVEX/Err.h>
#include <ORVEX/File.h>
#include <ORVEX/Ping.h>

#include "common/Terminal.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <unistd.h>

using ORVEX::Bitmap;
using ORVEX::Buffer;
using ORVEX::Color;
using ORVEX::FileBuffer;
using ORVEX::Ping;
using ORVEX::Point;
using ORVEX::Rect;
using ORVEX::String;

namespace {

const int MaxSide = 16384; // pixels

// How pixels lie on the screen, and where.
struct Screen {
    Point size;
    unsigned int bytesPerPixel = 0; // 2: rgb565, 4: xrgb8888
    unsigned long stride = 0;       // bytes from row to row
    unsigned long offset = 0;       // of the first pixel that is seen, in bytes
};

struct Request {
    const char* picture = nullptr;
    const char* device = "/dev/fb0";
    Point size;                     // (0, 0): the device's own
    unsigned int bytesPerPixel = 0; // 0: the device's own
    bool terminal = false;
};

bool ReadFormat(const char* name, Request& request)
{
    if (std::strcmp(name, "rgb565") == 0)
        request.bytesPerPixel = 2;
    else if (std::strcmp(name, "xrgb8888") == 0)
        request.bytesPerPixel = 4;
    else
        return false;
    return true;
}

bool ReadSize(const char* text, Point& size)
{
    int width;
    int height;
    char more;
    if (std::sscanf(text, "%5dx%5d%c", &width, &height, &more) != 2)
        return false;
    size = Point(width, height);
    return width > 0 && width <= MaxSide && height > 0 && height <= MaxSide;
}

bool ReadArguments(int argc, char** argv, Request& request)
{
    for (int i = 1; i < argc; ++i) {
        const char* const word = argv[i];
        const char* const value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (std::strcmp(word, "--terminal") == 0) {
            request.terminal = true;
        } else if (std::strcmp(word, "--device") == 0 && value) {
            request.device = value;
            ++i;
        } else if (std::strcmp(word, "--format") == 0 && value) {
            if (!ReadFormat(value, request))
                return false;
            ++i;
        } else if (std::strcmp(word, "--size") == 0 && value) {
            if (!ReadSize(value, request.size))
                return false;
            ++i;
        } else if (word[0] != '-' && !request.picture) {
            request.picture = word;
        } else {
            return false;
        }
    }
    // A file that stands in for the device needs both; the device itself neither.
    return request.picture && (request.size.x == 0) == (request.bytesPerPixel == 0);
}

// What the device says of itself; false when it is none, or of another kind.
bool AskDevice(int device, Screen& screen)
{
    fb_var_screeninfo variable = {};
    fb_fix_screeninfo fixed = {};
    if (ioctl(device, FBIOGET_VSCREENINFO, &variable) != 0 ||
        ioctl(device, FBIOGET_FSCREENINFO, &fixed) != 0)
        return false;
    const bool rgb565 = variable.bits_per_pixel == 16 && variable.red.offset == 11 &&
                        variable.green.offset == 5 && variable.blue.offset == 0;
    const bool xrgb8888 = variable.bits_per_pixel == 32 && variable.red.offset == 16 &&
                          variable.green.offset == 8 && variable.blue.offset == 0;
    if ((!rgb565 && !xrgb8888) || variable.xres - 1 >= MaxSide || variable.yres - 1 >= MaxSide)
        return false;
    screen.size = Point(static_cast<int>(variable.xres), static_cast<int>(variable.yres));
    screen.bytesPerPixel = rgb565 ? 2 : 4;
    screen.stride = fixed.line_length;
    screen.offset = static_cast<unsigned long>(variable.yoffset) * fixed.line_length +
                    static_cast<unsigned long>(variable.xoffset) * screen.bytesPerPixel;
    return true;
}

// The picture as large as it fits with its proportions kept, in the middle of a black screen.
void Fit(const Bitmap& picture, const Point& size, Bitmap& screen)
{
    const std::int64_t width = picture.GetSize().x;
    const std::int64_t height = picture.GetSize().y;
    Point fitted = size;
    if (width * size.y > height * size.x)
        fitted.y = static_cast<std::int32_t>(std::max<std::int64_t>(height * size.x / width, 1));
    else
        fitted.x = static_cast<std::int32_t>(std::max<std::int64_t>(width * size.y / height, 1));
    Bitmap scaled;
    scaled.Scaling(picture, fitted);
    screen.ResizeNoCopy(size);
    screen.Fill(Color(0, 0, 0));
    screen.Overlap(scaled, Point((size.x - fitted.x) / 2, (size.y - fitted.y) / 2),
                   Rect(0, 0, fitted.x, fitted.y));
}

// One row as the device holds it, the least significant byte first.
void ConvertRow(const Bitmap& screen, int y, unsigned int bytesPerPixel, Buffer& row)
{
    unsigned char* to = row.Begin();
    for (int x = 0; x < screen.GetSize().x; ++x) {
        const Color& pixel = screen.GetPixel(Point(x, y));
        const unsigned int red = pixel.red;
        const unsigned int green = pixel.green;
        const unsigned int blue = pixel.blue;
        const unsigned int value = bytesPerPixel == 2 ? red >> 3 << 11 | green >> 2 << 5 | blue >> 3
                                                      : red << 16 | green << 8 | blue;
        for (unsigned int i = 0; i < bytesPerPixel; ++i)
            *to++ = static_cast<unsigned char>(value >> 8 * i);
    }
}

bool Write(int device, const Bitmap& picture, const Screen& screen)
{
    Bitmap fitted;
    Fit(picture, screen.size, fitted);
    Buffer row;
    row.ResizeNoCopy(static_cast<unsigned long>(screen.size.x) * screen.bytesPerPixel);
    for (int y = 0; y < screen.size.y; ++y) {
        ConvertRow(fitted, y, screen.bytesPerPixel, row);
        const unsigned long at = screen.offset + static_cast<unsigned long>(y) * screen.stride;
        if (pwrite(device, row.Begin(), row.Length(), static_cast<off_t>(at)) !=
            static_cast<ssize_t>(row.Length()))
            return false;
    }
    return true;
}

bool ShowOnDevice(const Bitmap& picture, const Request& request)
{
    const bool given = request.size.x != 0;
    const int device = open(request.device, (given ? O_CREAT : 0) | O_RDWR | O_CLOEXEC, 0666);
    if (device < 0) {
        std::perror(request.device);
        return false;
    }
    Screen screen;
    screen.size = request.size;
    screen.bytesPerPixel = request.bytesPerPixel;
    screen.stride = static_cast<unsigned long>(request.size.x) * request.bytesPerPixel;
    bool shown = false;
    if (!given && !AskDevice(device, screen))
        std::fprintf(stderr, "%s: no frame buffer of a known format\n", request.device);
    else if (!(shown = Write(device, picture, screen)))
        std::perror(request.device);
    close(device);
    return shown;
}

bool Show(const Request& request)
{
    FileBuffer file;
    if (!file.Load(String::ChangeCharStr(request.picture))) {
        std::perror(request.picture);
        return false;
    }
    Ping picture;
    if (!picture.Load(file) || picture.Empty()) {
        std::fprintf(stderr, "%s: not a picture that can be shown; png-doctor says why\n",
                     request.picture);
        return false;
    }
    if (!request.terminal)
        return ShowOnDevice(picture, request);
    PrintPicture(picture);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    Request request;
    if (!ReadArguments(argc, argv, request)) {
        std::fputs("usage: show PICTURE.png [--device /dev/fb0] [--format rgb565|xrgb8888]"
                   " [--size WxH] [--terminal]\n",
                   stderr);
        return 2;
    }
    try {
        return Show(request) ? 0 : 1;
    } catch (const ORVEX::Err&) { // it has printed itself
    } catch (const std::bad_alloc&) {
        std::fputs("no memory for the picture\n", stderr);
    }
    return 1;
}
