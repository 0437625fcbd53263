// SPDX-License-Identifier: MIT
// The inflater on any bytes, on streams with any set of codes, and on what zlib makes of any
// data; against the inflater as it is defined always, and against zlib's where both mean the same.
//
// The first byte of an input says what the others are: 0 to 127 a stream, 128 to 191 code lengths
// and bits of a dynamic block, 192 to 255 data for zlib to deflate.
//
//   ./tools/fuzz 60 InflateFuzz
#include "DeflateWriter.h"
#include "Harness.h"
#include "PlainInflate.h"

#include <ORVEX/Png.h>

#include <zlib.h>

#include <algorithm>

namespace {

// Bytes that one call hands out at most; a short stream could go on for very long. Some inputs may
// go around the usual windows twice; most end sooner, since many short runs find more than a few
// long ones.
const std::size_t MostOutput = 1 << 16;
const std::size_t UsualOutput = 1 << 11;

/// Keeps what it is handed and stops in time.
class Collector : public ZrGenericPngDecoder {
public:
    explicit Collector(std::size_t most) : limit(most) {}

    std::int32_t Output(unsigned char byte) override
    {
        Require(!stopped, "nothing is handed out once Output has refused");
        bytes.push_back(byte);
        stopped = bytes.size() == limit;
        return stopped ? 0 : 1;
    }

    std::vector<std::uint8_t> bytes;

private:
    std::size_t limit;
    bool stopped = false;
};

/// zlib's view of the deflate data in a stream.
struct Zlib {
    explicit Zlib(const std::vector<std::uint8_t>& stream)
    {
        z_stream z = {};
        if (inflateInit2(&z, -15) != Z_OK)
            return;
        z.next_in = const_cast<Bytef*>(stream.data() + 2);
        z.avail_in = static_cast<uInt>(stream.size() - 2);
        z.next_out = bytes;
        z.avail_out = MostOutput;
        ended = inflate(&z, Z_FINISH) == Z_STREAM_END;
        length = z.total_out;
        inflateEnd(&z);
    }

    static Bytef bytes[MostOutput];
    std::size_t length = 0;
    bool ended = false;
};

Bytef Zlib::bytes[MostOutput];

// The whole stream of one dynamic block with any code lengths, then any bits.
std::vector<std::uint8_t> WriteDynamic(Feed& feed)
{
    DeflateWriter writer(feed.Number(15));
    for (std::uint32_t blocks = feed.Number(2); blocks > 0; --blocks)
        writer.Block(feed.Bytes(feed.Number(15)), false, blocks == 2);
    const unsigned int literals = 257 + feed.Number(31);
    const unsigned int distances = 1 + feed.Number(31);
    std::vector<unsigned int> lengths(literals + distances, 0);
    // A length, and how often; what is not named has no code.
    for (std::size_t at = 0; at < lengths.size();) {
        const std::uint8_t byte = feed.Byte();
        if (byte == 0)
            at = at < 250 ? 250 : lengths.size(); // on to the end symbol, or to the end
        for (unsigned int times = byte / 16 + 1; times > 0 && at < lengths.size(); --times)
            lengths[at++] = byte % 16;
    }
    // The last repeat may run past the lengths, and even past all that there can be.
    const std::uint8_t more = feed.Byte();
    if (more >= 200)
        lengths.insert(lengths.end(), more - 199u, lengths.back());
    writer.DynamicHeader(true, lengths, literals, distances);
    writer.Raw(feed.Rest());
    return writer.Stream();
}

std::vector<std::uint8_t> Deflated(Feed& feed)
{
    const std::uint8_t kind = feed.Byte();
    static const int Strategies[] = {Z_DEFAULT_STRATEGY, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED};
    z_stream z = {};
    if (deflateInit2(&z, 1 + kind % 9, Z_DEFLATED, 9 + kind / 9 % 7, 1,
                     Strategies[kind / 63 % 4]) != Z_OK)
        return {};
    std::vector<std::uint8_t> data = feed.Rest();
    // Longer than a window's worth, so that distances get large.
    const std::size_t once = data.size();
    for (int i = 0; i < kind % 3 && once != 0; ++i)
        data.insert(data.end(), data.begin(), data.begin() + static_cast<long>(once));
    std::vector<std::uint8_t> stream(deflateBound(&z, static_cast<uLong>(data.size())));
    z.next_in = data.data();
    z.avail_in = static_cast<uInt>(data.size());
    z.next_out = stream.data();
    z.avail_out = static_cast<uInt>(stream.size());
    Require(deflate(&z, Z_FINISH) == Z_STREAM_END, "zlib deflates");
    stream.resize(z.total_out);
    deflateEnd(&z);
    return stream;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
    Feed feed(data, size);
    const std::uint8_t mode = feed.Byte();
    std::vector<std::uint8_t> stream = mode < 128   ? feed.Rest()
                                       : mode < 192 ? WriteDynamic(feed)
                                                    : Deflated(feed);
    // Windows of more than 32 KiB take their time, so only some inputs have them, and fewer those
    // of more than 512 KiB.
    const bool large = mode % 32 == 3;
    if (!stream.empty() && mode % 128 != 3)
        stream[0] &= large ? 0xbf : 0x7f;
    // Now and then Output refuses early, or an allocation does.
    const std::size_t most = mode % 4 == 1    ? 1 + mode / 4
                             : mode % 16 == 0 ? MostOutput
                                              : UsualOutput;
    const unsigned int refuse = mode % 8 == 2 ? 1 + mode / 8 : 0;

    Collector collector(most);
    ZrPngUncompressor uncompressor;
    uncompressor.output = &collector;
    // The stream in a block of its own length, so that a read behind it is seen.
    std::vector<std::uint8_t> exact(stream);
    exact.shrink_to_fit();
    std::int32_t result = 0;
    const Outcome outcome = Attempt(
        refuse,
        [&] {
            result = uncompressor.Uncompress(static_cast<unsigned int>(exact.size()), exact.data());
        },
        large ? 8ul << 20 : HeapLimit);
    Require(ZrPngHuffmanTree::leakTracker == nodes, "every node of a tree has been released");
    Require((outcome.how != Outcome::Returned) == outcome.refused,
            "Uncompress raises exactly when it is refused");
    Require(exact == stream, "the stream stays");

    std::vector<std::uint8_t> plain;
    const auto sink = [&plain, most](std::uint8_t byte) {
        plain.push_back(byte);
        return plain.size() != most;
    };
    PlainInflate<decltype(sink)> model(stream, sink);
    const int expected = model.Run();
    if (outcome.refused) {
        Require(collector.bytes.size() <= plain.size() &&
                    std::equal(collector.bytes.begin(), collector.bytes.end(), plain.begin()),
                "what was handed out before the refusal is right");
        return 0;
    }
    Require(collector.bytes == plain, "the bytes are right");
    Require(result == expected, "the result is right");

    // Smaller windows than zlib's, and what it takes for an error, mean something else here.
    if (model.SawStored() || model.SawOddDistance() || plain.size() == most || stream.size() < 2 ||
        (stream[0] & 15) != 8 || (stream[1] & 0x20) != 0)
        return 0;
    const Zlib zlib(stream);
    if (zlib.ended && zlib.length < most)
        Require(result == 1 && collector.bytes.size() == zlib.length &&
                    std::equal(collector.bytes.begin(), collector.bytes.end(), Zlib::bytes),
                "zlib says the same");
    return 0;
}
