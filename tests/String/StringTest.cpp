// SPDX-License-Identifier: MIT
#include <ORVEX/String.h>

#include "Model.h"
#include "Support/ExpectRaises.h"

#include <ORVEX/Vector.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

using ORVEX::Allocator;
using ORVEX::AllocatorEnum;
using ORVEX::Array;
using ORVEX::ArrayBase;
using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::Char;
using ORVEX::Err;
using ORVEX::String;
using ORVEX::StringConst;
using ORVEX::Vector;

static_assert(std::is_base_of<Allocator<char, AllocatorEnum::COPY_BYTES>, String>::value,
              "a string is a typed allocator");
static_assert(sizeof(String) == sizeof(Allocator<char, AllocatorEnum::COPY_BYTES>),
              "and has no fields of its own");
static_assert(!std::is_polymorphic<String>::value, "no virtual operations");
static_assert(sizeof(String::Sizing) == 8, "two numbers of 32 bits");
static_assert(std::is_same<decltype(std::declval<String>().Size()), std::uint32_t>::value,
              "described with 32 bits");

namespace {

const unsigned char* Raw(const char* bytes)
{
    return reinterpret_cast<const unsigned char*>(bytes);
}

// A range of a text's own bytes, or of any others. Nothing is written through it.
BufferBase Range(const char* bytes, unsigned long n)
{
    return BufferBase(const_cast<unsigned char*>(Raw(bytes)), n);
}

BufferBase Range(const std::string& bytes) { return Range(bytes.data(), bytes.size()); }

// A string without a block: what a number that does not fit leaves, in a copy of usual sizing.
String WithoutBlock()
{
    String tooSmall;
    {
        const WithSizing fixed(8, 0);
        String number;
        Raised([&] { number.SetDecimal(123456789ull, 0, 0); });
        tooSmall = number;
    }
    EXPECT_TRUE(OpenString::HasNoBlock(tooSmall));
    EXPECT_EQ(0ul, tooSmall.Capacity());
    return tooSmall;
}

std::vector<unsigned short> Units(const String& text, bool* complete = nullptr)
{
    Vector<unsigned short> units;
    const bool all = text.GetUTF16(units);
    if (complete)
        *complete = all;
    return std::vector<unsigned short>(units.Begin(), units.End());
}

std::pair<std::string, bool> FromUTF16(std::vector<unsigned short> units)
{
    units.push_back(0);
    String text = String::ChangeCharStr("before");
    const bool complete = text.UpdateCharStrUTF16(units.data());
    ExpectInvariants(text);
    EXPECT_EQ(Text(text), Text(String::ChangeCharStrUTF16(units.data())));
    return {Text(text), complete};
}

using Converted = std::pair<std::string, bool>;

String global = String::ChangeCharStr("made before main");

} // namespace

TEST(String, NewOneHoldsOneNulByte)
{
    const String text;
    EXPECT_EQ(0u, text.Size());
    EXPECT_EQ(0ul, text.Length());
    EXPECT_EQ(1, OpenString::End(text) - OpenString::Begin(text));
    EXPECT_EQ(0, *text.CStr());
    EXPECT_EQ(64ul, text.Capacity());
    ExpectInvariants(text);
}

TEST(String, GlobalsAreReadyBeforeMain)
{
    EXPECT_EQ(64u, String::Parm.baseSize);
    EXPECT_EQ(16u, String::Parm.blockSize);
    EXPECT_EQ(0, String::CharNull);
    EXPECT_EQ("made before main", Text(global));
}

TEST(String, ParmSizesTheStringsMadeAfterwards)
{
    String old;
    {
        const WithSizing with(8, 24);
        String text;
        EXPECT_EQ(8ul, text.BaseSize());
        EXPECT_EQ(24ul, text.BlockSize());
        EXPECT_EQ(8ul, text.Capacity());
        text = Make("12345678"); // 9 bytes and half a step, in whole steps
        EXPECT_EQ(24ul, text.Capacity());
        EXPECT_EQ(8ul, String(old).Capacity());
        EXPECT_EQ(8ul, (old + old).BaseSize());
        old = text;
    }
    EXPECT_EQ(64ul, old.BaseSize());
    EXPECT_EQ(64ul, old.Capacity());
    EXPECT_EQ(64ul, String().BaseSize());
}

