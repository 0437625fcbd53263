// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_PNG_LIBPNG_H
#define ORVEX_TESTS_PNG_LIBPNG_H

#include <cstdint>
#include <vector>

/// A picture as its PNG file has it: rows of packed samples, before any conversion.
struct Picture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int depth = 8;
    int colorType = 6;
    bool interlaced = false;
    std::vector<std::uint8_t> palette;      ///< red, green, blue of each entry
    std::vector<std::uint8_t> transparency; ///< the tRNS chunk's bytes
    std::vector<std::vector<std::uint8_t>> rows;

    unsigned BitsPerPixel() const;
    unsigned Sample(std::uint32_t x, std::uint32_t y, unsigned channel) const;
};

/// How libpng packs a picture.
struct Packing {
    int filters = 0xf8; ///< libpng's flags; all of them: it chooses for each line
    int level = 6;
    int strategy = 0;
};

/// The PNG file of `picture`, written by libpng.
std::vector<std::uint8_t> WriteWithLibPng(const Picture& picture, const Packing& packing = {});

/// The picture in `file`, read by libpng without conversions.
/// @return whether libpng could read it
bool ReadWithLibPng(const std::vector<std::uint8_t>& file, Picture& picture);

#endif
