// Connecting TCP streams without a time limit: in blocking mode, in non-blocking mode, and refused attempts.
#include "ConnectionLimit.h"
#include "LastErrors.h"
#include "LoopbackTest.h"
#include "ReadyRecorder.h"
#include "Script.h"

namespace {

using testing::ElementsAre;

/// The fixture of the connects: a listener, a port that refuses, and a completion receiver.
class StreamConnectTest : public LoopbackTest {
protected:
    const BareSocket listener = listeningSocket(GetParam().host);
    const BareSocket nobody = boundSocket(GetParam().host); // has a port but does not listen
    itcInetAddress remote = addressOf(listener);
    itcInetAddress refusing = addressOf(nobody);
    int mark = 0; // its address is the client data
    ReadyRecorder ready;
};

class InetSockStreamConnect : public StreamConnectTest {};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockStreamConnect, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockStreamConnect, IsConnectedAndCounted)
{
    const int counted = itcConnection::getConnectionCount();
    OpenedStream stream;
    EXPECT_EQ(stream.OpenConnection(remote, &ready, &mark), 1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateConnected);
    EXPECT_EQ(stream.connType, itcConnection::ItcTypeUnspecified);
    EXPECT_EQ(stream.connOptions, itcConnection::ItcBlocking);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(1, &mark)));
}

TEST_P(InetSockStreamConnect, CarriesBytesBothWays)
{
    OpenedStream stream;
    ASSERT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    const BareSocket peer = acceptedSocket(listener);
    char area[6] = {};
    EXPECT_EQ(stream.Write("hello", 5), 5);
    EXPECT_EQ(::recv(peer.get(), area, 5, MSG_WAITALL), 5);
    EXPECT_STREQ(area, "hello");
    EXPECT_EQ(::send(peer.get(), "there", 5, 0), 5);
    stream.SetOption(itcConnection::ItcStrictBlocking);
    EXPECT_EQ(stream.Read(area, 5), 5);
    EXPECT_STREQ(area, "there");
}

TEST_P(InetSockStreamConnect, LeavesTheStatusAsItWas)
{
    OpenedStream stream;
    leaveMark(stream);
    stream.OpenConnection(remote, nullptr, nullptr);
    EXPECT_THAT(stream, StillHasMark());
}

TEST_P(InetSockStreamConnect, TakesItsStepsInOrderWithoutAskingForIPv4Peers)
{
    const CallJournal journal;
    OpenedStream stream;
    stream.OpenConnection(remote, nullptr, nullptr);
    EXPECT_EQ(journal.calls(), steps({socketCall(), connectCall()}));
}

TEST_P(InetSockStreamConnect, OpenConnDoesNotTouchTheState)
{
    OpenedStream stream;
    EXPECT_EQ(stream.OpenConn(remote), 1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
}

TEST_P(InetSockStreamConnect, OpenConnNormalUpdatesTheState)
{
    OpenedStream stream;
    EXPECT_EQ(stream.OpenConnNormal(remote), 1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateConnected);
}

TEST_P(InetSockStreamConnect, ComesFromThePortThatItIsBoundTo)
{
    itcInetAddress address = local();
    OpenedStream stream(address);
    const int port = portOf(::addressOf(stream.td));
    const CallJournal journal;
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_EQ(journal.calls(), steps({connectCall()}));
    EXPECT_EQ(portOf(::addressOf(stream.td)), port);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateConnected);
}

TEST_P(InetSockStreamConnect, AsksForNoRoomWhereItHasASocketAlready)
{
    itcInetAddress address = local();
    OpenedStream stream(address);
    const ConnectionLimit limit(0);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
}

TEST_P(InetSockStreamConnect, LeavesItsDescriptorToChildProcesses)
{
    OpenedStream stream;
    stream.OpenConnection(remote, nullptr, nullptr);
    EXPECT_FALSE(isClosedOnExec(stream.td));
}

TEST_P(InetSockStreamConnect, ClosesTheSocketThatWasRefused)
{
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    StreamWithOwnSteps stream;
    EXPECT_EQ(stream.OpenConnection(refusing, &ready, &mark), 0);
    expectGivenUp(stream, counted);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, ECONNREFUSED));
    EXPECT_THAT(hooks.texts(),
                ElementsAre("itcInetSockStream::OpenConn() OS_connect() call failed. cres = -1 errno = 111"));
    EXPECT_THAT(hooks.flags(), ElementsAre(HookRecorder::kivFlag));
    EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(0, &mark)));
}

