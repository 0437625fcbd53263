// SPDX-License-Identifier: MIT
// Makes the reference's pictures with the library itself.   DocsPictures FOLDER
#include <ORVEX/ORVEX.h>

#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <string>

using ORVEX::Bitmap;
using ORVEX::Color;
using ORVEX::Point;
using ORVEX::Rect;

namespace {

Point At(int x, int y)
{
    Point point;
    point.x = x;
    point.y = y;
    return point;
}

Rect Whole(const Bitmap& bitmap)
{
    Rect rect;
    rect.x = rect.y = 0;
    rect.width = bitmap.GetSize().x;
    rect.height = bitmap.GetSize().y;
    return rect;
}

void Blend(Bitmap& onto, const Bitmap& picture, const Point& at)
{
    onto.Overlap(picture, at, Whole(picture));
}

Bitmap Plain(int width, int height, const Color& color)
{
    Bitmap bitmap;
    bitmap.ResizeNoCopy(At(width, height));
    bitmap.Fill(color);
    return bitmap;
}

/// The grey squares that stand for "nothing here".
Bitmap Squares(int width, int height)
{
    Bitmap bitmap = Plain(width, height, Color(255, 255, 255));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if ((x / 8 + y / 8) % 2)
                bitmap.SetPixel(At(x, y), Color(214, 214, 214));
    return bitmap;
}

/// A disc on a gradient: enough detail to see what becomes of it.
Bitmap Subject(int side)
{
    Bitmap bitmap = Plain(side, side, Color());
    const int middle = side / 2, radius = side * 2 / 5;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            const int dx = x - middle, dy = y - middle;
            const bool inside = dx * dx + dy * dy < radius * radius;
            const unsigned char ramp = static_cast<unsigned char>(255 * x / side);
            bitmap.SetPixel(At(x, y), inside ? Color(255, ramp, 40)
                                             : Color(20, static_cast<unsigned char>(90 + ramp / 2),
                                                     static_cast<unsigned char>(200 - ramp / 3)));
        }
    return bitmap;
}

void Save(const Bitmap& bitmap, const std::string& path)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(bitmap.GetSize().x);
    image.height = static_cast<png_uint_32>(bitmap.GetSize().y);
    image.format = PNG_FORMAT_ARGB; // the order in which a bitmap holds its channels
    if (!png_image_write_to_file(&image, path.c_str(), 0, bitmap.Pixels().Begin(), 0, nullptr)) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(), image.message);
        std::exit(1);
    }
}

/// Red of every alpha from left to right over blue of every alpha from top to bottom.
Bitmap Blending()
{
    Bitmap mixed = Plain(256, 256, Color());
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            Color pixel(30, 60, 220, static_cast<unsigned char>(y));
            mixed.SetPixel(At(x, y),
                           pixel.Overlap(Color(230, 40, 30, static_cast<unsigned char>(x))));
        }
    Bitmap result = Squares(256, 256);
    Blend(result, mixed, At(0, 0));
    return result;
}

Bitmap Clipping()
{
    Bitmap result = Plain(320, 200, Color(250, 250, 245));
    Bitmap frame = Plain(240, 140, Color(225, 230, 240));
    const Bitmap subject = Subject(90);
    for (const Point& at : {At(-30, -30), At(180, -30), At(-30, 80), At(180, 80), At(75, 25)})
        Blend(frame, subject, at);
    Blend(result, frame, At(40, 30));
    return result;
}

Bitmap Scaling()
{
    Bitmap result = Plain(470, 220, Color(250, 250, 245));
    const Bitmap subject = Subject(100);
    Blend(result, subject, At(10, 60));
    int x = 130;
    for (const Point& size : {At(200, 200), At(50, 50), At(24, 24), At(12, 12)}) {
        Bitmap scaled;
        scaled.Scaling(subject, size);
        Blend(result, scaled, At(x, 110 - size.y / 2));
        x += size.x + 12;
    }
    return result;
}

Bitmap Text(const char* fontFile)
{
    Bitmap result = Plain(560, 150, Color(250, 250, 245));
    int y = 12;
    for (const bool mono : {false, true}) {
        ORVEX::Font font;
        const bool opened = font.Open(ORVEX::String::ChangeCharStr(fontFile), 0, mono);
        const ORVEX::String line =
            ORVEX::String::ChangeCharStr("Kerning: AVATAR \xCE\xB1\xCE\xB2\xCE\xB3 "
                                         "\xD0\xB0\xD0\xB1\xD0\xB2");
        if (!opened || font.DrawText(line, 34, Color(20, 40, 90)) != 0 || font.Empty()) {
            std::fprintf(stderr, "%s cannot be used\n", fontFile);
            std::exit(1);
        }
        Blend(result, font, At(14, y));
        y += font.GetSize().y + 20;
    }
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: DocsPictures FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1];
    Save(Blending(), folder + "/blending.png");
    Save(Clipping(), folder + "/clipping.png");
    Save(Scaling(), folder + "/scaling.png");
    Save(Text("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"), folder + "/text.png");
    return 0;
}
