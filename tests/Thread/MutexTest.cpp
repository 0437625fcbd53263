// SPDX-License-Identifier: MIT
#include <ORVEX/Mutex.h>

#include "Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <semaphore.h>
#include <thread>
#include <type_traits>
#include <vector>

using ORVEX::Mutex;

static_assert(sizeof(Mutex) == sizeof(sem_t), "one semaphore, nothing else");
static_assert(std::is_standard_layout<Mutex>::value, "one semaphore, nothing else");
static_assert(!std::is_copy_constructible<Mutex>::value, "a lock stays where it is");
static_assert(!std::is_copy_assignable<Mutex>::value, "a lock stays where it is");

namespace {

// The semaphore is all that the lock is.
int Count(Mutex& mutex)
{
    int count = -1;
    sem_getvalue(reinterpret_cast<sem_t*>(&mutex), &count);
    return count;
}

void Pause() { usleep(2000); } // gives another thread the chance to do what it must not do

} // namespace

TEST(Mutex, IsASemaphoreOfCountOne)
{
    Mutex mutex;
    EXPECT_EQ(1, Count(mutex));
    EXPECT_EQ(0, mutex.Lock());
    EXPECT_EQ(0, Count(mutex));
    EXPECT_EQ(0, mutex.Unlock());
    EXPECT_EQ(1, Count(mutex));
}

TEST(Mutex, ReadLockIsTheSameLock)
{
    Mutex mutex;
    const Mutex& seenAsConst = mutex;
    EXPECT_EQ(0, seenAsConst.ReadLock());
    EXPECT_EQ(0, Count(mutex));
    EXPECT_EQ(0, mutex.Unlock());
    EXPECT_EQ(0, mutex.Lock());
    EXPECT_EQ(0, seenAsConst.ReadUnlock());
    EXPECT_EQ(1, Count(mutex));
}

TEST(Mutex, HasNoOwnerSoAnyThreadMayUnlock)
{
    Mutex mutex;
    mutex.Lock();
    std::thread([&mutex] { EXPECT_EQ(0, mutex.Unlock()); }).join();
    EXPECT_EQ(0, mutex.Lock());
    mutex.Unlock();
}

TEST(Mutex, UnlockingTwiceLetsTwoIn)
{
    Mutex mutex;
    mutex.Unlock();
    EXPECT_EQ(0, mutex.Lock());
    EXPECT_EQ(0, mutex.Lock());
    EXPECT_EQ(0, Count(mutex));
    mutex.Unlock();
}

TEST(Mutex, IsNotRecursive)
{
    Mutex mutex;
    std::atomic<bool> lockedTwice{false};
    std::atomic<bool> lockedOnce{false};
    std::thread thread([&] {
        mutex.Lock();
        lockedOnce = true;
        mutex.Lock();
        lockedTwice = true;
        mutex.Unlock();
    });
    while (!lockedOnce)
        std::this_thread::yield();
    Pause();
    EXPECT_FALSE(lockedTwice);
    mutex.Unlock();
    thread.join();
    EXPECT_TRUE(lockedTwice);
}

TEST(Mutex, ReadersKeepEachOtherOut)
{
    const Mutex mutex;
    std::atomic<bool> inside{false};
    mutex.ReadLock();
    std::thread reader([&] {
        mutex.ReadLock();
        inside = true;
        mutex.ReadUnlock();
    });
    Pause();
    EXPECT_FALSE(inside);
    mutex.ReadUnlock();
    reader.join();
    EXPECT_TRUE(inside);
}

TEST(Mutex, ThreadsTakeTurns)
{
    Mutex mutex;
    long plain = 0; // no update gets lost, and the thread sanitizer sees no race
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&mutex, &plain, i] {
            for (int n = 0; n < 20000; ++n) {
                if (i % 2)
                    mutex.Lock();
                else
                    mutex.ReadLock();
                ++plain;
                if (i % 2)
                    mutex.Unlock();
                else
                    mutex.ReadUnlock();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(80000, plain);
}

TEST(Mutex, SignalsDoNotLetAnybodyIn)
{
    const Interruptible interruptible;
    Mutex mutex;
    std::atomic<bool> inside{false};
    std::atomic<int> result{-1};
    mutex.Lock();
    std::thread thread([&] {
        result = mutex.Lock();
        inside = true;
        mutex.Unlock();
    });
    for (int i = 0; i < 2000; ++i) {
        pthread_kill(thread.native_handle(), SIGUSR1);
        if (i % 100 == 0)
            Pause();
        ASSERT_FALSE(inside);
    }
    mutex.Unlock();
    thread.join();
    EXPECT_TRUE(inside);
    EXPECT_EQ(0, result);
}
