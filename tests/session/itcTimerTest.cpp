// One object is one timer. A timer never fires early, and a periodic timer keeps its rhythm.
//
// The tests measure with the steady clock, as the timers do. They expect only that something is not early, or that
// something happens at all: how late a call comes depends on the machine.
#include "Loop.h"
#include "OsFaults.h"
#include "StatusMatchers.h"

#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/session/itcTimer.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;

/// Remembers what it is asked for, and can refuse timers.
class Recording : public itcDispatcher {
public:
    struct Start {
        itcTimer::Duration delay;
        Clock::time_point at;
    };

    std::vector<Start> starts;
    int stops = 0;
    bool hasMemory = true;

    void startTimer(long sec, long usec, itcIOHandler* h) override
    {
        const auto whole = std::chrono::seconds(sec) + std::chrono::microseconds(usec);
        starts.push_back({whole, Clock::now()});
        if (hasMemory) {
            itcDispatcher::startTimer(sec, usec, h);
        } else {
            code = Itc_Tp_Malloc_Error;
            severity = Error;
        }
    }
    void stopTimer(itcIOHandler* h) override
    {
        stops += 1;
        itcDispatcher::stopTimer(h);
    }
};

void waitUntil(Clock::time_point end)
{
    while (Clock::now() < end) {
    }
}

class ATimer : public Loop {
protected:
    /// A timer of the recording dispatcher that counts its calls.
    itcTimer counting(itcDispatcher& loop)
    {
        return itcTimer([this] { calls += 1; }, loop);
    }

    int calls = 0;
    Recording recording;
};

} // namespace

TEST_F(ATimer, DoesNotRunAtFirst)
{
    const itcTimer timer([this] { calls += 1; });
    runCycles();
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(calls, 0);
}

TEST_F(ATimer, CallsOnceAfterTheDelay)
{
    Clock::time_point called;
    itcTimer timer([&] {
        calls += 1;
        called = Clock::now();
    });
    const Clock::time_point begin = Clock::now();
    timer.startOnce(20ms);
    ASSERT_TRUE(runUntil([&] { return calls > 0; }));
    EXPECT_GE(called - begin, 20ms);
    EXPECT_FALSE(timer.isRunning());
    runCycles();
    EXPECT_EQ(calls, 1);
}

TEST_F(ATimer, UsesTheSingletonUnlessItIsGivenADispatcher)
{
    itcTimer timer([this] { calls += 1; });
    itcTimer another = counting(recording);
    another.startOnce(0ms);
    timer.startOnce(0ms);
    EXPECT_EQ(recording.starts.size(), 1U);
    EXPECT_TRUE(runUntil([&] { return calls > 0; }));
}

TEST_F(ATimer, TakesANegativeDelayForNone)
{
    itcTimer timer = counting(recording);
    timer.startOnce(-5s);
    ASSERT_EQ(recording.starts.size(), 1U);
    EXPECT_EQ(recording.starts[0].delay, 0ns);
    EXPECT_TRUE(timer.isRunning());
}

TEST_F(ATimer, WithoutADelayFiresInALaterCycleWhenItRestartsItself)
{
    itcTimer* self = nullptr;
    itcTimer timer([&] {
        calls += 1;
        self->startOnce(0ms);
    });
    self = &timer;
    timer.startOnce(0ms);
    ASSERT_TRUE(runUntil([&] { return calls >= 3; })) << "each cycle comes to its end";
}

TEST_F(ATimer, RoundsTheDelayUpToMicroseconds)
{
    itcTimer timer = counting(recording);
    timer.startOnce(1ns);
    ASSERT_EQ(recording.starts.size(), 1U);
    EXPECT_EQ(recording.starts[0].delay, 1us);
}

TEST_F(ATimer, BearsTheLongestDelay)
{
    itcTimer timer = counting(recording);
    timer.startOnce(itcTimer::Duration::max());
    recording.dispatch(0.0);
    EXPECT_TRUE(timer.isRunning());
    EXPECT_EQ(calls, 0);
    ASSERT_EQ(recording.starts.size(), 1U);
    EXPECT_GT(recording.starts[0].delay, std::chrono::hours(24 * 365));
}

