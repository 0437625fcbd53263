// SPDX-License-Identifier: MIT
// What the classes ask of the system, call by call, and what they make of each refusal.
#include <ORVEX/Clock.h>
#include <ORVEX/Mutex.h>
#include <ORVEX/SleepWakeup.h>
#include <ORVEX/Thread.h>

#include "Support/Raised.h"
#include "System.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

using ORVEX::Clock;
using ORVEX::Err;
using ORVEX::Mutex;
using ORVEX::SleepWakeup;
using ORVEX::ThreadBase;
using ORVEX::ThreadBaseCalled;
using ORVEX::Time;

namespace {

using Calls = std::vector<std::string>;

std::string With(const char* name, long long number)
{
    return std::string(name) + " " + std::to_string(number);
}

// Puts stand-ins into force while it lives.
class Installed : public System {
public:
    Installed() { theSystem = this; }
    ~Installed() { theSystem = nullptr; }
    Installed(const Installed&) = delete;
    Installed& operator=(const Installed&) = delete;
};

// A system without threads: it writes down what it is asked, and refuses the call that it is told.
class Recorded : public Installed {
public:
    Recorded()
    {
        attrInit = [this](pthread_attr_t* a) {
            attributes = a;
            return Note("init");
        };
        attrDestroy = [this](pthread_attr_t*) { return Note("destroy"); };
        attrGetschedparam = [this](const pthread_attr_t* a, sched_param* p) {
            EXPECT_EQ(attributes, a);
            p->sched_priority = 77;
            return Note("getschedparam");
        };
        attrSetschedpolicy = [this](pthread_attr_t* a, int policy) {
            EXPECT_EQ(attributes, a);
            return Note("setschedpolicy " + std::to_string(policy));
        };
        attrSetschedparam = [this](pthread_attr_t* a, const sched_param* p) {
            EXPECT_EQ(attributes, a);
            return Note(With("setschedparam", p->sched_priority));
        };
        attrSetinheritsched = [this](pthread_attr_t*, int) { return Note("setinheritsched"); };
        attrSetstacksize = [this](pthread_attr_t* a, size_t size) {
            EXPECT_EQ(attributes, a);
            return Note(With("setstacksize", static_cast<long long>(size)));
        };
        create = [this](pthread_t* t, const pthread_attr_t* a, void* (*run)(void*), void* what) {
            EXPECT_EQ(attributes, a);
            EXPECT_EQ(&ORVEX::ThreadExecuteFunc, run);
            called = static_cast<ThreadBaseCalled*>(what);
            std::memset(t, 0x11, sizeof *t);
            return Note("create");
        };
        join = [this](pthread_t t, void** result) {
            pthread_t expected;
            std::memset(&expected, 0x11, sizeof expected);
            EXPECT_EQ(0, std::memcmp(&expected, &t, sizeof t));
            EXPECT_EQ(nullptr, result);
            return Note("join");
        };
        semTrywait = [this](sem_t*) { return Note("trywait"); };
        semPost = [this](sem_t*) { return Note("post"); };
    }

    int Note(const std::string& call)
    {
        calls.push_back(call);
        return calls.size() == failing ? EINVAL : 0;
    }

    Calls calls;
    std::size_t failing = 0; // number of the call that is refused, counted from 1
    const pthread_attr_t* attributes = nullptr;
    ThreadBaseCalled* called = nullptr;
};

class Opened : public ThreadBase {
public:
    Opened() : ThreadBase(ThreadBaseCalled{Nothing, nullptr}) {}
    static void* Nothing(void*) { return nullptr; }
    bool IsActive() const { return active; }
    bool Started() const { return started; }
    const ThreadBaseCalled* Called() const { return &called; }
};

// A place to sleep that shows its flags.
class OpenedPlace : public SleepWakeup {
public:
    bool IsActive() const { return active; }
    bool IsPosted() const { return wakeupPosted; }
};

const Calls startCalls[] = {
    {"trywait", "init", "getschedparam", With("setschedpolicy", SCHED_FIFO), "setschedparam 99",
     "setstacksize 65536", "create"},
    {"trywait", "init", "getschedparam", With("setschedpolicy", SCHED_RR), "setschedparam 1",
     "setstacksize 65536", "create"},
    {"trywait", "init", "getschedparam", With("setschedpolicy", SCHED_OTHER), "setschedparam 0",
     "setstacksize 65536", "create"},
    {"trywait", "init", "getschedparam", "setschedpolicy 5", "setstacksize 65536", "create"},
    {"trywait", "init", "getschedparam", "setstacksize 65536", "create"},
};

} // namespace

