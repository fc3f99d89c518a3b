// Which service, protocol and socket type a lookup asks for, when a lookup asks twice, and the constructors.
#include "ExpectEndpoint.h"
#include "FamilyPreference.h"
#include "LookupRecorder.h"
#include "SocketAddresses.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstring>
#include <ostream>
#include <tuple>

namespace {

using testing::SizeIs;

struct Service {
    int port;
    const char* text;
    friend std::ostream& operator<<(std::ostream& out, const Service& parameter) { return out << parameter.port; }
};

class PortLookup : public testing::TestWithParam<Service> {};

TEST_P(PortLookup, AsksWithTheDecimalText)
{
    LookupRecorder resolver({EAI_SERVICE, EAI_SERVICE});

    itcInetAddress("127.0.0.1", GetParam().port);

    ASSERT_THAT(resolver.lookups, SizeIs(2)); // the second one for streams
    EXPECT_EQ(resolver.lookups[0].service, GetParam().text);
    EXPECT_EQ(resolver.lookups[1].service, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(, PortLookup,
                         testing::Values(Service{0, "0"}, Service{1, "1"}, Service{65535, "65535"},
                                         Service{65536, "65536"}, Service{-1, "-1"}, Service{INT_MAX, "2147483647"},
                                         Service{INT_MIN, "-2147483648"}));

TEST(InetLookup, HandsOnTheServiceAsGiven)
{
    LookupRecorder resolver({EAI_NONAME, EAI_NONAME, EAI_NONAME});
    itcInetAddress address;
    resolver.lookups.clear();

    for (const char* service : {"ssh", "", "[80]"})
        address.lookup("127.0.0.1", service, tcp);

    ASSERT_THAT(resolver.lookups, SizeIs(3));
    EXPECT_EQ(resolver.lookups[0].service, "ssh");
    EXPECT_EQ(resolver.lookups[1].service, "");
    EXPECT_EQ(resolver.lookups[2].service, "[80]");
}

TEST(InetLookup, WithoutAServiceGivesPort0)
{
    expectEndpoint(itcInetAddress("127.0.0.1", nullptr, tcp), "127.0.0.1", 0);
}

TEST(InetLookup, OfNeitherHostNorServiceFails)
{
    itcInetAddress address(socketAddress("127.0.0.1", 80));

    EXPECT_FALSE(address.lookup(nullptr, nullptr, 0));

    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, EAI_NONAME));
}

TEST(InetLookup, FindsAServiceByName)
{
    if (::getservbyname("ssh", "tcp") == nullptr)
        GTEST_SKIP() << "this machine has no database of services";

    expectEndpoint(itcInetAddress("127.0.0.1", "ssh", 0), "127.0.0.1", 22);
    expectEndpoint(itcInetAddress("127.0.0.1", "ssh", tcp), "127.0.0.1", 22);
}

struct Protocol {
    int protocol;
    int socketType;
    friend std::ostream& operator<<(std::ostream& out, const Protocol& parameter) { return out << parameter.protocol; }
};

class ProtocolLookup : public testing::TestWithParam<Protocol> {};

TEST_P(ProtocolLookup, DecidesOnTheSocketType)
{
    LookupRecorder resolver({EAI_NONAME});

    itcInetAddress("127.0.0.1", 80, GetParam().protocol);

    ASSERT_THAT(resolver.lookups, SizeIs(1));
    EXPECT_EQ(resolver.lookups[0].hints.ai_protocol, GetParam().protocol);
    EXPECT_EQ(resolver.lookups[0].hints.ai_socktype, GetParam().socketType);
}

INSTANTIATE_TEST_SUITE_P(, ProtocolLookup,
                         testing::Values(Protocol{0, 0}, Protocol{6, SOCK_STREAM}, Protocol{17, SOCK_DGRAM},
                                         Protocol{1, 0}, Protocol{132, 0}, Protocol{-1, 0}));

TEST(InetLookup, LeavesTheRestOfTheHintsZero)
{
    LookupRecorder resolver({EAI_NONAME});

    itcInetAddress("127.0.0.1", 80, udp);

    const addrinfo& hints = resolver.lookups.at(0).hints;
    EXPECT_EQ(hints.ai_addrlen, 0u);
    EXPECT_EQ(hints.ai_addr, nullptr);
    EXPECT_EQ(hints.ai_canonname, nullptr);
    EXPECT_EQ(hints.ai_next, nullptr);
}

TEST(InetLookup, AsksForStreamsWhereAServiceIsNotKnownForEitherProtocol)
{
    LookupRecorder resolver({EAI_SERVICE, 0});

    const itcInetAddress address("[::1]", "5000", 0);

    expectEndpoint(address, "::1", 5000);
    ASSERT_THAT(resolver.lookups, SizeIs(2));
    const auto& [first, second] = std::tie(resolver.lookups[0], resolver.lookups[1]);
    EXPECT_EQ(first.hints.ai_socktype, 0);
    EXPECT_EQ(second.hints.ai_socktype, SOCK_STREAM);
    EXPECT_EQ(second.host, "::1");
    EXPECT_EQ(second.service, "5000");
    EXPECT_EQ(second.hints.ai_protocol, 0);
    EXPECT_EQ(second.hints.ai_family, first.hints.ai_family);
    EXPECT_EQ(second.hints.ai_flags, first.hints.ai_flags);
}

TEST(InetLookup, AsksForStreamsOfAWildcardToo)
{
    LookupRecorder resolver({EAI_SERVICE, 0});

    const itcInetAddress address("0.0.0.0", 5000);

    expectEndpoint(address, "0.0.0.0", 5000);
    ASSERT_THAT(resolver.lookups, SizeIs(2));
    EXPECT_EQ(resolver.lookups[1].host, std::nullopt);
    EXPECT_EQ(resolver.lookups[1].hints.ai_flags, AI_PASSIVE);
    EXPECT_EQ(resolver.lookups[1].hints.ai_family, AF_INET);
}

TEST(InetLookup, ReportsTheCodeOfTheSecondAttempt)
{
    LookupRecorder resolver({EAI_SERVICE, EAI_AGAIN});

    const itcInetAddress address("127.0.0.1", "unknown", 0);

    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, EAI_AGAIN));
    EXPECT_THAT(resolver.lookups, SizeIs(2));
}

