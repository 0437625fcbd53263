// SPDX-License-Identifier: MIT
#include <ORVEX/Bitmap.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

namespace ORVEX {

namespace {

using Bounds = Vector<std::int32_t>;

/// Where each of `parts` equal shares of `length` pixels begins; one entry more, for the end.
void MakeBounds(Bounds& bounds, std::int32_t length, std::int32_t parts)
{
    bounds.TryResizeNoCopy(static_cast<unsigned long>(parts) + 1);
    std::int32_t* bound = bounds.Begin();
    for (std::int64_t at = 0; at <= parts; ++at)
        *bound++ = static_cast<std::int32_t>(length * at / parts);
}

/// How many pixels a share has. Where the picture grows, bounds are equal, and it has one.
std::int32_t Share(const std::int32_t* bound) { return std::max(bound[1] - bound[0], 1); }

/// The largest number of pixels whose sums are divided in 16-bit lanes.
const std::int32_t SmallBlock = 128;

/// Division of sums by a number of pixels n from 1 to SmallBlock: (sum + 1) * factor, shifted
/// right by 16 + shift, is sum / n.
///
/// With 2^shift <= n < 2^(shift + 1) and N = 2^(16 + shift), factor is (N - 1) / n cut to a whole
/// number, which fits 16 bits, so n * factor = N - e with e from 1 to n. For a sum k * n + r, with
/// k at most 255 and r below n, (sum + 1) * factor is at least (k * n + 1) * (N - e) / n, which is
/// k * N or more as long as e * (k * n + 1) <= N; and e * (k * n + 1) <= n * (255 * n + 1) <=
/// n * 2^15 < N for n up to 128. It is at most (k + 1) * n * factor, which is below (k + 1) * N.
struct Division {
    explicit Division(std::int32_t n) : factor(0), shift(0)
    {
        while (n >> (shift + 1) != 0)
            ++shift;
        factor = ((std::int32_t{1} << (16 + shift)) - 1) / n;
    }

    std::int32_t factor;
    std::int32_t shift;
};

/// As many columns as are summed up at a time; their sums stay in the processor's nearest cache.
const std::int32_t StripColumns = 256;

/// Has the memory fetched that lies `offset` bytes behind `base`, whether it is a pixel or not.
__attribute__((always_inline)) inline void Prefetch(const void* base, std::ptrdiff_t offset)
{
    const std::uintptr_t place =
        reinterpret_cast<std::uintptr_t>(base) + static_cast<std::uintptr_t>(offset);
    // A number, because a pointer may not leave its array, even when nothing is read through it.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    __builtin_prefetch(reinterpret_cast<const void*>(place));
}

/// Adds up the first `count` channels of some rows, at most SmallBlock, each channel by itself.
/// The rows are `stride` bytes long. The loops are left to the compiler, which knows the vectors.
__attribute__((always_inline)) inline void AddRows(std::uint16_t* sums, const unsigned char* line,
                                                   std::ptrdiff_t stride, std::int32_t count,
                                                   std::int32_t rows)
{
    if (rows % 2 == 0) {
        std::fill(sums, sums + count, std::uint16_t{0});
    } else {
        for (std::int32_t i = 0; i < count; i += 64)
            Prefetch(line, count + i);
        for (std::int32_t i = 0; i < count; ++i)
            sums[i] = line[i];
        line += stride;
    }
    for (; rows >= 2; rows -= 2, line += 2 * stride) {
        const unsigned char* const below = line + stride;
        std::int32_t at = 0;
        for (; count - at >= 64; at += 64) {
            // The rows lie far apart: what comes next in them is fetched in time.
            Prefetch(line, count + at);
            Prefetch(below, count + at);
            for (std::int32_t i = at; i < at + 64; ++i)
                sums[i] = static_cast<std::uint16_t>(sums[i] + line[i] + below[i]);
        }
        for (std::int32_t i = at; i < count; ++i)
            sums[i] = static_cast<std::uint16_t>(sums[i] + line[i] + below[i]);
    }
}

#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__x86_64__) || defined(__i386__))
__attribute__((target("avx2"))) void AddRowsAvx2(std::uint16_t* sums, const unsigned char* line,
                                                 std::ptrdiff_t stride, std::int32_t count,
                                                 std::int32_t rows)
{
    AddRows(sums, line, stride, count, rows);
}
#endif

/// The sums of some neighbouring columns: four channels of 16 bits each.
class Strip {
public:
    /// Sums `columns` columns, at most StripColumns, of `rows` rows up, at most SmallBlock.
    void SumUp(const Color* first, std::int32_t stride, std::int32_t columns, std::int32_t rows)
    {
        const unsigned char* const line = reinterpret_cast<const unsigned char*>(first);
        const std::ptrdiff_t bytes = std::ptrdiff_t{4} * stride;
#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__x86_64__) || defined(__i386__))
        if (__builtin_cpu_supports("avx2")) {
            AddRowsAvx2(sums + 4, line, bytes, 4 * columns, rows);
            return;
        }
#endif
        AddRows(sums + 4, line, bytes, 4 * columns, rows);
    }

