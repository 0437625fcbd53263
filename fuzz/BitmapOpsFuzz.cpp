// SPDX-License-Identifier: MIT
// Any sequence of operations on three bitmaps of up to 40 × 40 pixels, at any coordinates, against
// pictures that know nothing but the definitions; allocations are refused at any moment.
//
//   ./tools/fuzz 60 BitmapOpsFuzz
#include "PlainPicture.h"

using namespace ORVEX;

namespace {

const char VectorFile[] = "./include/ORVEX/../../src/Pointer/Vector";

class Machine {
public:
    explicit Machine(Feed& input) : feed(input) {}

    void Run()
    {
        while (!feed.Empty()) {
            Step();
            for (int i = 0; i < 3; ++i)
                Require(models[i].Equals(bitmaps[i]), "the bitmap has the size and the pixels");
        }
    }

private:
    Point TakePoint()
    {
        const std::int32_t x = TakeCoordinate(feed);
        return Point(x, TakeCoordinate(feed));
    }

    void Resize(Bitmap& bitmap, PlainPicture& model, unsigned int refuse)
    {
        static const Point Odd[] = {
            {0, 5},         {5, 0},         {-1, 3},        {65536, 65536},
            {65537, 65536}, {65536, 65537}, {INT32_MAX, 2}, {INT32_MAX, INT32_MAX}};
        const std::uint8_t pick = feed.Byte();
        const Point size = pick > 247 ? Odd[pick - 248] : Point(pick % 41, feed.Byte() % 41);
        const Outcome outcome = Attempt(refuse, [&] { bitmap.ResizeNoCopy(size); });
        const std::uint32_t count =
            size.x < 1 || size.y < 1
                ? 0
                : static_cast<std::uint32_t>(size.x) * static_cast<std::uint32_t>(size.y);
        const bool keeps = count == 0 || (count == model.pixels.size() && !lent[&bitmap - bitmaps]);
        if (!keeps && (refuse == 1 || count > HeapLimit / 4)) {
            Refused(bitmap, model, outcome, count);
            return;
        }
        Require(outcome.how == Outcome::Returned, "a bitmap raises only when it is refused");
        if (count == 0 || !keeps)
            model.pixels.assign(count, Color());
        model.width = size.x < 1 || size.y < 1 ? 0 : size.x;
        model.height = size.x < 1 || size.y < 1 ? 0 : size.y;
        lent[&bitmap - bitmaps] = false;
    }

    void Refused(Bitmap& bitmap, PlainPicture& model, const Outcome& outcome, unsigned long count)
    {
        Require(outcome.Is(VectorFile, Err::ERR_MEMORY, static_cast<int>(count)),
                "a refused bitmap raises the number of pixels");
        Require(bitmap.Empty(), "a refused bitmap has no pixels");
        // Whatever its size is now, nothing can be drawn on it.
        bitmap.SetPixel(Point(1, 1), Color(1, 2, 3));
        bitmap.Fill(Color(1, 2, 3));
        bitmap.Overlap(bitmap, Point(), Rect(0, 0, 9, 9));
        Require(Same(bitmap.GetPixel(Point(0, 0)), Color()), "no pixel is transparent black");
        bitmap.Clear();
        model.Clear();
        lent[&bitmap - bitmaps] = false;
    }

    void Assign(Bitmap& bitmap, PlainPicture& model, const Bitmap& other,
                const PlainPicture& source, unsigned int refuse)
    {
        const bool keeps = source.pixels.empty() ||
                           (source.pixels.size() == model.pixels.size() && bitmap.Pixels().Owned());
        const Outcome outcome = Attempt(refuse, [&] { bitmap = other; });
        if (&bitmap == &other)
            return;
        if (!keeps && refuse == 1) {
            Refused(bitmap, model, outcome, source.pixels.size());
            return;
        }
        Require(outcome.how == Outcome::Returned, "assignment raises only when it is refused");
        model = source;
        lent[&bitmap - bitmaps] = false;
    }

    void Copy(const Bitmap& bitmap, const PlainPicture& model, unsigned int refuse)
    {
        const Outcome outcome = Attempt(refuse, [&] {
            const Bitmap copy(bitmap);
            Require(model.Equals(copy), "a copy has the size and the pixels");
            Require(copy.Empty() || copy.Pixels().Begin() != bitmap.Pixels().Begin(),
                    "copies are deep");
        });
        Require((outcome.how == Outcome::Raised) == outcome.refused,
                "a copy raises exactly when it is refused");
    }

