// SPDX-License-Identifier: MIT
#include <ORVEX/Png.h>

#include "BitWriter.h"
#include "InflateModel.h"
#include "Random.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

// The order of the fields is part of the interface.
static_assert(offsetof(ZrPngHuffmanTree, zero) == 0, "zero comes first");
static_assert(offsetof(ZrPngHuffmanTree, one) == sizeof(void*), "one follows zero");
static_assert(offsetof(ZrPngHuffmanTree, value) == 2 * sizeof(void*), "value follows one");
static_assert(sizeof(ZrPngHuffmanTree) == (sizeof(void*) == 8 ? 24 : 12), "and nothing else");
static_assert(offsetof(ZrPngUncompressor, output) == 0, "output is the only field");
static_assert(sizeof(ZrPngUncompressor) == sizeof(void*), "output is the only field");

// The types of the operations are part of the interface.
template <class Type, class Operation> constexpr bool Is(Operation)
{
    return std::is_same<Type, Operation>::value;
}

using Inflater = ZrPngUncompressor;
using Numbers = unsigned*;
static_assert(Is<std::int32_t (Inflater::*)(unsigned, unsigned char*)>(&Inflater::Uncompress), "");
static_assert(Is<void (Inflater::*)(Numbers, Numbers)>(&Inflater::MakeFixedHuffmanCode), "");
static_assert(
    Is<void (Inflater::*)(Numbers, Numbers, unsigned, Numbers)>(&Inflater::MakeDynamicHuffmanCode),
    "");
static_assert(
    Is<ZrPngHuffmanTree* (Inflater::*)(unsigned, Numbers, Numbers)>(&Inflater::MakeHuffmanTree),
    "");
static_assert(Is<void (Inflater::*)(ZrPngHuffmanTree*)>(&Inflater::DeleteHuffmanTree), "");
static_assert(
    Is<std::int32_t (Inflater::*)(unsigned&, unsigned&, unsigned&, Numbers&, Numbers&, Numbers&,
                                  Numbers&, Numbers, Numbers, const unsigned char*, unsigned&,
                                  unsigned&)>(&Inflater::DecodeDynamicHuffmanCode),
    "");
static_assert(Is<unsigned (Inflater::*)(unsigned, unsigned char*, unsigned&, unsigned&)>(
                  &Inflater::GetCopyLength),
              "");
static_assert(Is<unsigned (Inflater::*)(unsigned, unsigned char*, unsigned&, unsigned&)>(
                  &Inflater::GetBackwardDistance),
              "");

namespace {

// Keeps what it is handed, until it holds `limit` bytes.
class Keeper : public ZrGenericPngDecoder {
public:
    explicit Keeper(std::size_t most = SIZE_MAX) : limit(most) {}

    std::int32_t Output(unsigned char byte) override
    {
        if (bytes.size() == limit)
            return answer;
        bytes.push_back(byte);
        return 1;
    }

    Bytes bytes;
    std::size_t limit;
    std::int32_t answer = 0;
};

struct Inflated {
    std::int32_t result;
    Bytes bytes;
};

// Inflates a copy that ends with its block of memory, so that the sanitizers see every step over
// the end.
Inflated Inflate(const Bytes& stream, std::size_t limit = SIZE_MAX)
{
    const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
    Keeper keeper(limit);
    ZrPngUncompressor uncompressor;
    uncompressor.output = &keeper;
    unsigned char* const copy = new unsigned char[stream.size()];
    std::copy(stream.begin(), stream.end(), copy);
    const std::int32_t result =
        uncompressor.Uncompress(static_cast<unsigned int>(stream.size()), copy);
    delete[] copy;
    EXPECT_EQ(nodes, ZrPngHuffmanTree::leakTracker);
    return {result, keeper.bytes};
}

void ExpectAsTheModel(const Bytes& stream)
{
    Bytes expected;
    const bool result = InflateModel::Run(stream, expected);
    const Inflated inflated = Inflate(stream);
    ASSERT_EQ(result ? 1 : 0, inflated.result);
    ASSERT_EQ(expected, inflated.bytes);
}

void ExpectFailure(const Bytes& stream, const Bytes& delivered = {})
{
    const Inflated inflated = Inflate(stream);
    EXPECT_EQ(0, inflated.result);
    EXPECT_EQ(delivered, inflated.bytes);
    ExpectAsTheModel(stream);
}

void ExpectBytes(const Bytes& stream, const Bytes& delivered)
{
    const Inflated inflated = Inflate(stream);
    EXPECT_EQ(1, inflated.result);
    EXPECT_EQ(delivered, inflated.bytes);
    ExpectAsTheModel(stream);
}

// A dynamic block's header; lengths are given plainly, without repeats, by a code-length code in
// which each of the lengths 0 to 15 has a code of 4 bits, its value.
void DynamicHeader(BitWriter& writer, const std::vector<unsigned>& literals,
                   const std::vector<unsigned>& distances)
{
    writer.Number(static_cast<unsigned>(literals.size()) - 257, 5);
    writer.Number(static_cast<unsigned>(distances.size()) - 1, 5);
    writer.Number(15, 4); // HCLEN: all 19
    writer.Number(0, 3).Number(0, 3).Number(0, 3);
    for (int i = 0; i < 16; ++i)
        writer.Number(4, 3);
    for (unsigned length : literals)
        writer.Code(length, 4);
    for (unsigned length : distances)
        writer.Code(length, 4);
}

// Lengths of 257 literals of which those named have codes of 2 bits: 00, 01, ... in their order.
std::vector<unsigned> TwoBitCodes(const std::vector<unsigned>& symbols, std::size_t count = 257)
{
    std::vector<unsigned> lengths(count);
    for (unsigned symbol : symbols)
        lengths[symbol] = 2;
    return lengths;
}

Bytes Deflate(const Bytes& data, int level, int strategy, int windowBits = 15, int memory = 8)
{
    z_stream zip = {};
    EXPECT_EQ(Z_OK, deflateInit2(&zip, level, Z_DEFLATED, windowBits, memory, strategy));
    Bytes out(deflateBound(&zip, static_cast<uLong>(data.size())) + 64);
    zip.next_in = const_cast<Bytef*>(data.data());
    zip.avail_in = static_cast<uInt>(data.size());
    zip.next_out = out.data();
    zip.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(Z_STREAM_END, deflate(&zip, Z_FINISH));
    out.resize(zip.total_out);
    deflateEnd(&zip);
    return out;
}

// Numbers of a small vocabulary, bytes in ranges, and runs: something for each strategy.
Bytes Mixed(std::size_t size, std::uint32_t seed)
{
    Random random(seed);
    Bytes data;
    while (data.size() < size) {
        const unsigned kind = random() % 4;
        const unsigned length = 1 + random() % 300;
        const unsigned base = random() % 256;
        for (unsigned i = 0; i < length; ++i) {
            if (kind == 0 && data.size() > 2000)
                data.push_back(data[data.size() - 1000 - base]);
            else if (kind == 1)
                data.push_back(static_cast<std::uint8_t>(base));
            else
                data.push_back(static_cast<std::uint8_t>(base + random() % 20));
        }
    }
    data.resize(size);
    return data;
}

// What a dynamic block's header gives, read from the bit behind the two bytes of the stream's own.
struct DynamicCodes {
    std::int32_t Read(const Bytes& stream)
    {
        return ZrPngUncompressor().DecodeDynamicHuffmanCode(
            hlit, hdist, hclen, literalLengths, literalCodes, distanceLengths, distanceCodes,
            lengths, codes, stream.data(), position, mask);
    }

