// Close(), the destructor and Shutdown(): what happens to the descriptor, the connection count and the state.
#include "BareSocket.h"
#include "HookRecorder.h"
#include "OsFaults.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace {

using testing::ElementsAre;

constexpr const char* closeFailed = "itcConnection::Close() close/closesocket call failed";

TEST(ConnectionClose, ClosesTheDescriptorAndLowersTheCount)
{
    StreamPair pair;
    const int td = pair.near().td;
    const int counted = itcConnection::getConnectionCount();
    leaveMark(pair.near());

    EXPECT_TRUE(pair.near().Close());
    EXPECT_FALSE(isOpen(td));
    EXPECT_EQ(pair.near().td, -1);
    EXPECT_EQ(pair.near().connState, itcConnection::ItcStateClosed);
    EXPECT_THAT(pair.near(), HasClearStatus());
    EXPECT_EQ(itcConnection::getConnectionCount(), counted - 1);
}

TEST(ConnectionClose, TheSecondTimeOnlyClearsTheStatus)
{
    StreamPair pair;
    pair.near().Close();
    const int counted = itcConnection::getConnectionCount();
    leaveMark(pair.near());

    EXPECT_TRUE(pair.near().Close());
    EXPECT_THAT(pair.near(), HasClearStatus());
    EXPECT_EQ(OsFaults::closesocket().calls(), 1);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST(ConnectionClose, EndsAnyStateEvenWithoutADescriptor)
{
    OpenedConnection connection;
    connection.connState = itcConnection::ItcStateShutdown;
    EXPECT_TRUE(connection.Close());
    EXPECT_EQ(connection.connState, itcConnection::ItcStateClosed);
    EXPECT_EQ(OsFaults::closesocket().calls(), 0);
}

TEST(ConnectionClose, KeepsTheTrafficCountersAndTheOption)
{
    StreamPair pair(itcConnection::ItcNonBlocking);
    pair.near().Write("hello", 5);
    pair.near().Close();
    EXPECT_EQ(pair.near().writeCallCount, 1u);
    EXPECT_EQ(pair.near().writeByteCount, 5u);
    EXPECT_EQ(pair.near().connOptions, itcConnection::ItcNonBlocking);
}

TEST(ConnectionClose, KeepsTheDescriptorAndTheCountWhenTheSystemRefuses)
{
    StreamPair pair;
    const HookRecorder hooks;
    const int td = pair.near().td;
    const int counted = itcConnection::getConnectionCount();
    OsFaults::closesocket().failNext(1, EIO);

    EXPECT_FALSE(pair.near().Close());
    EXPECT_EQ(pair.near().td, td);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    EXPECT_EQ(pair.near().connState, itcConnection::ItcStateClosed) << "the state changes first thing";
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Close_Call_Failed, Error, EIO));
    EXPECT_THAT(hooks.texts(), ElementsAre(closeFailed));
}

TEST(ConnectionClose, SucceedsOnceTheSystemAgrees)
{
    StreamPair pair;
    OsFaults::closesocket().failNext(1, EIO);
    pair.near().Close();
    EXPECT_TRUE(pair.near().Close());
    EXPECT_EQ(pair.near().td, -1);
    EXPECT_THAT(pair.near(), HasClearStatus());
}

TEST(ConnectionClose, LowersTheCountForADescriptorThatWasNeverCounted)
{
    const int counted = itcConnection::getConnectionCount();
    OpenedConnection connection(::dup(STDERR_FILENO), itcConnection::ItcTypeConnection);
    connection.Close();
    EXPECT_EQ(itcConnection::getConnectionCount(), counted - 1);
    itcConnection::incConnCount();
}

TEST(ConnectionDestruction, ClosesTheDescriptorAndLowersTheCount)
{
    const int counted = itcConnection::getConnectionCount();
    const int td = ::dup(STDERR_FILENO);
    {
        const OpenedConnection connection(td, itcConnection::ItcTypeConnection);
        itcConnection::incConnCount();
    }
    EXPECT_FALSE(isOpen(td));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST(ConnectionDestruction, ClosesNothingWithoutADescriptor)
{
    const int counted = itcConnection::getConnectionCount();
    {
        const OpenedConnection connection;
    }
    EXPECT_EQ(OsFaults::closesocket().calls(), 0);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST(ConnectionDestruction, GoesThroughTheVirtualDestructor)
{
    const int td = ::dup(STDERR_FILENO);
    itcConnection::incConnCount();
    delete static_cast<itcConnection*>(new OpenedConnection(td, itcConnection::ItcTypeConnection));
    EXPECT_FALSE(isOpen(td));
}

TEST(ConnectionDestruction, PassesOverARefusedClose)
{
    const HookRecorder hooks;
    const int td = ::dup(STDERR_FILENO);
    const int counted = itcConnection::getConnectionCount();
    std::optional<OpenedConnection> connection(std::in_place, td, itcConnection::ItcTypeConnection);
    OsFaults::closesocket().failNext(1, EIO);
    connection.reset();

    EXPECT_THAT(hooks.texts(), ElementsAre(closeFailed));
    EXPECT_EQ(OsFaults::closesocket().calls(), 1);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    ::close(td);
}

struct Direction {
    OS_shutdown_mode how;
    const char* name;
    bool readsOn, writesOn;
};

class ConnectionShutdown : public testing::TestWithParam<Direction> {};

INSTANTIATE_TEST_SUITE_P(Directions, ConnectionShutdown,
                         testing::Values(Direction{OS_shutdown_receive, "Receive", false, true},
                                         Direction{OS_shutdown_send, "Send", true, false},
                                         Direction{OS_shutdown_both, "Both", false, false}),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(ConnectionShutdown, EndsTheDirectionAndIsRemembered)
{
    StreamPair pair(itcConnection::ItcNonBlocking);
    leaveMark(pair.near());
    EXPECT_TRUE(pair.near().Shutdown(GetParam().how));
    EXPECT_THAT(pair.near(), HasClearStatus());
    EXPECT_EQ(pair.near().connState, itcConnection::ItcStateShutdown);
    EXPECT_THAT(OsFaults::shutdown().asked(), ElementsAre(std::make_tuple(pair.near().td, GetParam().how)));

    char byte;
    EXPECT_EQ(pair.near().Read(&byte, 1), GetParam().readsOn ? -1 : 0) << "would block, or the end";
    EXPECT_EQ(pair.near().Write("x", 1), GetParam().writesOn ? 1 : -1);
}

TEST(ConnectionShutdownFailure, KeepsTheState)
{
    StreamPair pair;
    const HookRecorder hooks;
    OsFaults::shutdown().failNext(1, ENOTCONN);
    EXPECT_FALSE(pair.near().Shutdown(OS_shutdown_both));
    EXPECT_EQ(pair.near().connState, itcConnection::ItcStateConnected);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Shutdown_Call_Failed, Error, ENOTCONN));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcConnection::Shutdown() shutdown call failed"));
}

TEST(ConnectionShutdownFailure, ComesFromTheSystemEvenWithoutADescriptor)
{
    OpenedConnection connection;
    EXPECT_FALSE(connection.Shutdown(OS_shutdown_both));
    EXPECT_THAT(OsFaults::shutdown().askedArgument<0>(), ElementsAre(-1));
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Shutdown_Call_Failed, Error, EBADF));
    EXPECT_EQ(connection.connState, itcConnection::ItcStateClosed);
}

} // namespace
