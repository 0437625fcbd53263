// SPDX-License-Identifier: MIT
#include <ORVEX/Nmpi.h>

#include <gmp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <type_traits>
#include <vector>

using ORVEX::BufferBase;
using ORVEX::Nmpi;
using ORVEX::NmpiBase;
using ORVEX::NmpiBaseBuffer;
using ORVEX::NmpiBaseNocheck;
using ORVEX::NmpiConst;

static_assert(std::is_standard_layout<NmpiBaseBuffer>::value, "begin and end, nothing else");
static_assert(offsetof(NmpiBaseBuffer, begin) == 0, "begin comes first");
static_assert(offsetof(NmpiBaseBuffer, end) == sizeof(void*), "end follows begin");
static_assert(sizeof(NmpiBaseBuffer) == 2 * sizeof(void*), "begin and end, nothing else");
static_assert(sizeof(NmpiBase) == sizeof(NmpiBaseBuffer), "one layout");
static_assert(sizeof(NmpiConst) == sizeof(NmpiBase), "one layout");
static_assert(sizeof(*NmpiBaseBuffer().begin) == 4, "limbs have 32 bits on every host");
static_assert(!std::is_copy_constructible<NmpiBase>::value, "one array, one end");
static_assert(!std::is_copy_assignable<NmpiBase>::value, "one array, one end");

namespace {

using Limbs = std::vector<std::uint32_t>;

constexpr std::uint32_t Guard = 0xA5A5A5A5;

// A number in an array of exactly `capacity` limbs with guard limbs around it.
class Guarded {
public:
    explicit Guarded(std::size_t count)
        : capacity(count), store(count + 8, Guard), value(store.data() + 4, count)
    {
    }
    Guarded(std::size_t count, const Limbs& limbs) : Guarded(count)
    {
        std::copy(limbs.begin(), limbs.end(), value.begin);
        value.end = value.begin + limbs.size();
        while (value.end != value.begin && value.end[-1] == 0)
            --value.end;
    }

    NmpiBase* operator->() { return &value; }
    NmpiBase& operator*() { return value; }

    Limbs Used() const { return Limbs(value.begin, value.end); }

    // Whether the number is as numbers have to be and the array's surroundings are untouched.
    ::testing::AssertionResult Sound() const
    {
        if (value.begin != store.data() + 4)
            return ::testing::AssertionFailure() << "begin has moved";
        if (value.end < value.begin || value.end > value.begin + capacity)
            return ::testing::AssertionFailure() << "end is outside the array";
        if (value.end != value.begin && value.end[-1] == 0)
            return ::testing::AssertionFailure() << "the top limb is 0";
        if (std::count(value.end, value.begin + capacity, 0u) != value.begin + capacity - value.end)
            return ::testing::AssertionFailure() << "a limb above end is not 0";
        if (std::count(store.begin(), store.begin() + 4, Guard) != 4 ||
            std::count(store.end() - 4, store.end(), Guard) != 4)
            return ::testing::AssertionFailure() << "written outside the array";
        return ::testing::AssertionSuccess();
    }

private:
    std::size_t capacity;
    Limbs store;
    NmpiBase value;
};

// GMP's integer with a lifetime.
class Mpz {
public:
    Mpz() { mpz_init(z); }
    explicit Mpz(const Limbs& limbs) : Mpz()
    {
        mpz_import(z, limbs.size(), -1, 4, 0, 0, limbs.data());
    }
    ~Mpz() { mpz_clear(z); }
    Mpz(const Mpz&) = delete;
    Mpz& operator=(const Mpz&) = delete;

    Limbs Used() const
    {
        Limbs limbs(mpz_sizeinbase(z, 2) / 32 + 1);
        std::size_t count = 0;
        mpz_export(limbs.data(), &count, -1, 4, 0, 0, z);
        limbs.resize(count);
        return limbs;
    }

    mpz_t z;
};

// Numbers of up to `limit` limbs, many of which are built from limbs that are hard on carries,
// borrows and estimates.
class Numbers {
public:
    explicit Numbers(unsigned seed) : random(seed) {}

    Limbs Next(std::size_t limit) { return Exactly(random() % (limit + 1)); }

    // Not 0.
    Limbs NextPositive(std::size_t limit) { return Exactly(1 + random() % limit); }

    // `length` limbs, the top one not 0.
    Limbs Exactly(std::size_t length)
    {
        static const std::uint32_t hard[] = {0,          1,          0xFFFFFFFF, 0xFFFFFFFE,
                                             0x80000000, 0x7FFFFFFF, 0xFFFF0000, 0x0000FFFF,
                                             0x00010000, 0x80000001};
        Limbs limbs(length);
        const unsigned long style = random() % 5;
        if (style == 4)
            return OfHalves(length);
        for (std::uint32_t& limb : limbs) {
            switch (style) {
            case 0:
                limb = Random();
                break;
            case 1:
                limb = hard[random() % 10];
                break;
            case 2:
                limb = random() % 8 == 0 ? Random() : random() % 2 == 0 ? 0xFFFFFFFF : 0;
                break;
            default:
                limb = random() % 8 == 0 ? hard[random() % 10] : 0xFFFFFFFF;
                break;
            }
        }
        if (length != 0 && style == 0)
            limbs.back() >>= random() % 32;
        if (length != 0 && limbs.back() == 0)
            limbs.back() = 1;
        return limbs;
    }

