// SPDX-License-Identifier: MIT
#include <ORVEX/Font.h>

#include "FontFiles.h"
#include "Lines.h"
#include "Support/TempDir.h"

#include <ft2build.h>

#include FT_FREETYPE_H
#include FT_GLYPH_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <random>
#include <type_traits>

using ORVEX::Color;
using ORVEX::Font;
using ORVEX::Point;

static_assert(std::is_base_of<ORVEX::Bitmap, Font>::value &&
                  std::is_convertible<Font*, ORVEX::Bitmap*>::value,
              "a font is publicly a bitmap");
static_assert(!std::is_polymorphic<Font>::value, "no virtual operations");
static_assert(sizeof(Font) == sizeof(ORVEX::Bitmap) + 2 * sizeof(void*),
              "the bitmap, the engine, opened");
static_assert(!std::is_copy_constructible<Font>::value && !std::is_copy_assignable<Font>::value,
              "one engine, one font");

namespace {

const char Sans[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
const char SansBold[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf";

// A line as plain FreeType calls give it, without a cache and without a glyph object.
class Direct {
public:
    Direct(const std::string& path, long faceIndex, bool oneBit) : mono(oneBit)
    {
        EXPECT_EQ(0, FT_Init_FreeType(&library));
        EXPECT_EQ(0, FT_New_Face(library, path.c_str(), faceIndex, &face));
        EXPECT_EQ(0, FT_Select_Charmap(face, FT_ENCODING_UNICODE));
    }
    ~Direct() { FT_Done_FreeType(library); }
    Direct(const Direct&) = delete;
    Direct& operator=(const Direct&) = delete;

    Line Draw(const std::u32string& text, unsigned int emSize, const Color& color)
    {
        EXPECT_EQ(0, FT_Set_Char_Size(face, 0, static_cast<FT_F26Dot6>(emSize) * 64, 72, 72));
        Line line;
        Walk(
            text, [](int, const FT_GlyphSlot) {}, line.width);
        line.height = static_cast<int>(face->size->metrics.height >> 6);
        line.height = std::max(line.height, static_cast<int>(emSize));
        if (line.width < 1 || line.height < 1)
            return Line();
        line.pixels.resize(static_cast<std::size_t>(line.width * line.height));
        const int baseline =
            face->units_per_EM
                ? face->size->metrics.y_ppem * (face->height + face->descender) / face->units_per_EM
                : static_cast<int>(face->size->metrics.ascender >> 6);
        int end = 0;
        Walk(
            text,
            [&](int pen, FT_GlyphSlot slot) {
                if (slot->format != FT_GLYPH_FORMAT_BITMAP) {
                    EXPECT_EQ(0, FT_Render_Glyph(slot, mono ? FT_RENDER_MODE_MONO
                                                            : FT_RENDER_MODE_NORMAL));
                }
                Put(line, slot->bitmap, pen + slot->bitmap_left, baseline - slot->bitmap_top,
                    color);
            },
            end);
        return line;
    }

private:
    template <class Glyph> void Walk(const std::u32string& text, Glyph glyph, int& pen)
    {
        unsigned int previous = 0;
        for (const char32_t code : text) {
            const unsigned int index = FT_Get_Char_Index(face, code);
            if (!index)
                continue;
            if (previous && FT_HAS_KERNING(face)) {
                FT_Vector kerning;
                FT_Get_Kerning(face, previous, index, FT_KERNING_DEFAULT, &kerning);
                pen += static_cast<int>(kerning.x >> 6);
            }
            EXPECT_EQ(0, FT_Load_Glyph(face, index, FT_LOAD_DEFAULT));
            const int advance = static_cast<int>(face->glyph->advance.x >> 6);
            glyph(pen, face->glyph);
            pen += advance;
            previous = index;
        }
    }

    static void Put(Line& line, const FT_Bitmap& bitmap, int left, int top, const Color& color)
    {
        for (int r = 0; r < static_cast<int>(bitmap.rows); ++r) {
            for (int c = 0; c < static_cast<int>(bitmap.width); ++c) {
                const unsigned char* row = bitmap.buffer + r * bitmap.pitch;
                const int x = std::min(std::max(left + c, 0), line.width - 1);
                const int y = std::min(std::max(top + r, 0), line.height - 1);
                Color& pixel = line.pixels[static_cast<std::size_t>(y * line.width + x)];
                if (bitmap.pixel_mode == FT_PIXEL_MODE_GRAY)
                    pixel = Color(color.red, color.green, color.blue, row[c]);
                else if (bitmap.pixel_mode == FT_PIXEL_MODE_MONO &&
                         (row[c >> 3] >> (7 - (c & 7)) & 1))
                    pixel = color;
            }
        }
    }

    bool mono;
    FT_Library library = nullptr;
    FT_Face face = nullptr;
};

std::string Utf8(const std::u32string& text)
{
    std::string bytes;
    for (const char32_t c : text) {
        if (c < 0x80) {
            bytes += static_cast<char>(c);
        } else if (c < 0x800) {
            bytes += static_cast<char>(0xC0 | c >> 6);
            bytes += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            bytes += static_cast<char>(0xE0 | c >> 12);
            bytes += static_cast<char>(0x80 | (c >> 6 & 0x3F));
            bytes += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            bytes += static_cast<char>(0xF0 | c >> 18);
            bytes += static_cast<char>(0x80 | (c >> 12 & 0x3F));
            bytes += static_cast<char>(0x80 | (c >> 6 & 0x3F));
            bytes += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return bytes;
}

// At 10 pixels per em, 100 units are a pixel: A fills 4 x 5 pixels on the baseline, B hangs two
// pixels below it, I is one column, a blank is 3 pixels wide.
FontFace Blocks()
{
    FontFace face;
    face.glyphs = {{'A', 500, {{0, 0, 400, 500}}},
                   {'B', 500, {{0, -200, 400, 300}}},
                   {'I', 200, {{0, 0, 100, 500}}},
                   {' ', 300, {}}};
    return face;
}

class FontFile : public testing::Test {
protected:
    // A font that has opened a file with those bytes.
    void Open(const std::string& bytes, unsigned long faceIndex = 0, bool mono = false)
    {
        path = folder.File("font-" + std::to_string(++files));
        WriteFile(path, bytes);
        ASSERT_TRUE(font.Open(Text(path), faceIndex, mono));
    }

    std::string Drawn(const std::string& text, unsigned long emSize = 10)
    {
        EXPECT_EQ(0, font.DrawText(Text(text), emSize, Color(1, 2, 3)));
        return Shape(font);
    }

    TempDir folder;
    int files = 0;
    std::string path;
    Font font;
};

} // namespace

TEST(Font, StartsAsAnEmptyBitmapThatIsNotOpened)
{
    Font font;
    EXPECT_TRUE(font.Empty());
    EXPECT_EQ(0, font.GetSize().x);
    EXPECT_EQ(0, font.GetSize().y);
    font.Close();
    font.Close();
    EXPECT_NE(0, font.DrawText(Text("A"), 20, Color(0, 0, 0)));
    EXPECT_TRUE(font.Empty());
}

TEST(Font, DrawsWhatFreeTypeDraws)
{
    const std::u32string texts[] = {U"A",
                                    U"Hello, world",
                                    U"AVATAR To We P. Yo",
                                    U"jgpqy|_",
                                    U"fi ffl",
                                    U"Straße Åland Ñu",
                                    U"Ελληνικά Привет мир",
                                    U"\u2026\u20AC\u221E\u2192",
                                    U"  x  x  ",
                                    U"\U0001D54F\U0001D538",
                                    U"j",
                                    U"\u0301a\u0301"};
    for (const char* path : {Sans, SansBold}) {
        for (const bool mono : {false, true}) {
            Direct direct(path, 0, mono);
            Font font;
            ASSERT_TRUE(font.Open(Text(path), 0, mono));
            for (const unsigned int size : {1u, 5u, 8u, 12u, 20u, 33u, 100u}) {
                for (const std::u32string& text : texts) {
                    const Color color(200, 100, 50, 128);
                    ASSERT_EQ(0, font.DrawText(Text(Utf8(text)), size, color));
                    EXPECT_TRUE(direct.Draw(text, size, color) == LineOf(font))
                        << path << " mono " << mono << " size " << size << " " << Utf8(text);
                }
            }
        }
    }
}

TEST(Font, DrawsWhatFreeTypeDrawsForRandomTexts)
{
    std::mt19937 random(20);
    Direct direct(Sans, 0, false);
    Font font;
    ASSERT_TRUE(font.Open(Text(Sans), 0, false));
    for (int round = 0; round < 300; ++round) {
        std::u32string text;
        for (auto i = random() % 12; i > 0; --i) {
            const std::uint32_t ranges[][2] = {{0x20, 0x60}, {0xA0, 0x500}, {0x1E00, 0x1000}};
            const std::uint32_t* range = ranges[random() % 3];
            text += static_cast<char32_t>(range[0] + random() % range[1]);
        }
        const unsigned int size = 1 + static_cast<unsigned int>(random() % 60);
        ASSERT_EQ(0, font.DrawText(Text(Utf8(text)), size, Color(9, 8, 7)));
        EXPECT_TRUE(direct.Draw(text, size, Color(9, 8, 7)) == LineOf(font))
            << size << " " << Utf8(text);
    }
}

TEST(Font, TheSameTextDrawnTwiceIsTheSamePicture)
{
    Font font;
    ASSERT_TRUE(font.Open(Text(Sans), 0, false));
    ASSERT_EQ(0, font.DrawText(Text("Twice"), 20, Color(1, 2, 3)));
    const Line first = LineOf(font);
    ASSERT_EQ(0, font.DrawText(Text("Twice"), 20, Color(1, 2, 3)));
    EXPECT_TRUE(first == LineOf(font));
}

TEST(Font, SizesInTurnDoNotDisturbEachOther)
{
    Direct direct(Sans, 0, false);
    Font font;
    ASSERT_TRUE(font.Open(Text(Sans), 0, false));
    // More sizes than FreeType's manager keeps, forth and back, with pairs that kern.
    for (const unsigned int size : {20u, 40u, 20u, 12u, 40u, 9u, 20u, 64u, 33u, 12u, 64u, 20u}) {
        ASSERT_EQ(0, font.DrawText(Text("AVTo"), size, Color(1, 2, 3)));
        EXPECT_TRUE(direct.Draw(U"AVTo", size, Color(1, 2, 3)) == LineOf(font)) << size;
    }
}

TEST(Font, OpenDoesNotReadTheFileAndDrawTextReportsIt)
{
    TempDir folder;
    Font font;
    EXPECT_TRUE(font.Open(Text(folder.File("missing.ttf")), 0, false));
    EXPECT_EQ(FT_Err_Cannot_Open_Resource, font.DrawText(Text("A"), 20, Color(0, 0, 0)));
    EXPECT_TRUE(font.Empty());
}

TEST(Font, AFileThatAppearsLaterIsFound)
{
    TempDir folder;
    Font font;
    ASSERT_TRUE(font.Open(Text(folder.File("late.ttf")), 0, false));
    EXPECT_NE(0, font.DrawText(Text("A"), 10, Color(0, 0, 0)));
    WriteFile(folder.File("late.ttf"), TrueType(Blocks()));
    EXPECT_EQ(0, font.DrawText(Text("A"), 10, Color(0, 0, 0)));
    EXPECT_EQ(5, font.GetSize().x);
}

TEST_F(FontFile, DrawTextReportsAFileThatIsNoFont)
{
    Open("This is not a font, only a line of text.\n");
    EXPECT_EQ(FT_Err_Unknown_File_Format, font.DrawText(Text("A"), 20, Color(0, 0, 0)));
    EXPECT_TRUE(font.Empty());
    Open("");
    EXPECT_NE(0, font.DrawText(Text("A"), 20, Color(0, 0, 0)));
    ASSERT_TRUE(font.Open(Text(folder.Path()), 0, false)); // a folder
    EXPECT_NE(0, font.DrawText(Text("A"), 20, Color(0, 0, 0)));
    EXPECT_TRUE(font.Open(Text(""), 0, false));
    EXPECT_NE(0, font.DrawText(Text("A"), 20, Color(0, 0, 0)));
}

TEST_F(FontFile, DrawTextReportsAFaceThatTheFileLacks)
{
    for (const unsigned long face : {1ul, 2ul, 0x7FFFul, 0xFFFFFFFFul, ~0ul}) {
        Open(TrueType(Blocks()), face);
        EXPECT_NE(0, font.DrawText(Text("A"), 20, Color(0, 0, 0))) << face;
        EXPECT_TRUE(font.Empty());
    }
}

TEST_F(FontFile, DrawTextReportsAFaceWithoutUnicodeCharacters)
{
    FontFace face = Blocks();
    face.unicode = false;
    Open(TrueType(face));
    EXPECT_NE(0, font.DrawText(Text("A"), 20, Color(0, 0, 0)));
    EXPECT_TRUE(font.Empty());
    // The requester stores no face when it fails, so the next call asks again.
    EXPECT_NE(0, font.DrawText(Text("A"), 20, Color(0, 0, 0)));
}

TEST_F(FontFile, TheFaceIndexPicksAFaceOfACollection)
{
    FontFace wide = Blocks();
    wide.glyphs[0].advance = 900;
    const std::string both = TrueTypeCollection({Blocks(), wide});
    Open(both, 0);
    Drawn("A");
    EXPECT_EQ(5, font.GetSize().x);
    Open(both, 1);
    Drawn("A");
    EXPECT_EQ(9, font.GetSize().x);
    Open(both, 2);
    EXPECT_NE(0, font.DrawText(Text("A"), 10, Color(0, 0, 0)));
}

TEST_F(FontFile, OpeningAgainReplacesTheFace)
{
    Open(TrueType(Blocks()));
    Drawn("A");
    EXPECT_EQ(5, font.GetSize().x);
    FontFace wide = Blocks();
    wide.glyphs[0].advance = 900;
    Open(TrueType(wide));
    EXPECT_EQ(5, font.GetSize().x) << "the picture stays until the next line";
    Drawn("A");
    EXPECT_EQ(9, font.GetSize().x);
    font.Close();
    EXPECT_EQ(9, font.GetSize().x) << "the picture outlives the face";
    EXPECT_NE(0, font.DrawText(Text("A"), 10, Color(0, 0, 0)));
    EXPECT_TRUE(font.Empty());
}

TEST_F(FontFile, GlyphsStandOnTheBaseline)
{
    Open(TrueType(Blocks()));
    // Baseline: 10 * (1000 - 200) / 1000 = 8 rows from the top.
    EXPECT_EQ(".......\n"
              ".......\n"
              ".......\n"
              "####.#.\n"
              "####.#.\n"
              "####.#.\n"
              "####.#.\n"
              "####.#.\n"
              ".......\n"
              ".......\n",
              Drawn("AI"));
    EXPECT_EQ(".....\n"
              ".....\n"
              ".....\n"
              ".....\n"
              ".....\n"
              "####.\n"
              "####.\n"
              "####.\n"
              "####.\n"
              "####.\n",
              Drawn("B"));
}

TEST_F(FontFile, EmptyTextGivesAnEmptyBitmap)
{
    Open(TrueType(Blocks()));
    Drawn("A");
    EXPECT_EQ("", Drawn(""));
    EXPECT_TRUE(font.Empty());
    EXPECT_EQ(0, font.GetSize().x);
    EXPECT_EQ(0, font.GetSize().y);
}

TEST_F(FontFile, TextWithoutAnyGlyphIsLikeEmptyText)
{
    Open(TrueType(Blocks()));
    Drawn("A");
    EXPECT_EQ("", Drawn("xyz\xE2\x82\xAC"));
    EXPECT_TRUE(font.Empty());
    EXPECT_EQ(0, font.GetSize().x);
    EXPECT_EQ(0, font.GetSize().y);
}

TEST_F(FontFile, CharactersWithoutAGlyphAreLeftOut)
{
    FontFace face = Blocks();
    face.pairs = {{'A', 'I', -200}};
    Open(TrueType(face));
    const std::string pair = Drawn("AI", 30);
    EXPECT_EQ(15 - 6 + 6, font.GetSize().x);
    EXPECT_EQ(pair, Drawn("xAyzI\xE2\x82\xAC", 30)) << "A stays the previous glyph of I";
}

TEST_F(FontFile, BlankGlyphsAdvanceOnly)
{
    Open(TrueType(Blocks()));
    Drawn("I I");
    EXPECT_EQ(2 + 3 + 2, font.GetSize().x);
    EXPECT_EQ("#....#.", Shape(font).substr(8 * 7, 7));
}

TEST_F(FontFile, CutOffAndStrayBytesStayInsideTheText)
{
    FontFace face = Blocks();
    face.glyphs.push_back({0x40, 700, {}});   // E0 81 | 00: a missing byte counts as 0
    face.glyphs.push_back({0x2000, 600, {}}); // E2 80 | 00
    Open(TrueType(face));
    Drawn("A\xE2\x80");
    EXPECT_EQ(5 + 6, font.GetSize().x);
    Drawn("A\xE0\x81");
    EXPECT_EQ(5 + 7, font.GetSize().x);
    Drawn("A\x80\xBF"
          "I");
    EXPECT_EQ(5 + 2, font.GetSize().x) << "stray continuation bytes have no glyph";
    Drawn("A\xFF");
    EXPECT_EQ(5, font.GetSize().x);
}

TEST_F(FontFile, TheBitmapIsAtLeastSizeRowsHigh)
{
    FontFace face = Blocks();
    face.ascender = 700; // 900 units a line: 18 pixels at size 20
    Open(TrueType(face));
    Drawn("A", 20);
    EXPECT_EQ(20, font.GetSize().y);
    face.ascender = 950; // 1150 units: 23 pixels
    Open(TrueType(face));
    Drawn("A", 20);
    EXPECT_EQ(23, font.GetSize().y);
}

TEST_F(FontFile, TheBaselineIsCutTowardsZero)
{
    FontFace face = Blocks();
    face.ascender = 990; // a line of 1190: 10 * (1190 - 200) / 1000 = 9.9, so 9 rows
    Open(TrueType(face));
    EXPECT_EQ("..\n..\n..\n..\n#.\n#.\n#.\n#.\n#.\n..\n..\n..\n", Drawn("I"));
    face.ascender = 890;
    face.descender = -950; // a line of 1840: 10 * (1840 - 950) / 1000 = 8.9, so 8 rows
    Open(TrueType(face));
    EXPECT_EQ("..\n..\n..\n#.\n#.\n#.\n#.\n#.\n..\n", Drawn("I").substr(0, 3 * 9));
    face.ascender = -150;
    face.descender = -950; // a line of 800: 10 * (800 - 950) / 1000 = -1.5, so -1 row
    face.glyphs = {{'I', 200, {{0, -300, 100, -200}}}};
    Open(TrueType(face));
    EXPECT_EQ("..\n#.\n..\n", Drawn("I").substr(0, 3 * 3));
}

TEST_F(FontFile, SmoothPixelsHaveTheColourAndTheCoverageAsAlpha)
{
    FontFace face = Blocks();
    face.glyphs = {{'H', 500, {{0, 0, 150, 500}}}}; // one and a half columns
    Open(TrueType(face));
    ASSERT_EQ(0, font.DrawText(Text("H"), 10, Color(10, 20, 30, 40)));
    EXPECT_TRUE(Same(Color(10, 20, 30, 255), font.GetPixel(Point(0, 7))));
    EXPECT_TRUE(Same(Color(10, 20, 30, 128), font.GetPixel(Point(1, 7))));
    EXPECT_TRUE(Same(Color(0, 0, 0, 0), font.GetPixel(Point(2, 7)))) << "outside of the box";
}

TEST_F(FontFile, ASmoothGlyphErasesWhatItsBoxOverlaps)
{
    FontFace face = Blocks();
    // L is an L of one pixel's stroke, and the pair moves it over the bar before it.
    face.glyphs = {{'-', 500, {{0, 400, 500, 500}}},
                   {'L', 500, {{0, 0, 100, 500}, {100, 0, 500, 100}}}};
    face.pairs = {{'-', 'L', -750}}; // 3 pixels: FreeType kerns small sizes less
    Open(TrueType(face));
    EXPECT_EQ("###....\n"
              "..#....\n"
              "..#....\n"
              "..#....\n"
              "..#####\n",
              Drawn("-L").substr(3 * 8, 5 * 8));
    // Uncovered pixels of the box carry the colour with alpha 0.
    EXPECT_TRUE(Same(Color(1, 2, 3, 0), font.GetPixel(Point(4, 3))));
}

TEST_F(FontFile, AOneBitGlyphErasesNothing)
{
    FontFace face = Blocks();
    face.glyphs = {{'-', 500, {{0, 400, 500, 500}}},
                   {'L', 500, {{0, 0, 100, 500}, {100, 0, 500, 100}}}};
    face.pairs = {{'-', 'L', -750}}; // 3 pixels: FreeType kerns small sizes less
    Open(TrueType(face), 0, true);
    EXPECT_EQ("#####..\n"
              "..#....\n"
              "..#....\n"
              "..#....\n"
              "..#####\n",
              Drawn("-L").substr(3 * 8, 5 * 8));
}

TEST_F(FontFile, OneBitPixelsHaveTheColourWithItsAlpha)
{
    Open(TrueType(Blocks()), 0, true);
    ASSERT_EQ(0, font.DrawText(Text("A"), 10, Color(10, 20, 30, 40)));
    EXPECT_TRUE(Same(Color(10, 20, 30, 40), font.GetPixel(Point(0, 7))));
    EXPECT_TRUE(Same(Color(0, 0, 0, 0), font.GetPixel(Point(4, 7))));
    EXPECT_TRUE(Same(Color(0, 0, 0, 0), font.GetPixel(Point(0, 0))));
}

TEST_F(FontFile, WhatLiesOutsideLandsOnTheNearestEdge)
{
    FontFace face = Blocks();
    // One pixel two columns left of the picture, one two rows below it. The box spans columns
    // -2 to 1 and rows 6 to 11 of a picture of 4 by 10.
    face.glyphs = {{'g', 400, {{-200, 100, -100, 200}, {100, -400, 200, -300}}}};
    Open(TrueType(face), 0, true);
    EXPECT_EQ("#...\n"
              "....\n"
              "....\n"
              ".#..\n",
              Drawn("g").substr(5 * 6));
    // Smooth: the box's later columns and rows overwrite the edge with what they do not cover.
    Open(TrueType(face));
    EXPECT_EQ("....\n"
              "....\n"
              "....\n"
              ".#..\n",
              Drawn("g").substr(5 * 6));
    EXPECT_TRUE(Same(Color(1, 2, 3, 0), font.GetPixel(Point(0, 6))));
    // Past the right edge the last column wins.
    face.glyphs = {{'g', 200, {{0, 100, 100, 200}, {400, 0, 500, 100}}}};
    Open(TrueType(face));
    EXPECT_EQ("#.\n"
              ".#\n"
              "..\n",
              Drawn("g").substr(3 * 6, 3 * 3));
}

TEST_F(FontFile, KerningMovesThePenByWholePixels)
{
    FontFace face = Blocks();
    face.pairs = {{'A', 'A', -150}, {'A', 'I', 150}};
    Open(TrueType(face));
    Direct direct(path, 0, false);
    for (const unsigned int size : {7u, 10u, 24u, 25u, 33u}) {
        for (const char* text : {"AA", "AI", "IA"}) {
            Drawn(text, size);
            EXPECT_TRUE(direct.Draw(std::u32string(text, text + 2), size, Color(1, 2, 3)) ==
                        LineOf(font))
                << text << size;
        }
    }
    Drawn("AA", 40);
    EXPECT_EQ(20 - 6 + 20, font.GetSize().x);
    Drawn("AI", 40);
    EXPECT_EQ(20 + 6 + 8, font.GetSize().x);
    Drawn("IA", 40);
    EXPECT_EQ(8 + 20, font.GetSize().x);
    // Kerning follows the size of this line, whatever other sizes were drawn in between.
    Drawn("AA", 60);
    EXPECT_EQ(30 - 9 + 30, font.GetSize().x);
    Drawn("AA", 40);
    EXPECT_EQ(20 - 6 + 20, font.GetSize().x);
}

TEST_F(FontFile, ALineThatEndsLeftOfItsStartIsEmpty)
{
    FontFace face = Blocks();
    face.pairs = {{'A', 'A', -2000}};
    Open(TrueType(face));
    EXPECT_EQ("", Drawn("AA", 30));
    EXPECT_TRUE(font.Empty());
}

TEST_F(FontFile, BitmapFontsAreDrawnAsTheyAre)
{
    Open(
        Bdf(4, 3, 1, 1, {{'L', 4, 3, 3, 0, 0, {"80", "80", "E0"}}, {'_', 3, 2, 1, 0, -1, {"C0"}}}));
    ASSERT_EQ(0, font.DrawText(Text("L_"), 4, Color(10, 20, 30, 40)));
    // No units per em: the baseline is the ascent, 3 rows.
    EXPECT_EQ("+......\n"
              "+......\n"
              "+++....\n"
              "....++.\n",
              Shape(font));
    EXPECT_TRUE(Same(Color(10, 20, 30, 40), font.GetPixel(Point(0, 0))));
    Direct direct(path, 0, false);
    EXPECT_TRUE(direct.Draw(U"L_", 4, Color(10, 20, 30, 40)) == LineOf(font));
}

TEST_F(FontFile, BitmapFontsWithGreyLevelsGiveTheAlpha)
{
    Open(Bdf(4, 3, 1, 8, {{'L', 4, 3, 2, 0, 0, {"FF0000", "408000"}}}));
    ASSERT_EQ(0, font.DrawText(Text("L"), 4, Color(10, 20, 30, 40)));
    EXPECT_TRUE(Same(Color(10, 20, 30, 255), font.GetPixel(Point(0, 1))));
    EXPECT_TRUE(Same(Color(10, 20, 30, 0), font.GetPixel(Point(1, 1))));
    EXPECT_TRUE(Same(Color(10, 20, 30, 0x40), font.GetPixel(Point(0, 2))));
    EXPECT_TRUE(Same(Color(10, 20, 30, 0x80), font.GetPixel(Point(1, 2))));
}

TEST_F(FontFile, OtherPixelModesAreNotDrawn)
{
    for (const int bits : {2, 4}) {
        Open(Bdf(4, 3, 1, bits, {{'L', 4, 3, 2, 0, 0, {"FFFF", "FFFF"}}}));
        ASSERT_EQ(0, font.DrawText(Text("L"), 4, Color(10, 20, 30)));
        EXPECT_EQ("....\n....\n....\n....\n", Shape(font)) << bits;
    }
}

TEST_F(FontFile, ABitmapFontLacksOtherSizes)
{
    Open(Bdf(4, 3, 1, 1, {{'L', 4, 3, 3, 0, 0, {"80", "80", "E0"}}}));
    EXPECT_EQ(FT_Err_Invalid_Pixel_Size, font.DrawText(Text("L"), 9, Color(0, 0, 0)));
    EXPECT_TRUE(font.Empty());
}

TEST_F(FontFile, SizesBeyondWhatFreeTypeSetsAreReported)
{
    Open(TrueType(Blocks()));
    for (const unsigned long size : {70000ul, 0x10000000ul, 0x7FFFFFFFul, 0xFFFFFFFFul}) {
        Drawn("A");
        EXPECT_NE(0, font.DrawText(Text("A"), size, Color(0, 0, 0))) << size;
        EXPECT_TRUE(font.Empty()) << size;
    }
}

TEST_F(FontFile, SizeZeroIsDrawnAsFreeTypeSetsIt)
{
    Open(TrueType(Blocks()));
    Direct direct(path, 0, false);
    EXPECT_EQ(0, font.DrawText(Text("AAA"), 0, Color(1, 2, 3)));
    EXPECT_TRUE(direct.Draw(U"AAA", 0, Color(1, 2, 3)) == LineOf(font));
}

TEST_F(FontFile, ASizeThatWrapsAroundLeavesAnEmptyStore)
{
    // 4 x 16384 columns and 16384 x 4 rows at 4000 pixels per em: 2^32 pixels count as none.
    FontFace face;
    face.ascender = 16000;
    face.descender = -384;
    face.glyphs = {{'A', 4096, {{0, 0, 10, 10}}}};
    Open(TrueType(face));
    EXPECT_EQ(0, font.DrawText(Text("AAAA"), 4000, Color(1, 2, 3)));
    EXPECT_TRUE(font.Empty());
    EXPECT_EQ(65536, font.GetSize().x);
    EXPECT_EQ(65536, font.GetSize().y);
}

TEST_F(FontFile, NothingIsDrawnIntoAStoreThatIsTooSmallForItsSize)
{
    // 131074 columns and 32768 rows: 2^32 + 65536 pixels count as 65536.
    FontFace face;
    face.unitsPerEm = 16384;
    face.ascender = 100;
    face.descender = -100;
    face.glyphs = {{'A', 13107, {{0, 0, 10, 10}}}, {'B', 2, {{0, 0, 10, 10}}}};
    Open(TrueType(face));
    EXPECT_EQ(0, font.DrawText(Text("AAAAAB"), 32768, Color(1, 2, 3)));
    EXPECT_EQ(131074, font.GetSize().x);
    EXPECT_EQ(32768, font.GetSize().y);
    ASSERT_EQ(65536ul, font.Pixels().Length());
    for (const Color& pixel : LineOf(font).pixels)
        ASSERT_TRUE(Same(Color(), pixel));
}

TEST_F(FontFile, MetricsAtTheEndsOfTheirRangeAreDrawnInBounds)
{
    for (const int ascender : {32767, -32768, 0}) {
        for (const int descender : {32767, -32768, 0}) {
            for (const int units : {16, 1000, 16384}) {
                FontFace face;
                face.unitsPerEm = units;
                face.ascender = ascender;
                face.descender = descender;
                face.glyphs = {{'A', 3 * units / 16, {{-32768, -1, 1, 32767}}}};
                Open(TrueType(face));
                font.DrawText(Text("AAA"), 20, Color(1, 2, 3));
                EXPECT_EQ(static_cast<unsigned long>(static_cast<std::uint32_t>(font.GetSize().x) *
                                                     static_cast<std::uint32_t>(font.GetSize().y)),
                          font.Pixels().Length());
            }
        }
    }
}

TEST_F(FontFile, DamagedFontsAreDrawnOrRefusedInBounds)
{
    FontFace face = Blocks();
    face.pairs = {{'A', 'I', -200}, {'I', 'A', 300}};
    const std::string whole = TrueType(face);
    std::mt19937 random(64);
    int drawn = 0;
    for (int round = 0; round < 600; ++round) {
        std::string bytes = whole;
        for (auto i = 1 + random() % 4; i > 0; --i)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        if (random() % 8 == 0)
            bytes.resize(random() % bytes.size());
        Open(bytes, 0, round % 2 != 0);
        drawn += font.DrawText(Text("AB IA I"), 12, Color(1, 2, 3)) == 0;
        std::remove(path.c_str());
    }
    EXPECT_GT(drawn, 50);
    EXPECT_LT(drawn, 600);
}
