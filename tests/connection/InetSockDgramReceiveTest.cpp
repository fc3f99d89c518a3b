// Reading datagrams: one datagram is received, then Read() gives its bytes in pieces.
#include "DatagramTest.h"

#include <climits>
#include <cstring>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class InetSockDgramReceive : public DatagramEndpointTest {};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockDgramReceive, testing::ValuesIn(loopbacks), loopbackName);

const sockaddr_storage nobody = {};

void expectNobody(const sockaddr_storage& peer) { EXPECT_EQ(std::memcmp(&peer, &nobody, sizeof nobody), 0); }

TEST_P(InetSockDgramReceive, TakesAtMost512BytesAndLosesTheRest)
{
    for (const int size : {1, 2, 511, 512, 513, 600, 65507}) {
        SCOPED_TRACE(size);
        const std::string datagram = bytes(static_cast<size_t>(size));
        const int kept = size < 512 ? size : 512;
        send(datagram);
        send("next");
        EXPECT_EQ(endpoint.InitRead(), kept);
        EXPECT_EQ(read(1000), datagram.substr(0, 512));
        EXPECT_EQ(read(1000), "");
        EXPECT_EQ(endpoint.InitRead(), 4);
        EXPECT_EQ(read(1000), "next");
    }
}

TEST_P(InetSockDgramReceive, LosesTheLast88BytesOf600)
{
    send(bytes(600));
    EXPECT_EQ(endpoint.InitRead(), 512);
    EXPECT_EQ(endpoint.buflen, 512);
    EXPECT_EQ(endpoint.Pending(), 0);
}

TEST_P(InetSockDgramReceive, TreatsAnEmptyDatagramAsAnError)
{
    const HookRecorder hooks;
    send("");
    errno = EXDEV;
    EXPECT_EQ(endpoint.InitRead(), -1);
    EXPECT_THAT(endpoint, HasStatus(Itc_Tp_Would_Block, Error, EXDEV));
    EXPECT_EQ(endpoint.buflen, 0);
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockDgram::InitRead() OS_recvfrom() returns zero byte"));
}

TEST_P(InetSockDgramReceive, ReadsTheErrorNumberOfAnEmptyDatagramBeforeItsReport)
{
    HookRecorder hooks;
    send("");
    int numbersRead = -1;
    hooks.check = [&](short) {
        numbersRead = OsFaults::getLastError().calls();
        return true;
    };
    endpoint.InitRead();
    EXPECT_EQ(numbersRead, 1);
    EXPECT_EQ(OsFaults::getLastError().calls(), 1);
}

TEST_P(InetSockDgramReceive, ReadsNothingOfAnEmptyDatagram)
{
    send("");
    endpoint.InitRead();
    char area[4];
    EXPECT_EQ(endpoint.Read(area, 4), 0);
}

TEST_P(InetSockDgramReceive, LeavesTheStatusOfASuccess)
{
    leaveMark(endpoint);
    send("hello");
    EXPECT_EQ(endpoint.InitRead(), 5);
    EXPECT_EQ(read(5), "hello");
    EXPECT_EQ(read(5), "");
    EXPECT_THAT(endpoint, StillHasMark());
}

TEST_P(InetSockDgramReceive, CountsNoTraffic)
{
    send("hello");
    endpoint.InitRead();
    read(5);
    EXPECT_EQ(endpoint.readCallCount, 0u);
    EXPECT_EQ(endpoint.readByteCount, 0u);
}

TEST_P(InetSockDgramReceive, ShowsTheDispatcherNoBufferedBytes)
{
    send("hello");
    endpoint.InitRead();
    EXPECT_EQ(endpoint.buflen, 5);
    EXPECT_EQ(endpoint.bytes(), 0);
}

TEST_P(InetSockDgramReceive, RemembersTheSender)
{
    send("hello");
    endpoint.InitRead();
    EXPECT_EQ(endpoint.peerAddress.ss_family, GetParam().family);
    EXPECT_EQ(portOf(endpoint.peerAddress), portOf(::addressOf(sender.get())));
}

