// SPDX-License-Identifier: MIT
#ifndef ORVEX_PNG_H
#define ORVEX_PNG_H

#include <ORVEX/Buffer.h>

#include <cstdint>

/// The fields of the IHDR chunk (PNG specification, 11.2.2), as the file states them: no value is
/// checked here. All 0 until a chunk has been decoded.
class ZrPngHeader {
public:
    /// Reads the fields from the 13 bytes at `data`.
    void Decode(unsigned char* data);

    std::uint32_t width = 0;             ///< In pixels.
    std::uint32_t height = 0;            ///< In pixels.
    std::uint32_t bitDepth = 0;          ///< Bits of one sample, or of one palette index.
    std::uint32_t colorType = 0;         ///< 0 grey, 2 RGB, 3 palette, 4 grey + alpha, 6 RGBA.
    std::uint32_t compressionMethod = 0; ///< Read and never looked at.
    std::uint32_t filterMethod = 0;      ///< Read and never looked at.
    std::uint32_t interlaceMethod = 0;   ///< 0 none, 1 Adam7.
};

/// The colours of the PLTE chunk (PNG specification, 11.2.3).
///
/// Owns its entries. Their number is limited neither to 256 nor by the bit depth.
class ZrPngPalette {
public:
    ZrPngPalette() = default; ///< Empty; allocates nothing.
    ZrPngPalette(const ZrPngPalette&) = delete;
    ZrPngPalette& operator=(const ZrPngPalette&) = delete;
    ~ZrPngPalette(); ///< Releases the entries.

    /// Takes a copy of the chunk's data instead of the entries so far.
    /// @param length  of the data in bytes; 0 empties the palette
    /// @param data    red, green, blue of each entry; may be null when `length` is 0
    /// @return 1, or 0 when `length` is not a multiple of 3; the palette is then what it was
    /// @throws ORVEX::Err  ERR_MEMORY, data `length`; the palette is then empty
    std::int32_t Decode(unsigned int length, unsigned char* data);

    std::uint32_t nEntry = 0;       ///< Number of entries.
    unsigned char* entry = nullptr; ///< Owned: red, green, blue of each; null when there is none.
};

/// What the tRNS chunk says (PNG specification, 11.3.2.1), as far as it is kept.
class ZrPngTransparency {
public:
    /// Reads the chunk's data.
    /// @param length     of the data in bytes
    /// @param data       the chunk's data; may be null when `length` is 0
    /// @param colorType  of the header
    /// @return 1, or 0 when the chunk is too short or the colour type knows no such chunk; nothing
    /// is stored then
    std::int32_t Decode(unsigned int length, unsigned char* data, unsigned int colorType);

    /// Grey: the key in the first value. RGB: the key's samples. Palette: the chunk's first three
    /// bytes; what it says of further entries is dropped, on purpose. 0x7fffffff: nothing said.
    std::uint32_t col[3] = {0x7fffffff, 0x7fffffff, 0x7fffffff};
};

/// Reads a whole PNG file that lies in memory: signature, chunks, and the zlib stream of its IDAT
/// chunks, whose bytes go one by one to Output.
///
/// What the bytes become is for a derived class to say, through the three virtual operations. The
/// container is read leniently: checksums are passed over, the order of chunks is free, unknown
/// ones are skipped, and a file that ends early counts as far as it goes. No input, of any length,
/// makes it read or write outside its memory. One thread at a time; one file for each object, since
/// Decode starts from the fields that an earlier file left.
class ZrGenericPngDecoder {
public:
    ZrGenericPngDecoder(); ///< Empty palette, and what Initialize sets.
    ZrGenericPngDecoder(const ZrGenericPngDecoder&) = delete;
    ZrGenericPngDecoder& operator=(const ZrGenericPngDecoder&) = delete;
    virtual ~ZrGenericPngDecoder(); ///< Releases the palette.

    /// Called by Decode when the chunks have been read and before the image data is.
    /// @return 1 to go on; anything else leaves the image data alone. Here always 1.
    virtual std::int32_t PrepareOutput();

