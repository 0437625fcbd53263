// SPDX-License-Identifier: MIT
#ifndef ORVEX_BENCH_PICTURES_H
#define ORVEX_BENCH_PICTURES_H

// Deterministic pictures, the same on every machine, and libpng, which makes PNG files of them
// (zlib level 6, adaptive filters) and reads them back.

#include <png.h>

#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

struct Picture {
    std::uint32_t width, height;
    int colorType; // as libpng counts them
    int bitDepth;
    std::vector<unsigned char> rows; // without padding; 16-bit samples big-endian
    std::vector<png_color> palette = {};
};

namespace pictures {

/// A small generator of the same numbers everywhere.
class Noise {
public:
    explicit Noise(std::uint32_t seed) : state(seed) {}
    std::uint32_t operator()()
    {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    }

private:
    std::uint32_t state;
};

inline unsigned char Byte(double value)
{
    return static_cast<unsigned char>(value < 0 ? 0 : value > 255 ? 255 : value);
}

/// Soft shapes with grain, as a camera gives them: `channel` 0 to 2 are colours, 3 is alpha.
inline unsigned char Photo(std::uint32_t x, std::uint32_t y, int channel, Noise& noise)
{
    if (channel == 3)
        return Byte(200 + 55 * std::sin(x * 0.01));
    const double wave =
        std::sin(x * 0.013 + channel) + std::cos(y * 0.017 - channel) + std::sin((x + y) * 0.031);
    return Byte(128 + 38 * wave + (noise() % 13) - 6);
}

/// Panels, lines and rows of "letters" in few colours, as a user interface has them: an index
/// from 0 to 15.
inline unsigned char Flat(std::uint32_t x, std::uint32_t y)
{
    if (y < 40)
        return x % 160 < 150 && y > 5 && y < 35 ? 2 : 1;
    if (x < 120)
        return y % 48 < 2 ? 4 : 3;
    const bool inLine = y % 24 > 7 && y % 24 < 18;
    const std::uint32_t letter = (x / 9 * 2654435761u + y / 24 * 40503u) >> 13;
    if (inLine && letter % 5 != 0 && (x % 9 < 2 || (y % 24 == 8 + letter % 9 && x % 9 < 6)))
        return static_cast<unsigned char>(5 + letter % 3);
    return y / 120 % 2 ? 0 : 8;
}

inline png_color FlatColor(unsigned char index)
{
    const png_color colors[9] = {{250, 250, 250}, {40, 60, 90},    {70, 110, 170},
                                 {230, 234, 240}, {200, 205, 215}, {20, 20, 20},
                                 {160, 30, 30},   {30, 90, 160},   {240, 240, 230}};
    return colors[index];
}

inline Picture PhotoPicture(std::uint32_t width, std::uint32_t height, int channels, int colorType,
                            int bitDepth = 8)
{
    Picture picture = {width, height, colorType, bitDepth, {}};
    Noise noise(7);
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x)
            for (int channel = 0; channel < channels; ++channel) {
                const bool alpha = channel == channels - 1 && channels % 2 == 0;
                picture.rows.push_back(Photo(x, y, alpha ? 3 : channel, noise));
                if (bitDepth == 16)
                    picture.rows.push_back(static_cast<unsigned char>(noise() & 0xC0));
            }
    return picture;
}

inline Picture FlatPicture(std::uint32_t width, std::uint32_t height, bool palette)
{
    Picture picture = {
        width, height, palette ? PNG_COLOR_TYPE_PALETTE : PNG_COLOR_TYPE_RGB_ALPHA, 8, {}};
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x) {
            const unsigned char index = Flat(x, y);
            if (palette) {
                picture.rows.push_back(index);
                continue;
            }
            const png_color color = FlatColor(index);
            picture.rows.insert(picture.rows.end(), {color.red, color.green, color.blue, 255});
        }
    if (palette)
        for (unsigned char index = 0; index < 9; ++index)
            picture.palette.push_back(FlatColor(index));
    return picture;
}

/// A shaded disc with a soft edge.
inline Picture IconPicture()
{
    Picture picture = {48, 48, PNG_COLOR_TYPE_RGB_ALPHA, 8, {}};
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 48; ++x) {
            const double far = std::hypot(x - 23.5, y - 23.5);
            picture.rows.insert(picture.rows.end(), {Byte(240 - far * 4), Byte(120 + y * 2.0),
                                                     Byte(60 + x * 2.0), Byte((22 - far) * 128)});
        }
    return picture;
}

inline void Append(png_structp png, png_bytep bytes, png_size_t count)
{
    auto* out = static_cast<std::vector<unsigned char>*>(png_get_io_ptr(png));
    out->insert(out->end(), bytes, bytes + count);
}

/// The picture as a PNG file.
inline std::vector<unsigned char> PngFile(const Picture& picture, bool interlaced = false)
{
    std::vector<unsigned char> file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png)))
        std::abort();
    png_set_write_fn(png, &file, Append, nullptr);
    png_set_IHDR(png, info, picture.width, picture.height, picture.bitDepth, picture.colorType,
                 interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_BASE,
                 PNG_FILTER_TYPE_BASE);
    if (!picture.palette.empty())
        png_set_PLTE(png, info, picture.palette.data(), static_cast<int>(picture.palette.size()));
    png_set_compression_level(png, 6);
    png_set_filter(png, 0, PNG_ALL_FILTERS);
    std::vector<png_bytep> rows;
    const std::size_t stride = picture.rows.size() / picture.height;
    for (std::uint32_t y = 0; y < picture.height; ++y)
        rows.push_back(const_cast<png_bytep>(picture.rows.data()) + y * stride);
    png_set_rows(png, info, rows.data());
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_destroy_write_struct(&png, &info);
    return file;
}

inline void Take(png_structp png, png_bytep bytes, png_size_t count)
{
    auto* const at = static_cast<const unsigned char**>(png_get_io_ptr(png));
    std::memcpy(bytes, *at, count);
    *at += count;
}

/// A PNG file's pixels by libpng: 8-bit R, G, B, A.
inline std::vector<unsigned char> PixelsByLibpng(const std::vector<unsigned char>& file)
{
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png)))
        std::abort();
    const unsigned char* at = file.data();
    png_set_read_fn(png, &at, Take);
    png_read_info(png, info);
    png_set_expand(png);
    png_set_strip_16(png);
    png_set_gray_to_rgb(png);
    png_set_add_alpha(png, 255, PNG_FILLER_AFTER);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    const std::size_t stride = png_get_rowbytes(png, info);
    const std::uint32_t height = png_get_image_height(png, info);
    std::vector<unsigned char> pixels(stride * height);
    std::vector<png_bytep> rows(height);
    for (std::uint32_t y = 0; y < height; ++y)
        rows[y] = pixels.data() + y * stride;
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return pixels;
}

} // namespace pictures

#endif
