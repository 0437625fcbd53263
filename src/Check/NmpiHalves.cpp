// SPDX-License-Identifier: MIT
#include "NmpiHalves.h"

#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__SSE2__) || defined(__ARM_FEATURE_SIMD32))

#include <algorithm>

#ifdef __SSE2__
#include <emmintrin.h>
#else
#include <arm_acle.h>
#include <cstring>
#endif

namespace ORVEX {
namespace Internal {

namespace {

using Half = std::int16_t;

constexpr unsigned HalfShift = 16;
constexpr unsigned FullShift = 32;
constexpr std::uint32_t LowMask = 0xFFFF;

// Balanced halves live on the stack, in little more than 1 KB; shorter numbers lose more by the
// balancing than they gain.
constexpr unsigned long MinLimbs = 6;
constexpr unsigned long MaxLimbs = 128;

// 32768 in both halves of a limb. Added with all carries and then taken away from every half by
// itself, it leaves the number in halves from -32768 to 32767. In 16 bits, taking 32768 away is
// turning the top bit over.
constexpr std::uint32_t Balance = 0x80008000;

// Hands the limbs of a number out one by one with balanced halves, from the lowest up.
class Balancer {
public:
    std::uint32_t Next(std::uint32_t limb)
    {
        const std::uint64_t sum = std::uint64_t{limb} + Balance + carry;
        carry = static_cast<std::uint32_t>(sum >> FullShift);
        return static_cast<std::uint32_t>(sum) ^ Balance;
    }
    std::uint32_t Carry() const { return carry; } // the limb above the last one: 0 or 1

private:
    std::uint32_t carry = 0;
};

// `value` * 2^bits, for values below 0 as well.
inline std::int64_t Up(std::int64_t value, unsigned bits)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(value) << bits);
}

// What the limb products of a column add up to: low + high * 2^32. They are at most 129 products,
// twice in a square, so with products of half-limbs of up to 2^30 both stay below 2^56.
struct Column {
    std::int64_t low;
    std::int64_t high;
};

// The limb products of a column, a group of them at a time.
#ifdef __SSE2__

constexpr unsigned long GroupLimbs = 8;

class Products {
public:
    void Add(const Half* aLow, const Half* aHigh, const Half* bLow, const Half* bHigh)
    {
        Add(Load(aLow), Load(aHigh), Load(bLow), Load(bHigh));
    }

    // The same for the first `count` limbs of the group only.
    void AddPart(const Half* aLow, const Half* aHigh, const Half* bLow, const Half* bHigh,
                 unsigned long count)
    {
        static const Half masks[2 * GroupLimbs] = {-1, -1, -1, -1, -1, -1, -1, -1};
        const __m128i mask = Load(masks + GroupLimbs - count);
        Add(_mm_and_si128(Load(aLow), mask), _mm_and_si128(Load(aHigh), mask), Load(bLow),
            Load(bHigh));
    }

    Column Sum() const
    {
        // Transposed and added: one sum for each of the weights 1, 2^16, 2^32 and 2^48. No lane
        // has more than 17 groups to add up, of 3 numbers of 16 bits each.
        const __m128i w1 = _mm_add_epi32(lowUpper, middleLower);
        const __m128i w2 = _mm_add_epi32(middleUpper, highLower);
        const __m128i w01 =
            _mm_add_epi32(_mm_unpacklo_epi32(lowLower, w1), _mm_unpackhi_epi32(lowLower, w1));
        const __m128i w23 =
            _mm_add_epi32(_mm_unpacklo_epi32(w2, highUpper), _mm_unpackhi_epi32(w2, highUpper));
        alignas(16) std::int32_t sums[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(sums),
                        _mm_add_epi32(_mm_unpacklo_epi64(w01, w23), _mm_unpackhi_epi64(w01, w23)));
        return {sums[0] + Up(sums[1], HalfShift), sums[2] + Up(sums[3], HalfShift)};
    }

private:
    static __m128i Load(const Half* from)
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    }

    // Every lane is a sum of two products whose four factors are not all -32768 (HasExtremes sees
    // to it). So it lies between 2 * -32768 * 32767, which is -2^31 + 2^16, and -32768 * -32768 +
    // -32768 * -32767, which is 2^31 - 2^15. The next one might be too much: each is taken apart
    // at once, into 16 bits without a sign and 16 with one.
    static void AddApart(__m128i pairs, __m128i& lower, __m128i& upper)
    {
        lower = _mm_add_epi32(lower, _mm_and_si128(pairs, _mm_set1_epi32(0xFFFF)));
        upper = _mm_add_epi32(upper, _mm_srai_epi32(pairs, HalfShift));
    }

