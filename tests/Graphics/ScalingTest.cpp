// SPDX-License-Identifier: MIT
#include <ORVEX/Bitmap.h>

#include "Graphics/Pictures.h"

#include <gtest/gtest.h>

using ORVEX::Bitmap;
using ORVEX::Color;
using ORVEX::Point;

namespace {

/// Scaling as it is defined, pixel by pixel.
Picture ModelScaling(const Picture& src, std::int32_t width, std::int32_t height)
{
    Picture dst;
    dst.width = width;
    dst.height = height;
    for (std::int64_t j = 0; j < height; ++j) {
        const std::int64_t top = src.height * j / height;
        const std::int64_t bottom = std::max(src.height * (j + 1) / height, top + 1);
        for (std::int64_t i = 0; i < width; ++i) {
            const std::int64_t left = src.width * i / width;
            const std::int64_t right = std::max(src.width * (i + 1) / width, left + 1);
            std::uint64_t sums[4] = {};
            for (std::int64_t y = top; y < bottom; ++y) {
                for (std::int64_t x = left; x < right; ++x) {
                    sums[0] += src.At(x, y).red;
                    sums[1] += src.At(x, y).green;
                    sums[2] += src.At(x, y).blue;
                    sums[3] += src.At(x, y).alpha;
                }
            }
            const std::uint64_t count = static_cast<std::uint64_t>((bottom - top) * (right - left));
            dst.pixels.emplace_back(static_cast<unsigned char>(sums[0] / count),
                                    static_cast<unsigned char>(sums[1] / count),
                                    static_cast<unsigned char>(sums[2] / count),
                                    static_cast<unsigned char>(sums[3] / count));
        }
    }
    return dst;
}

void ExpectScaled(const Picture& src, std::int32_t width, std::int32_t height)
{
    Bitmap scaled;
    scaled.Scaling(MakeBitmap(src), Point(width, height));
    // Not printed: the pictures may be large.
    ASSERT_TRUE(ModelScaling(src, width, height) == PictureOf(scaled))
        << src.width << " x " << src.height << " to " << width << " x " << height;
}

Picture Of(std::int32_t width, std::int32_t height, std::vector<Color> pixels)
{
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.pixels = std::move(pixels);
    return picture;
}

const Color A(10, 20, 30, 40);
const Color B(11, 21, 31, 43);
const Color C(14, 24, 35, 47);

} // namespace

TEST(BitmapScaling, HalvingTakesTheMeanOfBlocksOfFour)
{
    Picture source = Of(4, 4, std::vector<Color>(16));
    // The block of pixel (1, 0): reds 0 + 255 + 255 + 1 = 511, 511 / 4 = 127.75; alphas 3 / 4.
    source.At(3, 0) = Color(255, 4, 0, 1);
    source.At(2, 1) = Color(255, 4, 0, 1);
    source.At(3, 1) = Color(1, 4, 0, 1);
    Bitmap bitmap;
    bitmap.Scaling(MakeBitmap(source), Point(2, 2));
    const Picture expected = Of(2, 2, {Color(), Color(127, 3, 0, 0), Color(), Color()});
    EXPECT_EQ(expected, PictureOf(bitmap));
}

TEST(BitmapScaling, DoublingRepeatsPixels)
{
    Bitmap bitmap;
    bitmap.Scaling(MakeBitmap(Of(2, 1, {A, B})), Point(4, 1));
    EXPECT_EQ(Of(4, 1, {A, A, B, B}), PictureOf(bitmap));
    bitmap.Scaling(MakeBitmap(Of(1, 2, {A, B})), Point(1, 4));
    EXPECT_EQ(Of(1, 4, {A, A, B, B}), PictureOf(bitmap));
    bitmap.Scaling(MakeBitmap(Of(1, 1, {A})), Point(3, 2));
    EXPECT_EQ(Of(3, 2, {A, A, A, A, A, A}), PictureOf(bitmap));
}

