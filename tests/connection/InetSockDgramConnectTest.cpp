// OpenConnection() of a datagram socket, which sets the peer.
#include "ConnectionLimit.h"
#include "DatagramTest.h"
#include "ReadyRecorder.h"

namespace {

using testing::ElementsAre;

class InetSockDgramConnect : public DatagramTest {
protected:
    int open(itcInetSockDgram& datagram) { return datagram.OpenConnection(remote, &ready, &mark); }

    void expectTold(int told) { EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(told, &mark))); }

    static void expectConnected(const OpenedDatagram& datagram)
    {
        EXPECT_EQ(datagram.connState, itcConnection::ItcStateConnected);
        EXPECT_EQ(datagram.connType, itcConnection::ItcTypeConnection);
    }

    const BareSocket peer = bareDatagramSocket();
    itcInetAddress remote = addressOf(peer);
    int mark = 0;
    ReadyRecorder ready;
};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockDgramConnect, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockDgramConnect, FixesThePeer)
{
    const int counted = itcConnection::getConnectionCount();
    OpenedDatagram datagram;
    leaveMark(datagram);
    EXPECT_EQ(open(datagram), 1);
    expectConnected(datagram);
    EXPECT_THAT(datagram, StillHasMark()) << "a success does not clear the status";
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    expectTold(1);

    EXPECT_EQ(datagram.Write("hello", 5), 5);
    char area[16] = {};
    EXPECT_EQ(::recv(peer.get(), area, sizeof area, 0), 5);
    EXPECT_STREQ(area, "hello");
}

TEST_P(InetSockDgramConnect, SendsNothingWithoutAPeer)
{
    itcInetAddress address = local();
    OpenedDatagram endpoint(address);
    EXPECT_EQ(endpoint.Write("hello", 5), -1);
    EXPECT_THAT(endpoint, HasStatus(Itc_Tp_Write_Call_Failed, Error, EDESTADDRREQ));
}

TEST_P(InetSockDgramConnect, TakesItsStepsInOrder)
{
    const CallJournal journal;
    OpenedDatagram datagram;
    open(datagram);
    EXPECT_EQ(journal.calls(), steps({socketCall(), connectCall()})) << "V6ONLY is left alone";
}

TEST_P(InetSockDgramConnect, WorksFromABoundEndpoint)
{
    itcInetAddress address = local();
    OpenedDatagram datagram;
    datagram.CreateEndpoint(address);
    const int port = portOf(::addressOf(datagram.td));
    EXPECT_EQ(open(datagram), 1);
    expectConnected(datagram);
    EXPECT_EQ(portOf(::addressOf(datagram.td)), port);
}

TEST_P(InetSockDgramConnect, WorksAgainWithAnotherPeer)
{
    const BareSocket second = bareDatagramSocket();
    OpenedDatagram datagram;
    open(datagram);
    itcInetAddress other = addressOf(second);
    EXPECT_EQ(datagram.OpenConnection(other, nullptr, nullptr), 1);
    datagram.Write("hello", 5);
    char area[16];
    EXPECT_EQ(::recv(second.get(), area, sizeof area, 0), 5);
}

TEST_P(InetSockDgramConnect, WorksInAnyState)
{
    for (const int state : {0, 1, 2, 3, 4, 5, 6}) {
        OpenedDatagram datagram;
        datagram.connState = state;
        EXPECT_EQ(datagram.OpenConnection(remote, nullptr, nullptr), 1) << "state " << state;
        expectConnected(datagram);
    }
}

TEST_P(InetSockDgramConnect, TakesAConnectUnderWayForASuccess)
{
    for (const int error : {EAGAIN, EINPROGRESS}) {
        OsFaults::connect().failNext(1, error);
        ReadyRecorder told;
        OpenedDatagram datagram;
        EXPECT_EQ(datagram.OpenConnection(remote, &told, &mark), 1);
        expectConnected(datagram);
        EXPECT_THAT(datagram, HasClearStatus());
        EXPECT_THAT(told.calls, ElementsAre(ReadyRecorder::Call(1, &mark)));
    }
}

