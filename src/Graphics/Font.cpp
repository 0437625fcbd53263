// SPDX-License-Identifier: MIT
#include <ORVEX/Font.h>

#include "../String/Walk.h"

#include <ft2build.h>

#include FT_FREETYPE_H
#include FT_CACHE_H
#include FT_GLYPH_H
#include FT_MODULE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace ORVEX {

/// What a font draws with; the face requester receives it as its request data.
struct FontEngine {
    FT_Library library = nullptr;
    FTC_Manager manager = nullptr;
    FTC_CMapCache cmapCache = nullptr;
    FTC_ImageCache imageCache = nullptr;
    unsigned long faceIndex = 0;
    String path;
    bool mono = false;
};

static_assert(sizeof(void*) != 4 || sizeof(FontEngine) == 52,
              "the data of the failure that Font() raises on the device");

namespace {

// The cache manager knows one face only.
const FTC_FaceID OnlyFace = reinterpret_cast<FTC_FaceID>(1);

// Blocks start zeroed, because FTC_Manager_New of FreeType 2.12 leaves the weight of what its cache
// holds as it finds it in its block. Old heap bytes there make the cache take itself for full, and
// it drops every glyph as soon as the next one is loaded. The manager's record has some hundred
// bytes; more of a large block is not worth the time. Below 8 KiB as a bound GCC would put a string
// instruction in place of the call, which takes longer to start for the small blocks of glyphs.
void* AllocateZeroed(FT_Memory, long size)
{
    const std::size_t bytes = static_cast<std::size_t>(size);
    void* const block = std::malloc(bytes);
    if (block)
        std::memset(block, 0, std::min<std::size_t>(bytes, 16384));
    return block;
}

void Release(FT_Memory, void* block) { std::free(block); }

void* Reallocate(FT_Memory, long, long size, void* block)
{
    return std::realloc(block, static_cast<std::size_t>(size));
}

// What FT_Init_FreeType does, on that memory. FT_Done_Library is the counterpart.
FT_Error NewLibrary(FT_Library& library)
{
    static FT_MemoryRec_ memory = {nullptr, AllocateZeroed, Release, Reallocate};
    const FT_Error error = FT_New_Library(&memory, &library);
    if (error)
        return error;
    FT_Add_Default_Modules(library);
    FT_Set_Default_Properties(library);
    return 0;
}

FT_Error face_requester(FTC_FaceID, FT_Library library, FT_Pointer requestData, FT_Face* aface)
{
    const FontEngine& engine = *static_cast<const FontEngine*>(requestData);
    FT_Face face = nullptr;
    FT_Error error =
        FT_New_Face(library, engine.path.CStr(), static_cast<FT_Long>(engine.faceIndex), &face);
    if (error)
        return error;
    error = FT_Select_Charmap(face, FT_ENCODING_UNICODE);
    if (error) {
        FT_Done_Face(face);
        return error;
    }
    *aface = face;
    return 0;
}

std::int32_t Limited(std::int64_t value)
{
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(value, Point::TypeMin, Point::TypeMax));
}

// The integer part of a 16.16 number, rounded down.
int WholePixels(FT_Pos advance) { return static_cast<std::int32_t>(advance) >> 16; }

// Whole pixels, rounded down, by which a pair of glyphs moves closer (negative) or apart.
FT_Pos Kerning(FT_Face face, unsigned int left, unsigned int right)
{
    if (left == 0 || !FT_HAS_KERNING(face))
        return 0;
    FT_Vector kerning = {0, 0};
    FT_Get_Kerning(face, left, right, FT_KERNING_DEFAULT, &kerning);
    return kerning.x >> 6;
}

int FreeTypeGetGlyphWidth(FTC_ImageCache imageCache, FTC_ImageType type, unsigned int glyphIndex)
{
    FT_Glyph glyph = nullptr;
    if (FTC_ImageCache_Lookup(imageCache, type, glyphIndex, &glyph, nullptr))
        return 0;
    return WholePixels(glyph->advance.x);
}

