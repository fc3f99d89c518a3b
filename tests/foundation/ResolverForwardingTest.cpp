// Without traces the resolver calls are the system's own. This file also holds the definitions behind SystemResolver.h.
#include "SystemResolver.h"

#include "HookRecorder.h"
#include "SocketAddresses.h"

#include <gmock/gmock.h>

#include <dlfcn.h>

using testing::ElementsAre;

namespace {

template <class Function> Function* systemFunction(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int systemFreeaddrinfo(addrinfo* list)
{
    static const auto real = systemFunction<void(addrinfo*)>("freeaddrinfo");
    real(list);
    return 0;
}

} // namespace

// Static objects may still call these functions in their destructors. Therefore the scripts are never destroyed.
#define SYSTEM_RESOLVER_SCRIPT(signature, name, failure)                                                               \
    OsCall<signature>& SystemResolver::name()                                                                          \
    {                                                                                                                  \
        static auto& script = *new OsCall<signature>(failure);                                                         \
        return script;                                                                                                 \
    }
#define SYSTEM_RESOLVER_CALL(name, ...)                                                                                \
    static const auto real = systemFunction<decltype(::name)>(#name);                                                  \
    return SystemResolver::name().call(real, __VA_ARGS__);

SYSTEM_RESOLVER_SCRIPT(int(const char*, const char*, const addrinfo*, addrinfo**), getaddrinfo, EAI_NONAME)
SYSTEM_RESOLVER_SCRIPT(int(addrinfo*), freeaddrinfo, 0)
SYSTEM_RESOLVER_SCRIPT(int(const sockaddr*, socklen_t, char*, socklen_t, char*, socklen_t, int), getnameinfo,
                       EAI_NONAME)
SYSTEM_RESOLVER_SCRIPT(hostent*(const char*), gethostbyname, nullptr)
SYSTEM_RESOLVER_SCRIPT(hostent*(const void*, socklen_t, int), gethostbyaddr, nullptr)

extern "C" {

int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** result)
{
    SYSTEM_RESOLVER_CALL(getaddrinfo, host, service, hints, result)
}

void freeaddrinfo(addrinfo* list) noexcept { SystemResolver::freeaddrinfo().call(systemFreeaddrinfo, list); }

int getnameinfo(const sockaddr* address, socklen_t addressLength, char* host, socklen_t hostLength, char* service,
                socklen_t serviceLength, int flags){
    SYSTEM_RESOLVER_CALL(getnameinfo, address, addressLength, host, hostLength, service, serviceLength, flags)}

hostent* gethostbyname(const char* name){SYSTEM_RESOLVER_CALL(gethostbyname, name)}

hostent* gethostbyaddr(const void* address, socklen_t length, int type)
{
    SYSTEM_RESOLVER_CALL(gethostbyaddr, address, length, type)
}

} // extern "C"

void SystemResolver::clearAll()
{
    getaddrinfo().clear();
    freeaddrinfo().clear();
    getnameinfo().clear();
    gethostbyname().clear();
    gethostbyaddr().clear();
}

namespace {

// Each test runs twice: with the flag of the traces off and on. The system's calls must not differ.
class ResolverForwarding : public WithSystemResolver, public testing::WithParamInterface<bool> {
protected:
    ResolverForwarding()
    {
        hooks.check = [](short) { return GetParam(); };
    }

