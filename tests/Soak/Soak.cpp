// SPDX-License-Identifier: MIT
// Long runs: packets through a Stream, threads started and stopped, wake-ups from four threads,
// then mixed work until the time is up, with memory and descriptors watched.
//
//   Soak [--minutes M] [--packets N] [--starts N] [--wakeups N]
#include <ORVEX/ORVEX.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <random>
#include <string>
#include <unistd.h>

namespace {

[[noreturn]] void Fail(const char* what)
{
    std::fprintf(stderr, "soak: %s\n", what);
    std::exit(1);
}

/// A thread of the library around any callable.
template <class Body> class Worker : public ORVEX::ThreadBase {
public:
    explicit Worker(Body run) : ThreadBase(Called(this)), body(run) {}

    void Begin() { Start(ORVEX::ThreadBase::Normal, 256 * 1024); }

private:
    static ORVEX::ThreadBaseCalled Called(Worker* worker)
    {
        ORVEX::ThreadBaseCalled called;
        called.function = Run;
        called.argument = worker;
        return called;
    }
    static void* Run(void* worker)
    {
        static_cast<Worker*>(worker)->body();
        return nullptr;
    }

    Body body;
};

std::uint32_t LengthOf(std::uint32_t packet) { return 1 + (packet * 2654435761u >> 21); }

/// Packets of random length from one thread to another while a third one looks and, at times,
/// clears. Every packet that arrives must be whole, and the order must be kept.
void Packets(std::uint32_t count)
{
    ORVEX::Stream stream;
    std::atomic<bool> done{false};
    std::atomic<std::uint32_t> arrived{0};

    auto produce = [&] {
        for (std::uint32_t packet = 0; packet < count; ++packet) {
            ORVEX::Buffer& buffer = stream.PushBackStart();
            buffer.Resize(LengthOf(packet) + 4);
            std::memcpy(buffer.Begin(), &packet, 4);
            std::memset(buffer.Begin() + 4, static_cast<int>(packet & 255), LengthOf(packet));
            stream.PushBackEnd();
            while (packet % 64 == 0 && stream.Size() > 1000000)
                ORVEX::Idle();
        }
        done = true;
    };
    auto consume = [&] {
        std::int64_t last = -1;
        for (;;) {
            const bool finished = done;
            const ORVEX::BufferBase& buffer = stream.PopFrontStart();
            if (buffer.Empty()) {
                if (finished)
                    return;
                ORVEX::Idle();
                continue;
            }
            std::uint32_t packet = 0;
            std::memcpy(&packet, buffer.Begin(), 4);
            if (packet <= last || buffer.Length() != LengthOf(packet) + 4ul)
                Fail("a packet came out of order or with another length");
            for (unsigned long i = 4; i < buffer.Length(); ++i)
                if (buffer.Begin()[i] != (packet & 255))
                    Fail("a packet came with other bytes");
            last = packet;
            ++arrived;
            stream.PopFrontEnd();
        }
    };
    auto look = [&] {
        for (std::uint32_t turn = 1; !done; ++turn) {
            if (stream.Size() < 0)
                Fail("a stream's size is negative");
            if (stream.Empty() && turn % 2)
                ORVEX::Idle();
            if (turn % 5000 == 0)
                stream.Clear();
            ORVEX::__SleepMilliSecond(turn % 100 == 0 ? 1 : 0);
        }
    };

    Worker<decltype(produce)> producer(produce);
    Worker<decltype(consume)> consumer(consume);
    Worker<decltype(look)> watcher(look);
    consumer.Begin();
    watcher.Begin();
    producer.Begin();
    producer.StopWait();
    consumer.StopWait();
    watcher.StopWait();
    std::printf("soak: %u packets sent, %u arrived, the others were cleared\n", count,
                arrived.load());
    if (arrived == 0)
        Fail("no packet arrived");
}

void Starts(std::uint32_t count)
{
    std::atomic<std::uint32_t> ran{0};
    auto body = [&] { ++ran; };
    Worker<decltype(body)> worker(body);
    for (std::uint32_t i = 0; i < count; ++i) {
        worker.Begin();
        worker.Stop();
    }
    if (ran != count)
        Fail("a thread did not run");
    std::printf("soak: %u threads started and stopped\n", count);
}

/// Four threads wake one sleeper; each of its returns but the last must be a wake-up. Wake-ups that
/// come while one is pending are one, so the wakers step back now and then.
void WakeUps(std::uint32_t count)
{
    ORVEX::SleepWakeup bed;
    std::atomic<std::uint32_t> calls{0};
    std::atomic<std::uint32_t> woken{0};
    std::atomic<bool> over{false};
    auto sleep = [&] {
        while (!over) {
            const int result = bed.Sleep(ORVEX::Clock(60000));
            if (result == 2)
                return;
            if (result == 0)
                Fail("a wake-up was lost");
            ++woken;
        }
    };
    auto wake = [&] {
        for (std::uint32_t call = calls++; call < count; call = calls++) {
            bed.Wakeup();
            if (call % 4 == 0)
                ORVEX::Idle();
        }
    };
    Worker<decltype(sleep)> sleeper(sleep);
    Worker<decltype(wake)> first(wake), second(wake), third(wake), fourth(wake);
    sleeper.Begin();
    first.Begin();
    second.Begin();
    third.Begin();
    fourth.Begin();
    first.StopWait();
    second.StopWait();
    third.StopWait();
    fourth.StopWait();
    over = true;
    bed.Inactive();
    sleeper.StopWait();
    std::printf("soak: %u wake-ups from four threads, %u returns of the sleeper\n", count,
                woken.load());
    if (woken == 0)
        Fail("the sleeper was never woken");
}

long ResidentPages()
{
    long total = 0, resident = 0;
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    if (!file || std::fscanf(file, "%ld %ld", &total, &resident) != 2)
        Fail("/proc/self/statm cannot be read");
    std::fclose(file);
    return resident;
}

int Descriptors()
{
    int count = 0;
    DIR* folder = opendir("/proc/self/fd");
    if (!folder)
        Fail("/proc/self/fd cannot be read");
    while (readdir(folder))
        ++count;
    closedir(folder);
    return count;
}

/// One round of everything that a device does all day.
void MixedWork(std::mt19937& random)
{
    ORVEX::String text;
    for (unsigned i = 0; i < 200; ++i) {
        ORVEX::Char character;
        character.SetUTF32(32 + random() % 5000);
        text += character;
    }
    ORVEX::List<ORVEX::String> pieces = text.FindSplit(ORVEX::Char("e"));
    (void)ORVEX::String::Decimal(static_cast<unsigned long long>(random()));

    ORVEX::Bitmap picture;
    picture.ResizeNoCopy({static_cast<std::int32_t>(1 + random() % 200), 50});
    picture.Fill(ORVEX::Color(1, 2, 3, 128));
    ORVEX::Bitmap smaller;
    smaller.Scaling(picture, {20, static_cast<std::int32_t>(1 + random() % 90)});
    picture.Overlap(smaller, {5, -3}, {0, 0, 20, 90});

    ORVEX::Buffer bytes;
    bytes.Resize(1 + random() % 5000);
    std::memset(bytes.Begin(), static_cast<int>(random() % 256), bytes.Length());
    ORVEX::CRC32 crc;
    crc.Update(bytes);
    ORVEX::Ping ping;
    (void)ping.Load(bytes);

    ORVEX::FileList folder;
    folder.Find(ORVEX::String::ChangeCharStr("/proc/self/"), true, true);
    ORVEX::FileBuffer file;
    file.Load(ORVEX::String::ChangeCharStr("/proc/self/exe"));

    ORVEX::SocketV4 socket;
    if (socket.Open(ORVEX::SocketV4::TypeBroadcast))
        socket.ReceiveCheck();
}

void MixedWorkFor(double minutes)
{
    std::mt19937 random(1);
    for (int i = 0; i < 50; ++i)
        MixedWork(random);
    const long pages = ResidentPages();
    const int descriptors = Descriptors();

    const ORVEX::Clock begin = ORVEX::Clock::Now();
    unsigned long rounds = 0;
    while (static_cast<double>(ORVEX::Clock::Now().Get() - begin.Get()) < minutes * 60000) {
        MixedWork(random);
        ++rounds;
        if (Descriptors() != descriptors)
            Fail("descriptors grew");
    }
    const long grown = ResidentPages() - pages;
    std::printf("soak: %lu rounds of mixed work, resident memory grew by %ld pages\n", rounds,
                grown);
    if (grown > 256)
        Fail("resident memory grew by more than 256 pages");
}

} // namespace

int main(int argc, char** argv)
{
    double minutes = 1;
    std::uint32_t packets = 10000000, starts = 10000, wakeups = 1000000;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string option = argv[i];
        const double value = std::atof(argv[i + 1]);
        if (option == "--minutes")
            minutes = value;
        else if (option == "--packets")
            packets = static_cast<std::uint32_t>(value);
        else if (option == "--starts")
            starts = static_cast<std::uint32_t>(value);
        else if (option == "--wakeups")
            wakeups = static_cast<std::uint32_t>(value);
        else
            Fail("unknown option");
    }
    const int descriptors = Descriptors();
    Packets(packets);
    Starts(starts);
    WakeUps(wakeups);
    MixedWorkFor(minutes);
    if (Descriptors() != descriptors)
        Fail("descriptors were lost");
    std::printf("soak: all well\n");
    return 0;
}
