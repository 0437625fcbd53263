// SPDX-License-Identifier: MIT
#ifndef ORVEX_FONT_H
#define ORVEX_FONT_H

#include <ORVEX/AutoPointer.h>
#include <ORVEX/Bitmap.h>
#include <ORVEX/Color.h>
#include <ORVEX/String.h>

namespace ORVEX {

struct FontEngine; // FreeType's side of a font; src/Graphics/Font.cpp alone knows it

/// One face of one font file, and the picture of the line of text that it has drawn last.
///
/// A font is a bitmap: DrawText replaces its pixels by one line, sized to the text, and
/// Bitmap::Overlap lays that onto another picture. Owns a FreeType instance with its cache of
/// glyph outlines and character maps from Open to Close; it is not copyable. One thread at a
/// time; fonts share nothing, so two threads may use one each.
///
/// FreeType's memory comes from malloc by way of a memory object of the library's own (as
/// FT_New_Library takes it), whose blocks start zeroed: otherwise the cache of FreeType 2.12 may
/// keep nothing, and each line take many times as long. When memory runs out FreeType reports it,
/// with one exception: FreeType 2.12 writes through a null pointer when there is none for its
/// interpreter of TrueType hinting programs.
class Font : public Bitmap {
public:
    /// An empty bitmap, not opened.
    /// @throws Err  ERR_MEMORY, data the engine record's size in bytes (52 where pointers have 32
    /// bits); ERR_MEMORY as a String raises it, when the record's own path has no memory
    Font();

    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;

    ~Font(); ///< Close(), and the pixels are released.

    /// Prepares FreeType for the face; an opened font is closed first. The bitmap keeps its pixels.
    ///
    /// The file is not touched before the first DrawText, which then reports what is wrong with
    /// it. When Open itself fails, what it had got from FreeType by then stays allocated.
    /// @param path       font file, handed to the system byte for byte; TrueType, OpenType, Type 1,
    /// BDF, PCF: whatever this FreeType opens
    /// @param faceIndex  face in the file, counted from 0; collections hold several
    /// @param mono       true draws outlines without grey levels, every pixel set or not
    /// @return true on success; false when FreeType has no memory for itself or its caches
    /// @throws Err  ERR_MEMORY as a String raises it, when the path cannot be kept
    bool Open(const String& path, unsigned long faceIndex, bool mono);

    /// Releases all that Open got; nothing when not opened. The bitmap keeps its pixels.
    void Close();

    /// Draws one line of text, which becomes the whole picture.
    ///
    /// The bitmap is as wide as the text advances, kerning included, and as high as the face's
    /// line, but at least `emSize`; the rest is transparent black. Characters without a glyph are
    /// left out as if they were not in the text; text without any glyph empties the bitmap. What
    /// a glyph has outside of the bitmap lands on the nearest edge pixel, as SetPixel puts it.
    ///
    /// Smooth glyphs take red, green and blue from `color`, and their alpha is the coverage, 0
    /// to 255, whatever the colour's alpha; the whole box of a glyph is written, so that it
    /// erases what an earlier glyph had drawn there. One-bit glyphs (mono, or a bitmap font's
    /// own) write `color` with its alpha where a bit is set and leave the other pixels alone.
    /// Embedded grey bitmaps are drawn like smooth glyphs if they have 256 levels; other
    /// embedded formats are not drawn.
    ///
    /// The line's width stops at Point::TypeMax. An `emSize` has 32 bits, and its 26.6 form keeps
    /// the low 32 as well; FreeType refuses sizes that it cannot render (above 65535).
    /// Where `long` has 32 bits, stay below 16384 with fonts that you did not choose: FreeType does
    /// not look whether their positions fit.
    /// @param text   UTF-8; a cut-off character at its end counts its missing bytes as 0
    /// @param emSize pixels per em
    /// @param color  of the text
    /// @return 0 when the whole line has been drawn; otherwise FreeType's error number: the file
    /// cannot be opened, is no font, has no such face or no Unicode character map; or the size
    /// cannot be set (the bitmap is then empty); or a glyph cannot be loaded or rendered (the
    /// bitmap then holds the glyphs before it). Not 0 for a font that is not opened.
    /// @throws Err  ERR_MEMORY, data the number of pixels, when the bitmap has no memory
    int DrawText(const String& text, unsigned long emSize, Color color);

private:
    AutoPointer<FontEngine> engine;
    bool opened = false; // from a successful Open to Close: the engine's handles are alive
};

} // namespace ORVEX

#endif
