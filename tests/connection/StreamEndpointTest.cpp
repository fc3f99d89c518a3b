// CreateEndpoint() of streams: what all kinds of streams do. InetSockStreamEndpointTest.cpp and
// UnixSockStreamEndpointTest.cpp test what only one kind does.
#include "CallJournal.h"
#include "ConnectionLimit.h"
#include "StreamKinds.h"

#include <cstring>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* closeFailed = "itcConnection::Close() close/closesocket call failed";

class StreamEndpoint : public testing::TestWithParam<NamedKind> {
protected:
    bool createEndpoint() { return kind->createEndpoint(stream); }

    static void expectSameName(const sockaddr_storage& a, const sockaddr_storage& b)
    {
        EXPECT_EQ(std::memcmp(&a, &b, lengthOf(a)), 0);
    }

    const std::unique_ptr<StreamKind> kind = GetParam().make();
    const AnyStream stream = kind->closedStream();
    const int counted = itcConnection::getConnectionCount();
};
INSTANTIATE_TEST_SUITE_P(, StreamEndpoint, testing::ValuesIn(streamKinds), kindName);

TEST_P(StreamEndpoint, ListensAndIsCounted)
{
    leaveMark(*stream);
    EXPECT_TRUE(createEndpoint());
    EXPECT_EQ(stream.state(), itcConnection::ItcStateListening);
    EXPECT_EQ(stream.type(), itcConnection::ItcTypeEndpoint);
    EXPECT_THAT(*stream, HasClearStatus());
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_EQ(socketOption(stream.td(), SOL_SOCKET, SO_ACCEPTCONN), 1);
}

TEST_P(StreamEndpoint, TakesItsStepsInOrder)
{
    const CallJournal journal;
    createEndpoint();
    EXPECT_EQ(journal.calls(), kind->endpointCalls());
}

TEST_P(StreamEndpoint, OnlyListensAgainWhenItListensAlready)
{
    ASSERT_TRUE(createEndpoint());
    const sockaddr_storage name = addressOf(stream.td());
    const CallJournal journal;
    EXPECT_TRUE(kind->createEndpointElsewhere(stream));
    EXPECT_THAT(journal.calls(), ElementsAre("listen(5)"));
    expectSameName(addressOf(stream.td()), name);
}

TEST_P(StreamEndpoint, OnlyListensWhereTheConstructorHasBound)
{
    const AnyStream bound = kind->boundStream();
    const sockaddr_storage name = addressOf(bound.td());
    const CallJournal journal;
    EXPECT_TRUE(kind->createEndpointElsewhere(bound));
    EXPECT_THAT(journal.calls(), ElementsAre("listen(5)"));
    expectSameName(addressOf(bound.td()), name);
    EXPECT_EQ(bound.state(), itcConnection::ItcStateListening);
    EXPECT_EQ(bound.type(), itcConnection::ItcTypeEndpoint);
}

TEST_P(StreamEndpoint, RefusesOnlyAConnectedStream)
{
    const HookRecorder hooks;
    stream.state() = itcConnection::ItcStateConnected;
    errno = EXDEV;
    EXPECT_FALSE(createEndpoint());
    EXPECT_THAT(*stream, HasStatus(Itc_Tp_Socket_Still_Connected, Warning, EXDEV));
    EXPECT_EQ(OsFaults::socket().calls(), 0);
    EXPECT_THAT(hooks.texts(), IsEmpty());

    for (const int state : {0, 2, 5, 6}) {
        const AnyStream other = kind->closedStream();
        other.state() = state;
        EXPECT_TRUE(kind->createEndpoint(other)) << "state " << state;
    }
}