TEST(String, BlocksFollowTheSizingPolicy)
{
    EXPECT_EQ(64ul, Make(std::string(63, 'a')).Capacity());
    EXPECT_EQ(80ul, Make(std::string(64, 'a')).Capacity());
    EXPECT_EQ(112ul, Make(std::string(99, 'a')).Capacity());
    String text = Make(std::string(99, 'a'));
    text.UpdateCharStr(std::string(89, 'b').c_str()); // 90 bytes stay in the block of 112
    EXPECT_EQ(112ul, text.Capacity());
    text.UpdateCharStr(std::string(87, 'c').c_str()); // 88 leave one and a half blocks idle
    EXPECT_EQ(96ul, text.Capacity());
    EXPECT_EQ(std::string(87, 'c'), Text(text));
    text.UpdateCharStr("d"); // the base size keeps any block
    EXPECT_EQ(96ul, text.Capacity());
    ExpectInvariants(text);
}

TEST(String, CopiesAreDeep)
{
    String text = Make(Bytes({'a', 0, 'b'})); // a NUL inside is text like any other
    const String copy(text);
    String assigned = Make("x");
    assigned = text;
    text.Clear();
    EXPECT_EQ(Bytes({'a', 0, 'b'}), Text(copy));
    EXPECT_EQ(Bytes({'a', 0, 'b'}), Text(assigned));
    ExpectInvariants(copy);
    ExpectInvariants(assigned);
}

TEST(String, AssignmentFromItselfChangesNothing)
{
    String text = Make("itself");
    const String& same = text;
    const char* const bytes = text.CStr();
    text = same;
    EXPECT_EQ("itself", Text(text));
    EXPECT_EQ(bytes, text.CStr());
}

TEST(String, TakesABuffersBytesUpToTheFirstNul)
{
    const String text(Range(Bytes({'a', 'b', 0, 'c', 'd'})));
    EXPECT_EQ("ab", Text(text));
    ExpectInvariants(text);
    String assigned = Make("before");
    assigned = Range(Bytes({'a', 'b', 0, 'c', 'd'}));
    EXPECT_EQ("ab", Text(assigned));
    assigned = Range(Bytes({0, 'c'}));
    EXPECT_EQ("", Text(assigned));
    assigned = Range("no NUL");
    EXPECT_EQ("no NUL", Text(assigned));
    ExpectInvariants(assigned);
}

TEST(String, TakesAnEmptyBufferAsTheEmptyText)
{
    const Buffer empty;
    EXPECT_EQ("", Text(String(empty)));
    String text = Make("before");
    text = BufferBase::Zero;
    EXPECT_EQ("", Text(text));
    ExpectInvariants(text);
    EXPECT_FALSE(OpenString::HasNoBlock(text));
}

TEST(String, BlockOfABufferThatIsCutAtANulIsThatOfItsWholeLength)
{
    std::string bytes(1000, 'a');
    bytes[3] = 0;
    const String text(Range(bytes));
    EXPECT_EQ("aaa", Text(text));
    EXPECT_EQ(1024ul, text.Capacity()); // 1001 and half a step, in steps of 16
    bytes[3] = 'a';
    bytes[900] = 0;
    EXPECT_EQ(912ul, String(Range(bytes)).Capacity()); // 901 and half a step
}

TEST(String, ChangeCharStrMakesAStringOfACString)
{
    EXPECT_EQ("text", Text(String::ChangeCharStr("text")));
    EXPECT_EQ("", Text(String::ChangeCharStr("")));
    EXPECT_EQ("", Text(String::ChangeCharStr(nullptr)));
    ExpectInvariants(String::ChangeCharStr(nullptr));
    EXPECT_EQ("", Text(String::ChangeCharStrUTF16(nullptr)));
    const unsigned short smiley[] = {0xD83D, 0xDE00, 0};
    EXPECT_EQ("\xF0\x9F\x98\x80", Text(String::ChangeCharStrUTF16(smiley)));
}

