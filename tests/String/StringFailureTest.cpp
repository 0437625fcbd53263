// SPDX-License-Identifier: MIT
#include <ORVEX/String.h>

#include "Model.h"
#include "Support/ExpectRaises.h"
#include "Support/FailingNew.h"

#include <ORVEX/Vector.h>

#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <new>
#include <string>

using ORVEX::BufferBase;
using ORVEX::Char;
using ORVEX::Err;
using ORVEX::List;
using ORVEX::String;
using ORVEX::StringConst;
using ORVEX::Vector;

namespace {

const char File[] = "src/Allocator/Heep";

const char Before[] = "before";

// Longer than the block of a new string, by far, and without a NUL.
const std::string Long(1000, 'l');

BufferBase Range(const std::string& bytes)
{
    return BufferBase(reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data())),
                      bytes.size());
}

const unsigned short* LongUTF16()
{
    static unsigned short units[100];
    std::fill(std::begin(units), std::end(units) - 1, static_cast<unsigned short>(0x20AC));
    return units;
}

enum Afterwards { Unchanged, Begun, Empty };

struct Operation {
    const char* name;
    Afterwards afterwards;
    std::function<void(String&)> run;
};

// What changes a string in place, and what the text is when a block is refused.
const Operation InPlace[] = {
    {"operator=(String)", Unchanged, [](String& s) { s = Make(Long); }},
    {"operator=(BufferBase)", Unchanged, [](String& s) { s = Range(Long); }},
    {"UpdateCharStr(text)", Unchanged, [](String& s) { s.UpdateCharStr(Long.c_str()); }},
    {"UpdateCharStr(range)", Unchanged,
     [](String& s) { s.UpdateCharStr(Long.data(), Long.data() + Long.size()); }},
    {"operator+=(String)", Unchanged, [](String& s) { s += Make(Long); }},
    {"operator+=(itself)", Begun,
     [](String& s) {
         for (int round = 0; round < 6; ++round)
             s += s;
     }},
    {"operator+=(Char)", Begun,
     [](String& s) {
         for (int round = 0; round < 100; ++round)
             s += Char("\xE2\x82\xAC");
     }},
    {"UpdateCharStrUTF16", Begun, [](String& s) { s.UpdateCharStrUTF16(LongUTF16()); }},
    {"RemoveChar", Unchanged, [](String& s) { s.RemoveChar("f"); }},
    {"SetDecimal", Empty, [](String& s) { s.SetDecimal(7ull, '+', 200); }},
    {"SetDecimal(signed)", Empty, [](String& s) { s.SetDecimal(-7ll, false, 200); }},
};

// What makes something new.
const Operation Making[] = {
    {"String()", Unchanged, [](String&) { const String made; }},
    {"String(String)", Unchanged, [](String& s) { const String made(s); }},
    {"String(BufferBase)", Unchanged, [](String&) { const String made(Range(Long)); }},
    {"ChangeCharStr", Unchanged,
     [](String&) { static_cast<void>(String::ChangeCharStr(Long.c_str())); }},
    {"ChangeCharStrUTF16", Unchanged,
     [](String&) { static_cast<void>(String::ChangeCharStrUTF16(LongUTF16())); }},
    {"operator+(String)", Unchanged, [](String& s) { static_cast<void>(s + s); }},
    {"operator+(Char)", Unchanged, [](String& s) { static_cast<void>(s + Char("x")); }},
    {"StringConst+String", Unchanged,
     [](String& s) { static_cast<void>(StringConst(s) + Make(Long)); }},
    {"StringConst+Char", Unchanged,
     [](String& s) { static_cast<void>(StringConst(s) + Char("x")); }},
    {"Split", Unchanged, [](String& s) { static_cast<void>(s.Split(s.Begin(), s.End())); }},
    {"Decimal", Unchanged, [](String&) { static_cast<void>(String::Decimal(12ull)); }},
    {"Decimal(signed)", Unchanged, [](String&) { static_cast<void>(String::Decimal(-12)); }},
};

