// Numbers of seconds that 32 bits cannot hold. The clock passes 2^31 (in the year 2038) and 2^32. Limits are as long.
#include "DispatcherParts.h"
#include "WallClock.h"

#include <kiv/dispatcher/TimerQueue.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int64_t seconds31 = int64_t{1} << 31; // the first second that a signed word of 32 bits cannot hold
constexpr int64_t seconds32 = int64_t{1} << 32; // the first second that an unsigned word of 32 bits cannot hold
constexpr int64_t farBeyond = int64_t{1} << 40;

const auto boundaries = testing::Values(seconds31, seconds32, farBeyond);

// The time as a handler or a profiler receives it: both fields are longs, whose width depends on the machine.
Fields asLongs(const Fields& time) { return {static_cast<long>(time.first), static_cast<long>(time.second)}; }

class TimersBeyond : public DispatcherTest, public testing::WithParamInterface<int64_t> {
protected:
    // Sets the dispatcher's clock to the boundary plus these seconds and microseconds.
    void clockIs(int64_t sec, int64_t usec)
    {
        const timeval now = dispatcher.currentTime();
        clock.advance(GetParam() + sec - now.tv_sec, usec - now.tv_usec);
    }
    Fields fromBoundary(int64_t sec, int64_t usec) const { return {GetParam() + sec, usec}; }

    FakeClock clock;
    Calls calls;
    Handler a{"A", calls}, b{"B", calls}, c{"C", calls};
};
INSTANTIATE_TEST_SUITE_P(Boundaries, TimersBeyond, boundaries);

TEST_P(TimersBeyond, RunOnAClockThatPassesTheBoundary)
{
    clockIs(-1, 999999);
    const timeval before = dispatcher.currentTime();
    EXPECT_EQ(fields(before), fromBoundary(-1, 999999));
    clock.advance(0, 2);
    const timeval behind = dispatcher.currentTime();
    EXPECT_EQ(fields(behind), fromBoundary(0, 1));
    EXPECT_EQ(fields(behind - before), Fields(0, 2));
    EXPECT_TRUE(behind > before);
}

TEST_P(TimersBeyond, AreDueBehindTheBoundaryWhenStartedBeforeIt)
{
    clockIs(-1, 500000);
    dispatcher.startTimer(1, 250000, &a);
    EXPECT_EQ(fields(dispatcher.timers->earliest()), fromBoundary(0, 750000));
}

TEST_P(TimersBeyond, LimitTheWaitToTheTimeAcrossTheBoundary)
{
    clockIs(-1, 500000);
    dispatcher.startTimer(1, 250000, &a);
    cycle();
    EXPECT_EQ(fields(select.asked.back().timeout), Fields(1, 250000));
    EXPECT_THAT(calls, IsEmpty());
}

TEST_P(TimersBeyond, FireBehindTheBoundaryAndAreToldTheTimeAsLongs)
{
    clockIs(-1, 500000);
    dispatcher.startTimer(1, 250000, &a);
    clock.advance(1, 250000);
    cycle();
    EXPECT_THAT(calls, IsEmpty()) << "due exactly now";
    clock.advance(0, 1);
    cycle();
    EXPECT_THAT(calls, ElementsAre("A timer"));
    EXPECT_EQ(a.now, asLongs(fromBoundary(0, 750001)));
}

TEST_P(TimersBeyond, FireInTheOrderOfTheirTimesOnBothSides)
{
    clockIs(-2, 0);
    dispatcher.startTimer(3, 0, &c);
    dispatcher.startTimer(1, 999999, &a);
    dispatcher.startTimer(2, 0, &b);
    clock.advance(2, 0);
    cycle();
    EXPECT_THAT(calls, ElementsAre("A timer"));
    clock.advance(1, 1);
    cycle();
    EXPECT_THAT(calls, ElementsAre("A timer", "B timer", "C timer"));
}

TEST_P(TimersBeyond, StartAgainFromInsideAcrossTheBoundary)
{
    a.onTimer = [&] { dispatcher.startTimer(1, 0, &a); };
    clockIs(-2, 0);
    dispatcher.startTimer(1, 0, &a);
    for (int second = 0; second < 4; ++second) {
        clock.advance(1, 1);
        cycle();
    }
    EXPECT_EQ(calls.size(), 4u);
    EXPECT_EQ(a.now, asLongs(fromBoundary(2, 4)));
}

