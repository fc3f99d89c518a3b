// Accepting on streams: what all kinds of streams do. InetSockStreamAcceptTest.cpp and UnixSockStreamAcceptTest.cpp
// test what only one kind does.
#include "ConnectionLimit.h"
#include "ReadyRecorder.h"
#include "StreamKinds.h"

#include <memory>
#include <new>

namespace {

bool outOfMemory = false;

} // namespace

// The library allocates the accepted connection with this form of new. A test can let the allocation fail.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return outOfMemory ? nullptr : ::operator new(size);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class StreamAccept : public testing::TestWithParam<NamedKind> {
protected:
    StreamAccept()
    {
        kind->createEndpoint(listener);
        OsFaults::clearAll();
    }

    BareSocket client() const { return connectedSocket(addressOf(listener.td())); }

    /// Accepts. Returns the accepted connection, which the test owns.
    AnyStream accept()
    {
        itcConnection* accepted = nullptr;
        result = listener->AcceptConnection(&accepted, &ready, &mark);
        return AnyStream(std::unique_ptr<itcConnection>(accepted));
    }
    /// Accepts at the connection limit, which fails. Returns the new descriptor: the library leaves the descriptor
    /// open, and the test closes the descriptor.
    BareSocket acceptAtTheLimit()
    {
        BareSocket newcomer;
        OsFaults::accept().instead = [&](int fd, sockaddr* address, socklen_t* length) {
            newcomer = BareSocket(::accept(fd, address, length));
            return newcomer.get();
        };
        const ConnectionLimit limit(0);
        const AnyStream accepted = accept();
        OsFaults::accept().instead = nullptr;
        EXPECT_EQ(result, -1);
        EXPECT_EQ(accepted.get(), nullptr);
        EXPECT_TRUE(isOpen(newcomer.get())) << "neither closed nor counted";
        return newcomer;
    }

    void expectTold(int told) { EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(told, &mark))); }

    const std::unique_ptr<StreamKind> kind = GetParam().make();
    const AnyStream listener = kind->closedStream();
    int result = 0;
    int mark = 0;
    ReadyRecorder ready;
};
INSTANTIATE_TEST_SUITE_P(, StreamAccept, testing::ValuesIn(streamKinds), kindName);

TEST_P(StreamAccept, HandsOutAConnectedStream)
{
    const BareSocket peer = client();
    const AnyStream accepted = accept();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(accepted.state(), itcConnection::ItcStateConnected);
    EXPECT_EQ(accepted.type(), itcConnection::ItcTypeConnection);
    EXPECT_EQ(accepted.options(), itcConnection::ItcBlocking);
    EXPECT_THAT(*accepted, HasClearStatus());
    expectTold(1);
}

TEST_P(StreamAccept, CarriesBytesBothWays)
{
    const BareSocket peer = client();
    const AnyStream accepted = accept();
    accepted->SetOption(itcConnection::ItcStrictBlocking);
    char area[6] = {};
    ASSERT_EQ(::send(peer.get(), "there", 5, 0), 5);
    EXPECT_EQ(accepted->Read(area, 5), 5);
    EXPECT_STREQ(area, "there");
    EXPECT_EQ(accepted->Write("again", 5), 5);
    EXPECT_EQ(::recv(peer.get(), area, 5, MSG_WAITALL), 5);
    EXPECT_STREQ(area, "again");
}

