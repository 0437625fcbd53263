// SPDX-License-Identifier: MIT
#ifndef ORVEX_NMPI_H
#define ORVEX_NMPI_H

#include <ORVEX/Buffer.h>

#include <cstdint>

namespace ORVEX {

/// A non-negative number of any size in an array of 32-bit limbs that somebody else owns.
///
/// Limb i has the weight 2^(32 i). Invariant: the limb below end is not 0, so the number 0 has no
/// limbs; and every limb of the array from end up is 0, because the arithmetic adds into them.
/// How many limbs the array has is written nowhere: operations called Nocheck write what their
/// result needs, and the caller sizes the array for it. A copy would be a second end of the same
/// array, so there is none: NocheckCopy copies the number. One thread at a time. Raises nothing.
class NmpiBaseBuffer {
public:
    NmpiBaseBuffer() : begin(nullptr), end(nullptr) {} ///< The number 0, without an array.

    /// The number 0 in the array of `capacity` limbs at `limbs`, all of which become 0. The array
    /// stays the caller's, outlives this object, and holds one number at a time.
    NmpiBaseBuffer(std::uint32_t* limbs, unsigned long capacity);

    NmpiBaseBuffer(const NmpiBaseBuffer&) = delete;
    NmpiBaseBuffer& operator=(const NmpiBaseBuffer&) = delete;

    /// Makes the limbs 0 to `count` - 1 of the array 0; end stays where it is.
    void NocheckZeroSet(unsigned long count);

    /// Makes the number 0.
    void Clear();

    /// Makes this number equal to `other`, in this number's own array.
    /// Needs other.Length() limbs. Copying a number to itself changes nothing.
    void NocheckCopy(const NmpiBaseBuffer& other);

    /// Puts end behind the highest limb that is not 0, looking from end - 1 or from `top`,
    /// whichever is the higher, downwards; at begin when there is none.
    /// @param top  the highest limb that may have been written; may lie below begin
    void NocheckRewind(std::uint32_t* top);

    /// Makes the number `value`. Needs 1 limb, and 2 for a value above 0xFFFFFFFF, which only a
    /// 64-bit host can pass.
    void NocheckIntSet(unsigned long value);

    /// Makes the number what the bytes of `buffer` say, most significant byte first. Leading zero
    /// bytes are accepted, no bytes are 0. Needs the limbs of the number, none for leading zeros.
    void NocheckSetBuffer(const BufferBase& buffer);

    /// Writes the number into all bytes of `buffer`, most significant byte first and with leading
    /// zero bytes, so that NocheckSetBuffer reads it back. Of a number that has more bytes than
    /// that, the lowest ones are written.
    void NocheckGetBuffer(BufferBase& buffer) const;

    /// 1 when this number is greater than `other`, 0 when they are equal, -1 when it is less.
    std::int32_t Comp(const NmpiBaseBuffer& other) const;

    /// Used limbs; 0 for the number 0.
    unsigned long Length() const { return static_cast<unsigned long>(end - begin); }

    std::uint32_t* begin; ///< Limb 0, the least significant one.
    std::uint32_t* end;   ///< One past the most significant limb that is not 0.
};

/// The arithmetic on numbers in limbs: add, subtract, multiply, divide, raise to a power.
///
/// Results replace this number. Operands may be the object itself where that is said, and are
/// different objects in different arrays otherwise. Nothing is checked: the caller sees to room
/// for the result and to the order of operands. Nothing is allocated; products and quotients take
/// up to 2 KB of stack.
class NmpiBaseNocheck : public NmpiBaseBuffer {
public:
    using NmpiBaseBuffer::NmpiBaseBuffer;

    static const std::uint32_t BaseType_HIGH_MASK = 0xFFFF0000; ///< The upper half of a limb.
    static const std::uint32_t BaseType_LOW_MASK = 0x0000FFFF;  ///< The lower half of a limb.
    static const std::uint32_t BaseType_HERF_SHIFT = 16;        ///< Bits of half a limb.
    static const std::uint32_t BaseType_FULL_SHIFT = 32;        ///< Bits of a limb.
    static const std::uint32_t BaseType_MAX = 0xFFFFFFFF;       ///< The greatest limb.

    /// this = this + other. Needs the limbs of the sum, that is at most one more than the longer
    /// operand has. `other` may be this number, which doubles it.
    void NocheckAdd(const NmpiBaseNocheck& other);

    /// this = this - other. `other` may be this number. A greater `other` is not detected: the
    /// result then wraps within as many limbs as the longer operand has, which it needs.
    void NocheckSub(const NmpiBaseNocheck& other);

    /// this = this * other. Needs Length() + other.Length() limbs. `other` may be this number,
    /// and then only half of the products are formed.
    void NocheckMul(const NmpiBaseNocheck& other);

    /// quotient = floor(this / divisor); this = this mod divisor. A divisor of 0 makes the quotient
    /// 0 and leaves this number as it is. `divisor` may be this number.
    ///
    /// This number needs no limb beyond its own. The quotient's array needs the larger of
    /// divisor.Length() + 1 and Length() - divisor.Length() + 1 limbs.
    void NocheckDiv(const NmpiBaseNocheck& divisor, NmpiBaseNocheck& quotient);

    /// this = this^exponent mod modulus; 1 when the exponent is 0, even if the modulus is 1.
    ///
    /// This number and `power` need 2 * modulus.Length() limbs each (and this one what it holds at
    /// first), `quotient` what NocheckDiv by the modulus says of both. A modulus of 0 reduces
    /// nothing, so that the arrays have to hold the whole power. The time taken depends on the
    /// exponent's bits; do not use it where someone who must not know them can measure it.
    /// @param exponent  to raise to; stays as it is
    /// @param modulus   to reduce by; stays as it is
    /// @param power     work store: the squares of the base
    /// @param quotient  work store: the quotients of the reductions
    void NocheckModExp(const NmpiBaseNocheck& exponent, const NmpiBaseNocheck& modulus,
                       NmpiBaseNocheck& power, NmpiBaseNocheck& quotient);
};

/// A number as applications name it: the arithmetic over an array of the caller's.
///
/// `std::uint32_t limbs[128]; NmpiBase number(limbs, 128);` or, with the array inside the
/// object, `Nmpi<128> number;`.
class NmpiBase : public NmpiBaseNocheck {
public:
    using NmpiBaseNocheck::NmpiBaseNocheck;
};

/// A number that holds its own array of `Capacity` limbs, so the array comes and goes with it.
/// Nothing is allocated; a fresh one is 0.
///
/// A product needs the limbs of both factors: numbers of 2048 bits (64 limbs) that are multiplied
/// or raised to powers are `Nmpi<128>`.
template <unsigned long Capacity> class Nmpi : public NmpiBase {
public:
    Nmpi() : limbs() { begin = end = limbs; }

private:
    std::uint32_t limbs[Capacity];
};

/// A number that stays as it is, in limbs that may lie in read-only memory: a key, a modulus.
///
/// Stands wherever a `const NmpiBase&` or one of its bases is asked for. Owns nothing, writes
/// nothing; the limbs outlive it. Any number of threads may read it.
class NmpiConst {
public:
    /// The number in the `count` limbs at `limbs`, least significant first; the highest ones may
    /// be 0.
    NmpiConst(const std::uint32_t* limbs, unsigned long count);

    /// This number; the reference is to this object itself.
    operator const NmpiBase&() const { return number; }

private:
    NmpiBase number; // the only field, so both classes have one layout
};

} // namespace ORVEX

#endif
