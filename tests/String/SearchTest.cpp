// SPDX-License-Identifier: MIT
#include <ORVEX/String.h>

#include "Model.h"
#include "Support/ExpectRaises.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using ORVEX::Char;
using ORVEX::Err;
using ORVEX::List;
using ORVEX::String;

static_assert(sizeof(String::IteratorConst) == sizeof(const char*), "one pointer");

namespace {

unsigned long Place(const String& text, String::IteratorConst at)
{
    return static_cast<unsigned long>(at.Address() - text.CStr());
}

String::IteratorConst At(const String& text, unsigned long place) { return text.CStr() + place; }

Char Of(unsigned long code)
{
    Char c;
    c.SetUTF32(code);
    return c;
}

std::vector<std::string> Texts(const List<String>& list)
{
    std::vector<std::string> texts;
    for (const String& text : list) {
        ExpectInvariants(text);
        texts.push_back(Text(text));
    }
    return texts;
}

using Strings = std::vector<std::string>;

// One string, its text and every line of it, until GetLine says that there is none.
Strings Lines(const std::string& bytes)
{
    const String text = Make(bytes);
    Strings lines;
    String::IteratorConst pos = text.Begin();
    String line = String::ChangeCharStr("before");
    while (text.GetLine(pos, line)) {
        ExpectInvariants(line);
        lines.push_back(Text(line));
    }
    EXPECT_TRUE(pos == text.End());
    return lines;
}

Strings ModelLines(const std::string& text)
{
    Strings lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t stop = Model::Find(text, '\n', at);
        lines.push_back(text.substr(at, stop - at));
        at = stop < text.size() ? Model::Next(text, stop) : stop;
    }
    return lines;
}

const std::uint32_t SoughtCodes[] = {0,     'A',   'B',    '\n',     0x3F,       0x40,      0xC3,
                                     0x100, 0x7FF, 0x2000, 0x110000, 0x80000000, 0xFFFFFFFF};

} // namespace

