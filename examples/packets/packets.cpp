// SPDX-License-Identifier: MIT
// Two threads, one that fills packets and one that reads them, with a stream between them.
#include <ORVEX/Stream.h>
#include <ORVEX/Thread.h>

#include <cstdio>

namespace {

struct Line {
    ORVEX::Stream stream;
    ORVEX::SleepWakeup arrived; // where the reader sleeps while nothing waits
};

// Sends 1, 2, 3 ... letters, each packet in a buffer that the stream lends.
void* Produce(void* argument)
{
    Line& line = *static_cast<Line*>(argument);
    for (unsigned long length = 1; length <= 5; ++length) {
        ORVEX::Buffer& packet = line.stream.PushBackStart();
        packet.ResizeNoCopy(length); // a buffer that comes back may still hold old bytes
        for (unsigned long at = 0; at < length; ++at)
            packet[at] = static_cast<unsigned char>('a' + at);
        line.stream.PushBackEnd();
        line.arrived.Wakeup();
    }
    return nullptr;
}

} // namespace

int main()
{
    Line line;
    ORVEX::ThreadBase producer(ORVEX::ThreadBaseCalled{Produce, &line});
    producer.Start(ORVEX::ThreadBase::Normal, 65536);

    unsigned long bytes = 0;
    for (int packets = 0; packets < 5;) {
        const ORVEX::BufferBase& packet = line.stream.PopFrontStart();
        if (packet.Empty()) {
            line.arrived.Forever();
            continue;
        }
        ++packets;
        bytes += packet.Length();
        std::printf("packet %d: %.*s\n", packets, static_cast<int>(packet.Length()),
                    reinterpret_cast<const char*>(packet.Begin()));
        line.stream.PopFrontEnd(); // the buffer goes back for reuse
    }
    producer.StopWait();
    std::printf("%lu bytes, %s\n", bytes, line.stream.Empty() ? "nothing left" : "more to come");
    return 0;
}
