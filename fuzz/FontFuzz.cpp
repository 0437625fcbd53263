// SPDX-License-Identifier: MIT
// Lines of any text in faces of any boxes, advances, kerning and bitmaps, against the same glyphs
// drawn pixel by pixel without a cache; and lines out of files that are hardly fonts any more.
//
// The first byte of an input says which: up to 127 a text in a face that is made to order, from
// 128 on one in a face that is made to order and then damaged, from 192 on one in a file that is
// the end of the input.
//
//   ./tools/fuzz 60 FontFuzz
#include "Graphics/FontFiles.h"
#include "Harness.h"
#include "PlainPicture.h"
#include "String/TextModel.h"

#include <ORVEX/Font.h>

#include <ft2build.h>

#include FT_FREETYPE_H
#include FT_GLYPH_H

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

using namespace ORVEX;

namespace {

/// A file without a name, opened through what the system calls its descriptor.
class FontFile {
public:
    FontFile()
    {
        // In memory, if there is such a place.
        for (std::string name : {"/dev/shm/orvex-font-XXXXXX", "/tmp/orvex-font-XXXXXX"}) {
            descriptor = mkstemp(&name[0]);
            if (descriptor < 0)
                continue;
            unlink(name.c_str());
            break;
        }
        Require(descriptor >= 0, "there can be a temporary file");
        path = "/proc/self/fd/" + std::to_string(descriptor);
    }
    ~FontFile() { close(descriptor); }
    FontFile(const FontFile&) = delete;
    FontFile& operator=(const FontFile&) = delete;

    void Write(const std::string& bytes)
    {
        Require(ftruncate(descriptor, 0) == 0 && pwrite(descriptor, bytes.data(), bytes.size(),
                                                        0) == static_cast<ssize_t>(bytes.size()),
                "a temporary file can be written");
    }

    std::string path;

private:
    int descriptor = -1;
};

FontFile file;

String Make(const std::string& bytes)
{
    String text;
    text.UpdateCharStr(bytes.data(), bytes.data() + bytes.size());
    return text;
}

// Starting FreeType takes longer than drawing, so the model has it started once.
FT_Library StartedFreeType()
{
    FT_Library started = nullptr;
    Require(FT_Init_FreeType(&started) == 0, "FreeType starts");
    return started;
}

const FT_Library library = StartedFreeType();

/// FreeType without its caches, and a line as the definition says it.
class Direct {
public:
    explicit Direct(const std::string& font)
    {
        error = FT_New_Memory_Face(library, reinterpret_cast<const FT_Byte*>(font.data()),
                                   static_cast<FT_Long>(font.size()), 0, &face);
        if (!error)
            error = FT_Select_Charmap(face, FT_ENCODING_UNICODE);
    }
    ~Direct() { FT_Done_Face(face); }
    Direct(const Direct&) = delete;
    Direct& operator=(const Direct&) = delete;

    static const int TooLarge = -1;

    /// FreeType's error, or 0; the picture holds what was drawn before. TooLarge for a picture
    /// that would take too long.
    int Draw(const std::string& text, unsigned int size, bool mono, const Color& color,
             PlainPicture& picture)
    {
        if (!error)
            error = FT_Set_Char_Size(face, 0, static_cast<FT_F26Dot6>(size) * 64, 72, 72);
        if (error)
            return error;
        const int ppem = face->size->metrics.y_ppem;
        const int height =
            std::max(static_cast<int>(face->size->metrics.height >> 6), static_cast<int>(size));
        const int baseline = face->units_per_EM == 0
                                 ? static_cast<int>(face->size->metrics.ascender >> 6)
                                 : ppem * (face->height + face->descender) / face->units_per_EM;
        FT_Set_Pixel_Sizes(face, 0, size);

        // Once to measure, once to draw.
        picture.width = 0;
        Walk(
            text, [](FT_GlyphSlot, int) { return 0; }, picture.width);
        picture.height = height;
        if (picture.width < 1 || height < 1) {
            picture.Clear();
            return 0;
        }
        if (static_cast<std::int64_t>(picture.width) * height > 1 << 17)
            return TooLarge;
        picture.pixels.resize(static_cast<std::size_t>(picture.width * height));
        int width = 0;
        return Walk(
            text,
            [&](FT_GlyphSlot slot, int pen) {
                if (slot->format != FT_GLYPH_FORMAT_BITMAP) {
                    const int fault =
                        FT_Render_Glyph(slot, mono ? FT_RENDER_MODE_MONO : FT_RENDER_MODE_NORMAL);
                    if (fault)
                        return fault;
                }
                Draw(slot->bitmap, pen + slot->bitmap_left, baseline - slot->bitmap_top, color,
                     picture);
                return 0;
            },
            width);
    }

private:
    // Calls draw(slot, pen) for each glyph; its error, or that of a glyph, ends the walk.
    template <class Action> int Walk(const std::string& text, Action draw, int& pen)
    {
        unsigned int previous = 0;
        for (std::size_t at = 0; at < text.size(); at = Model::Next(text, at)) {
            const unsigned int index = FT_Get_Char_Index(face, Model::Decode(text, at));
            if (index == 0)
                continue;
            if (previous != 0 && FT_HAS_KERNING(face)) {
                FT_Vector kerning = {0, 0};
                FT_Get_Kerning(face, previous, index, FT_KERNING_DEFAULT, &kerning);
                pen += static_cast<int>(kerning.x >> 6);
            }
            int fault = FT_Load_Glyph(face, index, FT_LOAD_DEFAULT);
            const int advance = fault ? 0 : static_cast<int>(face->glyph->advance.x >> 6);
            if (!fault)
                fault = draw(face->glyph, pen);
            if (fault)
                return fault;
            pen += advance;
            previous = index;
        }
        return 0;
    }

