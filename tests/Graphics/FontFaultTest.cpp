// SPDX-License-Identifier: MIT
#include <ORVEX/Font.h>

#include "FontFiles.h"
#include "FreeTypeFaults.h"
#include "Lines.h"
#include "Support/TempDir.h"

#include FT_ERRORS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

using ORVEX::Color;
using ORVEX::Font;
using ORVEX::Point;

namespace {

using Calls = std::vector<std::string>;

FontFace Pair()
{
    FontFace face;
    face.glyphs = {{'A', 500, {{0, 0, 400, 500}}}, {'B', 500, {{0, -200, 400, 300}}}};
    face.pairs = {{'A', 'B', -1}}; // less than a pixel
    return face;
}

class FontFault : public testing::Test {
protected:
    FontFault() : path(folder.File("font.ttf")) { WriteFile(path, TrueType(Pair())); }

    bool Open(bool mono = false) { return font->Open(Text(path), 0, mono); }
    int Draw(const std::string& text) { return font->DrawText(Text(text), 10, Color(1, 2, 3)); }

    // The calls with their arguments, and forgets them.
    Calls Taken()
    {
        Calls taken;
        for (std::size_t i = 0; i < faults.calls.size(); ++i)
            taken.push_back(faults.calls[i] + ": " + faults.arguments[i]);
        faults.calls.clear();
        faults.arguments.clear();
        return taken;
    }

    TempDir folder;
    std::string path;
    FreeTypeFaults faults;
    std::unique_ptr<Font> font = std::make_unique<Font>();
};

} // namespace

TEST_F(FontFault, OpenMakesTheCachesAndTouchesNoFile)
{
    ASSERT_TRUE(Open());
    EXPECT_EQ(
        (Calls{"FT_New_Library", "FTC_Manager_New", "FTC_CMapCache_New", "FTC_ImageCache_New"}),
        faults.calls);
    faults.calls.clear();
    font->Close();
    EXPECT_EQ((Calls{"FTC_Manager_Done", "FT_Done_Library"}), faults.calls);
    EXPECT_EQ(0, faults.LiveBlocks());
    faults.calls.clear();
    font->Close();
    EXPECT_EQ(Calls(), faults.calls);
}

TEST_F(FontFault, TheManagerKeepsWhatFreeTypeKeepsUnasked)
{
    ASSERT_TRUE(Open());
    EXPECT_EQ("FTC_Manager_New: 0 0 0", Taken().at(1));
}

TEST_F(FontFault, TheFirstLineOpensTheFaceAndSelectsItsUnicodeMap)
{
    ASSERT_TRUE(font->Open(Text(path), 0, false));
    Taken();
    ASSERT_EQ(0, Draw("A"));
    Calls calls = Taken();
    ASSERT_LE(3u, calls.size());
    calls.resize(3); // FreeType itself may have called more
    EXPECT_EQ((Calls{"FTC_Manager_LookupFace: 1", "FT_New_Face: " + path + " 0",
                     "FT_Select_Charmap: unic"}),
              calls);
}

TEST_F(FontFault, ALineIsMeasuredAndThenDrawn)
{
    // Glyphs 1 and 2; x has none.
    for (const bool mono : {false, true}) {
        ASSERT_TRUE(Open(mono));
        ASSERT_EQ(0, Draw("AxB")); // from here on the caches hold all that the line needs
        Taken();
        ASSERT_EQ(0, Draw("AxB"));
        const std::string render =
            "FT_Glyph_To_Bitmap: " +
            std::to_string(static_cast<int>(mono ? FT_RENDER_MODE_MONO : FT_RENDER_MODE_NORMAL)) +
            " no origin destroys";
        const std::string a = "FTC_CMapCache_Lookup: 1 0 65";
        const std::string x = "FTC_CMapCache_Lookup: 1 0 120";
        const std::string b = "FTC_CMapCache_Lookup: 1 0 66";
        const std::string kerning = "FT_Get_Kerning: 1 2 0";
        const std::string imageA = "FTC_ImageCache_Lookup: 1 0 10 0 1 no node";
        const std::string imageB = "FTC_ImageCache_Lookup: 1 0 10 0 2 no node";
        const std::string copy = "FT_Glyph_Copy: ";
        EXPECT_EQ((Calls{"FTC_Manager_LookupFace: 1", "FT_Get_Charmap_Index: ",
                         "FTC_Manager_LookupSize: 1 0 640 0 72 72", // 10 in 26.6
                         a, imageA, x, b, kerning, imageB,          // measured
                         a, imageA, copy, render, x, b, kerning, imageB, copy, render}),
                  Taken());
    }
}

