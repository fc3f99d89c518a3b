// Write(): results, status, traces and counters, and the smaller requests after a send that would block.
#include "HookRecorder.h"
#include "LastErrors.h"
#include "OsFaults.h"
#include "Script.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace {

using testing::ElementsAre;

/// The trace of every failed send, even if the write then succeeds.
std::string returned(const OpenedConnection& connection, int error)
{
    return "itcConnection::Write() OS_send returned td: " + std::to_string(connection.td) +
           " nbw: -1 errno = " + std::to_string(error);
}

std::string failed(const OpenedConnection& connection, int error)
{
    return "itcConnection::Write() OS_send failed. td: " + std::to_string(connection.td) +
           " errno = " + std::to_string(error);
}

void expectNothingCounted(const OpenedConnection& connection)
{
    EXPECT_EQ(connection.writeCallCount, 0u);
    EXPECT_EQ(connection.writeByteCount, 0u);
}

const std::vector<char> area(8 << 20, 'x');

TEST(ConnectionWrite, SendsTheBytesAndClearsTheStatus)
{
    StreamPair pair;
    leaveMark(pair.near());
    EXPECT_EQ(pair.near().Write("hello", 5), 5);
    EXPECT_THAT(pair.near(), HasClearStatus());
    EXPECT_EQ(pair.farReceives(5), "hello");
}

TEST(ConnectionWrite, RecordsTheErrorNumberOfTheMomentOfTheStatus)
{
    StreamPair pair;
    OsFaults::send().failNext(2, EXDEV);
    LastErrors wouldBlock({EAGAIN, 4711});
    EXPECT_EQ(pair.near().Write("x", 1), 0);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Would_Block, Warning, 4711));
    wouldBlock.then({ECONNRESET, 4712});
    EXPECT_EQ(pair.near().Write("x", 1), -1);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Write_Call_Failed, Error, 4712));
}

TEST(ConnectionWrite, CountsCallsAndBytes)
{
    StreamPair pair;
    pair.near().Write("hello", 5);
    pair.near().Write("you", 3);
    EXPECT_EQ(pair.near().writeCallCount, 2u);
    EXPECT_EQ(pair.near().writeByteCount, 8u);
    EXPECT_EQ(pair.near().readCallCount, 0u);
    EXPECT_EQ(pair.near().readByteCount, 0u);
}

TEST(ConnectionWrite, CountsBytesBeyond32Bits)
{
    StreamPair pair;
    pair.near().writeByteCount = 0xFFFFFFFF;
    pair.near().Write("x", 1);
    EXPECT_EQ(pair.near().writeByteCount, 0x100000000u);
}

TEST(ConnectionWrite, MakesOneCallWithoutFlags)
{
    StreamPair pair;
    const char* const text = "hello";
    pair.near().Write(text, 5);
    EXPECT_THAT(OsFaults::send().asked(), ElementsAre(std::make_tuple(pair.near().td, text, 5u, 0)));
}

TEST(ConnectionWrite, AsksNoHookWhileAllGoesWell)
{
    const HookRecorder hooks;
    StreamPair pair;
    pair.near().Write("hello", 5);
    EXPECT_EQ(hooks.checks(), 0);
}

TEST(ConnectionWrite, SendsNothingWhenAskedForNothing)
{
    StreamPair pair;
    leaveMark(pair.near());
    EXPECT_EQ(pair.near().Write("", 0), 0);
    EXPECT_THAT(pair.near(), HasClearStatus());
    EXPECT_EQ(pair.near().writeCallCount, 1u);
}

TEST(ConnectionWrite, ReturnsWhatTheSocketTookAndLeavesTheRestToTheCaller)
{
    StreamPair pair(itcConnection::ItcNonBlocking);
    const int asked = static_cast<int>(area.size());
    const int taken = pair.near().Write(area.data(), asked);
    EXPECT_GT(taken, 0);
    EXPECT_LT(taken, asked);
    EXPECT_THAT(pair.near(), HasClearStatus());
    EXPECT_EQ(OsFaults::send().calls(), 1);
    EXPECT_EQ(pair.near().writeByteCount, static_cast<uint64_t>(taken));
}

TEST(ConnectionWrite, HalvesTheRequestUntilTheSocketTakesIt)
{
    StreamPair pair(itcConnection::ItcNonBlocking);
    OsFaults::send().failNext(2, EAGAIN);
    EXPECT_EQ(pair.near().Write(area.data(), 64), 16);
    EXPECT_THAT(OsFaults::send().askedArgument<2>(), ElementsAre(64, 32, 16));
    EXPECT_THAT(OsFaults::send().askedArgument<1>(), testing::Each(area.data())) << "always from the same start";
    EXPECT_THAT(pair.near(), HasClearStatus());
    EXPECT_EQ(pair.near().writeCallCount, 1u);
    EXPECT_EQ(pair.near().writeByteCount, 16u);
}

TEST(ConnectionWrite, RoundsAnOddHalfDown)
{
    StreamPair pair;
    OsFaults::send().failNext(2, EAGAIN);
    EXPECT_EQ(pair.near().Write("1234567", 7), 1);
    EXPECT_THAT(OsFaults::send().askedArgument<2>(), ElementsAre(7, 3, 1));
}

