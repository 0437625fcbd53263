// SPDX-License-Identifier: MIT
#ifndef ORVEX_ALLOCATOR_ALLOCATOR_H
#define ORVEX_ALLOCATOR_ALLOCATOR_H

#include "Heep.h"

#include <ORVEX/Err.h>

#include <cstdint>
#include <type_traits>
#include <utility>

namespace ORVEX {

/// The names that Allocator takes as template arguments.
struct AllocatorEnum {
    /// How an allocator's elements are copied.
    enum CopyType : std::int32_t {
        COPY_BYTES = 2 ///< As plain bytes, by Heep::MemCopy.
    };
};

/// A heap block with a used size and a policy for its capacity.
///
/// Requests up to the base size get a block of the base size; larger ones get whole blocks of
/// the block size with at least half a block of room to grow. A block size of 0 fixes the
/// capacity at the base size. Owns its block as Heep does; one thread at a time. Invariant: with
/// a block size other than 0, Size() is at most Capacity().
class AllocatorBase : public Heep {
public:
    /// No block yet; allocates nothing.
    /// @param base   capacity in bytes that every request up to it is given
    /// @param block  unit in bytes of larger capacities; 0 fixes the capacity at `base`
    AllocatorBase(std::uint32_t base, std::uint32_t block) : baseSize(base), blockSize(block) {}

    /// Rounds `n` up to a multiple of the block size, which must not be 0; at least one block.
    /// What is too large for that becomes the largest number there is, which no heap can give.
    unsigned long ConvertBlockSize(unsigned long n) const;

    /// Says whether a used size of `n` bytes may stay in the block.
    ///
    /// A larger size than the block never does. A smaller one does until one and a half blocks
    /// would lie idle, and even then when it is at most the base size: a large block that is
    /// emptied is kept. With a fixed capacity, whether `n` is at most the base size.
    bool ReAllocCheck(unsigned long n) const
    {
        if (blockSize == 0)
            return n <= baseSize;
        if (n > capacity)
            return false;
        const unsigned long idle = capacity - n;
        return n <= baseSize || idle < blockSize || idle - blockSize < blockSize / 2;
    }

    /// Takes a fresh block for `n` bytes, not initialised, and sets the size to `n`. The old
    /// bytes are lost.
    /// @throws Err  ERR_OVERFLOW, data `n`, when the capacity is fixed and `n` is above it;
    /// nothing has changed then
    /// @throws Err  ERR_MEMORY, data 4, as Heep::Alloc; no block and size 0 then
    void Alloc(unsigned long n);

    /// Makes the size `n` without touching the block, if the block may serve it. With a fixed
    /// capacity only the answer is given, and the size stays.
    /// @return false when the size needs a new block; nothing has changed then
    bool ReAlloc(unsigned long n)
    {
        if (blockSize == 0)
            return n <= baseSize; // The size stays as it is, on purpose.
        // Unlike in Alloc, no half block is added before rounding.
        if (!ReAllocCheck(n) && !Heep::ReAlloc(ConvertBlockSize(n)))
            return false;
        size = static_cast<std::uint32_t>(n);
        return true;
    }

    /// Releases the block and sets the size to 0. With a fixed capacity it does nothing.
    void Free();

    /// Trades block and size; each side keeps its sizing. `other` should not have a fixed
    /// capacity either: nothing would then hold it to the block that it gets.
    /// @throws Err  ERR_PARAMETER, data 0, when this capacity is fixed
    void Swap(AllocatorBase& other);

    unsigned long Size() const { return size; }           ///< Bytes in use.
    unsigned long BaseSize() const { return baseSize; }   ///< Smallest, or fixed, capacity.
    unsigned long BlockSize() const { return blockSize; } ///< Unit of capacities; 0: fixed.

protected:
    void SwapBlock(AllocatorBase& other); ///< Trades block and size without asking.

    std::uint32_t size = 0;  ///< Bytes in use.
    std::uint32_t baseSize;  ///< In bytes; see BaseSize.
    std::uint32_t blockSize; ///< In bytes; see BlockSize.
};

/// An allocator with a typed view of the elements that are live in its block.
///
/// The owner says with SetRange which elements these are; the allocator itself only forgets
/// them, whenever their block goes. Sizes stay in bytes. Elements are neither constructed nor
/// destroyed.
template <class T, AllocatorEnum::CopyType Copying> class Allocator : public AllocatorBase {
    static_assert(Copying != AllocatorEnum::COPY_BYTES || std::is_trivially_copyable<T>::value,
                  "elements that are copied as bytes must allow it");

public:
    using AllocatorBase::AllocatorBase;

    /// Releases the block.
    ~Allocator() { Free(); }

    /// As AllocatorBase::Alloc; no element is live in the fresh block.
    void Alloc(unsigned long n)
    {
        if (blockSize != 0 || n <= baseSize)
            begin = end = nullptr;
        AllocatorBase::Alloc(n);
    }

    /// As AllocatorBase::Free; with it go the live elements.
    void Free()
    {
        if (blockSize != 0)
            begin = end = nullptr;
        AllocatorBase::Free();
    }

    /// Forgets the live elements and makes the size 0, which a fixed capacity leaves as it is.
    /// The block stays: an emptied one always may.
    void Clear()
    {
        if (!ReAlloc(0))
            Free();
        begin = end = nullptr;
    }

    /// Makes the first `count` elements of the block, which must have the room, the live ones.
    void SetRange(unsigned long count)
    {
        begin = reinterpret_cast<T*>(data);
        end = begin + count;
    }

    /// The hand-over: trades block, size and live elements, which stay where they are; each
    /// side keeps its sizing. About `other` see AllocatorBase::Swap.
    /// @throws Err  ERR_PARAMETER, data 0, when this capacity is fixed
    void Swap(Allocator& other)
    {
        if (blockSize == 0)
            throw Err("./include/ORVEX/../../src/Allocator/Allocator", __LINE__, Err::ERR_PARAMETER,
                      static_cast<int>(blockSize));
        SwapBlock(other);
        std::swap(begin, other.begin);
        std::swap(end, other.end);
    }

    T* Begin() { return begin; }             ///< First live element; null when there is none.
    const T* Begin() const { return begin; } ///< First live element; null when there is none.
    T* End() { return end; }                 ///< One past the last live element.
    const T* End() const { return end; }     ///< One past the last live element.

    /// Number of live elements.
    unsigned long Length() const { return static_cast<unsigned long>(end - begin); }

    bool Empty() const { return begin == end; } ///< Whether no element is live.

protected:
    T* begin = nullptr; ///< Inside the block; null when nothing is live.
    T* end = nullptr;   ///< One past the last live element.
};

} // namespace ORVEX

#endif
