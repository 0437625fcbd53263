// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_FONTFILES_H
#define ORVEX_TESTS_FONTFILES_H

#include <cstdint>
#include <string>
#include <vector>

/// A filled rectangle of a glyph, in font units, y growing upward.
struct FontBox {
    int left, bottom, right, top;
};

/// A glyph made of rectangles; none leave it blank.
struct FontGlyph {
    std::uint32_t code; // the character
    int advance;        // font units
    std::vector<FontBox> boxes;
};

/// A pair of characters that moves closer (negative) or apart, in font units.
struct FontPair {
    std::uint32_t left, right;
    int value;
};

/// A TrueType face to the measure of a test. Line height is ascender - descender.
struct FontFace {
    int unitsPerEm = 1000;
    int ascender = 800;
    int descender = -200;
    std::vector<FontGlyph> glyphs;
    std::vector<FontPair> pairs; // none: the face has no kerning table
    bool unicode = true;         // false: its only character map is a symbol map
    bool instructed = true;      // false: FreeType hints the outlines by itself
};

/// The bytes of a TrueType font file with that face (OpenType specification, tables head, hhea,
/// maxp, hmtx, cmap 12, loca, glyf, kern 0, post 3).
std::string TrueType(const FontFace& face);

/// The bytes of a TrueType collection.
std::string TrueTypeCollection(const std::vector<FontFace>& faces);

/// A glyph of a bitmap font: rows of hexadecimal digits, as BDF has them.
struct BitmapGlyph {
    std::uint32_t code;
    int advance;                     // pixels
    int width, height, left, bottom; // of the box, pixels, y growing upward
    std::vector<std::string> rows;
};

/// The text of a BDF font file (Glyph Bitmap Distribution Format 2.1, with the 2.3 bits per
/// pixel behind SIZE).
std::string Bdf(int pixelSize, int ascent, int descent, int bitsPerPixel,
                const std::vector<BitmapGlyph>& glyphs);

/// Writes a whole file.
void WriteFile(const std::string& path, const std::string& bytes);

#endif
