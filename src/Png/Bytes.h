// SPDX-License-Identifier: MIT
#ifndef ORVEX_PNG_BYTES_H
#define ORVEX_PNG_BYTES_H

namespace ORVEX {
namespace Internal __attribute__((visibility("hidden")))
{

    /// An array of bytes from `new[]` that is released at the end of its scope, however that ends.
    class Bytes {
    public:
        explicit Bytes(unsigned char* array) : first(array) {}
        ~Bytes() { delete[] first; }
        Bytes(const Bytes&) = delete;
        Bytes& operator=(const Bytes&) = delete;

        unsigned char* First() const { return first; }

        /// Gives the array to the caller.
        unsigned char* HandOver()
        {
            unsigned char* const array = first;
            first = nullptr;
            return array;
        }

    private:
        unsigned char* first; // owned; may be null
    };

} // namespace )
} // namespace ORVEX

#endif
