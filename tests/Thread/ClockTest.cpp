// SPDX-License-Identifier: MIT
#include <ORVEX/Clock.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <limits>
#include <random>
#include <thread>
#include <type_traits>
#include <unistd.h>
#include <vector>

using ORVEX::Clock;
using ORVEX::Time;

static_assert(sizeof(Clock) == 4, "32 bits on every host");
static_assert(sizeof(Time) == 8, "64 bits on every host");
static_assert(std::is_trivially_copyable<Clock>::value, "a plain value");
static_assert(std::is_trivially_copyable<Time>::value, "a plain value");
static_assert(std::is_same<decltype(Clock::MinimumClock), std::uint32_t>::value, "32 bits");
static_assert(std::is_same<decltype(Time().GetYYYYMMDDhhmmss()), std::int64_t>::value, "64 bits");

namespace {

// Sets the length of the tick for one test.
class WithTick {
public:
    explicit WithTick(std::uint32_t tick) : old(Clock::MinimumClock) { Clock::MinimumClock = tick; }
    ~WithTick() { Clock::MinimumClock = old; }
    WithTick(const WithTick&) = delete;
    WithTick& operator=(const WithTick&) = delete;

private:
    std::uint32_t old;
};

int Comp(std::uint32_t a, std::uint32_t b) { return Clock(a).Comp(Clock(b)); }

std::uint32_t Roundup(std::uint32_t duration)
{
    return Clock(duration).GetRoundupSystemClock().Get();
}

std::int64_t Packed(std::int64_t seconds) { return Time(seconds).GetYYYYMMDDhhmmss(); }

bool IsLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysOf(int month, int year)
{
    const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return days[month] + (month == 1 && IsLeap(year));
}

// The packed number by counting years, months and days one by one from 1901 on.
std::int64_t CountedOut(std::int32_t seconds)
{
    const std::int64_t day = 86400;
    std::int64_t days = seconds / day;
    std::int64_t rest = seconds % day;
    if (rest < 0) {
        rest += day;
        --days;
    }
    days += 69 * 365 + 17; // from 1901-01-01 to 1970-01-01, leap days 1904 to 1968
    int year = 1901;
    while (days >= 365 + IsLeap(year))
        days -= 365 + IsLeap(year++);
    int month = 0;
    while (days >= DaysOf(month, year))
        days -= DaysOf(month++, year);
    return year * 10000000000 + (month + 1) * 100000000 + (days + 1) * 1000000 +
           rest / 3600 * 10000 + rest / 60 % 60 * 100 + rest % 60;
}

// The seconds that a packed number stands for, by the C library.
std::int64_t Unpacked(std::int64_t packed)
{
    std::tm utc = {};
    utc.tm_sec = static_cast<int>(packed % 100);
    utc.tm_min = static_cast<int>(packed / 100 % 100);
    utc.tm_hour = static_cast<int>(packed / 10000 % 100);
    utc.tm_mday = static_cast<int>(packed / 1000000 % 100);
    utc.tm_mon = static_cast<int>(packed / 100000000 % 100) - 1;
    utc.tm_year = static_cast<int>(packed / 10000000000) - 1900;
    return timegm(&utc);
}

} // namespace

TEST(Clock, StartsAtZeroAndKeepsItsNumber)
{
    EXPECT_EQ(0u, Clock().Get());
    EXPECT_EQ(0xFFFFFFFFu, Clock(0xFFFFFFFFu).Get());
}

TEST(Clock, NowIsTheMonotonicClockInMilliseconds)
{
    const auto milliseconds = [] {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<std::uint32_t>(now.tv_sec * 1000ll + now.tv_nsec / 1000000);
    };
    for (int i = 0; i < 1000; ++i) {
        const std::uint32_t before = milliseconds();
        const std::uint32_t now = Clock::Now().Get();
        const std::uint32_t after = milliseconds();
        EXPECT_LE(now - before, after - before);
    }
}

TEST(Clock, LaterStampsCompareGreaterAcrossTheWrap)
{
    EXPECT_EQ(0, Comp(0, 0));
    EXPECT_EQ(0, Comp(0xFFFFFFFFu, 0xFFFFFFFFu));
    EXPECT_EQ(-1, Comp(1, 2));
    EXPECT_EQ(1, Comp(2, 1));
    EXPECT_EQ(-1, Comp(0xFFFFFFF0u, 0x00000010u));
    EXPECT_EQ(1, Comp(0x00000010u, 0xFFFFFFF0u));
    EXPECT_EQ(-1, Comp(0xFFFFFFFFu, 0));
    EXPECT_EQ(1, Comp(0, 0xFFFFFFFFu));
    EXPECT_EQ(-1, Comp(0, 0x7FFFFFFFu));
    EXPECT_EQ(1, Comp(0x7FFFFFFFu, 0));
    EXPECT_EQ(1, Comp(0, 0x80000001u));
    EXPECT_EQ(-1, Comp(0x80000001u, 0));
}

