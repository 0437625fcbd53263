// SPDX-License-Identifier: MIT
#ifndef ORVEX_SRC_CRCFOLD_H
#define ORVEX_SRC_CRCFOLD_H

#include <cstdint>

namespace ORVEX {
namespace Internal {
#pragma GCC visibility push(hidden)

constexpr unsigned long FoldLeast = 64;

#if defined(ORVEX_RUNTIME_FAST_PATHS) && (defined(__x86_64__) || defined(__i386__))

/// Whether this processor multiplies without carries.
inline bool CanFoldCRC32()
{
    return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
}

/// The register of CRC32 after the whole blocks of 16 bytes among `length` bytes, which are at
/// least FoldLeast.
std::uint32_t FoldCRC32(std::uint32_t crc, const unsigned char* bytes, unsigned long length);

/// Whether this processor does so with two blocks at once.
inline bool CanFoldCRC32By32()
{
    return CanFoldCRC32() && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("vpclmulqdq");
}

/// The two ways of FoldCRC32: a block at once, and two, which takes at least 128 bytes.
std::uint32_t FoldCRC32By16(std::uint32_t crc, const unsigned char* bytes, unsigned long length);
std::uint32_t FoldCRC32By32(std::uint32_t crc, const unsigned char* bytes, unsigned long length);

#else

inline bool CanFoldCRC32() { return false; }
inline std::uint32_t FoldCRC32(std::uint32_t crc, const unsigned char*, unsigned long)
{
    return crc;
}

#endif

#pragma GCC visibility pop
} // namespace Internal
} // namespace ORVEX

#endif
