// SPDX-License-Identifier: MIT
#ifndef ORVEX_STRING_STORE_H
#define ORVEX_STRING_STORE_H

#include <ORVEX/Allocator.h>

#include <climits>

#pragma GCC visibility push(hidden)

namespace ORVEX {
namespace Internal {

/// What a string keeps its text in: the text's bytes and the NUL behind them are its live
/// elements. It may have no block, and then nothing is live. What is raised is what
/// Allocator::Alloc raises, and the store is then as it was.
using Store = Allocator<char, AllocatorEnum::COPY_BYTES>;

/// A sum of lengths; one that would wrap is the largest number instead, which no store takes.
inline unsigned long Sum(unsigned long a, unsigned long b)
{
    return b <= ULONG_MAX - a ? a + b : ULONG_MAX;
}

/// Makes `n` bytes live, the NUL among them, and keeps the first of those that were.
void Resize(Store& store, unsigned long n);

/// Makes the text these bytes, which may be the store's own.
void Assign(Store& store, const char* first, unsigned long length);

/// Makes the text `length` bytes longer and returns where they go; they have any value.
char* Extend(Store& store, unsigned long length);

/// Releases the block, unless its capacity is fixed; no byte is live.
void Release(Store& store);

} // namespace Internal
} // namespace ORVEX

#pragma GCC visibility pop

#endif