TEST_P(InetSockStreamConnect, MayBeTriedAgainAfterARefusal)
{
    OpenedStream stream;
    ASSERT_EQ(stream.OpenConnection(refusing, nullptr, nullptr), 0);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
}

TEST_P(InetSockStreamConnect, ReportsTheRefusalEvenWhereTheCloseFailsToo)
{
    const HookRecorder hooks;
    OsFaults::closesocket().failNext(1, EIO);
    OpenedStream stream;
    EXPECT_EQ(stream.OpenConnection(refusing, nullptr, nullptr), 0);
    EXPECT_TRUE(isOpen(stream.td)) << "a failed close keeps the descriptor";
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, ECONNREFUSED));
    EXPECT_THAT(hooks.texts(),
                ElementsAre("itcConnection::Close() close/closesocket call failed",
                            "itcInetSockStream::OpenConn() OS_connect() call failed. cres = -1 errno = 111"));
}

TEST_P(InetSockStreamConnect, GoesOnWithTheSameSocketAfterASignal)
{
    OsFaults::connect().failNext(2, EINTR);
    OpenedStream stream;
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_EQ(OsFaults::connect().calls(), 3);
    EXPECT_EQ(OsFaults::socket().calls(), 1);
}

TEST_P(InetSockStreamConnect, KeepsTheSocketWhenItWouldBlock)
{
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    OsFaults::connect().failNext(1, EAGAIN);
    OpenedStream stream;
    EXPECT_EQ(stream.OpenConnection(remote, &ready, &mark), -1);
    EXPECT_TRUE(isOpen(stream.td));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
    EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(-1, &mark)));
    EXPECT_TRUE(hooks.texts().empty());
}

TEST_P(InetSockStreamConnect, RecordsTheErrorNumberOfTheMomentWhenItWouldBlock)
{
    OsFaults::connect().failNext(1, EXDEV);
    const LastErrors numbers({EAGAIN, 4711});
    OpenedStream stream;
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Would_Block, Warning, 4711));
}

TEST_P(InetSockStreamConnect, UsesTheKeptSocketTheNextTime)
{
    OsFaults::connect().failNext(1, EAGAIN);
    OpenedStream stream;
    stream.OpenConnection(remote, nullptr, nullptr);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_EQ(OsFaults::socket().calls(), 1);
}

TEST_P(InetSockStreamConnect, TakesAProgressingConnectForAFailure)
{
    OsFaults::connect().failNext(1, EINPROGRESS);
    OpenedStream stream;
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 0);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, EINPROGRESS));
}

TEST_P(InetSockStreamConnect, SurvivesTheFailureOfAnySingleCall)
{
    expectToSurviveAnySingleFailure<OpenedStream>(
        [this](OpenedStream& stream) { return stream.OpenConnNormal(remote); });
}

// A stream with ItcStrictBlocking, or with a number without a meaning, connects in blocking mode. The state afterwards
// is nevertheless ConnectPending. When the dispatcher later asks the socket for an error, the socket has none.
TEST_P(InetSockStreamConnect, CountsAsPendingInAnyModeButBlocking)
{
    for (const int option : {2, 7}) {
        const CallJournal journal;
        OpenedStream stream(static_cast<itcConnection::ConnOptions>(option));
        EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
        EXPECT_EQ(stream.connState, itcConnection::ItcStateConnectPending);
        EXPECT_EQ(stream.connOptions, option);
        EXPECT_FALSE(isNonBlocking(stream.td));
        EXPECT_EQ(journal.calls(), steps({socketCall(), connectCall()}));
        EXPECT_EQ(socketOption(stream.td, SOL_SOCKET, SO_ERROR), 0);
    }
}

class InetSockStreamConnectNonBlocking : public StreamConnectTest {
protected:
    StreamWithOwnSteps stream{itcConnection::ItcNonBlocking};
};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockStreamConnectNonBlocking, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockStreamConnectNonBlocking, IsPendingAndToldAtOnce)
{
    const int counted = itcConnection::getConnectionCount();
    leaveMark(stream);
    EXPECT_EQ(stream.OpenConnection(remote, &ready, &mark), 1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateConnectPending);
    EXPECT_EQ(stream.connType, itcConnection::ItcTypeUnspecified);
    EXPECT_EQ(stream.connOptions, itcConnection::ItcNonBlocking);
    EXPECT_TRUE(isNonBlocking(stream.td));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_THAT(stream, StillHasMark());
    EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(1, &mark)));
}

