// SPDX-License-Identifier: MIT
// Packets from a producer to a consumer, beside a standard queue under a standard mutex and the
// lock-free queue of Boost, which hold their packets in vectors.
#include <ORVEX/Stream.h>

#include <benchmark/benchmark.h>

#ifdef BENCH_boost
#include <boost/lockfree/spsc_queue.hpp>
#endif

#include <cstring>
#include <mutex>
#include <queue>
#include <thread>
#include <vector>

namespace {

using Packet = std::vector<unsigned char>;

class Orvex {
public:
    void Push(unsigned long length, unsigned char value)
    {
        ORVEX::Buffer& packet = stream.PushBackStart();
        packet.ResizeNoCopy(length);
        std::memset(packet.Begin(), value, length);
        stream.PushBackEnd();
    }

    // The sum of first and last byte; 0 when there is no packet.
    int Pop()
    {
        const ORVEX::BufferBase& packet = stream.PopFrontStart();
        const int sum = packet.Empty() ? 0 : packet[0] + packet[packet.Length() - 1];
        stream.PopFrontEnd();
        return sum;
    }

private:
    ORVEX::Stream stream;
};

class Std {
public:
    void Push(unsigned long length, unsigned char value)
    {
        Packet packet(length, value);
        const std::lock_guard<std::mutex> locked(mutex);
        queue.push(std::move(packet));
    }

    int Pop()
    {
        Packet packet;
        {
            const std::lock_guard<std::mutex> locked(mutex);
            if (queue.empty())
                return 0;
            packet = std::move(queue.front());
            queue.pop();
        }
        return packet.front() + packet.back();
    }

private:
    std::queue<Packet> queue;
    std::mutex mutex;
};

#ifdef BENCH_boost
class Boost {
public:
    void Push(unsigned long length, unsigned char value)
    {
        const Packet packet(length, value);
        while (!queue.push(packet))
            std::this_thread::yield();
    }

    int Pop()
    {
        Packet packet;
        return queue.pop(packet) ? packet.front() + packet.back() : 0;
    }

private:
    boost::lockfree::spsc_queue<Packet> queue{1024};
};
#endif

// A queue is there for two threads. As long as a process has had only one, some C libraries lock a
// mutex without its atomic operations.
const bool hasHadTwoThreads = [] {
    std::thread([] {}).join();
    return true;
}();

// Eight packets in, eight out, on one thread: what a packet costs when nobody has to wait.
template <class Queue> void OneThread(benchmark::State& state)
{
    const int packets = 8;
    const unsigned long length = static_cast<unsigned long>(state.range(0));
    Queue queue;
    for (auto _ : state) {
        for (int i = 0; i < packets; ++i)
            queue.Push(length, 1);
        for (int i = 0; i < packets; ++i)
            benchmark::DoNotOptimize(queue.Pop());
    }
    state.SetItemsProcessed(state.iterations() * packets);
}

BENCHMARK_TEMPLATE(OneThread, Orvex)->Name("Stream_64/orvex")->Arg(64);
BENCHMARK_TEMPLATE(OneThread, Std)->Name("Stream_64/std")->Arg(64);
BENCHMARK_TEMPLATE(OneThread, Orvex)->Name("Stream_1500/orvex")->Arg(1500);
BENCHMARK_TEMPLATE(OneThread, Std)->Name("Stream_1500/std")->Arg(1500);
#ifdef BENCH_boost
BENCHMARK_TEMPLATE(OneThread, Boost)->Name("Stream_64/boost")->Arg(64);
BENCHMARK_TEMPLATE(OneThread, Boost)->Name("Stream_1500/boost")->Arg(1500);
#endif

} // namespace
