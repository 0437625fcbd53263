// SPDX-License-Identifier: MIT
#include <ORVEX/Nmpi.h>

#include "NmpiHalves.h"

#include <algorithm>

namespace ORVEX {

const std::uint32_t NmpiBaseNocheck::BaseType_HIGH_MASK;
const std::uint32_t NmpiBaseNocheck::BaseType_LOW_MASK;
const std::uint32_t NmpiBaseNocheck::BaseType_HERF_SHIFT;
const std::uint32_t NmpiBaseNocheck::BaseType_FULL_SHIFT;
const std::uint32_t NmpiBaseNocheck::BaseType_MAX;

static_assert(sizeof(NmpiBase) == sizeof(NmpiBaseBuffer) && sizeof(NmpiConst) == sizeof(NmpiBase),
              "all of them are the two pointers and nothing else");

namespace {

constexpr std::uint32_t LowMask = NmpiBaseNocheck::BaseType_LOW_MASK;
constexpr unsigned HalfShift = NmpiBaseNocheck::BaseType_HERF_SHIFT;
constexpr unsigned FullShift = NmpiBaseNocheck::BaseType_FULL_SHIFT;

// The product of two half-limbs fits a limb exactly, so it takes a 32-bit multiplication only.
std::uint32_t HalfProduct(std::uint32_t a, std::uint32_t b) { return a * b; }

// The sum of the limb products of one column, by the weights of the half-limb products that
// they are made of: 1, 2^16 and 2^32. Each sum has room for 2^31 of them, so carries wait until
// the column is complete.
struct Column {
    std::uint64_t low = 0;
    std::uint64_t middle = 0;
    std::uint64_t high = 0;

    void AddProduct(std::uint32_t a, std::uint32_t b)
    {
        const std::uint32_t aLow = a & LowMask, aHigh = a >> HalfShift;
        const std::uint32_t bLow = b & LowMask, bHigh = b >> HalfShift;
        low += HalfProduct(aLow, bLow);
        middle += HalfProduct(aLow, bHigh);
        middle += HalfProduct(aHigh, bLow);
        high += HalfProduct(aHigh, bHigh);
    }

    void Double()
    {
        low <<= 1;
        middle <<= 1;
        high <<= 1;
    }

