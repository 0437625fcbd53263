// SPDX-License-Identifier: MIT
// Any sequence of operations on three buffers, one of which may borrow its bytes, against models
// that know length, bytes and capacity; allocations are refused at any moment.
//
//   ./tools/fuzz 60 BufferOpsFuzz
#include "Harness.h"

#include <ORVEX/Buffer.h>

#include <algorithm>
#include <climits>

using namespace ORVEX;

namespace {

const char File[] = "src/Buffer/Buffer";
const unsigned long Most = 700; // the largest length that is not meant to be refused

/// What a buffer should be.
struct Model {
    std::vector<std::uint8_t> bytes;
    unsigned long capacity = 0;
    const std::uint8_t* borrowed = nullptr; // where the bytes are when they are not the buffer's
};

unsigned long RoundUp(unsigned long n) { return (n + 127) & ~127ul; }

bool HeapRefuses(unsigned long n) { return n > HeapLimit; }

class Machine {
public:
    explicit Machine(Feed& input) : feed(input) {}

    void Run()
    {
        while (!feed.Empty()) {
            Step();
            for (int i = 0; i < 3; ++i)
                Check(buffers[i], models[i]);
        }
    }

private:
    static void Check(const Buffer& buffer, const Model& model)
    {
        Require(buffer.Length() == model.bytes.size(), "the length is right");
        Require(buffer.Capacity() == model.capacity, "the capacity is right");
        Require(std::equal(model.bytes.begin(), model.bytes.end(), buffer.Begin()),
                "the bytes are right");
        Require(!model.borrowed || buffer.Begin() == model.borrowed, "what is borrowed stays");
        Require(model.capacity != 0 || model.borrowed || !buffer.Begin(), "an empty range is null");
    }

    unsigned long Length()
    {
        static const unsigned long Huge[] = {ULONG_MAX,     ULONG_MAX - 127,  ULONG_MAX / 2,
                                             UINT32_MAX,    UINT32_MAX - 127, UINT32_MAX - 128,
                                             HeapLimit + 1, 1ul << 31};
        const std::uint32_t pick = feed.Number(1023);
        return pick > 1015 ? Huge[pick - 1016] : pick % (Most + 1);
    }

    // Gives the bytes from `from` on, whose values nobody knows, values that both know.
    static void Define(Buffer& buffer, Model& model, unsigned long from)
    {
        for (unsigned long i = from; i < model.bytes.size(); ++i)
            buffer[i] = model.bytes[i] = static_cast<std::uint8_t>(i * 7 + model.bytes.size());
    }

    void Resize(Buffer& buffer, Model& model, unsigned int refuse)
    {
        const unsigned long n = Length();
        const unsigned long old = model.bytes.size();
        const Outcome outcome = Attempt(refuse, [&] { buffer.Resize(n); });
        const bool keeps = n == old || n == 0 || (n <= model.capacity && n >= model.capacity / 2);
        if (!keeps && (refuse == 1 || HeapRefuses(n))) {
            Require(outcome.Is(File, Err::ERR_MEMORY, static_cast<int>(RoundUp(n))),
                    "a refused Resize raises the block's size");
            return;
        }
        Require(outcome.how == Outcome::Returned, "Resize raises only when it is refused");
        model.bytes.resize(n);
        if (n != old)
            Resized(model, n, keeps);
        Check(buffer, Prefix(model, buffer, std::min(n, old)));
        Define(buffer, model, std::min(n, old));
    }

    // The model after a change of length to `n`, in the block that there was or in a new one.
    static void Resized(Model& model, unsigned long n, bool keepsBlock)
    {
        model.borrowed = nullptr;
        if (n == 0)
            model.capacity = 0;
        else if (!keepsBlock)
            model.capacity = RoundUp(n);
    }

    // The model with the bytes behind the first `known` as the buffer happens to have them.
    static Model Prefix(const Model& model, const Buffer& buffer, unsigned long known)
    {
        Model whole = model;
        whole.bytes.resize(known);
        whole.bytes.insert(whole.bytes.end(), buffer.Begin() + known, buffer.End());
        return whole;
    }

