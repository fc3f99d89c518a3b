// Lookups that are repeated. In each repetition another system call fails.
#include "BareSocket.h"
#include "FamilyPreference.h"
#include "SingleFailures.h"

#include <kiv/address/itcInetAddress.h>
#include <kiv/address/itcUnixAddress.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <vector>

namespace {

/// A close that is made to fail leaves the descriptor open. Closes these descriptors after the lookup.
void closeWhatCouldNotBeClosed()
{
    for (const int fd : OsFaults::closesocket().askedArgument<0>()) {
        if (isOpen(fd))
            ::close(fd);
    }
}

TEST(LookupFailures, OfAnInetAddressAreToldAndItCanBeLookedUpAgain)
{
    const FamilyPreference known(AF_INET);
    walkSingleFailures({fails("getaddrinfo", Itc_Tp_Unknown_Peer, EAI_FAIL)}, [](SingleFailure& failure) {
        itcInetAddress address(sockaddr_storage{});
        bool found = false;
        failure.during([&] { found = address.lookup("127.0.0.1", 4711, 0); });
        failure.expectIn(address.status);
        EXPECT_EQ(found, failure.isSurvived());
        EXPECT_EQ(address.port(), failure.isSurvived() ? 4711 : 0);

        EXPECT_TRUE(address.lookup("127.0.0.1", 4712, 0));
        EXPECT_EQ(address.port(), 4712);
        EXPECT_THAT(address.status, HasClearStatus());
    });
}

int familyOfTheMachine()
{
    const FamilyPreference unknown(0);
    itcInetAddress().lookup("127.0.0.1", 0, 0);
    return FamilyPreference::family();
}

// The first lookup of a process finds out which family a wildcard gets. After a failure one of the two families is
// chosen.
TEST(LookupFailures, InTheProbeOfTheFamiliesDecideForOneOfThem)
{
    const int usual = familyOfTheMachine();
    // The IPv4 socket and its close; the IPv6 socket, its option and its close; the lookup itself.
    const std::vector<Consequence> consequences = {
        survives("socket"),     survives("closesocket"), survives("socket"),
        survives("setsockopt"), survives("closesocket"), fails("getaddrinfo", Itc_Tp_Unknown_Peer, EAI_FAIL)};
    const std::vector<int> preferred = {AF_INET6, usual, AF_INET, AF_INET, usual, usual, usual};
    walkSingleFailures(consequences, [&](SingleFailure& failure) {
        itcInetAddress address(sockaddr_storage{});
        const FamilyPreference unknown(0);
        OsFaults::closesocket().clear();
        failure.during([&] { address.lookup("127.0.0.1", 4711, 0); });
        closeWhatCouldNotBeClosed();
        failure.expectIn(address.status);
        EXPECT_EQ(FamilyPreference::family(), preferred[failure.turn()]);
        EXPECT_TRUE(address.lookup("127.0.0.1", 4711, 0));
    });
}

TEST(LookupFailures, OfALocalAddressAreToldAndItCanBeSetAgain)
{
    walkSingleFailures({fails("getaddrinfo", Itc_Tp_Path_Too_Long)}, [](SingleFailure& failure) {
        itcUnixAddress address("/run/before");
        bool isSet = false;
        failure.during([&] { isSet = address.set("/run/some.socket"); });
        failure.expectIn(address.status);
        EXPECT_EQ(isSet, failure.isSurvived());
        EXPECT_STREQ(address.pathname(), failure.isSurvived() ? "/run/some.socket" : nullptr);

        EXPECT_TRUE(address.set("/run/other.socket"));
        EXPECT_STREQ(address.pathname(), "/run/other.socket");
        EXPECT_THAT(address.status, HasClearStatus());
    });
}

} // namespace
