// SPDX-License-Identifier: MIT
// Prints BASE to the power of EXPONENT modulo MODULUS, hexadecimal numbers of up to 4096 bits:
// what checking a signature with a public key comes down to.
//
//   modexp BASE EXPONENT MODULUS
#include <ORVEX/Nmpi.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned long MaxBytes = 512;
constexpr unsigned long MaxLimbs = MaxBytes / 4;

int DigitValue(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    return -1;
}

// The arithmetic checks nothing, so what comes from outside is checked here.
bool Read(const char* text, ORVEX::NmpiBase& number)
{
    const std::size_t digits = std::strlen(text);
    unsigned char bytes[MaxBytes] = {};
    if (digits == 0 || digits > 2 * MaxBytes)
        return false;
    for (std::size_t i = 0; i < digits; ++i) {
        const int value = DigitValue(text[digits - 1 - i]);
        if (value < 0)
            return false;
        unsigned char& byte = bytes[MaxBytes - 1 - i / 2];
        byte = static_cast<unsigned char>(byte | value << 4 * (i % 2));
    }
    number.NocheckSetBuffer(ORVEX::BufferBase(bytes, MaxBytes));
    return true;
}

void Print(const ORVEX::NmpiBase& number)
{
    unsigned char bytes[MaxBytes];
    ORVEX::BufferBase range(bytes, MaxBytes);
    number.NocheckGetBuffer(range);
    unsigned long first = 0;
    while (first < MaxBytes - 1 && bytes[first] == 0)
        ++first;
    std::printf("%x", bytes[first]);
    while (++first < MaxBytes)
        std::printf("%02x", bytes[first]);
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv)
{
    // The base becomes the result. Products of two numbers below the modulus need twice its limbs,
    // a quotient one more than the modulus or the base has.
    static ORVEX::Nmpi<2 * MaxLimbs> result, power;
    static ORVEX::Nmpi<MaxLimbs + 1> quotient;
    static ORVEX::Nmpi<MaxLimbs> exponent, modulus;

    if (argc != 4 || !Read(argv[1], result) || !Read(argv[2], exponent) ||
        !Read(argv[3], modulus)) {
        std::fputs("usage: modexp BASE EXPONENT MODULUS (hexadecimal, 4096 bits at most)\n",
                   stderr);
        return 2;
    }
    if (modulus.Length() == 0) {
        std::fputs("modexp: there are no numbers modulo 0\n", stderr);
        return 2;
    }
    result.NocheckModExp(exponent, modulus, power, quotient);
    Print(result);
    return 0;
}
