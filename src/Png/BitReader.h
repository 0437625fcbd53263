// SPDX-License-Identifier: MIT
#ifndef ORVEX_PNG_BITREADER_H
#define ORVEX_PNG_BITREADER_H

#include <cstdint>

namespace ORVEX {
namespace Internal __attribute__((visibility("hidden")))
{

    /// Takes bits out of bytes, each byte's lowest bit first (RFC 1951, 3.1.1). Every bit is
    /// fetched from its byte; nothing is held back in between.
    struct BitReader {
        const unsigned char* at; ///< Byte of the next bit.
        const unsigned char*
            end;            ///< Behind the last byte; null when the caller knows that bits suffice.
        std::uint32_t mask; ///< Value of the next bit in its byte; 0 reads as 0 for ever.

        bool AtEnd() const { return at == end; }

        /// Takes the next bit. The input must not be at its end.
        std::uint32_t Next()
        {
            const std::uint32_t bit = (*at & mask) != 0;
            mask <<= 1;
            if (mask > 255) {
                mask = 1;
                ++at;
            }
            return bit;
        }

        /// Takes a number of `count` bits, the first of which is the least significant one.
        /// @return whether the input held them all
        bool Take(std::uint32_t count, std::uint32_t& number)
        {
            number = 0;
            for (std::uint32_t i = 0; i < count; ++i) {
                if (AtEnd())
                    return false;
                number |= Next() << i;
            }
            return true;
        }
    };

} // namespace )
} // namespace ORVEX

#endif