TEST_F(FontFault, AFaceWithoutKerningIsNotAskedForIt)
{
    FontFace face = Pair();
    face.pairs.clear();
    WriteFile(path, TrueType(face));
    ASSERT_TRUE(Open());
    ASSERT_EQ(0, Draw("AB"));
    EXPECT_EQ(0, std::count(faults.calls.begin(), faults.calls.end(), "FT_Get_Kerning"));
}

TEST_F(FontFault, AFaceThatCannotBeLookedUpEndsTheLine)
{
    ASSERT_TRUE(Open());
    ASSERT_EQ(0, Draw("A"));
    faults.Fail("FTC_Manager_LookupFace", FT_Err_Invalid_Face_Handle);
    Taken();
    EXPECT_EQ(FT_Err_Invalid_Face_Handle, Draw("A"));
    EXPECT_EQ(Calls{"FTC_Manager_LookupFace: 1"}, Taken());
    EXPECT_TRUE(font->Empty());
}

TEST_F(FontFault, OpeningAgainClosesFirst)
{
    ASSERT_TRUE(Open());
    faults.calls.clear();
    ASSERT_TRUE(Open());
    EXPECT_EQ((Calls{"FTC_Manager_Done", "FT_Done_Library", "FT_New_Library", "FTC_Manager_New",
                     "FTC_CMapCache_New", "FTC_ImageCache_New"}),
              faults.calls);
}

TEST_F(FontFault, DestructionCloses)
{
    ASSERT_TRUE(Open());
    ASSERT_EQ(0, Draw("AB"));
    EXPECT_NE(0, faults.LiveBlocks());
    font.reset();
    EXPECT_EQ(0, faults.LiveBlocks());
    EXPECT_EQ("FT_Done_Library", faults.calls.back());
}

TEST(FontOpenFault, EachStepCanFailAndLeavesWhatExistsByThen)
{
    TempDir folder;
    const ORVEX::String path = Text(folder.File("font.ttf"));
    WriteFile(folder.File("font.ttf"), TrueType(Pair()));
    const Calls steps = {"FT_New_Library", "FTC_Manager_New", "FTC_CMapCache_New",
                         "FTC_ImageCache_New"};
    for (std::size_t i = 0; i < steps.size(); ++i) {
        FreeTypeFaults faults;
        {
            Font font;
            faults.Fail(steps[i], FT_Err_Out_Of_Memory);
            EXPECT_FALSE(font.Open(path, 0, false));
            EXPECT_EQ(Calls(steps.begin(), steps.begin() + static_cast<long>(i) + 1), faults.calls);

            const long left = faults.LiveBlocks();
            EXPECT_EQ(i == 0, left == 0) << steps[i];
            faults.calls.clear();
            font.Close();
            EXPECT_NE(0, font.DrawText(Text("A"), 10, Color(1, 2, 3)));
            EXPECT_TRUE(font.Empty());
            EXPECT_EQ(Calls(), faults.calls) << steps[i];

            ASSERT_TRUE(font.Open(path, 0, false)) << "the next one starts anew";
            EXPECT_EQ(0, font.DrawText(Text("A"), 10, Color(1, 2, 3)));
            font.Close();
            EXPECT_EQ(left, faults.LiveBlocks()) << steps[i];
        }
    }
}

