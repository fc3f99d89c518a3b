// The two ways to a bound socket: the constructor from an address, and CreateEndpoint().
#include "ConnectionLimit.h"
#include "DatagramTest.h"

#include <cstring>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// One of the two ways. The fields are what differs between them.
struct Way {
    const char* name;
    itcConnection::ConnType type;
    bool closesThroughTheTable;
    const char* limitReached;
    const char* socketFailed;
    const char* bindFailed; ///< The trace of a bind that fails with EADDRINUSE (98).
};

const Way ways[] = {
    {"Constructor", itcConnection::ItcTypeUnspecified, false,
     "itcInetSockDgram::itcInetSockDgram() max connections reached",
     "itcInetSockDgram::itcInetSockDgram() OS_socket() call failed. td = -1",
     "itcInetSockDgram::itcInetSockDgram() OS_bind() call failed. errorNumber = 98"},
    {"CreateEndpoint", itcConnection::ItcTypeEndpoint, true,
     "itcInetSockDgram::CreateEndpoint() max connections reached",
     "itcInetSockDgram::CreateEndpoint() OS_socket() call failed. td = -1",
     "itcInetSockDgram::CreateEndpoint() OS_bind() call failed. errno = 98"},
};

void PrintTo(const Way& way, std::ostream* out) { *out << way.name; }

class InetSockDgramBinding : public testing::TestWithParam<std::tuple<Loopback, Way>> {
protected:
    using Datagram = WithOwnClose<OpenedDatagram>;
    static const Loopback& loopback() { return std::get<0>(GetParam()); }
    static const Way& way() { return std::get<1>(GetParam()); }

    std::unique_ptr<Datagram> bind() { return bind(socketAddress(loopback().host)); }
    static std::unique_ptr<Datagram> bind(const sockaddr_storage& where)
    {
        itcInetAddress local(where);
        if (way().type == itcConnection::ItcTypeUnspecified)
            return std::make_unique<Datagram>(local);
        auto endpoint = std::make_unique<Datagram>();
        const int result = endpoint->CreateEndpoint(local);
        EXPECT_EQ(result, endpoint->severity == Success ? 1 : 0);
        return endpoint;
    }

    static void expectNothingIsLeft(const Datagram& endpoint, int countedBefore)
    {
        EXPECT_EQ(endpoint.td, -1);
        EXPECT_EQ(endpoint.connState, itcConnection::ItcStateClosed);
        EXPECT_EQ(itcConnection::getConnectionCount(), countedBefore);
    }
};
INSTANTIATE_TEST_SUITE_P(, InetSockDgramBinding,
                         testing::Combine(testing::ValuesIn(loopbacks), testing::ValuesIn(ways)),
                         [](const auto& tested) {
                             return std::string(std::get<1>(tested.param).name) + std::get<0>(tested.param).name;
                         });

TEST_P(InetSockDgramBinding, IsBoundAndCounted)
{
    const int counted = itcConnection::getConnectionCount();
    const auto endpoint = bind();
    EXPECT_EQ(endpoint->connState, itcConnection::ItcStateBound);
    EXPECT_EQ(endpoint->connType, way().type);
    EXPECT_EQ(endpoint->connOptions, itcConnection::ItcBlocking);
    EXPECT_THAT(*endpoint, HasClearStatus());
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_NE(portOf(::addressOf(endpoint->td)), 0);
    EXPECT_EQ(socketOption(endpoint->td, SOL_SOCKET, SO_TYPE), SOCK_DGRAM);
    EXPECT_EQ(socketOption(endpoint->td, SOL_SOCKET, SO_REUSEADDR), 0);
}

TEST_P(InetSockDgramBinding, TakesItsStepsInOrder)
{
    const CallJournal journal;
    bind();
    if (loopback().family == AF_INET6)
        EXPECT_THAT(journal.calls(), ElementsAre("socket(10, 2, 0)", "setsockopt(41, 26, 0)", "bind(28)", "close()"));
    else
        EXPECT_THAT(journal.calls(), ElementsAre("socket(2, 2, 0)", "bind(16)", "close()"));
}

