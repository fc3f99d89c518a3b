// The socket calls of the portability layer over loopback, IPv4 and IPv6.
#include "SocketAddresses.h"

#include <kiv/foundation/OS.h>

#include <gmock/gmock.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <string>

namespace {

class OSSocket : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override
    {
        const int probe = bound(SOCK_DGRAM);
        if (probe == -1)
            GTEST_SKIP() << "this machine has no " << GetParam();
        OS_closesocket(probe);
    }

    // Returns a socket on a free port of the loopback, or -1 after a failure.
    int bound(int type) const
    {
        sockaddr_storage address = loopback;
        const int fd = OS_socket(loopback.ss_family, type, 0);
        if (fd != -1 && OS_bind(fd, asSocketAddress(address), lengthOf(address)) != 0) {
            OS_closesocket(fd);
            return -1;
        }
        return fd;
    }

    static sockaddr_storage nameOf(int fd, int (*call)(int, sockaddr*, socklen_t*))
    {
        sockaddr_storage name = {};
        socklen_t length = sizeof name;
        EXPECT_EQ(call(fd, asSocketAddress(name), &length), 0);
        EXPECT_EQ(length, lengthOf(name));
        return name;
    }

    static void expectSame(const sockaddr_storage& a, const sockaddr_storage& b)
    {
        EXPECT_EQ(std::memcmp(&a, &b, lengthOf(a)), 0);
    }

    static void closeAll(std::initializer_list<int> descriptors)
    {
        for (const int fd : descriptors)
            EXPECT_EQ(OS_closesocket(fd), 0);
    }

    const sockaddr_storage loopback = socketAddress(GetParam());
};

// The two ends of one TCP connection over loopback.
class OSStream : public OSSocket {
protected:
    void SetUp() override
    {
        OSSocket::SetUp();
        if (IsSkipped())
            return;
        listener = bound(SOCK_STREAM);
        ASSERT_EQ(OS_listen(listener, 1), 0);
        const sockaddr_storage address = nameOf(listener, OS_getsockname);
        client = OS_socket(address.ss_family, SOCK_STREAM, 0);
        ASSERT_EQ(OS_connect(client, asSocketAddress(address), lengthOf(address)), 0);
        socklen_t length = sizeof peer;
        server = OS_accept(listener, asSocketAddress(peer), &length);
        ASSERT_GE(server, 0);
    }
    void TearDown() override
    {
        if (!IsSkipped())
            closeAll({listener, client, server});
    }

    int listener = -1;
    int client = -1;
    int server = -1;
    sockaddr_storage peer = {}; // the peer's address, as accept() gave it
};

std::string received(int fd)
{
    char buffer[16];
    const ssize_t n = OS_recv(fd, buffer, sizeof buffer);
    return n < 0 ? "failed" : std::string(buffer, static_cast<size_t>(n));
}

std::string familyName(const testing::TestParamInfo<const char*>& info)
{
    return std::strchr(info.param, ':') != nullptr ? "IPv6" : "IPv4";
}

TEST_P(OSStream, AcceptTellsWhoConnected) { expectSame(peer, nameOf(client, OS_getsockname)); }

TEST_P(OSStream, GetpeernameTellsTheOtherEnd)
{
    expectSame(nameOf(client, OS_getpeername), nameOf(listener, OS_getsockname));
}

TEST_P(OSStream, SendAndRecvMoveBytes)
{
    EXPECT_EQ(OS_send(client, "abc", 3, 0), 3);
    EXPECT_EQ(received(server), "abc");
}

TEST_P(OSStream, SendHandsOnItsFlags)
{
    EXPECT_EQ(OS_send(client, "!", 1, MSG_OOB), 1);

    char byte = 0;
    fd_set urgent;
    FD_ZERO(&urgent);
    FD_SET(server, &urgent);
    EXPECT_EQ(OS_select(server + 1, nullptr, nullptr, &urgent, nullptr), 1);
    EXPECT_EQ(OS_recvfrom(server, &byte, 1, MSG_OOB, nullptr, nullptr), 1);
    EXPECT_EQ(byte, '!');
}

TEST_P(OSStream, ShutdownOfSendingEndsTheStreamForThePeer)
{
    EXPECT_EQ(OS_shutdown(client, OS_shutdown_send), 0);

    EXPECT_EQ(received(server), "");
    EXPECT_EQ(OS_send(server, "still", 5, 0), 5);
    EXPECT_EQ(received(client), "still");
}

TEST_P(OSStream, ShutdownOfReceivingEndsTheStreamForItself)
{
    EXPECT_EQ(OS_shutdown(client, OS_shutdown_receive), 0);

    EXPECT_EQ(received(client), "");
    EXPECT_EQ(OS_send(client, "still", 5, 0), 5);
    EXPECT_EQ(received(server), "still");
}

