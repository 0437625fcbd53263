// SPDX-License-Identifier: MIT
// A page of the calendar from numbers of seconds, and time stamps that survive their wrap.
#include <ORVEX/Clock.h>

#include <cstdint>
#include <cstdio>

using ORVEX::Clock;
using ORVEX::Time;

namespace {

const std::int64_t Day = 24 * 60 * 60;

// The digits [from, from + count) of the fourteen YYYYMMDDhhmmss, counted from the right.
int Digits(const Time& time, int from, int count)
{
    std::int64_t number = time.GetYYYYMMDDhhmmss();
    int unit = 1;
    for (; from > 0; --from)
        number /= 10;
    for (; count > 0; --count)
        unit *= 10;
    return static_cast<int>(number % unit);
}

void Print(const char* title, const Time& time)
{
    std::printf("%-12s %04d-%02d-%02d %02d:%02d:%02d\n", title, Digits(time, 10, 4),
                Digits(time, 8, 2), Digits(time, 6, 2), Digits(time, 4, 2), Digits(time, 2, 2),
                Digits(time, 0, 2));
}

// The month that the time lies in; the days come from the library, the weekday from the seconds.
void PrintMonth(const Time& inside)
{
    const int month = Digits(inside, 8, 2);
    Time day(inside.Get() - (Digits(inside, 6, 2) - 1) * Day);
    std::printf("     %04d-%02d\nMo Tu We Th Fr Sa Su\n", Digits(day, 10, 4), month);
    int column = static_cast<int>((day.Get() / Day + 3) % 7); // 1970-01-01 was a Thursday
    std::printf("%*s", 3 * column, "");
    for (; Digits(day, 8, 2) == month; day = Time(day.Get() + Day)) {
        const bool last = ++column % 7 == 0;
        const bool end = Digits(Time(day.Get() + Day), 8, 2) != month;
        std::printf("%2d%s", Digits(day, 6, 2), last || end ? "\n" : " ");
    }
}

void PrintOrder(const Clock& first, const Clock& second)
{
    const int order = first.Comp(second);
    std::printf("%10lu is %s %10lu\n", static_cast<unsigned long>(first.Get()),
                order < 0   ? "before"
                : order > 0 ? "after "
                            : "equal ",
                static_cast<unsigned long>(second.Get()));
}

} // namespace

int main()
{
    Print("the epoch", Time());
    Print("leap day", Time(1709208000));
    Print("last second", Time(INT32_MAX));
    Print("wraps to", Time(std::int64_t(INT32_MAX) + 1));
    PrintMonth(Time(1709208000));

    // Stamps count milliseconds and start again from 0 after 49.7 days; their order holds.
    PrintOrder(Clock(1000), Clock(2000));
    PrintOrder(Clock(UINT32_MAX - 5), Clock(10));
    PrintOrder(Clock(7), Clock(7));

    const Clock start = Clock::Now();
    const Clock rounded = Clock(1).GetRoundupSystemClock();
    std::printf("a tick has at least 1 ms: %s\n", rounded.Get() >= 1 ? "yes" : "no");
    std::printf("time went backwards: %s\n", Clock::Now().Comp(start) < 0 ? "yes" : "no");
    std::printf("it is later than 2020: %s\n",
                Time::UTC().Comp(Time(1577836800)) > 0 ? "yes" : "no");
    return 0;
}
