// SPDX-License-Identifier: MIT
// The container layer on any bytes, once or twice with one decoder, against a walk over the chunks
// that keeps what the format says of them.
//
// The first byte of an input says how PrepareOutput and Output answer and where the second file
// starts; a signature stands before each file unless it says otherwise.
//
//   ./tools/fuzz 60 ContainerFuzz
#include "Harness.h"
#include "PlainInflate.h"
#include "Png/PngFile.h"

#include <ORVEX/Png.h>

#include <algorithm>
#include <cstring>

namespace {

using Bytes = std::vector<std::uint8_t>;

const Bytes Signature = PngFile().bytes;
const std::size_t MostOutput = 1 << 14;

/// Writes down what it is asked.
class Recorder : public ZrGenericPngDecoder {
public:
    explicit Recorder(bool wantsData) : wants(wantsData) {}

    std::int32_t PrepareOutput() override
    {
        ++prepared;
        return wants ? 1 : 0;
    }
    std::int32_t Output(unsigned char byte) override
    {
        Require(prepared == ended + 1, "Output is called between PrepareOutput and EndOutput");
        bytes.push_back(byte);
        return bytes.size() < MostOutput ? 1 : 0;
    }
    std::int32_t EndOutput() override
    {
        ++ended;
        return 0; // of no account
    }

    bool wants;
    int prepared = 0;
    int ended = 0;
    Bytes bytes;
};

/// What the decoder should know of a file.
struct Model {
    std::uint32_t header[7] = {};
    Bytes palette;
    std::uint32_t col[3] = {0x7fffffff, 0x7fffffff, 0x7fffffff};
    std::uint32_t gamma = 100000;
    Bytes data; // of all IDAT chunks

    static std::uint32_t Number(const Bytes& bytes, std::size_t at, int count)
    {
        std::uint32_t number = 0;
        for (int i = 0; i < count; ++i)
            number = number << 8 | bytes[at + static_cast<std::size_t>(i)];
        return number;
    }

    /// False when the file is refused as a whole.
    bool Read(const Bytes& file)
    {
        data.clear();
        if (file.size() < 8 || !std::equal(Signature.begin(), Signature.end(), file.begin()))
            return false;
        for (std::size_t at = 8; file.size() - at >= 12;) {
            const std::uint32_t length = Number(file, at, 4);
            const std::string type(file.begin() + long(at) + 4, file.begin() + long(at) + 8);
            if (file.size() - at - 12 < length || type == "IEND")
                break;
            const Bytes chunk(file.begin() + long(at) + 8, file.begin() + long(at + 8 + length));
            if (!Take(type, chunk))
                return false;
            at += 12 + length;
        }
        return true;
    }

    bool Take(const std::string& type, const Bytes& chunk)
    {
        if (type == "IHDR" && chunk.size() >= 13) {
            header[0] = Number(chunk, 0, 4);
            header[1] = Number(chunk, 4, 4);
            for (std::size_t i = 0; i < 5; ++i)
                header[2 + i] = chunk[8 + i];
        } else if (type == "PLTE") {
            if (chunk.size() % 3 != 0)
                return false;
            palette = chunk;
        } else if (type == "tRNS") {
            if (header[3] == 0 && chunk.size() >= 2)
                col[0] = Number(chunk, 0, 2);
            if (header[3] == 2 && chunk.size() >= 6)
                for (std::size_t i = 0; i < 3; ++i)
                    col[i] = Number(chunk, 2 * i, 2);
            if (header[3] == 3)
                std::copy_n(chunk.begin(), std::min<std::size_t>(chunk.size(), 3), col);
        } else if (type == "gAMA" && chunk.size() >= 4) {
            gamma = Number(chunk, 0, 4);
        } else if (type == "IDAT") {
            data.insert(data.end(), chunk.begin(), chunk.end());
        }
        return true;
    }

