// SPDX-License-Identifier: MIT
#include <ORVEX/Vector.h>

#include "Support/ExpectRaises.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

using ORVEX::ArrayBase;
using ORVEX::Err;
using ORVEX::Vector;

namespace {

const char InHeader[] = "./include/ORVEX/../../src/Pointer/Vector";

// Four bytes that start as zero, as a colour does.
struct Zeroed {
    unsigned char bytes[4] = {0, 0, 0, 0};
    bool IsZero() const { return !bytes[0] && !bytes[1] && !bytes[2] && !bytes[3]; }
};

} // namespace

static_assert(sizeof(Vector<int>) == 4 * sizeof(void*), "the range and one byte");
static_assert(std::is_base_of<ArrayBase<int>, Vector<int>>::value, "is a range");

TEST(Vector, NewOneIsEmptyAndOwnsNothing)
{
    const Vector<int> vector;
    EXPECT_EQ(nullptr, vector.Begin());
    EXPECT_EQ(nullptr, vector.End());
    EXPECT_FALSE(vector.Owned());
    EXPECT_TRUE(vector.Empty());
}

TEST(Vector, OwnedFollowsTheRange)
{
    Vector<int> vector;
    vector.TryResizeNoCopy(1);
    const char* const object = reinterpret_cast<const char*>(&vector);
    EXPECT_EQ(1, object[3 * sizeof(void*)]);
    vector.TryResizeNoCopy(0);
    EXPECT_EQ(0, object[3 * sizeof(void*)]);
}

TEST(Vector, ResizeGivesFreshElementsOfTheExactCount)
{
    Vector<Zeroed> vector;
    EXPECT_EQ(4ul, vector.TryResizeNoCopy(4));
    EXPECT_EQ(4ul, vector.Length());
    EXPECT_TRUE(vector.Owned());
    for (unsigned long i = 0; i < 4; ++i)
        EXPECT_TRUE(vector[i].IsZero());

    vector[1].bytes[0] = 9;
    Zeroed* const array = vector.Begin();
    EXPECT_EQ(4ul, vector.TryResizeNoCopy(4)); // the same count keeps array and contents
    EXPECT_EQ(array, vector.Begin());
    EXPECT_EQ(9, vector[1].bytes[0]);

    EXPECT_EQ(3ul, vector.TryResizeNoCopy(3)); // another one starts afresh
    EXPECT_EQ(3ul, vector.Length());
    for (unsigned long i = 0; i < 3; ++i)
        EXPECT_TRUE(vector[i].IsZero());
}

TEST(Vector, ResizeToNothingReleasesTheArray)
{
    Vector<Zeroed> vector;
    vector.TryResizeNoCopy(4);
    EXPECT_EQ(0ul, vector.TryResizeNoCopy(0));
    EXPECT_EQ(nullptr, vector.Begin());
    EXPECT_EQ(nullptr, vector.End());
    EXPECT_FALSE(vector.Owned());
    EXPECT_EQ(0ul, vector.TryResizeNoCopy(0));
}

TEST(Vector, IsResizedThroughItsBase)
{
    Vector<int> vector;
    ArrayBase<int>& base = vector;
    EXPECT_EQ(7ul, base.TryResizeNoCopy(7));
    EXPECT_EQ(7ul, vector.Length());
    EXPECT_TRUE(vector.Owned());
}

TEST(Vector, BorrowsForeignElementsAndNeverReleasesThem)
{
    int numbers[] = {1, 2, 3};
    {
        Vector<int> vector;
        vector.TryResizeNoCopy(5);
        vector.Replace(numbers, 3);
        EXPECT_FALSE(vector.Owned());
        EXPECT_EQ(numbers, vector.Begin());
        EXPECT_EQ(3ul, vector.Length());
        vector[0] = 10;
    }
    EXPECT_EQ(10, numbers[0]);
}

TEST(Vector, RightCountOfForeignElementsGetsAnArrayOfItsOwn)
{
    Zeroed foreign[2];
    foreign[0].bytes[0] = 7;
    Vector<Zeroed> vector;
    vector.Replace(foreign, 2);
    EXPECT_EQ(2ul, vector.TryResizeNoCopy(2));
    EXPECT_TRUE(vector.Owned());
    EXPECT_NE(foreign, vector.Begin());
    EXPECT_TRUE(vector[0].IsZero()); // nothing is copied
    EXPECT_EQ(7, foreign[0].bytes[0]);

    vector.Replace(foreign, 2);
    EXPECT_EQ(0ul, vector.TryResizeNoCopy(0));
    EXPECT_EQ(nullptr, vector.Begin());
    EXPECT_EQ(nullptr, vector.End());
}

