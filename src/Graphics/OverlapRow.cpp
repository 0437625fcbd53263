// SPDX-License-Identifier: MIT
#include "OverlapRow.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif
#if defined(__ARM_NEON)
#include <arm_neon.h>
#endif

// Every channel needs x / 255, cut to a whole number, for x = a * s + (255 - a) * d from 0 to
// 65025. With y = x + 1 that is (y + (y >> 8)) >> 8, or, which is the same, (y * 257) >> 16:
// for x = 255 * q + r, r from 0 to 254 and q at most 255, y * 257 = 65535 * q + 257 * (r + 1)
//   = 65536 * q + (257 * (r + 1) - q), and what is in parentheses is at least 257 - 255 = 2 and
//   at most 257 * 255 = 65535, so the upper half is q.
//
// The vector forms work on 16-bit lanes: the even bytes of the pixels are alpha and green, the odd
// ones red and blue. Alpha's lanes get the weight 0, so that they come out as the destination's
// alpha, and at the end the larger of that and the source's alpha is taken. The formula also holds
// for alpha 0 and 255; blocks that are all one or the other are only passed over or copied sooner.

namespace ORVEX {
namespace Internal {

namespace {

/// Bytes 0 and 2 of each pixel, as 16-bit lanes.
const std::uint32_t EvenBytes = 0x00FF00FF;

std::uint32_t Load(const Color* pixel)
{
    std::uint32_t bytes;
    std::memcpy(&bytes, pixel, sizeof bytes);
    return bytes;
}

/// Two lanes at once: a * s + (255 - a) * d + 1, divided by 255 but for the shift by 8.
std::uint32_t MixLanes(std::uint32_t a, std::uint32_t s, std::uint32_t d)
{
    const std::uint32_t y = a * s + (255 - a) * d + 0x00010001;
    return y + (y >> 8 & EvenBytes);
}

} // namespace

void OverlapPixels(Color* to, const Color* from, unsigned long count)
{
    for (; count != 0; --count, ++to, ++from) {
        const std::uint32_t a = from->alpha;
        if (a == 0)
            continue;
        if (a == 255) {
            *to = *from;
            continue;
        }
        const std::uint32_t s = Load(from);
        const std::uint32_t d = Load(to);
        const unsigned char alpha = std::max(to->alpha, from->alpha);
        const std::uint32_t even = MixLanes(a, s & EvenBytes, d & EvenBytes);
        const std::uint32_t odd = MixLanes(a, s >> 8 & EvenBytes, d >> 8 & EvenBytes);
        const std::uint32_t mixed = (even >> 8 & EvenBytes) | (odd & ~EvenBytes);
        std::memcpy(static_cast<void*>(to), &mixed, sizeof mixed);
        // Alpha takes the larger of the two; the colours alone are mixed.
        to->alpha = alpha;
    }
}

#if defined(__SSE2__)

namespace {

/// The four pixels of `s` over those of `d`.
__m128i Blend(__m128i s, __m128i d)
{
    const __m128i even = _mm_set1_epi16(0x00FF);
    const __m128i one = _mm_set1_epi16(1);
    const __m128i inverse = _mm_set1_epi16(257);
    const __m128i a = _mm_and_si128(s, _mm_set1_epi32(0x000000FF));
    const __m128i aEven = _mm_slli_epi32(a, 16);
    const __m128i aOdd = _mm_or_si128(aEven, a);
    const __m128i bEven = _mm_xor_si128(aEven, even);
    const __m128i bOdd = _mm_xor_si128(aOdd, even);
    const __m128i xEven = _mm_add_epi16(_mm_mullo_epi16(aEven, _mm_and_si128(s, even)),
                                        _mm_mullo_epi16(bEven, _mm_and_si128(d, even)));
    const __m128i xOdd = _mm_add_epi16(_mm_mullo_epi16(aOdd, _mm_srli_epi16(s, 8)),
                                       _mm_mullo_epi16(bOdd, _mm_srli_epi16(d, 8)));
    const __m128i mixedEven = _mm_mulhi_epu16(_mm_add_epi16(xEven, one), inverse);
    const __m128i mixedOdd = _mm_mulhi_epu16(_mm_add_epi16(xOdd, one), inverse);
    return _mm_max_epu8(_mm_or_si128(mixedEven, _mm_slli_epi16(mixedOdd, 8)), a);
}

/// Whether the alphas of four pixels are all `alpha`, which is 0 or all bits of its byte.
bool AllAlphas(__m128i pixels, int alpha)
{
    const __m128i wanted = _mm_set1_epi32(alpha);
    const __m128i alphas = _mm_and_si128(pixels, _mm_set1_epi32(0x000000FF));
    return _mm_movemask_epi8(_mm_cmpeq_epi32(alphas, wanted)) == 0xFFFF;
}

} // namespace

unsigned long OverlapBlocksSse2(Color* to, const Color* from, unsigned long count)
{
    unsigned long done = 0;
    for (; count - done >= 8; done += 8) {
        const __m128i* const over = reinterpret_cast<const __m128i*>(from + done);
        __m128i* const place = reinterpret_cast<__m128i*>(to + done);
        const __m128i s0 = _mm_loadu_si128(over);
        const __m128i s1 = _mm_loadu_si128(over + 1);
        if (AllAlphas(_mm_or_si128(s0, s1), 0))
            continue;
        if (AllAlphas(_mm_and_si128(s0, s1), 255)) {
            _mm_storeu_si128(place, s0);
            _mm_storeu_si128(place + 1, s1);
            continue;
        }
        _mm_storeu_si128(place, Blend(s0, _mm_loadu_si128(place)));
        _mm_storeu_si128(place + 1, Blend(s1, _mm_loadu_si128(place + 1)));
    }
    return done;
}

#endif

#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__x86_64__) || defined(__i386__))

namespace {

/// The eight pixels of `s` over those of `d`.
__attribute__((target("avx2"))) inline __m256i Blend(__m256i s, __m256i d)
{
    const __m256i even = _mm256_set1_epi16(0x00FF);
    const __m256i one = _mm256_set1_epi16(1);
    const __m256i inverse = _mm256_set1_epi16(257);
    const __m256i a = _mm256_and_si256(s, _mm256_set1_epi32(0x000000FF));
    const __m256i aEven = _mm256_slli_epi32(a, 16);
    const __m256i aOdd = _mm256_or_si256(aEven, a);
    const __m256i bEven = _mm256_xor_si256(aEven, even);
    const __m256i bOdd = _mm256_xor_si256(aOdd, even);
    const __m256i xEven = _mm256_add_epi16(_mm256_mullo_epi16(aEven, _mm256_and_si256(s, even)),
                                           _mm256_mullo_epi16(bEven, _mm256_and_si256(d, even)));
    const __m256i xOdd = _mm256_add_epi16(_mm256_mullo_epi16(aOdd, _mm256_srli_epi16(s, 8)),
                                          _mm256_mullo_epi16(bOdd, _mm256_srli_epi16(d, 8)));
    const __m256i mixedEven = _mm256_mulhi_epu16(_mm256_add_epi16(xEven, one), inverse);
    const __m256i mixedOdd = _mm256_mulhi_epu16(_mm256_add_epi16(xOdd, one), inverse);
    return _mm256_max_epu8(_mm256_or_si256(mixedEven, _mm256_slli_epi16(mixedOdd, 8)), a);
}

} // namespace

__attribute__((target("avx2"))) unsigned long OverlapBlocksAvx2(Color* to, const Color* from,
                                                                unsigned long count)
{
    const __m256i alphas = _mm256_set1_epi32(0x000000FF);
    unsigned long done = 0;
    for (; count - done >= 8; done += 8) {
        __m256i* const place = reinterpret_cast<__m256i*>(to + done);
        const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + done));
        if (_mm256_testz_si256(s, alphas)) // all 0
            continue;
        if (_mm256_testc_si256(s, alphas)) // all 255
            _mm256_storeu_si256(place, s);
        else
            _mm256_storeu_si256(place, Blend(s, _mm256_loadu_si256(place)));
    }
    return done;
}