    // Stores the sum at `limb`, whose old value is lost, and adds what exceeds it to the limbs
    // above, as far up as there is something to add.
    void Store(std::uint32_t* limb) const
    {
        const std::uint64_t first = low + (middle << HalfShift & 0xFFFFFFFF);
        std::uint64_t rest = (first >> FullShift) + (middle >> HalfShift) + high;
        *limb = static_cast<std::uint32_t>(first);
        while (rest != 0) {
            rest += *++limb;
            *limb = static_cast<std::uint32_t>(rest);
            rest >>= FullShift;
        }
    }
};

// The column `k` of the product of a (`aLength` limbs) and b (`bLength` limbs).
Column ProductColumn(const std::uint32_t* a, unsigned long aLength, const std::uint32_t* b,
                     unsigned long bLength, unsigned long k)
{
    Column column;
    const std::uint32_t* up = a + (k < bLength ? 0 : k - (bLength - 1));
    const std::uint32_t* const last = a + std::min(k, aLength - 1);
    // `down` stands one limb above the factor, so that it never leaves the array at its lower end.
    for (const std::uint32_t* down = b + (k - static_cast<unsigned long>(up - a)) + 1; up <= last;)
        column.AddProduct(*up++, *--down);
    return column;
}

// The column `k` of the square of a: what lies on both sides of the middle is formed once.
Column SquareColumn(const std::uint32_t* a, unsigned long length, unsigned long k)
{
    Column column;
    const std::uint32_t* up = a + (k < length ? 0 : k - (length - 1));
    const std::uint32_t* down = a + (k - static_cast<unsigned long>(up - a));
    while (up < down)
        column.AddProduct(*up++, *down--);
    column.Double();
    if (up == down)
        column.AddProduct(*up, *up);
    return column;
}

// floor((upper, lower) / divisor) by restoring division, one quotient bit a step, the most
// significant first. The divisor's top bit is 1. A quotient that exceeds 32 bits is cut to the
// greatest limb, which is still not below the digit that is looked for.
std::uint32_t EstimateDigit(std::uint32_t upper, std::uint32_t lower, std::uint32_t divisor)
{
    if (upper >= divisor)
        return NmpiBaseNocheck::BaseType_MAX;
    for (unsigned bit = 0; bit < FullShift; ++bit) {
        // Twice `upper` and the dividend's next bit may need 33 bits. It is compared with the
        // divisor after one `upper` has been taken from both, and then 32 are enough.
        const std::uint32_t once = upper + (lower >> 31), room = divisor - upper;
        const bool fits = once >= room;
        upper = once + (fits ? 0 - room : upper);
        lower = (lower << 1) + fits; // the dividend's bits leave at the top, the quotient's come in
    }
    return lower;
}

// part -= number * digit over `length` limbs; returns what is still to be taken from the limb
// above.
std::uint32_t SubtractMultiple(std::uint32_t* part, const std::uint32_t* number,
                               unsigned long length, std::uint32_t digit)
{
    const std::uint32_t low = digit & LowMask, high = digit >> HalfShift;
    std::uint32_t carry = 0;
    for (unsigned long i = 0; i < length; ++i) {
        const std::uint32_t numberLow = number[i] & LowMask, numberHigh = number[i] >> HalfShift;
        // The product and the carry are at most (2^32 - 1)^2 + 2^32 - 1, the borrow is 1 more.
        std::uint64_t sum = HalfProduct(low, numberLow);
        sum += std::uint64_t{HalfProduct(low, numberHigh)} << HalfShift;
        sum += std::uint64_t{HalfProduct(high, numberLow)} << HalfShift;
        sum += std::uint64_t{HalfProduct(high, numberHigh)} << FullShift;
        sum += carry;
        const std::uint32_t take = static_cast<std::uint32_t>(sum);
        carry = static_cast<std::uint32_t>(sum >> FullShift) + (part[i] < take);
        part[i] -= take;
    }
    return carry;
}

// part += number over `length` limbs; returns the carry.
std::uint32_t AddLimbs(std::uint32_t* part, const std::uint32_t* number, unsigned long length)
{
    std::uint64_t carry = 0;
    for (unsigned long i = 0; i < length; ++i) {
        carry += part[i];
        carry += number[i];
        part[i] = static_cast<std::uint32_t>(carry);
        carry >>= FullShift;
    }
    return static_cast<std::uint32_t>(carry);
}

// a = a * b in place, over `aLength` + `bLength` limbs at `a`; both may be the same number.
void MultiplyLimbs(std::uint32_t* a, unsigned long aLength, const std::uint32_t* b,
                   unsigned long bLength)
{
    // From the most significant column down: column k needs the limbs up to k only, and stores
    // into those from k up, so that the product can take the place of the factor.
    for (unsigned long k = aLength + bLength - 1; k-- > 0;) {
        const Column column =
            a == b ? SquareColumn(a, aLength, k) : ProductColumn(a, aLength, b, bLength, k);
        column.Store(a + k);
    }
}

// Divides the `length` limbs at `number` by the `dLength` limbs at `d`, which are not greater: the
// quotient fills `length` - `dLength` + 1 limbs, the remainder is left in the number.
void DivideLimbs(std::uint32_t* number, unsigned long length, const std::uint32_t* d,
                 unsigned long dLength, std::uint32_t* quotient)
{
    // The top 32 bits of the divisor are those from its highest 1 down; the partial remainder is
    // shifted by as much.
    unsigned shift = 0;
    while ((d[dLength - 1] << shift >> 31) == 0)
        ++shift;
    const auto Top = [shift](std::uint32_t upper, std::uint32_t lower) {
        return shift == 0 ? upper : upper << shift | lower >> (FullShift - shift);
    };
    const std::uint32_t dTop = Top(d[dLength - 1], dLength > 1 ? d[dLength - 2] : 0);

    const Internal::HalvesDivisor halves(d, dLength);
    std::uint32_t above = 0; // the top limb of the partial remainder; the first one has none
    for (unsigned long j = length - dLength + 1; j-- > 0;) {
        std::uint32_t* const part = number + j;
        const std::uint32_t upper = part[dLength - 1];
        const std::uint32_t lower = dLength > 1 ? part[dLength - 2] : 0;
        std::uint32_t digit = EstimateDigit(Top(above, upper), Top(upper, lower), dTop);

        // Both tops are cut downwards and the divisor's has 32 bits, so the estimate is never too
        // small and at most 2 too large; then the subtraction goes below 0 and comes back here.
        std::uint32_t missing = Internal::HalvesDivisor::Useful && halves.Fits(digit)
                                    ? halves.SubtractMultiple(part, digit)
                                    : SubtractMultiple(part, d, dLength, digit);
        missing -= above;
        for (; missing != 0; --digit)
            missing -= AddLimbs(part, d, dLength);

        quotient[j] = digit;
        if (j + dLength < length)
            part[dLength] = 0;
        above = part[dLength - 1];
    }
}

} // namespace

NmpiBaseBuffer::NmpiBaseBuffer(std::uint32_t* limbs, unsigned long capacity)
    : begin(limbs), end(limbs)
{
    NocheckZeroSet(capacity);
}

void NmpiBaseBuffer::NocheckZeroSet(unsigned long count) { std::fill(begin, begin + count, 0u); }

void NmpiBaseBuffer::Clear()
{
    std::fill(begin, end, 0u);
    end = begin;
}

void NmpiBaseBuffer::NocheckCopy(const NmpiBaseBuffer& other)
{
    if (this == &other)
        return;
    Clear();
    end = std::copy(other.begin, other.end, begin);
}

void NmpiBaseBuffer::NocheckRewind(std::uint32_t* top)
{
    if (top >= end)
        end = top + 1;
    while (end != begin && end[-1] == 0)
        --end;
}

void NmpiBaseBuffer::NocheckIntSet(unsigned long value)
{
    Clear();
    // Two shifts, because one by the full width is undefined where unsigned long has 32 bits.
    for (; value != 0; value = value >> HalfShift >> HalfShift)
        *end++ = static_cast<std::uint32_t>(value & 0xFFFFFFFF);
}

void NmpiBaseBuffer::NocheckSetBuffer(const BufferBase& buffer)
{
    Clear();
    const unsigned char* at = buffer.End();
    const unsigned char* first = buffer.Begin();
    // Leading zeros are not even written, so that they need no room.
    while (first != at && *first == 0)
        ++first;
    const unsigned long count = static_cast<unsigned long>(at - first);
    for (unsigned long i = 0; i < count; ++i)
        begin[i / 4] |= std::uint32_t{*--at} << 8 * (i % 4);
    end = begin + (count + 3) / 4;
}

void NmpiBaseBuffer::NocheckGetBuffer(BufferBase& buffer) const
{
    const unsigned long count = buffer.Length();
    unsigned char* at = buffer.End();
    for (unsigned long i = 0; i < count; ++i) {
        const std::uint32_t limb = i / 4 < Length() ? begin[i / 4] : 0;
        *--at = static_cast<unsigned char>(limb >> 8 * (i % 4) & 0xFF);
    }
}

std::int32_t NmpiBaseBuffer::Comp(const NmpiBaseBuffer& other) const
{
    if (Length() != other.Length())
        return Length() > other.Length() ? 1 : -1;
    for (unsigned long i = Length(); i-- > 0;) {
        if (begin[i] != other.begin[i])
            return begin[i] > other.begin[i] ? 1 : -1;
    }
    return 0;
}

void NmpiBaseNocheck::NocheckAdd(const NmpiBaseNocheck& other)
{
    const unsigned long length = other.Length();
    if (length == 0)
        return;
    std::uint32_t* limb = begin + length;
    // The limbs above end are 0, so a shorter number is as good as one of the same length.
    for (std::uint32_t carry = AddLimbs(begin, other.begin, length); carry != 0; ++limb)
        carry = ++*limb == 0;
    NocheckRewind(limb - 1);
}

void NmpiBaseNocheck::NocheckSub(const NmpiBaseNocheck& other)
{
    const unsigned long length = other.Length();
    if (length == 0)
        return;
    std::uint32_t* limb = begin;
    std::uint32_t borrow = 0;
    for (unsigned long i = 0; i < length; ++i, ++limb) {
        const std::uint64_t difference = std::uint64_t{*limb} - other.begin[i] - borrow;
        *limb = static_cast<std::uint32_t>(difference);
        borrow = static_cast<std::uint32_t>(difference >> FullShift) & 1;
    }
    // Of two numbers in the right order the borrow ends below end; in the wrong one it stops
    // there, and does not go on through the zeros above the number into memory of others.
    for (; borrow != 0 && limb < end; ++limb)
        borrow = (*limb)-- == 0;
    NocheckRewind(limb - 1);
}

void NmpiBaseNocheck::NocheckMul(const NmpiBaseNocheck& other)
{
    const unsigned long length = Length(), otherLength = other.Length();
    if (otherLength == 0)
        Clear();
    if (length == 0 || otherLength == 0)
        return;
    if (!Internal::MultiplyHalves(begin, length, other.begin, otherLength))
        MultiplyLimbs(begin, length, other.begin, otherLength);
    NocheckRewind(begin + length + otherLength - 1);
}

void NmpiBaseNocheck::NocheckDiv(const NmpiBaseNocheck& divisor, NmpiBaseNocheck& quotient)
{
    quotient.Clear();
    if (divisor.Length() == 0 || Comp(divisor) < 0)
        return;
    const unsigned long length = Length(), divisorLength = divisor.Length();
    const unsigned long digits = length - divisorLength + 1;
    DivideLimbs(begin, length, divisor.begin, divisorLength, quotient.begin);
    quotient.NocheckRewind(quotient.begin + (digits - 1));
    end = begin + divisorLength;
    NocheckRewind(begin);
}

void NmpiBaseNocheck::NocheckModExp(const NmpiBaseNocheck& exponent, const NmpiBaseNocheck& modulus,
                                    NmpiBaseNocheck& power, NmpiBaseNocheck& quotient)
{
    const auto Square = [&](unsigned times) {
        for (; times != 0; --times) {
            power.NocheckMul(power);
            power.NocheckDiv(modulus, quotient);
        }
    };

    NocheckDiv(modulus, quotient);
    power.NocheckCopy(*this);
    NocheckIntSet(1);
    for (const std::uint32_t* limb = exponent.begin; limb != exponent.end; ++limb) {
        // Squarings wait until a bit needs them, so that the ones behind the last bit are spared.
        unsigned owed = 0;
        for (unsigned bit = 0; bit < FullShift; ++bit) {
            if ((*limb >> bit & 1) != 0) {
                Square(owed);
                NocheckMul(power);
                NocheckDiv(modulus, quotient);
                owed = 0;
            }
            ++owed;
        }
        if (limb + 1 != exponent.end)
            Square(owed);
    }
}

NmpiConst::NmpiConst(const std::uint32_t* limbs, unsigned long count)
{
    // Only a constant number is handed out, so nothing writes through these.
    number.begin = const_cast<std::uint32_t*>(limbs);
    number.end = number.begin + count;
    if (count != 0)
        number.NocheckRewind(number.begin);
}

} // namespace ORVEX
