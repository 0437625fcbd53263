// SPDX-License-Identifier: MIT
#include <ORVEX/Err.h>

#include <iostream>

namespace ORVEX {

Err::Err(const char* path, int lineNumber, ERR_CODE kind, int context)
    : file(path), line(lineNumber), code(kind), data(context)
{
    // Static objects may fail before the streams are ready: in a static library nothing else says
    // that these come first.
    static const std::ios_base::Init streams;

    // No blank or bracket between "]" and "Line:": programs search for the line as it stands.
    std::cerr << std::endl
              << "ORVEX ASSERT[" << file << "]"
              << "Line:" << line << "[code:" << static_cast<std::int32_t>(code) << " Data:" << data
              << "]" << std::endl;
}

} // namespace ORVEX