#endif

#if defined(__ARM_NEON)

namespace {

/// (a * s + b * d) / 255 for eight pixels, b being 255 - a.
uint8x8_t Mix(uint8x8_t a, uint8x8_t s, uint8x8_t b, uint8x8_t d)
{
    const uint16x8_t y = vmlal_u8(vmlal_u8(vdupq_n_u16(1), a, s), b, d);
    return vshrn_n_u16(vsraq_n_u16(y, y, 8), 8);
}

} // namespace

unsigned long OverlapBlocksNeon(Color* to, const Color* from, unsigned long count)
{
    unsigned long done = 0;
    for (; count - done >= 8; done += 8) {
        const uint8x8x4_t s = vld4_u8(&from[done].alpha);
        if (vget_lane_u64(vreinterpret_u64_u8(s.val[0]), 0) == 0)
            continue;
        uint8x8x4_t d = vld4_u8(&to[done].alpha);
        const uint8x8_t a = s.val[0];
        const uint8x8_t b = vmvn_u8(a);
        d.val[0] = vmax_u8(d.val[0], a);
        d.val[1] = Mix(a, s.val[1], b, d.val[1]);
        d.val[2] = Mix(a, s.val[2], b, d.val[2]);
        d.val[3] = Mix(a, s.val[3], b, d.val[3]);
        vst4_u8(&to[done].alpha, d);
    }
    return done;
}

#endif

namespace {

/// As many of the first pixels as this processor can blend in blocks; returns their number.
unsigned long OverlapBlocks(Color* to, const Color* from, unsigned long count)
{
#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__x86_64__) || defined(__i386__))
    if (__builtin_cpu_supports("avx2"))
        return OverlapBlocksAvx2(to, from, count);
#endif
#if defined(__SSE2__)
    return OverlapBlocksSse2(to, from, count);
#elif defined(__ARM_NEON)
    return OverlapBlocksNeon(to, from, count);
#else
    static_cast<void>(to);
    static_cast<void>(from);
    static_cast<void>(count);
    return 0;
#endif
}

} // namespace

void OverlapRow(Color* to, const Color* from, unsigned long count)
{
    // Where a later pixel of the row reads what an earlier one has become, only one at a time will
    // do. Compared as numbers, because pointers into two stores have no order.
    const std::uintptr_t ahead =
        reinterpret_cast<std::uintptr_t>(to) - reinterpret_cast<std::uintptr_t>(from);
    const bool readsItself = ahead != 0 && ahead < count * sizeof(Color);
    const unsigned long done = readsItself ? 0 : OverlapBlocks(to, from, count);
    OverlapPixels(to + done, from + done, count - done);
}

} // namespace Internal
} // namespace ORVEX
