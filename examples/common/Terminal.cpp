// SPDX-License-Identifier: MIT
#include "Terminal.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

using ORVEX::Bitmap;
using ORVEX::Color;
using ORVEX::Point;
using ORVEX::Rect;

namespace {

// Columns and lines of the terminal.
Point TerminalSize()
{
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0)
        return Point(size.ws_col, size.ws_row);
    const char* const columns = std::getenv("COLUMNS");
    const int count = columns != nullptr ? std::atoi(columns) : 0;
    return Point(count > 0 ? std::min(count, 1000) : 80, 1000);
}

// The largest size with the picture's proportions that fits; two rows of pixels make a line.
Point FittedSize(const Point& picture, const Point& terminal)
{
    std::int64_t width = std::min(picture.x, terminal.x);
    std::int64_t height = width * picture.y / picture.x;
    const std::int64_t rows = std::max(2, 2 * (terminal.y - 1)); // the prompt keeps a line
    if (height > rows) {
        height = rows;
        width = height * picture.x / picture.y;
    }
    return Point(static_cast<std::int32_t>(std::max<std::int64_t>(width, 1)),
                 static_cast<std::int32_t>((std::max<std::int64_t>(height, 2) + 1) / 2 * 2));
}

} // namespace

void PrintPicture(const Bitmap& picture)
{
    Bitmap scaled;
    scaled.Scaling(picture, FittedSize(picture.GetSize(), TerminalSize()));
    const Point size = scaled.GetSize();
    Bitmap screen;
    screen.ResizeNoCopy(size);
    screen.Fill(Color(24, 24, 28));
    screen.Overlap(scaled, Point(0, 0), Rect(0, 0, size.x, size.y));

    for (int y = 0; y < size.y; y += 2) {
        for (int x = 0; x < size.x; ++x) {
            const Color& upper = screen.GetPixel(Point(x, y));
            const Color& lower = screen.GetPixel(Point(x, y + 1));
            std::printf("\033[38;2;%d;%d;%d;48;2;%d;%d;%dm\xE2\x96\x80", upper.red, upper.green,
                        upper.blue, lower.red, lower.green, lower.blue);
        }
        std::puts("\033[0m");
    }
}
