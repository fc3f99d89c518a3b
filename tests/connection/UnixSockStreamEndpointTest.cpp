#include "SurvivedFailures.h"
#include "UnixStreamTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class UnixSockStreamEndpoint : public UnixStreamTest {};

TEST_F(UnixSockStreamEndpoint, ListensAndIsCounted)
{
    const int counted = itcConnection::getConnectionCount();
    OpenedUnixStream stream;
    leaveMark(stream);
    EXPECT_TRUE(stream.CreateEndpoint(address));
    EXPECT_EQ(stream.connState, itcConnection::ItcStateListening);
    EXPECT_EQ(stream.connType, itcConnection::ItcTypeEndpoint);
    EXPECT_STREQ(stream.boundPath, path.c_str());
    EXPECT_THAT(stream, HasClearStatus());
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_EQ(socketOption(stream.td, SOL_SOCKET, SO_ACCEPTCONN), 1);
    EXPECT_TRUE(isSocketFile(path));
}

TEST_F(UnixSockStreamEndpoint, TakesItsStepsInOrder)
{
    const CallJournal journal;
    OpenedUnixStream stream;
    stream.CreateEndpoint(address);
    EXPECT_THAT(journal.calls(), ElementsAre("socket(1, 1, 0)", "bind(110)", "listen(5)"));
}

TEST_F(UnixSockStreamEndpoint, OnlyListensWhereTheConstructorHasBound)
{
    OpenedUnixStream stream(address);
    const CallJournal journal;
    itcUnixAddress other(folder.path("other").c_str());
    EXPECT_TRUE(stream.CreateEndpoint(other));
    EXPECT_THAT(journal.calls(), ElementsAre("listen(5)"));
    EXPECT_STREQ(stream.boundPath, path.c_str());
    EXPECT_FALSE(exists(other.pathname()));
    EXPECT_EQ(stream.connState, itcConnection::ItcStateListening);
    EXPECT_EQ(stream.connType, itcConnection::ItcTypeEndpoint);
}

TEST_F(UnixSockStreamEndpoint, OnlyListensAgainWhenItListensAlready)
{
    OpenedUnixStream stream;
    ASSERT_TRUE(stream.CreateEndpoint(address));
    const CallJournal journal;
    EXPECT_TRUE(stream.CreateEndpoint(address));
    EXPECT_THAT(journal.calls(), ElementsAre("listen(5)"));
    EXPECT_TRUE(isSocketFile(path));
}

TEST_F(UnixSockStreamEndpoint, RefusesOnlyAConnectedStream)
{
    OpenedUnixStream stream;
    stream.connState = itcConnection::ItcStateConnected;
    errno = EXDEV;
    EXPECT_FALSE(stream.CreateEndpoint(address));
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Still_Connected, Warning, EXDEV));
    EXPECT_EQ(OsFaults::socket().calls(), 0);

    for (const int state : {0, 2, 5, 6}) {
        OpenedUnixStream other;
        other.connState = state;
        EXPECT_TRUE(other.CreateEndpoint(address)) << "state " << state;
    }
}

TEST_F(UnixSockStreamEndpoint, RemovesAStaleSocketFileFirst)
{
    leaveStaleSocketFile(path);
    OpenedUnixStream stream;
    EXPECT_TRUE(stream.CreateEndpoint(address));
}

TEST_F(UnixSockStreamEndpoint, IsOpenToEverybodyWhateverTheUmask)
{
    const Umask mask(077);
    OpenedUnixStream stream;
    stream.CreateEndpoint(address);
    EXPECT_EQ(modeOf(path), 0777u);
}

TEST_F(UnixSockStreamEndpoint, TakesThePathOverFromAnotherThatListens)
{
    OpenedUnixStream first;
    OpenedUnixStream second;
    ASSERT_TRUE(first.CreateEndpoint(address));
    EXPECT_TRUE(second.CreateEndpoint(address));

    const BareSocket client = bareClient(path);
    pollfd arrivals[] = {{first.td, POLLIN, 0}, {second.td, POLLIN, 0}};
    EXPECT_EQ(::poll(arrivals, 2, -1), 1);
    EXPECT_EQ(arrivals[0].revents, 0);
    EXPECT_EQ(arrivals[1].revents, POLLIN);
}

