// SPDX-License-Identifier: MIT
// Prints the bytes of a file in rows of sixteen, or how two files differ.
//
//   hexdump FILE           the bytes
//   hexdump FILE OTHER     the first difference; the exit status is 0 when there is none
#include <ORVEX/Err.h>
#include <ORVEX/File.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::FileBuffer;
using ORVEX::String;

namespace {

const unsigned long PerRow = 16;

bool Load(FileBuffer& file, const char* path)
{
    if (file.Load(String::ChangeCharStr(path)))
        return true;
    std::perror(path);
    return false;
}

void Add(Buffer& text, const char* piece)
{
    const unsigned char* const first = reinterpret_cast<const unsigned char*>(piece);
    text.CopyAdd(first, first + std::strlen(piece));
}

// Appends one row of text for the bytes of `row`.
void AddRow(Buffer& text, unsigned long offset, const BufferBase& row)
{
    char piece[24];
    std::snprintf(piece, sizeof piece, "%08lX ", offset);
    Add(text, piece);
    for (unsigned long i = 0; i < PerRow; ++i) {
        if (i < row.Length())
            std::snprintf(piece, sizeof piece, " %02X", static_cast<unsigned int>(row[i]));
        Add(text, i < row.Length() ? piece : "   ");
    }
    Add(text, "  ");
    Buffer shown(row); // a copy, in which what cannot be printed becomes a dot
    for (unsigned long i = 0; i < shown.Length(); ++i)
        if (shown[i] < 0x20 || shown[i] > 0x7E)
            shown[i] = '.';
    text.CopyAdd(shown);
    Add(text, "\n");
}

int Dump(const char* path)
{
    FileBuffer file;
    if (!Load(file, path))
        return 2;
    Buffer text; // grows in whole units, a row at a time
    for (unsigned long at = 0; at < file.Length(); at += PerRow) {
        // A view of the file's own bytes: nothing is copied.
        AddRow(text, at, BufferBase(file.Begin() + at, std::min(PerRow, file.Length() - at)));
        if (text.Length() >= 4096) {
            std::fwrite(text.Begin(), 1, text.Length(), stdout);
            text.Resize(0);
        }
    }
    std::fwrite(text.Begin(), 1, text.Length(), stdout);
    std::printf("%lu bytes\n", file.Length());
    return 0;
}

int Compare(const char* first, const char* second)
{
    FileBuffer one;
    FileBuffer other;
    if (!Load(one, first) || !Load(other, second))
        return 2;
    const int order = one.Comp(other);
    if (order == 0) {
        std::puts("equal");
        return 0;
    }
    const unsigned long both = std::min(one.Length(), other.Length());
    unsigned long at = 0;
    while (at < both && one[at] == other[at])
        ++at;
    std::printf("equal up to byte %lu, then the %s is the greater\n", at,
                order > 0 ? "first" : "second");
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 && argc != 3) {
        std::fputs("usage: hexdump FILE [OTHER]\n", stderr);
        return 2;
    }
    try {
        return argc == 2 ? Dump(argv[1]) : Compare(argv[1], argv[2]);
    } catch (const ORVEX::Err&) { // it has printed itself: no memory, or a file without a length
        return 2;
    }
}
