// The forms of dispatch() that take a time: how long they wait, and which time they hand back.
#include "DispatcherParts.h"
#include "StatusMatchers.h"

#include <gmock/gmock.h>

#include <climits>
#include <cmath>
#include <limits>

namespace {

// dispatch(double)

constexpr double infinity = std::numeric_limits<double>::infinity();

struct Seconds {
    double seconds;
    Fields limit;
};

void PrintTo(const Seconds& seconds, std::ostream* out) { *out << seconds.seconds; }

class DispatchSeconds : public DispatcherTest, public testing::WithParamInterface<Seconds> {};

TEST_P(DispatchSeconds, WaitForThatTime)
{
    leaveMark(dispatcher);
    EXPECT_EQ(dispatcher.dispatch(GetParam().seconds), 0);
    EXPECT_THAT(dispatcher, HasClearStatus());
    EXPECT_EQ(fields(select.asked.at(0).timeout), GetParam().limit);
}

INSTANTIATE_TEST_SUITE_P(Ordinary, DispatchSeconds,
                         testing::Values(Seconds{0.0, {0, 0}}, Seconds{1.0, {1, 0}}, Seconds{2.5, {2, 500000}},
                                         Seconds{0.25, {0, 250000}}, Seconds{86400.125, {86400, 125000}}));
INSTANTIATE_TEST_SUITE_P(CutTowardsZero, DispatchSeconds,
                         testing::Values(Seconds{4.35, {4, 349999}}, Seconds{0.0000009, {0, 0}},
                                         Seconds{-0.0000009, {0, 0}}, Seconds{0.9999999, {0, 999999}}));
INSTANTIATE_TEST_SUITE_P(Negative, DispatchSeconds,
                         testing::Values(Seconds{-1.5, {-1, -500000}}, Seconds{-0.25, {0, -250000}},
                                         Seconds{-2.0, {-2, 0}}));
INSTANTIATE_TEST_SUITE_P(Beyond, DispatchSeconds,
                         testing::Values(Seconds{infinity, {LONG_MAX, 0}}, Seconds{-infinity, {LONG_MIN, 0}},
                                         Seconds{1e300, {LONG_MAX, 0}}, Seconds{-1e300, {LONG_MIN, 0}},
                                         Seconds{std::nan(""), {0, 0}}));

using DispatchSecondsResult = DispatcherTest;

TEST_F(DispatchSecondsResult, TellsWhetherSomethingWasReady)
{
    attach(3, ReadMask, &handler);
    select.ready({3});
    EXPECT_EQ(dispatcher.dispatch(1.0), 1);
    EXPECT_EQ(dispatcher.dispatch(1.0), 0);
}

// dispatch(long&, long&): the limit is {5, 250000}; the cycle takes two seconds.
class DispatchLongs : public DispatcherTest {
protected:
    DispatchLongs()
    {
        select.meanwhile = [this] { clock.advance(2, 0); };
    }
    int dispatch() { return dispatcher.dispatch(sec, usec); }
    void expectHandedBack(long s, long u)
    {
        EXPECT_EQ(sec, s);
        EXPECT_EQ(usec, u);
    }

    FakeClock clock;
    long sec = 5, usec = 250000;
};

TEST_F(DispatchLongs, WaitForThatTimeAndClearTheStatus)
{
    leaveMark(dispatcher);
    EXPECT_EQ(dispatch(), 0);
    EXPECT_EQ(fields(select.asked.at(0).timeout), Fields(5, 250000));
    EXPECT_THAT(dispatcher, HasClearStatus());
}

TEST_F(DispatchLongs, ReturnOneWhenSomethingWasReady)
{
    attach(3, ReadMask, &handler);
    select.ready({3});
    EXPECT_EQ(dispatch(), 1);
}

TEST_F(DispatchLongs, HandBackZeroWhenMoreIsLeftThanTheCycleTook)
{
    select.left = tv(2, 1);
    dispatch();
    expectHandedBack(0, 0);
}

TEST_F(DispatchLongs, HandBackWhatIsLeftWhenTheCycleTookAsLong)
{
    select.left = tv(2, 0);
    dispatch();
    expectHandedBack(2, 0);
}

TEST_F(DispatchLongs, HandBackWhatIsLeftWhenTheCycleTookLonger)
{
    select.left = tv(1, 999999);
    dispatch();
    expectHandedBack(1, 999999);
}

TEST_F(DispatchLongs, HandBackZeroForALimitThatATimerHasCut)
{
    dispatcher.startTimer(2, 0, &handler);
    dispatch();
    expectHandedBack(0, 0); // the whole limit is left, which is more than the cycle took
}

TEST_F(DispatchLongs, HandBackANegativeTimeAsItIs)
{
    sec = -3;
    usec = -4;
    select.fails(EINVAL);
    EXPECT_EQ(dispatch(), 0);
    expectHandedBack(-3, -4);
}

TEST_F(DispatchLongs, TakeExtremeTimes)
{
    sec = LONG_MIN;
    usec = LONG_MIN;
    select.fails(EINVAL);
    EXPECT_EQ(dispatch(), 0);
    expectHandedBack(LONG_MIN, LONG_MIN);
    sec = LONG_MAX;
    usec = LONG_MAX;
    select.fails(EINVAL);
    EXPECT_EQ(dispatch(), 0);
    expectHandedBack(0, 0);
}

} // namespace
