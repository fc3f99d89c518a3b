#include "ConnectionLimit.h"
#include "LoopbackTest.h"
#include "ReadyRecorder.h"

#include <memory>
#include <new>

namespace {

bool outOfMemory = false;

} // namespace

// The library asks for the accepted connection without exceptions; so a test can refuse it.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return outOfMemory ? nullptr : ::operator new(size);
}

namespace {

using testing::ElementsAre;

/// A protected field of any connection.
template <class Class, class Field> Field fieldOf(const itcConnection& connection, Field Class::*field)
{
    return static_cast<const Class&>(connection).*field;
}

class InetSockStreamAccept : public LoopbackTest {
protected:
    InetSockStreamAccept()
    {
        itcInetAddress address = local();
        listener.CreateEndpoint(address);
        OsFaults::clearAll();
    }

    BareSocket client() const { return connectedSocket(::addressOf(listener.td)); }

    /// What accepting gives; the test owns it.
    std::unique_ptr<itcConnection> accept()
    {
        itcConnection* accepted = nullptr;
        result = listener.AcceptConnection(&accepted, &ready, &mark);
        return std::unique_ptr<itcConnection>(accepted);
    }

    void expectTold(int told) { EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(told, &mark))); }

    StreamWithOwnSteps listener;
    int result = 0;
    int mark = 0;
    ReadyRecorder ready;
};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockStreamAccept, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockStreamAccept, HandsOutAConnectedStream)
{
    const BareSocket peer = client();
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(result, 1);
    ASSERT_NE(dynamic_cast<itcInetSockStream*>(accepted.get()), nullptr);
    EXPECT_EQ(fieldOf(*accepted, &OpenedStream::connState), itcConnection::ItcStateConnected);
    EXPECT_EQ(fieldOf(*accepted, &OpenedStream::connType), itcConnection::ItcTypeConnection);
    EXPECT_EQ(fieldOf(*accepted, &OpenedStream::connOptions), itcConnection::ItcBlocking);
    EXPECT_EQ(fieldOf(*accepted, &OpenedStream::connTimeout), 0u);
    EXPECT_EQ(fieldOf(*accepted, &OpenedStream::readCallCount), 0u);
    EXPECT_EQ(fieldOf(*accepted, &OpenedStream::writeCallCount), 0u);
    EXPECT_THAT(*accepted, HasClearStatus());
    expectTold(1);
}

TEST_P(InetSockStreamAccept, CarriesThePeersBytes)
{
    const BareSocket peer = client();
    const std::unique_ptr<itcConnection> accepted = accept();
    ASSERT_EQ(::send(peer.get(), "hello", 5, 0), 5);
    accepted->SetOption(itcConnection::ItcStrictBlocking);
    char area[6] = {};
    EXPECT_EQ(accepted->Read(area, 5), 5);
    EXPECT_STREQ(area, "hello");
}

