// SPDX-License-Identifier: MIT
// The worked example of src/Png/README.md.
#include <ORVEX/Ping.h>
#include <ORVEX/Png.h>

#include "PngFile.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

namespace {

const Bytes File = {
    0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A,                               // signature
    0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44, 0x52,                               // IHDR
    0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x02, 0x08, 0x00, 0x00, 0x00, 0x00, // 4 x 2 grey
    0x5A, 0xC3, 0x22, 0xBF,                                                       //
    0x00, 0x00, 0x00, 0x10, 0x49, 0x44, 0x41, 0x54,                               // IDAT
    0x78, 0x01, 0x63, 0x64, 0x67, 0x60, 0x60, 0x60, 0x62, 0x04, 0x02, 0x00,       //
    0x00, 0x67, 0x00, 0x0F,                                                       //
    0x56, 0xBD, 0xB3, 0x67,                                                       //
    0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82        // IEND
};

class Keeper : public ZrGenericPngDecoder {
public:
    std::int32_t Output(unsigned char byte) override
    {
        bytes.push_back(byte);
        return 1;
    }

    Bytes bytes;
};

} // namespace

TEST(PngReadme, TheStreamIsTheTenBytesOfTwoScanlines)
{
    const OwnBlock block(File);
    Keeper keeper;
    EXPECT_EQ(1, keeper.Decode(block.Range()));
    EXPECT_EQ((Bytes{1, 7, 0, 0, 0, 2, 1, 1, 1, 1}), keeper.bytes);
}

TEST(PngReadme, TheRasterIsARowOfSevensAndARowOfEights)
{
    const OwnBlock block(File);
    ZrRawPngDecoder decoder;
    EXPECT_EQ(1, decoder.Decode(block.Range()));
    ASSERT_EQ(4u, decoder.outWidth);
    ASSERT_EQ(2u, decoder.outHeight);
    for (std::uint32_t i = 0; i < 32; ++i)
        EXPECT_EQ(i % 4 == 3 ? 255 : i < 16 ? 7 : 8, decoder.rgba[i]) << i;
    ORVEX::Ping ping;
    EXPECT_TRUE(ping.Load(block.Range()));
    EXPECT_EQ(255, ping.GetPixel(ORVEX::Point(3, 1)).alpha);
    EXPECT_EQ(8, ping.GetPixel(ORVEX::Point(3, 1)).red);
}

TEST(PngReadme, TheCodesOfFourLettersAreTheOnesNamed)
{
    unsigned lengths[4] = {2, 1, 3, 3};
    unsigned codes[4];
    ZrPngUncompressor().MakeDynamicHuffmanCode(lengths, codes, 4, lengths);
    EXPECT_EQ(2u, codes[0]); // 10
    EXPECT_EQ(0u, codes[1]); // 0
    EXPECT_EQ(6u, codes[2]); // 110
    EXPECT_EQ(7u, codes[3]); // 111
}
