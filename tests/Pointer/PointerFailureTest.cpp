// SPDX-License-Identifier: MIT
#include <ORVEX/AutoPointer.h>
#include <ORVEX/Vector.h>

#include "Support/ExpectRaises.h"
#include "Support/FailingNew.h"

#include <gtest/gtest.h>

#include <stdexcept>

using ORVEX::ArrayBase;
using ORVEX::AutoPointer;
using ORVEX::Err;
using ORVEX::Vector;

namespace {

const char InVector[] = "./include/ORVEX/../../src/Pointer/Vector";
const char InAutoPointer[] = "./include/ORVEX/../../src/Pointer/AutoPointer";

struct Record {
    char bytes[52];
};

// An allocation whose result goes nowhere may be left out by the compiler.
void* volatile sink;

template <class T> void MakeOne()
{
    const AutoPointer<T> pointer;
    sink = &*pointer;
}

// The third of them in a row cannot be constructed.
struct Brittle {
    static int living;
    Brittle()
    {
        if (living == 2)
            throw std::runtime_error("the third one");
        ++living;
    }
    Brittle(const Brittle&) = delete;
    Brittle& operator=(const Brittle&) = delete;
    ~Brittle() { --living; }
};

int Brittle::living = 0;

struct NeedsMore {
    NeedsMore() : more(new int) {}
    NeedsMore(const NeedsMore&) = delete;
    NeedsMore& operator=(const NeedsMore&) = delete;
    ~NeedsMore() { delete more; }
    int* more;
};

} // namespace

TEST(Vector, RefusalRaisesTheCountAndEmptiesTheVector)
{
    Vector<long> vector;
    vector.TryResizeNoCopy(3);
    const long blocks = LiveBlocks();
    {
        const FailingNew next;
        ExpectRaises(InVector, Err::ERR_MEMORY, 17, [&] { vector.TryResizeNoCopy(17); });
        EXPECT_TRUE(next.Hit());
    }
    EXPECT_EQ(blocks - 1, LiveBlocks()); // the old array went first
    EXPECT_EQ(nullptr, vector.Begin());
    EXPECT_EQ(nullptr, vector.End());
    EXPECT_FALSE(vector.Owned());
    EXPECT_EQ(3ul, vector.TryResizeNoCopy(3));
    EXPECT_TRUE(vector.Owned());
}

TEST(Vector, RefusedCopyLeavesNothing)
{
    Vector<long> source;
    source.TryResizeNoCopy(5);
    const long blocks = LiveBlocks();
    {
        const FailingNew next;
        ExpectRaises(InVector, Err::ERR_MEMORY, 5, [&] { Vector<long> copy(source); });
    }
    EXPECT_EQ(blocks, LiveBlocks());

    Vector<long> target;
    target.TryResizeNoCopy(2);
    {
        const FailingNew next;
        ExpectRaises(InVector, Err::ERR_MEMORY, 5, [&] { target = source; });
    }
    EXPECT_EQ(nullptr, target.Begin());
    EXPECT_FALSE(target.Owned());
    target = source;
    EXPECT_EQ(5ul, target.Length());
}

TEST(Vector, OtherExceptionsPassAndEmptyTheVector)
{
    Vector<Brittle> vector;
    vector.TryResizeNoCopy(1);
    const long blocks = LiveBlocks();
    EXPECT_THROW(vector.TryResizeNoCopy(5), std::runtime_error);
    EXPECT_EQ(0, Brittle::living);
    EXPECT_EQ(blocks - 1, LiveBlocks());
    EXPECT_EQ(nullptr, vector.Begin());
    EXPECT_EQ(nullptr, vector.End());
    EXPECT_FALSE(vector.Owned());
    EXPECT_EQ(2ul, vector.TryResizeNoCopy(2));
}

TEST(Vector, ReleasesItsArrayWhenItIsDeletedThroughItsBase)
{
    const long blocks = LiveBlocks();
    ArrayBase<long>* const base = new Vector<long>;
    sink = base;
    base->TryResizeNoCopy(9);
    EXPECT_EQ(blocks + 2, LiveBlocks());
    delete base;
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(Vector, ElementsAreLeftAsTheHeapGaveThem)
{
    FillNewBlocksWith(0x5A);
    Vector<long> vector;
    vector.TryResizeNoCopy(2);
    FillNewBlocksWith(-1);
    EXPECT_EQ(0x5A, vector[0] & 0xFF);
    EXPECT_EQ(0x5A, vector[1] & 0xFF);
}

TEST(Vector, ReleasesEachArrayOnce)
{
    const long blocks = LiveBlocks();
    {
        Vector<char> a;
        Vector<char> b;
        a.TryResizeNoCopy(10);
        a.TryResizeNoCopy(20);
        b = a;
        EXPECT_EQ(blocks + 2, LiveBlocks());
        a.Swap(b);
        b.TryResizeNoCopy(0);
        EXPECT_EQ(blocks + 1, LiveBlocks());
        char foreign[4] = {};
        b.Replace(foreign, 4);
        a.Replace(b.Begin(), 2);
        EXPECT_EQ(blocks, LiveBlocks());
        b.TryResizeNoCopy(4);
    }
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(Vector, TheSameCountAllocatesNothing)
{
    Vector<char> a;
    Vector<char> b;
    a.TryResizeNoCopy(10);
    b.TryResizeNoCopy(10);
    const long before = AllocationsSoFar();
    a.TryResizeNoCopy(10);
    a = b;
    EXPECT_EQ(before, AllocationsSoFar());
}

TEST(AutoPointer, RefusalRaisesTheObjectsSize)
{
    const long blocks = LiveBlocks();
    {
        const FailingNew next;
        ExpectRaises(InAutoPointer, Err::ERR_MEMORY, 52, MakeOne<Record>);
        EXPECT_TRUE(next.Hit());
    }
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(AutoPointer, RefusalInsideTheObjectRaisesAndLeavesNothing)
{
    const long blocks = LiveBlocks();
    {
        const FailingNew second(2);
        ExpectRaises(InAutoPointer, Err::ERR_MEMORY, static_cast<int>(sizeof(NeedsMore)),
                     MakeOne<NeedsMore>);
    }
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(AutoPointer, ReleasesItsObject)
{
    const long blocks = LiveBlocks();
    {
        const AutoPointer<NeedsMore> pointer;
        sink = &*pointer;
        EXPECT_EQ(blocks + 2, LiveBlocks());
    }
    EXPECT_EQ(blocks, LiveBlocks());
}