TEST(BitmapScaling, BoundsAreCutToWholePixels)
{
    // Three columns to two: bounds 0, 1, 3. Means (11 + 14) / 2 = 12.5, (43 + 47) / 2 = 45, ...
    Bitmap bitmap;
    bitmap.Scaling(MakeBitmap(Of(3, 1, {A, B, C})), Point(2, 1));
    EXPECT_EQ(Of(2, 1, {A, Color(12, 22, 33, 45)}), PictureOf(bitmap));
    // Two to three: bounds 0, 0, 1, 2.
    bitmap.Scaling(MakeBitmap(Of(2, 1, {A, B})), Point(3, 1));
    EXPECT_EQ(Of(3, 1, {A, A, B}), PictureOf(bitmap));
}

TEST(BitmapScaling, OneDirectionMayGrowWhileTheOtherShrinks)
{
    Bitmap bitmap;
    bitmap.Scaling(MakeBitmap(Of(1, 2, {A, C})), Point(2, 1));
    const Color mean(12, 22, 32, 43);
    EXPECT_EQ(Of(2, 1, {mean, mean}), PictureOf(bitmap));
}

TEST(BitmapScaling, TheSameSizeCopies)
{
    const Picture picture = Of(3, 1, {A, B, C});
    const Bitmap source = MakeBitmap(picture);
    Bitmap bitmap;
    bitmap.Scaling(source, Point(3, 1));
    EXPECT_EQ(picture, PictureOf(bitmap));
    EXPECT_NE(source.Pixels().Begin(), bitmap.Pixels().Begin());
    bitmap.Scaling(Point(3, 1));
    EXPECT_EQ(picture, PictureOf(bitmap));
}

TEST(BitmapScaling, SizesBelowOneClear)
{
    const Bitmap source = MakeBitmap(Of(3, 1, {A, B, C}));
    const Point sizes[] = {Point(0, 1), Point(1, 0), Point(-1, 1), Point(1, Point::TypeMin)};
    for (const Point& size : sizes) {
        Bitmap bitmap(source);
        bitmap.Scaling(source, size);
        EXPECT_TRUE(bitmap.Empty());
        EXPECT_EQ(Point(0, 0), bitmap.GetSize());
        Bitmap own(source);
        own.Scaling(size);
        EXPECT_TRUE(own.Empty());
        EXPECT_EQ(Point(0, 0), own.GetSize());
    }
}

TEST(BitmapScaling, AnEmptySourceGivesTransparentBlack)
{
    // Of the same number of pixels, so that the old ones have to be overwritten.
    Bitmap bitmap = MakeBitmap(Of(3, 1, {A, B, C}));
    bitmap.Scaling(Bitmap(), Point(1, 3));
    EXPECT_EQ(Of(1, 3, std::vector<Color>(3)), PictureOf(bitmap));
    Bitmap empty;
    empty.Scaling(Point(2, 2));
    EXPECT_EQ(Of(2, 2, std::vector<Color>(4)), PictureOf(empty));
}

TEST(BitmapScaling, AStoreShortOfItsSizeIsAnEmptySource)
{
    Bitmap wrapped;
    wrapped.ResizeNoCopy(Point(65537, 65536));
    wrapped.Fill(A);
    Bitmap bitmap = MakeBitmap(Of(3, 1, {A, B, C}));
    bitmap.Scaling(wrapped, Point(1, 3));
    EXPECT_EQ(Of(1, 3, std::vector<Color>(3)), PictureOf(bitmap));
}

