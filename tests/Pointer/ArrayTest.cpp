// SPDX-License-Identifier: MIT
#include <ORVEX/Array.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

using ORVEX::Array;
using ORVEX::ArrayBase;

namespace {

class OpenRange : public ArrayBase<long> {
public:
    long OffsetOfBegin() const { return Offset(&begin); }
    long OffsetOfEnd() const { return Offset(&end); }

private:
    long Offset(const void* field) const
    {
        return static_cast<const char*>(field) - reinterpret_cast<const char*>(this);
    }
};

} // namespace

static_assert(std::has_virtual_destructor<ArrayBase<int>>::value, "is deleted through its base");
static_assert(sizeof(ArrayBase<int>) == 3 * sizeof(void*), "a table and two pointers");
static_assert(!std::is_copy_constructible<Array<int, 3>>::value, "begin points into the object");
static_assert(!std::is_copy_assignable<Array<int, 3>>::value, "begin points into the object");

TEST(ArrayBase, FieldsAreBeginThenEnd)
{
    const OpenRange range;
    EXPECT_EQ(static_cast<long>(sizeof(void*)), range.OffsetOfBegin());
    EXPECT_EQ(static_cast<long>(2 * sizeof(void*)), range.OffsetOfEnd());
}

TEST(ArrayBase, ResizeIsTheFirstVirtualOperation)
{
    // In the C++ ABI of the device and of PCs a pointer to a virtual member function holds its
    // offset in the table, plus 1 where code addresses may be odd.
    unsigned long (ArrayBase<int>::*resize)(unsigned long) = &ArrayBase<int>::TryResizeNoCopy;
    std::uintptr_t slot;
    std::memcpy(&slot, &resize, sizeof slot);
    EXPECT_EQ(0u, slot & ~std::uintptr_t{1});
}

TEST(ArrayBase, NewOneIsEmpty)
{
    const ArrayBase<int> range;
    EXPECT_EQ(nullptr, range.Begin());
    EXPECT_EQ(nullptr, range.End());
    EXPECT_EQ(0ul, range.Length());
    EXPECT_TRUE(range.Empty());
}

TEST(ArrayBase, ResizeChangesNothingAndGivesTheLength)
{
    int numbers[] = {1, 2, 3};
    ArrayBase<int> range(numbers, 3);
    for (const unsigned long n : {0ul, 2ul, 3ul, 4ul}) {
        EXPECT_EQ(3ul, range.TryResizeNoCopy(n));
        EXPECT_EQ(numbers, range.Begin());
        EXPECT_EQ(numbers + 3, range.End());
    }
}

TEST(ArrayBase, GivesAccessToForeignElements)
{
    int numbers[] = {1, 2, 3};
    ArrayBase<int> range(numbers, 3);
    range[1] = 20;
    *range.Begin() = 10;
    EXPECT_EQ(10, numbers[0]);
    EXPECT_EQ(20, numbers[1]);
    EXPECT_FALSE(range.Empty());
    const ArrayBase<int> view = range;
    EXPECT_EQ(3, view[2]);
    EXPECT_EQ(numbers, view.Begin());
    EXPECT_EQ(numbers + 3, view.End());
    EXPECT_EQ(3ul, view.Length());
}

TEST(Array, StartsWithItsFullCountInsideItself)
{
    Array<char, 21> array;
    EXPECT_EQ(21ul, array.Length());
    const char* const object = reinterpret_cast<const char*>(&array);
    EXPECT_GE(array.Begin(), object);
    EXPECT_LE(array.End(), object + sizeof array);
    EXPECT_EQ(object + sizeof(ArrayBase<char>), array.Begin());
}

TEST(Array, RequestsAboveItsRoomAreCut)
{
    Array<char, 21> array;
    EXPECT_EQ(21ul, array.TryResizeNoCopy(30));
    EXPECT_EQ(21ul, array.Length());
    EXPECT_EQ(21ul, array.TryResizeNoCopy(~0ul));
    EXPECT_EQ(21ul, array.Length());
}

TEST(Array, EveryLengthInItsRoomIsReachedInPlace)
{
    Array<char, 21> array;
    char* const begin = array.Begin();
    std::memset(begin, 'x', 21);
    EXPECT_EQ(5ul, array.TryResizeNoCopy(5));
    for (const unsigned long n : {5ul, 0ul, 21ul, 20ul, 1ul}) {
        EXPECT_EQ(n, array.TryResizeNoCopy(n));
        EXPECT_EQ(n, array.Length());
        EXPECT_EQ(begin, array.Begin());
        EXPECT_EQ(begin + n, array.End());
        EXPECT_EQ(n == 0, array.Empty());
    }
    EXPECT_EQ('x', begin[20]); // the elements stay as they were
}

TEST(Array, IsResizedThroughItsBase)
{
    Array<int, 4> array;
    ArrayBase<int>& base = array;
    EXPECT_EQ(2ul, base.TryResizeNoCopy(2));
    EXPECT_EQ(4ul, base.TryResizeNoCopy(9));
}

TEST(Array, DestroysItsElementsThroughItsBase)
{
    struct Counted {
        ~Counted() { ++Destroyed(); }
        static int& Destroyed()
        {
            static int count = 0;
            return count;
        }
    };
    ArrayBase<Counted>* const array = new Array<Counted, 3>;
    array->TryResizeNoCopy(1);
    EXPECT_EQ(0, Counted::Destroyed()); // a shorter length destroys nothing
    delete array;
    EXPECT_EQ(3, Counted::Destroyed());
}