TEST_P(StreamAccept, CountsTheConnectionUntilItIsDestroyed)
{
    const int counted = itcConnection::getConnectionCount();
    const BareSocket peer = client();
    {
        const AnyStream accepted = accept();
        EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    }
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_P(StreamAccept, PassesNothingOnFromTheListener)
{
    const BareSocket peer = client();
    pollfd arrival = {listener.td(), POLLIN, 0};
    ASSERT_EQ(::poll(&arrival, 1, -1), 1);
    listener->SetOption(itcConnection::ItcNonBlocking);
    const AnyStream accepted = accept();
    EXPECT_EQ(accepted.options(), itcConnection::ItcBlocking);
    EXPECT_FALSE(isNonBlocking(accepted.td()));
}

TEST_P(StreamAccept, LeavesTheDescriptorToChildProcesses)
{
    const BareSocket peer = client();
    const AnyStream accepted = accept();
    EXPECT_FALSE(isClosedOnExec(accepted.td()));
    EXPECT_FALSE(isClosedOnExec(listener.td()));
}

TEST_P(StreamAccept, LeavesAnEndpointWithAClearStatus)
{
    const BareSocket peer = client();
    listener.type() = itcConnection::ItcTypeUnspecified;
    leaveMark(*listener);
    const AnyStream accepted = accept();
    EXPECT_EQ(listener.type(), itcConnection::ItcTypeEndpoint);
    EXPECT_EQ(listener.state(), itcConnection::ItcStateListening);
    EXPECT_THAT(*listener, HasClearStatus());
}

TEST_P(StreamAccept, NeedsNoCallback)
{
    const BareSocket peer = client();
    itcConnection* accepted = nullptr;
    EXPECT_EQ(listener->AcceptConnection(&accepted, nullptr, nullptr), 1);
    delete accepted;
}

TEST_P(StreamAccept, TellsTheCallbackAfterTheConnectionIsInPlace)
{
    struct Looking : ICBKivReady {
        void ready(int, void* userData) override { seen = *static_cast<itcConnection**>(userData); }
        itcConnection* seen = nullptr;
    } looking;
    const BareSocket peer = client();
    itcConnection* accepted = nullptr;
    listener->AcceptConnection(&accepted, &looking, &accepted);
    EXPECT_EQ(looking.seen, accepted);
    EXPECT_NE(looking.seen, nullptr);
    delete accepted;
}

TEST_P(StreamAccept, GivesTheSystemRoomForTheNameOfThePeer)
{
    socklen_t room = 0;
    OsFaults::accept().instead = [&](int, sockaddr*, socklen_t* length) {
        room = *length;
        errno = ECONNABORTED;
        return -1;
    };
    accept();
    EXPECT_EQ(room, kind->roomForName());
}

TEST_P(StreamAccept, TriesAgainAfterAnInterruption)
{
    const BareSocket peer = client();
    OsFaults::accept().failNext(3, EINTR);
    const AnyStream accepted = accept();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(OsFaults::accept().calls(), 4);
}

TEST_P(StreamAccept, WouldBlockWhereNobodyWaits)
{
    const HookRecorder hooks;
    listener->SetOption(itcConnection::ItcNonBlocking);
    const AnyStream accepted = accept();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(accepted.get(), nullptr);
    EXPECT_THAT(*listener, HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
    EXPECT_EQ(listener.state(), itcConnection::ItcStateListening);
    EXPECT_THAT(hooks.texts(), IsEmpty());
    expectTold(-1);
}

TEST_P(StreamAccept, FailsWithTheSystemsErrorNumber)
{
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    OsFaults::accept().failNext(1, EMFILE);
    const AnyStream accepted = accept();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(accepted.get(), nullptr);
    EXPECT_THAT(*listener, HasStatus(Itc_Tp_Accept_Call_Failed, Error, EMFILE));
    EXPECT_EQ(hooks.texts(), kind->traces("AcceptConnection() OS_accept() call failed. errno = 24"));
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    expectTold(-1);
}

TEST_P(StreamAccept, TellsWhicheverCallFailsAndServesOn)
{
    walkSingleFailures({fails("accept", Itc_Tp_Accept_Call_Failed)}, [this](SingleFailure& failure) {
        const BareSocket peer = client();
        ready.calls.clear();
        {
            AnyStream accepted(nullptr);
            failure.during([&] { accepted = accept(); });
            EXPECT_EQ(accepted.get() != nullptr, failure.isSurvived());
        }
        failure.expectIn(*listener);
        expectTold(failure.isSurvived() ? 1 : -1);
        EXPECT_EQ(listener.state(), itcConnection::ItcStateListening);
        if (!failure.isSurvived()) {
            const AnyStream accepted = accept();
            EXPECT_EQ(result, 1) << "the peer still waits";
            EXPECT_THAT(*listener, HasClearStatus());
        }
    });
}

TEST_P(StreamAccept, LeavesTheWaitingPeerReadableWhileOutOfDescriptors)
{
    const BareSocket peer = client();
    pollfd arrival = {listener.td(), POLLIN, 0};
    ASSERT_EQ(::poll(&arrival, 1, -1), 1);
    OsFaults::accept().failNext(1, EMFILE);
    accept();
    EXPECT_EQ(::poll(&arrival, 1, 0), 1);
}

TEST_P(StreamAccept, IsForListenersOnly)
{
    const HookRecorder hooks;
    for (const int state : {0, 1, 2, 3, 5, 6}) {
        const AnyStream stream = kind->closedStream();
        ReadyRecorder told;
        itcConnection* accepted = stream.get();
        stream.state() = state;
        errno = EXDEV;
        EXPECT_EQ(stream->AcceptConnection(&accepted, &told, &mark), -1) << "state " << state;
        EXPECT_EQ(accepted, stream.get());
        EXPECT_THAT(*stream, HasStatus(Itc_Tp_Socket_Still_Connected, Warning, EXDEV));
        EXPECT_THAT(told.calls, ElementsAre(ReadyRecorder::Call(-1, &mark)));
    }
    EXPECT_EQ(OsFaults::accept().calls(), 0);
    EXPECT_THAT(hooks.texts(), IsEmpty());
}

TEST_P(StreamAccept, StopsListeningAtTheConnectionLimit)
{
    const BareSocket peer = client();
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    const int td = listener.td();
    const BareSocket newcomer = acceptAtTheLimit();
    expectGivenUp(listener, counted - 1);
    EXPECT_FALSE(isOpen(td));
    EXPECT_THAT(*listener, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_EQ(hooks.texts(), kind->traces("AcceptConnection() max connections reached"));
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
    expectTold(-1);
}

// The status has the code of the reached limit and the error number of the failed close.
TEST_P(StreamAccept, KeepsTheDescriptorAtTheConnectionLimitWhenItCannotBeClosed)
{
    const BareSocket peer = client();
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    OsFaults::closesocket().failNext(1, EIO);
    const BareSocket newcomer = acceptAtTheLimit();
    EXPECT_TRUE(isOpen(listener.td()));
    EXPECT_EQ(listener.closes(), 1);
    EXPECT_EQ(listener.state(), itcConnection::ItcStateClosed);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    EXPECT_THAT(*listener, HasStatus(Itc_Tp_Max_Connections_Reached, Error, EIO));
    Texts expected = kind->traces("AcceptConnection() max connections reached");
    expected.emplace_back("itcConnection::Close() close/closesocket call failed");
    EXPECT_EQ(hooks.texts(), expected);
    expectTold(-1);
}

TEST_P(StreamAccept, AcceptsTheLastConnectionBelowTheLimit)
{
    const BareSocket peer = client();
    const ConnectionLimit limit(1);
    const AnyStream accepted = accept();
    EXPECT_EQ(result, 1);
    EXPECT_TRUE(itcConnection::hasMaxConnCount());
}

TEST_P(StreamAccept, FailsWithoutAPlaceForTheConnection)
{
    const BareSocket peer = client();
    EXPECT_EQ(listener->AcceptConnection(nullptr, &ready, &mark), -1);
    EXPECT_THAT(*listener, HasStatus(Itc_Tp_Accept_Call_Failed, Error));
    EXPECT_EQ(listener.state(), itcConnection::ItcStateListening);
    expectTold(-1);
    EXPECT_EQ(listener->AcceptConnection(nullptr, nullptr, nullptr), -1);
}

TEST_P(StreamAccept, IsRefusedOfWhatDoesNotListenAlsoWithoutAPlace)
{
    const AnyStream closed = kind->closedStream();
    EXPECT_EQ(closed->AcceptConnection(nullptr, nullptr, nullptr), -1);
    EXPECT_THAT(*closed, HasStatus(Itc_Tp_Socket_Still_Connected, Warning));
}

TEST_P(StreamAccept, TurnsThePeerAwayWithoutMemoryForTheConnection)
{
    const BareSocket peer = client();
    const int counted = itcConnection::getConnectionCount();
    outOfMemory = true;
    const AnyStream accepted = accept();
    outOfMemory = false;

    EXPECT_EQ(result, -1);
    EXPECT_EQ(accepted.get(), nullptr);
    EXPECT_THAT(*listener, HasStatus(Itc_Tp_Accept_Call_Failed, Error));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    char byte;
    EXPECT_EQ(::read(peer.get(), &byte, 1), 0);
    expectTold(-1);
}

} // namespace
