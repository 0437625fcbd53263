// SPDX-License-Identifier: MIT
#ifndef ORVEX_POINTER_VECTOR_H
#define ORVEX_POINTER_VECTOR_H

#include "../Allocator/NewArray.h"
#include "Array.h"

#include <algorithm>
#include <utility>

namespace ORVEX {

/// A heap array of exactly as many elements as were asked for.
///
/// Owns its elements, or borrows them after Replace. Copies are deep and owned; Swap is the only
/// hand-over, nothing moves. One thread at a time. Invariant: an array that is owned came from
/// `new T[]` and is not null.
template <class T> class Vector : public ArrayBase<T> {
public:
    Vector() = default; ///< Empty; allocates nothing.

    /// Deep copy; raises as TryResizeNoCopy does.
    Vector(const Vector& other) : Vector() { *this = other; }

    /// Deep copy; raises as TryResizeNoCopy does. `other` must not borrow elements of this one.
    Vector& operator=(const Vector& other)
    {
        if (this != &other) {
            TryResizeNoCopy(other.Length());
            std::copy(other.Begin(), other.End(), this->begin);
        }
        return *this;
    }

    /// Releases the elements if they are owned.
    ~Vector() override { Release(); }

    /// Makes the length exactly `n`. An owned array of that length stays as it is; otherwise
    /// the old elements are given up, and new ones are default-initialised: numbers start with
    /// any value.
    /// @param n  number of elements; 0 releases the array
    /// @return n
    /// @throws Err  ERR_MEMORY, data `n`; the vector is then empty
    unsigned long TryResizeNoCopy(unsigned long n) override
    {
        if (n != 0 && n == this->Length() && owned)
            return n;
        // Released first: the device seldom has room for the old array beside the new one.
        Release();
        if (n == 0)
            return 0;
        this->begin = NewArray<T>(n, "./include/ORVEX/../../src/Pointer/Vector", __LINE__,
                                  static_cast<int>(n));
        this->end = this->begin + n;
        owned = true;
        return n;
    }

    /// Borrows the `count` elements from `first` on, which stay the caller's; an owned array is
    /// released.
    void Replace(T* first, unsigned long count)
    {
        Release();
        this->begin = first;
        this->end = first + count;
    }

    /// Trades the elements and who owns them; copies nothing, never raises.
    void Swap(Vector& other)
    {
        std::swap(this->begin, other.begin);
        std::swap(this->end, other.end);
        std::swap(owned, other.owned);
    }

    bool Owned() const { return owned; } ///< Whether the elements are the vector's own.

private:
    void Release()
    {
        if (owned)
            delete[] this->begin;
        this->begin = this->end = nullptr;
        owned = false;
    }

    bool owned = false;
};

} // namespace ORVEX

#endif
