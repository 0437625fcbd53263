// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_PNG_PNGFILE_H
#define ORVEX_TESTS_PNG_PNGFILE_H

#include <ORVEX/Buffer.h>

#include <cstdint>
#include <string>
#include <vector>

/// A PNG file put together chunk by chunk. Checksums are 0xDEADBEEF: nobody compares them.
class PngFile {
public:
    using Bytes = std::vector<std::uint8_t>;

    PngFile() : bytes{137, 80, 78, 71, 13, 10, 26, 10} {}

    PngFile& Chunk(const std::string& type, const Bytes& data)
    {
        Number(static_cast<std::uint32_t>(data.size()));
        bytes.insert(bytes.end(), type.begin(), type.end());
        bytes.insert(bytes.end(), data.begin(), data.end());
        return Number(0xDEADBEEF);
    }

    PngFile& Header(std::uint32_t width, std::uint32_t height, unsigned depth, unsigned colorType,
                    unsigned interlace = 0)
    {
        return Chunk("IHDR", HeaderData(width, height, depth, colorType, interlace));
    }

    static Bytes HeaderData(std::uint32_t width, std::uint32_t height, unsigned depth,
                            unsigned colorType, unsigned interlace = 0)
    {
        PngFile data;
        data.bytes.clear();
        data.Number(width).Number(height);
        for (unsigned value : {depth, colorType, 0u, 0u, interlace})
            data.bytes.push_back(static_cast<std::uint8_t>(value));
        return data.bytes;
    }

    PngFile& End() { return Chunk("IEND", {}); }

    /// Four bytes, most significant first.
    PngFile& Number(std::uint32_t number)
    {
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes.push_back(static_cast<std::uint8_t>(number >> shift));
        return *this;
    }

    Bytes bytes;
};

/// The bytes of `file` at the end of a block of their own, so that the sanitizers see every step
/// over the end.
class OwnBlock {
public:
    explicit OwnBlock(const std::vector<std::uint8_t>& file)
        : block(new unsigned char[file.size()]), range(block, file.size())
    {
        for (std::size_t i = 0; i < file.size(); ++i)
            block[i] = file[i];
    }
    ~OwnBlock() { delete[] block; }
    OwnBlock(const OwnBlock&) = delete;
    OwnBlock& operator=(const OwnBlock&) = delete;

    const ORVEX::BufferBase& Range() const { return range; }

private:
    unsigned char* block;
    ORVEX::BufferBase range;
};

#endif