TEST(ThreadSystem, StartAsksForItsClassStackAndThreadInOrder)
{
    const int priorities[] = {0, 1, 2, 3, 4};
    for (const int priority : priorities) {
        Opened thread;
        Recorded system;
        thread.Start(static_cast<ThreadBase::Priority>(priority), 65536);
        EXPECT_EQ(startCalls[priority], system.calls) << priority;
        EXPECT_EQ(thread.Called(), system.called);
        EXPECT_TRUE(thread.Started());
        thread.StopWait();
    }
}

TEST(ThreadSystem, EveryRefusedStepRaisesItsOwnLine)
{
    std::set<int> lines;
    std::set<std::string> steps;
    for (int priority = 0; priority <= 4; ++priority) {
        const Calls& all = startCalls[priority];
        for (std::size_t failing = 2; failing <= all.size(); ++failing) { // the first is Active's
            Opened thread;
            Recorded system;
            system.failing = failing;
            int line = 0;
            const std::string printed = PrintedBy([&] {
                try {
                    thread.Start(static_cast<ThreadBase::Priority>(priority), 65536);
                    ADD_FAILURE() << "nothing was raised";
                } catch (const Err& err) {
                    EXPECT_STREQ("src/Thread/Thread", err.file);
                    EXPECT_EQ(Err::ERR_SYSTEM, err.code);
                    EXPECT_EQ(0, err.data);
                    line = err.line;
                }
            });
            EXPECT_EQ("\nORVEX ASSERT[src/Thread/Thread]Line:" + std::to_string(line) +
                          "[code:6 Data:0]\n",
                      printed);
            EXPECT_EQ(Calls(all.begin(), all.begin() + static_cast<long>(failing)), system.calls);
            EXPECT_FALSE(thread.Started());
            thread.Stop(); // nothing to join
            EXPECT_EQ(failing, system.calls.size());
            lines.insert(line);
            steps.insert(all[failing - 1]);
        }
    }
    EXPECT_EQ(11u, steps.size());
    EXPECT_EQ(11u, lines.size()) << "each step has a line of its own";
}

TEST(ThreadSystem, SmallStacksAreRaisedToTheLeast)
{
    const struct {
        unsigned long asked;
        const char* call;
    } rows[] = {{0, "setstacksize 16384"},
                {16383, "setstacksize 16384"},
                {16384, "setstacksize 16384"},
                {16385, "setstacksize 16385"}};
    for (const auto& row : rows) {
        Opened thread;
        Recorded system;
        thread.Start(ThreadBase::Normal, row.asked);
        EXPECT_EQ(row.call, system.calls.at(5));
        thread.StopWait();
    }
}

TEST(ThreadSystem, StopAsksWakesJoinsAndLeavesTheAttributesAlone)
{
    Opened thread;
    Recorded system;
    thread.Start(ThreadBase::Normal, 65536);
    system.calls.clear();
    thread.Stop();
    EXPECT_EQ((Calls{"post", "join"}), system.calls);
    EXPECT_TRUE(thread.StopRequested());
    EXPECT_FALSE(thread.Started());
    thread.Stop();
    thread.StopWait();
    EXPECT_EQ(2u, system.calls.size());
}

TEST(ThreadSystem, StopRequestStandsBeforeTheWakerAndStartedUntilTheJoin)
{
    Opened thread;
    Recorded system;
    thread.Start(ThreadBase::Normal, 65536);
    system.calls.clear();
    system.semPost = [&](sem_t*) {
        EXPECT_TRUE(thread.StopRequested()); // whoever is woken finds it
        EXPECT_FALSE(thread.IsActive());
        return system.Note("post");
    };
    system.join = [&](pthread_t, void**) {
        EXPECT_TRUE(thread.Started());
        return system.Note("join");
    };
    thread.Stop();
    EXPECT_EQ((Calls{"post", "join"}), system.calls);
    EXPECT_FALSE(thread.Started());
}

