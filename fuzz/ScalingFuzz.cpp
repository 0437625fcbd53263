// SPDX-License-Identifier: MIT
// Scaling between any two sizes, flat and narrow ones among them, against the mean of every block
// by itself; allocations are refused at any moment.
//
//   ./tools/fuzz 60 ScalingFuzz
#include "PlainPicture.h"

using namespace ORVEX;

namespace {

const char VectorFile[] = "./include/ORVEX/../../src/Pointer/Vector";

// Mostly a few pixels; now and then many, in one direction.
Point TakeSize(Feed& feed)
{
    static const Point Odd[] = {{0, 3}, {3, 0}, {-1, 4}, {65536, 65536}, {65537, 65536}};
    const std::uint8_t kind = feed.Byte();
    if (kind >= 251)
        return Odd[kind - 251];
    if (kind < 192) {
        const std::int32_t x = static_cast<std::int32_t>(feed.Number(40));
        return Point(x + 1, static_cast<std::int32_t>(feed.Number(40)) + 1);
    }
    const std::int32_t length = static_cast<std::int32_t>(feed.Number(511)) + 1;
    const std::int32_t other = kind % 8 / 2 + 1;
    return kind & 1 ? Point(length, other) : Point(other, length);
}

std::uint32_t Pixels(const Point& size)
{
    return size.x < 1 || size.y < 1
               ? 0
               : static_cast<std::uint32_t>(size.x) * static_cast<std::uint32_t>(size.y);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    Feed feed(data, size);
    const std::uint8_t mode = feed.Byte();
    const unsigned int refuse = mode & 0x40 ? mode % 4 + 1u : 0;
    const Point from = TakeSize(feed);
    const Point to = mode & 0x20 ? from : TakeSize(feed);
    if (Pixels(from) > 4096)
        return 0;

    Bitmap source;
    source.ResizeNoCopy(from);
    PlainPicture plain;
    plain.width = source.GetSize().x;
    plain.height = source.GetSize().y;
    plain.pixels.resize(source.Pixels().Length());
    FillAlike(feed, source, plain);

    Bitmap other;
    other.ResizeNoCopy(Point(3, 2));
    const bool inPlace = mode & 0x80;
    Bitmap& target = inPlace ? source : other;
    const Outcome outcome = Attempt(refuse, [&] {
        if (!inPlace)
            other.Scaling(source, to);
        else if (mode & 0x10)
            source.Scaling(to);
        else
            source.Scaling(source, to);
    });

    if (outcome.how != Outcome::Returned) {
        Require(outcome.refused, "Scaling raises when it is refused");
        const bool isCount =
            outcome.Is(VectorFile, Err::ERR_MEMORY, static_cast<int>(Pixels(to))) ||
            outcome.Is(VectorFile, Err::ERR_MEMORY, to.x + 1) ||
            outcome.Is(VectorFile, Err::ERR_MEMORY, to.y + 1);
        Require(isCount, "a refused Scaling raises the count that was asked for");
        Require(!inPlace || plain.Equals(source), "a refused Scaling in place changes nothing");
        return 0;
    }
    PlainPicture expected;
    if (to.x < 1 || to.y < 1) {
        // empty
    } else if (to.x == plain.width && to.y == plain.height) {
        expected = plain;
    } else if (plain.Whole() && std::int64_t{to.x} * to.y == std::int64_t{Pixels(to)}) {
        expected = plain.Scaled(to.x, to.y);
    } else {
        expected.width = to.x;
        expected.height = to.y;
        expected.pixels.resize(Pixels(to));
    }
    Require(expected.Equals(target), "every pixel is the mean of its block");
    Require(inPlace || plain.Equals(source), "the source stays");
    return 0;
}
