// SPDX-License-Identifier: MIT
#include <ORVEX/Allocator.h>

#include "Support/ExpectRaises.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <random>
#include <type_traits>
#include <vector>

using ORVEX::Err;
using ORVEX::Heep;

static_assert(!std::is_polymorphic<Heep>::value, "no virtual operations");
static_assert(!std::is_copy_constructible<Heep>::value, "only Swap hands a block over");
static_assert(!std::is_copy_assignable<Heep>::value, "only Swap hands a block over");
static_assert(!std::is_move_constructible<Heep>::value, "nothing moves");
static_assert(!std::is_move_assignable<Heep>::value, "nothing moves");

namespace {

// Shows where the fields lie, and sets them as an owner may.
class OpenHeep : public Heep {
public:
    long OffsetOfData() const { return Offset(&data); }
    long OffsetOfCapacity() const { return Offset(&capacity); }
    static constexpr unsigned long CapacitySize = sizeof(capacity);

    void SetData(unsigned char* p) { data = p; }

private:
    long Offset(const void* field) const
    {
        return static_cast<const char*>(field) - reinterpret_cast<const char*>(this);
    }
};

// The order of two numbers, one byte at a time and least significant first: the last difference
// that is seen decides.
int CompByBytes(const unsigned char* a, const unsigned char* b, unsigned long n)
{
    int order = 0;
    for (unsigned long i = 0; i < n; ++i)
        if (a[i] != b[i])
            order = a[i] < b[i] ? -1 : 1;
    return order;
}

} // namespace

TEST(Heep, FieldsAreDataThenCapacityIn32Bits)
{
    const OpenHeep heep;
    EXPECT_EQ(0, heep.OffsetOfData());
    EXPECT_EQ(static_cast<long>(sizeof(void*)), heep.OffsetOfCapacity());
    EXPECT_EQ(4ul, OpenHeep::CapacitySize);
}

TEST(Heep, NewOneHasNoBlock)
{
    const Heep heep;
    EXPECT_EQ(nullptr, heep.Data());
    EXPECT_EQ(0ul, heep.Capacity());
}

TEST(Heep, AllocRoundsUpToEight)
{
    Heep heep;
    const unsigned long sizes[][2] = {{1, 8},   {7, 8},   {8, 8},      {9, 16},
                                      {16, 16}, {17, 24}, {1001, 1008}};
    for (const auto& size : sizes) {
        heep.Alloc(size[0]);
        ASSERT_NE(nullptr, heep.Data());
        EXPECT_EQ(size[1], heep.Capacity()) << "asked for " << size[0];
        heep.MemInit(0xA5, heep.Capacity()); // all of it is there
    }
}

TEST(Heep, AllocOfNothingLeavesNoBlock)
{
    Heep heep;
    heep.Alloc(0);
    EXPECT_EQ(nullptr, heep.Data());
    heep.Alloc(5);
    heep.Alloc(0);
    EXPECT_EQ(nullptr, heep.Data());
    EXPECT_EQ(0ul, heep.Capacity());
}

TEST(Heep, SizeThatDoesNotFitTheFieldIsRefused)
{
    for (const unsigned long size : {0xFFFFFFF9ul, 0xFFFFFFFFul, ULONG_MAX - 7, ULONG_MAX}) {
        Heep heep;
        heep.Alloc(16);
        ExpectRaises("src/Allocator/Heep", Err::ERR_MEMORY, 4, [&] { heep.Alloc(size); });
        EXPECT_EQ(nullptr, heep.Data());
        EXPECT_EQ(0ul, heep.Capacity());
    }
}

#if ULONG_MAX > 0xFFFFFFFF
TEST(Heep, SizeIsNeverCutTo32Bits)
{
    Heep heep;
    ExpectRaises("src/Allocator/Heep", Err::ERR_MEMORY, 4, [&] { heep.Alloc(0x100000001ul); });
    EXPECT_EQ(nullptr, heep.Data());
}
#endif

TEST(Heep, ReAllocOnlyComparesWithTheCapacity)
{
    Heep heep;
    EXPECT_TRUE(heep.ReAlloc(0));
    EXPECT_FALSE(heep.ReAlloc(8));
    heep.Alloc(20);
    const unsigned char* const block = heep.Data();
    EXPECT_TRUE(heep.ReAlloc(24));
    EXPECT_FALSE(heep.ReAlloc(20));
    EXPECT_FALSE(heep.ReAlloc(23));
    EXPECT_FALSE(heep.ReAlloc(25));
    EXPECT_FALSE(heep.ReAlloc(0));
    EXPECT_EQ(block, heep.Data());
    EXPECT_EQ(24ul, heep.Capacity());
}

TEST(Heep, FreeReleasesOnce)
{
    Heep heep;
    heep.Alloc(9);
    heep.Free();
    EXPECT_EQ(nullptr, heep.Data());
    EXPECT_EQ(0ul, heep.Capacity());
    heep.Free();
    EXPECT_EQ(nullptr, heep.Data());
}

TEST(Heep, FreeWithoutCapacityLeavesTheDataAlone)
{
    unsigned char foreign[8] = {1};
    OpenHeep heep;
    heep.SetData(foreign);
    heep.Free();
    EXPECT_EQ(foreign, heep.Data());
    EXPECT_EQ(1, foreign[0]);
} // and the destructor does not release it either

TEST(Heep, SwapTradesBlocks)
{
    Heep a;
    Heep b;
    a.Alloc(8);
    b.Alloc(16);
    unsigned char* const ofA = a.Data();
    unsigned char* const ofB = b.Data();
    a.Swap(b);
    EXPECT_EQ(ofB, a.Data());
    EXPECT_EQ(16ul, a.Capacity());
    EXPECT_EQ(ofA, b.Data());
    EXPECT_EQ(8ul, b.Capacity());

    Heep none;
    a.Swap(none);
    EXPECT_EQ(nullptr, a.Data());
    EXPECT_EQ(0ul, a.Capacity());
    EXPECT_EQ(ofB, none.Data());
}

