// What a cycle calls, in which order, and what it returns.
#include "DispatcherParts.h"
#include "StatusMatchers.h"

#include <kiv/dispatcher/ICBKivReady.h>

#include <gmock/gmock.h>

#include <climits>
#include <functional>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DispatcherCycle : public DispatcherTest {
protected:
    // Calls notify() with these ready descriptors and the count `n`.
    void notify(int n, const std::vector<int>& read, const std::vector<int>& write = {},
                const std::vector<int>& except = {})
    {
        FdMask r = setOf(read), w = setOf(write), e = setOf(except);
        dispatcher.notify(n, r, w, e);
    }
    static FdMask setOf(const std::vector<int>& fds)
    {
        FdMask mask;
        for (const int fd : fds)
            mask.setBit(fd);
        return mask;
    }

    Calls calls;
    Handler a{"A", calls}, b{"B", calls}, c{"C", calls};
};

TEST_F(DispatcherCycle, CallsInAscendingOrderOfDescriptors)
{
    attach(40, ReadMask, &c);
    attach(3, ReadMask, &a);
    attach(9, ReadMask, &b);
    select.ready({40, 3, 9});
    EXPECT_EQ(cycle(), 1);
    EXPECT_THAT(calls, ElementsAre("A in", "B in", "C in"));
}

TEST_F(DispatcherCycle, CallsReadWriteAndExceptionOfOneDescriptorBeforeTheNext)
{
    attach(3, everyKind, &a);
    attach(4, everyKind, &b);
    select.ready({3, 4}, {3, 4}, {3, 4});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "A out", "A except", "B in", "B out", "B except"));
}

TEST_F(DispatcherCycle, CallsOnlyTheKindThatIsReady)
{
    attach(3, everyKind, &a);
    select.ready({}, {3});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A out"));
}

TEST_F(DispatcherCycle, ReachesTheFirstAndTheLastDescriptor)
{
    attach(0, ReadMask, &a);
    attach(1023, ReadMask, &b);
    select.ready({0, 1023});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "B in"));
    EXPECT_EQ(select.asked.back().nfds, 1024);
}

TEST_F(DispatcherCycle, StopsWhenAllEventsAreAccountedFor)
{
    attach(3, ReadMask, &a);
    attach(4, ReadMask, &b);
    attach(5, ReadMask, &c);
    notify(2, {3, 4, 5});
    EXPECT_THAT(calls, ElementsAre("A in", "B in"));
}

TEST_F(DispatcherCycle, CountsEveryKindAsAnEvent)
{
    attach(3, everyKind, &a);
    attach(4, ReadMask, &b);
    attach(5, ReadMask, &c);
    notify(4, {3, 4, 5}, {3}, {3});
    EXPECT_THAT(calls, ElementsAre("A in", "A out", "A except", "B in"));
}

TEST_F(DispatcherCycle, FinishesADescriptorWhoseEventsExceedTheCount)
{
    attach(3, everyKind, &a);
    notify(1, {3}, {3}, {3});
    EXPECT_THAT(calls, ElementsAre("A in", "A out", "A except"));
}

TEST_F(DispatcherCycle, CountsAnEventThatHasNoHandler)
{
    attach(3, ReadMask, nullptr);
    attach(4, WriteMask, nullptr);
    attach(5, ExceptMask, nullptr);
    attach(6, ReadMask, &b);
    attach(7, ReadMask, &c);
    notify(4, {3, 6, 7}, {4}, {5});
    EXPECT_THAT(calls, ElementsAre("B in"));
}

TEST_F(DispatcherCycle, LooksAtNothingBeyondTheHighestDescriptor)
{
    attach(3, ReadMask, &a);
    notify(5, {3, 4, 500});
    EXPECT_THAT(calls, ElementsAre("A in"));
}

TEST_F(DispatcherCycle, NotifiesOfNothingWhenNothingIsReady)
{
    attach(3, everyKind, &a);
    notify(0, {3}, {3}, {3});
    EXPECT_THAT(calls, IsEmpty());
}

