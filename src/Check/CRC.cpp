// SPDX-License-Identifier: MIT
#include <ORVEX/CRC.h>

#include "CRCFold.h"

#include <cstddef>
#include <cstring>
#include <utility>

namespace ORVEX {

namespace {

// The eight steps that make an entry of CRC32::Table, one for each bit of a byte in the reflected
// register.
constexpr std::uint32_t EightSteps32(std::uint32_t value)
{
    for (int step = 0; step < 8; ++step)
        value = value >> 1 ^ (value & 1 ? 0xEDB88320 : 0);
    return value;
}

// The same for CRC8::Table; that register is not reflected and shifts the other way.
constexpr std::uint8_t EightSteps8(std::uint32_t value)
{
    for (int step = 0; step < 8; ++step)
        value = (value << 1 ^ (value & 0x80 ? 0x31 : 0)) & 0xFF;
    return static_cast<std::uint8_t>(value);
}

// What the processor loads at once: 4 bytes on the device, 8 on a PC.
using Word = unsigned long;
constexpr unsigned long WordBytes = sizeof(Word);
using ByteIndices = std::make_index_sequence<WordBytes>;

// Byte by byte, each look-up waits for the one before. So several registers, the braids, take
// every so many-th word each, and what they do does not depend on each other.
constexpr unsigned long Braids = WordBytes == 8 ? 5 : 4;
constexpr unsigned long BraidBytes = Braids * WordBytes;
using BraidIndices = std::make_index_sequence<Braids>;

// Table i: what byte i of a word has become when the braid reaches its next word, BraidBytes on.
struct BraidTables {
    std::uint32_t table[WordBytes][256];
};

constexpr BraidTables MakeBraidTables()
{
    BraidTables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t value = byte;
        for (unsigned long passed = 1; passed <= BraidBytes; ++passed) {
            value = EightSteps32(value & 0xFF) ^ value >> 8;
            if (passed > BraidBytes - WordBytes)
                tables.table[BraidBytes - passed][byte] = value;
        }
    }
    return tables;
}
constexpr BraidTables Moved = MakeBraidTables();

// The same for CRC8, whose register is a byte: table i is what a byte has become i + 1 bytes behind
// the one that Table takes it through.
struct MovedTables8 {
    std::uint8_t table[3][256];
};

constexpr MovedTables8 MakeMovedTables8()
{
    MovedTables8 tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint8_t value = EightSteps8(byte);
        for (std::uint8_t(&table)[256] : tables.table) {
            value = EightSteps8(value);
            table[byte] = value;
        }
    }
    return tables;
}
constexpr MovedTables8 Moved8 = MakeMovedTables8();

// Where the tables begin. On 32-bit ARM the compiler is kept from knowing how far they are apart:
// it would form each address with an addition instead of within the load.
struct TableStarts {
    template <std::size_t... i> explicit TableStarts(std::index_sequence<i...>)
        : start{Moved.table[i]...}
    {
#ifdef __arm__
        for (const std::uint32_t*& each : start)
            __asm__("" : "+r"(each));
#endif
    }
    const std::uint32_t* start[WordBytes];
};

// The first byte in memory is the lowest one.
inline Word LoadWord(const unsigned char* bytes)
{
    Word word;
    std::memcpy(&word, bytes, WordBytes);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = WordBytes == 8 ? __builtin_bswap64(word) : __builtin_bswap32(word);
#endif
    return word;
}

template <std::size_t... i>
inline std::uint32_t MoveWord(Word word, const TableStarts& tables, std::index_sequence<i...>)
{
    return (tables.start[i][word >> 8 * i & 0xFF] ^ ...);
}

inline std::uint32_t UpdateByBytes(std::uint32_t crc, const unsigned char* at,
                                   const unsigned char* end)
{
    for (; at != end; ++at)
        crc = CRC32::Table[(crc ^ *at) & 0xFF] ^ crc >> 8;
    return crc;
}

