// Operations on a connection without a descriptor: the status, the trace, no system call.
#include "HookRecorder.h"
#include "OsFaults.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

struct Operation {
    const char* name;
    int (*call)(itcConnection&);
    int failure;
};

char area[8];

const Operation operations[] = {
    {"SetOption", [](itcConnection& c) { return c.SetOption(itcConnection::ItcNonBlocking) ? 1 : 0; }, 0},
    {"Pending", [](itcConnection& c) { return c.Pending(); }, -1},
    {"Write", [](itcConnection& c) { return c.Write(area, sizeof area); }, -1},
    {"Read", [](itcConnection& c) { return c.Read(area, sizeof area); }, -1},
};

class ConnectionWithoutDescriptor : public testing::TestWithParam<Operation> {};

INSTANTIATE_TEST_SUITE_P(Operations, ConnectionWithoutDescriptor, testing::ValuesIn(operations),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(ConnectionWithoutDescriptor, IsToldSo)
{
    OpenedConnection connection;
    errno = EXDEV;
    EXPECT_EQ(GetParam().call(connection), GetParam().failure);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error, EXDEV));
}

TEST_P(ConnectionWithoutDescriptor, IsToldSoForAnyNegativeDescriptor)
{
    OpenedConnection connection(-2, itcConnection::ItcTypeUnspecified);
    EXPECT_EQ(GetParam().call(connection), GetParam().failure);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error));
}

TEST_P(ConnectionWithoutDescriptor, TracesItUnderTheLibrarysFlag)
{
    const HookRecorder hooks;
    OpenedConnection connection;
    GetParam().call(connection);
    EXPECT_THAT(hooks.texts(),
                testing::ElementsAre("itcConnection::" + std::string(GetParam().name) + "() wrong socket descriptor"));
    EXPECT_THAT(hooks.flags(), testing::ElementsAre(HookRecorder::kivFlag));
    EXPECT_TRUE(hooks.errorReports().empty());
}

TEST_P(ConnectionWithoutDescriptor, RecordsItWhetherOrNotItIsTraced)
{
    HookRecorder hooks;
    hooks.check = [](short) { return false; };
    OpenedConnection connection;
    EXPECT_EQ(GetParam().call(connection), GetParam().failure);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error));
    EXPECT_TRUE(hooks.texts().empty());
    EXPECT_EQ(hooks.checks(), 1);
}

TEST_P(ConnectionWithoutDescriptor, ReachesNoSystemCall)
{
    OpenedConnection connection;
    GetParam().call(connection);
    EXPECT_EQ(OsFaults::setNonBlocking().calls(), 0);
    EXPECT_EQ(OsFaults::ioctl().calls(), 0);
    EXPECT_EQ(OsFaults::send().calls(), 0);
    EXPECT_EQ(OsFaults::recv().calls(), 0);
}

TEST(ConnectionWithoutADescriptor, RefusesTheOptionsThatAreOnlyStored)
{
    OpenedConnection connection;
    EXPECT_FALSE(connection.SetOption(itcConnection::ItcStrictBlocking));
    EXPECT_EQ(connection.connOptions, itcConnection::ItcBlocking);
}

TEST(ConnectionWithoutADescriptor, ReadsNothingInStrictModeEither)
{
    OpenedConnection connection(itcConnection::ItcStrictBlocking);
    EXPECT_EQ(connection.Read(area, 0), -1);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error));
    EXPECT_EQ(connection.readCallCount, 0u);
}

} // namespace
