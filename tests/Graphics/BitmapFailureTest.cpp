// SPDX-License-Identifier: MIT
#include <ORVEX/Bitmap.h>

#include "Graphics/Pictures.h"
#include "Support/ExpectRaises.h"
#include "Support/FailingNew.h"

#include <gtest/gtest.h>

using ORVEX::Bitmap;
using ORVEX::Color;
using ORVEX::Err;
using ORVEX::Point;
using ORVEX::Rect;

namespace {

const char InVector[] = "./include/ORVEX/../../src/Pointer/Vector";

Bitmap Red(std::int32_t width, std::int32_t height)
{
    Bitmap bitmap;
    bitmap.ResizeNoCopy(Point(width, height));
    bitmap.Fill(Color(255, 0, 0));
    return bitmap;
}

/// After a refusal the bitmap has no pixels, takes every call, and can be used again.
void ExpectHarmless(Bitmap& bitmap)
{
    EXPECT_TRUE(bitmap.Empty());
    EXPECT_EQ(nullptr, bitmap.Pixels().Begin());
    EXPECT_FALSE(bitmap.Pixels().Owned());
    EXPECT_EQ(Color(), bitmap.GetPixel(Point(0, 0)));
    bitmap.SetPixel(Point(0, 0), Color(1, 2, 3));
    bitmap.Fill(Color(1, 2, 3));
    bitmap.SetAlphaMax(1);
    const Bitmap red = Red(2, 2);
    bitmap.Overlap(red, Point(0, 0), Rect(0, 0, 2, 2));
    Bitmap other = Red(2, 2);
    other.Overlap(bitmap, Point(0, 0), Rect(0, 0, 2, 2));
    EXPECT_EQ(PictureOf(red), PictureOf(other));
    bitmap = red;
    EXPECT_EQ(PictureOf(red), PictureOf(bitmap));
}

} // namespace

TEST(Bitmap, RefusedResizeRaisesTheCountAndGivesThePixelsUpFirst)
{
    Bitmap bitmap = Red(3, 2);
    const long blocks = LiveBlocks();
    {
        const FailingNew next;
        ExpectRaises(InVector, Err::ERR_MEMORY, 20, [&] { bitmap.ResizeNoCopy(Point(5, 4)); });
        EXPECT_TRUE(next.Hit());
    }
    EXPECT_EQ(blocks - 1, LiveBlocks());
    ExpectHarmless(bitmap);
}

TEST(Bitmap, RefusedResizeRaisesTheCountThatWraps)
{
    // 2147483647 * 2 is 4294967294, which is -2 in the record's 32 signed bits; 65537 * 65537
    // wraps to 131073.
    Bitmap bitmap;
    ExpectRaises(InVector, Err::ERR_MEMORY, -2, [&] {
        const FailingNew next;
        bitmap.ResizeNoCopy(Point(Point::TypeMax, 2));
    });
    ExpectRaises(InVector, Err::ERR_MEMORY, 131073, [&] {
        const FailingNew next;
        bitmap.ResizeNoCopy(Point(65537, 65537));
    });
}

TEST(Bitmap, RefusedAssignmentRaisesTheCountAndGivesThePixelsUpFirst)
{
    const Bitmap source = Red(7, 3);
    Bitmap bitmap = Red(3, 2);
    const long blocks = LiveBlocks();
    {
        const FailingNew next;
        ExpectRaises(InVector, Err::ERR_MEMORY, 21, [&] { bitmap = source; });
        EXPECT_TRUE(next.Hit());
    }
    EXPECT_EQ(blocks - 1, LiveBlocks());
    EXPECT_EQ(Point(7, 3), bitmap.GetSize()); // copied before the pixels
    ExpectHarmless(bitmap);
}