// Takes in `rounds` times BraidBytes bytes and as many more, which the braids join in.
template <std::size_t... k> std::uint32_t UpdateByBraids(std::uint32_t crc, const unsigned char* at,
                                                         unsigned long rounds,
                                                         std::index_sequence<k...>)
{
    const TableStarts tables{ByteIndices()};
    std::uint32_t braids[Braids] = {crc};
    for (; rounds != 0; --rounds, at += BraidBytes) {
        ((braids[k] = MoveWord(LoadWord(at + k * WordBytes) ^ braids[k], tables, ByteIndices())),
         ...);
    }
    // Each braid now stands before its word of the last round: what came from the words before
    // goes in there as well.
    crc = 0;
    for (const std::uint32_t braid : braids) {
        crc = UpdateByBytes(crc ^ braid, at, at + WordBytes);
        at += WordBytes;
    }
    return crc;
}

} // namespace

const std::uint32_t CRC32::Table[256] = {
    0x00000000, 0x77073096, 0xEE0E612C, 0x990951BA, 0x076DC419, 0x706AF48F, 0xE963A535, 0x9E6495A3,
    0x0EDB8832, 0x79DCB8A4, 0xE0D5E91E, 0x97D2D988, 0x09B64C2B, 0x7EB17CBD, 0xE7B82D07, 0x90BF1D91,
    0x1DB71064, 0x6AB020F2, 0xF3B97148, 0x84BE41DE, 0x1ADAD47D, 0x6DDDE4EB, 0xF4D4B551, 0x83D385C7,
    0x136C9856, 0x646BA8C0, 0xFD62F97A, 0x8A65C9EC, 0x14015C4F, 0x63066CD9, 0xFA0F3D63, 0x8D080DF5,
    0x3B6E20C8, 0x4C69105E, 0xD56041E4, 0xA2677172, 0x3C03E4D1, 0x4B04D447, 0xD20D85FD, 0xA50AB56B,
    0x35B5A8FA, 0x42B2986C, 0xDBBBC9D6, 0xACBCF940, 0x32D86CE3, 0x45DF5C75, 0xDCD60DCF, 0xABD13D59,
    0x26D930AC, 0x51DE003A, 0xC8D75180, 0xBFD06116, 0x21B4F4B5, 0x56B3C423, 0xCFBA9599, 0xB8BDA50F,
    0x2802B89E, 0x5F058808, 0xC60CD9B2, 0xB10BE924, 0x2F6F7C87, 0x58684C11, 0xC1611DAB, 0xB6662D3D,
    0x76DC4190, 0x01DB7106, 0x98D220BC, 0xEFD5102A, 0x71B18589, 0x06B6B51F, 0x9FBFE4A5, 0xE8B8D433,
    0x7807C9A2, 0x0F00F934, 0x9609A88E, 0xE10E9818, 0x7F6A0DBB, 0x086D3D2D, 0x91646C97, 0xE6635C01,
    0x6B6B51F4, 0x1C6C6162, 0x856530D8, 0xF262004E, 0x6C0695ED, 0x1B01A57B, 0x8208F4C1, 0xF50FC457,
    0x65B0D9C6, 0x12B7E950, 0x8BBEB8EA, 0xFCB9887C, 0x62DD1DDF, 0x15DA2D49, 0x8CD37CF3, 0xFBD44C65,
    0x4DB26158, 0x3AB551CE, 0xA3BC0074, 0xD4BB30E2, 0x4ADFA541, 0x3DD895D7, 0xA4D1C46D, 0xD3D6F4FB,
    0x4369E96A, 0x346ED9FC, 0xAD678846, 0xDA60B8D0, 0x44042D73, 0x33031DE5, 0xAA0A4C5F, 0xDD0D7CC9,
    0x5005713C, 0x270241AA, 0xBE0B1010, 0xC90C2086, 0x5768B525, 0x206F85B3, 0xB966D409, 0xCE61E49F,
    0x5EDEF90E, 0x29D9C998, 0xB0D09822, 0xC7D7A8B4, 0x59B33D17, 0x2EB40D81, 0xB7BD5C3B, 0xC0BA6CAD,
    0xEDB88320, 0x9ABFB3B6, 0x03B6E20C, 0x74B1D29A, 0xEAD54739, 0x9DD277AF, 0x04DB2615, 0x73DC1683,
    0xE3630B12, 0x94643B84, 0x0D6D6A3E, 0x7A6A5AA8, 0xE40ECF0B, 0x9309FF9D, 0x0A00AE27, 0x7D079EB1,
    0xF00F9344, 0x8708A3D2, 0x1E01F268, 0x6906C2FE, 0xF762575D, 0x806567CB, 0x196C3671, 0x6E6B06E7,
    0xFED41B76, 0x89D32BE0, 0x10DA7A5A, 0x67DD4ACC, 0xF9B9DF6F, 0x8EBEEFF9, 0x17B7BE43, 0x60B08ED5,
    0xD6D6A3E8, 0xA1D1937E, 0x38D8C2C4, 0x4FDFF252, 0xD1BB67F1, 0xA6BC5767, 0x3FB506DD, 0x48B2364B,
    0xD80D2BDA, 0xAF0A1B4C, 0x36034AF6, 0x41047A60, 0xDF60EFC3, 0xA867DF55, 0x316E8EEF, 0x4669BE79,
    0xCB61B38C, 0xBC66831A, 0x256FD2A0, 0x5268E236, 0xCC0C7795, 0xBB0B4703, 0x220216B9, 0x5505262F,
    0xC5BA3BBE, 0xB2BD0B28, 0x2BB45A92, 0x5CB36A04, 0xC2D7FFA7, 0xB5D0CF31, 0x2CD99E8B, 0x5BDEAE1D,
    0x9B64C2B0, 0xEC63F226, 0x756AA39C, 0x026D930A, 0x9C0906A9, 0xEB0E363F, 0x72076785, 0x05005713,
    0x95BF4A82, 0xE2B87A14, 0x7BB12BAE, 0x0CB61B38, 0x92D28E9B, 0xE5D5BE0D, 0x7CDCEFB7, 0x0BDBDF21,
    0x86D3D2D4, 0xF1D4E242, 0x68DDB3F8, 0x1FDA836E, 0x81BE16CD, 0xF6B9265B, 0x6FB077E1, 0x18B74777,
    0x88085AE6, 0xFF0F6A70, 0x66063BCA, 0x11010B5C, 0x8F659EFF, 0xF862AE69, 0x616BFFD3, 0x166CCF45,
    0xA00AE278, 0xD70DD2EE, 0x4E048354, 0x3903B3C2, 0xA7672661, 0xD06016F7, 0x4969474D, 0x3E6E77DB,
    0xAED16A4A, 0xD9D65ADC, 0x40DF0B66, 0x37D83BF0, 0xA9BCAE53, 0xDEBB9EC5, 0x47B2CF7F, 0x30B5FFE9,
    0xBDBDF21C, 0xCABAC28A, 0x53B39330, 0x24B4A3A6, 0xBAD03605, 0xCDD70693, 0x54DE5729, 0x23D967BF,
    0xB3667A2E, 0xC4614AB8, 0x5D681B02, 0x2A6F2B94, 0xB40BBE37, 0xC30C8EA1, 0x5A05DF1B, 0x2D02EF8D};

