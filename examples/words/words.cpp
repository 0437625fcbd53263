// SPDX-License-Identifier: MIT
// Takes a sentence to pieces: words in their order, counted, sorted, found again.
#include <ORVEX/String.h>

#include <cstdio>

using ORVEX::Char;
using ORVEX::List;
using ORVEX::String;

namespace {

// Puts the word before the first that is greater; equal ones keep their order.
void Insert(List<String>& sorted, const String& word)
{
    List<String>::Iterator at = sorted.Begin();
    while (at != sorted.End() && at->Compare(word) <= 0)
        ++at;
    sorted.InsertFront(at, new List<String>::Node(word));
}

void Print(const char* title, const List<String>& words)
{
    std::printf("%s:", title);
    for (const String& word : words)
        std::printf(" %s", word.CStr());
    std::puts("");
}

} // namespace

int main()
{
    const String text =
        String::ChangeCharStr("the owl, the \xC3\xB6wl and the fox:  2 owls, 1 fox\nA second line");

    // Line by line; a line comes without its end.
    String line;
    String::IteratorConst next = text.Begin();
    while (text.GetLine(next, line))
        std::printf("%u characters in %lu bytes: %s\n", line.Size(), line.Length(), line.CStr());

    next = text.Begin();
    text.GetLine(next, line);
    line.RemoveChar(",");
    line.RemoveChar(":");
    const List<String> words = line.FindSplit(" "); // two spaces in a row leave no empty word
    Print("words", words);

    List<String> sorted;
    for (const String& word : words)
        Insert(sorted, word);
    Print("sorted", sorted);

    // Positions are good as long as the text does not change.
    const String fox = String::ChangeCharStr("fox");
    unsigned int found = 0;
    String::IteratorConst at = line.Find(fox, line.Begin());
    while (at != line.End()) {
        ++found;
        std::printf("fox at byte %ld, behind \"%s\"\n",
                    static_cast<long>(at.Address() - line.CStr()),
                    line.Split(line.Begin(), at).CStr());
        ++at;
        at = line.Find(fox, at);
    }
    const String sentence = String::ChangeCharStr("found ") + String::Decimal(found) +
                            String::ChangeCharStr(" times, ") + fox + Char("!");
    std::puts(sentence.CStr());
    std::printf("begins with \"the\": %s\n",
                line.FindFirst(String::ChangeCharStr("the")) ? "yes" : "no");

    String number;
    number.SetDecimal(42ll, true, 5); // signed, at least five digits
    std::printf("%s %s\n", number.CStr(), String::Decimal(-7).CStr());
    return 0;
}