TEST(Heep, SwapWithItselfChangesNothing)
{
    Heep heep;
    heep.Alloc(8);
    unsigned char* const block = heep.Data();
    heep.Swap(heep);
    EXPECT_EQ(block, heep.Data());
    EXPECT_EQ(8ul, heep.Capacity());
}

TEST(Heep, MemCopyCopiesBytes)
{
    const unsigned char from[] = {1, 2, 3, 4};
    unsigned char to[] = {9, 9, 9, 9};
    Heep::MemCopy(to, from, 3);
    const unsigned char expected[] = {1, 2, 3, 9};
    EXPECT_EQ(0, std::memcmp(expected, to, 4));
    unsigned char* const none = nullptr;
    Heep::MemCopy(none, none, 0);
}

TEST(Heep, MemCopyCopiesIntoTheOwnBlockAtAnOffset)
{
    Heep heep;
    heep.Alloc(8);
    heep.MemInit(7, 8);
    const unsigned char from[] = {1, 2, 3};
    heep.MemCopy(from, from + 3, 5ul);
    const unsigned char expected[] = {7, 7, 7, 7, 7, 1, 2, 3};
    EXPECT_EQ(0, std::memcmp(expected, heep.Data(), 8));
    heep.MemCopy(from, from, 8ul);
    EXPECT_EQ(0, std::memcmp(expected, heep.Data(), 8));
}

TEST(Heep, MemInitFillsJustItsBytes)
{
    unsigned char bytes[] = {1, 2, 3, 4};
    Heep::MemInit(bytes + 1, 0xEE, 2);
    const unsigned char expected[] = {1, 0xEE, 0xEE, 4};
    EXPECT_EQ(0, std::memcmp(expected, bytes, 4));
    Heep::MemInit(nullptr, 1, 0);

    Heep heep;
    heep.Alloc(8);
    heep.MemInit(3, 8);
    heep.MemInit(5, 2);
    const unsigned char filled[] = {5, 5, 3, 3, 3, 3, 3, 3};
    EXPECT_EQ(0, std::memcmp(filled, heep.Data(), 8));
}

TEST(Heep, MemCompIsDecidedByTheHighestDifferentByte)
{
    const unsigned char one[] = {1, 0};
    const unsigned char high[] = {0, 1};
    EXPECT_EQ(-1, Heep::MemComp(one, high, 2));
    EXPECT_EQ(1, Heep::MemComp(high, one, 2));
    EXPECT_EQ(1, Heep::MemComp(one, high, 1));
    EXPECT_EQ(0, Heep::MemComp(one, one, 2));
    EXPECT_EQ(0, Heep::MemComp(one, high, 0));
    EXPECT_EQ(0, Heep::MemComp(nullptr, nullptr, 0));

    const unsigned char signBit[] = {0x80};
    const unsigned char below[] = {0x7F};
    EXPECT_EQ(1, Heep::MemComp(signBit, below, 1));
}

TEST(Heep, MemCompComparesTheOwnBlock)
{
    Heep heep;
    heep.Alloc(8);
    heep.MemInit(4, 8);
    const unsigned char less[] = {5, 5, 3};
    const unsigned char same[] = {4, 4, 4};
    const unsigned char more[] = {3, 3, 5};
    EXPECT_EQ(1, heep.MemComp(less, less + 3));
    EXPECT_EQ(0, heep.MemComp(same, same + 3));
    EXPECT_EQ(-1, heep.MemComp(more, more + 3));
    EXPECT_EQ(0, heep.MemComp(more, more));
}

TEST(Heep, MemCompAgreesWithBytesForEveryOneByteDifference)
{
    // Every length up to 40, every alignment of both sides, every place of the difference.
    for (unsigned long n = 0; n <= 40; ++n) {
        for (unsigned long shift = 0; shift < 64; ++shift) {
            std::vector<unsigned char> a(48, 0x55);
            std::vector<unsigned char> b(48, 0x55);
            unsigned char* const x = a.data() + shift % 8;
            unsigned char* const y = b.data() + shift / 8;
            x[n] = 0; // one past the end must not count
            ASSERT_EQ(0, Heep::MemComp(x, y, n));
            for (unsigned long at = 0; at < n; ++at) {
                x[at] = 0x54;
                ASSERT_EQ(-1, Heep::MemComp(x, y, n)) << n << " bytes, difference at " << at;
                ASSERT_EQ(1, Heep::MemComp(y, x, n)) << n << " bytes, difference at " << at;
                x[at] = 0x55;
            }
        }
    }
}

TEST(Heep, MemCompAgreesWithBytesOnRandomNumbers)
{
    std::mt19937 random(20260101);
    std::uniform_int_distribution<unsigned> few(0, 2);
    const unsigned char values[] = {0x00, 0x80, 0xFF};
    for (int round = 0; round < 200000; ++round) {
        const unsigned long n = random() % 70;
        // Exactly as long as the numbers, so that a sanitizer sees a read past either end.
        std::vector<unsigned char> a(n);
        std::vector<unsigned char> b(n);
        for (unsigned long i = 0; i < n; ++i) {
            a[i] = values[few(random)];
            b[i] = random() % 8 == 0 ? values[few(random)] : a[i];
        }
        ASSERT_EQ(CompByBytes(a.data(), b.data(), n), Heep::MemComp(a.data(), b.data(), n));
    }
}