    /// Takes the next byte of the image data.
    /// @return 1 to go on; anything else ends the image data. Here always 1.
    virtual std::int32_t Output(unsigned char byte);

    /// Called when the image data has ended, in whatever way.
    /// @return 1 for success; Decode does not look at it. Here always 1.
    virtual std::int32_t EndOutput();

    /// Sets gamma and transparency to what they are without their chunks; nothing else.
    void Initialize();

    /// Decodes the PNG file in `file`.
    ///
    /// Image data that is damaged or cut short, or that PrepareOutput did not want, does not show
    /// in the result: the derived class's own state tells.
    /// @return 1, or -1 when the signature is wrong or the length of a PLTE chunk is not a multiple
    /// of 3
    /// @throws ORVEX::Err  ERR_MEMORY, data the bytes that were asked for: the image data (as many
    /// bytes as the file), a chunk, the palette or the inflater's memory could not be had. What
    /// Uncompress raises passes, std::bad_alloc with it, and EndOutput is then not called
    std::int32_t Decode(const ORVEX::BufferBase& file);

    /// Compares the 8 bytes at `position` with the PNG signature and moves on behind them in either
    /// case, at most to the end of the file.
    /// @return 1 when they are equal; 0 when they are not or are fewer than 8
    std::int32_t CheckSignature(const ORVEX::BufferBase& file, const unsigned char*& position);

    /// Reads the chunk at `position` and moves on behind it.
    /// @param length    out: bytes of data
    /// @param data      out: the data, which the caller releases with `delete[]`; null when there
    /// is none and when the result is 0
    /// @param type      out: the four letters, the first in the highest byte
    /// @param crc       out: the checksum as the file states it; compared with nothing
    /// @param file      the whole file
    /// @param position  in it; at its end when the result is 0
    /// @return 1, or 0 when the file ends inside the chunk
    /// @throws ORVEX::Err  ERR_MEMORY, data the length
    std::int32_t ReadChunk(unsigned int& length, unsigned char*& data, unsigned int& type,
                           unsigned int& crc, const ORVEX::BufferBase& file,
                           const unsigned char*& position);

    ZrPngHeader hdr;        ///< The last IHDR chunk.
    ZrPngPalette plt;       ///< The last PLTE chunk.
    ZrPngTransparency trns; ///< The last tRNS chunk.
    std::uint32_t gamma;    ///< The gAMA chunk's value: gamma times 100000. Never applied.
};

/// One node of a tree of Huffman codes: a step to `zero` or `one` for each bit of a code, a symbol
/// at its end. A node without children is a leaf.
///
/// Owns nothing: ZrPngUncompressor::DeleteHuffmanTree releases a whole tree.
class ZrPngHuffmanTree {
public:
    ZrPngHuffmanTree(); ///< A leaf without a symbol, counted.
    ZrPngHuffmanTree(const ZrPngHuffmanTree&) = delete;
    ZrPngHuffmanTree& operator=(const ZrPngHuffmanTree&) = delete;
    ~ZrPngHuffmanTree(); ///< No longer counted.

    ZrPngHuffmanTree* zero = nullptr; ///< Where a 0 bit leads; null when no code goes there.
    ZrPngHuffmanTree* one = nullptr;  ///< Where a 1 bit leads; null when no code goes there.
    std::uint32_t value = 0x7fffffff; ///< The symbol whose code ends here; 0x7fffffff for none.

    /// How many nodes are alive, in all threads together: a leak shows as a count that does not
    /// come back. Exact, and read and written without a lock.
    static std::int32_t leakTracker;
};

