// SPDX-License-Identifier: MIT
#include <ORVEX/Font.h>

#include "FontFiles.h"
#include "Lines.h"
#include "Support/FailingNew.h"
#include "Support/Raised.h"
#include "Support/TempDir.h"

#include <gtest/gtest.h>

#include <memory>

using ORVEX::Color;
using ORVEX::Err;
using ORVEX::Font;

namespace {

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
    const Err err = Raised([] {
        FailingNew next;
        Font font;
    });
    EXPECT_STREQ("./include/ORVEX/../../src/Pointer/AutoPointer", err.file);
    EXPECT_EQ(Err::ERR_MEMORY, err.code);
    EXPECT_EQ(static_cast<int>(sizeof(Engine)), err.data);
    if (sizeof(void*) == 4) {
        EXPECT_EQ(52, err.data);
    }
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
    const Err err = Raised([&] {
        FailingNew next;
        font.DrawText(text, 10, Color(1, 2, 3));
    });
    EXPECT_STREQ("./include/ORVEX/../../src/Pointer/Vector", err.file);
    EXPECT_EQ(Err::ERR_MEMORY, err.code);
    EXPECT_EQ(15 * 10, err.data);
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
    const Err err = Raised([&] {
        FailingNew next;
        font.DrawText(text, 1000, Color(1, 2, 3));
    });
    EXPECT_EQ(Err::ERR_MEMORY, err.code);
    // 2147483647 columns of 1000 rows, in 32 bits: -1000.
    EXPECT_EQ(-1000, err.data);
}