    std::uint32_t Random() { return static_cast<std::uint32_t>(random()); }

private:
    // `length` limbs whose halves stand on the edges of signed numbers of 16 bits.
    Limbs OfHalves(std::size_t length)
    {
        static const std::uint32_t hard[] = {0, 1, 0x7FFF, 0x8000, 0x8001, 0xFFFF};
        Limbs limbs(length);
        for (std::uint32_t& limb : limbs)
            limb = hard[random() % 6] << 16 | hard[random() % 6];
        if (length != 0 && limbs.back() == 0)
            limbs.back() = 1;
        return limbs;
    }

    std::mt19937 random;
};

Limbs Trimmed(Limbs limbs)
{
    while (!limbs.empty() && limbs.back() == 0)
        limbs.pop_back();
    return limbs;
}

// All numbers of up to `length` limbs out of five limbs that stand on edges.
std::vector<Limbs> EdgeNumbers(std::size_t length)
{
    static const std::uint32_t edges[] = {0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    std::vector<Limbs> numbers{Limbs()};
    std::vector<Limbs> grown{Limbs()};
    for (std::size_t i = 0; i < length; ++i) {
        std::vector<Limbs> longer;
        for (const Limbs& tail : grown) {
            for (const std::uint32_t edge : edges) {
                longer.push_back(tail);
                longer.back().push_back(edge);
                if (edge != 0)
                    numbers.push_back(longer.back());
            }
        }
        grown.swap(longer);
    }
    return numbers;
}

void ExpectProduct(const Limbs& a, const Limbs& b)
{
    Guarded product(a.size() + b.size(), a), factor(b.size(), b);
    product->NocheckMul(*factor);
    Mpz expected(a);
    mpz_mul(expected.z, expected.z, Mpz(b).z);
    ASSERT_EQ(expected.Used(), product.Used());
    ASSERT_TRUE(product.Sound());
    ASSERT_EQ(b, factor.Used());
    ASSERT_TRUE(factor.Sound());
}

void ExpectSquare(const Limbs& a)
{
    Guarded square(2 * a.size(), a);
    square->NocheckMul(*square);
    Mpz expected(a);
    mpz_mul(expected.z, expected.z, expected.z);
    ASSERT_EQ(expected.Used(), square.Used());
    ASSERT_TRUE(square.Sound());
}

// The limbs that a quotient's array must have.
std::size_t QuotientNeeds(std::size_t dividend, std::size_t divisor)
{
    return std::max(divisor + 1, dividend < divisor ? 0 : dividend - divisor + 1);
}

void ExpectQuotient(const Limbs& n, const Limbs& d)
{
    Guarded dividend(n.size(), n), divisor(d.size(), d);
    const std::size_t needs = QuotientNeeds(n.size(), d.size());
    Guarded quotient(needs, Limbs(needs, 0x12345678)); // what it held does not matter
    dividend->NocheckDiv(*divisor, *quotient);
    Mpz expectedQuotient, expectedRemainder;
    mpz_tdiv_qr(expectedQuotient.z, expectedRemainder.z, Mpz(n).z, Mpz(d).z);
    ASSERT_EQ(expectedQuotient.Used(), quotient.Used());
    ASSERT_EQ(expectedRemainder.Used(), dividend.Used());
    ASSERT_TRUE(quotient.Sound());
    ASSERT_TRUE(dividend.Sound());
    ASSERT_EQ(d, divisor.Used());
    ASSERT_TRUE(divisor.Sound());
}

void ExpectPower(const Limbs& base, const Limbs& exponent, const Limbs& modulus)
{
    const std::size_t room = 2 * modulus.size();
    Guarded result(std::max(room, base.size()), base), power(room, Limbs(room, 77));
    Guarded e(exponent.size(), exponent), m(modulus.size(), modulus);
    Guarded quotient(
        std::max(QuotientNeeds(base.size(), modulus.size()), QuotientNeeds(room, modulus.size())));
    result->NocheckModExp(*e, *m, *power, *quotient);
    Mpz expected;
    mpz_powm(expected.z, Mpz(base).z, Mpz(exponent).z, Mpz(modulus).z);
    // GMP gives 0 for any power modulo 1, here the power with exponent 0 is 1 even then.
    ASSERT_EQ(exponent.empty() ? Limbs{1} : expected.Used(), result.Used());
    ASSERT_TRUE(result.Sound());
    ASSERT_TRUE(power.Sound());
    ASSERT_TRUE(quotient.Sound());
    ASSERT_EQ(exponent, e.Used());
    ASSERT_EQ(modulus, m.Used());
}

} // namespace

TEST(NmpiBaseBuffer, FreshNumberIsZeroInAZeroedArray)
{
    std::uint32_t limbs[3] = {1, 2, 3};
    NmpiBaseBuffer number(limbs, 3);
    EXPECT_EQ(limbs, number.begin);
    EXPECT_EQ(limbs, number.end);
    EXPECT_EQ(0ul, number.Length());
    for (const std::uint32_t limb : limbs)
        EXPECT_EQ(0u, limb);
}

TEST(NmpiBaseBuffer, NumberWithoutAnArrayIsZero)
{
    NmpiBaseBuffer number;
    EXPECT_EQ(nullptr, number.begin);
    EXPECT_EQ(nullptr, number.end);
    number.Clear();
    EXPECT_EQ(0, number.Comp(NmpiBaseBuffer()));
}

TEST(NmpiBaseBuffer, ZeroSetLeavesEndWhereItIs)
{
    Guarded number(4, {1, 2, 3, 4});
    number->NocheckZeroSet(3);
    EXPECT_EQ((Limbs{0, 0, 0, 4}), number.Used());
    number->NocheckZeroSet(0);
    EXPECT_EQ((Limbs{0, 0, 0, 4}), number.Used());
}

TEST(NmpiBaseBuffer, ClearZeroesTheUsedLimbs)
{
    Guarded number(4, {1, 2, 3, 4});
    number->Clear();
    EXPECT_EQ(Limbs(), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseBuffer, CopyReplacesLongerAndShorterNumbers)
{
    Guarded number(5, {1, 2, 3, 4, 5}), other(2, {8, 9}), zero(0);
    number->NocheckCopy(*other);
    EXPECT_EQ((Limbs{8, 9}), number.Used());
    EXPECT_TRUE(number.Sound());
    EXPECT_EQ((Limbs{8, 9}), other.Used());
    Guarded wide(5, {1, 2, 3, 4, 5});
    number->NocheckCopy(*wide);
    EXPECT_EQ((Limbs{1, 2, 3, 4, 5}), number.Used());
    number->NocheckCopy(*number);
    EXPECT_EQ((Limbs{1, 2, 3, 4, 5}), number.Used());
    number->NocheckCopy(*zero);
    EXPECT_EQ(Limbs(), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseBuffer, RewindStartsAtTheHigherOfEndAndTop)
{
    Guarded number(6);
    number->begin[1] = 7;
    number->begin[3] = 9;
    number->NocheckRewind(number->begin + 5);
    EXPECT_EQ(number->begin + 4, number->end);
    number->begin[3] = 0;
    number->NocheckRewind(number->begin); // end - 1 is the higher one
    EXPECT_EQ(number->begin + 2, number->end);
    number->begin[1] = 0;
    number->NocheckRewind(number->begin + 1);
    EXPECT_EQ(number->begin, number->end);
    number->begin[0] = 5;
    number->NocheckRewind(number->begin);
    EXPECT_EQ(number->begin + 1, number->end);
}

TEST(NmpiBaseBuffer, RewindOfZerosOnlyIsZero)
{
    Guarded number(6);
    number->NocheckRewind(number->begin + 5);
    EXPECT_EQ(Limbs(), number.Used());
}

TEST(NmpiBaseBuffer, IntSet)
{
    Guarded number(3, {1, 2, 3});
    number->NocheckIntSet(0xFFFFFFFF);
    EXPECT_EQ((Limbs{0xFFFFFFFF}), number.Used());
    EXPECT_TRUE(number.Sound());
    number->NocheckIntSet(1);
    EXPECT_EQ((Limbs{1}), number.Used());
    number->NocheckIntSet(0);
    EXPECT_EQ(Limbs(), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseBuffer, IntSetCutsNothingOffAWiderInteger)
{
    if (sizeof(unsigned long) == 4)
        GTEST_SKIP() << "unsigned long has 32 bits here";
    Guarded number(2);
    number->NocheckIntSet(static_cast<unsigned long>(0x0000000500000006ull));
    EXPECT_EQ((Limbs{6, 5}), number.Used());
    number->NocheckIntSet(static_cast<unsigned long>(0x0000000500000000ull));
    EXPECT_EQ((Limbs{0, 5}), number.Used());
}

TEST(NmpiBaseBuffer, SetBufferReadsBigEndianAndDropsLeadingZeros)
{
    unsigned char bytes[] = {0x00, 0x00, 0x01, 0x02, 0x03, 0x04, 0x05};
    Guarded number(2, {7, 7});
    number->NocheckSetBuffer(BufferBase(bytes, sizeof bytes));
    EXPECT_EQ((Limbs{0x02030405, 0x00000001}), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseBuffer, SetBufferOfNoBytesOrZeroBytesIsZero)
{
    unsigned char bytes[9] = {};
    Guarded number(2, {7, 7});
    number->NocheckSetBuffer(BufferBase());
    EXPECT_EQ(Limbs(), number.Used());
    number->NocheckIntSet(3);
    number->NocheckSetBuffer(BufferBase(bytes, 9)); // nine zeros, and room for eight
    EXPECT_EQ(Limbs(), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseBuffer, BytesOfEveryLengthComeBack)
{
    Numbers numbers(1);
    for (std::size_t length = 0; length <= 70; ++length) {
        std::vector<unsigned char> bytes(length);
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(numbers.Random());
        Guarded number((length + 3) / 4);
        number->NocheckSetBuffer(BufferBase(bytes.data(), length));
        Mpz expected;
        mpz_import(expected.z, length, 1, 1, 1, 0, bytes.data());
        ASSERT_EQ(expected.Used(), number.Used()) << length;
        ASSERT_TRUE(number.Sound());

        std::vector<unsigned char> back(length + 5, 0xEE);
        BufferBase range(back.data(), back.size());
        number->NocheckGetBuffer(range);
        ASSERT_EQ(5, std::count(back.begin(), back.begin() + 5, 0));
        ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(), back.begin() + 5));
    }
}

TEST(NmpiBaseBuffer, GetBufferOfAShortRangeWritesTheLowestBytes)
{
    unsigned char bytes[] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    Guarded number(2, {0x02030405, 0x00000001});
    BufferBase range(bytes + 1, 3);
    number->NocheckGetBuffer(range);
    const unsigned char expected[] = {0xEE, 0x03, 0x04, 0x05, 0xEE, 0xEE, 0xEE};
    EXPECT_TRUE(std::equal(bytes, bytes + 7, expected));
    BufferBase none;
    number->NocheckGetBuffer(none);
}

TEST(NmpiBaseBuffer, CompOfNumbers)
{
    Guarded zero(0), one(1, {1}), top(1, {0xFFFFFFFF}), two(2, {0, 1}), high(2, {5, 2}),
        low(2, {6, 1});
    EXPECT_EQ(0, zero->Comp(*zero));
    EXPECT_EQ(1, one->Comp(*zero));
    EXPECT_EQ(-1, zero->Comp(*one));
    EXPECT_EQ(1, two->Comp(*top)); // two limbs are more than any one
    EXPECT_EQ(-1, top->Comp(*two));
    EXPECT_EQ(1, high->Comp(*low)); // the most significant difference decides
    EXPECT_EQ(-1, low->Comp(*high));
    EXPECT_EQ(1, low->Comp(*two));
    EXPECT_EQ(0, low->Comp(*low));
    static_assert(std::is_same<std::int32_t, decltype(zero->Comp(*zero))>::value, "32 bits");
}

TEST(NmpiBaseNocheck, LimbConstants)
{
    const std::uint32_t* const constants[] = {
        &NmpiBaseNocheck::BaseType_HIGH_MASK, &NmpiBaseNocheck::BaseType_LOW_MASK,
        &NmpiBaseNocheck::BaseType_HERF_SHIFT, &NmpiBaseNocheck::BaseType_FULL_SHIFT,
        &NmpiBaseNocheck::BaseType_MAX};
    const std::uint32_t values[] = {0xFFFF0000, 0x0000FFFF, 16, 32, 0xFFFFFFFF};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(values[i], *constants[i]) << i;
}

TEST(NmpiBaseNocheck, AddCarriesIntoANewLimbAndSubTakesItBack)
{
    Guarded number(2, {0xFFFFFFFF}), one(1, {1});
    number->NocheckAdd(*one);
    EXPECT_EQ((Limbs{0, 1}), number.Used());
    number->NocheckSub(*one);
    EXPECT_EQ((Limbs{0xFFFFFFFF}), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseNocheck, AddAndSubOfZeroChangeNothing)
{
    Guarded number(2, {3, 4}), zero(0), none(0);
    number->NocheckAdd(*zero);
    EXPECT_EQ((Limbs{3, 4}), number.Used());
    number->NocheckSub(*zero);
    EXPECT_EQ((Limbs{3, 4}), number.Used());
    none->NocheckAdd(*zero);
    none->NocheckSub(*zero);
    EXPECT_EQ(Limbs(), none.Used());
    EXPECT_TRUE(none.Sound());
}

TEST(NmpiBaseNocheck, NumberPlusItselfAndMinusItself)
{
    Guarded number(3, {0xFFFFFFFF, 0x80000000});
    number->NocheckAdd(*number);
    EXPECT_EQ((Limbs{0xFFFFFFFE, 1, 1}), number.Used());
    number->NocheckSub(*number);
    EXPECT_EQ(Limbs(), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseNocheck, SubOfAGreaterNumberWrapsWithinTheLongerOne)
{
    Guarded number(4, {0, 0}), one(1, {1}), two(2, {0, 1});
    number->NocheckSub(*one);
    EXPECT_EQ((Limbs{0xFFFFFFFF}), number.Used());
    EXPECT_TRUE(number.Sound());
    number->NocheckSub(*two);
    EXPECT_EQ((Limbs{0xFFFFFFFF, 0xFFFFFFFF}), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseNocheck, SumsAndDifferencesAreGmps)
{
    Numbers numbers(2);
    for (int round = 0; round < 4000; ++round) {
        const std::size_t limit = round % 2 == 0 ? 4 : 128;
        const Limbs a = numbers.Next(limit), b = numbers.Next(limit);
        Guarded sum(std::max(a.size(), b.size()) + 1, a), other(b.size(), b);
        sum->NocheckAdd(*other);
        Mpz expected(a);
        mpz_add(expected.z, expected.z, Mpz(b).z);
        ASSERT_EQ(expected.Used(), sum.Used());
        ASSERT_TRUE(sum.Sound());
        ASSERT_EQ(b, other.Used());
        sum->NocheckSub(*other);
        ASSERT_EQ(a, sum.Used());
        ASSERT_TRUE(sum.Sound());
        Guarded rest(expected.Used().size(), expected.Used()), first(a.size(), a);
        rest->NocheckSub(*first);
        ASSERT_EQ(b, rest.Used());
        ASSERT_TRUE(rest.Sound());
    }
}

TEST(NmpiBaseNocheck, SumThatFitsNeedsNoLimbToSpare)
{
    Guarded number(2, {0xFFFFFFFF, 0xFFFFFFFE}), one(1, {1});
    number->NocheckAdd(*one);
    EXPECT_EQ((Limbs{0, 0xFFFFFFFF}), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseNocheck, MulOfTheGreatestLimbs)
{
    Guarded number(2, {0xFFFFFFFF}), other(1, {0xFFFFFFFF});
    number->NocheckMul(*other);
    EXPECT_EQ((Limbs{0x00000001, 0xFFFFFFFE}), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseNocheck, MulByZeroAndOfZeroIsZero)
{
    Guarded number(3, {1, 2, 3}), zero(3), other(2, {8, 9});
    number->NocheckMul(*zero);
    EXPECT_EQ(Limbs(), number.Used());
    EXPECT_TRUE(number.Sound());
    zero->NocheckMul(*other);
    EXPECT_EQ(Limbs(), zero.Used());
    EXPECT_TRUE(zero.Sound());
    zero->NocheckMul(*zero);
    EXPECT_EQ(Limbs(), zero.Used());
}

TEST(NmpiBaseNocheck, MulByOneChangesNothing)
{
    Guarded number(4, {1, 2, 3}), one(1, {1});
    number->NocheckMul(*one);
    EXPECT_EQ((Limbs{1, 2, 3}), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseNocheck, ProductsOfEdgeLimbsAreGmps)
{
    const std::vector<Limbs> numbers = EdgeNumbers(3);
    for (const Limbs& a : numbers) {
        for (const Limbs& b : numbers)
            ASSERT_NO_FATAL_FAILURE(ExpectProduct(a, b));
        ASSERT_NO_FATAL_FAILURE(ExpectSquare(a));
    }
}

TEST(NmpiBaseNocheck, ProductsOfEveryPairOfLengthsAreGmps)
{
    Numbers numbers(3);
    for (std::size_t a = 0; a <= 40; ++a) {
        for (std::size_t b = 0; b <= 40; ++b)
            ASSERT_NO_FATAL_FAILURE(ExpectProduct(numbers.Exactly(a), numbers.Exactly(b)));
    }
}

TEST(NmpiBaseNocheck, ProductsAreGmps)
{
    Numbers numbers(4);
    for (int round = 0; round < 2000; ++round)
        ASSERT_NO_FATAL_FAILURE(ExpectProduct(numbers.Next(128), numbers.Next(128)));
}

TEST(NmpiBaseNocheck, SquaresAreGmps)
{
    Numbers numbers(5);
    for (std::size_t length = 0; length <= 130; ++length) {
        for (int round = 0; round < 8; ++round)
            ASSERT_NO_FATAL_FAILURE(ExpectSquare(numbers.Exactly(length)));
    }
}

TEST(NmpiBaseNocheck, LongProductsOfOnesKeepEveryCarry)
{
    for (const std::size_t length :
         std::initializer_list<std::size_t>{127, 128, 129, 132, 133, 134, 255, 256, 257, 600}) {
        const Limbs ones(length, 0xFFFFFFFF);
        ASSERT_NO_FATAL_FAILURE(ExpectProduct(ones, ones));
        ASSERT_NO_FATAL_FAILURE(ExpectSquare(ones));
        ASSERT_NO_FATAL_FAILURE(ExpectProduct(ones, Limbs(3, 0xFFFFFFFF)));
        ASSERT_NO_FATAL_FAILURE(ExpectProduct(Limbs(3, 0xFFFFFFFF), ones));
    }
}

TEST(NmpiBaseNocheck, ProductsOfHalfLimbsOnTheEdgeOfSignsAreGmps)
{
    // The first one is -32768 in every signed half-limb of 16 bits: 7FFF7FFF and a carry.
    static const std::uint32_t lowest[] = {0x7FFF8000, 0x7FFF8000, 0x80008000, 0x7FFF7FFF,
                                           0x00008000, 0x80000000, 0xFFFF8000, 0xFFFFFFFF};
    static const std::uint32_t higher[] = {0x7FFF7FFF, 0x00007FFF, 0x80008000, 0x80007FFF,
                                           0x00008000, 0x80000000, 0x7FFFFFFF, 0x7FFF8000};
    for (const std::size_t length :
         std::initializer_list<std::size_t>{5, 6, 7, 8, 9, 16, 17, 31, 64, 127, 128, 129}) {
        for (int i = 0; i < 8; ++i) {
            Limbs a(length, higher[i]);
            a[0] = lowest[i];
            ASSERT_NO_FATAL_FAILURE(ExpectSquare(a));
            for (int j = 0; j < 8; ++j) {
                Limbs b(length, higher[j]);
                b[0] = lowest[j];
                ASSERT_NO_FATAL_FAILURE(ExpectProduct(a, b));
                // Every other limb only.
                for (std::size_t at = 1; at < length; at += 2)
                    b[at] = 0x00010001;
                ASSERT_NO_FATAL_FAILURE(ExpectProduct(a, b));
                ASSERT_NO_FATAL_FAILURE(ExpectProduct(b, a));
            }
        }
    }
}

TEST(NmpiBaseNocheck, DivOfASmallerNumber)
{
    Guarded number(1, {7}), ten(1, {10}), quotient(2, {1, 2});
    number->NocheckDiv(*ten, *quotient);
    EXPECT_EQ(Limbs(), quotient.Used());
    EXPECT_EQ((Limbs{7}), number.Used());
    EXPECT_TRUE(quotient.Sound());
}

TEST(NmpiBaseNocheck, DivOfTwoToThe64ByThree)
{
    Guarded number(3, {0, 0, 1}), three(1, {3}), quotient(3);
    number->NocheckDiv(*three, *quotient);
    EXPECT_EQ((Limbs{0x55555555, 0x55555555}), quotient.Used());
    EXPECT_EQ((Limbs{1}), number.Used());
    EXPECT_TRUE(quotient.Sound());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseNocheck, DivByZeroLeavesTheDividend)
{
    Guarded number(2, {3, 4}), zero(1), quotient(3, {1, 2, 3});
    number->NocheckDiv(*zero, *quotient);
    EXPECT_EQ((Limbs{3, 4}), number.Used());
    EXPECT_EQ(Limbs(), quotient.Used());
    EXPECT_TRUE(quotient.Sound());
    zero->NocheckDiv(*zero, *quotient);
    EXPECT_EQ(Limbs(), zero.Used());
}

TEST(NmpiBaseNocheck, DivOfANumberByItself)
{
    Numbers numbers(6);
    for (int round = 0; round < 100; ++round) {
        const Limbs limbs = numbers.NextPositive(20);
        Guarded number(limbs.size(), limbs), quotient(limbs.size() + 1);
        number->NocheckDiv(*number, *quotient);
        ASSERT_EQ((Limbs{1}), quotient.Used());
        ASSERT_EQ(Limbs(), number.Used());
        ASSERT_TRUE(number.Sound());
    }
}

TEST(NmpiBaseNocheck, DivWhoseEstimateExceedsALimb)
{
    // 2^95 / (2^63 + 1): the tops are equal, so the estimate is 2^32 and the digit 2^32 - 1.
    Guarded number(3, {0, 0, 0x80000000}), divisor(2, {1, 0x80000000}), quotient(3);
    number->NocheckDiv(*divisor, *quotient);
    EXPECT_EQ((Limbs{0xFFFFFFFF}), quotient.Used());
    EXPECT_EQ((Limbs{1, 0x7FFFFFFF}), number.Used());
    EXPECT_TRUE(number.Sound());
}

TEST(NmpiBaseNocheck, DivWhoseEstimateIsTwoTooLarge)
{
    // The divisor's top 32 bits are 0x80000000, all that is cut off is 1s.
    const Limbs divisor{0xFFFFFFFF, 0xFFFFFFFF, 0x80000000};
    ASSERT_NO_FATAL_FAILURE(ExpectQuotient({0, 0, 0, 0x80000000}, divisor));
    ASSERT_NO_FATAL_FAILURE(ExpectQuotient({0, 0, 0xFFFFFFFE, 0x80000000}, divisor));
    ASSERT_NO_FATAL_FAILURE(ExpectQuotient({0, 0xFFFFFFFF, 0x7FFFFFFF, 0x40000000}, divisor));
    ASSERT_NO_FATAL_FAILURE(
        ExpectQuotient({0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFFFFF, 0x80000000}, divisor));
}

TEST(NmpiBaseNocheck, QuotientsOfEdgeLimbsAreGmps)
{
    const std::vector<Limbs> dividends = EdgeNumbers(4), divisors = EdgeNumbers(3);
    for (const Limbs& divisor : divisors) {
        if (divisor.empty())
            continue;
        for (const Limbs& dividend : dividends)
            ASSERT_NO_FATAL_FAILURE(ExpectQuotient(dividend, divisor));
    }
}

TEST(NmpiBaseNocheck, QuotientsAreGmps)
{
    Numbers numbers(7);
    for (int round = 0; round < 4000; ++round) {
        const std::size_t limit = round % 4 == 0 ? 128 : 12;
        ASSERT_NO_FATAL_FAILURE(
            ExpectQuotient(numbers.Next(2 * limit), numbers.NextPositive(limit)));
    }
}

TEST(NmpiBaseNocheck, QuotientsOfNearMultiplesAreGmps)
{
    // One below, at and above a multiple of the divisor: digits at the edge of being one less.
    Numbers numbers(8);
    for (int round = 0; round < 2000; ++round) {
        const Limbs divisor = numbers.NextPositive(20);
        Mpz multiple(numbers.NextPositive(20));
        mpz_mul(multiple.z, multiple.z, Mpz(divisor).z);
        ASSERT_NO_FATAL_FAILURE(ExpectQuotient(multiple.Used(), divisor));
        mpz_add_ui(multiple.z, multiple.z, 1);
        ASSERT_NO_FATAL_FAILURE(ExpectQuotient(multiple.Used(), divisor));
        mpz_sub_ui(multiple.z, multiple.z, 2);
        ASSERT_NO_FATAL_FAILURE(ExpectQuotient(multiple.Used(), divisor));
    }
}

TEST(NmpiBaseNocheck, QuotientsByEveryTopLimbShiftAreGmps)
{
    Numbers numbers(9);
    for (unsigned shift = 0; shift < 32; ++shift) {
        for (std::size_t length = 1; length <= 20; ++length) {
            for (int round = 0; round < 10; ++round) {
                Limbs divisor = numbers.Exactly(length);
                divisor.back() = (numbers.Random() | 0x80000000) >> shift;
                ASSERT_NO_FATAL_FAILURE(ExpectQuotient(numbers.Next(2 * length + 7), divisor));
            }
        }
    }
}

TEST(NmpiBaseNocheck, QuotientsOfEveryPairOfLengthsAreGmps)
{
    Numbers numbers(12);
    for (std::size_t divisor = 1; divisor <= 30; ++divisor) {
        for (std::size_t dividend = 0; dividend <= 60; ++dividend)
            ASSERT_NO_FATAL_FAILURE(
                ExpectQuotient(numbers.Exactly(dividend), numbers.Exactly(divisor)));
    }
}

TEST(NmpiBaseNocheck, LongQuotientsAreGmps)
{
    Numbers numbers(13);
    for (const std::size_t length :
         std::initializer_list<std::size_t>{127, 128, 129, 130, 135, 300}) {
        for (const std::size_t more :
             std::initializer_list<std::size_t>{1, 4, 5, 6, 127, 128, 129, 134, 300})
            ASSERT_NO_FATAL_FAILURE(
                ExpectQuotient(numbers.Exactly(length + more), numbers.Exactly(length)));
        const Limbs ones(length, 0xFFFFFFFF);
        Limbs most(2 * length, 0xFFFFFFFF);
        ASSERT_NO_FATAL_FAILURE(ExpectQuotient(most, ones));
        Limbs one(length, 0);
        one.back() = 1;
        ASSERT_NO_FATAL_FAILURE(ExpectQuotient(most, one));
    }
}

TEST(NmpiBaseNocheck, QuotientsOfDigitsOnTheEdgeOfSignsAreGmps)
{
    Numbers numbers(14);
    for (const std::uint32_t digit : {0x80008000u, 0x80008001u, 0x80007FFFu, 0x7FFF8000u,
                                      0x80000000u, 0x00008000u, 0xFFFF8000u, 0xFFFFFFFFu}) {
        for (const std::size_t length :
             std::initializer_list<std::size_t>{1, 2, 3, 6, 16, 33, 127, 128, 129}) {
            for (const std::size_t digits : std::initializer_list<std::size_t>{1, 2, 7, 33}) {
                for (int round = 0; round < 4; ++round) {
                    // The quotient has this digit all over, and the remainder is the greatest.
                    const Limbs divisor = numbers.Exactly(length);
                    Mpz dividend(Limbs(digits, digit));
                    mpz_add_ui(dividend.z, dividend.z, 1);
                    mpz_mul(dividend.z, dividend.z, Mpz(divisor).z);
                    mpz_sub_ui(dividend.z, dividend.z, 1);
                    ASSERT_NO_FATAL_FAILURE(ExpectQuotient(dividend.Used(), divisor));
                }
            }
        }
    }
}

TEST(NmpiBaseNocheck, ModExpWithExponentZeroIsOneEvenModuloOne)
{
    ASSERT_NO_FATAL_FAILURE(ExpectPower({12, 34}, {}, {7}));
    ASSERT_NO_FATAL_FAILURE(ExpectPower({}, {}, {7}));
    Guarded result(2, {9}), e(1), m(1, {1}), power(2), quotient(2);
    result->NocheckModExp(*e, *m, *power, *quotient);
    EXPECT_EQ((Limbs{1}), result.Used());
    EXPECT_TRUE(result.Sound());
}

TEST(NmpiBaseNocheck, ModExpOfSmallNumbers)
{
    Guarded result(2, {4}), e(1, {13}), m(1, {497}), power(2), quotient(2);
    result->NocheckModExp(*e, *m, *power, *quotient);
    EXPECT_EQ((Limbs{445}), result.Used());
    EXPECT_TRUE(result.Sound());
}

TEST(NmpiBaseNocheck, ModExpSquaresWhatIsOwedBetweenLimbs)
{
    // 2^32 is 1 modulo 2^32 - 1; only bit 0 of the second limb of the exponent is set.
    Guarded result(2, {2}), e(2, {0, 1}), m(1, {0xFFFFFFFF}), power(2), quotient(2);
    result->NocheckModExp(*e, *m, *power, *quotient);
    EXPECT_EQ((Limbs{1}), result.Used());
    ASSERT_NO_FATAL_FAILURE(ExpectPower({3}, {0x80000000, 0, 0x00010000}, {0xFFFFFFFD}));
    ASSERT_NO_FATAL_FAILURE(ExpectPower({3}, {0, 0x80000001, 0x80000000}, {0xFFFFFFFD, 5}));
}

TEST(NmpiBaseNocheck, ModExpDoesNotSquareBehindTheLastBit)
{
    Guarded result(2, {3}), e(1, {1}), m(1, {1000}), power(2), quotient(2);
    result->NocheckModExp(*e, *m, *power, *quotient);
    EXPECT_EQ((Limbs{3}), power.Used());
    EXPECT_EQ((Limbs{3}), result.Used());
}

TEST(NmpiBaseNocheck, ModExpModuloZeroReducesNothing)
{
    Guarded result(4, {3}), e(1, {21}), zero(1), power(4), quotient(1, {5});
    result->NocheckModExp(*e, *zero, *power, *quotient);
    EXPECT_EQ((Limbs{0x6F7C52B3, 0x2}), result.Used()); // 3^21 is 10460353203
    EXPECT_TRUE(result.Sound());
    EXPECT_TRUE(power.Sound());
    EXPECT_EQ(Limbs(), quotient.Used());
}

TEST(NmpiBaseNocheck, AllSmallPowersAreGmps)
{
    for (std::uint32_t base = 0; base < 12; ++base) {
        for (std::uint32_t exponent = 0; exponent < 20; ++exponent) {
            for (std::uint32_t modulus = 1; modulus < 14; ++modulus)
                ASSERT_NO_FATAL_FAILURE(
                    ExpectPower(Trimmed({base}), Trimmed({exponent}), {modulus}));
        }
    }
}

TEST(NmpiBaseNocheck, PowersAreGmps)
{
    Numbers numbers(10);
    for (int round = 0; round < 150; ++round)
        ASSERT_NO_FATAL_FAILURE(
            ExpectPower(numbers.Next(16), numbers.Next(4), numbers.NextPositive(8)));
}

TEST(NmpiBaseNocheck, PowersOfKeySizeAreGmps)
{
    Numbers numbers(11);
    for (const std::size_t length : std::initializer_list<std::size_t>{16, 24, 32})
        ASSERT_NO_FATAL_FAILURE(
            ExpectPower(numbers.Exactly(length), numbers.Exactly(length), numbers.Exactly(length)));
    // The usual public exponent.
    for (const std::size_t length : std::initializer_list<std::size_t>{32, 64, 128})
        ASSERT_NO_FATAL_FAILURE(
            ExpectPower(numbers.Exactly(length), {0x10001}, numbers.Exactly(length)));
}

TEST(Nmpi, HoldsItsOwnArray)
{
    Nmpi<3> a, b;
    EXPECT_EQ(0ul, a.Length());
    a.NocheckIntSet(0xFFFFFFFF);
    b.NocheckCopy(a);
    a.NocheckMul(b);
    EXPECT_EQ((Limbs{1, 0xFFFFFFFE}), Limbs(a.begin, a.end));
    EXPECT_EQ((Limbs{0xFFFFFFFF}), Limbs(b.begin, b.end));
    EXPECT_EQ(0u, a.begin[2]);
}

TEST(NmpiConst, StandsForItsLimbs)
{
    static const std::uint32_t limbs[] = {497, 0, 0};
    const NmpiConst modulus(limbs, 3);
    const NmpiBase& number = modulus;
    EXPECT_EQ(static_cast<const void*>(&modulus), static_cast<const void*>(&number));
    EXPECT_EQ(limbs, number.begin);
    EXPECT_EQ(limbs + 1, number.end); // the zeros above the number do not count
    Nmpi<2> base, power, quotient;
    base.NocheckIntSet(4);
    static const std::uint32_t thirteen[] = {13};
    base.NocheckModExp(NmpiConst(thirteen, 1), modulus, power, quotient);
    EXPECT_EQ((Limbs{445}), Limbs(base.begin, base.end));
}

TEST(NmpiConst, StandsForTheOperandOfEveryOperation)
{
    static const std::uint32_t limbs[] = {5, 1};
    const NmpiConst constant(limbs, 2);
    Nmpi<4> number;
    Nmpi<4> quotient;
    number.NocheckCopy(constant);
    EXPECT_EQ(0, number.Comp(constant));
    number.NocheckAdd(constant);
    EXPECT_EQ((Limbs{10, 2}), Limbs(number.begin, number.end));
    number.NocheckSub(constant);
    EXPECT_EQ((Limbs{5, 1}), Limbs(number.begin, number.end));
    number.NocheckMul(constant);
    EXPECT_EQ((Limbs{25, 10, 1}), Limbs(number.begin, number.end));
    number.NocheckDiv(constant, quotient);
    EXPECT_EQ(Limbs(), Limbs(number.begin, number.end));
    EXPECT_EQ((Limbs{5, 1}), Limbs(quotient.begin, quotient.end));
    EXPECT_EQ(5u, limbs[0]);
    EXPECT_EQ(1u, limbs[1]);
}

TEST(NmpiConst, NoLimbsAreZero)
{
    const NmpiConst none(nullptr, 0);
    EXPECT_EQ(0ul, static_cast<const NmpiBase&>(none).Length());
    static const std::uint32_t zeros[] = {0, 0};
    EXPECT_EQ(0ul, static_cast<const NmpiBase&>(NmpiConst(zeros, 2)).Length());
}
