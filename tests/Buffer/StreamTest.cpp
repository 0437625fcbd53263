// SPDX-License-Identifier: MIT
#include <ORVEX/Stream.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <deque>
#include <random>
#include <semaphore.h>
#include <string>
#include <thread>
#include <type_traits>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::List;
using ORVEX::Mutex;
using ORVEX::Stream;

static_assert(sizeof(Stream) ==
                  2 * sizeof(List<Buffer>) + 2 * sizeof(Mutex) + 2 * sizeof(List<Buffer>::Node*),
              "two lists, their locks and two nodes");
static_assert(!std::is_copy_constructible<Stream>::value, "threads share its address");
static_assert(!std::is_copy_assignable<Stream>::value, "threads share its address");
static_assert(!std::is_polymorphic<Stream>::value, "no virtual operations");
static_assert(std::is_same<decltype(Stream().Size()), std::int32_t>::value, "32 bits, signed");

namespace {

void Fill(Buffer& buffer, const std::string& text)
{
    buffer.ResizeNoCopy(text.size());
    text.copy(reinterpret_cast<char*>(buffer.Begin()), text.size());
}

void Push(Stream& stream, const std::string& text)
{
    Fill(stream.PushBackStart(), text);
    stream.PushBackEnd();
}

std::string Text(const BufferBase& bytes) { return std::string(bytes.Begin(), bytes.End()); }

std::string Pop(Stream& stream)
{
    const std::string text = Text(stream.PopFrontStart());
    stream.PopFrontEnd();
    return text;
}

// Reads a pointer out of the stream's memory.
const char* PointerAt(const Stream& stream, std::size_t offset)
{
    const char* pointer;
    std::memcpy(&pointer, reinterpret_cast<const char*>(&stream) + offset, sizeof pointer);
    return pointer;
}

const char* NodeOf(const BufferBase& buffer)
{
    return reinterpret_cast<const char*>(&buffer) - sizeof(ORVEX::ListBase::NodeLink);
}

// The stream's locks, where they lie in it.
Mutex& FilledLock(Stream& stream)
{
    return *reinterpret_cast<Mutex*>(reinterpret_cast<char*>(&stream) + 2 * sizeof(List<Buffer>));
}
Mutex& FreeLock(Stream& stream) { return *(&FilledLock(stream) + 1); }

bool IsLocked(Mutex& lock)
{
    int count = -1;
    sem_getvalue(reinterpret_cast<sem_t*>(&lock), &count);
    return count <= 0;
}

// Packets that say which they are: a number of 4 bytes, then bytes that follow from it.
unsigned long LengthOf(std::uint32_t number) { return 4 + number * 2654435761u % 300; }

void FillNumbered(Buffer& buffer, std::uint32_t number)
{
    buffer.ResizeNoCopy(LengthOf(number));
    std::memcpy(buffer.Begin(), &number, 4);
    std::memset(buffer.Begin() + 4, static_cast<int>(number & 0xFF), buffer.Length() - 4);
}

// The packet's number when all its bytes are as they were written, otherwise 0.
std::uint32_t NumberOf(const BufferBase& packet)
{
    std::uint32_t number = 0;
    if (packet.Length() < 4)
        return 0;
    std::memcpy(&number, packet.Begin(), 4);
    if (packet.Length() != LengthOf(number))
        return 0;
    for (const unsigned char* at = packet.Begin() + 4; at != packet.End(); ++at)
        if (*at != (number & 0xFF))
            return 0;
    return number;
}

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
const std::uint32_t Packets = 100000;
#else
const std::uint32_t Packets = 1000000;
#endif

} // namespace

TEST(Stream, FieldsAreInOrder)
{
    Stream stream;
    const std::size_t pushAt = 2 * sizeof(List<Buffer>) + 2 * sizeof(Mutex);
    EXPECT_EQ(nullptr, PointerAt(stream, pushAt));
    EXPECT_EQ(nullptr, PointerAt(stream, pushAt + sizeof(void*)));
    Buffer& packet = stream.PushBackStart();
    Fill(packet, "x");
    EXPECT_EQ(NodeOf(packet), PointerAt(stream, pushAt));
    stream.PushBackEnd();
    EXPECT_EQ(nullptr, PointerAt(stream, pushAt));
    EXPECT_EQ(NodeOf(packet), PointerAt(stream, 0)); // the first node of filled
    stream.PopFrontStart();
    EXPECT_EQ(NodeOf(packet), PointerAt(stream, pushAt + sizeof(void*)));
    stream.PopFrontEnd();
    EXPECT_EQ(nullptr, PointerAt(stream, pushAt + sizeof(void*)));
    EXPECT_EQ(NodeOf(packet), PointerAt(stream, sizeof(List<Buffer>))); // the first of free
}

