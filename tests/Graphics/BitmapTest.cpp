// SPDX-License-Identifier: MIT
#include <ORVEX/Bitmap.h>

#include "Graphics/Pictures.h"

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

using ORVEX::Bitmap;
using ORVEX::Color;
using ORVEX::Point;
using ORVEX::Rect;
using ORVEX::Vector;

static_assert(!std::is_polymorphic<Bitmap>::value, "a bitmap has no virtual functions of its own");
static_assert(sizeof(Bitmap) == sizeof(Vector<Color>) + sizeof(Point), "the store and the size");
static_assert(
    std::is_same<decltype(std::declval<const Bitmap&>().GetPixel(Point())), const Color&>::value,
    "a pixel is read where it is");

namespace {

/// A picture whose pixel (x, y) tells where it is: red x, green y, opaque.
Picture Grid(std::int32_t width, std::int32_t height)
{
    Picture grid;
    grid.width = width;
    grid.height = height;
    for (std::int32_t y = 0; y < height; ++y)
        for (std::int32_t x = 0; x < width; ++x)
            grid.pixels.emplace_back(static_cast<unsigned char>(x), static_cast<unsigned char>(y),
                                     static_cast<unsigned char>(0));
    return grid;
}

/// Overlap as it is defined, pixel by pixel: each pixel of the source that lies in the part goes
/// to its place, if the destination has one. `src` may be the destination.
void ModelOverlap(Picture& dst, const Picture& src, const Point& pos, const Rect& rect)
{
    const std::int64_t left = std::max<std::int64_t>(rect.x, 0);
    const std::int64_t top = std::max<std::int64_t>(rect.y, 0);
    const std::int64_t right = std::int64_t{rect.x} + rect.width;
    const std::int64_t bottom = std::int64_t{rect.y} + rect.height;
    for (std::int64_t y = top; y < bottom && y < src.height; ++y) {
        for (std::int64_t x = left; x < right && x < src.width; ++x) {
            const std::int64_t toX = pos.x + (x - left);
            const std::int64_t toY = pos.y + (y - top);
            if (toX < 0 || toX >= dst.width || toY < 0 || toY >= dst.height)
                continue;
            dst.At(toX, toY) = Blended(dst.At(toX, toY), src.At(x, y));
        }
    }
}

/// Any number: mostly near the pictures, sometimes at the ends of what a coordinate can be.
std::int32_t AnyNumber(Random& random, std::int32_t near)
{
    static const std::int32_t extremes[] = {Point::TypeMin, Point::TypeMin + 1, -65536,
                                            65536,          Point::TypeMax - 1, Point::TypeMax};
    if (Pick(random, 0, 5) == 0)
        return extremes[Pick(random, 0, 5)];
    return Pick(random, -near, near);
}

/// A size of 65537 x 65536, whose product wraps to 65536 pixels.
Bitmap Wrapped()
{
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(65537, 65536));
    return bitmap;
}

long PixelsThatAreNot(const Bitmap& bitmap, const Color& color)
{
    long count = 0;
    for (const Color* pixel = bitmap.Pixels().Begin(); pixel != bitmap.Pixels().End(); ++pixel)
        count += !(*pixel == color);
    return count;
}

} // namespace

TEST(Bitmap, StartsEmpty)
{
    const Bitmap bitmap;
    EXPECT_TRUE(bitmap.Empty());
    EXPECT_EQ(Point(0, 0), bitmap.GetSize());
    EXPECT_EQ(nullptr, bitmap.Pixels().Begin());
    EXPECT_FALSE(bitmap.Pixels().Owned());
}

TEST(Bitmap, StoreStandsBeforeTheSize)
{
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(3, 5));
    EXPECT_EQ(static_cast<void*>(&bitmap), static_cast<void*>(&bitmap.Pixels()));
    Point size;
    std::memcpy(&size, reinterpret_cast<const char*>(&bitmap) + sizeof(Vector<Color>), sizeof size);
    EXPECT_EQ(Point(3, 5), size);
}