    void Expect(const ZrGenericPngDecoder& decoder) const
    {
        const std::uint32_t known[7] = {decoder.hdr.width,
                                        decoder.hdr.height,
                                        decoder.hdr.bitDepth,
                                        decoder.hdr.colorType,
                                        decoder.hdr.compressionMethod,
                                        decoder.hdr.filterMethod,
                                        decoder.hdr.interlaceMethod};
        Require(std::equal(header, header + 7, known), "the header is the last one");
        Require(decoder.plt.nEntry * std::size_t{3} == palette.size() &&
                    std::equal(palette.begin(), palette.end(), decoder.plt.entry) &&
                    (decoder.plt.entry == nullptr) == palette.empty(),
                "the palette is the last one");
        Require(std::equal(col, col + 3, decoder.trns.col), "the transparency is the last one");
        Require(decoder.gamma == gamma, "gamma is the last one");
    }
};

// False when an allocation was refused; what the decoder then knows is not settled.
bool DecodeFile(Recorder& decoder, Model& model, const Bytes& file, unsigned int refuse)
{
    const OwnBlock block(file);
    std::int32_t result = 0;
    const int prepared = decoder.prepared;
    const int ended = decoder.ended;
    decoder.bytes.clear();
    decoder.bytes.reserve(MostOutput);
    const Outcome outcome = Attempt(refuse, [&] { result = decoder.Decode(block.Range()); });
    Require((outcome.how != Outcome::Returned) == outcome.refused,
            "Decode raises exactly when it is refused");
    if (outcome.refused)
        return false;
    const bool accepted = model.Read(file);
    Require(result == (accepted ? 1 : -1), "the result is right");
    model.Expect(decoder);
    Require(decoder.prepared - prepared == (accepted ? 1 : 0), "PrepareOutput is called once");
    Require(decoder.ended - ended == (accepted && decoder.wants ? 1 : 0),
            "EndOutput is called once");

    Bytes expected;
    const auto sink = [&expected](std::uint8_t byte) {
        expected.push_back(byte);
        return expected.size() < MostOutput;
    };
    if (accepted && decoder.wants)
        PlainInflate<decltype(sink)>(model.data, sink).Run();
    Require(decoder.bytes == expected, "the image data is that of all IDAT chunks");
    return true;
}

// Chunk by chunk, as a caller might read a file.
void ReadChunks(ZrGenericPngDecoder& decoder, const Bytes& file)
{
    const OwnBlock block(file);
    const unsigned char* position = block.Range().Begin();
    decoder.CheckSignature(block.Range(), position);
    unsigned int length, type, crc;
    unsigned char* data;
    std::size_t at = std::min<std::size_t>(file.size(), 8);
    while (decoder.ReadChunk(length, data, type, crc, block.Range(), position) == 1) {
        Require((data == nullptr) == (length == 0), "a chunk without data has none");
        Require(length == Model::Number(file, at, 4) && type == Model::Number(file, at + 4, 4) &&
                    crc == Model::Number(file, at + 8 + length, 4) &&
                    std::equal(data, data + length, file.begin() + long(at) + 8),
                "a chunk is what the file says");
        delete[] data;
        at += 12 + length;
        Require(position == block.Range().Begin() + at, "the position is behind the chunk");
    }
    Require(!data && position == block.Range().End(), "what is cut off ends the file");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
    {
        Feed feed(data, size);
        const std::uint8_t flags = feed.Byte();
        Recorder decoder((flags & 1) == 0);
        Model model;
        const unsigned int refuse = flags & 2 ? feed.Byte() % 64 : 0;
        const std::size_t second = flags & 4 ? feed.Number(255) : 0;
        Bytes first = feed.Bytes(feed.Left() - std::min(second, feed.Left()));
        Bytes rest = feed.Rest();
        if ((flags & 8) == 0) {
            first.insert(first.begin(), Signature.begin(), Signature.end());
            rest.insert(rest.begin(), Signature.begin(), Signature.end());
        }
        ReadChunks(decoder, first);
        if (DecodeFile(decoder, model, first, refuse) && (flags & 4) != 0)
            DecodeFile(decoder, model, rest, 0);
    }
    Require(ZrPngHuffmanTree::leakTracker == nodes, "every node of a tree has been released");
    return 0;
}