    void Add(__m128i aLow, __m128i aHigh, __m128i bLow, __m128i bHigh)
    {
        AddApart(_mm_madd_epi16(aLow, bLow), lowLower, lowUpper);
        AddApart(_mm_madd_epi16(aLow, bHigh), middleLower, middleUpper);
        AddApart(_mm_madd_epi16(aHigh, bLow), middleLower, middleUpper);
        AddApart(_mm_madd_epi16(aHigh, bHigh), highLower, highUpper);
    }

    __m128i lowLower = _mm_setzero_si128(), lowUpper = _mm_setzero_si128();
    __m128i middleLower = _mm_setzero_si128(), middleUpper = _mm_setzero_si128();
    __m128i highLower = _mm_setzero_si128(), highUpper = _mm_setzero_si128();
};

#else

constexpr unsigned long GroupLimbs = 2;

class Products {
public:
    void Add(const Half* aLow, const Half* aHigh, const Half* bLow, const Half* bHigh)
    {
        // The two products of an instruction are added to 64 bits without an overflow between.
        low = __smlald(Load(aLow), Load(bLow), low);
        middle = __smlald(Load(aLow), Load(bHigh), middle);
        middle = __smlald(Load(aHigh), Load(bLow), middle);
        high = __smlald(Load(aHigh), Load(bHigh), high);
    }

    // The same for the first `count` limbs of the group only, that is for one or none.
    void AddPart(const Half* aLow, const Half* aHigh, const Half* bLow, const Half* bHigh,
                 unsigned long count)
    {
        if (count == 0)
            return;
        low += *aLow * *bLow;
        middle += *aLow * *bHigh;
        middle += *aHigh * *bLow;
        high += *aHigh * *bHigh;
    }

    Column Sum() const { return {low + Up(middle, HalfShift), high}; }

private:
    static int16x2_t Load(const Half* from)
    {
        int16x2_t pair;
        std::memcpy(&pair, from, sizeof pair);
        return pair;
    }

    std::int64_t low = 0, middle = 0, high = 0;
};

#endif

// The balanced halves of a number, the low and the high ones apart. Zeros stand behind them, so
// that a group may reach past the end.
class Halves {
public:
    // The lowest limb first.
    void Set(const std::uint32_t* limbs, unsigned long count)
    {
        Balancer balancer;
        for (unsigned long i = 0; i < count; ++i)
            SetLimb(i, balancer.Next(limbs[i]));
        SetLimb(count, balancer.Carry());
        SetEnd(count + 1);
    }

    // The lowest limb last.
    void SetReversed(const std::uint32_t* limbs, unsigned long count)
    {
        Balancer balancer;
        for (unsigned long i = 0; i < count; ++i)
            SetLimb(count - i, balancer.Next(limbs[i]));
        SetLimb(0, balancer.Carry());
        SetEnd(count + 1);
    }

    unsigned long Length() const { return length; } // a limb more than the number

    Half low[MaxLimbs + 1 + GroupLimbs];
    Half high[MaxLimbs + 1 + GroupLimbs];

private:
    void SetLimb(unsigned long at, std::uint32_t limb)
    {
        low[at] = static_cast<Half>(limb & LowMask);
        high[at] = static_cast<Half>(limb >> HalfShift);
    }

    void SetEnd(unsigned long end)
    {
        length = end;
        std::fill(low + end, low + end + GroupLimbs, Half{0});
        std::fill(high + end, high + end + GroupLimbs, Half{0});
    }

    unsigned long length;
};

// The products of `count` limbs of a, from `i` on, by those of b, from `j` on. A group that reaches
// past them meets zeros in one of the numbers.
Column SumOfProducts(const Halves& a, unsigned long i, const Halves& b, unsigned long j,
                     unsigned long count)
{
    Products products;
    for (unsigned long at = 0; at < count; at += GroupLimbs)
        products.Add(a.low + i + at, a.high + i + at, b.low + j + at, b.high + j + at);
    return products.Sum();
}

// The same in a square: what lies on both sides of the column's middle is formed once.
Column SumOfSquare(const Halves& a, unsigned long i, const Halves& b, unsigned long j,
                   unsigned long count)
{
    Products products;
    unsigned long at = 0;
    for (; at + GroupLimbs <= count / 2; at += GroupLimbs)
        products.Add(a.low + i + at, a.high + i + at, b.low + j + at, b.high + j + at);
    products.AddPart(a.low + i + at, a.high + i + at, b.low + j + at, b.high + j + at,
                     count / 2 - at);
    Column column = products.Sum();
    column.low *= 2;
    column.high *= 2;
    if (count % 2 != 0) {
        const std::int32_t low = a.low[i + count / 2], high = a.high[i + count / 2];
        column.low += low * low + Up(low * high, HalfShift + 1);
        column.high += high * high;
    }
    return column;
}

