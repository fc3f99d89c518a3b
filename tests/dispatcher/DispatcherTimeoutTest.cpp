// How long a cycle waits, and how the caller's limit changes.
#include "DispatcherParts.h"
#include "StatusMatchers.h"

#include <kiv/dispatcher/TimerQueue.h>

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double infinity = std::numeric_limits<double>::infinity();

class CalculatedTimeout : public DispatcherTest {
protected:
    timeval* calculate(timeval* limit) { return dispatcher.calculateTimeout(limit, local, buffered); }

    void bufferOn(int fd, itcDispatcherMask kinds = ReadMask)
    {
        for (const Kind& kind : ::kinds) {
            if (kinds & kind.mask)
                dispatcher.attach(fd, &conn, nullptr, kind.mask, &handler);
        }
        conn.held = 1;
    }

    FakeClock clock;
    BufferedConnection conn;
    timeval timeout = tv(5, 250000);
    timeval local = tv(-1, -1);
    std::vector<int> buffered;
};

TEST_F(CalculatedTimeout, IsTheCallersWhenNothingShortensIt)
{
    EXPECT_EQ(calculate(&timeout), &timeout);
    EXPECT_EQ(fields(timeout), Fields(5, 250000));
    EXPECT_EQ(fields(local), Fields(-1, -1));
}

TEST_F(CalculatedTimeout, IsNoneWhenNothingLimitsIt)
{
    EXPECT_EQ(calculate(nullptr), nullptr);
    EXPECT_EQ(fields(local), Fields(-1, -1));
}

TEST_F(CalculatedTimeout, IsTheTimeToTheFirstTimerWhenThatIsShorter)
{
    dispatcher.startTimer(2, 0, &handler);
    dispatcher.startTimer(3, 0, &handler);
    clock.advance(0, 400000);
    EXPECT_EQ(calculate(&timeout), &local);
    EXPECT_EQ(fields(local), Fields(1, 600000));
    EXPECT_EQ(fields(timeout), Fields(5, 250000));
}

TEST_F(CalculatedTimeout, IsTheTimeToTheFirstTimerWhereThereIsNoLimit)
{
    dispatcher.startTimer(2, 0, &handler);
    EXPECT_EQ(calculate(nullptr), &local);
    EXPECT_EQ(fields(local), Fields(2, 0));
}

TEST_F(CalculatedTimeout, IsTheCallersWhenTheTimerIsLater)
{
    dispatcher.startTimer(6, 0, &handler);
    EXPECT_EQ(calculate(&timeout), &timeout);
    EXPECT_EQ(fields(timeout), Fields(5, 250000));
}

TEST_F(CalculatedTimeout, IsTheCallersWhenTheTimerIsAsFar)
{
    dispatcher.startTimer(5, 250000, &handler);
    EXPECT_EQ(calculate(&timeout), &timeout);
    EXPECT_EQ(fields(timeout), Fields(5, 250000));
}

TEST_F(CalculatedTimeout, RaisesNegativeMicrosecondsToZeroUnderATimer)
{
    dispatcher.startTimer(6, 0, &handler);
    timeout = tv(3, -7);
    EXPECT_EQ(calculate(&timeout), &timeout);
    EXPECT_EQ(fields(timeout), Fields(3, 0));
}

TEST_F(CalculatedTimeout, LeavesNegativeMicrosecondsAloneWithoutATimer)
{
    timeout = tv(3, -7);
    EXPECT_EQ(calculate(&timeout), &timeout);
    EXPECT_EQ(fields(timeout), Fields(3, -7));
}

TEST_F(CalculatedTimeout, LeavesNegativeSecondsAlone)
{
    dispatcher.startTimer(6, 0, &handler);
    timeout = tv(-3, 5);
    EXPECT_EQ(calculate(&timeout), &timeout);
    EXPECT_EQ(fields(timeout), Fields(-3, 5));
}

