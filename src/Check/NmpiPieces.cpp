// SPDX-License-Identifier: MIT
#include "NmpiPieces.h"

#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__SSE2__) || defined(__ARM_FEATURE_SIMD32))

#include <algorithm>
#include <cstddef>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#else
#include <arm_acle.h>
#include <cstring>
#endif

namespace ORVEX {
namespace Internal {

namespace {

// A number in pieces of 14 bits each, the least significant one first. A product of two pieces has
// 28 bits, so several are added up before anything overflows 32 bits, and the processor forms and
// adds more than one of them at once, in lanes of 16 x 16 bits. All sums are exact.
using Piece = std::int16_t;
constexpr unsigned PieceBits = 14;
constexpr std::int32_t PieceMask = (1 << PieceBits) - 1;

// Limbs are cut into pieces by the group: 7 limbs are 16 pieces.
constexpr unsigned long GroupLimbs = 7;
constexpr unsigned long GroupPieces = 16;

// Pieces live on the stack, in less than 3 KB for numbers of 4096 bits.
constexpr unsigned long MinLimbs = 6;
constexpr unsigned long MaxLimbs = 19 * GroupLimbs;
constexpr unsigned long MaxPieces = 19 * GroupPieces;

// Zeros behind the last piece: what is loaded or joined by the group may reach behind a number.
constexpr unsigned long Padding = 32;

// The sum of a[i] * b[i].
#ifdef __SSE2__

inline __m128i LoadPieces(const Piece* from)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

// Four sums of two products each, of 8 pieces.
inline __m128i Products(const Piece* a, const Piece* b)
{
    return _mm_madd_epi16(LoadPieces(a), LoadPieces(b));
}

inline __m128i MaskedProducts(const Piece* a, const Piece* b, const Piece* mask)
{
    return _mm_madd_epi16(_mm_and_si128(LoadPieces(a), LoadPieces(mask)), LoadPieces(b));
}

// Four sums of 32 bits become two of 64.
inline __m128i Widened(__m128i sums)
{
    const __m128i signs = _mm_srai_epi32(sums, 31);
    return _mm_add_epi64(_mm_unpacklo_epi32(sums, signs), _mm_unpackhi_epi32(sums, signs));
}

inline std::int64_t SumOfProducts(const Piece* a, const Piece* b, unsigned long count)
{
    alignas(16) static const Piece masks[64] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                                                -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                                                -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    // A lane takes 8 products below 2^28 at most before it is widened.
    const Piece* const mask = masks + 32 - count % 32;
    __m128i sums = _mm_add_epi32(
        _mm_add_epi32(MaskedProducts(a, b, mask), MaskedProducts(a + 8, b + 8, mask + 8)),
        _mm_add_epi32(MaskedProducts(a + 16, b + 16, mask + 16),
                      MaskedProducts(a + 24, b + 24, mask + 24)));
    __m128i total = Widened(sums);
    a += count % 32;
    b += count % 32;
    for (count /= 32; count != 0; a += 32, b += 32, --count) {
        sums = _mm_add_epi32(_mm_add_epi32(Products(a, b), Products(a + 8, b + 8)),
                             _mm_add_epi32(Products(a + 16, b + 16), Products(a + 24, b + 24)));
        total = _mm_add_epi64(total, Widened(sums));
    }
    total = _mm_add_epi64(total, _mm_unpackhi_epi64(total, total));
    std::int64_t sum;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&sum), total);
    return sum;
}

#else

inline int16x2_t LoadPair(const Piece* from)
{
    int16x2_t pair;
    std::memcpy(&pair, from, sizeof pair);
    return pair;
}

std::int64_t SumOfProducts(const Piece* a, const Piece* b, unsigned long count)
{
    std::int64_t sum = 0;
    if ((count & 1) != 0)
        sum = *a++ * *b++;
    if ((count & 2) != 0) {
        sum = __smlald(LoadPair(a), LoadPair(b), sum);
        a += 2;
        b += 2;
    }
    if ((count & 4) != 0) {
        sum = __smlald(LoadPair(a), LoadPair(b), sum);
        sum = __smlald(LoadPair(a + 2), LoadPair(b + 2), sum);
        a += 4;
        b += 4;
    }
    for (count /= 8; count != 0; --count) {
        sum = __smlald(LoadPair(a), LoadPair(b), sum);
        sum = __smlald(LoadPair(a + 2), LoadPair(b + 2), sum);
        sum = __smlald(LoadPair(a + 4), LoadPair(b + 4), sum);
        sum = __smlald(LoadPair(a + 6), LoadPair(b + 6), sum);
        a += 8;
        b += 8;
    }
    return sum;
}

#endif

template <unsigned long i> inline Piece CutPiece(const std::uint32_t* limbs)
{
    constexpr unsigned long bit = i * PieceBits, offset = bit % 32;
    std::uint32_t bits = limbs[bit / 32] >> offset;
    if constexpr (offset > 32 - PieceBits)
        bits |= limbs[bit / 32 + 1] << (32 - offset);
    return static_cast<Piece>(bits & PieceMask);
}

template <std::size_t... i>
inline void CutGroup(const std::uint32_t* limbs, Piece* pieces, std::index_sequence<i...>)
{
    ((pieces[i] = CutPiece<i>(limbs)), ...);
}

// Returns the number of pieces without zeros at the top, of which there is at least one.
unsigned long Cut(const std::uint32_t* limbs, unsigned long count, Piece* pieces)
{
    Piece* at = pieces;
    for (; count >= GroupLimbs; limbs += GroupLimbs, at += GroupPieces, count -= GroupLimbs)
        CutGroup(limbs, at, std::make_index_sequence<GroupPieces>());
    if (count != 0) {
        std::uint32_t last[GroupLimbs] = {};
        std::copy(limbs, limbs + count, last);
        CutGroup(last, at, std::make_index_sequence<GroupPieces>());
        at += GroupPieces;
    }
    std::fill(at, at + Padding, Piece{0});
    while (at[-1] == 0)
        --at;
    return static_cast<unsigned long>(at - pieces);
}

template <unsigned long i> inline std::uint32_t JoinLimb(const Piece* pieces)
{
    constexpr unsigned long first = i * 32 / PieceBits, gone = i * 32 % PieceBits;
    const auto Bits = [pieces](unsigned long at) { return static_cast<std::uint32_t>(pieces[at]); };
    std::uint32_t limb = Bits(first) >> gone | Bits(first + 1) << (PieceBits - gone) |
                         Bits(first + 2) << (2 * PieceBits - gone);
    if constexpr (3 * PieceBits - gone < 32)
        limb |= Bits(first + 3) << (3 * PieceBits - gone);
    return limb;
}

template <std::size_t... i>
inline void JoinGroup(const Piece* pieces, std::uint32_t* limbs, std::index_sequence<i...>)
{
    ((limbs[i] = JoinLimb<i>(pieces)), ...);
}

// The first `count` limbs of the pieces, which end with a whole group.
void Join(const Piece* pieces, std::uint32_t* limbs, unsigned long count)
{
    for (; count >= GroupLimbs; limbs += GroupLimbs, pieces += GroupPieces, count -= GroupLimbs)
        JoinGroup(pieces, limbs, std::make_index_sequence<GroupLimbs>());
    if (count != 0) {
        std::uint32_t last[GroupLimbs];
        JoinGroup(pieces, last, std::make_index_sequence<GroupLimbs>());
        std::copy(last, last + count, limbs);
    }
}

// The lowest piece of a column's sum; what is left are the carries into the next column.
inline Piece TakePiece(std::int64_t& sum)
{
    const Piece piece = static_cast<Piece>(static_cast<std::int32_t>(sum) & PieceMask);
    sum >>= PieceBits;
    return piece;
}

// `value` * 2^bits, for values below 0 as well.
inline std::int64_t Up(std::int64_t value, unsigned bits)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(value) << bits);
}

