// SPDX-License-Identifier: MIT
#include "CRCFold.h"

#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__x86_64__) || defined(__i386__))

#include <immintrin.h>

// A range of bytes is a polynomial: its bits are the coefficients, the lowest bit of the first
// byte that of the highest power. The CRC is its remainder by the generator, so a block may be
// replaced by anything that leaves the same remainder. 16 bytes that stand n bits in front of
// others are therefore multiplied by x^n mod the generator, half by half: that makes them short
// enough to be added (XORed) to those others, and 16 bytes less are left.

namespace ORVEX {
namespace Internal {

namespace {

// x^power mod the generator, reflected: bit 31 is the coefficient of 1, bit 0 that of x^31.
constexpr std::uint64_t PowerOfX(unsigned power)
{
    std::uint64_t value = 0x80000000;
    for (unsigned i = 0; i < power; ++i)
        value = value >> 1 ^ (value & 1 ? 0xEDB88320 : 0);
    return value;
}

// The factors that move 16 bytes towards the end by `bits`. The carry-less product of two halves
// of 64 bits has 127 bits, and without the 128th it reads as if it had been multiplied by x once
// more; so the factors hold one power less.
struct Factors {
    constexpr explicit Factors(unsigned bits)
        : first(PowerOfX(bits + 64 - 1) << 32), second(PowerOfX(bits - 1) << 32)
    {
    }
    std::uint64_t first;  // for the half that comes first and has 64 more bits behind it
    std::uint64_t second; // for the other half
};

constexpr Factors Distance[] = {Factors(1 * 128), Factors(2 * 128), Factors(3 * 128),
                                Factors(4 * 128), Factors(5 * 128), Factors(6 * 128),
                                Factors(7 * 128), Factors(8 * 128)};

using Block = __m128i; // 16 bytes

__attribute__((target("pclmul,sse4.1"))) inline Block Load(const unsigned char* bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const Block*>(bytes));
}

__attribute__((target("pclmul,sse4.1"))) inline Block Pair(std::uint64_t first,
                                                           std::uint64_t second)
{
    return _mm_set_epi64x(static_cast<long long>(second), static_cast<long long>(first));
}

// `block` moved `blocks` times 16 bytes towards the end.
__attribute__((target("pclmul,sse4.1"))) inline Block Move(Block block, unsigned long blocks)
{
    const Block factors = Pair(Distance[blocks - 1].first, Distance[blocks - 1].second);
    return _mm_xor_si128(_mm_clmulepi64_si128(block, factors, 0x00),
                         _mm_clmulepi64_si128(block, factors, 0x11));
}

// Moves `block` to the last whole block of the `length` bytes that follow it and returns the
// register that it leaves there.
__attribute__((target("pclmul,sse4.1"))) inline std::uint32_t
Finish(Block block, const unsigned char* bytes, unsigned long length)
{
    for (; length >= 16; bytes += 16, length -= 16)
        block = _mm_xor_si128(Move(block, 1), Load(bytes));

    // The register is the remainder of the block moved on by its own 32 bits. First 128 bits
    // become 96, then 64.
    const Block low32 = _mm_setr_epi32(-1, 0, 0, 0);
    const Block factors = Pair(PowerOfX(64 + 32 - 1) << 32, PowerOfX(64 - 1) << 32);
    block = _mm_xor_si128(_mm_clmulepi64_si128(block, factors, 0x00),
                          _mm_slli_si128(_mm_srli_si128(block, 8), 4));
    block = _mm_xor_si128(_mm_clmulepi64_si128(block, factors, 0x10), block);
    block = _mm_srli_si128(block, 8);

    // Then Barrett's reduction: the quotient by the generator is estimated with the inverse
    // x^64 / generator, and the generator taken away as often. Both have 33 bits.
    const Block inverse = Pair(0x1F7011641, 0x1DB710641);
    const Block quotient = _mm_clmulepi64_si128(_mm_and_si128(block, low32), inverse, 0x00);
    const Block multiple = _mm_clmulepi64_si128(_mm_and_si128(quotient, low32), inverse, 0x10);
    return static_cast<std::uint32_t>(_mm_extract_epi32(_mm_xor_si128(block, multiple), 1));
}

// Works on `Count` blocks beside each other, because a multiplication takes several cycles and
// the next one need not wait for it.
template <unsigned long Count> __attribute__((target("pclmul,sse4.1"))) inline std::uint32_t
Fold(std::uint32_t crc, const unsigned char* bytes, unsigned long length)
{
    Block blocks[Count];
    for (unsigned long i = 0; i < Count; ++i)
        blocks[i] = Load(bytes + 16 * i);
    blocks[0] = _mm_xor_si128(blocks[0], _mm_cvtsi32_si128(static_cast<int>(crc)));
    bytes += 16 * Count;
    length -= 16 * Count;
    for (; length >= 16 * Count; bytes += 16 * Count, length -= 16 * Count) {
        for (unsigned long i = 0; i < Count; ++i)
            blocks[i] = _mm_xor_si128(Move(blocks[i], Count), Load(bytes + 16 * i));
    }
    Block last = blocks[Count - 1];
    for (unsigned long i = 0; i < Count - 1; ++i)
        last = _mm_xor_si128(last, Move(blocks[i], Count - 1 - i));
    return Finish(last, bytes, length);
}

// Two blocks beside each other.
using TwoBlocks = __m256i;

__attribute__((target("pclmul,sse4.1,avx2,vpclmulqdq"))) inline TwoBlocks
LoadTwo(const unsigned char* bytes)
{
    return _mm256_loadu_si256(reinterpret_cast<const TwoBlocks*>(bytes));
}

__attribute__((target("pclmul,sse4.1,avx2,vpclmulqdq"))) inline TwoBlocks
MoveTwo(TwoBlocks two, unsigned long blocks)
{
    const TwoBlocks factors =
        _mm256_broadcastsi128_si256(Pair(Distance[blocks - 1].first, Distance[blocks - 1].second));
    return _mm256_xor_si256(_mm256_clmulepi64_epi128(two, factors, 0x00),
                            _mm256_clmulepi64_epi128(two, factors, 0x11));
}

} // namespace

std::uint32_t FoldCRC32(std::uint32_t crc, const unsigned char* bytes, unsigned long length)
{
    // The wide half of the registers takes a while to wake up, which pays off in long ranges.
    return length >= 4096 && CanFoldCRC32By32() ? FoldCRC32By32(crc, bytes, length)
                                                : FoldCRC32By16(crc, bytes, length);
}

__attribute__((target("pclmul,sse4.1"))) std::uint32_t
FoldCRC32By16(std::uint32_t crc, const unsigned char* bytes, unsigned long length)
{
    return length < 256 ? Fold<4>(crc, bytes, length) : Fold<8>(crc, bytes, length);
}

__attribute__((target("pclmul,sse4.1,avx2,vpclmulqdq"))) std::uint32_t
FoldCRC32By32(std::uint32_t crc, const unsigned char* bytes, unsigned long length)
{
    constexpr unsigned long Count = 4;
    TwoBlocks two[Count];
    for (unsigned long i = 0; i < Count; ++i)
        two[i] = LoadTwo(bytes + 32 * i);
    two[0] = _mm256_xor_si256(two[0], _mm256_set_epi32(0, 0, 0, 0, 0, 0, 0, static_cast<int>(crc)));
    bytes += 32 * Count;
    length -= 32 * Count;
    for (; length >= 32 * Count; bytes += 32 * Count, length -= 32 * Count) {
        for (unsigned long i = 0; i < Count; ++i)
            two[i] = _mm256_xor_si256(MoveTwo(two[i], 2 * Count), LoadTwo(bytes + 32 * i));
    }
    TwoBlocks last = two[Count - 1];
    for (unsigned long i = 0; i < Count - 1; ++i)
        last = _mm256_xor_si256(last, MoveTwo(two[i], 2 * (Count - 1 - i)));
    return Finish(
        _mm_xor_si128(Move(_mm256_castsi256_si128(last), 1), _mm256_extracti128_si256(last, 1)),
        bytes, length);
}

} // namespace Internal
} // namespace ORVEX

#endif
