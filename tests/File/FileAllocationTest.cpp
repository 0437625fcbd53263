// SPDX-License-Identifier: MIT
#include <ORVEX/File.h>
#include <ORVEX/FileList.h>

#include "Support/Descriptors.h"
#include "Support/FailingNew.h"
#include "Support/Raised.h"
#include "Support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

using ORVEX::Err;
using ORVEX::FileBuffer;
using ORVEX::FileList;
using ORVEX::FileListNode;
using ORVEX::String;

namespace {

String Text(const std::string& bytes) { return String::ChangeCharStr(bytes.c_str()); }

enum Outcome { Done, RaisedErr, RaisedBadAlloc };

/// Runs `action` with its allocation number `which` failing.
template <class Action> Outcome WithFailure(long which, Err& err, Action action)
{
    CapturedCerr captured;
    try {
        FailingNew failing(which);
        action();
        return failing.Hit() ? RaisedBadAlloc : Done; // hit and yet done: swallowed by a stream
    } catch (const Err& raised) {
        err = raised;
        return RaisedErr;
    } catch (const std::bad_alloc&) {
        return RaisedBadAlloc;
    }
}

Err NoErr()
{
    CapturedCerr captured;
    return Err("", 0, Err::ERR_PARAMETER, 0);
}

int Count(const FileList& list)
{
    int count = 0;
    for (const FileListNode& node : list)
        count += node.name.CStr()[0] == 'f'; // every name starts so
    return count;
}

} // namespace

TEST(FileBuffer, LoadRaisesWhatItsBufferRaises)
{
    TempDir dir;
    std::ofstream(dir.File("file")) << std::string(1000, 'x');
    const String path = Text(dir.File("file"));
    bool bufferFailed = false;
    const long blocks = LiveBlocks();
    const long descriptors = OpenDescriptors();
    for (long which = 1;; ++which) {
        FileBuffer buffer;
        buffer.ResizeNoCopy(100);
        Err err = NoErr();
        const Outcome outcome = WithFailure(which, err, [&] { buffer.Load(path); });
        EXPECT_EQ(descriptors, OpenDescriptors());
        if (outcome == Done) {
            EXPECT_EQ(1000ul, buffer.Length());
            break;
        }
        if (outcome == RaisedErr) {
            bufferFailed = true;
            EXPECT_STREQ("src/Buffer/Buffer", err.file);
            EXPECT_EQ(Err::ERR_MEMORY, err.code);
            EXPECT_EQ(1000, err.data);
            EXPECT_EQ(0ul, buffer.Capacity());
        } else { // the stream's own; it comes before the buffer is touched
            EXPECT_EQ(100ul, buffer.Length());
        }
        EXPECT_TRUE(buffer.Load(path));
        EXPECT_EQ(1000ul, buffer.Length());
        EXPECT_EQ('x', buffer[999]);
    }
    EXPECT_TRUE(bufferFailed);
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(FileBuffer, SaveNeedsNoMemoryOfTheBuffersOwn)
{
    TempDir dir;
    const String path = Text(dir.File("file"));
    FileBuffer buffer;
    buffer.ResizeNoCopy(1000);
    std::fill(buffer.Begin(), buffer.End(), static_cast<unsigned char>(7));
    const long blocks = LiveBlocks();
    const long descriptors = OpenDescriptors();
    Err err = NoErr();
    for (long which = 1; WithFailure(which, err, [&] { buffer.Save(path); }) != Done; ++which)
        EXPECT_EQ(descriptors, OpenDescriptors());
    EXPECT_EQ(0, err.line) << "the library itself raised";
    EXPECT_EQ(1000u, std::filesystem::file_size(dir.File("file")));
    EXPECT_EQ(blocks, LiveBlocks());
    EXPECT_EQ(descriptors, OpenDescriptors());
}

TEST(FileList, FailedAllocationsKeepWhatWasFoundAndCloseTheDirectory)
{
    TempDir dir;
    for (int i = 0; i < 5; ++i) // longer than a string's first block
        std::ofstream(dir.File("f" + std::string(100, static_cast<char>('0' + i))));
    const String path = Text(dir.Path() + "/");
    int errs = 0;
    int badAllocs = 0;
    int kept[6] = {}; // how often the list held so many entries after a failure
    const long blocks = LiveBlocks();
    const long descriptors = OpenDescriptors();
    for (long which = 1;; ++which) {
        FileList list;
        Err err = NoErr();
        const Outcome outcome = WithFailure(which, err, [&] { list.Find(path, true, true); });
        EXPECT_EQ(descriptors, OpenDescriptors());
        if (outcome == Done) {
            EXPECT_EQ(5, Count(list));
            break;
        }
        ASSERT_LT(Count(list), 5);
        ++kept[Count(list)];
        if (outcome == RaisedErr) {
            ++errs;
            EXPECT_STREQ("src/Allocator/Heep", err.file);
            EXPECT_EQ(Err::ERR_MEMORY, err.code);
            EXPECT_EQ(4, err.data);
        } else {
            ++badAllocs;
        }
        EXPECT_TRUE(list.Find(path, true, true));
        EXPECT_EQ(5, Count(list));
    }
    EXPECT_EQ(5, badAllocs); // one node an entry
    EXPECT_GE(errs, 10);     // a fresh name and its text
    for (int count = 0; count < 5; ++count)
        EXPECT_GT(kept[count], 0) << count;
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(FileList, ClearsBeforeItAsksForMemory)
{
    TempDir dir;
    std::ofstream(dir.File("f"));
    const String path = Text(dir.Path() + "/");
    FileList list;
    ASSERT_TRUE(list.Find(path, true, true));
    Err err = NoErr();
    EXPECT_EQ(RaisedErr, WithFailure(1, err, [&] { list.Find(path, true, true); }));
    EXPECT_TRUE(list.Empty());
}

TEST(FileList, AddLastSeparatorRaisesAsTheStringDoes)
{
    String path = Text(std::string(63, 'p')); // its block is full
    Err err = NoErr();
    EXPECT_EQ(RaisedErr, WithFailure(1, err, [&] { FileList::AddLastSeparator(path); }));
    EXPECT_STREQ("src/Allocator/Heep", err.file);
    EXPECT_EQ(Err::ERR_MEMORY, err.code);
    EXPECT_EQ(std::string(63, 'p'), path.CStr());
}

TEST(FileBuffer, LoadAfterARefusedOneTakesABlockOfItsOwn)
{
    TempDir dir;
    std::ofstream(dir.File("file")) << std::string(1000, 'x');
    FileBuffer buffer;
    buffer.Resize(1000);
    Raised([&] {
        FailingNew failing;
        buffer.ResizeNoCopy(5000);
    });
    // The range still has the file's length, but its bytes are gone.
    ASSERT_EQ(1000ul, buffer.Length());
    ASSERT_EQ(0ul, buffer.Capacity());
    EXPECT_TRUE(buffer.Load(Text(dir.File("file"))));
    EXPECT_EQ(1024ul, buffer.Capacity());
    EXPECT_EQ('x', buffer[0]);
    EXPECT_EQ('x', buffer[999]);
}

TEST(FileBuffer, LoadWritesNothingIntoALentRange)
{
    TempDir dir;
    std::ofstream(dir.File("file")) << "abc";
    unsigned char lent[3] = {1, 2, 3};
    FileBuffer buffer;
    buffer.Replace(lent, 3);
    EXPECT_TRUE(buffer.Load(Text(dir.File("file"))));
    EXPECT_EQ(1, lent[0]);
    EXPECT_EQ('a', buffer[0]);
    EXPECT_EQ(128ul, buffer.Capacity());
}