    unsigned hlit, hdist, hclen;
    unsigned *literalLengths, *literalCodes, *distanceLengths, *distanceCodes;
    unsigned lengths[322];
    unsigned codes[322];
    unsigned position = 2;
    unsigned mask = 1;
};

} // namespace

TEST(ZrPngUncompressor, FixedBlockDeliversItsBytesWithoutAnyChecksum)
{
    // 78 01: window of 32 KiB. Then last block, fixed: literals A and B, end of block; no Adler-32.
    const Bytes stream = BitWriter().Block(true, 1).Fixed('A').Fixed('B').Fixed(256).Stream();
    ExpectBytes(stream, {'A', 'B'});
    Bytes wrong = stream;
    wrong.insert(wrong.end(), {1, 2, 3, 4}); // a wrong Adler-32
    ExpectBytes(wrong, {'A', 'B'});
}

TEST(ZrPngUncompressor, EmptyFixedBlockDeliversNothing)
{
    ExpectBytes(BitWriter().Block(true, 1).Fixed(256).Stream(), {});
}

TEST(ZrPngUncompressor, LongestMatchAtDistanceOneRepeatsTheLastByte)
{
    const Bytes stream = BitWriter()
                             .Block(true, 1)
                             .Fixed('x')
                             .Fixed(285) // length 258
                             .Code(0, 5) // distance 1
                             .Fixed(256)
                             .Stream();
    ExpectBytes(stream, Bytes(259, 'x'));
}

TEST(ZrPngUncompressor, OverlappingMatchRepeatsWhatItWrites)
{
    const Bytes stream = BitWriter()
                             .Block(true, 1)
                             .Fixed('a')
                             .Fixed('b')
                             .Fixed('c')
                             .Fixed(262) // length 8
                             .Code(2, 5) // distance 3
                             .Fixed(256)
                             .Stream();
    ExpectBytes(stream, {'a', 'b', 'c', 'a', 'b', 'c', 'a', 'b', 'c', 'a', 'b'});
}

TEST(ZrPngUncompressor, MatchBeforeTheFirstByteReadsZeros)
{
    const Bytes stream = BitWriter()
                             .Block(true, 1)
                             .Fixed('a')
                             .Fixed(259) // length 5
                             .Code(2, 5) // distance 3
                             .Fixed(256)
                             .Stream();
    ExpectBytes(stream, {'a', 0, 0, 'a', 0, 0});
}

TEST(ZrPngUncompressor, UnusedLengthSymbolsArePassedOver)
{
    const Bytes stream =
        BitWriter().Block(true, 1).Fixed('a').Fixed(286).Fixed(287).Fixed('b').Fixed(256).Stream();
    ExpectBytes(stream, {'a', 'b'});
}

TEST(ZrPngUncompressor, UnusedLengthSymbolsArePassedOverInDynamicBlocksToo)
{
    // 286 and 287 have codes here, which a strict reader refuses: 'a' 00, 256 01, 286 10, 287 11.
    BitWriter writer;
    writer.Block(true, 2);
    DynamicHeader(writer, TwoBitCodes({'a', 256, 286, 287}, 288), {0});
    writer.Code(0, 2).Code(2, 2).Code(3, 2).Code(0, 2).Code(1, 2);
    ExpectBytes(writer.Stream(), {'a', 'a'});
}

TEST(ZrPngUncompressor, OtherMethodsAndPresetDictionariesFail)
{
    BitWriter method(0x77); // method 7
    ExpectFailure(method.Block(true, 1).Fixed('a').Fixed(256).Stream());
    BitWriter dictionary(0x78, 0x20);
    ExpectFailure(dictionary.Block(true, 1).Fixed('a').Fixed(256).Stream());
}

TEST(ZrPngUncompressor, HeaderChecksumIsNotLookedAt)
{
    BitWriter writer(0x78, 0x9f & ~0x20);
    ExpectBytes(writer.Block(true, 1).Fixed('a').Fixed(256).Stream(), {'a'});
}

