// Addresses from callers and resolvers may lie anywhere in memory. The traces never read an unaligned word.
#include "ResolverTraces.h"
#include "SocketAddresses.h"

#include <cstring>

namespace {

using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;

/// Memory that begins behind a multiple of 16. The parameter is the distance in bytes.
class AddressAlignment : public ResolverTraces, public testing::WithParamInterface<size_t> {
protected:
    char* place() { return memory + GetParam(); }

    // Writes the address that a text names to place().
    sockaddr* socketAddressThere(const char* text, uint16_t port = 80)
    {
        const sockaddr_storage address = socketAddress(text, port);
        std::memcpy(place(), &address, lengthOf(address));
        return reinterpret_cast<sockaddr*>(place());
    }
    void* bytesThere(const void* bytes, size_t count) { return std::memcpy(place(), bytes, count); }

    static constexpr unsigned char inet[4] = {200, 129, 255, 128};
    const in6_addr inet6 = socketAddressBytes("ff02::80:fe");
    alignas(16) char memory[64];

private:
    static in6_addr socketAddressBytes(const char* text)
    {
        in6_addr bytes = {};
        ::inet_pton(AF_INET6, text, &bytes);
        return bytes;
    }
};
INSTANTIATE_TEST_SUITE_P(Offsets, AddressAlignment, testing::Range<size_t>(0, 16));

TEST_P(AddressAlignment, DoesNotMatterToGetnameinfo)
{
    SystemResolver::getnameinfo().instead = [](auto...) { return 0; };
    for (const char* const text : {"200.129.255.128", "ff02::80:fe"}) {
        hooks.clear();
        OS_getnameinfo(socketAddressThere(text), lengthOf(socketAddress(text)), nullptr, 0, nullptr, 0, 0);
        EXPECT_THAT(hooks.texts(), Each(HasSubstr(R"(ip:")" + std::string(text) + R"(" port:20480)")));
    }
}

TEST_P(AddressAlignment, DoesNotMatterToGetaddrinfoAndFreeaddrinfo)
{
    SystemResolver::freeaddrinfo().instead = [](addrinfo*) { return 0; };
    for (const char* const text : {"200.129.255.128", "ff02::80:fe"}) {
        addrinfo answer = {};
        answer.ai_addr = socketAddressThere(text, 0xFF80);
        answer.ai_addrlen = lengthOf(socketAddress(text));
        SystemResolver::getaddrinfo().instead = [&](const char*, const char*, const addrinfo*, addrinfo** result) {
            *result = &answer;
            return 0;
        };
        hooks.clear();
        addrinfo* list = nullptr;
        OS_getaddrinfo("host", nullptr, nullptr, &list);
        const std::string endpoint = R"(ip:")" + std::string(text) + R"(" port:33023)"; // 0x80FF, in raw form
        EXPECT_THAT(hooks.texts().back(), EndsWith(endpoint));

        hooks.clear();
        OS_freeaddrinfo(list);
        EXPECT_THAT(hooks.texts(), Each(EndsWith(endpoint)));
    }
}

TEST_P(AddressAlignment, DoesNotMatterToGethostbyaddr)
{
    SystemResolver::gethostbyaddr().instead = [](auto...) { return nullptr; };

    OS_gethostbyaddr(bytesThere(inet, sizeof inet), sizeof inet, AF_INET);
    EXPECT_THAT(hooks.texts(), Each(HasSubstr(R"(ip:"200.129.255.128")")));

    hooks.clear();
    OS_gethostbyaddr(bytesThere(&inet6, sizeof inet6), sizeof inet6, AF_INET6);
    EXPECT_THAT(hooks.texts(), Each(HasSubstr(R"(ip:"ff02::80:fe")")));
}

TEST_P(AddressAlignment, DoesNotMatterToTheRealGethostbyaddr)
{
    constexpr unsigned char loopback[4] = {127, 0, 0, 1};
    OS_gethostbyaddr(bytesThere(loopback, sizeof loopback), sizeof loopback, AF_INET);
    EXPECT_THAT(hooks.texts(), Each(HasSubstr(R"(ip:"127.0.0.1")")));
}

TEST_P(AddressAlignment, DoesNotMatterToGethostbyname)
{
    SystemResolver::Entry answer("official", AF_INET, bytesThere(inet, sizeof inet), sizeof inet);
    SystemResolver::gethostbyname().instead = [&](const char*) { return &answer.entry; };
    OS_gethostbyname("alias");
    EXPECT_THAT(hooks.texts().back(), EndsWith(R"(ip:"200.129.255.128")"));

    SystemResolver::Entry answer6("official", AF_INET6, bytesThere(&inet6, sizeof inet6), sizeof inet6);
    SystemResolver::gethostbyname().instead = [&](const char*) { return &answer6.entry; };
    OS_gethostbyname("alias");
    EXPECT_THAT(hooks.texts().back(), EndsWith(R"(ip:"ff02::80:fe")"));
}

TEST_P(AddressAlignment, DoesNotMatterToConversions)
{
    char text[INET6_ADDRSTRLEN];
    EXPECT_STREQ(OS_inet_ntop(AF_INET, bytesThere(inet, sizeof inet), text, sizeof text), "200.129.255.128");
    EXPECT_STREQ(OS_inet_ntop(AF_INET6, bytesThere(&inet6, sizeof inet6), text, sizeof text), "ff02::80:fe");

    std::memset(memory, 0, sizeof memory);
    EXPECT_EQ(OS_inet_pton(AF_INET, "200.129.255.128", place()), 1);
    EXPECT_EQ(std::memcmp(place(), inet, sizeof inet), 0);
    EXPECT_EQ(OS_inet_pton(AF_INET6, "ff02::80:fe", place()), 1);
    EXPECT_EQ(std::memcmp(place(), &inet6, sizeof inet6), 0);
}

} // namespace