TEST_P(InetSockDgramReceive, OffersTheSystemItsWholeBufferAndAZeroedAddress)
{
    send("hello");
    endpoint.InitRead();
    ASSERT_NE(portOf(endpoint.peerAddress), 0);
    OsFaults::recvfrom().instead = [&](int fd, void* buffer, size_t size, int flags, sockaddr* from,
                                       socklen_t* length) -> ssize_t {
        EXPECT_EQ(fd, endpoint.td);
        EXPECT_EQ(buffer, endpoint.recvBuffer);
        EXPECT_EQ(size, 512u);
        EXPECT_EQ(flags, 0);
        EXPECT_EQ(from, asSocketAddress(endpoint.peerAddress));
        EXPECT_EQ(*length, 128u);
        expectNobody(endpoint.peerAddress);
        return 3;
    };
    EXPECT_EQ(endpoint.InitRead(), 3);
}

TEST_P(InetSockDgramReceive, ReceivesAgainAfterAnInterruptionWithAnotherZeroedAddress)
{
    int calls = 0;
    OsFaults::recvfrom().instead = [&](int, void*, size_t, int, sockaddr* from, socklen_t* length) -> ssize_t {
        EXPECT_EQ(*length, 128u);
        expectNobody(endpoint.peerAddress);
        from->sa_family = AF_INET;
        *length = 16;
        errno = EINTR;
        return ++calls < 3 ? -1 : 7;
    };
    EXPECT_EQ(endpoint.InitRead(), 7);
    EXPECT_EQ(calls, 3);
}

TEST_P(InetSockDgramReceive, ForgetsWhatWasLeftOfTheDatagramBefore)
{
    send("first");
    send("second");
    endpoint.InitRead();
    EXPECT_EQ(read(2), "fi");
    endpoint.InitRead();
    EXPECT_EQ(read(100), "second");
}

TEST_P(InetSockDgramReceive, FailsWhereANonBlockingSocketHasNothing)
{
    const HookRecorder hooks;
    endpoint.SetOption(itcConnection::ItcNonBlocking);
    EXPECT_EQ(endpoint.InitRead(), -1);
    EXPECT_THAT(endpoint, HasStatus(Itc_Tp_Read_Call_Failed, Error, EAGAIN));
    EXPECT_EQ(endpoint.buflen, -1);
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockDgram::InitRead() OS_recvfrom() call failed. buflen = -1"));
}

TEST_P(InetSockDgramReceive, ForgetsTheDatagramAndItsSenderWhenItFails)
{
    send("hello");
    endpoint.InitRead();
    OsFaults::recvfrom().instead = [](int, void*, size_t, int, sockaddr* from, socklen_t*) -> ssize_t {
        from->sa_family = AF_INET;
        errno = EIO;
        return -1;
    };
    EXPECT_EQ(endpoint.InitRead(), -1);
    EXPECT_THAT(endpoint, HasStatus(Itc_Tp_Read_Call_Failed, Error, EIO));
    expectNobody(endpoint.peerAddress);
}

TEST_P(InetSockDgramReceive, ReadsTheFailureUntilTheNextDatagram)
{
    endpoint.SetOption(itcConnection::ItcNonBlocking);
    endpoint.InitRead();
    leaveMark(endpoint);
    char area[4];
    EXPECT_EQ(endpoint.Read(area, 4), -1);
    EXPECT_EQ(endpoint.Read(area, 0), -1);
    EXPECT_THAT(endpoint, StillHasMark());
    send("hello");
    EXPECT_EQ(endpoint.InitRead(), 5);
    EXPECT_EQ(read(4), "hell");
}

TEST_P(InetSockDgramReceive, HearsThatAConnectedPeerIsNotThere)
{
    itcInetAddress gone;
    {
        const BareSocket closing = bareDatagramSocket();
        gone = addressOf(closing);
    }
    OpenedDatagram client;
    ASSERT_EQ(client.OpenConnection(gone, nullptr, nullptr), 1);
    ASSERT_EQ(client.Write("hello", 5), 5);
    EXPECT_EQ(client.InitRead(), -1);
    EXPECT_THAT(client, HasStatus(Itc_Tp_Read_Call_Failed, Error, ECONNREFUSED));
}

TEST_P(InetSockDgramReceive, NeedsADescriptor)
{
    const HookRecorder hooks;
    OpenedDatagram closed;
    closed.buflen = 5;
    errno = EXDEV;
    EXPECT_EQ(closed.InitRead(), -1);
    EXPECT_THAT(closed, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error, EXDEV));
    EXPECT_EQ(closed.buflen, 0) << "the datagram before is forgotten first";
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockDgram::InitRead() wrong socket descriptor"));
    EXPECT_EQ(OsFaults::recvfrom().calls(), 0);
}

