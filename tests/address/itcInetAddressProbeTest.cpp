// Which family a wildcard gets. A process asks the machine once and remembers the answer. Each test starts without an
// answer.
#include "FamilyPreference.h"
#include "OsFaults.h"
#include "SocketAddresses.h"

#include <gmock/gmock.h>

#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int v6only = 26; // IPV6_V6ONLY

class FamilyProbe : public testing::Test {
protected:
    static void probe() { itcInetAddress().lookup("127.0.0.1", 0, 0); }

    static std::vector<int> familiesTried() { return OsFaults::socket().askedArgument<0>(); }

    FamilyPreference unknown{0};
};

TEST_F(FamilyProbe, OfAMachineWithoutIPv4SocketsPrefersIPv6)
{
    OsFaults::socket().failNext(1, EAFNOSUPPORT);

    probe();

    EXPECT_EQ(FamilyPreference::family(), AF_INET6);
}

TEST_F(FamilyProbe, StopsWhereThereAreNoIPv4Sockets)
{
    OsFaults::socket().failNext(1, EAFNOSUPPORT);

    probe();

    EXPECT_THAT(familiesTried(), ElementsAre(AF_INET));
    EXPECT_EQ(OsFaults::setsockopt().calls(), 0);
    EXPECT_EQ(OsFaults::closesocket().calls(), 0);
}

TEST_F(FamilyProbe, OfAMachineWithoutIPv6SocketsPrefersIPv4)
{
    OsFaults::socket().failCall(2, EAFNOSUPPORT);

    probe();

    EXPECT_EQ(FamilyPreference::family(), AF_INET);
}

TEST_F(FamilyProbe, OfAMachineWithSeparateFamiliesPrefersIPv4)
{
    OsFaults::setsockopt().failNext(1, ENOPROTOOPT);

    probe();

    EXPECT_EQ(FamilyPreference::family(), AF_INET);
}

TEST_F(FamilyProbe, OfADualStackMachinePrefersIPv6)
{
    OsFaults::setsockopt().instead = [](auto...) { return 0; };
    OsFaults::socket().instead = [](int, int type, int protocol) { return ::socket(AF_INET, type, protocol); };

    probe();

    EXPECT_EQ(FamilyPreference::family(), AF_INET6);
}

TEST_F(FamilyProbe, TriesStreamsOfBothFamilies)
{
    probe();

    EXPECT_THAT(familiesTried(), ElementsAre(AF_INET, AF_INET6));
    EXPECT_THAT(OsFaults::socket().askedArgument<1>(), ElementsAre(SOCK_STREAM, SOCK_STREAM));
}

TEST_F(FamilyProbe, AsksTheIPv6SocketToServeBothFamilies)
{
    int inet6 = -1;
    OsFaults::socket().instead = [&](int family, int type, int protocol) {
        const int fd = ::socket(AF_INET, type, protocol); // also on machines without IPv6
        if (family == AF_INET6)
            inet6 = fd;
        return fd;
    };
    int value = -1;
    OsFaults::setsockopt().instead = [&](int, int, int, const void* given, socklen_t) {
        value = *static_cast<const int*>(given);
        return 0;
    };

    probe();

    EXPECT_THAT(OsFaults::setsockopt().askedArgument<0>(), ElementsAre(inet6));
    EXPECT_THAT(OsFaults::setsockopt().askedArgument<1>(), ElementsAre(41));
    EXPECT_THAT(OsFaults::setsockopt().askedArgument<2>(), ElementsAre(v6only));
    EXPECT_THAT(OsFaults::setsockopt().askedArgument<4>(), ElementsAre(4u));
    EXPECT_EQ(value, 0);
}

TEST_F(FamilyProbe, ClosesBothSockets)
{
    std::vector<int> opened;
    OsFaults::socket().instead = [&](int, int type, int protocol) {
        opened.push_back(::socket(AF_INET, type, protocol));
        return opened.back();
    };

    probe();

    EXPECT_EQ(opened.size(), 2u);
    EXPECT_EQ(OsFaults::closesocket().askedArgument<0>(), opened);
}

TEST_F(FamilyProbe, ClosesTheIPv6SocketThatServesOneFamilyOnly)
{
    OsFaults::socket().instead = [](int, int type, int protocol) { return ::socket(AF_INET, type, protocol); };
    OsFaults::setsockopt().failNext(1, ENOPROTOOPT);

    probe();

    EXPECT_EQ(OsFaults::closesocket().calls(), 2);
}

TEST_F(FamilyProbe, EndsWhenAnotherThreadHasFoundOutMeanwhile)
{
    OsFaults::closesocket().instead = [](int fd) {
        FamilyPreference::set(AF_INET);
        return ::close(fd);
    };

    probe();

    EXPECT_THAT(familiesTried(), ElementsAre(AF_INET));
    EXPECT_EQ(FamilyPreference::family(), AF_INET);
}

TEST_F(FamilyProbe, HappensOnce)
{
    probe();
    const int found = FamilyPreference::family();
    OsFaults::socket().clear();
    OsFaults::socket().failNext(1, EAFNOSUPPORT);

    probe();

    EXPECT_THAT(familiesTried(), IsEmpty());
    EXPECT_EQ(FamilyPreference::family(), found);
}

TEST_F(FamilyProbe, StoresThePreferenceBeforeItClosesTheIPv6Socket)
{
    std::vector<int> preferences;
    OsFaults::closesocket().instead = [&](int fd) {
        preferences.push_back(FamilyPreference::family());
        return ::close(fd);
    };

    probe();

    EXPECT_THAT(preferences, ElementsAre(0, FamilyPreference::family()));
}

TEST_F(FamilyProbe, PrecedesEveryLookupAlsoOfATooLongHost)
{
    itcInetAddress address((sockaddr_storage()));
    EXPECT_EQ(FamilyPreference::family(), 0);

    address.lookup(std::string(1025, 'h').c_str(), 80, 0);

    EXPECT_NE(FamilyPreference::family(), 0);
}

TEST_F(FamilyProbe, IsNotNeededForAnAddressFromTheSystem)
{
    const itcInetAddress address(socketAddress("127.0.0.1"));

    EXPECT_EQ(FamilyPreference::family(), 0);
    EXPECT_THAT(familiesTried(), IsEmpty());
}

TEST_F(FamilyProbe, GivesThreadsThatRaceTheSame)
{
    std::vector<int> families(4);
    std::vector<std::thread> threads;
    for (int& family : families)
        threads.emplace_back([&family] { family = itcInetAddress().address.ss_family; });
    for (auto& thread : threads)
        thread.join();

    EXPECT_THAT(families, testing::Each(FamilyPreference::family()));
}

TEST_F(FamilyProbe, OfThisMachineFindsWhatItsSocketsCanDo)
{
    const int off = 0;
    const int inet6 = ::socket(AF_INET6, SOCK_STREAM, 0);
    const bool dualStack = ::setsockopt(inet6, IPPROTO_IPV6, v6only, &off, sizeof off) == 0;
    if (inet6 != -1)
        OS_closesocket(inet6);

    EXPECT_EQ(itcInetAddress().address.ss_family, dualStack ? AF_INET6 : AF_INET);
}

} // namespace
