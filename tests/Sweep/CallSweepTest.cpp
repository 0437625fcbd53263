// SPDX-License-Identifier: MIT
// System calls that fail although nobody asks whether they did, and signals that come all the time.
#include "CallFaults.h"
#include "Support/Descriptors.h"
#include "Support/ExpectRaises.h"
#include "Support/TempDir.h"
#include "Thread/System.h"

#include <ORVEX/ORVEX.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <sys/time.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace ORVEX;

namespace {

String Text(const std::string& bytes) { return String::ChangeCharStr(bytes.c_str()); }

/// What all tests of a run have refused.
class Total : public testing::Environment {
public:
    void TearDown() override
    {
        std::cout << calls << " calls refused, " << signals << " signals\n";
    }

    static long calls;
    static long signals;
};

long Total::calls = 0;
long Total::signals = 0;

const testing::Environment* const total = testing::AddGlobalTestEnvironment(new Total);

/// Fails calls as CallFaults does, and counts them.
class Faults : public CallFaults {
public:
    using CallFaults::CallFaults;
    ~Faults() { Total::calls += Refused(); }
};

/// Puts stand-ins into force while it lives, and counts what they refuse.
class Refusing : public System {
public:
    Refusing() { theSystem = this; }
    ~Refusing()
    {
        theSystem = nullptr;
        Total::calls += refused;
    }
    Refusing(const Refusing&) = delete;
    Refusing& operator=(const Refusing&) = delete;

    /// Fails a call of the kind that sets errno.
    int Fail(int error)
    {
        ++refused;
        errno = error;
        return -1;
    }

    int refused = 0;
};

/// A signal every millisecond that does nothing but interrupt.
class Storm {
public:
    Storm()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) { ++signals; }; // without SA_RESTART, so that calls end
        sigaction(SIGALRM, &action, &old);
        signals = 0;
        const itimerval each = {{0, 1000}, {0, 1000}};
        setitimer(ITIMER_REAL, &each, nullptr);
    }
    ~Storm()
    {
        const itimerval none = {};
        setitimer(ITIMER_REAL, &none, nullptr);
        sigaction(SIGALRM, &old, nullptr);
        Total::signals += signals;
    }
    Storm(const Storm&) = delete;
    Storm& operator=(const Storm&) = delete;

    static int Signals() { return signals; }

private:
    static std::atomic<int> signals; // handlers run in any thread
    static_assert(std::atomic<int>::is_always_lock_free, "a handler must not wait");
    struct sigaction old;
};

std::atomic<int> Storm::signals{0};

/// Keeps signals from a thread that is not meant to get them.
void BlockSignals()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

} // namespace

TEST(CallSweep, AMonotonicClockThatFailsReadsZero)
{
    Refusing system;
    system.clockGettime = [&](clockid_t, timespec*) { return system.Fail(EINVAL); };
    EXPECT_EQ(0u, Clock::Now().Get());
    EXPECT_EQ(1, system.refused);
}

TEST(CallSweep, ACalendarThatFailsReadsTheEpoch)
{
    Refusing system;
    system.gettimeofday = [&](timeval*) { return system.Fail(EFAULT); };
    EXPECT_EQ(0, Time::UTC().Get());
    EXPECT_EQ(1, system.refused);
}

TEST(CallSweep, ATimedSleepWithoutAClockIsOverAtOnce)
{
    SleepWakeup place;
    Refusing system;
    system.clockGettime = [&](clockid_t, timespec*) { return system.Fail(EINVAL); };
    EXPECT_EQ(0, place.Sleep(Clock(3600000)));
    EXPECT_EQ(1, system.refused);
}

TEST(CallSweep, AFirstThreadObjectOutlivesARefusedSchedulingClass)
{
    const bool old = ThreadBase::InitFlg;
    ThreadBase::InitFlg = false;
    Refusing system;
    system.getschedparam = [&](pthread_t, int*, sched_param*) {
        ++system.refused;
        return ESRCH;
    };
    int policy = -1;
    int priority = -1;
    system.setschedparam = [&](pthread_t, int asked, const sched_param* parameter) {
        policy = asked;
        priority = parameter->sched_priority;
        ++system.refused;
        return EPERM;
    };
    const ThreadBase thread({[](void*) -> void* { return nullptr; }, nullptr});
    EXPECT_TRUE(ThreadBase::InitFlg);
    EXPECT_EQ(SCHED_OTHER, policy);
    EXPECT_EQ(2, priority);
    EXPECT_EQ(2, system.refused);
    ThreadBase::InitFlg = old;
}

