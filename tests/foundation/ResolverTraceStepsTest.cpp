// What all resolver calls have in common: a number, a text before, a text after, and a hook that is asked at each step.
#include "FreshProcess.h"
#include "GroupedDigits.h"
#include "ResolverTraces.h"
#include "SocketAddresses.h"

#include <algorithm>
#include <ostream>
#include <thread>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// One resolver call about 127.0.0.1 and port 80. In its raw form port 80 reads 20480. For the "late" texts the check
// hook says no at first and yes later. The first no means that nothing is taken from the arguments.
struct Wrapper {
    const char* name;
    void (*call)();
    const char* before;
    const char* lateBefore;
    const char* after;
    const char* lateAfter;
    friend std::ostream& operator<<(std::ostream& out, const Wrapper& parameter) { return out << parameter.name; }
};

addrinfo* loopbackList()
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* list = nullptr;
    EXPECT_EQ(::getaddrinfo("127.0.0.1", "80", &hints, &list), 0);
    return list;
}

void callGetaddrinfo()
{
    addrinfo* list = nullptr;
    OS_getaddrinfo("127.0.0.1", "80", nullptr, &list);
    ::freeaddrinfo(list);
}

void callFreeaddrinfo() { OS_freeaddrinfo(loopbackList()); }

void callGetnameinfo()
{
    const sockaddr_storage address = socketAddress("127.0.0.1", 80);
    char host[64] = "old";
    OS_getnameinfo(asSocketAddress(address), sizeof(sockaddr_in), host, sizeof host, nullptr, 0, NI_NUMERICHOST);
}

void callGethostbyname() { OS_gethostbyname("127.0.0.1"); }

void callGethostbyaddr() { OS_gethostbyaddr("\x7f\0\0\1", 4, AF_INET); }

const Wrapper wrappers[] = {
    {"getaddrinfo", callGetaddrinfo, //
     R"(before calling getaddrinfo #<n> with hostname:"127.0.0.1" servicename:"80")",
     R"(before calling getaddrinfo #<n> with hostname:"127.0.0.1" servicename:"80")",
     R"(after calling getaddrinfo #<n> with hostname:"127.0.0.1" servicename:"80" ip:"127.0.0.1" port:20480)",
     R"(after calling getaddrinfo #<n> with hostname:"127.0.0.1" servicename:"80" ip:"127.0.0.1" port:20480)"},
    {"freeaddrinfo", callFreeaddrinfo, //
     R"(before calling freeaddrinfo #<n> with ip:"127.0.0.1" port:20480)",
     R"(before calling freeaddrinfo #<n> with ip:"" port:0)",
     R"(after calling freeaddrinfo #<n> with ip:"127.0.0.1" port:20480)",
     R"(after calling freeaddrinfo #<n> with ip:"" port:0)"},
    {"getnameinfo", callGetnameinfo, //
     R"(before calling getnameinfo #<n> with ip:"127.0.0.1" port:20480" host:"old")",
     R"(before calling getnameinfo #<n> with ip:"" port:0" host:"old")",
     R"(after calling getnameinfo #<n> with return code:0 ip:"127.0.0.1" port:20480 host:"127.0.0.1")",
     R"(after calling getnameinfo #<n> with return code:0 ip:"" port:0 host:"127.0.0.1")"},
    {"gethostbyname", callGethostbyname, //
     R"(before calling gethostbyname #<n> with hostname:"127.0.0.1")",
     R"(before calling gethostbyname #<n> with hostname:"127.0.0.1")",
     R"(after calling gethostbyname #<n> with hostname:"127.0.0.1" ip:"127.0.0.1")",
     R"(after calling gethostbyname #<n> with hostname:"127.0.0.1" ip:"127.0.0.1")"},
    {"gethostbyaddr", callGethostbyaddr, //
     R"(before calling gethostbyaddr #<n> with ip:"127.0.0.1")", R"(before calling gethostbyaddr #<n> with ip:"")",
     R"(after calling gethostbyaddr #<n> with ip:"127.0.0.1" host name:"here.example")",
     R"(after calling gethostbyaddr #<n> with ip:"" host name:"here.example")"},
};

class ResolverTraceSteps : public ResolverTraces, public testing::WithParamInterface<Wrapper> {
protected:
    ResolverTraceSteps()
    {
        SystemResolver::gethostbyaddr().instead = [](auto...) {
            static SystemResolver::Entry answer("here.example", AF_INET, "\x7f\0\0\1", 4);
            return &answer.entry;
        };
    }

    const Wrapper& wrapper = GetParam();
};

TEST_P(ResolverTraceSteps, PairTheTextsByTheCallsNumber)
{
    const int number = numberAfter(wrapper.call);

    wrapper.call();
    wrapper.call();

    EXPECT_THAT(hooks.texts(), ElementsAre(numbered(wrapper.before, number), numbered(wrapper.after, number),
                                           numbered(wrapper.before, number + 1), numbered(wrapper.after, number + 1)));
}

TEST_P(ResolverTraceSteps, NumberTheFirstCallsOfAProcess0And1)
{
    expectInFreshProcess([this] {
        wrapper.call();
        wrapper.call();
        EXPECT_THAT(hooks.texts(), ElementsAre(numbered(wrapper.before, 0), numbered(wrapper.after, 0),
                                               numbered(wrapper.before, 1), numbered(wrapper.after, 1)));
    });
}