class CallRecorder : public ICBKivReady {
public:
    explicit CallRecorder(Calls& journal) : calls(journal) {}
    void ready(int, void*) override { calls.push_back("ready"); }

private:
    Calls& calls;
};

TEST_F(DispatcherCycle, DeliversNotificationsBehindTheHandlersAndTimersLast)
{
    CallRecorder receiver(calls);
    dispatcher.startTimer(-1, 0, &a);
    dispatcher.addAsyncReadyNotify(1, &receiver, nullptr, nullptr);
    attach(3, ReadMask, &b);
    select.ready({3});
    cycle();
    EXPECT_THAT(calls, ElementsAre("B in", "ready", "A timer"));
}

TEST_F(DispatcherCycle, DeliversNotificationsAndFiresTimersWhenNothingIsReady)
{
    CallRecorder receiver(calls);
    dispatcher.startTimer(-1, 0, &a);
    dispatcher.addAsyncReadyNotify(1, &receiver, nullptr, nullptr);
    EXPECT_EQ(cycle(), 0);
    EXPECT_THAT(calls, ElementsAre("ready", "A timer"));
}

TEST_F(DispatcherCycle, DeliversNotificationsAndFiresTimersAfterAFailedWait)
{
    CallRecorder receiver(calls);
    dispatcher.startTimer(-1, 0, &a);
    dispatcher.addAsyncReadyNotify(1, &receiver, nullptr, nullptr);
    select.fails(EINTR);
    EXPECT_EQ(cycle(), 0);
    EXPECT_THAT(calls, ElementsAre("ready", "A timer"));
}

TEST_F(DispatcherCycle, DoesNotLookAtTheClockWithoutTimers)
{
    attach(3, ReadMask, &a);
    select.ready({3});
    timeval timeout = tv(1, 0);
    dispatcher.dispatch(&timeout);
    EXPECT_EQ(OsFaults::getuptime().calls(), 0);
}

TEST_F(DispatcherCycle, FiresATimerThatAHandlerStarts)
{
    attach(3, ReadMask, &a);
    a.onInput = [&] {
        dispatcher.startTimer(-1, 0, &b);
        return 0;
    };
    select.ready({3});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "B timer"));
}

// Results and accounts of dispatch(timeval*)

TEST_F(DispatcherCycle, IsOneWhenSomethingWasReady)
{
    attach(3, ReadMask, &a);
    attach(4, ReadMask, &b);
    select.ready({3, 4});
    timeval timeout = tv(1, 0);
    EXPECT_EQ(dispatcher.dispatch(&timeout), 1);
}

TEST_F(DispatcherCycle, IsZeroWhenTheTimeWasUp)
{
    attach(3, ReadMask, &a);
    timeval timeout = tv(1, 0);
    EXPECT_EQ(dispatcher.dispatch(&timeout), 0);
}

TEST_F(DispatcherCycle, IsZeroWhenOnlyATimerFired)
{
    attach(3, ReadMask, &b);
    dispatcher.startTimer(-1, 0, &a);
    timeval timeout = tv(1, 0);
    EXPECT_EQ(dispatcher.dispatch(&timeout), 0);
    EXPECT_THAT(calls, ElementsAre("A timer"));
}

TEST_F(DispatcherCycle, ClearsTheStatus)
{
    leaveMark(dispatcher);
    timeval timeout = tv(0, 0);
    dispatcher.dispatch(&timeout);
    EXPECT_THAT(dispatcher, HasClearStatus());
}

TEST_F(DispatcherCycle, KeepsTheStatusThatAHandlerCauses)
{
    attach(3, ReadMask, &a);
    a.onInput = [&] {
        dispatcher.attach(-1, nullptr, nullptr, ReadMask, &a);
        return 0;
    };
    select.ready({3});
    cycle();
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
}

TEST_F(DispatcherCycle, CountsTheCycles)
{
    timeval timeout = tv(0, 0);
    dispatcher.dispatch(&timeout);
    dispatcher.dispatch(0.0);
    dispatcher.dispatch();
    long sec = 0, usec = 0;
    dispatcher.dispatch(sec, usec);
    EXPECT_EQ(dispatcher.dispatchCount, 4);
}