TEST(String, UpdateTakesCStringsAndRanges)
{
    String text;
    text.UpdateCharStr("first");
    EXPECT_EQ("first", Text(text));
    text.UpdateCharStr("other"); // the same length, in place
    EXPECT_EQ("other", Text(text));
    const char bytes[] = {'a', 0, 'b', 'c'};
    text.UpdateCharStr(bytes, bytes + 3);
    EXPECT_EQ(Bytes({'a', 0, 'b'}), Text(text));
    text.UpdateCharStr(bytes, bytes);
    EXPECT_EQ("", Text(text));
    EXPECT_EQ(1, OpenString::End(text) - OpenString::Begin(text));
    ExpectInvariants(text);
}

TEST(String, UpdateTakesItsOwnBytes)
{
    for (unsigned long length = 0; length < 200; ++length) {
        std::string bytes;
        for (unsigned long i = 0; i < length; ++i)
            bytes += static_cast<char>('!' + i % 90);
        for (unsigned long first = 0; first <= length; first += 1 + length / 20) {
            for (unsigned long last = first; last <= length; last += 1 + length / 20) {
                const std::string expected = bytes.substr(first, last - first);
                String text = Make(bytes);
                text.UpdateCharStr(text.CStr() + first, text.CStr() + last);
                ASSERT_EQ(expected, Text(text));
                ExpectInvariants(text);
                text = Make(bytes);
                text = Range(text.CStr() + first, last - first);
                ASSERT_EQ(expected, Text(text));
                ExpectInvariants(text);
            }
            String text = Make(bytes);
            text.UpdateCharStr(text.CStr() + first);
            ASSERT_EQ(bytes.substr(first), Text(text));
            // With its NUL the range is longer than the text, which may take a larger block.
            text = Make(bytes);
            text.UpdateCharStr(text.CStr() + first, text.CStr() + length + 1);
            ASSERT_EQ(bytes.substr(first) + '\0', Text(text));
            ExpectInvariants(text);
        }
    }
}

TEST(String, ClearKeepsTheBlock)
{
    String text = Make(std::string(500, 'a'));
    const unsigned long capacity = text.Capacity();
    const char* const bytes = text.CStr();
    text.Clear();
    EXPECT_EQ("", Text(text));
    EXPECT_EQ(capacity, text.Capacity());
    EXPECT_EQ(bytes, text.CStr());
    ExpectInvariants(text);
}

TEST(String, SwapTradesTextsWithoutMovingThem)
{
    String a = Make("first");
    String b = Make("second");
    const char* const first = a.CStr();
    const char* const second = b.CStr();
    a.Swap(b);
    EXPECT_EQ(second, a.CStr());
    EXPECT_EQ(first, b.CStr());
    EXPECT_EQ("second", Text(a));
    EXPECT_EQ("first", Text(b));
    a.Swap(a);
    EXPECT_EQ("second", Text(a));
}

TEST(String, StrLenLooksNoFurtherThanTheRange)
{
    const char bytes[] = {'a', 'b', 'c', 0, 'd'};
    EXPECT_EQ(3ul, String::StrLen(bytes, bytes + 5));
    EXPECT_EQ(3ul, String::StrLen(bytes, bytes + 3));
    EXPECT_EQ(2ul, String::StrLen(bytes, bytes + 2));
    EXPECT_EQ(0ul, String::StrLen(bytes + 3, bytes + 5));
    EXPECT_EQ(0ul, String::StrLen(bytes, bytes));
    EXPECT_EQ(0ul, String::StrLen(nullptr, nullptr));
}