    void GetPixel(const Bitmap& bitmap, PlainPicture& model)
    {
        const Point point = TakePoint();
        const Color& pixel = bitmap.GetPixel(point);
        if (!model.Whole()) {
            Require(Same(pixel, Color()), "no pixel is transparent black");
            return;
        }
        Require(Same(pixel, model.AtNearest(point.x, point.y)), "GetPixel finds the nearest one");
        const Point inside = bitmap.NormalizationPoint(point);
        Require(inside.x == std::clamp(point.x, 0, model.width - 1) &&
                    inside.y == std::clamp(point.y, 0, model.height - 1),
                "NormalizationPoint clamps");
    }

    void Rotate(Bitmap& bitmap, PlainPicture& model, const Bitmap& other,
                const PlainPicture& source, unsigned int refuse)
    {
        // A size without the pixels for it would be asked for anew.
        if (!source.Whole())
            return;
        const bool keeps = source.pixels.size() == model.pixels.size() && bitmap.Pixels().Owned();
        const Outcome outcome = Attempt(refuse, [&] { bitmap.Rotation(other, 90); });
        if (!keeps && refuse == 1) {
            const std::size_t count = source.pixels.size();
            Refused(bitmap, model, outcome, count);
            return;
        }
        Require(outcome.how == Outcome::Returned, "Rotation raises only when it is refused");
        const PlainPicture shape = source;
        model = shape;
        std::fill(model.pixels.begin(), model.pixels.end(), Color(255, 255, 255));
        lent[&bitmap - bitmaps] = false;
    }

    // A store of the caller's, such as a display's, of up to 8 × 8 pixels.
    void Lend(int which)
    {
        for (int i = 0; i < 3; ++i)
            if (bitmaps[i].Pixels().Begin() == display)
                return;
        const std::int32_t width = static_cast<std::int32_t>(feed.Number(7)) + 1;
        const std::int32_t height = static_cast<std::int32_t>(feed.Number(7)) + 1;
        bitmaps[which].ResizeNoCopy(Point(width, height));
        models[which].width = width;
        models[which].height = height;
        models[which].pixels.assign(static_cast<std::size_t>(width * height), Color(9, 8, 7, 6));
        std::fill(display, display + 64, Color(9, 8, 7, 6));
        bitmaps[which].Pixels().Replace(display, models[which].pixels.size());
        lent[which] = true;
    }

    void Step()
    {
        const std::uint8_t op = feed.Byte();
        const int which = op / 16 % 3;
        const std::uint8_t second = feed.Byte();
        const int from = second % 3;
        Bitmap& bitmap = bitmaps[which];
        PlainPicture& model = models[which];
        Bitmap& other = bitmaps[from];
        PlainPicture& source = models[from];
        const unsigned int refuse = second >= 240 ? 1 : 0;

        switch (op % 16) {
        case 0:
        case 1:
            Resize(bitmap, model, refuse);
            break;
        case 2:
            FillAlike(feed, bitmap, model);
            break;
        case 3: {
            const Color color = TakeColor(feed);
            bitmap.Fill(color);
            std::fill(model.pixels.begin(), model.pixels.end(), color);
            break;
        }
        case 4: {
            const Point point = TakePoint();
            const Color color = TakeColor(feed);
            bitmap.SetPixel(point, color);
            if (model.Whole())
                model.AtNearest(point.x, point.y) = color;
            break;
        }
        case 5:
            GetPixel(bitmap, model);
            break;
        case 6:
        case 7:
        case 8:
        case 9: {
            const Point pos = TakePoint();
            const Point corner = TakePoint();
            const Point extent = TakePoint();
            const Rect rect(corner.x, corner.y, extent.x, extent.y);
            bitmap.Overlap(other, pos, rect);
            model.Overlap(source, pos, rect);
            break;
        }
        case 10:
            bitmap.Swap(other);
            std::swap(model, source);
            std::swap(lent[which], lent[from]);
            break;
        case 11:
            bitmap.Clear();
            model.Clear();
            lent[which] = false;
            break;
        case 12:
            Assign(bitmap, model, other, source, refuse);
            break;
        case 13:
            Copy(bitmap, model, refuse);
            break;
        case 14: {
            const unsigned int most = feed.Byte();
            bitmap.SetAlphaMax(static_cast<unsigned char>(most));
            for (Color& pixel : model.pixels)
                pixel.alpha = static_cast<unsigned char>(pixel.alpha * most / 255);
            break;
        }
        default:
            if (second & 4)
                Rotate(bitmap, model, other, source, refuse);
            else
                Lend(which);
        }
    }

    Feed& feed;
    Color display[64];
    Bitmap bitmaps[3];
    PlainPicture models[3];
    bool lent[3] = {};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    Feed feed(data, size);
    Machine(feed).Run();
    return 0;
}
