// Read(): results, status, traces and counters, first in the ordinary modes, then in ItcStrictBlocking.
#include "HookRecorder.h"
#include "LastErrors.h"
#include "OsFaults.h"
#include "Script.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

void expectNothingCounted(const OpenedConnection& connection)
{
    EXPECT_EQ(connection.readCallCount, 0u);
    EXPECT_EQ(connection.readByteCount, 0u);
}

ssize_t oneByteAtATime(int fd, void* buffer, size_t) { return ::read(fd, buffer, 1); }

// All options but ItcStrictBlocking read in the same way. A number without a meaning is one of these options.
class ConnectionRead : public testing::TestWithParam<int> {
protected:
    ConnectionRead() : pair(GetParam() == 1 ? itcConnection::ItcNonBlocking : itcConnection::ItcBlocking)
    {
        connection.connOptions = static_cast<itcConnection::ConnOptions>(GetParam());
        leaveMark(connection);
    }

    std::string failed(int error) const
    {
        return "itcConnection::Read() read/recv call failed. td: " + std::to_string(connection.td) +
               " errno = " + std::to_string(error);
    }

    StreamPair pair;
    OpenedConnection& connection = pair.near();
    char area[16] = {};
};

INSTANTIATE_TEST_SUITE_P(Modes, ConnectionRead, testing::Values(0, 1, 7));

TEST_P(ConnectionRead, ReturnsWhatIsThere)
{
    pair.farSends("hello");
    EXPECT_EQ(connection.Read(area, 16), 5);
    EXPECT_STREQ(area, "hello");
    EXPECT_THAT(connection, HasClearStatus());
    EXPECT_THAT(OsFaults::recv().asked(), ElementsAre(std::make_tuple(connection.td, static_cast<void*>(area), 16u)));
}

TEST_P(ConnectionRead, RecordsTheErrorNumberOfTheMomentOfTheStatus)
{
    OsFaults::recv().failNext(2, EXDEV);
    LastErrors wouldBlock({EAGAIN, 4711});
    EXPECT_EQ(connection.Read(area, 1), -1);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Would_Block, Warning, 4711));
    wouldBlock.then({ECONNRESET, 4712});
    EXPECT_EQ(connection.Read(area, 1), -1);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Read_Call_Failed, Error, 4712));
}

TEST_P(ConnectionRead, CountsCallsAndBytes)
{
    pair.farSends("hello");
    connection.Read(area, 2);
    connection.Read(area, 16);
    EXPECT_EQ(connection.readCallCount, 2u);
    EXPECT_EQ(connection.readByteCount, 5u);
    EXPECT_EQ(connection.writeCallCount, 0u);
    EXPECT_EQ(connection.writeByteCount, 0u);
}

TEST_P(ConnectionRead, GivesZeroWithAClearStatusWhenThePeerHasClosed)
{
    const HookRecorder hooks;
    pair.closeFar();
    EXPECT_EQ(connection.Read(area, 8), 0);
    EXPECT_THAT(connection, HasClearStatus());
    EXPECT_EQ(connection.readCallCount, 1u) << "a read like any other";
    EXPECT_EQ(connection.readByteCount, 0u);
    EXPECT_EQ(hooks.checks(), 0);
}

TEST_P(ConnectionRead, AsksForHalfAndHalfAgainBeforeItWouldBlock)
{
    const HookRecorder hooks;
    OsFaults::recv().failNext(4, EAGAIN);
    EXPECT_EQ(connection.Read(area, 8), -1);
    EXPECT_THAT(OsFaults::recv().askedArgument<2>(), ElementsAre(8, 4, 2, 1));
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
    EXPECT_TRUE(hooks.texts().empty());
    expectNothingCounted(connection);
}

TEST_P(ConnectionRead, ReturnsTheSmallerPieceThatItGot)
{
    pair.farSends("1234567");
    OsFaults::recv().failNext(1, EAGAIN);
    EXPECT_EQ(connection.Read(area, 7), 3);
    EXPECT_THAT(OsFaults::recv().askedArgument<2>(), ElementsAre(7, 3));
    EXPECT_THAT(connection, HasClearStatus());
    EXPECT_EQ(connection.readCallCount, 1u);
}

TEST_P(ConnectionRead, GoesOnWithTheSameLengthAfterAnInterruption)
{
    pair.farSends("12345678");
    OsFaults::recv().instead = failingInOrder({EINTR, EAGAIN, EINTR}, ::read);
    EXPECT_EQ(connection.Read(area, 8), 4);
    EXPECT_THAT(OsFaults::recv().askedArgument<2>(), ElementsAre(8, 8, 4, 4));
}