const std::uint8_t CRC8::Table[256] = {
    0x00, 0x31, 0x62, 0x53, 0xC4, 0xF5, 0xA6, 0x97, 0xB9, 0x88, 0xDB, 0xEA, 0x7D, 0x4C, 0x1F, 0x2E,
    0x43, 0x72, 0x21, 0x10, 0x87, 0xB6, 0xE5, 0xD4, 0xFA, 0xCB, 0x98, 0xA9, 0x3E, 0x0F, 0x5C, 0x6D,
    0x86, 0xB7, 0xE4, 0xD5, 0x42, 0x73, 0x20, 0x11, 0x3F, 0x0E, 0x5D, 0x6C, 0xFB, 0xCA, 0x99, 0xA8,
    0xC5, 0xF4, 0xA7, 0x96, 0x01, 0x30, 0x63, 0x52, 0x7C, 0x4D, 0x1E, 0x2F, 0xB8, 0x89, 0xDA, 0xEB,
    0x3D, 0x0C, 0x5F, 0x6E, 0xF9, 0xC8, 0x9B, 0xAA, 0x84, 0xB5, 0xE6, 0xD7, 0x40, 0x71, 0x22, 0x13,
    0x7E, 0x4F, 0x1C, 0x2D, 0xBA, 0x8B, 0xD8, 0xE9, 0xC7, 0xF6, 0xA5, 0x94, 0x03, 0x32, 0x61, 0x50,
    0xBB, 0x8A, 0xD9, 0xE8, 0x7F, 0x4E, 0x1D, 0x2C, 0x02, 0x33, 0x60, 0x51, 0xC6, 0xF7, 0xA4, 0x95,
    0xF8, 0xC9, 0x9A, 0xAB, 0x3C, 0x0D, 0x5E, 0x6F, 0x41, 0x70, 0x23, 0x12, 0x85, 0xB4, 0xE7, 0xD6,
    0x7A, 0x4B, 0x18, 0x29, 0xBE, 0x8F, 0xDC, 0xED, 0xC3, 0xF2, 0xA1, 0x90, 0x07, 0x36, 0x65, 0x54,
    0x39, 0x08, 0x5B, 0x6A, 0xFD, 0xCC, 0x9F, 0xAE, 0x80, 0xB1, 0xE2, 0xD3, 0x44, 0x75, 0x26, 0x17,
    0xFC, 0xCD, 0x9E, 0xAF, 0x38, 0x09, 0x5A, 0x6B, 0x45, 0x74, 0x27, 0x16, 0x81, 0xB0, 0xE3, 0xD2,
    0xBF, 0x8E, 0xDD, 0xEC, 0x7B, 0x4A, 0x19, 0x28, 0x06, 0x37, 0x64, 0x55, 0xC2, 0xF3, 0xA0, 0x91,
    0x47, 0x76, 0x25, 0x14, 0x83, 0xB2, 0xE1, 0xD0, 0xFE, 0xCF, 0x9C, 0xAD, 0x3A, 0x0B, 0x58, 0x69,
    0x04, 0x35, 0x66, 0x57, 0xC0, 0xF1, 0xA2, 0x93, 0xBD, 0x8C, 0xDF, 0xEE, 0x79, 0x48, 0x1B, 0x2A,
    0xC1, 0xF0, 0xA3, 0x92, 0x05, 0x34, 0x67, 0x56, 0x78, 0x49, 0x1A, 0x2B, 0xBC, 0x8D, 0xDE, 0xEF,
    0x82, 0xB3, 0xE0, 0xD1, 0x46, 0x77, 0x24, 0x15, 0x3B, 0x0A, 0x59, 0x68, 0xFF, 0xCE, 0x9D, 0xAC};