TEST(ThreadSystem, StartRearmsThenWithdrawsTheRequestThenCreates)
{
    Opened thread;
    Recorded system;
    thread.SetStop();
    system.semTrywait = [&](sem_t*) {
        EXPECT_FALSE(thread.IsActive());
        EXPECT_TRUE(thread.StopRequested());
        return system.Note("trywait");
    };
    system.attrInit = [&](pthread_attr_t* a) {
        EXPECT_TRUE(thread.IsActive());
        EXPECT_FALSE(thread.StopRequested());
        EXPECT_FALSE(thread.Started());
        system.attributes = a;
        return system.Note("init");
    };
    thread.Start(ThreadBase::Normal, 65536);
    EXPECT_EQ("post", system.calls.at(0)); // SetStop's
    EXPECT_EQ("trywait", system.calls.at(1));
    EXPECT_EQ("init", system.calls.at(2));
    EXPECT_TRUE(thread.Started());
    thread.StopWait();
}

TEST(ThreadSystem, SetStopAgainPostsNothing)
{
    Opened thread;
    Recorded system;
    thread.SetStop();
    thread.SetStop();
    EXPECT_EQ(Calls{"post"}, system.calls);
}

TEST(ThreadSystem, PlainJoinOnlyJoins)
{
    Opened thread;
    Recorded system;
    thread.Start(ThreadBase::Normal, 65536);
    system.calls.clear();
    thread.__StopWait();
    EXPECT_EQ(Calls{"join"}, system.calls);
    EXPECT_TRUE(thread.Started()); // it is StopWait that notes the end
    EXPECT_FALSE(thread.StopRequested());
    thread.StopWait();
}

TEST(ThreadSystem, StopWaitOnlyJoins)
{
    Opened thread;
    Recorded system;
    thread.Start(ThreadBase::Normal, 65536);
    system.calls.clear();
    thread.StopWait();
    EXPECT_EQ((Calls{"join"}), system.calls);
    EXPECT_FALSE(thread.StopRequested());
}

TEST(ThreadSystem, StartOfARunningThreadStopsJoinsRearmsAndStarts)
{
    Opened thread;
    Recorded system;
    thread.Start(ThreadBase::Normal, 65536);
    system.calls.clear();
    thread.Start(ThreadBase::Normal, 65536);
    Calls expected = {"post", "join"};
    expected.insert(expected.end(), startCalls[2].begin(), startCalls[2].end());
    EXPECT_EQ(expected, system.calls);
    EXPECT_FALSE(thread.StopRequested());
    EXPECT_TRUE(thread.Started());
    thread.StopWait();
}

TEST(ThreadSystem, FailedRestartLeavesNoThread)
{
    Opened thread;
    Recorded system;
    thread.Start(ThreadBase::Normal, 65536);
    system.calls.clear();
    system.failing = 2 + startCalls[2].size();
    Raised([&] { thread.Start(ThreadBase::Normal, 65536); });
    EXPECT_FALSE(thread.Started());
    EXPECT_FALSE(thread.StopRequested());
    system.calls.clear();
    thread.Stop();
    EXPECT_EQ(Calls{}, system.calls);
}

TEST(ThreadSystem, EveryStartedThreadIsJoinedOnce)
{
    long created = 0;
    long joined = 0;
    Opened thread;
    Recorded system;
    system.create = [&](pthread_t* t, const pthread_attr_t*, void* (*)(void*), void*) {
        std::memset(t, 0x11, sizeof *t);
        ++created;
        EXPECT_EQ(created, joined + 1);
        return 0;
    };
    system.join = [&](pthread_t, void**) {
        ++joined;
        EXPECT_EQ(created, joined);
        return 0;
    };
    for (int i = 0; i < 1000; ++i) {
        thread.Start(ThreadBase::Normal, 0);
        if (i % 3 == 0)
            thread.Stop();
        else if (i % 3 == 1)
            thread.StopWait();
    }
    thread.Stop();
    EXPECT_EQ(1000, created);
    EXPECT_EQ(1000, joined);
}