TEST(Stream, NewStreamIsEmpty)
{
    const Stream stream;
    EXPECT_TRUE(stream.Empty());
    EXPECT_EQ(0, stream.Size());
}

TEST(Stream, EmptyStreamGivesTheEmptyRange)
{
    Stream stream;
    EXPECT_EQ(&BufferBase::Zero, &stream.PopFrontStart());
    EXPECT_EQ(0u, stream.PopFrontStart().Length());
    stream.PopFrontEnd(); // nothing is held
    Push(stream, "a");
    EXPECT_EQ("a", Pop(stream));
    EXPECT_EQ(&BufferBase::Zero, &stream.PopFrontStart());
}

TEST(Stream, PacketsComeOutInTheirOrder)
{
    Stream stream;
    Push(stream, "one");
    Push(stream, "two");
    Push(stream, "three");
    EXPECT_FALSE(stream.Empty());
    EXPECT_EQ("one", Pop(stream));
    Push(stream, "four");
    EXPECT_EQ("two", Pop(stream));
    EXPECT_EQ("three", Pop(stream));
    EXPECT_EQ("four", Pop(stream));
    EXPECT_TRUE(stream.Empty());
}

TEST(Stream, StartAgainReturnsTheSameBuffer)
{
    Stream stream;
    Buffer& packet = stream.PushBackStart();
    Fill(packet, "kept");
    EXPECT_EQ(&packet, &stream.PushBackStart());
    EXPECT_EQ("kept", Text(stream.PushBackStart()));
    stream.PushBackEnd();
    EXPECT_NE(&packet, &stream.PushBackStart());
}

TEST(Stream, EmptyPacketIsNotQueuedAndItsBufferStays)
{
    Stream stream;
    Buffer& packet = stream.PushBackStart();
    stream.PushBackEnd();
    EXPECT_TRUE(stream.Empty());
    EXPECT_EQ(&packet, &stream.PushBackStart());
    stream.PushBackEnd();
    stream.PushBackEnd();
    EXPECT_EQ(&packet, &stream.PushBackStart());
}

TEST(Stream, SizeCountsWaitingPacketsOnly)
{
    Stream stream;
    Push(stream, "123");
    Push(stream, "12345");
    EXPECT_EQ(8, stream.Size());
    Fill(stream.PushBackStart(), "not yet queued");
    EXPECT_EQ(8, stream.Size());
    stream.PopFrontStart();
    EXPECT_EQ(5, stream.Size());
    stream.PopFrontEnd();
    EXPECT_EQ(5, stream.Size());
    stream.PushBackEnd();
    EXPECT_EQ(19, stream.Size());
}

TEST(Stream, EmptyLooksAtWaitingPacketsOnly)
{
    Stream stream;
    Fill(stream.PushBackStart(), "x");
    EXPECT_TRUE(stream.Empty());
    stream.PushBackEnd();
    EXPECT_FALSE(stream.Empty());
    stream.PopFrontStart();
    EXPECT_TRUE(stream.Empty());
}

TEST(Stream, SizeIsTheLow32BitsOfTheSum)
{
    // The ranges are borrowed, so that their lengths need no memory behind them.
    static unsigned char byte;
    Stream stream;
    for (int i = 0; i < 3; ++i) {
        stream.PushBackStart().Replace(&byte, 0x30000001);
        stream.PushBackEnd();
    }
    EXPECT_EQ(INT32_MIN + 0x10000003, stream.Size()); // 0x90000003
}

TEST(Stream, PopStartTwiceGivesTwoPacketsAndRecyclesTheFirst)
{
    Stream stream;
    Push(stream, "one");
    Push(stream, "two");
    const BufferBase& first = stream.PopFrontStart();
    EXPECT_EQ("one", Text(first));
    const BufferBase& second = stream.PopFrontStart();
    EXPECT_EQ("two", Text(second));
    EXPECT_NE(&first, &second);
    EXPECT_EQ(&first, &stream.PushBackStart());
}

TEST(Stream, PopStartOnEmptyStreamStillRecyclesTheLastPacket)
{
    Stream stream;
    Push(stream, "one");
    const BufferBase* const only = &stream.PopFrontStart();
    EXPECT_EQ(&BufferBase::Zero, &stream.PopFrontStart());
    EXPECT_EQ(only, &stream.PushBackStart());
}

TEST(Stream, RecycledBufferStillHoldsItsBytes)
{
    Stream stream;
    Push(stream, "old bytes");
    Pop(stream);
    Buffer& packet = stream.PushBackStart();
    EXPECT_EQ("old bytes", Text(packet));
    EXPECT_EQ(128u, packet.Capacity());
    stream.PushBackEnd(); // not empty, so it is queued as it is
    EXPECT_EQ("old bytes", Pop(stream));
}

