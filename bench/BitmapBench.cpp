// SPDX-License-Identifier: MIT
// Blending and scaling of whole pictures. The peers blend premultiplied pixels, which is less
// work, and their alpha is composed instead of the larger of the two; they average with rounding.
#include <ORVEX/Bitmap.h>

#include <benchmark/benchmark.h>

#ifdef BENCH_pixman
#include <pixman.h>
#endif
#ifdef BENCH_libyuv
#include <libyuv.h>
#endif
#ifdef BENCH_opencv
#include <opencv2/imgproc.hpp>
#endif

#include <cstdint>
#include <random>
#include <vector>

using ORVEX::Bitmap;
using ORVEX::Color;
using ORVEX::Point;
using ORVEX::Rect;

namespace {

/// How the pixels of a source are spread over it.
enum Spread {
    Bands,   ///< a quarter of the rows clear, a quarter opaque, half mixed
    Speckled ///< the same shares, pixel by pixel
};

std::vector<Color> Pixels(int width, int height, Spread spread)
{
    std::mt19937 random(1);
    std::vector<Color> pixels;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::uint32_t share = spread == Bands ? static_cast<std::uint32_t>(4 * y / height)
                                                        : static_cast<std::uint32_t>(random() % 4);
            const auto byte = [&random] { return static_cast<unsigned char>(random() & 255u); };
            const unsigned char alpha = share == 0 ? 0
                                        : share == 1
                                            ? 255
                                            : static_cast<unsigned char>(1 + random() % 254);
            pixels.emplace_back(byte(), byte(), byte(), alpha);
        }
    }
    return pixels;
}

Bitmap MakeBitmap(int width, int height, Spread spread)
{
    const std::vector<Color> pixels = Pixels(width, height, spread);
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(width, height));
    std::copy(pixels.begin(), pixels.end(), bitmap.Pixels().Begin());
    return bitmap;
}

/// The same picture in the peers' form: premultiplied, alpha in the highest byte.
std::vector<std::uint32_t> Premultiplied(int width, int height, Spread spread)
{
    std::vector<std::uint32_t> words;
    for (const Color& pixel : Pixels(width, height, spread)) {
        const std::uint32_t a = pixel.alpha;
        words.push_back(a << 24 | (pixel.red * a / 255) << 16 | (pixel.green * a / 255) << 8 |
                        pixel.blue * a / 255);
    }
    return words;
}

void OverlapOrvex(benchmark::State& state, int width, int height, Spread spread)
{
    const Bitmap over = MakeBitmap(width, height, spread);
    Bitmap under = MakeBitmap(width, height, Speckled);
    for (auto _ : state) {
        under.Overlap(over, Point(0, 0), Rect(0, 0, width, height));
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(OverlapOrvex, large, 1920, 1080, Bands)->Name("Overlap_1920x1080_bands/orvex");
BENCHMARK_CAPTURE(OverlapOrvex, speckled, 1920, 1080, Speckled)
    ->Name("Overlap_1920x1080_speckled/orvex");
BENCHMARK_CAPTURE(OverlapOrvex, small, 800, 480, Bands)->Name("Overlap_800x480_bands/orvex");
BENCHMARK_CAPTURE(OverlapOrvex, smallSpeckled, 800, 480, Speckled)
    ->Name("Overlap_800x480_speckled/orvex");

#ifdef BENCH_pixman
void OverlapPixman(benchmark::State& state, int width, int height, Spread spread)
{
    std::vector<std::uint32_t> over = Premultiplied(width, height, spread);
    std::vector<std::uint32_t> under = Premultiplied(width, height, Speckled);
    pixman_image_t* const overImage =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, width, height, over.data(), width * 4);
    pixman_image_t* const underImage =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, width, height, under.data(), width * 4);
    for (auto _ : state) {
        pixman_image_composite32(PIXMAN_OP_OVER, overImage, nullptr, underImage, 0, 0, 0, 0, 0, 0,
                                 width, height);
        benchmark::ClobberMemory();
    }
    pixman_image_unref(overImage);
    pixman_image_unref(underImage);
}

