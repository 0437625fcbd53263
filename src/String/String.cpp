// SPDX-License-Identifier: MIT
#include <ORVEX/String.h>

#include "Walk.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace ORVEX {

using Internal::NextCharacter;
using Internal::TakeCharacter;

namespace {

// A sum that would wrap is the largest number instead, which the allocator refuses.
unsigned long Sum(unsigned long a, unsigned long b)
{
    return b <= ULONG_MAX - a ? a + b : ULONG_MAX;
}

// The ranges must not overlap, and the pointers of an empty one may be null.
void CopyBytes(char* to, const char* from, unsigned long n)
{
    if (n != 0)
        std::memcpy(to, from, n);
}

// The UTF-8 bytes of one character.
struct Encoded {
    explicit Encoded(Char c)
    {
        for (std::uint64_t rest = c.GetUTF8(); rest != 0; rest >>= 8)
            bytes[length++] = static_cast<char>(rest & 0xFF);
    }

    char bytes[8] = {};
    unsigned long length = 0;
};

// Whether compilers turn loops over single bytes into instructions on many of them. Where they do
// not, stepping from character to character is cheaper than looking at every byte.
#if (defined(__SSE2__) || defined(__ARM_NEON)) && !defined(__OPTIMIZE_SIZE__)
const bool ManyBytesAtOnce = true;
#else
const bool ManyBytesAtOnce = false;
#endif

const unsigned long Block = 128 + 3;

unsigned int Continues(unsigned char b) { return (b & 0xC0) == 0x80; }

bool IsAscii(const unsigned char* p)
{
    unsigned char any = 0;
    for (unsigned long i = 0; i < Block; ++i)
        any |= p[i];
    return any < 0x80;
}

// Of a block that starts with a character: whether exactly the bytes that lead bytes announce are
// continuation bytes, and no character has more than four. Sets `count` to the characters that
// start in it.
bool IsWellFormed(const unsigned char* p, unsigned long& count)
{
    unsigned int wrong = Continues(p[0]) | (Continues(p[1]) ^ (p[0] >= 0xC0)) |
                         (Continues(p[2]) ^ ((p[1] >= 0xC0) | (p[0] >= 0xE0))) | (p[0] >= 0xF8) |
                         (p[1] >= 0xF8) | (p[2] >= 0xF8);
    unsigned char continuations = 0;
    unsigned char differs = 0;
    for (unsigned long i = 3; i < Block; ++i) {
        const unsigned char continues = (p[i] & 0xC0) == 0x80;
        const unsigned char announced =
            (p[i - 1] >= 0xC0) | (p[i - 2] >= 0xE0) | (p[i - 3] >= 0xF0);
        differs |= static_cast<unsigned char>((continues ^ announced) | (p[i] >= 0xF8));
        continuations = static_cast<unsigned char>(continuations + continues);
    }
    count = Block - continuations - Continues(p[1]) - Continues(p[2]);
    return (wrong | differs) == 0;
}

// How many of the last bytes of a well-formed block belong to a character that goes on behind it.
unsigned long Unfinished(const unsigned char* end)
{
    if (end[-1] >= 0xC0)
        return 1;
    if (end[-2] >= 0xE0)
        return 2;
    return end[-3] >= 0xF0 ? 3 : 0;
}

void PassAsciiWords(const char*& p, const char* end, unsigned long& count)
{
    const unsigned long highBits = ULONG_MAX / 0xFF * 0x80;
    unsigned long word;
    while (static_cast<unsigned long>(end - p) >= sizeof word) {
        std::memcpy(&word, p, sizeof word);
        if ((word & highBits) != 0)
            return;
        count += sizeof word;
        p += sizeof word;
    }
}

// Steps from `p` on over as many characters as can be told to be well formed many bytes at a time,
// and adds their number to `count`. The walk gets to where it leaves `p`.
void PassWellFormed(const char*& p, const char* end, unsigned long& count)
{
    if (!ManyBytesAtOnce) {
        PassAsciiWords(p, end, count);
        return;
    }
    while (static_cast<unsigned long>(end - p) >= Block) {
        const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(p);
        unsigned long characters = Block;
        unsigned long unfinished = 0;
        if (!IsAscii(bytes)) {
            if (!IsWellFormed(bytes, characters))
                return;
            unfinished = Unfinished(bytes + Block);
        }
        count += characters - (unfinished != 0);
        p += Block - unfinished;
    }
}

} // namespace