TEST_F(FontFault, AFaceWithoutAUnicodeMapIsReleased)
{
    ASSERT_TRUE(Open());
    faults.calls.clear();
    faults.Fail("FT_Select_Charmap", FT_Err_Invalid_CharMap_Handle);
    EXPECT_EQ(FT_Err_Invalid_CharMap_Handle, Draw("A"));
    ASSERT_LE(4u, faults.calls.size());
    faults.calls.resize(4); // FreeType itself may have called more
    EXPECT_EQ((Calls{"FTC_Manager_LookupFace", "FT_New_Face", "FT_Select_Charmap", "FT_Done_Face"}),
              faults.calls);
    const long live = faults.LiveBlocks();
    faults.Fail("FT_Select_Charmap", FT_Err_Invalid_CharMap_Handle);
    EXPECT_EQ(FT_Err_Invalid_CharMap_Handle, Draw("A"));
    EXPECT_EQ(live, faults.LiveBlocks());
    EXPECT_TRUE(font->Empty());
    EXPECT_EQ(0, Draw("A")) << "the face is asked for again";
}

TEST_F(FontFault, ASizeThatCannotBeLookedUpEndsTheLine)
{
    ASSERT_TRUE(Open());
    ASSERT_EQ(0, Draw("A"));
    faults.Fail("FTC_Manager_LookupSize", FT_Err_Invalid_Pixel_Size);
    EXPECT_EQ(FT_Err_Invalid_Pixel_Size, Draw("A"));
    EXPECT_TRUE(font->Empty());
}

TEST_F(FontFault, AGlyphThatCannotBeMeasuredHasNoWidth)
{
    ASSERT_TRUE(Open());
    faults.Fail("FTC_ImageCache_Lookup", FT_Err_Invalid_Outline, 1);
    EXPECT_EQ(0, Draw("AB"));
    EXPECT_EQ(5, font->GetSize().x);
}

TEST_F(FontFault, AGlyphThatCannotBeLookedUpEndsTheLineWhatIsDrawnStays)
{
    ASSERT_TRUE(Open());
    faults.Fail("FTC_ImageCache_Lookup", FT_Err_Invalid_Outline, 4); // two are measured first
    EXPECT_EQ(FT_Err_Invalid_Outline, Draw("AB"));
    EXPECT_EQ("####......\n", Shape(*font).substr(11 * 7, 11));
}

TEST_F(FontFault, ACopyThatFailsEndsTheLine)
{
    ASSERT_TRUE(Open());
    faults.Fail("FT_Glyph_Copy", FT_Err_Out_Of_Memory, 2);
    EXPECT_EQ(FT_Err_Out_Of_Memory, Draw("AB"));
    EXPECT_EQ("####......\n", Shape(*font).substr(11 * 7, 11));
}

TEST_F(FontFault, AConversionThatFailsReleasesTheCopy)
{
    ASSERT_TRUE(Open());
    ASSERT_EQ(0, Draw("AB"));
    const long live = faults.LiveBlocks();
    faults.Fail("FT_Glyph_To_Bitmap", FT_Err_Raster_Overflow, 2);
    EXPECT_EQ(FT_Err_Raster_Overflow, Draw("AB"));
    EXPECT_EQ("####......\n", Shape(*font).substr(11 * 7, 11));
    EXPECT_EQ(live, faults.LiveBlocks());
    EXPECT_EQ(0, Draw("AB")) << "the cached glyph was not harmed";
    EXPECT_EQ(live, faults.LiveBlocks());
}

