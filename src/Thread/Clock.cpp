// SPDX-License-Identifier: MIT
#include <ORVEX/Clock.h>

#include "Flags.h"

#include <sys/time.h>
#include <time.h>
#include <unistd.h>

namespace ORVEX {

using Internal::LoadRelaxed;
using Internal::StoreRelaxed;

namespace {

// In milliseconds. A system with more than 1000 ticks a second, or with none that it knows of,
// gets the clock's own unit.
std::uint32_t SystemTick()
{
    const long ticks = sysconf(_SC_CLK_TCK);
    return ticks > 0 && ticks <= 1000 ? static_cast<std::uint32_t>(1000 / ticks) : 1;
}

} // namespace

std::uint32_t Clock::MinimumClock = 0;

Clock Clock::Now()
{
    timespec now = {}; // what counts when there is no such clock
    clock_gettime(CLOCK_MONOTONIC, &now);
    // Wraps in the product and in the sum; the comparison expects it.
    return Clock(static_cast<std::uint32_t>(now.tv_sec) * 1000 +
                 static_cast<std::uint32_t>(now.tv_nsec / 1000000));
}

int Clock::Comp(const Clock& other) const
{
    if (milliseconds == other.milliseconds)
        return 0;
    // Not simply the sign of the difference: half-way around, both differences are 2^31.
    if (milliseconds < other.milliseconds)
        return other.milliseconds - milliseconds >= 0x80000000u ? 1 : -1;
    return milliseconds - other.milliseconds >= 0x80000000u ? -1 : 1;
}

Clock Clock::GetRoundupSystemClock() const
{
    std::uint32_t tick = LoadRelaxed(MinimumClock);
    if (tick == 0) {
        tick = SystemTick();
        StoreRelaxed(MinimumClock, tick);
    }
    const std::uint32_t reached = milliseconds + tick - 1;
    return Clock(reached - reached % tick);
}

Time Time::UTC()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    return Time(now.tv_sec);
}

int Time::Comp(const Time& other) const
{
    const std::uint64_t a = static_cast<std::uint64_t>(seconds);
    const std::uint64_t b = static_cast<std::uint64_t>(other.seconds);
    return (a > b) - (a < b);
}

std::int64_t Time::GetYYYYMMDDhhmmss() const
{
    const time_t low = static_cast<std::int32_t>(seconds);
    tm utc;
    gmtime_r(&low, &utc);
    std::int64_t number = utc.tm_year + 1900;
    number = number * 100 + utc.tm_mon + 1;
    number = number * 100 + utc.tm_mday;
    number = number * 100 + utc.tm_hour;
    number = number * 100 + utc.tm_min;
    return number * 100 + utc.tm_sec;
}

} // namespace ORVEX