TEST(ZrPngUncompressor, EveryCinfoIsTaken)
{
    for (unsigned cinfo = 0; cinfo < 16; ++cinfo) {
        SCOPED_TRACE(cinfo);
        BitWriter writer(cinfo << 4 | 8);
        ExpectBytes(writer.Block(true, 1).Fixed('a').Fixed(257).Code(0, 5).Fixed(256).Stream(),
                    {'a', 'a', 'a', 'a'});
    }
}

TEST(ZrPngUncompressor, DistancesStayInASmallWindow)
{
    // CINFO 0: a window of 256 bytes. Distance 257 finds what distance 1 does, 256 finds the
    // oldest.
    BitWriter writer(0x08);
    writer.Block(true, 1);
    Bytes expected;
    for (unsigned i = 0; i < 300; ++i) {
        writer.Fixed(i & 0xff);
        expected.push_back(static_cast<std::uint8_t>(i));
    }
    writer.Fixed(257).Code(16, 5).Number(0, 7); // length 3, distance 257
    expected.insert(expected.end(), 3, expected.back());
    writer.Fixed(257).Code(15, 5).Number(63, 6); // length 3, distance 256: in place
    for (int i = 0; i < 3; ++i)
        expected.push_back(expected[expected.size() - 256]);
    ExpectBytes(writer.Fixed(256).Stream(), expected);
}

TEST(ZrPngUncompressor, MatchesGoRoundTheWindowsEnd)
{
    Random random(7);
    for (unsigned cinfo : {0u, 1u, 4u}) {
        BitWriter writer(cinfo << 4 | 8);
        writer.Block(true, 1);
        for (int i = 0; i < 3000; ++i) {
            if (random() % 3 == 0)
                writer.Fixed(random() % 256);
            else
                writer.Fixed(285).Code(random() % 4, 5); // 258 bytes at distance 1 to 4
            if (random() % 3 == 0)
                writer.Fixed(257 + random() % 8).Code(14, 5).Number(random() % 64, 6);
        }
        ExpectAsTheModel(writer.Fixed(256).Pad(50).Stream());
    }
}

TEST(ZrPngUncompressor, UnusedDistanceCodesFollowTheFormula)
{
    // Code 30 with 14 extra bits of 0 is distance 32769, 31 with all 1 is 65536.
    BitWriter writer(0x88); // CINFO 8: a window of 64 KiB, which still holds both
    writer.Block(true, 1).Fixed('s').Fixed('t');
    Bytes expected = {'s', 't'};
    for (int i = 0; i < 254; ++i) {
        writer.Fixed(285).Code(1, 5); // 258 bytes at distance 2
        for (int k = 0; k < 258; ++k)
            expected.push_back(expected[expected.size() - 2]);
    }
    writer.Fixed('z').Fixed(257).Code(30, 5).Number(0, 14);
    expected.push_back('z');
    for (int k = 0; k < 3; ++k)
        expected.push_back(expected[expected.size() - 32769]);
    writer.Fixed(257).Code(31, 5).Number(0x3fff, 14);
    for (int k = 0; k < 3; ++k)
        expected.push_back(expected.size() < 65536 ? 0 : expected[expected.size() - 65536]);
    ExpectBytes(writer.Fixed(256).Stream(), expected);
}

TEST(ZrPngUncompressor, EveryLengthAndDistanceIsComputedAsTheFormatTablesIt)
{
    for (unsigned symbol = 257; symbol < 286; ++symbol) {
        const unsigned bits = symbol < 265 || symbol == 285 ? 0 : (symbol - 261) / 4;
        for (unsigned extra : {0u, (1u << bits) - 1, (1u << bits) / 3}) {
            BitWriter writer;
            writer.Block(true, 1);
            writer.Fixed('q').Fixed(symbol).Number(extra, bits).Code(0, 5).Fixed(256);
            ExpectAsTheModel(writer.Stream());
        }
    }
    for (unsigned code = 0; code < 32; ++code) {
        const unsigned bits = code < 4 ? 0 : code / 2 - 1;
        for (unsigned extra : {0u, (1u << bits) - 1, (1u << bits) / 3}) {
            BitWriter writer(0x98); // a window of 128 KiB
            writer.Block(true, 1);
            for (unsigned i = 0; i < 300; ++i)
                writer.Fixed(i * 7 % 251).Fixed(285).Code(0, 5);
            writer.Fixed(285).Code(code, 5).Number(extra, bits).Fixed(256);
            ExpectAsTheModel(writer.Stream());
        }
    }
}

TEST(ZrPngUncompressor, LastStoredBlockDeliversNothingAndSucceeds)
{
    // 01: last, stored, 3 bits; the byte behind it is the length's first, read high byte first.
    ExpectBytes({0x78, 0x01, 0x01, 0x03, 0x00, 0xfc, 0xff, 'a', 'b', 'c'}, {});
    // The length is not held against its complement, nor against what is there.
    ExpectBytes({0x78, 0x01, 0x01, 0xff, 0xff}, {});
}

TEST(ZrPngUncompressor, StoredBlockAtAByteBoundaryPassesAWholeByteOver)
{
    // Two fixed blocks of 3 + 8 + 8 + 7 and 3 + 9 + 9 + 7 bits and one of 3 + 9 + 9 + 9 + 7: 91
    // bits. With one of 3 + 8 + 7 it is 109, and the 3 of the stored block end the 14th byte.
    BitWriter writer;
    writer.Block(false, 1).Fixed('a').Fixed('b').Fixed(256);
    writer.Block(false, 1).Fixed(200).Fixed(201).Fixed(256);
    writer.Block(false, 1).Fixed(202).Fixed(203).Fixed(204).Fixed(256);
    writer.Block(false, 1).Fixed('c').Fixed(256);
    writer.Block(true, 0);
    Bytes stream = writer.Stream();
    ASSERT_EQ(2u + 14u, stream.size());
    const Bytes delivered = {'a', 'b', 200, 201, 202, 203, 204, 'c'};
    ExpectFailure(stream, delivered);
    stream.push_back(0); // the byte that is passed over
    ExpectFailure(stream, delivered);
    stream.push_back(0); // half a length
    ExpectFailure(stream, delivered);
    stream.push_back(0);
    ExpectBytes(stream, delivered);
}

