// SPDX-License-Identifier: MIT
#ifndef ORVEX_ALLOCATOR_NEWARRAY_H
#define ORVEX_ALLOCATOR_NEWARRAY_H

#include <ORVEX/Err.h>

#include <cstdint>
#include <new>

namespace ORVEX {

/// Allocates an array of `count` default-initialised elements, to be released with `delete[]`.
/// Turns the heap's refusal, and a byte size that no object can have, into a failure record.
///
/// @param count  number of elements
/// @param file   path of the calling source file without its extension; a literal
/// @param line   line of the call
/// @param data   context that the record is to carry
/// @return the array, owned by the caller; never null
/// @throws Err  ERR_MEMORY with `file`, `line` and `data`; whatever else an element's
/// constructor throws passes unchanged
template <class T> T* NewArray(unsigned long count, const char* file, int line, int data)
{
    // Sizes past the pointer range are not even asked for: compilers differ in what they make
    // of them, and a debugging heap may take them for a mistake of the program.
    if (count <= PTRDIFF_MAX / sizeof(T)) {
        try {
            return new T[count];
        } catch (const std::bad_alloc&) {
            // Raised below, so that the caught exception's storage is free again by then.
        }
    }
    throw Err(file, line, Err::ERR_MEMORY, data);
}

} // namespace ORVEX

#endif
