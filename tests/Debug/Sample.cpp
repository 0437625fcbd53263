// SPDX-License-Identifier: MIT
// A program with one value of each kind, stopped by the debugger's test where all are alive.
#include <ORVEX/ORVEX.h>

#include <cstdlib>

namespace {

// Never optimised away: the debugger stops here, and a run by itself may be made to die here.
__attribute__((noinline)) void AllAlive(bool die)
{
    if (die)
        std::abort();
}

} // namespace

int main(int argc, char**)
{
    ORVEX::String text = ORVEX::String::ChangeCharStr("Gr\xC3\xBC\xC3\x9F"
                                                      "e");
    ORVEX::Char character("\xE2\x82\xAC");
    ORVEX::Buffer bytes;
    bytes.Resize(3);
    bytes[0] = 1, bytes[1] = 2, bytes[2] = 255;
    ORVEX::Array<int, 2> array;
    array[0] = 7, array[1] = 8;
    ORVEX::Vector<ORVEX::Color> vector;
    vector.TryResizeNoCopy(2);
    vector[1] = ORVEX::Color(255, 128, 0);
    ORVEX::List<ORVEX::String> list = ORVEX::String::ChangeCharStr("usr/lib").FindSplit("/");
    ORVEX::Color color(18, 52, 86, 120);
    ORVEX::Bitmap bitmap;
    bitmap.ResizeNoCopy({3, 2});
    bitmap.Fill(color);
    bitmap.SetPixel({2, 1}, ORVEX::Color(1, 2, 3));
    ORVEX::Time time(1794813129);
    ORVEX::Clock clock(250);
    std::uint32_t limbs[2] = {0x89ABCDEF, 0x1234567};
    ORVEX::NmpiBaseNocheck number;
    number.begin = limbs, number.end = limbs + 2;

    AllAlive(argc > 1);
    return text.Length() == 0 || bytes.Empty() || array.Empty() || vector.Empty() || list.Empty() ||
           bitmap.Empty() || character.GetUTF32() == 0 || time.Get() == 0 || clock.Get() == 0 ||
           number.begin == nullptr;
}