TEST(BitmapScaling, ASizeWhoseProductWrapsIsNotDrawn)
{
    Bitmap bitmap;
    bitmap.Scaling(MakeBitmap(Of(3, 1, {A, B, C})), Point(65537, 65536));
    EXPECT_EQ(Point(65537, 65536), bitmap.GetSize());
    EXPECT_EQ(65536ul, bitmap.Pixels().Length());
    EXPECT_EQ(Color(), bitmap.Pixels()[0]);
    EXPECT_EQ(Color(), bitmap.Pixels()[65535]);
    bitmap.Scaling(MakeBitmap(Of(3, 1, {A, B, C})), Point(65536, 65536));
    EXPECT_EQ(Point(65536, 65536), bitmap.GetSize());
    EXPECT_TRUE(bitmap.Empty());
}

TEST(BitmapScaling, InPlaceGivesWhatAnotherBitmapWouldBecome)
{
    Random random(5);
    const Picture picture = RandomPicture(random, 23, 17);
    Bitmap other;
    other.Scaling(MakeBitmap(picture), Point(9, 30));
    Bitmap own = MakeBitmap(picture);
    own.Scaling(Point(9, 30));
    EXPECT_EQ(PictureOf(other), PictureOf(own));
}

TEST(BitmapScaling, TheSourceMayBeTheBitmapItself)
{
    Random random(6);
    const Picture picture = RandomPicture(random, 12, 10);
    const Point sizes[] = {Point(5, 4), Point(10, 12), Point(12, 10), Point(40, 30)};
    for (const Point& size : sizes) {
        Bitmap bitmap = MakeBitmap(picture);
        bitmap.Scaling(bitmap, size);
        EXPECT_EQ(ModelScaling(picture, size.x, size.y), PictureOf(bitmap));
    }
}

TEST(BitmapScaling, MatchesThePlainLoopsForRandomSizes)
{
    Random random(7);
    for (int round = 0; round < 1500; ++round) {
        const std::int32_t most = Pick(random, 0, 9) == 0 ? 150 : 25;
        const Picture source = RandomPicture(random, Pick(random, 1, most), Pick(random, 1, most));
        ExpectScaled(source, Pick(random, 1, 40), Pick(random, 1, 40));
    }
}

TEST(BitmapScaling, MatchesThePlainLoopsForEverySmallBlock)
{
    Random random(8);
    for (std::int32_t columns = 1; columns <= 36; ++columns) {
        for (std::int32_t rows = 1; rows <= 36; ++rows)
            ExpectScaled(RandomPicture(random, 3 * columns, 2 * rows), 3, 2);
    }
}

TEST(BitmapScaling, MatchesThePlainLoopsForLargeBlocks)
{
    Random random(9);
    ExpectScaled(RandomPicture(random, 700, 300), 1, 1);
    ExpectScaled(RandomPicture(random, 300, 700), 2, 1);
    ExpectScaled(RandomPicture(random, 5000, 3), 3, 2);
    ExpectScaled(RandomPicture(random, 3, 5000), 2, 3);
    ExpectScaled(RandomPicture(random, 66000, 2), 1, 1);
    ExpectScaled(RandomPicture(random, 2, 66000), 1, 1);
}

TEST(BitmapScaling, WhiteStaysWhiteInBlocksOfEverySize)
{
    // The largest sum that a block can have: a mean that came out a little low would show.
    for (std::int32_t count = 1; count <= 9000; ++count) {
        Bitmap bitmap;
        bitmap.ResizeNoCopy(Point(count, 1));
        bitmap.Fill(Color(255, 255, 255));
        bitmap.Scaling(Point(1, 1));
        ASSERT_EQ(Color(255, 255, 255), bitmap.GetPixel(Point(0, 0))) << count << " pixels";
    }
}

TEST(BitmapScaling, MeansAreExactJustBelowAWholeNumber)
{
    // All pixels k but for one that is smaller by 1: the mean is just below k.
    for (std::int32_t count = 1; count <= 5000; count += count < 600 ? 1 : 97) {
        Picture source = Of(count, 1, std::vector<Color>(static_cast<std::size_t>(count)));
        for (Color& pixel : source.pixels)
            pixel = Color(255, 128, 1, 254);
        source.pixels.back() = Color(254, 127, 0, 253);
        ExpectScaled(source, 1, 1);
    }
}