TEST_P(InetSockStreamConnectNonBlocking, IsUnderWayEvenTowardsARefusal)
{
    EXPECT_EQ(stream.OpenConnection(refusing, nullptr, nullptr), 1);
    pollfd completion = {stream.td, POLLOUT, 0};
    EXPECT_EQ(::poll(&completion, 1, -1), 1);
    EXPECT_EQ(socketOption(stream.td, SOL_SOCKET, SO_ERROR), ECONNREFUSED);
}

TEST_P(InetSockStreamConnectNonBlocking, CompletesLater)
{
    stream.OpenConnection(remote, nullptr, nullptr);
    const BareSocket peer = acceptedSocket(listener);
    pollfd completion = {stream.td, POLLOUT, 0};
    EXPECT_EQ(::poll(&completion, 1, -1), 1);
    EXPECT_EQ(stream.Write("hello", 5), 5);
}

TEST_P(InetSockStreamConnectNonBlocking, TakesItsStepsInOrder)
{
    const CallJournal journal;
    stream.OpenConnection(remote, nullptr, nullptr);
    EXPECT_EQ(journal.calls(), steps({socketCall(), "setNonBlocking()", v6OnlyOff(), connectCall()}));
}

TEST_P(InetSockStreamConnectNonBlocking, SwitchesTheModeThroughTheVirtualTable)
{
    stream.OpenConnection(remote, nullptr, nullptr);
    EXPECT_THAT(stream.optionsSet, ElementsAre(itcConnection::ItcNonBlocking));
}

TEST_P(InetSockStreamConnectNonBlocking, BlocksWhereTheModeCannotBeSwitched)
{
    const HookRecorder hooks;
    OsFaults::setNonBlocking().failNext(1, ENOTTY);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_EQ(stream.connOptions, itcConnection::ItcBlocking);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateConnected);
    EXPECT_FALSE(isNonBlocking(stream.td));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcConnection::SetOption() failed to set socket to non-blocking"));
}

TEST_P(InetSockStreamConnectNonBlocking, ConnectsABoundSocket)
{
    itcInetAddress address = local();
    OpenedStream bound(address);
    bound.connOptions = itcConnection::ItcNonBlocking;
    const CallJournal journal;
    EXPECT_EQ(bound.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_EQ(journal.calls(), steps({"setNonBlocking()", v6OnlyOff(), connectCall()}));
    EXPECT_EQ(bound.connState, itcConnection::ItcStateConnectPending);
}

TEST_P(InetSockStreamConnectNonBlocking, IsPendingAlsoWhenItSucceededAtOnce)
{
    OsFaults::connect().instead = [](int, const sockaddr*, socklen_t) { return 0; };
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateConnectPending);
}

TEST_P(InetSockStreamConnectNonBlocking, IsUnderWayForTwoErrorNumbers)
{
    const HookRecorder hooks;
    for (const int error : {EAGAIN, EINPROGRESS}) {
        OpenedStream other(itcConnection::ItcNonBlocking);
        OsFaults::connect().failNext(1, error);
        EXPECT_EQ(other.OpenConnection(remote, nullptr, nullptr), 1);
        EXPECT_EQ(other.connState, itcConnection::ItcStateConnectPending);
        EXPECT_THAT(other, HasClearStatus());
    }
    EXPECT_TRUE(hooks.texts().empty());
}

TEST_P(InetSockStreamConnectNonBlocking, ClosesTheSocketThatFailsAtOnce)
{
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    OsFaults::connect().failNext(1, ECONNREFUSED);
    EXPECT_EQ(stream.OpenConnection(remote, &ready, &mark), 0);
    expectGivenUp(stream, counted);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, ECONNREFUSED));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockStream::OpenConn() [ItcNonBlocking] OS_connect() call failed. "
                                           "cres = -1 errorNumber = 111"));
    EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(0, &mark)));
}

