// SPDX-License-Identifier: MIT
#include <ORVEX/Allocator.h>

#include "Support/ExpectRaises.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <random>
#include <type_traits>

using ORVEX::AllocatorBase;
using ORVEX::AllocatorEnum;
using ORVEX::Err;
using ORVEX::Heep;

namespace {

using CharAllocator = ORVEX::Allocator<char, AllocatorEnum::COPY_BYTES>;

const char InSource[] = "src/Allocator/Allocator";
const char InHeader[] = "./include/ORVEX/../../src/Allocator/Allocator";

class OpenAllocator : public CharAllocator {
public:
    using CharAllocator::CharAllocator;

    long OffsetOfSize() const { return Offset(&size); }
    long OffsetOfBaseSize() const { return Offset(&baseSize); }
    long OffsetOfBlockSize() const { return Offset(&blockSize); }
    long OffsetOfCapacity() const { return Offset(&capacity); }
    long OffsetOfBegin() const { return Offset(&begin); }
    long OffsetOfEnd() const { return Offset(&end); }

private:
    long Offset(const void* field) const
    {
        return static_cast<const char*>(field) - reinterpret_cast<const char*>(this);
    }
};

// The policy once more, in wide signed numbers and in its own words: a request fits while it is
// not above the capacity and one of four reasons to stay holds.
bool ModelStays(long long base, long long block, long long capacity, long long n)
{
    if (block == 0)
        return n <= base;
    const bool fits = n <= capacity;
    const bool exact = n == capacity;
    const bool smallBlock = capacity <= base;
    const bool littleIdle = capacity - n < block + block / 2;
    const bool blockWithinSlack = capacity <= block + block / 2;
    const bool smallRequest = n <= base;
    return fits && (exact || smallBlock || littleIdle || blockWithinSlack || smallRequest);
}

long long ModelRound(long long block, long long n)
{
    long long rounded = block;
    while (rounded < n)
        rounded += block;
    return rounded;
}

long long ModelCapacity(long long base, long long block, long long n)
{
    const long long wanted = n <= base ? base : ModelRound(block, n + block / 2);
    return (wanted + 7) / 8 * 8;
}

} // namespace

static_assert(!std::is_polymorphic<CharAllocator>::value, "no virtual operations");
static_assert(!std::is_copy_constructible<CharAllocator>::value, "only Swap hands a block over");
static_assert(!std::is_copy_assignable<CharAllocator>::value, "only Swap hands a block over");
static_assert(!std::is_copy_constructible<AllocatorBase>::value, "only Swap hands a block over");
static_assert(AllocatorEnum::COPY_BYTES == 2, "the number is part of the interface");
static_assert(std::is_base_of<Heep, AllocatorBase>::value, "adds to the block");
static_assert(std::is_base_of<AllocatorBase, CharAllocator>::value, "adds to the policy");

TEST(Allocator, FieldsFollowEachOther)
{
    const OpenAllocator allocator(64, 16);
    const long first = allocator.OffsetOfCapacity();
    EXPECT_EQ(first + 4, allocator.OffsetOfSize());
    EXPECT_EQ(first + 8, allocator.OffsetOfBaseSize());
    EXPECT_EQ(first + 12, allocator.OffsetOfBlockSize());
    EXPECT_EQ(static_cast<long>(sizeof(void*)) + 16, allocator.OffsetOfBegin());
    EXPECT_EQ(static_cast<long>(2 * sizeof(void*)) + 16, allocator.OffsetOfEnd());
}

TEST(Allocator, NewOneHasItsSizingAndNoBlock)
{
    const CharAllocator allocator(64, 16);
    EXPECT_EQ(64ul, allocator.BaseSize());
    EXPECT_EQ(16ul, allocator.BlockSize());
    EXPECT_EQ(0ul, allocator.Size());
    EXPECT_EQ(0ul, allocator.Capacity());
    EXPECT_EQ(nullptr, allocator.Data());
    EXPECT_EQ(nullptr, allocator.Begin());
    EXPECT_EQ(nullptr, allocator.End());
    EXPECT_EQ(0ul, allocator.Length());
    EXPECT_TRUE(allocator.Empty());
}

