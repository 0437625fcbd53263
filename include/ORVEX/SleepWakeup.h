// SPDX-License-Identifier: MIT
#ifndef ORVEX_SLEEPWAKEUP_H
#define ORVEX_SLEEPWAKEUP_H

#include <ORVEX/Clock.h>

#include <semaphore.h>

namespace ORVEX {

/// A place where one thread sleeps until others wake it, for a time or for ever.
///
/// One thread sleeps; any number of threads may call Wakeup, Inactive and Active. Wake-ups do not
/// add up: however often Wakeup is called between two returns of the sleeper, it ends one sleep,
/// the current or the next one. A sleeper that has been woken sees everything that its wakers wrote
/// before. While the object is inactive no sleep blocks. The sleeper must have left before the
/// object is destroyed. Nothing raises.
class SleepWakeup {
public:
    SleepWakeup(); ///< Active, with no wake-up pending.
    SleepWakeup(const SleepWakeup&) = delete;
    SleepWakeup& operator=(const SleepWakeup&) = delete;
    ~SleepWakeup(); ///< Makes it inactive, which wakes a sleeper, and releases the semaphore.

    /// Sleeps until woken. A signal handler that interrupts the wait counts as a wake-up.
    /// @return 1 when woken, 2 at once while inactive
    int Forever();

    /// Sleeps for at most `duration`, rounded up to whole ticks of the system's clock
    /// (Clock::GetRoundupSystemClock). The end is a time of the real-time clock, so setting that
    /// clock moves it. 0 ms gives the processor to another thread once, drops a pending wake-up and
    /// returns 0. A signal handler that interrupts the wait counts as its end.
    /// @return 1 when woken, 0 when the time has run out, 2 at once while inactive
    int Sleep(const Clock& duration);

    /// Ends the current or the next sleep, unless a wake-up is pending already.
    void Wakeup();

    /// Lets no sleep block from now on and ends the current one, which returns 1.
    void Inactive();

    /// Lets sleeps block again, and takes one pending wake-up back.
    ///
    /// It takes back the wake-up, not the memory of it: where one was pending, Inactive's own for
    /// example, Wakeup does nothing until a sleep has returned because its time ran out, and a
    /// Forever is ended by nothing but a signal.
    /// @return 0 when a wake-up was pending, otherwise -1
    int Active();

    /// Sleep's wait, in milliseconds and without rounding; it also waits while inactive.
    /// @return false when woken, true when the time has run out, a signal handler has interrupted
    /// the wait, or `ms` is 0
    bool __SleepMilliSecond(unsigned long ms);

protected:
    bool active;       ///< Whether sleeps block.
    bool wakeupPosted; ///< Set by a Wakeup until the sleeper has returned.
    sem_t semaphore;   ///< Counts wake-ups; 1 at most, but for races of time-outs with Wakeup.

private:
    int __Open();
    int __Close();
    int __SleepForever();
    int __SleepClear();
    int __Wakeup();
};

/// Puts the calling thread to sleep for `ms` milliseconds; 0 gives the processor to another thread
/// once. A signal handler that interrupts the sleep shortens it.
void __SleepMilliSecond(unsigned long ms);

/// Puts the calling thread to sleep for `duration`, rounded up to whole ticks of the system's clock
/// (Clock::GetRoundupSystemClock). Nothing wakes it but a signal, which shortens the sleep.
void Sleep(const Clock& duration);

void Idle(); ///< Gives the processor to another thread once.

} // namespace ORVEX

#endif