TEST(ZrPngUncompressor, StoredBlockThatIsNotTheLastEndsInFailure)
{
    // 00: not the last, stored; length 0; then a fixed block with one literal.
    Bytes stream = {0x78, 0x01, 0x00, 0x00, 0x00, 0xff, 0xff};
    const Bytes fixed = BitWriter().Block(true, 1).Fixed('a').Fixed(256).Stream();
    stream.insert(stream.end(), fixed.begin() + 2, fixed.end());
    stream.insert(stream.end(), 40, 0);
    ExpectFailure(stream);
    for (std::size_t size = 0; size < stream.size(); ++size)
        ExpectFailure(Bytes(stream.begin(), stream.begin() + static_cast<long>(size)));
}

TEST(ZrPngUncompressor, BlockTypeThreeFails)
{
    ExpectFailure(BitWriter().Block(true, 3).Pad(60).Stream());
    ExpectFailure(BitWriter().Block(false, 1).Fixed('a').Fixed(256).Block(true, 3).Pad(60).Stream(),
                  {'a'});
}

TEST(ZrPngUncompressor, BlocksOfAllKindsFollowEachOther)
{
    BitWriter writer;
    writer.Block(false, 1).Fixed('a').Fixed(256);
    writer.Block(false, 2);
    DynamicHeader(writer, TwoBitCodes({'b', 'c', 256}), {0});
    writer.Code(0, 2).Code(1, 2).Code(2, 2);
    writer.Block(true, 1).Fixed('d').Fixed(256);
    ExpectBytes(writer.Stream(), {'a', 'b', 'c', 'd'});
}

TEST(ZrPngUncompressor, MatchReachesIntoAnEarlierBlock)
{
    BitWriter writer;
    writer.Block(false, 1).Fixed('a').Fixed('b').Fixed(256);
    writer.Block(true, 1).Fixed(258).Code(1, 5).Fixed(256); // length 4, distance 2
    ExpectBytes(writer.Stream(), {'a', 'b', 'a', 'b', 'a', 'b'});
}

TEST(ZrPngUncompressor, RepeatsOfCodeLengthsCrossFromLiteralsToDistances)
{
    // Code-length code: 2 -> 00, 16 -> 01, 17 -> 10, 18 -> 11.
    BitWriter writer;
    writer.Block(true, 2).Number(0, 5).Number(0, 5).Number(15 - 0, 4);
    // Order 16 17 18 0 8 7 9 6 10 5 11 4 12 3 13 2 14 1 15.
    writer.Number(2, 3).Number(2, 3).Number(2, 3);
    for (int i = 0; i < 12; ++i)
        writer.Number(0, 3);
    writer.Number(2, 3).Number(0, 3).Number(0, 3).Number(0, 3);
    // 257 literal lengths and 1 distance length: 65 zeros by two times 18, then 2 ('A').
    writer.Code(3, 2).Number(127, 7).Code(0, 2); // 138 zeros, symbol 138 of length 2
    writer.Code(3, 2).Number(127 - 22, 7);       // 116 zeros: symbols 139 to 254
    writer.Code(0, 2);                           // 255
    writer.Code(1, 2).Number(0, 2);              // 16: 3 more of length 2: 256, distance 0, and one
                                                 // past the total, which is of no account
    writer.Code(0, 2).Code(1, 2).Code(2, 2);
    ExpectBytes(writer.Stream(), {138, 255});
}