TEST_F(FontFault, SubPixelGlyphsFillAThirdOfTheirColumns)
{
    ASSERT_TRUE(Open());
    faults.rendered = [](FT_Bitmap& bitmap) {
        bitmap.pixel_mode = FT_PIXEL_MODE_LCD;
        bitmap.width = 4; // one pixel and a bit
        std::memset(bitmap.buffer, 0, bitmap.rows * static_cast<unsigned int>(bitmap.pitch));
    };
    ASSERT_EQ(0, font->DrawText(Text("A"), 10, Color(10, 20, 30, 40)));
    EXPECT_EQ("+....\n", Shape(*font).substr(6 * 7, 6));
    EXPECT_EQ(".....\n", Shape(*font).substr(6 * 8, 6));
    const Color& pixel = font->GetPixel(Point(0, 7));
    EXPECT_TRUE(Same(Color(10, 20, 30, 40), pixel)) << "the samples are not read";
}

TEST_F(FontFault, ModesThatAreNotDrawnLeaveThePictureAlone)
{
    ASSERT_TRUE(Open());
    for (const int mode : {FT_PIXEL_MODE_NONE, FT_PIXEL_MODE_GRAY2, FT_PIXEL_MODE_GRAY4,
                           FT_PIXEL_MODE_LCD_V, FT_PIXEL_MODE_BGRA}) {
        faults.rendered = [mode](FT_Bitmap& bitmap) {
            bitmap.pixel_mode = static_cast<unsigned char>(mode);
        };
        ASSERT_EQ(0, Draw("A"));
        EXPECT_EQ(std::string::npos, Shape(*font).find_first_of("#+")) << mode;
    }
}

TEST_F(FontFault, TheCacheKeepsGlyphsWhateverOldHeapBytesItIsMadeIn)
{
    faults.dirty = true;
    ASSERT_TRUE(Open());
    EXPECT_EQ(0, Draw("ABAB"));
    EXPECT_EQ(2, faults.GlyphsLoaded());
    EXPECT_EQ(0, Draw("BABA"));
    EXPECT_EQ(2, faults.GlyphsLoaded());
}

TEST_F(FontFault, EveryFailingAllocationOfOpenEndsInFalseOrAFontThatCloses)
{
    for (const bool fromThenOn : {false, true}) {
        int refused = 0;
        for (long which = 1;; ++which) {
            const long live = faults.LiveBlocks();
            faults.FailAllocation(which, fromThenOn);
            const bool opened = Open();
            const bool hit = faults.Hit();
            faults.FailAllocation(0);
            refused += !opened;
            // FreeType may have left a driver out for want of memory; then the line fails.
            Draw("ABAB");
            font->Close();
            if (opened) {
                ASSERT_EQ(live, faults.LiveBlocks()) << which;
            }
            if (!hit) {
                EXPECT_TRUE(opened);
                break;
            }
        }
        EXPECT_GT(refused, 3);
    }
}

TEST_F(FontFault, EveryFailingAllocationOfALineEndsInAnErrorAndSpoilsNothing)
{
    // FreeType 2.12 writes through a null pointer when there is no memory for its interpreter of
    // hinting programs, so this face has none.
    FontFace face = Pair();
    face.instructed = false;
    WriteFile(path, TrueType(face));
    ASSERT_TRUE(Open());
    ASSERT_EQ(0, Draw("ABAB"));
    const Line whole = LineOf(*font);
    for (const bool fromThenOn : {false, true}) {
        int failed = 0;
        for (long which = 1;; ++which) {
            ASSERT_TRUE(Open());
            const long opened = faults.LiveBlocks();
            faults.FailAllocation(which, fromThenOn);
            const int error = Draw("ABAB");
            const bool hit = faults.Hit();
            faults.FailAllocation(0);
            failed += error != 0;
            ASSERT_EQ(0, Draw("ABAB")) << which;
            ASSERT_TRUE(whole == LineOf(*font)) << which;
            font->Close();
            ASSERT_EQ(0, faults.LiveBlocks()) << which << " of " << opened;
            if (!hit) {
                EXPECT_EQ(0, error);
                break;
            }
        }
        EXPECT_GT(failed, 20);
    }
}
