// SPDX-License-Identifier: MIT
#ifndef ORVEX_FILELIST_H
#define ORVEX_FILELIST_H

#include <ORVEX/Char.h>
#include <ORVEX/List.h>
#include <ORVEX/String.h>

namespace ORVEX {

/// One entry of a directory.
struct FileListNode {
    String name;        ///< As the directory holds it, byte for byte; no path.
    bool isDir = false; ///< Whether it is a directory, or a link to one.
};

/// The entries of one directory, in the order in which the system lists them.
///
/// Owns its nodes; copies are deep. One thread at a time.
class FileList : public List<FileListNode> {
public:
    /// What separates the parts of a path: "/". Ready before any other static object is
    /// constructed.
    static Char Separator;

    /// Whether `path` ends in Separator; the empty path counts as ending in one.
    static bool CheckLastSeparator(const String& path);

    /// Appends Separator unless `path` ends in one. The empty path stays empty.
    /// @throws Err  as String's += raises it
    static void AddLastSeparator(String& path);

    /// Replaces the list by the entries of one directory, without "." and ".." and without going
    /// into subdirectories. Links are followed; entries that cannot be examined (a dangling link,
    /// one that has just been deleted) are left out.
    ///
    /// Asking for one kind keeps that kind. Asking for neither keeps everything, as asking for
    /// both does.
    /// @param dir    the directory's path, which must end in Separator (see AddLastSeparator): the
    /// names are put directly behind it. Without one the search examines the wrong files and
    /// ordinarily finds nothing. It must not be a name inside this list, which is cleared first.
    /// @param files  asks for whatever is not a directory
    /// @param dirs   asks for directories
    /// @return false when the directory cannot be opened; the list is then empty
    /// @throws Err  what String raises for the names and paths: ERR_MEMORY, data 4, from
    /// src/Allocator/Heep; and when String::Parm fixes the capacity, ERR_OVERFLOW for what does not
    /// fit it, and ERR_PARAMETER, data 0, for the first entry that is to be kept. A node that
    /// cannot be had lets std::bad_alloc pass. The list then holds the entries found so far, and
    /// the directory is closed.
    bool Find(const String& dir, bool files, bool dirs);
};

} // namespace ORVEX

#endif
