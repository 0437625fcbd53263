// SPDX-License-Identifier: MIT
#include <ORVEX/Allocator.h>

#include "../../src/Allocator/NewArray.h"
#include "Support/ExpectRaises.h"
#include "Support/FailingNew.h"

#include <gtest/gtest.h>

#include <climits>
#include <new>
#include <stdexcept>

using ORVEX::AllocatorBase;
using ORVEX::AllocatorEnum;
using ORVEX::Err;
using ORVEX::Heep;
using ORVEX::NewArray;

namespace {

using CharAllocator = ORVEX::Allocator<char, AllocatorEnum::COPY_BYTES>;

// Counts the living, and throws from the constructor of the one numbered `bad`.
struct Counted {
    static int living;
    static int bad;
    static bool outOfMemory;

    Counted()
    {
        if (living + 1 == bad) {
            if (outOfMemory)
                throw std::bad_alloc();
            throw std::runtime_error("bad element");
        }
        ++living;
    }
    ~Counted() { --living; }

    char bytes[24];
};

// An allocation whose result goes nowhere may be left out by the compiler.
void* volatile sink;

int Counted::living = 0;
int Counted::bad = 0;
bool Counted::outOfMemory = false;

} // namespace

TEST(NewArray, GivesDefaultInitialisedElements)
{
    Counted::bad = 0;
    Counted* const array = NewArray<Counted>(5, "f", 1, 0);
    EXPECT_EQ(5, Counted::living);
    delete[] array;
    EXPECT_EQ(0, Counted::living);

    FillNewBlocksWith(0x5A);
    long* const numbers = NewArray<long>(3, "f", 1, 0);
    FillNewBlocksWith(-1);
    EXPECT_EQ(0x5A, numbers[2] & 0xFF); // left as the heap gave it
    delete[] numbers;
}

TEST(NewArray, RefusalCarriesWhatTheCallerGave)
{
    const FailingNew next;
    const Err err = Raised([] { sink = NewArray<char>(10, "some/file", 77, -5); });
    EXPECT_TRUE(next.Hit());
    EXPECT_STREQ("some/file", err.file);
    EXPECT_EQ(77, err.line);
    EXPECT_EQ(Err::ERR_MEMORY, err.code);
    EXPECT_EQ(-5, err.data);
}

TEST(NewArray, ByteSizesThatNoObjectCanHaveAreRefused)
{
    ExpectRaises("f", Err::ERR_MEMORY, 1, [] { NewArray<char>(ULONG_MAX, "f", 1, 1); });
    ExpectRaises("f", Err::ERR_MEMORY, 2,
                 [] { NewArray<long>(ULONG_MAX / sizeof(long), "f", 1, 2); });
    // The product would wrap to a few bytes.
    ExpectRaises("f", Err::ERR_MEMORY, 3,
                 [] { NewArray<long>(ULONG_MAX / sizeof(long) + 2, "f", 1, 3); });
    ExpectRaises("f", Err::ERR_MEMORY, 4,
                 [] { NewArray<Counted>(ULONG_MAX / sizeof(Counted) + 1, "f", 1, 4); });
    ExpectRaises("f", Err::ERR_MEMORY, 5,
                 [] { NewArray<char>(static_cast<unsigned long>(LONG_MAX) + 1, "f", 1, 5); });
    EXPECT_EQ(0, Counted::living);
}

TEST(NewArray, OtherExceptionsPassAndLeaveNothing)
{
    const long blocks = LiveBlocks();
    Counted::bad = 3;
    Counted::outOfMemory = false;
    EXPECT_THROW(NewArray<Counted>(5, "f", 1, 0), std::runtime_error);
    EXPECT_EQ(0, Counted::living);
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(NewArray, RefusalInsideAnElementIsARefusal)
{
    const long blocks = LiveBlocks();
    Counted::bad = 3;
    Counted::outOfMemory = true;
    {
        const Err err = Raised([] { NewArray<Counted>(5, "f", 1, 9); });
        EXPECT_EQ(Err::ERR_MEMORY, err.code);
        EXPECT_EQ(9, err.data);
    }
    EXPECT_EQ(0, Counted::living);
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(Heep, RefusalRaisesFourAndLeavesNoBlock)
{
    Heep heep;
    heep.Alloc(100);
    const long blocks = LiveBlocks();
    {
        const FailingNew next;
        ExpectRaises("src/Allocator/Heep", Err::ERR_MEMORY, 4, [&] { heep.Alloc(200); });
        EXPECT_TRUE(next.Hit());
    }
    EXPECT_EQ(blocks - 1, LiveBlocks());
    EXPECT_EQ(nullptr, heep.Data());
    EXPECT_EQ(0ul, heep.Capacity());
    heep.Alloc(8);
    EXPECT_EQ(8ul, heep.Capacity());
}

TEST(Heep, DestructionReleasesTheBlock)
{
    const long blocks = LiveBlocks();
    {
        Heep a;
        Heep b;
        a.Alloc(1);
        b.Alloc(2);
        b.Alloc(3);
        EXPECT_EQ(blocks + 2, LiveBlocks());
        a.Swap(b);
    }
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(Heep, NoOperationButMemInitFills)
{
    FillNewBlocksWith(0x5A);
    Heep heep;
    heep.Alloc(16);
    FillNewBlocksWith(-1);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(0x5A, heep.Data()[i]);
}

TEST(Allocator, RefusalLeavesNoBlockNoSizeAndNoElements)
{
    CharAllocator allocator(64, 16);
    allocator.Alloc(10);
    allocator.SetRange(10);
    {
        const FailingNew next;
        ExpectRaises("src/Allocator/Heep", Err::ERR_MEMORY, 4, [&] { allocator.Alloc(100); });
    }
    EXPECT_EQ(nullptr, allocator.Data());
    EXPECT_EQ(0ul, allocator.Capacity());
    EXPECT_EQ(0ul, allocator.Size());
    EXPECT_EQ(nullptr, allocator.Begin());
    EXPECT_EQ(nullptr, allocator.End());
    allocator.Alloc(70);
    EXPECT_EQ(80ul, allocator.Capacity());
}

TEST(FixedAllocator, RefusalLeavesNoBlockAndNoSize)
{
    AllocatorBase allocator(16, 0);
    allocator.Alloc(10);
    {
        const FailingNew next;
        ExpectRaises("src/Allocator/Heep", Err::ERR_MEMORY, 4, [&] { allocator.Alloc(12); });
    }
    EXPECT_EQ(nullptr, allocator.Data());
    EXPECT_EQ(0ul, allocator.Capacity());
    EXPECT_EQ(0ul, allocator.Size());
}

TEST(Allocator, DestructionReleasesTheBlockInEitherMode)
{
    const long blocks = LiveBlocks();
    {
        CharAllocator growing(64, 16);
        CharAllocator fixed(64, 0);
        AllocatorBase fixedBase(64, 0);
        growing.Alloc(3);
        fixed.Alloc(3);
        fixed.Alloc(4);
        fixedBase.Alloc(5);
        fixedBase.Free();
        EXPECT_EQ(blocks + 3, LiveBlocks());
    }
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(Allocator, StayingInTheBlockAllocatesNothing)
{
    CharAllocator allocator(64, 16);
    allocator.Alloc(1);
    const long before = AllocationsSoFar();
    for (unsigned long n = 1; n <= 64; ++n)
        ASSERT_TRUE(allocator.ReAlloc(n));
    allocator.Clear();
    EXPECT_EQ(before, AllocationsSoFar());
}
