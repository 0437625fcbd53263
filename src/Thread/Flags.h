// SPDX-License-Identifier: MIT
#ifndef ORVEX_THREAD_FLAGS_H
#define ORVEX_THREAD_FLAGS_H

namespace ORVEX {
namespace Internal __attribute__((visibility("hidden")))
{

    // For plain fields (bool, 32-bit integers) that two threads touch without a lock. Relaxed order
    // is the same single load or store that the bare field would be, but the compiler may neither
    // split nor invent accesses; it orders nothing else.

    /// Reads the field.
    template <class T> T LoadRelaxed(const T& field)
    {
        return __atomic_load_n(&field, __ATOMIC_RELAXED);
    }

    /// Writes the field.
    template <class T> void StoreRelaxed(T & field, T value)
    {
        __atomic_store_n(&field, value, __ATOMIC_RELAXED);
    }

    /// Adds to the field; no addition is lost between threads.
    template <class T> void AddRelaxed(T & field, T value)
    {
        __atomic_fetch_add(&field, value, __ATOMIC_RELAXED);
    }

    /// Writes the field and returns what it held. Sequentially consistent: of two exchanges the
    /// later one sees everything that was written before the earlier one.
    template <class T> T Exchange(T & field, T value)
    {
        return __atomic_exchange_n(&field, value, __ATOMIC_SEQ_CST);
    }

} // namespace )
} // namespace ORVEX

#endif
