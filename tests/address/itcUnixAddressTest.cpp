// Paths of local sockets that the host gives: what is stored, what is refused, what the resolver is asked.
#include "HookRecorder.h"
#include "LookupRecorder.h"
#include "StatusMatchers.h"

#include <kiv/address/itcUnixAddress.h>

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <link.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <type_traits>

static_assert(std::is_base_of_v<itcAddress, itcUnixAddress> && !std::is_polymorphic_v<itcUnixAddress>);
static_assert(sizeof(itcUnixAddress) == sizeof(itcAddress), "adds no field");
static_assert(itcUnixAddress::Max_SockUnix_Pathlen == 107);
static_assert(std::is_same_v<decltype(itcUnixAddress::Temp), const char* const>);

namespace {

using testing::SizeIs;

std::string pathOf(size_t length) { return "/" + std::string(length - 1, 'p'); }

const sockaddr_un& stored(const itcUnixAddress& address)
{
    return reinterpret_cast<const sockaddr_un&>(address.address);
}

/// Expects that no byte behind the local address has been written.
void expectNothingBehindThePath(const itcUnixAddress& address)
{
    const char* const bytes = reinterpret_cast<const char*>(&address.address);
    EXPECT_TRUE(
        std::all_of(bytes + sizeof(sockaddr_un), bytes + sizeof address.address, [](char c) { return c == 0; }));
}

void expectPath(const itcUnixAddress& address, const std::string& path)
{
    EXPECT_THAT(address.status, HasClearStatus());
    EXPECT_EQ(address.address.ss_family, AF_UNIX);
    EXPECT_STREQ(address.pathname(), path.c_str());
    EXPECT_STREQ(stored(address).sun_path, path.c_str());
    expectNothingBehindThePath(address);
}

void expectTooLong(const itcUnixAddress& address)
{
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Path_Too_Long, Error));
    expectNothingBehindThePath(address);
}

TEST(UnixAddressMaxPathLength, IsASymbolOfFourBytes)
{
    void* const address = ::dlsym(RTLD_DEFAULT, "_ZN14itcUnixAddress20Max_SockUnix_PathlenE");
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(*static_cast<const int*>(address), 107);

    Dl_info info = {};
    void* entry = nullptr;
    ASSERT_NE(::dladdr1(address, &info, &entry, RTLD_DL_SYMENT), 0);
    EXPECT_EQ(static_cast<const ElfW(Sym)*>(entry)->st_size, 4u);
}

TEST(UnixAddressWithoutPath, HasNoFamilyAndSaysSo)
{
    errno = EXDEV;
    const itcUnixAddress address;

    EXPECT_EQ(address.address.ss_family, AF_UNSPEC);
    EXPECT_EQ(address.pathname(), nullptr);
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_No_Path_Given, Warning, EXDEV));
}

TEST(UnixAddressWithoutPath, NamesThePendingErrorInItsText)
{
    errno = EXDEV;
    const std::string text = itcUnixAddress().status.STATUS_text();

    EXPECT_THAT(text, testing::StartsWith("Warning: Itc_Tp_No_Path_Given"));
    EXPECT_THAT(text, testing::HasSubstr(std::strerror(EXDEV)));
}

TEST(UnixAddressWithoutPath, HasAShortTextWhenNoErrorIsPending)
{
    errno = 0;
    const std::string text = itcUnixAddress().status.STATUS_text();

    EXPECT_THAT(text, testing::StartsWith("Warning: Itc_Tp_No_Path_Given"));
    EXPECT_THAT(text, testing::Not(testing::HasSubstr(std::strerror(0))));
}

TEST(UnixAddressWithoutPath, AsksNoResolver)
{
    const itcUnixAddress address;
    EXPECT_EQ(OsFaults::getaddrinfo().calls(), 0);
}

TEST(UnixAddress, HoldsTheGivenPath) { expectPath(itcUnixAddress("/run/some.socket"), "/run/some.socket"); }

TEST(UnixAddress, IsSetAnew)
{
    itcUnixAddress address("/run/a.rather.long.name");
    EXPECT_TRUE(address.set("/b"));
    expectPath(address, "/b");
}