TEST(Clock, HalfWayAroundTheLargerNumberIsTheEarlier)
{
    EXPECT_EQ(1, Comp(0, 0x80000000u));
    EXPECT_EQ(-1, Comp(0x80000000u, 0));
    EXPECT_EQ(1, Comp(0x7FFFFFFFu, 0xFFFFFFFFu));
    EXPECT_EQ(-1, Comp(0xFFFFFFFFu, 0x7FFFFFFFu));
    for (std::uint64_t a = 0; a < 0x80000000u; a += 65521) {
        const std::uint32_t low = static_cast<std::uint32_t>(a);
        ASSERT_EQ(1, Comp(low, low + 0x80000000u));
        ASSERT_EQ(-1, Comp(low + 0x80000000u, low));
    }
}

TEST(Clock, OtherwiseTheSignOfTheWrappedDifferenceDecides)
{
    std::mt19937 random(1);
    for (int i = 0; i < 1000000; ++i) {
        const std::uint32_t a = static_cast<std::uint32_t>(random());
        const std::uint32_t near = a + static_cast<std::uint32_t>(random() % 5) - 2;
        const std::uint32_t b = i % 2 ? static_cast<std::uint32_t>(random()) : near;
        if (a - b == 0x80000000u)
            continue;
        // In 64 bits, and not by a cast: the stamp a may stand a whole round before or after.
        std::int64_t difference = static_cast<std::int64_t>(a) - static_cast<std::int64_t>(b);
        if (difference > 0x80000000ll)
            difference -= 0x100000000ll;
        else if (difference < -0x80000000ll)
            difference += 0x100000000ll;
        ASSERT_EQ((difference > 0) - (difference < 0), Comp(a, b)) << a << " " << b;
    }
}

TEST(Clock, RoundsUpToTicks)
{
    const WithTick tick(10);
    EXPECT_EQ(0u, Roundup(0));
    EXPECT_EQ(10u, Roundup(1));
    EXPECT_EQ(10u, Roundup(10));
    EXPECT_EQ(20u, Roundup(11));
    EXPECT_EQ(30u, Roundup(25));
    EXPECT_EQ(10u, Clock::MinimumClock);
}

TEST(Clock, RoundingWrapsLessThanATickBelowTheTop)
{
    const WithTick tick(10);
    EXPECT_EQ(4294967290u, Roundup(4294967281u));
    EXPECT_EQ(4294967290u, Roundup(4294967286u));
    EXPECT_EQ(0u, Roundup(4294967287u)); // 4294967287 + 9 is 2^32
    EXPECT_EQ(0u, Roundup(4294967295u));
    const WithTick longer(0xFFFFFFFFu);
    EXPECT_EQ(0u, Roundup(0));
    EXPECT_EQ(0xFFFFFFFFu, Roundup(1));
    EXPECT_EQ(0u, Roundup(2)); // 2 + 0xFFFFFFFE is 2^32
}

TEST(Clock, RoundedDurationIsTheLeastMultipleThatHoldsIt)
{
    std::mt19937 random(2);
    for (const std::uint32_t tick : {1u, 2u, 3u, 4u, 7u, 10u, 16u, 1000u}) {
        const WithTick with(tick);
        for (int i = 0; i < 10000; ++i) {
            const std::uint32_t duration = static_cast<std::uint32_t>(random() % 0xFFFF0000u);
            const std::uint32_t rounded = Roundup(duration);
            ASSERT_EQ(0u, rounded % tick);
            ASSERT_GE(rounded, duration);
            ASSERT_LT(rounded - duration, tick);
        }
    }
}

TEST(Clock, FirstRoundingLearnsTheSystemsTick)
{
    const WithTick unknown(0);
    EXPECT_EQ(0u, Roundup(0));
    const long perSecond = sysconf(_SC_CLK_TCK);
    ASSERT_GT(perSecond, 0);
    EXPECT_EQ(static_cast<std::uint32_t>(perSecond <= 1000 ? 1000 / perSecond : 1),
              Clock::MinimumClock);
}

