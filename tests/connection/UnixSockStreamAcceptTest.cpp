#include "UnixStreamTest.h"

#include <memory>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class UnixSockStreamAccept : public UnixStreamTest {
protected:
    UnixSockStreamAccept()
    {
        listener.CreateEndpoint(address);
        OsFaults::clearAll();
    }

    /// What accepting gives; the test owns it.
    std::unique_ptr<itcConnection> accept()
    {
        itcConnection* accepted = nullptr;
        result = listener.AcceptConnection(&accepted, &ready, &mark);
        return std::unique_ptr<itcConnection>(accepted);
    }

    void expectTold(int told) { EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(told, &mark))); }

    UnixStreamWithOwnClose listener;
    int result = 0;
    int mark = 0;
    ReadyRecorder ready;
};

TEST_F(UnixSockStreamAccept, HandsOutAConnectedStream)
{
    const BareSocket peer = bareClient(path);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(result, 1);
    ASSERT_NE(dynamic_cast<itcUnixSockStream*>(accepted.get()), nullptr);
    EXPECT_EQ((*accepted).*(&OpenedUnixStream::connState), itcConnection::ItcStateConnected);
    EXPECT_EQ((*accepted).*(&OpenedUnixStream::connType), itcConnection::ItcTypeConnection);
    EXPECT_EQ((*accepted).*(&OpenedUnixStream::connOptions), itcConnection::ItcBlocking);
    EXPECT_EQ(static_cast<itcUnixSockStream&>(*accepted).*(&OpenedUnixStream::boundPath), nullptr);
    EXPECT_THAT(*accepted, HasClearStatus());
    expectTold(1);
}

TEST_F(UnixSockStreamAccept, CarriesBytesBothWays)
{
    const BareSocket peer = bareClient(path);
    const std::unique_ptr<itcConnection> accepted = accept();
    accepted->SetOption(itcConnection::ItcStrictBlocking);
    char area[6] = {};
    ASSERT_EQ(::send(peer.get(), "there", 5, 0), 5);
    EXPECT_EQ(accepted->Read(area, 5), 5);
    EXPECT_STREQ(area, "there");
    EXPECT_EQ(accepted->Write("again", 5), 5);
    EXPECT_EQ(::recv(peer.get(), area, 5, MSG_WAITALL), 5);
    EXPECT_STREQ(area, "again");
}

