// Signals arrive as calls on the dispatching thread. The actions of the process are found again afterwards.
//
// A test raises a signal only while something catches the signal.
#include "DescriptorLimit.h"
#include "Loop.h"
#include "OsFaults.h"
#include "StatusMatchers.h"

#include <kiv/session/itcSignals.h>

#include <gmock/gmock.h>

#include <csignal>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

struct sigaction actionOf(int signal)
{
    struct sigaction action = {};
    EXPECT_EQ(sigaction(signal, nullptr, &action), 0);
    return action;
}

volatile std::sig_atomic_t callsOfTheHost = 0;
void hostsHandler(int) { callsOfTheHost = callsOfTheHost + 1; }

/// An action of the host for one signal. The destructor sets the earlier action back.
class HostsAction {
public:
    explicit HostsAction(int number) : signal(number)
    {
        callsOfTheHost = 0;
        struct sigaction action = {};
        action.sa_handler = hostsHandler;
        action.sa_flags = SA_NODEFER;
        sigaddset(&action.sa_mask, SIGUSR2);
        EXPECT_EQ(sigaction(signal, &action, &before), 0);
    }
    ~HostsAction() { sigaction(signal, &before, nullptr); }
    HostsAction(const HostsAction&) = delete;
    HostsAction& operator=(const HostsAction&) = delete;

private:
    const int signal;
    struct sigaction before = {};
};

class Signals : public Loop {
protected:
    std::function<void(int)> noting(std::vector<int>& list)
    {
        return [&list](int signal) { list.push_back(signal); };
    }

    std::vector<int> came;
};

} // namespace

TEST_F(Signals, AreCallsOfTheNextCycle)
{
    const itcSignals signals({SIGHUP}, noting(came));
    EXPECT_TRUE(static_cast<bool>(signals));
    EXPECT_THAT(signals.status(), HasClearStatus());
    std::raise(SIGHUP);
    EXPECT_TRUE(came.empty()) << "not inside of the signal handler";
    dispatcher.dispatch(0.0);
    EXPECT_THAT(came, ElementsAre(SIGHUP));
    runCycles();
    EXPECT_THAT(came, ElementsAre(SIGHUP));
}

TEST_F(Signals, AreCallsOnTheDispatchingThread)
{
    std::thread::id calledOn;
    const itcSignals signals({SIGHUP}, [&](int) { calledOn = std::this_thread::get_id(); });
    std::thread([] { std::raise(SIGHUP); }).join();
    dispatcher.dispatch(0.0);
    EXPECT_EQ(calledOn, std::this_thread::get_id());
}

TEST_F(Signals, AreOneCallForSeveralDeliveries)
{
    const itcSignals signals({SIGHUP}, noting(came));
    std::raise(SIGHUP);
    std::raise(SIGHUP);
    std::raise(SIGHUP);
    runCycles();
    EXPECT_THAT(came, ElementsAre(SIGHUP));
    std::raise(SIGHUP);
    runCycles();
    EXPECT_THAT(came, ElementsAre(SIGHUP, SIGHUP));
}

TEST_F(Signals, AreToldApart)
{
    const itcSignals signals({SIGHUP, SIGUSR1, SIGUSR2}, noting(came));
    std::raise(SIGUSR2);
    std::raise(SIGHUP);
    runCycles();
    EXPECT_THAT(came, UnorderedElementsAre(SIGHUP, SIGUSR2));
}

TEST_F(Signals, WakeAWaitThatIsUnderWay)
{
    constexpr double longWait = 100.0; // seconds
    const itcSignals signals({SIGHUP}, noting(came));
    std::promise<void> waits;
    int selects = 0;
    OsFaults::select().watch = [&](int, fd_set*, fd_set*, fd_set*, timeval*) {
        if (++selects == 1)
            waits.set_value();
    };
    std::thread sender([&] {
        waits.get_future().wait();
        std::raise(SIGHUP); // on this thread: nothing interrupts the wait
    });
    const auto begin = std::chrono::steady_clock::now();
    dispatcher.dispatch(longWait);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    sender.join();
    OsFaults::select().watch = nullptr;
    EXPECT_LT(taken.count(), longWait / 2);
    EXPECT_THAT(came, ElementsAre(SIGHUP));
}

