// The dispatcher for debugging tells each misuse once, and tells a correct host nothing.
//
// The objects that a test destroys too early lie in an std::optional (as on the stack) or in a std::unique_ptr.
#include "BareSocket.h"
#include "HookRecorder.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/itcInetSockDgram.h>
#include <kiv/connection/itcInetSockStream.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/session/itcAcceptor.h>
#include <kiv/session/itcCheckedDispatcher.h>
#include <kiv/session/itcConnector.h>
#include <kiv/session/itcLink.h>
#include <kiv/session/itcPost.h>
#include <kiv/session/itcTimer.h>

#include <gmock/gmock.h>

#include <csignal>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// A connection of the host. Owns a descriptor, but does not count it.
class HostsConnection : public itcConnection {
public:
    explicit HostsConnection(int fd) : itcConnection(fd, ItcNonBlocking) { incConnCount(); }
};

struct HostsHandler : itcIOHandler {
    int inputs = 0;
    int exceptions = 0;
    int expiries = 0;
    std::function<void()> onInput;
    std::function<void()> onExpiry;
    int inputReady(itcConnection*, char*) override
    {
        inputs += 1;
        if (onInput)
            onInput();
        return 0;
    }
    int outputReady(itcConnection*, char*) override { return 0; }
    int exceptionRaised(itcConnection*, char*) override
    {
        exceptions += 1;
        return 0;
    }
    void timerExpired(long, long) override
    {
        expiries += 1;
        if (const auto function = onExpiry) // a copy: the function may delete this handler
            function();
    }
};

class ACheckedDispatcher : public testing::Test {
protected:
    ACheckedDispatcher() { itcDispatcher::instance(&dispatcher); }
    ~ACheckedDispatcher() override { itcDispatcher::instance(nullptr); }

    void runCycles(int count = 3)
    {
        for (int i = 0; i < count; ++i)
            dispatcher.dispatch(0.0);
    }
    [[nodiscard]] bool runUntil(const std::function<bool()>& isTrue)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!isTrue()) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            dispatcher.dispatch(0.05);
        }
        return true;
    }
    /// A copy of a descriptor, which the test may close behind the dispatcher's back.
    int copyOf(int fd) { return mustWork(::dup(fd), "dup"); }
    static std::string told(int fd) { return "descriptor " + std::to_string(fd); }

    std::vector<std::string> lines;
    itcCheckedDispatcher dispatcher{[this](const std::string& line) { lines.push_back(line); }};
    StreamPair pair{itcConnection::ItcNonBlocking};
    HostsHandler handler;
};

} // namespace

TEST_F(ACheckedDispatcher, NoticesAConnectionThatWasDeletedOnTheHeap)
{
    const int fd = copyOf(pair.far());
    auto connection = std::make_unique<HostsConnection>(fd);
    dispatcher.link(connection.get(), nullptr, ReadMask, &handler);
    runCycles();
    connection.reset();
    runCycles();
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr("a connection was deleted while it was linked"), HasSubstr(told(fd)),
                                         HasSubstr("HostsConnection"), HasSubstr("HostsHandler"))));
}

TEST_F(ACheckedDispatcher, NoticesAConnectionThatWasDeletedOnTheStack)
{
    const int fd = copyOf(pair.far());
    std::optional<HostsConnection> connection(fd);
    dispatcher.link(&*connection, nullptr, ReadMask | WriteMask, &handler);
    runCycles();
    connection.reset();
    runCycles();
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr("a connection was deleted while it was linked"), HasSubstr(told(fd)),
                                         HasSubstr("HostsConnection"), HasSubstr("HostsHandler"))));
}

TEST_F(ACheckedDispatcher, UnlinksAConnectionThatWasDeleted)
{
    const int fd = copyOf(pair.far());
    auto connection = std::make_unique<HostsConnection>(fd);
    dispatcher.link(connection.get(), nullptr, ReadMask, &handler);
    runCycles();
    connection.reset();
    const BareSocket again(mustWork(::dup2(pair.far(), fd), "dup2"));
    EXPECT_EQ(pair.near().Write("x", 1), 1);
    runCycles();
    EXPECT_EQ(handler.inputs, 0);
}