TEST(ThreadSystem, FirstObjectAsksForPriorityTwoInTheCallersClass)
{
    for (const int refused : {0, 1}) {
        Calls calls;
        ThreadBase::InitFlg = false;
        Installed system;
        system.getschedparam = [&](pthread_t t, int* policy, sched_param* p) {
            EXPECT_TRUE(pthread_equal(pthread_self(), t));
            *policy = SCHED_RR;
            p->sched_priority = 50;
            calls.push_back("get");
            return 0;
        };
        system.setschedparam = [&](pthread_t t, int policy, const sched_param* p) {
            EXPECT_TRUE(pthread_equal(pthread_self(), t));
            EXPECT_EQ(SCHED_RR, policy);
            calls.push_back(With("set", p->sched_priority));
            EXPECT_FALSE(ThreadBase::InitFlg);
            return refused ? EPERM : 0;
        };
        const Opened first;
        EXPECT_TRUE(ThreadBase::InitFlg);
        const Opened second;
        EXPECT_EQ((Calls{"get", "set 2"}), calls);
    }
}

TEST(ThreadSystem, ChangePriorityMovesTheWholeProcess)
{
    const struct {
        int priority;
        int policy;
        int number;
    } rows[] = {{0, SCHED_FIFO, 99}, {1, SCHED_RR, 1}, {2, SCHED_OTHER, 0},
                {3, 5, 0},           {4, SCHED_RR, 1}, {-1, SCHED_RR, 1}};
    for (const auto& row : rows)
        for (const int result : {0, 1, -1, -5}) {
            int calls = 0;
            Installed system;
            system.setscheduler = [&](pid_t process, int policy, const sched_param* p) {
                EXPECT_EQ(getpid(), process);
                EXPECT_EQ(row.policy, policy);
                EXPECT_EQ(row.number, p->sched_priority);
                ++calls;
                return result;
            };
            const auto change = [&row] {
                ThreadBase::ChangePriority(static_cast<ThreadBase::Priority>(row.priority));
            };
            if (result >= 0) {
                EXPECT_EQ("", PrintedBy(change));
            } else {
                int line = 0;
                const std::string printed = PrintedBy([&] {
                    try {
                        change();
                    } catch (const Err& err) {
                        EXPECT_STREQ("src/Thread/Thread", err.file);
                        EXPECT_EQ(Err::ERR_SYSTEM, err.code);
                        EXPECT_EQ(result, err.data);
                        line = err.line;
                    }
                });
                EXPECT_EQ("\nORVEX ASSERT[src/Thread/Thread]Line:" + std::to_string(line) +
                              "[code:6 Data:" + std::to_string(result) + "]\n",
                          printed);
            }
            EXPECT_EQ(1, calls);
        }
}

TEST(MutexSystem, OpensAtOneAndClosesItsSemaphore)
{
    Calls calls;
    Installed system;
    sem_t* opened = nullptr;
    system.semInit = [&](sem_t* s, int shared, unsigned count) {
        opened = s;
        calls.push_back(With("init", shared) + With(",", count));
        return 0;
    };
    system.semDestroy = [&](sem_t* s) {
        EXPECT_EQ(opened, s);
        calls.push_back("destroy");
        return 0;
    };
    {
        const Mutex mutex;
        EXPECT_EQ(static_cast<const void*>(&mutex), opened);
    }
    EXPECT_EQ((Calls{"init 0, 1", "destroy"}), calls);
}

TEST(MutexSystem, LockIsAskedForAgainAfterEachSignal)
{
    Mutex mutex;
    Installed system;
    int waits = 0;
    system.semWait = [&](sem_t*) {
        errno = EINTR;
        return ++waits < 5 ? -1 : 0;
    };
    EXPECT_EQ(0, mutex.Lock());
    EXPECT_EQ(5, waits);
    waits = 0;
    EXPECT_EQ(0, mutex.ReadLock());
    EXPECT_EQ(5, waits);
}