TEST_P(TimersBeyond, AsFarAsALongReachesAreDueThen)
{
    const int64_t delay = std::min<int64_t>(LONG_MAX, farBeyond); // LONG_MAX of 64 bits is too large for a time
    clockIs(0, 0);
    dispatcher.startTimer(static_cast<long>(delay), 0, &a);
    EXPECT_EQ(fields(dispatcher.timers->earliest()), fromBoundary(delay, 0));
    cycle();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_P(TimersBeyond, OfThePastAreDueBeforeTheBoundary)
{
    clockIs(0, 0);
    dispatcher.startTimer(-1, 0, &a);
    EXPECT_EQ(fields(dispatcher.timers->earliest()), fromBoundary(-1, 0));
    cycle();
    EXPECT_THAT(calls, ElementsAre("A timer"));
}

// The queue without a dispatcher. The tests give the times.
class QueueBeyond : public testing::TestWithParam<int64_t> {
protected:
    static timeval fromBoundary(int64_t sec, int64_t usec) { return tv(GetParam() + sec, usec); }

    Calls calls;
    Handler a{"A", calls}, b{"B", calls}, c{"C", calls};
    TimerQueue queue;
};
INSTANTIATE_TEST_SUITE_P(Boundaries, QueueBeyond, boundaries);

TEST_P(QueueBeyond, IsSortedAcrossTheBoundary)
{
    queue.insert(fromBoundary(0, 0), &b);
    queue.insert(fromBoundary(1, 0), &c);
    queue.insert(fromBoundary(-1, 999999), &a);
    queue.expire(fromBoundary(2, 0));
    EXPECT_THAT(calls, ElementsAre("A timer", "B timer", "C timer"));
}

TEST_P(QueueBeyond, FiresOnlyWhatIsDueBeforeTheBoundary)
{
    queue.insert(fromBoundary(0, 0), &b);
    queue.insert(fromBoundary(-1, 999999), &a);
    queue.expire(fromBoundary(0, 0));
    EXPECT_THAT(calls, ElementsAre("A timer"));
    queue.expire(fromBoundary(0, 1));
    EXPECT_THAT(calls, ElementsAre("A timer", "B timer"));
}

// If the late times were cut to 32 bits, they would be small numbers or lie in the past.
TEST_P(QueueBeyond, DoesNotTakeALateTimeForAnEarlyOne)
{
    queue.insert(fromBoundary(1, 0), &b);
    queue.insert(tv(2, 0), &a);
    queue.expire(tv(3, 0));
    EXPECT_THAT(calls, ElementsAre("A timer"));
    queue.expire(fromBoundary(1, 0));
    EXPECT_THAT(calls, ElementsAre("A timer"));
}

TEST_P(QueueBeyond, TellsTheTimeAsLongs)
{
    queue.insert(tv(1, 0), &a);
    queue.expire(fromBoundary(7, 8));
    EXPECT_EQ(a.now, asLongs({GetParam() + 7, 8}));
}

// Limits of a wait.
class WaitsBeyond : public DispatcherTest, public testing::WithParamInterface<int64_t> {
protected:
    WaitsBeyond() { select.left = tv(GetParam() - 2, 750000); }

    Fields reachedSelect() const { return fields(select.asked.back().timeout); }

    FakeClock clock;
    timeval limit = tv(GetParam(), 250000);
};
INSTANTIATE_TEST_SUITE_P(Limits, WaitsBeyond,
                         testing::Values(seconds31 - 1, seconds31, seconds31 + 5, seconds32, seconds32 + 5, farBeyond));

TEST_P(WaitsBeyond, HaveTheirWholeLimit)
{
    dispatcher.dispatch(&limit);
    EXPECT_EQ(reachedSelect(), Fields(GetParam(), 250000));
}

TEST_P(WaitsBeyond, HandBackWhatSelectLeaves)
{
    dispatcher.dispatch(&limit);
    EXPECT_EQ(fields(limit), Fields(GetParam() - 2, 750000));
}

TEST_P(WaitsBeyond, EndWithATimerThatIsAsFar)
{
    dispatcher.timers->insert(dispatcher.currentTime() + tv(GetParam(), 0), &handler);
    dispatcher.dispatch();
    EXPECT_EQ(reachedSelect(), Fields(GetParam(), 0));
    dispatcher.dispatch(&limit);
    EXPECT_EQ(reachedSelect(), Fields(GetParam(), 0)) << "the limit is later";
    limit = tv(GetParam() - 1, 999999);
    dispatcher.dispatch(&limit);
    EXPECT_EQ(reachedSelect(), Fields(GetParam() - 1, 999999)) << "the limit is earlier";
    EXPECT_THAT(handler.calls, IsEmpty());
}

TEST_P(WaitsBeyond, EndWithATimerThatIsNear)
{
    dispatcher.startTimer(2, 0, &handler);
    dispatcher.dispatch(&limit);
    EXPECT_EQ(reachedSelect(), Fields(2, 0));
    EXPECT_EQ(fields(limit), Fields(GetParam(), 250000));
}

TEST_P(WaitsBeyond, CountAsSleepFromTheirLimitAsALong)
{
    dispatcher.dispatch(&limit);
    const int64_t asked = static_cast<long>(GetParam());
    EXPECT_EQ(dispatcher.sleepMicros, (asked - (GetParam() - 2)) * 1000000 + 250000 - 750000);
}

TEST_P(WaitsBeyond, CountAsSleepWholeWhenNothingIsLeft)
{
    select.left = tv(0, 0);
    dispatcher.dispatch(&limit);
    EXPECT_EQ(dispatcher.sleepMicros, int64_t{static_cast<long>(GetParam())} * 1000000 + 250000);
}

std::vector<Fields> toldProfiler;

TEST_P(WaitsBeyond, AreToldTheProfilerAsLongs)
{
    toldProfiler.clear();
    itcDispatcher::startTimerFP = [](int) {};
    itcDispatcher::incDispatchSleepTimeFP = [](long sec, long usec, long leftSec, long leftUsec) {
        toldProfiler = {{sec, usec}, {leftSec, leftUsec}};
    };
    dispatcher.dispatch(&limit);
    itcDispatcher::startTimerFP = nullptr;
    itcDispatcher::incDispatchSleepTimeFP = nullptr;
    EXPECT_THAT(toldProfiler, ElementsAre(asLongs({GetParam(), 250000}), asLongs({GetParam() - 2, 750000})));
}

TEST_P(WaitsBeyond, OfADoubleAreAsLongAsALongCanTell)
{
    dispatcher.dispatch(static_cast<double>(GetParam()) + 0.5);
    EXPECT_EQ(reachedSelect(), Fields(std::min<int64_t>(GetParam(), LONG_MAX), 500000));
}

// The cycle takes longer than the rest. Therefore the rest is handed back.
TEST_P(WaitsBeyond, OfLongsHandBackTheRestAsLongs)
{
    select.meanwhile = [&] { clock.advance(2 * GetParam(), 0); };
    long sec = LONG_MAX;
    long usec = 5;
    dispatcher.dispatch(sec, usec);
    EXPECT_EQ(reachedSelect(), Fields(LONG_MAX, 5));
    EXPECT_EQ(Fields(sec, usec), asLongs({GetParam() - 2, 750000}));
}

TEST_P(WaitsBeyond, OfLongsHandBackNothingWhereMoreIsLeftThanWasUsed)
{
    select.meanwhile = [&] { clock.advance(GetParam() - 3, 0); };
    long sec = 7;
    long usec = 5;
    dispatcher.dispatch(sec, usec);
    EXPECT_EQ(Fields(sec, usec), Fields(0, 0));
}

// A sum of microseconds exceeds 32 bits after 36 minutes (signed) or 72 minutes (unsigned).
TEST_F(DispatcherTest, AddsUpMoreSleepThan32BitsHold)
{
    for (int hour = 1; hour <= 3; ++hour) {
        timeval timeout = tv(3600, 0);
        dispatcher.dispatch(&timeout);
        EXPECT_EQ(dispatcher.sleepMicros, hour * int64_t{3600000000});
    }
}

// The wall clock passes the boundary. A process reads the base and the start of its clock only once. Therefore each
// test runs in a process of its own.
class WallClockBeyond : public testing::TestWithParam<int64_t> {
protected:
    WallClockBeyond() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};
INSTANTIATE_TEST_SUITE_P(Boundaries, WallClockBeyond, boundaries);

TEST_P(WallClockBeyond, PassesTheBoundaryBetweenTwoReadings)
{
    const auto child = [] {
        const OpenDispatcher dispatcher;
        setWallClock(GetParam() - 1, 900000);
        const Fields first = fields(dispatcher.currentTime());
        setWallClock(GetParam(), 400000);
        const Fields second = fields(dispatcher.currentTime());
        const bool good = first == Fields(GetParam() - 1, 900000) && second == Fields(GetParam(), 400000);
        std::_Exit(good ? 42 : 1);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(42), "");
}

TEST_P(WallClockBeyond, FiresATimerThatWasStartedBeforeIt)
{
    const auto child = [] {
        FakeSelect select;
        OpenDispatcher dispatcher;
        Handler handler;
        setWallClock(GetParam() - 1, 900000);
        dispatcher.startTimer(0, 200000, &handler);
        dispatcher.dispatch(0.0);
        const bool early = !handler.calls.empty();
        setWallClock(GetParam(), 100001);
        dispatcher.dispatch(0.0);
        const bool good = !early && handler.now == asLongs({GetParam(), 100001});
        std::_Exit(good ? 42 : 1);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(42), "");
}

} // namespace