// Runs the operation with each of its allocations refused in turn.
void RefuseEach(const Operation& operation)
{
    SCOPED_TRACE(operation.name);
    const long blocks = LiveBlocks();
    bool hit = true;
    for (long which = 1; hit; ++which) {
        String text = String::ChangeCharStr(Before);
        {
            const FailingNew refused(which);
            int line = 0;
            {
                const CapturedCerr captured;
                try {
                    operation.run(text);
                } catch (const Err& err) {
                    line = err.line;
                    EXPECT_STREQ(File, err.file);
                    EXPECT_EQ(Err::ERR_MEMORY, err.code);
                    EXPECT_EQ(4, err.data);
                }
            }
            hit = refused.Hit();
            EXPECT_EQ(hit, line != 0) << which;
        }
        ASSERT_TRUE(hit || which > 1) << "nothing was allocated";
        ExpectInvariants(text);
        if (hit && operation.afterwards == Unchanged) {
            EXPECT_EQ(Before, Text(text)) << which;
        } else if (hit && operation.afterwards == Empty) {
            EXPECT_TRUE(OpenString::HasNoBlock(text)) << which;
        }
        text = String::ChangeCharStr("after"); // it can be assigned to
        EXPECT_EQ("after", Text(text));
        text += text;
        EXPECT_EQ("afterafter", Text(text));
        ExpectInvariants(text);
    }
    EXPECT_EQ(blocks, LiveBlocks());
}

} // namespace

TEST(String, RefusedBlockLeavesATextThatCanBeUsed)
{
    for (const Operation& operation : InPlace)
        RefuseEach(operation);
}

TEST(String, RefusedBlockOfANewStringLeaksNothing)
{
    for (const Operation& operation : Making)
        RefuseEach(operation);
}

TEST(String, RefusedBlockIsReportedByTheHeapsRecord)
{
    String text;
    const FailingNew next;
    ExpectRaises(File, Err::ERR_MEMORY, 4, [&] { text.UpdateCharStr(Long.c_str()); });
}

TEST(String, RefusedShrinkingChangesNothing)
{
    String text = Make(Long);
    const std::string shorter(500, 's');
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 4, [&] { text.UpdateCharStr(shorter.c_str()); });
        EXPECT_TRUE(next.Hit());
    }
    EXPECT_EQ(Long, Text(text));
    ExpectInvariants(text);
}

TEST(String, RefusedCutAtANulLeavesTheWholeBuffer)
{
    std::string bytes = Long;
    bytes[500] = 0;
    String text;
    {
        const FailingNew second(2); // the first is for all the bytes
        EXPECT_EQ(4, Raised([&] { text = Range(bytes); }).data);
        EXPECT_TRUE(second.Hit());
    }
    EXPECT_EQ(bytes, Text(text));
    ExpectInvariants(text);
}

TEST(String, RefusedCutOfTheLastCharacterChangesNothing)
{
    String text = Make(std::string(99, 'a')); // a block of 112
    const std::string bytes = std::string(83, 'c') + "\xFF" + "four";
    text.UpdateCharStr(bytes.c_str()); // 89 bytes stay in it; 84 leave too much of it idle
    ASSERT_EQ(112ul, text.Capacity());
    {
        const FailingNew next;
        ExpectRaises(File, Err::ERR_MEMORY, 4, [&] { text.CheckFix(); });
    }
    EXPECT_EQ(bytes, Text(text));
    ExpectInvariants(text);
    EXPECT_FALSE(text.CheckFix());
    EXPECT_EQ(std::string(83, 'c'), Text(text));
    EXPECT_EQ(96ul, text.Capacity());
}

TEST(String, RefusedConversionKeepsWhatIsConverted)
{
    String text;
    {
        const FailingNew next;
        EXPECT_EQ(4, Raised([&] { text.UpdateCharStrUTF16(LongUTF16()); }).data);
    }
    std::string expected;
    for (int i = 0; i < 21; ++i) // 63 bytes and the NUL
        expected += "\xE2\x82\xAC";
    EXPECT_EQ(expected, Text(text));
}