TEST(Bitmap, RefusedCopyLeavesNothing)
{
    const Bitmap source = Red(7, 3);
    const long blocks = LiveBlocks();
    const FailingNew next;
    ExpectRaises(InVector, Err::ERR_MEMORY, 21, [&] { const Bitmap copy(source); });
    EXPECT_TRUE(next.Hit());
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(Bitmap, NothingIsAllocatedWhereTheCountStays)
{
    const Bitmap source = Red(2, 6);
    Bitmap bitmap = Red(4, 3);
    const long before = AllocationsSoFar();
    bitmap.ResizeNoCopy(Point(3, 4));
    bitmap = source;
    bitmap.Rotation(Red(0, 0), 90);
    EXPECT_EQ(before, AllocationsSoFar());
}

TEST(Bitmap, ReleasesEachStoreOnce)
{
    const long blocks = LiveBlocks();
    {
        Bitmap one = Red(4, 3);
        Bitmap other = Red(2, 2);
        one.Swap(other);
        other.Clear();
        EXPECT_EQ(blocks + 1, LiveBlocks());
        Color foreign[4];
        one.Pixels().Replace(foreign, 4);
        EXPECT_EQ(blocks, LiveBlocks());
        other.ResizeNoCopy(Point(9, 9));
        other.ResizeNoCopy(Point(65536, 65536));
        EXPECT_EQ(blocks, LiveBlocks());
        other = one;
        other.Scaling(Point(1, 1));
        EXPECT_EQ(blocks + 1, LiveBlocks());
    }
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(BitmapScaling, RefusedPixelsRaiseTheirCount)
{
    const Bitmap source = Red(7, 3);
    Bitmap bitmap = Red(2, 2);
    {
        const FailingNew next;
        ExpectRaises(InVector, Err::ERR_MEMORY, 20, [&] { bitmap.Scaling(source, Point(5, 4)); });
    }
    ExpectHarmless(bitmap);
    bitmap = Red(2, 2);
    {
        const FailingNew next;
        ExpectRaises(InVector, Err::ERR_MEMORY, 21, [&] { bitmap.Scaling(source, Point(7, 3)); });
    }
    ExpectHarmless(bitmap);
}

TEST(BitmapScaling, RefusedTablesRaiseTheirLengthWhenTheBitmapHasItsNewSize)
{
    const Bitmap source = Red(7, 3);
    Bitmap bitmap;
    for (const long which : {2l, 3l}) {
        bitmap = Red(2, 2);
        const long blocks = LiveBlocks();
        const FailingNew nth(which);
        // Six bounds of five columns, five bounds of four rows.
        ExpectRaises(InVector, Err::ERR_MEMORY, which == 2 ? 6 : 5,
                     [&] { bitmap.Scaling(source, Point(5, 4)); });
        EXPECT_TRUE(nth.Hit());
        EXPECT_EQ(blocks, LiveBlocks());
        EXPECT_EQ(Point(5, 4), bitmap.GetSize());
        EXPECT_EQ(20ul, bitmap.Pixels().Length());
    }
}

TEST(BitmapScaling, AllocatesThePixelsAndTheTwoTablesAndNothingElse)
{
    const Bitmap source = Red(300, 200);
    Bitmap bitmap;
    const long before = AllocationsSoFar();
    bitmap.Scaling(source, Point(5, 4));
    EXPECT_EQ(before + 3, AllocationsSoFar());
    bitmap.Scaling(source, Point(4, 5));
    EXPECT_EQ(before + 5, AllocationsSoFar());
}

TEST(BitmapScaling, RefusalInPlaceChangesNothing)
{
    Bitmap bitmap = Red(7, 3);
    const int data[] = {20, 6, 5};
    for (long which = 1; which <= 3; ++which) {
        const long blocks = LiveBlocks();
        {
            const FailingNew nth(which);
            ExpectRaises(InVector, Err::ERR_MEMORY, data[which - 1],
                         [&] { bitmap.Scaling(Point(5, 4)); });
            EXPECT_TRUE(nth.Hit());
        }
        EXPECT_EQ(blocks, LiveBlocks());
        EXPECT_EQ(PictureOf(Red(7, 3)), PictureOf(bitmap));
    }
}

TEST(BitmapRotation, RefusalRaisesTheCount)
{
    const Bitmap source = Red(7, 3);
    Bitmap bitmap;
    {
        const FailingNew next;
        ExpectRaises(InVector, Err::ERR_MEMORY, 21, [&] { bitmap.Rotation(source, 90); });
    }
    ExpectHarmless(bitmap);
    Bitmap own = Red(7, 3);
    {
        const FailingNew next;
        ExpectRaises(InVector, Err::ERR_MEMORY, 21, [&] { own.Rotation(90); });
    }
    EXPECT_EQ(PictureOf(source), PictureOf(own));
}
