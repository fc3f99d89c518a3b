// Which parts of the resolver's answer an address takes over.
#include "ExpectEndpoint.h"
#include "HookRecorder.h"
#include "OsFaults.h"
#include "SocketAddresses.h"

#include <gmock/gmock.h>

#include <cstring>
#include <vector>

namespace {

using testing::EndsWith;
using testing::SizeIs;
using testing::StartsWith;

// Returns one list with the system's answers for these numeric hosts. The list has the form of getaddrinfo().
addrinfo* answerOf(const std::vector<const char*>& hosts)
{
    addrinfo* list = nullptr;
    for (auto host = hosts.rbegin(); host != hosts.rend(); ++host) {
        addrinfo hints = {};
        hints.ai_flags = AI_NUMERICHOST;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* entry = nullptr;
        EXPECT_EQ(::getaddrinfo(*host, "80", &hints, &entry), 0);
        entry->ai_next = list;
        list = entry;
    }
    return list;
}

// An address that already holds 255.255.255.255:80, and a resolver that answers with a list and a code.
class InetAnswer : public testing::Test {
protected:
    bool lookupAnsweredBy(addrinfo* list, int returnCode = 0)
    {
        OsFaults::getaddrinfo().instead = [=](const char*, const char*, const addrinfo*, addrinfo** result) {
            *result = list;
            return returnCode;
        };
        return address.lookup("host.example", 81, 0);
    }

    void expectPreviousAddress() const
    {
        EXPECT_STREQ(address.numeric_hostname(), "255.255.255.255");
        EXPECT_EQ(address.port(), 80);
        EXPECT_EQ(address.isBroadcast, 1);
    }

    itcInetAddress address{socketAddress("255.255.255.255", 80)};
};

TEST_F(InetAnswer, IsTheFirstEntry)
{
    EXPECT_TRUE(lookupAnsweredBy(answerOf({"127.0.0.1", "::1", "0.0.0.0"})));
    expectEndpoint(address, "127.0.0.1", 80);

    EXPECT_TRUE(lookupAnsweredBy(answerOf({"::1", "127.0.0.1"})));
    expectEndpoint(address, "::1", 80);
}

TEST_F(InetAnswer, OverwritesItsOwnLengthOnly)
{
    std::memset(&address.address, 0xAB, sizeof address.address);

    lookupAnsweredBy(answerOf({"127.0.0.1"}));

    const auto* const bytes = reinterpret_cast<const unsigned char*>(&address.address);
    EXPECT_EQ(bytes[15], 0); // the end of the address structure
    EXPECT_EQ(bytes[16], 0xAB);
    EXPECT_EQ(bytes[127], 0xAB);
}

TEST_F(InetAnswer, ComputesTheFlagsAnew)
{
    lookupAnsweredBy(answerOf({"::1"}));

    EXPECT_EQ(address.isAny, 0);
    EXPECT_EQ(address.isLoopback, 1);
    EXPECT_EQ(address.isBroadcast, 0);
}

TEST_F(InetAnswer, ClearsTheStatus)
{
    leaveMark(address.status);

    EXPECT_TRUE(lookupAnsweredBy(answerOf({"::1"})));

    EXPECT_THAT(address.status, HasClearStatus());
}

TEST_F(InetAnswer, OfNoListIsASuccessWithThePreviousAddress)
{
    EXPECT_TRUE(lookupAnsweredBy(nullptr));

    EXPECT_THAT(address.status, HasClearStatus());
    expectPreviousAddress();
}

TEST_F(InetAnswer, WithoutAnAddressIsASuccessWithThePreviousOne)
{
    addrinfo* const list = answerOf({"127.0.0.1"});
    list->ai_addr = nullptr;

    EXPECT_TRUE(lookupAnsweredBy(list));

    EXPECT_THAT(address.status, HasClearStatus());
    expectPreviousAddress();
}

TEST_F(InetAnswer, ThatIsLongerThanTheStorageFails)
{
    unsigned char tooLong[129] = {};
    addrinfo* const list = answerOf({"127.0.0.1"});
    list->ai_addr = reinterpret_cast<sockaddr*>(tooLong);
    list->ai_addrlen = sizeof tooLong;

    EXPECT_FALSE(lookupAnsweredBy(list));

    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error));
    expectPreviousAddress();
}

TEST_F(InetAnswer, MayFillTheStorage)
{
    unsigned char full[128] = {AF_UNIX};
    full[127] = 0xCD;
    addrinfo* const list = answerOf({"127.0.0.1"});
    list->ai_addr = reinterpret_cast<sockaddr*>(full);
    list->ai_addrlen = sizeof full;

    EXPECT_TRUE(lookupAnsweredBy(list));

    EXPECT_EQ(std::memcmp(&address.address, full, sizeof full), 0);
}

TEST_F(InetAnswer, OfAFailureKeepsTheAddress)
{
    EXPECT_FALSE(lookupAnsweredBy(nullptr, EAI_AGAIN));

    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Unknown_Peer, Error, EAI_AGAIN));
    expectPreviousAddress();
}

TEST_F(InetAnswer, OfAFailureComputesTheFlagsAnew)
{
    address.isAny = 1;
    address.isLoopback = 1;
    address.isBroadcast = 0;

    lookupAnsweredBy(nullptr, EAI_AGAIN);

    EXPECT_EQ(address.isAny, 0);
    EXPECT_EQ(address.isLoopback, 0);
    EXPECT_EQ(address.isBroadcast, 1);
}

TEST_F(InetAnswer, IsFreedThroughTheTracedCall)
{
    const HookRecorder hooks;

    lookupAnsweredBy(answerOf({"127.0.0.1"}));

    ASSERT_THAT(hooks.texts(), SizeIs(2));
    EXPECT_THAT(hooks.texts()[0], StartsWith("before calling freeaddrinfo #"));
    EXPECT_THAT(hooks.texts()[0], EndsWith(R"( with ip:"127.0.0.1" port:20480)"));
}

TEST_F(InetAnswer, OfAFailureIsFreedThroughTheTracedCallToo)
{
    const HookRecorder hooks;

    lookupAnsweredBy(nullptr, EAI_AGAIN);

    ASSERT_THAT(hooks.texts(), SizeIs(2));
    EXPECT_THAT(hooks.texts()[0], EndsWith(R"( with ip:"" port:0)"));
}

TEST_F(InetAnswer, IsTracedAsAWhole)
{
    const HookRecorder hooks;

    address.lookup("[::1]", 80, tcp);

    ASSERT_THAT(hooks.texts(), SizeIs(4));
    EXPECT_THAT(hooks.texts()[0], EndsWith(R"( with hostname:"::1" servicename:"80")"));
    EXPECT_THAT(hooks.texts()[1], EndsWith(R"( with hostname:"::1" servicename:"80" ip:"::1" port:20480)"));
}

} // namespace