TEST(MutexSystem, OtherFailuresAreReturned)
{
    Mutex mutex;
    Installed system;
    int waits = 0;
    system.semWait = [&](sem_t*) {
        errno = EINVAL;
        ++waits;
        return -1;
    };
    system.semPost = [](sem_t*) { return -1; };
    EXPECT_EQ(-1, mutex.Lock());
    EXPECT_EQ(-1, mutex.ReadLock());
    EXPECT_EQ(2, waits);
    EXPECT_EQ(-1, mutex.Unlock());
    EXPECT_EQ(-1, mutex.ReadUnlock());
}

TEST(SleepWakeupSystem, OpensAtZeroAndClosesAfterAWakeup)
{
    Calls calls;
    Installed system;
    system.semInit = [&](sem_t*, int shared, unsigned count) {
        calls.push_back(With("init", shared) + With(",", count));
        return 0;
    };
    system.semPost = [&](sem_t*) {
        calls.push_back("post");
        return 0;
    };
    system.semDestroy = [&](sem_t*) {
        calls.push_back("destroy");
        return 0;
    };
    {
        const SleepWakeup place;
    }
    EXPECT_EQ((Calls{"init 0, 0", "post", "destroy"}), calls);
}

TEST(SleepWakeupSystem, DeadlineIsTheRealTimePlusTheRoundedDuration)
{
    const struct {
        unsigned long ms;
        long nanoseconds;
        long long endSeconds;
        long endNanoseconds;
    } rows[] = {{25, 0, 1000, 30000000},
                {30, 0, 1000, 30000000},
                {1, 5, 1000, 10000005},
                {10, 989999999, 1000, 999999999},
                {10, 990000000, 1001, 0},
                {10, 999999999, 1001, 9999999},
                {990, 999999999, 1001, 989999999},
                {999, 999999999, 1001, 999999999}, // 1000 ms after rounding
                {1000, 999999999, 1001, 999999999},
                {59990, 999999999, 1060, 989999999},
                {4294967280, 0, 4295967, 280000000}};
    SleepWakeup place;
    const std::uint32_t oldTick = Clock::MinimumClock;
    Clock::MinimumClock = 10;
    for (const auto& row : rows)
        for (const int result : {0, -1}) {
            timespec asked = {};
            Installed system;
            system.clockGettime = [&](clockid_t clock, timespec* now) {
                EXPECT_EQ(CLOCK_REALTIME, clock);
                now->tv_sec = 1000;
                now->tv_nsec = row.nanoseconds;
                return 0;
            };
            system.semTimedwait = [&](sem_t*, const timespec* end) {
                asked = *end;
                errno = EINTR; // counts as a time-out like everything else
                return result;
            };
            EXPECT_EQ(result == 0 ? 1 : 0, place.Sleep(Clock(static_cast<std::uint32_t>(row.ms))));
            EXPECT_EQ(row.endSeconds, asked.tv_sec) << row.ms;
            EXPECT_EQ(row.endNanoseconds, asked.tv_nsec) << row.ms;
        }
    Clock::MinimumClock = oldTick;
}

TEST(SleepWakeupSystem, WaitInMilliSecondsIsNotRounded)
{
    SleepWakeup place;
    Installed system;
    timespec asked = {};
    system.clockGettime = [](clockid_t, timespec* now) {
        *now = timespec{7, 999000000};
        return 0;
    };
    system.semTimedwait = [&asked](sem_t*, const timespec* end) {
        asked = *end;
        return 0;
    };
    EXPECT_FALSE(place.__SleepMilliSecond(1));
    EXPECT_EQ(8, asked.tv_sec);
    EXPECT_EQ(0, asked.tv_nsec);
}

TEST(SleepWakeupSystem, ForeverWaitsOnceWhateverComesOfIt)
{
    SleepWakeup place;
    Installed system;
    int waits = 0;
    system.semWait = [&waits](sem_t*) {
        errno = EINTR;
        ++waits;
        return -1;
    };
    EXPECT_EQ(1, place.Forever());
    EXPECT_EQ(1, waits);
}

