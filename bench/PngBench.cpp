// SPDX-License-Identifier: MIT
// PNG files in memory to pixels of 8-bit R, G, B, A, and their zlib streams alone.
#include "Pictures.h"

#include <ORVEX/Ping.h>
#include <ORVEX/Png.h>

#include <benchmark/benchmark.h>
#include <zlib.h>
#ifdef BENCH_lodepng
#include <lodepng.h>
#endif

#include <cstdio>
#include <cstring>

namespace {

using File = std::vector<unsigned char>;

struct Work {
    const char* name;
    Picture (*draw)();
    bool interlaced;
};

const Work Works[] = {
    {"PhotoRgba", [] { return pictures::PhotoPicture(1024, 768, 4, PNG_COLOR_TYPE_RGB_ALPHA); },
     false},
    {"PhotoRgb", [] { return pictures::PhotoPicture(1024, 768, 3, PNG_COLOR_TYPE_RGB); }, false},
    {"FlatRgba", [] { return pictures::FlatPicture(800, 480, false); }, false},
    {"FlatPalette", [] { return pictures::FlatPicture(800, 480, true); }, false},
    {"Grey", [] { return pictures::PhotoPicture(640, 480, 1, PNG_COLOR_TYPE_GRAY); }, false},
    {"GreyAlpha", [] { return pictures::PhotoPicture(640, 480, 2, PNG_COLOR_TYPE_GRAY_ALPHA); },
     false},
    {"InterlacedRgb", [] { return pictures::PhotoPicture(1024, 768, 3, PNG_COLOR_TYPE_RGB); },
     true},
    {"Rgb16", [] { return pictures::PhotoPicture(640, 480, 3, PNG_COLOR_TYPE_RGB, 16); }, false},
    {"Icon48", [] { return pictures::IconPicture(); }, false},
};

[[noreturn]] void Fail(const char* what)
{
    std::fprintf(stderr, "PngBench: %s\n", what);
    std::exit(1);
}

void ByOrvex(benchmark::State& state, const File& file)
{
    const ORVEX::BufferBase range(const_cast<unsigned char*>(file.data()), file.size());
    for (auto _ : state) {
        ORVEX::Ping ping;
        if (!ping.Load(range) || ping.Empty())
            Fail("the picture does not load");
        benchmark::DoNotOptimize(ping.Pixels().Begin());
    }
}

#ifdef BENCH_libpng
void ByLibpng(benchmark::State& state, const File& file)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(pictures::PixelsByLibpng(file).data());
}
#endif

#ifdef BENCH_lodepng
void ByLodepng(benchmark::State& state, const File& file)
{
    for (auto _ : state) {
        unsigned char* pixels = nullptr;
        unsigned width, height;
        if (lodepng_decode32(&pixels, &width, &height, file.data(), file.size()) != 0)
            Fail("lodepng does not read the file");
        benchmark::DoNotOptimize(pixels);
        std::free(pixels);
    }
}
#endif

/// Stores what it is handed, as the peer does.
class Store : public ZrGenericPngDecoder {
public:
    explicit Store(File& bytes) : at(bytes.data()) {}

    std::int32_t Output(unsigned char byte) override
    {
        *at++ = byte;
        return 1;
    }

    unsigned char* at;
};

/// The IDAT chunks of a file, joined.
File Stream(const File& file)
{
    File stream;
    for (std::size_t at = 8; at < file.size();) {
        const std::size_t length = std::size_t(file[at]) << 24 | std::size_t(file[at + 1]) << 16 |
                                   std::size_t(file[at + 2]) << 8 | file[at + 3];
        const auto data = file.begin() + static_cast<std::ptrdiff_t>(at + 8);
        if (std::memcmp(&file[at + 4], "IDAT", 4) == 0)
            stream.insert(stream.end(), data, data + static_cast<std::ptrdiff_t>(length));
        at += 12 + length;
    }
    return stream;
}

void InflateByOrvex(benchmark::State& state, File stream, std::size_t size)
{
    File bytes(size);
    for (auto _ : state) {
        Store store(bytes);
        ZrPngUncompressor uncompressor;
        uncompressor.output = &store;
        if (uncompressor.Uncompress(static_cast<unsigned>(stream.size()), stream.data()) != 1 ||
            store.at != bytes.data() + size)
            Fail("the stream does not inflate");
        benchmark::DoNotOptimize(bytes.data());
    }
}

void InflateByZlib(benchmark::State& state, const File& stream, std::size_t size)
{
    File bytes(size);
    for (auto _ : state) {
        uLongf length = static_cast<uLongf>(size);
        if (uncompress(bytes.data(), &length, stream.data(), static_cast<uLong>(stream.size())) !=
            Z_OK)
            Fail("zlib does not inflate the stream");
        benchmark::DoNotOptimize(bytes.data());
    }
}

std::size_t InflatedSize(const File& stream)
{
    File bytes(16 << 20);
    uLongf length = static_cast<uLongf>(bytes.size());
    if (uncompress(bytes.data(), &length, stream.data(), static_cast<uLong>(stream.size())) != Z_OK)
        Fail("zlib does not inflate the stream");
    return length;
}

bool Register()
{
    for (const Work& work : Works) {
        const File file = pictures::PngFile(work.draw(), work.interlaced);
        const std::string png = std::string("Png_") + work.name;
        benchmark::RegisterBenchmark((png + "/orvex").c_str(), ByOrvex, file);
#ifdef BENCH_libpng
        benchmark::RegisterBenchmark((png + "/libpng").c_str(), ByLibpng, file);
#endif
#ifdef BENCH_lodepng
        benchmark::RegisterBenchmark((png + "/lodepng").c_str(), ByLodepng, file);
#endif
        const File stream = Stream(file);
        const std::size_t size = InflatedSize(stream);
        const std::string inflate = std::string("Inflate_") + work.name;
        benchmark::RegisterBenchmark((inflate + "/orvex").c_str(), InflateByOrvex, stream, size);
#ifdef BENCH_zlib
        benchmark::RegisterBenchmark((inflate + "/zlib").c_str(), InflateByZlib, stream, size);
#endif
    }
    return true;
}

const bool registered = Register();

} // namespace