TEST_P(InetSockStreamAccept, CountsTheConnectionUntilItIsDestroyed)
{
    const int counted = itcConnection::getConnectionCount();
    const BareSocket peer = client();
    std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    accepted.reset();
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_P(InetSockStreamAccept, PassesNothingOnFromTheListener)
{
    const BareSocket peer = client();
    listener.setConnTimeout(500);
    pollfd arrival = {listener.td, POLLIN, 0};
    ASSERT_EQ(::poll(&arrival, 1, -1), 1);
    listener.SetOption(itcConnection::ItcNonBlocking);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(fieldOf(*accepted, &OpenedStream::connOptions), itcConnection::ItcBlocking);
    EXPECT_EQ(fieldOf(*accepted, &OpenedStream::connTimeout), 0u);
    EXPECT_FALSE(isNonBlocking(accepted->ReadDescriptor()));
}

TEST_P(InetSockStreamAccept, LeavesTheDescriptorToChildProcesses)
{
    const BareSocket peer = client();
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_FALSE(isClosedOnExec(accepted->ReadDescriptor()));
    EXPECT_FALSE(isClosedOnExec(listener.td));
}

TEST_P(InetSockStreamAccept, LeavesAnEndpointWithAClearStatus)
{
    const BareSocket peer = client();
    listener.connType = itcConnection::ItcTypeUnspecified;
    leaveMark(listener);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(listener.connType, itcConnection::ItcTypeEndpoint);
    EXPECT_EQ(listener.connState, itcConnection::ItcStateListening);
    EXPECT_THAT(listener, HasClearStatus());
}

TEST_P(InetSockStreamAccept, NeedsNoCallback)
{
    const BareSocket peer = client();
    itcConnection* accepted = nullptr;
    EXPECT_EQ(listener.AcceptConnection(&accepted, nullptr, nullptr), 1);
    delete accepted;
}

TEST_P(InetSockStreamAccept, TellsTheCallbackAfterTheConnectionIsInPlace)
{
    struct Looking : ICBKivReady {
        void ready(int, void* userData) override { seen = *static_cast<itcConnection**>(userData); }
        itcConnection* seen = nullptr;
    } looking;
    const BareSocket peer = client();
    itcConnection* accepted = nullptr;
    listener.AcceptConnection(&accepted, &looking, &accepted);
    EXPECT_EQ(looking.seen, accepted);
    EXPECT_NE(looking.seen, nullptr);
    delete accepted;
}

TEST_P(InetSockStreamAccept, GivesTheSystemRoomForAnyAddress)
{
    socklen_t room = 0;
    OsFaults::accept().instead = [&](int, sockaddr*, socklen_t* length) {
        room = *length;
        errno = ECONNABORTED;
        return -1;
    };
    accept();
    EXPECT_EQ(room, 128u);
}

TEST_P(InetSockStreamAccept, TriesAgainAfterAnInterruption)
{
    const BareSocket peer = client();
    OsFaults::accept().failNext(3, EINTR);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(OsFaults::accept().calls(), 4);
}

TEST_P(InetSockStreamAccept, WouldBlockWhereNobodyWaits)
{
    const HookRecorder hooks;
    listener.SetOption(itcConnection::ItcNonBlocking);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(accepted, nullptr);
    EXPECT_THAT(listener, HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
    EXPECT_EQ(listener.connState, itcConnection::ItcStateListening);
    EXPECT_TRUE(hooks.texts().empty());
    expectTold(-1);
}

TEST_P(InetSockStreamAccept, FailsWithTheSystemsErrorNumber)
{
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    OsFaults::accept().failNext(1, EMFILE);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(accepted, nullptr);
    EXPECT_THAT(listener, HasStatus(Itc_Tp_Accept_Call_Failed, Error, EMFILE));
    EXPECT_THAT(hooks.texts(),
                ElementsAre("itcInetSockStream::AcceptConnection() OS_accept() call failed. errno = 24"));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    expectTold(-1);
}

TEST_P(InetSockStreamAccept, ServesOnAfterAFailure)
{
    const BareSocket peer = client();
    OsFaults::accept().failNext(1, EMFILE);
    accept();
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(result, 1);
    EXPECT_THAT(listener, HasClearStatus());
}

TEST_P(InetSockStreamAccept, LeavesTheWaitingPeerReadableWhileOutOfDescriptors)
{
    const BareSocket peer = client();
    pollfd arrival = {listener.td, POLLIN, 0};
    ASSERT_EQ(::poll(&arrival, 1, -1), 1);
    OsFaults::accept().failNext(1, EMFILE);
    accept();
    EXPECT_EQ(::poll(&arrival, 1, 0), 1);
}

TEST_P(InetSockStreamAccept, IsForListenersOnly)
{
    const HookRecorder hooks;
    for (const int state : {0, 1, 2, 3, 5, 6}) {
        OpenedStream stream;
        ReadyRecorder told;
        itcConnection* accepted = &stream;
        stream.connState = state;
        errno = EXDEV;
        EXPECT_EQ(stream.AcceptConnection(&accepted, &told, &mark), -1) << "state " << state;
        EXPECT_EQ(accepted, &stream);
        EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Still_Connected, Warning, EXDEV));
        EXPECT_THAT(told.calls, ElementsAre(ReadyRecorder::Call(-1, &mark)));
    }
    EXPECT_EQ(OsFaults::accept().calls(), 0);
    EXPECT_TRUE(hooks.texts().empty());
}

