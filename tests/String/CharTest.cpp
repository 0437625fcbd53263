// SPDX-License-Identifier: MIT
#include <ORVEX/Char.h>

#include "Model.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>

using ORVEX::Char;

static_assert(sizeof(Char) == 4, "one field of 32 bits on every machine");
static_assert(std::is_trivially_copyable<Char>::value, "a plain value");
static_assert(std::is_trivially_destructible<Char>::value, "a plain value");
static_assert(!std::is_polymorphic<Char>::value, "a plain value");
static_assert(Char().GetUTF32() == 0, "constant expressions");
static_assert(Char("/").GetUTF32() == 0x2F, "so that globals need no start-up code");
static_assert(Char("\xE2\x82\xAC").GetUTF32() == 0x20AC, "the euro sign");
static_assert(Char::CheckUTF8('\xFF') == 8, "constant expressions");

namespace {

Char Of(unsigned long code)
{
    Char c;
    c.SetUTF32(code);
    return c;
}

std::uint32_t Decoded(const std::string& bytes) { return Char(bytes.c_str()).GetUTF32(); }

} // namespace

TEST(Char, NewOneIsZero) { EXPECT_EQ(0u, Char().GetUTF32()); }

// Nobody writes a null pointer, but 0 is one: Char(0) reads like the character of that number.
TEST(Char, NullPointerIsNoCharacter)
{
    EXPECT_EQ(0u, Char(0).GetUTF32());
    EXPECT_EQ(0u, Char(nullptr).GetUTF32());
    Char assigned = Of(7);
    assigned = 0;
    EXPECT_EQ(0u, assigned.GetUTF32());
}

TEST(Char, CopiesTakeTheCodePoint)
{
    const Char euro = Of(0x20AC);
    const Char copy(euro);
    Char assigned;
    assigned = euro;
    EXPECT_EQ(0x20ACu, copy.GetUTF32());
    EXPECT_EQ(0x20ACu, assigned.GetUTF32());
}

TEST(Char, CheckUTF8TellsTheLengthFromTheLeadByte)
{
    EXPECT_EQ(1ul, Char::CheckUTF8('\x00'));
    EXPECT_EQ(1ul, Char::CheckUTF8('\x7F'));
    EXPECT_EQ(0ul, Char::CheckUTF8('\x80'));
    EXPECT_EQ(0ul, Char::CheckUTF8('\xBF'));
    EXPECT_EQ(2ul, Char::CheckUTF8('\xC0'));
    EXPECT_EQ(2ul, Char::CheckUTF8('\xC1'));
    EXPECT_EQ(2ul, Char::CheckUTF8('\xDF'));
    EXPECT_EQ(3ul, Char::CheckUTF8('\xE0'));
    EXPECT_EQ(3ul, Char::CheckUTF8('\xEF'));
    EXPECT_EQ(4ul, Char::CheckUTF8('\xF0'));
    EXPECT_EQ(4ul, Char::CheckUTF8('\xF7'));
    EXPECT_EQ(5ul, Char::CheckUTF8('\xF8'));
    EXPECT_EQ(5ul, Char::CheckUTF8('\xFB'));
    EXPECT_EQ(6ul, Char::CheckUTF8('\xFC'));
    EXPECT_EQ(6ul, Char::CheckUTF8('\xFD'));
    EXPECT_EQ(7ul, Char::CheckUTF8('\xFE'));
    EXPECT_EQ(8ul, Char::CheckUTF8('\xFF'));
    for (int b = 0; b < 256; ++b)
        EXPECT_EQ(Model::LeadLength(static_cast<char>(b)), Char::CheckUTF8(static_cast<char>(b)));
}

TEST(Char, CheckUTF16NamesTheKindOfTheUnit)
{
    for (unsigned int u = 0; u <= 0xFFFF; ++u) {
        const unsigned long kind = u >= 0xD800 && u < 0xDC00   ? 1
                                   : u >= 0xDC00 && u < 0xE000 ? 2
                                                               : 0;
        ASSERT_EQ(kind, Char::CheckUTF16(static_cast<unsigned short>(u))) << u;
    }
}

TEST(Char, SetUTF32TakesAnyNumber)
{
    EXPECT_EQ(0x110000u, Of(0x110000).GetUTF32());
    EXPECT_EQ(0xD800u, Of(0xD800).GetUTF32());
    EXPECT_EQ(0xFFFFFFFFu, Of(0xFFFFFFFF).GetUTF32());
}

