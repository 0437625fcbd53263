// SPDX-License-Identifier: MIT
#include <ORVEX/Thread.h>

#include "Support/Raised.h"
#include "Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstddef>
#include <dirent.h>
#include <sched.h>
#include <stdexcept>
#include <sys/resource.h>
#include <thread>
#include <type_traits>
#include <vector>

using ORVEX::Clock;
using ORVEX::Err;
using ORVEX::ThreadBase;
using ORVEX::ThreadBaseCalled;
using ORVEX::ThreadState;

static_assert(std::is_standard_layout<ThreadBaseCalled>::value, "two plain fields");
static_assert(offsetof(ThreadBaseCalled, function) == 0, "function comes first");
static_assert(offsetof(ThreadBaseCalled, argument) == sizeof(void*), "argument follows");
static_assert(sizeof(ThreadBaseCalled) == 2 * sizeof(void*), "two plain fields");
static_assert(ThreadBase::Highest == 0 && ThreadBase::RealTime == 1, "the numbers are fixed");
static_assert(ThreadBase::Normal == 2 && ThreadBase::Lowest == 3, "the numbers are fixed");
static_assert(std::is_base_of<ORVEX::SleepWakeup, ThreadBase>::value, "it sleeps on itself");
static_assert(!std::is_polymorphic<ThreadBase>::value, "no virtual operations");
static_assert(!std::is_copy_constructible<ThreadBase>::value, "a thread has one object");
static_assert(!std::is_copy_assignable<ThreadBase>::value, "a thread has one object");
static_assert(std::is_same<decltype(ThreadBase::InitFlg), bool>::value, "a plain field");

namespace {

const unsigned long Stack = 65536;

// Shows the fields, which only derived classes see.
class Opened : public ThreadBase {
public:
    Opened(void* (*function)(void*), void* argument)
        : ThreadBase(ThreadBaseCalled{function, argument})
    {
    }
    bool Started() const { return started; }
    bool Requested() const { return stopRequested; }
    const ThreadBaseCalled& Called() const { return called; }

    void CheckOrder() const
    {
        const auto at = [this](const void* field) {
            return static_cast<const char*>(field) - reinterpret_cast<const char*>(this);
        };
        static_assert(std::is_same<decltype(stopRequested), bool>::value, "a plain field");
        static_assert(std::is_same<decltype(started), bool>::value, "a plain field");
        const long base = sizeof(SleepWakeup);
        const long calledAt = (base + alignof(void*) - 1) / alignof(void*) * alignof(void*);
        EXPECT_EQ(calledAt, at(&called));
        EXPECT_EQ(calledAt + static_cast<long>(2 * sizeof(void*)), at(&stopRequested));
        EXPECT_EQ(at(&stopRequested) + 1, at(&started));
        EXPECT_GT(at(&thread), at(&started));
        EXPECT_EQ(static_cast<long>(sizeof(ThreadBase) - sizeof(pthread_t)), at(&thread));
    }
};

// What a worker saw.
struct Worker {
    Worker() : thread(Run, this) {}

    static void* Run(void* argument)
    {
        Worker& self = *static_cast<Worker*>(argument);
        ++self.runs;
        while (!self.thread.StopRequested()) {
            self.goesToSleep = CurrentThread();
            self.last = self.useForever ? self.thread.Forever() : self.thread.Sleep(self.pause);
            if (self.last == 1)
                ++self.wakeups;
        }
        self.afterStop = self.thread.Forever();
        return argument; // ignored
    }

    void WaitUntilAsleep() const
    {
        while (goesToSleep == 0)
            std::this_thread::yield();
        WaitUntilBlocked(goesToSleep);
    }

    Opened thread;
    bool useForever = true;
    Clock pause{3600000};
    std::atomic<int> runs{0};
    std::atomic<pid_t> goesToSleep{0};
    std::atomic<int> wakeups{0};
    std::atomic<int> last{0};
    std::atomic<int> afterStop{0};
};

int ThreadsOfProcess()
{
    int count = -2; // "." and ".."
    DIR* folder = opendir("/proc/self/task");
    while (readdir(folder))
        ++count;
    closedir(folder);
    return count;
}

// Whether no more than that many are left; a joined thread may take a moment to vanish.
bool ThreadsComeDownTo(int count)
{
    for (int i = 0; i < 10000 && ThreadsOfProcess() > count; ++i)
        usleep(1000);
    return ThreadsOfProcess() <= count;
}

void* Nothing(void*) { return nullptr; }

void* Count(void* counter)
{
    ++*static_cast<int*>(counter);
    return nullptr;
}

} // namespace