TEST_P(InetSockStreamAccept, StopsListeningAtTheConnectionLimit)
{
    const BareSocket peer = client();
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    const int td = listener.td;
    int newcomer = -1;
    OsFaults::accept().instead = [&](int fd, sockaddr* address, socklen_t* length) {
        return newcomer = ::accept(fd, address, length);
    };
    std::unique_ptr<itcConnection> accepted;
    {
        const ConnectionLimit limit(0);
        accepted = accept();
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(accepted, nullptr);
    expectGivenUp(listener, counted - 1);
    EXPECT_FALSE(isOpen(td));
    EXPECT_THAT(listener, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockStream::AcceptConnection() max connections reached"));
    expectTold(-1);

    EXPECT_TRUE(isOpen(newcomer)) << "neither closed nor counted";
    ::close(newcomer);
}

TEST_P(InetSockStreamAccept, AcceptsTheLastConnectionBelowTheLimit)
{
    const BareSocket peer = client();
    const ConnectionLimit limit(1);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(result, 1);
    EXPECT_TRUE(itcConnection::hasMaxConnCount());
}

TEST_P(InetSockStreamAccept, FailsWithoutAPlaceForTheConnection)
{
    const BareSocket peer = client();
    EXPECT_EQ(listener.AcceptConnection(nullptr, &ready, &mark), -1);
    EXPECT_THAT(listener, HasStatus(Itc_Tp_Accept_Call_Failed, Error));
    EXPECT_EQ(listener.connState, itcConnection::ItcStateListening);
    expectTold(-1);
    EXPECT_EQ(listener.AcceptConnection(nullptr, nullptr, nullptr), -1);
}

TEST_P(InetSockStreamAccept, IsRefusedOfWhatDoesNotListenAlsoWithoutAPlace)
{
    itcInetSockStream closed;
    EXPECT_EQ(closed.AcceptConnection(nullptr, nullptr, nullptr), -1);
    EXPECT_THAT(closed, HasStatus(Itc_Tp_Socket_Still_Connected, Warning));
}

TEST_P(InetSockStreamAccept, TurnsThePeerAwayWithoutMemoryForTheConnection)
{
    const BareSocket peer = client();
    const int counted = itcConnection::getConnectionCount();
    outOfMemory = true;
    const std::unique_ptr<itcConnection> accepted = accept();
    outOfMemory = false;

    EXPECT_EQ(result, -1);
    EXPECT_EQ(accepted, nullptr);
    EXPECT_THAT(listener, HasStatus(Itc_Tp_Accept_Call_Failed, Error));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    char byte;
    EXPECT_EQ(::read(peer.get(), &byte, 1), 0);
    expectTold(-1);
}

TEST_P(InetSockStreamAccept, DoAcceptGivesABareCountedDescriptor)
{
    const BareSocket peer = client();
    const int counted = itcConnection::getConnectionCount();
    listener.connType = itcConnection::ItcTypeUnspecified;
    leaveMark(listener);
    const BareSocket accepted(listener.doAccept(&ready, &mark));

    EXPECT_TRUE(isOpen(accepted.get()));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_TRUE(ready.calls.empty()) << "a success is told by AcceptConnection()";
    EXPECT_EQ(listener.connType, itcConnection::ItcTypeUnspecified);
    EXPECT_THAT(listener, StillHasMark());
    itcConnection::decConnCount();
}

TEST_P(InetSockStreamAccept, DoAcceptTellsAFailure)
{
    OsFaults::accept().failNext(1, ECONNABORTED);
    EXPECT_EQ(listener.doAccept(&ready, &mark), -1);
    expectTold(-1);
}

} // namespace
