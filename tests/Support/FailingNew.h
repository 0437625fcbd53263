// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_FAILINGNEW_H
#define ORVEX_TESTS_FAILINGNEW_H

#include <cstddef>

/// Makes operator new of the calling thread throw std::bad_alloc while the object lives. Only
/// in test binaries that are built with FAILING_NEW; those count allocations as well.
class FailingNew {
public:
    enum Mode { Once, FromThenOn };

    /// The allocation number `which` from now, counted from 1, fails; with FromThenOn so does
    /// every later one.
    explicit FailingNew(long which = 1, Mode mode = Once);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    bool Hit() const; ///< Whether an allocation has failed since construction.
};

/// Blocks that are allocated and not yet released, over all threads.
long LiveBlocks();

/// Allocations so far, over all threads.
long AllocationsSoFar();

/// Sets the byte with which every new block is filled from now on; -1 leaves blocks as they come.
void FillNewBlocksWith(int byte);

/// Refuses every block of more than `bytes` bytes from now on, in all threads, as a device with
/// little memory does; 0 refuses none.
void RefuseBlocksAbove(std::size_t bytes);

#endif
