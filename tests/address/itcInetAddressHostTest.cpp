// Which host, family and flags a lookup passes to the resolver.
#include "ExpectEndpoint.h"
#include "FamilyPreference.h"
#include "HookRecorder.h"
#include "LookupRecorder.h"

#include <gmock/gmock.h>

#include <cstring>
#include <new>
#include <ostream>
#include <string>

namespace {

using testing::IsEmpty;
using testing::SizeIs;

struct Wildcard {
    const char* name;
    const char* host;
    int preference;
    int family;
    friend std::ostream& operator<<(std::ostream& out, const Wildcard& parameter) { return out << parameter.name; }
};

class WildcardLookup : public testing::TestWithParam<Wildcard> {
protected:
    FamilyPreference preference{GetParam().preference};
};

TEST_P(WildcardLookup, AsksForAPassiveAddressOfItsFamilyWithoutAHost)
{
    LookupRecorder resolver;

    itcInetAddress(GetParam().host, 5000);

    ASSERT_THAT(resolver.lookups, SizeIs(1));
    EXPECT_EQ(resolver.lookups[0].host, std::nullopt);
    EXPECT_EQ(resolver.lookups[0].hints.ai_flags, AI_PASSIVE);
    EXPECT_EQ(resolver.lookups[0].hints.ai_family, GetParam().family);
}

TEST_P(WildcardLookup, YieldsTheWildcard)
{
    const itcInetAddress address(GetParam().host, 5000);

    expectEndpoint(address, GetParam().family == AF_INET ? "0.0.0.0" : "::", 5000);
    EXPECT_EQ(address.isAny, 1);
    EXPECT_EQ(address.isLoopback, 0);
    EXPECT_EQ(address.isBroadcast, 0);
}

INSTANTIATE_TEST_SUITE_P(, WildcardLookup,
                         testing::Values(Wildcard{"NullPreferring4", nullptr, AF_INET, AF_INET},
                                         Wildcard{"NullPreferring6", nullptr, AF_INET6, AF_INET6},
                                         Wildcard{"EmptyPreferring4", "", AF_INET, AF_INET},
                                         Wildcard{"EmptyPreferring6", "", AF_INET6, AF_INET6},
                                         Wildcard{"EmptyBracketsPreferring4", "[]", AF_INET, AF_INET},
                                         Wildcard{"EmptyBracketsPreferring6", "[]", AF_INET6, AF_INET6},
                                         Wildcard{"AnyPreferring4", "0.0.0.0", AF_INET, AF_INET},
                                         Wildcard{"AnyPreferring6", "0.0.0.0", AF_INET6, AF_INET},
                                         Wildcard{"BracketedAnyPreferring6", "[0.0.0.0]", AF_INET6, AF_INET},
                                         Wildcard{"Any6Preferring4", "::", AF_INET, AF_INET6},
                                         Wildcard{"Any6Preferring6", "::", AF_INET6, AF_INET6},
                                         Wildcard{"BracketedAny6Preferring4", "[::]", AF_INET, AF_INET6}),
                         [](const auto& tested) { return tested.param.name; });

struct Host {
    const char* name;
    const char* given;
    const char* asked;
    friend std::ostream& operator<<(std::ostream& out, const Host& parameter) { return out << parameter.name; }
};

class HostLookup : public testing::TestWithParam<Host> {};

TEST_P(HostLookup, LeavesTheFamilyToTheResolver)
{
    LookupRecorder resolver({EAI_NONAME});

    const itcInetAddress address(GetParam().given, 80);

    ASSERT_THAT(resolver.lookups, SizeIs(1));
    EXPECT_EQ(resolver.lookups[0].host, GetParam().asked);
    EXPECT_EQ(resolver.lookups[0].hints.ai_flags, 0);
    EXPECT_EQ(resolver.lookups[0].hints.ai_family, AF_UNSPEC);
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, EAI_NONAME));
}

