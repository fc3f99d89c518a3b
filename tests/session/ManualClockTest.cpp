// The steady clock of the test program. The program's definition of the clock replaces that of the C++ library, also in
// the calls of the libraries under test. The dispatcher's clock is replaced at the OS_ layer.
#include "ManualClock.h"

#include "OsFaults.h"

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/session/itcTimer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <ctime>

namespace {

std::atomic<std::int64_t> standing{-1}; // nanoseconds; negative while the clock runs

std::int64_t runningTime()
{
    timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// A timer fires when the dispatcher's clock is past its time. Therefore each look moves the clock by a microsecond.
int tellTime(timeval* tv)
{
    const std::int64_t microseconds = (standing += 1000) / 1000;
    *tv = {};
    tv->tv_sec = microseconds / 1'000'000;
    tv->tv_usec = microseconds % 1'000'000;
    return 0;
}

} // namespace

std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept
{
    const std::int64_t now = standing;
    return time_point(nanoseconds(now >= 0 ? now : runningTime()));
}

ManualClock::ManualClock()
{
    constexpr std::int64_t millisecond = 1'000'000;
    standing = runningTime() / millisecond * millisecond + millisecond; // the dispatcher's clock has no nanoseconds
    OsFaults::gettimeofday().instead = [](timeval* tv, void*) { return tellTime(tv); };
    OsFaults::getuptime().instead = tellTime;
}

ManualClock::~ManualClock()
{
    OsFaults::gettimeofday().instead = nullptr;
    OsFaults::getuptime().instead = nullptr;
    standing = -1;
}

void ManualClock::advance(std::chrono::nanoseconds time) { standing += time.count(); }

TEST(ManualClockTest, StandsStillUntilItIsMoved)
{
    ManualClock clock;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(std::chrono::steady_clock::now(), before);
    clock.advance(std::chrono::hours(1));
    EXPECT_EQ(std::chrono::steady_clock::now(), before + std::chrono::hours(1));
}

TEST(ManualClockTest, MovesTheTimersOfTheLibrary)
{
    ManualClock clock;
    itcDispatcher dispatcher;
    int calls = 0;
    itcTimer timer([&] { calls += 1; }, dispatcher);
    timer.startOnce(std::chrono::hours(1));
    clock.advance(std::chrono::minutes(59));
    dispatcher.dispatch(0.0);
    EXPECT_EQ(calls, 0);
    clock.advance(std::chrono::minutes(1));
    dispatcher.dispatch(0.0);
    EXPECT_EQ(calls, 1);
}