TEST_P(InetSockDgramBinding, StopsAtTheConnectionLimit)
{
    const HookRecorder hooks;
    const ConnectionLimit limit(0);
    const int counted = itcConnection::getConnectionCount();
    const auto endpoint = bind();
    expectNothingIsLeft(*endpoint, counted);
    EXPECT_THAT(*endpoint, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_THAT(hooks.texts(), ElementsAre(way().limitReached));
    EXPECT_EQ(OsFaults::socket().calls(), 0);
}

TEST_P(InetSockDgramBinding, MayBeTheLastConnectionBelowTheLimit)
{
    const ConnectionLimit limit(1);
    EXPECT_THAT(*bind(), HasClearStatus());
}

TEST_P(InetSockDgramBinding, StopsWithoutASocket)
{
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    OsFaults::socket().failNext(1, EMFILE);
    const auto endpoint = bind();
    expectNothingIsLeft(*endpoint, counted);
    EXPECT_THAT(*endpoint, HasStatus(Itc_Tp_Socket_Call_Failed, Error, EMFILE));
    EXPECT_THAT(hooks.texts(), ElementsAre(way().socketFailed));
}

TEST_P(InetSockDgramBinding, ClosesTheSocketOfAnAddressInUse)
{
    const auto owner = bind();
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    const auto endpoint = bind(::addressOf(owner->td));
    expectNothingIsLeft(*endpoint, counted);
    EXPECT_THAT(*endpoint, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRINUSE));
    EXPECT_THAT(hooks.texts(), ElementsAre(way().bindFailed));
    EXPECT_EQ(endpoint->closes, way().closesThroughTheTable ? 1 : 0);
}

TEST_P(InetSockDgramBinding, ReportsTheFailedBindEvenWhereTheCloseFailsToo)
{
    const HookRecorder hooks;
    OsFaults::bind().failNext(1, EADDRINUSE);
    OsFaults::closesocket().failNext(1, EIO);
    const auto endpoint = bind();
    EXPECT_TRUE(isOpen(endpoint->td)) << "a failed close keeps the descriptor";
    EXPECT_THAT(*endpoint, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRINUSE));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcConnection::Close() close/closesocket call failed", way().bindFailed));
}

TEST_P(InetSockDgramBinding, IsBoundEvenWhereItCannotTakeIPv4Peers)
{
    OsFaults::setsockopt().failNext(1, ENOPROTOOPT);
    EXPECT_THAT(*bind(), HasClearStatus());
}

class InetSockDgramEndpoint : public DatagramEndpointTest {};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockDgramEndpoint, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockDgramEndpoint, ClearsTheStatus)
{
    OpenedDatagram other;
    leaveMark(other);
    itcInetAddress address = local();
    EXPECT_EQ(other.CreateEndpoint(address), 1);
    EXPECT_THAT(other, HasClearStatus());
}

TEST_P(InetSockDgramEndpoint, RefusesAConnectedObject)
{
    itcInetAddress remote = addressOf(sender);
    ASSERT_EQ(endpoint.OpenConnection(remote, nullptr, nullptr), 1);
    const CallJournal journal;
    const HookRecorder hooks;
    errno = EXDEV;
    EXPECT_EQ(endpoint.CreateEndpoint(remote), 0);
    EXPECT_THAT(endpoint, HasStatus(Itc_Tp_Socket_Still_Connected, Warning, EXDEV));
    EXPECT_EQ(endpoint.connType, itcConnection::ItcTypeConnection);
    EXPECT_THAT(journal.calls(), IsEmpty());
    EXPECT_THAT(hooks.texts(), IsEmpty());
}

TEST_P(InetSockDgramEndpoint, LeavesABoundSocketAsItIs)
{
    const int port = portOf(::addressOf(endpoint.td));
    const CallJournal journal;
    itcInetAddress other = local(1);
    leaveMark(endpoint);
    endpoint.connType = itcConnection::ItcTypeUnspecified;
    EXPECT_EQ(endpoint.CreateEndpoint(other), 1);
    EXPECT_THAT(journal.calls(), IsEmpty());
    EXPECT_EQ(portOf(::addressOf(endpoint.td)), port);
    EXPECT_EQ(endpoint.connType, itcConnection::ItcTypeEndpoint);
    EXPECT_EQ(endpoint.connState, itcConnection::ItcStateBound);
    EXPECT_THAT(endpoint, HasClearStatus());
}

TEST_P(InetSockDgramEndpoint, BindsInAnyOtherState)
{
    itcInetAddress address = local();
    for (const int state : {0, 2, 4, 5, 6}) {
        OpenedDatagram other;
        other.connState = state;
        EXPECT_EQ(other.CreateEndpoint(address), 1) << "state " << state;
        EXPECT_EQ(other.connState, itcConnection::ItcStateBound);
        EXPECT_NE(portOf(::addressOf(other.td)), 0);
    }
}