TEST(AllocatorBase, ConvertBlockSizeRoundsUpToWholeBlocks)
{
    const AllocatorBase allocator(64, 16);
    EXPECT_EQ(16ul, allocator.ConvertBlockSize(0));
    EXPECT_EQ(16ul, allocator.ConvertBlockSize(1));
    EXPECT_EQ(16ul, allocator.ConvertBlockSize(16));
    EXPECT_EQ(32ul, allocator.ConvertBlockSize(17));
    EXPECT_EQ(80ul, allocator.ConvertBlockSize(73));
    EXPECT_EQ(21ul, AllocatorBase(0, 7).ConvertBlockSize(15));
    EXPECT_EQ(15ul, AllocatorBase(0, 1).ConvertBlockSize(15));
}

TEST(AllocatorBase, ConvertBlockSizeNeverWraps)
{
    EXPECT_EQ(ULONG_MAX, AllocatorBase(64, 16).ConvertBlockSize(ULONG_MAX - 1));
    EXPECT_EQ(ULONG_MAX - 15, AllocatorBase(64, 16).ConvertBlockSize(ULONG_MAX - 20));
    EXPECT_EQ(0xFFFFFFFFul, AllocatorBase(64, 0xFFFFFFFF).ConvertBlockSize(0xFFFFFFFEul));
}

TEST(AllocatorBase, AllocSizesTheBlock)
{
    AllocatorBase allocator(64, 16);
    const unsigned long sizes[][2] = {{0, 64},  {1, 64},  {64, 64},   {65, 80},   {72, 80},
                                      {73, 96}, {88, 96}, {100, 112}, {104, 112}, {105, 128}};
    for (const auto& size : sizes) {
        allocator.Alloc(size[0]);
        EXPECT_EQ(size[1], allocator.Capacity()) << "asked for " << size[0];
        EXPECT_EQ(size[0], allocator.Size());
        allocator.MemInit(1, allocator.Capacity());
    }
}

TEST(AllocatorBase, CapacityIsAMultipleOfEightWhateverTheSizing)
{
    AllocatorBase allocator(5, 3);
    allocator.Alloc(5);
    EXPECT_EQ(8ul, allocator.Capacity()); // 5
    allocator.Alloc(6);
    EXPECT_EQ(16ul, allocator.Capacity()); // 6 + 1 in blocks of 3: 9
}

TEST(AllocatorBase, NothingOfNothingTakesNoBlock)
{
    AllocatorBase allocator(0, 16);
    allocator.Alloc(0);
    EXPECT_EQ(nullptr, allocator.Data());
    EXPECT_EQ(0ul, allocator.Capacity());
}

TEST(AllocatorBase, ReAllocKeepsTheBlockOrAsksForAnother)
{
    AllocatorBase allocator(64, 16);
    allocator.Alloc(100);
    ASSERT_EQ(112ul, allocator.Capacity());
    const unsigned char* const block = allocator.Data();

    EXPECT_TRUE(allocator.ReAlloc(112));
    EXPECT_FALSE(allocator.ReAlloc(113));
    EXPECT_EQ(112ul, allocator.Size()); // a refusal changes nothing
    EXPECT_TRUE(allocator.ReAlloc(90)); // above 112 - 24
    EXPECT_EQ(90ul, allocator.Size());
    EXPECT_TRUE(allocator.ReAlloc(89));
    EXPECT_FALSE(allocator.ReAlloc(88)); // above the base size, and its blocks are 96
    EXPECT_FALSE(allocator.ReAlloc(65));
    EXPECT_EQ(89ul, allocator.Size());
    EXPECT_TRUE(allocator.ReAlloc(64)); // the base size or less keeps a block of any size
    EXPECT_TRUE(allocator.ReAlloc(40));
    EXPECT_TRUE(allocator.ReAlloc(0));
    EXPECT_EQ(0ul, allocator.Size());
    EXPECT_EQ(block, allocator.Data());
    EXPECT_EQ(112ul, allocator.Capacity());
}