TEST(Char, DecodesOneToFourBytes)
{
    EXPECT_EQ(0x41u, Decoded("A"));
    EXPECT_EQ(0xE9u, Decoded("\xC3\xA9"));
    EXPECT_EQ(0x20ACu, Decoded("\xE2\x82\xAC"));
    EXPECT_EQ(0x1F600u, Decoded("\xF0\x9F\x98\x80"));
}

TEST(Char, DecodesTheLongFormsToo)
{
    EXPECT_EQ(0x200000u, Decoded("\xF8\x88\x80\x80\x80"));
    EXPECT_EQ(0x3FFFFFFu, Decoded("\xFB\xBF\xBF\xBF\xBF"));
    EXPECT_EQ(0x7FFFFFFFu, Decoded("\xFD\xBF\xBF\xBF\xBF\xBF"));
}

TEST(Char, DecodesOverlongForms)
{
    EXPECT_EQ(0u, Decoded("\xC0\x80"));
    EXPECT_EQ(0x7Fu, Decoded("\xC1\xBF"));
    EXPECT_EQ(0x2Fu, Decoded("\xE0\x80\xAF"));
}

TEST(Char, DecodesPastUnicodesEndAndSurrogates)
{
    EXPECT_EQ(0x110000u, Decoded("\xF4\x90\x80\x80"));
    EXPECT_EQ(0x1FFFFFu, Decoded("\xF7\xBF\xBF\xBF"));
    EXPECT_EQ(0xD800u, Decoded("\xED\xA0\x80"));
}

TEST(Char, StrayContinuationByteIsZeroAndReadsNothingMore)
{
    const char alone[1] = {'\x80'}; // the sanitizer watches what lies behind it
    Char c = Of(7);
    c.SetUTF8(alone);
    EXPECT_EQ(0u, c.GetUTF32());
    EXPECT_EQ(0u, Decoded("\xBF\x41"));
}

TEST(Char, BytesBehindTheLeadByteAreTakenAsTheyAre)
{
    EXPECT_EQ(0x2001u, Decoded(Bytes({0xE2, 0x00, 0x41}))); // 2<<12 | 0<<6 | 1
    EXPECT_EQ(0x0FFu, Decoded(Bytes({0xC3, 0xFF})));        // 3<<6 | 3F
}

TEST(Char, SevenAndEightBytesKeepTheLow32Bits)
{
    // FE and FF carry no bits of their own; of the 36 and 42 bits behind them 32 remain.
    EXPECT_EQ(0xFFFFFFFFu, Decoded("\xFE\xBF\xBF\xBF\xBF\xBF\xBF"));
    EXPECT_EQ(0xC0000000u, Decoded("\xFE\xBF\x80\x80\x80\x80\x80"));
    EXPECT_EQ(0x01000000u, Decoded("\xFE\x80\x81\x80\x80\x80\x80"));
    EXPECT_EQ(1u, Decoded("\xFF\xBF\x80\x80\x80\x80\x80\x81"));
}

TEST(Char, DecodesEveryPairOfBytesAsThePlainFormDoes)
{
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            const std::string text = Bytes({a, b, 0xA5, 0x3C, 0x81, 0xFF, 0x00, 0x92});
            ASSERT_EQ(Model::Decode(text, 0), Decoded(text)) << a << ' ' << b;
        }
    }
}

TEST(Char, DecodesGarbageAsThePlainFormDoes)
{
    RandomText random;
    for (int round = 0; round < 100000; ++round) {
        const std::string text = random.Garbage(8);
        ASSERT_EQ(Model::Decode(text, 0), Char(text.data()).GetUTF32());
    }
}

TEST(Char, EncodesInTheSchemeOfRFC2279)
{
    EXPECT_EQ(0u, Of(0).GetUTF8());
    EXPECT_EQ(0x41u, Of(0x41).GetUTF8());
    EXPECT_EQ(0xBFDFu, Of(0x7FF).GetUTF8()); // DF BF
    EXPECT_EQ(0xAC82E2u, Of(0x20AC).GetUTF8());
    EXPECT_EQ(0x80989FF0u, Of(0x1F600).GetUTF8());
    EXPECT_EQ(0xBFBFBFBFFBu, Of(0x3FFFFFF).GetUTF8());
    EXPECT_EQ(0xBFBFBFBFBFFDu, Of(0x7FFFFFFF).GetUTF8());
    EXPECT_EQ(0u, Of(0x80000000).GetUTF8());
    EXPECT_EQ(0u, Of(0xFFFFFFFF).GetUTF8());
}