TEST(UnixAddress, ClearsItsStatusFirst)
{
    itcUnixAddress address;
    leaveMark(address.status);
    EXPECT_TRUE(address.set("/run/some.socket"));
    EXPECT_THAT(address.status, HasClearStatus());
}

TEST(UnixAddress, TakesEveryLengthUpTo107)
{
    for (const size_t length : {1, 2, 106, 107}) {
        itcUnixAddress address;
        EXPECT_TRUE(address.set(pathOf(length).c_str())) << length;
        expectPath(address, pathOf(length));
    }
}

TEST(UnixAddress, RefusesLongerPaths)
{
    for (const size_t length : {108, 109, 127, 128, 1024, 10000}) {
        itcUnixAddress address;
        EXPECT_FALSE(address.set(pathOf(length).c_str())) << length;
        expectTooLong(address);
        expectTooLong(itcUnixAddress(pathOf(length).c_str()));
    }
}

TEST(UnixAddress, KeepsThePendingErrorNumberOfARefusal)
{
    OsFaults::getaddrinfo().instead = [](auto...) { return EAI_FAMILY; };
    errno = EXDEV;
    EXPECT_THAT(itcUnixAddress(pathOf(108).c_str()).status, HasStatus(Itc_Tp_Path_Too_Long, Error, EXDEV));
}

TEST(UnixAddress, ServesOnAfterARefusal)
{
    itcUnixAddress address(pathOf(108).c_str());
    EXPECT_TRUE(address.set(pathOf(107).c_str()));
    expectPath(address, pathOf(107));
}

TEST(UnixAddress, HoldsNoPathAfterARefusal)
{
    itcUnixAddress address("/run/some.socket");
    address.set(pathOf(108).c_str());
    EXPECT_EQ(address.pathname(), nullptr);
}

TEST(UnixAddress, TakesAnEmptyStringAsAnEmptyPath)
{
    const char empty[] = "";
    itcUnixAddress address;
    EXPECT_TRUE(address.set(empty));
    expectPath(address, "");
}

TEST(UnixAddress, MayBeSetFromItsOwnPath)
{
    for (const size_t length : {16, 107}) {
        itcUnixAddress address(pathOf(length).c_str());
        EXPECT_TRUE(address.set(address.pathname()));
        expectPath(address, pathOf(length));
    }
}

TEST(UnixAddress, HasAPathOnlyInItsOwnFamily)
{
    itcUnixAddress address("/run/some.socket");
    for (const sa_family_t family : {AF_UNSPEC, AF_INET, AF_INET6}) {
        address.address.ss_family = family;
        EXPECT_EQ(address.pathname(), nullptr);
    }
}

TEST(UnixAddressLookup, AsksForALocalAddressOfThePathAndNothingElse)
{
    const LookupRecorder resolver;
    const itcUnixAddress address("/run/some.socket");

    ASSERT_THAT(resolver.lookups, SizeIs(1));
    addrinfo hints = {};
    hints.ai_family = AF_UNIX;
    EXPECT_EQ(resolver.lookups[0].host, "/run/some.socket");
    EXPECT_EQ(resolver.lookups[0].service, std::nullopt);
    EXPECT_EQ(std::memcmp(&resolver.lookups[0].hints, &hints, sizeof hints), 0);
}

TEST(UnixAddressLookup, AsksForATooLongPathToo)
{
    const LookupRecorder resolver;
    const itcUnixAddress address(pathOf(108).c_str());

    ASSERT_THAT(resolver.lookups, SizeIs(1));
    EXPECT_EQ(resolver.lookups[0].host, pathOf(108));
}

TEST(UnixAddressLookup, IsTraced)
{
    const HookRecorder hooks;
    const itcUnixAddress address("/run/some.socket");
    EXPECT_THAT(hooks.texts(), testing::Contains(testing::HasSubstr("/run/some.socket")));
}

TEST(UnixAddressLookup, FailsUnderTheCodeOfATooLongPath)
{
    for (const int code : {EAI_NONAME, EAI_FAIL, EAI_MEMORY, EAI_AGAIN, EAI_SYSTEM}) {
        const LookupRecorder resolver({code});
        errno = EXDEV;
        itcUnixAddress address;
        EXPECT_FALSE(address.set("/run/some.socket")) << gai_strerror(code);
        EXPECT_THAT(address.status, HasStatus(Itc_Tp_Path_Too_Long, Error));
    }
}