int FreeTypeGetTextExtentPoint(FTC_CMapCache cmapCache, FTC_FaceID faceId, int cmapIndex,
                               FTC_ImageCache imageCache, FTC_ImageType type, FT_Face face,
                               const String& text, Point& extent)
{
    // Read first: a glyph that cannot be loaded may leave the face without its size.
    extent.y = Limited(face->size->metrics.height >> 6);
    std::int64_t width = 0;
    unsigned int previous = 0;
    const char* position = text.CStr();
    const char* const end = position + text.Length();
    while (position != end) {
        const unsigned int index = FTC_CMapCache_Lookup(cmapCache, faceId, cmapIndex,
                                                        Internal::TakeCharacter(position, end));
        if (index == 0)
            continue;
        width += Kerning(face, previous, index);
        width += FreeTypeGetGlyphWidth(imageCache, type, index);
        previous = index;
    }
    extent.x = Limited(width);
    return 1;
}

// Rows from the top of the line down to the baseline.
std::int64_t Baseline(FT_Face face, const FT_Size_Metrics& metrics)
{
    // Bitmap fonts have no units; their formula would divide by zero.
    if (face->units_per_EM == 0)
        return metrics.ascender >> 6;
    const std::int64_t units = face->height + face->descender;
    return metrics.y_ppem * units / face->units_per_EM;
}

/// A cached glyph's copy, which rendering turns into a bitmap.
struct GlyphCopy {
    GlyphCopy() = default;
    GlyphCopy(const GlyphCopy&) = delete;
    GlyphCopy& operator=(const GlyphCopy&) = delete;
    ~GlyphCopy() { FT_Done_Glyph(glyph); }

    FT_Glyph glyph = nullptr;
};

/// Where glyphs go: positions outside of the picture are those of the nearest edge pixel.
class Canvas {
public:
    explicit Canvas(Bitmap& target)
        : pixels(target.Pixels().Begin()), width(target.GetSize().x), height(target.GetSize().y)
    {
        // A size that wrapped around has too few pixels for its coordinates.
        const std::uint64_t count =
            static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
        usable = !target.Empty() && count == target.Pixels().Length();
    }

    // Calls paint(row of the glyph, column, pixel) for each of columns × rows, rows first.
    template <class Paint> void Box(const FT_Bitmap& glyph, unsigned int columns, std::int64_t left,
                                    std::int64_t top, Paint paint) const
    {
        if (!usable)
            return;
        const bool inside = left >= 0 && left + columns <= width;
        const unsigned char* line = glyph.buffer;
        for (unsigned int r = 0; r < glyph.rows; ++r, line += glyph.pitch) {
            Color* const row = pixels + Clamp(top + r, height) * width;
            if (inside) {
                for (unsigned int c = 0; c < columns; ++c)
                    paint(line, c, row[left + c]);
            } else {
                for (unsigned int c = 0; c < columns; ++c)
                    paint(line, c, row[Clamp(left + c, width)]);
            }
        }
    }

private:
    static std::ptrdiff_t Clamp(std::int64_t at, std::int64_t length)
    {
        return static_cast<std::ptrdiff_t>(std::clamp<std::int64_t>(at, 0, length - 1));
    }

    Color* pixels;
    std::ptrdiff_t width;
    std::ptrdiff_t height;
    bool usable;
};

void Draw(const Canvas& canvas, const FT_Bitmap& glyph, std::int64_t left, std::int64_t top,
          const Color& color)
{
    switch (glyph.pixel_mode) {
    case FT_PIXEL_MODE_GRAY:
        canvas.Box(glyph, glyph.width, left, top,
                   [color](const unsigned char* line, unsigned int c, Color& pixel) {
                       pixel = Color(color.red, color.green, color.blue, line[c]);
                   });
        break;
    case FT_PIXEL_MODE_MONO:
        canvas.Box(glyph, glyph.width, left, top,
                   [color](const unsigned char* line, unsigned int c, Color& pixel) {
                       if (line[c / 8] & (0x80 >> c % 8))
                           pixel = color;
                   });
        break;
    case FT_PIXEL_MODE_LCD:
        // A third of the columns, filled whatever the sub-pixels are.
        canvas.Box(glyph, glyph.width / 3, left, top,
                   [color](const unsigned char*, unsigned int, Color& pixel) { pixel = color; });
        break;
    default: // the other modes are not drawn
        break;
    }
}

} // namespace

