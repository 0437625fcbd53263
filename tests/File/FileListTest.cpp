// SPDX-License-Identifier: MIT
#include <ORVEX/FileList.h>

#include "Support/Descriptors.h"
#include "Support/ExpectRaises.h"
#include "Support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using ORVEX::Char;
using ORVEX::Err;
using ORVEX::FileList;
using ORVEX::FileListNode;
using ORVEX::List;
using ORVEX::String;

static_assert(std::is_base_of<List<FileListNode>, FileList>::value, "a FileList is a list");
static_assert(sizeof(FileList) == sizeof(List<FileListNode>), "a FileList adds no field");

namespace {

namespace fs = std::filesystem;

using Entries = std::vector<std::pair<std::string, bool>>; // name, is a directory

// Copied before main: a Separator that code had to fill might still be empty here.
const Char separatorBeforeMain = FileList::Separator;

String Text(const std::string& bytes) { return String::ChangeCharStr(bytes.c_str()); }

void Touch(const std::string& path) { std::ofstream file(path); }

Entries Found(const FileList& list)
{
    Entries entries;
    for (const FileListNode& node : list)
        entries.emplace_back(node.name.CStr(), node.isDir);
    return entries;
}

/// What Find finds in `dir`, with the "/" that belongs behind it.
Entries Search(const std::string& dir, bool files, bool dirs)
{
    FileList list;
    EXPECT_TRUE(list.Find(Text(dir + "/"), files, dirs));
    return Found(list);
}

Entries Sorted(Entries entries)
{
    std::sort(entries.begin(), entries.end());
    return entries;
}

std::string WithSeparator(const std::string& path)
{
    String text = Text(path);
    FileList::AddLastSeparator(text);
    return text.CStr();
}

/// Restores the separator that a test replaces.
class ReplacedSeparator {
public:
    explicit ReplacedSeparator(const char* other) { FileList::Separator = Char(other); }
    ~ReplacedSeparator() { FileList::Separator = old; }

private:
    Char old = FileList::Separator;
};

/// Fixes the capacity of the strings made while it lives.
class FixedCapacity {
public:
    explicit FixedCapacity(std::uint32_t bytes) { String::Parm = {bytes, 0}; }
    ~FixedCapacity() { String::Parm = old; }

private:
    String::Sizing old = String::Parm;
};

/// 1 to `most` bytes, none of them "/" or NUL; seldom valid UTF-8.
std::string RandomName(std::mt19937& random, std::size_t most)
{
    std::string name(1 + random() % most, '\0');
    for (char& byte : name) {
        do
            byte = static_cast<char>(random());
        while (byte == '/' || byte == '\0');
    }
    return name == "." || name == ".." ? "dots" : name;
}

void MakeRandomTree(const fs::path& dir, std::mt19937& random, int depth)
{
    const unsigned entries = static_cast<unsigned>(random() % 12);
    for (unsigned i = 0; i < entries; ++i) {
        const fs::path path = dir / RandomName(random, 100);
        if (fs::exists(fs::symlink_status(path)))
            continue;
        switch (random() % 6) {
        case 0:
        case 1:
            fs::create_directory(path);
            if (depth > 0)
                MakeRandomTree(path, random, depth - 1);
            break;
        case 2:
            fs::create_symlink("no such name", path);
            break;
        case 3:
            fs::create_symlink(dir, path); // a directory, for whoever follows it
            break;
        default:
            Touch(path.string());
        }
    }
}

/// The entries of `dir` that can be examined, by the standard library.
Entries Reference(const fs::path& dir, bool files, bool dirs)
{
    Entries entries;
    for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
        std::error_code error;
        const fs::file_status status = fs::status(entry.path(), error);
        if (!fs::exists(status))
            continue;
        const bool isDir = fs::is_directory(status);
        if (files == dirs || (isDir && dirs) || (!isDir && files))
            entries.emplace_back(entry.path().filename().string(), isDir);
    }
    return entries;
}

int CompareTree(const fs::path& dir)
{
    for (const bool files : {false, true}) {
        for (const bool dirs : {false, true})
            EXPECT_EQ(Reference(dir, files, dirs), Search(dir.string(), files, dirs)) << dir;
    }
    int directories = 1;
    for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
        if (entry.is_directory() && !entry.is_symlink())
            directories += CompareTree(entry.path());
    }
    return directories;
}

} // namespace

