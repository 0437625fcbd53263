// SPDX-License-Identifier: MIT
#include <ORVEX/File.h>

#include <fstream>
#include <limits>

namespace ORVEX {

namespace {

/// The stream's position as a length. One that is unknown (-1), or too large for the type, becomes
/// the largest length, which no buffer can have: cutting it would load a part of the file.
unsigned long LengthFromPosition(std::streamoff position)
{
    const unsigned long largest = std::numeric_limits<unsigned long>::max();
    if (position < 0 || static_cast<unsigned long long>(position) > largest)
        return largest;
    return static_cast<unsigned long>(position);
}

} // namespace

FileBuffer::~FileBuffer() = default;

bool FileBuffer::Load(const String& path)
{
    std::ifstream file(path.CStr(), std::ios::in | std::ios::binary);
    if (!file.is_open())
        return false;
    file.seekg(0, std::ios::end);
    const unsigned long length = LengthFromPosition(file.tellg());
    file.seekg(0, std::ios::beg);
    // Without a block the range is lent, or what a refused request left of it: a file is read into
    // neither.
    if (Capacity() == 0)
        Replace(nullptr, 0);
    ResizeNoCopy(length);
    // A short read is not looked for: whoever cares checks the contents anyway.
    file.read(reinterpret_cast<char*>(begin), static_cast<std::streamsize>(length));
    file.close();
    return true;
}

bool FileBuffer::Save(const String& path) const
{
    std::ofstream file(path.CStr(), std::ios::out | std::ios::trunc | std::ios::binary);
    if (!file.is_open())
        return false;
    file.write(reinterpret_cast<const char*>(begin), static_cast<std::streamsize>(Length()));
    file.close();
    return true;
}

} // namespace ORVEX
