// SetOption(): which options change the mode of the descriptor. Pending(): how many bytes wait.
#include "BareSocket.h"
#include "HookRecorder.h"
#include "OsFaults.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

namespace {

using testing::ElementsAre;

constexpr auto otherOption = static_cast<itcConnection::ConnOptions>(7);

struct Switch {
    const char* name;
    itcConnection::ConnOptions from, to;
    OsCall<int(int)>& (*call)();
    const char* failed;
};

const Switch switches[] = {
    {"ToNonBlocking", itcConnection::ItcBlocking, itcConnection::ItcNonBlocking, OsFaults::setNonBlocking,
     "itcConnection::SetOption() failed to set socket to non-blocking"},
    {"ToBlocking", itcConnection::ItcNonBlocking, itcConnection::ItcBlocking, OsFaults::setBlocking,
     "itcConnection::SetOption() failed to set socket to blocking"},
};

class ConnectionModeSwitch : public testing::TestWithParam<Switch> {
protected:
    ConnectionModeSwitch()
    {
        OsFaults::clearAll();
        leaveMark(connection);
    }

    StreamPair pair{GetParam().from};
    OpenedConnection& connection = pair.near();
};

INSTANTIATE_TEST_SUITE_P(Switches, ConnectionModeSwitch, testing::ValuesIn(switches),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(ConnectionModeSwitch, SwitchesTheDescriptorAndStoresTheOption)
{
    EXPECT_TRUE(connection.SetOption(GetParam().to));
    EXPECT_EQ(connection.connOptions, GetParam().to);
    EXPECT_EQ(isNonBlocking(connection.td), GetParam().to == itcConnection::ItcNonBlocking);
    EXPECT_THAT(GetParam().call().askedArgument<0>(), ElementsAre(connection.td));
}

TEST_P(ConnectionModeSwitch, NeverClearsTheStatus)
{
    connection.SetOption(GetParam().to);
    EXPECT_THAT(connection, StillHasMark());
}

TEST_P(ConnectionModeSwitch, KeepsOptionAndStatusWhenTheSystemRefuses)
{
    const HookRecorder hooks;
    GetParam().call().failNext(1, EBADF);
    EXPECT_FALSE(connection.SetOption(GetParam().to));
    EXPECT_EQ(connection.connOptions, GetParam().from);
    EXPECT_THAT(connection, StillHasMark());
    EXPECT_THAT(hooks.texts(), ElementsAre(GetParam().failed));
}

class ConnectionStoredOption : public testing::TestWithParam<itcConnection::ConnOptions> {};

INSTANTIATE_TEST_SUITE_P(Options, ConnectionStoredOption,
                         testing::Values(itcConnection::ItcStrictBlocking, otherOption,
                                         static_cast<itcConnection::ConnOptions>(-1)));

TEST_P(ConnectionStoredOption, LeavesTheDescriptorsModeAlone)
{
    StreamPair pair(itcConnection::ItcNonBlocking);
    OsFaults::clearAll();
    leaveMark(pair.near());

    EXPECT_TRUE(pair.near().SetOption(GetParam()));
    EXPECT_EQ(pair.near().connOptions, GetParam());
    EXPECT_TRUE(isNonBlocking(pair.near().td));
    EXPECT_EQ(OsFaults::setBlocking().calls() + OsFaults::setNonBlocking().calls(), 0);
    EXPECT_THAT(pair.near(), StillHasMark());
}

TEST(ConnectionPending, TellsHowManyBytesWait)
{
    StreamPair pair;
    leaveMark(pair.near());
    pair.farSends("hello");
    EXPECT_EQ(pair.near().Pending(), 5);
    EXPECT_THAT(pair.near(), HasClearStatus());
}

TEST(ConnectionPending, IsZeroWhereNothingWaits)
{
    StreamPair pair;
    EXPECT_EQ(pair.near().Pending(), 0);
    EXPECT_THAT(pair.near(), HasClearStatus());
    EXPECT_THAT(OsFaults::ioctl().askedArgument<1>(), ElementsAre(0x541Bu));
}

TEST(ConnectionPending, StartsFromZeroWhereTheSystemSaysNothing)
{
    StreamPair pair;
    OsFaults::ioctl().instead = [](int, unsigned long, void*) { return 0; };
    EXPECT_EQ(pair.near().Pending(), 0);
}

TEST(ConnectionPending, CountsNoRead)
{
    StreamPair pair;
    pair.farSends("hello");
    pair.near().Pending();
    EXPECT_EQ(pair.near().readCallCount, 0u);
    EXPECT_EQ(pair.near().readByteCount, 0u);
}

TEST(ConnectionPending, FailsWithTheSystemsErrorNumber)
{
    StreamPair pair;
    const HookRecorder hooks;
    OsFaults::ioctl().failNext(1, ENOTTY);
    EXPECT_EQ(pair.near().Pending(), -1);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Ioctl_Call_Failed, Error, ENOTTY));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcConnection::Pending() ioctl call failed"));
}

} // namespace
