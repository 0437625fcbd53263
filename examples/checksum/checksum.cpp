// SPDX-License-Identifier: MIT
// Prints the CRC-32 and the CRC-8 of files, which are read piece by piece and never held whole.
//
//   checksum FILE...
#include <ORVEX/CRC.h>

#include <cstdio>

namespace {

bool Print(const char* path)
{
    std::FILE* const file = std::fopen(path, "rb");
    if (file == nullptr) {
        std::perror(path);
        return false;
    }
    ORVEX::CRC32 crc32;
    ORVEX::CRC8 crc8;
    unsigned char bytes[4096];
    while (const std::size_t count = std::fread(bytes, 1, sizeof bytes, file)) {
        const ORVEX::BufferBase piece(bytes, count);
        crc32.Update(piece);
        crc8.Update(piece);
    }
    const bool complete = std::ferror(file) == 0;
    if (!complete)
        std::perror(path);
    else
        std::printf("%08lX %02X  %s\n", static_cast<unsigned long>(crc32.Get()),
                    static_cast<unsigned>(crc8.Get()), path);
    std::fclose(file);
    return complete;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs("usage: checksum FILE...\n", stderr);
        return 2;
    }
    bool all = true;
    for (int i = 1; i < argc; ++i)
        all = Print(argv[i]) && all;
    return all ? 0 : 1;
}