TEST_P(StreamEndpoint, StopsAtTheConnectionLimit)
{
    const HookRecorder hooks;
    const ConnectionLimit limit(0);
    const int countedAtTheLimit = itcConnection::getConnectionCount();
    EXPECT_FALSE(createEndpoint());
    EXPECT_EQ(stream.td(), -1);
    EXPECT_THAT(*stream, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_EQ(hooks.texts(), kind->traces("CreateEndpoint() max connections reached"));
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
    EXPECT_EQ(OsFaults::socket().calls(), 0);
    EXPECT_EQ(itcConnection::getConnectionCount(), countedAtTheLimit);
}

TEST_P(StreamEndpoint, MayBeTheLastConnectionBelowTheLimit)
{
    const ConnectionLimit limit(1);
    EXPECT_TRUE(createEndpoint());
    EXPECT_TRUE(itcConnection::hasMaxConnCount());
    EXPECT_TRUE(createEndpoint()) << "no further socket, so no further question";
}

TEST_P(StreamEndpoint, NeedsNoRoomBelowTheLimitWhereItHasASocket)
{
    const AnyStream bound = kind->boundStream();
    const ConnectionLimit limit(0);
    EXPECT_TRUE(kind->createEndpoint(bound));
}

TEST_P(StreamEndpoint, StopsWithoutASocket)
{
    const HookRecorder hooks;
    OsFaults::socket().failNext(1, EMFILE);
    EXPECT_FALSE(createEndpoint());
    EXPECT_THAT(*stream, HasStatus(Itc_Tp_Socket_Call_Failed, Error, EMFILE));
    EXPECT_EQ(hooks.texts(), kind->traces("CreateEndpoint() OS_socket() call failed. td = -1"));
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
}

TEST_P(StreamEndpoint, ClosesTheSocketThatItCannotBind)
{
    const HookRecorder hooks;
    OsFaults::bind().failNext(1, EADDRNOTAVAIL);
    EXPECT_FALSE(createEndpoint());
    expectGivenUp(stream, counted);
    EXPECT_THAT(*stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRNOTAVAIL));
    EXPECT_EQ(hooks.texts(), kind->traces("CreateEndpoint() OS_bind() call failed. errorNumber = 99"));
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
}

TEST_P(StreamEndpoint, ClosesTheSocketThatCannotListen)
{
    const HookRecorder hooks;
    OsFaults::listen().failNext(1, EOPNOTSUPP);
    EXPECT_FALSE(createEndpoint());
    expectGivenUp(stream, counted);
    EXPECT_THAT(*stream, HasStatus(Itc_Tp_Listen_Call_Failed, Error, EOPNOTSUPP));
    EXPECT_EQ(hooks.texts(), kind->traces("CreateEndpoint() OS_listen() call failed. errorNumber = 95"));
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
}

TEST_P(StreamEndpoint, ClosesAListenerThatCannotListenAgain)
{
    createEndpoint();
    OsFaults::listen().failNext(1, EOPNOTSUPP);
    EXPECT_FALSE(createEndpoint());
    expectGivenUp(stream, counted);
}

TEST_P(StreamEndpoint, TakesAnyResultOfListenButZeroForAFailure)
{
    OsFaults::listen().instead = [](int, int) { return 1; };
    EXPECT_FALSE(createEndpoint());
    EXPECT_THAT(*stream, HasStatus(Itc_Tp_Listen_Call_Failed, Error));
}

TEST_P(StreamEndpoint, ReportsTheFailedBindEvenWhereTheCloseFailsToo)
{
    const HookRecorder hooks;
    OsFaults::bind().failNext(1, EADDRNOTAVAIL);
    OsFaults::closesocket().failNext(1, EIO);
    EXPECT_FALSE(createEndpoint());
    EXPECT_TRUE(isOpen(stream.td())) << "a failed close keeps the descriptor";
    EXPECT_THAT(*stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, kind->recordedError(EADDRNOTAVAIL, EIO)));
    Texts expected = kind->traces("CreateEndpoint() OS_bind() call failed. errorNumber = 99");
    expected.insert(expected.begin(), closeFailed);
    EXPECT_EQ(hooks.texts(), expected);
}

TEST_P(StreamEndpoint, TellsWhicheverCallFailsAndServesOn)
{
    walkSingleFailures(kind->endpointFailures(), [this](SingleFailure& failure) {
        const AnyStream other = kind->closedStream();
        bool listens = false;
        failure.during([&] { listens = kind->createEndpoint(other); });
        failure.expectIn(*other);
        EXPECT_EQ(listens, failure.isSurvived());
        EXPECT_EQ(other.state(),
                  failure.isSurvived() ? itcConnection::ItcStateListening : itcConnection::ItcStateClosed);
        EXPECT_EQ(itcConnection::getConnectionCount(), counted + (other.td() >= 0 ? 1 : 0));
        EXPECT_TRUE(kind->createEndpoint(other));
    });
}

} // namespace
