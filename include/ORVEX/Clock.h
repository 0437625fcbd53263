// SPDX-License-Identifier: MIT
#ifndef ORVEX_CLOCK_H
#define ORVEX_CLOCK_H

#include <cstdint>

namespace ORVEX {

/// Milliseconds of the monotonic clock in 32 bits: a time stamp or a duration.
///
/// A time stamp counts from an origin that is not known and starts again from 0 after 2^32 ms,
/// about 49.7 days; stamps that lie less than half of that apart compare in their right order. A
/// plain value; every operation may run in several threads at once, and none raises.
class Clock {
public:
    Clock() = default;                                                         ///< 0 ms.
    explicit Clock(std::uint32_t milliSeconds) : milliseconds(milliSeconds) {} ///< That many ms.

    std::uint32_t Get() const { return milliseconds; } ///< The number of milliseconds.

    static Clock Now(); ///< The monotonic clock's time, cut to whole milliseconds.

    /// Compares two time stamps by the sign of their wrapped difference.
    /// @return -1 when this one is the earlier, 1 when it is the later, 0 when they are equal. At a
    /// distance of exactly 2^31 ms the larger number is taken for the earlier.
    int Comp(const Clock& other) const;

    /// This duration rounded up to whole ticks of the system's clock: with 100 ticks a second 1 and
    /// 10 become 10, 11 becomes 20. 0 stays 0. A duration less than a tick below 2^32 ms wraps
    /// to 0.
    Clock GetRoundupSystemClock() const;

    /// Length of a tick of the system's clock in milliseconds, at least 1. 0 until
    /// GetRoundupSystemClock has first asked for it; threads that do so at once store the same.
    static std::uint32_t MinimumClock;

private:
    std::uint32_t milliseconds = 0;
};

/// Calendar time: whole seconds since 1970-01-01 00:00:00 UTC.
///
/// A plain value; every operation may run in several threads at once, and none raises.
class Time {
public:
    Time() = default;                                               ///< 1970-01-01 00:00:00.
    explicit Time(std::int64_t sinceEpoch) : seconds(sinceEpoch) {} ///< That many seconds.

    std::int64_t Get() const { return seconds; } ///< The number of seconds.

    static Time UTC(); ///< The current time; fractions of a second are dropped.

    /// Compares the seconds as unsigned numbers, so that a time before 1970 is the greater of it
    /// and any time from 1970 on.
    /// @return 1 when this one is the greater, -1 when `other` is, 0 when they are equal
    int Comp(const Time& other) const;

    /// The UTC date and time as a decimal number, 20261116071209 for 2026-11-16 07:12:09. Only the
    /// low 32 bits of the seconds count, as a signed number: 1901-12-13 20:45:52 to 2038-01-19
    /// 03:14:07.
    std::int64_t GetYYYYMMDDhhmmss() const;

private:
    std::int64_t seconds = 0;
};

} // namespace ORVEX

#endif