// The three pieces that end before `end`, as one number.
std::int64_t TopOf(const Piece* end)
{
    return Up(end[-1], 2 * PieceBits) + Up(end[-2], PieceBits) + end[-3];
}

// Finds quotient digits of a piece's size by the divisor's three top pieces.
class DigitFinder {
public:
    explicit DigitFinder(const Piece* divisorEnd)
        : d0(divisorEnd[-3]), d1(divisorEnd[-2]), d2(divisorEnd[-1])
    {
        // 2^(bits + 15) / divisor, by restoring division and rounded: from 2^15 to 2^16.
        const std::int64_t divisor = TopOf(divisorEnd);
        unsigned bits = 3 * PieceBits;
        while (divisor >> (bits - 1) == 0)
            --bits;
        std::int64_t rest = Up(1, bits - 1);
        for (int bit = 0; bit < 17; ++bit) {
            inverse <<= 1;
            if (rest >= divisor) {
                rest -= divisor;
                inverse |= 1;
            }
            rest <<= 1;
        }
        if (rest >= divisor)
            ++inverse;
        down = bits - 16;
    }

    // The digit whose multiple comes nearest to the partial remainder, of which `top` stands above
    // the divisor's third piece. It may be off a little, the next digit makes up for it.
    std::int32_t Find(std::int64_t top) const
    {
        // top / 2^down * inverse / 2^31, rounded, the 30 bits in two parts.
        const std::int32_t cut = static_cast<std::int32_t>(top >> down);
        const std::int32_t low = (cut & 0x7FFF) * inverse >> 15;
        return ((cut >> 15) * inverse + low + 0x8000) >> 16;
    }

    // What `digit` times the three pieces is.
    std::int64_t Multiple(std::int32_t digit) const
    {
        return Up(digit * d2, 2 * PieceBits) + Up(digit * d1, PieceBits) + digit * d0;
    }

private:
    std::int32_t d0, d1, d2;
    std::int32_t inverse = 0;
    unsigned down;
};

