// What the traces of getnameinfo show, also for null pointers, short addresses and buffers without a terminator.
#include "ResolverTraces.h"
#include "SocketAddresses.h"

#include <cstring>
#include <memory>
#include <ostream>

namespace {

using testing::ElementsAre;

class GetnameinfoTraces : public ResolverTraces {
protected:
    // The system's call answers with this code and leaves the buffers alone.
    static void systemAnswers(int returnCode)
    {
        SystemResolver::getnameinfo().instead = [returnCode](auto...) { return returnCode; };
    }

    void expectTexts(const std::string& before, const std::string& after) const
    {
        EXPECT_THAT(hooks.texts(), ElementsAre(numbered("before calling getnameinfo #<n> with " + before, number),
                                               numbered("after calling getnameinfo #<n> with " + after, number)));
    }

    // Asks about an address. The caller states the length `length`.
    void ask(const sockaddr_storage& address, socklen_t length) const
    {
        // The memory has exactly the stated length. The address checker reports a read behind the memory.
        const auto claimed = std::make_unique<unsigned char[]>(length);
        std::memcpy(claimed.get(), &address, length);
        OS_getnameinfo(reinterpret_cast<const sockaddr*>(claimed.get()), length, nullptr, 0, nullptr, 0, 0);
    }

    const int number = numberAfter([] {
        SystemResolver::getnameinfo().failNext(1, 0);
        OS_getnameinfo(nullptr, 0, nullptr, 0, nullptr, 0, 0);
    });
};

// The text of the trace has a single quote character behind the first port.
TEST_F(GetnameinfoTraces, ShowWhatTheHostBufferHoldsBeforeAndAfter)
{
    const sockaddr_storage address = socketAddress("127.0.0.1", 80);
    char host[32] = "from before";

    OS_getnameinfo(asSocketAddress(address), sizeof(sockaddr_in), host, sizeof host, nullptr, 0, NI_NUMERICHOST);

    expectTexts(R"(ip:"127.0.0.1" port:20480" host:"from before")",
                R"(return code:0 ip:"127.0.0.1" port:20480 host:"127.0.0.1")");
}

TEST_F(GetnameinfoTraces, ShowAnIPv6Address)
{
    const sockaddr_storage address = socketAddress("2001:db8::7", 80);
    char host[64] = "";

    OS_getnameinfo(asSocketAddress(address), sizeof(sockaddr_in6), host, sizeof host, nullptr, 0, NI_NUMERICHOST);

    expectTexts(R"(ip:"2001:db8::7" port:20480" host:"")",
                R"(return code:0 ip:"2001:db8::7" port:20480 host:"2001:db8::7")");
}

TEST_F(GetnameinfoTraces, ShowTheReturnCodeOfAFailure)
{
    systemAnswers(EAI_AGAIN);
    const sockaddr_storage address = socketAddress("127.0.0.1", 80);
    char host[32] = "unchanged";

    OS_getnameinfo(asSocketAddress(address), sizeof(sockaddr_in), host, sizeof host, nullptr, 0, 0);

    expectTexts(R"(ip:"127.0.0.1" port:20480" host:"unchanged")",
                R"(return code:-3 ip:"127.0.0.1" port:20480 host:"unchanged")");
}

TEST_F(GetnameinfoTraces, ReadEveryOtherFamilyAsIPv6)
{
    systemAnswers(0);
    sockaddr_storage address = socketAddress("2001:db8::7", 80);
    address.ss_family = AF_UNIX;

    ask(address, sizeof(sockaddr_in6));

    expectTexts(R"(ip:"2001:db8::7" port:20480" host:"")", R"(return code:0 ip:"2001:db8::7" port:20480 host:"")");
}

TEST_F(GetnameinfoTraces, ShowNoTextOfANullHostBuffer)
{
    systemAnswers(0);
    const sockaddr_storage address = socketAddress("127.0.0.1", 80);

    OS_getnameinfo(asSocketAddress(address), sizeof(sockaddr_in), nullptr, 0, nullptr, 0, 0);

    expectTexts(R"(ip:"127.0.0.1" port:20480" host:"")", R"(return code:0 ip:"127.0.0.1" port:20480 host:"")");
}

TEST_F(GetnameinfoTraces, ShowNoTextOfAnUnterminatedHostBuffer)
{
    systemAnswers(EAI_OVERFLOW);
    const sockaddr_storage address = socketAddress("127.0.0.1", 80);
    const auto host = std::make_unique<char[]>(4);
    std::memset(host.get(), 'x', 4);

    OS_getnameinfo(asSocketAddress(address), sizeof(sockaddr_in), host.get(), 4, nullptr, 0, 0);

    expectTexts(R"(ip:"127.0.0.1" port:20480" host:"")", R"(return code:-12 ip:"127.0.0.1" port:20480 host:"")");
    EXPECT_EQ(SystemResolver::getnameinfo().askedArgument<2>().back(), host.get());
}

TEST_F(GetnameinfoTraces, ShowNoAddressForNull)
{
    systemAnswers(EAI_FAMILY);

    OS_getnameinfo(nullptr, sizeof(sockaddr_in), nullptr, 0, nullptr, 0, 0);

    expectTexts(R"(ip:"" port:0" host:"")", R"(return code:-6 ip:"" port:0 host:"")");
}

struct ShortAddress {
    const char* text;
    socklen_t length;
    friend std::ostream& operator<<(std::ostream& out, const ShortAddress& parameter)
    {
        return out << parameter.text << " with " << parameter.length;
    }
};

class GetnameinfoTracesOfShortAddresses : public GetnameinfoTraces, public testing::WithParamInterface<ShortAddress> {};

TEST_P(GetnameinfoTracesOfShortAddresses, ShowNoAddressButAskAsGiven)
{
    systemAnswers(EAI_FAMILY);
    const auto [text, length] = GetParam();

    ask(socketAddress(text, 80), length);

    expectTexts(R"(ip:"" port:0" host:"")", R"(return code:-6 ip:"" port:0 host:"")");
    EXPECT_EQ(SystemResolver::getnameinfo().askedArgument<1>().back(), length);
}

INSTANTIATE_TEST_SUITE_P(, GetnameinfoTracesOfShortAddresses,
                         testing::Values(ShortAddress{"127.0.0.1", 0}, ShortAddress{"127.0.0.1", 1},
                                         ShortAddress{"127.0.0.1", 2}, ShortAddress{"127.0.0.1", 7},
                                         ShortAddress{"::1", 2}, ShortAddress{"::1", 16}, ShortAddress{"::1", 23}));

} // namespace
