// SPDX-License-Identifier: MIT
#include <ORVEX/String.h>

#include "Store.h"
#include "Walk.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace ORVEX {

using Internal::NextCharacter;
using Internal::TakeCharacter;

namespace {

const unsigned long EachByte = ULONG_MAX / 0xFF; // times a byte: a word of that byte

// Any alignment will do; the compiler makes one load of it where the processor allows that.
unsigned long LoadWord(const char* p)
{
    unsigned long word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

// How many of the first `n` bytes are the same up to the first difference.
unsigned long SameBytes(const char* a, const char* b, unsigned long n)
{
    const unsigned long block = 1024;
    unsigned long same = 0;
    while (n - same >= block && std::memcmp(a + same, b + same, block) == 0)
        same += block;
    while (n - same >= sizeof(unsigned long) && LoadWord(a + same) == LoadWord(b + same))
        same += sizeof(unsigned long);
    while (same != n && a[same] == b[same])
        ++same;
    return same;
}

// Whether a walk that comes from `from`, or from before it through `from`, is bound to stop at `p`:
// its last stop before `p` is at most eight bytes away, as no character is longer, and no byte
// there announces a character that goes on at `p`. Around well-formed text that is so at each
// character and nowhere else; elsewhere it may be false although the walk stops.
bool SurelyStopsAt(const char* from, const char* p)
{
    const unsigned long reach = std::min(7ul, static_cast<unsigned long>(p - from));
    for (unsigned long back = 1; back <= reach; ++back) {
        if (Char::CheckUTF8(*(p - back)) > back)
            return false;
    }
    return true;
}

// Steps from `p` on over whole words of ASCII characters other than `code`.
const char* PassOtherAscii(const char* p, const char* end, std::uint32_t code)
{
    // For a code that is not ASCII it stops at NUL bytes, which does no harm.
    const unsigned long pattern = code < 0x80 ? EachByte * code : 0;
    while (static_cast<unsigned long>(end - p) >= sizeof(unsigned long)) {
        const unsigned long word = LoadWord(p);
        const unsigned long nonZero = (word ^ pattern) + EachByte * 0x7F;
        if ((word & EachByte * 0x80) != 0 || (~nonZero & EachByte * 0x80) != 0)
            break;
        p += sizeof(unsigned long);
    }
    return p;
}

// The pieces of a text between the characters that have one code point, without the empty ones.
class Pieces {
public:
    Pieces(const String& whole, Char between)
        : text(whole), separator(between), at(whole.CStr()), end(at + whole.Length())
    {
    }

    // Sets `first` and `last` to the next piece; false when there is none.
    bool Next(const char*& first, const char*& last)
    {
        while (at != end) {
            first = at;
            last = text.Find(separator, at).Address();
            at = last != end ? NextCharacter(last, end) : end;
            if (first != last)
                return true;
        }
        return false;
    }

private:
    const String& text;
    const Char separator;
    const char* at;
    const char* const end;
};

} // namespace

std::int32_t String::Compare(const String& other) const
{
    const char* a = CStr();
    const char* b = other.CStr();
    const char* const aEnd = a + Length();
    const char* const bEnd = b + other.Length();
    unsigned long same = SameBytes(a, b, std::min(Length(), other.Length()));
    if (a + same == aEnd && b + same == bEnd)
        return 0;
    // Over the same bytes both walks go alike, so they may begin at any common stop.
    while (!SurelyStopsAt(a, a + same))
        --same;
    a += same;
    b += same;
    while (a != aEnd) {
        if (b == bEnd)
            return 1;
        const std::uint32_t left = TakeCharacter(a, aEnd);
        const std::uint32_t right = TakeCharacter(b, bEnd);
        if (left != right)
            return left > right ? 1 : -1;
    }
    return b == bEnd ? 0 : -1;
}

String::IteratorConst String::Find(Char c, IteratorConst from) const
{
    const char* const last = CStr() + Length();
    const std::uint32_t code = c.GetUTF32();
    for (const char* p = from.Address(); p < last;) {
        p = PassOtherAscii(p, last, code);
        const char* const stop = p + std::min<unsigned long>(sizeof(unsigned long),
                                                             static_cast<unsigned long>(last - p));
        while (p < stop) {
            const char* const start = p;
            if (TakeCharacter(p, last) == code)
                return start;
        }
    }
    return last;
}

String::IteratorConst String::Find(Char c) const { return Find(c, Begin()); }

String::IteratorConst String::Find(const String& text, IteratorConst from) const
{
    const char* const last = CStr() + Length();
    const unsigned long length = text.Length();
    const char* const first = from.Address();
    if (length == 0 || first > last)
        return last;
    const char* walked = first; // a stop of the walk
    for (const char* p = first; static_cast<unsigned long>(last - p) >= length; ++p) {
        const unsigned long places = static_cast<unsigned long>(last - p) - length + 1;
        p = static_cast<const char*>(std::memchr(p, *text.begin, places));
        if (!p)
            break;
        if (std::memcmp(p, text.begin, length) != 0)
            continue;
        if (SurelyStopsAt(first, p))
            return p;
        while (walked < p)
            walked = NextCharacter(walked, last);
        if (walked == p)
            return p;
    }
    return last;
}

bool String::FindFirst(const String& text) const
{
    const unsigned long length = text.Length();
    return length != 0 && length <= Length() && std::memcmp(begin, text.begin, length) == 0;
}

String String::Split(IteratorConst first, IteratorConst last) const
{
    String piece(Parm);
    piece.UpdateCharStr(first.Address(), last.Address());
    return piece;
}

bool String::GetLine(IteratorConst& pos, String& line) const
{
    const char* const last = CStr() + Length();
    if (pos.Address() >= last)
        return false;
    const char* const stop = Find(Char("\n"), pos).Address();
    line.UpdateCharStr(pos.Address(), stop);
    pos = stop != last ? NextCharacter(stop, last) : last;
    return true;
}

void String::RemoveChar(Char c)
{
    // The block has the size that appending the pieces one by one would give it. They are measured
    // before they are copied, so that each is copied once, however many there are.
    String kept(Parm);
    const char* first;
    const char* last;
    unsigned long stored = 1;
    Internal::Growth growth(kept);
    growth.To(stored);
    for (Pieces pieces(*this, c); pieces.Next(first, last);)
        growth.To(stored += static_cast<unsigned long>(last - first));
    growth.Apply(kept);
    char* to = kept.begin;
    for (Pieces pieces(*this, c); pieces.Next(first, last);)
        to = std::copy(first, last, to);
    *to = 0;
    Swap(kept);
}

List<String> String::FindSplit(Char separator) const
{
    List<String> list;
    const char* first;
    const char* last;
    for (Pieces pieces(*this, separator); pieces.Next(first, last);) {
        String piece = Split(first, last);
        List<String>::Node* const node = new List<String>::Node;
        list.PushBack(node);
        node->item.Swap(piece);
    }
    return list;
}

} // namespace ORVEX
