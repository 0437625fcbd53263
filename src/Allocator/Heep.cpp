// SPDX-License-Identifier: MIT
#include <ORVEX/Allocator.h>

#include "NewArray.h"

#include <climits>
#include <cstring>
#include <utility>

namespace ORVEX {

namespace {

const char File[] = "src/Allocator/Heep";

const unsigned long Granule = 8;
const unsigned long MaxCapacity = UINT32_MAX - UINT32_MAX % Granule;

// What does not fit the capacity field becomes a count that no heap gives.
unsigned long RoundUp(unsigned long n)
{
    return n <= MaxCapacity ? (n + Granule - 1) / Granule * Granule : ULONG_MAX;
}

const unsigned long Word = sizeof(unsigned long);
const unsigned long Stride = 4 * Word;

// Any alignment will do; the compiler makes one load of it where the processor allows that.
unsigned long LoadWord(const unsigned char* p)
{
    unsigned long word;
    std::memcpy(&word, p, Word);
    return word;
}

bool WordDiffers(const unsigned char* a, const unsigned char* b)
{
    return LoadWord(a) != LoadWord(b);
}

// Four words with a single branch.
bool StrideDiffers(const unsigned char* a, const unsigned char* b)
{
    return ((LoadWord(a) ^ LoadWord(b)) | (LoadWord(a + Word) ^ LoadWord(b + Word)) |
            (LoadWord(a + 2 * Word) ^ LoadWord(b + 2 * Word)) |
            (LoadWord(a + 3 * Word) ^ LoadWord(b + 3 * Word))) != 0;
}

} // namespace

void Heep::Alloc(unsigned long n)
{
    Free();
    if (n == 0)
        return;
    const unsigned long bytes = RoundUp(n);
    // The record says 4 whatever the size.
    data = NewArray<unsigned char>(bytes, File, __LINE__, 4);
    capacity = static_cast<std::uint32_t>(bytes);
}

void Heep::Free()
{
    if (capacity == 0)
        return;
    delete[] data;
    data = nullptr;
    capacity = 0;
}

void Heep::Swap(Heep& other)
{
    std::swap(data, other.data);
    std::swap(capacity, other.capacity);
}

void Heep::MemCopy(unsigned char* dst, const unsigned char* src, unsigned long n)
{
    if (n != 0) // the pointers of an empty range may be null, which memcpy does not take
        std::memcpy(dst, src, n);
}

void Heep::MemCopy(const unsigned char* first, const unsigned char* last, unsigned long offset)
{
    if (first != last)
        std::memcpy(data + offset, first, static_cast<unsigned long>(last - first));
}

void Heep::MemInit(unsigned char* dst, unsigned char value, unsigned long n)
{
    if (n != 0)
        std::memset(dst, value, n);
}

int Heep::MemComp(const unsigned char* a, const unsigned char* b, unsigned long n)
{
    // What is equal is skipped in strides and words, from the top. Where two words differ, or less
    // than a word is left, the bytes decide, so the machine's byte order does not matter.
    while (n >= Stride && !StrideDiffers(a + n - Stride, b + n - Stride))
        n -= Stride;
    while (n >= Word && !WordDiffers(a + n - Word, b + n - Word))
        n -= Word;
    while (n != 0) {
        --n;
        if (a[n] != b[n])
            return a[n] > b[n] ? 1 : -1;
    }
    return 0;
}

} // namespace ORVEX
