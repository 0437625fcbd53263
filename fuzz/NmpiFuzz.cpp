// SPDX-License-Identifier: MIT
// Arithmetic on numbers of up to 135 limbs against GMP, each number in an array of exactly as many
// limbs as the operation asks for, so that a write past it is seen.
//
//   ./tools/fuzz 60 NmpiFuzz
#include "Harness.h"

#include <ORVEX/Nmpi.h>

#include <gmp.h>

#include <algorithm>
#include <memory>

using namespace ORVEX;

namespace {

using Limbs = std::vector<std::uint32_t>;

/// GMP's number, made of limbs and released at its end.
struct Gmp {
    Gmp() { mpz_init(number); }
    explicit Gmp(const Limbs& limbs)
    {
        mpz_init(number);
        mpz_import(number, limbs.size(), -1, 4, 0, 0, limbs.data());
    }
    ~Gmp() { mpz_clear(number); }
    Gmp(const Gmp&) = delete;
    Gmp& operator=(const Gmp&) = delete;

    Limbs ToLimbs() const
    {
        Limbs limbs((mpz_sizeinbase(number, 2) + 31) / 32);
        std::size_t count = 0;
        mpz_export(limbs.data(), &count, -1, 4, 0, 0, number);
        limbs.resize(count);
        return limbs;
    }

    mpz_t number;
};

/// A number in an array that is as large as is said, on the heap.
class Number {
public:
    Number(const Limbs& limbs, unsigned long room)
        : capacity(std::max<unsigned long>(limbs.size(), room)), array(new std::uint32_t[capacity]),
          number(array.get(), capacity)
    {
        std::copy(limbs.begin(), limbs.end(), number.begin);
        number.end = number.begin + limbs.size();
    }

    NmpiBase& operator*() { return number; }
    NmpiBase* operator->() { return &number; }

    Limbs ToLimbs() const { return Limbs(number.begin, number.end); }

