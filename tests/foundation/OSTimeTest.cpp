// The time calls of the portability layer: the wall clock, the timers, the uptime.
#include "FreshProcess.h"
#include "OsFaults.h"
#include "WallClock.h"

#include <kiv/foundation/OS.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <tuple>

// The calls that would change the clock of the machine end here.
namespace {

template <class Result, class... Arguments> struct Seen {
    std::tuple<Arguments...> arguments;
    Result result;
    int calls = 0;

    Result operator()(Arguments... given)
    {
        arguments = {given...};
        ++calls;
        errno = EPERM;
        return result;
    }
};

Seen<int, const timeval*, const struct timezone*> settimeofdaySeen;
Seen<int, const timeval*, timeval*> adjtimeSeen;

} // namespace

extern "C" {

int settimeofday(const timeval* tv, const struct timezone* zone) noexcept { return settimeofdaySeen(tv, zone); }

int adjtime(const timeval* delta, timeval* oldDelta) noexcept { return adjtimeSeen(delta, oldDelta); }

} // extern "C"

namespace {

TEST(OSTime, SettimeofdayHandsOnArgumentsAndResult)
{
    const timeval tv = {1, 2};
    const struct timezone zone = {};

    for (const int result : {0, -1}) {
        settimeofdaySeen = {{}, result};
        EXPECT_EQ(OS_settimeofday(&tv, &zone), result);
        EXPECT_EQ(settimeofdaySeen.calls, 1);
        EXPECT_EQ(settimeofdaySeen.arguments, std::make_tuple(&tv, &zone));
        EXPECT_EQ(OS_getLastError(), EPERM);
    }
}

TEST(OSTime, AdjtimeHandsOnArgumentsAndResult)
{
    const timeval delta = {1, 2};
    timeval oldDelta = {};

    for (const int result : {0, -1}) {
        adjtimeSeen = {{}, result};
        EXPECT_EQ(OS_adjtime(&delta, &oldDelta), result);
        EXPECT_EQ(adjtimeSeen.calls, 1);
        EXPECT_EQ(adjtimeSeen.arguments, std::make_tuple(&delta, &oldDelta));
        EXPECT_EQ(OS_getLastError(), EPERM);
    }
}

TEST(OSTime, GettimeofdayIsTheWallClock)
{
    const auto before = std::time(nullptr);
    timeval tv = {};
    EXPECT_EQ(OS_gettimeofday(&tv, nullptr), 0);
    const auto after = std::time(nullptr);

    EXPECT_GE(tv.tv_sec, before - 1); // time() may lag behind by its coarser tick
    EXPECT_LE(tv.tv_sec, after + 1);
    EXPECT_GE(tv.tv_usec, 0);
    EXPECT_LT(tv.tv_usec, 1000000);
}

TEST(OSTime, GettimeofdayAndTheSystemAgreeOnTheWidthOfItsFields)
{
    timeval tv[2];
    std::memset(tv, 0xEE, sizeof tv);
    const timeval untouched = tv[1];
    EXPECT_EQ(OS_gettimeofday(&tv[0], nullptr), 0);

    EXPECT_GE(tv[0].tv_sec, 0);
    EXPECT_LT(tv[0].tv_sec, 0x100000000); // until the year 2106
    EXPECT_GE(tv[0].tv_usec, 0);
    EXPECT_LT(tv[0].tv_usec, 1000000);
    EXPECT_EQ(std::memcmp(&tv[1], &untouched, sizeof untouched), 0);
}

TEST(OSTime, SetitimerGivesBackThePreviousTimer)
{
    const itimerval set = {{3, 0}, {1000, 0}};
    const itimerval off = {};
    itimerval read = {};
    itimerval previous = {};

    EXPECT_EQ(OS_setitimer(ITIMER_REAL, &set, nullptr), 0);
    EXPECT_EQ(OS_getitimer(ITIMER_REAL, &read), 0);
    EXPECT_EQ(OS_setitimer(ITIMER_REAL, &off, &previous), 0);

    EXPECT_EQ(read.it_interval.tv_sec, 3);
    EXPECT_GT(read.it_value.tv_sec, 0);
    EXPECT_EQ(previous.it_interval.tv_sec, 3);
    EXPECT_GT(previous.it_value.tv_sec, 0);
    EXPECT_EQ(OS_getitimer(ITIMER_REAL, &read), 0);
    EXPECT_EQ(read.it_value.tv_sec, 0);
}

// Not every 32-bit kernel accepts a time of this length. The time may be refused, but a shorter time must not be set.
TEST(OSTime, SetitimerDoesNotCutALongTime)
{
    const itimerval set = {{0, 0}, {0x100000003, 0}};
    const itimerval off = {};
    itimerval read = {};

    const bool isTaken = OS_setitimer(ITIMER_REAL, &set, nullptr) == 0;
    const int error = OS_getLastError();
    EXPECT_EQ(OS_getitimer(ITIMER_REAL, &read), 0);
    EXPECT_EQ(OS_setitimer(ITIMER_REAL, &off, nullptr), 0);

    if (isTaken) {
        EXPECT_GT(read.it_value.tv_sec, 0xFFFFFFFF);
    } else {
        EXPECT_EQ(error, EOVERFLOW);
        EXPECT_EQ(read.it_value.tv_sec, 0);
    }
}

TEST(OSTime, IntervalTimersOfNoKindAreRefused)
{
    itimerval value = {};

    EXPECT_EQ(OS_getitimer(99, &value), -1);
    EXPECT_EQ(OS_getLastError(), EINVAL);
    EXPECT_EQ(OS_setitimer(99, &value, nullptr), -1);
    EXPECT_EQ(OS_getLastError(), EINVAL);
}

TEST(OSTime, TimesFillsInTheProcessTimes)
{
    tms buffer;
    buffer.tms_utime = -1;

    const clock_t before = ::times(nullptr);
    const clock_t now = OS_times(&buffer);
    const clock_t after = ::times(nullptr);

    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
    EXPECT_GE(buffer.tms_utime, 0);
}

void expectUptime(int64_t seconds, int64_t micros)
{
    timeval tv = {-1, -1};
    EXPECT_EQ(OS_getuptime(&tv), 0);
    EXPECT_EQ(tv.tv_sec, seconds);
    EXPECT_EQ(tv.tv_usec, micros);
}

TEST(OSUptime, Starts0AtTheFirstCall)
{
    expectInFreshProcess([] {
        setWallClock(1000, 700000);
        expectUptime(0, 0);
    });
}

TEST(OSUptime, IsTheTimeSinceTheFirstCall)
{
    expectInFreshProcess([] {
        setWallClock(1000, 200000);
        expectUptime(0, 0);
        setWallClock(1001, 700000);
        expectUptime(1, 500000);
        setWallClock(5000, 200000);
        expectUptime(4000, 0);
    });
}

TEST(OSUptime, BorrowsFromTheSeconds)
{
    expectInFreshProcess([] {
        setWallClock(1000, 900000);
        expectUptime(0, 0);
        setWallClock(1002, 400000);
        expectUptime(1, 500000);
    });
}

TEST(OSUptime, FollowsTheWallClockBackWithPositiveMicroseconds)
{
    expectInFreshProcess([] {
        setWallClock(1000, 500000);
        expectUptime(0, 0);
        setWallClock(999, 700000);
        expectUptime(-1, 200000);
        setWallClock(1000, 400000);
        expectUptime(-1, 900000);
    });
}

TEST(OSUptime, Keeps64Bits)
{
    expectInFreshProcess([] {
        setWallClock(1, 0);
        expectUptime(0, 0);
        setWallClock(0x100000003, 0);
        expectUptime(0x100000002, 0);
    });
}

class OSUptimeAcross : public testing::TestWithParam<int64_t> {}; // the second that the wall clock passes
INSTANTIATE_TEST_SUITE_P(Boundaries, OSUptimeAcross,
                         testing::Values(int64_t{1} << 31, int64_t{1} << 32, int64_t{1} << 40));

TEST_P(OSUptimeAcross, GoesOnWhereTheWallClockPassesIt)
{
    expectInFreshProcess([] {
        setWallClock(GetParam() - 1, 900000);
        expectUptime(0, 0);
        setWallClock(GetParam(), 100000);
        expectUptime(0, 200000);
        setWallClock(GetParam() + 4, 900000);
        expectUptime(5, 0);
    });
}

TEST_P(OSUptimeAcross, FollowsTheWallClockBackToTheOtherSide)
{
    expectInFreshProcess([] {
        setWallClock(GetParam(), 100000);
        expectUptime(0, 0);
        setWallClock(GetParam() - 2, 200000);
        expectUptime(-2, 100000);
    });
}

TEST_P(OSUptimeAcross, IsAsLongAsThat)
{
    expectInFreshProcess([] {
        setWallClock(1000, 999999);
        expectUptime(0, 0);
        setWallClock(1001 + GetParam(), 0);
        expectUptime(GetParam(), 1);
    });
}

TEST(OSUptime, EndsAtTheLongestTimes)
{
    expectInFreshProcess([] {
        setWallClock(INT64_MIN, 0);
        expectUptime(0, 0);
        setWallClock(INT64_MAX, 0);
        expectUptime(INT64_MAX, 0);
    });
}

TEST(OSUptime, DoesNotStartWithAFailedCall)
{
    expectInFreshProcess([] {
        timeval tv = {};
        setWallClock(1000, 0);
        OsFaults::gettimeofday().failNext(1, EFAULT);
        EXPECT_EQ(OS_getuptime(&tv), -1);
        EXPECT_EQ(OS_getuptime(nullptr), -1);
        setWallClock(2000, 0);
        expectUptime(0, 0);
    });
}

TEST(OSUptime, DoesNotStartWhileTheClockReads0)
{
    expectInFreshProcess([] {
        setWallClock(0, 0);
        expectUptime(0, 0);
        setWallClock(1000, 0);
        expectUptime(0, 0);
        setWallClock(1001, 0);
        expectUptime(1, 0);
    });
}

TEST(OSUptime, NeedsAPlaceForTheResult)
{
    EXPECT_EQ(OS_getuptime(nullptr), -1);
    EXPECT_EQ(OsFaults::gettimeofday().calls(), 0);
}

TEST(OSUptime, FailsWithTheClock)
{
    timeval tv = {};
    OS_getuptime(&tv);
    OsFaults::gettimeofday().failNext(1, EFAULT);

    EXPECT_EQ(OS_getuptime(&tv), -1);
    EXPECT_EQ(OS_getLastError(), EFAULT);
    EXPECT_EQ(OS_getuptime(&tv), 0);
}

} // namespace