TEST(String, AppendsTexts)
{
    String text = Make("one");
    EXPECT_EQ(&text, &(text += Make("two")));
    EXPECT_EQ("onetwo", Text(text));
    text += String();
    EXPECT_EQ("onetwo", Text(text));
    text += Make(Bytes({0, 'x'}));
    EXPECT_EQ(Bytes({'o', 'n', 'e', 't', 'w', 'o', 0, 'x'}), Text(text));
    ExpectInvariants(text);
}

TEST(String, AppendsItself)
{
    String text = Make("ab");
    std::string expected = "ab";
    for (int round = 0; round < 12; ++round) {
        text += text;
        expected += expected;
        ASSERT_EQ(expected, Text(text));
        ExpectInvariants(text);
    }
    String empty;
    empty += empty;
    EXPECT_EQ("", Text(empty));
}

TEST(String, AppendsCharacters)
{
    String text;
    EXPECT_EQ(&text, &(text += Char("A")));
    text += Char("\xC3\xA9");
    Char c;
    c.SetUTF32(0x7FFFFFFF);
    text += c;
    EXPECT_EQ("A\xC3\xA9\xFD\xBF\xBF\xBF\xBF\xBF", Text(text));
    ExpectInvariants(text);
}

TEST(String, AppendsNothingForWhatHasNoBytes)
{
    String text = Make("same");
    text += Char();
    text += Char(0);
    Char c;
    c.SetUTF32(0x80000000);
    text += c;
    c.SetUTF32(0xFFFFFFFF);
    text += c;
    EXPECT_EQ("same", Text(text));
    EXPECT_EQ("same", Text(text + Char()));
    ExpectInvariants(text);
}

TEST(String, CharactersOneByOneGrowTheBlockByThePolicyAlone)
{
    String text;
    std::string expected;
    Model::Block block(String::Parm);
    block.Resize(1);
    RandomText random;
    for (int round = 0; round < 3000; ++round) {
        const std::string utf8 = random.WellFormed(1);
        text += Char(utf8.c_str());
        expected += utf8;
        block.Resize(expected.size() + 1);
        ASSERT_EQ(block.Capacity(), text.Capacity());
    }
    EXPECT_EQ(expected, Text(text));
    ExpectInvariants(text);
}

TEST(String, PlusMakesANewString)
{
    const String one = Make("one");
    const String two = Make("two");
    EXPECT_EQ("onetwo", Text(one + two));
    EXPECT_EQ("oneone", Text(one + one));
    EXPECT_EQ("one", Text(one + String()));
    EXPECT_EQ("one", Text(String() + one));
    EXPECT_EQ("one\xE2\x82\xAC", Text(one + Char("\xE2\x82\xAC")));
    EXPECT_EQ("", Text(String() + String()));
    EXPECT_EQ("", Text(String() + Char()));
    EXPECT_FALSE(OpenString::HasNoBlock(String() + String()));
    EXPECT_EQ("one", Text(one));
    ExpectInvariants(one + two);
    EXPECT_EQ(112ul, (Make(std::string(50, 'a')) + Make(std::string(49, 'a'))).Capacity());
}

TEST(String, PlusWorksOnTheReadOnlySide)
{
    const String one = Make("one");
    const StringConst side(one);
    EXPECT_EQ("onetwo", Text(side + Make("two")));
    EXPECT_EQ("one!", Text(side + Char("!")));
    EXPECT_EQ("oneone", Text(static_cast<const StringConst&>(one) + one));
    EXPECT_EQ("one", Text(one));
    ExpectInvariants(side + one);
}

TEST(String, TextsWithoutABlockAreEmptyTexts)
{
    String none = WithoutBlock();
    EXPECT_EQ(0u, none.Size());
    EXPECT_EQ(0ul, none.Length());
    EXPECT_STREQ("", none.CStr());
    EXPECT_TRUE(none.Begin() == none.End());
    EXPECT_TRUE(none.Check());
    EXPECT_TRUE(none.CheckFix());
    EXPECT_EQ(std::vector<unsigned short>{0}, Units(none));
    ExpectInvariants(none);
}