TEST_F(DispatcherCycle, AddsUpTheTimeThatTheWaitsUsed)
{
    select.left = tv(1, 750000);
    timeval timeout = tv(5, 500000);
    dispatcher.dispatch(&timeout);
    EXPECT_EQ(dispatcher.sleepMicros, 3750000);
    timeout = tv(2, 0);
    dispatcher.dispatch(&timeout);
    EXPECT_EQ(dispatcher.sleepMicros, 4000000);
}

TEST_F(DispatcherCycle, CountsAWholeLimitThatWasSetToZeroAsSlept)
{
    attach(3, ReadMask, &a);
    a.onInput = [] { return 1; };
    select.ready({3});
    select.left = tv(4, 0);
    timeval timeout = tv(4, 0);
    dispatcher.dispatch(&timeout);
    ASSERT_EQ(dispatcher.sleepMicros, 0);
    select.left = tv(0, 0);
    dispatcher.dispatch(&timeout);
    EXPECT_EQ(dispatcher.sleepMicros, 4000000);
}

TEST_F(DispatcherCycle, CountsNoSleepUnderATimersLimit)
{
    FakeClock clock;
    dispatcher.startTimer(2, 0, &a);
    timeval timeout = tv(5, 0);
    dispatcher.dispatch(&timeout);
    EXPECT_EQ(dispatcher.sleepMicros, 0);
    EXPECT_EQ(fields(timeout), Fields(5, 0));
}

TEST_F(DispatcherCycle, CountsNoSleepWithoutALimit)
{
    dispatcher.dispatch(static_cast<timeval*>(nullptr));
    EXPECT_EQ(dispatcher.sleepMicros, 0);
}

TEST_F(DispatcherCycle, AddsUpExtremeSleepWithoutOverflow)
{
    select.left = tv(INT64_MIN, INT64_MIN);
    timeval timeout = tv(INT64_MAX, INT64_MAX);
    dispatcher.dispatch(&timeout);
    timeout = tv(INT64_MAX, INT64_MAX);
    dispatcher.dispatch(&timeout);
    EXPECT_EQ(dispatcher.sleepMicros, INT64_MAX);
}

// dispatch()

TEST_F(DispatcherCycle, WithoutALimitReturnsWhatWasReadyWithAClearStatus)
{
    attach(3, ReadMask, &a);
    select.ready({3});
    leaveMark(dispatcher);
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(dispatcher, HasClearStatus());
    EXPECT_FALSE(select.asked.back().limited);
}

TEST_F(DispatcherCycle, WithoutALimitReturnsThePendingErrorWhenNothingWasReady)
{
    select.meanwhile = [] { errno = EPIPE; };
    EXPECT_EQ(dispatcher.dispatch(), EPIPE);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_No_Connection_Linked, Error, EPIPE));
}

TEST_F(DispatcherCycle, WithoutALimitReturnsZeroWhenNothingWasReadyAndNoErrorIsPending)
{
    select.meanwhile = [] { errno = 0; };
    EXPECT_EQ(dispatcher.dispatch(), 0);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_No_Connection_Linked, Error, 0));
}

TEST_F(DispatcherCycle, WithoutALimitRecordsItsStatusAlsoWhenATimerFired)
{
    attach(3, ReadMask, &b);
    dispatcher.startTimer(-1, 0, &a);
    select.meanwhile = [] { errno = 0; };
    EXPECT_EQ(dispatcher.dispatch(), 0);
    EXPECT_THAT(calls, ElementsAre("A timer"));
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_No_Connection_Linked, Error, 0));
}

TEST_F(DispatcherCycle, WithNothingLinkedEndsByTheInterruption)
{
    select.fails(EINTR);
    EXPECT_EQ(dispatcher.dispatch(), EINTR);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_No_Connection_Linked, Error, EINTR));
    EXPECT_EQ(select.asked.size(), 1u);
    EXPECT_EQ(select.asked[0].nfds, 0);
    EXPECT_FALSE(select.asked[0].limited);
}

} // namespace