TEST_P(OSStream, ShutdownOfBothEndsBoth)
{
    EXPECT_EQ(OS_shutdown(client, OS_shutdown_both), 0);

    EXPECT_EQ(received(client), "");
    EXPECT_EQ(received(server), "");
    EXPECT_EQ(OS_send(client, "x", 1, MSG_NOSIGNAL), -1);
    EXPECT_EQ(OS_getLastError(), EPIPE);
}

TEST_P(OSStream, OptionsAreSetAndRead)
{
    const int on = 1;
    EXPECT_EQ(OS_setsockopt(client, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on), 0);

    int value = 0;
    socklen_t length = sizeof value;
    EXPECT_EQ(OS_getsockopt(client, SOL_SOCKET, SO_KEEPALIVE, &value, &length), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(length, sizeof value);
}

INSTANTIATE_TEST_SUITE_P(, OSStream, testing::Values("127.0.0.1", "::1"), familyName);

using OSDatagram = OSSocket;

TEST_P(OSDatagram, SendtoAndRecvfromNameThePeers)
{
    const int sender = bound(SOCK_DGRAM);
    const int receiver = bound(SOCK_DGRAM);
    const sockaddr_storage to = nameOf(receiver, OS_getsockname);

    EXPECT_EQ(OS_sendto(sender, "abc", 3, 0, asSocketAddress(to), lengthOf(to)), 3);

    char buffer[16] = "";
    sockaddr_storage from = {};
    socklen_t length = sizeof from;
    EXPECT_EQ(OS_recvfrom(receiver, buffer, sizeof buffer, 0, asSocketAddress(from), &length), 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(length, lengthOf(from));
    expectSame(from, nameOf(sender, OS_getsockname));
    closeAll({sender, receiver});
}

TEST_P(OSDatagram, RecvfromHandsOnItsFlags)
{
    const int fd = bound(SOCK_DGRAM);
    const sockaddr_storage self = nameOf(fd, OS_getsockname);
    EXPECT_EQ(OS_sendto(fd, "abc", 3, 0, asSocketAddress(self), lengthOf(self)), 3);

    char buffer[16];
    EXPECT_EQ(OS_recvfrom(fd, buffer, sizeof buffer, MSG_PEEK, nullptr, nullptr), 3);
    EXPECT_EQ(OS_recvfrom(fd, buffer, sizeof buffer, 0, nullptr, nullptr), 3); // the datagram is still there
    closeAll({fd});
}

INSTANTIATE_TEST_SUITE_P(, OSDatagram, testing::Values("127.0.0.1", "::1"), familyName);

TEST(OSShutdownMode, HasThePlatformsValues)
{
    EXPECT_EQ(OS_shutdown_receive, SHUT_RD);
    EXPECT_EQ(OS_shutdown_send, SHUT_WR);
    EXPECT_EQ(OS_shutdown_both, SHUT_RDWR);
    EXPECT_EQ(OS_shutdown(-1, OS_shutdown_both), -1);
    EXPECT_EQ(OS_getLastError(), EBADF);
}

TEST(OSSocketErrors, AreThoseOfTheSystem)
{
    const sockaddr_storage address = socketAddress("127.0.0.1");
    sockaddr_storage out = {};
    socklen_t length = sizeof out;
    int value = 0;
    const auto expectBadDescriptor = [](auto result) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(OS_getLastError(), EBADF);
        errno = 0;
    };

    EXPECT_EQ(OS_socket(-1, SOCK_STREAM, 0), -1);
    EXPECT_EQ(OS_getLastError(), EAFNOSUPPORT);
    expectBadDescriptor(OS_bind(-1, asSocketAddress(address), lengthOf(address)));
    expectBadDescriptor(OS_connect(-1, asSocketAddress(address), lengthOf(address)));
    expectBadDescriptor(OS_listen(-1, 5));
    expectBadDescriptor(OS_accept(-1, asSocketAddress(out), &length));
    expectBadDescriptor(OS_getsockname(-1, asSocketAddress(out), &length));
    expectBadDescriptor(OS_getpeername(-1, asSocketAddress(out), &length));
    expectBadDescriptor(OS_setsockopt(-1, SOL_SOCKET, SO_KEEPALIVE, &value, sizeof value));
    expectBadDescriptor(OS_getsockopt(-1, SOL_SOCKET, SO_KEEPALIVE, &value, &length));
    expectBadDescriptor(OS_send(-1, "x", 1, 0));
    expectBadDescriptor(OS_sendto(-1, "x", 1, 0, asSocketAddress(address), lengthOf(address)));
    expectBadDescriptor(OS_recv(-1, &value, 1));
    expectBadDescriptor(OS_recvfrom(-1, &value, 1, 0, nullptr, nullptr));
    expectBadDescriptor(OS_closesocket(-1));
    expectBadDescriptor(OS_fcntl(-1, 1, 0));
    expectBadDescriptor(OS_ioctl(-1, FIONREAD, &value));
}

} // namespace
