// SPDX-License-Identifier: MIT
#ifndef ORVEX_PNG_OWNED_H
#define ORVEX_PNG_OWNED_H

#pragma GCC visibility push(hidden)
namespace ORVEX {
namespace Internal {

/// An array from `new[]` that is released at the end of its scope, however that ends.
template <class T> class Owned {
public:
    explicit Owned(T* array) : first(array) {}
    ~Owned() { delete[] first; }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    T* First() const { return first; } ///< May be null.

    T& operator[](unsigned long at) const { return first[at]; } ///< Not checked.

private:
    T* first;
};

} // namespace Internal
} // namespace ORVEX
#pragma GCC visibility pop

#endif
