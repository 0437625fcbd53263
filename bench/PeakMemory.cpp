// SPDX-License-Identifier: MIT
// The most bytes that are held at once while a PNG file of 12 megapixels becomes a bitmap, the file
// itself not counted. Prints the bytes of the raster and those of the peak.
#include "Pictures.h"

#include <ORVEX/Ping.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

std::size_t held = 0;
std::size_t peak = 0;

// Each block starts with its size.
const std::size_t Head = alignof(std::max_align_t);

void* Take(std::size_t size)
{
    auto* const block = static_cast<unsigned char*>(std::malloc(Head + size));
    if (!block)
        throw std::bad_alloc();
    std::memcpy(block, &size, sizeof size);
    held += size;
    peak = std::max(peak, held);
    return block + Head;
}

void Give(void* bytes)
{
    if (!bytes)
        return;
    unsigned char* const block = static_cast<unsigned char*>(bytes) - Head;
    std::size_t size;
    std::memcpy(&size, block, sizeof size);
    held -= size;
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) { return Take(size); }
void* operator new[](std::size_t size) { return Take(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return Take(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* bytes) noexcept { Give(bytes); }
void operator delete[](void* bytes) noexcept { Give(bytes); }
void operator delete(void* bytes, std::size_t) noexcept { Give(bytes); }
void operator delete[](void* bytes, std::size_t) noexcept { Give(bytes); }

int main()
{
    const std::vector<unsigned char> file =
        pictures::PngFile(pictures::PhotoPicture(4000, 3000, 4, PNG_COLOR_TYPE_RGB_ALPHA));
    const ORVEX::BufferBase range(const_cast<unsigned char*>(file.data()), file.size());
    ORVEX::Ping ping;
    const std::size_t before = held;
    peak = held;
    if (!ping.Load(range) || ping.GetSize().x != 4000)
        return 1;
    std::printf("raster %zu peak %zu\n", held - before, peak - before);
}