TEST_F(ATimer, BearsTheLongestPeriod)
{
    itcTimer timer = counting(recording);
    timer.startEvery(itcTimer::Duration::max());
    recording.dispatch(0.0);
    EXPECT_TRUE(timer.isRunning());
    EXPECT_EQ(calls, 0);
}

TEST_F(ATimer, CallsAfterEachPeriod)
{
    const Clock::time_point begin = Clock::now();
    std::vector<Clock::time_point> called;
    itcTimer timer([&] { called.push_back(Clock::now()); });
    timer.startEvery(5ms);
    ASSERT_TRUE(runUntil([&] { return called.size() == 4; }));
    EXPECT_TRUE(timer.isRunning());
    for (std::size_t i = 0; i < called.size(); ++i)
        EXPECT_GE(called[i] - begin, (i + 1) * 5ms);
}

TEST_F(ATimer, TakesAShorterPeriodForAMillisecond)
{
    itcTimer timer = counting(recording);
    timer.startEvery(0ms);
    timer.startEvery(-1s);
    timer.startEvery(999us);
    ASSERT_EQ(recording.starts.size(), 3U);
    for (const Recording::Start& start : recording.starts)
        EXPECT_EQ(start.delay, 1ms);
}

// The loop is busy for two periods and a half. The next call must be due at a multiple of the period.
TEST_F(ATimer, DoesNotDrift)
{
    constexpr auto period = 40ms;
    itcTimer timer = counting(recording);
    const Clock::time_point earliestStart = Clock::now();
    timer.startEvery(period);
    const Clock::time_point latestStart = Clock::now();
    waitUntil(earliestStart + 100ms);
    const Clock::time_point before = Clock::now();
    while (calls == 0)
        recording.dispatch(0.0);
    ASSERT_EQ(recording.starts.size(), 2U) << "the first start, and the one of the call";
    const Recording::Start& next = recording.starts[1];
    const auto earliestDue = before + next.delay - 1us; // rounded up
    const auto latestDue = next.at + next.delay;
    const auto periods = (latestDue - earliestStart) / period;
    EXPECT_GE(periods, 3);
    EXPECT_LE(earliestDue, latestStart + periods * period) << "no multiple of the period lies in this interval";
}

TEST_F(ATimer, MakesOneCallForAllMissedPeriods)
{
    constexpr auto period = 20ms;
    itcTimer timer = counting(recording);
    timer.startEvery(period);
    waitUntil(Clock::now() + 5 * period);
    while (calls == 0)
        recording.dispatch(0.0);
    EXPECT_EQ(calls, 1);
    EXPECT_GT(recording.starts.back().delay, 0ns) << "the next call is to come";
    EXPECT_LE(recording.starts.back().delay, period);
}

TEST_F(ATimer, MakesOneCallForThePeriodsThatItsFunctionHasMissed)
{
    constexpr auto period = 10ms;
    std::vector<Clock::time_point> called;
    const Clock::time_point begin = Clock::now();
    itcTimer timer([&] {
        called.push_back(Clock::now());
        if (called.size() == 1)
            waitUntil(begin + 10 * period);
    });
    timer.startEvery(period);
    ASSERT_TRUE(runUntil([&] { return called.size() == 3; }));
    EXPECT_GE(called[2] - begin, 11 * period) << "the missed periods are not made up for";
}

TEST_F(ATimer, ReplacesTheEarlierStart)
{
    itcTimer timer([this] { calls += 1; });
    timer.startOnce(0ms);
    timer.startOnce(1h);
    runCycles();
    EXPECT_EQ(calls, 0);
    timer.startOnce(0ms);
    ASSERT_TRUE(runUntil([&] { return calls > 0; }));
    EXPECT_FALSE(timer.isRunning());
    runCycles();
    EXPECT_EQ(calls, 1);
}

TEST_F(ATimer, IsNoLongerPeriodicWhenItIsStartedOnce)
{
    itcTimer timer([this] { calls += 1; });
    timer.startEvery(1ms);
    timer.startOnce(1ms);
    ASSERT_TRUE(runUntil([&] { return calls > 0; }));
    EXPECT_FALSE(timer.isRunning());
}

TEST_F(ATimer, RestartsFromNowOn)
{
    itcTimer timer = counting(recording);
    timer.startOnce(1h);
    timer.restart();
    ASSERT_EQ(recording.starts.size(), 2U);
    EXPECT_EQ(recording.starts[1].delay, 1h);
    EXPECT_EQ(recording.stops, 1);
}