namespace {

// A dynamic header of 320 lengths, then `repeat` zeros by one symbol 18, starting at `from`.
Bytes RepeatPastTheTotal(unsigned from, unsigned repeat, bool terminated)
{
    // Code-length code: 1 -> 00, 8 -> 01, 0 -> 10, 18 -> 11.
    BitWriter writer;
    writer.Block(true, 2).Number(31, 5).Number(31, 5).Number(15, 4);
    const unsigned order[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
    for (unsigned symbol : order)
        writer.Number(symbol == 1 || symbol == 8 || symbol == 0 || symbol == 18 ? 2 : 0, 3);
    // Canonical: 0 -> 00, 1 -> 01, 8 -> 10, 18 -> 11.
    for (unsigned i = 0; i < from; ++i)
        writer.Code(i == 'a' || i == 256 ? 1 : 0, 2);
    writer.Code(3, 2).Number(repeat - 11, 7);
    if (terminated)
        writer.Code(0, 1).Code(1, 1); // 'a', end of block
    return writer.Pad(60).Stream();
}

} // namespace

TEST(ZrPngUncompressor, RepeatPastTheTotalCountsWhileItFitsTheArrays)
{
    ExpectBytes(RepeatPastTheTotal(309, 11, true), {'a'}); // 320 of 320
    ExpectBytes(RepeatPastTheTotal(309, 13, true), {'a'}); // 322, two past the total
    ExpectFailure(RepeatPastTheTotal(309, 14, true));      // 323 do not fit
    ExpectFailure(RepeatPastTheTotal(309, 138, true));
    ExpectFailure(RepeatPastTheTotal(319, 138, true));
}

TEST(ZrPngUncompressor, RepeatWithNothingBeforeItFails)
{
    // Code-length code: 1 -> 0, 16 -> 1; the first symbol is 16.
    BitWriter writer;
    writer.Block(true, 2).Number(0, 5).Number(0, 5).Number(15, 4).Number(1, 3);
    for (int i = 0; i < 16; ++i)
        writer.Number(0, 3);
    writer.Number(1, 3).Number(0, 3);
    writer.Code(1, 1).Number(0, 2);
    ExpectFailure(writer.Pad(80).Stream());
}

TEST(ZrPngUncompressor, CodeLengthCodesThatAreNotThereFail)
{
    // No code at all: a tree that is a bare root.
    BitWriter none;
    ExpectFailure(none.Block(true, 2).Number(0, 14).Pad(100).Stream());
    // Only 0 has a code, 0; a 1 bit leads nowhere.
    BitWriter one;
    one.Block(true, 2).Number(0, 5).Number(0, 5).Number(0, 4);
    one.Number(0, 3).Number(0, 3).Number(0, 3).Number(1, 3);
    ExpectFailure(one.Code(1, 1).Pad(100).Stream());
}

TEST(ZrPngUncompressor, LiteralTreeWithoutCodesFails)
{
    BitWriter writer;
    writer.Block(true, 2);
    DynamicHeader(writer, std::vector<unsigned>(257), {0});
    ExpectFailure(writer.Pad(100).Stream());
    // And so it does when the input goes on in ones.
    for (int i = 0; i < 100; ++i)
        writer.Byte(0xff);
    ExpectFailure(writer.Stream());
}

TEST(ZrPngUncompressor, CodesThatAreNotInTheirTreeFail)
{
    // 'a' 00, 256 01; 10 and 11 lead nowhere.
    BitWriter writer;
    writer.Block(true, 2);
    DynamicHeader(writer, TwoBitCodes({'a', 256}), {0});
    BitWriter shortOne = writer;
    ExpectFailure(shortOne.Code(0, 2).Code(2, 2).Code(1, 2).Stream(), {'a'});
    ExpectFailure(writer.Code(0, 2).Code(3, 2).Code(1, 2).Pad(100).Stream(), {'a'});
}

TEST(ZrPngUncompressor, DistanceTreeWithoutCodesFailsWhenADistanceIsAskedFor)
{
    // 'a' 00, 256 01, 257 10.
    BitWriter writer;
    writer.Block(true, 2);
    DynamicHeader(writer, TwoBitCodes({'a', 256, 257}, 258), {0, 0});
    writer.Code(0, 2);
    BitWriter literalsOnly = writer;
    ExpectBytes(literalsOnly.Code(1, 2).Stream(), {'a'});
    for (unsigned fill : {0u, 0xffu}) {
        BitWriter match = writer;
        match.Code(2, 2);
        for (int i = 0; i < 100; ++i)
            match.Byte(fill);
        ExpectFailure(match.Stream(), {'a'});
    }
}

TEST(ZrPngUncompressor, SingleDistanceCodeTakesOneBit)
{
    // 'a' 00, 256 01, 257 10; distance code 0 is 0, and 1 leads nowhere.
    BitWriter writer;
    writer.Block(true, 2);
    DynamicHeader(writer, TwoBitCodes({'a', 256, 257}, 258), {1});
    writer.Code(0, 2).Code(2, 2);
    BitWriter good = writer;
    ExpectBytes(good.Code(0, 1).Code(1, 2).Stream(), {'a', 'a', 'a', 'a'});
    BitWriter far = writer;
    ExpectBytes(far.Code(0, 1).Code(1, 2).Pad(100).Stream(), {'a', 'a', 'a', 'a'});
    BitWriter bad = writer;
    ExpectFailure(bad.Code(1, 1).Code(1, 2).Pad(100).Stream(), {'a'});
}

TEST(ZrPngUncompressor, OverSubscribedCodesFollowTheTree)
{
    // Five codes of 2 bits: the fifth, 256, is cut to 00 and takes the place of 'a'; its real code
    // is where the walk for 'a' ends, so the block ends at once.
    BitWriter writer;
    writer.Block(true, 2);
    DynamicHeader(writer, TwoBitCodes({'a', 'b', 'c', 'd', 256}), {0});
    writer.Code(1, 2).Code(3, 2).Code(0, 2);
    ExpectBytes(writer.Stream(), {'b', 'd'});
}

TEST(ZrPngUncompressor, CodeThatIsAnothersBeginningIsHiddenByIt)
{
    // Lengths 1, 1, 1 and 2: 'a' 0, 'b' 1, 'c' cut to 0; 256 of 2 bits follows with (0 + 3) * 2 =
    // 6, cut to 10. So 'b' at 1 is no leaf any more, and 11 leads nowhere.
    std::vector<unsigned> lengths(257);
    lengths[97] = lengths[98] = lengths[99] = 1; // a, b, c
    lengths[256] = 2;
    BitWriter writer;
    writer.Block(true, 2);
    DynamicHeader(writer, lengths, {0});
    BitWriter good = writer;
    ExpectBytes(good.Code(0, 1).Code(0, 1).Code(2, 2).Stream(), {'c', 'c'});
    for (unsigned zeros : {0u, 100u}) {
        BitWriter bad = writer;
        ExpectFailure(bad.Code(0, 1).Code(3, 2).Pad(zeros).Stream(), {'c'});
    }
}

TEST(ZrPngUncompressor, CodesThatClashOrLeaveGapsEndAsTheModelEnds)
{
    Random random(14);
    unsigned completed = 0;
    for (int round = 0; round < 3000; ++round) {
        // From a few codes to hundreds, none longer than `longest`: with gaps, or far too many.
        const unsigned longest = 1 + random() % 15;
        const unsigned rarity = 1 + random() % 40;
        const auto length = [&] { return random() % rarity ? 0 : 1 + random() % longest; };
        std::vector<unsigned> literals(257 + random() % 32);
        std::generate(literals.begin(), literals.end(), length);
        std::vector<unsigned> distances(1 + random() % 32);
        std::generate(distances.begin(), distances.end(), length);
        literals[256] = 1 + random() % longest;
        BitWriter writer((random() % 3) << 4 | 8);
        writer.Block(true, 2);
        DynamicHeader(writer, literals, distances);
        for (unsigned i = random() % 400; i > 0; --i)
            writer.Code(random(), 1);
        Bytes stream = writer.Stream();
        ExpectAsTheModel(stream);
        if (HasFailure())
            return;
        completed += Inflate(stream).result == 1;
        stream.resize(2 + random() % (stream.size() - 2));
        ExpectAsTheModel(stream);
    }
    EXPECT_LT(300u, completed); // it is not all refused
}

TEST(ZrPngUncompressor, LongestCodesAreWalked)
{
    // 1, 2, ... 14, 15, 15 bits: the literals 0 to 14, and 256 with fifteen 1 bits.
    std::vector<unsigned> lengths(257);
    for (unsigned i = 0; i < 15; ++i)
        lengths[i] = i + 1;
    lengths[256] = 15;
    BitWriter writer;
    writer.Block(true, 2);
    DynamicHeader(writer, lengths, {0});
    Bytes expected;
    for (int round = 0; round < 40; ++round)
        for (unsigned i = 0; i < 15; ++i) {
            writer.Code((1u << (i + 1)) - 2, i + 1);
            expected.push_back(static_cast<std::uint8_t>(i));
        }
    ExpectBytes(writer.Code(0x7fff, 15).Stream(), expected);
}

TEST(ZrPngUncompressor, BlockWhoseLastBitEndsTheInputIsComplete)
{
    // 3 + 7 bits, 3 + 8 + 7, ... until a last block's end of block code ends a byte.
    for (unsigned literals = 0; literals < 8; ++literals) {
        BitWriter writer;
        writer.Block(true, 1);
        for (unsigned i = 0; i < literals; ++i)
            writer.Fixed(200); // 9 bits
        writer.Fixed(256);
        ExpectBytes(writer.Stream(), Bytes(literals, 200));
    }
}

TEST(ZrPngUncompressor, InputThatEndsInsideABlocksHeaderFails)
{
    // 3 + 5 * 9 + 7 are 55 bits: one more says that another block comes, and nothing follows.
    BitWriter writer;
    writer.Block(false, 1);
    for (int i = 0; i < 5; ++i)
        writer.Fixed(200);
    const Inflated inflated = Inflate(writer.Fixed(256).Stream());
    EXPECT_EQ(0, inflated.result);
    EXPECT_EQ(Bytes(5, 200), inflated.bytes);
}

TEST(ZrPngUncompressor, LiteralWhoseLastBitEndsTheInputIsDeliveredAndFails)
{
    // 3 + 4 * 8 + 5 * 9 = 80 bits.
    BitWriter writer;
    writer.Block(true, 1);
    for (int i = 0; i < 4; ++i)
        writer.Fixed('a');
    for (int i = 0; i < 5; ++i)
        writer.Fixed(200);
    ASSERT_EQ(12u, writer.Stream().size());
    ExpectFailure(writer.Stream(), {'a', 'a', 'a', 'a', 200, 200, 200, 200, 200});
}

TEST(ZrPngUncompressor, EmptyAndOneByteInputsFail)
{
    ExpectFailure({});
    ExpectFailure({0x78});
    ExpectFailure({0x77});
    ExpectFailure({0x78, 0x01});
    ExpectFailure({0x78, 0x01, 0x03}); // a last fixed block, cut short
}

TEST(ZrPngUncompressor, EveryTruncationFailsWithWhatCameBefore)
{
    for (int strategy : {Z_DEFAULT_STRATEGY, Z_FIXED}) {
        const Bytes stream = Deflate(Mixed(700, 3), 6, strategy);
        for (std::size_t size = 0; size <= stream.size(); ++size)
            ExpectAsTheModel(Bytes(stream.begin(), stream.begin() + static_cast<long>(size)));
    }
}

TEST(ZrPngUncompressor, RefusedByteStopsAtOnce)
{
    const Bytes data = Mixed(3000, 5);
    const Bytes stream = Deflate(data, 9, Z_DEFAULT_STRATEGY);
    for (std::size_t limit = 0; limit < data.size(); limit += limit < 300 ? 1 : 97) {
        const Inflated inflated = Inflate(stream, limit);
        EXPECT_EQ(0, inflated.result);
        EXPECT_EQ(Bytes(data.begin(), data.begin() + static_cast<long>(limit)), inflated.bytes);
    }
}

TEST(ZrPngUncompressor, AnyAnswerButOneStops)
{
    for (std::int32_t answer : {0, -1, 2, 255, 0x101}) {
        Keeper keeper(1);
        keeper.answer = answer;
        ZrPngUncompressor uncompressor;
        uncompressor.output = &keeper;
        Bytes stream = BitWriter().Block(true, 1).Fixed('a').Fixed('b').Fixed(256).Stream();
        EXPECT_EQ(0, uncompressor.Uncompress(static_cast<unsigned>(stream.size()), stream.data()));
        EXPECT_EQ(Bytes{'a'}, keeper.bytes);
    }
}

TEST(ZrPngUncompressor, InflatesWhatZlibMadeAtEveryLevelAndStrategy)
{
    const Bytes data = Mixed(60000, 1);
    for (int strategy : {Z_DEFAULT_STRATEGY, Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED})
        for (int level = 1; level <= 9; ++level) {
            SCOPED_TRACE(strategy * 100 + level);
            const Inflated inflated = Inflate(Deflate(data, level, strategy));
            ASSERT_EQ(1, inflated.result);
            ASSERT_EQ(data, inflated.bytes);
        }
    // Level 0 is made of stored blocks, of which nothing comes out; all but the last fail.
    EXPECT_EQ(0, Inflate(Deflate(Mixed(200000, 1), 0, Z_DEFAULT_STRATEGY)).result);
    const Inflated stored = Inflate(Deflate(Mixed(100, 1), 0, Z_DEFAULT_STRATEGY));
    EXPECT_EQ(1, stored.result);
    EXPECT_TRUE(stored.bytes.empty());
}

TEST(ZrPngUncompressor, InflatesWhatZlibMadeForEveryWindow)
{
    const Bytes data = Mixed(40000, 2);
    for (int windowBits = 9; windowBits <= 15; ++windowBits)
        for (int memory : {5, 9}) {
            const Inflated inflated =
                Inflate(Deflate(data, 6, Z_DEFAULT_STRATEGY, windowBits, memory));
            ASSERT_EQ(1, inflated.result);
            ASSERT_EQ(data, inflated.bytes);
        }
}

TEST(ZrPngUncompressor, DamagedStreamsEndAsTheModelEnds)
{
    Random random(11);
    for (int round = 0; round < 400; ++round) {
        Bytes stream = Deflate(Mixed(random() % 1500, random()), static_cast<int>(1 + random() % 9),
                               round % 4 == 0 ? Z_FIXED : Z_DEFAULT_STRATEGY,
                               static_cast<int>(9 + random() % 7));
        for (unsigned change = random() % 4; change > 0; --change)
            stream[2 + random() % (stream.size() - 2)] ^=
                static_cast<std::uint8_t>(1u << random() % 8);
        ExpectAsTheModel(stream);
    }
}

TEST(ZrPngUncompressor, NoiseEndsAsTheModelEnds)
{
    Random random(12);
    for (int round = 0; round < 3000; ++round) {
        Bytes stream(2 + random() % 200);
        for (std::uint8_t& byte : stream)
            byte = static_cast<std::uint8_t>(random());
        stream[0] = static_cast<std::uint8_t>((random() % 8) << 4 | 8);
        stream[1] = 1;
        if (stream.size() > 2) // mostly blocks with codes
            stream[2] = static_cast<std::uint8_t>((stream[2] & ~6u) | (round % 2 ? 2 : 4));
        ExpectAsTheModel(stream);
    }
}

TEST(ZrPngUncompressor, ManyEmptyBlocksInTheLargestWindowTakeNoTimeToSpeakOf)
{
    // A MiB of empty fixed blocks of 10 bits, in a window of 8 MiB: built anew for each of them,
    // tree or window would take minutes.
    BitWriter writer(0xf8);
    for (int i = 0; i < 800000; ++i)
        writer.Block(false, 1).Fixed(256);
    writer.Block(true, 1).Fixed('a').Fixed(256);
    const Inflated inflated = Inflate(writer.Stream());
    EXPECT_EQ(1, inflated.result);
    EXPECT_EQ(Bytes{'a'}, inflated.bytes);
}

TEST(ZrPngUncompressor, FixedCodeIsTheFormats)
{
    unsigned lengths[288];
    unsigned codes[288];
    ZrPngUncompressor().MakeFixedHuffmanCode(lengths, codes);
    EXPECT_EQ(8u, lengths[0]);
    EXPECT_EQ(48u, codes[0]); // 00110000
    EXPECT_EQ(8u, lengths[143]);
    EXPECT_EQ(191u, codes[143]); // 10111111
    EXPECT_EQ(9u, lengths[144]);
    EXPECT_EQ(400u, codes[144]); // 110010000
    EXPECT_EQ(9u, lengths[255]);
    EXPECT_EQ(511u, codes[255]); // 111111111
    EXPECT_EQ(7u, lengths[256]);
    EXPECT_EQ(0u, codes[256]); // 0000000
    EXPECT_EQ(7u, lengths[279]);
    EXPECT_EQ(23u, codes[279]); // 0010111
    EXPECT_EQ(8u, lengths[280]);
    EXPECT_EQ(192u, codes[280]); // 11000000
    EXPECT_EQ(8u, lengths[287]);
    EXPECT_EQ(199u, codes[287]); // 11000111
}

TEST(ZrPngUncompressor, DynamicCodeIsCanonical)
{
    // The example of RFC 1951, 3.2.2: A to H of lengths 3 3 3 3 3 2 4 4.
    unsigned input[8] = {3, 3, 3, 3, 3, 2, 4, 4};
    unsigned lengths[8];
    unsigned codes[8];
    ZrPngUncompressor().MakeDynamicHuffmanCode(lengths, codes, 8, input);
    EXPECT_TRUE(std::equal(input, input + 8, lengths));
    const unsigned expected[8] = {2, 3, 4, 5, 6, 0, 14, 15};
    EXPECT_TRUE(std::equal(expected, expected + 8, codes));

    unsigned gaps[4] = {0, 2, 0, 1}; // in place
    ZrPngUncompressor().MakeDynamicHuffmanCode(gaps, codes, 4, gaps);
    const unsigned expectedGaps[4] = {0, 2, 0, 0};
    EXPECT_TRUE(std::equal(expectedGaps, expectedGaps + 4, codes));

    ZrPngUncompressor().MakeDynamicHuffmanCode(lengths, codes, 0, input); // nothing
}

TEST(ZrPngUncompressor, TreeHasANodeForEveryBit)
{
    const std::int32_t before = ZrPngHuffmanTree::leakTracker;
    ZrPngUncompressor uncompressor;
    unsigned lengths[3] = {1, 0, 3};
    unsigned codes[3] = {0, 0, 5}; // 0 and 101
    ZrPngHuffmanTree* const root = uncompressor.MakeHuffmanTree(3, lengths, codes);
    EXPECT_EQ(before + 5, ZrPngHuffmanTree::leakTracker); // root, 0, 1, 10, 101
    EXPECT_EQ(0x7fffffffu, root->value);
    EXPECT_EQ(0u, root->zero->value);
    EXPECT_EQ(nullptr, root->zero->zero);
    EXPECT_EQ(nullptr, root->one->one);
    EXPECT_EQ(2u, root->one->zero->one->value);
    EXPECT_EQ(nullptr, root->one->zero->zero);
    uncompressor.DeleteHuffmanTree(root);
    EXPECT_EQ(before, ZrPngHuffmanTree::leakTracker);

    ZrPngHuffmanTree* const bare = uncompressor.MakeHuffmanTree(0, lengths, codes);
    EXPECT_EQ(before + 1, ZrPngHuffmanTree::leakTracker);
    uncompressor.DeleteHuffmanTree(bare);
    uncompressor.DeleteHuffmanTree(nullptr);
    EXPECT_EQ(before, ZrPngHuffmanTree::leakTracker);
}

TEST(ZrPngUncompressor, CopyLengthTakesItsExtraBits)
{
    ZrPngUncompressor uncompressor;
    unsigned char input[3] = {0xb0, 0x01, 0};
    unsigned position = 0;
    unsigned mask = 16; // bit 4
    EXPECT_EQ(3u, uncompressor.GetCopyLength(257, input, position, mask));
    EXPECT_EQ(10u, uncompressor.GetCopyLength(264, input, position, mask));
    EXPECT_EQ(258u, uncompressor.GetCopyLength(285, input, position, mask));
    EXPECT_EQ(16u, mask); // none so far
    // 281 takes five: 1 1 0 1 of the first byte and 1 of the second, 1 + 2 + 8 + 16.
    EXPECT_EQ(131u + 27u, uncompressor.GetCopyLength(281, input, position, mask));
    EXPECT_EQ(1u, position);
    EXPECT_EQ(2u, mask);
    mask = 0; // reads as 0 and stays
    EXPECT_EQ(131u, uncompressor.GetCopyLength(281, input, position, mask));
    EXPECT_EQ(1u, position);
    EXPECT_EQ(0u, mask);
}

TEST(ZrPngUncompressor, BackwardDistanceTakesItsExtraBits)
{
    ZrPngUncompressor uncompressor;
    unsigned char input[6] = {0xff, 0x1f, 0, 0, 0xff, 0xff};
    unsigned position = 0;
    unsigned mask = 1;
    EXPECT_EQ(1u, uncompressor.GetBackwardDistance(0, input, position, mask));
    EXPECT_EQ(4u, uncompressor.GetBackwardDistance(3, input, position, mask));
    EXPECT_EQ(1u, mask);
    EXPECT_EQ(32768u, uncompressor.GetBackwardDistance(29, input, position, mask)); // 13 ones
    EXPECT_EQ(1u, position);
    EXPECT_EQ(32u, mask);
    position = 2;
    mask = 1;
    EXPECT_EQ(32769u, uncompressor.GetBackwardDistance(30, input, position, mask));
    position = 4;
    mask = 1;
    EXPECT_EQ(65536u, uncompressor.GetBackwardDistance(31, input, position, mask));
}

TEST(ZrPngUncompressor, DynamicHeaderGivesItsFourArrays)
{
    std::vector<unsigned> literals(260);
    literals[97] = literals[98] = 1; // a and b
    BitWriter writer;
    DynamicHeader(writer, literals, {2, 2, 0, 1});
    const Bytes stream = writer.Stream();
    DynamicCodes header;
    EXPECT_EQ(1, header.Read(stream));
    EXPECT_EQ(3u, header.hlit);
    EXPECT_EQ(3u, header.hdist);
    EXPECT_EQ(15u, header.hclen);
    EXPECT_EQ(header.lengths, header.literalLengths);
    EXPECT_EQ(header.codes, header.literalCodes);
    EXPECT_EQ(header.lengths + 260, header.distanceLengths);
    EXPECT_EQ(header.codes + 260, header.distanceCodes);
    EXPECT_EQ(0u, header.literalCodes[97]);
    EXPECT_EQ(1u, header.literalCodes[98]);
    EXPECT_EQ(1u, header.distanceLengths[3]);
    EXPECT_EQ(0u, header.distanceCodes[3]);
    EXPECT_EQ(2u, header.distanceCodes[0]);
    EXPECT_EQ(3u, header.distanceCodes[1]);
    // 14 bits, 19 times 3, and 264 times 4 are 1127: 140 bytes and 7 bits.
    EXPECT_EQ(142u, header.position);
    EXPECT_EQ(128u, header.mask);
}

TEST(ZrPngUncompressor, DynamicHeaderThatCannotBeReadIsRefused)
{
    // HLIT, HDIST and HCLEN 0: four lengths, those of 16, 17, 18 and 0.
    const auto start = [](unsigned sixteen, unsigned eighteen) {
        return BitWriter()
            .Number(0, 14)
            .Number(sixteen, 3)
            .Number(0, 3)
            .Number(eighteen, 3)
            .Number(0, 3);
    };
    const Bytes streams[] = {
        start(0, 0).Pad(8).Stream(),            // no code at all
        start(1, 0).Code(0, 1).Pad(8).Stream(), // 16: nothing comes before it
        start(0, 1).Code(1, 1).Pad(8).Stream(), // 1 leads nowhere
        start(0, 1)
            .Code(0, 1)
            .Number(127, 7) // 138 zeros
            .Code(0, 1)
            .Number(107, 7) // 118: 256 of 258
            .Code(0, 1)
            .Number(127, 7) // past the 322 entries
            .Pad(8)
            .Stream(),
    };
    for (const Bytes& stream : streams) {
        const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
        EXPECT_EQ(0, DynamicCodes().Read(stream));
        EXPECT_EQ(nodes, ZrPngHuffmanTree::leakTracker);
    }
}