TEST(SleepWakeupSystem, FlagsChangeBeforeThePost)
{
    OpenedPlace place;
    Installed system;
    bool expectedActive = true;
    int posts = 0;
    system.semPost = [&](sem_t*) {
        EXPECT_TRUE(place.IsPosted());
        EXPECT_EQ(expectedActive, place.IsActive());
        ++posts;
        return 0;
    };
    place.Wakeup();
    EXPECT_EQ(1, posts);
    system.semWait = [](sem_t*) { return 0; };
    EXPECT_EQ(1, place.Forever());
    expectedActive = false;
    place.Inactive();
    EXPECT_EQ(2, posts);
}

TEST(SleepWakeupSystem, FlagOfTheWakeupFallsBehindTheWait)
{
    OpenedPlace place;
    Installed system;
    system.semPost = [](sem_t*) { return 0; };
    system.semWait = [&place](sem_t*) {
        EXPECT_TRUE(place.IsPosted());
        return 0;
    };
    place.Wakeup();
    EXPECT_EQ(1, place.Forever());
    EXPECT_FALSE(place.IsPosted());
    for (const int result : {0, -1}) {
        system.semTimedwait = [&place, result](sem_t*, const timespec*) {
            EXPECT_TRUE(place.IsPosted());
            return result;
        };
        place.Wakeup();
        EXPECT_EQ(result == 0 ? 1 : 0, place.Sleep(Clock(10)));
        EXPECT_FALSE(place.IsPosted());
    }
}

TEST(SleepWakeupSystem, ActiveClearsBeforeItAllowsSleepsAndReturnsWhatTheClearingDid)
{
    for (const int result : {0, -1, 3}) {
        OpenedPlace place;
        Installed system;
        system.semPost = [](sem_t*) { return 0; };
        place.Inactive();
        int clearings = 0;
        system.semTrywait = [&](sem_t*) {
            EXPECT_FALSE(place.IsActive());
            ++clearings;
            return result;
        };
        EXPECT_EQ(result, place.Active());
        EXPECT_TRUE(place.IsActive());
        EXPECT_TRUE(place.IsPosted());
        EXPECT_EQ(1, clearings);
    }
}

TEST(SleepWakeupSystem, InactivePlaceAsksTheSystemForNothing)
{
    OpenedPlace place;
    place.Inactive();
    Installed system;
    const auto fail = [](sem_t*) {
        ADD_FAILURE() << "an inactive place touches its semaphore";
        return 0;
    };
    system.semWait = fail;
    system.semTrywait = fail;
    system.semPost = fail;
    system.semTimedwait = [&fail](sem_t* s, const timespec*) { return fail(s); };
    system.yield = [&fail] { return fail(nullptr); };
    EXPECT_EQ(2, place.Forever());
    EXPECT_EQ(2, place.Sleep(Clock(1000)));
    EXPECT_EQ(2, place.Sleep(Clock(0)));
    place.Inactive();
    EXPECT_TRUE(place.IsPosted());
}

TEST(SleepWakeupSystem, SleepOfZeroClearsThenYields)
{
    SleepWakeup place;
    Installed system;
    Calls calls;
    system.semTrywait = [&calls](sem_t*) {
        calls.push_back("trywait");
        return 0;
    };
    system.yield = [&calls] {
        calls.push_back("yield");
        return 0;
    };
    system.semTimedwait = [](sem_t*, const timespec*) {
        ADD_FAILURE() << "nothing is waited for";
        return 0;
    };
    EXPECT_EQ(0, place.Sleep(Clock(0)));
    EXPECT_EQ((Calls{"trywait", "yield"}), calls);
}