TEST(AllocatorBase, BlockNoLargerThanTheBaseSizeIsNeverLeft)
{
    AllocatorBase allocator(256, 16);
    allocator.Alloc(200);
    for (unsigned long n = 0; n <= 256; ++n)
        EXPECT_TRUE(allocator.ReAlloc(n));
    EXPECT_FALSE(allocator.ReAlloc(257));
}

TEST(AllocatorBase, WithoutABlockOnlyNothingFits)
{
    AllocatorBase allocator(64, 16);
    EXPECT_TRUE(allocator.ReAlloc(0));
    EXPECT_FALSE(allocator.ReAlloc(1));
    EXPECT_FALSE(allocator.ReAlloc(16));
}

TEST(AllocatorBase, ReAllocCheckAgreesWithTheModelEverywhere)
{
    for (std::uint32_t base = 0; base <= 40; base += 8) {
        for (std::uint32_t block = 0; block <= 24; ++block) {
            for (unsigned long held = 0; held <= 96; held += 8) {
                if (block == 0 && held > base)
                    continue;
                AllocatorBase allocator(base, block);
                allocator.Heep::Alloc(held);
                for (unsigned long n = 0; n <= 100; ++n)
                    ASSERT_EQ(ModelStays(base, block, static_cast<long long>(held),
                                         static_cast<long long>(n)),
                              allocator.ReAllocCheck(n))
                        << base << ", " << block << ": " << n << " in " << held;
            }
        }
    }
}

TEST(AllocatorBase, LargeSizingDoesNotWrap)
{
    AllocatorBase allocator(0, 0xFFFFFFFF); // one and a half blocks are more than 32 bits
    allocator.Heep::Alloc(64);
    EXPECT_TRUE(allocator.ReAllocCheck(1));
    EXPECT_FALSE(allocator.ReAllocCheck(65));
}

TEST(AllocatorBase, RandomUseAgreesWithTheModel)
{
    std::mt19937 random(4711);
    for (int run = 0; run < 300; ++run) {
        const long long base = random() % 80;
        const long long block = 1 + random() % 40;
        AllocatorBase allocator(static_cast<std::uint32_t>(base),
                                static_cast<std::uint32_t>(block));
        long long capacity = 0;
        long long size = 0;
        for (int step = 0; step < 300; ++step) {
            const long long n = random() % 300;
            switch (random() % 4) {
            case 0:
                allocator.Alloc(static_cast<unsigned long>(n));
                capacity = ModelCapacity(base, block, n);
                size = n;
                break;
            case 1:
                if (random() % 8 == 0) {
                    allocator.Free();
                    capacity = size = 0;
                }
                break;
            default: {
                const bool stays =
                    ModelStays(base, block, capacity, n) || ModelRound(block, n) == capacity;
                ASSERT_EQ(stays, allocator.ReAlloc(static_cast<unsigned long>(n)));
                if (stays)
                    size = n;
            }
            }
            ASSERT_EQ(static_cast<unsigned long>(capacity), allocator.Capacity());
            ASSERT_EQ(static_cast<unsigned long>(size), allocator.Size());
            ASSERT_EQ(capacity == 0, allocator.Data() == nullptr);
            ASSERT_LE(allocator.Size(), allocator.Capacity());
        }
    }
}

TEST(AllocatorBase, FreeForgetsBlockAndSize)
{
    AllocatorBase allocator(64, 16);
    allocator.Alloc(10);
    allocator.Free();
    EXPECT_EQ(nullptr, allocator.Data());
    EXPECT_EQ(0ul, allocator.Capacity());
    EXPECT_EQ(0ul, allocator.Size());
    EXPECT_EQ(64ul, allocator.BaseSize());
    EXPECT_EQ(16ul, allocator.BlockSize());
}

TEST(AllocatorBase, SwapTradesBlocksButNotTheSizing)
{
    AllocatorBase a(64, 16);
    AllocatorBase b(8, 4);
    a.Alloc(10);
    b.Alloc(20);
    unsigned char* const ofA = a.Data();
    unsigned char* const ofB = b.Data();
    a.Swap(b);
    EXPECT_EQ(ofB, a.Data());
    EXPECT_EQ(24ul, a.Capacity()); // 20 + 2 in blocks of 4
    EXPECT_EQ(20ul, a.Size());
    EXPECT_EQ(64ul, a.BaseSize());
    EXPECT_EQ(16ul, a.BlockSize());
    EXPECT_EQ(ofA, b.Data());
    EXPECT_EQ(64ul, b.Capacity());
    EXPECT_EQ(10ul, b.Size());
    EXPECT_EQ(8ul, b.BaseSize());
    EXPECT_EQ(4ul, b.BlockSize());
    a.Swap(a);
    EXPECT_EQ(ofB, a.Data());
    EXPECT_EQ(20ul, a.Size());
}

