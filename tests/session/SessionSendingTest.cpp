// What a session does with packets: it sends them in order, and says what becomes of those for which there is no room.
#include "Conversation.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using WhenFull = itcSession::WhenFull;

class ASendingSession : public ConversationOverEachStream {};
INSTANTIATE_TEST_SUITE_P(Over, ASendingSession, testing::ValuesIn(streamKinds), streamName);

class ASessionThatSends : public Conversation {};

/// The socket takes nothing. The queue has room for so many ints.
class AFullQueue : public Conversation {
protected:
    AFullQueue()
    {
        session().onFull([this] { calls.emplace_back("full"); });
        session().onRoom([this] { calls.emplace_back("room"); });
    }
    void fill(std::size_t count, WhenFull whenFull, std::size_t lowCount = 0)
    {
        session().setQueue(count * intFrame, lowCount * intFrame, whenFull);
        for (std::size_t i = 0; i < count; ++i)
            ASSERT_TRUE(session().send(static_cast<int>(i)));
        ASSERT_EQ(session().counters().queuedBytes, count * intFrame);
    }

    Throttle socket{0};
    std::vector<std::string> calls;
};

/// A value whose put fails.
struct Unsendable {};
itcNDRSend& operator<<(itcNDRSend& packet, const Unsendable&) { return packet.put_opaque("x", -1, false, false); }

/// A value whose put sends on the same session.
struct SendingOne {
    itcSession& session;
    bool* isSent;
};
itcNDRSend& operator<<(itcNDRSend& packet, const SendingOne& value)
{
    *value.isSent = value.session.send(77);
    return packet << 2;
}

} // namespace

TEST_P(ASendingSession, SendsPacketsInTheirOrder)
{
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(session().send(i));
    ASSERT_TRUE(runUntilPeerHas(100));
    std::vector<int> expected;
    for (int i = 0; i < 100; ++i)
        expected.push_back(i);
    EXPECT_EQ(peer.numbers(), expected);
}

TEST_P(ASendingSession, SendsWhatASmallSocketTakesInParts)
{
    const int small = 1;
    mustWork(::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &small, sizeof small), "setsockopt");
    const std::string block(100'000, 'x');
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(session().send(i, block));
    EXPECT_GT(session().counters().queuedBytes, 0u);
    ASSERT_TRUE(runUntilPeerHas(10));
    EXPECT_THAT(peer.numbers(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9));
    for (const std::string& packet : peer.packets())
        EXPECT_EQ(packet.size(), dataOf(0, block).size());
    EXPECT_EQ(session().counters().queuedBytes, 0u);
}

TEST_P(ASendingSession, AnswersInsideTheFunctionForPackets)
{
    session().onPacket([&](itcNDRReceive& packet) {
        int number = 0;
        ASSERT_TRUE(session().take(packet, number));
        EXPECT_TRUE(session().send(number + 1));
    });
    peer.send(frameOf(1) + frameOf(10));
    ASSERT_TRUE(runUntilPeerHas(2));
    EXPECT_THAT(peer.numbers(), ElementsAre(2, 11));
}

TEST_P(ASendingSession, EndsWhenThePeerHasGone)
{
    peer.close();
    (void)session().send(1); // TCP learns that the peer has gone from the answer to this packet
    (void)session().send(2);
    ASSERT_TRUE(runUntilTheEnd());
    runCycles();
    EXPECT_EQ(ends.size(), 1u);
}

TEST_F(ASessionThatSends, SendsAtOnceIfNothingWaits)
{
    EXPECT_TRUE(session().send(1));
    EXPECT_THAT(peer.numbers(), ElementsAre(1));
    EXPECT_THAT(session().status(), HasClearStatus());
}

TEST_F(ASessionThatSends, QueuesBehindWhatWaits)
{
    Throttle socket(intFrame + 1);
    EXPECT_TRUE(session().send(1));
    EXPECT_TRUE(session().send(2));
    EXPECT_TRUE(session().send(3));
    EXPECT_THAT(peer.numbers(), ElementsAre(1));
    socket.allow(1000);
    runCycles();
    EXPECT_THAT(peer.numbers(), ElementsAre(1, 2, 3));
}