TEST(InetLookup, TriesNoThirdTime)
{
    LookupRecorder resolver({EAI_SERVICE, EAI_SERVICE, 0});

    const itcInetAddress address("127.0.0.1", "unknown", 0);

    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, EAI_SERVICE));
    EXPECT_THAT(resolver.lookups, SizeIs(2));
}

TEST(InetLookup, OfAGivenProtocolTriesOnce)
{
    for (const int protocol : {tcp, udp}) {
        LookupRecorder resolver({EAI_SERVICE, 0});
        const itcInetAddress address("127.0.0.1", "unknown", protocol);
        EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, EAI_SERVICE));
        EXPECT_THAT(resolver.lookups, SizeIs(1));
    }
}

TEST(InetLookup, TriesOnceAfterAnyOtherFailure)
{
    for (const int code : {EAI_NONAME, EAI_AGAIN, EAI_FAIL, EAI_FAMILY, EAI_SOCKTYPE, EAI_MEMORY, EAI_SYSTEM}) {
        LookupRecorder resolver({code, 0});
        const itcInetAddress address("127.0.0.1", 80);
        EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, code));
        EXPECT_THAT(resolver.lookups, SizeIs(1));
    }
}

TEST(InetLookup, OfAnUnknownServiceReallyFails)
{
    itcInetAddress address;

    EXPECT_FALSE(address.lookup("127.0.0.1", "nosuchservice", tcp));

    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, EAI_SERVICE));
}

TEST(InetAddressConstructor, WithoutArgumentsIsTheWildcardWithPort0)
{
    LookupRecorder resolver;

    const itcInetAddress address;

    EXPECT_EQ(address.isAny, 1);
    EXPECT_EQ(address.port(), 0);
    EXPECT_EQ(address.address.ss_family, FamilyPreference::family());
    EXPECT_EQ(resolver.lookups.at(0).service, "0");
}

TEST(InetAddressConstructor, OfAPortIsTheWildcardWithIt)
{
    const itcInetAddress address(5000);

    EXPECT_EQ(address.isAny, 1);
    EXPECT_EQ(address.port(), 5000);
}

TEST(InetAddressConstructor, OfHostAndPortTakesEitherProtocol)
{
    LookupRecorder resolver;

    expectEndpoint(itcInetAddress("[::1]", 80), "::1", 80);

    EXPECT_EQ(resolver.lookups.at(0).hints.ai_protocol, 0);
}

TEST(InetAddressConstructor, TakesAProtocolWithAPort)
{
    LookupRecorder resolver;

    expectEndpoint(itcInetAddress("127.0.0.1", 80, udp), "127.0.0.1", 80);

    EXPECT_EQ(resolver.lookups.at(0).hints.ai_protocol, udp);
}

TEST(InetAddressConstructor, TakesAProtocolWithAService)
{
    LookupRecorder resolver;

    expectEndpoint(itcInetAddress("127.0.0.1", "80", tcp), "127.0.0.1", 80);

    EXPECT_EQ(resolver.lookups.at(0).hints.ai_protocol, tcp);
}

TEST(InetAddressConstructor, OfAnUnknownHostIsZeroButForTheStatus)
{
    LookupRecorder resolver({EAI_NONAME});

    const itcInetAddress address("nowhere", 80);

    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, EAI_NONAME));
    const sockaddr_storage zero = {};
    EXPECT_EQ(std::memcmp(&address.address, &zero, sizeof zero), 0);
    EXPECT_EQ(address.isAny, 0);
    EXPECT_EQ(address.isLoopback, 0);
    EXPECT_EQ(address.isBroadcast, 0);
    EXPECT_EQ(address.port(), 0);
}

} // namespace