TEST_F(ACheckedDispatcher, NoticesADescriptorThatWasClosed)
{
    const int fd = copyOf(pair.far());
    dispatcher.attach(fd, nullptr, nullptr, ReadMask, &handler);
    runCycles();
    ::close(fd);
    runCycles();
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr("a descriptor was closed while it was linked"), HasSubstr(told(fd)),
                                         HasSubstr("HostsHandler"))));
}

TEST_F(ACheckedDispatcher, NoticesAConnectionThatWasClosed)
{
    const int fd = pair.near().td;
    dispatcher.link(&pair.near(), nullptr, ReadMask, &handler);
    runCycles();
    pair.near().Close();
    runCycles();
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr("a descriptor was closed while it was linked"), HasSubstr(told(fd)),
                                         HasSubstr("OpenedConnection"), HasSubstr("HostsHandler"))));
}

TEST_F(ACheckedDispatcher, NoticesADescriptorThatWasClosedBeforeTheFirstCycle)
{
    const int fd = copyOf(pair.far());
    dispatcher.attach(fd, nullptr, nullptr, ReadMask, &handler);
    ::close(fd);
    runCycles();
    EXPECT_THAT(lines, ElementsAre(HasSubstr("a descriptor was closed while it was linked")));
}

TEST_F(ACheckedDispatcher, NoticesADescriptorWhoseNumberWasUsedAgain)
{
    const StreamPair stranger;
    const int fd = pair.near().td;
    dispatcher.link(&pair.near(), nullptr, ReadMask, &handler);
    runCycles();
    mustWork(::dup2(stranger.far(), fd), "dup2"); // closes the descriptor, too
    runCycles();
    EXPECT_THAT(lines, ElementsAre(HasSubstr("a descriptor was closed while it was linked")));
    dispatcher.unlink(&pair.near(), ReadMask);
}

TEST_F(ACheckedDispatcher, TellsTheHandlerOfAClosedDescriptorAsTheOtherDoes)
{
    dispatcher.link(&pair.near(), nullptr, ReadMask | ExceptMask, &handler);
    pair.near().Close();
    runCycles();
    EXPECT_EQ(handler.exceptions, 1);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Dp_Select_Call_Failed_EBADF, Error));
}

TEST_F(ACheckedDispatcher, NoticesAHandlerThatWasDeletedOnTheHeap)
{
    auto gone = std::make_unique<HostsHandler>();
    dispatcher.startTimer(3600, 0, gone.get());
    runCycles();
    gone.reset();
    runCycles();
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr("a handler was deleted while a timer of it was running"),
                                         HasSubstr("HostsHandler"))));
}

TEST_F(ACheckedDispatcher, NoticesAHandlerThatWasDeletedOnTheStack)
{
    std::optional<HostsHandler> gone(std::in_place);
    dispatcher.startTimer(3600, 0, &*gone);
    runCycles();
    gone.reset();
    runCycles();
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr("a handler was deleted while a timer of it was running"),
                                         HasSubstr("HostsHandler"))));
}

TEST_F(ACheckedDispatcher, StopsEveryTimerOfAHandlerThatWasDeleted)
{
    auto gone = std::make_unique<HostsHandler>();
    for (int i = 0; i < 3; ++i)
        dispatcher.startTimer(0, 1000, gone.get());
    dispatcher.startTimer(0, 2000, &handler);
    dispatcher.dispatch(0.0);
    ASSERT_EQ(gone->expiries, 0);
    gone.reset();
    ASSERT_TRUE(runUntil([&] { return handler.expiries == 1; }));
    EXPECT_EQ(lines.size(), 1U);
}

TEST_F(ACheckedDispatcher, DoesNotCallAHandlerThatWasDeletedInTheSameCycle)
{
    auto gone = std::make_unique<HostsHandler>();
    dispatcher.startTimer(3600, 0, gone.get());
    dispatcher.dispatch(0.0);
    dispatcher.startTimer(0, 0, gone.get());
    dispatcher.startTimer(0, 0, gone.get());
    handler.onInput = [&] {
        gone.reset();
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1);
        while (std::chrono::steady_clock::now() < end) { // both timers are due then
        }
    };
    pair.farSends("x");
    {
        const itcLink link(pair.near(), ReadMask, handler);
        dispatcher.dispatch(0.0);
    }
    runCycles();
    EXPECT_THAT(lines, ElementsAre(HasSubstr("a handler was deleted while a timer of it was running")));
}

