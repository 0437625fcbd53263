// SPDX-License-Identifier: MIT
#ifndef ORVEX_SRC_NMPIHALVES_H
#define ORVEX_SRC_NMPIHALVES_H

#include <cstdint>

namespace ORVEX {
namespace Internal {
#pragma GCC visibility push(hidden)

// Products of half-limbs where the processor forms several in one instruction: SSE2, and the media
// instructions of 32-bit ARM. They multiply signed numbers, so half-limbs are balanced: one of
// 32768 or more becomes itself less 65536, and the next one becomes 1 more.

#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__SSE2__) || defined(__ARM_FEATURE_SIMD32))

/// a = a * b over `aLength` + `bLength` limbs at `a`; both may be the same number.
/// @return  whether it has been done; nothing is touched when the numbers are too short to gain
///          by it, too long, or have digits whose products are too large
bool MultiplyHalves(std::uint32_t* a, unsigned long aLength, const std::uint32_t* b,
                    unsigned long bLength);

#else

inline bool MultiplyHalves(std::uint32_t*, unsigned long, const std::uint32_t*, unsigned long)
{
    return false;
}

#endif

#if defined(ORVEX_RUNTIME_FAST_PATHS) && defined(__ARM_FEATURE_SIMD32)

/// A divisor with balanced half-limbs, made once for all digits of a quotient. The limbs that it
/// is made of outlive it.
class HalvesDivisor {
public:
    static constexpr bool Useful = true; ///< Whether any digit may fit.

    HalvesDivisor(const std::uint32_t* divisor, unsigned long count);

    /// Whether SubtractMultiple can do this digit.
    bool Fits(std::uint32_t digit) const { return length <= MaxLimbs && digit != Unfit; }

    /// part -= divisor * digit over as many limbs as the divisor has; returns what is still to be
    /// taken from the limb above.
    std::uint32_t SubtractMultiple(std::uint32_t* part, std::uint32_t digit) const;

private:
    static constexpr unsigned long MaxLimbs = 128;
    static constexpr std::uint32_t Unfit = 0x80008000; // both balanced halves of -Unfit are -32768

    // Half-limbs two by two: those of one limb, and the low one with the high one below it.
    struct Pairs {
        std::int32_t own;
        std::int32_t crossing;
    };

    template <bool WholeAbove>
    std::uint32_t AddMultiple(std::uint32_t* part, std::int32_t factor) const;

    const std::uint32_t* limbs;
    unsigned long length;
    Pairs pairs[MaxLimbs + 1]; // the last one holds the carry out of balancing
};

#else

class HalvesDivisor {
public:
    static constexpr bool Useful = false;

    HalvesDivisor(const std::uint32_t*, unsigned long) {}
    bool Fits(std::uint32_t) const { return false; }
    std::uint32_t SubtractMultiple(std::uint32_t*, std::uint32_t) const { return 0; }
};

#endif

#pragma GCC visibility pop
} // namespace Internal
} // namespace ORVEX

#endif