    void Expect(const Limbs& expected, const char* what) const
    {
        Require(number.begin == array.get(), "a number stays in its array");
        Require(number.end == number.begin || number.end[-1] != 0, "the top limb is not 0");
        Require(std::all_of(number.end, number.begin + capacity,
                            [](std::uint32_t limb) { return limb == 0; }),
                "the limbs above the number are 0");
        Require(ToLimbs() == expected, what);
    }

private:
    unsigned long capacity;
    std::unique_ptr<std::uint32_t[]> array;
    NmpiBase number;
};

// A small length, or now and then one about where products are formed in another way.
std::uint32_t TakeLength(Feed& feed, std::uint32_t most)
{
    const std::uint8_t byte = feed.Byte();
    return byte < 240 ? byte % (most + 1) : byte - 240u + 120u;
}

// Up to `most` limbs and now and then some 130: limbs of the input, long runs of ones and zeros,
// which carries like, or any number of which the input says the first limb.
Limbs Take(Feed& feed, std::uint32_t most, bool nowAndThenMore = true)
{
    Limbs limbs(nowAndThenMore ? TakeLength(feed, most) : feed.Number(most));
    const std::uint8_t kind = feed.Byte();
    std::uint32_t any = kind < 64 ? 0 : feed.Word();
    for (std::uint32_t& limb : limbs) {
        if (kind < 64) {
            const std::uint8_t byte = feed.Byte();
            limb = byte < 96 ? feed.Word() : byte < 160 ? UINT32_MAX : byte < 224 ? 0 : byte - 223u;
        } else if (kind < 192) {
            limb = kind & 1 && any % 4 != 0 ? (any & 8 ? UINT32_MAX : 0) : any;
            any = any * 1664525 + 1013904223;
            any ^= any >> 15;
        } else {
            limb = kind & 1 ? UINT32_MAX : kind & 2 ? 0x80000000 : any;
        }
    }
    while (!limbs.empty() && limbs.back() == 0)
        limbs.pop_back();
    return limbs;
}

void Bytes(Feed& feed)
{
    std::vector<std::uint8_t> bytes = feed.Bytes(feed.Number(170));
    Gmp expected;
    mpz_import(expected.number, bytes.size(), 1, 1, 1, 0, bytes.data());
    const Limbs limbs = expected.ToLimbs();
    Number number(Limbs(feed.Number(3), 7), limbs.size());
    number->NocheckSetBuffer(BufferBase(bytes.data(), bytes.size()));
    number.Expect(limbs, "NocheckSetBuffer reads the number");

    std::vector<std::uint8_t> written(feed.Number(170), 0xEE);
    BufferBase out(written.data(), written.size());
    number->NocheckGetBuffer(out);
    std::vector<std::uint8_t> low(written.size(), 0);
    for (std::size_t i = 0; i < std::min(low.size(), bytes.size()); ++i)
        low[low.size() - 1 - i] = bytes[bytes.size() - 1 - i];
    Require(written == low, "NocheckGetBuffer writes the number's lowest bytes");
}

void IntSetAndCopy(Feed& feed)
{
    const std::uint32_t value = feed.Word();
    Number number(Take(feed, 8), 1);
    number->NocheckIntSet(value);
    number.Expect(value ? Limbs{value} : Limbs(), "NocheckIntSet sets the number");

    const Limbs source = Take(feed, 20);
    Number from(source, 0), to(Take(feed, 20), source.size());
    to->NocheckCopy(*from);
    to.Expect(source, "NocheckCopy copies the number");
    from.Expect(source, "NocheckCopy leaves the other number");
    to->NocheckCopy(*to);
    to.Expect(source, "a copy of itself changes nothing");
    to->Clear();
    to.Expect(Limbs(), "Clear makes 0");
}

void Compare(const Limbs& a, const Limbs& b)
{
    const Gmp left(a), right(b);
    const int order = mpz_cmp(left.number, right.number);
    Number x(a, 0), y(b, 0);
    Require(x->Comp(*y) == (order > 0) - (order < 0), "Comp is right");
    const NmpiConst constant(a.data(), a.size());
    const NmpiBase& same = constant;
    Require(same.Comp(*x) == 0, "a constant is its limbs");
}

void Add(const Limbs& a, const Limbs& b)
{
    const Gmp left(a), right(b);
    Gmp sum;
    mpz_add(sum.number, left.number, right.number);
    const Limbs expected = sum.ToLimbs();
    Number x(a, expected.size()), y(b, 0);
    x->NocheckAdd(*y);
    x.Expect(expected, "the sum is right");
    y.Expect(b, "the addend stays");

    mpz_add(sum.number, left.number, left.number);
    const Limbs doubled = sum.ToLimbs();
    Number z(a, doubled.size());
    z->NocheckAdd(*z);
    z.Expect(doubled, "the double is right");
}

void Subtract(const Limbs& a, const Limbs& b)
{
    const Gmp left(a), right(b);
    if (mpz_cmp(left.number, right.number) < 0)
        return Subtract(b, a);
    Gmp difference;
    mpz_sub(difference.number, left.number, right.number);
    Number x(a, 0), y(b, 0);
    x->NocheckSub(*y);
    x.Expect(difference.ToLimbs(), "the difference is right");
    y.Expect(b, "the subtrahend stays");
    y->NocheckSub(*y);
    y.Expect(Limbs(), "a number less itself is 0");

    // The other way round is wrong, but stays within the longer operand's limbs.
    Number less(b, a.size()), more(a, 0);
    less->NocheckSub(*more);
    more.Expect(a, "the subtrahend stays");
}

void Multiply(const Limbs& a, const Limbs& b)
{
    const Gmp left(a), right(b);
    Gmp product;
    mpz_mul(product.number, left.number, right.number);
    Number x(a, a.size() + b.size()), y(b, 0);
    x->NocheckMul(*y);
    x.Expect(product.ToLimbs(), "the product is right");
    y.Expect(b, "the factor stays");

    mpz_mul(product.number, left.number, left.number);
    Number z(a, 2 * a.size());
    z->NocheckMul(*z);
    z.Expect(product.ToLimbs(), "the square is right");
}

unsigned long QuotientRoom(const Limbs& a, const Limbs& d)
{
    return std::max(d.size() + 1, a.size() >= d.size() ? a.size() - d.size() + 1 : 0);
}

void Divide(const Limbs& a, const Limbs& d)
{
    const Gmp left(a), right(d);
    Gmp quotient, remainder;
    if (d.empty())
        mpz_set(remainder.number, left.number);
    else
        mpz_tdiv_qr(quotient.number, remainder.number, left.number, right.number);
    Number x(a, 0), y(d, 0), q(Limbs{9}, QuotientRoom(a, d));
    x->NocheckDiv(*y, *q);
    x.Expect(remainder.ToLimbs(), "the remainder is right");
    q.Expect(quotient.ToLimbs(), "the quotient is right");
    y.Expect(d, "the divisor stays");

    Number z(a, 0), one(Limbs(), QuotientRoom(a, a));
    z->NocheckDiv(*z, *one);
    z.Expect(Limbs(), "a number leaves no remainder by itself");
    one.Expect(a.empty() ? Limbs() : Limbs{1}, "a number is in itself once");
}

void Power(const Limbs& base, const Limbs& e, const Limbs& m)
{
    if (m.empty())
        return; // nothing would be reduced
    const Gmp left(base), exponent(e), modulus(m);
    Gmp power;
    mpz_powm(power.number, left.number, exponent.number, modulus.number);
    if (e.empty())
        mpz_set_ui(power.number, 1); // even if the modulus is 1
    const unsigned long room = 2 * m.size();
    Number x(base, room), y(e, 0), z(m, 0), w(Limbs(), room);
    Number q(Limbs(),
             std::max<unsigned long>({m.size() + 1, QuotientRoom(base, m), room - m.size() + 1}));
    x->NocheckModExp(*y, *z, *w, *q);
    x.Expect(power.ToLimbs(), "the power is right");
    y.Expect(e, "the exponent stays");
    z.Expect(m, "the modulus stays");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    Feed feed(data, size);
    const std::uint8_t op = feed.Byte();
    if (op % 8 == 0) {
        Bytes(feed);
        return 0;
    }
    if (op % 8 == 1) {
        IntSetAndCopy(feed);
        return 0;
    }
    if (op % 8 == 7) {
        const Limbs m = Take(feed, 12);
        Limbs e = Take(feed, 2, false);
        if (m.size() > 20 && !e.empty())
            e.assign(1, e[0] % 255 + 1); // more would take its time
        Power(Take(feed, 20), e, m);
        return 0;
    }
    const Limbs a = Take(feed, 40);
    const Limbs b = Take(feed, 40);
    switch (op % 8) {
    case 2:
        Compare(a, b);
        break;
    case 3:
        Add(a, b);
        break;
    case 4:
        Subtract(a, b);
        break;
    case 5:
        Multiply(a, b);
        break;
    default:
        Divide(a, b);
    }
    return 0;
}