TEST_F(ACheckedDispatcher, SaysNothingAboutAHandlerThatDiesInItsLastExpiryBeforeANestedCycle)
{
    auto correct = std::make_unique<HostsHandler>();
    correct->onExpiry = [&] {
        correct.reset();
        runCycles();
    };
    dispatcher.startTimer(3600, 0, correct.get());
    dispatcher.dispatch(0.0);
    dispatcher.stopTimer(correct.get());
    dispatcher.startTimer(0, 0, correct.get());
    ASSERT_TRUE(runUntil([&] { return correct == nullptr; }));
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ACheckedDispatcher, NoticesAStreamWhileSIGPIPEIsDeadly)
{
    std::signal(SIGPIPE, SIG_DFL);
    const int fd = pair.near().td;
    dispatcher.link(&pair.near(), nullptr, ReadMask, &handler);
    runCycles();
    dispatcher.attach(pair.far(), nullptr, nullptr, ReadMask, &handler);
    runCycles();
    std::signal(SIGPIPE, SIG_IGN);
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr("SIGPIPE is not ignored"), HasSubstr(told(fd)),
                                         HasSubstr("OpenedConnection"), HasSubstr("HostsHandler"))));
    dispatcher.unlink_all(ReadMask);
}

TEST_F(ACheckedDispatcher, NoticesTimersForThePastWithoutEnd)
{
    int starts = 0;
    handler.onExpiry = [&] {
        if (++starts < 5000)
            dispatcher.startTimer(-1, 0, &handler);
    };
    dispatcher.startTimer(0, 0, &handler);
    ASSERT_TRUE(runUntil([&] { return starts == 5000; }));
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr("a timer is started for the past again and again"),
                                         HasSubstr("HostsHandler"))));
}

TEST_F(ACheckedDispatcher, TellsTimersForThePastOnce)
{
    for (int cycle = 1; cycle <= 3; ++cycle) {
        int starts = 0;
        handler.onExpiry = [&] {
            if (++starts < 2000)
                dispatcher.startTimer(-1, 0, &handler);
        };
        dispatcher.startTimer(0, 0, &handler);
        ASSERT_TRUE(runUntil([&] { return starts == 2000; }));
    }
    EXPECT_EQ(lines.size(), 1U);
}

TEST_F(ACheckedDispatcher, NoticesAListenerInBlockingMode)
{
    const BareSocket listener = listeningSocket("127.0.0.1");
    dispatcher.attach(listener.get(), nullptr, nullptr, ReadMask, &handler);
    runCycles();
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr("a listener in blocking mode is linked"),
                                         HasSubstr(told(listener.get())), HasSubstr("HostsHandler"))));
    dispatcher.detach(listener.get(), ReadMask);
}