TEST(StringIteratorConst, StepsByTheLeadByte)
{
    const String text = Make("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    String::IteratorConst at = text.Begin();
    EXPECT_EQ(0x41u, (*at).GetUTF32());
    EXPECT_EQ(&at, &++at);
    EXPECT_EQ(0xE9u, (*at).GetUTF32());
    ++at;
    EXPECT_EQ(0x20ACu, (*at).GetUTF32());
    ++at;
    EXPECT_EQ(0x1F600u, (*at).GetUTF32());
    ++at;
    EXPECT_TRUE(at == text.End());
    EXPECT_EQ(0u, (*at).GetUTF32());
}

TEST(StringIteratorConst, StepsOneByteFromAContinuationByte)
{
    const String text = Make("\x80\xBF"
                             "A");
    String::IteratorConst at = text.Begin();
    EXPECT_EQ(0u, (*at).GetUTF32());
    ++at;
    EXPECT_EQ(1ul, Place(text, at));
    ++at;
    EXPECT_EQ(0x41u, (*at).GetUTF32());
}

TEST(StringIteratorConst, StepsAsFarAsAnyLeadByteAnnounces)
{
    for (int b = 0; b < 256; ++b) {
        const std::string bytes = Bytes({b, 'a', 'b', 'c', 'd', 'e', 'f', 'g'});
        String::IteratorConst at = bytes.data();
        ++at;
        const unsigned long step = Model::LeadLength(bytes[0]);
        EXPECT_EQ(step == 0 ? 1 : step, static_cast<unsigned long>(at.Address() - bytes.data()));
    }
}

TEST(StringIteratorConst, AddingStepsThatManyCharacters)
{
    const String text = Make("\xC3\xA9"
                             "ab");
    String::IteratorConst at = text.Begin();
    EXPECT_EQ(&at, &(at += 0));
    EXPECT_TRUE(at == text.Begin());
    EXPECT_EQ(&at, &(at += 3));
    EXPECT_TRUE(at == text.End());
}

TEST(StringIteratorConst, EqualWhereTheByteIsTheSame)
{
    const String text = Make("aa");
    String::IteratorConst first = text.Begin();
    const String::IteratorConst copy(first);
    EXPECT_TRUE(first == copy);
    EXPECT_FALSE(first != copy);
    ++first;
    EXPECT_TRUE(first != copy);
    EXPECT_FALSE(first == copy);
    String::IteratorConst assigned;
    assigned = first;
    EXPECT_TRUE(first == assigned);
}

TEST(StringIteratorConst, WalksAWellFormedTextToItsEnd)
{
    RandomText random;
    for (int round = 0; round < 300; ++round) {
        const std::string bytes = random.WellFormed(random.Below(200));
        const String text = Make(bytes);
        std::size_t place = 0;
        for (String::IteratorConst at = text.Begin(); at != text.End(); ++at) {
            ASSERT_EQ(place, Place(text, at));
            ASSERT_EQ(Model::Decode(bytes, place), (*at).GetUTF32());
            place = Model::Next(bytes, place);
        }
        ASSERT_EQ(bytes.size(), place);
    }
}

TEST(StringCompare, OrdersByCodePoints)
{
    EXPECT_EQ(-1, Make("abc").Compare(Make("abd")));
    EXPECT_EQ(1, Make("abd").Compare(Make("abc")));
    EXPECT_EQ(-1, Make("ab").Compare(Make("abc")));
    EXPECT_EQ(1, Make("abc").Compare(Make("ab")));
    EXPECT_EQ(0, String().Compare(String()));
    EXPECT_EQ(-1, String().Compare(Make("a")));
    EXPECT_EQ(1, Make("a").Compare(String()));
    EXPECT_EQ(1, Make("\xC3\xA9").Compare(Make("z")));
    EXPECT_EQ(-1, Make("\xEF\xBF\xBD").Compare(Make("\xF0\x9F\x98\x80")));
}

TEST(StringCompare, TellsOverlongFormsByTheirValue)
{
    EXPECT_EQ(0, Make("\xC1\x81").Compare(Make("A"))); // both are U+0041
    EXPECT_EQ(0, Make("x\xE0\x81\x81y").Compare(Make("xAy")));
    EXPECT_EQ(-1, Make("x\xE0\x81\x81y").Compare(Make("xAz")));
    EXPECT_EQ(0, Make("\x80").Compare(Make(Bytes({0}))));
}

TEST(StringCompare, ReadsZerosWhereTheEndCutsACharacter)
{
    EXPECT_EQ(0, Make("\xC3").Compare(Make(Bytes({0xC3, 0x00}))));
    EXPECT_EQ(0, Make("\xC3").Compare(Make("\xC3\x80")));
    EXPECT_EQ(-1, Make("\xC3").Compare(Make("\xC3\x81")));
    EXPECT_EQ(0, Make("\xFF").Compare(Make("\xFE"))); // neither has bits of its own
    EXPECT_EQ(-1, Make("\xE2\x82").Compare(Make("\xE2\x82\xAC")));
}

TEST(StringCompare, OfEveryTwoShortTextsIsThatOfThePlainWalk)
{
    const std::string bytes = Bytes({'A', 0x00, 0x80, 0xC1, 0xE0, 0xFF});
    ForEveryText(bytes, 3, [&](const std::string& a) {
        const String left = Make(a);
        ForEveryText(bytes, 3, [&](const std::string& b) {
            ASSERT_EQ(Model::Compare(a, b), left.Compare(Make(b)));
        });
    });
}

TEST(StringCompare, OfTextsThatDifferInOneByteIsThatOfThePlainWalk)
{
    RandomText random;
    for (const std::string& bytes : {random.WellFormed(150), random.Garbage(150)}) {
        const String left = Make(bytes);
        EXPECT_EQ(0, left.Compare(left));
        EXPECT_EQ(0, left.Compare(Make(bytes)));
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            for (const char byte : HardBytes) {
                std::string other = bytes;
                other[at] = byte;
                ASSERT_EQ(Model::Compare(bytes, other), left.Compare(Make(other))) << at;
                ASSERT_EQ(Model::Compare(other, bytes), Make(other).Compare(left)) << at;
            }
            const std::string shorter = bytes.substr(0, at);
            ASSERT_EQ(Model::Compare(bytes, shorter), left.Compare(Make(shorter))) << at;
            ASSERT_EQ(Model::Compare(shorter, bytes), Make(shorter).Compare(left)) << at;
        }
    }
}

