// SPDX-License-Identifier: MIT
#ifndef ORVEX_ERR_H
#define ORVEX_ERR_H

#include <cstdint>

namespace ORVEX {

/// The record of a request that an object could not honour: where it was raised, why, and one
/// number of context.
///
/// The library throws it by value and never catches one. A plain value: copies share the path,
/// which is a literal and never released. Any thread may raise; lines of two threads that fail
/// at the same moment may mix on the error stream.
class Err {
public:
    /// Why. The values 0, 2 and 4 are not assigned.
    enum ERR_CODE : std::int32_t {
        ERR_PARAMETER = 1, ///< The request does not fit the object's state or kind.
        ERR_MEMORY = 3,    ///< The heap refused an allocation.
        ERR_OVERFLOW = 5,  ///< The request is larger than a fixed capacity.
        ERR_SYSTEM = 6     ///< A thread or scheduling call of the system failed.
    };

    /// Stores the four values and prints them as one line, after an empty one, on std::cerr:
    /// `ORVEX ASSERT[src/Buffer/Buffer]Line:169[code:3 Data:256]`.
    ///
    /// Numbers are written in the format that std::cerr has at that moment. A null `path` puts
    /// std::cerr into its failed state, and the rest of the line is lost.
    /// @param path        path of the raising source file without its extension; a literal, not
    /// copied
    /// @param lineNumber  line of the raising source file, counted from 1
    /// @param kind        the kind of failure
    /// @param context     one number whose meaning the raising operation gives
    Err(const char* path, int lineNumber, ERR_CODE kind, int context);

    const char* file;  ///< Path of the raising source file, without its extension.
    std::int32_t line; ///< Line in that file.
    ERR_CODE code;     ///< The kind of failure.
    std::int32_t data; ///< Context; the raising operation says what it counts.
};

} // namespace ORVEX

#endif