#ifdef __SSE2__

// Whether low or high halves next to each other are -32768 both. Multiplied by two more of them
// they make 2^31, which a lane of 32 bits cannot hold.
bool HasExtremes(const Halves& number)
{
    const Half lowest = -32768;
    for (unsigned long i = 1; i < number.Length(); ++i) {
        if ((number.low[i - 1] == lowest && number.low[i] == lowest) ||
            (number.high[i - 1] == lowest && number.high[i] == lowest))
            return true;
    }
    return false;
}

#else

bool HasExtremes(const Halves&) { return false; } // nothing is added up in 32 bits

#endif

} // namespace

bool MultiplyHalves(std::uint32_t* a, unsigned long aLength, const std::uint32_t* b,
                    unsigned long bLength)
{
    if (std::min(aLength, bLength) < MinLimbs || std::max(aLength, bLength) > MaxLimbs)
        return false;
    Halves up, down;
    up.Set(a, aLength);
    down.SetReversed(b, bLength);
    if (HasExtremes(up))
        return false;

    // The balanced numbers have a limb more each, and more columns than the product has limbs. What
    // those hold is cancelled by the carry into them, so they are not formed.
    std::int64_t carry = 0;
    for (unsigned long k = 0; k < aLength + bLength; ++k) {
        // a[i] meets b[k - i], which stands at bLength - k + i in reverse.
        const unsigned long first = k < down.Length() ? 0 : k - bLength;
        const unsigned long count = std::min(k, aLength) + 1 - first;
        const unsigned long at = bLength + first - k;
        const Column column = a == b ? SumOfSquare(up, first, down, at, count)
                                     : SumOfProducts(up, first, down, at, count);
        carry += column.low;
        a[k] = static_cast<std::uint32_t>(carry & 0xFFFFFFFF);
        carry = (carry >> FullShift) + column.high;
    }
    return true;
}

#ifdef __ARM_FEATURE_SIMD32

HalvesDivisor::HalvesDivisor(const std::uint32_t* divisor, unsigned long count)
    : limbs(divisor), length(count)
{
    if (count > MaxLimbs)
        return;
    Balancer balancer;
    std::uint32_t below = 0;
    for (unsigned long i = 0; i <= count; ++i) {
        const std::uint32_t limb = i < count ? balancer.Next(divisor[i]) : balancer.Carry();
        pairs[i].own = static_cast<std::int32_t>(limb);
        pairs[i].crossing = static_cast<std::int32_t>((below & ~LowMask) | (limb & LowMask));
        below = limb;
    }
}

std::uint32_t HalvesDivisor::SubtractMultiple(std::uint32_t* part, std::uint32_t digit) const
{
    Balancer balancer;
    const std::int32_t factor = static_cast<std::int32_t>(balancer.Next(0 - digit));
    // The factor is -digit, or 2^32 more than that: then a whole divisor is missing, a limb above.
    return digit > Balance ? AddMultiple<true>(part, factor) : AddMultiple<false>(part, factor);
}

// part += divisor * factor, and if `WholeAbove`, part -= divisor * 2^32.
template <bool WholeAbove>
std::uint32_t HalvesDivisor::AddMultiple(std::uint32_t* part, std::int32_t factor) const
{
    std::int32_t carry = 0;
    std::uint32_t below = 0;
    const auto Next = [&](const Pairs& pair, std::uint32_t limb) {
        // Two products of -32768 and -32768 would be more than 32 bits hold, but Fits keeps the
        // factor away whose halves both are that. The other two are added in 64 bits.
        const std::int32_t odd = __smuadx(pair.own, factor);
        std::int64_t sum = __smlald(pair.crossing, factor, carry);
        sum += limb;
        sum += static_cast<std::uint32_t>(odd) << HalfShift;
        if (WholeAbove)
            sum -= below;
        carry = static_cast<std::int32_t>(sum >> FullShift) + (odd >> HalfShift);
        return static_cast<std::uint32_t>(sum & 0xFFFFFFFF);
    };
    for (unsigned long i = 0; i < length; ++i) {
        part[i] = Next(pairs[i], part[i]);
        if (WholeAbove)
            below = limbs[i];
    }
    return 0 - Next(pairs[length], 0);
}

#endif

} // namespace Internal
} // namespace ORVEX

#endif
