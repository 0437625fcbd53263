// SPDX-License-Identifier: MIT
#include <ORVEX/Buffer.h>

#include "Support/ExpectRaises.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <random>
#include <type_traits>
#include <vector>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::Err;

namespace {

const char File[] = "src/Buffer/Buffer";

using Bytes = std::vector<unsigned char>;

Bytes BytesOf(const BufferBase& range) { return Bytes(range.Begin(), range.End()); }

// A plain range over bytes that the test keeps.
BufferBase RangeOf(Bytes& bytes) { return BufferBase(bytes.data(), bytes.size()); }

Buffer BufferOf(Bytes bytes) { return Buffer(RangeOf(bytes)); }

class OpenRange : public BufferBase {
public:
    long OffsetOfBegin() const { return Offset(&begin); }
    long OffsetOfEnd() const { return Offset(&end); }

    void Set(unsigned char* first, unsigned char* last)
    {
        begin = first;
        end = last;
    }

private:
    long Offset(const void* field) const
    {
        return static_cast<const char*>(field) - reinterpret_cast<const char*>(this);
    }
};

// A range with room for four bytes inside, which writes down what it is asked for.
class FourBytes : public BufferBase {
public:
    FourBytes() : BufferBase(room, 0) {}

    unsigned long TryResizeNoCopy(unsigned long n) override
    {
        asked.push_back(n);
        end = begin + std::min(n, 4ul);
        return Length();
    }

    std::vector<unsigned long> asked;

private:
    unsigned char room[4] = {};
};

// On 64-bit hosts its number fits behind the capacity only if that has 32 bits.
class WithNumber : public Buffer {
public:
    std::uint32_t number = 0;
};

// Looks at the empty range while static objects are being constructed.
const bool zeroWasReady = BufferBase::Zero.Begin() == nullptr && BufferBase::Zero.Empty() &&
                          BufferBase::Zero.Comp(BufferBase()) == 0;

} // namespace

static_assert(sizeof(BufferBase) == 3 * sizeof(void*), "a table and two pointers");
static_assert(sizeof(Buffer) == 4 * sizeof(void*), "the range and a capacity");
static_assert(sizeof(void*) == 4 || sizeof(WithNumber) == sizeof(Buffer), "32 bits of capacity");
static_assert(std::has_virtual_destructor<BufferBase>::value, "is deleted through its base");
static_assert(std::is_copy_constructible<Buffer>::value, "copies are deep");

TEST(BufferBase, FieldsAreBeginThenEnd)
{
    const OpenRange range;
    EXPECT_EQ(static_cast<long>(sizeof(void*)), range.OffsetOfBegin());
    EXPECT_EQ(static_cast<long>(2 * sizeof(void*)), range.OffsetOfEnd());
}

TEST(BufferBase, ResizeIsTheFirstVirtualOperation)
{
    // In the C++ ABI of the device and of PCs a pointer to a virtual member function holds its
    // offset in the table, plus 1 where code addresses may be odd.
    unsigned long (BufferBase::*resize)(unsigned long) = &BufferBase::TryResizeNoCopy;
    std::uintptr_t slot;
    std::memcpy(&slot, &resize, sizeof slot);
    EXPECT_EQ(0u, slot & ~std::uintptr_t{1});
}

TEST(BufferBase, ZeroIsEmptyAndReadyEarly)
{
    EXPECT_TRUE(zeroWasReady);
    EXPECT_EQ(nullptr, BufferBase::Zero.Begin());
    EXPECT_EQ(nullptr, BufferBase::Zero.End());
    EXPECT_EQ(0ul, BufferBase::Zero.Length());
}

TEST(BufferBase, GivesAccessToForeignBytes)
{
    unsigned char bytes[] = {1, 2, 3};
    BufferBase range(bytes, 3);
    EXPECT_EQ(bytes, range.Begin());
    EXPECT_EQ(bytes + 3, range.End());
    EXPECT_EQ(3ul, range.Length());
    EXPECT_FALSE(range.Empty());
    range[2] = 9;
    EXPECT_EQ(9, bytes[2]);
    const BufferBase view = range; // the same bytes
    EXPECT_EQ(bytes, view.Begin());
    EXPECT_EQ(2, view[1]);
}