TEST(Thread, FieldsFollowTheSleepObjectInOrder)
{
    Opened thread(Nothing, &thread);
    thread.CheckOrder();
    EXPECT_EQ(&Nothing, thread.Called().function);
    EXPECT_EQ(&thread, thread.Called().argument);
    EXPECT_FALSE(thread.Started());
    EXPECT_FALSE(thread.StopRequested());
    EXPECT_TRUE(ThreadBase::InitFlg);
}

TEST(Thread, RunsItsFunctionWithTheArgument)
{
    int runs = 0;
    Opened thread(Count, &runs);
    EXPECT_EQ(0, runs);
    thread.Start(ThreadBase::Normal, Stack);
    EXPECT_TRUE(thread.Started());
    thread.StopWait();
    EXPECT_FALSE(thread.Started());
    EXPECT_EQ(1, runs);
    EXPECT_FALSE(thread.StopRequested()); // StopWait asks for nothing
}

TEST(Thread, RunsOnAThreadOfItsOwn)
{
    pthread_t self = pthread_self();
    Opened thread(
        [](void* other) -> void* {
            pthread_t& id = *static_cast<pthread_t*>(other);
            EXPECT_FALSE(pthread_equal(id, pthread_self()));
            return nullptr;
        },
        &self);
    thread.Start(ThreadBase::Normal, Stack);
    thread.StopWait();
}

TEST(Thread, EntryCallsTheFunctionAndReturnsNull)
{
    int runs = 0;
    ThreadBaseCalled called = {Count, &runs};
    EXPECT_EQ(nullptr, ORVEX::ThreadExecuteFunc(&called));
    EXPECT_EQ(1, runs);
    called.function = [](void* argument) -> void* { return argument; };
    EXPECT_EQ(nullptr, ORVEX::ThreadExecuteFunc(&called)); // whatever the function returned
}

TEST(Thread, StopOfWhatWasNeverStartedDoesNothing)
{
    Opened thread(Nothing, nullptr);
    thread.Stop();
    thread.StopWait();
    EXPECT_FALSE(thread.StopRequested());
    EXPECT_EQ(0, (thread.Wakeup(), thread.Active())); // the sleep object is still in use
}

TEST(Thread, StopWakesTheWorkerAndWaitsForIt)
{
    Worker worker;
    worker.thread.Start(ThreadBase::Normal, Stack);
    worker.WaitUntilAsleep();
    worker.thread.Stop();
    EXPECT_EQ(1, worker.last);
    EXPECT_EQ(2, worker.afterStop);
    EXPECT_FALSE(worker.thread.Started());
    EXPECT_TRUE(worker.thread.StopRequested());
    worker.thread.Stop(); // once more does nothing
    worker.thread.StopWait();
    EXPECT_EQ(1, worker.runs);
}

TEST(Thread, SetStopOfASleeperGivesOneThenTwo)
{
    Worker worker;
    worker.useForever = false;
    worker.thread.Start(ThreadBase::Normal, Stack);
    worker.WaitUntilAsleep();
    std::thread([&worker] { worker.thread.SetStop(); }).join(); // any thread may
    EXPECT_TRUE(worker.thread.Started());
    worker.thread.StopWait();
    EXPECT_EQ(1, worker.last);
    EXPECT_EQ(2, worker.afterStop);
}

TEST(Thread, WakeupEndsASleepWithoutStopping)
{
    Worker worker;
    worker.thread.Start(ThreadBase::Normal, Stack);
    for (int i = 1; i <= 100; ++i) {
        worker.thread.Wakeup();
        while (worker.wakeups < i)
            std::this_thread::yield();
    }
    EXPECT_FALSE(worker.thread.StopRequested());
    worker.thread.Stop();
}

TEST(Thread, StartOnARunningThreadStopsTheOldOneFirst)
{
    Worker worker;
    worker.useForever = false;
    worker.pause = Clock(10);
    worker.thread.Start(ThreadBase::Normal, Stack);
    worker.WaitUntilAsleep();
    const int before = ThreadsOfProcess();
    worker.thread.Start(ThreadBase::Normal, Stack);
    EXPECT_TRUE(ThreadsComeDownTo(before));
    EXPECT_FALSE(worker.thread.StopRequested());
    while (worker.runs < 2)
        std::this_thread::yield();
    worker.thread.Stop();
    EXPECT_EQ(2, worker.runs);
}

TEST(Thread, AThousandStartsLeaveNothingBehind)
{
    int runs = 0;
    int before = 0;
    for (int i = 0; i < 1000; ++i) {
        Opened thread(Count, &runs);
        thread.Start(ThreadBase::Normal, Stack);
        if (i % 2)
            thread.Stop();
        else
            thread.StopWait();
        if (i == 0) // the thread sanitizer starts a thread of its own with the first
            before = ThreadsOfProcess();
    }
    EXPECT_EQ(1000, runs);
    EXPECT_TRUE(ThreadsComeDownTo(before));
}