TEST(StringCompare, OfLongTextsIsThatOfThePlainWalk)
{
    RandomText random;
    for (int round = 0; round < 600; ++round) {
        const std::string common = random.Any(4000);
        const std::string a = common + random.Any(20);
        const std::string b = common + random.Any(20);
        ASSERT_EQ(Model::Compare(a, b), Make(a).Compare(Make(b)));
    }
}

TEST(StringFind, FindsACharacter)
{
    const String text = Make("a\xC3\xA9"
                             "b\xC3\xA9");
    EXPECT_EQ(1ul, Place(text, text.Find("\xC3\xA9")));
    EXPECT_EQ(3ul, Place(text, text.Find("b")));
    EXPECT_EQ(4ul, Place(text, text.Find("\xC3\xA9", At(text, 3))));
    EXPECT_TRUE(text.Find("x") == text.End());
    EXPECT_TRUE(text.Find("a", At(text, 1)) == text.End());
    EXPECT_TRUE(text.Find("a", text.End()) == text.End());
}

TEST(StringFind, FindsNothingInAnEmptyText)
{
    const String text;
    EXPECT_TRUE(text.Find("a") == text.End());
    EXPECT_TRUE(text.Find("a") == text.Begin());
    EXPECT_TRUE(text.Find(Char()) == text.End());
}

TEST(StringFind, ComparesCharactersByValue)
{
    const String text = Make("ab\x80\xC1\x81");
    EXPECT_EQ(2ul, Place(text, text.Find(Char()))); // a stray continuation byte is 0
    EXPECT_EQ(3ul, Place(text, text.Find("A")));    // an overlong U+0041
}

TEST(StringFind, OfACharacterIsThatOfThePlainWalk)
{
    const auto check = [](const std::string& bytes) {
        const String text = Make(bytes);
        for (const std::uint32_t code : SoughtCodes) {
            for (std::size_t from = 0; from <= bytes.size(); from += 1 + bytes.size() / 16) {
                ASSERT_EQ(Model::Find(bytes, code, from),
                          Place(text, text.Find(Of(code), At(text, from))));
            }
        }
    };
    ForEveryText(std::string(HardBytes, sizeof HardBytes), 3, check);
    RandomText random;
    for (int round = 0; round < 1000; ++round)
        check(random.Any(200));
    for (std::size_t at = 0; at < 40; ++at) {
        std::string bytes(40, 'x');
        for (const char byte : HardBytes) {
            bytes[at] = byte;
            check(bytes);
        }
    }
}

TEST(StringFind, FindsAText)
{
    const String text = Make("one two one");
    EXPECT_EQ(0ul, Place(text, text.Find(Make("one"), text.Begin())));
    EXPECT_EQ(8ul, Place(text, text.Find(Make("one"), At(text, 1))));
    EXPECT_EQ(4ul, Place(text, text.Find(Make("two one"), text.Begin())));
    EXPECT_TRUE(text.Find(Make("two one!"), text.Begin()) == text.End());
    EXPECT_TRUE(text.Find(Make("one"), At(text, 9)) == text.End());
    EXPECT_TRUE(text.Find(text, text.Begin()) == text.Begin());
}

TEST(StringFind, FindsNothingFromBehindTheEnd)
{
    // The last lead byte announces two bytes more than there are, and a step takes them all.
    String text = Make("ab\xE2");
    String::IteratorConst behind = text.Begin();
    behind += 3;
    EXPECT_LT(text.End().Address(), behind.Address());
    EXPECT_TRUE(text.Find(Make("a"), behind) == text.End());
}