TEST(BufferBase, ResizeChangesNothingAndGivesTheLength)
{
    unsigned char bytes[] = {1, 2, 3};
    BufferBase range(bytes, 3);
    for (const unsigned long n : {0ul, 2ul, 3ul, 9ul}) {
        EXPECT_EQ(3ul, range.TryResizeNoCopy(n));
        EXPECT_EQ(bytes, range.Begin());
        EXPECT_EQ(bytes + 3, range.End());
    }
}

TEST(BufferBase, CopyBetweenRangesOfOneLength)
{
    Bytes from{1, 2, 3};
    Bytes to{0, 0, 0};
    BufferBase target = RangeOf(to);
    target.Copy(RangeOf(from));
    EXPECT_EQ(from, to);
    const unsigned char more[] = {7, 8, 9};
    target.Copy(more, more + 3);
    EXPECT_EQ((Bytes{7, 8, 9}), to);
    BufferBase empty;
    empty.Copy(BufferBase::Zero);
    empty.Copy(nullptr, nullptr);
    EXPECT_TRUE(empty.Empty());
}

TEST(BufferBase, CopyBetweenRangesOfDifferentLengthsRaisesTheSourcesLength)
{
    Bytes from{1, 2};
    Bytes to{5, 5, 5};
    BufferBase target = RangeOf(to);
    ExpectRaises(File, Err::ERR_PARAMETER, 2, [&] { target.Copy(RangeOf(from)); });
    const unsigned char more[] = {7, 8, 9, 10};
    ExpectRaises(File, Err::ERR_PARAMETER, 4, [&] { target.Copy(more, more + 4); });
    ExpectRaises(File, Err::ERR_PARAMETER, 0, [&] { target.Copy(BufferBase::Zero); });
    EXPECT_EQ((Bytes{5, 5, 5}), to);
    EXPECT_EQ(to.data(), target.Begin());
    EXPECT_EQ(3ul, target.Length());
}

TEST(BufferBase, CopyAsksADerivedRangeOnceAndTakesWhatFits)
{
    FourBytes range;
    Bytes bytes{1, 2, 3, 4, 5};
    range.Copy(BufferBase(bytes.data(), 3));
    EXPECT_EQ((Bytes{1, 2, 3}), BytesOf(range));
    range.Copy(bytes.data() + 1, bytes.data() + 5);
    EXPECT_EQ((Bytes{2, 3, 4, 5}), BytesOf(range));
    EXPECT_EQ((std::vector<unsigned long>{3, 4}), range.asked);

    ExpectRaises(File, Err::ERR_PARAMETER, 5, [&] { range.Copy(RangeOf(bytes)); });
    ExpectRaises(File, Err::ERR_PARAMETER, 5, [&] { range.Copy(bytes.data(), bytes.data() + 5); });
    EXPECT_EQ((Bytes{2, 3, 4, 5}), BytesOf(range)); // nothing is copied
}

TEST(BufferBase, CopyToleratesAnOverlap)
{
    Bytes bytes{1, 2, 3, 4, 5};
    BufferBase target(bytes.data() + 1, 4);
    target.Copy(BufferBase(bytes.data(), 4));
    EXPECT_EQ((Bytes{1, 1, 2, 3, 4}), bytes);
    target.Copy(target);
    EXPECT_EQ((Bytes{1, 1, 2, 3, 4}), bytes);
}

TEST(BufferBase, NoCheckCopyTakesTheFirstBytes)
{
    Bytes from{1, 2, 3};
    Bytes to{0, 0, 0, 0};
    BufferBase target(to.data(), 1); // its length does not matter
    target.NoCheckCopy(RangeOf(from), 3);
    EXPECT_EQ((Bytes{1, 2, 3, 0}), to);
    target.NoCheckCopy(BufferBase::Zero, 0);
    EXPECT_EQ(1ul, target.Length());
}