TEST(CallSweep, SemaphoresThatFailAreReturnedOrPassedOver)
{
    for (const int error : {EINVAL, ENOSYS, ENOSPC, EOVERFLOW, EAGAIN}) {
        Refusing system;
        const auto fails = [&](auto&&...) { return system.Fail(error); };
        system.semInit = fails;
        system.semDestroy = fails;
        system.semWait = fails;
        system.semTrywait = fails;
        system.semTimedwait = fails;
        system.semPost = fails;
        system.yield = fails;
        {
            Mutex mutex;
            EXPECT_EQ(-1, mutex.Lock());
            EXPECT_EQ(-1, mutex.ReadLock());
            EXPECT_EQ(-1, mutex.Unlock());
            EXPECT_EQ(-1, mutex.ReadUnlock());
        }
        EXPECT_EQ(6, system.refused);
        {
            SleepWakeup place;
            EXPECT_EQ(1, place.Forever()) << "whatever ends the wait counts as a wake-up";
            EXPECT_EQ(0, place.Sleep(Clock(1000)));
            EXPECT_EQ(0, place.Sleep(Clock(0)));
            place.Wakeup();
            place.Wakeup();
            EXPECT_EQ(-1, place.Active());
            place.Inactive();
            EXPECT_EQ(2, place.Forever());
        }
        // Made, waited twice, cleared and yielded, posted once, cleared, destroyed.
        EXPECT_EQ(6 + 8, system.refused);
        Idle();
        Stream stream;
        stream.PushBackStart().Resize(3);
        stream.PushBackEnd();
        EXPECT_EQ(3, stream.Size());
        EXPECT_EQ(3ul, stream.PopFrontStart().Length());
        stream.Clear();
    }
}

TEST(CallSweep, AJoinThatFailsEndsTheThreadForTheObject)
{
    std::atomic<bool> ran{false};
    ThreadBase thread({[](void* flag) -> void* {
                           *static_cast<std::atomic<bool>*>(flag) = true;
                           return nullptr;
                       },
                       &ran});
    thread.Start(ThreadBase::Normal, 0x40000);
    while (!ran)
        Idle();
    pthread_t left = {};
    {
        Refusing system;
        system.join = [&](pthread_t id, void**) {
            left = id;
            ++system.refused;
            return EDEADLK;
        };
        thread.StopWait();
        thread.StopWait(); // not asked again
        EXPECT_EQ(1, system.refused);
    }
    pthread_join(left, nullptr);
}

TEST(CallSweep, SleepsThatAreInterruptedEndEarlyAndInOrder)
{
    Refusing system;
    system.sleep = [&](unsigned seconds) {
        ++system.refused;
        return seconds; // all of them are left
    };
    system.usleep = [&](useconds_t) { return system.Fail(EINTR); };
    ORVEX::Sleep(Clock(2500));
    EXPECT_EQ(2, system.refused);
}

TEST(CallSweep, AnAddressThatTheSystemCannotReadIsZero)
{
    Faults faults("inet_pton", EAFNOSUPPORT);
    EXPECT_EQ(0ul, SocketV4::InetAdder(Text("192.168.0.1")));
    EXPECT_EQ(1, faults.Refused());
}

TEST(CallSweep, FilesThatCannotBeOpenedAreAnswered)
{
    TempDir folder;
    std::ofstream(folder.File("file")) << "contents";
    for (const int error : {EACCES, EMFILE, ENFILE, ENOMEM, EINTR, ELOOP, EROFS, ENOSPC, EIO}) {
        FileBuffer buffer;
        buffer.Resize(3);
        Faults faults("fopen", error);
        EXPECT_FALSE(buffer.Load(Text(folder.File("file"))));
        EXPECT_FALSE(buffer.Save(Text(folder.File("other"))));
        EXPECT_EQ(2, faults.Refused());
        EXPECT_EQ(3ul, buffer.Length());
    }
    const long descriptors = OpenDescriptors();
    FileBuffer buffer;
    EXPECT_TRUE(buffer.Load(Text(folder.File("file"))));
    EXPECT_EQ(8ul, buffer.Length());
    EXPECT_EQ(descriptors, OpenDescriptors());
}

TEST(CallSweep, FilesWithoutAPositionAskForWhatCannotBeHad)
{
    TempDir folder;
    std::ofstream(folder.File("file")) << "contents";
    const long descriptors = OpenDescriptors();
    for (const int error : {ESPIPE, EIO, EOVERFLOW}) {
        FileBuffer buffer;
        const String path = Text(folder.File("file"));
        Faults faults("lseek", error);
        ExpectRaises("src/Buffer/Buffer", Err::ERR_MEMORY, -1, [&] { buffer.Load(path); });
        EXPECT_LE(1, faults.Refused());
        EXPECT_TRUE(buffer.Empty());
    }
    EXPECT_EQ(descriptors, OpenDescriptors());
}

TEST(CallSweep, FilesThatCannotBeReadKeepTheLengthThatWasTold)
{
    TempDir folder;
    std::ofstream(folder.File("file")) << std::string(100000, 'x');
    const long descriptors = OpenDescriptors();
    for (const int error : {EIO, EISDIR, ENOMEM, EAGAIN}) {
        FileBuffer buffer;
        Faults faults("read", error);
        EXPECT_TRUE(buffer.Load(Text(folder.File("file"))));
        EXPECT_LE(1, faults.Refused());
        EXPECT_EQ(100000ul, buffer.Length());
    }
    EXPECT_EQ(descriptors, OpenDescriptors());
}