TEST_P(InetSockDgramEndpoint, NeedsNoRoomBelowTheLimitWhereItHasASocket)
{
    const ConnectionLimit limit(0);
    itcInetAddress address = local();
    EXPECT_EQ(endpoint.CreateEndpoint(address), 1);
}

TEST_P(InetSockDgramEndpoint, SurvivesAnySingleFailure)
{
    itcInetAddress address = local();
    expectToSurviveAnySingleFailure<OpenedDatagram>(
        [&](OpenedDatagram& datagram) { return datagram.CreateEndpoint(address); });
}

TEST_P(InetSockDgramEndpoint, OfTheConstructorTellsWhicheverCallFailsAndServesOn)
{
    std::vector<Consequence> consequences = {fails("socket", Itc_Tp_Socket_Call_Failed)};
    if (GetParam().family == AF_INET6)
        consequences.push_back(survives("setsockopt")); // the endpoint then takes no IPv4 peers
    consequences.push_back(fails("bind", Itc_Tp_Bind_Call_Failed));

    walkSingleFailures(consequences, [](SingleFailure& failure) {
        itcInetAddress address = local();
        std::optional<OpenedDatagram> datagram;
        failure.during([&] { datagram.emplace(address); });
        failure.expectIn(*datagram);
        EXPECT_EQ(datagram->connState,
                  failure.isSurvived() ? itcConnection::ItcStateBound : itcConnection::ItcStateClosed);
        EXPECT_EQ(datagram->CreateEndpoint(address), 1);
    });
}

TEST(InetSockDgramWildcard, TakesIPv4AndIPv6PeersAlike)
{
    itcInetAddress any(socketAddress("::"));
    OpenedDatagram endpoint;
    ASSERT_EQ(endpoint.CreateEndpoint(any), 1);
    EXPECT_EQ(socketOption(endpoint.td, IPPROTO_IPV6, IPV6_V6ONLY), 0);
    const int port = portOf(::addressOf(endpoint.td));

    for (const char* host : {"127.0.0.1", "::1"}) {
        itcInetAddress remote(socketAddress(host, static_cast<uint16_t>(port)));
        OpenedDatagram client;
        ASSERT_EQ(client.OpenConnection(remote, nullptr, nullptr), 1);
        ASSERT_EQ(client.Write(host, static_cast<int>(std::strlen(host))), static_cast<int>(std::strlen(host)));
        char area[16] = {};
        EXPECT_EQ(endpoint.InitRead(), static_cast<int>(std::strlen(host)));
        endpoint.Read(area, sizeof area);
        EXPECT_STREQ(area, host);
    }
}

TEST(InetSockDgramConstruction, StartsWithoutASocket)
{
    const CallJournal journal;
    const OpenedDatagram plain;
    EXPECT_EQ(plain.td, -1);
    EXPECT_EQ(plain.connOptions, itcConnection::ItcBlocking);
    EXPECT_EQ(plain.connType, itcConnection::ItcTypeUnspecified);
    EXPECT_EQ(plain.connState, itcConnection::ItcStateClosed);
    EXPECT_EQ(plain.buflen, 0);
    EXPECT_NE(plain.recvBuffer, nullptr);
    EXPECT_EQ(plain.peerAddress.ss_family, AF_UNSPEC);
    EXPECT_THAT(plain, HasClearStatus());
    EXPECT_THAT(journal.calls(), IsEmpty());
}

TEST(InetSockDgramConstruction, TakesOverADescriptor)
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    itcConnection::incConnCount(); // the constructor does not count, but closing lowers the count
    const OpenedDatagram given(fd, itcConnection::ItcTypeEndpoint);
    EXPECT_EQ(given.td, fd);
    EXPECT_EQ(given.connType, itcConnection::ItcTypeEndpoint);
    EXPECT_EQ(given.connState, itcConnection::ItcStateConnected);
    EXPECT_EQ(given.buflen, 0);
    EXPECT_EQ(given.peerAddress.ss_family, AF_UNSPEC);
    EXPECT_THAT(given, HasClearStatus());

    const OpenedDatagram none(-1, itcConnection::ItcTypeConnection);
    EXPECT_EQ(none.connType, itcConnection::ItcTypeConnection);
    EXPECT_EQ(none.connState, itcConnection::ItcStateClosed);
}

} // namespace
