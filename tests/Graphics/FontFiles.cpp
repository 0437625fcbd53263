// SPDX-License-Identifier: MIT
#include "FontFiles.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <stdexcept>

namespace {

// Big-endian bytes, as OpenType has its numbers.
class Bytes {
public:
    Bytes& U8(std::uint32_t value)
    {
        text += static_cast<char>(value);
        return *this;
    }
    Bytes& U16(std::uint32_t value) { return U8(value >> 8).U8(value); }
    Bytes& U32(std::uint32_t value) { return U16(value >> 16).U16(value); }
    Bytes& S16(int value) { return U16(static_cast<std::uint32_t>(value)); }
    Bytes& Zeros(int count)
    {
        text.append(static_cast<std::size_t>(count), '\0');
        return *this;
    }
    void Align(std::size_t unit)
    {
        while (text.size() % unit)
            text += '\0';
    }
    std::uint32_t Size() const { return static_cast<std::uint32_t>(text.size()); }

    std::string text;
};

std::string Outline(const FontGlyph& glyph)
{
    if (glyph.boxes.empty())
        return std::string();
    FontBox bounds = glyph.boxes[0];
    for (const FontBox& box : glyph.boxes) {
        bounds.left = std::min(bounds.left, box.left);
        bounds.bottom = std::min(bounds.bottom, box.bottom);
        bounds.right = std::max(bounds.right, box.right);
        bounds.top = std::max(bounds.top, box.top);
    }
    const std::uint32_t count = static_cast<std::uint32_t>(glyph.boxes.size());
    Bytes out;
    out.U16(count).S16(bounds.left).S16(bounds.bottom).S16(bounds.right).S16(bounds.top);
    for (std::uint32_t i = 0; i < count; ++i)
        out.U16(4 * i + 3); // the contour's last point
    out.U16(0);             // no instructions
    for (std::uint32_t i = 0; i < 4 * count; ++i)
        out.U8(1); // on the curve, two-byte steps
    int x = 0;
    for (const FontBox& box : glyph.boxes) { // clockwise from the lower left corner
        out.S16(box.left - x).S16(0).S16(box.right - box.left).S16(0);
        x = box.right;
    }
    int y = 0;
    for (const FontBox& box : glyph.boxes) {
        out.S16(box.bottom - y).S16(box.top - box.bottom).S16(0).S16(box.bottom - box.top);
        y = box.bottom;
    }
    out.Align(4);
    return out.text;
}

// The tables of a face by their tags; glyph 0 is the blank ".notdef".
std::map<std::string, std::string> Tables(const FontFace& face)
{
    std::vector<FontGlyph> glyphs = face.glyphs;
    std::sort(glyphs.begin(), glyphs.end(),
              [](const FontGlyph& a, const FontGlyph& b) { return a.code < b.code; });
    const std::uint32_t count = static_cast<std::uint32_t>(glyphs.size()) + 1;
    const auto indexOf = [&](std::uint32_t code) {
        for (std::uint32_t i = 0; i < glyphs.size(); ++i)
            if (glyphs[i].code == code)
                return i + 1;
        throw std::logic_error("a pair names a character that the face lacks");
    };

    Bytes head, hhea, maxp, hmtx, cmap, loca, glyf, kern, post;
    head.U32(0x10000).U32(0x10000).U32(0).U32(0x5F0F3CF5).U16(0);
    head.S16(face.unitsPerEm).Zeros(16).S16(-1000).S16(-1000).S16(1000).S16(1000);
    head.U16(0).U16(1).S16(2).S16(1).S16(0); // long offsets in loca
    hhea.U32(0x10000).S16(face.ascender).S16(face.descender).S16(0).U16(0xFFFF).Zeros(22);
    hhea.U16(count);
    maxp.U32(0x10000).U16(count).U16(400).U16(100).Zeros(4).U16(1);
    maxp.Zeros(10).U16(face.instructed).Zeros(4); // the largest program, in bytes

    hmtx.U16(0).S16(0);
    loca.U32(0).U32(0);
    for (const FontGlyph& glyph : glyphs) {
        int bearing = 0;
        for (std::size_t i = 0; i < glyph.boxes.size(); ++i)
            bearing = i ? std::min(bearing, glyph.boxes[i].left) : glyph.boxes[i].left;
        hmtx.S16(glyph.advance).S16(bearing);
        glyf.text += Outline(glyph);
        loca.U32(glyf.Size());
    }
    glyf.Zeros(4); // never empty

    cmap.U16(0).U16(1).U16(3).U16(face.unicode ? 10 : 0).U32(12);
    cmap.U16(12).U16(0).U32(16 + 12 * (count - 1)).U32(0).U32(count - 1);
    for (const FontGlyph& glyph : glyphs)
        cmap.U32(glyph.code).U32(glyph.code).U32(indexOf(glyph.code));

    std::map<std::uint32_t, int> pairs; // sorted, as the table has to be
    for (const FontPair& pair : face.pairs)
        pairs[indexOf(pair.left) << 16 | indexOf(pair.right)] = pair.value;
    const std::uint32_t pairCount = static_cast<std::uint32_t>(pairs.size());
    kern.U16(0).U16(1).U16(0).U16(14 + 6 * pairCount).U16(1);
    kern.U16(pairCount).U16(0).U16(0).U16(0);
    for (const auto& pair : pairs)
        kern.U32(pair.first).S16(pair.second);

    post.U32(0x30000).Zeros(28); // no glyph names, from which characters could be guessed

    std::map<std::string, std::string> tables = {
        {"head", head.text}, {"hhea", hhea.text}, {"maxp", maxp.text}, {"hmtx", hmtx.text},
        {"cmap", cmap.text}, {"loca", loca.text}, {"glyf", glyf.text}, {"post", post.text}};
    if (!face.pairs.empty())
        tables["kern"] = kern.text;
    return tables;
}

// A face's table directory with its tables, to stand at `offset` in the file.
std::string Sfnt(const FontFace& face, std::uint32_t offset)
{
    const auto tables = Tables(face);
    const std::uint32_t count = static_cast<std::uint32_t>(tables.size());
    Bytes directory, body;
    directory.U32(0x10000).U16(count).U16(128).U16(3).U16(0);
    for (const auto& table : tables) {
        directory.text += table.first;
        directory.U32(0).U32(offset + 12 + 16 * count + body.Size());
        directory.U32(static_cast<std::uint32_t>(table.second.size()));
        body.text += table.second;
        body.Align(4);
    }
    return directory.text + body.text;
}

} // namespace