TEST(CallSweep, FilesThatCannotBeWrittenAreNotReported)
{
    TempDir folder;
    FileBuffer buffer;
    buffer.Resize(100000);
    std::memset(buffer.Begin(), 'x', buffer.Length());
    const long descriptors = OpenDescriptors();
    for (const int error : {ENOSPC, EDQUOT, EIO, EFBIG}) {
        Faults faults("write", error);
        EXPECT_TRUE(buffer.Save(Text(folder.File("file"))));
        EXPECT_LE(1, faults.Refused());
    }
    EXPECT_EQ(descriptors, OpenDescriptors());
}

TEST(CallSweep, DirectoriesAnswerEveryError)
{
    TempDir folder;
    std::ofstream(folder.File("file")) << "contents";
    const String path = Text(folder.Path() + "/");
    FileList list;
    for (const int error : {EACCES, EMFILE, ENFILE, ENOENT, ENOMEM, ENOTDIR, EINTR, EIO, ELOOP,
                            ENAMETOOLONG, EOVERFLOW, EBADF}) {
        ASSERT_TRUE(list.Find(path, true, true));
        ASSERT_FALSE(list.Empty());
        for (const char* const name : {"opendir", "readdir", "stat"}) {
            Faults faults(name, error);
            EXPECT_EQ(std::strcmp(name, "opendir") != 0, list.Find(path, true, true)) << name;
            EXPECT_TRUE(list.Empty()) << name;
            EXPECT_EQ(1, faults.Refused()) << name;
        }
    }
}

TEST(SignalStorm, LetsNobodyThroughAMutex)
{
    Mutex mutex;
    bool unlocked = false;
    mutex.Lock();
    const Storm storm;
    std::thread holder([&] {
        BlockSignals();
        while (Storm::Signals() < 50)
            usleep(500);
        unlocked = true;
        mutex.Unlock();
    });
    EXPECT_EQ(0, mutex.Lock());
    EXPECT_TRUE(unlocked);
    mutex.Unlock();
    holder.join();
}

TEST(SignalStorm, EndsSleepsEarlyAndNoneHangs)
{
    SleepWakeup place;
    const Storm storm;
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(1, place.Forever());
        EXPECT_EQ(0, place.Sleep(Clock(3600000)));
        ORVEX::Sleep(Clock(3600000 + 500));
    }
    EXPECT_LE(40, Storm::Signals());
}

TEST(SignalStorm, ReceivesOfNothingFail)
{
    SocketV4 socket;
    if (!socket.Open(SocketV4::TypeBroadcast) || !socket.Bind(0, 0))
        GTEST_SKIP() << "no socket can be had here";
    Buffer data;
    unsigned long address = 0;
    unsigned short port = 0;
    const Storm storm;
    for (int i = 0; i < 20; ++i) {
        Clock timeout(3600000);
        EXPECT_EQ(2, socket.ReceiveFrom(data, address, port, timeout));
        EXPECT_FALSE(socket.ReceiveFrom(data, address, port));
    }
    EXPECT_LE(40, Storm::Signals());
}

TEST(SignalStorm, FilesAndDirectoriesComeWhole)
{
    TempDir folder;
    for (int i = 0; i < 300; ++i)
        std::ofstream(folder.File(std::to_string(i))) << i;
    const String path = Text(folder.Path() + "/");
    const String file = Text(folder.File("0"));
    FileBuffer saved;
    saved.Resize(1 << 20);
    for (unsigned long i = 0; i < saved.Length(); ++i)
        saved[i] = static_cast<unsigned char>(i * 2654435761u >> 24);
    const Storm storm;
    do {
        FileList list;
        EXPECT_TRUE(list.Find(path, true, true));
        int entries = 0;
        for (const FileListNode& entry : list)
            entries += !entry.isDir;
        EXPECT_EQ(300, entries);
        FileBuffer loaded;
        EXPECT_TRUE(saved.Save(file));
        EXPECT_TRUE(loaded.Load(file));
        ASSERT_EQ(0, saved.Comp(loaded));
    } while (Storm::Signals() < 50);
}

TEST(SignalStorm, ThreadsStartAndStopOnce)
{
    std::atomic<int> runs{0};
    const Storm storm;
    int starts = 0;
    do {
        ThreadBase thread({[](void* count) -> void* {
                               ++*static_cast<std::atomic<int>*>(count);
                               return nullptr;
                           },
                           &runs});
        thread.Start(ThreadBase::Normal, 0x40000);
        thread.Stop();
        ++starts;
    } while (Storm::Signals() < 50);
    EXPECT_EQ(starts, runs);
}