TEST_P(InetSockDgramConnect, ClosesTheSocketAfterAFailure)
{
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    OsFaults::connect().failNext(1, ENETUNREACH);
    WithOwnClose<OpenedDatagram> datagram;
    EXPECT_EQ(open(datagram), 0);
    EXPECT_EQ(datagram.td, -1);
    EXPECT_EQ(datagram.connState, itcConnection::ItcStateClosed);
    EXPECT_EQ(datagram.closes, 1) << "through the virtual table";
    EXPECT_THAT(datagram, HasStatus(Itc_Tp_Connect_Call_Failed, Error, ENETUNREACH));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockDgram::OpenConnection() OS_connect() call failed. errno = 101"));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    expectTold(0);
}

TEST_P(InetSockDgramConnect, DoesNotTryAgainAfterAnInterruption)
{
    OsFaults::connect().failNext(1, EINTR);
    OpenedDatagram datagram;
    EXPECT_EQ(open(datagram), 0);
    EXPECT_THAT(datagram, HasStatus(Itc_Tp_Connect_Call_Failed, Error, EINTR));
    EXPECT_EQ(OsFaults::connect().calls(), 1);
}

TEST_P(InetSockDgramConnect, TracesTheFailureBeforeItCloses)
{
    const HookRecorder hooks;
    OsFaults::connect().failNext(1, ENETUNREACH);
    OsFaults::closesocket().failNext(1, EIO);
    OpenedDatagram datagram;
    open(datagram);
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockDgram::OpenConnection() OS_connect() call failed. errno = 101",
                                           "itcConnection::Close() close/closesocket call failed"));
    EXPECT_THAT(datagram, HasStatus(Itc_Tp_Connect_Call_Failed, Error, ENETUNREACH));
}

TEST_P(InetSockDgramConnect, StopsAtTheConnectionLimit)
{
    const HookRecorder hooks;
    const ConnectionLimit limit(0);
    OpenedDatagram datagram;
    EXPECT_EQ(open(datagram), 0);
    EXPECT_EQ(datagram.td, -1);
    EXPECT_THAT(datagram, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockDgram::OpenConnection() max connections reached"));
    EXPECT_EQ(OsFaults::socket().calls(), 0);
    expectTold(0);
}

TEST_P(InetSockDgramConnect, NeedsNoRoomBelowTheLimitWhereItHasASocket)
{
    itcInetAddress address = local();
    OpenedDatagram datagram(address);
    const ConnectionLimit limit(0);
    EXPECT_EQ(open(datagram), 1);
}

TEST_P(InetSockDgramConnect, StopsWithoutASocket)
{
    const HookRecorder hooks;
    OsFaults::socket().failNext(1, EMFILE);
    OpenedDatagram datagram;
    EXPECT_EQ(open(datagram), 0);
    EXPECT_THAT(datagram, HasStatus(Itc_Tp_Socket_Call_Failed, Error, EMFILE));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockDgram::OpenConnection() OS_socket() call failed. td = -1"));
    expectTold(0);
}

TEST_P(InetSockDgramConnect, NeedsNoCallback)
{
    OpenedDatagram datagram;
    OsFaults::socket().failNext(1, EMFILE);
    EXPECT_EQ(datagram.OpenConnection(remote, nullptr, nullptr), 0);
    OsFaults::connect().failNext(1, ENETUNREACH);
    EXPECT_EQ(datagram.OpenConnection(remote, nullptr, nullptr), 0);
    EXPECT_EQ(datagram.OpenConnection(remote, nullptr, nullptr), 1);
}

TEST_P(InetSockDgramConnect, SurvivesAnySingleFailure)
{
    expectToSurviveAnySingleFailure<OpenedDatagram>(
        [this](OpenedDatagram& datagram) { return datagram.OpenConnection(remote, nullptr, nullptr); });
}

} // namespace