TEST(Bitmap, PixelsAreBytesRowAfterRowFromTheTop)
{
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(2, 2));
    bitmap.SetPixel(Point(0, 0), Color(1, 2, 3, 4));
    bitmap.SetPixel(Point(1, 0), Color(5, 6, 7, 8));
    bitmap.SetPixel(Point(0, 1), Color(9, 10, 11, 12));
    bitmap.SetPixel(Point(1, 1), Color(13, 14, 15, 16));
    const unsigned char bytes[] = {4, 1, 2, 3, 8, 5, 6, 7, 12, 9, 10, 11, 16, 13, 14, 15};
    ASSERT_EQ(4ul, bitmap.Pixels().Length());
    EXPECT_EQ(0, std::memcmp(bytes, bitmap.Pixels().Begin(), sizeof bytes));
}

TEST(Bitmap, FillAssignsEveryPixelWithoutBlending)
{
    Bitmap bitmap = MakeBitmap(Grid(5, 3));
    bitmap.Fill(Color(1, 2, 3, 0));
    EXPECT_EQ(0, PixelsThatAreNot(bitmap, Color(1, 2, 3, 0)));
    EXPECT_EQ(Point(5, 3), bitmap.GetSize());
    Bitmap empty;
    empty.Fill(Color(1, 2, 3));
    EXPECT_TRUE(empty.Empty());
}

TEST(Bitmap, FillTakesOneOfItsOwnPixels)
{
    Bitmap bitmap = MakeBitmap(Grid(7, 9));
    bitmap.Fill(bitmap.GetPixel(Point(3, 4)));
    EXPECT_EQ(0, PixelsThatAreNot(bitmap, Color(3, 4, 0)));
}

TEST(Bitmap, NormalizationPointClampsIntoThePicture)
{
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(4, 3));
    EXPECT_EQ(Point(0, 0), bitmap.NormalizationPoint(Point(0, 0)));
    EXPECT_EQ(Point(2, 1), bitmap.NormalizationPoint(Point(2, 1)));
    EXPECT_EQ(Point(3, 2), bitmap.NormalizationPoint(Point(3, 2)));
    EXPECT_EQ(Point(3, 2), bitmap.NormalizationPoint(Point(4, 3)));
    EXPECT_EQ(Point(0, 2), bitmap.NormalizationPoint(Point(-1, 100)));
    EXPECT_EQ(Point(0, 2), bitmap.NormalizationPoint(Point(Point::TypeMin, Point::TypeMax)));
    EXPECT_EQ(Point(3, 0), bitmap.NormalizationPoint(Point(Point::TypeMax, Point::TypeMin)));
}

TEST(Bitmap, NormalizationPointOfAnEmptyBitmapIsMinusOne)
{
    const Bitmap bitmap;
    EXPECT_EQ(Point(-1, -1), bitmap.NormalizationPoint(Point(0, 0)));
    EXPECT_EQ(Point(-1, -1), bitmap.NormalizationPoint(Point(5, -5)));
}

TEST(Bitmap, PointsOutsideReadTheNearestEdgePixel)
{
    const Bitmap bitmap = MakeBitmap(Grid(4, 4));
    EXPECT_EQ(Color(0, 3, 0), bitmap.GetPixel(Point(-5, 7)));
    EXPECT_EQ(Color(3, 3, 0), bitmap.GetPixel(Point(4, 4)));
    EXPECT_EQ(Color(2, 0, 0), bitmap.GetPixel(Point(2, -1)));
    EXPECT_EQ(Color(3, 1, 0), bitmap.GetPixel(Point(Point::TypeMax, 1)));
    EXPECT_EQ(&bitmap.Pixels()[9], &bitmap.GetPixel(Point(1, 2)));
}

