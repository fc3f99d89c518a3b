// The loop of a server: SIGINT or SIGTERM ends it.
#include "DescriptorLimit.h"
#include "Loop.h"
#include "StatusMatchers.h"

#include <kiv/session/itcPost.h>
#include <kiv/session/itcRunUntilSignal.h>
#include <kiv/session/itcTimer.h>

#include <csignal>
#include <future>
#include <thread>

namespace {

using Handler = void (*)(int);

Handler actionOf(int signal)
{
    struct sigaction action = {};
    EXPECT_EQ(sigaction(signal, nullptr, &action), 0);
    return action.sa_handler;
}

void hostsHandler(int) {}

class RunUntilSignal : public Loop {
protected:
    ~RunUntilSignal() override { std::signal(SIGPIPE, SIG_IGN); }

    /// Runs the loop. A timer raises the signal.
    int runWith(int signal)
    {
        itcTimer timer([signal] { std::raise(signal); });
        timer.startOnce(std::chrono::milliseconds(1));
        return itcRunUntilSignal();
    }
};

} // namespace

TEST_F(RunUntilSignal, EndsWithSIGTERM) { EXPECT_EQ(runWith(SIGTERM), 0); }

TEST_F(RunUntilSignal, EndsWithSIGINT) { EXPECT_EQ(runWith(SIGINT), 0); }

TEST_F(RunUntilSignal, RunsManyCyclesBefore)
{
    int calls = 0;
    itcTimer timer([&] {
        if (++calls == 5)
            std::raise(SIGTERM);
    });
    timer.startEvery(std::chrono::milliseconds(1));
    EXPECT_EQ(itcRunUntilSignal(), 0);
    EXPECT_EQ(calls, 5);
}

TEST_F(RunUntilSignal, EndsWhenAFunctionStopsIt)
{
    int calls = 0;
    itcTimer timer([&] {
        calls += 1;
        itcStopRunning();
        itcStopRunning(); // twice is once
    });
    timer.startEvery(std::chrono::milliseconds(1));
    EXPECT_EQ(itcRunUntilSignal(), 0);
    EXPECT_EQ(calls, 1);
}

TEST_F(RunUntilSignal, StopsTheInnermostLoopOnly)
{
    int innerResult = -1;
    bool outerGoesOn = false;
    itcTimer behind([&] {
        outerGoesOn = true;
        itcStopRunning();
    });
    itcTimer timer([&] {
        itcTimer inner([] { itcStopRunning(); });
        inner.startOnce(std::chrono::milliseconds(1));
        innerResult = itcRunUntilSignal();
        behind.startOnce(std::chrono::milliseconds(1));
    });
    timer.startOnce(std::chrono::milliseconds(1));
    EXPECT_EQ(itcRunUntilSignal(), 0);
    EXPECT_EQ(innerResult, 0);
    EXPECT_TRUE(outerGoesOn);
}

TEST_F(RunUntilSignal, NeedNotRunToBeStopped)
{
    itcStopRunning();
    EXPECT_EQ(runWith(SIGTERM), 0);
}

TEST_F(RunUntilSignal, CanBeRunAgain)
{
    EXPECT_EQ(runWith(SIGTERM), 0);
    bool hasRun = false;
    const itcPost post;
    EXPECT_TRUE(post.post([&] { hasRun = true; }));
    EXPECT_EQ(runWith(SIGTERM), 0);
    EXPECT_TRUE(hasRun);
}

TEST_F(RunUntilSignal, EndsWithASignalFromAnotherThread)
{
    std::promise<void> runs;
    const itcPost post;
    EXPECT_TRUE(post.post([&] { runs.set_value(); }));
    std::thread ender([&] {
        runs.get_future().wait();
        std::raise(SIGTERM);
    });
    EXPECT_EQ(itcRunUntilSignal(), 0);
    ender.join();
}

TEST_F(RunUntilSignal, ServesTheDispatcherThatItIsGiven)
{
    itcDispatcher second;
    itcTimer timer([] { std::raise(SIGTERM); }, second);
    timer.startOnce(std::chrono::milliseconds(1));
    EXPECT_EQ(itcRunUntilSignal(second), 0);
}

TEST_F(RunUntilSignal, SetsTheActionsBack)
{
    std::signal(SIGTERM, hostsHandler);
    EXPECT_EQ(runWith(SIGINT), 0);
    EXPECT_EQ(actionOf(SIGTERM), hostsHandler);
    EXPECT_EQ(actionOf(SIGINT), SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

TEST_F(RunUntilSignal, IgnoresSIGPIPEFromThenOn)
{
    std::signal(SIGPIPE, SIG_DFL);
    Handler during = SIG_ERR;
    itcTimer timer([&] {
        during = actionOf(SIGPIPE);
        std::raise(SIGTERM);
    });
    timer.startOnce(std::chrono::milliseconds(1));
    EXPECT_EQ(itcRunUntilSignal(), 0);
    EXPECT_EQ(during, SIG_IGN);
    EXPECT_EQ(actionOf(SIGPIPE), SIG_IGN);
}

TEST_F(RunUntilSignal, DoesNotRunWithoutADescriptor)
{
    bool hasRun = false;
    itcTimer timer([&] { hasRun = true; });
    timer.startOnce(std::chrono::milliseconds(0));
    int result = -1;
    {
        const DescriptorLimit none;
        result = itcRunUntilSignal();
    }
    EXPECT_EQ(result, 1);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
    EXPECT_FALSE(hasRun);
}
