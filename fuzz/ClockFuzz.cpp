// SPDX-License-Identifier: MIT
// Time stamps, durations and calendar times of any number, against their definitions: the calendar
// counts days from 1970 on, one year after the other.
//
//   ./tools/fuzz 60 ClockFuzz
#include "Harness.h"

#include <ORVEX/Clock.h>
#include <ORVEX/Print.h>

#include <cstdio>
#include <ostream>
#include <streambuf>

using namespace ORVEX;

namespace {

std::int64_t DaysOf(std::int64_t year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 366 : 365;
}

// The date and time of a second as a decimal number.
std::int64_t Calendar(std::int64_t seconds)
{
    const std::int64_t second = (seconds % 86400 + 86400) % 86400;
    std::int64_t day = (seconds - second) / 86400;
    std::int64_t year = 1970;
    for (; day < 0; day += DaysOf(year))
        --year;
    for (; day >= DaysOf(year); ++year)
        day -= DaysOf(year);
    const std::int64_t february = DaysOf(year) - 337;
    const std::int64_t months[] = {31, february, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    std::int64_t month = 0;
    for (; day >= months[month]; ++month)
        day -= months[month];
    const std::int64_t date = (year * 100 + month + 1) * 100 + day + 1;
    return ((date * 100 + second / 3600) * 100 + second / 60 % 60) * 100 + second % 60;
}

// Takes what is written, without a heap.
struct Page : std::streambuf {
    Page() { setp(text, text + sizeof text - 1); }
    char text[64] = {};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Feed feed(data, size);
    const std::uint32_t a = feed.Word();
    const std::uint8_t distance = feed.Byte();
    // Any other stamp, one close by, or one about half-way around.
    const std::uint32_t b = distance < 64    ? feed.Word()
                            : distance < 128 ? a + distance - 96
                                             : a + 0x80000000u + distance - 192;
    const Clock first(a), second(b);
    const std::uint32_t ahead = a - b;
    const int expected = ahead == 0            ? 0
                         : ahead == 0x80000000 ? (a > b ? -1 : 1)
                         : ahead < 0x80000000  ? 1
                                               : -1;
    Require(first.Comp(second) == expected, "stamps compare by their wrapped distance");
    Require(second.Comp(first) == -expected, "and so the other way round");

    const std::uint32_t rounded = first.GetRoundupSystemClock().Get();
    const std::uint32_t tick = Clock::MinimumClock;
    Require(tick != 0 && rounded % tick == 0, "a rounded duration is whole ticks");
    if (a <= UINT32_MAX - tick)
        Require(rounded >= a && rounded - a < tick, "it is rounded up");

    const std::int64_t seconds = static_cast<std::int64_t>(
        std::uint64_t{feed.Byte() & 1 ? feed.Word() : 0} << 32 | feed.Word());
    const std::int64_t number = Calendar(static_cast<std::int32_t>(seconds));
    const Time time(seconds);
    Require(time.GetYYYYMMDDhhmmss() == number, "the calendar is right");
    const Time other(static_cast<std::int64_t>(a));
    const std::uint64_t unsignedSeconds = static_cast<std::uint64_t>(seconds);
    Require(time.Comp(other) == (unsignedSeconds > a) - (unsignedSeconds < a),
            "times compare as unsigned numbers");

    Page page;
    std::ostream out(&page);
    out << time;
    char text[64];
    const auto part = [number](std::int64_t unit, std::int64_t limit) {
        return static_cast<int>(number / unit % limit);
    };
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d UTC", part(10000000000, 10000),
                  part(100000000, 100), part(1000000, 100), part(10000, 100), part(100, 100),
                  part(1, 100));
    Require(std::string(page.text) == text, "a time is printed as its date");
    return 0;
}