TEST(Bitmap, PointsOutsideOverwriteTheNearestEdgePixel)
{
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(4, 4));
    bitmap.SetPixel(Point(100, 100), Color(1, 2, 3, 4));
    EXPECT_EQ(Color(1, 2, 3, 4), bitmap.Pixels()[15]);
    bitmap.SetPixel(Point(-1, 2), Color(5, 6, 7, 8));
    EXPECT_EQ(Color(5, 6, 7, 8), bitmap.Pixels()[8]);
    bitmap.SetPixel(Point(-1, 2), Color(0, 0, 0, 0));
    bitmap.SetPixel(Point(100, 100), Color(0, 0, 0, 0));
    EXPECT_EQ(0, PixelsThatAreNot(bitmap, Color()));
}

TEST(Bitmap, EmptyBitmapsShareOneTransparentBlack)
{
    Bitmap one;
    Bitmap other;
    const Color& color = one.GetPixel(Point(3, 4));
    EXPECT_EQ(Color(), color);
    EXPECT_EQ(&color, &other.GetPixel(Point(-1, 0)));
    one.SetPixel(Point(3, 4), Color(1, 2, 3));
    EXPECT_EQ(Color(), one.GetPixel(Point(3, 4)));
    EXPECT_TRUE(one.Empty());
}

TEST(Bitmap, CopiesAreDeep)
{
    const Picture picture = Grid(3, 2);
    Bitmap bitmap = MakeBitmap(picture);
    Bitmap copy(bitmap);
    EXPECT_TRUE(copy.Pixels().Owned());
    bitmap.Fill(Color());
    EXPECT_EQ(picture, PictureOf(copy));
    const Bitmap none;
    EXPECT_TRUE(Bitmap(none).Empty());
}

TEST(Bitmap, AssignmentKeepsAnOwnStoreOfTheSameCount)
{
    const Picture picture = Grid(6, 2);
    const Bitmap bitmap = MakeBitmap(picture);
    Bitmap other;
    other.ResizeNoCopy(Point(3, 4));
    const Color* const store = other.Pixels().Begin();
    EXPECT_EQ(&other, &(other = bitmap));
    EXPECT_EQ(store, other.Pixels().Begin());
    EXPECT_EQ(picture, PictureOf(other));
}

TEST(Bitmap, AssignmentOfAnotherCountTakesANewStore)
{
    const Picture picture = Grid(6, 3);
    const Bitmap bitmap = MakeBitmap(picture);
    Bitmap other;
    other.ResizeNoCopy(Point(3, 4));
    other = bitmap;
    EXPECT_EQ(picture, PictureOf(other));
    EXPECT_TRUE(other.Pixels().Owned());
    EXPECT_NE(bitmap.Pixels().Begin(), other.Pixels().Begin());
}

TEST(Bitmap, AssigningAnEmptyOneReleasesTheStoreAndCopiesTheSize)
{
    Bitmap bitmap = MakeBitmap(Grid(3, 3));
    bitmap = Bitmap();
    EXPECT_TRUE(bitmap.Empty());
    EXPECT_EQ(nullptr, bitmap.Pixels().Begin());
    EXPECT_FALSE(bitmap.Pixels().Owned());
    EXPECT_EQ(Point(0, 0), bitmap.GetSize());

    Bitmap wrapped;
    wrapped.ResizeNoCopy(Point(65536, 65536));
    bitmap = MakeBitmap(Grid(3, 3));
    bitmap = wrapped;
    EXPECT_TRUE(bitmap.Empty());
    EXPECT_EQ(Point(65536, 65536), bitmap.GetSize());
}

TEST(Bitmap, AssignmentFromItselfChangesNothing)
{
    const Picture picture = Grid(3, 2);
    Bitmap bitmap = MakeBitmap(picture);
    const Bitmap& same = bitmap;
    bitmap = same;
    EXPECT_EQ(picture, PictureOf(bitmap));
}

TEST(Bitmap, AssignmentGivesBorrowedPixelsBack)
{
    const Picture picture = Grid(2, 2);
    Color foreign[4] = {};
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(2, 2));
    bitmap.Pixels().Replace(foreign, 4);
    bitmap = MakeBitmap(picture);
    EXPECT_EQ(picture, PictureOf(bitmap));
    EXPECT_TRUE(bitmap.Pixels().Owned());
    EXPECT_EQ(Color(), foreign[3]);
}