TEST(AllocatorBase, SizeThatDoesNotFitTheFieldIsRefusedAsTheHeapRefuses)
{
    for (const unsigned long n : {0xFFFFFFF0ul, 0xFFFFFFFFul, ULONG_MAX - 7, ULONG_MAX}) {
        AllocatorBase allocator(64, 16);
        allocator.Alloc(10);
        ExpectRaises("src/Allocator/Heep", Err::ERR_MEMORY, 4, [&] { allocator.Alloc(n); });
        EXPECT_EQ(nullptr, allocator.Data());
        EXPECT_EQ(0ul, allocator.Capacity());
        EXPECT_EQ(0ul, allocator.Size());
        EXPECT_FALSE(allocator.ReAlloc(n));
        allocator.Alloc(3);
        EXPECT_EQ(64ul, allocator.Capacity());
    }
}

TEST(FixedAllocator, GivesUpToItsCapacity)
{
    AllocatorBase allocator(21, 0);
    allocator.Alloc(3);
    EXPECT_EQ(24ul, allocator.Capacity());
    EXPECT_EQ(3ul, allocator.Size());
    allocator.Alloc(21);
    EXPECT_EQ(24ul, allocator.Capacity());
    EXPECT_EQ(21ul, allocator.Size());
}

TEST(FixedAllocator, RaisesOverflowAboveItsCapacityAndChangesNothing)
{
    AllocatorBase allocator(21, 0);
    allocator.Alloc(3);
    unsigned char* const block = allocator.Data();
    ExpectRaises(InSource, Err::ERR_OVERFLOW, 22, [&] { allocator.Alloc(22); });
    ExpectRaises(InSource, Err::ERR_OVERFLOW, -1, [&] { allocator.Alloc(ULONG_MAX); });
    EXPECT_EQ(block, allocator.Data());
    EXPECT_EQ(24ul, allocator.Capacity());
    EXPECT_EQ(3ul, allocator.Size());
}

TEST(FixedAllocator, ReAllocAnswersAndLeavesTheSize)
{
    AllocatorBase allocator(21, 0);
    allocator.Alloc(3);
    EXPECT_TRUE(allocator.ReAlloc(21));
    EXPECT_TRUE(allocator.ReAlloc(0));
    EXPECT_FALSE(allocator.ReAlloc(22));
    EXPECT_EQ(3ul, allocator.Size());
}

TEST(FixedAllocator, FreeKeepsBlockAndSize)
{
    AllocatorBase allocator(21, 0);
    allocator.Alloc(3);
    unsigned char* const block = allocator.Data();
    allocator.Free();
    EXPECT_EQ(block, allocator.Data());
    EXPECT_EQ(24ul, allocator.Capacity());
    EXPECT_EQ(3ul, allocator.Size());
}

TEST(FixedAllocator, SwapRaisesAndTradesNothing)
{
    AllocatorBase fixed(21, 0);
    AllocatorBase other(64, 16);
    fixed.Alloc(3);
    unsigned char* const block = fixed.Data();
    ExpectRaises(InSource, Err::ERR_PARAMETER, 0, [&] { fixed.Swap(other); });
    EXPECT_EQ(block, fixed.Data());
    EXPECT_EQ(nullptr, other.Data());
    ExpectRaises(InSource, Err::ERR_PARAMETER, 0, [&] { fixed.Swap(fixed); });
}

