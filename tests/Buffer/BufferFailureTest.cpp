// SPDX-License-Identifier: MIT
#include <ORVEX/Buffer.h>

#include "Support/ExpectRaises.h"
#include "Support/FailingNew.h"

#include <gtest/gtest.h>

#include <cstring>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::Err;

namespace {

const char File[] = "src/Buffer/Buffer";

} // namespace

TEST(Buffer, RefusedResizeRaisesTheBlocksSizeAndChangesNothing)
{
    Buffer buffer;
    buffer.Resize(3);
    std::memcpy(buffer.Begin(), "abc", 3);
    const unsigned char* const block = buffer.Begin();
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 256, [&] { buffer.Resize(129); });
        EXPECT_TRUE(next.Hit());
    }
    EXPECT_EQ(block, buffer.Begin());
    EXPECT_EQ(3ul, buffer.Length());
    EXPECT_EQ(128ul, buffer.Capacity());
    EXPECT_EQ(0, std::memcmp("abc", buffer.Begin(), 3));
}

TEST(Buffer, RefusedShrinkingChangesNothing)
{
    Buffer buffer;
    buffer.Resize(1000);
    const unsigned char* const block = buffer.Begin();
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 128, [&] { buffer.Resize(1); });
    }
    EXPECT_EQ(block, buffer.Begin());
    EXPECT_EQ(1000ul, buffer.Length());
    EXPECT_EQ(1024ul, buffer.Capacity());
}

TEST(Buffer, RefusedResizeNoCopyRaisesThePlainLengthAndKeepsTheRange)
{
    Buffer buffer;
    buffer.Resize(100);
    const unsigned char* const begin = buffer.Begin();
    const long blocks = LiveBlocks();
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 129, [&] { buffer.ResizeNoCopy(129); });
        EXPECT_TRUE(next.Hit());
    }
    EXPECT_EQ(blocks - 1, LiveBlocks()); // the old block went first
    EXPECT_EQ(0ul, buffer.Capacity());
    EXPECT_EQ(begin, buffer.Begin()); // but is still denoted
    EXPECT_EQ(100ul, buffer.Length());
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 7, [&] { buffer.TryResizeNoCopy(7); });
    }
    EXPECT_EQ(0ul, buffer.Capacity());
    EXPECT_EQ(100ul, buffer.Length());
    EXPECT_EQ(blocks - 1, LiveBlocks());
}

TEST(Buffer, GoesOnAfterARefusalOnceItIsAssignedOrResized)
{
    Buffer source;
    source.Resize(100);
    std::memset(source.Begin(), 1, 100);
    const BufferBase& range = source;
    for (int use = 0; use < 4; ++use) {
        Buffer buffer(source);
        {
            const FailingNew next;
            EXPECT_EQ(Err::ERR_MEMORY, Raised([&] { buffer.ResizeNoCopy(1000); }).code);
        }
        // The old length is assigned on purpose: it must not pass for being there already.
        switch (use) {
        case 0:
            buffer = source;
            break;
        case 1:
            buffer = range;
            break;
        case 2:
            buffer.ResizeNoCopy(99);
            break;
        default:
            buffer.Resize(0);
            buffer.Resize(100);
        }
        EXPECT_EQ(use == 2 ? 99ul : 100ul, buffer.Length());
        EXPECT_EQ(128ul, buffer.Capacity());
        std::memset(buffer.Begin(), 2, buffer.Capacity());
        EXPECT_EQ(1, source[99]);
    }
}

TEST(Buffer, RefusedCopiesRaiseThePlainLength)
{
    Buffer source;
    source.Resize(200);
    const BufferBase& range = source;
    const long blocks = LiveBlocks();
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 200, [&] { Buffer copy(source); });
    }
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 200, [&] { Buffer copy(range); });
    }
    EXPECT_EQ(blocks, LiveBlocks());
    Buffer target;
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 200, [&] { target = source; });
    }
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 200, [&] { target = range; });
    }
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 200, [&] { target.Copy(range.Begin(), range.End()); });
    }
    EXPECT_EQ(blocks, LiveBlocks());
    EXPECT_TRUE(target.Empty());
    EXPECT_EQ(0ul, target.Capacity());
}

TEST(Buffer, RefusedCopyAddRaisesTheBlocksSizeAndChangesNothing)
{
    Buffer source;
    source.Resize(200);
    Buffer target;
    target.Resize(100);
    const unsigned char* const block = target.Begin();
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 384, [&] { target.CopyAdd(source); });
    }
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 384,
                     [&] { target.CopyAdd(source.Begin(), source.End()); });
    }
    EXPECT_EQ(block, target.Begin());
    EXPECT_EQ(100ul, target.Length());
}

TEST(Buffer, RefusedResizeOfABorrowedRangeLeavesItBorrowed)
{
    unsigned char foreign[4] = {1, 2, 3, 4};
    Buffer buffer;
    buffer.Replace(foreign, 4);
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 128, [&] { buffer.Resize(5); });
    }
    EXPECT_EQ(foreign, buffer.Begin());
    EXPECT_EQ(4ul, buffer.Length());
    EXPECT_EQ(0ul, buffer.Capacity());
}

TEST(Buffer, ReleasesEachBlockOnce)
{
    const long blocks = LiveBlocks();
    {
        Buffer a;
        Buffer b;
        a.Resize(10);
        a.Resize(1000);
        a.ResizeNoCopy(100);
        b = a;
        b.Swap(a);
        a.Delete();
        EXPECT_EQ(blocks + 1, LiveBlocks());
        a.Delete();
        a.Resize(0);
        a.Resize(5);
        const Buffer c(b);
        EXPECT_EQ(blocks + 3, LiveBlocks());
    }
    EXPECT_EQ(blocks, LiveBlocks());
    BufferBase* const base = new Buffer;
    base->TryResizeNoCopy(9);
    delete base;
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(Buffer, LengthsThatAlternateNearbyAllocateNothing)
{
    Buffer buffer;
    buffer.ResizeNoCopy(1000);
    const long before = AllocationsSoFar();
    for (unsigned long n = 512; n <= 1024; ++n) {
        buffer.ResizeNoCopy(n);
        buffer.Resize(1536 - n);
    }
    EXPECT_EQ(before, AllocationsSoFar());
}