// A deriving host may still hold the earlier copy, so it stays.
TEST_F(UnixSockStreamEndpoint, CopiesThePathAnewAfterAClose)
{
    OpenedUnixStream stream;
    ASSERT_TRUE(stream.CreateEndpoint(address));
    char* const earlier = stream.boundPath;
    ASSERT_TRUE(stream.Close());
    EXPECT_TRUE(stream.CreateEndpoint(address));
    EXPECT_NE(stream.boundPath, earlier);
    EXPECT_STREQ(earlier, path.c_str());
    delete[] earlier;
}

TEST_F(UnixSockStreamEndpoint, StopsAtTheConnectionLimit)
{
    const ConnectionLimit limit(0);
    OpenedUnixStream stream;
    EXPECT_FALSE(stream.CreateEndpoint(address));
    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_EQ(OsFaults::socket().calls(), 0);
}

TEST_F(UnixSockStreamEndpoint, NeedsNoRoomBelowTheLimitWhereItHasASocket)
{
    OpenedUnixStream stream(address);
    const ConnectionLimit limit(0);
    EXPECT_TRUE(stream.CreateEndpoint(address));
}

TEST_F(UnixSockStreamEndpoint, StopsWithoutASocket)
{
    OsFaults::socket().failNext(1, ENFILE);
    OpenedUnixStream stream;
    EXPECT_FALSE(stream.CreateEndpoint(address));
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Call_Failed, Error, ENFILE));
    EXPECT_EQ(stream.boundPath, nullptr);
}

TEST_F(UnixSockStreamEndpoint, ClosesTheSocketThatItCannotBind)
{
    const int counted = itcConnection::getConnectionCount();
    itcUnixAddress missing(folder.path("missing/socket").c_str());
    UnixStreamWithOwnClose stream;
    EXPECT_FALSE(stream.CreateEndpoint(missing));
    EXPECT_EQ(stream.td, -1);
    EXPECT_EQ(stream.closes, 1) << "through the virtual table";
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, ENOENT));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_F(UnixSockStreamEndpoint, RecordsTheErrorNumberFromAfterTheClose)
{
    OsFaults::closesocket().instead = closeLeavingEXDEV;
    OpenedUnixStream cannotBind;
    OsFaults::bind().failNext(1, EADDRINUSE);
    EXPECT_FALSE(cannotBind.CreateEndpoint(address));
    EXPECT_THAT(cannotBind, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EXDEV));

    OpenedUnixStream cannotListen;
    OsFaults::listen().failNext(1, EOPNOTSUPP);
    EXPECT_FALSE(cannotListen.CreateEndpoint(address));
    EXPECT_THAT(cannotListen, HasStatus(Itc_Tp_Listen_Call_Failed, Error, EXDEV));
}

TEST_F(UnixSockStreamEndpoint, ClosesTheSocketThatCannotListen)
{
    const int counted = itcConnection::getConnectionCount();
    OsFaults::listen().failNext(1, EOPNOTSUPP);
    UnixStreamWithOwnClose stream;
    EXPECT_FALSE(stream.CreateEndpoint(address));
    EXPECT_EQ(stream.td, -1);
    EXPECT_EQ(stream.closes, 1) << "through the virtual table";
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Listen_Call_Failed, Error, EOPNOTSUPP));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_F(UnixSockStreamEndpoint, CannotBeWithoutAPath)
{
    itcUnixAddress none;
    OpenedUnixStream stream;
    EXPECT_FALSE(stream.CreateEndpoint(none));
    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error));
}

TEST_F(UnixSockStreamEndpoint, SurvivesAnySingleFailure)
{
    expectToSurviveAnySingleFailure<OpenedUnixStream>([this](OpenedUnixStream& stream) {
        char* const earlier = stream.boundPath;
        const int result = stream.CreateEndpoint(address) ? 1 : 0;
        if (stream.boundPath != earlier)
            delete[] earlier;
        return result;
    });
}

TEST_F(UnixSockStreamEndpoint, PrintsNothingOfItsFailures)
{
    const HookRecorder hooks;
    OpenedUnixStream connected;
    connected.connState = itcConnection::ItcStateConnected;
    connected.CreateEndpoint(address);
    OpenedUnixStream streams[3];
    OsFaults::socket().failNext(1, EMFILE);
    streams[0].CreateEndpoint(address);
    OsFaults::bind().failNext(1, EADDRINUSE);
    streams[1].CreateEndpoint(address);
    OsFaults::listen().failNext(1, EOPNOTSUPP);
    streams[2].CreateEndpoint(address);
    EXPECT_EQ(streams[2].code, Itc_Tp_Listen_Call_Failed);
    EXPECT_THAT(hooks.texts(), IsEmpty());
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
}

} // namespace