    /// Adds the sums of each column to the four totals.
    void AddTo(std::uint64_t totals[4], std::int32_t columns) const
    {
        for (std::int32_t i = 0; i < 4 * columns; ++i)
            totals[i % 4] += sums[4 + i];
    }

    /// Adds to each column the columns in front of it, so that Total need not go through them.
    void Accumulate(std::int32_t columns)
    {
        std::uint64_t total = 0;
        Set(0, total);
        for (std::int32_t column = 1; column <= columns; ++column) {
            total += Get(column);
            Set(column, total);
        }
    }

    /// After Accumulate, the four sums of the block of `columns` columns from `left` on.
    ///
    /// Four numbers of 16 bits are taken as one of 64. Sums of many columns run over into their
    /// neighbours, but the difference is exact, and a block of at most SmallBlock pixels has sums
    /// that do not run over.
    std::uint64_t Total(std::int32_t left, std::int32_t columns) const
    {
        return Get(left + columns) - Get(left);
    }

private:
    std::uint64_t Get(std::int32_t column) const
    {
        std::uint64_t four;
        std::memcpy(&four, sums + 4 * column, sizeof four);
        return four;
    }
    void Set(std::int32_t column, std::uint64_t four)
    {
        std::memcpy(sums + 4 * column, &four, sizeof four);
    }

    std::uint16_t sums[4 + 4 * StripColumns]; // the first four stand before the first column
};

/// The four sums, each divided.
Color Mean(std::uint64_t total, const Division& by)
{
    Color color;
#if defined(__SSE2__)
    const __m128i sums = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&total));
    const __m128i factor = _mm_set1_epi16(static_cast<short>(by.factor));
    const __m128i high = _mm_mulhi_epu16(_mm_add_epi16(sums, _mm_set1_epi16(1)), factor);
    const __m128i means = _mm_srl_epi16(high, _mm_cvtsi32_si128(by.shift));
    const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(means, means));
    std::memcpy(static_cast<void*>(&color), &bytes, sizeof color);
#elif defined(__ARM_NEON)
    const uint16x4_t more = vadd_u16(vcreate_u16(total), vdup_n_u16(1));
    const uint32x4_t product = vmull_u16(more, vdup_n_u16(static_cast<std::uint16_t>(by.factor)));
    const uint16x4_t means = vmovn_u32(vshlq_u32(product, vdupq_n_s32(-16 - by.shift)));
    const std::uint32_t bytes =
        vget_lane_u32(vreinterpret_u32_u8(vmovn_u16(vcombine_u16(means, means))), 0);
    std::memcpy(static_cast<void*>(&color), &bytes, sizeof color);
#else
    std::uint16_t sums[4];
    std::memcpy(sums, &total, sizeof sums);
    const auto mean = [&by](std::uint32_t sum) {
        // At most 32641 * 65535, which fits.
        const std::uint32_t product = (sum + 1) * static_cast<std::uint32_t>(by.factor);
        return static_cast<unsigned char>(product >> (16 + by.shift));
    };
    color = Color(mean(sums[1]), mean(sums[2]), mean(sums[3]), mean(sums[0]));
#endif
    return color;
}

/// The mean of a block of any size, summed up part by part.
Color MeanOfLarge(const Color* first, std::int32_t stride, std::int32_t columns, std::int32_t rows)
{
    const std::uint64_t count =
        static_cast<std::uint64_t>(columns) * static_cast<std::uint64_t>(rows);
    std::uint64_t totals[4] = {};
    Strip strip;
    while (rows != 0) {
        const std::int32_t height = std::min(rows, SmallBlock);
        for (std::int32_t left = 0; left < columns;) {
            const std::int32_t width = std::min(columns - left, StripColumns);
            strip.SumUp(first + left, stride, width, height);
            strip.AddTo(totals, width);
            left += width;
        }
        first += static_cast<std::ptrdiff_t>(height) * stride;
        rows -= height;
    }
    const auto mean = [count](std::uint64_t total) {
        return static_cast<unsigned char>(total / count);
    };
    return Color(mean(totals[1]), mean(totals[2]), mean(totals[3]), mean(totals[0]));
}