TEST(FileListNode, NameComesFirst)
{
    const FileListNode node;
    EXPECT_EQ(static_cast<const void*>(&node), static_cast<const void*>(&node.name));
    EXPECT_EQ(reinterpret_cast<const char*>(&node) + sizeof(String),
              reinterpret_cast<const char*>(&node.isDir));
}

TEST(FileListNode, StartsAsAFileWithoutAName)
{
    const FileListNode node;
    EXPECT_STREQ("", node.name.CStr());
    EXPECT_FALSE(node.isDir);
}

TEST(FileList, SeparatorIsTheSlashBeforeMain)
{
    EXPECT_EQ(0x2Fu, separatorBeforeMain.GetUTF32());
    EXPECT_EQ(0x2Fu, FileList::Separator.GetUTF32());
}

TEST(FileList, CheckLastSeparatorLooksAtTheLastCharacter)
{
    EXPECT_TRUE(FileList::CheckLastSeparator(String()));
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("/")));
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("//")));
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("usr/lib/")));
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("\xC3\xA9/")));
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("a")));
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("/a")));
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("/ ")));
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("/\xC3\xA9")));
}

TEST(FileList, CheckLastSeparatorWalksCharacterByCharacter)
{
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("a\xC0\xAF")));    // an overlong "/" is one
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("a\xC3/")));      // C3 takes the "/" along
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("a\xE4/")));      // E4 also the end
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("a\x80/")));       // a stray byte is one step
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("a/\x80")));      // and decodes to 0
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("a/\xE2\x82")));  // cut short
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("\xFF///////"))); // eight bytes, one character
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("\xFF////////")));
}

TEST(FileList, CutOffCharacterCanBeTheSeparator)
{
    const ReplacedSeparator replaced("@"); // U+0040: also what C1 gives with a byte missing
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("a@")));
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("a\xC1")));
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("@@\xC1")));
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("a\xC1x")));
}

TEST(FileList, CheckLastSeparatorReadsNothingBehindTheEnd)
{
    // Each of these bytes announces more than there is, at the very end of its block.
    for (int lead = 0xC0; lead <= 0xFF; ++lead) {
        const std::string path = std::string(62, 'a') + static_cast<char>(lead);
        EXPECT_FALSE(FileList::CheckLastSeparator(Text(path))) << lead;
    }
}

TEST(FileList, AddLastSeparatorAppendsExactlyOne)
{
    EXPECT_EQ("", WithSeparator(""));
    EXPECT_EQ("/", WithSeparator("/"));
    EXPECT_EQ("a/", WithSeparator("a"));
    EXPECT_EQ("a/", WithSeparator("a/"));
    EXPECT_EQ("a//", WithSeparator("a//"));
    EXPECT_EQ("/usr/lib\xC3\xA9/", WithSeparator("/usr/lib\xC3\xA9"));
    const std::string longPath(1000, 'p');
    EXPECT_EQ(longPath + "/", WithSeparator(longPath));
}

TEST(FileList, SeparatorCanBeReplaced)
{
    const ReplacedSeparator replaced("\xE3\x83\xBB"); // U+30FB
    EXPECT_FALSE(FileList::CheckLastSeparator(Text("a/")));
    EXPECT_TRUE(FileList::CheckLastSeparator(Text("a\xE3\x83\xBB")));
    EXPECT_EQ("a/\xE3\x83\xBB", WithSeparator("a/"));
}

TEST(FileList, FindFiltersByTheTwoFlags)
{
    TempDir dir;
    Touch(dir.File("file"));
    fs::create_directory(dir.File("sub"));
    const Entries file = {{"file", false}};
    const Entries sub = {{"sub", true}};
    const Entries both = {{"file", false}, {"sub", true}};
    EXPECT_EQ(file, Search(dir.Path(), true, false));
    EXPECT_EQ(sub, Search(dir.Path(), false, true));
    EXPECT_EQ(both, Sorted(Search(dir.Path(), true, true)));
    EXPECT_EQ(both, Sorted(Search(dir.Path(), false, false)));
}

