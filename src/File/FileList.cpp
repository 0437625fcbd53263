// SPDX-License-Identifier: MIT
#include <ORVEX/FileList.h>

#include "../String/Walk.h"

#include <cstdint>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>

namespace ORVEX {

namespace {

/// An open directory; closed in any event, so that a failing allocation leaks no descriptor.
class Directory {
public:
    explicit Directory(const char* path) : stream(opendir(path)) {}
    ~Directory()
    {
        if (stream)
            closedir(stream);
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    bool IsOpen() const { return stream != nullptr; }

    /// The next entry's name, good until the next call; null when there are no more.
    const char* Next()
    {
        // No other thread reads this stream, which is all that readdir asks for.
        const dirent* const entry = readdir(stream); // NOLINT(concurrency-mt-unsafe)
        return entry ? entry->d_name : nullptr;
    }

private:
    DIR* stream;
};

bool IsSelfOrParent(const char* name)
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

bool PassesFilter(bool isDir, bool files, bool dirs)
{
    // Neither flag keeps every entry, exactly as both do.
    return isDir ? dirs || !files : files || !dirs;
}

// Constant, so that the copy below is initialised before any code runs.
constexpr Char Slash("/");

} // namespace

Char FileList::Separator = Slash;

bool FileList::CheckLastSeparator(const String& path)
{
    // Forward only: where the last character starts depends on all before it.
    std::uint32_t last = Separator.GetUTF32(); // the empty path counts as ending in one
    const char* at = path.CStr();
    const char* const end = at + path.Length();
    while (at != end)
        last = Internal::TakeCharacter(at, end);
    return last == Separator.GetUTF32();
}

void FileList::AddLastSeparator(String& path)
{
    if (!CheckLastSeparator(path))
        path += Separator;
}

bool FileList::Find(const String& dir, bool files, bool dirs)
{
    Clear();
    Directory directory(dir.CStr());
    if (!directory.IsOpen())
        return false;
    String name; // both keep their blocks from one entry to the next
    String path;
    while (const char* const entry = directory.Next()) {
        if (IsSelfOrParent(entry))
            continue;
        name.UpdateCharStr(entry);
        path = dir;
        path += name;
        struct stat status;
        if (stat(path.CStr(), &status) != 0)
            continue;
        const bool isDir = S_ISDIR(status.st_mode);
        if (!PassesFilter(isDir, files, dirs))
            continue;
        IteratorMove node(new Node);
        node->name.Swap(name);
        node->isDir = isDir;
        PushBack(node);
    }
    return true;
}

} // namespace ORVEX