// The sum of q[i] * d[c - i] over the `known` highest digits of the quotient, which has `count`
// of them; q holds the highest one first.
std::int64_t QuotientColumn(const Piece* q, unsigned long known, unsigned long count,
                            const Piece* d, unsigned long c)
{
    const unsigned long last = count - 1;
    const unsigned long first = c < last ? last - c : 0;
    return first < known ? SumOfProducts(d + (c + first - last), q + first, known - first) : 0;
}

} // namespace

bool FitPieces(unsigned long aLength, unsigned long bLength)
{
    return aLength >= MinLimbs && aLength <= MaxLimbs && bLength >= MinLimbs && bLength <= MaxLimbs;
}

void MultiplyPieces(std::uint32_t* a, unsigned long aLength, const std::uint32_t* b,
                    unsigned long bLength)
{
    Piece aPieces[MaxPieces + Padding], bReversed[MaxPieces + Padding];
    Piece product[2 * MaxPieces + Padding];
    const unsigned long aCount = Cut(a, aLength, aPieces);
    const unsigned long bCount = Cut(b, bLength, product);
    std::reverse_copy(product, product + bCount, bReversed);
    std::fill(bReversed + bCount, bReversed + bCount + Padding, Piece{0});

    std::int64_t sum = 0;
    for (unsigned long k = 0; k < aCount + bCount - 1; ++k) {
        // a[i] meets b[k - i], which stands at bCount - 1 - k + i in reverse.
        const unsigned long first = k < bCount ? 0 : k - (bCount - 1);
        const unsigned long count = std::min(k, aCount - 1) + 1 - first;
        const Piece* const up = aPieces + first;
        const Piece* const down = bReversed + (bCount - 1 - k + first);
        if (a == b) {
            // What lies on both sides of the middle is formed once.
            sum += 2 * SumOfProducts(up, down, count / 2);
            if (count % 2 != 0)
                sum += aPieces[k / 2] * aPieces[k / 2];
        } else {
            sum += SumOfProducts(up, down, count);
        }
        product[k] = TakePiece(sum);
    }
    Piece* const top = product + (aCount + bCount - 1);
    *top = TakePiece(sum);
    std::fill(top + 1, top + 1 + Padding, Piece{0});
    Join(product, a, aLength + bLength);
}

// Long division with digits that are rounded to the nearest and may be negative. So the partial
// remainder stays within 0.7 of the divisor on either side of 0 when digits are found from 30 bits
// of it, and no digit has to be corrected. (The inverse, of 16 bits, puts a digit d off by at most
// d / 2^16, which is below 0.18; the pieces below the three that are looked at, by less than 0.02.)
// Each column of the product quotient * divisor is summed up once, when the digits for it are
// known, and subtracted from the number as it is formed: the columns that the digits are found
// from on the way down, the ones below all together at the end.
void DividePieces(std::uint32_t* number, unsigned long length, const std::uint32_t* divisor,
                  unsigned long divisorLength, std::uint32_t* quotient)
{
    Piece n[2 * MaxPieces + Padding], d[MaxPieces + Padding];
    Piece q[MaxPieces + Padding] = {}; // the digits, the highest one first
    const unsigned long nCount = Cut(number, length, n);
    const unsigned long dCount = Cut(divisor, divisorLength, d);
    const unsigned long qCount = nCount - dCount + 1;

    const DigitFinder finder(d + dCount);
    std::int64_t top = TopOf(n + nCount);
    for (unsigned long known = 0;;) {
        const std::int32_t digit = finder.Find(top);
        top -= finder.Multiple(digit);
        q[known++] = static_cast<Piece>(digit);
        if (known == qCount)
            break;
        const unsigned long c = nCount - 3 - known;
        top = Up(top, PieceBits) + n[c] - QuotientColumn(q, known, qCount, d, c);
    }

    std::int64_t sum = 0;
    for (unsigned long c = 0; c < dCount; ++c) {
        if (c < dCount - 3)
            sum += n[c] - QuotientColumn(q, qCount, qCount, d, c);
        else if (c == dCount - 3)
            sum += top;
        n[c] = TakePiece(sum);
    }
    // A remainder below 0 takes one divisor back from the last digit.
    const bool negative = sum < 0;
    if (negative) {
        sum = 0;
        for (unsigned long c = 0; c < dCount; ++c) {
            sum += n[c] + d[c];
            n[c] = TakePiece(sum);
        }
    }
    std::fill(n + dCount, n + dCount + Padding, Piece{0});
    Join(n, number, divisorLength);
    std::fill(number + divisorLength, number + length, 0u);

    sum = negative ? -1 : 0;
    for (unsigned long i = 0; i < qCount; ++i) {
        sum += q[qCount - 1 - i];
        n[i] = TakePiece(sum);
    }
    std::fill(n + qCount, n + qCount + Padding, Piece{0});
    Join(n, quotient, length - divisorLength + 1);
}

} // namespace Internal
} // namespace ORVEX

#endif
