// SPDX-License-Identifier: MIT
#include <ORVEX/String.h>

#include "Store.h"
#include "Walk.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace ORVEX {

using Internal::Assign;
using Internal::Extend;
using Internal::NextCharacter;
using Internal::Release;
using Internal::Resize;
using Internal::Sum;
using Internal::TakeCharacter;

namespace {

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

// PassWellFormed steps from `p` on over as many characters as can be told to be well formed many
// bytes at a time, and adds their number to `count`. The walk gets to where it leaves `p`, which
// may be where it was. What lies there is to be walked over for `Stretch` bytes before the next
// try.
#if (defined(__SSE2__) || defined(__ARM_NEON)) && !defined(__OPTIMIZE_SIZE__)

using Vector = unsigned char __attribute__((vector_size(16)));

const unsigned long Block = 3 + 15 * sizeof(Vector); // at most 255 bytes of a kind can be counted
const unsigned long Stretch = Block;

Vector Load(const unsigned char* p)
{
    Vector bytes;
    std::memcpy(&bytes, p, sizeof bytes);
    return bytes;
}

Vector Fill(unsigned char byte) { return Vector{} + byte; }

// Both halves added up byte by byte; a byte overflows only when a sum of 16 bytes would.
std::uint64_t Fold(Vector bytes)
{
    std::uint64_t halves[2];
    std::memcpy(halves, &bytes, sizeof halves);
    return halves[0] + halves[1];
}

bool IsAscii(const unsigned char* p)
{
    Vector any = Load(p) | Load(p + 3);
    for (unsigned long i = 3 + sizeof(Vector); i < Block; i += sizeof(Vector))
        any |= Load(p + i);
    return Fold((any >> 7)) == 0;
}

// Of a block that starts with a character: whether exactly the bytes that lead bytes announce are
// continuation bytes, and no character has more than four. Sets `count` to the characters that
// start in it.
bool IsWellFormed(const unsigned char* p, unsigned long& count)
{
    const auto continues = [](unsigned char b) { return (b & 0xC0) == 0x80; };
    if (continues(p[0]) || continues(p[1]) != (p[0] >= 0xC0) ||
        continues(p[2]) != (p[1] >= 0xC0 || p[0] >= 0xE0) || p[0] >= 0xF8 || p[1] >= 0xF8 ||
        p[2] >= 0xF8)
        return false;
    // A comparison gives bytes of all ones or of zeros.
    Vector wrong{};
    Vector continuations{};
    for (unsigned long i = 3; i < Block; i += sizeof(Vector)) {
        const Vector bytes = Load(p + i);
        const Vector continued = Vector((bytes & Fill(0xC0)) == Fill(0x80));
        const Vector announced =
            Vector((Load(p + i - 1) >= Fill(0xC0)) | (Load(p + i - 2) >= Fill(0xE0)) |
                   (Load(p + i - 3) >= Fill(0xF0)));
        wrong |= (continued ^ announced) | Vector(bytes >= Fill(0xF8));
        continuations -= continued;
    }
    const auto counted =
        static_cast<unsigned long>(Fold(continuations) * (UINT64_MAX / 0xFF) >> 56);
    count = Block - counted - continues(p[1]) - continues(p[2]);
    return Fold(wrong >> 7) == 0;
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

void PassWellFormed(const char*& p, const char* end, unsigned long& count)
{
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

#else

// Without instructions on many bytes only ASCII is quicker by the word than by the character.
const unsigned long Stretch = 2 * sizeof(unsigned long);

void PassWellFormed(const char*& p, const char* end, unsigned long& count)
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

#endif

} // namespace

String::Sizing String::Parm = {64, 16};

const char String::CharNull = 0;

String::String() : String(Parm) { Clear(); }

String::String(const Sizing& sizing) : Allocator(sizing.baseSize, sizing.blockSize) {}

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
        Assign(*this, other.begin, other.Length());
    else
        Release(*this);
    return *this;
}

String& String::operator=(const BufferBase& bytes)
{
    const unsigned long length = bytes.Length();
    Assign(*this, reinterpret_cast<const char*>(bytes.Begin()), length);
    const unsigned long text = StrLen(begin, end);
    if (text != length) {
        Resize(*this, text + 1);
        end[-1] = 0;
    }
    return *this;
}

void String::UpdateCharStr(const char* text) { Assign(*this, text, std::strlen(text)); }

void String::UpdateCharStr(const char* first, const char* last)
{
    Assign(*this, first, static_cast<unsigned long>(last - first));
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
    Resize(*this, 1);
    end[-1] = 0;
}

std::uint32_t String::Size() const
{
    unsigned long count = 0;
    const char* p = CStr();
    const char* const last = p + Length();
    while (p != last) {
        PassWellFormed(p, last, count);
        const char* const stop =
            static_cast<unsigned long>(last - p) > Stretch ? p + Stretch : last;
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
    Resize(*this, covered + 1);
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
    char* const to = Extend(*this, length);
    // Read only now: the bytes may be the own ones, which have moved.
    CopyBytes(to, other.begin, length);
    return *this;
}

String& String::operator+=(Char c)
{
    const std::uint32_t code = c.GetUTF32();
    // One more byte that the block takes needs no calls; texts are built so, letter by letter.
    if (code != 0 && code < 0x80 && begin && ReAlloc(Allocator::Length() + 1)) {
        end[-1] = static_cast<char>(code);
        *end++ = 0;
        return *this;
    }
    const Encoded utf8(c);
    CopyBytes(Extend(*this, utf8.length), utf8.bytes, utf8.length);
    return *this;
}

String String::operator+(const String& other) const { return Plus(other.begin, other.Length()); }

String String::operator+(Char c) const
{
    const Encoded utf8(c);
    return Plus(utf8.bytes, utf8.length);
}

String String::Plus(const char* first, unsigned long length) const
{
    String sum(Parm);
    CopyBytes(Extend(sum, Sum(Length(), length)), begin, Length());
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