TEST(BufferBase, CompOrdersByBytesThenByLength)
{
    Bytes ab{0x61, 0x62};
    Bytes abc{0x61, 0x62, 0x63};
    Bytes b{0x62};
    EXPECT_EQ(-1, RangeOf(ab).Comp(RangeOf(abc)));
    EXPECT_EQ(1, RangeOf(abc).Comp(RangeOf(ab)));
    EXPECT_EQ(1, RangeOf(b).Comp(RangeOf(abc)));
    EXPECT_EQ(-1, RangeOf(abc).Comp(RangeOf(b)));
    EXPECT_EQ(0, RangeOf(abc).Comp(BufferOf(abc)));
    EXPECT_EQ(0, BufferBase::Zero.Comp(BufferBase()));
    EXPECT_EQ(-1, BufferBase::Zero.Comp(RangeOf(b)));
    EXPECT_EQ(1, RangeOf(b).Comp(BufferBase::Zero));
    Bytes high{0x80};
    EXPECT_EQ(1, RangeOf(high).Comp(RangeOf(b))); // unsigned
}

TEST(BufferBase, NoCheckCompLooksAtTheFirstBytesOnly)
{
    Bytes a{1, 2, 3};
    Bytes b{1, 2, 200};
    EXPECT_EQ(0, RangeOf(a).NoCheckComp(RangeOf(b), 2));
    EXPECT_EQ(-1, RangeOf(a).NoCheckComp(RangeOf(b), 3));
    EXPECT_EQ(1, RangeOf(b).NoCheckComp(RangeOf(a), 3));
    EXPECT_EQ(0, BufferBase::Zero.NoCheckComp(BufferBase::Zero, 0));
}

TEST(BufferBase, ReplaceSetsTheRangeAlone)
{
    unsigned char bytes[] = {1, 2, 3};
    BufferBase range;
    range.Replace(bytes, 2);
    EXPECT_EQ(bytes, range.Begin());
    EXPECT_EQ(bytes + 2, range.End());
    EXPECT_EQ(1, bytes[0]);
}

TEST(BufferBase, ReplaceCopyTakesAsManyBytesAsBothHave)
{
    unsigned char old[] = {1, 2, 3};
    unsigned char shorter[] = {9, 9, 9};
    BufferBase range(old, 3);
    range.ReplaceCopy(shorter, 2);
    EXPECT_EQ((Bytes{1, 2}), BytesOf(range));
    EXPECT_EQ(9, shorter[2]);
    EXPECT_EQ(shorter, range.Begin());

    unsigned char longer[] = {8, 8, 8, 8};
    range.ReplaceCopy(longer, 4);
    EXPECT_EQ((Bytes{1, 2, 8, 8}), BytesOf(range));

    BufferBase none;
    none.ReplaceCopy(old, 3);
    EXPECT_EQ((Bytes{1, 2, 3}), BytesOf(none));
}

TEST(BufferBase, SwapTradesTheRanges)
{
    unsigned char bytes[] = {1, 2, 3};
    BufferBase a(bytes, 1);
    BufferBase b(bytes + 1, 2);
    a.Swap(b);
    EXPECT_EQ((Bytes{2, 3}), BytesOf(a));
    EXPECT_EQ((Bytes{1}), BytesOf(b));
    a.Swap(a);
    EXPECT_EQ((Bytes{2, 3}), BytesOf(a));
}

TEST(Buffer, NewOneIsEmpty)
{
    const Buffer buffer;
    EXPECT_EQ(nullptr, buffer.Begin());
    EXPECT_EQ(nullptr, buffer.End());
    EXPECT_EQ(0ul, buffer.Capacity());
}

TEST(Buffer, CapacityFollowsTheRangeIn32Bits)
{
    Buffer buffer;
    buffer.Resize(130);
    std::uint32_t stored;
    std::memcpy(&stored, reinterpret_cast<const char*>(&buffer) + 3 * sizeof(void*), 4);
    EXPECT_EQ(256u, stored);
}

