// Connecting local streams: the steps, the refusals and their error numbers.
#include "Script.h"
#include "SurvivedFailures.h"
#include "UnixStreamTest.h"

#include <utility>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class UnixSockStreamConnect : public UnixStreamTest {
protected:
    int open(itcUnixSockStream& stream) { return stream.OpenConnection(address, &ready, &mark); }

    void expectTold(int told) { EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(told, &mark))); }

    int mark = 0;
    ReadyRecorder ready;
};

TEST_F(UnixSockStreamConnect, ReachesTheListener)
{
    const BareSocket listener = bareListener(path);
    const int counted = itcConnection::getConnectionCount();
    OpenedUnixStream stream;
    EXPECT_EQ(open(stream), 1);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    expectTold(1);

    const BareSocket peer = acceptedSocket(listener);
    EXPECT_EQ(stream.Write("hello", 5), 5);
    char area[6] = {};
    EXPECT_EQ(::recv(peer.get(), area, 5, MSG_WAITALL), 5);
    EXPECT_STREQ(area, "hello");
}

TEST_F(UnixSockStreamConnect, TakesItsStepsInOrder)
{
    const BareSocket listener = bareListener(path);
    const CallJournal journal;
    OpenedUnixStream stream;
    open(stream);
    EXPECT_THAT(journal.calls(), ElementsAre("socket(1, 1, 0)", "connect(110)"));
}

// A TCP stream becomes Connected. A local stream keeps its state.
TEST_F(UnixSockStreamConnect, LeavesStateRoleAndStatusAsTheyWere)
{
    const BareSocket listener = bareListener(path);
    OpenedUnixStream stream;
    leaveMark(stream);
    EXPECT_EQ(open(stream), 1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
    EXPECT_EQ(stream.connType, itcConnection::ItcTypeUnspecified);
    EXPECT_EQ(stream.boundPath, nullptr);
    EXPECT_THAT(stream, StillHasMark());
}

TEST_F(UnixSockStreamConnect, WorksFromABoundStream)
{
    const BareSocket listener = bareListener(path);
    itcUnixAddress local(folder.path("client").c_str());
    OpenedUnixStream stream(local);
    const CallJournal journal;
    EXPECT_EQ(open(stream), 1);
    EXPECT_THAT(journal.calls(), ElementsAre("connect(110)"));
    EXPECT_EQ(stream.connState, itcConnection::ItcStateBound);
}

TEST_F(UnixSockStreamConnect, LosesItsSocketWhereItIsConnectedAlready)
{
    const BareSocket listener = bareListener(path);
    OpenedUnixStream stream;
    ASSERT_EQ(open(stream), 1);
    EXPECT_EQ(open(stream), 0) << "the state does not tell that it is connected, the system does";
    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, EISCONN));
}

TEST_F(UnixSockStreamConnect, IsForClosedAndBoundStreamsOnly)
{
    const BareSocket listener = bareListener(path);
    for (const int state : {1, 2, 4, 5, 6}) {
        OpenedUnixStream stream;
        ReadyRecorder told;
        stream.connState = state;
        errno = EXDEV;
        EXPECT_EQ(stream.OpenConnection(address, &told, &mark), 0) << "state " << state;
        EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Still_Connected, Warning, EXDEV));
        EXPECT_THAT(told.calls, ElementsAre(ReadyRecorder::Call(0, &mark)));
    }
    EXPECT_EQ(OsFaults::socket().calls(), 0);
    EXPECT_EQ(OsFaults::connect().calls(), 0);
}

TEST_F(UnixSockStreamConnect, NeedsNoCallback)
{
    const BareSocket listener = bareListener(path);
    OpenedUnixStream stream;
    EXPECT_EQ(stream.OpenConnection(address, nullptr, nullptr), 1);
}

TEST_F(UnixSockStreamConnect, HasFormsWithoutACallback)
{
    const BareSocket listener = bareListener(path);
    OpenedUnixStream first;
    OpenedUnixStream second;
    EXPECT_EQ(first.OpenConn(address), 1);
    EXPECT_EQ(second.OpenConnNormal(address), 1);

    address.set(folder.path("nobody").c_str());
    OpenedUnixStream third;
    EXPECT_EQ(third.OpenConn(address), 0);
    EXPECT_EQ(third.OpenConnNormal(address), 0);
}

struct Refusal {
    const char* name;
    int error;
};

class UnixSockStreamRefused : public UnixSockStreamConnect, public testing::WithParamInterface<Refusal> {};
INSTANTIATE_TEST_SUITE_P(, UnixSockStreamRefused,
                         testing::Values(Refusal{"ByNobody", ENOENT}, Refusal{"ByAStaleSocketFile", ECONNREFUSED},
                                         Refusal{"ByAFile", ECONNREFUSED}, Refusal{"ByAPathBelowAFile", ENOTDIR}),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(UnixSockStreamRefused, ClosesItsSocket)
{
    const std::string who = GetParam().name;
    if (who == "ByAStaleSocketFile")
        leaveStaleSocketFile(path);
    if (who == "ByAFile" || who == "ByAPathBelowAFile")
        makeFile(path);
    if (who == "ByAPathBelowAFile")
        address.set((path + "/socket").c_str());
    const int counted = itcConnection::getConnectionCount();
    UnixStreamWithOwnClose stream;

    EXPECT_EQ(open(stream), 0);
    EXPECT_EQ(stream.td, -1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
    EXPECT_EQ(stream.closes, 1) << "through the virtual table";
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, GetParam().error));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    expectTold(0);
}

