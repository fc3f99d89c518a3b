// The ends that the host asks for: finish() in good order, close() at once. The first reason counts.
#include "TimedConversation.h"

#include <chrono>
#include <csignal>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class AnEnd : public ConversationOverEachStream {};
INSTANTIATE_TEST_SUITE_P(Over, AnEnd, testing::ValuesIn(streamKinds), streamName);

class ASessionThatEnds : public Conversation {};

class AFinish : public TimedConversation {};

} // namespace

TEST_P(AnEnd, ByFinishSendsWhatWaitsAndWaitsForThePeer)
{
    Throttle socket(0);
    ASSERT_TRUE(session().send(1));
    ASSERT_TRUE(session().send(2));
    session().finish();
    EXPECT_FALSE(session().isOpen());
    socket.allow(1000);
    ASSERT_TRUE(runUntil([&] {
        peer.read();
        return peer.hasEnded;
    }));
    EXPECT_THAT(peer.numbers(), ElementsAre(1, 2));
    EXPECT_THAT(ends, IsEmpty());
    peer.close();
    expectEnd(itcClosed::closedByUs);
}

TEST_P(AnEnd, ByCloseIsToldInTheNextCycle)
{
    session().close();
    EXPECT_FALSE(session().isOpen());
    EXPECT_THAT(ends, IsEmpty());
    expectEnd(itcClosed::closedByUs);
    ASSERT_TRUE(runUntil([&] {
        peer.read();
        return peer.hasEnded;
    }));
}

TEST_P(AnEnd, ByFinishHandsOverWhatArrivesMeanwhile)
{
    session().finish();
    peer.send(frameOf(1) + frameOf(2));
    peer.close();
    expectEnd(itcClosed::closedByUs);
    EXPECT_THAT(numbers, ElementsAre(1, 2));
}

TEST_P(AnEnd, ByFinishReadsAgainAfterAPause)
{
    session().pauseReading();
    session().finish();
    peer.send(frameOf(1));
    peer.close();
    expectEnd(itcClosed::closedByUs);
    EXPECT_THAT(numbers, ElementsAre(1));
}

// A peer that reads a little now and then must not hold the end up.
TEST_F(ASessionThatEnds, IsStuckWhenThePeerHasClosedAndDoesNotReadInTime)
{
    Throttle socket(0);
    ASSERT_TRUE(session().send(1));
    peer.shutDown();
    runCycles();
    EXPECT_TRUE(ends.empty());
    session().finish(10ms);
    expectEnd(itcClosed::stuck);
}

TEST_F(ASessionThatEnds, KnowsTheAddressOfItsPeerAfterItsEnd)
{
    EXPECT_EQ(session().peerAddress(), "local");
    session().close();
    expectEnd(itcClosed::closedByUs);
    EXPECT_EQ(session().peerAddress(), "local");
}

TEST_F(ASessionThatEnds, GivesItsHandleAsLongAsItHasNotEnded)
{
    const itcSession::Handle handle = session().handle();
    EXPECT_EQ(handle.get(), owned.get());
    session().finish();
    EXPECT_EQ(handle.get(), owned.get());
    session().close();
    EXPECT_EQ(handle.get(), nullptr);
}

TEST_F(ASessionThatEnds, GivesNoHandleWhenItIsDestroyed)
{
    const itcSession::Handle handle = session().handle();
    owned.reset();
    EXPECT_EQ(handle.get(), nullptr);
    EXPECT_EQ(itcSession::Handle().get(), nullptr);
}

TEST_F(ASessionThatEnds, HasClosedItsConnectionWhenItsFunctionIsCalled)
{
    bool isOpenInside = true;
    session().onClosed([&](const itcClosed& why) {
        ends.push_back(why);
        isOpenInside = ::isOpen(descriptor);
        EXPECT_EQ(session().connection(), nullptr);
        EXPECT_FALSE(session().send(1));
        session().close();
        session().finish();
        session().pauseReading();
        session().resumeReading();
    });
    peer.close();
    expectEnd(itcClosed::peerLeft);
    EXPECT_FALSE(isOpenInside);
}

TEST_F(ASessionThatEnds, CallsNobodyBehindItsEnd)
{
    peer.send(frameOf(1));
    session().close();
    expectEnd(itcClosed::closedByUs);
    EXPECT_THAT(numbers, IsEmpty());
}

TEST_F(ASessionThatEnds, CallsNobodyWhenItIsDestroyed)
{
    peer.send(frameOf(1));
    session().close();
    owned.reset();
    runCycles();
    EXPECT_THAT(ends, IsEmpty());
    EXPECT_THAT(numbers, IsEmpty());
    EXPECT_FALSE(::isOpen(descriptor));
}

TEST_F(ASessionThatEnds, ReadsNoMorePacketsAfterACloseInItsFunction)
{
    session().onPacket([&](itcNDRReceive&) {
        numbers.push_back(0);
        session().close();
    });
    peer.send(frameOf(1) + frameOf(2));
    expectEnd(itcClosed::closedByUs);
    EXPECT_THAT(numbers, ElementsAre(0));
}

TEST_F(ASessionThatEnds, TellsWhyItNeverBegan)
{
    std::vector<itcClosed> told;
    itcSession nothing(nullptr, dispatcher);
    itcSession closed(std::make_unique<itcConnection>(), dispatcher);
    for (itcSession* one : {&nothing, &closed}) {
        one->onClosed([&](const itcClosed& why) { told.push_back(why); });
        EXPECT_FALSE(one->isOpen());
        EXPECT_FALSE(one->send(1));
        EXPECT_EQ(one->peerAddress(), "");
    }
    runCycles();
    ASSERT_EQ(told.size(), 2u);
    for (const itcClosed& why : told) {
        EXPECT_EQ(why.reason, itcClosed::systemError);
        EXPECT_EQ(why.errorNumber, EBADF);
    }
}