TEST(Buffer, ResizeMovesOnlyWhenItMust)
{
    Buffer buffer;
    buffer.Resize(1);
    EXPECT_EQ(128ul, buffer.Capacity());
    EXPECT_EQ(1ul, buffer.Length());
    buffer[0] = 1;
    const unsigned char* const block = buffer.Begin();

    buffer.Resize(64);
    EXPECT_EQ(block, buffer.Begin());
    EXPECT_EQ(64ul, buffer.Length());
    for (unsigned i = 1; i < 64; ++i)
        buffer[i] = static_cast<unsigned char>(i + 1);

    buffer.Resize(63); // below half: another block, of the same size here
    EXPECT_NE(block, buffer.Begin());
    EXPECT_EQ(128ul, buffer.Capacity());
    for (unsigned i = 0; i < 63; ++i)
        EXPECT_EQ(i + 1, buffer[i]);

    buffer.Resize(129);
    EXPECT_EQ(256ul, buffer.Capacity());
    for (unsigned i = 0; i < 63; ++i)
        EXPECT_EQ(i + 1, buffer[i]);

    const unsigned char* const large = buffer.Begin();
    buffer.Resize(128);
    EXPECT_EQ(large, buffer.Begin());
    EXPECT_EQ(256ul, buffer.Capacity());
    buffer.Resize(256);
    EXPECT_EQ(large, buffer.Begin());
    buffer.Resize(127);
    EXPECT_NE(large, buffer.Begin());
    EXPECT_EQ(128ul, buffer.Capacity());
    EXPECT_EQ(63, buffer[62]);
}

TEST(Buffer, ResizeToTheSameLengthDoesNothing)
{
    Buffer buffer;
    buffer.Resize(0);
    EXPECT_EQ(nullptr, buffer.Begin());
    buffer.Resize(10);
    const unsigned char* const block = buffer.Begin();
    buffer.Resize(10);
    EXPECT_EQ(block, buffer.Begin());
}

TEST(Buffer, ResizeToNothingReleasesTheBlock)
{
    for (const bool keep : {true, false}) {
        Buffer buffer;
        buffer.Resize(10);
        if (keep)
            buffer.Resize(0);
        else
            buffer.ResizeNoCopy(0);
        EXPECT_EQ(nullptr, buffer.Begin());
        EXPECT_EQ(nullptr, buffer.End());
        EXPECT_EQ(0ul, buffer.Capacity());
    }
}

TEST(Buffer, ResizeNoCopyMovesOnlyWhenItMust)
{
    Buffer buffer;
    buffer.ResizeNoCopy(128);
    EXPECT_EQ(128ul, buffer.Capacity());
    const unsigned char* const block = buffer.Begin();
    buffer[0] = 77;
    buffer.ResizeNoCopy(64);
    EXPECT_EQ(block, buffer.Begin());
    EXPECT_EQ(77, buffer[0]); // the block was kept
    buffer.ResizeNoCopy(63);
    EXPECT_EQ(128ul, buffer.Capacity());
    EXPECT_EQ(63ul, buffer.Length());
    buffer.ResizeNoCopy(1000);
    EXPECT_EQ(1024ul, buffer.Capacity());
    EXPECT_EQ(1000ul, buffer.Length());
    std::memset(buffer.Begin(), 1, buffer.Capacity());
}

TEST(Buffer, TryResizeNoCopyReachesEveryLength)
{
    Buffer buffer;
    BufferBase& base = buffer;
    for (const unsigned long n : {1ul, 128ul, 129ul, 5000ul, 0ul, 3ul}) {
        EXPECT_EQ(n, base.TryResizeNoCopy(n));
        EXPECT_EQ(n, buffer.Length());
        EXPECT_GE(buffer.Capacity(), n);
    }
}

TEST(Buffer, ResizeOfABorrowedRangeCopiesItIntoABlock)
{
    unsigned char foreign[] = {1, 2, 3, 4};
    for (const unsigned long n : {2ul, 6ul}) {
        Buffer buffer;
        buffer.Replace(foreign, 4);
        EXPECT_EQ(0ul, buffer.Capacity());
        buffer.Resize(4); // the same length: still borrowed
        EXPECT_EQ(foreign, buffer.Begin());
        buffer.Resize(n);
        EXPECT_NE(foreign, buffer.Begin());
        EXPECT_EQ(128ul, buffer.Capacity());
        EXPECT_EQ(0, std::memcmp(foreign, buffer.Begin(), std::min(n, 4ul)));
    }
    EXPECT_EQ(1, foreign[0]);
}

