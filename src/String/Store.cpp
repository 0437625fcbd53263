// SPDX-License-Identifier: MIT
#include "Store.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace ORVEX {
namespace Internal {

namespace {

// No block of the heap is larger.
const unsigned long Largest = std::min<unsigned long>(PTRDIFF_MAX, UINT32_MAX - 7);

// A new block takes the first bytes and the old one's place.
void Move(Store& store, unsigned long n, const char* first, unsigned long length)
{
    Store fresh(static_cast<std::uint32_t>(store.BaseSize()),
                static_cast<std::uint32_t>(store.BlockSize()));
    fresh.Alloc(n);
    fresh.SetRange(n);
    if (length != 0)
        std::memcpy(fresh.Begin(), first, length);
    store.Swap(fresh);
}

} // namespace

void Resize(Store& store, unsigned long n)
{
    if (n == store.Length())
        return;
    if (!store.Data())
        store.Alloc(n);
    else if (!store.ReAlloc(n))
        Move(store, n, store.Begin(), std::min(n, store.Length()));
    store.SetRange(n);
}

void Assign(Store& store, const char* first, unsigned long length)
{
    const unsigned long n = Sum(length, 1);
    if (!store.Data()) {
        store.Alloc(n);
        store.SetRange(n);
    }
    if (n != store.Length() && !store.ReAlloc(n)) {
        Move(store, n, first, length);
    } else {
        store.SetRange(n);
        if (length != 0)
            std::memmove(store.Begin(), first, length);
    }
    store.End()[-1] = 0;
}

char* Extend(Store& store, unsigned long length)
{
    const unsigned long stored = std::max(1ul, store.Length());
    Resize(store, Sum(stored, length));
    store.End()[-1] = 0;
    return store.Begin() + stored - 1;
}

void Release(Store& store)
{
    // A block of fixed capacity stays, and Free leaves the bytes in it live.
    if (store.BlockSize() != 0)
        store.Free();
    else
        store.Clear();
}

Growth::Growth(const Store& store)
    : AllocatorBase(static_cast<std::uint32_t>(store.BaseSize()),
                    static_cast<std::uint32_t>(store.BlockSize()))
{
}

void Growth::To(unsigned long n)
{
    if (refused || n == 0)
        return;
    length = n;
    if (capacity != 0 && ReAlloc(n))
        return;
    request = n;
    unsigned long fresh = baseSize;
    if (n > baseSize)
        fresh = blockSize != 0 ? ConvertBlockSize(Sum(n, blockSize / 2)) : ULONG_MAX;
    refused = fresh > Largest;
    if (refused)
        capacity = 0;
    else if (blockSize == 0)
        capacity = baseSize;
    else
        capacity = static_cast<std::uint32_t>((fresh + 7) / 8 * 8); // as the heap rounds
}

void Growth::ByteByByteTo(unsigned long n)
{
    // Only where a block ends does anything happen. The way to a length that no block has is not
    // gone; a fixed capacity, though, is overrun by its first byte too many.
    while (!refused && capacity < n && (n <= Largest || blockSize == 0))
        To(capacity + 1ul);
    To(n);
}

void Growth::Apply(Store& store) const
{
    if (!store.Data() || !store.ReAlloc(request))
        store.Alloc(request); // raises where the growth was refused
    store.ReAlloc(length);    // always true: the block is the one that was followed
    store.SetRange(length);
}

} // namespace Internal
} // namespace ORVEX