TEST_F(Signals, DoNotMakeTheLoopSpin)
{
    const itcSignals signals({SIGHUP}, noting(came));
    std::raise(SIGHUP);
    dispatcher.dispatch(0.0);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
}

TEST_F(Signals, HaveTheirActionsBackAtTheEnd)
{
    const HostsAction hosts(SIGHUP);
    {
        const itcSignals signals({SIGHUP, SIGUSR1}, noting(came));
        EXPECT_NE(actionOf(SIGHUP).sa_handler, hostsHandler);
    }
    const struct sigaction after = actionOf(SIGHUP);
    EXPECT_EQ(after.sa_handler, hostsHandler);
    EXPECT_TRUE(after.sa_flags & SA_NODEFER);
    EXPECT_EQ(sigismember(&after.sa_mask, SIGUSR2), 1);
    EXPECT_EQ(actionOf(SIGUSR1).sa_handler, SIG_DFL);
    std::raise(SIGHUP);
    EXPECT_EQ(callsOfTheHost, 1);
}

TEST_F(Signals, DoNotReachAnObjectThatIsGone)
{
    const HostsAction hosts(SIGHUP);
    {
        const itcSignals signals({SIGHUP}, noting(came));
        std::raise(SIGHUP);
    }
    runCycles();
    EXPECT_TRUE(came.empty());
}

TEST_F(Signals, OfAnEarlierObjectAreNotToldToALaterOne)
{
    {
        const itcSignals signals({SIGHUP}, noting(came));
        std::raise(SIGHUP);
    }
    const itcSignals later({SIGHUP, SIGUSR1}, noting(came));
    std::raise(SIGUSR1);
    runCycles();
    EXPECT_THAT(came, ElementsAre(SIGUSR1));
}

TEST_F(Signals, AreToldToTheLaterObject)
{
    std::vector<int> cameLater;
    const itcSignals signals({SIGHUP}, noting(came));
    const itcSignals later({SIGHUP}, noting(cameLater));
    std::raise(SIGHUP);
    runCycles();
    EXPECT_TRUE(came.empty());
    EXPECT_THAT(cameLater, ElementsAre(SIGHUP));
}

TEST_F(Signals, AreToldToTheLaterObjectAlsoWhenTheEarlierOneIsCalled)
{
    std::vector<int> cameLater;
    const itcSignals signals({SIGHUP, SIGUSR1}, noting(came));
    const itcSignals later({SIGHUP}, noting(cameLater));
    std::raise(SIGHUP);
    std::raise(SIGUSR1);
    runCycles();
    EXPECT_THAT(came, ElementsAre(SIGUSR1));
    EXPECT_THAT(cameLater, ElementsAre(SIGHUP));
}

TEST_F(Signals, AreToldToTheEarlierObjectAgainWhenTheLaterOneIsGone)
{
    std::vector<int> cameLater;
    const itcSignals signals({SIGHUP}, noting(came));
    {
        const itcSignals later({SIGHUP}, noting(cameLater));
    }
    std::raise(SIGHUP);
    runCycles();
    EXPECT_THAT(came, ElementsAre(SIGHUP));
    EXPECT_TRUE(cameLater.empty());
}

TEST_F(Signals, MayBeNamedTwice)
{
    {
        const itcSignals signals({SIGHUP, SIGHUP}, noting(came));
        EXPECT_TRUE(static_cast<bool>(signals));
        std::raise(SIGHUP);
        runCycles();
        EXPECT_THAT(came, ElementsAre(SIGHUP));
    }
    EXPECT_EQ(actionOf(SIGHUP).sa_handler, SIG_DFL);
}

TEST_F(Signals, AreRefusedWhenTheyAreNoSignals)
{
    for (const int number : {-1, 0, 65, 1000, SIGKILL, SIGSTOP}) {
        SCOPED_TRACE(number);
        const itcSignals signals({number}, noting(came));
        EXPECT_FALSE(static_cast<bool>(signals));
        EXPECT_THAT(signals.status(), HasStatus(Itc_Tp_Negative_Arg, Error));
    }
}