TEST(StringFind, FindsAnEmptyTextNowhere)
{
    const String text = Make("abc");
    EXPECT_TRUE(text.Find(String(), text.Begin()) == text.End());
    const String empty;
    EXPECT_TRUE(empty.Find(text, empty.Begin()) == empty.End());
}

TEST(StringFind, FindsATextAtCharactersAlone)
{
    // The bytes A9 41 are there from the second byte on, but no character starts there.
    const String text = Make("\xC3\xA9"
                             "A\xA9"
                             "A");
    EXPECT_EQ(3ul, Place(text, text.Find(Make("\xA9"
                                              "A"),
                                         text.Begin())));
    // FF takes the first "needle" along with it.
    const String hidden = Make("\xFF"
                               "needle needle");
    EXPECT_EQ(8ul, Place(hidden, hidden.Find(Make("needle"), hidden.Begin())));
}

TEST(StringFind, OfEveryShortTextIsThatOfThePlainWalk)
{
    const std::string bytes = Bytes({'A', 0x80, 0xC3, 0xE2, 0xFF});
    ForEveryText(bytes, 5, [&](const std::string& all) {
        const String text = Make(all);
        ForEveryText(bytes, 2, [&](const std::string& part) {
            const String sought = Make(part);
            for (std::size_t from = 0; from <= all.size(); ++from) {
                ASSERT_EQ(Model::Find(all, part, from),
                          Place(text, text.Find(sought, At(text, from))));
            }
        });
    });
}

TEST(StringFind, OfATextIsThatOfThePlainWalk)
{
    RandomText random;
    for (int round = 0; round < 20000; ++round) {
        std::string all = random.Any(60);
        const std::string part = random.Any(3);
        for (unsigned long times = random.Below(3); times != 0; --times)
            all.insert(random.Below(all.size() + 1), part);
        const String text = Make(all);
        const std::size_t from = random.Below(all.size() + 1);
        ASSERT_EQ(Model::Find(all, part, from), Place(text, text.Find(Make(part), At(text, from))));
    }
}

TEST(StringFindFirst, TellsWhetherATextBeginsWithAnother)
{
    const String text = Make("prefix and more");
    EXPECT_TRUE(text.FindFirst(Make("prefix")));
    EXPECT_TRUE(text.FindFirst(text));
    EXPECT_FALSE(text.FindFirst(Make("refix")));
    EXPECT_FALSE(text.FindFirst(Make("prefix and more and more")));
    EXPECT_FALSE(text.FindFirst(String()));
    EXPECT_FALSE(String().FindFirst(String()));
    EXPECT_FALSE(String().FindFirst(text));
    EXPECT_TRUE(Make("\xC3\xA9").FindFirst(Make("\xC3"))); // bytes, not characters
}

TEST(StringSplit, TakesABytesRange)
{
    const String text = Make("one two");
    EXPECT_EQ("two", Text(text.Split(At(text, 4), text.End())));
    EXPECT_EQ("", Text(text.Split(text.Begin(), text.Begin())));
    EXPECT_FALSE(OpenString::HasNoBlock(text.Split(text.Begin(), text.Begin())));
    EXPECT_EQ("one two", Text(text.Split(text.Begin(), text.End())));
    const char other[] = "any bytes";
    EXPECT_EQ("any", Text(text.Split(other, other + 3)));
    ExpectInvariants(text.Split(text.Begin(), text.End()));
}

TEST(StringGetLine, ReadsLineByLine)
{
    EXPECT_EQ((Strings{"a\r", "b"}), Lines("a\r\nb"));
    EXPECT_EQ((Strings{"a"}), Lines("a\n"));
    EXPECT_EQ((Strings{"", ""}), Lines("\n\n"));
    EXPECT_EQ((Strings{"last"}), Lines("last"));
    EXPECT_EQ((Strings{}), Lines(""));
}