TEST(String, CopiesOfATextWithoutABlockHaveNone)
{
    const String none = WithoutBlock();
    EXPECT_TRUE(OpenString::HasNoBlock(String(none)));
    String text = Make("before");
    text = none;
    EXPECT_TRUE(OpenString::HasNoBlock(text));
    ExpectInvariants(text);
    text = text + none; // the sum has a block again
    EXPECT_FALSE(OpenString::HasNoBlock(text));
    EXPECT_EQ("", Text(text));
}

TEST(String, AnyChangeGivesATextWithoutABlockOneAgain)
{
    const String text = Make("text");
    for (int change = 0; change < 11; ++change) {
        String none = WithoutBlock();
        std::string expected;
        switch (change) {
        case 0:
            none = text;
            expected = "text";
            break;
        case 1:
            none = Range("bytes");
            expected = "bytes";
            break;
        case 2:
            none.UpdateCharStr("new");
            expected = "new";
            break;
        case 3:
            none.Clear();
            break;
        case 4:
            none += text;
            expected = "text";
            break;
        case 5:
            none += none;
            break;
        case 6:
            none += Char("x");
            expected = "x";
            break;
        case 7:
            none += Char();
            break;
        case 8:
            none = BufferBase::Zero;
            break;
        case 9:
            none.UpdateCharStr(none.CStr());
            break;
        default:
            none.RemoveChar("x");
        }
        EXPECT_FALSE(OpenString::HasNoBlock(none)) << change;
        EXPECT_EQ(expected, Text(none)) << change;
        EXPECT_EQ(64ul, none.Capacity()) << change;
        ExpectInvariants(none);
    }
}

TEST(String, AddsATextWithoutABlockAsNothing)
{
    const String none = WithoutBlock();
    String text = Make("text");
    text += none;
    EXPECT_EQ("text", Text(text));
    EXPECT_EQ("text", Text(text + none));
    EXPECT_EQ("text", Text(none + text));
    EXPECT_EQ("text", Text(StringConst(none) + text));
    EXPECT_EQ("x", Text(none + Char("x")));
    EXPECT_EQ("x", Text(StringConst(none) + Char("x")));
}

TEST(String, SizeCountsCharacters)
{
    EXPECT_EQ(3u, Make("abc").Size());
    EXPECT_EQ(3u, Make("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80").Size());
    EXPECT_EQ(2u, Make(Bytes({0, 0})).Size());
}

TEST(String, SizeCountsEachStrayContinuationByte)
{
    EXPECT_EQ(3u, Make("\x80\x80\x80").Size());
    EXPECT_EQ(3u, Make("a\x80\x62").Size());
    EXPECT_EQ(2u, Make("\xC3\xA9\xA9").Size());
}

TEST(String, SizeEndsAtTheEndWhateverIsAnnounced)
{
    EXPECT_EQ(1u, Make("\xC3").Size());
    EXPECT_EQ(2u, Make("a\xE2\x82").Size());
    EXPECT_EQ(1u, Make("\xFF"
                       "abcdefg")
                      .Size());
    EXPECT_EQ(1u, Make("\xFF"
                       "ab")
                      .Size());
    EXPECT_EQ(2u, Make("\xFE"
                       "abcdefg")
                      .Size());
}

TEST(String, SizeOfEveryShortTextIsThatOfThePlainWalk)
{
    ForEveryText(std::string(HardBytes, sizeof HardBytes), 4,
                 [](const std::string& text) { ASSERT_EQ(Model::Size(text), Make(text).Size()); });
}

// Long texts are counted many bytes at a time where they are well formed: one wrong byte, at each
// place of such a text and of each kind, must put the plain walk back in charge.
TEST(String, SizeOfALongTextWithAWrongByteIsThatOfThePlainWalk)
{
    RandomText random;
    for (const unsigned long characters : {150ul, 400ul}) {
        const std::string good = random.WellFormed(characters);
        ASSERT_EQ(characters, Make(good).Size());
        for (std::size_t at = 0; at < good.size(); ++at) {
            for (const char byte : HardBytes) {
                std::string text = good;
                text[at] = byte;
                ASSERT_EQ(Model::Size(text), Make(text).Size()) << at;
            }
            ASSERT_EQ(Model::Size(good.substr(at)), Make(good.substr(at)).Size());
            ASSERT_EQ(Model::Size(good.substr(0, at)), Make(good.substr(0, at)).Size());
        }
    }
}

