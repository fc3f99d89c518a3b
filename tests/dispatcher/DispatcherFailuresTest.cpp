// A dispatch cycle that is repeated. In each repetition another system call fails.
#include "DispatcherParts.h"
#include "SingleFailures.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

/// A dispatcher for one run: one descriptor with a byte to be read, and one timer that is due.
struct Cycle {
    Cycle()
    {
        handler.onInput = [this] {
            char byte;
            pair.near().Read(&byte, 1);
            return 0;
        };
        dispatcher.link(&pair.near(), nullptr, ReadMask, &handler);
        dispatcher.startTimer(1, 0, &handler);
        clock.advance(2, 0);
        pair.farSends("x");
    }

    /// Returns the calls of the handler since the last handled().
    Calls handled() { return std::exchange(handler.calls, {}); }

    FakeClock clock;
    StreamPair pair;
    OpenDispatcher dispatcher;
    Handler handler;
};

TEST(DispatcherFailures, CostOneCycleAtMost)
{
    // The purposes of the calls: find the nearest timer, wait, read (in the handler), find the timers that are due.
    const std::vector<Consequence> calls = {survives("getuptime"), survives("select"), survives("recv"),
                                            survives("getuptime")};
    const std::vector<Calls> inThisCycle = {{"in", "timer"}, {"timer"}, {"in", "timer"}, {"in"}, {"in", "timer"}};
    const std::vector<Calls> inTheNext = {{}, {"in"}, {"in"}, {"timer"}, {}};
    const std::vector<int> results = {1, 0, 1, 1, 1};
    walkSingleFailures(calls, [&](SingleFailure& failure) {
        Cycle cycle;
        int result = -1;
        failure.during([&] { result = cycle.dispatcher.dispatch(5.0); });
        EXPECT_EQ(result, results[failure.turn()]);
        EXPECT_EQ(cycle.handled(), inThisCycle[failure.turn()]);
        failure.expectIn(cycle.dispatcher);
        if (failure.hasHit("recv")) {
            EXPECT_THAT(cycle.pair.near(), HasStatus(Itc_Tp_Read_Call_Failed, Error, failureError));
        }

        cycle.dispatcher.dispatch(0.0);
        EXPECT_EQ(cycle.handled(), inTheNext[failure.turn()]) << "nothing is lost";
    });
}

} // namespace
