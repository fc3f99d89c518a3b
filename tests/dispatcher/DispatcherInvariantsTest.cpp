// The descriptor count and the order of the timers, after each of many operations in random order.
#include "DispatcherParts.h"

#include <random>

namespace {

// A timer queue that shows its order.
class OpenTimers : public TimerQueue {
public:
    void expectSorted() const
    {
        for (const Timer* timer = head; timer != nullptr && timer->next != nullptr; timer = timer->next)
            EXPECT_FALSE(timer->next->expiry < timer->expiry);
    }
};

// Each test walks through one order. The number chooses the order, so a failure can be repeated.
class DispatcherWalk : public testing::TestWithParam<unsigned int> {
protected:
    int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random); }

    std::mt19937 random{GetParam()};
    Handler handlers[3];
};

INSTANTIATE_TEST_SUITE_P(Orders, DispatcherWalk, testing::Range(0u, 10u));

TEST_P(DispatcherWalk, KeepsTheCountAboveEveryHandler)
{
    OpenDispatcher dispatcher;
    const auto someFd = [&] { return below(8) == 0 ? 1023 - below(3) : below(12); };
    for (int step = 0; step < 300 && !HasFailure(); ++step) {
        if (below(2) == 0)
            dispatcher.attach(someFd(), nullptr, nullptr, kinds[below(3)].mask, &handlers[below(3)]);
        else if (below(30) == 0)
            dispatcher.detach_all(kinds[below(3)].mask);
        else
            dispatcher.detach(someFd(), below(3) == 0 ? everyKind : kinds[below(3)].mask);
        SCOPED_TRACE(step);
        expectSound(dispatcher);
    }
    dispatcher.detach_all(everyKind);
    EXPECT_EQ(dispatcher.nfds, 0);
}

TEST_P(DispatcherWalk, KeepsTheTimersSorted)
{
    OpenTimers timers;
    for (int step = 0; step < 1000 && !HasFailure(); ++step) {
        if (below(3) != 0)
            timers.insert(tv(below(20), below(3)), &handlers[below(3)]);
        else if (below(10) == 0)
            timers.expire(tv(below(10), 0));
        else
            timers.remove(&handlers[below(3)]);
        SCOPED_TRACE(step);
        timers.expectSorted();
    }
}

} // namespace