TEST(String, SizeOfLongTextsOfOneKindIsThatOfThePlainWalk)
{
    for (const char* piece :
         {"a", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80", "\xF8\x88\x80\x80\x80",
          "\xFF", "\xC3", "a\xC3\xA9", "\xC3\xA9\x80", "\xFD\xBF\xBF\xBF\xBF\xBF"}) {
        std::string text;
        while (text.size() < 1000) {
            text += piece;
            ASSERT_EQ(Model::Size(text), Make(text).Size()) << piece;
            ASSERT_EQ(Model::Size('a' + text), Make('a' + text).Size()) << piece;
        }
    }
}

TEST(String, SizeOfRandomTextsIsThatOfThePlainWalk)
{
    RandomText random;
    for (int round = 0; round < 5000; ++round) {
        const std::string text = random.Any(900);
        ASSERT_EQ(Model::Size(text), Make(text).Size());
    }
}

TEST(String, CheckLooksAtLeadBytesAlone)
{
    EXPECT_TRUE(String().Check());
    EXPECT_TRUE(Make("plain").Check());
    EXPECT_TRUE(Make("\xC3\xA9\xE2\x82\xAC").Check());
    EXPECT_TRUE(Make("a\xC3"
                     "A")
                    .Check());
    EXPECT_FALSE(Make("a\xE2\x82").Check());
    EXPECT_FALSE(Make("\xFF").Check());
    EXPECT_TRUE(Make("\xFF"
                     "1234567")
                    .Check());
}

TEST(String, CheckFixCutsTheLastCharacterThatIsNotAllThere)
{
    const auto fix = [](const std::string& bytes, const std::string& left) {
        String text = Make(bytes);
        EXPECT_EQ(bytes == left, text.CheckFix());
        EXPECT_EQ(left, Text(text));
        ExpectInvariants(text);
    };
    fix("a\xE2\x82", "a");
    fix("a\xC3", "a");
    fix("a\xC3"
        "A",
        "a\xC3"
        "A");
    fix("\xF0\x9F\x98", "");
    fix("", "");
    fix("ab", "ab");
}

TEST(String, CheckAndCheckFixDoWhatThePlainWalkDoesWhereItEnds)
{
    const auto check = [](const std::string& bytes) {
        const std::optional<std::size_t> covered = Model::Covered(bytes);
        if (!covered)
            return;
        String text = Make(bytes);
        ASSERT_EQ(*covered == bytes.size(), text.Check());
        ASSERT_EQ(*covered == bytes.size(), text.CheckFix());
        ASSERT_EQ(bytes.substr(0, *covered), Text(text));
        ExpectInvariants(text);
    };
    ForEveryText(std::string(HardBytes, sizeof HardBytes), 4, check);
    RandomText random;
    for (int round = 0; round < 3000; ++round)
        check(random.Any(600));
    const std::string good = random.WellFormed(300);
    for (std::size_t length = 0; length <= good.size(); ++length)
        check(good.substr(0, length));
}

// The alarm ends the child; a check that returned would have it exit in good order instead.
TEST(StringDeathTest, CheckDoesNotReturnOnAStrayContinuationByte)
{
    for (const std::string& bytes : {std::string("\x80"),
                                     std::string("ab\xBF"
                                                 "c"),
                                     std::string(500, 'a') + "\x80\xC3\xA9"}) {
        const String text = Make(bytes);
        EXPECT_EXIT(
            {
                alarm(1);
                const bool result = text.Check();
                std::_Exit(result ? 1 : 2);
            },
            testing::KilledBySignal(SIGALRM), "");
    }
}