String::Sizing String::Parm = {64, 16};

const char String::CharNull = 0;

String::String() : String(Parm) { Clear(); }

String::String(const Sizing& sizing) : Store(sizing.baseSize, sizing.blockSize) {}

String::String(const String& other) : String(Parm) { *this = other; }

String::String(const BufferBase& bytes) : String(Parm) { *this = bytes; }

String String::ChangeCharStr(const char* text)
{
    String changed(Parm);
    changed.UpdateCharStr(text ? text : &CharNull);
    return changed;
}

String String::ChangeCharStrUTF16(const unsigned short* text)
{
    String changed;
    if (text)
        changed.UpdateCharStrUTF16(text);
    return changed;
}

String& String::operator=(const String& other)
{
    if (this == &other)
        return *this;
    if (other.begin)
        Assign(other.begin, other.Length());
    else
        Release();
    return *this;
}

String& String::operator=(const BufferBase& bytes)
{
    const unsigned long length = bytes.Length();
    Assign(reinterpret_cast<const char*>(bytes.Begin()), length);
    const unsigned long text = StrLen(begin, end);
    if (text != length) {
        Resize(text + 1);
        end[-1] = 0;
    }
    return *this;
}

void String::UpdateCharStr(const char* text) { Assign(text, std::strlen(text)); }

void String::UpdateCharStr(const char* first, const char* last)
{
    Assign(first, static_cast<unsigned long>(last - first));
}

bool String::UpdateCharStrUTF16(const unsigned short* text)
{
    Clear();
    unsigned short pending = 0;
    for (; *text != 0; ++text) {
        const unsigned long kind = Char::CheckUTF16(*text);
        if (kind == 1) {
            pending = *text;
            continue;
        }
        if (kind == 2 && pending == 0)
            return false;
        Char c;
        if (kind == 2)
            c.SetUTF16(pending, *text);
        else
            c.SetUTF16(*text, 0);
        *this += c;
        pending = 0;
    }
    return pending == 0;
}

void String::Clear()
{
    Resize(1);
    end[-1] = 0;
}

std::uint32_t String::Size() const
{
    unsigned long count = 0;
    const char* p = CStr();
    const char* const last = p + Length();
    while (p != last) {
        PassWellFormed(p, last, count);
        // What did not pass is walked over; then the rest gets its chance again.
        const unsigned long stretch = ManyBytesAtOnce ? Block : 2 * sizeof(unsigned long);
        const char* const stop =
            static_cast<unsigned long>(last - p) > stretch ? p + stretch : last;
        for (; p < stop; ++count)
            p = NextCharacter(p, last);
    }
    return static_cast<std::uint32_t>(count);
}

unsigned long String::StrLen(const char* first, const char* last)
{
    if (first == last)
        return 0;
    const unsigned long length = static_cast<unsigned long>(last - first);
    const void* const null = std::memchr(first, 0, length);
    return null ? static_cast<unsigned long>(static_cast<const char*>(null) - first) : length;
}

bool String::Check() const { return Covered() == Length(); }

bool String::CheckFix()
{
    const unsigned long covered = Covered();
    if (covered == Length())
        return true;
    Resize(covered + 1);
    end[-1] = 0;
    return false;
}