TEST(Bitmap, DrawsIntoBorrowedPixels)
{
    Color foreign[4] = {};
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(2, 2));
    bitmap.Pixels().Replace(foreign, 4);
    bitmap.SetPixel(Point(1, 0), Color(1, 2, 3));
    bitmap.Overlap(MakeBitmap(Grid(1, 1)), Point(0, 1), Rect(0, 0, 1, 1));
    EXPECT_EQ(Color(1, 2, 3), foreign[1]);
    EXPECT_EQ(Color(0, 0, 0), foreign[2]);
    EXPECT_EQ(Color(), foreign[3]);
}

TEST(Bitmap, SwapTradesPixelsOwnershipAndSize)
{
    const Picture picture = Grid(2, 3);
    Bitmap one = MakeBitmap(picture);
    Color foreign[4] = {};
    Bitmap other;
    other.ResizeNoCopy(Point(4, 1));
    other.Pixels().Replace(foreign, 4);
    const Color* const store = one.Pixels().Begin();
    one.Swap(other);
    EXPECT_EQ(store, other.Pixels().Begin());
    EXPECT_EQ(picture, PictureOf(other));
    EXPECT_TRUE(other.Pixels().Owned());
    EXPECT_EQ(foreign, one.Pixels().Begin());
    EXPECT_FALSE(one.Pixels().Owned());
    EXPECT_EQ(Point(4, 1), one.GetSize());
    other.Swap(other);
    EXPECT_EQ(picture, PictureOf(other));
}

TEST(Bitmap, ClearReleasesThePixels)
{
    Bitmap bitmap = MakeBitmap(Grid(2, 3));
    bitmap.Clear();
    EXPECT_TRUE(bitmap.Empty());
    EXPECT_EQ(nullptr, bitmap.Pixels().Begin());
    EXPECT_FALSE(bitmap.Pixels().Owned());
    EXPECT_EQ(Point(0, 0), bitmap.GetSize());
    bitmap.Clear();
    EXPECT_TRUE(bitmap.Empty());
}

TEST(Bitmap, SizesBelowOneClear)
{
    const Point sizes[] = {Point(0, 5), Point(5, 0), Point(-1, 5), Point(5, Point::TypeMin),
                           Point(-2, -2)};
    for (const Point& size : sizes) {
        Bitmap bitmap = MakeBitmap(Grid(2, 2));
        bitmap.ResizeNoCopy(size);
        EXPECT_TRUE(bitmap.Empty());
        EXPECT_EQ(Point(0, 0), bitmap.GetSize());
    }
}

TEST(Bitmap, ResizingToTheSameCountKeepsThePixelsInMemoryOrder)
{
    const Picture picture = Grid(4, 2);
    Bitmap bitmap = MakeBitmap(picture);
    const Color* const store = bitmap.Pixels().Begin();
    bitmap.ResizeNoCopy(Point(2, 4));
    EXPECT_EQ(store, bitmap.Pixels().Begin());
    EXPECT_EQ(Point(2, 4), bitmap.GetSize());
    EXPECT_EQ(picture.pixels, PictureOf(bitmap).pixels);
    EXPECT_EQ(Color(2, 0, 0), bitmap.GetPixel(Point(0, 1)));
}

TEST(Bitmap, ResizingToAnotherCountGivesTransparentBlack)
{
    Bitmap bitmap = MakeBitmap(Grid(4, 2));
    bitmap.ResizeNoCopy(Point(3, 3));
    EXPECT_EQ(9ul, bitmap.Pixels().Length());
    EXPECT_EQ(0, PixelsThatAreNot(bitmap, Color()));
    EXPECT_EQ(Point(3, 3), bitmap.GetSize());
}