    // After ResizeNoCopy to `n`, or a call that does it first; false when the call was refused.
    bool ResizedNoCopy(Buffer& buffer, Model& model, unsigned long n, unsigned int refuse,
                       const Outcome& outcome)
    {
        const unsigned long old = model.bytes.size();
        const bool keeps = n == old || n == 0 || (n <= model.capacity && n >= model.capacity / 2);
        if (!keeps && (refuse == 1 || HeapRefuses(n))) {
            Require(outcome.Is(File, Err::ERR_MEMORY, static_cast<int>(n)),
                    "a refused ResizeNoCopy raises the length");
            Require(buffer.Capacity() == 0, "a refused ResizeNoCopy owns nothing");
            Repair(buffer, model);
            return false;
        }
        Require(outcome.how == Outcome::Returned, "ResizeNoCopy raises only when it is refused");
        if (n != old)
            Resized(model, n, keeps);
        model.bytes.resize(n);
        return true;
    }

    // Each way out of what a refused request leaves.
    void Repair(Buffer& buffer, Model& model)
    {
        const unsigned long old = buffer.Length();
        model = Model();
        switch (feed.Number(3)) {
        case 0:
            buffer.Resize(0);
            break;
        case 1:
            buffer.ResizeNoCopy(old + 1);
            model.bytes.resize(old + 1);
            model.capacity = RoundUp(old + 1);
            Define(buffer, model, 0);
            break;
        case 2: {
            unsigned char bytes[3] = {1, 2, 3};
            buffer = BufferBase(bytes, 3);
            model.bytes.assign(bytes, bytes + 3);
            model.capacity = 128;
            break;
        }
        default:
            buffer = Buffer();
        }
        // A range of no bytes is empty before and after, so there is nothing to make null.
        if (buffer.Empty())
            buffer.Replace(nullptr, 0);
    }

    void Append(Buffer& buffer, Model& model, const std::vector<std::uint8_t>& added,
                unsigned int refuse, const Outcome& outcome)
    {
        const unsigned long n = model.bytes.size() + added.size();
        const bool keeps = added.empty() || (n <= model.capacity && n >= model.capacity / 2);
        if (!keeps && refuse == 1) {
            Require(outcome.Is(File, Err::ERR_MEMORY, static_cast<int>(RoundUp(n))),
                    "a refused CopyAdd raises as Resize");
            return;
        }
        Require(outcome.how == Outcome::Returned, "CopyAdd raises only when it is refused");
        if (!added.empty())
            Resized(model, n, keeps);
        model.bytes.insert(model.bytes.end(), added.begin(), added.end());
        static_cast<void>(buffer);
    }

    void Compare(const Buffer& a, const Buffer& b, const Model& modelA, const Model& modelB)
    {
        const int expected = (modelA.bytes > modelB.bytes) - (modelA.bytes < modelB.bytes);
        Require(a.Comp(b) == expected, "Comp orders as unsigned bytes");
        const unsigned long n = std::min(modelA.bytes.size(), modelB.bytes.size());
        const std::vector<std::uint8_t> headA(modelA.bytes.begin(), modelA.bytes.begin() + long(n));
        const std::vector<std::uint8_t> headB(modelB.bytes.begin(), modelB.bytes.begin() + long(n));
        Require(a.NoCheckComp(b, n) == (headA > headB) - (headA < headB),
                "NoCheckComp orders as unsigned bytes");
    }

    // A plain range can take its own length only.
    void PlainCopy(const Buffer& source, const Model& model)
    {
        std::uint8_t store[64] = {};
        BufferBase plain(store, feed.Number(64));
        const bool fits = plain.Length() == model.bytes.size();
        const Outcome outcome = Attempt(0, [&] {
            if (feed.Byte() & 1)
                plain.Copy(source);
            else
                plain.Copy(source.Begin(), source.End());
        });
        if (fits)
            Require(outcome.how == Outcome::Returned && plain.Comp(source) == 0,
                    "a plain range copies what has its length");
        else
            Require(outcome.Is(File, Err::ERR_PARAMETER, static_cast<int>(model.bytes.size())) &&
                        std::count(store, store + 64, 0) == 64,
                    "a plain range refuses other lengths");
    }

