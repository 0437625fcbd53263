// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_LINES_H
#define ORVEX_TESTS_LINES_H

#include <ORVEX/Bitmap.h>
#include <ORVEX/Color.h>
#include <ORVEX/String.h>

#include <string>
#include <vector>

/// A picture that tests draw for themselves.
struct Line {
    int width = 0;
    int height = 0;
    std::vector<ORVEX::Color> pixels;

    const ORVEX::Color& At(int x, int y) const
    {
        return pixels.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                         static_cast<std::size_t>(x));
    }
};

inline ORVEX::String Text(const std::string& bytes)
{
    ORVEX::String text;
    text.UpdateCharStr(bytes.data(), bytes.data() + bytes.size());
    return text;
}

inline bool Same(const ORVEX::Color& a, const ORVEX::Color& b)
{
    return a.alpha == b.alpha && a.red == b.red && a.green == b.green && a.blue == b.blue;
}

/// The bitmap's size and pixels.
inline Line LineOf(const ORVEX::Bitmap& bitmap)
{
    Line line;
    line.width = bitmap.GetSize().x;
    line.height = bitmap.GetSize().y;
    line.pixels.assign(bitmap.Pixels().Begin(), bitmap.Pixels().End());
    return line;
}

inline bool operator==(const Line& a, const Line& b)
{
    if (a.width != b.width || a.height != b.height || a.pixels.size() != b.pixels.size())
        return false;
    for (std::size_t i = 0; i < a.pixels.size(); ++i)
        if (!Same(a.pixels[i], b.pixels[i]))
            return false;
    return true;
}

/// The alphas as text, a row a line: '.' for 0, '#' for 255, '+' for what lies between.
inline std::string Shape(const ORVEX::Bitmap& bitmap)
{
    std::string shape;
    for (int y = 0; y < bitmap.GetSize().y; ++y) {
        for (int x = 0; x < bitmap.GetSize().x; ++x) {
            const int alpha = bitmap.GetPixel(ORVEX::Point(x, y)).alpha;
            shape += alpha == 0 ? '.' : alpha == 255 ? '#' : '+';
        }
        shape += '\n';
    }
    return shape;
}

#endif
