// SPDX-License-Identifier: MIT
#include "Store.h"

#include <algorithm>
#include <cstring>

namespace ORVEX {
namespace Internal {

namespace {

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

} // namespace Internal
} // namespace ORVEX