TEST(Buffer, BorrowedRangeIsNeverReleased)
{
    unsigned char foreign[] = {1, 2, 3, 4};
    {
        Buffer buffer;
        buffer.Replace(foreign, 4);
        buffer.Delete();
        EXPECT_EQ(foreign, buffer.Begin());
    }
    {
        Buffer buffer;
        buffer.Replace(foreign, 4);
        buffer.Resize(0);
        EXPECT_EQ(nullptr, buffer.Begin());
    }
    Buffer buffer;
    buffer.Replace(foreign, 4);
    buffer.ResizeNoCopy(300);
    EXPECT_EQ(384ul, buffer.Capacity());
    EXPECT_EQ(4, foreign[3]);
}

TEST(Buffer, DeleteLeavesTheRangeAsItWas)
{
    Buffer buffer;
    buffer.Resize(5);
    const unsigned char* const begin = buffer.Begin();
    buffer.Delete();
    EXPECT_EQ(0ul, buffer.Capacity());
    EXPECT_EQ(begin, buffer.Begin());
    EXPECT_EQ(5ul, buffer.Length());
    buffer.Delete();
    buffer.Resize(0);
    EXPECT_EQ(nullptr, buffer.Begin());
    EXPECT_EQ(nullptr, buffer.End());
    buffer.Resize(3);
    EXPECT_EQ(128ul, buffer.Capacity());
}

TEST(Buffer, CopiesAreDeep)
{
    Bytes bytes{1, 2, 3};
    const Buffer fromRange(RangeOf(bytes));
    EXPECT_EQ(bytes, BytesOf(fromRange));
    EXPECT_EQ(128ul, fromRange.Capacity());
    Buffer fromBuffer(fromRange);
    EXPECT_EQ(bytes, BytesOf(fromBuffer));
    EXPECT_NE(fromRange.Begin(), fromBuffer.Begin());
    fromBuffer[0] = 9;
    EXPECT_EQ(1, fromRange[0]);

    Buffer assigned;
    assigned = fromBuffer;
    EXPECT_EQ((Bytes{9, 2, 3}), BytesOf(assigned));
    EXPECT_NE(fromBuffer.Begin(), assigned.Begin());
    assigned = RangeOf(bytes);
    EXPECT_EQ(bytes, BytesOf(assigned));
    assigned = BufferBase::Zero;
    EXPECT_EQ(nullptr, assigned.Begin());
    EXPECT_EQ(0ul, assigned.Capacity());
    const Buffer ofNothing{BufferBase::Zero};
    EXPECT_EQ(nullptr, ofNothing.Begin());
}

TEST(Buffer, AssignmentFromItselfChangesNothing)
{
    Buffer buffer = BufferOf({1, 2, 3});
    const unsigned char* const block = buffer.Begin();
    const Buffer& same = buffer;
    buffer = same;
    buffer = static_cast<const BufferBase&>(same);
    buffer.Copy(same);
    EXPECT_EQ(block, buffer.Begin());
    EXPECT_EQ((Bytes{1, 2, 3}), BytesOf(buffer));
}

TEST(Buffer, AssignmentToABorrowedRangeTakesABlockAndLeavesTheForeignBytes)
{
    unsigned char foreign[] = {1, 2, 3};
    Bytes bytes{7, 8, 9};
    for (const bool fromBuffer : {true, false}) {
        Buffer buffer;
        buffer.Replace(foreign, 3);
        if (fromBuffer)
            buffer = BufferOf(bytes);
        else
            buffer = RangeOf(bytes);
        EXPECT_EQ(bytes, BytesOf(buffer));
        EXPECT_EQ(128ul, buffer.Capacity());
        EXPECT_EQ(1, foreign[0]);
    }
    Buffer borrowing;
    borrowing.Replace(foreign, 3);
    const Buffer& same = borrowing;
    borrowing = same;
    EXPECT_EQ(foreign, borrowing.Begin());
}