TEST_P(ConnectionRead, FailsWithTheSystemsErrorNumber)
{
    const HookRecorder hooks;
    OsFaults::recv().failNext(1, ECONNRESET);
    EXPECT_EQ(connection.Read(area, 8), -1);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Read_Call_Failed, Error, ECONNRESET));
    EXPECT_THAT(hooks.texts(), ElementsAre(failed(ECONNRESET)));
    expectNothingCounted(connection);
}

TEST_P(ConnectionRead, RecordsAFailureWhetherOrNotItIsTraced)
{
    HookRecorder hooks;
    hooks.check = [](short) { return false; };
    OsFaults::recv().failNext(1, ECONNRESET);
    connection.Read(area, 8);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Read_Call_Failed, Error, ECONNRESET));
    EXPECT_TRUE(hooks.texts().empty());
}

TEST_P(ConnectionRead, ServesOnAfterAFailure)
{
    pair.farSends("hello");
    OsFaults::recv().failNext(1, ECONNRESET);
    connection.Read(area, 8);
    EXPECT_EQ(connection.Read(area, 8), 5);
    EXPECT_THAT(connection, HasClearStatus());
}

TEST_P(ConnectionRead, RefusesANegativeLengthBeforeItReachesTheSystem)
{
    const HookRecorder hooks;
    pair.farSends("hello");
    EXPECT_EQ(connection.Read(area, -1), -1);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Read_Call_Failed, Error, EINVAL));
    EXPECT_THAT(hooks.texts(), ElementsAre(failed(EINVAL)));
    EXPECT_EQ(OsFaults::recv().calls(), 0);
    expectNothingCounted(connection);
}

TEST(ConnectionReadNonBlocking, WouldBlockOnASocketThatReallyHasNothing)
{
    StreamPair pair(itcConnection::ItcNonBlocking);
    char area[8];
    EXPECT_EQ(pair.near().Read(area, 8), -1) << "Write() gives 0 here";
    EXPECT_THAT(OsFaults::recv().askedArgument<2>(), ElementsAre(8, 4, 2, 1));
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
}

TEST(ConnectionReadNonBlocking, CountsBytesBeyond32Bits)
{
    StreamPair pair(itcConnection::ItcNonBlocking);
    pair.near().readByteCount = 0xFFFFFFFF;
    pair.farSends("x");
    char byte;
    pair.near().Read(&byte, 1);
    EXPECT_EQ(pair.near().readByteCount, 0x100000000u);
}

class ConnectionReadStrict : public testing::Test {
protected:
    ConnectionReadStrict() { leaveMark(connection); }

    std::string failed(int error) const
    {
        return "itcConnection::Read() read/recv (ItcStrictBlocking) call failed. td: " + std::to_string(connection.td) +
               " errno = " + std::to_string(error);
    }

    StreamPair pair{itcConnection::ItcStrictBlocking};
    OpenedConnection& connection = pair.near();
    char area[16] = {};
};

TEST_F(ConnectionReadStrict, ReceivesUntilAllIsThere)
{
    pair.farSends("abcd and more");
    OsFaults::recv().instead = oneByteAtATime;
    EXPECT_EQ(connection.Read(area, 4), 4);
    EXPECT_STREQ(area, "abcd");
    EXPECT_THAT(OsFaults::recv().askedArgument<2>(), ElementsAre(4, 3, 2, 1));
    EXPECT_THAT(OsFaults::recv().askedArgument<1>(), ElementsAre(area, area + 1, area + 2, area + 3));
    EXPECT_THAT(connection, HasClearStatus());
}

TEST_F(ConnectionReadStrict, CountsOneReadHoweverManyPiecesCame)
{
    pair.farSends("abcd");
    OsFaults::recv().instead = oneByteAtATime;
    connection.Read(area, 4);
    EXPECT_EQ(connection.readCallCount, 1u);
    EXPECT_EQ(connection.readByteCount, 4u);
}

TEST_F(ConnectionReadStrict, RecordsTheErrorNumberOfTheMomentOfTheStatus)
{
    OsFaults::recv().failNext(1, EXDEV);
    const LastErrors numbers({ECONNRESET, 4711});
    EXPECT_EQ(connection.Read(area, 1), -1);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Read_Call_Failed, Error, 4711));
}