TEST_F(ASessionThatSends, SendsValuesOfEveryKind)
{
    const std::map<std::string, std::vector<double>> map = {{"a", {1.0, 2.0}}, {"b", {}}};
    ASSERT_TRUE(session().send(true, 'c', short{1}, 2, 3LL, 1.5F, 2.5, std::string("text"), map, std::optional<int>()));
    const std::string expected =
        dataOf(true, 'c', short{1}, 2, 3LL, 1.5F, 2.5, std::string("text"), map, std::optional<int>());
    EXPECT_THAT(peer.packets(), ElementsAre(expected));
}

TEST_F(ASessionThatSends, SendsCopiesOfAPacketThatTheHostHasBuilt)
{
    itcNDRSend packet;
    packet << 'c' << 2.5 << 7;
    EXPECT_TRUE(session().sendPacket(packet));
    EXPECT_TRUE(session().sendPacket(packet));
    EXPECT_THAT(peer.packets(), ElementsAre(dataOf('c', 2.5, 7), dataOf('c', 2.5, 7)));
}

TEST_F(ASessionThatSends, SendsAPacketOfACallersBuffer)
{
    alignas(8) char storage[200];
    itcNDRSend packet;
    packet.init(storage, sizeof storage);
    packet << 'c' << 7;
    EXPECT_TRUE(session().sendPacket(packet));
    EXPECT_THAT(peer.packets(), ElementsAre(dataOf('c', 7)));
}

