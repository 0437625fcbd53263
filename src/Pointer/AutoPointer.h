// SPDX-License-Identifier: MIT
#ifndef ORVEX_POINTER_AUTOPOINTER_H
#define ORVEX_POINTER_AUTOPOINTER_H

#include <ORVEX/Err.h>

#include <new>

namespace ORVEX {

/// Makes one heap object and deletes it in the end.
///
/// The object lives exactly as long as its pointer, which is never null and not copyable. T may
/// be incomplete where the pointer is a member; it must be complete where the pointer is
/// constructed and destroyed.
template <class T> class AutoPointer {
public:
    /// Makes a value-initialised object.
    /// @throws Err  ERR_MEMORY, data the object's size in bytes
    AutoPointer() : object(Create()) {}

    AutoPointer(const AutoPointer&) = delete;
    AutoPointer& operator=(const AutoPointer&) = delete;

    ~AutoPointer() { delete object; } ///< Deletes the object.

    T& operator*() const { return *object; } ///< The object.
    T* operator->() const { return object; } ///< The object's members.

private:
    static T* Create()
    {
        try {
            return new T();
        } catch (const std::bad_alloc&) {
            // Raised below, so that the caught exception's storage is free again by then.
        }
        throw Err("./include/ORVEX/../../src/Pointer/AutoPointer", __LINE__, Err::ERR_MEMORY,
                  static_cast<int>(sizeof(T)));
    }

    T* object; // owned
};

} // namespace ORVEX

#endif