// A thousand stacks of 64 MiB do not fit the limit that is set here, a few do.
TEST(Thread, AThousandStacksAreGivenBack)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers need the address space for themselves";
#endif
    EXPECT_EQ(0, ResultInChild([] {
                  const rlim_t size = sizeof(void*) == 8 ? rlim_t(4) << 30 : rlim_t(1) << 30;
                  const rlimit limit = {size, size};
                  if (setrlimit(RLIMIT_AS, &limit) != 0)
                      return 1;
                  int runs = 0;
                  Opened thread(Count, &runs);
                  for (int i = 0; i < 1000; ++i) {
                      thread.Start(ThreadBase::Normal, 64 << 20);
                      thread.StopWait();
                  }
                  return runs == 1000 ? 0 : 2;
              }));
}

TEST(Thread, AThousandRestartsOfOneObject)
{
    Worker worker;
    worker.useForever = false;
    worker.pause = Clock(1);
    worker.thread.Start(ThreadBase::Normal, Stack);
    worker.thread.Stop();
    const int before = ThreadsOfProcess();
    for (int i = 1; i < 1000; ++i) {
        worker.thread.Start(ThreadBase::Normal, Stack);
        worker.thread.Wakeup();
        if (i % 3 == 0)
            worker.thread.Stop(); // otherwise the next Start does it
    }
    worker.thread.Stop();
    EXPECT_EQ(1000, worker.runs);
    EXPECT_TRUE(ThreadsComeDownTo(before));
}

TEST(Thread, ManyThreadsAtOnce)
{
    std::vector<Worker> workers(20);
    for (Worker& worker : workers)
        worker.thread.Start(ThreadBase::Normal, Stack);
    for (Worker& worker : workers)
        worker.thread.Wakeup();
    for (Worker& worker : workers)
        worker.thread.SetStop();
    for (Worker& worker : workers)
        worker.thread.Stop();
    for (Worker& worker : workers)
        EXPECT_EQ(1, worker.runs);
}

TEST(Thread, DestructorDoesNotJoin)
{
    struct Flags {
        std::atomic<bool> running{false};
        std::atomic<bool> release{false};
        std::atomic<bool> done{false};
    } flags;
    {
        Opened thread(
            [](void* argument) -> void* {
                Flags& seen = *static_cast<Flags*>(argument);
                pthread_detach(pthread_self()); // since nobody joins it
                seen.running = true;
                while (!seen.release)
                    std::this_thread::yield();
                seen.done = true;
                return nullptr;
            },
            &flags);
        thread.Start(ThreadBase::Normal, Stack);
        while (!flags.running)
            std::this_thread::yield();
    }
    EXPECT_FALSE(flags.done); // it still runs, though its object is gone
    flags.release = true;
    while (!flags.done)
        std::this_thread::yield();
}

TEST(Thread, StateRefersToItsThread)
{
    Opened thread(Nothing, nullptr);
    const ThreadState state(thread);
    EXPECT_EQ(&thread, &state.Get());
    EXPECT_EQ(sizeof(void*), sizeof(ThreadState));
}

TEST(Thread, BodyReachesItsThreadThroughTheState)
{
    struct Body {
        Body() : thread(Run, this), state(thread) {}
        static void* Run(void* argument)
        {
            const ThreadState& me = static_cast<Body*>(argument)->state;
            while (!me.Get().StopRequested())
                me.Get().Forever();
            return nullptr;
        }
        Opened thread;
        ThreadState state;
    } body;
    body.thread.Start(ThreadBase::Normal, Stack);
    body.thread.Stop();
    EXPECT_TRUE(body.thread.StopRequested());
}

TEST(Thread, EveryClassButLowestStartsWithoutSpecialRights)
{
    for (const int priority : {0, 1, 2, 4, 7, -1}) {
        int runs = 0;
        Opened thread(Count, &runs);
        thread.Start(static_cast<ThreadBase::Priority>(priority), Stack);
        thread.StopWait();
        EXPECT_EQ(1, runs) << priority;
    }
}

TEST(Thread, LowestStartsOrIsRefusedByTheCLibrary)
{
    int runs = 0;
    Opened thread(Count, &runs);
    pthread_attr_t attributes;
    ASSERT_EQ(0, pthread_attr_init(&attributes));
    if (pthread_attr_setschedpolicy(&attributes, 5) == 0) {
        thread.Start(ThreadBase::Lowest, Stack);
        thread.StopWait();
        EXPECT_EQ(1, runs);
    } else {
        const Err err = Raised([&] { thread.Start(ThreadBase::Lowest, Stack); });
        EXPECT_STREQ("src/Thread/Thread", err.file);
        EXPECT_EQ(Err::ERR_SYSTEM, err.code);
        EXPECT_EQ(0, err.data);
        EXPECT_FALSE(thread.Started());
        EXPECT_EQ(0, runs);
    }
    pthread_attr_destroy(&attributes);
}

