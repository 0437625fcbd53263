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

void ExpectEmptyWithoutABlock(const Buffer& buffer)
{
    EXPECT_EQ(nullptr, buffer.Begin());
    EXPECT_EQ(nullptr, buffer.End());
    EXPECT_EQ(0ul, buffer.Capacity());
}

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

TEST(Buffer, RefusedResizeNoCopyRaisesThePlainLengthAndEmptiesTheBuffer)
{
    Buffer buffer;
    buffer.Resize(100);
    const long blocks = LiveBlocks();
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 129, [&] { buffer.ResizeNoCopy(129); });
        EXPECT_TRUE(next.Hit());
    }
    EXPECT_EQ(blocks - 1, LiveBlocks()); // the old block went first
    ExpectEmptyWithoutABlock(buffer);
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 7, [&] { buffer.TryResizeNoCopy(7); });
    }
    ExpectEmptyWithoutABlock(buffer);
}

// A buffer that went on denoting the block that it has released would take the next request for
// the old length as fulfilled, and a larger one would copy from that block.
TEST(Buffer, CanBeUsedAgainAfterARefusal)
{
    Buffer old;
    old.Resize(100);
    std::memset(old.Begin(), 1, 100);
    for (int use = 0; use < 4; ++use) {
        Buffer buffer(old);
        {
            const FailingNew next;
            EXPECT_EQ(Err::ERR_MEMORY, Raised([&] { buffer.ResizeNoCopy(1000); }).code);
        }
        if (use == 0)
            buffer = old;
        else if (use == 1)
            buffer.ResizeNoCopy(100);
        else if (use == 2)
            buffer.Resize(100);
        else
            buffer.CopyAdd(old);
        EXPECT_EQ(100ul, buffer.Length());
        EXPECT_EQ(128ul, buffer.Capacity());
        std::memset(buffer.Begin(), 2, buffer.Capacity());
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
    ExpectEmptyWithoutABlock(target);
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