TEST(FixedAllocator, HandOverRaisesFromTheHeaderAndTradesNothing)
{
    CharAllocator fixed(21, 0);
    CharAllocator other(64, 16);
    fixed.Alloc(3);
    fixed.SetRange(3);
    const char* const begin = fixed.Begin();
    ExpectRaises(InHeader, Err::ERR_PARAMETER, 0, [&] { fixed.Swap(other); });
    EXPECT_EQ(begin, fixed.Begin());
    EXPECT_EQ(3ul, fixed.Length());
    EXPECT_TRUE(other.Empty());
}

TEST(FixedAllocator, ClearForgetsTheElementsAndKeepsBlockAndSize)
{
    CharAllocator fixed(21, 0);
    fixed.Alloc(3);
    fixed.SetRange(3);
    unsigned char* const block = fixed.Data();
    fixed.Clear();
    EXPECT_EQ(nullptr, fixed.Begin());
    EXPECT_EQ(nullptr, fixed.End());
    EXPECT_EQ(block, fixed.Data());
    EXPECT_EQ(3ul, fixed.Size());
}

TEST(FixedAllocator, RefusedAllocAndFreeLeaveTheElements)
{
    CharAllocator fixed(21, 0);
    fixed.Alloc(3);
    fixed.SetRange(3);
    const char* const begin = fixed.Begin();
    ExpectRaises(InSource, Err::ERR_OVERFLOW, 22, [&] { fixed.Alloc(22); });
    fixed.Free();
    EXPECT_EQ(begin, fixed.Begin());
    EXPECT_EQ(3ul, fixed.Length());
}

TEST(Allocator, HandOverKeepsTheElementsWhereTheyAre)
{
    CharAllocator from(64, 16);
    from.Alloc(4);
    from.SetRange(4);
    std::memcpy(from.Begin(), "abc", 4);
    const char* const text = from.Begin();

    CharAllocator to(8, 4);
    to.Alloc(2);
    to.SetRange(1);
    const char* const old = to.Begin();
    to.Swap(from);
    EXPECT_EQ(text, to.Begin());
    EXPECT_EQ(text + 4, to.End());
    EXPECT_STREQ("abc", to.Begin());
    EXPECT_EQ(4ul, to.Size());
    EXPECT_EQ(64ul, to.Capacity());
    EXPECT_EQ(8ul, to.BaseSize());
    EXPECT_EQ(old, from.Begin());
    EXPECT_EQ(1ul, from.Length());
    EXPECT_EQ(2ul, from.Size());
    EXPECT_EQ(8ul, from.Capacity());
    EXPECT_EQ(64ul, from.BaseSize());
    to.Swap(to);
    EXPECT_STREQ("abc", to.Begin());
}

TEST(Allocator, ClearKeepsTheBlock)
{
    CharAllocator allocator(64, 16);
    allocator.Alloc(200);
    allocator.SetRange(200);
    unsigned char* const block = allocator.Data();
    allocator.Clear();
    EXPECT_EQ(nullptr, allocator.Begin());
    EXPECT_EQ(nullptr, allocator.End());
    EXPECT_EQ(0ul, allocator.Size());
    EXPECT_EQ(block, allocator.Data());
}

TEST(Allocator, AllocAndFreeForgetTheElements)
{
    CharAllocator allocator(64, 16);
    allocator.Alloc(3);
    allocator.SetRange(3);
    allocator.Alloc(100);
    EXPECT_EQ(nullptr, allocator.Begin());
    EXPECT_TRUE(allocator.Empty());
    allocator.SetRange(100);
    allocator.Free();
    EXPECT_EQ(nullptr, allocator.Begin());
    EXPECT_EQ(nullptr, allocator.End());
    EXPECT_EQ(nullptr, allocator.Data());
}

TEST(Allocator, SeesItsBlockAsElements)
{
    ORVEX::Allocator<std::uint32_t, AllocatorEnum::COPY_BYTES> allocator(64, 16);
    allocator.Alloc(12);
    allocator.SetRange(3);
    EXPECT_EQ(3ul, allocator.Length());
    allocator.Begin()[2] = 0x01020304;
    EXPECT_EQ(allocator.Data(), reinterpret_cast<unsigned char*>(allocator.Begin()));
    const auto& readOnly = allocator;
    EXPECT_EQ(0x01020304u, readOnly.End()[-1]);
    EXPECT_EQ(readOnly.Begin() + 3, readOnly.End());
}