TEST(ConnectionWrite, EndsWithZeroWhenNotEvenOneByteIsTaken)
{
    StreamPair pair(itcConnection::ItcNonBlocking);
    OsFaults::send().failNext(4, EAGAIN);
    EXPECT_EQ(pair.near().Write("12345678", 8), 0);
    EXPECT_THAT(OsFaults::send().askedArgument<2>(), ElementsAre(8, 4, 2, 1));
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
    expectNothingCounted(pair.near());
}

TEST(ConnectionWrite, WouldBlockOnASocketThatIsReallyFull)
{
    StreamPair pair(itcConnection::ItcNonBlocking);
    int taken = 1;
    while (taken > 0)
        taken = pair.near().Write(area.data(), 4096);
    EXPECT_EQ(taken, 0);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
}

TEST(ConnectionWrite, DoesNotHalveNothing)
{
    StreamPair pair;
    OsFaults::send().failNext(1, EAGAIN);
    EXPECT_EQ(pair.near().Write("", 0), 0);
    EXPECT_EQ(OsFaults::send().calls(), 1);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
}

TEST(ConnectionWrite, GoesOnWithTheSameLengthAfterAnInterruption)
{
    StreamPair pair;
    OsFaults::send().failNext(3, EINTR);
    EXPECT_EQ(pair.near().Write("1234567890", 10), 10);
    EXPECT_THAT(OsFaults::send().askedArgument<2>(), ElementsAre(10, 10, 10, 10));
}

TEST(ConnectionWrite, KeepsTheHalvedLengthAcrossAnInterruption)
{
    StreamPair pair;
    OsFaults::send().instead = failingInOrder({EAGAIN, EINTR, EAGAIN}, ::send);
    EXPECT_EQ(pair.near().Write("12345678", 8), 2);
    EXPECT_THAT(OsFaults::send().askedArgument<2>(), ElementsAre(8, 4, 4, 2));
}

TEST(ConnectionWrite, TracesEverySendThatFails)
{
    StreamPair pair;
    const HookRecorder hooks;
    OsFaults::send().instead = failingInOrder({EINTR, EAGAIN}, ::send);
    pair.near().Write("12345678", 8);
    EXPECT_THAT(hooks.texts(), ElementsAre(returned(pair.near(), EINTR), returned(pair.near(), EAGAIN)));
    EXPECT_THAT(hooks.flags(), testing::Each(HookRecorder::kivFlag));
}

TEST(ConnectionWrite, DoesNotTraceWouldBlockBeyondTheSendItself)
{
    StreamPair pair;
    const HookRecorder hooks;
    OsFaults::send().failNext(1, EAGAIN);
    pair.near().Write("1", 1);
    EXPECT_THAT(hooks.texts(), ElementsAre(returned(pair.near(), EAGAIN)));
}

TEST(ConnectionWrite, FailsWithTheSystemsErrorNumber)
{
    StreamPair pair;
    const HookRecorder hooks;
    OsFaults::send().failNext(1, ENOBUFS);
    EXPECT_EQ(pair.near().Write("hello", 5), -1);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Write_Call_Failed, Error, ENOBUFS));
    EXPECT_THAT(hooks.texts(), ElementsAre(returned(pair.near(), ENOBUFS), failed(pair.near(), ENOBUFS)));
    expectNothingCounted(pair.near());
}

TEST(ConnectionWrite, ServesOnAfterAFailure)
{
    StreamPair pair;
    OsFaults::send().failNext(1, ENOBUFS);
    pair.near().Write("hello", 5);
    EXPECT_EQ(pair.near().connState, itcConnection::ItcStateConnected);
    EXPECT_EQ(pair.near().Write("hello", 5), 5);
    EXPECT_THAT(pair.near(), HasClearStatus());
}

TEST(ConnectionWrite, FailsTowardsAPeerThatHasClosed)
{
    StreamPair pair;
    pair.closeFar();
    EXPECT_EQ(pair.near().Write("hello", 5), -1); // the test program ignores SIGPIPE; every host should do this, too
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Write_Call_Failed, Error, EPIPE));
}

TEST(ConnectionWrite, RaisesSigpipeTowardsAPeerThatHasClosed)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::signal(SIGPIPE, SIG_DFL);
            StreamPair pair;
            pair.closeFar();
            pair.near().Write("hello", 5);
        },
        testing::KilledBySignal(SIGPIPE), "");
}

TEST(ConnectionWrite, RefusesANegativeLengthBeforeItReachesTheSystem)
{
    StreamPair pair;
    const HookRecorder hooks;
    EXPECT_EQ(pair.near().Write("hello", -1), -1);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Write_Call_Failed, Error, EINVAL));
    EXPECT_THAT(hooks.texts(), ElementsAre(returned(pair.near(), EINVAL), failed(pair.near(), EINVAL)));
    EXPECT_EQ(OsFaults::send().calls(), 0);
    expectNothingCounted(pair.near());
}

TEST(ConnectionWrite, WritesInStrictModeLikeInAnyOther)
{
    StreamPair pair(itcConnection::ItcStrictBlocking);
    OsFaults::send().failNext(1, EAGAIN);
    EXPECT_EQ(pair.near().Write("1234", 4), 2);
}

} // namespace
