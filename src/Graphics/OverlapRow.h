// SPDX-License-Identifier: MIT
#ifndef ORVEX_SRC_OVERLAPROW_H
#define ORVEX_SRC_OVERLAPROW_H

#include <ORVEX/Color.h>

namespace ORVEX {
namespace Internal {
#pragma GCC visibility push(hidden)

/// Blends `count` pixels from `from` on over those from `to` on, in this order, each as
/// Color::Overlap does. The two may be parts of one row.
void OverlapRow(Color* to, const Color* from, unsigned long count);

/// The same, pixel by pixel in plain integers: what is left for processors without vectors, and
/// of rows that are no multiple of their blocks.
void OverlapPixels(Color* to, const Color* from, unsigned long count);

/// Each of these blends as many of the first pixels as it can in whole blocks, and returns their
/// number. `to` must not lie behind `from` within the same pixels.
/// @{
#if defined(__SSE2__)
unsigned long OverlapBlocksSse2(Color* to, const Color* from, unsigned long count);
#endif
#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__x86_64__) || defined(__i386__))
unsigned long OverlapBlocksAvx2(Color* to, const Color* from, unsigned long count);
#endif
#if defined(__ARM_NEON)
unsigned long OverlapBlocksNeon(Color* to, const Color* from, unsigned long count);
#endif
/// @}

#pragma GCC visibility pop
} // namespace Internal
} // namespace ORVEX

#endif