    static void Draw(const FT_Bitmap& glyph, int left, int top, const Color& color,
                     PlainPicture& picture)
    {
        for (int r = 0; r < static_cast<int>(glyph.rows); ++r) {
            const unsigned char* const line = glyph.buffer + r * glyph.pitch;
            for (int c = 0; c < static_cast<int>(glyph.width); ++c) {
                Color& pixel = picture.AtNearest(left + c, top + r);
                if (glyph.pixel_mode == FT_PIXEL_MODE_GRAY)
                    pixel = Color(color.red, color.green, color.blue, line[c]);
                else if (glyph.pixel_mode == FT_PIXEL_MODE_MONO && line[c / 8] & 0x80 >> c % 8)
                    pixel = color;
            }
        }
    }

    FT_Face face = nullptr;
    int error;
};

const std::uint32_t Codes[] = {'A', 'B', 'C', ' ', 0xE9, 0x20AC, 0x1F600};

int TakeUnits(Feed& feed) { return static_cast<int>(feed.Number(2000)) - 600; }

std::string TakeOutlines(Feed& feed)
{
    FontFace face;
    const std::uint8_t kind = feed.Byte();
    face.unitsPerEm = kind & 1 ? 1000 : 500 + static_cast<int>(feed.Number(2000));
    face.instructed = (kind & 2) == 0;
    face.ascender = 800 + (kind & 4 ? TakeUnits(feed) / 2 : 0);
    face.descender = kind & 8 ? TakeUnits(feed) / 4 : -200;
    for (const std::uint32_t code : Codes) {
        FontGlyph glyph = {code, TakeUnits(feed), {}};
        for (std::uint8_t boxes = feed.Byte() % 3; boxes > 0; --boxes) {
            const int left = TakeUnits(feed), bottom = TakeUnits(feed);
            glyph.boxes.push_back({left, bottom, left + TakeUnits(feed), bottom + TakeUnits(feed)});
        }
        face.glyphs.push_back(glyph);
    }
    for (std::uint8_t pairs = feed.Byte() % 4; pairs > 0; --pairs)
        face.pairs.push_back({Codes[feed.Byte() % 7], Codes[feed.Byte() % 7], TakeUnits(feed)});
    return TrueType(face);
}

std::string TakeBitmaps(Feed& feed, unsigned int size)
{
    const std::uint8_t kind = feed.Byte();
    const int depth = 1 << kind % 4; // 8 is grey; 2 and 4 are not drawn
    std::vector<BitmapGlyph> glyphs;
    for (const std::uint32_t code : Codes) {
        BitmapGlyph glyph = {code,
                             static_cast<int>(feed.Number(12)) - 1,
                             1 + feed.Byte() % 12,
                             1 + feed.Byte() % 12,
                             feed.Byte() % 9 - 4,
                             feed.Byte() % 9 - 4,
                             {}};
        for (int row = 0; row < glyph.height; ++row) {
            std::string digits;
            for (int bits = 0; bits < glyph.width * depth; bits += 8) {
                const std::uint8_t byte = feed.Byte();
                digits += "0123456789ABCDEF"[byte / 16];
                digits += "0123456789ABCDEF"[byte % 16];
            }
            glyph.rows.push_back(digits);
        }
        glyphs.push_back(glyph);
    }
    const int pixelSize = kind & 0x80 ? 12 : std::max(1, static_cast<int>(size));
    return Bdf(pixelSize, kind / 8 % 16, kind / 4 % 8, depth, glyphs);
}

// A good file, but for a few bytes.
std::string TakeDamaged(Feed& feed, std::uint8_t flags)
{
    std::string bytes = flags & 32 ? TakeBitmaps(feed, 12) : TakeOutlines(feed);
    for (std::uint8_t wounds = feed.Byte() % 16; wounds > 0; --wounds)
        bytes[feed.Number(0xFFFF) % bytes.size()] = static_cast<char>(feed.Byte());
    return bytes;
}

std::string TakeRest(Feed& feed)
{
    const std::vector<std::uint8_t> bytes = feed.Rest();
    return std::string(bytes.begin(), bytes.end());
}

std::string TakeText(Feed& feed, std::size_t most)
{
    std::string text;
    for (const std::uint8_t byte : feed.Bytes(most))
        text +=
            byte < 56 ? Model::Encode(Codes[byte % 7]) : std::string(1, static_cast<char>(byte));
    return text;
}

// What holds for every picture, whatever the font is.
void ExpectWhole(const Font& font)
{
    const Point size = font.GetSize();
    Require(std::uint64_t(std::uint32_t(size.x)) * std::uint32_t(size.y) == font.Pixels().Length(),
            "there is a pixel for every place");
}

// Whether the call raised for more pixels than 32 bits can address, which no heap is asked for.
bool IsBeyondAnyArray(const Outcome& outcome)
{
    const char* const vector = "./include/ORVEX/../../src/Pointer/Vector";
    const unsigned long pixels = static_cast<std::uint32_t>(outcome.data);
    return outcome.Is(vector, Err::ERR_MEMORY, outcome.data) &&
           pixels > PTRDIFF_MAX / sizeof(Color);
}

void DrawInOrder(Feed& feed, std::uint8_t flags)
{
    const unsigned int size = feed.Byte() % 48;
    const bool mono = flags & 1;
    const Color color = TakeColor(feed);
    const std::string bytes = flags & 2 ? TakeBitmaps(feed, size) : TakeOutlines(feed);
    const std::string text = TakeText(feed, 24);
    file.Write(bytes);

    Font font;
    Require(font.Open(Make(file.path), 0, mono), "a font opens");
    PlainPicture picture;
    const int expected = Direct(bytes).Draw(text, size, mono, color, picture);
    if (expected == Direct::TooLarge)
        return;
    const String line = Make(text);
    for (int i = 0; i < 2; ++i) {
        Require(font.DrawText(line, size, color) == expected, "FreeType says the same");
        ExpectWhole(font);
        Require(picture.Equals(font), "the line is drawn glyph by glyph");
        // Another size in between leaves the cache as it should be.
        if (flags & 4)
            font.DrawText(line, size + 1, color);
    }
}

// In pixels per em. Where long has 32 bits, a damaged font's coordinates (16 bits in units of down
// to a 16th of an em) leave FreeType's 26.6 positions from size 16384 on; it does not look, and its
// rasterizer writes anywhere. Before that its glyphs get larger than an input has time for.
const std::uint32_t LargestSize = sizeof(FT_Pos) > 4 ? UINT32_MAX : 2047;

void DrawAnything(Feed& feed, std::uint8_t flags)
{
    const unsigned long size = flags & 1 ? feed.Byte() % 40 : std::min(feed.Word(), LargestSize);
    const Color color = TakeColor(feed);
    const String text = Make(TakeText(feed, feed.Byte() % 16));
    file.Write(flags < 192 ? TakeDamaged(feed, flags) : TakeRest(feed));

    Font font;
    Require(font.Open(Make(file.path), flags / 4 % 4, flags & 2), "a font opens");
    for (int i = 0; i < 2; ++i) {
        const Outcome outcome = Attempt(0, [&] { font.DrawText(text, size, color); });
        Require(outcome.how == Outcome::Returned || outcome.refused || IsBeyondAnyArray(outcome),
                "DrawText raises only when its pixels are refused");
        if (outcome.how == Outcome::Returned)
            ExpectWhole(font);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    Feed feed(data, size);
    const std::uint8_t flags = feed.Byte();
    if (flags < 128)
        DrawInOrder(feed, flags);
    else
        DrawAnything(feed, flags);
    return 0;
}