TEST_F(ACheckedDispatcher, SaysNothingAboutANonBlockingListener)
{
    itcInetSockStream listener;
    itcInetAddress local("127.0.0.1", 0);
    ASSERT_EQ(listener.CreateEndpoint(local), 1);
    listener.SetOption(itcConnection::ItcNonBlocking);
    {
        const itcLink link(listener, ReadMask, handler);
        runCycles();
    }
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ACheckedDispatcher, NoticesADescriptorAboveTheLimit)
{
    const itcLink link(1024, ReadMask, handler);
    EXPECT_THAT(link.status(), HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
    EXPECT_THAT(lines,
                ElementsAre(AllOf(HasSubstr("descriptor 1024 is above the limit of 1024"), HasSubstr("HostsHandler"))));
}

TEST_F(ACheckedDispatcher, TellsADescriptorAboveTheLimitOnce)
{
    dispatcher.attach(1024, nullptr, nullptr, ReadMask, &handler);
    dispatcher.attach(1024, nullptr, nullptr, WriteMask, &handler);
    dispatcher.attach(1024, nullptr, nullptr, ReadMask, &handler);
    EXPECT_EQ(lines.size(), 1U);
}

TEST_F(ACheckedDispatcher, TellsABlockingListenerOnce)
{
    const BareSocket listener = listeningSocket("127.0.0.1");
    for (int i = 0; i < 3; ++i) {
        const itcLink link(listener.get(), ReadMask, handler);
        runCycles();
    }
    EXPECT_EQ(lines.size(), 1U);
}

TEST_F(ACheckedDispatcher, SaysNothingAboutAConnectionThatIsUnlinkedBeforeTheDelete)
{
    const int fd = copyOf(pair.far());
    auto connection = std::make_unique<HostsConnection>(fd);
    dispatcher.link(connection.get(), nullptr, ReadMask, &handler);
    runCycles();
    dispatcher.unlink(connection.get(), ReadMask);
    connection.reset();
    runCycles();
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ACheckedDispatcher, SaysNothingAboutANumberThatIsUsedAgainProperly)
{
    for (int i = 0; i < 3; ++i) {
        const StreamPair fresh(itcConnection::ItcNonBlocking);
        const itcLink link(fresh.far(), ReadMask, handler);
        runCycles();
    }
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ACheckedDispatcher, SaysNothingAboutAHandlerThatStopsItsTimers)
{
    auto correct = std::make_unique<HostsHandler>();
    dispatcher.startTimer(3600, 0, correct.get());
    dispatcher.startTimer(3600, 0, correct.get());
    runCycles();
    dispatcher.stopTimer(correct.get());
    dispatcher.stopTimer(correct.get());
    correct.reset();
    runCycles();
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ACheckedDispatcher, SaysNothingAboutAHandlerWhoseTimersHaveExpired)
{
    auto correct = std::make_unique<HostsHandler>();
    dispatcher.startTimer(0, 0, correct.get());
    ASSERT_TRUE(runUntil([&] { return correct->expiries == 1; }));
    correct.reset();
    runCycles();
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ACheckedDispatcher, SaysNothingAboutAHandlerThatDiesInItsLastExpiry)
{
    auto correct = std::make_unique<HostsHandler>();
    correct->onExpiry = [&] { correct.reset(); };
    dispatcher.startTimer(0, 0, correct.get());
    ASSERT_TRUE(runUntil([&] { return correct == nullptr; }));
    runCycles();
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ACheckedDispatcher, SaysNothingAboutAFewTimersForThePast)
{
    int starts = 0;
    handler.onExpiry = [&] {
        if (++starts < 100)
            dispatcher.startTimer(-1, 0, &handler);
    };
    dispatcher.startTimer(0, 0, &handler);
    ASSERT_TRUE(runUntil([&] { return starts == 100; }));
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ACheckedDispatcher, SaysNothingToACorrectHost)
{
    std::vector<int> answers;
    int ends = 0;
    itcAcceptor acceptor(itcInetAddress("127.0.0.1", 0), [&](itcSession& peer) {
        peer.onPacket([&peer](itcNDRReceive& packet) {
            int number = 0;
            packet >> number;
            EXPECT_TRUE(peer.send(2 * number));
        });
        peer.onClosed([&](const itcClosed&) { ends += 1; });
    });
    ASSERT_TRUE(static_cast<bool>(acceptor)) << acceptor.status().STATUS_text();
    {
        itcConnector connector("127.0.0.1", acceptor.port(), [&](itcSession& server) {
            server.onPacket([&](itcNDRReceive& packet) {
                int number = 0;
                packet >> number;
                answers.push_back(number);
            });
            EXPECT_TRUE(server.send(21));
        });
        itcPost post;
        std::vector<itcTimer> timers;
        int expiries = 0;
        for (int i = 0; i < 20; ++i) {
            timers.emplace_back([&] { expiries += 1; });
            timers.back().startEvery(std::chrono::milliseconds(1 + i));
        }
        bool hasRun = false;
        EXPECT_TRUE(post.post([&] { hasRun = true; }));
        ASSERT_TRUE(runUntil([&] { return !answers.empty() && hasRun && expiries > 100; }));
    }
    ASSERT_TRUE(runUntil([&] { return ends == 1; }));
    EXPECT_THAT(answers, ElementsAre(42));
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ACheckedDispatcher, CallsHandlersAsTheOtherDoes)
{
    dispatcher.link(&pair.near(), nullptr, ReadMask, &handler);
    EXPECT_EQ(dispatcher.handler(&pair.near(), ReadMask), &handler);
    pair.farSends("x");
    EXPECT_EQ(dispatcher.dispatch(0.0), 1);
    EXPECT_EQ(handler.inputs, 1);
    EXPECT_EQ(dispatcher.unlink(&pair.near(), ReadMask), 1);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    EXPECT_EQ(handler.inputs, 1);
}

TEST_F(ACheckedDispatcher, StopsTheTimerThatIsDueFirst)
{
    dispatcher.startTimer(3600, 0, &handler);
    dispatcher.startTimer(0, 0, &handler);
    dispatcher.stopTimer(&handler);
    HostsHandler other;
    dispatcher.startTimer(0, 1000, &other);
    ASSERT_TRUE(runUntil([&] { return other.expiries == 1; }));
    EXPECT_EQ(handler.expiries, 0);
    dispatcher.stopTimer(&handler);
}

TEST_F(ACheckedDispatcher, FiresEachTimerOfAHandler)
{
    for (int i = 0; i < 5; ++i)
        dispatcher.startTimer(0, 0, &handler);
    ASSERT_TRUE(runUntil([&] { return handler.expiries == 5; }));
    runCycles();
    EXPECT_EQ(handler.expiries, 5);
}

TEST_F(ACheckedDispatcher, StopsNothingWithoutATimer)
{
    leaveMark(dispatcher);
    dispatcher.stopTimer(&handler);
    EXPECT_THAT(dispatcher, HasClearStatus());
    dispatcher.startTimer(0, 0, nullptr);
    EXPECT_THAT(dispatcher, HasClearStatus());
    dispatcher.stopTimer(nullptr);
    runCycles();
}

TEST_F(ACheckedDispatcher, LetsAnExceptionOfAHandlerLeaveTheCycle)
{
    handler.onExpiry = [] { throw std::runtime_error("the host's"); };
    dispatcher.startTimer(0, 0, &handler);
    EXPECT_THROW((void)runUntil([] { return false; }), std::runtime_error);
    dispatcher.startTimer(0, 0, &handler);
    EXPECT_THROW((void)runUntil([] { return false; }), std::runtime_error);
    EXPECT_EQ(handler.expiries, 2);
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ACheckedDispatcher, TellsWhatTheLibraryReports)
{
    itcInetSockDgram datagrams;
    datagrams.setTcpNodelay(true);
    datagrams.setTcpNodelay(true);
    EXPECT_THAT(lines, ElementsAre("setTcpNodelay(): not applicable!"));
}

TEST_F(ACheckedDispatcher, LeavesTheHookOfTheHostAlone)
{
    HookRecorder hooks;
    std::vector<std::string> linesOfTheOther;
    itcInetSockDgram datagrams;
    {
        itcCheckedDispatcher other([&](const std::string& line) { linesOfTheOther.push_back(line); });
        datagrams.setTcpNodelay(true);
    }
    datagrams.setTcpNodelay(true);
    EXPECT_EQ(hooks.errorReports().size(), 2U);
    EXPECT_THAT(linesOfTheOther, IsEmpty());
}

TEST_F(ACheckedDispatcher, PrintsToTheStandardErrorStream)
{
    itcCheckedDispatcher printing;
    testing::internal::CaptureStderr();
    printing.attach(1024, nullptr, nullptr, ReadMask, &handler);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_THAT(printed, HasSubstr("descriptor 1024 is above the limit"));
    EXPECT_THAT(printed, testing::EndsWith("\n"));
}

TEST_F(ACheckedDispatcher, MayBeWithoutAPrinter)
{
    itcCheckedDispatcher silent{itcCheckedDispatcher::Print()};
    silent.attach(1024, nullptr, nullptr, ReadMask, &handler);
    EXPECT_THAT(silent, HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
}