TEST_F(UnixSockStreamAccept, CountsTheConnectionUntilItIsDestroyed)
{
    const int counted = itcConnection::getConnectionCount();
    const BareSocket peer = bareClient(path);
    std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    accepted.reset();
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_F(UnixSockStreamAccept, LeavesAnEndpointWithAClearStatus)
{
    const BareSocket peer = bareClient(path);
    listener.connType = itcConnection::ItcTypeUnspecified;
    leaveMark(listener);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(listener.connType, itcConnection::ItcTypeEndpoint);
    EXPECT_EQ(listener.connState, itcConnection::ItcStateListening);
    EXPECT_THAT(listener, HasClearStatus());
}

TEST_F(UnixSockStreamAccept, LeavesTheSocketFileWhenTheConnectionGoes)
{
    const BareSocket peer = bareClient(path);
    accept();
    EXPECT_TRUE(isSocketFile(path));
}

TEST_F(UnixSockStreamAccept, NeedsNoCallback)
{
    const BareSocket peer = bareClient(path);
    itcConnection* accepted = nullptr;
    EXPECT_EQ(listener.AcceptConnection(&accepted, nullptr, nullptr), 1);
    delete accepted;
}

TEST_F(UnixSockStreamAccept, GivesTheSystemRoomForAPath)
{
    socklen_t room = 0;
    OsFaults::accept().instead = [&](int, sockaddr*, socklen_t* length) {
        room = *length;
        errno = ECONNABORTED;
        return -1;
    };
    accept();
    EXPECT_EQ(room, 110u);
}

TEST_F(UnixSockStreamAccept, TriesAgainAfterAnInterruption)
{
    const BareSocket peer = bareClient(path);
    OsFaults::accept().failNext(3, EINTR);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(OsFaults::accept().calls(), 4);
}

TEST_F(UnixSockStreamAccept, WouldBlockWhereNobodyWaits)
{
    listener.SetOption(itcConnection::ItcNonBlocking);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(accepted, nullptr);
    EXPECT_THAT(listener, HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
    EXPECT_EQ(listener.connState, itcConnection::ItcStateListening);
    expectTold(-1);
}

TEST_F(UnixSockStreamAccept, FailsWithTheSystemsErrorNumberAndServesOn)
{
    const int counted = itcConnection::getConnectionCount();
    const BareSocket peer = bareClient(path);
    OsFaults::accept().failNext(1, EMFILE);
    EXPECT_EQ(accept(), nullptr);
    EXPECT_EQ(result, -1);
    EXPECT_THAT(listener, HasStatus(Itc_Tp_Accept_Call_Failed, Error, EMFILE));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    expectTold(-1);

    EXPECT_NE(accept(), nullptr);
    EXPECT_THAT(listener, HasClearStatus());
}

TEST_F(UnixSockStreamAccept, IsForListenersOnly)
{
    for (const int state : {0, 1, 2, 3, 5, 6}) {
        OpenedUnixStream stream;
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
}

TEST_F(UnixSockStreamAccept, StopsListeningAtTheConnectionLimit)
{
    const BareSocket peer = bareClient(path);
    const int counted = itcConnection::getConnectionCount();
    int newcomer = -1;
    OsFaults::accept().instead = [&](int fd, sockaddr* peerAddress, socklen_t* length) {
        return newcomer = ::accept(fd, peerAddress, length);
    };
    std::unique_ptr<itcConnection> accepted;
    {
        const ConnectionLimit limit(0);
        accepted = accept();
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(accepted, nullptr);
    EXPECT_EQ(listener.td, -1);
    EXPECT_EQ(listener.connState, itcConnection::ItcStateClosed);
    EXPECT_EQ(listener.closes, 1) << "through the virtual table";
    EXPECT_THAT(listener, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_TRUE(isSocketFile(path)) << "removed with the object only";
    expectTold(-1);

    EXPECT_TRUE(isOpen(newcomer)) << "neither closed nor counted";
    EXPECT_EQ(itcConnection::getConnectionCount(), counted - 1) << "the listener alone";
    ::close(newcomer);
}

TEST_F(UnixSockStreamAccept, AcceptsTheLastConnectionBelowTheLimit)
{
    const BareSocket peer = bareClient(path);
    const ConnectionLimit limit(1);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(result, 1);
    EXPECT_TRUE(itcConnection::hasMaxConnCount());
}

TEST_F(UnixSockStreamAccept, FailsWithoutAPlaceForTheConnection)
{
    const BareSocket peer = bareClient(path);
    EXPECT_EQ(listener.AcceptConnection(nullptr, &ready, &mark), -1);
    EXPECT_THAT(listener, HasStatus(Itc_Tp_Accept_Call_Failed, Error));
    EXPECT_EQ(listener.connState, itcConnection::ItcStateListening);
    expectTold(-1);
    EXPECT_EQ(listener.AcceptConnection(nullptr, nullptr, nullptr), -1);
}

TEST_F(UnixSockStreamAccept, IsRefusedOfWhatDoesNotListenAlsoWithoutAPlace)
{
    itcUnixSockStream closed;
    EXPECT_EQ(closed.AcceptConnection(nullptr, nullptr, nullptr), -1);
    EXPECT_THAT(closed, HasStatus(Itc_Tp_Socket_Still_Connected, Warning));
}

TEST_F(UnixSockStreamAccept, PrintsNothingOfItsFailures)
{
    const HookRecorder hooks;
    OsFaults::accept().failNext(1, EMFILE);
    accept();
    int newcomer = -1;
    OsFaults::accept().instead = [&](int, sockaddr*, socklen_t*) { return newcomer = ::open("/dev/null", O_RDONLY); };
    {
        const ConnectionLimit limit(0);
        accept();
    }
    ::close(newcomer);
    EXPECT_EQ(listener.code, Itc_Tp_Max_Connections_Reached);
    EXPECT_THAT(hooks.texts(), IsEmpty());
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
}

} // namespace