TEST(Vector, CopiesAreDeep)
{
    Vector<std::string> first;
    first.TryResizeNoCopy(2);
    first[0] = "a";
    first[1] = "b";
    Vector<std::string> second(first);
    EXPECT_TRUE(second.Owned());
    EXPECT_NE(first.Begin(), second.Begin());
    second[0] = "c";
    EXPECT_EQ("a", first[0]);
    EXPECT_EQ("b", second[1]);

    Vector<std::string> third;
    third.TryResizeNoCopy(9);
    third = first;
    EXPECT_EQ(2ul, third.Length());
    EXPECT_EQ("a", third[0]);
    const Vector<std::string> empty;
    third = empty;
    EXPECT_EQ(nullptr, third.Begin());
    EXPECT_FALSE(third.Owned());
}

TEST(Vector, CopyOfForeignElementsIsOwned)
{
    int numbers[] = {1, 2, 3};
    Vector<int> borrowing;
    borrowing.Replace(numbers, 3);
    const Vector<int> copy(borrowing);
    EXPECT_TRUE(copy.Owned());
    EXPECT_NE(copy.Begin(), borrowing.Begin());
    EXPECT_EQ(3, copy[2]);
}

TEST(Vector, AssignmentFromItselfChangesNothing)
{
    Vector<int> vector;
    vector.TryResizeNoCopy(2);
    vector[0] = 4;
    vector[1] = 5;
    const int* const array = vector.Begin();
    const Vector<int>& same = vector;
    vector = same;
    EXPECT_EQ(array, vector.Begin());
    EXPECT_EQ(4, vector[0]);
    EXPECT_EQ(5, vector[1]);
}

TEST(Vector, SwapTradesArraysAndOwnership)
{
    int numbers[] = {1, 2, 3};
    Vector<int> owner;
    Vector<int> borrower;
    owner.TryResizeNoCopy(2);
    const int* const array = owner.Begin();
    borrower.Replace(numbers, 3);
    owner.Swap(borrower);
    EXPECT_EQ(numbers, owner.Begin());
    EXPECT_EQ(3ul, owner.Length());
    EXPECT_FALSE(owner.Owned());
    EXPECT_EQ(array, borrower.Begin());
    EXPECT_EQ(2ul, borrower.Length());
    EXPECT_TRUE(borrower.Owned());
    borrower.Swap(borrower);
    EXPECT_EQ(array, borrower.Begin());
    EXPECT_TRUE(borrower.Owned());
}

TEST(Vector, CountsThatNoMemoryHoldsAreRefused)
{
    Vector<std::uint64_t> vector;
    vector.TryResizeNoCopy(2);
    ExpectRaises(InHeader, Err::ERR_MEMORY, -1, [&] { vector.TryResizeNoCopy(ULONG_MAX); });
    EXPECT_EQ(nullptr, vector.Begin());
    EXPECT_EQ(nullptr, vector.End());
    EXPECT_FALSE(vector.Owned());
    // Eight times this wraps to eight bytes.
    const unsigned long wrapping = ULONG_MAX / 8 + 2;
    ExpectRaises(InHeader, Err::ERR_MEMORY, static_cast<int>(wrapping),
                 [&] { vector.TryResizeNoCopy(wrapping); });
    EXPECT_EQ(1ul, vector.TryResizeNoCopy(1));
}

TEST(Vector, RandomUseAgreesWithTheModel)
{
    std::mt19937 random(99);
    Vector<int> vectors[3];
    std::vector<int> models[3];
    int foreign[16];
    for (int i = 0; i < 16; ++i)
        foreign[i] = 1000 + i;
    for (int step = 0; step < 20000; ++step) {
        const unsigned long a = random() % 3;
        const unsigned long b = random() % 3;
        const unsigned long n = random() % 16;
        switch (random() % 6) {
        case 0:
            if (vectors[a].TryResizeNoCopy(n) != models[a].size() || models[a].size() != n)
                models[a].resize(n);
            for (unsigned long i = 0; i < n; ++i)
                vectors[a][i] = models[a][i] = static_cast<int>(random() % 1000);
            break;
        case 1:
            vectors[a] = vectors[b];
            models[a] = models[b];
            break;
        case 2:
            vectors[a].Swap(vectors[b]);
            models[a].swap(models[b]);
            break;
        case 3:
            vectors[a].Replace(foreign, n);
            models[a].assign(foreign, foreign + n);
            break;
        case 4: {
            Vector<int> copy(vectors[a]);
            vectors[b].Swap(copy);
            models[b] = models[a];
            break;
        }
        default:
            if (n != 0 && vectors[a].Owned() && !vectors[a].Empty())
                vectors[a][n % vectors[a].Length()] = models[a][n % models[a].size()] = 7;
        }
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(models[i].size(), vectors[i].Length());
            ASSERT_TRUE(std::equal(models[i].begin(), models[i].end(), vectors[i].Begin()));
        }
    }
}
