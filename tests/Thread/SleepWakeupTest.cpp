// SPDX-License-Identifier: MIT
#include <ORVEX/SleepWakeup.h>

#include "Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <type_traits>
#include <vector>

using ORVEX::Clock;
using ORVEX::SleepWakeup;

static_assert(std::is_standard_layout<SleepWakeup>::value, "the fields as they are listed");
static_assert(!std::is_copy_constructible<SleepWakeup>::value, "threads wait on its address");
static_assert(!std::is_copy_assignable<SleepWakeup>::value, "threads wait on its address");

namespace {

// Shows the fields, which only derived classes see.
struct Opened : SleepWakeup {
    bool IsActive() const { return active; }
    bool IsPosted() const { return wakeupPosted; }
    int Count()
    {
        int count = -1;
        sem_getvalue(&semaphore, &count);
        return count;
    }
    void Post() { sem_post(&semaphore); }

    static void CheckOrder()
    {
        static_assert(offsetof(Opened, active) == 0, "active comes first");
        static_assert(offsetof(Opened, wakeupPosted) == 1, "wakeupPosted follows active");
        static_assert(offsetof(Opened, semaphore) >= 2, "the semaphore comes last");
        static_assert(sizeof(Opened) == offsetof(Opened, semaphore) + sizeof(sem_t), "and no more");
        static_assert(std::is_same<decltype(active), bool>::value, "a plain field");
        static_assert(std::is_same<decltype(wakeupPosted), bool>::value, "a plain field");
    }
};

// Long enough that nobody mistakes its end for a wake-up, short enough that a test that fails ends.
const Clock Minute(60000);

} // namespace

TEST(SleepWakeup, StartsActiveWithNothingPosted)
{
    Opened place;
    EXPECT_TRUE(place.IsActive());
    EXPECT_FALSE(place.IsPosted());
    EXPECT_EQ(0, place.Count());
}

TEST(SleepWakeup, WakeupsCollapseIntoOne)
{
    Opened place;
    place.Wakeup();
    place.Wakeup();
    place.Wakeup();
    EXPECT_EQ(1, place.Count());
    EXPECT_TRUE(place.IsPosted());
    EXPECT_EQ(1, place.Sleep(Clock(1000)));
    EXPECT_FALSE(place.IsPosted());
    EXPECT_EQ(0, place.Sleep(Clock(10)));
    EXPECT_FALSE(place.IsPosted());
}

TEST(SleepWakeup, ForeverTakesAPendingWakeup)
{
    Opened place;
    place.Wakeup();
    EXPECT_EQ(1, place.Forever());
    EXPECT_FALSE(place.IsPosted());
    EXPECT_EQ(0, place.Count());
    place.Wakeup();
    EXPECT_EQ(1, place.Forever());
}

TEST(SleepWakeup, SleepOfZeroDropsAWakeupAndReportsATimeout)
{
    Opened place;
    EXPECT_EQ(0, place.Sleep(Clock(0)));
    place.Wakeup();
    EXPECT_EQ(0, place.Sleep(Clock(0)));
    EXPECT_EQ(0, place.Count());
    EXPECT_FALSE(place.IsPosted());
    place.Wakeup();
    EXPECT_EQ(1, place.Count());
}

TEST(SleepWakeup, SleepThatRunsOutReturnsZero)
{
    SleepWakeup place;
    for (const std::uint32_t ms : {1u, 9u, 10u, 11u, 25u})
        EXPECT_EQ(0, place.Sleep(Clock(ms)));
}

TEST(SleepWakeup, SleepLastsAtLeastItsTime)
{
    SleepWakeup place;
    timespec before;
    timespec after;
    clock_gettime(CLOCK_REALTIME, &before);
    EXPECT_EQ(0, place.Sleep(Clock(25)));
    clock_gettime(CLOCK_REALTIME, &after);
    EXPECT_GE((after.tv_sec - before.tv_sec) * 1000000000ll + after.tv_nsec - before.tv_nsec,
              25000000);
}