/// Inflates a zlib stream (RFC 1950, RFC 1951) and hands each byte to a decoder the moment it is
/// produced. Nothing but the window, two tables of codes and their trees is held.
///
/// A subset, on purpose: stored blocks hand out nothing, checksums are not looked at, windows may
/// be as large as CINFO 15 says. src/Png/README.md walks through a stream byte by byte.
///
/// The operations that read bits take them from byte `position` of the input, lowest bit first, at
/// the bit whose value is `mask` (1 to 128; 0 reads as 0 for ever), and move both on. Apart from
/// Uncompress they do not know where the input ends: the caller sees to it that it does not end
/// within what they read.
class ZrPngUncompressor {
public:
    /// Inflates the `size` bytes of the zlib stream at `stream` into `output`.
    /// @return 1 when the last block has been decoded; 0 when the stream is not deflate, wants a
    /// preset dictionary, is damaged or ends early, or when Output returned anything but 1. What
    /// has been handed out stays handed out.
    /// @throws ORVEX::Err  ERR_MEMORY, data the bytes or elements that were asked for. The tree's
    /// nodes are single objects, so theirs is std::bad_alloc. Nothing is leaked either way.
    std::int32_t Uncompress(unsigned int size, unsigned char* stream);

    /// Writes the fixed code's 288 lengths and codes (RFC 1951, 3.2.6).
    void MakeFixedHuffmanCode(unsigned int* lengths, unsigned int* codes);

    /// Makes the canonical code (RFC 1951, 3.2.2) of `n` symbols.
    /// @param lengths       out: a copy of `inputLengths`, which may be the same array
    /// @param codes         out: the codes; 0 for a symbol without one
    /// @param n             number of symbols
    /// @param inputLengths  bits of each symbol's code, at most 32; 0 for a symbol without one
    /// @throws ORVEX::Err  ERR_MEMORY, data the largest length + 1
    void MakeDynamicHuffmanCode(unsigned int* lengths, unsigned int* codes, unsigned int n,
                                unsigned int* inputLengths);

    /// Builds the tree of `n` codes of at most 32 bits. Codes that clash or leave gaps are not
    /// noticed: of two that are equal the later stays, and one that goes on behind another hides
    /// it.
    /// @return the root, never null; release it with DeleteHuffmanTree
    /// @throws std::bad_alloc  a node could not be had; nothing is leaked
    ZrPngHuffmanTree* MakeHuffmanTree(unsigned int n, unsigned int* lengths, unsigned int* codes);

    /// Releases a tree; null is a tree of nothing.
    void DeleteHuffmanTree(ZrPngHuffmanTree* root);

    /// Reads the codes at the start of a dynamic block (RFC 1951, 3.2.7).
    /// @param hlit              out: literal and length codes - 257
    /// @param hdist             out: distance codes - 1
    /// @param hclen             out: code length codes - 4
    /// @param literalLengths    out: into `lengths`, hlit + 257 entries
    /// @param literalCodes      out: into `codes`, hlit + 257 entries
    /// @param distanceLengths   out: into `lengths`, hdist + 1 entries
    /// @param distanceCodes     out: into `codes`, hdist + 1 entries
    /// @param lengths           322 entries
    /// @param codes             322 entries
    /// @param input             the stream
    /// @param position          in it, in bytes
    /// @param mask              of the next bit
    /// @return 1; 0 when a code is not in its tree, a repeat has nothing to repeat or runs past the
    /// 322 entries
    /// @throws ORVEX::Err  as MakeDynamicHuffmanCode and MakeHuffmanTree raise
    std::int32_t DecodeDynamicHuffmanCode(unsigned int& hlit, unsigned int& hdist,
                                          unsigned int& hclen, unsigned int*& literalLengths,
                                          unsigned int*& literalCodes,
                                          unsigned int*& distanceLengths,
                                          unsigned int*& distanceCodes, unsigned int* lengths,
                                          unsigned int* codes, const unsigned char* input,
                                          unsigned int& position, unsigned int& mask);

    /// Reads the extra bits of the length symbol `symbol`, 257 to 285.
    /// @return the match's length in bytes, 3 to 258
    unsigned int GetCopyLength(unsigned int symbol, unsigned char* input, unsigned int& position,
                               unsigned int& mask);

