// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_SWEEP_FAILINGHEAP_H
#define ORVEX_TESTS_SWEEP_FAILINGHEAP_H

/// Makes malloc, calloc and realloc of the calling thread answer null while it lives, and with
/// them whatever stands on them: operator new, FreeType, the C library's own blocks, and the one
/// in which the compiler's run-time library keeps an exception. Only in binaries that are built
/// with FailingHeap.cpp, whose functions of those names take the calls.
class FailingHeap {
public:
    /// The request number `which` from now, counted from 1, fails; with `fromThenOn` so does every
    /// later one.
    FailingHeap(long which, bool fromThenOn);
    ~FailingHeap();
    FailingHeap(const FailingHeap&) = delete;
    FailingHeap& operator=(const FailingHeap&) = delete;

    bool Hit() const; ///< Whether a request has failed.
};

/// Blocks that are allocated and not yet released, over all threads.
long LiveHeapBlocks();

#endif