TEST(Char, EncodesEveryCodePointAndDecodesItAgain)
{
    const auto check = [](std::uint32_t code) {
        std::string bytes;
        for (std::uint64_t rest = Of(code).GetUTF8(); rest != 0; rest >>= 8)
            bytes += static_cast<char>(rest & 0xFF);
        ASSERT_EQ(Model::Encode(code), bytes) << code;
        if (code < 0x80000000) {
            ASSERT_EQ(code, Decoded(bytes));
        }
    };
    for (std::uint32_t code = 0; code < 0x210000; ++code)
        check(code);
    for (std::uint64_t code = 0x210000; code < 0x100000000; code += 9973)
        check(static_cast<std::uint32_t>(code));
    for (const std::uint32_t edge : {0x3FFFFFEu, 0x3FFFFFFu, 0x4000000u, 0x7FFFFFFFu, 0x80000000u})
        check(edge);
}

TEST(Char, CombinesUTF16Units)
{
    Char c;
    c.SetUTF16(0xD83D, 0xDE00);
    EXPECT_EQ(0x1F600u, c.GetUTF32());
    c.SetUTF16(0x0041, 0);
    EXPECT_EQ(0x41u, c.GetUTF32());
    c.SetUTF16(0xD800, 0);
    EXPECT_EQ(0xD800u, c.GetUTF32());
    c.SetUTF16(0x0041, 0x0042); // neither is a surrogate, and nobody asks
    EXPECT_EQ(0x20442u, c.GetUTF32());
    c.SetUTF16(0xDBFF, 0xDFFF);
    EXPECT_EQ(0x10FFFFu, c.GetUTF32());
}

TEST(Char, CombinesWithOrSoThatTheFullHighTenBitsReachTheTop)
{
    Char c;
    c.SetUTF16(0xFFFF, 0xFFFF); // (3FF << 10) + 10000 | 3FF
    EXPECT_EQ(0x10FFFFu, c.GetUTF32());
}

TEST(Char, GivesUTF16Units)
{
    unsigned short first = 1;
    unsigned short second = 1;
    EXPECT_TRUE(Of(0x1F600).GetUTF16(first, second));
    EXPECT_EQ(0xD83D, first);
    EXPECT_EQ(0xDE00, second);
    EXPECT_TRUE(Of(0xD800).GetUTF16(first, second));
    EXPECT_EQ(0xD800, first);
    EXPECT_EQ(0, second);
    EXPECT_TRUE(Of(0x10FFFF).GetUTF16(first, second));
    EXPECT_EQ(0xDBFF, first);
    EXPECT_EQ(0xDFFF, second);
}

TEST(Char, GivesNoUTF16UnitsFrom110000OnAndWritesNothing)
{
    unsigned short first = 11;
    unsigned short second = 22;
    for (const unsigned long code : {0x110000ul, 0x7FFFFFFFul, 0xFFFFFFFFul}) {
        EXPECT_FALSE(Of(code).GetUTF16(first, second));
        EXPECT_EQ(0ul, Of(code).GetUTF16Size());
    }
    EXPECT_EQ(11, first);
    EXPECT_EQ(22, second);
}

TEST(Char, CountsUTF16Units)
{
    EXPECT_EQ(1ul, Of(0).GetUTF16Size());
    EXPECT_EQ(1ul, Of(0xFFFF).GetUTF16Size());
    EXPECT_EQ(2ul, Of(0x10000).GetUTF16Size());
    EXPECT_EQ(2ul, Of(0x10FFFF).GetUTF16Size());
}

TEST(Char, UTF16RoundTripKeepsEveryCodePointOfUnicode)
{
    for (unsigned long code = 0; code < 0x110000; ++code) {
        unsigned short first;
        unsigned short second;
        ASSERT_TRUE(Of(code).GetUTF16(first, second));
        Char c;
        c.SetUTF16(first, second);
        ASSERT_EQ(code, c.GetUTF32());
    }
}
