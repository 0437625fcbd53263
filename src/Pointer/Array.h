// SPDX-License-Identifier: MIT
#ifndef ORVEX_POINTER_ARRAY_H
#define ORVEX_POINTER_ARRAY_H

namespace ORVEX {

/// A range of elements that it does not own, and one virtual operation by which a derived class
/// changes its length.
///
/// Copying a plain range copies the two pointers. One thread at a time. Invariant: begin and end
/// are both null or bound one range.
template <class T> class ArrayBase {
public:
    ArrayBase() = default; ///< Empty: both pointers are null.

    /// The `count` elements from `first` on, which stay the caller's and must outlive the range.
    ArrayBase(T* first, unsigned long count) : begin(first), end(first + count) {}

    ArrayBase(const ArrayBase&) = default;            ///< The same elements, not copies of them.
    ArrayBase& operator=(const ArrayBase&) = default; ///< The same elements, not copies of them.

    /// Asks for a length of `n` elements; the old elements may be lost.
    /// @return the length that the range now has, which may be another; here always the old one
    virtual unsigned long TryResizeNoCopy(unsigned long n)
    {
        static_cast<void>(n);
        return Length();
    }

    virtual ~ArrayBase() = default; ///< Releases nothing.

    T* Begin() { return begin; }             ///< First element; null when there never was one.
    const T* Begin() const { return begin; } ///< First element; null when there never was one.
    T* End() { return end; }                 ///< One past the last element.
    const T* End() const { return end; }     ///< One past the last element.

    /// Number of elements.
    unsigned long Length() const { return static_cast<unsigned long>(end - begin); }

    bool Empty() const { return begin == end; } ///< Whether there is no element.

    T& operator[](unsigned long at) { return begin[at]; } ///< Element `at`; not checked.
    /// Element `at`; not checked.
    const T& operator[](unsigned long at) const { return begin[at]; }

protected:
    T* begin = nullptr; ///< First element.
    T* end = nullptr;   ///< One past the last element.
};

/// Room for N elements inside the object; how many of them count may change.
///
/// The elements are default-initialised, so numbers start with any value. Not copyable.
/// Invariant: begin is the first of the N elements, and Length() is at most N.
template <class T, unsigned long N> class Array : public ArrayBase<T> {
public:
    Array() : ArrayBase<T>() { SetLength(N); } ///< All N elements count.
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;

    /// Makes the length the smaller of `n` and N; the elements stay. More than N is cut to N
    /// without an error, so compare the result with what was asked for.
    /// @return the length
    unsigned long TryResizeNoCopy(unsigned long n) override { return SetLength(n < N ? n : N); }

private:
    unsigned long SetLength(unsigned long n)
    {
        this->begin = elements;
        this->end = elements + n;
        return n;
    }

    T elements[N];
};

} // namespace ORVEX

#endif
