// SPDX-License-Identifier: MIT
#ifndef ORVEX_ALLOCATOR_HEEP_H
#define ORVEX_ALLOCATOR_HEEP_H

#include <cstdint>

namespace ORVEX {

/// One heap block that knows its capacity and nothing of what it holds.
///
/// Owns the block while Capacity() is not 0; ownership moves by Swap alone. One thread at a
/// time. Invariant: Capacity() is a multiple of 8, and 0 when there is no block.
class Heep {
public:
    Heep() = default; ///< No block; allocates nothing.
    Heep(const Heep&) = delete;
    Heep& operator=(const Heep&) = delete;
    ~Heep() { Free(); } ///< Releases the block.

    /// Releases the block and takes a new one, whose bytes are not initialised.
    /// @param n  bytes, rounded up to a multiple of 8; 0 leaves no block
    /// @throws Err  ERR_MEMORY, data 4 whatever the size; there is no block then
    void Alloc(unsigned long n);

    /// Says whether the block is exactly `n` bytes large; it is never moved or resized.
    bool ReAlloc(unsigned long n) const { return n == capacity; }

    /// Releases the block. With a capacity of 0 it does nothing, even if Data() is set.
    void Free();

    void Swap(Heep& other); ///< Trades blocks; copies no byte, never raises.

    /// Copies `n` bytes; the ranges must not overlap.
    static void MemCopy(unsigned char* dst, const unsigned char* src, unsigned long n);

    /// Copies the bytes [first, last) to `offset` of the own block, which must have the room.
    /// Mind that two pointers to non-const bytes select the static form of this name.
    void MemCopy(const unsigned char* first, const unsigned char* last, unsigned long offset);

    /// Sets `n` bytes to `value`.
    static void MemInit(unsigned char* dst, unsigned char value, unsigned long n);

    /// Sets the first `n` bytes of the own block, which must be that large, to `value`.
    void MemInit(unsigned char value, unsigned long n) { MemInit(data, value, n); }

    /// Compares two unsigned numbers of `n` bytes, stored least significant byte first.
    /// @return 1 when `a` is the greater, -1 when `b` is, 0 when they are equal or `n` is 0
    static int MemComp(const unsigned char* a, const unsigned char* b, unsigned long n);

    /// Compares the own block's first bytes with [first, last) in the same way.
    int MemComp(const unsigned char* first, const unsigned char* last) const
    {
        return MemComp(data, first, static_cast<unsigned long>(last - first));
    }

    unsigned char* Data() { return data; }              ///< The block; null when there is none.
    const unsigned char* Data() const { return data; }  ///< The block; null when there is none.
    unsigned long Capacity() const { return capacity; } ///< Size of the block in bytes.

protected:
    unsigned char* data = nullptr; ///< Owned while capacity is not 0.
    std::uint32_t capacity = 0;    ///< In bytes, a multiple of 8.
};

} // namespace ORVEX

#endif
