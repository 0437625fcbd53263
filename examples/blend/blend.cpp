// SPDX-License-Identifier: MIT
// Draws, blends, clips and scales small pictures, and prints them as characters: the brighter the
// pixel, the denser the character; transparent ones are dots.
#include <ORVEX/Bitmap.h>

#include <cstdio>

using ORVEX::Bitmap;
using ORVEX::Color;
using ORVEX::Point;
using ORVEX::Rect;

namespace {

const Color White(255, 255, 255);
const Color Black(0, 0, 0);
const Color HalfWhite(255, 255, 255, 128);

void Print(const char* title, const Bitmap& picture)
{
    std::puts(title);
    for (int y = 0; y < picture.GetSize().y; ++y) {
        for (int x = 0; x < picture.GetSize().x; ++x) {
            const Color& pixel = picture.GetPixel(Point(x, y));
            std::putchar(pixel.alpha == 0 ? '.' : " -+*#"[(pixel.red + 31) / 64]);
        }
        std::puts("|");
    }
}

// A disc of `size` pixels across on a transparent ground.
void DrawDisc(Bitmap& picture, int size, const Color& color)
{
    picture.ResizeNoCopy(Point(size, size)); // a new store is transparent
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            const int dx = 2 * x + 1 - size;
            const int dy = 2 * y + 1 - size;
            if (dx * dx + dy * dy <= size * size)
                picture.SetPixel(Point(x, y), color);
        }
}

} // namespace

int main()
{
    Bitmap disc;
    DrawDisc(disc, 9, White);
    Print("a disc", disc);

    Bitmap ground;
    ground.ResizeNoCopy(Point(24, 9));
    ground.Fill(Black);
    const Rect whole(0, 0, 9, 9);
    ground.Overlap(disc, Point(-4, 0), whole); // what lies outside is cut off
    ground.Overlap(disc, Point(8, -3), whole);
    ground.Overlap(disc, Point(18, 4), whole);
    Print("three discs, clipped", ground);

    Bitmap veil;
    DrawDisc(veil, 9, HalfWhite);
    ground.Fill(Black);
    for (int x = 0; x < 15; x += 5)
        ground.Overlap(veil, Point(x, 0), whole); // where they overlap it grows brighter
    Print("three half transparent discs", ground);

    ground.Fill(Black);
    ground.Overlap(disc, Point(2, 2), Rect(0, 4, 9, 5)); // a part of the source
    disc.SetAlphaMax(64);                                // a quarter is left of its alpha
    ground.Overlap(disc, Point(13, 0), whole);
    Print("the lower half, and a faint disc", ground);

    Bitmap scaled;
    scaled.Scaling(ground, Point(12, 4));
    Print("half as large", scaled);
    scaled.Scaling(Point(36, 4));
    Print("and three times as wide", scaled);

    Color mixed(200, 100, 0);
    mixed.Overlap(Color(0, 100, 200, 51)); // a fifth of the new colour
    std::printf("mixed: %d %d %d\n", mixed.red, mixed.green, mixed.blue);
    return 0;
}