TEST_F(ASessionThatSends, RefusesAnEmptyPacket)
{
    itcNDRSend untouched;
    EXPECT_FALSE(session().sendPacket(untouched));
    EXPECT_THAT(session().status(), HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    itcNDRSend onlyALabel(100);
    EXPECT_FALSE(session().sendPacket(onlyALabel));
    EXPECT_THAT(session().status(), HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    EXPECT_THAT(peer.packets(), IsEmpty());
}

TEST_F(ASessionThatSends, RefusesAValueThatCannotBePut)
{
    EXPECT_FALSE(session().send(1, Unsendable()));
    EXPECT_THAT(session().status(), HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
    EXPECT_TRUE(session().isOpen());
    EXPECT_THAT(peer.packets(), IsEmpty());
}

TEST_F(ASessionThatSends, SendsTheNextPacketAfterARefusedOne)
{
    EXPECT_FALSE(session().send(1, Unsendable()));
    EXPECT_TRUE(session().send(2));
    EXPECT_THAT(session().status(), HasClearStatus());
    EXPECT_THAT(peer.numbers(), ElementsAre(2));
}

TEST_F(ASessionThatSends, RefusesAPacketWithoutMemory)
{
    OsFaults::malloc().failNext(100, ENOMEM);
    EXPECT_FALSE(session().send(1, std::string(100'000, 'x')));
    EXPECT_EQ(session().status().severity, Error);
    OsFaults::malloc().clear();
    EXPECT_TRUE(session().send(2));
    EXPECT_THAT(peer.numbers(), ElementsAre(2));
}

TEST_F(ASessionThatSends, RefusesAfterItsEnd)
{
    session().close();
    EXPECT_FALSE(session().send(1));
    EXPECT_THAT(session().status(), HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error));
    runCycles();
    EXPECT_FALSE(session().send(1));
    EXPECT_THAT(session().status(), HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error));
    itcNDRSend packet;
    packet << 1;
    EXPECT_FALSE(session().sendPacket(packet));
    EXPECT_THAT(session().status(), HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error));
}

TEST_F(ASessionThatSends, RefusesAPacketThatAloneIsLongerThanTheQueue)
{
    session().setQueue(intFrame, 0, WhenFull::dropOldest);
    EXPECT_TRUE(session().send(1));
    EXPECT_FALSE(session().send(1, 'x'));
    EXPECT_THAT(session().status(), HasStatus(Itc_Ndr_Buffer_Size_Too_Large, Error));
    EXPECT_TRUE(session().isOpen());
}

TEST_F(ASessionThatSends, RefusesALongPacketAlsoWhenItWouldCloseAFullQueue)
{
    session().setQueue(intFrame, 0, WhenFull::close);
    EXPECT_FALSE(session().send(1, 'x'));
    EXPECT_THAT(session().status(), HasStatus(Itc_Ndr_Buffer_Size_Too_Large, Error));
    EXPECT_TRUE(session().isOpen());
}

TEST_F(ASessionThatSends, HasRoomForTwoMebibytesAtFirst)
{
    const Throttle socket(0);
    const std::string half(1024 * 1024 - 16, 'x'); // with head, label, gap, length and zero: below a mebibyte
    EXPECT_TRUE(session().sendPacket([&]() -> itcNDRSend& {
        static itcNDRSend packet;
        packet.reset();
        packet.insert(half.data(), static_cast<int>(half.size()), false);
        return packet;
    }()));
    const std::size_t first = session().counters().queuedBytes;
    ASSERT_EQ(first, half.size() + 10);
    itcNDRSend rest;
    const std::string second(2 * 1024 * 1024 - first - 10, 'x');
    rest.insert(second.data(), static_cast<int>(second.size()), false);
    EXPECT_TRUE(session().sendPacket(rest));
    EXPECT_EQ(session().counters().queuedBytes, 2u * 1024 * 1024);
    EXPECT_FALSE(session().send('x'));
    EXPECT_THAT(session().status(), HasStatus(Itc_Tp_Would_Block, Warning));
}

TEST_F(ASessionThatSends, CountsWhatItSends)
{
    EXPECT_TRUE(session().send(1));
    EXPECT_TRUE(session().send(2));
    const itcSessionCounters& counters = session().counters();
    EXPECT_EQ(counters.packetsSent, 2u);
    EXPECT_EQ(counters.bytesSent, 2 * intFrame);
    EXPECT_EQ(counters.queuedPackets, 0u);
    EXPECT_EQ(counters.queuedBytes, 0u);
}

TEST_F(ASessionThatSends, CountsBytesOfAPacketThatHasLeftInPart)
{
    const Throttle socket(5);
    EXPECT_TRUE(session().send(1));
    const itcSessionCounters& counters = session().counters();
    EXPECT_EQ(counters.packetsSent, 0u);
    EXPECT_EQ(counters.bytesSent, 5u);
    EXPECT_EQ(counters.queuedPackets, 1u);
    EXPECT_EQ(counters.queuedBytes, intFrame - 5);
    EXPECT_EQ(counters.mostQueuedBytes, intFrame);
}

TEST_F(ASessionThatSends, SendsNothingMoreAfterItsEnd)
{
    Throttle socket(5);
    EXPECT_TRUE(session().send(1));
    session().close();
    socket.allow(1000);
    expectEnd(itcClosed::closedByUs);
    peer.read();
    EXPECT_EQ(peer.received, frameOf(1).substr(0, 5));
    EXPECT_TRUE(peer.hasEnded);
    EXPECT_EQ(session().counters().queuedBytes, 0u);
    EXPECT_EQ(session().counters().queuedPackets, 0u);
}

TEST_F(ASessionThatSends, ReadsWhatThePeerHasSentBeforeAFailedSend)
{
    peer.send(frameOf(1) + frameOf(2));
    peer.close();
    EXPECT_FALSE(session().send(3)); // the system refuses at once
    EXPECT_FALSE(session().isOpen());
    expectEnd(itcClosed::peerLeft);
    EXPECT_THAT(numbers, ElementsAre(1, 2));
}

TEST_F(ASessionThatSends, TellsThatTheEndIsNearWhenThePeerHasGone)
{
    peer.close();
    EXPECT_FALSE(session().send(3));
    EXPECT_THAT(session().status(), HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error));
}

TEST_F(ASessionThatSends, SendsWhatWaitsToAPeerThatSendsNoMore)
{
    Throttle socket(1);
    ASSERT_TRUE(session().send(1));
    peer.shutDown();
    runCycles();
    EXPECT_THAT(ends, IsEmpty());
    EXPECT_FALSE(session().isOpen());
    EXPECT_FALSE(session().send(2));
    socket.allow(1000);
    expectEnd(itcClosed::peerLeft);
    EXPECT_THAT(peer.numbers(), ElementsAre(1));
}

TEST_F(AFullQueue, HoldsExactlyTheHighWater)
{
    fill(3, WhenFull::refuseNewest);
    EXPECT_THAT(session().status(), HasClearStatus());
    EXPECT_EQ(session().counters().queuedPackets, 3u);
    EXPECT_EQ(session().counters().mostQueuedPackets, 3u);
    EXPECT_EQ(session().counters().mostQueuedBytes, 3 * intFrame);
    runCycles();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(AFullQueue, RefusesTheNewest)
{
    fill(3, WhenFull::refuseNewest);
    EXPECT_FALSE(session().send(3));
    EXPECT_THAT(session().status(), HasStatus(Itc_Tp_Would_Block, Warning));
    EXPECT_EQ(session().counters().packetsRefused, 1u);
    EXPECT_TRUE(session().isOpen());
    socket.allow(1000);
    runCycles();
    EXPECT_THAT(peer.numbers(), ElementsAre(0, 1, 2));
}

TEST_F(AFullQueue, OfWhichOneByteMayBeMissingRefuses)
{
    session().setQueue(2 * intFrame - 1, 0, WhenFull::refuseNewest);
    EXPECT_TRUE(session().send(0));
    EXPECT_FALSE(session().send(1));
    EXPECT_THAT(session().status(), HasStatus(Itc_Tp_Would_Block, Warning));
}

TEST_F(AFullQueue, DropsTheOldest)
{
    fill(3, WhenFull::dropOldest);
    EXPECT_TRUE(session().send(3));
    EXPECT_EQ(session().counters().packetsDropped, 1u);
    EXPECT_EQ(session().counters().queuedPackets, 3u);
    EXPECT_EQ(session().counters().queuedBytes, 3 * intFrame);
    socket.allow(1000);
    runCycles();
    EXPECT_THAT(peer.numbers(), ElementsAre(1, 2, 3));
}

TEST_F(AFullQueue, KeepsAPacketThatHasLeftInPart)
{
    fill(3, WhenFull::dropOldest);
    socket.allow(1);
    runCycles();
    EXPECT_TRUE(session().send(3));
    EXPECT_TRUE(session().send(4));
    EXPECT_EQ(session().counters().packetsDropped, 2u);
    socket.allow(1000);
    runCycles();
    EXPECT_THAT(peer.numbers(), ElementsAre(0, 3, 4));
}

TEST_F(AFullQueue, RefusesWhenOnlyAPacketThatHasLeftInPartCouldBeDropped)
{
    session().setQueue(intFrame + 8, 0, WhenFull::dropOldest);
    socket.allow(1);
    ASSERT_TRUE(session().send(0));
    EXPECT_FALSE(session().send(1));
    EXPECT_THAT(session().status(), HasStatus(Itc_Tp_Would_Block, Warning));
    EXPECT_EQ(session().counters().packetsDropped, 0u);
    EXPECT_EQ(session().counters().packetsRefused, 1u);
}

TEST_F(AFullQueue, MayLoseAllItsPacketsToALongOne)
{
    fill(3, WhenFull::dropOldest);
    EXPECT_TRUE(session().send(9, std::string(27, 'x'))); // a frame as long as the queue
    EXPECT_EQ(session().counters().queuedBytes, 3 * intFrame);
    EXPECT_EQ(session().counters().packetsDropped, 3u);
    socket.allow(1000);
    runCycles();
    EXPECT_THAT(peer.numbers(), ElementsAre(9));
}

TEST_F(AFullQueue, EndsTheSessionIfTheHostWantsThat)
{
    fill(3, WhenFull::close);
    EXPECT_FALSE(session().send(3));
    EXPECT_FALSE(session().isOpen());
    EXPECT_THAT(ends, IsEmpty()); // never from inside an operation
    expectEnd(itcClosed::queueFull);
}

TEST_F(AFullQueue, IsToldOnceUntilThereIsRoom)
{
    fill(2, WhenFull::refuseNewest);
    EXPECT_FALSE(session().send(2));
    EXPECT_FALSE(session().send(2));
    EXPECT_THAT(calls, IsEmpty()); // never from inside an operation
    runCycles();
    EXPECT_FALSE(session().send(2));
    runCycles();
    EXPECT_THAT(calls, ElementsAre("full"));
}

TEST_F(AFullQueue, IsToldToHaveRoomAtTheLowWater)
{
    fill(4, WhenFull::refuseNewest, 2);
    EXPECT_FALSE(session().send(4));
    runCycles();
    socket.allow(2 * intFrame - 1);
    runCycles();
    EXPECT_THAT(calls, ElementsAre("full"));
    socket.allow(1);
    runCycles();
    EXPECT_THAT(calls, ElementsAre("full", "room"));
}

TEST_F(AFullQueue, TellsFullAndRoomInTurns)
{
    fill(1, WhenFull::dropOldest);
    for (int turn = 0; turn < 3; ++turn) {
        EXPECT_TRUE(session().send(1));
        EXPECT_TRUE(session().send(2));
        runCycles();
        socket.allow(intFrame);
        runCycles();
    }
    EXPECT_THAT(calls, ElementsAre("full", "room", "full", "room", "full", "room"));
}

TEST_F(AFullQueue, TellsFullBeforeRoomAlsoWhenItDrainsAtOnce)
{
    fill(1, WhenFull::refuseNewest);
    EXPECT_FALSE(session().send(2));
    socket.allow(1000);
    runCycles();
    EXPECT_THAT(calls, ElementsAre("full", "room"));
}

TEST_F(AFullQueue, HasNoRoomToTellAfterTheEnd)
{
    fill(1, WhenFull::refuseNewest);
    EXPECT_FALSE(session().send(2));
    runCycles();
    session().close();
    expectEnd(itcClosed::closedByUs);
    EXPECT_THAT(calls, ElementsAre("full"));
}

TEST_F(AFullQueue, HasNoRoomToTellAfterASendThatHasFailed)
{
    fill(1, WhenFull::refuseNewest);
    EXPECT_FALSE(session().send(2));
    runCycles();
    OsFaults::send().instead = [](int, const void*, std::size_t, int) -> ssize_t {
        errno = EPIPE;
        return -1;
    };
    peer.close();
    ASSERT_TRUE(runUntilTheEnd());
    EXPECT_THAT(calls, ElementsAre("full"));
}

TEST_F(AFullQueue, MayBeMadeLargerAtAnyTime)
{
    fill(1, WhenFull::refuseNewest);
    EXPECT_FALSE(session().send(1));
    session().setQueue(2 * intFrame, 0, WhenFull::refuseNewest);
    EXPECT_TRUE(session().send(1));
}

TEST_F(ASessionThatSends, RefusesToSendWhileAPacketIsBuilt)
{
    bool isInnerSent = true;
    ASSERT_TRUE(session().send(1, SendingOne{session(), &isInnerSent}));
    EXPECT_FALSE(isInnerSent);
    ASSERT_TRUE(session().send(9));
    runCycles();
    EXPECT_THAT(peer.numbers(), ElementsAre(1, 9));
}

TEST_F(ASessionThatSends, RefusesAPacketInError)
{
    itcNDRSend packet;
    packet << 1 << Unsendable();
    EXPECT_FALSE(session().sendPacket(packet));
    EXPECT_THAT(session().status(), HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
}

// The partly sent packet must leave whole. Without room beside it nothing is dropped for a packet that cannot be
// queued.
TEST_F(ASessionThatSends, DropsNothingInVain)
{
    const std::string large(1000, 'x');
    Throttle socket{10};
    session().setQueue(1100, 0, WhenFull::dropOldest);
    ASSERT_TRUE(session().send(large));
    ASSERT_TRUE(session().send(1));
    EXPECT_FALSE(session().send(std::string(500, 'y')));
    EXPECT_EQ(session().counters().packetsDropped, 0u);
    EXPECT_EQ(session().counters().queuedPackets, 2u);
}