TEST(String, RefusedUTF16ArrayPasses)
{
    const String text = Make("abc");
    Vector<unsigned short> units;
    const FailingNew next;
    ExpectRaises("./include/ORVEX/../../src/Pointer/Vector", Err::ERR_MEMORY, 4,
                 [&] { text.GetUTF16(units); });
}

TEST(String, RefusedLineLeavesPositionAndLine)
{
    const String text = Make(Long + "\nnext");
    String line = Make("line");
    String::IteratorConst pos = text.Begin();
    {
        const FailingNew next;
        EXPECT_EQ(4, Raised([&] { text.GetLine(pos, line); }).data);
    }
    EXPECT_TRUE(pos == text.Begin());
    EXPECT_EQ("line", Text(line));
    EXPECT_TRUE(text.GetLine(pos, line));
    EXPECT_EQ(Long, Text(line));
}

TEST(String, RefusedPieceOrNodeReleasesThePiecesSoFar)
{
    const String text = Make("one/" + Long + "/three");
    const long blocks = LiveBlocks();
    long refusals = 0;
    for (long which = 1;; ++which) {
        bool raised = false;
        {
            const FailingNew refused(which);
            const CapturedCerr captured;
            try {
                static_cast<void>(text.FindSplit("/"));
            } catch (const Err& err) {
                raised = true;
                EXPECT_STREQ(File, err.file);
                EXPECT_EQ(4, err.data);
            } catch (const std::bad_alloc&) { // a node: a single object
                raised = true;
            }
        }
        ASSERT_EQ(blocks, LiveBlocks());
        if (!raised)
            break;
        ++refusals;
    }
    EXPECT_EQ(9, refusals); // three times a piece, a node and the string in it
}

TEST(String, CharactersOneByOneAllocateOnlyWhereTheBlockGrows)
{
    String text;
    Model::Block block(String::Parm);
    block.Renew(1);
    const Char euro("\xE2\x82\xAC");
    long grown = 0;
    const long before = AllocationsSoFar();
    for (unsigned long n = 1; n <= 2000; ++n) {
        text += euro;
        const unsigned long capacity = block.Capacity();
        block.Resize(3 * n + 1);
        grown += block.Capacity() != capacity;
    }
    EXPECT_EQ(before + grown, AllocationsSoFar());
}

TEST(String, NewTextsTakeOneBlock)
{
    const String text = Make(Long);
    const auto allocations = [](const std::function<void()>& make) {
        const long before = AllocationsSoFar();
        make();
        return AllocationsSoFar() - before;
    };
    EXPECT_EQ(1, allocations([&] { const String copy(text); }));
    EXPECT_EQ(1, allocations([&] { static_cast<void>(text + text); }));
    EXPECT_EQ(1, allocations([&] { static_cast<void>(text + Char("x")); }));
    EXPECT_EQ(1, allocations([&] { static_cast<void>(text.Split(text.Begin(), text.End())); }));
    EXPECT_EQ(1, allocations([&] { static_cast<void>(String::ChangeCharStr(Long.c_str())); }));
    EXPECT_EQ(1, allocations([&] { static_cast<void>(String::Decimal(-5)); }));
    String many = Make(Long);
    for (int i = 0; i < 100; ++i)
        many += text + Char("\n");
    EXPECT_EQ(1, allocations([&] { many.RemoveChar("\n"); })); // not one for each line
    EXPECT_EQ(1, allocations([&] { many.SetDecimal(5ull, '+', 10000); }));
    EXPECT_EQ(0, allocations([&] {
                  static_cast<void>(text.Size());
                  static_cast<void>(text.Compare(text));
                  static_cast<void>(text.Find("x"));
                  static_cast<void>(text.Check());
              }));
}

TEST(String, ReleasesEachBlockOnce)
{
    const long blocks = LiveBlocks();
    {
        String a = Make(Long);
        String b(a);
        b += a;
        b.Swap(a);
        a.Clear();
        b.RemoveChar("l");
        b.SetDecimal(5ull, '+', 100);
        b = a + b;
        EXPECT_EQ(blocks + 2, LiveBlocks());
    }
    EXPECT_EQ(blocks, LiveBlocks());
}
