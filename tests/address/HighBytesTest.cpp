// Names, paths and octets with bytes above 0x7F. Names and paths pass unchanged. Octets are numbers without a sign.
#include "Characters.h"
#include "ExpectEndpoint.h"
#include "HookRecorder.h"
#include "LookupRecorder.h"
#include "SocketAddresses.h"

#include <kiv/address/itcUnixAddress.h>

#include <gmock/gmock.h>

#include <cstring>
#include <string>

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;
using namespace std::string_literals;

/// Returns `count` bytes: 0x80 to 0xFF, repeated.
std::string highBytes(size_t count)
{
    std::string text;
    while (text.size() < count)
        text += characters(0x80, 0xFF);
    return text.substr(0, count);
}

class HighByteHost : public testing::TestWithParam<std::string> {};

// A numeric address, and whether it is a loopback address or the broadcast address.
struct HighAddress {
    const char* text;
    int isLoopback;
    int isBroadcast;
};

void PrintTo(const HighAddress& address, std::ostream* out) { *out << address.text; }

class HighOctets : public testing::TestWithParam<HighAddress> {};

INSTANTIATE_TEST_SUITE_P(Names, HighByteHost,
                         testing::Values("\x80", "\xFF", "h\xC3\xB6st.example", "h\xF6st", highBytes(128),
                                         highBytes(1024)));

TEST_P(HighByteHost, ReachesTheResolverAsItIs)
{
    LookupRecorder resolver({EAI_NONAME});
    const itcInetAddress address(GetParam().c_str(), "\xE9\xFF", 0);
    ASSERT_THAT(resolver.lookups, SizeIs(1));
    EXPECT_EQ(resolver.lookups[0].host, GetParam());
    EXPECT_EQ(resolver.lookups[0].service, "\xE9\xFF");
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, EAI_NONAME));
}

TEST_P(HighByteHost, IsTheNameThatAReverseLookupGives)
{
    OsFaults::getnameinfo().instead = [](const sockaddr*, socklen_t, char* host, socklen_t size, char*, socklen_t,
                                         int) {
        std::strncpy(host, GetParam().c_str(), size);
        return 0;
    };
    const itcInetAddress address(socketAddress("200.129.255.128", 0xFF80));
    EXPECT_EQ(address.hostname(), GetParam());
    EXPECT_EQ(address.numeric_hostname(), GetParam());
}

TEST(HighByteHosts, LoseTheirBracketsOnly)
{
    LookupRecorder resolver({EAI_NONAME});
    const itcInetAddress address(("[" + highBytes(128) + "]").c_str(), 80);
    ASSERT_THAT(resolver.lookups, SizeIs(1));
    EXPECT_EQ(resolver.lookups[0].host, highBytes(128));
}

TEST(HighByteHosts, CountAsOneCharacterEach)
{
    const itcInetAddress address(highBytes(1025).c_str(), 80);
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Gethostname_Call_Failed, Error));
}

INSTANTIATE_TEST_SUITE_P(Addresses, HighOctets,
                         testing::Values(HighAddress{"128.0.0.0", 0, 0}, HighAddress{"200.129.255.128", 0, 0},
                                         HighAddress{"255.255.255.254", 0, 0}, HighAddress{"255.255.255.255", 0, 1},
                                         HighAddress{"127.255.255.255", 0, 0}, HighAddress{"127.128.0.1", 0, 0},
                                         HighAddress{"ffff:8081::80fe", 0, 0},
                                         HighAddress{"::ffff:255.255.255.255", 0, 0},
                                         HighAddress{"::ffff:127.0.0.1", 1, 0}));

TEST_P(HighOctets, AreNumbersWithoutASign)
{
    for (const int port : {0x7F80, 0x8000, 0xFF80, 0xFFFF}) {
        const itcInetAddress address(GetParam().text, port);
        expectEndpoint(address, GetParam().text, port);
        EXPECT_EQ(address.isAny, 0);
        EXPECT_EQ(address.isLoopback, GetParam().isLoopback);
        EXPECT_EQ(address.isBroadcast, GetParam().isBroadcast);
    }
}

TEST(HighBytePath, IsHeldAsItIs)
{
    for (const std::string& path : {"/"s + "\xF6", "/" + highBytes(106), highBytes(107)}) {
        const LookupRecorder resolver;
        itcUnixAddress address;
        EXPECT_TRUE(address.set(path.c_str()));
        EXPECT_EQ(address.pathname(), path);
        EXPECT_THAT(address.status, HasClearStatus());
        ASSERT_THAT(resolver.lookups, SizeIs(1));
        EXPECT_EQ(resolver.lookups[0].host, path);
    }
}

TEST(HighBytePath, CountsAsOneCharacterPerByte)
{
    itcUnixAddress address;
    EXPECT_FALSE(address.set(highBytes(108).c_str()));
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Path_Too_Long, Error));
}

// The formatted bytes form no character of any encoding.
TEST(HighBytePath, IsFormattedAsItIs)
{
    itcUnixAddress address;
    EXPECT_TRUE(address.set_templ("/\xFF%s\x80%c%d", highBytes(50).c_str(), 0xE9, 42));
    EXPECT_EQ(address.pathname(), "/\xFF" + highBytes(50) + "\x80\xE9" + "42");
}

TEST(HighBytePath, IsTracedAsItIs)
{
    const HookRecorder hooks;
    const itcUnixAddress address(highBytes(107).c_str());
    EXPECT_THAT(hooks.texts(), Contains(HasSubstr("hostname:\"" + highBytes(107) + '"')));
}

} // namespace