TEST_F(ASessionThatEnds, TellsThatTheDispatcherCannotServeItsDescriptor)
{
    misusesByIntent();
    const int high = ::fcntl(peer.get(), F_DUPFD, 1024);
    if (high < 0)
        GTEST_SKIP() << "the process may not have so many descriptors";
    itcSession beyond(connectionOver(high), dispatcher);
    std::vector<itcClosed> told;
    beyond.onClosed([&](const itcClosed& why) { told.push_back(why); });
    runCycles();
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(told[0].reason, itcClosed::connectionLimit);
    EXPECT_FALSE(::isOpen(high));
}

TEST_F(ASessionThatEnds, TellsThatItsDescriptorCannotBeSwitched)
{
    SocketEnds sockets = connectLocally();
    OsFaults::setNonBlocking().failNext(1, ENOTTY);
    itcSession refused(connectionOver(sockets.near), dispatcher);
    std::vector<itcClosed> told;
    refused.onClosed([&](const itcClosed& why) { told.push_back(why); });
    runCycles();
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(told[0].reason, itcClosed::systemError);
    EXPECT_EQ(told[0].errorNumber, ENOTTY);
}

TEST_F(ASessionThatEnds, HasMadeItsDescriptorNonBlockingAndClosedOnExec)
{
    EXPECT_TRUE(isNonBlocking(descriptor));
    EXPECT_TRUE(isClosedOnExec(descriptor));
    ASSERT_NE(session().connection(), nullptr);
    EXPECT_EQ(session().connection()->ReadDescriptor(), descriptor);
}

TEST_F(ASessionThatEnds, TellsAReadThatFails)
{
    OsFaults::recv().failNext(1, EIO);
    peer.send(frameOf(1));
    expectEnd(itcClosed::systemError, EIO);
}

TEST_F(AFinish, EndsAtItsDeadlineWhenThePeerDoesNotClose)
{
    session().finish();
    pass(5s - 1ms);
    EXPECT_THAT(ends, IsEmpty());
    pass(1ms);
    expectEndNow(itcClosed::closedByUs);
}

TEST_F(AFinish, IsStuckAtItsDeadlineWhenPacketsStillWait)
{
    const Throttle socket(3);
    ASSERT_TRUE(session().send(1));
    session().finish(100ms);
    pass(99ms);
    EXPECT_THAT(ends, IsEmpty());
    pass(1ms);
    expectEndNow(itcClosed::stuck);
}

TEST_F(AFinish, WithoutTimeEndsInTheNextCycle)
{
    session().finish(0ms);
    EXPECT_THAT(ends, IsEmpty());
    runCycles();
    expectEndNow(itcClosed::closedByUs);
}

TEST_F(AFinish, MayTakeTheLongestTime)
{
    session().finish(itcSession::Duration::max());
    pass(1h);
    EXPECT_THAT(ends, IsEmpty());
    peer.close();
    runCycles();
    expectEndNow(itcClosed::closedByUs);
}

TEST_F(AFinish, KeepsTheDeadlineOfTheFirstOfTwo)
{
    session().finish(100ms);
    session().finish(1h);
    pass(100ms);
    expectEndNow(itcClosed::closedByUs);
}

TEST_F(AFinish, AcceptsNoFurtherPackets)
{
    session().finish();
    EXPECT_FALSE(session().send(1));
    EXPECT_THAT(session().status(), HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error));
}

TEST_F(AFinish, IsCutShortByAClose)
{
    const Throttle socket(0);
    ASSERT_TRUE(session().send(1));
    session().finish(1h);
    session().close();
    runCycles();
    expectEndNow(itcClosed::closedByUs);
}

TEST_F(AFinish, AfterACloseChangesNothing)
{
    session().close();
    session().finish(1h);
    runCycles();
    expectEndNow(itcClosed::closedByUs);
}

TEST_F(AFinish, TellsThatAPacketOfThePeerIsLost)
{
    session().finish();
    peer.send("QV");
    peer.close();
    runCycles();
    expectEndNow(itcClosed::peerLeftInsidePacket);
}

TEST_F(AFinish, EndsWithTheReasonOfABadPacketThatArrivesMeanwhile)
{
    session().finish();
    peer.send("hello, world");
    runCycles();
    expectEndNow(itcClosed::notOurProtocol);
}

TEST_F(AFinish, DoesNotWaitLongerForAPacketThanThePacketMayTake)
{
    session().finish(1h);
    peer.send("QV");
    runCycles();
    pass(30s);
    expectEndNow(itcClosed::tooSlow);
}

TEST_F(AFinish, IsNotDisturbedBySilence)
{
    session().setIdleTimeout(1s);
    session().finish(1h);
    pass(1min);
    EXPECT_THAT(ends, IsEmpty());
}

TEST_F(AFinish, InsideTheFunctionForPacketsSendsTheAnswerFirst)
{
    session().onPacket([&](itcNDRReceive&) {
        EXPECT_TRUE(session().send(2));
        session().finish();
    });
    peer.send(frameOf(1));
    runCycles();
    EXPECT_THAT(peer.numbers(), ElementsAre(2));
    EXPECT_TRUE(peer.hasEnded);
    peer.close();
    runCycles();
    expectEndNow(itcClosed::closedByUs);
}
