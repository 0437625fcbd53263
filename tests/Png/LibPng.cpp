// SPDX-License-Identifier: MIT
#include "LibPng.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <functional>

namespace {

struct Source {
    const std::vector<std::uint8_t>* file;
    std::size_t position;
};

void Append(png_structp png, png_bytep data, std::size_t size)
{
    auto* const file = static_cast<std::vector<std::uint8_t>*>(png_get_io_ptr(png));
    file->insert(file->end(), data, data + size);
}

void Flush(png_structp) {}

void Take(png_structp png, png_bytep data, std::size_t size)
{
    auto* const source = static_cast<Source*>(png_get_io_ptr(png));
    if (size > source->file->size() - source->position)
        png_error(png, "the file ends");
    std::memcpy(data, source->file->data() + source->position, size);
    source->position += size;
}

void Ignore(png_structp, png_const_charp) {}

// Does `work`; false when libpng gave it up. What the work itself owns is lost then.
bool Guarded(png_structp png, const std::function<void()>& work)
{
    if (setjmp(png_jmpbuf(png)) != 0)
        return false;
    work();
    return true;
}

std::vector<png_bytep> RowPointers(std::vector<std::vector<std::uint8_t>>& rows)
{
    std::vector<png_bytep> pointers;
    for (auto& row : rows)
        pointers.push_back(row.data());
    return pointers;
}

void SetTransparency(png_structp png, png_infop info, const Picture& picture)
{
    const auto& bytes = picture.transparency;
    if (bytes.empty())
        return;
    const auto sample = [&bytes](std::size_t i) {
        return static_cast<png_uint_16>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    };
    png_color_16 key = {};
    if (picture.colorType == 3) {
        png_set_tRNS(png, info, bytes.data(), static_cast<int>(bytes.size()), nullptr);
        return;
    }
    if (picture.colorType == 0) {
        key.gray = sample(0);
    } else {
        key.red = sample(0);
        key.green = sample(1);
        key.blue = sample(2);
    }
    png_set_tRNS(png, info, nullptr, 0, &key);
}

} // namespace

unsigned Picture::BitsPerPixel() const
{
    const int samples = colorType == 2 ? 3 : colorType == 4 ? 2 : colorType == 6 ? 4 : 1;
    return static_cast<unsigned>(samples * depth);
}

unsigned Picture::Sample(std::uint32_t x, std::uint32_t y, unsigned channel) const
{
    const std::size_t bit =
        std::size_t(x) * BitsPerPixel() + channel * static_cast<unsigned>(depth);
    const auto& row = rows[y];
    if (depth == 16)
        return row[bit / 8] * 256u + row[bit / 8 + 1];
    const unsigned up = 8 - static_cast<unsigned>(depth) - static_cast<unsigned>(bit % 8);
    return row[bit / 8] >> up & ((1u << depth) - 1);
}

std::vector<std::uint8_t> WriteWithLibPng(const Picture& picture, const Packing& packing)
{
    std::vector<std::uint8_t> file;
    auto rows = picture.rows;
    auto pointers = RowPointers(rows);
    std::vector<png_color> palette(picture.palette.size() / 3);
    for (std::size_t i = 0; i < palette.size(); ++i)
        palette[i] = {picture.palette[3 * i], picture.palette[3 * i + 1],
                      picture.palette[3 * i + 2]};
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, Ignore);
    png_infop info = png_create_info_struct(png);
    const bool good = Guarded(png, [&] {
        png_set_write_fn(png, &file, Append, Flush);
        png_set_IHDR(png, info, picture.width, picture.height, picture.depth, picture.colorType,
                     picture.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        if (!palette.empty())
            png_set_PLTE(png, info, palette.data(), static_cast<int>(palette.size()));
        SetTransparency(png, info, picture);
        png_set_filter(png, PNG_FILTER_TYPE_BASE, packing.filters);
        png_set_compression_level(png, packing.level);
        png_set_compression_strategy(png, packing.strategy);
        png_write_info(png, info);
        png_write_image(png, pointers.data());
        png_write_end(png, info);
    });
    if (!good)
        file.clear();
    png_destroy_write_struct(&png, &info);
    return file;
}

namespace {

// libpng mixes the pixels of small interlaced rows with what was in the row before.
png_voidp Zeroed(png_structp, png_alloc_size_t size) { return std::calloc(1, size); }
void Release(png_structp, png_voidp block) { std::free(block); }

} // namespace

bool ReadWithLibPng(const std::vector<std::uint8_t>& file, Picture& picture)
{
    Source source{&file, 0};
    png_structp png = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, nullptr, nullptr, Ignore,
                                               nullptr, Zeroed, Release);
    png_infop info = png_create_info_struct(png);
    const bool good = Guarded(png, [&] {
        png_set_read_fn(png, &source, Take);
        png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
        picture.width = png_get_image_width(png, info);
        picture.height = png_get_image_height(png, info);
        picture.depth = png_get_bit_depth(png, info);
        picture.colorType = png_get_color_type(png, info);
        picture.interlaced = png_get_interlace_type(png, info) == PNG_INTERLACE_ADAM7;
        picture.palette.clear();
        picture.transparency.clear();
        picture.rows.clear();
        png_colorp palette;
        int entries;
        if (png_get_PLTE(png, info, &palette, &entries) != 0)
            for (int i = 0; i < entries; ++i)
                for (png_byte sample : {palette[i].red, palette[i].green, palette[i].blue})
                    picture.palette.push_back(sample);
        png_bytep alphas;
        png_color_16p key;
        if (png_get_tRNS(png, info, &alphas, &entries, &key) != 0) {
            if (picture.colorType == 3)
                picture.transparency.assign(alphas, alphas + entries);
            else if (picture.colorType == 0)
                picture.transparency = {static_cast<std::uint8_t>(key->gray >> 8),
                                        static_cast<std::uint8_t>(key->gray & 255)};
            else
                for (png_uint_16 sample : {key->red, key->green, key->blue}) {
                    picture.transparency.push_back(static_cast<std::uint8_t>(sample >> 8));
                    picture.transparency.push_back(static_cast<std::uint8_t>(sample & 255));
                }
        }
        const png_bytepp rows = png_get_rows(png, info);
        const std::size_t rowBytes = png_get_rowbytes(png, info);
        for (std::uint32_t y = 0; y < picture.height; ++y)
            picture.rows.emplace_back(rows[y], rows[y] + rowBytes);
    });
    png_destroy_read_struct(&png, &info, nullptr);
    return good;
}
