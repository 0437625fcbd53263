// SPDX-License-Identifier: MIT
// What an application's first program does: include everything, use a class of several families
// and catch a record that is raised inside the library.
#include <ORVEX/ORVEX.h>

#include <cstring>

int main()
{
    ORVEX::String text = ORVEX::String::ChangeCharStr("from outside");
    ORVEX::Vector<ORVEX::Color> colours;
    colours.TryResizeNoCopy(3);
    ORVEX::Bitmap bitmap;
    bitmap.ResizeNoCopy({4, 2});
    ORVEX::Buffer source;
    source.Resize(3);
    ORVEX::BufferBase target;
    try {
        target.Copy(source); // a plain range cannot grow
    } catch (const ORVEX::Err& err) {
        const bool right = err.code == ORVEX::Err::ERR_PARAMETER && err.data == 3 &&
                           std::strcmp(err.file, "src/Buffer/Buffer") == 0;
        return right && text.Length() == 12 && colours.Length() == 3 && !bitmap.Empty() ? 0 : 1;
    }
    return 2;
}