TEST(SleepSystem, WholeSecondsAreSleptFirst)
{
    Calls calls;
    Installed system;
    system.sleep = [&calls](unsigned seconds) {
        calls.push_back(With("sleep", seconds));
        return 0u;
    };
    system.usleep = [&calls](useconds_t us) {
        calls.push_back(With("usleep", us));
        return 0;
    };
    system.yield = [&calls] {
        calls.push_back("yield");
        return 0;
    };
    const auto of = [&calls](unsigned long ms) {
        calls.clear();
        ORVEX::__SleepMilliSecond(ms);
        return calls;
    };
    EXPECT_EQ((Calls{"yield"}), of(0));
    EXPECT_EQ((Calls{"usleep 1000"}), of(1));
    EXPECT_EQ((Calls{"usleep 999000"}), of(999));
    EXPECT_EQ((Calls{"sleep 1", "usleep 0"}), of(1000));
    EXPECT_EQ((Calls{"sleep 2", "usleep 500000"}), of(2500));
    EXPECT_EQ((Calls{"sleep 4294967", "usleep 295000"}), of(4294967295));
    if (ULONG_MAX > UINT32_MAX) { // a number that is cut would be a short sleep
        EXPECT_EQ(With("sleep", UINT_MAX), of(ULONG_MAX).at(0));
    }

    const std::uint32_t oldTick = Clock::MinimumClock;
    Clock::MinimumClock = 10;
    calls.clear();
    ORVEX::Sleep(Clock(2491));
    ORVEX::Sleep(Clock(0));
    EXPECT_EQ((Calls{"sleep 2", "usleep 500000", "yield"}), calls);
    Clock::MinimumClock = oldTick;

    calls.clear();
    ORVEX::Idle();
    EXPECT_EQ((Calls{"yield"}), calls);
}

TEST(ClockSystem, NowCutsToMillisecondsAndWraps)
{
    const struct {
        long long seconds;
        long nanoseconds;
        std::uint32_t now;
    } rows[] = {{0, 0, 0},
                {0, 999999, 0},
                {0, 1000000, 1},
                {1, 999999999, 1999},
                {4294967, 295999999, 4294967295u},
                {4294967, 296000000, 0},
                {4294968, 0, 704},
                {2147483647, 999999999, 4294967295u}};
    for (const auto& row : rows) {
        Installed system;
        system.clockGettime = [&row](clockid_t clock, timespec* now) {
            EXPECT_EQ(CLOCK_MONOTONIC, clock);
            now->tv_sec = static_cast<time_t>(row.seconds);
            now->tv_nsec = row.nanoseconds;
            return 0;
        };
        EXPECT_EQ(row.now, Clock::Now().Get()) << row.seconds << " " << row.nanoseconds;
    }
}

TEST(ClockSystem, TickComesFromTheSystemsRate)
{
    const struct {
        long perSecond;
        std::uint32_t tick;
    } rows[] = {{100, 10}, {250, 4},  {300, 3}, {1000, 1}, {1001, 1},
                {1024, 1}, {1, 1000}, {60, 16}, {0, 1},    {-1, 1}};
    const std::uint32_t oldTick = Clock::MinimumClock;
    for (const auto& row : rows) {
        int asked = 0;
        Clock::MinimumClock = 0;
        {
            Installed system;
            system.sysconf = [&](int name) {
                EXPECT_EQ(_SC_CLK_TCK, name);
                ++asked;
                return row.perSecond;
            };
            EXPECT_EQ(row.tick, Clock(1).GetRoundupSystemClock().Get()) << row.perSecond;
            EXPECT_EQ(row.tick, Clock(1).GetRoundupSystemClock().Get()) << row.perSecond;
        }
        EXPECT_EQ(row.tick, Clock::MinimumClock);
        EXPECT_EQ(1, asked) << "the tick is asked for once";
    }
    Clock::MinimumClock = oldTick;
}

TEST(TimeSystem, UTCDropsTheFraction)
{
    std::vector<long long> seconds = {0, -1, 1794813129, INT32_MAX, INT32_MIN};
    if (sizeof(time_t) == 8)
        seconds.push_back(0x123456789All);
    for (const long long second : seconds) {
        Installed system;
        system.gettimeofday = [second](timeval* now) {
            now->tv_sec = static_cast<time_t>(second);
            now->tv_usec = 999999;
            return 0;
        };
        EXPECT_EQ(second, Time::UTC().Get());
    }
}
