// The limits of time, with a clock that only the test moves.
#include "TimedConversation.h"

#include <chrono>
#include <string>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class ADeadline : public TimedConversation {};

} // namespace

TEST_F(ADeadline, EndsASilentPeerAfterFiveMinutes)
{
    pass(5min - 1ms);
    EXPECT_THAT(ends, IsEmpty());
    pass(1ms);
    expectEndNow(itcClosed::silent);
}

TEST_F(ADeadline, OfSilenceCountsFromTheLatestByte)
{
    session().setPacketTimeout(0ms).setIdleTimeout(100ms);
    for (const char byte : frameOf(1)) {
        pass(99ms);
        peer.send(std::string(1, byte));
        runCycles();
    }
    EXPECT_THAT(numbers, ElementsAre(1));
    pass(99ms);
    EXPECT_THAT(ends, IsEmpty());
    pass(1ms);
    expectEndNow(itcClosed::silent);
}

TEST_F(ADeadline, OfSilenceIsMovedByAHeartbeat)
{
    session().setIdleTimeout(100ms);
    for (int i = 0; i < 5; ++i) {
        pass(99ms);
        peer.send(heartbeatFrame());
        runCycles();
    }
    EXPECT_THAT(ends, IsEmpty());
}

TEST_F(ADeadline, OfSilenceIsNotMovedByWhatIsSent)
{
    session().setIdleTimeout(100ms);
    pass(60ms);
    ASSERT_TRUE(session().send(1));
    pass(40ms);
    expectEndNow(itcClosed::silent);
}

TEST_F(ADeadline, OfSilenceMayComeNearerAtAnyTime)
{
    pass(1s);
    session().setIdleTimeout(1s);
    runCycles();
    expectEndNow(itcClosed::silent);
}

TEST_F(ADeadline, OfSilenceIsSwitchedOffByZero)
{
    session().setIdleTimeout(0ms);
    pass(1000h);
    EXPECT_THAT(ends, IsEmpty());
}

TEST_F(ADeadline, OfSilenceIsSwitchedOffByANegativeTime)
{
    session().setIdleTimeout(-1ms);
    pass(1000h);
    EXPECT_THAT(ends, IsEmpty());
}

TEST_F(ADeadline, OfSilenceMayBeTheLongestTime)
{
    session().setIdleTimeout(itcSession::Duration::max()).setPacketTimeout(itcSession::Duration::max());
    peer.send("Q");
    pass(1000h);
    EXPECT_THAT(ends, IsEmpty());
}

TEST_F(ADeadline, OfAPacketCountsFromItsFirstByte)
{
    const std::string frame = frameOf(1);
    for (std::size_t i = 0; i < 10; ++i) { // the peer goes on sending all the time
        peer.send(frame.substr(i, 1));
        runCycles();
        pass(3s - 1ms);
    }
    EXPECT_THAT(ends, IsEmpty());
    pass(10ms);
    expectEndNow(itcClosed::tooSlow);
}

TEST_F(ADeadline, OfAPacketIsOverWithItsLastByte)
{
    session().setPacketTimeout(100ms);
    peer.send(frameOf(1).substr(0, 5));
    pass(99ms);
    peer.send(frameOf(1).substr(5));
    pass(1s);
    EXPECT_THAT(numbers, ElementsAre(1));
    EXPECT_THAT(ends, IsEmpty());
}

TEST_F(ADeadline, OfAPacketBeginsAnewWithEachPacket)
{
    session().setPacketTimeout(100ms);
    peer.send(frameOf(1).substr(0, 5));
    pass(60ms);
    peer.send(frameOf(1).substr(5) + frameOf(2).substr(0, 5));
    runCycles();
    pass(60ms);
    EXPECT_THAT(ends, IsEmpty());
    pass(40ms);
    expectEndNow(itcClosed::tooSlow);
}

TEST_F(ADeadline, OfAPacketIsSwitchedOffByZero)
{
    session().setPacketTimeout(0ms);
    peer.send("Q");
    pass(4min);
    EXPECT_THAT(ends, IsEmpty());
}

TEST_F(ADeadline, OfSendingEndsASessionWhosePeerDoesNotRead)
{
    const Throttle socket(0);
    ASSERT_TRUE(session().send(1));
    pass(30s - 1ms);
    EXPECT_THAT(ends, IsEmpty());
    pass(1ms);
    expectEndNow(itcClosed::stuck);
}