TEST(Stream, FreeBuffersAreReusedOldestFirst)
{
    Stream stream;
    for (const char* text : {"a", "b", "c"})
        Push(stream, text);
    for (int i = 0; i < 3; ++i)
        Pop(stream);
    for (const char* text : {"a", "b", "c"}) {
        EXPECT_EQ(text, Text(stream.PushBackStart()));
        stream.PushBackEnd();
    }
}

TEST(Stream, ClearKeepsTheBuffersForReuse)
{
    Stream stream;
    Push(stream, "one");
    Push(stream, "two");
    stream.Clear();
    EXPECT_TRUE(stream.Empty());
    EXPECT_EQ(0, stream.Size());
    EXPECT_EQ(&BufferBase::Zero, &stream.PopFrontStart());
    EXPECT_EQ("one", Text(stream.PushBackStart()));
    stream.PushBackEnd();
    EXPECT_EQ("two", Text(stream.PushBackStart()));
    stream.Clear();
    stream.Clear(); // of an empty stream
    EXPECT_TRUE(stream.Empty());
}

TEST(Stream, ClearLeavesTheHeldPacketsAlone)
{
    Stream stream;
    Push(stream, "read");
    Push(stream, "waiting");
    const BufferBase& read = stream.PopFrontStart();
    Fill(stream.PushBackStart(), "written");
    stream.Clear();
    EXPECT_EQ("read", Text(read));
    EXPECT_EQ("written", Text(stream.PushBackStart()));
    stream.PushBackEnd();
    EXPECT_EQ("written", Text(stream.PopFrontStart()));
}

TEST(Stream, ClearedBuffersGoBehindThoseThatAreFree)
{
    Stream stream;
    for (const char* text : {"read", "one", "two"})
        Push(stream, text);
    Pop(stream);
    stream.Clear();
    for (const char* text : {"read", "one", "two"}) {
        EXPECT_EQ(text, Text(stream.PushBackStart()));
        stream.PushBackEnd();
    }
}

// In the following two a lock too many would make the test hang.

TEST(Stream, WaitingPacketsNeedNotTheLockOfTheFreeOnes)
{
    Stream stream;
    Push(stream, "one");
    Fill(stream.PushBackStart(), "two");
    FreeLock(stream).Lock();
    EXPECT_FALSE(stream.Empty());
    EXPECT_EQ(3, stream.Size());
    EXPECT_EQ("two", Text(stream.PushBackStart())); // still the packet being filled
    stream.PushBackEnd();
    EXPECT_EQ("one", Text(stream.PopFrontStart()));
    FreeLock(stream).Unlock();
    stream.PopFrontEnd();
    EXPECT_EQ("two", Pop(stream));
}

TEST(Stream, FreeBuffersNeedNotTheLockOfTheWaitingOnes)
{
    Stream stream;
    Push(stream, "one");
    stream.PopFrontStart();
    FilledLock(stream).Lock();
    stream.PopFrontEnd();
    EXPECT_EQ("one", Text(stream.PushBackStart()));
    stream.PopFrontEnd(); // nothing is held
    FilledLock(stream).Unlock();
    stream.PushBackEnd();
    EXPECT_EQ("one", Pop(stream));
}

TEST(Stream, EveryOperationGivesItsLocksBack)
{
    Stream stream;
    const auto bothAreFree = [&] {
        return !IsLocked(FilledLock(stream)) && !IsLocked(FreeLock(stream));
    };
    EXPECT_TRUE(bothAreFree());
    for (int round = 0; round < 2; ++round) { // without free buffers, then with
        Buffer& packet = stream.PushBackStart();
        EXPECT_TRUE(bothAreFree());
        packet.Resize(0);
        stream.PushBackEnd(); // not queued
        EXPECT_TRUE(bothAreFree());
        Fill(packet, "x");
        stream.PushBackEnd();
        EXPECT_TRUE(bothAreFree());
        stream.Size();
        EXPECT_TRUE(bothAreFree());
        stream.Empty();
        EXPECT_TRUE(bothAreFree());
        stream.PopFrontStart(); // a packet
        EXPECT_TRUE(bothAreFree());
        stream.PopFrontStart(); // none
        EXPECT_TRUE(bothAreFree());
        stream.PopFrontEnd();
        EXPECT_TRUE(bothAreFree());
        Push(stream, "y");
        stream.Clear();
        EXPECT_TRUE(bothAreFree());
    }
}

TEST(Stream, ClearTakesTheLockOfTheWaitingPacketsFirst)
{
    Stream stream;
    Push(stream, "x");
    FreeLock(stream).Lock();
    std::thread cleaner([&] { stream.Clear(); });
    // In the other order it would wait without ever having taken this one.
    while (!IsLocked(FilledLock(stream)))
        std::this_thread::yield();
    FreeLock(stream).Unlock();
    cleaner.join();
    EXPECT_TRUE(stream.Empty());
}