TEST_F(CalculatedTimeout, IsZeroWhenATimerIsDueExactlyNow)
{
    dispatcher.startTimer(0, 0, &handler);
    EXPECT_EQ(calculate(&timeout), &timeout);
    EXPECT_EQ(fields(timeout), Fields(0, 0));
}

TEST_F(CalculatedTimeout, IsZeroWhenATimerIsOverdue)
{
    dispatcher.startTimer(1, 0, &handler);
    clock.advance(2, 0);
    EXPECT_EQ(calculate(nullptr), &local);
    EXPECT_EQ(fields(local), Fields(0, 0));
}

TEST_F(CalculatedTimeout, IsZeroWhenAHandlerAskedToBeCalledAgain)
{
    for (const Kind& kind : kinds) {
        (dispatcher.*kind.ready)->push_back(4);
        timeout = tv(5, 0);
        EXPECT_EQ(calculate(&timeout), &timeout) << kind.name;
        EXPECT_EQ(fields(timeout), Fields(0, 0)) << kind.name;
        (dispatcher.*kind.ready)->clear();
    }
}

TEST_F(CalculatedTimeout, IsZeroWhenAHandlerAskedToBeCalledAgainWithoutALimit)
{
    dispatcher.readyWrite->push_back(4);
    EXPECT_EQ(calculate(nullptr), &local);
    EXPECT_EQ(fields(local), Fields(0, 0));
}

TEST_F(CalculatedTimeout, IsZeroWhenAConnectionHoldsBytes)
{
    bufferOn(6);
    EXPECT_EQ(calculate(&timeout), &timeout);
    EXPECT_EQ(fields(timeout), Fields(0, 0));
    EXPECT_THAT(buffered, ElementsAre(6));
}

TEST_F(CalculatedTimeout, IsZeroWhenAConnectionHoldsBytesWithoutALimit)
{
    bufferOn(6);
    EXPECT_EQ(calculate(nullptr), &local);
    EXPECT_EQ(fields(local), Fields(0, 0));
}

TEST_F(CalculatedTimeout, IsZeroInThePlaceOfTheTimersLimit)
{
    bufferOn(6);
    dispatcher.startTimer(2, 0, &handler);
    EXPECT_EQ(calculate(&timeout), &local);
    EXPECT_EQ(fields(local), Fields(0, 0));
    EXPECT_EQ(fields(timeout), Fields(5, 250000));
}

TEST_F(CalculatedTimeout, NamesEveryDescriptorThatHoldsBytesInOrder)
{
    for (const int fd : {900, 0, 17})
        bufferOn(fd);
    calculate(nullptr);
    EXPECT_THAT(buffered, ElementsAre(0, 17, 900));
    EXPECT_EQ(conn.timesAsked, 3);
}

TEST_F(CalculatedTimeout, IgnoresConnectionsThatHoldNothing)
{
    bufferOn(6);
    for (const int held : {0, -1}) {
        conn.held = held;
        EXPECT_EQ(calculate(nullptr), nullptr);
        EXPECT_THAT(buffered, IsEmpty());
    }
    EXPECT_EQ(conn.timesAsked, 2);
}

TEST_F(CalculatedTimeout, AsksOnlyConnectionsWithAReadHandler)
{
    bufferOn(6, WriteMask | ExceptMask);
    EXPECT_EQ(calculate(nullptr), nullptr);
    EXPECT_EQ(conn.timesAsked, 0);
}

TEST_F(CalculatedTimeout, AsksNobodyWhileTheCheckIsOff)
{
    bufferOn(6);
    itcDispatcher::checkCommunicationBuffer = false;
    EXPECT_EQ(calculate(nullptr), nullptr);
    EXPECT_EQ(conn.timesAsked, 0);
    itcDispatcher::checkCommunicationBuffer = true;
}

TEST_F(CalculatedTimeout, CountsAReadHandlerWithoutConnectionAsHoldingNothing)
{
    attach(4, ReadMask, &handler);
    EXPECT_EQ(calculate(nullptr), nullptr);
    bufferOn(6);
    attach(6, ExceptMask, &handler); // replaces the connection of the read handler
    EXPECT_EQ(calculate(nullptr), nullptr);
    EXPECT_THAT(buffered, IsEmpty());
}