std::string TrueType(const FontFace& face) { return Sfnt(face, 0); }

std::string TrueTypeCollection(const std::vector<FontFace>& faces)
{
    const std::uint32_t count = static_cast<std::uint32_t>(faces.size());
    Bytes header;
    header.text = "ttcf";
    header.U32(0x10000).U32(count);
    std::uint32_t offset = 12 + 4 * count;
    std::string bodies;
    for (const FontFace& face : faces) {
        header.U32(offset);
        const std::string body = Sfnt(face, offset);
        offset += static_cast<std::uint32_t>(body.size());
        bodies += body;
    }
    return header.text + bodies;
}

std::string Bdf(int pixelSize, int ascent, int descent, int bitsPerPixel,
                const std::vector<BitmapGlyph>& glyphs)
{
    const std::string size = std::to_string(pixelSize);
    std::string text = "STARTFONT 2.1\n"
                       "FONT -orvex-test-medium-r-normal--" +
                       size + "-" + size + "0-72-72-c-80-iso10646-1\n";
    text += "SIZE " + size + " 72 72";
    if (bitsPerPixel != 1)
        text += " " + std::to_string(bitsPerPixel);
    text += "\nFONTBOUNDINGBOX " + size + " " + size + " 0 " + std::to_string(-descent) + "\n";
    text += "STARTPROPERTIES 5\nPIXEL_SIZE " + size + "\nFONT_ASCENT " + std::to_string(ascent) +
            "\nFONT_DESCENT " + std::to_string(descent) +
            "\nCHARSET_REGISTRY \"ISO10646\"\nCHARSET_ENCODING \"1\"\nENDPROPERTIES\n";
    text += "CHARS " + std::to_string(glyphs.size()) + "\n";
    for (const BitmapGlyph& glyph : glyphs) {
        text += "STARTCHAR u" + std::to_string(glyph.code) + "\nENCODING " +
                std::to_string(glyph.code) + "\nSWIDTH 500 0\nDWIDTH " +
                std::to_string(glyph.advance) + " 0\nBBX " + std::to_string(glyph.width) + " " +
                std::to_string(glyph.height) + " " + std::to_string(glyph.left) + " " +
                std::to_string(glyph.bottom) + "\nBITMAP\n";
        for (const std::string& row : glyph.rows)
            text += row + "\n";
        text += "ENDCHAR\n";
    }
    return text + "ENDFONT\n";
}

void WriteFile(const std::string& path, const std::string& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}