TEST(Buffer, CopyWithinTheKeptBlockMovesTheBytes)
{
    Bytes bytes(100);
    for (unsigned i = 0; i < 100; ++i)
        bytes[i] = static_cast<unsigned char>(i);
    Buffer buffer = BufferOf(bytes);
    buffer = BufferBase(buffer.Begin() + 4, 96); // drops the first four
    EXPECT_EQ(Bytes(bytes.begin() + 4, bytes.end()), BytesOf(buffer));
}

TEST(Buffer, CopyAddAppends)
{
    Buffer buffer;
    Bytes first{1, 2};
    buffer.CopyAdd(RangeOf(first));
    EXPECT_EQ(first, BytesOf(buffer));
    EXPECT_EQ(128ul, buffer.Capacity());
    const unsigned char second[] = {3, 4, 5};
    buffer.CopyAdd(second, second + 3);
    EXPECT_EQ((Bytes{1, 2, 3, 4, 5}), BytesOf(buffer));
    buffer.CopyAdd(BufferBase::Zero);
    buffer.CopyAdd(second, second);
    EXPECT_EQ((Bytes{1, 2, 3, 4, 5}), BytesOf(buffer));
    Buffer nothing;
    nothing.CopyAdd(BufferBase::Zero);
    EXPECT_EQ(nullptr, nothing.Begin());
}

TEST(Buffer, CopyAddToABorrowedRangeMakesItOwned)
{
    Bytes foreign{1, 2};
    Bytes more{3};
    Buffer buffer;
    buffer.Replace(foreign.data(), 2);
    buffer.CopyAdd(RangeOf(more));
    EXPECT_EQ((Bytes{1, 2, 3}), BytesOf(buffer));
    EXPECT_EQ((Bytes{1, 2}), foreign);
    EXPECT_EQ(128ul, buffer.Capacity());
}

TEST(Buffer, CopyAddOfItselfDoublesIt)
{
    Buffer buffer = BufferOf({1, 2});
    buffer.CopyAdd(buffer);
    EXPECT_EQ((Bytes{1, 2, 1, 2}), BytesOf(buffer));
    buffer.Resize(100);
    std::fill(buffer.Begin(), buffer.End(), static_cast<unsigned char>(6));
    buffer.CopyAdd(buffer); // moves into another block
    EXPECT_EQ(Bytes(200, 6), BytesOf(buffer));
}

TEST(Buffer, SwapTradesBlocks)
{
    Buffer a = BufferOf({1, 2, 3});
    Buffer b = BufferOf(Bytes(200, 7));
    const unsigned char* const ofA = a.Begin();
    a.Swap(b);
    EXPECT_EQ(Bytes(200, 7), BytesOf(a));
    EXPECT_EQ(256ul, a.Capacity());
    EXPECT_EQ(ofA, b.Begin());
    EXPECT_EQ(128ul, b.Capacity());
    b.Swap(b);
    EXPECT_EQ((Bytes{1, 2, 3}), BytesOf(b));
    EXPECT_EQ(128ul, b.Capacity());
}

TEST(Buffer, SizesThatDoNotFitTheFieldAreRefused)
{
    struct {
        unsigned long asked;
        int rounded; // as the record shows it: the low 32 bits
        int plain;
    } const rows[] = {
        {0xFFFFFF81ul, 0, -127},
        {0xFFFFFFFFul, 0, -1},
        {ULONG_MAX - 127, -128, -128},
        {ULONG_MAX, 0, -1},
    };
    for (const auto& row : rows) {
        Buffer buffer = BufferOf({1, 2, 3});
        ExpectRaises(File, Err::ERR_MEMORY, row.rounded, [&] { buffer.Resize(row.asked); });
        EXPECT_EQ((Bytes{1, 2, 3}), BytesOf(buffer));
        EXPECT_EQ(128ul, buffer.Capacity());
        ExpectRaises(File, Err::ERR_MEMORY, row.plain, [&] { buffer.ResizeNoCopy(row.asked); });
        EXPECT_EQ(0ul, buffer.Capacity());
        buffer.ResizeNoCopy(4);
        EXPECT_EQ(128ul, buffer.Capacity());
    }
}