    HookRecorder hooks;
};

TEST_P(ResolverForwarding, GetaddrinfoIsCalledOnceWithTheSameArguments)
{
    const addrinfo hints = {};
    addrinfo answer = {};
    SystemResolver::getaddrinfo().instead = [&](const char*, const char*, const addrinfo*, addrinfo** result) {
        *result = &answer;
        return 0;
    };

    addrinfo* result = nullptr;
    EXPECT_EQ(OS_getaddrinfo("host", "service", &hints, &result), 0);

    EXPECT_EQ(result, &answer);
    using Arguments = std::tuple<const char*, const char*, const addrinfo*, addrinfo**>;
    const auto asked = SystemResolver::getaddrinfo().asked();
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_STREQ(std::get<0>(asked[0]), "host");
    EXPECT_STREQ(std::get<1>(asked[0]), "service");
    EXPECT_EQ(asked[0], Arguments(std::get<0>(asked[0]), std::get<1>(asked[0]), &hints, &result));
}

TEST_P(ResolverForwarding, GetaddrinfoHandsOnItsNulls)
{
    addrinfo* result = nullptr;
    EXPECT_EQ(OS_getaddrinfo(nullptr, nullptr, nullptr, &result), EAI_NONAME);

    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(SystemResolver::getaddrinfo().calls(), 1);
}

TEST_P(ResolverForwarding, GetaddrinfoGivesTheReturnCodeOnAFailure)
{
    SystemResolver::getaddrinfo().instead = [](auto...) { return EAI_AGAIN; };

    addrinfo* result = nullptr;
    EXPECT_EQ(OS_getaddrinfo("host", "service", nullptr, &result), EAI_AGAIN);
}

TEST_P(ResolverForwarding, FreeaddrinfoFreesAList)
{
    addrinfo list = {};
    SystemResolver::freeaddrinfo().instead = [](addrinfo*) { return 0; };

    OS_freeaddrinfo(&list);

    EXPECT_THAT(SystemResolver::freeaddrinfo().askedArgument<0>(), ElementsAre(&list));
}

TEST_P(ResolverForwarding, FreeaddrinfoCallsNothingForNull)
{
    OS_freeaddrinfo(nullptr);

    EXPECT_EQ(SystemResolver::freeaddrinfo().calls(), 0);
}

TEST_P(ResolverForwarding, GetnameinfoIsCalledOnceWithTheSameArguments)
{
    const sockaddr_storage address = socketAddress("127.0.0.1", 80);
    const auto* const raw = asSocketAddress(address);
    char host[64] = "";
    char service[32] = "";

    EXPECT_EQ(OS_getnameinfo(raw, 16, host, 64, service, 32, NI_NUMERICHOST | NI_NUMERICSERV), 0);

    EXPECT_STREQ(host, "127.0.0.1");
    EXPECT_STREQ(service, "80");
    EXPECT_THAT(SystemResolver::getnameinfo().asked(),
                ElementsAre(std::make_tuple(raw, 16, host, 64, service, 32, NI_NUMERICHOST | NI_NUMERICSERV)));
}

TEST_P(ResolverForwarding, GetnameinfoGivesTheReturnCodeOnAFailure)
{
    SystemResolver::getnameinfo().instead = [](auto...) { return EAI_FAMILY; };

    EXPECT_EQ(OS_getnameinfo(nullptr, 0, nullptr, 0, nullptr, 0, 0), EAI_FAMILY);
}

TEST_P(ResolverForwarding, GethostbynameGivesTheSystemsEntry)
{
    SystemResolver::Entry answer("host", AF_INET, "\1\2\3\4", 4);
    SystemResolver::gethostbyname().instead = [&](const char*) { return &answer.entry; };
    const char name[] = "alias";

    EXPECT_EQ(OS_gethostbyname(name), &answer.entry);

    EXPECT_THAT(SystemResolver::gethostbyname().askedArgument<0>(), ElementsAre(name));
}

TEST_P(ResolverForwarding, GethostbynameGivesNullOnAFailure)
{
    SystemResolver::gethostbyname().failNext(1, 0);

    EXPECT_EQ(OS_gethostbyname("unknown"), nullptr);
}

TEST_P(ResolverForwarding, GethostbynameTakesANumericAddress)
{
    const hostent* const entry = OS_gethostbyname("127.0.0.1");

    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->h_name, "127.0.0.1");
    EXPECT_EQ(entry->h_addrtype, AF_INET);
}

TEST_P(ResolverForwarding, GethostbyaddrGivesTheSystemsEntry)
{
    const char address[] = {127, 0, 0, 1};
    SystemResolver::Entry answer("host", AF_INET, address, 4);
    SystemResolver::gethostbyaddr().instead = [&](auto...) { return &answer.entry; };

    EXPECT_EQ(OS_gethostbyaddr(address, 4, AF_INET), &answer.entry);

    EXPECT_THAT(SystemResolver::gethostbyaddr().asked(),
                ElementsAre(std::make_tuple(static_cast<const void*>(address), 4, AF_INET)));
}

TEST_P(ResolverForwarding, GethostbyaddrGivesNullOnAFailure)
{
    SystemResolver::gethostbyaddr().failNext(1, 0);

    EXPECT_EQ(OS_gethostbyaddr("\1\2\3\4", 4, AF_INET), nullptr);
}

INSTANTIATE_TEST_SUITE_P(, ResolverForwarding, testing::Bool(),
                         [](const auto& instance) { return instance.param ? "Traced" : "Untraced"; });

} // namespace
