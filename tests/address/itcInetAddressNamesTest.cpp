// The texts of an address. The resolver makes them.
#include "FilledAddress.h"
#include "OsFaults.h"
#include "SocketAddresses.h"
#include "StatusMatchers.h"

#include <kiv/address/itcInetAddress.h>

#include <gmock/gmock.h>

#include <cstring>
#include <ostream>
#include <string>
#include <tuple>

namespace {

using testing::ElementsAre;

using NameCall = const char* (itcInetAddress::*)() const;

struct NameText {
    const char* name;
    NameCall call;
    int flags;
    friend std::ostream& operator<<(std::ostream& out, const NameText& parameter) { return out << parameter.name; }
};

// hostname() and numeric_hostname() differ in the flag that the resolver is given, and in the buffer.
class InetAddressText : public testing::TestWithParam<NameText> {
protected:
    static const char* textOf(const itcInetAddress& address) { return (address.*GetParam().call)(); }

    // The resolver answers with this text and this code.
    static void resolverAnswers(const char* text, int returnCode)
    {
        OsFaults::getnameinfo().instead = [=](const sockaddr*, socklen_t, char* host, socklen_t hostLength, char*,
                                              socklen_t, int) {
            std::strncpy(host, text, hostLength);
            return returnCode;
        };
    }

    const itcInetAddress loopback{socketAddress("127.0.0.1", 80)};
};

TEST_P(InetAddressText, IsWhatTheResolverSays)
{
    resolverAnswers("host.example", 0);

    EXPECT_STREQ(textOf(loopback), "host.example");
}

TEST_P(InetAddressText, MayHave1024Characters)
{
    const std::string longest(1024, 'h');
    resolverAnswers(longest.c_str(), 0);

    EXPECT_EQ(textOf(loopback), longest);
}

TEST_P(InetAddressText, IsEmptyWhenTheResolverFails)
{
    resolverAnswers("left behind", EAI_AGAIN);

    EXPECT_STREQ(textOf(loopback), "");
}

TEST_P(InetAddressText, IsEmptyAndNotThePreviousOneWhenTheResolverLeavesIt)
{
    resolverAnswers("previous", 0);
    textOf(loopback);
    OsFaults::getnameinfo().failNext(1, 0);

    EXPECT_STREQ(textOf(loopback), "");
}

TEST_P(InetAddressText, IsAskedForWithAnEmptyBuffer)
{
    resolverAnswers("previous", 0);
    textOf(loopback);
    std::string before = "not asked";
    OsFaults::getnameinfo().instead = [&](const sockaddr*, socklen_t, char* host, socklen_t, char*, socklen_t, int) {
        before = host;
        return 0;
    };

    EXPECT_STREQ(textOf(loopback), "");
    EXPECT_EQ(before, "");
}

TEST_P(InetAddressText, LeavesTheStatusAlone)
{
    itcInetAddress address = loopback;
    leaveMark(address.status);
    resolverAnswers("", EAI_FAIL);
    textOf(address);
    EXPECT_THAT(address.status, StillHasMark());

    resolverAnswers("host.example", 0);
    textOf(address);
    EXPECT_THAT(address.status, StillHasMark());
}

TEST_P(InetAddressText, LivesInOneBufferForAllObjects)
{
    const itcInetAddress other(socketAddress("::1"));
    resolverAnswers("first", 0);
    const char* const text = textOf(loopback);
    resolverAnswers("second", 0);

    EXPECT_EQ(textOf(other), text);
    EXPECT_STREQ(text, "second");
}

TEST_P(InetAddressText, IsAskedForOnceWithoutAService)
{
    resolverAnswers("", 0);

    const char* const text = textOf(loopback);

    using Arguments = std::tuple<const sockaddr*, socklen_t, char*, socklen_t, char*, socklen_t, int>;
    EXPECT_THAT(OsFaults::getnameinfo().asked(),
                ElementsAre(Arguments(asSocketAddress(loopback.address), 16, const_cast<char*>(text), 1025, nullptr, 0,
                                      GetParam().flags)));
}

TEST_P(InetAddressText, IsAskedForWithTheLengthOfTheFamily)
{
    resolverAnswers("", 0);

    for (const sa_family_t family : {AF_UNIX, AF_INET6, AF_INET, AF_UNSPEC, AF_APPLETALK})
        textOf(itcInetAddress(filledAddress(family)));

    EXPECT_THAT(OsFaults::getnameinfo().askedArgument<1>(), ElementsAre(110, 28, 16, 16, 16));
}

TEST_P(InetAddressText, OfAnAddressOfNoFamilyIsEmpty) { EXPECT_STREQ(textOf(itcInetAddress(sockaddr_storage{})), ""); }

INSTANTIATE_TEST_SUITE_P(, InetAddressText,
                         testing::Values(NameText{"Name", &itcInetAddress::hostname, 0},
                                         NameText{"Numeric", &itcInetAddress::numeric_hostname, NI_NUMERICHOST}),
                         [](const auto& tested) { return tested.param.name; });

TEST(InetAddressTexts, HaveABufferForNamesAndAnotherForNumbers)
{
    const itcInetAddress address(socketAddress("127.0.0.1"));
    OsFaults::getnameinfo().instead = [](const sockaddr*, socklen_t, char* host, socklen_t, char*, socklen_t,
                                         int flags) {
        std::strcpy(host, flags == NI_NUMERICHOST ? "number" : "name");
        return 0;
    };

    const char* const name = address.hostname();
    const char* const number = address.numeric_hostname();

    EXPECT_STREQ(name, "name");
    EXPECT_STREQ(number, "number");
}

TEST(InetAddressTexts, OfRealAddressesAreNumericOnDemand)
{
    for (const char* text : {"127.0.0.1", "0.0.0.0", "255.255.255.255", "::", "::1", "2001:db8::7"})
        EXPECT_STREQ(itcInetAddress(socketAddress(text, 80)).numeric_hostname(), text);
}

TEST(InetAddressTexts, OfTheLoopbackAreTheSystemsNameForIt)
{
    const sockaddr_storage address = socketAddress("127.0.0.1");
    char name[1025] = "";
    ::getnameinfo(asSocketAddress(address), sizeof(sockaddr_in), name, sizeof name, nullptr, 0, 0);

    EXPECT_STREQ(itcInetAddress(address).hostname(), name);
}

} // namespace