TEST(StringDeathTest, CheckFixDoesNotReturnOnAStrayContinuationByte)
{
    String text = Make("a\xC3\xA9\xA9");
    EXPECT_EXIT(
        {
            alarm(1);
            static_cast<void>(text.CheckFix()); // its result is not needed for it to hang
            std::_Exit(1);
        },
        testing::KilledBySignal(SIGALRM), "");
}

TEST(String, ConvertsFromUTF16)
{
    EXPECT_EQ(Converted("", true), FromUTF16({}));
    EXPECT_EQ(Converted("A\xC3\xA9\xE2\x82\xAC", true), FromUTF16({0x41, 0xE9, 0x20AC}));
    EXPECT_EQ(Converted("\xF0\x9F\x98\x80", true), FromUTF16({0xD83D, 0xDE00}));
}

TEST(String, ConversionEndsAtALowSurrogateThatFollowsNoHighOne)
{
    EXPECT_EQ(Converted("", false), FromUTF16({0xDE00}));
    EXPECT_EQ(Converted("A", false), FromUTF16({0x41, 0xDE00, 0x42}));
    EXPECT_EQ(Converted("\xF0\x9F\x98\x80", false), FromUTF16({0xD83D, 0xDE00, 0xDE00, 0x42}));
}

TEST(String, ConversionLeavesOutAHighSurrogateThatNoLowOneFollows)
{
    EXPECT_EQ(Converted("A", true), FromUTF16({0xD83D, 0x41}));
    EXPECT_EQ(Converted("A", false), FromUTF16({0x41, 0xD83D}));
    EXPECT_EQ(Converted("\xF0\x9F\x98\x80", true), FromUTF16({0xD800, 0xD83D, 0xDE00}));
}

TEST(String, ConvertsRandomUTF16AsThePlainFormDoes)
{
    RandomText random;
    const unsigned short kinds[] = {0x41, 0xE9, 0x20AC, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xFFFF};
    for (int round = 0; round < 20000; ++round) {
        std::vector<unsigned short> units;
        for (unsigned long n = random.Below(12); n != 0; --n)
            units.push_back(kinds[random.Below(8)]);
        ASSERT_EQ(Model::FromUTF16(units), FromUTF16(units));
    }
}

