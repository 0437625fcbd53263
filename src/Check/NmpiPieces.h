// SPDX-License-Identifier: MIT
#ifndef ORVEX_SRC_NMPIPIECES_H
#define ORVEX_SRC_NMPIPIECES_H

#include <cstdint>

namespace ORVEX {
namespace Internal {
#pragma GCC visibility push(hidden)

// Products and quotients of numbers of middle size where the processor multiplies several pairs
// of 16-bit numbers in one instruction: SSE2, and the media instructions of 32-bit ARM.
#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__SSE2__) || defined(__ARM_FEATURE_SIMD32))

/// Whether numbers of so many limbs are better cut into pieces; the ones that are shorter lose
/// more by the cutting than they gain, and for longer ones there is no room.
bool FitPieces(unsigned long aLength, unsigned long bLength);

/// a = a * b over `aLength` + `bLength` limbs at `a`. Both may be the same number. The top limb of
/// neither is 0.
void MultiplyPieces(std::uint32_t* a, unsigned long aLength, const std::uint32_t* b,
                    unsigned long bLength);

/// Divides the `length` limbs at `number` by the `divisorLength` limbs at `divisor`, which are not
/// greater: the quotient fills `length` - `divisorLength` + 1 limbs, the remainder as many limbs
/// of the number as the divisor has, and those above become 0. Divisor and quotient fit pieces;
/// the top limb of neither number is 0. Three different arrays.
void DividePieces(std::uint32_t* number, unsigned long length, const std::uint32_t* divisor,
                  unsigned long divisorLength, std::uint32_t* quotient);

#else

inline bool FitPieces(unsigned long, unsigned long) { return false; }
inline void MultiplyPieces(std::uint32_t*, unsigned long, const std::uint32_t*, unsigned long) {}
inline void DividePieces(std::uint32_t*, unsigned long, const std::uint32_t*, unsigned long,
                         std::uint32_t*)
{
}

#endif

#pragma GCC visibility pop
} // namespace Internal
} // namespace ORVEX

#endif
