// SPDX-License-Identifier: MIT
// The decoder, the buffers and the big integers under the memory sanitizer: whatever damaged files
// make of a picture, each byte of it must have been written. No C++ streams, whose library is not
// instrumented.
#include <ORVEX/Buffer.h>
#include <ORVEX/Nmpi.h>
#include <ORVEX/Ping.h>

#include "Png/BitWriter.h"
#include "Png/PngFile.h"
#include "Png/Random.h"

#include <sanitizer/msan_interface.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Kind {
    unsigned colorType, depth, bitsPerPixel;
};

const Kind Kinds[] = {{0, 1, 1}, {0, 8, 8}, {2, 8, 24}, {2, 16, 48},
                      {3, 4, 4}, {3, 8, 8}, {4, 8, 16}, {6, 8, 32}};

/// A picture of 9 x 6 in fixed blocks: some literals, some matches.
Bytes SmallFile(const Kind& kind, bool interlaced, Random& random)
{
    BitWriter stream;
    stream.Block(true, 1);
    const unsigned bytes = 6 * (1 + (9 * kind.bitsPerPixel + 7) / 8) + 20;
    for (unsigned i = 0; i < bytes; ++i) {
        stream.Fixed(random() % 6);
        if (random() % 8 == 0)
            stream.Fixed(257 + random() % 8).Code(random() % 4, 5);
    }
    stream.Fixed(256).Pad(4);
    PngFile file;
    file.Header(9, 6, kind.depth, kind.colorType, interlaced);
    if (kind.colorType == 3)
        file.Chunk("PLTE", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    file.Chunk("tRNS", {0, 1, 0, 2, 0, 3}).Chunk("IDAT", stream.Stream());
    return file.End().bytes;
}

long files = 0;

void Decode(const Bytes& file)
{
    ++files;
    const OwnBlock own(file);
    ORVEX::Ping ping;
    (void)ping.Load(own.Range());
    __msan_check_mem_is_initialized(ping.Pixels().Begin(), ping.Pixels().Length() * 4);
}

void DamagedPictures()
{
    Random random(3);
    for (const Kind& kind : Kinds)
        for (const bool interlaced : {false, true}) {
            Bytes file = SmallFile(kind, interlaced, random);
            for (std::size_t length = 0; length <= file.size(); ++length)
                Decode(Bytes(file.begin(), file.begin() + static_cast<long>(length)));
            // The header's size is left alone, so that no damage asks for gigabytes.
            for (std::size_t at = 24; at < file.size(); ++at)
                for (unsigned bit = 1; bit < 256; bit <<= 1) {
                    file[at] = static_cast<std::uint8_t>(file[at] ^ bit);
                    Decode(file);
                    file[at] = static_cast<std::uint8_t>(file[at] ^ bit);
                }
        }
}

void Buffers()
{
    Random random(4);
    ORVEX::Buffer buffer;
    for (int i = 0; i < 20000; ++i) {
        const unsigned long old = buffer.Length(), length = random() % 600;
        buffer.Resize(length);
        if (length > old)
            std::memset(buffer.Begin() + old, 7, length - old);
        // What was there before is still there, whatever block it lies in now.
        __msan_check_mem_is_initialized(buffer.Begin(), buffer.Length());
        ORVEX::Buffer copy(buffer);
        copy.CopyAdd(buffer);
        __msan_check_mem_is_initialized(copy.Begin(), copy.Length());
        if (copy.Comp(buffer) < 0)
            std::abort();
    }
}

void BigIntegers()
{
    Random random(5);
    static ORVEX::Nmpi<64> number, exponent, modulus, power, quotient;
    for (int i = 0; i < 200; ++i) {
        unsigned char bytes[3][64];
        for (auto& row : bytes)
            for (unsigned char& byte : row)
                byte = static_cast<unsigned char>(random());
        const unsigned long length = 1 + random() % 64;
        number.NocheckSetBuffer(ORVEX::BufferBase(bytes[0], 64));
        exponent.NocheckSetBuffer(ORVEX::BufferBase(bytes[1], 1 + random() % 8));
        modulus.NocheckSetBuffer(ORVEX::BufferBase(bytes[2], length));
        number.NocheckModExp(exponent, modulus, power, quotient);
        __msan_check_mem_is_initialized(number.begin, number.Length() * 4);
        __msan_check_mem_is_initialized(quotient.begin, quotient.Length() * 4);
    }
}

} // namespace

int main()
{
    DamagedPictures();
    Buffers();
    BigIntegers();
    std::printf("msan: %ld files, 20000 buffers, 200 exponentiations: all bytes were written\n",
                files);
    return 0;
}
