// The diagnostic hooks: what is installed at the start of a process, how hooks are installed, how flags are registered.
#include "FreshProcess.h"
#include "HookRecorder.h"

#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/itcInetSockDgram.h>
#include <kiv/foundation/KivDebug.h>
#include <kiv/foundation/OS.h>

#include <gmock/gmock.h>

#include <climits>
#include <tuple>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Registration = std::tuple<std::string, std::string, std::string, std::string>;
std::vector<Registration> registrations;

void print(short, const char*) {}

bool check(short) { return false; }

// Returns 7, then 8, then 9.
short registerFlag(const char* component, const char* group, const char* name, const char* description)
{
    registrations.emplace_back(component, group, name, description);
    return static_cast<short>(6 + registrations.size());
}

short registerElsewhere(const char*, const char*, const char*, const char*) { return 70; }

// Installs another hook at its first call. The other hook then registers the remaining flags.
short registerOnlyTheFirst(const char*, const char*, const char*, const char*)
{
    KivDebug::pRegisterDbgFlag = registerElsewhere;
    return 60;
}

void error(KivError::ErrPrio, KivError::ErrType, KivError::KivErrorCode, const char*, const char*, const char*) {}

class KivDebugHooks : public testing::Test {
protected:
    KivDebugHooks() { registrations.clear(); }

    HookRecorder whatWasInstalled; // restores the earlier hooks
};

std::vector<short> flags() { return {KivDebug::DBG_KIV, KivDebug::DBG_NFR, KivDebug::DBG_SSL}; }

TEST(KivDebugAtStart, HasNoPrintHooks)
{
    expectInFreshProcess([] {
        EXPECT_EQ(KivDebug::pKivDebugPrint, nullptr);
        EXPECT_EQ(KivDebug::pKivErrorPrint, nullptr);
    });
}

TEST(KivDebugAtStart, SaysNoToEveryFlag)
{
    expectInFreshProcess([] {
        for (int flag = SHRT_MIN; flag <= SHRT_MAX; ++flag)
            ASSERT_FALSE(KivDebug::pKivDebugCheck(static_cast<short>(flag)));
    });
}

TEST(KivDebugAtStart, RegistersNothing)
{
    expectInFreshProcess([] {
        EXPECT_EQ(KivDebug::pRegisterDbgFlag("component", "group", "name", "description"), -1);
        EXPECT_EQ(KivDebug::pRegisterDbgFlag(nullptr, nullptr, nullptr, nullptr), -1);
    });
}

TEST(KivDebugAtStart, HasNoFlags)
{
    expectInFreshProcess([] { EXPECT_THAT(flags(), ElementsAre(-1, -1, -1)); });
}

// The print hook is null at the start. A call of a null hook would end the process.
TEST(KivDebugAtStart, IsSilent)
{
    expectInFreshProcess([] {
        OS_freeaddrinfo(nullptr);
        EXPECT_FALSE(itcInetAddress().lookup("127.0.0.1", "nosuchservice", 6));
        itcInetSockDgram datagrams;
        datagrams.setTcpNodelay(true);
    });
}

TEST_F(KivDebugHooks, AreStoredAsGiven)
{
    KivDebug::initKivDebugPrint(print, check, registerFlag);

    EXPECT_EQ(KivDebug::pKivDebugPrint, print);
    EXPECT_EQ(KivDebug::pKivDebugCheck, check);
    EXPECT_EQ(KivDebug::pRegisterDbgFlag, registerFlag);
}

TEST_F(KivDebugHooks, LearnOfThreeFlagsInThisOrder)
{
    KivDebug::initKivDebugPrint(print, check, registerFlag);

    EXPECT_THAT(registrations,
                ElementsAre(Registration("Core", "Communication", "KIV", "debugs of KIV communication layer"),
                            Registration("Core", "Communication", "NFR",
                                         "performance information for KIV and Tobrin Framework"),
                            Registration("Core", "Communication", "SSL", "debug information from OpenSSL")));
}

TEST_F(KivDebugHooks, GiveTheFlagsTheirIds)
{
    KivDebug::initKivDebugPrint(print, check, registerFlag);

    EXPECT_THAT(flags(), ElementsAre(7, 8, 9));
}

TEST_F(KivDebugHooks, RegisterAgainWhenInstalledAgain)
{
    KivDebug::initKivDebugPrint(print, check, registerFlag);
    KivDebug::initKivDebugPrint(print, check, registerElsewhere);

    EXPECT_EQ(registrations.size(), 3u);
    EXPECT_THAT(flags(), ElementsAre(70, 70, 70));
}

TEST_F(KivDebugHooks, AreReadAnewBeforeEachRegistration)
{
    KivDebug::initKivDebugPrint(print, check, registerOnlyTheFirst);

    EXPECT_THAT(flags(), ElementsAre(60, 70, 70));
}

TEST_F(KivDebugHooks, LeaveTheErrorHookAlone)
{
    KivDebug::initKivErrorPrint(error);
    KivDebug::initKivDebugPrint(print, check, registerFlag);

    EXPECT_EQ(KivDebug::pKivErrorPrint, error);
}

TEST_F(KivDebugHooks, OfErrorsAreStoredAndNothingElseHappens)
{
    KivDebug::initKivDebugPrint(print, check, registerFlag);
    registrations.clear();

    KivDebug::initKivErrorPrint(error);

    EXPECT_EQ(KivDebug::pKivErrorPrint, error);
    EXPECT_EQ(KivDebug::pKivDebugPrint, print);
    EXPECT_EQ(KivDebug::pKivDebugCheck, check);
    EXPECT_EQ(KivDebug::pRegisterDbgFlag, registerFlag);
    EXPECT_THAT(registrations, IsEmpty());
    EXPECT_THAT(flags(), ElementsAre(7, 8, 9));
}

TEST_F(KivDebugHooks, OfErrorsAreSwitchedOffByNull)
{
    KivDebug::initKivErrorPrint(error);
    KivDebug::initKivErrorPrint(nullptr);

    EXPECT_EQ(KivDebug::pKivErrorPrint, nullptr);
    itcInetSockDgram().setTcpNodelay(true); // would report
}

TEST(ErrorReport, CarriesPlainNumbersAndNullForTextsNotUsed)
{
    HookRecorder hooks;

    itcInetSockDgram().setTcpNodelay(true);

    const auto reports = hooks.errorReports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].priority, 1);
    EXPECT_EQ(reports[0].type, 0);
    EXPECT_EQ(reports[0].code, 54);
    EXPECT_EQ(reports[0].text1, "setTcpNodelay()");
    EXPECT_EQ(reports[0].text2, "not applicable!");
    EXPECT_EQ(reports[0].text3, std::nullopt);
}

} // namespace
