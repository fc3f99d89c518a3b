// What the TCP streams expect of the system: connect(), accept() and the end of a stream.
#include "BareSocket.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <csignal>

namespace {

class Connect : public testing::TestWithParam<const char*> {};

std::string familyName(const testing::TestParamInfo<const char*>& info) { return info.index == 0 ? "IPv4" : "IPv6"; }

INSTANTIATE_TEST_SUITE_P(Loopback, Connect, testing::Values("127.0.0.1", "::1"), familyName);

void ignoreSignal(int) {}

/// Interrupts the process repeatedly. A single interruption may come before the call that is to be interrupted.
class RepeatedAlarm {
public:
    RepeatedAlarm()
    {
        struct sigaction action = {};
        action.sa_handler = ignoreSignal; // without SA_RESTART
        mustWork(::sigaction(SIGALRM, &action, &previous), "sigaction");
        const itimerval often = {{0, 20000}, {0, 20000}};
        mustWork(::setitimer(ITIMER_REAL, &often, nullptr), "setitimer");
    }
    ~RepeatedAlarm()
    {
        const itimerval never = {};
        ::setitimer(ITIMER_REAL, &never, nullptr);
        ::sigaction(SIGALRM, &previous, nullptr);
    }

private:
    struct sigaction previous;
};

TEST_P(Connect, AnAlarmWithoutRestartEndsABlockedConnect)
{
    const SilentListener silent(GetParam());
    const sockaddr_storage remote = silent.address();
    const BareSocket client(mustWork(::socket(remote.ss_family, SOCK_STREAM, 0), "socket"));

    const RepeatedAlarm alarm;
    EXPECT_EQ(::connect(client.get(), asSocketAddress(remote), lengthOf(remote)), -1);
    EXPECT_EQ(errno, EINTR);
}

TEST_P(Connect, ARefusedNonBlockingConnectIsWritableWithItsErrorWaiting)
{
    const BareSocket nobody = boundSocket(GetParam()); // has the port but does not listen
    const sockaddr_storage remote = addressOf(nobody.get());
    const BareSocket client(mustWork(::socket(remote.ss_family, SOCK_STREAM | SOCK_NONBLOCK, 0), "socket"));
    const int result = ::connect(client.get(), asSocketAddress(remote), lengthOf(remote));
    ASSERT_EQ(result, -1);
    ASSERT_EQ(errno, EINPROGRESS);

    fd_set writable;
    FD_ZERO(&writable);
    FD_SET(client.get(), &writable);
    EXPECT_EQ(::select(client.get() + 1, nullptr, &writable, nullptr, nullptr), 1);
    EXPECT_EQ(socketOption(client.get(), SOL_SOCKET, SO_ERROR), ECONNREFUSED);
    EXPECT_EQ(socketOption(client.get(), SOL_SOCKET, SO_ERROR), 0) << "asking takes the error away";
}

TEST_P(Connect, ACompletedNonBlockingConnectIsWritableWithoutAnError)
{
    const BareSocket listener = listeningSocket(GetParam());
    const sockaddr_storage remote = addressOf(listener.get());
    const BareSocket client(mustWork(::socket(remote.ss_family, SOCK_STREAM | SOCK_NONBLOCK, 0), "socket"));
    static_cast<void>(::connect(client.get(), asSocketAddress(remote), lengthOf(remote))); // completes now or later

    pollfd completion = {client.get(), POLLOUT, 0};
    EXPECT_EQ(::poll(&completion, 1, -1), 1);
    EXPECT_EQ(socketOption(client.get(), SOL_SOCKET, SO_ERROR), 0);
}

TEST_P(Connect, ReadGivesZeroAtTheEndOfTheStream)
{
    const BareSocket listener = listeningSocket(GetParam());
    BareSocket client = connectedSocket(addressOf(listener.get()));
    const BareSocket server = acceptedSocket(listener);
    client.close();

    char byte;
    EXPECT_EQ(::read(server.get(), &byte, 1), 0);
    EXPECT_EQ(::read(server.get(), &byte, 1), 0) << "and again";
}

TEST_P(Connect, AnAcceptedSocketBlocksEvenWhereItsListenerDoesNot)
{
    const BareSocket listener = listeningSocket(GetParam());
    const BareSocket client = connectedSocket(addressOf(listener.get()));
    pollfd arrival = {listener.get(), POLLIN, 0};
    ASSERT_EQ(::poll(&arrival, 1, -1), 1);
    mustWork(::fcntl(listener.get(), F_SETFL, O_NONBLOCK), "fcntl");

    const BareSocket server = acceptedSocket(listener);
    EXPECT_FALSE(isNonBlocking(server.get()));
}

TEST_P(Connect, AZeroLingerTurnsCloseIntoAReset)
{
    const BareSocket listener = listeningSocket(GetParam());
    BareSocket client = connectedSocket(addressOf(listener.get()));
    const BareSocket server = acceptedSocket(listener);
    const linger option = {1, 0};
    mustWork(::setsockopt(client.get(), SOL_SOCKET, SO_LINGER, &option, sizeof option), "setsockopt");
    client.close();

    char byte;
    EXPECT_EQ(::read(server.get(), &byte, 1), -1);
    EXPECT_EQ(errno, ECONNRESET);
}

} // namespace
