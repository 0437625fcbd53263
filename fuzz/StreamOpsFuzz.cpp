// SPDX-License-Identifier: MIT
// Any order in which one thread may fill and read packets of a stream, against two queues;
// allocations are refused at any moment.
//
//   ./tools/fuzz 60 StreamOpsFuzz
#include "Harness.h"

#include <ORVEX/Stream.h>

#include <deque>

using namespace ORVEX;

namespace {

using Packet = std::vector<std::uint8_t>;

bool Holds(const BufferBase& buffer, const Packet& packet)
{
    return buffer.Length() == packet.size() &&
           std::equal(packet.begin(), packet.end(), buffer.Begin());
}

class Machine {
public:
    explicit Machine(Feed& input) : feed(input) {}

    void Run()
    {
        while (!feed.Empty()) {
            Step(feed.Byte());
            std::size_t bytes = 0;
            for (const Packet& packet : filled)
                bytes += packet.size();
            Require(stream.Empty() == filled.empty(), "Empty is whether no packet waits");
            Require(stream.Size() == static_cast<std::int32_t>(bytes), "Size is what waits");
        }
    }

private:
    void Step(std::uint8_t op)
    {
        switch (op % 8) {
        case 0:
        case 1:
            Fill(op & 0x80 ? 1 : 0);
            break;
        case 2:
            if (!pushed)
                break;
            stream.PushBackEnd();
            if (pushing.empty())
                break;
            filled.push_back(pushing);
            pushed = false;
            break;
        case 3:
        case 4:
            Read();
            break;
        case 5:
            stream.PopFrontEnd();
            Recycle();
            break;
        case 6:
            if (op & 0x40)
                break;
            stream.Clear();
            spare.insert(spare.end(), filled.begin(), filled.end());
            filled.clear();
            break;
        default:
            break;
        }
    }

    void Fill(unsigned int refuse)
    {
        Buffer* buffer = nullptr;
        const Outcome outcome = Attempt(refuse, [&] { buffer = &stream.PushBackStart(); });
        const bool fresh = !pushed && spare.empty();
        Require((outcome.how == Outcome::BadAlloc) == (fresh && refuse == 1),
                "only a new buffer can be refused");
        if (outcome.how != Outcome::Returned)
            return;
        if (!pushed) {
            pushing = fresh ? Packet() : spare.front();
            if (!fresh)
                spare.pop_front();
            pushed = true;
        }
        Require(Holds(*buffer, pushing), "a recycled buffer holds what it held");
        if (feed.Byte() & 1)
            return;
        pushing = feed.Bytes(feed.Number(40));
        buffer->Copy(pushing.data(), pushing.data() + pushing.size());
    }

    void Read()
    {
        const BufferBase& buffer = stream.PopFrontStart();
        Recycle();
        if (filled.empty()) {
            Require(&buffer == &BufferBase::Zero, "nothing waits, nothing comes");
            return;
        }
        popping = filled.front();
        filled.pop_front();
        popped = true;
        Require(Holds(buffer, popping), "packets come in their order");
    }

    void Recycle()
    {
        if (popped)
            spare.push_back(popping);
        popped = false;
    }

    Feed& feed;
    Stream stream;
    std::deque<Packet> filled, spare;
    Packet pushing, popping;
    bool pushed = false, popped = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    Feed feed(data, size);
    Machine(feed).Run();
    return 0;
}
