// Timers of the dispatcher, and the clock on which they run.
#include "DispatcherParts.h"
#include "StatusMatchers.h"
#include "WallClock.h"

#include <kiv/dispatcher/TimerQueue.h>

#include <gmock/gmock.h>

#include <climits>
#include <cstdlib>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DispatcherTimers : public DispatcherTest {
protected:
    FakeClock clock;
};

TEST_F(DispatcherTimers, StartingOneClearsTheStatus)
{
    leaveMark(dispatcher);
    dispatcher.startTimer(1, 0, &handler);
    EXPECT_THAT(dispatcher, HasClearStatus());
}

TEST_F(DispatcherTimers, StoppingOneClearsTheStatus)
{
    dispatcher.startTimer(1, 0, &handler);
    leaveMark(dispatcher);
    dispatcher.stopTimer(&handler);
    EXPECT_THAT(dispatcher, HasClearStatus());
    EXPECT_TRUE(dispatcher.timers->empty());
}

TEST_F(DispatcherTimers, StoppingOneThatIsNotThereOnlyClearsTheStatus)
{
    leaveMark(dispatcher);
    dispatcher.stopTimer(&handler);
    EXPECT_THAT(dispatcher, HasClearStatus());
}

TEST_F(DispatcherTimers, AreDueAtTheClockPlusTheDelay)
{
    const timeval start = dispatcher.currentTime();
    dispatcher.startTimer(3, 250000, &handler);
    EXPECT_EQ(fields(dispatcher.timers->earliest()), fields(start + tv(3, 250000)));
}

TEST_F(DispatcherTimers, WithoutADelayAreDueAtOnceButFireOnlyWhenTheClockHasMoved)
{
    dispatcher.startTimer(0, 0, &handler);
    EXPECT_EQ(fields(dispatcher.timers->earliest()), fields(dispatcher.currentTime()));
    cycle();
    EXPECT_THAT(handler.calls, IsEmpty());
    clock.advance(0, 1);
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("timer"));
}

TEST_F(DispatcherTimers, StartedInThePastFireInTheNextCycle)
{
    dispatcher.startTimer(-5, 0, &handler);
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("timer"));
    EXPECT_EQ(handler.now, fields(dispatcher.currentTime()));
}

TEST_F(DispatcherTimers, AreToldTheTimeOfTheExpiry)
{
    dispatcher.startTimer(1, 0, &handler);
    clock.advance(4, 5);
    cycle();
    EXPECT_EQ(handler.now, fields(dispatcher.currentTime()));
}

TEST_F(DispatcherTimers, StopInTheOrderOfTheirTimes)
{
    dispatcher.startTimer(9, 0, &handler);
    dispatcher.startTimer(2, 0, &handler);
    dispatcher.stopTimer(&handler);
    EXPECT_EQ(fields(dispatcher.timers->earliest()), fields(dispatcher.currentTime() + tv(9, 0)));
    dispatcher.stopTimer(&handler);
    EXPECT_TRUE(dispatcher.timers->empty());
}

TEST_F(DispatcherTimers, FireAllThatAreDueInOneCycle)
{
    Calls calls;
    Handler first("first", calls), second("second", calls), third("third", calls);
    dispatcher.startTimer(3, 0, &third);
    dispatcher.startTimer(1, 0, &first);
    dispatcher.startTimer(2, 0, &second);
    clock.advance(3, 1);
    cycle();
    EXPECT_THAT(calls, ElementsAre("first timer", "second timer", "third timer"));
    EXPECT_EQ(first.now, third.now);
}

TEST_F(DispatcherTimers, StartAgainFromInsideForPeriodicCalls)
{
    handler.onTimer = [&] { dispatcher.startTimer(1, 0, &handler); };
    dispatcher.startTimer(1, 0, &handler);
    for (int second = 0; second < 3; ++second) {
        clock.advance(1, 1);
        cycle();
    }
    EXPECT_THAT(handler.calls, ElementsAre("timer", "timer", "timer"));
}

TEST_F(DispatcherTimers, AreForgottenSilentlyWithTheDispatcher)
{
    {
        OpenDispatcher other;
        other.startTimer(-1, 0, &handler);
    }
    EXPECT_THAT(handler.calls, IsEmpty());
}

TEST_F(DispatcherTimers, FarInTheFutureNeverFire)
{
    dispatcher.startTimer(LONG_MAX, LONG_MAX, &handler);
    clock.advance(1000000, 0);
    cycle();
    EXPECT_THAT(handler.calls, IsEmpty());
}

TEST_F(DispatcherTimers, FarInThePastFireAtOnce)
{
    dispatcher.startTimer(LONG_MIN, LONG_MIN, &handler);
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("timer"));
}

// The clock

TEST_F(DispatcherTimers, RunOnTheUptime)
{
    const timeval before = dispatcher.currentTime();
    clock.advance(7, 300000);
    EXPECT_EQ(fields(dispatcher.currentTime() - before), Fields(7, 300000));
}

TEST_F(DispatcherTimers, DoNotAskForTheWallClockAgain)
{
    dispatcher.currentTime();
    const int asked = OsFaults::gettimeofday().calls();
    const timeval before = dispatcher.currentTime();
    OsFaults::gettimeofday().instead = [](timeval* t, void*) {
        *t = tv(5, 0);
        return 0;
    };
    EXPECT_EQ(fields(dispatcher.currentTime()), fields(before));
    EXPECT_EQ(OsFaults::gettimeofday().calls(), asked);
}

// A process takes the base of the clock only once. Therefore each of these tests runs in a process of its own.
class DispatcherClockBase : public testing::Test {
protected:
    DispatcherClockBase() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static void setUptime(int64_t sec, int64_t usec)
    {
        OsFaults::getuptime().instead = [=](timeval* t) {
            *t = tv(sec, usec);
            return 0;
        };
    }
    [[noreturn]] static void endWith(bool good) { std::_Exit(good ? 42 : 1); }
};

TEST_F(DispatcherClockBase, IsTheWallClockOfTheFirstCallPlusTheWholeUptime)
{
    const auto child = [] {
        const OpenDispatcher dispatcher;
        setWallClock(1000, 900000);
        setUptime(5, 200000);
        const Fields first = fields(dispatcher.currentTime());
        setWallClock(7777, 0);
        setUptime(6, 0);
        const Fields second = fields(dispatcher.currentTime());
        endWith(first == Fields(1006, 100000) && second == Fields(1006, 900000));
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(42), "");
}

TEST_F(DispatcherClockBase, IsTakenAgainWhileItIsZero)
{
    const auto child = [] {
        const OpenDispatcher dispatcher;
        setWallClock(0, 0);
        setUptime(5, 0);
        const Fields first = fields(dispatcher.currentTime());
        setWallClock(2000, 0);
        const Fields second = fields(dispatcher.currentTime());
        endWith(first == Fields(5, 0) && second == Fields(2005, 0));
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(42), "");
}

} // namespace
