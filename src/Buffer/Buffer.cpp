// SPDX-License-Identifier: MIT
#include <ORVEX/Buffer.h>

#include "../Allocator/NewArray.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

namespace ORVEX {

namespace {

const char File[] = "src/Buffer/Buffer";

const unsigned long Unit = 128;
const unsigned long MaxCapacity = UINT32_MAX - UINT32_MAX % Unit;

// May wrap; the failure record shows the low 32 bits of it.
unsigned long RoundUp(unsigned long n) { return (n + Unit - 1) / Unit * Unit; }

// The block size for `n` bytes. What does not fit the capacity field becomes a count that no heap
// gives.
unsigned long BlockSize(unsigned long n) { return n <= MaxCapacity ? RoundUp(n) : ULONG_MAX; }

// The ranges may overlap, and the pointers of an empty one may be null.
void CopyBytes(unsigned char* to, const unsigned char* from, unsigned long n)
{
    if (n != 0)
        std::memmove(to, from, n);
}

} // namespace

const BufferBase BufferBase::Zero;

unsigned long BufferBase::TryResizeNoCopy(unsigned long) { return Length(); }

void BufferBase::Copy(const BufferBase& src)
{
    const unsigned long n = src.Length();
    if (TryResizeNoCopy(n) != n)
        throw Err(File, __LINE__, Err::ERR_PARAMETER, static_cast<int>(n));
    NoCheckCopy(src, n);
}

void BufferBase::Copy(const unsigned char* first, const unsigned char* last)
{
    const unsigned long n = static_cast<unsigned long>(last - first);
    if (TryResizeNoCopy(n) != n)
        throw Err(File, __LINE__, Err::ERR_PARAMETER, static_cast<int>(n));
    CopyBytes(begin, first, n);
}

void BufferBase::NoCheckCopy(const BufferBase& src, unsigned long n)
{
    CopyBytes(begin, src.begin, n);
}

int BufferBase::Comp(const BufferBase& other) const
{
    const unsigned long length = Length();
    const unsigned long otherLength = other.Length();
    const int prefix = NoCheckComp(other, std::min(length, otherLength));
    if (prefix != 0 || length == otherLength)
        return prefix;
    return length > otherLength ? 1 : -1;
}

int BufferBase::NoCheckComp(const BufferBase& other, unsigned long n) const
{
    const int order = n != 0 ? std::memcmp(begin, other.begin, n) : 0;
    return (order > 0) - (order < 0);
}

void BufferBase::Replace(unsigned char* p, unsigned long n)
{
    begin = p;
    end = p + n;
}

void BufferBase::ReplaceCopy(unsigned char* p, unsigned long n)
{
    const BufferBase old = *this;
    Replace(p, n);
    NoCheckCopy(old, std::min(n, old.Length()));
}

void BufferBase::Swap(BufferBase& other)
{
    std::swap(begin, other.begin);
    std::swap(end, other.end);
}

Buffer::Buffer(const BufferBase& src) : BufferBase() { Copy(src); }

Buffer::Buffer(const Buffer& src) : BufferBase() { Copy(src); }

Buffer& Buffer::operator=(const BufferBase& src)
{
    if (this == &src)
        return *this;
    // Without a block the range is borrowed or gone; its bytes must not be written.
    if (capacity == 0)
        Replace(nullptr, 0);
    Copy(src);
    return *this;
}

Buffer& Buffer::operator=(const Buffer& src) { return *this = static_cast<const BufferBase&>(src); }

unsigned long Buffer::TryResizeNoCopy(unsigned long n)
{
    ResizeNoCopy(n);
    return n;
}

Buffer::~Buffer() { Delete(); }

void Buffer::Delete()
{
    if (capacity == 0)
        return;
    delete[] begin;
    capacity = 0;
}

void Buffer::Resize(unsigned long n)
{
    if (n == Length())
        return;
    if (n == 0) {
        Delete();
        Replace(nullptr, 0);
        return;
    }
    if (n <= capacity && n >= capacity / 2) {
        end = begin + n;
        return;
    }
    const unsigned long size = BlockSize(n);
    unsigned char* const block =
        NewArray<unsigned char>(size, File, __LINE__, static_cast<int>(RoundUp(n)));
    unsigned char* const owned = capacity != 0 ? begin : nullptr; // a borrowed range is left alone
    ReplaceCopy(block, n);
    delete[] owned;
    capacity = static_cast<std::uint32_t>(size);
}

void Buffer::ResizeNoCopy(unsigned long n)
{
    if (n == Length())
        return;
    if (n != 0 && n <= capacity && n >= capacity / 2) {
        end = begin + n;
        return;
    }
    // Released first: the device seldom has room for the old block beside the new one.
    Delete();
    if (n == 0) {
        Replace(nullptr, 0);
        return;
    }
    const unsigned long size = BlockSize(n);
    // The record shows the length itself here, where Resize shows the block's size.
    Replace(NewArray<unsigned char>(size, File, __LINE__, static_cast<int>(n)), n);
    capacity = static_cast<std::uint32_t>(size);
}

void Buffer::CopyAdd(const BufferBase& src)
{
    // The source is read only after the resize, which may have moved it if it is this buffer.
    const unsigned long old = Length();
    const unsigned long added = src.Length();
    Resize(added <= ULONG_MAX - old ? old + added : ULONG_MAX);
    CopyBytes(begin + old, src.Begin(), added);
}

void Buffer::CopyAdd(const unsigned char* first, const unsigned char* last)
{
    const unsigned long old = Length();
    const unsigned long added = static_cast<unsigned long>(last - first);
    Resize(added <= ULONG_MAX - old ? old + added : ULONG_MAX);
    CopyBytes(begin + old, first, added);
}

void Buffer::Swap(Buffer& other)
{
    BufferBase::Swap(other);
    std::swap(capacity, other.capacity);
}

} // namespace ORVEX
