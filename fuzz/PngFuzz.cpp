// SPDX-License-Identifier: MIT
// A bitmap loaded from any bytes: it may come out empty, but never torn.
//
//   ./tools/fuzz 60 PngFuzz
#include "Harness.h"
#include "Png/PngFile.h"

#include <ORVEX/Ping.h>
#include <ORVEX/Png.h>

using namespace ORVEX;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    const std::int32_t nodes = ZrPngHuffmanTree::leakTracker;
    {
        const OwnBlock file(std::vector<std::uint8_t>(data, data + size));
        Ping ping;
        ping.ResizeNoCopy(Point(3, 3)); // an old picture, which has to go
        bool loaded = false;
        const Outcome outcome = Attempt(0, [&] { loaded = ping.Load(file.Range()); });
        Require(outcome.how == Outcome::Returned || outcome.refused,
                "Load raises when it is refused only");
        const Point shape = ping.GetSize();
        if (outcome.how == Outcome::Returned) {
            Require(std::uint64_t(std::uint32_t(shape.x)) * std::uint32_t(shape.y) ==
                        ping.Pixels().Length(),
                    "there is a pixel for every place");
            Require(loaded || (ping.Empty() && shape.x == 0 && shape.y == 0),
                    "what is not loaded is empty");
        }
        // Every pixel can be read and written.
        ping.SetPixel(Point(1, 1), ping.GetPixel(Point(Point::TypeMax, Point::TypeMax)));
        ping.Overlap(ping, Point(1, 1), Rect(0, 0, shape.x, shape.y));
    }
    Require(ZrPngHuffmanTree::leakTracker == nodes, "every node of a tree has been released");
    return 0;
}