TEST(Stream, PopStartHoldsOneLockAtATime)
{
    Stream stream;
    Push(stream, "one");
    Push(stream, "two");
    const char* const first = NodeOf(stream.PopFrontStart());
    FilledLock(stream).Lock();
    std::thread consumer([&] { EXPECT_EQ("two", Text(stream.PopFrontStart())); });
    // It gives the first packet back and waits for the second; if it kept the other lock while it
    // waits, this would wait for ever.
    const char* firstFree = nullptr;
    while (firstFree != first) {
        std::this_thread::yield();
        FreeLock(stream).Lock();
        firstFree = PointerAt(stream, sizeof(List<Buffer>));
        FreeLock(stream).Unlock();
    }
    FilledLock(stream).Unlock();
    consumer.join();
}

TEST(Stream, RandomUseMatchesAQueue)
{
    std::mt19937 random(3);
    Stream stream;
    std::deque<std::string> queue;
    for (int i = 0; i < 100000; ++i) {
        switch (random() % 8) {
        case 0:
        case 1:
        case 2: {
            const std::string text(random() % 400, static_cast<char>('a' + random() % 26));
            Push(stream, text);
            if (!text.empty())
                queue.push_back(text);
            break;
        }
        case 3:
        case 4:
        case 5:
            ASSERT_EQ(queue.empty() ? "" : queue.front(), Text(stream.PopFrontStart()));
            if (!queue.empty())
                queue.pop_front();
            if (random() % 2)
                stream.PopFrontEnd();
            break;
        case 6:
            ASSERT_EQ(queue.empty(), stream.Empty());
            break;
        default:
            if (random() % 64 == 0) {
                stream.Clear();
                queue.clear();
            }
            std::int32_t size = 0;
            for (const std::string& text : queue)
                size += static_cast<std::int32_t>(text.size());
            ASSERT_EQ(size, stream.Size());
        }
    }
}

TEST(Stream, PacketsArriveCompleteAndInOrderWhileOthersLookOn)
{
    Stream stream;
    std::atomic<bool> over{false};
    std::thread producer([&] {
        for (std::uint32_t number = 1; number <= Packets; ++number) {
            FillNumbered(stream.PushBackStart(), number);
            stream.PushBackEnd();
            while (number % 64 == 0 && stream.Size() > 50000)
                std::this_thread::yield();
        }
    });
    std::thread observer([&] {
        while (!over) {
            const std::int32_t size = stream.Size();
            EXPECT_TRUE(size >= 0 && size < 100000) << size;
            stream.Empty();
            std::this_thread::yield();
        }
    });
    std::uint32_t expected = 1;
    while (expected <= Packets) {
        const BufferBase& packet = stream.PopFrontStart();
        if (packet.Empty()) {
            std::this_thread::yield();
            continue;
        }
        const std::uint32_t number = NumberOf(packet);
        EXPECT_EQ(expected, number);
        if (number != expected)
            break;
        ++expected;
        if (number % 3)
            stream.PopFrontEnd();
    }
    producer.join();
    over = true;
    observer.join();
    EXPECT_EQ(Packets + 1, expected);
    EXPECT_TRUE(stream.Empty());
}

TEST(Stream, ClearFromAThirdThreadOnlyLosesPackets)
{
    Stream stream;
    std::atomic<bool> produced{false};
    std::atomic<long> clears{0};
    std::thread producer([&] {
        for (std::uint32_t number = 1; number <= Packets; ++number) {
            FillNumbered(stream.PushBackStart(), number);
            stream.PushBackEnd();
            while (number % 64 == 0 && stream.Size() > 50000)
                std::this_thread::yield();
        }
        produced = true;
    });
    std::thread cleaner([&] {
        do {
            stream.Clear();
            ++clears;
            EXPECT_GE(stream.Size(), 0);
            stream.Empty();
            std::this_thread::yield();
        } while (!produced);
    });
    std::uint32_t last = 0;
    std::uint32_t received = 0;
    for (;;) {
        const bool noMoreWillCome = produced;
        const BufferBase& packet = stream.PopFrontStart();
        if (packet.Empty()) {
            if (noMoreWillCome)
                break;
            std::this_thread::yield();
            continue;
        }
        const std::uint32_t number = NumberOf(packet);
        EXPECT_GT(number, last);
        if (number <= last)
            break;
        last = number;
        ++received;
    }
    producer.join();
    cleaner.join();
    EXPECT_GT(clears, 0);
    EXPECT_LE(received, Packets);
    Push(stream, "still in use");
    EXPECT_EQ("still in use", Pop(stream));
}
