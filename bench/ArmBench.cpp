// SPDX-License-Identifier: MIT
// One piece of work, done once or not at all, for a counter of instructions to tell the two runs
// apart.   ArmBench WORK WHO TIMES
#include "Pictures.h"

#include <ORVEX/Bitmap.h>
#include <ORVEX/CRC.h>
#include <ORVEX/Nmpi.h>
#include <ORVEX/Ping.h>

#include <pixman.h>
#include <tommath.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>

namespace {

// What the work leaves, printed in the end so that no compiler leaves the work out.
unsigned long result = 0;

[[noreturn]] void Fail(const std::string& what)
{
    std::fprintf(stderr, "ArmBench: %s\n", what.c_str());
    std::exit(1);
}

void DecodeByLibpng(const std::vector<unsigned char>& file)
{
    const std::vector<unsigned char> pixels = pictures::PixelsByLibpng(file);
    result += pixels[pixels.size() / 2];
}

void DecodeByOrvex(const std::vector<unsigned char>& file)
{
    ORVEX::BufferBase range(const_cast<unsigned char*>(file.data()), file.size());
    ORVEX::Ping ping;
    if (!ping.Load(range) || ping.Empty())
        Fail("the picture does not decode");
    result += ping.GetPixel({5, 5}).red;
}

void Png(const std::string& work, const std::string& who, bool now)
{
    Picture picture;
    if (work == "png-photo-rgba")
        picture = pictures::PhotoPicture(1024, 768, 4, PNG_COLOR_TYPE_RGB_ALPHA);
    else if (work == "png-flat-rgba")
        picture = pictures::FlatPicture(800, 480, false);
    else if (work == "png-flat-palette")
        picture = pictures::FlatPicture(800, 480, true);
    else if (work == "png-icon")
        picture = pictures::IconPicture();
    else if (work == "png-grey")
        picture = pictures::PhotoPicture(640, 480, 1, PNG_COLOR_TYPE_GRAY);
    else
        Fail("no such picture: " + work);
    const std::vector<unsigned char> file = pictures::PngFile(picture);
    if (now && who == "orvex")
        DecodeByOrvex(file);
    else if (now)
        DecodeByLibpng(file);
}

void Crc(const std::string& who, bool now)
{
    std::vector<unsigned char> bytes(1 << 20);
    pictures::Noise noise(3);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(noise());
    if (now && who == "orvex") {
        ORVEX::CRC32 crc;
        crc.Update(ORVEX::BufferBase(bytes.data(), bytes.size()));
        result += crc.Get();
    } else if (now) {
        result += crc32(0, bytes.data(), static_cast<uInt>(bytes.size()));
    }
}

void ModExp(const std::string& who, bool now)
{
    unsigned char base[128], exponent[128], modulus[128];
    pictures::Noise noise(5);
    for (int i = 0; i < 128; ++i) {
        base[i] = static_cast<unsigned char>(noise());
        exponent[i] = static_cast<unsigned char>(noise());
        modulus[i] = static_cast<unsigned char>(noise());
    }
    modulus[0] |= 0x80;
    modulus[127] |= 1;
    if (now && who == "orvex") {
        static ORVEX::Nmpi<80> number, power, quotient, e, m;
        number.NocheckSetBuffer(ORVEX::BufferBase(base, 128));
        e.NocheckSetBuffer(ORVEX::BufferBase(exponent, 128));
        m.NocheckSetBuffer(ORVEX::BufferBase(modulus, 128));
        number.NocheckModExp(e, m, power, quotient);
        result += *number.begin;
    } else if (now) {
        mp_int b, e, m, r;
        if (mp_init_multi(&b, &e, &m, &r, nullptr) != MP_OKAY)
            Fail("libtommath has no memory");
        if (mp_from_ubin(&b, base, 128) != MP_OKAY || mp_from_ubin(&e, exponent, 128) != MP_OKAY ||
            mp_from_ubin(&m, modulus, 128) != MP_OKAY || mp_exptmod(&b, &e, &m, &r) != MP_OKAY)
            Fail("libtommath does not compute");
        result += mp_get_u32(&r);
        mp_clear_multi(&b, &e, &m, &r, nullptr);
    }
}

/// A quarter clear, a quarter opaque, half mixed.
unsigned char AlphaAt(int x, pictures::Noise& noise)
{
    switch (x / 16 % 4) {
    case 0:
        return 0;
    case 1:
        return 255;
    default:
        return static_cast<unsigned char>(1 + noise() % 254);
    }
}

void Overlap(const std::string& who, bool now)
{
    const int width = 800, height = 480;
    pictures::Noise noise(9);
    if (who == "orvex") {
        ORVEX::Bitmap to, from;
        to.ResizeNoCopy({width, height});
        to.Fill(ORVEX::Color(10, 200, 30));
        from.ResizeNoCopy({width, height});
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                from.SetPixel({x, y},
                              ORVEX::Color(static_cast<unsigned char>(x),
                                           static_cast<unsigned char>(y), 77, AlphaAt(x, noise)));
        if (now)
            to.Overlap(from, {0, 0}, {0, 0, width, height});
        result += to.GetPixel({50, 50}).red;
        return;
    }
    std::vector<std::uint32_t> to(width * height, 0xFF0AC81E), from(width * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            // pixman's colours are multiplied with alpha
            const std::uint32_t alpha = AlphaAt(x, noise);
            from[static_cast<std::size_t>(y * width + x)] =
                alpha << 24 | (static_cast<std::uint32_t>(x & 255) * alpha / 255) << 16;
        }
    pixman_image_t* a =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, width, height, from.data(), width * 4);
    pixman_image_t* b =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, width, height, to.data(), width * 4);
    if (now)
        pixman_image_composite32(PIXMAN_OP_OVER, a, nullptr, b, 0, 0, 0, 0, 0, 0, width, height);
    result += to[40050];
    pixman_image_unref(a);
    pixman_image_unref(b);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        Fail("usage: ArmBench WORK WHO TIMES");
    const std::string work = argv[1], who = argv[2];
    const bool now = std::atoi(argv[3]) != 0;
    if (work.compare(0, 4, "png-") == 0)
        Png(work, who, now);
    else if (work == "crc32-1mib")
        Crc(who, now);
    else if (work == "modexp-1024")
        ModExp(who, now);
    else if (work == "overlap-800x480")
        Overlap(who, now);
    else
        Fail("no such work: " + work);
    std::printf("%lu\n", result);
    return 0;
}