TEST_F(Signals, AreAllRefusedWhenOneIsNoSignal)
{
    const HostsAction hosts(SIGHUP);
    const itcSignals signals({SIGHUP, SIGKILL, SIGUSR1}, noting(came));
    EXPECT_THAT(signals.status(), HasStatus(Itc_Tp_Negative_Arg, Error));
    EXPECT_EQ(actionOf(SIGHUP).sa_handler, hostsHandler) << "nothing is watched";
    std::raise(SIGHUP);
    runCycles();
    EXPECT_TRUE(came.empty());
}

TEST_F(Signals, MayBeNone)
{
    const itcSignals signals({}, noting(came));
    EXPECT_TRUE(static_cast<bool>(signals));
}

TEST_F(Signals, MayHaveNoFunction)
{
    const itcSignals signals({SIGHUP}, nullptr);
    std::raise(SIGHUP);
    EXPECT_EQ(dispatcher.dispatch(0.0), 1);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
}

TEST_F(Signals, MayLoseTheirObjectInsideOfTheFunction)
{
    std::optional<itcSignals> signals;
    signals.emplace({SIGHUP, SIGUSR1}, [&](int signal) {
        signals.reset();
        came.push_back(signal);
    });
    std::raise(SIGHUP);
    std::raise(SIGUSR1);
    runCycles();
    EXPECT_EQ(came.size(), 1U);
    EXPECT_EQ(actionOf(SIGHUP).sa_handler, SIG_DFL);
    EXPECT_EQ(actionOf(SIGUSR1).sa_handler, SIG_DFL);
}

TEST_F(Signals, LetAnExceptionLeaveTheCycle)
{
    const itcSignals signals({SIGHUP}, [](int) { throw std::runtime_error("the host's"); });
    std::raise(SIGHUP);
    EXPECT_THROW(dispatcher.dispatch(0.0), std::runtime_error);
    runCycles();
}

TEST_F(Signals, AreNotLostBehindAnException)
{
    const itcSignals signals({SIGHUP, SIGUSR1}, [&](int signal) {
        came.push_back(signal);
        if (signal == SIGHUP)
            throw std::runtime_error("the host's");
    });
    std::raise(SIGHUP);
    std::raise(SIGUSR1);
    EXPECT_THROW(dispatcher.dispatch(0.0), std::runtime_error);
    runCycles();
    EXPECT_THAT(came, ElementsAre(SIGHUP, SIGUSR1));
}

TEST_F(Signals, KeepTheErrorNumberOfWhatTheyInterrupt)
{
    const itcSignals signals({SIGHUP}, noting(came));
    errno = EXDEV;
    std::raise(SIGHUP);
    EXPECT_EQ(errno, EXDEV);
}

TEST_F(Signals, AreNotWatchedWithoutADescriptor)
{
    const HostsAction hosts(SIGHUP);
    std::optional<itcSignals> signals;
    {
        const DescriptorLimit none;
        signals.emplace({SIGHUP}, noting(came));
    }
    EXPECT_FALSE(static_cast<bool>(*signals));
    EXPECT_THAT(signals->status(), HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
    EXPECT_EQ(actionOf(SIGHUP).sa_handler, hostsHandler);
}

TEST_F(Signals, ServeTheDispatcherThatTheyAreGiven)
{
    itcDispatcher second;
    const itcSignals signals({SIGHUP}, noting(came), second);
    std::raise(SIGHUP);
    runCycles();
    EXPECT_TRUE(came.empty());
    second.dispatch(0.0);
    EXPECT_THAT(came, ElementsAre(SIGHUP));
}

TEST_F(Signals, OfBrokenPipesAreIgnored)
{
    std::signal(SIGPIPE, SIG_DFL);
    itcSignals::ignorePipe();
    EXPECT_EQ(actionOf(SIGPIPE).sa_handler, SIG_IGN);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    EXPECT_EQ(::write(ends[1], "x", 1), -1) << "and the process lives";
    EXPECT_EQ(errno, EPIPE);
    ::close(ends[1]);
}