void CRC32::Update(const BufferBase& buffer)
{
    const unsigned char* at = buffer.Begin();
    const unsigned char* const end = buffer.End();
    const unsigned long length = buffer.Length();
    if (length >= Internal::FoldLeast && Internal::CanFoldCRC32()) {
        shiftRegister = Internal::FoldCRC32(shiftRegister, at, length);
        at += length - length % 16;
    } else if (length >= 2 * BraidBytes) {
        shiftRegister = UpdateByBraids(shiftRegister, at, length / BraidBytes - 1, BraidIndices());
        at += length - length % BraidBytes;
    }
    shiftRegister = UpdateByBytes(shiftRegister, at, end);
}

void CRC8::Update(const BufferBase& buffer)
{
    std::uint8_t crc = shiftRegister;
    const unsigned char* at = buffer.Begin();
    const unsigned char* const end = buffer.End();
    for (; end - at >= 4; at += 4)
        crc = Moved8.table[2][crc ^ at[0]] ^ Moved8.table[1][at[1]] ^ Moved8.table[0][at[2]] ^
              Table[at[3]];
    for (; at != end; ++at)
        crc = Table[crc ^ *at];
    shiftRegister = crc;
}

std::uint8_t CRC8::Get()
{
    // Only what is handed out is reversed; the register itself goes on unreflected.
    std::uint8_t reversed = 0;
    for (int bit = 0; bit < 8; ++bit) {
        if (shiftRegister >> bit & 1)
            reversed = static_cast<std::uint8_t>(reversed | 0x80 >> bit);
    }
    return reversed;
}

} // namespace ORVEX
