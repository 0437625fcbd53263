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

/// Follows a store that grows step by step, without the blocks on the way: each of them would be
/// taken, filled with what the one before it held, and given back. Of the allocator that it is only
/// the policy and the numbers are used; it never has a block. One that is sure to be refused ends
/// the growth.
class Growth : AllocatorBase {
public:
    /// Starts without a block, with the sizing of `store`.
    explicit Growth(const Store& store);

    void To(unsigned long n);           ///< Grows to `n` live bytes; does nothing for 0.
    void ByteByByteTo(unsigned long n); ///< The same, one byte after the other.

    /// Gives `store`, which has no live byte, the block and the length of this growth. Where that
    /// ended in a refusal, this raises.
    void Apply(Store& store) const;

private:
    unsigned long length = 0;  // live bytes
    unsigned long request = 0; // the length for which the block was asked for
    bool refused = false;
};

} // namespace Internal
} // namespace ORVEX

#pragma GCC visibility pop

#endif