TEST(SleepWakeup, MilliSecondWaitTellsAWakeupFromATimeout)
{
    Opened place;
    EXPECT_TRUE(place.__SleepMilliSecond(1));
    place.Wakeup();
    EXPECT_FALSE(place.__SleepMilliSecond(60000));
    EXPECT_TRUE(place.IsPosted()); // it is Sleep that clears the flag
    place.Post();
    EXPECT_TRUE(place.__SleepMilliSecond(0));
    EXPECT_EQ(0, place.Count());
}

TEST(SleepWakeup, WhileInactiveNoSleepBlocks)
{
    Opened place;
    place.Inactive();
    EXPECT_FALSE(place.IsActive());
    EXPECT_TRUE(place.IsPosted());
    EXPECT_EQ(1, place.Count());
    EXPECT_EQ(2, place.Forever());
    EXPECT_EQ(2, place.Sleep(Minute));
    EXPECT_EQ(2, place.Sleep(Clock(0)));
    EXPECT_EQ(1, place.Count()); // none of them touched the wake-up
    place.Inactive();
    EXPECT_EQ(1, place.Count());
}

TEST(SleepWakeup, InactiveAgainPostsNothing)
{
    Opened place;
    place.Inactive();
    EXPECT_FALSE(place.__SleepMilliSecond(1)); // takes the wake-up, leaves the flag
    place.Inactive();
    EXPECT_EQ(0, place.Count());
}

TEST(SleepWakeup, ActiveReturnsWhetherItTookAWakeupBack)
{
    Opened place;
    EXPECT_EQ(-1, place.Active());
    place.Wakeup();
    EXPECT_EQ(0, place.Active());
    EXPECT_EQ(-1, place.Active());
    place.Post();
    place.Post();
    EXPECT_EQ(0, place.Active()); // at most one
    EXPECT_EQ(1, place.Count());
}

TEST(SleepWakeup, ActiveForgetsThePostButNotTheFlag)
{
    Opened place;
    place.Inactive();
    EXPECT_EQ(0, place.Active());
    EXPECT_TRUE(place.IsActive());
    EXPECT_TRUE(place.IsPosted());
    place.Wakeup();
    EXPECT_EQ(0, place.Count()); // the wake-up was ignored
    EXPECT_EQ(0, place.Sleep(Clock(10)));
    EXPECT_FALSE(place.IsPosted()); // the sleep that ran out repaired it
    place.Wakeup();
    EXPECT_EQ(1, place.Sleep(Minute));
}

TEST(SleepWakeup, AfterActiveForeverBlocksUntilAnotherPost)
{
    Opened place;
    place.Inactive();
    EXPECT_EQ(2, place.Forever());
    place.Active();
    std::atomic<int> result{0};
    std::thread sleeper([&] { result = place.Forever(); });
    place.Wakeup(); // ignored, since the flag is still set
    usleep(2000);
    EXPECT_EQ(0, result);
    place.Post();
    sleeper.join();
    EXPECT_EQ(1, result);
}

TEST(SleepWakeup, InactiveReleasesTheSleeperWithOne)
{
    for (int round = 0; round < 200; ++round) {
        SleepWakeup place;
        int first = 0;
        int then = 0;
        std::atomic<pid_t> goesToSleep{0};
        std::thread sleeper([&] {
            goesToSleep = CurrentThread();
            first = round % 2 ? place.Forever() : place.Sleep(Minute);
            then = place.Forever();
        });
        while (goesToSleep == 0)
            std::this_thread::yield();
        if (round % 20 == 0)
            WaitUntilBlocked(goesToSleep);
        place.Inactive();
        sleeper.join();
        EXPECT_EQ(2, then);
        if (round % 20 == 0)
            EXPECT_EQ(1, first);
        else
            EXPECT_TRUE(first == 1 || first == 2) << first;
    }
}

TEST(SleepWakeup, SignalEndsForeverAsAWakeup)
{
    const Interruptible interruptible;
    Opened place;
    std::atomic<int> result{0};
    std::thread sleeper([&] { result = place.Forever(); });
    while (result == 0) {
        pthread_kill(sleeper.native_handle(), SIGUSR1);
        usleep(100);
    }
    sleeper.join();
    EXPECT_EQ(1, result);
    EXPECT_FALSE(place.IsPosted());
}