TEST(FileList, FindSkipsOnlyTheTwoDotEntries)
{
    TempDir dir;
    for (const char* name : {"...", ".a", "..b", ". ", " ."})
        Touch(dir.File(name));
    const Entries expected = {
        {" .", false}, {". ", false}, {"...", false}, {"..b", false}, {".a", false}};
    EXPECT_EQ(expected, Sorted(Search(dir.Path(), true, true)));
}

TEST(FileList, FindOfAnEmptyDirectoryIsEmpty)
{
    TempDir dir;
    FileList list;
    EXPECT_TRUE(list.Find(Text(dir.Path() + "/"), true, true));
    EXPECT_TRUE(list.Empty());
}

TEST(FileList, FindDoesNotDescend)
{
    TempDir dir;
    fs::create_directories(dir.File("a/b/c"));
    Touch(dir.File("a/file"));
    const Entries expected = {{"a", true}};
    EXPECT_EQ(expected, Search(dir.Path(), true, true));
}

TEST(FileList, FindWithoutSeparatorExaminesTheWrongNames)
{
    TempDir dir;
    fs::create_directory(dir.File("x"));
    Touch(dir.File("x/one"));
    Touch(dir.File("x/two"));
    FileList list;
    EXPECT_TRUE(list.Find(Text(dir.File("x")), true, true));
    EXPECT_TRUE(list.Empty());

    fs::create_directory(dir.File("xtwo")); // where the joined name "x" "two" leads
    EXPECT_TRUE(list.Find(Text(dir.File("x")), true, true));
    const Entries expected = {{"two", true}};
    EXPECT_EQ(expected, Found(list));
}

TEST(FileList, FailingFindEmptiesTheList)
{
    TempDir dir;
    Touch(dir.File("file"));
    FileList list;
    for (const std::string& wrong : {dir.File("missing/"), dir.File("file"), std::string()}) {
        ASSERT_TRUE(list.Find(Text(dir.Path() + "/"), true, true));
        ASSERT_FALSE(list.Empty());
        EXPECT_FALSE(list.Find(Text(wrong), true, true)) << wrong;
        EXPECT_TRUE(list.Empty());
    }
}

TEST(FileList, FindReplacesTheContents)
{
    TempDir dir;
    fs::create_directories(dir.File("one"));
    fs::create_directories(dir.File("two"));
    Touch(dir.File("one/a"));
    Touch(dir.File("two/b"));
    FileList list;
    ASSERT_TRUE(list.Find(Text(dir.File("one/")), true, false));
    ASSERT_TRUE(list.Find(Text(dir.File("two/")), true, false));
    const Entries expected = {{"b", false}};
    EXPECT_EQ(expected, Found(list));
}

TEST(FileList, LinksAreFollowedAndDanglingOnesLeftOut)
{
    TempDir dir;
    fs::create_directory(dir.File("real"));
    Touch(dir.File("file"));
    fs::create_symlink("real", dir.File("to-dir"));
    fs::create_symlink("file", dir.File("to-file"));
    fs::create_symlink("nowhere", dir.File("dangling"));
    fs::create_symlink("loop", dir.File("loop"));
    ASSERT_EQ(0, mkfifo(dir.File("pipe").c_str(), 0600));
    const Entries expected = {
        {"file", false}, {"pipe", false}, {"real", true}, {"to-dir", true}, {"to-file", false}};
    EXPECT_EQ(expected, Sorted(Search(dir.Path(), true, true)));
}

TEST(FileList, NamesAreKeptByteForByte)
{
    TempDir dir;
    Entries expected;
    for (const std::string& name :
         {std::string("\xE4\xF6\xFC"), std::string("cut \xE2\x82"), std::string("\xFF\xFE"),
          std::string("\x80"), std::string("new\nline"), std::string(255, 'n'),
          std::string(62, 's'), std::string(63, 's'), std::string(64, 's'), std::string(65, 's')}) {
        Touch(dir.File(name));
        expected.emplace_back(name, false);
    }
    EXPECT_EQ(Sorted(expected), Sorted(Search(dir.Path(), true, true)));
}