INSTANTIATE_TEST_SUITE_P(, HostLookup,
                         testing::Values(Host{"Name", "host.example", "host.example"},
                                         Host{"Bracketed6", "[::1]", "::1"},
                                         Host{"BracketedName", "[host.example]", "host.example"},
                                         Host{"Unclosed", "[::1", "[::1"}, Host{"OpeningAlone", "[", "["},
                                         Host{"ClosingAlone", "]", "]"}, Host{"Unopened", "::1]", "::1]"},
                                         Host{"TwiceBracketed", "[[::1]]", "[::1]"}, Host{"ZeroButNotAny", "0", "0"},
                                         Host{"LongFormOfAny6", "0::0", "0::0"}, Host{"Space", " ", " "}),
                         [](const auto& tested) { return tested.param.name; });

TEST(InetLookup, Of1024CharactersReachesTheResolver)
{
    LookupRecorder resolver({EAI_NONAME});
    const std::string host(1024, 'h');

    const itcInetAddress address(host.c_str(), 80);

    ASSERT_THAT(resolver.lookups, SizeIs(1));
    EXPECT_EQ(resolver.lookups[0].host, host);
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, EAI_NONAME));
}

TEST(InetLookup, Of1024CharactersInBracketsLosesTwo)
{
    LookupRecorder resolver({EAI_NONAME});
    const std::string host(1022, 'h');

    const itcInetAddress address(('[' + host + ']').c_str(), 80);

    ASSERT_THAT(resolver.lookups, SizeIs(1));
    EXPECT_EQ(resolver.lookups[0].host, host);
}

struct TooLong {
    const char* name;
    std::string host;
    friend std::ostream& operator<<(std::ostream& out, const TooLong& parameter) { return out << parameter.name; }
};

// The length limit counts the host as it is given, with its brackets.
class TooLongHostLookup : public testing::TestWithParam<TooLong> {
protected:
    const std::string host = GetParam().host;
};

TEST_P(TooLongHostLookup, AsksNoResolver)
{
    const HookRecorder hooks;

    itcInetAddress(host.c_str(), 80);

    EXPECT_EQ(OsFaults::getaddrinfo().calls(), 0);
    EXPECT_THAT(hooks.texts(), IsEmpty());
}

TEST_P(TooLongHostLookup, FailsWithTheErrorNumberOfThatMoment)
{
    itcInetAddress address("127.0.0.1", 80);
    errno = EDOM;

    EXPECT_FALSE(address.lookup(host.c_str(), 81, 0));

    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Gethostname_Call_Failed, Error, EDOM));
}

TEST_P(TooLongHostLookup, KeepsTheAddressAndItsFlags)
{
    itcInetAddress address("127.0.0.1", 80);

    address.lookup(host.c_str(), 81, 0);

    EXPECT_STREQ(address.numeric_hostname(), "127.0.0.1");
    EXPECT_EQ(address.port(), 80);
    EXPECT_EQ(address.isAny, 0);
    EXPECT_EQ(address.isLoopback, 1);
    EXPECT_EQ(address.isBroadcast, 0);
}

TEST_P(TooLongHostLookup, LeavesANewAddressZero)
{
    // The memory is not zero before. Therefore a flag that the constructor does not set is noticed.
    alignas(itcInetAddress) unsigned char memory[sizeof(itcInetAddress)];
    std::memset(memory, 0xAB, sizeof memory);

    const auto& address = *new (memory) itcInetAddress(host.c_str(), 80);

    EXPECT_EQ(address.address.ss_family, AF_UNSPEC);
    EXPECT_EQ(address.isAny, 0);
    EXPECT_EQ(address.isLoopback, 0);
    EXPECT_EQ(address.isBroadcast, 0);
    address.~itcInetAddress();
}

INSTANTIATE_TEST_SUITE_P(, TooLongHostLookup,
                         testing::Values(TooLong{"By1", std::string(1025, 'h')},
                                         TooLong{"ByFar", std::string(100000, 'h')},
                                         TooLong{"ByItsBrackets", '[' + std::string(1023, 'h') + ']'}),
                         [](const auto& instance) { return instance.param.name; });

} // namespace
