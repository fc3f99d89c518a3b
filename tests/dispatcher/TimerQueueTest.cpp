// The queue of timers without a dispatcher: its order, its ties, what expires, and what a handler may do inside a call.
#include "DispatcherParts.h"

#include <kiv/dispatcher/TimerQueue.h>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct OpenQueue : TimerQueue {
    using TimerQueue::head;
    using TimerQueue::Timer;

    std::vector<itcIOHandler*> order() const
    {
        std::vector<itcIOHandler*> handlers;
        for (const Timer* timer = head; timer != nullptr; timer = timer->next)
            handlers.push_back(timer->handler);
        return handlers;
    }
};

class TimerQueueTest : public testing::Test {
protected:
    Calls calls;
    Handler a{"A", calls}, b{"B", calls}, c{"C", calls}, d{"D", calls};
    OpenQueue queue;
};

TEST_F(TimerQueueTest, IsEmptyAtFirst) { EXPECT_EQ(queue.head, nullptr); }

TEST_F(TimerQueueTest, ExpiryOfAnEmptyQueueDoesNothing)
{
    queue.expire(tv(1000, 0));
    EXPECT_EQ(queue.head, nullptr);
}

TEST_F(TimerQueueTest, SortsByTime)
{
    queue.insert(tv(3, 0), &c);
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(2, 0), &b);
    EXPECT_THAT(queue.order(), ElementsAre(&a, &b, &c));
}

TEST_F(TimerQueueTest, SortsByMicroseconds)
{
    queue.insert(tv(1, 2), &c);
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(1, 1), &b);
    EXPECT_THAT(queue.order(), ElementsAre(&a, &b, &c));
}

TEST_F(TimerQueueTest, SortsUnnormalisedTimesByTheirFields)
{
    queue.insert(tv(1, 0), &b);
    queue.insert(tv(0, 1500000), &a);
    EXPECT_THAT(queue.order(), ElementsAre(&a, &b));
}

TEST_F(TimerQueueTest, PutsATieWithTheHeadDirectlyBehindIt)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(1, 0), &b);
    EXPECT_THAT(queue.order(), ElementsAre(&a, &b));
    queue.insert(tv(1, 0), &c);
    EXPECT_THAT(queue.order(), ElementsAre(&a, &c, &b));
    queue.insert(tv(1, 0), &d);
    EXPECT_THAT(queue.order(), ElementsAre(&a, &d, &c, &b));
}

TEST_F(TimerQueueTest, PutsATieWithLaterNodesInFrontOfThemAll)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(2, 0), &b);
    queue.insert(tv(2, 0), &c);
    EXPECT_THAT(queue.order(), ElementsAre(&a, &c, &b));
    queue.insert(tv(2, 0), &d);
    EXPECT_THAT(queue.order(), ElementsAre(&a, &d, &c, &b));
}

TEST_F(TimerQueueTest, GivesTheTieBreakToBothFormsOfInsert)
{
    const timeval interval = tv(9, 9);
    queue.insert(tv(1, 0), interval, &a);
    queue.insert(tv(1, 0), interval, &b);
    queue.insert(tv(1, 0), interval, &c);
    EXPECT_THAT(queue.order(), ElementsAre(&a, &c, &b));
}

TEST_F(TimerQueueTest, CopiesTheTimeIntoTheIntervalOfAOneShotTimer)
{
    queue.insert(tv(4, 5), &a);
    EXPECT_EQ(fields(queue.head->expiry), Fields(4, 5));
    EXPECT_EQ(fields(queue.head->interval), Fields(4, 5));
}

TEST_F(TimerQueueTest, KeepsAnIntervalThatIsGiven)
{
    queue.insert(tv(4, 5), tv(6, 7), &a);
    EXPECT_EQ(fields(queue.head->expiry), Fields(4, 5));
    EXPECT_EQ(fields(queue.head->interval), Fields(6, 7));
}

TEST_F(TimerQueueTest, FiresATimerWithAnIntervalOnce)
{
    queue.insert(tv(1, 0), tv(1, 0), &a);
    queue.expire(tv(2, 0));
    queue.expire(tv(10, 0));
    EXPECT_THAT(calls, ElementsAre("A timer"));
    EXPECT_EQ(queue.head, nullptr);
}

TEST_F(TimerQueueTest, FiresInOrderOfTimeWithTheSameNow)
{
    queue.insert(tv(3, 0), &c);
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(2, 0), &b);
    queue.expire(tv(7, 8));
    EXPECT_THAT(calls, ElementsAre("A timer", "B timer", "C timer"));
    for (const Handler* handler : {&a, &b, &c})
        EXPECT_EQ(handler->now, Fields(7, 8));
}

TEST_F(TimerQueueTest, FiresTiesInTheOrderOfTheQueue)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(1, 0), &b);
    queue.insert(tv(1, 0), &c);
    queue.expire(tv(2, 0));
    EXPECT_THAT(calls, ElementsAre("A timer", "C timer", "B timer"));
}

TEST_F(TimerQueueTest, KeepsATimerThatIsDueExactlyNow)
{
    queue.insert(tv(5, 0), &a);
    queue.expire(tv(5, 0));
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_THAT(queue.order(), ElementsAre(&a));
    queue.expire(tv(5, 1));
    EXPECT_THAT(calls, ElementsAre("A timer"));
}

TEST_F(TimerQueueTest, FiresOnlyWhatIsDue)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(2, 0), &b);
    queue.insert(tv(3, 0), &c);
    queue.expire(tv(2, 500000));
    EXPECT_THAT(calls, ElementsAre("A timer", "B timer"));
    EXPECT_THAT(queue.order(), ElementsAre(&c));
}