TEST_F(ADeadline, OfSendingIsMovedByEachByteThatThePeerTakes)
{
    session().setSendTimeout(100ms);
    Throttle socket(0);
    ASSERT_TRUE(session().send(1));
    for (std::size_t i = 1; i < intFrame; ++i) {
        pass(99ms);
        socket.allow(1);
        runCycles();
    }
    pass(99ms);
    EXPECT_THAT(ends, IsEmpty());
    pass(1ms);
    expectEndNow(itcClosed::stuck);
}

TEST_F(ADeadline, OfSendingCountsOnlyWhilePacketsWait)
{
    session().setSendTimeout(100ms);
    Throttle socket(1000);
    ASSERT_TRUE(session().send(1));
    pass(1s);
    socket.allow(0);
    EXPECT_THAT(ends, IsEmpty());
}

TEST_F(ADeadline, OfSendingBeginsWhenAPacketBeginsToWait)
{
    session().setSendTimeout(100ms);
    pass(10s);
    const Throttle socket(0);
    ASSERT_TRUE(session().send(1));
    pass(99ms);
    EXPECT_THAT(ends, IsEmpty());
    pass(1ms);
    expectEndNow(itcClosed::stuck);
}

TEST_F(ADeadline, OfSendingIsSwitchedOffByZero)
{
    session().setSendTimeout(0ms);
    const Throttle socket(0);
    ASSERT_TRUE(session().send(1));
    pass(4min);
    EXPECT_THAT(ends, IsEmpty());
}

TEST_F(ADeadline, OfSendingHoldsForAPeerThatSendsNoMore)
{
    const Throttle socket(0);
    ASSERT_TRUE(session().send(1));
    peer.shutDown();
    runCycles();
    EXPECT_THAT(ends, IsEmpty());
    pass(30s);
    expectEndNow(itcClosed::stuck);
}

TEST_F(ADeadline, OfReadingRestsDuringAPause)
{
    peer.send("Q");
    runCycles();
    session().pauseReading();
    pass(1h);
    EXPECT_THAT(ends, IsEmpty());
    session().resumeReading();
    pass(30s - 1ms);
    EXPECT_THAT(ends, IsEmpty());
    pass(1ms);
    expectEndNow(itcClosed::tooSlow);
}

TEST_F(ADeadline, OfSilenceCountsFromTheEndOfAPause)
{
    session().pauseReading();
    pass(1h);
    session().resumeReading();
    pass(5min - 1ms);
    EXPECT_THAT(ends, IsEmpty());
    pass(1ms);
    expectEndNow(itcClosed::silent);
}

TEST_F(ADeadline, OfSendingGoesOnDuringAPause)
{
    session().pauseReading();
    const Throttle socket(0);
    ASSERT_TRUE(session().send(1));
    pass(30s);
    expectEndNow(itcClosed::stuck);
}

TEST_F(ADeadline, LeavesPacketsUnreadDuringAPause)
{
    session().pauseReading();
    peer.send(frameOf(1));
    runCycles();
    EXPECT_THAT(numbers, IsEmpty());
    session().resumeReading();
    runCycles();
    EXPECT_THAT(numbers, ElementsAre(1));
}

TEST_F(ADeadline, LeavesTheSecondPacketUnreadIfTheFirstOnePauses)
{
    session().onPacket([&](itcNDRReceive&) {
        numbers.push_back(0);
        session().pauseReading();
    });
    peer.send(frameOf(1) + frameOf(2));
    runCycles();
    EXPECT_EQ(numbers.size(), 1u);
    session().resumeReading();
    runCycles();
    EXPECT_EQ(numbers.size(), 2u);
}

TEST_F(ADeadline, FindsAPeerThatHasLeftDuringAPauseBehindThePause)
{
    session().pauseReading();
    peer.close();
    runCycles();
    EXPECT_THAT(ends, IsEmpty());
    session().resumeReading();
    runCycles();
    expectEndNow(itcClosed::peerLeft);
}

TEST_F(ADeadline, OfAHeartbeatIsOffAtFirst)
{
    session().setIdleTimeout(0ms);
    pass(100h);
    peer.read();
    EXPECT_EQ(peer.received, "");
}

