// CreateEndpoint() of TCP streams: what only TCP streams do. StreamEndpointTest.cpp tests what all streams do.
#include "LoopbackTest.h"

namespace {

using testing::ElementsAre;

class InetSockStreamEndpoint : public LoopbackTest {
protected:
    itcInetAddress address = local();
};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockStreamEndpoint, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockStreamEndpoint, MayReuseItsAddress)
{
    OpenedStream stream;
    stream.CreateEndpoint(address);
    EXPECT_EQ(socketOption(stream.td, SOL_SOCKET, SO_REUSEADDR), 1);
}

TEST_P(InetSockStreamEndpoint, BindsADescriptorThatIsNotBoundYetWithoutMakingIt)
{
    OpenedStream stream;
    OsFaults::setsockopt().failNext(1, ENOPROTOOPT);
    ASSERT_EQ(stream.CreateEndpoint(address), 0); // the stream keeps its socket
    const CallJournal journal;
    EXPECT_EQ(stream.CreateEndpoint(address), 1);
    EXPECT_EQ(journal.calls(), steps({v6OnlyOff(), bindCall(), "listen(5)"}));
}

TEST_P(InetSockStreamEndpoint, KeepsTheSocketThatCannotReuseAddresses)
{
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    OsFaults::setsockopt().failNext(1, ENOPROTOOPT);
    OpenedStream stream;
    EXPECT_EQ(stream.CreateEndpoint(address), 0);
    EXPECT_TRUE(isOpen(stream.td));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Call_Failed, Error, ENOPROTOOPT));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockStream::CreateEndpoint() OS_setsockopt() call failed"));
}

TEST_P(InetSockStreamEndpoint, ClosesTheSocketOfAnAddressInUse)
{
    const BareSocket owner = listeningSocket(GetParam().host);
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    itcInetAddress taken = addressOf(owner);
    StreamWithOwnSteps stream;
    EXPECT_EQ(stream.CreateEndpoint(taken), 0);
    expectGivenUp(stream, counted);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRINUSE));
    EXPECT_THAT(hooks.texts(),
                ElementsAre("itcInetSockStream::CreateEndpoint() OS_bind() call failed. errorNumber = 98"));
}

TEST_P(InetSockStreamEndpoint, ListensAtTheSamePortRightAfterItsPredecessor)
{
    // A connection of the first listener stays in TIME_WAIT. Without SO_REUSEADDR the second bind would then fail.
    int port = 0;
    {
        OpenedStream first;
        ASSERT_EQ(first.CreateEndpoint(address), 1);
        port = portOf(::addressOf(first.td));
        const BareSocket client = connectedSocket(::addressOf(first.td));
        itcConnection* accepted = nullptr;
        ASSERT_EQ(first.AcceptConnection(&accepted, nullptr, nullptr), 1);
        delete accepted; // the side that closes first stays in TIME_WAIT
    }
    OpenedStream second;
    itcInetAddress same = local(port);
    EXPECT_EQ(second.CreateEndpoint(same), 1);
}

TEST(InetSockStreamEndpointOnIPv6, ListensEvenWhereItCannotTakeIPv4Peers)
{
    itcInetAddress address(socketAddress("::1"));
    OsFaults::setsockopt().failCall(2, ENOPROTOOPT);
    OpenedStream stream;
    EXPECT_EQ(stream.CreateEndpoint(address), 1);
    EXPECT_EQ(OsFaults::setsockopt().calls(), 2);
    EXPECT_THAT(stream, HasClearStatus());
}

TEST(InetSockStreamEndpointOnIPv6, TakesIPv4PeersToo)
{
    itcInetAddress any(socketAddress("::"));
    OpenedStream stream;
    ASSERT_EQ(stream.CreateEndpoint(any), 1);
    EXPECT_EQ(socketOption(stream.td, IPPROTO_IPV6, IPV6_V6ONLY), 0);

    const int port = portOf(::addressOf(stream.td));
    const BareSocket client = connectedSocket(socketAddress("127.0.0.1", static_cast<uint16_t>(port)));
    itcConnection* accepted = nullptr;
    EXPECT_EQ(stream.AcceptConnection(&accepted, nullptr, nullptr), 1);
    delete accepted;
}

struct FamilyLength {
    sa_family_t family;
    socklen_t length;
};

// The family alone decides which length of the address the system is told. The tests include families that no TCP
// socket has.
class InetSockStreamAddressLength : public testing::TestWithParam<FamilyLength> {
protected:
    InetSockStreamAddressLength()
    {
        storage.ss_family = GetParam().family;
        OsFaults::socket().instead = [](int, int, int) { return ::socket(AF_INET, SOCK_STREAM, 0); };
    }

    sockaddr_storage storage = {};
};

INSTANTIATE_TEST_SUITE_P(Families, InetSockStreamAddressLength,
                         testing::Values(FamilyLength{AF_INET, 16}, FamilyLength{AF_INET6, 28},
                                         FamilyLength{AF_UNIX, 110}, FamilyLength{AF_UNSPEC, 16},
                                         FamilyLength{AF_APPLETALK, 16}),
                         [](const auto& tested) { return "Family" + std::to_string(tested.param.family); });

TEST_P(InetSockStreamAddressLength, FollowsTheFamily)
{
    OsFaults::bind().instead = [](int, const sockaddr*, socklen_t) { return 0; };
    OsFaults::connect().instead = [](int, const sockaddr*, socklen_t) { return 0; };
    itcInetAddress address(storage);

    const OpenedStream bound(address);
    OpenedStream endpoint, client, slowClient(itcConnection::ItcNonBlocking);
    endpoint.CreateEndpoint(address);
    client.OpenConn(address);
    slowClient.OpenConn(address);

    const socklen_t length = GetParam().length;
    EXPECT_THAT(OsFaults::bind().askedArgument<2>(), ElementsAre(length, length));
    EXPECT_THAT(OsFaults::connect().askedArgument<2>(), ElementsAre(length, length));
    EXPECT_THAT(OsFaults::socket().askedArgument<0>(), testing::Each(static_cast<int>(GetParam().family)));
}

} // namespace