TEST(SleepWakeup, SignalEndsSleepAsATimeout)
{
    const Interruptible interruptible;
    Opened place;
    std::atomic<int> result{-1};
    std::thread sleeper([&] { result = place.Sleep(Clock(3600000)); });
    while (result == -1) {
        pthread_kill(sleeper.native_handle(), SIGUSR1);
        usleep(100);
    }
    sleeper.join();
    EXPECT_EQ(0, result);
}

// However the three threads meet, the sleeper learns of the end.
TEST(SleepWakeup, NoInactiveIsLostAmongWakeups)
{
    for (int round = 0; round < 3000; ++round) {
        SleepWakeup place;
        std::atomic<bool> over{false};
        std::thread sleeper([&] {
            int result;
            do
                result = round % 2 ? place.Forever() : place.Sleep(Clock(3600000));
            while (result == 1);
            EXPECT_EQ(2, result);
            over = true;
        });
        std::thread waker([&] {
            while (!over)
                place.Wakeup();
        });
        for (int i = round % 50; i > 0; --i)
            place.Wakeup();
        place.Inactive();
        sleeper.join();
        waker.join();
    }
}

// The sleeper clears the flag of the wake-up and looks whether it is active still, while the other
// thread makes it inactive and looks at the flag: one of the two sees what the other did.
TEST(SleepWakeup, NoInactiveIsLostRightBehindAWakeup)
{
    const std::size_t rounds = 100000;
    std::vector<SleepWakeup> places(rounds);
    std::atomic<std::size_t> done{0};
    std::thread sleeper([&] {
        for (SleepWakeup& place : places) {
            while (place.Forever() == 1) {
            }
            ++done;
        }
    });
    for (std::size_t round = 0; round < rounds; ++round) {
        places[round].Wakeup();
        for (std::atomic<std::size_t> spin{round % 256}; spin != 0; --spin) {
        }
        places[round].Inactive();
        while (done == round)
            std::this_thread::yield();
    }
    sleeper.join();
    EXPECT_EQ(rounds, done);
}

TEST(SleepWakeup, NoWakeupIsLostAndEverythingBeforeItIsSeen)
{
    const long last = 200000;
    SleepWakeup there;
    SleepWakeup back;
    long plain = 0; // handed to and fro by wake-ups alone
    std::thread other([&] {
        for (long i = 1; i < last; i += 2) {
            while (there.Forever() != 1) {
            }
            EXPECT_EQ(i, plain);
            ++plain;
            back.Wakeup();
        }
    });
    for (long i = 0; i < last; i += 2) {
        EXPECT_EQ(i, plain);
        ++plain;
        there.Wakeup();
        EXPECT_EQ(1, back.Forever());
    }
    other.join();
    EXPECT_EQ(last, plain);
}

TEST(SleepWakeup, ManyWakersNeverLeaveWorkUndone)
{
    const int perThread = 30000;
    SleepWakeup place;
    std::atomic<int> todo{0};
    int done = 0;
    std::thread worker([&] {
        while (done < 2 * perThread) {
            done += todo.exchange(0, std::memory_order_relaxed);
            if (done < 2 * perThread)
                place.Forever();
        }
    });
    const auto wake = [&] {
        for (int i = 0; i < perThread; ++i) {
            todo.fetch_add(1, std::memory_order_relaxed);
            place.Wakeup();
        }
    };
    std::thread second(wake);
    wake();
    second.join();
    worker.join();
    EXPECT_EQ(2 * perThread, done);
}

TEST(Sleep, FreeFunctionsReturnInTheEnd)
{
    ORVEX::Idle();
    ORVEX::Sleep(Clock(0));
    ORVEX::Sleep(Clock(1));
    ORVEX::__SleepMilliSecond(0);
    const std::uint32_t before = Clock::Now().Get();
    ORVEX::__SleepMilliSecond(1005);
    EXPECT_GE(Clock::Now().Get() - before, 1004u); // both stamps are cut to milliseconds
}