TEST(Bitmap, ResizingBorrowedPixelsTakesAnOwnStore)
{
    Color foreign[4] = {Color(1, 1, 1), Color(1, 1, 1), Color(1, 1, 1), Color(1, 1, 1)};
    Bitmap bitmap;
    bitmap.Pixels().Replace(foreign, 4);
    bitmap.ResizeNoCopy(Point(2, 2));
    EXPECT_TRUE(bitmap.Pixels().Owned());
    EXPECT_EQ(0, PixelsThatAreNot(bitmap, Color()));
    EXPECT_EQ(Color(1, 1, 1), foreign[0]);
}

TEST(Bitmap, ProductThatWrapsToZeroKeepsTheSizeWithoutPixels)
{
    Bitmap bitmap = MakeBitmap(Grid(4, 2));
    bitmap.ResizeNoCopy(Point(65536, 65536));
    EXPECT_TRUE(bitmap.Empty());
    EXPECT_EQ(nullptr, bitmap.Pixels().Begin());
    EXPECT_FALSE(bitmap.Pixels().Owned());
    EXPECT_EQ(Point(65536, 65536), bitmap.GetSize());
    EXPECT_EQ(Color(), bitmap.GetPixel(Point(5, 5)));
    bitmap.SetPixel(Point(5, 5), Color(1, 2, 3));
    bitmap.Fill(Color(1, 2, 3));
    bitmap.SetAlphaMax(3);
    bitmap.Overlap(MakeBitmap(Grid(4, 2)), Point(0, 0), Rect(0, 0, 4, 2));
    EXPECT_TRUE(bitmap.Empty());
    EXPECT_EQ(Point(65535, 7), bitmap.NormalizationPoint(Point(70000, 7)));
}

TEST(Bitmap, StoreShortOfItsSizeIsEmptyForEveryCoordinate)
{
    Bitmap bitmap = Wrapped();
    EXPECT_EQ(Point(65537, 65536), bitmap.GetSize());
    ASSERT_EQ(65536ul, bitmap.Pixels().Length());
    EXPECT_FALSE(bitmap.Empty());

    bitmap.Fill(Color(1, 2, 3, 200));
    EXPECT_EQ(0, PixelsThatAreNot(bitmap, Color(1, 2, 3, 200)));
    bitmap.SetAlphaMax(51); // 200 * 51 / 255 = 40
    EXPECT_EQ(0, PixelsThatAreNot(bitmap, Color(1, 2, 3, 40)));

    EXPECT_EQ(Color(), bitmap.GetPixel(Point(0, 0)));
    EXPECT_EQ(Color(), bitmap.GetPixel(Point(65536, 65535)));
    bitmap.SetPixel(Point(0, 0), Color(9, 9, 9));
    bitmap.SetPixel(Point(65536, 65535), Color(9, 9, 9));
    bitmap.Overlap(MakeBitmap(Grid(4, 2)), Point(0, 0), Rect(0, 0, 4, 2));
    bitmap.Overlap(MakeBitmap(Grid(4, 2)), Point(60000, 60000), Rect(0, 0, 4, 2));
    bitmap.Overlap(bitmap, Point(1, 1), Rect(0, 0, 70000, 70000));
    EXPECT_EQ(0, PixelsThatAreNot(bitmap, Color(1, 2, 3, 40)));

    const Picture picture = Grid(4, 2);
    Bitmap other = MakeBitmap(picture);
    other.Overlap(bitmap, Point(0, 0), Rect(0, 0, 4, 2));
    other.Overlap(bitmap, Point(0, 0), Rect(60000, 60000, 4, 2));
    EXPECT_EQ(picture, PictureOf(other));
}

TEST(Bitmap, LargestSizeHasOnePixel)
{
    // (2^31 - 1)^2 is 1 modulo 2^32.
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(Point::TypeMax, Point::TypeMax));
    ASSERT_EQ(1ul, bitmap.Pixels().Length());
    bitmap.SetPixel(Point(0, 0), Color(9, 9, 9));
    EXPECT_EQ(Color(), bitmap.Pixels()[0]);
    bitmap.Fill(Color(9, 9, 9));
    EXPECT_EQ(Color(9, 9, 9), bitmap.Pixels()[0]);
    EXPECT_EQ(Color(), bitmap.GetPixel(Point(0, 0)));
}

