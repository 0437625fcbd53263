// SPDX-License-Identifier: MIT
#include <ORVEX/Font.h>

#include "FontFiles.h"
#include "Lines.h"
#include "Support/ExpectRaises.h"
#include "Support/FailingNew.h"
#include "Support/Raised.h"
#include "Support/TempDir.h"

#include <gtest/gtest.h>

#include <string>

using ORVEX::Color;
using ORVEX::Err;
using ORVEX::Font;

namespace {

const char InVector[] = "./include/ORVEX/../../src/Pointer/Vector";

// The fields of the record that a font draws with.
struct Engine {
    void *library, *manager, *cmapCache, *imageCache;
    unsigned long faceIndex;
    ORVEX::String path;
    bool mono;
};

} // namespace

TEST(FontMemory, ARecordThatCannotBeMadeRaisesItsSize)
{
    const int size = sizeof(void*) == 4 ? 52 : static_cast<int>(sizeof(Engine));
    ExpectRaises("./include/ORVEX/../../src/Pointer/AutoPointer", Err::ERR_MEMORY, size, [] {
        FailingNew next;
        Font font;
    });
}

TEST(FontMemory, NoAllocationThatFailsLeaksAnything)
{
    const long live = LiveBlocks();
    for (long which = 1;; ++which) {
        bool hit = false;
        bool raised = false;
        {
            CapturedCerr captured;
            FailingNew failing(which);
            try {
                Font font;
            } catch (const Err& err) {
                raised = err.code == Err::ERR_MEMORY;
            }
            hit = failing.Hit();
        }
        EXPECT_EQ(live, LiveBlocks()) << which;
        EXPECT_EQ(hit, raised) << which;
        if (!hit)
            break;
    }
}

TEST(FontMemory, APathThatCannotBeKeptLeavesTheFontClosed)
{
    TempDir folder;
    FontFace face;
    face.glyphs = {{'A', 500, {}}};
    WriteFile(folder.File("font.ttf"), TrueType(face));
    const ORVEX::String path = Text(folder.File("font.ttf"));
    const ORVEX::String longPath = Text(std::string(1000, 'x'));
    Font font;
    ASSERT_TRUE(font.Open(path, 0, false));
    ASSERT_EQ(0, font.DrawText(Text("A"), 10, Color(1, 2, 3)));
    ExpectRaises("src/Allocator/Heep", Err::ERR_MEMORY, 4, [&] {
        FailingNew next;
        font.Open(longPath, 0, false);
    });
    EXPECT_EQ(5, font.GetSize().x) << "the picture stays";
    EXPECT_NE(0, font.DrawText(Text("A"), 10, Color(1, 2, 3)));
    ASSERT_TRUE(font.Open(path, 0, false));
    EXPECT_EQ(0, font.DrawText(Text("A"), 10, Color(1, 2, 3)));
}

TEST(FontMemory, PixelsThatCannotBeHadRaiseTheirNumber)
{
    TempDir folder;
    FontFace face;
    face.glyphs = {{'A', 500, {}}};
    WriteFile(folder.File("font.ttf"), TrueType(face));
    Font font;
    const ORVEX::String path = Text(folder.File("font.ttf"));
    const ORVEX::String text = Text("AAA");
    ASSERT_TRUE(font.Open(path, 0, false));
    ASSERT_EQ(0, font.DrawText(text, 10, Color(1, 2, 3)));
    ExpectRaises(InVector, Err::ERR_MEMORY, 15 * 10, [&] {
        FailingNew next;
        font.DrawText(text, 10, Color(1, 2, 3));
    });
    EXPECT_TRUE(font.Empty());
    EXPECT_EQ(0, font.DrawText(text, 10, Color(1, 2, 3)));
    EXPECT_EQ(15, font.GetSize().x);
}

TEST(FontMemory, ALineWiderThanAPointCanSayStopsThere)
{
    TempDir folder;
    FontFace face;
    face.glyphs = {{'A', 32000, {}}};
    WriteFile(folder.File("font.ttf"), TrueType(face));
    Font font;
    ASSERT_TRUE(font.Open(Text(folder.File("font.ttf")), 0, false));
    const ORVEX::String text = Text(std::string(70000, 'A')); // 2,240,000,000 pixels
    // 2147483647 columns of 1000 rows, in 32 bits: -1000.
    ExpectRaises(InVector, Err::ERR_MEMORY, -1000, [&] {
        FailingNew next;
        font.DrawText(text, 1000, Color(1, 2, 3));
    });
}