TEST_P(InetSockStreamConnectNonBlocking, TakesAnInterruptionForAFailure)
{
    OsFaults::connect().failNext(1, EINTR);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 0);
    EXPECT_EQ(OsFaults::connect().calls(), 1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, EINTR));
}

TEST_P(InetSockStreamConnectNonBlocking, ConnectsAgainInTheSameModeAfterAFailure)
{
    OsFaults::connect().failNext(1, ECONNREFUSED);
    stream.OpenConnection(remote, nullptr, nullptr);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_TRUE(isNonBlocking(stream.td));
}

TEST_P(InetSockStreamConnectNonBlocking, SurvivesTheFailureOfAnySingleCall)
{
    expectToSurviveAnySingleFailure<OpenedStream>([this](OpenedStream& other) {
        other.connOptions = itcConnection::ItcNonBlocking;
        return other.OpenConnNormal(remote);
    });
}

// What streams of every mode refuse. The texts of the traces depend on the mode.
struct Mode {
    const char* name;
    itcConnection::ConnOptions option;
    const char* limitReached;
    const char* socketFailed;
};

const Mode modes[] = {
    {"Blocking", itcConnection::ItcBlocking, "itcInetSockStream::OpenConn() max connections reached",
     "itcInetSockStream::OpenConn() OS_socket() call failed. td = -1"},
    {"StrictBlocking", itcConnection::ItcStrictBlocking, "itcInetSockStream::OpenConn() max connections reached",
     "itcInetSockStream::OpenConn() OS_socket() call failed. td = -1"},
    {"NonBlocking", itcConnection::ItcNonBlocking,
     "itcInetSockStream::OpenConn() [ItcNonBlocking] max connections reached",
     "itcInetSockStream::OpenConn() [ItcNonBlocking] OS_socket() call failed. td = -1"},
};

class InetSockStreamConnectRefusal : public testing::TestWithParam<Mode> {
protected:
    OpenedStream stream{GetParam().option};
    itcInetAddress remote{socketAddress("127.0.0.1", 1)};
    int mark = 0;
    ReadyRecorder ready;
    const HookRecorder hooks;
};

INSTANTIATE_TEST_SUITE_P(Modes, InetSockStreamConnectRefusal, testing::ValuesIn(modes),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(InetSockStreamConnectRefusal, StopsAtTheConnectionLimit)
{
    const ConnectionLimit limit(0);
    const int counted = itcConnection::getConnectionCount();
    EXPECT_EQ(stream.OpenConnection(remote, &ready, &mark), 0);
    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_THAT(hooks.texts(), ElementsAre(GetParam().limitReached));
    EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(0, &mark)));
    EXPECT_EQ(OsFaults::socket().calls(), 0);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_P(InetSockStreamConnectRefusal, StopsWithoutASocket)
{
    const int counted = itcConnection::getConnectionCount();
    OsFaults::socket().failNext(1, ENFILE);
    EXPECT_EQ(stream.OpenConnection(remote, &ready, &mark), 0);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Call_Failed, Error, ENFILE));
    EXPECT_THAT(hooks.texts(), ElementsAre(GetParam().socketFailed));
    EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(0, &mark)));
    EXPECT_EQ(OsFaults::connect().calls(), 0);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_P(InetSockStreamConnectRefusal, AppliesToAnyStreamThatIsInUse)
{
    for (const int state : {1, 2, 4, 5, 6}) {
        stream.connState = state;
        errno = EXDEV;
        EXPECT_EQ(stream.OpenConnection(remote, &ready, &mark), 0) << "state " << state;
        EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Still_Connected, Warning, EXDEV));
        EXPECT_EQ(stream.connState, state);
    }
    EXPECT_EQ(ready.calls, std::vector<ReadyRecorder::Call>(5, {0, &mark}));
    EXPECT_TRUE(hooks.texts().empty());
    EXPECT_EQ(OsFaults::socket().calls(), 0);
}

TEST_P(InetSockStreamConnectRefusal, LeavesTheRefusedListenerListening)
{
    itcInetAddress address(socketAddress("127.0.0.1"));
    ASSERT_EQ(stream.CreateEndpoint(address), 1);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 0);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateListening);
    EXPECT_EQ(socketOption(stream.td, SOL_SOCKET, SO_ACCEPTCONN), 1);
}

} // namespace
