// SPDX-License-Identifier: MIT
// Paints a lake at sunset, pixel by pixel, and writes it as a PNG file with round, transparent
// corners. The picture is the same at every run.
//
//   landscape OUT.png
#include <ORVEX/Bitmap.h>

#include "common/PngFile.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

using ORVEX::Bitmap;
using ORVEX::Color;
using ORVEX::Point;

namespace {

const int Width = 800;
const int Height = 600;
const double Shore = 410; // row of the water line
const double SunX = 545;
const double SunY = 330;

/// Light, each channel from 0 to 1.
struct Light {
    double red, green, blue;
};

Light Mix(const Light& a, const Light& b, double part)
{
    const double t = std::clamp(part, 0.0, 1.0);
    return {a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t,
            a.blue + (b.blue - a.blue) * t};
}

Light Add(const Light& a, const Light& b, double part)
{
    return {a.red + b.red * part, a.green + b.green * part, a.blue + b.blue * part};
}

// 0 before `from`, 1 behind `to`, and a soft step in between.
double Step(double from, double to, double value)
{
    const double t = std::clamp((value - from) / (to - from), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

Light Sky(double x, double y)
{
    static const struct {
        double row;
        Light light;
    } bands[] = {{-20, {0.09, 0.10, 0.27}},
                 {130, {0.29, 0.19, 0.43}},
                 {240, {0.71, 0.33, 0.43}},
                 {330, {0.97, 0.58, 0.38}},
                 {Shore, {1.00, 0.82, 0.55}}};
    Light light = bands[0].light;
    for (int i = 1; i < 5; ++i)
        if (y > bands[i - 1].row)
            light = Mix(bands[i - 1].light, bands[i].light,
                        (y - bands[i - 1].row) / (bands[i].row - bands[i - 1].row));

    // Streaks of cloud that the sun lights from below.
    const double drift = std::sin(x * 0.008 + 1.3) * 14 + std::sin(x * 0.021) * 5;
    const double streak = std::sin((y + drift) * 0.082) * std::sin(x * 0.0065 + y * 0.017 + 0.6);
    const double cloud = Step(0.42, 0.95, streak) * Step(60, 150, y) * (1 - Step(300, 370, y));
    light = Mix(light, {1.0, 0.66, 0.52}, cloud * 0.55);

    const double distance = std::hypot(x - SunX, y - SunY);
    light = Add(light, {0.55, 0.36, 0.14}, std::exp(-distance / 95));
    return Mix(light, {1.0, 0.97, 0.82}, 1 - Step(45, 47, distance));
}

// Row of a ridge; each has its own waves.
double Ridge(int layer, double x)
{
    static const struct {
        double row, height, wave, shift;
    } ridges[] = {{345, 52, 0.0062, 0.4}, {372, 44, 0.0094, 2.1}, {396, 34, 0.0133, 4.4}};
    const double t = x * ridges[layer].wave + ridges[layer].shift;
    const double waves = std::sin(t) + 0.5 * std::sin(2.3 * t + 1) + 0.22 * std::sin(5.9 * t) +
                         0.09 * std::sin(14.3 * t + 2);
    return ridges[layer].row - ridges[layer].height * waves * 0.6;
}

Light Land(double x, double y)
{
    static const Light layers[] = {{0.62, 0.36, 0.44}, {0.38, 0.23, 0.36}, {0.20, 0.13, 0.25}};
    Light light = Sky(x, y);
    for (int layer = 0; layer < 3; ++layer) {
        const double ridge = Ridge(layer, x);
        const Light haze = Mix(layers[layer], {0.95, 0.62, 0.48}, Step(0, 130, y - ridge) * 0.35);
        light = Mix(light, haze, y - ridge + 0.5);
    }
    return light;
}

Light Water(double x, double y)
{
    // The land stands on its head, drawn out and broken by waves that grow towards the viewer.
    const double depth = y - Shore;
    const double wave = std::sin(depth * 1.15 + std::sin(x * 0.021 + depth * 0.13) * 2.2) *
                        std::sin(x * 0.013 - depth * 0.31);
    Light light = Land(x + wave * depth * 0.11, Shore - depth * 1.35 + wave * 3);
    light = Mix(light, {0.13, 0.12, 0.28}, 0.22 + depth / 420);
    const double path = std::exp(-std::pow((x - SunX) / (26 + depth * 0.42), 2));
    return Add(light, {0.62, 0.42, 0.20}, path * Step(0.15, 0.75, wave) * 0.9);
}

// How much of the pixel the near bank and its firs cover.
double Bank(double x, double y)
{
    const double bank = 556 - 34 * std::exp(-std::pow((x - 70) / 190, 2)) -
                        20 * std::exp(-std::pow((x - 770) / 120, 2)) + 7 * std::sin(x * 0.017);
    double cover = std::clamp(y - bank + 0.5, 0.0, 1.0);
    for (int i = 0; i < 17; ++i) {
        // Two groups, with sizes that only look random.
        const double foot = i < 11 ? 8 + i * 19.3 + (i * 37 % 11) : 690 + (i - 11) * 19.7;
        const double tall =
            (i < 11 ? 128 - i * 7.5 : 40 + (i - 11) * 10) * (0.8 + i * 53 % 7 * 0.06);
        const double down = y - (560 - tall - 22);
        if (down < 0 || down > tall + 40)
            continue;
        const double branch = 0.55 + 0.45 * std::fmod(down, tall / 6) / (tall / 6);
        const double reach = 0.5 + down * 0.21 * branch;
        cover = std::max(cover, std::clamp(reach - std::fabs(x - foot) + 0.5, 0.0, 1.0));
    }
    return cover;
}

// How much of the pixel lies inside the round corners.
double Inside(double x, double y)
{
    const double radius = 30;
    const double dx = std::max({radius - x, x - (Width - radius), 0.0});
    const double dy = std::max({radius - y, y - (Height - radius), 0.0});
    return std::clamp(radius - std::hypot(dx, dy) + 0.5, 0.0, 1.0);
}

unsigned char Byte(double part)
{
    return static_cast<unsigned char>(std::clamp(part, 0.0, 1.0) * 255 + 0.5);
}

void Paint(Bitmap& picture)
{
    picture.ResizeNoCopy(Point(Width, Height));
    Color* pixel = picture.Pixels().Begin();
    for (int row = 0; row < Height; ++row) {
        for (int column = 0; column < Width; ++column, ++pixel) {
            const double x = column + 0.5;
            const double y = row + 0.5;
            const Light far = y < Shore ? Land(x, y) : Water(x, y);
            const Light light = Mix(far, {0.05, 0.04, 0.10}, Bank(x, y));
            *pixel =
                Color(Byte(light.red), Byte(light.green), Byte(light.blue), Byte(Inside(x, y)));
        }
    }
    // Stars, where a small generator of random numbers puts them.
    std::uint32_t seed = 7;
    for (int i = 0; i < 70; ++i) {
        const auto next = [&seed] { return (seed = seed * 1664525 + 1013904223) >> 16; };
        const Point at(static_cast<std::int32_t>(next() % Width),
                       static_cast<std::int32_t>(next() % 190));
        const std::uint32_t height = static_cast<std::uint32_t>(200 - at.y);
        const unsigned char shine = static_cast<unsigned char>((60 + next() % 150) * height / 200);
        Color star = picture.GetPixel(at);
        const unsigned char alpha = star.alpha;
        star.Overlap(Color(255, 250, 235, shine));
        star.alpha = alpha;
        picture.SetPixel(at, star);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: landscape OUT.png\n", stderr);
        return 2;
    }
    Bitmap picture;
    Paint(picture);
    ORVEX::String reason;
    if (!WritePng(picture, argv[1], reason)) {
        std::fprintf(stderr, "landscape: %s cannot be written: %s\n", argv[1], reason.CStr());
        return 1;
    }
    return 0;
}