    /// Reads the extra bits of the distance code `code`, 0 to 31. The two codes that RFC 1951
    /// leaves without a meaning follow the others' formula.
    /// @return the match's distance in bytes, 1 to 65536
    unsigned int GetBackwardDistance(unsigned int code, unsigned char* input,
                                     unsigned int& position, unsigned int& mask);

    ZrGenericPngDecoder* output = nullptr; ///< Receives the bytes; the caller's.
};

/// Makes a raster of 8-bit R, G, B, A out of a PNG file.
///
/// Takes grey of 1 and 8 bits, RGB of 8 and 16, palettes of 4 and 8, grey + alpha and RGBA of 8,
/// each plain or interlaced. Keeps two scanlines. The filter is taken off and pixels are written
/// when their scanline is complete; for one that is not, EndOutput does so with the pixels that
/// are. Until then x and outPos stand at the scanline's first pixel, and inLineBytePos counts its
/// bytes. Pixels that no data came for are transparent black.
///
/// Some rules are its own: grey of 1 bit is always transparent (and is not drawn when it is
/// interlaced, nor are palettes of 4 bits), a grey sample is transparent when it equals any of the
/// three values that tRNS left, and the first three bytes of a palette's tRNS name the indices that
/// are transparent.
class ZrRawPngDecoder : public ZrGenericPngDecoder {
public:
    ZrRawPngDecoder(); ///< No raster, no scanlines.
    ~ZrRawPngDecoder()
        override; ///< Releases the scanlines, and the raster while autoDeleteRgba is 1.

    /// Makes room for the header's image.
    /// @return 1, or 0 when the format is not taken or the memory cannot be had; what was there
    /// before is then still there
    std::int32_t PrepareOutput() override;

    /// Takes the next byte of a scanline, the first of which names its filter.
    /// @return 1; 0 when the image is complete or its interlace method is neither 0 nor 1
    std::int32_t Output(unsigned char byte) override;

    /// Writes the pixels that are complete of a scanline that is not; an override calls it.
    /// @return 1
    std::int32_t EndOutput() override;

    /// Makes the current scanline the previous one.
    void ShiftTwoLineBuf();

    /// Turns the raster upside down.
    void Flip();

    std::uint32_t outWidth = 0;       ///< Of the raster, in pixels; 0 before PrepareOutput.
    std::uint32_t outHeight = 0;      ///< Of the raster, in pixels; 0 before PrepareOutput.
    unsigned char* rgba = nullptr;    ///< The raster: R, G, B, A of each pixel, row after row.
    std::uint32_t autoDeleteRgba = 1; ///< 1 while the raster is the decoder's to release.
    std::uint32_t filter = 0;         ///< Filter type of the current scanline.
    std::int32_t x = 0;         ///< Next pixel of the scanline; -1 when its filter type comes next.
    std::int32_t y = 0;         ///< The scanline, counted within its pass.
    std::uint32_t prepared = 0; ///< PrepareOutput sets it to 1; nothing reads it.
    std::uint32_t inLineBytePos = 0;  ///< First byte of pixel x in the scanline.
    std::uint32_t inPixelBytePos = 0; ///< Bytes of pixel x that are there.
    std::uint32_t red = 0;            ///< The last 16-bit sample.
    std::uint32_t green = 0;          ///< The last 16-bit sample.
    std::uint32_t blue = 0;           ///< The last 16-bit sample.
    std::uint32_t lineBytes = 0; ///< Bytes of the scanline that is being filled; 0 between two.
    std::uint32_t outPos = 0;    ///< Of pixel x in the raster, in bytes.
    std::int32_t pass = 0;       ///< Of Adam7, from 1 to 7; 8 when all are done.
    unsigned char* twoLineBuf = nullptr; ///< Owned: the bytes of two scanlines.
    unsigned char* curLine = nullptr;    ///< The half of it that is being filled.
    unsigned char* prevLine = nullptr;   ///< The half of it above.
};

#endif
