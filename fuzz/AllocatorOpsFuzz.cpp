// SPDX-License-Identifier: MIT
// Any sequence of requests to two allocators of any sizing against the sizing policy worked out
// anew, and comparisons of little-endian numbers against a loop over their bytes; allocations are
// refused at any moment.
//
//   ./tools/fuzz 60 AllocatorOpsFuzz
#include "Harness.h"

#include <ORVEX/Allocator.h>

#include <algorithm>
#include <climits>
#include <cstring>

using namespace ORVEX;

namespace {

using Text = Allocator<char, AllocatorEnum::COPY_BYTES>;

const char HeepFile[] = "src/Allocator/Heep";
const char AllocatorFile[] = "src/Allocator/Allocator";
const char HeaderFile[] = "./include/ORVEX/../../src/Allocator/Allocator";

/// What an allocator should say of itself.
struct Model {
    std::uint64_t base = 0;
    std::uint64_t block = 0;
    std::uint64_t capacity = 0;
    std::uint64_t size = 0;
    std::uint64_t live = 0; // elements

    bool Fixed() const { return block == 0; }

    std::uint64_t Whole(std::uint64_t n) const
    {
        return n == 0 ? block : (n + block - 1) / block * block;
    }

    bool Stays(std::uint64_t n) const
    {
        if (Fixed())
            return n <= base;
        if (n > capacity)
            return false;
        if (n == capacity || capacity <= base)
            return true;
        const std::uint64_t slack = block + block / 2;
        return slack >= capacity || n > capacity - slack || n <= base;
    }

    bool ReAlloc(std::uint64_t n)
    {
        if (Fixed())
            return n <= base;
        if (!Stays(n) && Whole(n) != capacity)
            return false;
        size = n;
        return true;
    }

    /// Bytes that the heap is asked for.
    std::uint64_t Wanted(std::uint64_t n) const
    {
        const std::uint64_t bytes = n <= base ? base : Whole(n + block / 2);
        return (bytes + 7) / 8 * 8;
    }