TEST_F(TimerQueueTest, FiresAHandlerAsOftenAsItIsQueued)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(2, 0), &a);
    queue.expire(tv(3, 0));
    EXPECT_THAT(calls, ElementsAre("A timer", "A timer", "A timer"));
}

TEST_F(TimerQueueTest, StoresANullHandlerAndExpiresItSilently)
{
    queue.insert(tv(1, 0), nullptr);
    queue.insert(tv(2, 0), &a);
    EXPECT_THAT(queue.order(), ElementsAre(nullptr, &a));
    queue.expire(tv(3, 0));
    EXPECT_THAT(calls, ElementsAre("A timer"));
    EXPECT_EQ(queue.head, nullptr);
}

TEST_F(TimerQueueTest, RemovesOnlyTheFirstNodeOfAHandler)
{
    queue.insert(tv(1, 0), &b);
    queue.insert(tv(2, 0), &a);
    queue.insert(tv(3, 0), &b);
    queue.insert(tv(4, 0), &a);
    queue.remove(&a);
    EXPECT_THAT(queue.order(), ElementsAre(&b, &b, &a));
}

TEST_F(TimerQueueTest, MovesTheHeadWhenTheHeadIsRemoved)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(2, 0), &b);
    queue.remove(&a);
    EXPECT_THAT(queue.order(), ElementsAre(&b));
    queue.remove(&b);
    EXPECT_EQ(queue.head, nullptr);
}

TEST_F(TimerQueueTest, RemovesTheTail)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(2, 0), &b);
    queue.remove(&b);
    EXPECT_THAT(queue.order(), ElementsAre(&a));
}

TEST_F(TimerQueueTest, RemovesNothingForAHandlerThatIsNotQueued)
{
    queue.remove(&a);
    queue.insert(tv(1, 0), &b);
    queue.remove(&a);
    EXPECT_THAT(queue.order(), ElementsAre(&b));
}

TEST_F(TimerQueueTest, RemovesANullHandlerLikeAnyOther)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(2, 0), nullptr);
    queue.remove(nullptr);
    EXPECT_THAT(queue.order(), ElementsAre(&a));
}

TEST_F(TimerQueueTest, CallsNoHandlerWhenItDies)
{
    {
        OpenQueue other;
        other.insert(tv(0, 0), &a);
        other.insert(tv(1, 0), &b);
    }
    EXPECT_THAT(calls, IsEmpty());
}

// What handlers do inside timerExpired().

TEST_F(TimerQueueTest, HasUnlinkedATimerBeforeItsHandlerRuns)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(9, 0), &b);
    std::vector<itcIOHandler*> seen;
    a.onTimer = [&] { seen = queue.order(); };
    queue.expire(tv(2, 0));
    EXPECT_THAT(seen, ElementsAre(&b));
}

TEST_F(TimerQueueTest, FindsNothingWhenAFiringTimerIsStopped)
{
    queue.insert(tv(1, 0), &a);
    a.onTimer = [&] { queue.remove(&a); };
    queue.expire(tv(2, 0));
    EXPECT_THAT(calls, ElementsAre("A timer"));
}

TEST_F(TimerQueueTest, StopsTheNextTimerOfTheFiringHandler)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(1, 500), &a);
    a.onTimer = [&] { queue.remove(&a); };
    queue.expire(tv(2, 0));
    EXPECT_THAT(calls, ElementsAre("A timer"));
    EXPECT_EQ(queue.head, nullptr);
}

TEST_F(TimerQueueTest, DoesNotFireATimerThatAnEarlierOneStops)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(1, 500), &b);
    queue.insert(tv(1, 600), &c);
    a.onTimer = [&] { queue.remove(&b); };
    queue.expire(tv(2, 0));
    EXPECT_THAT(calls, ElementsAre("A timer", "C timer"));
}

TEST_F(TimerQueueTest, FiresATimerStartedForThePastInTheSameCall)
{
    queue.insert(tv(1, 0), &a);
    queue.insert(tv(1, 900), &b);
    a.onTimer = [&] { queue.insert(tv(1, 500), &c); };
    queue.expire(tv(2, 0));
    EXPECT_THAT(calls, ElementsAre("A timer", "C timer", "B timer"));
}

TEST_F(TimerQueueTest, KeepsATimerStartedForNow)
{
    queue.insert(tv(1, 0), &a);
    a.onTimer = [&] { queue.insert(tv(2, 0), &a); };
    queue.expire(tv(2, 0));
    EXPECT_THAT(calls, ElementsAre("A timer"));
    EXPECT_THAT(queue.order(), ElementsAre(&a));
}

TEST_F(TimerQueueTest, LetsAHandlerThatStartsItselfInThePastGoOnUntilItStops)
{
    queue.insert(tv(1, 0), &a);
    a.onTimer = [&] {
        if (calls.size() < 50)
            queue.insert(tv(0, 0), &a);
    };
    queue.expire(tv(2, 0));
    EXPECT_EQ(calls.size(), 50u);
    EXPECT_EQ(queue.head, nullptr);
}

TEST_F(TimerQueueTest, LetsAHandlerDeleteItself)
{
    auto* const mortal = new Handler("mortal", calls);
    mortal->onTimer = [mortal] { delete mortal; };
    queue.insert(tv(1, 0), mortal);
    queue.insert(tv(1, 0), &a);
    queue.expire(tv(2, 0));
    EXPECT_THAT(calls, ElementsAre("mortal timer", "A timer"));
}

} // namespace