TEST_F(ATimer, RestartsAfterItsCall)
{
    itcTimer timer([this] { calls += 1; });
    timer.startOnce(1ms);
    ASSERT_TRUE(runUntil([&] { return calls == 1; }));
    const Clock::time_point again = Clock::now();
    timer.restart();
    EXPECT_TRUE(timer.isRunning());
    ASSERT_TRUE(runUntil([&] { return calls == 2; }));
    EXPECT_GE(Clock::now() - again, 1ms);
    EXPECT_FALSE(timer.isRunning());
}

TEST_F(ATimer, RestartsAfterAStop)
{
    itcTimer timer([this] { calls += 1; });
    timer.startEvery(1ms);
    timer.stop();
    timer.restart();
    ASSERT_TRUE(runUntil([&] { return calls == 2; })) << "still periodic";
}

TEST_F(ATimer, RestartsNothingBeforeTheFirstStart)
{
    itcTimer timer = counting(recording);
    timer.restart();
    EXPECT_FALSE(timer.isRunning());
    EXPECT_TRUE(recording.starts.empty());
}

TEST_F(ATimer, MakesNoCallAfterAStop)
{
    itcTimer timer([this] { calls += 1; });
    timer.startOnce(0ms);
    timer.stop();
    EXPECT_FALSE(timer.isRunning());
    timer.stop();
    runCycles();
    EXPECT_EQ(calls, 0);
}

TEST_F(ATimer, MakesNoCallAfterItsDestruction)
{
    {
        itcTimer timer([this] { calls += 1; });
        timer.startEvery(1ms);
    }
    waitUntil(Clock::now() + 2ms);
    runCycles();
    EXPECT_EQ(calls, 0);
}

TEST_F(ATimer, RunsUntilItsCall)
{
    itcTimer timer([] {});
    timer.startOnce(1h);
    EXPECT_TRUE(timer.isRunning());
}

TEST_F(ATimer, DoesNotRunInsideOfASingleCall)
{
    bool wasRunning = true;
    itcTimer* self = nullptr;
    itcTimer timer([&] {
        calls += 1;
        wasRunning = self->isRunning();
    });
    self = &timer;
    timer.startOnce(0ms);
    ASSERT_TRUE(runUntil([&] { return calls > 0; }));
    EXPECT_FALSE(wasRunning);
}

TEST_F(ATimer, RunsInsideOfAPeriodicCall)
{
    bool wasRunning = false;
    itcTimer* self = nullptr;
    itcTimer timer([&] {
        calls += 1;
        wasRunning = self->isRunning();
    });
    self = &timer;
    timer.startEvery(1ms);
    ASSERT_TRUE(runUntil([&] { return calls > 0; }));
    EXPECT_TRUE(wasRunning);
}

TEST_F(ATimer, MayBeDestroyedInsideOfASingleCall)
{
    std::unique_ptr<itcTimer> timer;
    const auto alive = std::make_shared<int>(4711);
    int seen = 0;
    timer = std::make_unique<itcTimer>([&, alive] {
        timer.reset();
        seen = *alive; // the captures still live
    });
    timer->startOnce(0ms);
    ASSERT_TRUE(runUntil([&] { return seen != 0; }));
    EXPECT_EQ(seen, 4711);
    EXPECT_EQ(alive.use_count(), 1) << "the function was destroyed behind the call";
}

TEST_F(ATimer, MayBeDestroyedInsideOfAPeriodicCall)
{
    std::unique_ptr<itcTimer> timer;
    timer = std::make_unique<itcTimer>([&] {
        calls += 1;
        timer.reset();
    });
    timer->startEvery(1ms);
    ASSERT_TRUE(runUntil([&] { return calls > 0; }));
    waitUntil(Clock::now() + 2ms);
    runCycles();
    EXPECT_EQ(calls, 1);
}

TEST_F(ATimer, MayBeStoppedInsideOfAPeriodicCall)
{
    itcTimer* self = nullptr;
    itcTimer timer([&] {
        calls += 1;
        self->stop();
    });
    self = &timer;
    timer.startEvery(1ms);
    ASSERT_TRUE(runUntil([&] { return calls > 0; }));
    EXPECT_FALSE(timer.isRunning());
    waitUntil(Clock::now() + 2ms);
    runCycles();
    EXPECT_EQ(calls, 1);
}

