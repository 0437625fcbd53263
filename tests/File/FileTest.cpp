// SPDX-License-Identifier: MIT
#include <ORVEX/File.h>

#include "Support/Descriptors.h"
#include "Support/Raised.h"
#include "Support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::Err;
using ORVEX::FileBuffer;
using ORVEX::String;

static_assert(std::is_base_of<Buffer, FileBuffer>::value, "a FileBuffer is a Buffer");
static_assert(sizeof(FileBuffer) == sizeof(Buffer), "a FileBuffer adds no field");

namespace {

String Text(const std::string& bytes) { return String::ChangeCharStr(bytes.c_str()); }

BufferBase Range(std::string& bytes)
{
    return BufferBase(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
}

std::string Bytes(const BufferBase& range)
{
    return std::string(reinterpret_cast<const char*>(range.Begin()), range.Length());
}

std::string FileContents(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& contents)
{
    std::ofstream(path, std::ios::binary) << contents;
}

std::string RandomBytes(std::size_t count)
{
    std::mt19937 random(static_cast<unsigned>(count));
    std::string bytes(count, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    return bytes;
}

/// The addresses in an object's table of virtual operations.
void* const* Slots(const BufferBase& object)
{
    void* const* slots;
    std::memcpy(&slots, static_cast<const void*>(&object), sizeof slots);
    return slots;
}

/// What Load of `path` into a buffer with bytes in it raises. The buffer must be fit for use
/// afterwards, and no descriptor stay open.
Err RaisedByLoad(const std::string& path)
{
    std::string before = "before";
    FileBuffer buffer;
    buffer = Range(before);
    const long descriptors = OpenDescriptors();
    const Err err = Raised([&] { buffer.Load(Text(path)); });
    EXPECT_EQ(descriptors, OpenDescriptors());
    buffer = Range(before);
    EXPECT_EQ("before", Bytes(buffer));
    return err;
}

/// What the system answers when it is asked for the length of what `path` names.
off_t LengthToldBySystem(const std::string& path)
{
    const int fd = open(path.c_str(), O_RDONLY);
    const off_t length = lseek(fd, 0, SEEK_END);
    close(fd);
    return length;
}

} // namespace

TEST(FileBuffer, StartsEmpty)
{
    FileBuffer buffer;
    EXPECT_EQ(nullptr, buffer.Begin());
    EXPECT_EQ(nullptr, buffer.End());
    EXPECT_EQ(0ul, buffer.Capacity());
}

TEST(FileBuffer, InheritsTheResizeSlotAndReplacesTheDestructors)
{
    const Buffer plain;
    const FileBuffer file;
    EXPECT_EQ(Slots(plain)[0], Slots(file)[0]);
    EXPECT_NE(Slots(plain)[1], Slots(file)[1]);
    EXPECT_NE(Slots(plain)[2], Slots(file)[2]);
}

TEST(FileBuffer, IsDestroyedThroughItsBase)
{
    BufferBase* const buffer = new FileBuffer;
    EXPECT_EQ(300ul, buffer->TryResizeNoCopy(300));
    delete buffer; // the leak checker sees whether the block went with it
}

TEST(FileBuffer, CopiesAreDeep)
{
    std::string bytes = "text";
    FileBuffer buffer;
    buffer = Range(bytes);
    FileBuffer copy(buffer);
    FileBuffer assigned;
    assigned = buffer;
    buffer[0] = 'T';
    EXPECT_EQ("Text", Bytes(buffer));
    EXPECT_EQ("text", Bytes(copy));
    EXPECT_EQ("text", Bytes(assigned));
}

TEST(FileBuffer, LoadAfterSaveGivesBackTheSameBytes)
{
    TempDir dir;
    const String path = Text(dir.File("bytes"));
    for (const std::size_t length :
         {0u, 1u, 127u, 128u, 129u, 4095u, 8191u, 8192u, 8193u, 100000u, 1000003u}) {
        std::string bytes = RandomBytes(length);
        FileBuffer saved;
        saved = Range(bytes);
        ASSERT_TRUE(saved.Save(path));
        EXPECT_EQ(bytes, FileContents(dir.File("bytes")));
        FileBuffer loaded;
        ASSERT_TRUE(loaded.Load(path));
        EXPECT_EQ(length, loaded.Length());
        EXPECT_EQ(bytes, Bytes(loaded));
    }
}

TEST(FileBuffer, BytesAreNeverTranslated)
{
    TempDir dir;
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    bytes += "\r\n\n\r\x1A\r\n";
    WriteFile(dir.File("all"), bytes);
    FileBuffer buffer;
    ASSERT_TRUE(buffer.Load(Text(dir.File("all"))));
    EXPECT_EQ(bytes, Bytes(buffer));
    ASSERT_TRUE(buffer.Save(Text(dir.File("again"))));
    EXPECT_EQ(bytes, FileContents(dir.File("again")));
}

TEST(FileBuffer, LoadOfAnEmptyFileLeavesNoBlock)
{
    TempDir dir;
    WriteFile(dir.File("empty"), "");
    FileBuffer buffer;
    buffer.ResizeNoCopy(1000);
    EXPECT_TRUE(buffer.Load(Text(dir.File("empty"))));
    EXPECT_EQ(nullptr, buffer.Begin());
    EXPECT_EQ(nullptr, buffer.End());
    EXPECT_EQ(0ul, buffer.Capacity());
}

TEST(FileBuffer, LoadOfAMissingFileKeepsTheContents)
{
    TempDir dir;
    std::string bytes = "kept";
    FileBuffer buffer;
    buffer = Range(bytes);
    const unsigned char* const begin = buffer.Begin();
    EXPECT_FALSE(buffer.Load(Text(dir.File("missing"))));
    EXPECT_EQ(begin, buffer.Begin());
    EXPECT_EQ("kept", Bytes(buffer));
    EXPECT_FALSE(std::filesystem::exists(dir.File("missing")));
}

TEST(FileBuffer, LoadReusesABlockThatFits)
{
    TempDir dir;
    WriteFile(dir.File("100"), std::string(100, 'a'));
    WriteFile(dir.File("64"), std::string(64, 'b'));
    FileBuffer buffer;
    ASSERT_TRUE(buffer.Load(Text(dir.File("100"))));
    const unsigned char* const block = buffer.Begin();
    ASSERT_TRUE(buffer.Load(Text(dir.File("64"))));
    EXPECT_EQ(block, buffer.Begin());
    EXPECT_EQ(std::string(64, 'b'), Bytes(buffer));
    EXPECT_EQ(128ul, buffer.Capacity());
}

TEST(FileBuffer, PathsArePassedByteForByte)
{
    TempDir dir;
    const std::string path = dir.File("Latin-1 \xE4\xF6, broken \xE2\x82 and \xFF\x80");
    FileBuffer buffer;
    buffer.ResizeNoCopy(1);
    buffer[0] = 'x';
    ASSERT_TRUE(buffer.Save(Text(path)));
    EXPECT_EQ("x", FileContents(path));
    EXPECT_TRUE(buffer.Load(Text(path)));
}

TEST(FileBuffer, RelativePathsStartAtTheWorkingDirectory)
{
    TempDir dir;
    WriteFile(dir.File("here"), "found");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(dir.Path());
    FileBuffer buffer;
    const bool loaded = buffer.Load(Text("here"));
    std::filesystem::current_path(before);
    EXPECT_TRUE(loaded);
    EXPECT_EQ("found", Bytes(buffer));
}

TEST(FileBuffer, EmptyPathsOpenNothing)
{
    FileBuffer buffer;
    EXPECT_FALSE(buffer.Load(String()));
    EXPECT_FALSE(buffer.Save(String()));
}

TEST(FileBuffer, SaveReplacesALongerFile)
{
    TempDir dir;
    WriteFile(dir.File("long"), std::string(10000, 'l'));
    std::string bytes = "short";
    FileBuffer buffer;
    buffer = Range(bytes);
    EXPECT_TRUE(buffer.Save(Text(dir.File("long"))));
    EXPECT_EQ("short", FileContents(dir.File("long")));
    EXPECT_EQ("short", Bytes(buffer));
}

TEST(FileBuffer, SaveOfAnEmptyBufferLeavesAnEmptyFile)
{
    TempDir dir;
    WriteFile(dir.File("full"), "something");
    const FileBuffer buffer;
    EXPECT_TRUE(buffer.Save(Text(dir.File("full"))));
    EXPECT_TRUE(buffer.Save(Text(dir.File("new"))));
    EXPECT_EQ(0u, std::filesystem::file_size(dir.File("full")));
    EXPECT_EQ(0u, std::filesystem::file_size(dir.File("new")));
}

TEST(FileBuffer, SaveIntoAMissingDirectoryFails)
{
    TempDir dir;
    FileBuffer buffer;
    buffer.ResizeNoCopy(1);
    EXPECT_FALSE(buffer.Save(Text(dir.File("missing/file"))));
    EXPECT_FALSE(std::filesystem::exists(dir.File("missing")));
}

TEST(FileBuffer, SaveOntoADirectoryFails)
{
    TempDir dir;
    FileBuffer buffer;
    EXPECT_FALSE(buffer.Save(Text(dir.Path())));
}

TEST(FileBuffer, SaveDoesNotReportAFailingWrite)
{
    if (access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "there is no /dev/full";
    FileBuffer buffer;
    buffer.ResizeNoCopy(100000);
    std::fill(buffer.Begin(), buffer.End(), static_cast<unsigned char>('f'));
    EXPECT_TRUE(buffer.Save(Text("/dev/full")));
}

TEST(FileBuffer, ShortReadKeepsTheLengthThatWasTold)
{
    const std::string path = "/sys/kernel/mm/transparent_hugepage/enabled"; // says 4096 bytes
    if (access(path.c_str(), R_OK) != 0 || LengthToldBySystem(path) != 4096)
        GTEST_SKIP() << "no file here is shorter than it says";
    const std::string contents = FileContents(path);
    FileBuffer buffer;
    EXPECT_TRUE(buffer.Load(Text(path)));
    EXPECT_EQ(4096ul, buffer.Length());
    EXPECT_LT(contents.size(), 4096u);
    EXPECT_EQ(contents, Bytes(buffer).substr(0, contents.size()));
}

TEST(FileBuffer, LoadOfAPipeRaisesAndReadsNothing)
{
    TempDir dir;
    const std::string path = dir.File("pipe");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    const int fd = open(path.c_str(), O_RDWR | O_NONBLOCK); // so no other open waits for a peer
    ASSERT_EQ(4, write(fd, "left", 4));
    const Err err = RaisedByLoad(path);
    EXPECT_STREQ("src/Buffer/Buffer", err.file);
    EXPECT_EQ(Err::ERR_MEMORY, err.code);
    EXPECT_EQ(-1, err.data);
    char text[8] = {};
    EXPECT_EQ(4, read(fd, text, sizeof text));
    EXPECT_STREQ("left", text);
    close(fd);
}

TEST(FileBuffer, LoadOfAPipePrintsTheLengthThatCannotBeHad)
{
    TempDir dir;
    const std::string path = dir.File("pipe");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    const int fd = open(path.c_str(), O_RDWR);
    FileBuffer buffer;
    int line = 0;
    const std::string printed = PrintedBy([&] {
        try {
            buffer.Load(Text(path));
        } catch (const Err& err) {
            line = err.line;
        }
    });
    EXPECT_EQ("\nORVEX ASSERT[src/Buffer/Buffer]Line:" + std::to_string(line) +
                  "[code:3 Data:-1]\n",
              printed);
    close(fd);
}

TEST(FileBuffer, LoadOfAPseudoFileWithoutALengthRaises)
{
    const std::string path = "/proc/self/status";
    if (access(path.c_str(), R_OK) != 0 || LengthToldBySystem(path) != -1)
        GTEST_SKIP() << "the system tells a length of " << path;
    const Err err = RaisedByLoad(path);
    EXPECT_EQ(Err::ERR_MEMORY, err.code);
    EXPECT_EQ(-1, err.data);
}

TEST(FileBuffer, LoadOfADirectoryRaises)
{
    TempDir dir;
    const long long told = LengthToldBySystem(dir.Path()); // none, or one without bounds
    if (told >= 0 && told < 0x7FFFFFFF)
        GTEST_SKIP() << "this file system tells a length of directories, as of files: " << told;
    const Err err = RaisedByLoad(dir.Path());
    EXPECT_STREQ("src/Buffer/Buffer", err.file);
    EXPECT_EQ(Err::ERR_MEMORY, err.code);
    EXPECT_EQ(static_cast<std::int32_t>(told), err.data);
}

TEST(FileBuffer, FilesThatNoBufferHoldsRaise)
{
    TempDir dir;
    const std::string path = dir.File("sparse");
    WriteFile(path, "");
    // The first fits 32 bits, but no longer when it is rounded up to units of 128.
    for (const std::uintmax_t length : {0xFFFFFFC0ull, 0x100000005ull, 0x200000000ull}) {
        std::error_code refused;
        std::filesystem::resize_file(path, length, refused);
        if (refused)
            GTEST_SKIP() << "the file system has no sparse file of " << length << " bytes";
        const Err err = RaisedByLoad(path);
        EXPECT_STREQ("src/Buffer/Buffer", err.file);
        EXPECT_EQ(Err::ERR_MEMORY, err.code);
        const bool fits = sizeof(long) == 8 || length <= 0xFFFFFFFF;
        EXPECT_EQ(fits ? static_cast<std::int32_t>(length) : -1, err.data) << length;
    }
}

TEST(FileBuffer, NoDescriptorStaysOpen)
{
    TempDir dir;
    FileBuffer buffer;
    const long before = OpenDescriptors();
    for (int round = 0; round < 3; ++round) {
        buffer.Save(Text(dir.File("file")));
        buffer.Load(Text(dir.File("file")));
        buffer.Load(Text(dir.File("missing")));
        buffer.Save(Text(dir.File("missing/file")));
    }
    EXPECT_EQ(before, OpenDescriptors());
}
