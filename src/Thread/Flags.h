// SPDX-License-Identifier: MIT
#ifndef ORVEX_THREAD_FLAGS_H
#define ORVEX_THREAD_FLAGS_H

namespace ORVEX {
namespace Internal {

// For plain fields (bool, 32-bit integers) that two threads touch without a lock. Relaxed order is
// the same single load or store that the bare field would be, but the compiler may neither split
// nor invent accesses; it orders nothing else. Static, so that the library exports none of them.

/// Reads the field.
template <class T> static T LoadRelaxed(const T& field)
{
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

/// Writes the field.
template <class T> static void StoreRelaxed(T& field, T value)
{
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

/// Writes the field and returns what it held. Sequentially consistent: of two exchanges the later
/// one sees everything that was written before the earlier one.
template <class T> static T Exchange(T& field, T value)
{
    return __atomic_exchange_n(&field, value, __ATOMIC_SEQ_CST);
}

} // namespace Internal
} // namespace ORVEX

#endif