TEST(FileList, CopiesAreDeep)
{
    TempDir dir;
    Touch(dir.File("file"));
    FileList list;
    ASSERT_TRUE(list.Find(Text(dir.Path() + "/"), true, true));
    const FileList copy(list);
    list.Clear();
    const Entries expected = {{"file", false}};
    EXPECT_EQ(expected, Found(copy));
}

TEST(FileList, AgreesWithTheStandardLibraryOnRandomTrees)
{
    int directories = 0;
    for (unsigned seed = 1; seed <= 10; ++seed) {
        TempDir dir;
        std::mt19937 random(seed);
        MakeRandomTree(dir.Path(), random, 3);
        directories += CompareTree(dir.Path());
    }
    EXPECT_GT(directories, 50); // else the trees are no test
}

TEST(FileList, LargeDirectoriesComeWhole)
{
    TempDir dir;
    Entries expected;
    for (int i = 0; i < 3000; ++i) {
        const std::string name = "entry with a number " + std::to_string(i);
        Touch(dir.File(name));
        expected.emplace_back(name, false);
    }
    EXPECT_EQ(Sorted(expected), Sorted(Search(dir.Path(), true, false)));
}

TEST(FileList, EntriesThatVanishMeanwhileAreLeftOut)
{
    TempDir dir;
    Touch(dir.File("stays"));
    std::atomic<bool> done{false};
    std::thread other([&] {
        while (!done) {
            for (int i = 0; i < 50; ++i)
                Touch(dir.File(std::to_string(i)));
            for (int i = 0; i < 50; ++i)
                fs::remove(dir.File(std::to_string(i)));
        }
    });
    const Entries::value_type stays("stays", false);
    for (int round = 0; round < 200; ++round) {
        const Entries entries = Search(dir.Path(), true, true);
        for (const auto& entry : entries)
            EXPECT_FALSE(entry.second) << entry.first;
        EXPECT_EQ(1, std::count(entries.begin(), entries.end(), stays));
    }
    done = true;
    other.join();
}

TEST(FileList, NamesOfFixedCapacityAreNotHandedOver)
{
    TempDir dir;
    Touch(dir.File("file"));
    const std::string path = dir.Path() + "/";
    FileList list;
    ASSERT_TRUE(list.Find(Text(path), true, true));
    const long before = OpenDescriptors();
    {
        const FixedCapacity fixed(1000);
        ExpectRaises("./include/ORVEX/../../src/Allocator/Allocator", Err::ERR_PARAMETER, 0,
                     [&] { list.Find(Text(path), true, true); });
        EXPECT_TRUE(list.Empty());
        EXPECT_TRUE(list.Find(Text(path), false, true)); // nothing is kept, nothing handed over
    }
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_TRUE(list.Find(Text(path), true, true));
    EXPECT_FALSE(list.Empty());
}

TEST(FileList, PathsThatAFixedCapacityCannotHoldRaise)
{
    TempDir dir;
    Touch(dir.File("file"));
    const String path = Text(dir.Path() + "/");
    FileList list;
    const long before = OpenDescriptors();
    const FixedCapacity fixed(8); // enough for the name
    ExpectRaises("src/Allocator/Allocator", Err::ERR_OVERFLOW,
                 static_cast<int>(dir.Path().size()) + 2, [&] { list.Find(path, true, true); });
    EXPECT_TRUE(list.Empty());
    EXPECT_EQ(before, OpenDescriptors());
    String full = Text("1234567");
    ExpectRaises("src/Allocator/Allocator", Err::ERR_OVERFLOW, 9,
                 [&] { FileList::AddLastSeparator(full); });
    EXPECT_STREQ("1234567", full.CStr());
}

TEST(FileList, NoDescriptorStaysOpen)
{
    TempDir dir;
    Touch(dir.File("file"));
    const long before = OpenDescriptors();
    FileList list;
    for (int round = 0; round < 3; ++round) {
        list.Find(Text(dir.Path() + "/"), true, true);
        list.Find(Text(dir.File("missing/")), true, true);
        list.Find(Text(dir.File("file")), true, true);
    }
    EXPECT_EQ(before, OpenDescriptors());
}
