// SPDX-License-Identifier: MIT
// Shows each character of a text as code point, UTF-8 bytes and UTF-16 units, and what becomes of
// texts that are not well formed.
//
//   codepoints [TEXT]
#include <ORVEX/Array.h>
#include <ORVEX/Char.h>
#include <ORVEX/String.h>

#include <cstdint>
#include <cstdio>

using ORVEX::Array;
using ORVEX::Char;
using ORVEX::String;

namespace {

void Print(const Char& character)
{
    std::printf("U+%04lX  UTF-8", static_cast<unsigned long>(character.GetUTF32()));
    for (std::uint64_t bytes = character.GetUTF8(); bytes != 0; bytes >>= 8)
        std::printf(" %02X", static_cast<unsigned int>(bytes & 0xFF));
    unsigned short first;
    unsigned short second;
    if (!character.GetUTF16(first, second))
        std::printf("  no UTF-16");
    else if (second == 0)
        std::printf("  UTF-16 %04X", static_cast<unsigned int>(first));
    else
        std::printf("  UTF-16 %04X %04X", static_cast<unsigned int>(first),
                    static_cast<unsigned int>(second));
    std::puts("");
}

void Print(const String& text)
{
    std::printf("\"%s\": %u characters, %lu bytes\n", text.CStr(), text.Size(), text.Length());
    // Well-formed text may be walked by its positions alone.
    for (String::IteratorConst at = text.Begin(); at != text.End(); ++at)
        Print(*at);
}

// There and back: the same text in UTF-16.
void ThroughUTF16(const String& text)
{
    Array<unsigned short, 16> units;
    if (!text.GetUTF16(units)) {
        std::puts("does not fit into 16 units");
        return;
    }
    const String back = String::ChangeCharStrUTF16(units.Begin());
    std::printf("%lu units and a 0; back again it is %s\n", units.Length() - 1,
                back.Compare(text) == 0 ? "the same" : "another");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1) {
        String text = String::ChangeCharStr(argv[1]);
        // Check would not return from a stray continuation byte: count what decodes to 0 first.
        for (const char* at = text.CStr(); at < text.CStr() + text.Length();) {
            const unsigned long length = Char::CheckUTF8(*at);
            if (length == 0 || length > 6) {
                std::puts("not UTF-8");
                return 1;
            }
            at += length;
        }
        text.CheckFix();
        Print(text);
        return 0;
    }
    const String text = String::ChangeCharStr("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x90\xA7");
    Print(text);
    ThroughUTF16(text);
    ThroughUTF16(String::ChangeCharStr("sixteen and more units"));

    // The end of a text may cut a character off: CheckFix takes away what is left of it.
    String cut = String::ChangeCharStr("1 \xE2\x82");
    std::printf("complete: %s\n", cut.CheckFix() ? "yes" : "no");
    Print(cut);

    // Numbers are what they are: nothing is refused.
    Char beyond;
    beyond.SetUTF32(0x110000);
    Print(beyond);
    Print(Char("\xC1\x81")); // two bytes where one would do
    return 0;
}
