// SPDX-License-Identifier: MIT
#ifndef ORVEX_BUFFER_H
#define ORVEX_BUFFER_H

#include <cstdint>

namespace ORVEX {

/// A run of bytes that it does not own, and one virtual operation by which a derived class changes
/// its length.
///
/// The library passes raw bytes as `const BufferBase&`. Copying a plain range copies the two
/// pointers; Copy copies bytes. One thread at a time. Invariant: begin and end are both null or
/// bound one run.
class BufferBase {
public:
    constexpr BufferBase() = default; ///< Empty: both pointers are null.

    /// The `n` bytes from `p` on, which stay the caller's and must outlive the range.
    BufferBase(unsigned char* p, unsigned long n) : begin(p), end(p + n) {}

    BufferBase(const BufferBase&) = default;            ///< The same bytes, not copies of them.
    BufferBase& operator=(const BufferBase&) = default; ///< The same bytes, not copies of them.

    /// Asks for a length of `n` bytes; the old bytes may be lost.
    /// @return the length that the range now has, which may be another; here always the old one
    virtual unsigned long TryResizeNoCopy(unsigned long n);

    virtual ~BufferBase() = default; ///< Releases nothing.

    /// Takes the source's length, if this range can, and copies the source's bytes. The source may
    /// be this range; it must not lie in a block that the change of length releases.
    /// @throws Err  ERR_PARAMETER, data the source's length, when this range cannot take that
    /// length; nothing is copied then. What TryResizeNoCopy raises passes.
    void Copy(const BufferBase& src);

    /// Copies the bytes [first, last) in the same way; data is their number.
    void Copy(const unsigned char* first, const unsigned char* last);

    /// Copies the source's first `n` bytes to the start of this range. Neither length is checked.
    void NoCheckCopy(const BufferBase& src, unsigned long n);

    /// Compares as unsigned bytes, the first difference deciding; of two ranges that begin alike
    /// the longer is the greater.
    /// @return 1 when this one is the greater, -1 when `other` is, 0 when they are equal
    int Comp(const BufferBase& other) const;

    /// Compares the first `n` bytes; neither length is checked.
    /// @return 1, -1 or 0 as Comp
    int NoCheckComp(const BufferBase& other, unsigned long n) const;

    /// Makes the range the `n` bytes from `p` on. Nothing is copied or released, so a Buffer that
    /// owns a block has to give it up first.
    void Replace(unsigned char* p, unsigned long n);

    /// Makes the range the `n` bytes from `p` on and copies as many of the old bytes there as both
    /// have. The old bytes are not released.
    void ReplaceCopy(unsigned char* p, unsigned long n);

    void Swap(BufferBase& other); ///< Trades the two pointers; for plain ranges.

    unsigned char* Begin() { return begin; }             ///< First byte.
    const unsigned char* Begin() const { return begin; } ///< First byte.
    unsigned char* End() { return end; }                 ///< One past the last byte.
    const unsigned char* End() const { return end; }     ///< One past the last byte.

    /// Number of bytes.
    unsigned long Length() const { return static_cast<unsigned long>(end - begin); }

    bool Empty() const { return begin == end; } ///< Whether there is no byte.

    unsigned char& operator[](unsigned long at) { return begin[at]; } ///< Byte `at`; not checked.
    /// Byte `at`; not checked.
    const unsigned char& operator[](unsigned long at) const { return begin[at]; }

    /// The empty range that stands where there are no bytes to give. Ready before any other static
    /// object is constructed.
    static const BufferBase Zero;

protected:
    unsigned char* begin = nullptr; ///< First byte.
    unsigned char* end = nullptr;   ///< One past the last byte.
};

/// Bytes of its own, in a heap block that grows and shrinks in units of 128 bytes.
///
/// Owns the block while Capacity() is not 0; after Replace on a buffer without a block the range
/// is borrowed until the next change of its length. Copies are deep, Swap is the only hand-over,
/// nothing moves. A block is kept as long as the length is at least half its capacity, so a buffer
/// whose length goes up and down a little does not allocate. Invariant: Capacity() is a multiple
/// of 128.
class Buffer : public BufferBase {
public:
    Buffer() = default;            ///< Empty; allocates nothing.
    Buffer(const BufferBase& src); ///< Deep copy; raises as ResizeNoCopy does.
    Buffer(const Buffer& src);     ///< Deep copy; raises as ResizeNoCopy does.

    /// Copies the bytes into a block of this buffer's own, also where the range was borrowed or is
    /// what a failed request left; raises as ResizeNoCopy does.
    Buffer& operator=(const BufferBase& src);
    Buffer& operator=(const Buffer& src); ///< The same for another buffer.

    /// As ResizeNoCopy.
    /// @return n
    unsigned long TryResizeNoCopy(unsigned long n) override;

    ~Buffer() override; ///< Releases the block.

    /// Releases the block. Begin() and End() stay as they were, so whoever goes on using the
    /// buffer calls Resize(0) next.
    void Delete();

    /// Makes the length `n` and keeps the bytes that were there. Bytes that are added are not
    /// initialised.
    /// @param n  bytes; 0 releases the block
    /// @throws Err  ERR_MEMORY, data the size of the block that was asked for, a multiple of 128;
    /// nothing has changed then
    void Resize(unsigned long n);

    /// Makes the length `n`; the bytes have any value afterwards. The old block is released before
    /// a new one is asked for.
    /// @param n  bytes; 0 releases the block
    /// @throws Err  ERR_MEMORY, data `n`; the buffer then owns nothing, and Begin() and End() still
    /// denote the bytes that are gone. Assign to it, call Resize(0) or ResizeNoCopy with another
    /// length, or destroy it; anything else, Resize to keep bytes included, would use them.
    void ResizeNoCopy(unsigned long n);

    /// Appends the source's bytes; raises as Resize does. The source may be this buffer.
    void CopyAdd(const BufferBase& src);

    /// Appends the bytes [first, last), which must not be this buffer's; raises as Resize does.
    void CopyAdd(const unsigned char* first, const unsigned char* last);

    void Swap(Buffer& other); ///< Trades block and range; copies nothing, never raises.

    unsigned long Capacity() const { return capacity; } ///< Size of the own block in bytes.

private:
    std::uint32_t capacity = 0; // in bytes; 0 when the range is empty or borrowed
};

} // namespace ORVEX

#endif