TEST(UnixAddressLookup, LeavesItsOwnErrorNumber)
{
    itcUnixAddress address;
    HookRecorder hooks;
    OsFaults::getaddrinfo().instead = [&](auto...) {
        hooks.check = [](short) { // called again when the result is freed
            errno = EXDEV;
            return true;
        };
        errno = ENODATA;
        return EAI_SYSTEM;
    };
    EXPECT_FALSE(address.set("/run/some.socket"));
    EXPECT_EQ(errno, EXDEV);
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Path_Too_Long, Error, ENODATA));
}

TEST(UnixAddressLookup, DoesNotMakeATooLongPathGood)
{
    OsFaults::getaddrinfo().instead = [](const char*, const char*, const addrinfo*, addrinfo** result) {
        return ::getaddrinfo("127.0.0.1", nullptr, nullptr, result);
    };
    itcUnixAddress address;
    EXPECT_FALSE(address.set(pathOf(108).c_str()));
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Path_Too_Long, Error));
}

TEST(UnixAddressLookup, FreesWhatIsAnsweredOnce)
{
    for (const int code : {0, EAI_FAMILY, EAI_NONAME}) {
        OsFaults::freeaddrinfo().clear();
        const LookupRecorder resolver({code});
        itcUnixAddress address;
        address.set("/run/some.socket");
        EXPECT_EQ(OsFaults::freeaddrinfo().calls(), 1) << gai_strerror(code);
    }
}

TEST(UnixAddressLookup, FreesTheVeryListThatIsAnswered)
{
    addrinfo* answered = nullptr;
    OsFaults::getaddrinfo().instead = [&](const char*, const char*, const addrinfo*, addrinfo** result) {
        const int code = ::getaddrinfo("127.0.0.1", nullptr, nullptr, result);
        answered = *result;
        return code;
    };
    const itcUnixAddress address("/run/some.socket");
    EXPECT_NE(answered, nullptr);
    EXPECT_THAT(OsFaults::freeaddrinfo().askedArgument<0>(), testing::ElementsAre(answered));
}

/// A resolver that knows local addresses. Its answer is the address of the test.
class UnixAnswer : public testing::Test {
protected:
    bool setAnsweredBy(const void* answer, socklen_t length)
    {
        OsFaults::getaddrinfo().instead = [=](const char*, const char*, const addrinfo*, addrinfo** result) {
            addrinfo hints = {};
            hints.ai_socktype = SOCK_STREAM;
            EXPECT_EQ(::getaddrinfo("127.0.0.1", nullptr, &hints, result), 0);
            (*result)->ai_addr = static_cast<sockaddr*>(const_cast<void*>(answer));
            (*result)->ai_addrlen = length;
            return 0;
        };
        return address.set("/asked");
    }

    itcUnixAddress address;
};

TEST_F(UnixAnswer, IsStored)
{
    sockaddr_un answer = {};
    answer.sun_family = AF_UNIX;
    std::strcpy(answer.sun_path, "/answered");

    EXPECT_TRUE(setAnsweredBy(&answer, sizeof answer));
    expectPath(address, "/answered");
}

TEST_F(UnixAnswer, IsStoredBeforeItIsGivenBack)
{
    sockaddr_un answer = {};
    answer.sun_family = AF_UNIX;
    std::strcpy(answer.sun_path, "/answered");
    HookRecorder hooks;
    std::string pathAtLastQuestion;
    hooks.check = [&](short) {
        const char* const path = address.pathname();
        pathAtLastQuestion = path != nullptr ? path : "none";
        return true;
    };

    setAnsweredBy(&answer, sizeof answer);
    EXPECT_THAT(hooks.texts().front(), testing::StartsWith("before calling freeaddrinfo"));
    EXPECT_EQ(pathAtLastQuestion, "/answered");
}

class UnixAnswerOfLength : public UnixAnswer, public testing::WithParamInterface<socklen_t> {};