TEST(StringGetLine, AtTheEndTouchesNothing)
{
    const String text = Make("a");
    String line = Make("line");
    String::IteratorConst pos = text.End();
    EXPECT_FALSE(text.GetLine(pos, line));
    EXPECT_TRUE(pos == text.End());
    EXPECT_EQ("line", Text(line));
    pos = text.CStr() + text.Length() + 1; // as a step past a cut character leaves it
    EXPECT_FALSE(text.GetLine(pos, line));
    EXPECT_EQ("line", Text(line));
}

TEST(StringGetLine, OfAnyTextIsThatOfThePlainWalk)
{
    ForEveryText(Bytes({'A', '\n', 0x80, 0xC0, 0x8A, 0xE2, 0xFE}), 4,
                 [](const std::string& text) { ASSERT_EQ(ModelLines(text), Lines(text)); });
    RandomText random;
    for (int round = 0; round < 2000; ++round) {
        const std::string text = random.Any(100);
        ASSERT_EQ(ModelLines(text), Lines(text));
    }
}

TEST(StringFindSplit, GivesThePiecesThatAreNotEmpty)
{
    EXPECT_EQ((Strings{"usr", "lib"}), Texts(Make("/usr//lib/").FindSplit("/")));
    EXPECT_EQ((Strings{}), Texts(String().FindSplit("/")));
    EXPECT_EQ((Strings{}), Texts(Make("///").FindSplit("/")));
    EXPECT_EQ((Strings{"whole"}), Texts(Make("whole").FindSplit("/")));
    EXPECT_EQ((Strings{"a", "b"}), Texts(Make("a\xE2\x82\xAC"
                                              "b")
                                             .FindSplit("\xE2\x82\xAC")));
}

TEST(StringRemoveChar, RemovesEachOccurrence)
{
    const auto removed = [](const std::string& bytes, Char c) {
        String text = Make(bytes);
        text.RemoveChar(c);
        ExpectInvariants(text);
        return Text(text);
    };
    EXPECT_EQ("ab", removed(" a b ", " "));
    EXPECT_EQ("none here", removed("none here", "x"));
    EXPECT_EQ("", removed("xxx", "x"));
    EXPECT_EQ("", removed("", "x"));
    EXPECT_EQ("ab", removed("a\xE2\x82\xAC"
                            "b",
                            "\xE2\x82\xAC"));
    EXPECT_EQ("ab", removed(Bytes({'a', 0x80, 'b', 0}), Char()));
}

TEST(StringRemoveChar, AndFindSplitOfAnyTextAreThoseOfThePlainWalk)
{
    const auto check = [](const std::string& bytes) {
        for (const std::uint32_t code : SoughtCodes) {
            const Strings pieces = Model::Split(bytes, code);
            String text = Make(bytes);
            ASSERT_EQ(pieces, Texts(text.FindSplit(Of(code))));
            text.RemoveChar(Of(code));
            std::string joined;
            for (const std::string& piece : pieces)
                joined += piece;
            ASSERT_EQ(joined, Text(text));
            ExpectInvariants(text);
        }
    };
    ForEveryText(std::string(HardBytes, sizeof HardBytes), 3, check);
    RandomText random;
    for (int round = 0; round < 300; ++round)
        check(random.Any(150));
}

TEST(String, FixedCapacityRefusesTheTradeThatRemoveCharAndFindSplitEndWith)
{
    const char file[] = "./include/ORVEX/../../src/Allocator/Allocator";
    const WithSizing fixed(16, 0);
    String text = Make("a/b");
    ExpectRaises(file, Err::ERR_PARAMETER, 0, [&] { text.RemoveChar("/"); });
    ExpectRaises(file, Err::ERR_PARAMETER, 0, [&] { static_cast<void>(text.FindSplit("/")); });
    EXPECT_EQ("a/b", Text(text));
    EXPECT_EQ((Strings{}), Texts(Make("//").FindSplit("/"))); // no piece, no trade
}