    void Free()
    {
        if (!Fixed())
            capacity = size = live = 0;
    }
};

unsigned long TakeSize(Feed& feed)
{
    static const unsigned long Huge[] = {ULONG_MAX, ULONG_MAX - 7, UINT32_MAX, HeapLimit + 1};
    const std::uint32_t pick = feed.Number(1023);
    return pick > 1019 ? Huge[pick - 1020] : pick > 900 ? pick * 5 : pick % 300;
}

void Check(const Text& text, const Model& model)
{
    Require(text.Capacity() == model.capacity, "the capacity follows the policy");
    Require(text.Size() == model.size, "the size is what was asked for");
    Require((text.Data() == nullptr) == (model.capacity == 0), "a block has a capacity");
    Require(text.Length() == model.live &&
                (model.live == 0 || text.Begin() == reinterpret_cast<const char*>(text.Data())),
            "the live elements are where they were said to be");
}

void Alloc(Text& text, Model& model, unsigned long n, unsigned int refuse)
{
    const Outcome outcome = Attempt(refuse, [&] { text.Alloc(n); });
    if (model.Fixed() && n > model.base) {
        Require(outcome.Is(AllocatorFile, Err::ERR_OVERFLOW, static_cast<int>(n)),
                "more than a fixed capacity overflows");
        return;
    }
    model.live = 0;
    const bool huge = n > HeapLimit;
    if (!huge && model.Wanted(n) == 0) {
        model.capacity = 0;
        model.size = n;
        return;
    }
    if (refuse == 1 || huge) {
        Require(outcome.Is(HeepFile, Err::ERR_MEMORY, 4), "a refused block raises 4");
        model.capacity = model.size = 0;
        return;
    }
    Require(outcome.how == Outcome::Returned, "Alloc raises only when it is refused");
    model.capacity = model.Wanted(n);
    model.size = n;
    std::memset(text.Data(), 0x5A, text.Capacity());
}

void Swap(Text& a, Text& b, Model& modelA, Model& modelB, bool typed)
{
    const Outcome outcome = Attempt(0, [&] {
        if (typed)
            a.Swap(b);
        else
            static_cast<AllocatorBase&>(a).Swap(b);
    });
    if (modelA.Fixed()) {
        Require(outcome.Is(typed ? HeaderFile : AllocatorFile, Err::ERR_PARAMETER, 0),
                "a fixed capacity is not swapped");
        return;
    }
    Require(outcome.how == Outcome::Returned, "Swap raises only for a fixed capacity");
    std::swap(modelA.capacity, modelB.capacity);
    std::swap(modelA.size, modelB.size);
    if (typed) {
        std::swap(modelA.live, modelB.live);
    } else {
        // The blocks alone are traded: which elements are live is for the owner to say anew.
        modelA.live = modelB.live = 0;
        a.SetRange(0);
        b.SetRange(0);
    }
}

// Numbers of up to 40 bytes at any alignment, which begin and end alike more often than not.
void Compare(Feed& feed)
{
    const std::size_t n = feed.Number(40);
    std::vector<unsigned char> a(n + 8), b(n + 8);
    const std::size_t atA = feed.Number(7), atB = feed.Number(7);
    for (std::size_t i = 0; i < n; ++i)
        a[atA + i] = b[atB + i] = static_cast<unsigned char>(i * 37);
    for (std::uint8_t changes = feed.Byte() % 4; changes > 0 && n != 0; --changes)
        b[atB + feed.Byte() % n] = feed.Byte();
    int expected = 0;
    for (std::size_t i = 0; i < n; ++i)
        if (a[atA + i] != b[atB + i])
            expected = a[atA + i] > b[atB + i] ? 1 : -1;
    Require(Heep::MemComp(&a[atA], &b[atB], n) == expected, "the highest difference decides");

    Heep heep;
    heep.Alloc(n + 1);
    heep.MemInit(0, n + 1);
    const unsigned char* const first = &a[atA];
    heep.MemCopy(first, first + n, 0);
    Require(heep.MemComp(&b[atB], &b[atB] + n) == expected, "a block compares as its bytes");
    Require(heep.Data()[n] == 0 && heep.Capacity() == (n + 8) / 8 * 8,
            "a block is rounded up to 8 bytes");
    Heep other;
    other.Swap(heep);
    Require(!heep.Data() && other.ReAlloc((n + 8) / 8 * 8) && !other.ReAlloc(n + 9),
            "Swap trades the blocks");
}

std::uint32_t TakeSizing(Feed& feed) { return feed.Number(255) % 3 == 0 ? 16 : feed.Number(120); }

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    Feed feed(data, size);
    Model models[2];
    for (Model& model : models) {
        model.base = TakeSizing(feed);
        model.block = TakeSizing(feed);
    }
    const auto word = [](std::uint64_t number) { return static_cast<std::uint32_t>(number); };
    Text texts[2] = {Text(word(models[0].base), word(models[0].block)),
                     Text(word(models[1].base), word(models[1].block))};
    while (!feed.Empty()) {
        const std::uint8_t op = feed.Byte();
        const unsigned int which = op / 16 % 2;
        Text& text = texts[which];
        Model& model = models[which];
        switch (op % 8) {
        case 0:
        case 1:
            Alloc(text, model, TakeSize(feed), op & 0x80 ? 1 : 0);
            break;
        case 2:
        case 3: {
            const unsigned long n = TakeSize(feed);
            Require(text.ReAllocCheck(n) == model.Stays(n), "ReAllocCheck follows the policy");
            if (n <= HeapLimit)
                Require(text.ReAlloc(n) == model.ReAlloc(n), "ReAlloc follows the policy");
            model.live = std::min<std::uint64_t>(model.live, model.size);
            if (text.Data())
                text.SetRange(static_cast<unsigned long>(model.live));
            break;
        }
        case 4:
            text.Free();
            model.Free();
            break;
        case 5:
            text.Clear();
            if (!model.ReAlloc(0))
                model.Free();
            model.live = 0;
            break;
        case 6:
            // A block that follows the other side's sizing is not for a fixed capacity to have.
            if (!models[1 - which].Fixed() || model.Fixed())
                Swap(text, texts[1 - which], model, models[1 - which], op & 0x80);
            break;
        default:
            if (op & 0x40) {
                Compare(feed);
            } else if (text.Data() && model.live <= model.size) {
                model.live = feed.Byte() % (std::min(model.capacity, model.size) + 1);
                text.SetRange(static_cast<unsigned long>(model.live));
            }
        }
        if (!model.Fixed())
            Require(text.ConvertBlockSize(op) == model.Whole(op), "blocks are whole");
        Check(texts[0], models[0]);
        Check(texts[1], models[1]);
    }
    return 0;
}