/// Makes one row of `line`'s pixels: pixel i is the one at bound i.
void RepeatPixels(Color* to, const Bounds& xs, const Color* line)
{
    const std::int32_t* x = xs.Begin();
    const std::int32_t* const last = xs.End() - 1;
    const std::ptrdiff_t rowBytes = 4 * (last - x);
    for (; last - x >= 16; x += 16, to += 16) {
        Prefetch(to, rowBytes); // the row below is the next to be written
        for (int i = 0; i < 16; ++i)
            to[i] = line[x[i]];
    }
    for (; x != last; ++x)
        *to++ = line[*x];
}

/// Makes one row: pixel i is the mean of its share of the columns, from bound i on, of `rows` rows,
/// which begin at `line` and are `stride` pixels long.
void ScaleRow(Color* to, const Bounds& xs, const Color* line, std::int32_t stride,
              std::int32_t rows)
{
    const std::int32_t* x = xs.Begin();
    const std::int32_t* const last = xs.End() - 1;
    if (rows == 1 && stride <= last - x) {
        RepeatPixels(to, xs, line);
        return;
    }
    // Every share has this number of columns or one more.
    const std::int32_t least = std::max(stride / static_cast<std::int32_t>(last - x), 1);
    if ((std::int64_t{least} + 1) * rows > SmallBlock) {
        for (; x != last; ++x)
            *to++ = MeanOfLarge(line + *x, stride, Share(x), rows);
        return;
    }
    const Division byCount[] = {Division(least * rows), Division((least + 1) * rows)};
    const std::ptrdiff_t perStrip = StripColumns / (least + 1);
    Strip strip;
    while (x != last) {
        const std::int32_t* const end = x + std::min(perStrip, last - x);
        const std::int32_t left = *x;
        const std::int32_t width = end[-1] + Share(end - 1) - left;
        strip.SumUp(line + left, stride, width, rows);
        strip.Accumulate(width);
        for (; x != end; ++x) {
            const std::int32_t columns = Share(x);
            *to++ = Mean(strip.Total(*x - left, columns), byCount[columns - least]);
        }
    }
}

} // namespace

void Bitmap::Scaling(const Bitmap& src, const Point& newSize)
{
    if (newSize.x < 1 || newSize.y < 1) {
        Clear();
        return;
    }
    if (newSize.x == src.size.x && newSize.y == src.size.y) {
        *this = src;
        return;
    }
    if (&src == this) {
        Scaling(newSize);
        return;
    }
    ResizeNoCopy(newSize);
    if (!src.HoldsItsSize()) {
        Fill(Color());
        return;
    }
    if (!HoldsItsSize())
        return;
    Bounds xs;
    MakeBounds(xs, src.size.x, size.x);
    Bounds ys;
    MakeBounds(ys, src.size.y, size.y);

    Color* to = pixels.Begin();
    const std::int32_t* const lastRow = ys.End() - 1;
    for (const std::int32_t* y = ys.Begin(); y != lastRow; ++y, to += size.x) {
        // Where the picture grows, rows repeat.
        if (y != ys.Begin() && y[0] == y[-1]) {
            std::copy(to - size.x, to, to);
            continue;
        }
        const Color* const line = src.pixels.Begin() + static_cast<std::ptrdiff_t>(*y) * src.size.x;
        ScaleRow(to, xs, line, src.size.x, Share(y));
    }
}

void Bitmap::Scaling(const Point& newSize)
{
    Bitmap scaled;
    scaled.Scaling(*this, newSize);
    Swap(scaled);
}

void Bitmap::Rotation(const Bitmap& src, short angle)
{
    static_cast<void>(angle);
    ResizeNoCopy(src.size);
    Fill(Color(255, 255, 255));
}

void Bitmap::Rotation(short angle)
{
    Bitmap rotated;
    rotated.Rotation(*this, angle);
    Swap(rotated);
}

} // namespace ORVEX
