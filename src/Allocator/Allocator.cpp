// SPDX-License-Identifier: MIT
#include <ORVEX/Allocator.h>

#include <climits>
#include <utility>

namespace ORVEX {

namespace {

const char File[] = "src/Allocator/Allocator";

// A sum that would wrap is the largest number instead, which Heep::Alloc refuses.
unsigned long AddOrMax(unsigned long a, unsigned long b)
{
    return b <= ULONG_MAX - a ? a + b : ULONG_MAX;
}

} // namespace

unsigned long AllocatorBase::ConvertBlockSize(unsigned long n) const
{
    if (n == 0)
        return blockSize;
    const unsigned long over = n % blockSize;
    return over == 0 ? n : AddOrMax(n, blockSize - over);
}

void AllocatorBase::Alloc(unsigned long n)
{
    if (blockSize == 0 && n > baseSize)
        throw Err(File, __LINE__, Err::ERR_OVERFLOW, static_cast<int>(n));
    Free();
    size = 0; // Free leaves it when the capacity is fixed, and the block may now be refused
    Heep::Alloc(n <= baseSize ? baseSize : ConvertBlockSize(AddOrMax(n, blockSize / 2)));
    size = static_cast<std::uint32_t>(n);
}

void AllocatorBase::Free()
{
    if (blockSize == 0)
        return;
    Heep::Free();
    size = 0;
}

void AllocatorBase::Swap(AllocatorBase& other)
{
    if (blockSize == 0)
        throw Err(File, __LINE__, Err::ERR_PARAMETER, static_cast<int>(blockSize));
    SwapBlock(other);
}

void AllocatorBase::SwapBlock(AllocatorBase& other)
{
    Heep::Swap(other);
    std::swap(size, other.size);
}

} // namespace ORVEX