TEST_F(UnixSockStreamConnect, ServesOnAfterARefusal)
{
    OpenedUnixStream stream;
    EXPECT_EQ(stream.OpenConn(address), 0);
    const BareSocket listener = bareListener(path);
    EXPECT_EQ(stream.OpenConn(address), 1);
}

TEST_F(UnixSockStreamConnect, TellsTheErrorNumberThatTheCloseLeaves)
{
    OsFaults::closesocket().failNext(1, EIO);
    OpenedUnixStream stream;
    EXPECT_EQ(open(stream), 0);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, EIO));
    EXPECT_TRUE(isOpen(stream.td)) << "a failed close keeps the descriptor";
}

TEST_F(UnixSockStreamConnect, CannotReachAnAddressWithoutAPath)
{
    itcUnixAddress none;
    OpenedUnixStream stream;
    EXPECT_EQ(stream.OpenConnection(none, &ready, &mark), 0);
    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, EINVAL));
    expectTold(0);
}

TEST_F(UnixSockStreamConnect, ChoosesTheLengthByTheFamily)
{
    for (const auto& [family, length] : {std::pair(AF_UNIX, 110), {AF_INET6, 28}, {AF_INET, 16}, {AF_UNSPEC, 16}}) {
        itcUnixAddress strange;
        strange.address.ss_family = static_cast<sa_family_t>(family);
        OsFaults::clearAll();
        OpenedUnixStream stream;
        stream.OpenConn(strange);
        EXPECT_THAT(OsFaults::connect().askedArgument<2>(), ElementsAre(length)) << "family " << family;
    }
}

TEST_F(UnixSockStreamConnect, TriesAgainWithTheSameSocketAfterAnInterruption)
{
    const BareSocket listener = bareListener(path);
    OsFaults::connect().failNext(2, EINTR);
    OpenedUnixStream stream;
    EXPECT_EQ(open(stream), 1);
    EXPECT_EQ(OsFaults::connect().calls(), 3);
    EXPECT_EQ(OsFaults::socket().calls(), 1);
}

TEST_F(UnixSockStreamConnect, WouldBlockWhereTheListenersQueueIsFull)
{
    const BareSocket listener = bareListener(path, 0);
    const BareSocket guest = bareClient(path);
    itcUnixAddress local(folder.path("client").c_str());
    OpenedUnixStream stream(local);
    stream.SetOption(itcConnection::ItcNonBlocking);

    EXPECT_EQ(open(stream), -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
    EXPECT_TRUE(isOpen(stream.td)) << "the socket is kept";
    expectTold(-1);

    const BareSocket accepted = acceptedSocket(listener);
    EXPECT_EQ(stream.OpenConn(address), 1);
}

TEST_F(UnixSockStreamConnect, StopsAtTheConnectionLimit)
{
    const BareSocket listener = bareListener(path);
    const ConnectionLimit limit(0);
    OpenedUnixStream stream;
    EXPECT_EQ(open(stream), 0);
    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_EQ(OsFaults::socket().calls(), 0);
    expectTold(0);
}

TEST_F(UnixSockStreamConnect, NeedsNoRoomBelowTheLimitWhereItHasASocket)
{
    const BareSocket listener = bareListener(path);
    itcUnixAddress local(folder.path("client").c_str());
    OpenedUnixStream stream(local);
    const ConnectionLimit limit(0);
    EXPECT_EQ(open(stream), 1);
}

TEST_F(UnixSockStreamConnect, StopsWithoutASocket)
{
    OsFaults::socket().failNext(1, EMFILE);
    OpenedUnixStream stream;
    EXPECT_EQ(open(stream), 0);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Call_Failed, Error, EMFILE));
    expectTold(0);
}

TEST_F(UnixSockStreamConnect, SurvivesAnySingleFailure)
{
    const BareSocket listener = bareListener(path);
    expectToSurviveAnySingleFailure<OpenedUnixStream>(
        [this](OpenedUnixStream& stream) { return stream.OpenConn(address); });
}

TEST_F(UnixSockStreamConnect, LeavesTheSocketFileWhenTheClientGoes)
{
    const BareSocket listener = bareListener(path);
    {
        OpenedUnixStream stream;
        open(stream);
    }
    EXPECT_TRUE(isSocketFile(path));
}

TEST_F(UnixSockStreamConnect, PrintsNothingOfItsFailures)
{
    const HookRecorder hooks;
    OpenedUnixStream stream;
    OsFaults::socket().failNext(1, EMFILE);
    open(stream);
    OsFaults::connect().instead = failingInOrder({EINTR, EAGAIN, ECONNREFUSED}, ::connect);
    EXPECT_EQ(open(stream), -1);
    EXPECT_EQ(open(stream), 0);
    stream.connState = itcConnection::ItcStateListening;
    open(stream);
    EXPECT_THAT(hooks.texts(), IsEmpty());
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
}

} // namespace