TEST_F(CalculatedTimeout, IsTheSameWithoutAListOfDescriptors)
{
    bufferOn(6);
    EXPECT_EQ(dispatcher.calculateTimeout(&timeout, local), &timeout);
    EXPECT_EQ(fields(timeout), Fields(0, 0));
    EXPECT_EQ(dispatcher.calculateTimeout(nullptr, local), &local);
}

TEST_F(CalculatedTimeout, HasTheCheckOnAtFirst) { EXPECT_TRUE(itcDispatcher::checkCommunicationBuffer); }

// Through whole cycles

TEST_F(CalculatedTimeout, LimitsAWaitToTheTimer)
{
    dispatcher.startTimer(2, 0, &handler);
    dispatcher.dispatch(5.0);
    EXPECT_EQ(fields(select.asked.back().timeout), Fields(2, 0));
    dispatcher.dispatch(1.0);
    EXPECT_EQ(fields(select.asked.back().timeout), Fields(1, 0));
    dispatcher.dispatch();
    EXPECT_EQ(fields(select.asked.back().timeout), Fields(2, 0));
}

TEST_F(CalculatedTimeout, OverwritesTheCallersLimitWhenSomethingIsWaiting)
{
    bufferOn(6);
    dispatcher.dispatch(&timeout);
    EXPECT_EQ(fields(timeout), Fields(0, 0));
}

TEST_F(CalculatedTimeout, HandsBackWhatSelectLeaves)
{
    select.left = tv(1, 5);
    dispatcher.dispatch(&timeout);
    EXPECT_EQ(fields(timeout), Fields(1, 5));
}

// Waits with the system's own select().
class RealWait : public testing::Test {
protected:
    RealWait()
    {
        dispatcher.link(&pair.near(), nullptr, ReadMask, &handler);
        pair.farSends("x");
    }
    StreamPair pair;
    OpenDispatcher dispatcher;
    Handler handler;
};

TEST_F(RealWait, LeavesTheTimeNotSlept)
{
    timeval timeout = tv(1000, 0);
    EXPECT_EQ(dispatcher.dispatch(&timeout), 1);
    const int64_t left = timeout.tv_sec * 1000000 + timeout.tv_usec;
    EXPECT_LT(left, 1000000000) << "the wait took some time, however little";
    EXPECT_GT(left, 0);
    EXPECT_EQ(dispatcher.sleepMicros, 1000000000 - left);
}

TEST_F(RealWait, UsesUpALimitThatPasses)
{
    dispatcher.unlink(&pair.near(), ReadMask);
    timeval timeout = tv(0, 1000);
    EXPECT_EQ(dispatcher.dispatch(&timeout), 0);
    EXPECT_EQ(fields(timeout), Fields(0, 0));
    EXPECT_EQ(dispatcher.sleepMicros, 1000);
}

TEST_F(RealWait, TakesEndlessTimes)
{
    EXPECT_EQ(dispatcher.dispatch(infinity), 1);
    EXPECT_EQ(dispatcher.dispatch(1e300), 1);
    EXPECT_EQ(dispatcher.dispatch(std::nan("")), 1);
    EXPECT_EQ(handler.calls.size(), 3u);
}

TEST_F(RealWait, FailsAtOnceForANegativeTime)
{
    EXPECT_EQ(dispatcher.dispatch(-1.0), 0);
    EXPECT_THAT(dispatcher, HasClearStatus());
    EXPECT_THAT(handler.calls, IsEmpty());
    long sec = -1, usec = 0;
    EXPECT_EQ(dispatcher.dispatch(sec, usec), 0);
}

TEST_F(RealWait, EndsWithTheEarlierTimer)
{
    dispatcher.unlink(&pair.near(), ReadMask);
    dispatcher.startTimer(0, 1000, &handler);
    while (handler.calls.empty())
        dispatcher.dispatch();
    EXPECT_THAT(handler.calls, ElementsAre("timer"));
}

} // namespace