TEST(Thread, StackOfZeroIsTheSmallest)
{
    int runs = 0;
    Opened thread(Count, &runs);
    pthread_attr_t attributes;
    ASSERT_EQ(0, pthread_attr_init(&attributes));
    if (pthread_attr_setstacksize(&attributes, 16384) == 0) {
        thread.Start(ThreadBase::Normal, 0);
        thread.StopWait();
        EXPECT_EQ(1, runs);
    } else {
        const Err err = Raised([&] { thread.Start(ThreadBase::Normal, 0); });
        EXPECT_EQ(Err::ERR_SYSTEM, err.code);
        EXPECT_FALSE(thread.Started());
    }
    pthread_attr_destroy(&attributes);
}

TEST(Thread, StackThatCannotBeHadRaisesAndTheObjectStaysUsable)
{
    int runs = 0;
    Opened thread(Count, &runs);
    for (int i = 0; i < 3; ++i) {
        const Err err = Raised([&] { thread.Start(ThreadBase::Normal, ULONG_MAX / 4 * 3); });
        EXPECT_STREQ("src/Thread/Thread", err.file);
        EXPECT_EQ(Err::ERR_SYSTEM, err.code);
        EXPECT_EQ(0, err.data);
        EXPECT_FALSE(thread.Started());
    }
    thread.Stop();
    EXPECT_EQ(0, runs);
    thread.Start(ThreadBase::Normal, Stack);
    thread.StopWait();
    EXPECT_EQ(1, runs);
}

TEST(Thread, ThreadOverTheLimitRaises)
{
    EXPECT_EQ(6, ResultInChild([] {
                  // The superuser has no such limit.
                  if (geteuid() == 0 && setuid(65534) != 0)
                      return 1;
                  const rlimit none = {0, 0};
                  if (setrlimit(RLIMIT_NPROC, &none) != 0)
                      return 2;
                  Opened thread(Nothing, nullptr);
                  const Err err = Raised([&] { thread.Start(ThreadBase::Normal, Stack); });
                  return err.data == 0 && !thread.Started() ? err.code : 3;
              }));
}

TEST(Thread, FunctionsExceptionEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "fast"); // without starting the program anew, for emulators
    EXPECT_DEATH(
        {
            Opened thread([](void*) -> void* { throw std::runtime_error("not caught"); }, nullptr);
            thread.Start(ThreadBase::Normal, Stack);
            thread.StopWait();
        },
        "not caught");
}

TEST(Thread, ChangePriorityWithoutTheRightRaisesTheResult)
{
    for (const int priority : {0, 1, 7})
        EXPECT_EQ(6, ResultInChild([priority] {
                      if (geteuid() == 0 && setuid(65534) != 0)
                          return 1;
                      const rlimit none = {0, 0};
                      if (setrlimit(RLIMIT_RTPRIO, &none) != 0)
                          return 2;
                      const Err err = Raised([priority] {
                          ThreadBase::ChangePriority(static_cast<ThreadBase::Priority>(priority));
                      });
                      return err.data == -1 ? err.code : 3;
                  }))
            << priority;
}

TEST(Thread, ChangePriorityMovesTheProcessToItsClass)
{
    const struct {
        int priority;
        int policy;
        int number;
    } rows[] = {{0, SCHED_FIFO, 99}, {1, SCHED_RR, 1}, {2, SCHED_OTHER, 0},
                {3, 5, 0},           {4, SCHED_RR, 1}, {-1, SCHED_RR, 1}};
    for (const auto& row : rows) {
        const int result = ResultInChild([&row] {
            sched_param parameter = {};
            parameter.sched_priority = row.number;
            const bool may = ResultInChild([&] {
                                 return sched_setscheduler(0, row.policy, &parameter) == 0 ? 0 : 1;
                             }) == 0;
            const auto change = [&row] {
                ThreadBase::ChangePriority(static_cast<ThreadBase::Priority>(row.priority));
            };
            if (!may)
                return Raised(change).data == -1 ? 0 : 1;
            change();
            if (sched_getscheduler(0) != row.policy)
                return 2;
            sched_getparam(0, &parameter);
            return parameter.sched_priority == row.number ? 0 : 3;
        });
        EXPECT_EQ(0, result) << row.priority;
    }
}
