// The calls of the portability layer for byte orders, address texts and numbers.
#include <kiv/foundation/OS.h>

#include <arpa/inet.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>
#include <type_traits>

namespace {

TEST(OSByteOrder, ReversesFourBytes)
{
    EXPECT_EQ(OS_htonl(0x7f000001), 0x0100007fu);
    EXPECT_EQ(OS_ntohl(0x0100007f), 0x7f000001u);
    EXPECT_EQ(OS_htonl(0x12345678), 0x78563412u);
    EXPECT_EQ(OS_ntohl(0x12345678), 0x78563412u);
    EXPECT_EQ(OS_htonl(0xffffff00), 0x00ffffffu);
}

TEST(OSByteOrder, SwapsTwoBytes)
{
    EXPECT_EQ(OS_htons(0x1234), 0x3412u);
    EXPECT_EQ(OS_ntohs(0x1234), 0x3412u);
    EXPECT_EQ(OS_htons(80), 20480u);
    EXPECT_EQ(OS_ntohs(0xff00), 0x00ffu);
}

TEST(OSByteOrder, IgnoresTheUpperHalfOfTwoByteValues)
{
    EXPECT_EQ(OS_htons(0xabcd1234), 0x3412u);
    EXPECT_EQ(OS_ntohs(0xffff0001), 0x0100u);
}

TEST(OSByteOrder, PassesTwoByteValuesInAWord)
{
    EXPECT_TRUE((std::is_same_v<decltype(OS_htons), uint32_t(uint32_t)>));
    EXPECT_TRUE((std::is_same_v<decltype(OS_ntohs), uint32_t(uint32_t)>));
    EXPECT_TRUE((std::is_same_v<decltype(OS_htonl), uint32_t(uint32_t)>));
    EXPECT_TRUE((std::is_same_v<decltype(OS_ntohl), uint32_t(uint32_t)>));
}

TEST(OSInet, AddrGivesNetworkOrder)
{
    EXPECT_EQ(OS_inet_addr("1.2.3.4"), ::htonl(0x01020304));
    EXPECT_EQ(OS_inet_addr("no address"), INADDR_NONE);
}

TEST(OSInet, NetworkGivesHostOrder)
{
    EXPECT_EQ(OS_inet_network("1.2.3.4"), 0x01020304u);
    EXPECT_EQ(OS_inet_network("no address"), INADDR_NONE);
}

TEST(OSInet, NtoaWritesOneStaticText)
{
    const char* const text = OS_inet_ntoa(in_addr{::htonl(0x01020304)});

    EXPECT_STREQ(text, "1.2.3.4");
    EXPECT_EQ(OS_inet_ntoa(in_addr{::htonl(0x05060708)}), text);
    EXPECT_STREQ(text, "5.6.7.8");
}

TEST(OSInet, MakesAndSplitsClassfulAddresses)
{
    const in_addr address = OS_inet_makeaddr(10, 0x020304); // network first, then host

    EXPECT_EQ(address.s_addr, ::htonl(0x0a020304));
    EXPECT_EQ(OS_inet_netof(address), 10u);
    EXPECT_EQ(OS_inet_lnaof(address), 0x020304u);
}

TEST(OSInet, NtopWritesBothFamilies)
{
    const in_addr inet = {::htonl(INADDR_LOOPBACK)};
    char text[INET6_ADDRSTRLEN];

    EXPECT_EQ(OS_inet_ntop(AF_INET, &inet, text, sizeof text), text);
    EXPECT_STREQ(text, "127.0.0.1");
    EXPECT_EQ(OS_inet_ntop(AF_INET6, &in6addr_loopback, text, sizeof text), text);
    EXPECT_STREQ(text, "::1");
}

TEST(OSInet, NtopRefusesTooLittleRoom)
{
    const in_addr inet = {::htonl(INADDR_LOOPBACK)};
    char text[INET_ADDRSTRLEN];

    EXPECT_EQ(OS_inet_ntop(AF_INET, &inet, text, sizeof "127.0.0.1" - 1), nullptr);
    EXPECT_EQ(OS_getLastError(), ENOSPC);
}

TEST(OSInet, PtonReadsBothFamilies)
{
    in_addr inet = {};
    in6_addr inet6 = {};

    EXPECT_EQ(OS_inet_pton(AF_INET, "127.0.0.1", &inet), 1);
    EXPECT_EQ(inet.s_addr, ::htonl(INADDR_LOOPBACK));
    EXPECT_EQ(OS_inet_pton(AF_INET6, "::1", &inet6), 1);
    EXPECT_EQ(std::memcmp(&inet6, &in6addr_loopback, sizeof inet6), 0);
}

TEST(OSInet, PtonTellsTextFromFamily)
{
    in_addr inet = {};

    EXPECT_EQ(OS_inet_pton(AF_INET, "::1", &inet), 0);
    EXPECT_EQ(OS_inet_pton(AF_UNIX, "127.0.0.1", &inet), -1);
    EXPECT_EQ(OS_getLastError(), EAFNOSUPPORT);
}

TEST(OSNumbers, AtofReadsWhatItCan)
{
    EXPECT_EQ(OS_atof("-2.5e1 and more"), -25.0);
    EXPECT_EQ(OS_atof("none"), 0.0);
}

TEST(OSNumbers, StrtoulTellsWhereItEnded)
{
    const char text[] = "ffz";
    char* end = nullptr;

    EXPECT_EQ(OS_strtoul(text, &end, 16), 255u);
    EXPECT_EQ(end, text + 2);
}

TEST(OSNumbers, StrtoulReportsARangeError)
{
    errno = 0;
    EXPECT_EQ(OS_strtoul("99999999999999999999999", nullptr, 10), ~0ul);
    EXPECT_EQ(OS_getLastError(), ERANGE);
}

TEST(OSNumbers, SprintfReturnsTheCharactersWritten)
{
    char text[32];

    EXPECT_EQ(OS_sprintf(text, "%d-%s-%.1f", -7, "abc", 2.5), 10);

    EXPECT_STREQ(text, "-7-abc-2.5");
}

// A hardened library would end the process here: the format lies in writable memory.
TEST(OSNumbers, SprintfTellsTheCharactersSoFarToAPercentN)
{
    char text[32];
    char format[] = "abc%n-d";
    int soFar = 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    EXPECT_EQ(OS_sprintf(text, format, &soFar), 5);
#pragma GCC diagnostic pop
    EXPECT_EQ(soFar, 3);
}

} // namespace