TEST(Bitmap, StoreThatWasExchangedForAnotherLengthIsEmptyForEveryCoordinate)
{
    Color foreign[3] = {};
    Bitmap bitmap = MakeBitmap(Grid(2, 2));
    bitmap.Pixels().Replace(foreign, 3);
    bitmap.SetPixel(Point(0, 0), Color(9, 9, 9));
    bitmap.Overlap(MakeBitmap(Grid(2, 2)), Point(0, 0), Rect(0, 0, 2, 2));
    EXPECT_EQ(0, PixelsThatAreNot(bitmap, Color()));
}

TEST(Bitmap, SetAlphaMaxScalesAlphaAndNothingElse)
{
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(256, 1));
    for (int limit = 0; limit < 256; ++limit) {
        for (int alpha = 0; alpha < 256; ++alpha)
            bitmap.Pixels()[static_cast<unsigned long>(alpha)] =
                Color(10, 20, 30, static_cast<unsigned char>(alpha));
        bitmap.SetAlphaMax(static_cast<unsigned char>(limit));
        for (int alpha = 0; alpha < 256; ++alpha)
            ASSERT_EQ(Color(10, 20, 30, static_cast<unsigned char>(alpha * limit / 255)),
                      bitmap.Pixels()[static_cast<unsigned long>(alpha)]);
    }
    Bitmap empty;
    empty.SetAlphaMax(3);
    EXPECT_TRUE(empty.Empty());
}

TEST(Bitmap, OverlapOfAPartThatBeginsBeforeTheSourceKeepsItsPlace)
{
    // Columns -2 and -1 are lost, columns 0 and 1 go to pos.
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(4, 1));
    bitmap.Overlap(MakeBitmap(Grid(4, 4)), Point(0, 0), Rect(-2, 0, 4, 4));
    EXPECT_EQ(Color(0, 0, 0), bitmap.GetPixel(Point(0, 0)));
    EXPECT_EQ(Color(1, 0, 0), bitmap.GetPixel(Point(1, 0)));
    EXPECT_EQ(Color(), bitmap.GetPixel(Point(2, 0)));
    EXPECT_EQ(Color(), bitmap.GetPixel(Point(3, 0)));
}

TEST(Bitmap, OverlapAtANegativePositionBlendsTheRest)
{
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(2, 2));
    bitmap.Overlap(MakeBitmap(Grid(3, 3)), Point(-1, -1), Rect(0, 0, 3, 3));
    EXPECT_EQ(Color(1, 1, 0), bitmap.GetPixel(Point(0, 0)));
    EXPECT_EQ(Color(2, 1, 0), bitmap.GetPixel(Point(1, 0)));
    EXPECT_EQ(Color(1, 2, 0), bitmap.GetPixel(Point(0, 1)));
    EXPECT_EQ(Color(2, 2, 0), bitmap.GetPixel(Point(1, 1)));
}

TEST(Bitmap, OverlapOfATransparentSourceChangesNothing)
{
    Random random(1);
    const Picture picture = RandomPicture(random, 37, 5);
    Bitmap bitmap = MakeBitmap(picture);
    Bitmap over = MakeBitmap(RandomPicture(random, 37, 5));
    over.SetAlphaMax(0);
    bitmap.Overlap(over, Point(0, 0), Rect(0, 0, 37, 5));
    EXPECT_EQ(picture, PictureOf(bitmap));
}

TEST(Bitmap, OverlapOfAnOpaqueSourceCopies)
{
    Random random(2);
    Bitmap bitmap = MakeBitmap(RandomPicture(random, 37, 5));
    Picture over = RandomPicture(random, 37, 5);
    for (Color& pixel : over.pixels)
        pixel.alpha = 255;
    bitmap.Overlap(MakeBitmap(over), Point(0, 0), Rect(0, 0, 37, 5));
    EXPECT_EQ(over, PictureOf(bitmap));
}