TEST(String, ConvertsToUTF16)
{
    bool complete = false;
    EXPECT_EQ((std::vector<unsigned short>{0x41, 0xE9, 0x20AC, 0xD83D, 0xDE00, 0}),
              Units(Make("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), &complete));
    EXPECT_TRUE(complete);
    EXPECT_EQ(std::vector<unsigned short>{0}, Units(String()));
}

TEST(String, ConversionToUTF16LeavesOutWhatItCannotSay)
{
    bool complete = true;
    EXPECT_EQ((std::vector<unsigned short>{0x41, 0x42, 0}), Units(Make("A\xF4\x90\x80\x80"
                                                                       "B"),
                                                                  &complete));
    EXPECT_FALSE(complete);
}

TEST(String, ConversionToUTF16NeedsRoomForTheZero)
{
    const String text = Make("abc");
    Array<unsigned short, 3> small;
    EXPECT_FALSE(text.GetUTF16(small));
    EXPECT_EQ(0ul, small.Length());
    Array<unsigned short, 4> enough;
    EXPECT_TRUE(text.GetUTF16(enough));
    EXPECT_EQ(4ul, enough.Length());
    EXPECT_EQ('c', enough[2]);
    EXPECT_EQ(0, enough[3]);
    Array<unsigned short, 9> more;
    EXPECT_TRUE(text.GetUTF16(more));
    EXPECT_EQ(4ul, more.Length());
}

TEST(String, ConversionToUTF16FillsAPlainRangeThatIsLongEnough)
{
    unsigned short units[6] = {9, 9, 9, 9, 9, 9};
    ArrayBase<unsigned short> range(units, 6);
    EXPECT_TRUE(Make("abc").GetUTF16(range));
    EXPECT_EQ('c', units[2]);
    EXPECT_EQ(0, units[3]);
    EXPECT_EQ(9, units[4]);
    ArrayBase<unsigned short> tooShort(units, 3);
    EXPECT_FALSE(Make("abc").GetUTF16(tooShort));
    EXPECT_EQ('c', units[2]); // nothing was written
}

TEST(String, ConvertsAnyTextToUTF16AsThePlainFormDoes)
{
    const auto check = [](const std::string& bytes) {
        bool complete = false;
        const std::vector<unsigned short> units = Units(Make(bytes), &complete);
        ASSERT_EQ(Model::ToUTF16(bytes), std::make_pair(units, complete));
    };
    ForEveryText(std::string(HardBytes, sizeof HardBytes), 3, check);
    RandomText random;
    for (int round = 0; round < 3000; ++round)
        check(random.Any(300));
}

TEST(String, FixedCapacityHoldsWhatFitsAndRaisesOtherwise)
{
    const WithSizing fixed(16, 0);
    const char file[] = "src/Allocator/Allocator";
    String text = Make("123456789012345"); // 15 bytes and the NUL
    EXPECT_EQ(16ul, text.Capacity());
    const String more = Make("ab");
    ExpectRaises(file, Err::ERR_OVERFLOW, 18, [&] { text += more; });
    ExpectRaises(file, Err::ERR_OVERFLOW, 31, [&] { text += text; });
    ExpectRaises(file, Err::ERR_OVERFLOW, 17, [&] { text += Char("x"); });
    ExpectRaises(file, Err::ERR_OVERFLOW, 18, [&] { static_cast<void>(text + more); });
    ExpectRaises(file, Err::ERR_OVERFLOW, 17, [&] { text.UpdateCharStr("1234567890123456"); });
    ExpectRaises(file, Err::ERR_OVERFLOW, 21, [&] { text = Range(std::string(20, 'x')); });
    EXPECT_EQ("123456789012345", Text(text));
    ExpectInvariants(text);
    text.Clear();
    text += more;
    text += text;
    EXPECT_EQ("abab", Text(text));
    EXPECT_EQ("abababab", Text(text + text));
    String copy(text);
    copy.UpdateCharStr(copy.CStr() + 2);
    EXPECT_EQ("ab", Text(copy));
    EXPECT_EQ(16ul, copy.Capacity());
    ExpectInvariants(copy);
}

TEST(String, FixedCapacityIsNotTraded)
{
    String usual = Make("usual");
    const WithSizing fixed(16, 0);
    String text = Make("text");
    ExpectRaises("./include/ORVEX/../../src/Allocator/Allocator", Err::ERR_PARAMETER, 0,
                 [&] { text.Swap(usual); });
    EXPECT_EQ("text", Text(text));
    EXPECT_EQ("usual", Text(usual));
}

TEST(String, FixedCapacityOfNothingCannotHoldEvenTheNul)
{
    const WithSizing fixed(0, 0);
    ExpectRaises("src/Allocator/Allocator", Err::ERR_OVERFLOW, 1, [] { String text; });
}

TEST(String, ConversionThatOverflowsAFixedCapacityKeepsWhatFits)
{
    const WithSizing fixed(8, 0);
    String text;
    const unsigned short units[] = {0x20AC, 0x20AC, 0x20AC, 0};
    EXPECT_EQ(10, Raised([&] { text.UpdateCharStrUTF16(units); }).data);
    EXPECT_EQ("\xE2\x82\xAC\xE2\x82\xAC", Text(text));
    ExpectInvariants(text);
}

TEST(String, SizesWithoutABaseFollowThePolicyToo)
{
    const WithSizing with(0, 16);
    String text;
    EXPECT_EQ(16ul, text.Capacity()); // one byte and half a step, in whole steps
    text = Make(std::string(100, 'a'));
    EXPECT_EQ(112ul, text.Capacity());
    text.Clear();
    EXPECT_EQ(16ul, text.Capacity());
    ExpectInvariants(text);
    text = Make(std::string(100, 'a'));
    text = String();
    EXPECT_EQ(16ul, text.Capacity());
    EXPECT_EQ("", Text(text));
    ExpectInvariants(text);
}
