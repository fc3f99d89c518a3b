// Octets and characters above 0x7F in the address calls and in the traces. Octets are numbers without a sign.
// Characters pass unchanged.
#include "Characters.h"
#include "ResolverTraces.h"
#include "SocketAddresses.h"

#include <arpa/inet.h>

#include <string>

namespace {

using testing::Each;
using testing::HasSubstr;

/// Texts with all bytes above 0x7F, in an order that no encoding gives.
class HighBytesInTraces : public ResolverTraces {};

TEST(HighOctets, AreReadAndWrittenWithoutASign)
{
    for (int octet = 0x80; octet < 0x100; ++octet) {
        const auto value = static_cast<uint32_t>(octet) * 0x01010101;
        const std::string number = std::to_string(octet);
        const std::string text = number + "." + number + "." + number + "." + number;

        EXPECT_STREQ(OS_inet_ntoa(in_addr{value}), text.c_str());
        EXPECT_EQ(OS_inet_addr(text.c_str()), value);
        EXPECT_EQ(OS_inet_network(text.c_str()), value);
        char written[INET_ADDRSTRLEN];
        EXPECT_STREQ(OS_inet_ntop(AF_INET, &value, written, sizeof written), text.c_str());
        in_addr read = {};
        EXPECT_EQ(OS_inet_pton(AF_INET, text.c_str(), &read), 1);
        EXPECT_EQ(read.s_addr, value);
    }
}

TEST(HighOctets, BelongToTheirNetworks)
{
    EXPECT_EQ(OS_inet_netof(in_addr{::htonl(0x80FE8081)}), 0x80FEu); // a network of 16 bits
    EXPECT_EQ(OS_inet_lnaof(in_addr{::htonl(0x80FE8081)}), 0x8081u);
    EXPECT_EQ(OS_inet_netof(in_addr{::htonl(0xDFFE8081)}), 0xDFFE80u); // of 24 bits
    EXPECT_EQ(OS_inet_lnaof(in_addr{::htonl(0xDFFE8081)}), 0x81u);
    EXPECT_EQ(OS_inet_makeaddr(0xDFFE80, 0x81).s_addr, ::htonl(0xDFFE8081));
}

TEST_F(HighBytesInTraces, OfPortsHaveNoSign)
{
    SystemResolver::getnameinfo().instead = [](auto...) { return 0; };
    const sockaddr_storage address = socketAddress("127.0.0.1", 0xFF80);

    OS_getnameinfo(asSocketAddress(address), sizeof(sockaddr_in), nullptr, 0, nullptr, 0, 0);

    EXPECT_THAT(hooks.texts(), Each(HasSubstr("port:33023"))); // 0x80FF, in raw form
}

TEST_F(HighBytesInTraces, OfHostsAndServicesAreBytes)
{
    SystemResolver::getaddrinfo().failNext(1, 0);
    const std::string name = characters(0x80, 0xFF);
    addrinfo* list = nullptr;

    OS_getaddrinfo(name.c_str(), name.c_str(), nullptr, &list);

    EXPECT_THAT(hooks.texts().front(), HasSubstr(R"(hostname:")" + name + R"(" servicename:")" + name + '"'));
    EXPECT_THAT(hooks.texts().back(), HasSubstr(name));
}

TEST_F(HighBytesInTraces, OfNamesThatAreLookedUpAreBytes)
{
    const std::string name = characters(0x80, 0xFF);
    SystemResolver::gethostbyname().instead = [&](const char* asked) {
        EXPECT_EQ(asked, name);
        return nullptr;
    };

    OS_gethostbyname(name.c_str());

    EXPECT_THAT(hooks.texts(), Each(HasSubstr(R"(hostname:")" + name + '"')));
}

TEST_F(HighBytesInTraces, OfNamesThatAreFoundAreBytes)
{
    const std::string name = characters(0x80, 0xFF);
    SystemResolver::Entry answer(name.c_str(), AF_INET, "\xC8\x81\xFF\x80", 4);
    SystemResolver::gethostbyaddr().instead = [&](auto...) { return &answer.entry; };

    OS_gethostbyaddr("\xC8\x81\xFF\x80", 4, AF_INET);

    EXPECT_THAT(hooks.texts(), Each(HasSubstr(R"(ip:"200.129.255.128")")));
    EXPECT_THAT(hooks.texts().back(), HasSubstr(R"(host name:")" + name + '"'));
}

} // namespace
