// Internet addresses: their layout in memory, how they are made from system addresses, their flags and ports.
#include "FilledAddress.h"
#include "OsFaults.h"
#include "SocketAddresses.h"
#include "StatusMatchers.h"

#include <kiv/address/itcInetAddress.h>

#include <gmock/gmock.h>

#include <cstddef>
#include <cstring>
#include <ostream>
#include <type_traits>

static_assert(!std::is_polymorphic_v<itcAddress> && std::is_standard_layout_v<itcAddress>);
static_assert(!std::is_polymorphic_v<itcInetAddress> && std::is_base_of_v<itcAddress, itcInetAddress>);
static_assert(std::is_same_v<decltype(itcAddress::status), itcStatus> &&
              std::is_same_v<decltype(itcAddress::address), sockaddr_storage>);
static_assert(sizeof(sockaddr_storage) == 128 && offsetof(sockaddr_storage, ss_family) == 0);
static_assert(std::is_same_v<decltype(itcInetAddress::isAny), int> &&
              std::is_same_v<decltype(itcInetAddress::isLoopback), int> &&
              std::is_same_v<decltype(itcInetAddress::isBroadcast), int>);

namespace {

bool sameBytes(const sockaddr_storage& a, const sockaddr_storage& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

struct Flags {
    const char* name;
    const char* text;
    int isAny, isLoopback, isBroadcast;
    friend std::ostream& operator<<(std::ostream& out, const Flags& parameter) { return out << parameter.name; }
};

const Flags flags[] = {
    {"Any", "0.0.0.0", 1, 0, 0},
    {"Loopback", "127.0.0.1", 0, 1, 0},
    {"Broadcast", "255.255.255.255", 0, 0, 1},
    {"NextToLoopback", "127.0.0.2", 0, 0, 0},
    {"LoopbackBackwards", "1.0.0.127", 0, 0, 0},
    {"SubnetBroadcast", "10.255.255.255", 0, 0, 0},
    {"Any6", "::", 1, 0, 0},
    {"Loopback6", "::1", 0, 1, 0},
    {"MappedLoopback", "::ffff:127.0.0.1", 0, 1, 0},
    {"MappedAny", "::ffff:0.0.0.0", 0, 0, 0},
    {"MappedBroadcast", "::ffff:255.255.255.255", 0, 0, 0},
    {"MappedNextToLoopback", "::ffff:127.0.0.2", 0, 0, 0},
    {"CompatibleLoopback", "::127.0.0.1", 0, 0, 0},
    {"AllOnes6", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 0, 0, 0},
    {"Documentation6", "2001:db8::1", 0, 0, 0},
};

class InetAddressFlags : public testing::TestWithParam<Flags> {
protected:
    static void expectFlags(const itcInetAddress& address)
    {
        EXPECT_EQ(address.isAny, GetParam().isAny);
        EXPECT_EQ(address.isLoopback, GetParam().isLoopback);
        EXPECT_EQ(address.isBroadcast, GetParam().isBroadcast);
    }
};

TEST(Address, IsAllZeroWhenNew)
{
    const itcAddress address;

    EXPECT_THAT(address.status, HasClearStatus());
    EXPECT_TRUE(sameBytes(address.address, sockaddr_storage{}));
}

TEST(Address, HoldsStatusThenAddress)
{
    EXPECT_EQ(offsetof(itcAddress, status), 0u);
    EXPECT_GE(offsetof(itcAddress, address), sizeof(itcStatus));
}

TEST(InetAddress, HoldsItsFlagsBehindTheAddressInOrder)
{
    const itcInetAddress address(sockaddr_storage{});

    EXPECT_GE(static_cast<const void*>(&address.isAny), static_cast<const void*>(&address.address + 1));
    EXPECT_EQ(&address.isLoopback, &address.isAny + 1);
    EXPECT_EQ(&address.isBroadcast, &address.isAny + 2);
}

TEST(InetAddress, HasConstantsForCallers)
{
    EXPECT_STREQ(itcInetAddress::Any, "0.0.0.0");
    EXPECT_STREQ(itcInetAddress::Any6, "::");
    EXPECT_STREQ(itcInetAddress::Localhost, "127.0.0.1");
    EXPECT_STREQ(itcInetAddress::Localhost6, "::1");
    EXPECT_STREQ(itcInetAddress::Broadcast, "255.255.255.255");
}

TEST(InetAddressFromTheSystem, CopiesEveryByte)
{
    const sockaddr_storage given = filledAddress(AF_INET);

    EXPECT_TRUE(sameBytes(itcInetAddress(given).address, given));
}

TEST(InetAddressFromTheSystem, HasAClearStatus)
{
    EXPECT_THAT(itcInetAddress(filledAddress(AF_INET)).status, HasClearStatus());
}

TEST(InetAddressFromTheSystem, AsksNoResolver)
{
    const itcInetAddress address(socketAddress("127.0.0.1", 80));

    EXPECT_EQ(OsFaults::getaddrinfo().calls(), 0);
    EXPECT_EQ(OsFaults::getnameinfo().calls(), 0);
}

TEST_P(InetAddressFlags, OfAnAddressFromTheSystem) { expectFlags(itcInetAddress(socketAddress(GetParam().text, 80))); }

TEST_P(InetAddressFlags, OfAnAddressLookedUp) { expectFlags(itcInetAddress(GetParam().text, 80)); }

INSTANTIATE_TEST_SUITE_P(, InetAddressFlags, testing::ValuesIn(flags),
                         [](const auto& tested) { return tested.param.name; });

TEST(InetAddressWithoutFlags, IsAnyOfAnotherFamily)
{
    for (const sa_family_t family : {AF_UNSPEC, AF_UNIX, AF_APPLETALK}) {
        sockaddr_storage zero = {};
        zero.ss_family = family;
        const itcInetAddress address(zero);
        EXPECT_EQ(address.isAny, 0);
        EXPECT_EQ(address.isLoopback, 0);
        EXPECT_EQ(address.isBroadcast, 0);
    }
}

TEST(InetAddressPort, IsInHostOrderForBothFamilies)
{
    EXPECT_EQ(itcInetAddress(socketAddress("127.0.0.1", 80)).port(), 80);
    EXPECT_EQ(itcInetAddress(socketAddress("::1", 80)).port(), 80);
    EXPECT_EQ(itcInetAddress(socketAddress("127.0.0.1", 65535)).port(), 65535);
    EXPECT_EQ(itcInetAddress(socketAddress("::1", 0x1234)).port(), 0x1234);
}

TEST(InetAddressPort, Is0ForOtherFamilies)
{
    EXPECT_EQ(itcInetAddress(filledAddress(AF_UNIX)).port(), 0);
    EXPECT_EQ(itcInetAddress(filledAddress(AF_UNSPEC)).port(), 0);
}

} // namespace
