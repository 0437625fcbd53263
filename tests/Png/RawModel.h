// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_PNG_RAWMODEL_H
#define ORVEX_TESTS_PNG_RAWMODEL_H

#include <ORVEX/Png.h>

#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

/// What ZrRawPngDecoder has to make of the image data, in its plainest form: every byte is
/// unfiltered and every pixel written the moment it is complete.
class RawModel {
public:
    /// Header, palette and transparency are those of `decoder`; it is not run.
    explicit RawModel(const ZrRawPngDecoder& decoder) : d(decoder)
    {
        w = d.hdr.width;
        h = d.hdr.height;
        raster.resize(std::size_t(w) * h * 4);
        line.resize(std::size_t(w) * 8 + 8);
        above = line;
        while (Interlaced() && pass <= 7 && Empty())
            ++pass;
    }

    std::vector<unsigned char> raster;
    std::uint32_t filter = 0;
    std::int32_t x = -1;
    std::int32_t y = 0;
    std::int32_t pass = 1;
    std::uint32_t red = 0, green = 0, blue = 0;
    std::uint32_t inLineBytePos = 0, inPixelBytePos = 0;

    int Output(unsigned char byte)
    {
        if (d.hdr.interlaceMethod > 1 || w == 0)
            return 0;
        if (Interlaced() ? pass > 7 || h == 0 : std::uint32_t(y) >= h)
            return 0;
        if (x == -1) {
            filter = byte;
            x = 0;
            inLineBytePos = inPixelBytePos = 0;
            return 1;
        }
        line[inLineBytePos + inPixelBytePos] = byte;
        if (++inPixelBytePos < Bytes())
            return 1;
        Unfilter();
        Pixels();
        inLineBytePos += Bytes();
        inPixelBytePos = 0;
        if (std::uint32_t(x) >= Columns())
            EndLine();
        return 1;
    }

private:
    bool Interlaced() const { return d.hdr.interlaceMethod == 1; }

    std::uint32_t Columns() const
    {
        if (!Interlaced())
            return w;
        const std::uint32_t columns[8] = {0,           (w + 7) / 8, (w + 3) / 8, (w + 3) / 4,
                                          (w + 1) / 4, (w + 1) / 2, w / 2,       w};
        return columns[pass];
    }

    std::uint32_t Rows() const
    {
        if (!Interlaced())
            return h;
        const std::uint32_t rows[8] = {0,           (h + 7) / 8, (h + 7) / 8, (h + 3) / 8,
                                       (h + 3) / 4, (h + 1) / 4, (h + 1) / 2, h / 2};
        return rows[pass];
    }

    bool Empty() const { return Columns() == 0 || Rows() == 0; }

    // Bytes that are collected before they are unfiltered together.
    std::uint32_t Bytes() const
    {
        const std::uint32_t samples = d.hdr.colorType == 2   ? 3
                                      : d.hdr.colorType == 4 ? 2
                                      : d.hdr.colorType == 6 ? 4
                                                             : 1;
        return d.hdr.bitDepth < 8 ? 1 : samples * d.hdr.bitDepth / 8;
    }

    void Unfilter()
    {
        const std::uint32_t n = Bytes();
        for (std::uint32_t i = inLineBytePos; i < inLineBytePos + n; ++i) {
            const int left = x > 0 ? line[i - n] : 0;
            const int up = y > 0 ? above[i] : 0;
            const int corner = x > 0 && y > 0 ? above[i - n] : 0;
            int add = 0;
            if (filter == 1)
                add = left;
            else if (filter == 2)
                add = up;
            else if (filter == 3)
                add = (left + up) / 2;
            else if (filter == 4) {
                const int guess = left + up - corner;
                add = left;
                if (std::abs(guess - up) < std::abs(guess - add))
                    add = up;
                if (std::abs(guess - corner) < std::abs(guess - add))
                    add = corner;
            }
            line[i] = static_cast<unsigned char>(line[i] + add);
        }
    }

    // Where pixel x of the line goes.
    unsigned char* Place()
    {
        std::uint32_t column = static_cast<std::uint32_t>(x);
        std::uint32_t row = static_cast<std::uint32_t>(y);
        if (Interlaced()) {
            const std::uint32_t dx[8] = {0, 8, 8, 4, 4, 2, 2, 1}, x0[8] = {0, 0, 4, 0, 2, 0, 1, 0};
            const std::uint32_t dy[8] = {0, 8, 8, 8, 4, 4, 2, 2}, y0[8] = {0, 0, 0, 4, 0, 2, 0, 1};
            column = column * dx[pass] + x0[pass];
            row = row * dy[pass] + y0[pass];
        }
        return raster.data() + (std::size_t(row) * w + column) * 4;
    }

    void Put(int r, int g, int b, int a)
    {
        unsigned char* const p = Place();
        p[0] = static_cast<unsigned char>(r);
        p[1] = static_cast<unsigned char>(g);
        p[2] = static_cast<unsigned char>(b);
        p[3] = static_cast<unsigned char>(a);
    }

    bool Any(std::uint32_t v) const
    {
        return v == d.trns.col[0] || v == d.trns.col[1] || v == d.trns.col[2];
    }

    bool All(std::uint32_t a, std::uint32_t b, std::uint32_t c) const
    {
        return a == d.trns.col[0] && b == d.trns.col[1] && c == d.trns.col[2];
    }

    void Indexed(std::uint32_t i)
    {
        if (i < d.plt.nEntry)
            Put(d.plt.entry[3 * i], d.plt.entry[3 * i + 1], d.plt.entry[3 * i + 2],
                Any(i) ? 0 : 255);
    }

    void Pixels()
    {
        const unsigned char* const p = &line[inLineBytePos];
        switch (d.hdr.colorType * 100 + d.hdr.bitDepth) {
        case 1:
            for (int bit = 7; bit >= 0 && std::uint32_t(x) < Columns(); --bit, ++x) {
                const int grey = (*p >> bit & 1) * 255;
                if (!Interlaced())
                    Put(grey, grey, grey, 0);
            }
            return;
        case 304:
            for (int shift = 4; shift >= 0 && std::uint32_t(x) < Columns(); shift -= 4, ++x)
                if (!Interlaced())
                    Indexed(*p >> shift & 15u);
            return;
        case 8:
            Put(*p, *p, *p, Any(*p) ? 0 : 255);
            break;
        case 208:
            Put(p[0], p[1], p[2], All(p[0], p[1], p[2]) ? 0 : 255);
            break;
        case 216:
            red = p[0] * 256u + p[1];
            green = p[2] * 256u + p[3];
            blue = p[4] * 256u + p[5];
            if (Interlaced())
                Put(p[0], p[2], p[4], All(p[0], p[1], p[2]) ? 0 : 255);
            else
                Put(p[0], p[2], p[4], All(red, green, blue) ? 0 : 255);
            break;
        case 308:
            Indexed(*p);
            break;
        case 408:
            Put(p[0], p[0], p[0], p[1]);
            break;
        case 608:
            Put(p[0], p[1], p[2], p[3]);
            break;
        default:
            std::abort();
        }
        ++x;
    }

    void EndLine()
    {
        x = -1;
        ++y;
        std::swap(line, above);
        if (!Interlaced() || std::uint32_t(y) < Rows())
            return;
        y = 0;
        do
            ++pass;
        while (pass <= 7 && Empty());
    }

    const ZrRawPngDecoder& d;
    std::uint32_t w = 0;
    std::uint32_t h = 0;
    std::vector<unsigned char> line;
    std::vector<unsigned char> above;
};

#endif