TEST(Bitmap, OverlapOfOrOntoNothingChangesNothing)
{
    const Picture picture = Grid(4, 4);
    Bitmap bitmap = MakeBitmap(picture);
    Bitmap empty;
    bitmap.Overlap(empty, Point(0, 0), Rect(0, 0, 4, 4));
    EXPECT_EQ(picture, PictureOf(bitmap));
    empty.Overlap(bitmap, Point(0, 0), Rect(0, 0, 4, 4));
    EXPECT_TRUE(empty.Empty());

    const Bitmap white = [] {
        Bitmap source;
        source.ResizeNoCopy(Point(3, 3));
        source.Fill(Color(255, 255, 255));
        return source;
    }();
    const Rect nothing[] = {Rect(0, 0, 0, 3),  Rect(0, 0, 3, 0),  Rect(0, 0, -1, 3),
                            Rect(0, 0, 3, -1), Rect(3, 0, 1, 1),  Rect(0, 3, 1, 1),
                            Rect(4, 0, 9, 9),  Rect(-3, 0, 3, 3), Rect(0, -3, 3, 3)};
    for (const Rect& rect : nothing)
        bitmap.Overlap(white, Point(0, 0), rect);
    const Point outside[] = {Point(4, 0),
                             Point(0, 4),
                             Point(-3, 0),
                             Point(0, -3),
                             Point(Point::TypeMin, 0),
                             Point(0, Point::TypeMax)};
    for (const Point& pos : outside)
        bitmap.Overlap(white, pos, Rect(0, 0, 3, 3));
    EXPECT_EQ(picture, PictureOf(bitmap));
}

TEST(Bitmap, OverlapMatchesThePlainLoopForRandomParts)
{
    Random random(3);
    for (int round = 0; round < 20000; ++round) {
        // Mostly narrow; sometimes wide enough for whole blocks of pixels and a rest.
        const std::int32_t most = Pick(random, 0, 3) == 0 ? 70 : 8;
        Picture expected = RandomPicture(random, Pick(random, 0, most), Pick(random, 0, 8));
        const Picture source = RandomPicture(random, Pick(random, 0, most), Pick(random, 0, 8));
        const Point pos(AnyNumber(random, most), AnyNumber(random, 9));
        const Rect rect(AnyNumber(random, most), AnyNumber(random, 9), AnyNumber(random, most),
                        AnyNumber(random, 9));
        Bitmap bitmap = MakeBitmap(expected);
        bitmap.Overlap(MakeBitmap(source), pos, rect);
        if (!bitmap.Empty())
            ModelOverlap(expected, source, pos, rect);
        ASSERT_EQ(expected.pixels, PictureOf(bitmap).pixels)
            << "pos " << pos.x << ' ' << pos.y << ", rect " << rect.x << ' ' << rect.y << ' '
            << rect.width << ' ' << rect.height;
    }
}

TEST(Bitmap, OverlapOntoItselfReadsPixelsAsTheyHaveBecome)
{
    Random random(4);
    for (int round = 0; round < 5000; ++round) {
        Picture expected = RandomPicture(random, Pick(random, 1, 50), Pick(random, 1, 6));
        const Point pos(AnyNumber(random, 20), AnyNumber(random, 4));
        const Rect rect(AnyNumber(random, 20), AnyNumber(random, 4), AnyNumber(random, 60),
                        AnyNumber(random, 8));
        Bitmap bitmap = MakeBitmap(expected);
        bitmap.Overlap(bitmap, pos, rect);
        ModelOverlap(expected, expected, pos, rect);
        ASSERT_EQ(expected, PictureOf(bitmap))
            << "pos " << pos.x << ' ' << pos.y << ", rect " << rect.x << ' ' << rect.y << ' '
            << rect.width << ' ' << rect.height;
    }
}