BENCHMARK_CAPTURE(OverlapPixman, large, 1920, 1080, Bands)->Name("Overlap_1920x1080_bands/pixman");
BENCHMARK_CAPTURE(OverlapPixman, speckled, 1920, 1080, Speckled)
    ->Name("Overlap_1920x1080_speckled/pixman");
BENCHMARK_CAPTURE(OverlapPixman, small, 800, 480, Bands)->Name("Overlap_800x480_bands/pixman");
BENCHMARK_CAPTURE(OverlapPixman, smallSpeckled, 800, 480, Speckled)
    ->Name("Overlap_800x480_speckled/pixman");
#endif

#ifdef BENCH_libyuv
std::uint8_t* Bytes(std::vector<std::uint32_t>& words)
{
    return reinterpret_cast<std::uint8_t*>(words.data());
}

void OverlapLibyuv(benchmark::State& state, int width, int height, Spread spread)
{
    std::vector<std::uint32_t> over = Premultiplied(width, height, spread);
    std::vector<std::uint32_t> under = Premultiplied(width, height, Speckled);
    for (auto _ : state) {
        libyuv::ARGBBlend(Bytes(over), width * 4, Bytes(under), width * 4, Bytes(under), width * 4,
                          width, height);
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(OverlapLibyuv, large, 1920, 1080, Bands)->Name("Overlap_1920x1080_bands/libyuv");
BENCHMARK_CAPTURE(OverlapLibyuv, speckled, 1920, 1080, Speckled)
    ->Name("Overlap_1920x1080_speckled/libyuv");
BENCHMARK_CAPTURE(OverlapLibyuv, small, 800, 480, Bands)->Name("Overlap_800x480_bands/libyuv");
BENCHMARK_CAPTURE(OverlapLibyuv, smallSpeckled, 800, 480, Speckled)
    ->Name("Overlap_800x480_speckled/libyuv");
#endif

void ScalingOrvex(benchmark::State& state, const Point& from, const Point& to)
{
    const Bitmap source = MakeBitmap(from.x, from.y, Speckled);
    Bitmap scaled;
    for (auto _ : state) {
        scaled.Scaling(source, to);
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(ScalingOrvex, whole, Point(4000, 3000), Point(800, 600))
    ->Name("Scaling_4000x3000_800x600/orvex");
BENCHMARK_CAPTURE(ScalingOrvex, fraction, Point(1920, 1080), Point(800, 450))
    ->Name("Scaling_1920x1080_800x450/orvex");
BENCHMARK_CAPTURE(ScalingOrvex, larger, Point(400, 240), Point(1920, 1080))
    ->Name("Scaling_400x240_1920x1080/orvex");

#ifdef BENCH_opencv
void ScalingOpencv(benchmark::State& state, const Point& from, const Point& to)
{
    cv::setNumThreads(1);
    std::vector<Color> pixels = Pixels(from.x, from.y, Speckled);
    const cv::Mat source(from.y, from.x, CV_8UC4, pixels.data());
    cv::Mat scaled;
    for (auto _ : state) {
        cv::resize(source, scaled, cv::Size(to.x, to.y), 0, 0, cv::INTER_AREA);
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(ScalingOpencv, whole, Point(4000, 3000), Point(800, 600))
    ->Name("Scaling_4000x3000_800x600/opencv");
BENCHMARK_CAPTURE(ScalingOpencv, fraction, Point(1920, 1080), Point(800, 450))
    ->Name("Scaling_1920x1080_800x450/opencv");
#endif

#ifdef BENCH_libyuv
void ScalingLibyuv(benchmark::State& state, const Point& from, const Point& to)
{
    std::vector<std::uint32_t> source = Premultiplied(from.x, from.y, Speckled);
    std::vector<std::uint32_t> scaled(static_cast<std::size_t>(to.x) *
                                      static_cast<std::size_t>(to.y));
    for (auto _ : state) {
        libyuv::ARGBScale(Bytes(source), from.x * 4, from.x, from.y, Bytes(scaled), to.x * 4, to.x,
                          to.y, libyuv::kFilterNone);
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(ScalingLibyuv, larger, Point(400, 240), Point(1920, 1080))
    ->Name("Scaling_400x240_1920x1080/libyuv");
#endif

} // namespace
