// SPDX-License-Identifier: MIT
// Sizes around 2^31, 2^32 and 2^64 asked of everything that takes one. The ranges that are to be
// copied are not there: a size that is cut or wraps on its way ends in a copy, and that in a crash.
#include "Support/ExpectRaises.h"
#include "Support/FailingNew.h"

#include <ORVEX/Allocator.h>
#include <ORVEX/Array.h>
#include <ORVEX/Buffer.h>
#include <ORVEX/String.h>
#include <ORVEX/Vector.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <vector>

using namespace ORVEX;

namespace {

const char InBuffer[] = "src/Buffer/Buffer";
const char InHeep[] = "src/Allocator/Heep";
const char InVector[] = "./include/ORVEX/../../src/Pointer/Vector";

std::vector<unsigned long> Sizes()
{
    std::vector<unsigned long> sizes = {0x7FFFFFFF, 0x80000000, 0x80000001};
    for (const unsigned long distance : {1ul, 2ul, 7ul, 8ul, 9ul, 127ul, 128ul, 129ul, 255ul})
        sizes.insert(sizes.end(), {0ul - distance, 0xFFFFFFFFul - distance + 1});
    if (ULONG_MAX > UINT32_MAX)
        for (const unsigned long long size :
             {0x100000000ull, 0x100000001ull, 0x100000007ull, 0x10000007Full, 0x100000080ull,
              0x1FFFFFFFFull, 0x7FFFFFFFFFFFFFFFull, 0x7FFFFFFFFFFFFF80ull})
            sizes.push_back(static_cast<unsigned long>(size));
    return sizes;
}

/// The low 32 bits, as a record has them.
int Data(unsigned long size) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(size)); }

int InUnits(unsigned long size) { return Data((size + 127) / 128 * 128); }

/// A device's memory: nobody gets more than 1 MiB.
class SizeSweep : public testing::Test {
protected:
    SizeSweep()
    {
        { // GoogleTest keeps its place for traces
            SCOPED_TRACE("first");
        }
        live = LiveBlocks();
        RefuseBlocksAbove(1 << 20);
    }
    ~SizeSweep() override { RefuseBlocksAbove(0); }

    /// Addresses of that many bytes that do not exist, from `start` on.
    static const char* Behind(const char* start, unsigned long size)
    {
        return reinterpret_cast<const char*>(reinterpret_cast<std::uintptr_t>(start) + size);
    }

    static BufferBase Imagined(unsigned long size)
    {
        /// A range whose bounds can be set without an addition that no array allows.
        struct Range : BufferBase {
            explicit Range(unsigned long n)
            {
                begin = &first;
                const char* const at = reinterpret_cast<const char*>(begin);
                end = reinterpret_cast<unsigned char*>(const_cast<char*>(Behind(at, n)));
            }
        };
        return Range(size);
    }

    static unsigned char first;
    long live;
};

unsigned char SizeSweep::first;

} // namespace

TEST_F(SizeSweep, BuffersRefuseThemAndKeepWhatIsDescribed)
{
    for (const unsigned long size : Sizes()) {
        SCOPED_TRACE(size);
        const BufferBase range = Imagined(size);
        ASSERT_EQ(size, range.Length());
        const auto refuses = [](int data, auto action) {
            ExpectRaises(InBuffer, Err::ERR_MEMORY, data, action);
        };
        Buffer buffer;
        buffer.Resize(100);
        buffer[99] = 'x';
        refuses(InUnits(size), [&] { buffer.Resize(size); });
        // 100 bytes more; a sum that wraps counts as the largest number.
        const unsigned long sum = size <= ULONG_MAX - 100 ? size + 100 : ULONG_MAX;
        refuses(InUnits(sum), [&] { buffer.CopyAdd(range); });
        refuses(InUnits(sum), [&] { buffer.CopyAdd(range.Begin(), range.End()); });
        EXPECT_EQ(100ul, buffer.Length());
        EXPECT_EQ('x', buffer[99]);
        refuses(Data(size), [&] { buffer.ResizeNoCopy(size); });
        EXPECT_EQ(0ul, buffer.Capacity());
        refuses(Data(size), [&] { buffer.TryResizeNoCopy(size); });
        refuses(Data(size), [&] { buffer = range; });
        refuses(Data(size), [&] { buffer.Copy(range); });
        refuses(Data(size), [&] { buffer.Copy(range.Begin(), range.End()); });
        refuses(Data(size), [&] { Buffer made(range); });
        EXPECT_EQ(0ul, buffer.Capacity());
    }
    EXPECT_EQ(live, LiveBlocks());
}

TEST_F(SizeSweep, BlocksRefuseThem)
{
    for (const unsigned long size : Sizes()) {
        SCOPED_TRACE(size);
        Allocator<char, AllocatorEnum::COPY_BYTES> growing(64, 16);
        growing.Alloc(10);
        EXPECT_FALSE(growing.ReAllocCheck(size));
        EXPECT_FALSE(growing.ReAlloc(size));
        EXPECT_EQ(10ul, growing.Size());
        ExpectRaises(InHeep, Err::ERR_MEMORY, 4, [&] { growing.Alloc(size); });
        EXPECT_EQ(0ul, growing.Capacity());
        EXPECT_EQ(0ul, growing.Size());
        Allocator<char, AllocatorEnum::COPY_BYTES> fixed(64, 0);
        EXPECT_FALSE(fixed.ReAlloc(size));
        ExpectRaises("src/Allocator/Allocator", Err::ERR_OVERFLOW, Data(size),
                     [&] { fixed.Alloc(size); });
        // The largest block step there is: rounding up alone passes every field.
        Allocator<char, AllocatorEnum::COPY_BYTES> coarse(0, UINT32_MAX);
        ExpectRaises(InHeep, Err::ERR_MEMORY, 4, [&] { coarse.Alloc(size); });
    }
    EXPECT_EQ(live, LiveBlocks());
}

TEST_F(SizeSweep, TypedRangesRefuseOrCutThem)
{
    for (const unsigned long size : Sizes()) {
        SCOPED_TRACE(size);
        Vector<std::uint64_t> vector;
        vector.TryResizeNoCopy(3);
        ExpectRaises(InVector, Err::ERR_MEMORY, Data(size), [&] { vector.TryResizeNoCopy(size); });
        EXPECT_TRUE(vector.Empty());
        Vector<char> bytes;
        ExpectRaises(InVector, Err::ERR_MEMORY, Data(size), [&] { bytes.TryResizeNoCopy(size); });
        EXPECT_TRUE(bytes.Empty());
        Array<int, 3> array;
        EXPECT_EQ(3ul, array.TryResizeNoCopy(size));
    }
    EXPECT_EQ(live, LiveBlocks());
}

TEST_F(SizeSweep, TextsRefuseThemAndStayAsTheyWere)
{
    for (const unsigned long size : Sizes()) {
        SCOPED_TRACE(size);
        const char* const start = reinterpret_cast<const char*>(&first);
        const char* const last = Behind(start, size);
        const BufferBase range = Imagined(size);
        const auto refuses = [](auto action) { ExpectRaises(InHeep, Err::ERR_MEMORY, 4, action); };
        String text = String::ChangeCharStr("before");
        refuses([&] { text.UpdateCharStr(start, last); });
        refuses([&] { text = range; });
        refuses([&] { String made(range); });
        refuses([&] { text.Split(start, last); });
        EXPECT_STREQ("before", text.CStr());
        EXPECT_EQ(6ul, text.Length());
    }
    EXPECT_EQ(live, LiveBlocks());
}