unsigned long String::Covered() const
{
    const char* p = CStr();
    const char* const last = p + Length();
    unsigned long characters = 0;
    PassWellFormed(p, last, characters);
    while (p != last) {
        // The walk stays at a stray continuation byte, whose length is 0, for good. Reading it
        // through a volatile pointer keeps the loop: the compiler may not take for granted that it
        // ends.
        const volatile char* const lead = p;
        const unsigned long length = Char::CheckUTF8(*lead);
        if (length > static_cast<unsigned long>(last - p))
            break;
        p += length;
    }
    return static_cast<unsigned long>(p - CStr());
}

bool String::GetUTF16(ArrayBase<unsigned short>& units) const
{
    const char* const last = CStr() + Length();
    unsigned long count = 0;
    for (const char* p = CStr(); p != last;) {
        Char c;
        c.SetUTF32(TakeCharacter(p, last));
        count += c.GetUTF16Size();
    }
    if (units.TryResizeNoCopy(count + 1) < count + 1) {
        units.TryResizeNoCopy(0);
        return false;
    }
    bool complete = true;
    unsigned short* to = units.Begin();
    for (const char* p = CStr(); p != last;) {
        Char c;
        c.SetUTF32(TakeCharacter(p, last));
        unsigned short first;
        unsigned short second;
        if (!c.GetUTF16(first, second)) {
            complete = false;
            continue;
        }
        *to++ = first;
        if (second != 0)
            *to++ = second;
    }
    *to = 0;
    return complete;
}

String& String::operator+=(const String& other)
{
    const unsigned long length = other.Length();
    char* const to = Extend(length);
    // Read only now: the bytes may be the own ones, which have moved.
    CopyBytes(to, other.begin, length);
    return *this;
}

String& String::operator+=(Char c)
{
    const Encoded utf8(c);
    CopyBytes(Extend(utf8.length), utf8.bytes, utf8.length);
    return *this;
}

String String::operator+(const String& other) const { return Plus(other.begin, other.Length()); }

String String::operator+(Char c) const
{
    const Encoded utf8(c);
    return Plus(utf8.bytes, utf8.length);
}

// Everything stored counts as kept here: bytes behind `n` are given up, new ones have any value.
void String::Resize(unsigned long n)
{
    const unsigned long stored = Allocator::Length();
    if (n == stored)
        return;
    if (!data) {
        Alloc(n);
    } else if (!ReAlloc(n)) {
        Store fresh(baseSize, blockSize);
        fresh.Alloc(n);
        fresh.SetRange(n);
        CopyBytes(fresh.Begin(), begin, std::min(n, stored));
        Allocator::Swap(fresh);
    }
    SetRange(n);
}

void String::Assign(const char* first, unsigned long length)
{
    const unsigned long n = Sum(length, 1);
    if (!data) {
        Alloc(n);
        SetRange(n);
    }
    if (n == Allocator::Length() || ReAlloc(n)) {
        if (length != 0)
            std::memmove(data, first, length);
        SetRange(n);
    } else {
        Store fresh(baseSize, blockSize);
        fresh.Alloc(n);
        fresh.SetRange(n);
        CopyBytes(fresh.Begin(), first, length);
        Allocator::Swap(fresh);
    }
    end[-1] = 0;
}

char* String::Extend(unsigned long length)
{
    const unsigned long old = Length();
    Resize(Sum(old, Sum(length, 1)));
    end[-1] = 0;
    return begin + old;
}

void String::Renew(unsigned long n)
{
    if (!data || !ReAlloc(n))
        Alloc(n);
}

void String::Release()
{
    Free();
    begin = end = nullptr; // also in a block that Free keeps, because its capacity is fixed
}

String String::Plus(const char* first, unsigned long length) const
{
    String sum(Parm);
    CopyBytes(sum.Extend(Sum(Length(), length)), begin, Length());
    CopyBytes(sum.begin + Length(), first, length);
    return sum;
}

String StringConst::operator+(const String& other) const
{
    String sum(*string);
    sum += other;
    return sum;
}

String StringConst::operator+(Char c) const
{
    String sum(*string);
    sum += c;
    return sum;
}

} // namespace ORVEX