TEST(Clock, ThreadsThatRoundFirstTogetherAgree)
{
    for (int round = 0; round < 50; ++round) {
        const WithTick unknown(0);
        std::uint32_t results[3] = {};
        std::vector<std::thread> threads;
        for (std::uint32_t& result : results)
            threads.emplace_back([&result] { result = Roundup(1); });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(Clock::MinimumClock, results[0]);
        EXPECT_EQ(results[0], results[1]);
        EXPECT_EQ(results[0], results[2]);
    }
}

TEST(Time, StartsAtTheEpochAndKeepsItsNumber)
{
    EXPECT_EQ(0, Time().Get());
    EXPECT_EQ(-1, Time(-1).Get());
    EXPECT_EQ(std::numeric_limits<std::int64_t>::max(),
              Time(std::numeric_limits<std::int64_t>::max()).Get());
}

TEST(Time, UTCIsTheCalendarTime)
{
    const std::int64_t before = std::time(nullptr);
    const std::int64_t now = Time::UTC().Get();
    const std::int64_t after = std::time(nullptr);
    EXPECT_GE(now, before - 1); // the two clocks that are read may differ by a tick
    EXPECT_LE(now, after + 1);
}

TEST(Time, ComparesAsUnsignedSoThatNegativeTimesAreTheGreatest)
{
    const std::int64_t least = std::numeric_limits<std::int64_t>::min();
    const std::int64_t most = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(0, Time(5).Comp(Time(5)));
    EXPECT_EQ(0, Time(-5).Comp(Time(-5)));
    EXPECT_EQ(-1, Time(4).Comp(Time(5)));
    EXPECT_EQ(1, Time(5).Comp(Time(4)));
    EXPECT_EQ(1, Time(-1).Comp(Time(0)));
    EXPECT_EQ(1, Time(-1).Comp(Time(most)));
    EXPECT_EQ(-1, Time(most).Comp(Time(least)));
    EXPECT_EQ(1, Time(least).Comp(Time(most)));
    EXPECT_EQ(-1, Time(-2).Comp(Time(-1)));
    EXPECT_EQ(1, Time(0x100000000ll).Comp(Time(0xFFFFFFFFll)));
}

TEST(Time, PacksDateAndTimeIntoDecimals)
{
    EXPECT_EQ(19700101000000, Packed(0));
    EXPECT_EQ(20261116071209, Packed(1794813129)); // date -u -d '2026-11-16 07:12:09' +%s
    EXPECT_EQ(20000229235959, Packed(951868799));
    EXPECT_EQ(20000301000000, Packed(951868800));
    EXPECT_EQ(20010228235959, Packed(983404799));
    EXPECT_EQ(20010301000000, Packed(983404800));
    EXPECT_EQ(19691231235959, Packed(-1));
    EXPECT_EQ(20380119031407, Packed(2147483647));
    EXPECT_EQ(19011213204552, Packed(-2147483648ll));
}

TEST(Time, OnlyTheLow32BitsAreShownAndTheyAreSigned)
{
    EXPECT_EQ(19011213204552, Packed(2147483648ll));
    EXPECT_EQ(19691231235959, Packed(0xFFFFFFFFll));
    EXPECT_EQ(19700101000000, Packed(0x100000000ll));
    EXPECT_EQ(20261116071209, Packed(1794813129 + 0x7654321000000000ll));
    EXPECT_EQ(20261116071209, Packed(1794813129 - 0x100000000ll));
    EXPECT_EQ(19700101000000, Packed(std::numeric_limits<std::int64_t>::min()));
}

TEST(Time, PackedNumberIsRightOverTheWholeRange)
{
    const auto check = [](std::int64_t seconds) {
        if (seconds < INT32_MIN || seconds > INT32_MAX)
            return;
        const std::int64_t packed = Packed(seconds);
        ASSERT_EQ(CountedOut(static_cast<std::int32_t>(seconds)), packed) << seconds;
        // The last second of 1969 may be timegm's sign of failure, and is its right answer too.
        ASSERT_EQ(seconds, Unpacked(packed)) << packed;
    };
    for (std::int64_t seconds = INT32_MIN; seconds <= INT32_MAX; seconds += 16381)
        ASSERT_NO_FATAL_FAILURE(check(seconds));
    // Around every midnight, thus also around every leap day and turn of the year.
    for (std::int64_t midnight = -86400ll * 24856; midnight <= INT32_MAX; midnight += 86400)
        for (const int step : {-1, 0, 1})
            ASSERT_NO_FATAL_FAILURE(check(midnight + step));
    check(INT32_MIN);
    check(INT32_MAX);
}