    void Step()
    {
        const std::uint32_t op = feed.Byte();
        const unsigned int which = op / 64 % 3;
        Buffer& buffer = buffers[which];
        Model& model = models[which];
        const std::uint32_t second = feed.Byte();
        Buffer& other = buffers[second % 3];
        Model& otherModel = models[second % 3];
        const unsigned int refuse = second & 0x80 ? 1 : 0;

        switch (op % 16) {
        case 0:
        case 1:
            Resize(buffer, model, refuse);
            break;
        case 2:
        case 3: {
            const unsigned long n = Length();
            const unsigned long old = model.bytes.size();
            const bool kept =
                n == old || (n != 0 && n <= model.capacity && n >= model.capacity / 2);
            const Outcome outcome = Attempt(refuse, [&] {
                if (op & 1)
                    buffer.ResizeNoCopy(n);
                else
                    Require(buffer.TryResizeNoCopy(n) == n, "a buffer takes any length");
            });
            if (!ResizedNoCopy(buffer, model, n, refuse, outcome))
                break;
            if (kept)
                Check(buffer, Prefix(model, buffer, std::min(n, old)));
            Define(buffer, model, kept ? std::min(n, old) : 0);
            break;
        }
        case 4: {
            const std::vector<std::uint8_t> added = otherModel.bytes;
            if (model.bytes.size() + added.size() > Most)
                break;
            const Outcome outcome = Attempt(refuse, [&] { buffer.CopyAdd(other); });
            Append(buffer, model, added, refuse, outcome);
            break;
        }
        case 5: {
            const std::vector<std::uint8_t> added = feed.Bytes(feed.Number(63));
            if (model.bytes.size() + added.size() > Most)
                break;
            const Outcome outcome =
                Attempt(refuse, [&] { buffer.CopyAdd(added.data(), added.data() + added.size()); });
            Append(buffer, model, added, refuse, outcome);
            break;
        }
        case 6: {
            const std::vector<std::uint8_t> source = otherModel.bytes;
            const Outcome outcome = Attempt(refuse, [&] { buffer.Copy(other); });
            if (ResizedNoCopy(buffer, model, source.size(), refuse, outcome))
                model.bytes = source;
            break;
        }
        case 7: {
            std::vector<std::uint8_t> source = feed.Bytes(feed.Number(255));
            const Outcome outcome =
                Attempt(refuse, [&] { buffer.Copy(source.data(), source.data() + source.size()); });
            if (ResizedNoCopy(buffer, model, source.size(), refuse, outcome))
                model.bytes = source;
            break;
        }
        case 8: {
            const std::vector<std::uint8_t> source = otherModel.bytes;
            const Outcome outcome = Attempt(refuse, [&] {
                if (op & 16)
                    buffer = other;
                else
                    buffer = static_cast<const BufferBase&>(other);
            });
            if (&buffer == &other)
                break;
            if (model.capacity == 0)
                model = Model(); // what is borrowed is let go first
            if (ResizedNoCopy(buffer, model, source.size(), refuse, outcome))
                model.bytes = source;
            break;
        }
        case 9: {
            const Outcome outcome = Attempt(refuse, [&] {
                const Buffer copy(buffer);
                const Buffer copyOfRange(static_cast<const BufferBase&>(copy));
                Require(copyOfRange.Comp(buffer) == 0 &&
                            (buffer.Empty() || copyOfRange.Begin() != buffer.Begin()),
                        "copies are deep");
            });
            if (refuse == 1 && !model.bytes.empty())
                Require(outcome.Is(File, Err::ERR_MEMORY, static_cast<int>(model.bytes.size())),
                        "a refused copy raises the length");
            else
                Require(outcome.how == Outcome::Returned, "a copy raises only when it is refused");
            break;
        }
        case 10:
            buffer.Swap(other);
            std::swap(model, otherModel);
            break;
        case 11:
            buffer.Delete();
            buffer.Resize(0);
            if (model.capacity != 0 || !model.bytes.empty())
                model = Model();
            break;
        case 12:
            // Lends the buffer bytes; only one buffer at a time, and none that owns a block.
            if (model.capacity != 0 || models[0].borrowed || models[1].borrowed ||
                models[2].borrowed)
                break;
            model.bytes.assign(feed.Number(200), feed.Byte());
            std::copy(model.bytes.begin(), model.bytes.end(), lent);
            model.borrowed = lent;
            buffer.Replace(lent, model.bytes.size());
            break;
        case 13:
            Compare(buffer, other, model, otherModel);
            break;
        case 14:
            PlainCopy(buffer, model);
            break;
        default:
            for (std::uint32_t count = feed.Number(7); count > 0 && !model.bytes.empty(); --count) {
                const unsigned long at = feed.Number(1023) % model.bytes.size();
                buffer[at] = model.bytes[at] = feed.Byte();
            }
        }
    }

    Feed& feed;
    std::uint8_t lent[200];
    Buffer buffers[3];
    Model models[3];
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    Feed feed(data, size);
    Machine(feed).Run();
    return 0;
}