#if ULONG_MAX > 0xFFFFFFFF
TEST(Buffer, SizesAreNeverCutTo32Bits)
{
    Buffer buffer = BufferOf({1, 2, 3});
    ExpectRaises(File, Err::ERR_MEMORY, 128, [&] { buffer.Resize(0x100000001ul); });
    EXPECT_EQ((Bytes{1, 2, 3}), BytesOf(buffer));
    ExpectRaises(File, Err::ERR_MEMORY, 1, [&] { buffer.TryResizeNoCopy(0x100000001ul); });
    EXPECT_EQ(0ul, buffer.Capacity());
}
#endif

TEST(Buffer, AppendThatWouldWrapIsRefused)
{
    Buffer buffer = BufferOf({1, 2, 3});
    unsigned char bytes[] = {7, 8};
    // Pointers the wrong way round make a length just below the largest number.
    OpenRange reversed;
    reversed.Set(bytes + 2, bytes);
    ExpectRaises(File, Err::ERR_MEMORY, 0, [&] { buffer.CopyAdd(reversed); });
    ExpectRaises(File, Err::ERR_MEMORY, 0, [&] { buffer.CopyAdd(bytes + 2, bytes); });
    EXPECT_EQ((Bytes{1, 2, 3}), BytesOf(buffer));
    ExpectRaises(File, Err::ERR_MEMORY, -2, [&] { buffer.Copy(bytes + 2, bytes); });
    EXPECT_EQ(0ul, buffer.Capacity());
}

TEST(Buffer, RandomUseAgreesWithTheModel)
{
    std::mt19937 random(31337);
    Buffer buffers[3];
    Bytes models[3];
    unsigned long capacities[3] = {0, 0, 0};
    const auto ModelResize = [&](unsigned long which, unsigned long n) {
        const unsigned long capacity = capacities[which];
        if (n == models[which].size())
            return;
        if (n == 0)
            capacities[which] = 0;
        else if (n > capacity || n < capacity / 2)
            capacities[which] = n + (n % 128 == 0 ? 0 : 128 - n % 128);
        models[which].resize(n);
    };
    for (int step = 0; step < 40000; ++step) {
        const unsigned long a = random() % 3;
        const unsigned long b = random() % 3;
        const unsigned long n = random() % (random() % 4 == 0 ? 2000 : 150);
        const unsigned long old = models[a].size();
        switch (random() % 8) {
        case 0:
        case 1:
            buffers[a].Resize(n);
            ModelResize(a, n);
            for (unsigned long i = old; i < n; ++i)
                buffers[a][i] = models[a][i] = static_cast<unsigned char>(random());
            break;
        case 2:
            if (random() % 2)
                buffers[a].ResizeNoCopy(n);
            else
                ASSERT_EQ(n, buffers[a].TryResizeNoCopy(n));
            ModelResize(a, n);
            for (unsigned long i = 0; i < n; ++i)
                buffers[a][i] = models[a][i] = static_cast<unsigned char>(random());
            break;
        case 3:
            if (random() % 2)
                buffers[a] = buffers[b];
            else
                buffers[a].Copy(buffers[b].Begin(), buffers[b].End());
            ModelResize(a, models[b].size());
            models[a] = models[b];
            break;
        case 4:
            if (old + models[b].size() < 5000) {
                buffers[a].CopyAdd(buffers[b]);
                const Bytes added = models[b];
                ModelResize(a, old + added.size());
                std::copy(added.begin(), added.end(), models[a].begin() + static_cast<long>(old));
            }
            break;
        case 5:
            buffers[a].Swap(buffers[b]);
            std::swap(capacities[a], capacities[b]);
            if (a != b)
                models[a].swap(models[b]);
            break;
        case 6: {
            Buffer copy(buffers[a]);
            copy.Swap(buffers[b]);
            const Bytes bytes = models[a];
            capacities[b] = (bytes.size() + 127) / 128 * 128;
            models[b] = bytes;
            break;
        }
        default: {
            const int expected = models[a] < models[b] ? -1 : models[b] < models[a] ? 1 : 0;
            ASSERT_EQ(expected, buffers[a].Comp(buffers[b]));
        }
        }
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(models[i], BytesOf(buffers[i]));
            ASSERT_EQ(capacities[i], buffers[i].Capacity());
        }
    }
}