TEST_P(UnixAnswerOfLength, IsStoredWhereItEndsWithAZero)
{
    sockaddr_storage answer = {};
    answer.ss_family = AF_UNIX;
    char* const bytes = reinterpret_cast<char*>(&answer);
    std::memset(bytes + offsetof(sockaddr_un, sun_path), 'p', GetParam() - offsetof(sockaddr_un, sun_path));
    bytes[GetParam() - 1] = '\0';

    EXPECT_TRUE(setAnsweredBy(&answer, GetParam()));
    EXPECT_STREQ(address.pathname(), bytes + offsetof(sockaddr_un, sun_path));
}

INSTANTIATE_TEST_SUITE_P(Lengths, UnixAnswerOfLength, testing::Values(109, 110, 111, 127, 128));

TEST_F(UnixAnswer, ThatFillsTheStorageWithoutAZeroIsAFailedLookup)
{
    sockaddr_storage answer = {};
    std::memset(&answer, 'p', sizeof answer);
    answer.ss_family = AF_UNIX;

    EXPECT_FALSE(setAnsweredBy(&answer, sizeof answer));
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Path_Too_Long, Error));
}

TEST_F(UnixAnswer, LongerThanTheStorageIsAFailedLookup)
{
    sockaddr_storage answer[2] = {};
    answer[0].ss_family = AF_UNIX;

    EXPECT_FALSE(setAnsweredBy(answer, sizeof answer));
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Path_Too_Long, Error));
}

TEST_F(UnixAnswer, WithoutAListIsAFailedLookup)
{
    OsFaults::getaddrinfo().instead = [](const char*, const char*, const addrinfo*, addrinfo** result) {
        *result = nullptr;
        return 0;
    };
    EXPECT_FALSE(address.set("/asked"));
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Path_Too_Long, Error));
}

TEST(UnixAddressTemplate, IsFilledIn)
{
    itcUnixAddress address;
    EXPECT_TRUE(address.set_templ("/tmp/sock_%d", 42));
    expectPath(address, "/tmp/sock_42");
}

TEST(UnixAddressTemplate, TakesSeveralValues)
{
    itcUnixAddress address;
    EXPECT_TRUE(address.set_templ("/%s/%c%03u%%", "run", 'x', 7U));
    expectPath(address, "/run/x007%");
}

TEST(UnixAddressTemplate, ClearsTheStatusFirst)
{
    itcUnixAddress address;
    leaveMark(address.status);
    EXPECT_TRUE(address.set_templ("/tmp/%s", "socket"));
    EXPECT_THAT(address.status, HasClearStatus());
}

TEST(UnixAddressTemplate, TakesAPathOf107Characters)
{
    itcUnixAddress address;
    EXPECT_TRUE(address.set_templ("%s", pathOf(107).c_str()));
    expectPath(address, pathOf(107));
}

TEST(UnixAddressTemplate, RefusesLongerPaths)
{
    for (const size_t length : {108, 1022, 1023, 1024, 1025, 10000}) {
        itcUnixAddress address;
        EXPECT_FALSE(address.set_templ("%s", pathOf(length).c_str())) << length;
        expectTooLong(address);
    }
}

TEST(UnixAddressTemplate, AsksForTheFirst1023CharactersOfALongText)
{
    for (const size_t length : {1022, 1023, 1024, 10000}) {
        const LookupRecorder resolver;
        itcUnixAddress address;
        address.set_templ("%s", pathOf(length).c_str());
        ASSERT_THAT(resolver.lookups, SizeIs(1));
        EXPECT_EQ(resolver.lookups[0].host, pathOf(std::min<size_t>(length, 1023)));
    }
}

TEST(UnixAddressTemplate, MayBeFilledFromTheAddressItself)
{
    itcUnixAddress address("/run/some");
    EXPECT_TRUE(address.set_templ("%s.socket", address.pathname()));
    expectPath(address, "/run/some.socket");
}

TEST(UnixAddressTemplate, TakesAnEmptyTextAsAnEmptyPath)
{
    itcUnixAddress address;
    EXPECT_TRUE(address.set_templ("%s", ""));
    expectPath(address, "");
}

} // namespace