TEST_F(ADeadline, OfAHeartbeatSendsAnEmptyPacketInEachInterval)
{
    session().setHeartbeat(1s);
    pass(1s - 1ms);
    EXPECT_EQ(peer.heartbeats(), 0);
    for (int i = 0; i < 3; ++i)
        pass(1s);
    EXPECT_EQ(peer.heartbeats(), 3);
    EXPECT_EQ(peer.received, heartbeatFrame() + heartbeatFrame() + heartbeatFrame());
    EXPECT_EQ(session().counters().packetsSent, 0u);
    EXPECT_EQ(session().counters().bytesSent, 30u);
}

TEST_F(ADeadline, OfAHeartbeatCountsFromTheLatestByteSent)
{
    session().setHeartbeat(1s);
    for (int i = 0; i < 5; ++i) {
        pass(999ms);
        ASSERT_TRUE(session().send(i));
    }
    EXPECT_EQ(peer.heartbeats(), 0);
    pass(1s);
    EXPECT_EQ(peer.heartbeats(), 1);
}

TEST_F(ADeadline, OfAHeartbeatSendsNothingWhilePacketsWait)
{
    session().setHeartbeat(1s);
    Throttle socket(0);
    ASSERT_TRUE(session().send(1));
    pass(1s);
    pass(1s);
    EXPECT_EQ(session().counters().queuedPackets, 1u);
    socket.allow(1000);
    runCycles();
    EXPECT_THAT(peer.packets(), ElementsAre(dataOf(1)));
}

TEST_F(ADeadline, OfAHeartbeatHoldsAfterAPacketOfMoreThanAMebibyte)
{
    session().setQueue(4 * 1024 * 1024, 0, itcSession::WhenFull::refuseNewest).setHeartbeat(1s);
    ASSERT_TRUE(session().send(std::string(1536 * 1024, 'x')));
    ASSERT_TRUE(runUntil([&] { return peer.packets().size() == 1; }));
    pass(1s);
    EXPECT_EQ(peer.heartbeats(), 1);
}

TEST_F(ADeadline, OfAHeartbeatMayBeSwitchedOffAgain)
{
    session().setHeartbeat(1s);
    pass(1s);
    session().setHeartbeat(0ms);
    pass(100s);
    EXPECT_EQ(peer.heartbeats(), 1);
}

TEST_F(ADeadline, OfAHeartbeatWithoutMemorySendsTheNextOne)
{
    session().setHeartbeat(1s);
    OsFaults::malloc().failNext(1000, ENOMEM);
    pass(1s);
    OsFaults::malloc().clear();
    EXPECT_THAT(ends, IsEmpty());
    pass(1s);
    EXPECT_GE(peer.heartbeats(), 1);
}

TEST_F(ADeadline, OfTheAnswerAllowsOneHeartbeatInASecond)
{
    peer.send(heartbeatFrame() + heartbeatFrame());
    runCycles();
    EXPECT_EQ(peer.heartbeats(), 1);
    pass(999ms);
    peer.send(heartbeatFrame());
    runCycles();
    EXPECT_EQ(peer.heartbeats(), 1);
    pass(1ms);
    peer.send(heartbeatFrame());
    runCycles();
    EXPECT_EQ(peer.heartbeats(), 2);
}

TEST_F(ADeadline, OfTheAnswerIsNoneWithHeartbeatsOfItsOwn)
{
    session().setHeartbeat(1h);
    peer.send(heartbeatFrame());
    runCycles();
    EXPECT_EQ(peer.heartbeats(), 0);
}

TEST_F(ADeadline, KeepsTwoSessionsAliveWithHeartbeatsOfOneSide)
{
    SocketEnds sockets = connectLocally();
    const int far = ::dup(sockets.far.get());
    sockets.far.close();
    itcSession client(connectionOver(sockets.near), dispatcher);
    itcSession server(connectionOver(far), dispatcher);
    session().setIdleTimeout(0ms);
    client.setHeartbeat(1min);
    for (int minute = 0; minute < 60; ++minute)
        pass(1min);
    EXPECT_TRUE(client.isOpen());
    EXPECT_TRUE(server.isOpen());
    client.setHeartbeat(0ms);
    pass(5min);
    EXPECT_FALSE(client.isOpen());
    EXPECT_FALSE(server.isOpen());
}
