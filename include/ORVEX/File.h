// SPDX-License-Identifier: MIT
#ifndef ORVEX_FILE_H
#define ORVEX_FILE_H

#include <ORVEX/Buffer.h>
#include <ORVEX/String.h>

namespace ORVEX {

/// A buffer that is filled from a whole file, and written back to one, in one call.
///
/// Owns its bytes as Buffer does and adds no field. Paths are handed to the system byte for byte;
/// relative ones start at the process's working directory. One thread at a time.
class FileBuffer : public Buffer {
public:
    FileBuffer() = default;                             ///< Empty; allocates nothing.
    FileBuffer(const FileBuffer&) = default;            ///< Deep copy, as Buffer's.
    FileBuffer& operator=(const FileBuffer&) = default; ///< Deep copy, as Buffer's.
    using Buffer::operator=;                            ///< Deep copies of other ranges.
    ~FileBuffer() override;                             ///< Releases the block.

    /// Reads the whole file. The old bytes are given up as soon as the length is known.
    ///
    /// The length is what the file system says when the file has been opened. When fewer bytes can
    /// then be read, the buffer still has that length, only its first bytes are the file's, and
    /// the result is true.
    /// @return false when the file cannot be opened; the buffer is then untouched
    /// @throws Err  ERR_MEMORY, data the length, from src/Buffer/Buffer, when there is no memory
    /// for it. So it also ends with what has no length (a pipe, most directories, many pseudo
    /// files) and with files that are too long for a buffer (4 GiB); nothing is read then.
    bool Load(const String& path);

    /// Writes all bytes to the file, which is created, or replaced when it exists. An empty buffer
    /// leaves an empty file.
    /// @return false when the file cannot be opened for writing; what fails after that (a full
    /// disk, say) is not reported
    bool Save(const String& path) const;
};

} // namespace ORVEX

#endif