TEST_F(ConnectionReadStrict, AsksForNothingWhenNothingIsWanted)
{
    EXPECT_EQ(connection.Read(area, 0), 0);
    EXPECT_EQ(OsFaults::recv().calls(), 0);
    EXPECT_THAT(connection, HasClearStatus());
    EXPECT_EQ(connection.readCallCount, 1u);
    EXPECT_EQ(connection.readByteCount, 0u);
}

TEST_F(ConnectionReadStrict, MarksAPeerThatClosedBeforeTheFirstByte)
{
    const HookRecorder hooks;
    pair.closeFar();
    errno = EXDEV;
    EXPECT_EQ(connection.Read(area, 4), 0);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Unexpected_Disconnection, Warning, EXDEV));
    EXPECT_EQ(OsFaults::recv().calls(), 1);
    EXPECT_EQ(hooks.checks(), 0);
    expectNothingCounted(connection);
}

TEST_F(ConnectionReadStrict, GoesOnReceivingZerosAfterTheFirstByte)
{
    // With a real peer that has closed, recv() returns 0 each time and this Read() never ends. The script ends the
    // read.
    OsFaults::recv().instead = [counts = std::vector<int>{1, 0, 0, 0, 3}, next = 0](int, void*, size_t) mutable {
        return static_cast<ssize_t>(counts[static_cast<size_t>(next++)]);
    };
    EXPECT_EQ(connection.Read(area, 4), 4);
    EXPECT_THAT(OsFaults::recv().askedArgument<2>(), ElementsAre(4, 3, 3, 3, 3));
    EXPECT_THAT(connection, HasClearStatus());
}

TEST_F(ConnectionReadStrict, AsksForTheRestAfterAnInterruption)
{
    pair.farSends("ab");
    OsFaults::recv().instead = failingInOrder({EINTR, 0, EINTR}, oneByteAtATime);
    EXPECT_EQ(connection.Read(area, 2), 2);
    EXPECT_STREQ(area, "ab");
    EXPECT_THAT(OsFaults::recv().askedArgument<2>(), ElementsAre(2, 2, 1, 1));
}

class ConnectionReadStrictFailure : public ConnectionReadStrict, public testing::WithParamInterface<int> {};

// In strict mode EAGAIN is a failure like any other error number.
INSTANTIATE_TEST_SUITE_P(Errors, ConnectionReadStrictFailure, testing::Values(EAGAIN, ECONNRESET));

TEST_P(ConnectionReadStrictFailure, EndsTheReadAtOnce)
{
    const HookRecorder hooks;
    OsFaults::recv().failNext(1, GetParam());
    EXPECT_EQ(connection.Read(area, 8), -1);
    EXPECT_EQ(OsFaults::recv().calls(), 1);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Read_Call_Failed, Error, GetParam()));
    EXPECT_THAT(hooks.texts(), ElementsAre(failed(GetParam())));
    expectNothingCounted(connection);
}

TEST_P(ConnectionReadStrictFailure, DropsThePieceThatHadCome)
{
    pair.farSends("abcd");
    OsFaults::recv().instead = failingInOrder({0, 0, GetParam()}, oneByteAtATime);
    EXPECT_EQ(connection.Read(area, 4), -1);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Read_Call_Failed, Error, GetParam()));
    expectNothingCounted(connection);
    EXPECT_EQ(connection.Pending(), 2) << "two bytes are gone from the socket";
}

TEST_F(ConnectionReadStrict, FailsOnADescriptorThatDoesNotBlock)
{
    ASSERT_TRUE(connection.SetOption(itcConnection::ItcNonBlocking));
    ASSERT_TRUE(connection.SetOption(itcConnection::ItcStrictBlocking));
    EXPECT_EQ(connection.Read(area, 4), -1);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Read_Call_Failed, Error, EAGAIN));
}

TEST_F(ConnectionReadStrict, TakesANegativeLengthAsDoneAtOnce)
{
    // Nothing is missing, so the loop receives nothing. The negative length is added to the counter.
    pair.farSends("hello");
    EXPECT_EQ(connection.Read(area, -5), -5);
    EXPECT_THAT(connection, HasClearStatus());
    EXPECT_EQ(OsFaults::recv().calls(), 0);
    EXPECT_EQ(connection.readCallCount, 1u);
    EXPECT_EQ(connection.readByteCount, static_cast<uint64_t>(-5));
}

} // namespace