TEST(BitmapScaling, EverySumOfASmallBlockIsDividedExactly)
{
    // 64 blocks beside each other, whose 4 channels have 256 sums one after the other.
    const std::int32_t blocks = 64;
    for (std::int32_t count = 2; count <= 128; ++count) {
        Bitmap source;
        source.ResizeNoCopy(Point(blocks * count, 1));
        Bitmap means;
        for (std::int32_t first = 0; first <= 255 * count; first += 4 * blocks) {
            const auto sum = [&](std::int32_t block, std::int32_t channel) {
                return std::min(first + 4 * block + channel, 255 * count);
            };
            Color* pixel = source.Pixels().Begin();
            for (std::int32_t block = 0; block < blocks; ++block) {
                for (std::int32_t i = 0; i < count; ++i) {
                    // As many channels of 255 as go into the sum, one with the rest, then 0.
                    const auto share = [&](std::int32_t channel) {
                        const std::int32_t rest = sum(block, channel) - 255 * i;
                        return static_cast<unsigned char>(std::min(std::max(rest, 0), 255));
                    };
                    *pixel++ = Color(share(0), share(1), share(2), share(3));
                }
            }
            means.Scaling(source, Point(blocks, 1));
            for (std::int32_t block = 0; block < blocks; ++block) {
                const auto mean = [&](std::int32_t channel) {
                    return static_cast<unsigned char>(sum(block, channel) / count);
                };
                ASSERT_EQ(Color(mean(0), mean(1), mean(2), mean(3)),
                          means.GetPixel(Point(block, 0)))
                    << count << " pixels, sums from " << sum(block, 0) << " on";
            }
        }
    }
}

TEST(BitmapScaling, BoundsAreRightWhereTheProductPasses32Bits)
{
    Random random(10);
    ExpectScaled(RandomPicture(random, 70000, 1), 69999, 1); // 70000 * 69999 is above 2^32
    ExpectScaled(RandomPicture(random, 1, 70000), 1, 69999);
    ExpectScaled(RandomPicture(random, 50000, 1), 70000, 1);
}

TEST(BitmapScaling, SumsPast32BitsAreRight)
{
    // 17 million times 255 is above 2^32.
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(17000000, 1));
    bitmap.Fill(Color(255, 254, 1, 255));
    Bitmap mean;
    mean.Scaling(bitmap, Point(1, 1));
    EXPECT_EQ(Color(255, 254, 1, 255), mean.GetPixel(Point(0, 0)));
    bitmap.ResizeNoCopy(Point(1, 17000000));
    mean.Scaling(bitmap, Point(1, 1));
    EXPECT_EQ(Color(255, 254, 1, 255), mean.GetPixel(Point(0, 0)));
}

TEST(BitmapRotation, GivesWhiteOfTheSourcesSize)
{
    const short angles[] = {0, 90, -90, 360, 32767};
    for (const short angle : angles) {
        Bitmap bitmap = MakeBitmap(Of(3, 1, {A, B, C}));
        Bitmap other;
        other.Rotation(bitmap, angle);
        EXPECT_EQ(Of(3, 1, std::vector<Color>(3, Color(255, 255, 255, 255))), PictureOf(other));
        EXPECT_EQ(Of(3, 1, {A, B, C}), PictureOf(bitmap));
        bitmap.Rotation(angle);
        EXPECT_EQ(PictureOf(other), PictureOf(bitmap));
    }
}

TEST(BitmapRotation, AnEmptySourceGivesAnEmptyResult)
{
    Bitmap bitmap = MakeBitmap(Of(3, 1, {A, B, C}));
    bitmap.Rotation(Bitmap(), 90);
    EXPECT_TRUE(bitmap.Empty());
    EXPECT_EQ(Point(0, 0), bitmap.GetSize());
    bitmap.Rotation(90);
    EXPECT_TRUE(bitmap.Empty());
}
