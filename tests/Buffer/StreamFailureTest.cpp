// SPDX-License-Identifier: MIT
// Allocations of the stream: counted, and made to fail.
#include <ORVEX/Stream.h>

#include "Support/FailingNew.h"
#include "Support/Raised.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <new>
#include <thread>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::Err;
using ORVEX::Stream;

namespace {

void Push(Stream& stream, unsigned long length)
{
    Buffer& packet = stream.PushBackStart();
    packet.ResizeNoCopy(length);
    std::memset(packet.Begin(), static_cast<int>(length & 0xFF), length);
    stream.PushBackEnd();
}

} // namespace

TEST(StreamMemory, NothingIsAllocatedUntilTheFirstPacket)
{
    const long before = AllocationsSoFar();
    {
        Stream stream;
        stream.PopFrontStart();
        stream.Clear();
        EXPECT_TRUE(stream.Empty());
    }
    EXPECT_EQ(before, AllocationsSoFar());
}

TEST(StreamMemory, PacketCostsANodeAndABlockOnce)
{
    Stream stream;
    const long before = AllocationsSoFar();
    Push(stream, 64);
    EXPECT_EQ(before + 2, AllocationsSoFar());
    stream.PushBackStart();
    stream.PushBackEnd(); // empty: the node stays
    EXPECT_EQ(before + 3, AllocationsSoFar());
    stream.PushBackStart();
    EXPECT_EQ(before + 3, AllocationsSoFar());
}

TEST(StreamMemory, AfterWarmUpPacketsOfSimilarSizeAllocateNothing)
{
    Stream stream;
    for (int i = 0; i < 5; ++i)
        Push(stream, 128);
    const long before = AllocationsSoFar();
    for (unsigned long i = 0; i < 100000; ++i) {
        stream.PopFrontStart();
        stream.PopFrontEnd();
        Push(stream, 64 + i % 65);
    }
    EXPECT_EQ(before, AllocationsSoFar());
}

TEST(StreamMemory, AfterWarmUpTwoThreadsAllocateNothing)
{
    const int underWay = 16; // packets at a time
    const int packets = 100000;
    Stream stream;
    std::atomic<int> popped{0};
    for (int i = 0; i < underWay + 2; ++i) // one more on each side
        Push(stream, 128);
    stream.Clear();
    long allocations = -1;
    std::thread consumer([&] {
        while (popped < packets) {
            if (stream.PopFrontStart().Empty()) {
                std::this_thread::yield();
                continue;
            }
            stream.PopFrontEnd();
            ++popped;
        }
    });
    const long before = AllocationsSoFar(); // the thread's own allocations are done by now
    for (int pushed = 0; pushed < packets; ++pushed) {
        while (pushed - popped >= underWay)
            std::this_thread::yield();
        Push(stream, 64 + static_cast<unsigned long>(pushed % 65));
    }
    consumer.join();
    allocations = AllocationsSoFar() - before;
    EXPECT_EQ(0, allocations);
}

TEST(StreamMemory, DestructionReleasesEverything)
{
    const long before = LiveBlocks();
    {
        Stream stream;
        for (unsigned long length = 100; length < 105; ++length)
            Push(stream, length);
        stream.PopFrontStart();
        stream.PopFrontEnd();                     // one free,
        stream.PopFrontStart();                   // one being read,
        Push(stream, 300);                        // four waiting,
        stream.PushBackStart().ResizeNoCopy(500); // one being filled
        EXPECT_EQ(before + 12, LiveBlocks());
    }
    EXPECT_EQ(before, LiveBlocks());
}

TEST(StreamMemory, NodeThatCannotBeHadLeavesTheStreamAsItWas)
{
    Stream stream;
    Push(stream, 64);
    const long before = LiveBlocks();
    for (int i = 0; i < 3; ++i) {
        const FailingNew next;
        EXPECT_THROW(stream.PushBackStart(), std::bad_alloc);
    }
    EXPECT_EQ(before, LiveBlocks());
    EXPECT_EQ(64, stream.Size());
    // Both locks are free again; a thread that waits for one would hang here.
    stream.Clear();
    stream.PushBackStart();
    Push(stream, 65);
    EXPECT_EQ(65u, stream.PopFrontStart().Length());
}

TEST(StreamMemory, FreeNodeNeedsNoMemory)
{
    Stream stream;
    Push(stream, 64);
    stream.Clear();
    const FailingNew all(1, FailingNew::FromThenOn);
    Push(stream, 64);
    EXPECT_EQ(64u, stream.PopFrontStart().Length());
    EXPECT_FALSE(all.Hit());
}

TEST(StreamMemory, BlockThatCannotBeHadLeavesThePacketWithTheProducer)
{
    Stream stream;
    Buffer& packet = stream.PushBackStart();
    {
        const FailingNew next;
        const Err err = Raised([&packet] { packet.ResizeNoCopy(200); });
        EXPECT_EQ(Err::ERR_MEMORY, err.code);
        EXPECT_EQ(200, err.data);
    }
    EXPECT_EQ(&packet, &stream.PushBackStart());
    stream.PushBackEnd();
    EXPECT_TRUE(stream.Empty());
    Push(stream, 200);
    EXPECT_EQ(200, stream.Size());
}
