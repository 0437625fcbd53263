// SPDX-License-Identifier: MIT
// The system's directory calls as FileList sees them: the functions below stand in front of the
// C library's, which they pass on to unless a test wants otherwise.
#include <ORVEX/FileList.h>

#include "Support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <string>
#include <sys/stat.h>
#include <vector>

using ORVEX::FileList;
using ORVEX::FileListNode;
using ORVEX::String;

namespace {

struct Calls {
    bool recording = false;
    std::vector<std::string> made;
    bool openFails = false;
    int entriesUntilReadFails = -1; // -1: never
    std::string vanishing;          // stat of a path that ends in this fails
};

Calls calls;

/// The C library's function behind the first of `names` that it has: the forms for large files and
/// times have names of their own on some systems, and come first.
template <class Function> Function* Next(std::initializer_list<const char*> names)
{
    void* found = nullptr;
    for (const char* const name : names) {
        found = dlsym(RTLD_NEXT, name);
        if (found)
            break;
    }
    return reinterpret_cast<Function*>(found);
}

bool EndsIn(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

extern "C" {

DIR* opendir(const char* path)
{
    static auto* const next = Next<DIR*(const char*)>({"opendir"});
    if (!calls.recording)
        return next(path);
    calls.made.push_back(std::string("opendir ") + path);
    if (calls.openFails) {
        errno = EMFILE;
        return nullptr;
    }
    return next(path);
}

dirent* readdir(DIR* stream)
{
    static auto* const next = Next<dirent*(DIR*)>({"readdir64", "readdir"});
    if (!calls.recording)
        return next(stream);
    if (calls.entriesUntilReadFails == 0) {
        calls.made.push_back("readdir fails");
        errno = EIO;
        return nullptr;
    }
    if (calls.entriesUntilReadFails > 0)
        --calls.entriesUntilReadFails;
    dirent* const entry = next(stream);
    calls.made.push_back(std::string("readdir ") + (entry ? entry->d_name : "(none)"));
    return entry;
}

int closedir(DIR* stream)
{
    static auto* const next = Next<int(DIR*)>({"closedir"});
    if (calls.recording)
        calls.made.push_back("closedir");
    return next(stream);
}

int stat(const char* path, struct stat* result) noexcept
{
    static auto* const next = Next<int(const char*, struct stat*)>(
        {"__stat64_time64", "__stat_time64", "stat64", "stat"});
    if (!calls.recording)
        return next(path, result);
    calls.made.push_back(std::string("stat ") + path);
    if (!calls.vanishing.empty() && EndsIn(path, calls.vanishing)) {
        errno = ENOENT;
        return -1;
    }
    return next(path, result);
}

} // extern "C"

namespace {

class FileListCalls : public testing::Test {
protected:
    void SetUp() override
    {
        for (const char* name : {"one", "two", "three"})
            std::ofstream file(dir.File(name));
        std::filesystem::create_directory(dir.File("four"));
    }

    void TearDown() override { calls = Calls(); }

    /// Find, watched.
    bool Find(const std::string& path, bool files = true, bool dirs = true)
    {
        const String text = String::ChangeCharStr(path.c_str());
        calls.made.clear();
        calls.recording = true;
        const bool found = list.Find(text, files, dirs);
        calls.recording = false;
        return found;
    }

    std::vector<std::string> Names()
    {
        std::vector<std::string> names;
        for (const FileListNode& node : list)
            names.push_back(node.name.CStr());
        return names;
    }

    static long Made(const std::string& call)
    {
        return std::count(calls.made.begin(), calls.made.end(), call);
    }

    TempDir dir;
    FileList list;
};

} // namespace

TEST_F(FileListCalls, EveryEntryIsReadAndExaminedInTurn)
{
    ASSERT_TRUE(Find(dir.Path() + "/"));
    ASSERT_EQ(13u, calls.made.size()); // opendir, 7 readdir, 4 stat, closedir
    EXPECT_EQ("opendir " + dir.Path() + "/", calls.made.front());
    EXPECT_EQ("closedir", calls.made.back());
    EXPECT_EQ("readdir (none)", calls.made[11]);
    EXPECT_EQ(1, Made("readdir ."));
    EXPECT_EQ(1, Made("readdir .."));
    std::vector<std::string> examined;
    for (std::size_t i = 1; i < calls.made.size(); ++i) {
        if (calls.made[i].compare(0, 5, "stat ") != 0)
            continue;
        const std::string name = calls.made[i - 1].substr(8); // behind "readdir "
        EXPECT_EQ("stat " + dir.Path() + "/" + name, calls.made[i]);
        examined.push_back(name);
    }
    EXPECT_EQ(4u, examined.size());
    EXPECT_EQ(examined, Names());
}

TEST_F(FileListCalls, NamesAreJoinedWithoutASeparator)
{
    ASSERT_TRUE(Find(dir.Path()));
    EXPECT_EQ(1, Made("stat " + dir.Path() + "one"));
    EXPECT_EQ(1, Made("closedir"));
    EXPECT_TRUE(list.Empty());
}

TEST_F(FileListCalls, UnopenableDirectoryIsNeitherReadNorClosed)
{
    calls.openFails = true;
    EXPECT_FALSE(Find(dir.Path() + "/"));
    EXPECT_EQ(std::vector<std::string>{"opendir " + dir.Path() + "/"}, calls.made);
}

TEST_F(FileListCalls, EntryThatCannotBeExaminedIsLeftOut)
{
    calls.vanishing = "/two";
    EXPECT_TRUE(Find(dir.Path() + "/"));
    std::vector<std::string> names = Names();
    std::sort(names.begin(), names.end());
    EXPECT_EQ((std::vector<std::string>{"four", "one", "three"}), names);
    EXPECT_EQ(1, Made("closedir"));
}

TEST_F(FileListCalls, EntryWithATimePastThe32BitsIsKept)
{
    const std::string two = dir.File("two");
    timespec times[2] = {};
    struct stat status = {};
    for (timespec& time : times) {
        time.tv_sec = std::numeric_limits<std::int32_t>::max(); // 2038-01-19 03:14:07
        time.tv_sec += sizeof time.tv_sec > 4;                  // the second after that
    }
    if (utimensat(AT_FDCWD, two.c_str(), times, 0) != 0 || stat(two.c_str(), &status) != 0 ||
        status.st_mtime <= std::numeric_limits<std::int32_t>::max())
        GTEST_SKIP() << "the file system or the C library has no such times";
    EXPECT_TRUE(Find(dir.Path() + "/"));
    EXPECT_EQ(4u, Names().size());
}

TEST_F(FileListCalls, FailedReadEndsTheSearchLikeTheLastEntry)
{
    calls.entriesUntilReadFails = 4;
    EXPECT_TRUE(Find(dir.Path() + "/"));
    EXPECT_EQ(1, Made("readdir fails"));
    EXPECT_EQ(1, Made("closedir"));
    EXPECT_GE(Names().size(), 2u); // of the four, two may have been "." and ".."
    EXPECT_LE(Names().size(), 4u);
}
