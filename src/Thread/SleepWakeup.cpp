// SPDX-License-Identifier: MIT
#include <ORVEX/SleepWakeup.h>

#include "Flags.h"

#include <algorithm>
#include <climits>
#include <sched.h>
#include <time.h>
#include <unistd.h>

namespace ORVEX {

using Internal::Exchange;
using Internal::LoadRelaxed;
using Internal::StoreRelaxed;

// Two threads exchange wakeupPosted, where a plain load and store would do for each by itself: with
// those, the processor may let the sleeper look at `active` before its clearing of the flag is seen
// elsewhere, while Inactive still finds the flag set and posts nothing. The sleeper would then
// block on an inactive object. Of two exchanges one is the first: either the waker finds the flag
// cleared and posts, or the sleeper sees whatever the waker wrote before.

SleepWakeup::SleepWakeup() : active(true), wakeupPosted(false) { __Open(); }

SleepWakeup::~SleepWakeup()
{
    Inactive();
    __Close();
}

int SleepWakeup::Forever()
{
    if (!LoadRelaxed(active))
        return 2;
    __SleepForever();
    Exchange(wakeupPosted, false);
    return 1;
}

int SleepWakeup::Sleep(const Clock& duration)
{
    if (!LoadRelaxed(active))
        return 2;
    const bool timedOut = __SleepMilliSecond(duration.GetRoundupSystemClock().Get());
    Exchange(wakeupPosted, false);
    return timedOut ? 0 : 1;
}

void SleepWakeup::Wakeup()
{
    if (!Exchange(wakeupPosted, true))
        __Wakeup();
}

void SleepWakeup::Inactive()
{
    if (!LoadRelaxed(active))
        return;
    StoreRelaxed(active, false);
    Wakeup();
}

int SleepWakeup::Active()
{
    // wakeupPosted stays as it is, on purpose; see the header for what follows from it.
    const int cleared = __SleepClear();
    StoreRelaxed(active, true);
    return cleared;
}

void Sleep(const Clock& duration) { __SleepMilliSecond(duration.GetRoundupSystemClock().Get()); }

void Idle() { sched_yield(); }

// The platform half.

int SleepWakeup::__Open() { return sem_init(&semaphore, 0, 0); }

int SleepWakeup::__Close() { return sem_destroy(&semaphore); }

int SleepWakeup::__SleepForever() { return sem_wait(&semaphore); }

int SleepWakeup::__SleepClear() { return sem_trywait(&semaphore); }

int SleepWakeup::__Wakeup() { return sem_post(&semaphore); }

bool SleepWakeup::__SleepMilliSecond(unsigned long ms)
{
    if (ms == 0) {
        __SleepClear();
        sched_yield();
        return true;
    }
    timespec deadline = {}; // without a clock the time is over at once
    clock_gettime(CLOCK_REALTIME, &deadline);
    const long nanoseconds = deadline.tv_nsec + static_cast<long>(ms % 1000) * 1000000; // < 2^31
    deadline.tv_sec += static_cast<time_t>(ms / 1000) + nanoseconds / 1000000000;
    deadline.tv_nsec = nanoseconds % 1000000000;
    return sem_timedwait(&semaphore, &deadline) == -1;
}

void __SleepMilliSecond(unsigned long ms)
{
    if (ms == 0) {
        sched_yield();
        return;
    }
    if (ms >= 1000)
        // NOLINTNEXTLINE(concurrency-mt-unsafe): Linux does not build it on the alarm signal
        sleep(static_cast<unsigned int>(std::min<unsigned long>(ms / 1000, UINT_MAX)));
    usleep(static_cast<useconds_t>(ms % 1000 * 1000));
}

} // namespace ORVEX