TEST_F(ATimer, MayBeRestartedInsideOfASingleCall)
{
    itcTimer* self = nullptr;
    itcTimer timer([&] {
        calls += 1;
        if (calls < 3)
            self->restart();
    });
    self = &timer;
    timer.startOnce(1ms);
    ASSERT_TRUE(runUntil([&] { return calls == 3; }));
    EXPECT_FALSE(timer.isRunning());
}

TEST_F(ATimer, MayGetAnotherPeriodInsideOfACall)
{
    std::optional<itcTimer> timer;
    timer.emplace(
        [&] {
            calls += 1;
            timer->startEvery(1h);
        },
        recording);
    timer->startEvery(1ms);
    while (calls == 0)
        recording.dispatch(0.0);
    EXPECT_TRUE(timer->isRunning());
    EXPECT_EQ(recording.starts.back().delay, 1h);
    runCycles();
    EXPECT_EQ(calls, 1);
}

TEST_F(ATimer, LetsAnExceptionOfItsFunctionLeaveTheCycle)
{
    itcTimer timer([] { throw std::runtime_error("the host's"); });
    timer.startOnce(0ms);
    EXPECT_THROW((void)runUntil([] { return false; }), std::runtime_error);
    EXPECT_FALSE(timer.isRunning());
}

TEST_F(ATimer, GoesOnWithItsPeriodsAfterAnException)
{
    itcTimer timer([this] {
        calls += 1;
        throw std::runtime_error("the host's");
    });
    timer.startEvery(1ms);
    for (int turn = 1; turn <= 3; ++turn) {
        EXPECT_THROW((void)runUntil([] { return false; }), std::runtime_error);
        EXPECT_EQ(calls, turn);
        EXPECT_TRUE(timer.isRunning());
    }
}

TEST_F(ATimer, CanBeMovedOnly)
{
    EXPECT_FALSE(std::is_copy_constructible_v<itcTimer>);
    EXPECT_FALSE(std::is_copy_assignable_v<itcTimer>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<itcTimer>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<itcTimer>);
}

TEST_F(ATimer, RunsOnWhenItIsMovedByConstruction)
{
    std::optional<itcTimer> first(std::in_place, [this] { calls += 1; });
    first->startOnce(1ms);
    const itcTimer second(std::move(*first));
    EXPECT_FALSE(first->isRunning());
    first.reset();
    EXPECT_TRUE(second.isRunning());
    EXPECT_TRUE(runUntil([&] { return calls == 1; }));
}

TEST_F(ATimer, RunsOnWhenItIsMovedByAssignment)
{
    itcTimer first([this] { calls += 1; });
    first.startOnce(1ms);
    itcTimer second([] {});
    second = std::move(first);
    EXPECT_FALSE(first.isRunning()); // NOLINT(bugprone-use-after-move): meant
    EXPECT_TRUE(second.isRunning());
    EXPECT_TRUE(runUntil([&] { return calls == 1; }));
}

TEST_F(ATimer, StopsWhenAnotherIsAssignedToIt)
{
    int callsOfTheOther = 0;
    itcTimer timer([this] { calls += 1; });
    timer.startOnce(0ms);
    timer = itcTimer([&] { callsOfTheOther += 1; });
    EXPECT_FALSE(timer.isRunning());
    timer.startOnce(0ms);
    ASSERT_TRUE(runUntil([&] { return callsOfTheOther > 0; }));
    EXPECT_EQ(calls, 0);
}

TEST_F(ATimer, SurvivesTheAssignmentToItself)
{
    itcTimer timer([this] { calls += 1; });
    timer.startOnce(1ms);
    itcTimer& same = timer;
    timer = std::move(same);
    EXPECT_TRUE(timer.isRunning());
}

TEST_F(ATimer, DoesNothingAfterItWasMovedAway)
{
    itcTimer timer([this] { calls += 1; });
    const itcTimer taken(std::move(timer));
    timer.startOnce(0ms); // NOLINT(bugprone-use-after-move): meant
    timer.startEvery(1ms);
    timer.restart();
    timer.stop();
    EXPECT_FALSE(timer.isRunning());
}

