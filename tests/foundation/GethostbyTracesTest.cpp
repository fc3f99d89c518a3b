// What the traces of gethostbyname and gethostbyaddr show, also for entries without content.
#include "ResolverTraces.h"

#include <cstring>
#include <memory>

namespace {

using testing::ElementsAre;

class GethostbynameTraces : public ResolverTraces {
protected:
    void expectTexts(const std::string& name, const std::string& ip) const
    {
        const std::string hostname = R"(hostname:")" + name + '"';
        EXPECT_THAT(hooks.texts(),
                    ElementsAre(numbered("before calling gethostbyname #<n> with " + hostname, number),
                                numbered("after calling gethostbyname #<n> with " + hostname + ip, number)));
    }

    // The system's call answers with this entry, which may be null.
    static void systemAnswers(hostent* entry)
    {
        SystemResolver::gethostbyname().instead = [entry](const char*) { return entry; };
    }

    const int number = numberAfter([] { OS_gethostbyname("127.0.0.1"); });
    const in6_addr inet6 = IN6ADDR_LOOPBACK_INIT;
};

TEST_F(GethostbynameTraces, ShowTheFirstAddress)
{
    SystemResolver::Entry answer("official", AF_INET, "\12\0\0\1", 4);
    systemAnswers(&answer.entry);

    OS_gethostbyname("alias");

    expectTexts("alias", R"( ip:"10.0.0.1")");
}

TEST_F(GethostbynameTraces, ShowAnIPv6Address)
{
    SystemResolver::Entry answer("official", AF_INET6, &inet6, sizeof inet6);
    systemAnswers(&answer.entry);

    OS_gethostbyname("alias");

    expectTexts("alias", R"( ip:"::1")");
}

TEST_F(GethostbynameTraces, ShowNoAddressOfAFailure)
{
    systemAnswers(nullptr);

    OS_gethostbyname("unknown");

    expectTexts("unknown", R"( ip:"")");
}

TEST_F(GethostbynameTraces, ShowNoAddressOfAnEntryWithoutOne)
{
    SystemResolver::Entry answer("official", AF_INET, nullptr, 4);
    systemAnswers(&answer.entry);

    OS_gethostbyname("alias");

    expectTexts("alias", R"( ip:"")");
}

TEST_F(GethostbynameTraces, ShowNoAddressThatIsShorterThanItsFamily)
{
    const auto address = std::make_unique<char[]>(4);
    SystemResolver::Entry answer("official", AF_INET6, address.get(), 4);
    systemAnswers(&answer.entry);

    OS_gethostbyname("alias");

    expectTexts("alias", R"( ip:"")");
}

TEST_F(GethostbynameTraces, ShowAnEmptyTextForANullName)
{
    systemAnswers(nullptr);

    OS_gethostbyname(nullptr);

    expectTexts("", R"( ip:"")");
    EXPECT_EQ(SystemResolver::gethostbyname().askedArgument<0>().back(), nullptr);
}

class GethostbyaddrTraces : public ResolverTraces {
protected:
    // Asks about an address of exactly `length` bytes; the system answers with `entry`.
    static void ask(const void* address, socklen_t length, int type, hostent* entry)
    {
        SystemResolver::gethostbyaddr().instead = [entry](auto...) { return entry; };
        const auto exact = std::make_unique<char[]>(length);
        if (address != nullptr)
            std::memcpy(exact.get(), address, length);
        OS_gethostbyaddr(address != nullptr ? exact.get() : nullptr, length, type);
    }

    void expectTexts(const std::string& ip, const std::string& name) const
    {
        EXPECT_THAT(
            hooks.texts(),
            ElementsAre(
                numbered("before calling gethostbyaddr #<n> with ip:\"" + ip + '"', number),
                numbered("after calling gethostbyaddr #<n> with ip:\"" + ip + "\" host name:\"" + name + '"', number)));
    }

    const int number = numberAfter([] { ask(nullptr, 0, AF_INET, nullptr); });
    const in6_addr inet6 = IN6ADDR_LOOPBACK_INIT;
    SystemResolver::Entry answer{"official", AF_INET, "\12\0\0\1", 4};
};

TEST_F(GethostbyaddrTraces, ShowTheOfficialName)
{
    ask("\12\0\0\1", 4, AF_INET, &answer.entry);

    expectTexts("10.0.0.1", "official");
}

TEST_F(GethostbyaddrTraces, ShowAnIPv6Address)
{
    ask(&inet6, sizeof inet6, AF_INET6, &answer.entry);

    expectTexts("::1", "official");
}

TEST_F(GethostbyaddrTraces, ShowNoNameOfAFailure)
{
    ask("\12\0\0\1", 4, AF_INET, nullptr);

    expectTexts("10.0.0.1", "");
}

TEST_F(GethostbyaddrTraces, ShowNoNameOfAnEntryWithoutOne)
{
    SystemResolver::Entry nameless(nullptr, AF_INET, "\12\0\0\1", 4);

    ask("\12\0\0\1", 4, AF_INET, &nameless.entry);

    expectTexts("10.0.0.1", "");
}

TEST_F(GethostbyaddrTraces, ShowNoAddressForNull)
{
    ask(nullptr, 4, AF_INET, &answer.entry);

    expectTexts("", "official");
}

TEST_F(GethostbyaddrTraces, ShowNoIPv4AddressThatIsTooShort)
{
    ask("\12\0\0", 3, AF_INET, &answer.entry);

    expectTexts("", "official");
}

TEST_F(GethostbyaddrTraces, ShowNoIPv6AddressThatIsTooShort)
{
    ask(&inet6, 15, AF_INET6, &answer.entry);

    expectTexts("", "official");
}

} // namespace
