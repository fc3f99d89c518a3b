// What the traces of getaddrinfo and freeaddrinfo show, also for missing arguments and missing results.
#include "ResolverTraces.h"
#include "SocketAddresses.h"

#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class GetaddrinfoTraces : public ResolverTraces {
protected:
    // Asks and frees the result. The test then reads the texts.
    static int ask(const char* host, const char* service, int family = AF_INET)
    {
        addrinfo hints = {};
        hints.ai_family = family;
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_flags = AI_PASSIVE | AI_NUMERICHOST;
        addrinfo* list = nullptr;
        const int returnCode = OS_getaddrinfo(host, service, &hints, &list);
        if (list != nullptr)
            ::freeaddrinfo(list);
        return returnCode;
    }

    std::string n(std::string text) const { return numbered(std::move(text), number); }

    const int number = numberAfter([] { ask("127.0.0.1", "80"); });
};

TEST_F(GetaddrinfoTraces, NameHostAndService)
{
    ask("127.0.0.1", "80");

    EXPECT_THAT(
        hooks.texts(),
        ElementsAre(n(R"(before calling getaddrinfo #<n> with hostname:"127.0.0.1" servicename:"80")"),
                    n(R"(after calling getaddrinfo #<n> with hostname:"127.0.0.1" servicename:"80" ip:"127.0.0.1" )"
                      R"(port:20480)")));
}

TEST_F(GetaddrinfoTraces, SayThatTheServiceIsEmpty)
{
    ask("127.0.0.1", nullptr);

    EXPECT_THAT(
        hooks.texts(),
        ElementsAre(n(R"(before calling getaddrinfo #<n> with hostname:"127.0.0.1" servicename:empty)"),
                    n(R"(after calling getaddrinfo #<n> with hostname:"127.0.0.1" servicename:empty ip:"127.0.0.1" )"
                      R"(port:0)")));
}

TEST_F(GetaddrinfoTraces, SayThatTheHostIsEmpty)
{
    ask(nullptr, "5000"); // 0x1388, in raw form 0x8813

    EXPECT_THAT(hooks.texts(),
                ElementsAre(n(R"(before calling getaddrinfo #<n> with hostname:empty servicename:"5000")"),
                            n(R"(after calling getaddrinfo #<n> with hostname:empty servicename:"5000" ip:"0.0.0.0" )"
                              R"(port:34835)")));
}

TEST_F(GetaddrinfoTraces, ShowAnIPv6Address)
{
    ask("2001:db8::7", "80", AF_INET6);

    EXPECT_EQ(hooks.texts().back(),
              n(R"(after calling getaddrinfo #<n> with hostname:"2001:db8::7" servicename:"80" ip:"2001:db8::7" )"
                R"(port:20480)"));
}

TEST_F(GetaddrinfoTraces, ShowTheLongestIPv6Address)
{
    ask("1111:2222:3333:4444:5555:6666:7777:8888", nullptr, AF_INET6);

    EXPECT_EQ(hooks.texts().back(),
              n(R"(after calling getaddrinfo #<n> with hostname:"1111:2222:3333:4444:5555:6666:7777:8888" )"
                R"(servicename:empty ip:"1111:2222:3333:4444:5555:6666:7777:8888" port:0)"));
}

TEST_F(GetaddrinfoTraces, ShowEmptyTextsInTheirQuotes)
{
    SystemResolver::getaddrinfo().failNext(1, 0);

    ask("", "");

    EXPECT_EQ(hooks.texts().front(), n(R"(before calling getaddrinfo #<n> with hostname:"" servicename:"")"));
}

TEST_F(GetaddrinfoTraces, PrintNothingForNeitherHostNorService)
{
    EXPECT_EQ(ask(nullptr, nullptr), EAI_NONAME);

    EXPECT_THAT(hooks.texts(), IsEmpty());
}

TEST_F(GetaddrinfoTraces, AskTheCheckHookThreeTimesForNeitherHostNorService)
{
    ask(nullptr, nullptr);

    EXPECT_EQ(hooks.checks(), 3);
}

TEST_F(GetaddrinfoTraces, UseUpANumberForNeitherHostNorService)
{
    ask(nullptr, nullptr);
    ask("127.0.0.1", nullptr);

    EXPECT_EQ(numberIn(hooks.texts().front()), number + 1);
}

TEST_F(GetaddrinfoTraces, TellTheErrorCodeOfARealFailure)
{
    EXPECT_EQ(ask("127.0.0.1", "nosuchservice"), EAI_SERVICE);

    EXPECT_THAT(
        hooks.texts(),
        ElementsAre(n(R"(before calling getaddrinfo #<n> with hostname:"127.0.0.1" servicename:"nosuchservice")"),
                    "getaddrinfo() returns error code: -8",
                    n(R"(after calling getaddrinfo #<n> with hostname:"127.0.0.1" servicename:"nosuchservice" ip:"" )"
                      R"(port:0)")));
}