TEST_P(InetSockDgramReceive, HandsOutPiecesOfTheSizeAskedFor)
{
    const std::string datagram = bytes(100);
    send(datagram);
    ASSERT_EQ(endpoint.InitRead(), 100);
    EXPECT_EQ(read(30), datagram.substr(0, 30));
    EXPECT_EQ(read(30), datagram.substr(30, 30));
    EXPECT_EQ(read(30), datagram.substr(60, 30));
    EXPECT_EQ(read(30), datagram.substr(90));
    EXPECT_EQ(read(30), "");
    EXPECT_EQ(endpoint.buflen, 0);
}

TEST_P(InetSockDgramReceive, HandsOutADatagramWholeWhereItFits)
{
    const std::string datagram = bytes(512);
    send(datagram);
    endpoint.InitRead();
    EXPECT_EQ(read(512), datagram);
    EXPECT_EQ(endpoint.buflen, 0);
}

TEST_P(InetSockDgramReceive, HandsOutADatagramByteByByte)
{
    const std::string datagram = bytes(512);
    send(datagram);
    endpoint.InitRead();
    std::string all;
    while (endpoint.buflen > 0)
        all += read(1);
    EXPECT_EQ(all, datagram);
}

TEST_P(InetSockDgramReceive, WritesNothingBehindThePiece)
{
    send("hello");
    endpoint.InitRead();
    char area[] = "......";
    EXPECT_EQ(endpoint.Read(area, 3), 3);
    EXPECT_STREQ(area, "hel...");
    EXPECT_EQ(endpoint.Read(area, 6), 2);
    EXPECT_STREQ(area, "lol...");
}

TEST_P(InetSockDgramReceive, ReadsNothingWhereNothingIsAskedFor)
{
    send("hello");
    endpoint.InitRead();
    EXPECT_EQ(endpoint.Read(nullptr, 0), 0);
    EXPECT_EQ(endpoint.buflen, 5);
}

TEST_P(InetSockDgramReceive, NeverReceivesItselfWhenReading)
{
    send("hello");
    char area[4];
    EXPECT_EQ(endpoint.Read(area, 4), 0);
    EXPECT_EQ(OsFaults::recvfrom().calls(), 0);
    EXPECT_EQ(OsFaults::recv().calls(), 0);
}

TEST_P(InetSockDgramReceive, ReadsOnlyWithADescriptor)
{
    const HookRecorder hooks;
    OpenedDatagram closed;
    char area[4];
    errno = EXDEV;
    EXPECT_EQ(closed.Read(area, 4), -1);
    EXPECT_THAT(closed, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error, EXDEV));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockDgram::Read() wrong socket descriptor"));
}

TEST_P(InetSockDgramReceive, RefusesNegativeLengths)
{
    send("hello");
    endpoint.InitRead();
    char area[] = "......";
    for (const int length : {-1, -5, -513, INT_MIN}) {
        leaveMark(endpoint);
        EXPECT_EQ(endpoint.Read(area, length), -1) << length;
        EXPECT_THAT(endpoint, HasStatus(Itc_Tp_Read_Call_Failed, Error, EINVAL));
    }
    EXPECT_STREQ(area, "......");
    EXPECT_EQ(read(100), "hello") << "nothing is lost";
}

TEST_P(InetSockDgramReceive, SendsNothingOfANegativeLength)
{
    itcInetAddress remote = addressOf(sender);
    ASSERT_EQ(endpoint.OpenConnection(remote, nullptr, nullptr), 1);
    for (const int length : {-1, INT_MIN}) {
        EXPECT_EQ(endpoint.Write("hello", length), -1) << length;
        EXPECT_THAT(endpoint, HasStatus(Itc_Tp_Write_Call_Failed, Error, EINVAL));
    }
    EXPECT_EQ(endpoint.Write("end", 3), 3);
    char area[16];
    EXPECT_EQ(::recv(sender.get(), area, sizeof area, 0), 3);
}

TEST_P(InetSockDgramReceive, WritesNoTraceOfASuccess)
{
    const HookRecorder hooks;
    send("hello");
    endpoint.InitRead();
    read(5);
    read(5);
    EXPECT_THAT(hooks.texts(), IsEmpty());
}

} // namespace