TEST_F(ATimer, DoesNotDisturbThousandsOfOthers)
{
    constexpr int count = 3000;
    std::vector<itcTimer> timers;
    std::vector<int> callsOf(count, 0);
    timers.reserve(count);
    for (int i = 0; i < count; ++i) {
        timers.emplace_back([&callsOf, i] { callsOf[static_cast<std::size_t>(i)] += 1; });
        timers.back().startOnce(std::chrono::microseconds(i % 7));
    }
    for (std::size_t i = 0; i < timers.size(); i += 3)
        timers[i].stop();
    ASSERT_TRUE(runUntil([&] {
        for (const itcTimer& timer : timers) {
            if (timer.isRunning())
                return false;
        }
        return true;
    }));
    for (std::size_t i = 0; i < callsOf.size(); ++i)
        EXPECT_EQ(callsOf[i], i % 3 == 0 ? 0 : 1) << i;
}

TEST_F(ATimer, IsNotEarlyWhenTheClockOfTheDispatcherJumpsForward)
{
    std::int64_t seconds = 1000;
    OsFaults::getuptime().instead = [&](timeval* tv) {
        *tv = {};
        tv->tv_sec = seconds;
        return 0;
    };
    itcTimer timer = counting(recording);
    timer.startOnce(1h);
    seconds += 2 * 3600;
    recording.dispatch(0.0);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(timer.isRunning());
    ASSERT_EQ(recording.starts.size(), 2U) << "the timer waits for the rest";
    EXPECT_LE(recording.starts[1].delay, 1h);
    EXPECT_GT(recording.starts[1].delay, 0s);
}

TEST_F(ATimer, FiresAfterTheRestWhenTheClockHasJumpedForward)
{
    std::int64_t seconds = 1000;
    OsFaults::getuptime().instead = [&](timeval* tv) {
        *tv = {};
        tv->tv_sec = seconds;
        return 0;
    };
    itcTimer timer = counting(recording);
    const Clock::time_point begin = Clock::now();
    timer.startOnce(10ms);
    while (calls == 0) {
        seconds += 1; // in each cycle the clock of the dispatcher is a second ahead
        recording.dispatch(0.0);
    }
    EXPECT_GE(Clock::now() - begin, 10ms);
    EXPECT_FALSE(timer.isRunning());
}

TEST_F(ATimer, IsNotEarlyInItsPeriodsWhenTheClockJumpsForward)
{
    std::int64_t seconds = 1000;
    OsFaults::getuptime().instead = [&](timeval* tv) {
        *tv = {};
        tv->tv_sec = seconds;
        return 0;
    };
    itcTimer timer = counting(recording);
    const Clock::time_point begin = Clock::now();
    timer.startEvery(5ms);
    while (calls < 3) {
        seconds += 1;
        recording.dispatch(0.0);
        ASSERT_LE(calls * 5ms, Clock::now() - begin);
    }
}

TEST_F(ATimer, DoesNotRunWithoutMemory)
{
    itcTimer timer = counting(recording);
    recording.hasMemory = false;
    timer.startOnce(0ms);
    EXPECT_FALSE(timer.isRunning());
    timer.startEvery(1ms);
    EXPECT_FALSE(timer.isRunning());
    EXPECT_THAT(recording, HasStatus(Itc_Tp_Malloc_Error, Error));
}

TEST_F(ATimer, CanBeStartedAgainWhenThereIsMemory)
{
    itcTimer timer = counting(recording);
    recording.hasMemory = false;
    timer.startOnce(0ms);
    recording.hasMemory = true;
    timer.restart();
    EXPECT_TRUE(timer.isRunning());
    while (calls == 0)
        recording.dispatch(0.0);
    EXPECT_EQ(calls, 1);
}

TEST_F(ATimer, StopsItsPeriodsWithoutMemory)
{
    itcTimer timer = counting(recording);
    timer.startEvery(1ms);
    recording.hasMemory = false;
    while (calls == 0)
        recording.dispatch(0.0);
    EXPECT_FALSE(timer.isRunning());
}

TEST_F(ATimer, MayHaveNoFunction)
{
    itcTimer timer(nullptr);
    timer.startOnce(0ms);
    EXPECT_TRUE(runUntil([&] { return !timer.isRunning(); }));
}