Font::Font() = default;

Font::~Font() { Close(); }

bool Font::Open(const String& path, unsigned long faceIndex, bool mono)
{
    Close();
    engine->faceIndex = faceIndex;
    engine->path = path;
    engine->mono = mono;

    // On a failure after this one, what exists by then stays: Close releases opened fonts only.
    if (NewLibrary(engine->library))
        return false;
    if (FTC_Manager_New(engine->library, 0, 0, 0, face_requester, &*engine, &engine->manager))
        return false;
    if (FTC_CMapCache_New(engine->manager, &engine->cmapCache))
        return false;
    if (FTC_ImageCache_New(engine->manager, &engine->imageCache))
        return false;
    opened = true;
    return true;
}

void Font::Close()
{
    if (!opened)
        return;
    FTC_Manager_Done(engine->manager);
    FT_Done_Library(engine->library);
    opened = false;
}

int Font::DrawText(const String& text, unsigned long emSize, Color color)
{
    Clear();
    if (!opened)
        return FT_Err_Invalid_Cache_Handle;

    FT_Face face = nullptr;
    FT_Error error = FTC_Manager_LookupFace(engine->manager, OnlyFace, &face);
    if (error)
        return error;
    const int cmapIndex = FT_Get_Charmap_Index(face->charmap);

    const std::uint32_t size32 = static_cast<std::uint32_t>(emSize);
    FTC_ScalerRec scaler = {OnlyFace, 0, size32 * 64, 0, 72, 72};
    FT_Size scaled = nullptr;
    error = FTC_Manager_LookupSize(engine->manager, &scaler, &scaled);
    if (error)
        return error;
    const std::int64_t baseline = Baseline(face, scaled->metrics);

    FTC_ImageTypeRec type = {OnlyFace, 0, size32, FT_LOAD_DEFAULT};
    Point extent;
    if (!FreeTypeGetTextExtentPoint(engine->cmapCache, OnlyFace, cmapIndex, engine->imageCache,
                                    &type, face, text, extent))
        return 0;
    extent.y = std::max(extent.y, static_cast<std::int32_t>(size32));
    ResizeNoCopy(extent); // transparent black: after Clear the pixels are always new ones

    const Canvas canvas(*this);
    const FT_Render_Mode mode = engine->mono ? FT_RENDER_MODE_MONO : FT_RENDER_MODE_NORMAL;
    std::int64_t pen = 0;
    unsigned int previous = 0;
    const char* position = text.CStr();
    const char* const end = position + text.Length();
    while (position != end) {
        const unsigned int index = FTC_CMapCache_Lookup(engine->cmapCache, OnlyFace, cmapIndex,
                                                        Internal::TakeCharacter(position, end));
        if (index == 0)
            continue;
        pen += Kerning(face, previous, index);

        FT_Glyph glyph = nullptr;
        error = FTC_ImageCache_Lookup(engine->imageCache, &type, index, &glyph, nullptr);
        if (error)
            return error;
        GlyphCopy copy; // the cached glyph stays as it is
        if (glyph->format != FT_GLYPH_FORMAT_BITMAP) {
            error = FT_Glyph_Copy(glyph, &copy.glyph);
            if (error)
                return error;
            error = FT_Glyph_To_Bitmap(&copy.glyph, mode, nullptr, 1);
            if (error)
                return error;
            glyph = copy.glyph;
        }
        const FT_BitmapGlyph image = reinterpret_cast<FT_BitmapGlyph>(glyph);
        Draw(canvas, image->bitmap, pen + image->left, baseline - image->top, color);

        pen += WholePixels(glyph->advance.x);
        previous = index;
    }
    return 0;
}

} // namespace ORVEX