TEST_F(GetaddrinfoTraces, TellTheErrorCodeInEveryForm)
{
    struct Form {
        const char *host, *service, *text;
    };
    int asked = number;
    for (const auto& [host, service, text] : {Form{"nowhere", "80", R"(hostname:"nowhere" servicename:"80")"},
                                              Form{"nowhere", nullptr, R"(hostname:"nowhere" servicename:empty)"},
                                              Form{nullptr, "nowhere", R"(hostname:empty servicename:"nowhere")"}}) {
        SystemResolver::getaddrinfo().failNext(1, 0);
        hooks.clear();

        ask(host, service);

        EXPECT_THAT(
            hooks.texts(),
            ElementsAre(
                numbered(std::string("before calling getaddrinfo #<n> with ") + text, asked),
                "getaddrinfo() returns error code: -2",
                numbered(std::string("after calling getaddrinfo #<n> with ") + text + R"( ip:"" port:0)", asked)));
        ++asked;
    }
}

TEST_F(GetaddrinfoTraces, TellTheErrorCodeAlsoWhenSwitchedOnDuringTheCall)
{
    SystemResolver::getaddrinfo().failNext(1, 0);
    answerChecks({false, false, true});

    ask("nowhere", "80");

    EXPECT_THAT(hooks.texts(),
                ElementsAre("getaddrinfo() returns error code: -2",
                            R"(after calling getaddrinfo #0 with hostname:"nowhere" servicename:"80" ip:"" port:0)"));
}

TEST_F(GetaddrinfoTraces, LookAtNoResultAfterAFailure)
{
    SystemResolver::getaddrinfo().failNext(1, 0);
    addrinfo* result = reinterpret_cast<addrinfo*>(1);

    OS_getaddrinfo("nowhere", nullptr, nullptr, &result);

    EXPECT_EQ(hooks.texts().back(),
              n(R"(after calling getaddrinfo #<n> with hostname:"nowhere" servicename:empty ip:"" port:0)"));
}

// Successes of getaddrinfo() without an address. The trace shows them as failures with the code 0.
struct EmptySuccess {
    const char* name;
    bool hasResult;
    bool hasFirstEntry;
    friend std::ostream& operator<<(std::ostream& out, const EmptySuccess& parameter) { return out << parameter.name; }
};

class GetaddrinfoTracesOfEmptySuccess : public GetaddrinfoTraces, public testing::WithParamInterface<EmptySuccess> {};

TEST_P(GetaddrinfoTracesOfEmptySuccess, TellTheErrorCode0)
{
    addrinfo withoutAddress = {};
    withoutAddress.ai_addrlen = sizeof(sockaddr_in);
    addrinfo* result = GetParam().hasFirstEntry ? &withoutAddress : nullptr;
    SystemResolver::getaddrinfo().instead = [](auto...) { return 0; };

    EXPECT_EQ(OS_getaddrinfo("h", "s", nullptr, GetParam().hasResult ? &result : nullptr), 0);

    EXPECT_THAT(hooks.texts(), ElementsAre(n(R"(before calling getaddrinfo #<n> with hostname:"h" servicename:"s")"),
                                           "getaddrinfo() returns error code: 0",
                                           n(R"(after calling getaddrinfo #<n> with hostname:"h" servicename:"s" )"
                                             R"(ip:"" port:0)")));
}

INSTANTIATE_TEST_SUITE_P(, GetaddrinfoTracesOfEmptySuccess,
                         testing::Values(EmptySuccess{"NoResult", false, false},
                                         EmptySuccess{"NoFirstEntry", true, false},
                                         EmptySuccess{"NoAddressInIt", true, true}),
                         [](const auto& tested) { return tested.param.name; });

class FreeaddrinfoTraces : public ResolverTraces {
protected:
    FreeaddrinfoTraces()
    {
        SystemResolver::freeaddrinfo().instead = [](addrinfo*) { return 0; };
    }

    void expectEndpoint(const std::string& endpoint) const
    {
        EXPECT_THAT(hooks.texts(), ElementsAre(numbered("before calling freeaddrinfo #<n> with " + endpoint, number),
                                               numbered("after calling freeaddrinfo #<n> with " + endpoint, number)));
    }

    const int number = numberAfter([] { OS_freeaddrinfo(nullptr); });
};

TEST_F(FreeaddrinfoTraces, ShowNoAddressForANullList)
{
    OS_freeaddrinfo(nullptr);

    expectEndpoint(R"(ip:"" port:0)");
}

TEST_F(FreeaddrinfoTraces, ShowNoAddressForAnEntryWithoutOne)
{
    addrinfo list = {};
    list.ai_addrlen = sizeof(sockaddr_in);

    OS_freeaddrinfo(&list);

    expectEndpoint(R"(ip:"" port:0)");
}

TEST_F(FreeaddrinfoTraces, ShowTheFirstEntryAlsoBehindIt)
{
    sockaddr_storage address = socketAddress("2001:db8::7", 80);
    addrinfo list = {};
    list.ai_addr = asSocketAddress(address);
    list.ai_addrlen = sizeof(sockaddr_in6);
    SystemResolver::freeaddrinfo().instead = [&](addrinfo*) {
        address = socketAddress("::", 0); // as if the freed memory had a new owner
        return 0;
    };

    OS_freeaddrinfo(&list);

    expectEndpoint(R"(ip:"2001:db8::7" port:20480)");
}

} // namespace