TEST_P(ResolverTraceSteps, AreNumberedApartFromTheOtherCalls)
{
    const int number = numberAfter(wrapper.call);
    for (const Wrapper& other : wrappers) {
        if (other.call != wrapper.call)
            other.call();
    }
    hooks.clear();
    wrapper.call();
    EXPECT_EQ(hooks.texts().front(), numbered(wrapper.before, number));
}

TEST_P(ResolverTraceSteps, LeaveTheErrorNumberOfTheirSecondText)
{
    hooks.check = [this](short) {
        errno = 1000 + hooks.checks();
        return true;
    };
    hooks.clear();
    wrapper.call();
    EXPECT_EQ(errno, 1000 + hooks.checks());
}

TEST_P(ResolverTraceSteps, LeaveTheErrorNumberOfTheirLastQuestionWhileTheHookSaysNo)
{
    hooks.check = [this](short) {
        errno = 1000 + hooks.checks();
        return false;
    };
    hooks.clear();
    wrapper.call();
    EXPECT_EQ(errno, 1003) << "asked for the number, before and after";
}

TEST_P(ResolverTraceSteps, PrintAndNumberNothingWhileTheHookSaysNo)
{
    const int number = numberAfter(wrapper.call);
    answerChecks({false, false, false});

    wrapper.call();
    EXPECT_THAT(hooks.texts(), IsEmpty());

    answerChecks({true, true, true});
    wrapper.call();
    EXPECT_EQ(hooks.texts().front(), numbered(wrapper.before, number));
}

TEST_P(ResolverTraceSteps, KnowNeitherNumberNorAddressWhenSwitchedOnDuringTheCall)
{
    numberAfter(wrapper.call);
    answerChecks({false, false, true});

    wrapper.call();

    EXPECT_THAT(hooks.texts(), ElementsAre(numbered(wrapper.lateAfter, 0)));
}

TEST_P(ResolverTraceSteps, KnowNeitherNumberNorAddressWhenSwitchedOnAfterTheFirstQuestion)
{
    numberAfter(wrapper.call);
    answerChecks({false, true, true});

    wrapper.call();

    EXPECT_THAT(hooks.texts(), ElementsAre(numbered(wrapper.lateBefore, 0), numbered(wrapper.lateAfter, 0)));
}

TEST_P(ResolverTraceSteps, UseUpANumberThoughTheFlagIsSwitchedOffThen)
{
    const int number = numberAfter(wrapper.call);
    answerChecks({true, false, false});

    wrapper.call();
    EXPECT_THAT(hooks.texts(), IsEmpty());

    answerChecks({true, true, true});
    wrapper.call();
    EXPECT_EQ(hooks.texts().front(), numbered(wrapper.before, number + 1));
}

TEST_P(ResolverTraceSteps, PrintNoSecondTextWhenSwitchedOffDuringTheCall)
{
    const int number = numberAfter(wrapper.call);
    answerChecks({true, true, false});

    wrapper.call();

    EXPECT_THAT(hooks.texts(), ElementsAre(numbered(wrapper.before, number)));
}

TEST_P(ResolverTraceSteps, KeepNumberAndAddressWhenOnlyTheFirstTextIsRefused)
{
    const int number = numberAfter(wrapper.call);
    answerChecks({true, false, true});

    wrapper.call();

    EXPECT_THAT(hooks.texts(), ElementsAre(numbered(wrapper.after, number)));
}

TEST_P(ResolverTraceSteps, BelongToTheKivFlag)
{
    wrapper.call();
    EXPECT_THAT(hooks.flags(), Each(HookRecorder::kivFlag));

    hooks.clear();
    hooks.check = [](short flag) { return flag != HookRecorder::kivFlag; };
    wrapper.call();
    EXPECT_THAT(hooks.texts(), IsEmpty());
}

TEST_P(ResolverTraceSteps, WritePlainDigitsInAHostThatGroupsThem)
{
    const GroupedDigits grouped;

    wrapper.call();

    EXPECT_THAT(hooks.texts(), Each(Not(HasSubstr(","))));
}

TEST_P(ResolverTraceSteps, GiveConcurrentCallersDistinctNumbers)
{
    constexpr int threadCount = 4;
    constexpr int callsPerThread = 25;
    const int firstNumber = numberAfter(wrapper.call);
    // gethostbyname() has one static entry for all threads. Therefore this script gives every thread no entry.
    SystemResolver::gethostbyname().instead = [](const char*) { return nullptr; };

    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([this] {
            for (int call = 0; call < callsPerThread; ++call)
                wrapper.call();
        });
    }
    for (auto& thread : threads)
        thread.join();

    std::vector<int> numbers;
    for (const auto& text : hooks.texts())
        numbers.push_back(numberIn(text));
    std::sort(numbers.begin(), numbers.end());
    std::vector<int> expected;
    for (int number = firstNumber; number < firstNumber + threadCount * callsPerThread; ++number)
        expected.insert(expected.end(), {number, number}); // the text before and the text after
    EXPECT_EQ(numbers, expected);
}

INSTANTIATE_TEST_SUITE_P(, ResolverTraceSteps, testing::ValuesIn(wrappers),
                         [](const auto& instance) { return instance.param.name; });

} // namespace
