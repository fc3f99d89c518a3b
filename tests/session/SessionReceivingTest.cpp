// What a session makes of the bytes of its peer: packets in order, or the right reason for the end.
#include "Conversation.h"

#include <cstdint>
#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AReceivingSession : public ConversationOverEachStream {};
INSTANTIATE_TEST_SUITE_P(Over, AReceivingSession, testing::ValuesIn(streamKinds), streamName);

class ALocalSession : public Conversation {
protected:
    /// Remembers the lengths of packets instead of their numbers.
    void rememberLengths()
    {
        session().onPacket([this](itcNDRReceive& packet) { lengths.push_back(packet.raw_length()); });
    }
    /// Sends bytes of which not all fit into the socket at once.
    void sendAll(const std::string& bytes)
    {
        std::size_t sent = 0;
        ASSERT_TRUE(runUntil([&] {
            const ssize_t n = ::send(peer.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
            sent += n > 0 ? static_cast<std::size_t>(n) : 0;
            return sent == bytes.size();
        }));
    }
    std::vector<unsigned int> lengths;
};

/// A frame is closed behind this many of its bytes.
class APeerThatLeaves : public Conversation, public testing::WithParamInterface<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(BehindByte, APeerThatLeaves, testing::Range<std::size_t>(0, intFrame));

} // namespace

TEST_P(AReceivingSession, HandsOverAFrameThatComesInOnePiece)
{
    peer.send(frameOf(42));
    ASSERT_TRUE(runUntil([&] { return !numbers.empty(); }));
    EXPECT_THAT(numbers, ElementsAre(42));
    EXPECT_TRUE(session().isOpen());
}

TEST_P(AReceivingSession, HandsOverAFrameThatComesByteByByte)
{
    for (const char byte : frameOf(42)) {
        EXPECT_THAT(numbers, IsEmpty());
        peer.send(std::string(1, byte));
        runCycles(2);
    }
    ASSERT_TRUE(runUntil([&] { return !numbers.empty(); }));
    EXPECT_THAT(numbers, ElementsAre(42));
}

TEST_P(AReceivingSession, HandsOverTwoFramesOfOneSegmentInOrder)
{
    peer.send(frameOf(1) + frameOf(2));
    ASSERT_TRUE(runUntil([&] { return numbers.size() == 2; }));
    EXPECT_THAT(numbers, ElementsAre(1, 2));
}

TEST_P(AReceivingSession, HandsOverManyFramesInOrder)
{
    std::string bytes;
    std::vector<int> expected;
    for (int i = 0; i < 300; ++i) {
        bytes += frameOf(i);
        expected.push_back(i);
    }
    peer.send(bytes);
    ASSERT_TRUE(runUntil([&] { return numbers.size() == expected.size(); }));
    EXPECT_EQ(numbers, expected);
}

TEST_P(AReceivingSession, HandsOverWhatThePeerHasSentBeforeItsClose)
{
    peer.send(frameOf(1) + frameOf(2));
    peer.close();
    expectEnd(itcClosed::peerLeft);
    EXPECT_THAT(numbers, ElementsAre(1, 2));
}

TEST_P(AReceivingSession, TellsThatThePeerHasClosedInsideThePacketBehindAWholeOne)
{
    peer.send(frameOf(1) + frameOf(2).substr(0, 9));
    peer.close();
    expectEnd(itcClosed::peerLeftInsidePacket);
    EXPECT_THAT(numbers, ElementsAre(1));
}

TEST_P(AReceivingSession, TellsNoneOfItsPacketsBeforeThePacketIsComplete)
{
    peer.send(frameOf(1).substr(0, intFrame - 1));
    runCycles();
    EXPECT_THAT(numbers, IsEmpty());
    EXPECT_EQ(session().counters().packetsReceived, 0u);
    EXPECT_EQ(session().counters().bytesReceived, 0u);
}

TEST_P(APeerThatLeaves, IsToldWithTheRightReason)
{
    peer.send(frameOf(42).substr(0, GetParam()));
    peer.close();
    expectEnd(GetParam() == 0 ? itcClosed::peerLeft : itcClosed::peerLeftInsidePacket);
    EXPECT_THAT(numbers, IsEmpty());
}

TEST_P(APeerThatLeaves, IsToldWithTheRightReasonWhenTheSessionHasReadTheBytesBefore)
{
    peer.send(frameOf(42).substr(0, GetParam()));
    runCycles();
    peer.close();
    expectEnd(GetParam() == 0 ? itcClosed::peerLeft : itcClosed::peerLeftInsidePacket);
}

TEST_P(AReceivingSession, TellsAReset)
{
    if (std::string(GetParam().name) == "Local") {
        ASSERT_TRUE(session().send(1)); // a local stream is reset when the peer closes without having read
        peer.close();
    } else {
        peer.reset();
    }
    expectEnd(itcClosed::systemError, ECONNRESET);
}

TEST_F(ALocalSession, TakesAPacketOfExactlyTheLargestSize)
{
    rememberLengths();
    session().setMaxPacketSize(1000);
    peer.send(frameAround(dataOfLength(1000)));
    runCycles();
    EXPECT_THAT(lengths, ElementsAre(1000u));
}

TEST_F(ALocalSession, RefusesAPacketThatIsOneByteLongerThanAllowed)
{
    session().setMaxPacketSize(1000);
    peer.send(frameHead(1001));
    expectEnd(itcClosed::tooLong);
}

TEST_F(ALocalSession, TakesAPacketOfOneMebibyteAtFirst)
{
    rememberLengths();
    sendAll(frameAround(dataOfLength(1024 * 1024)));
    ASSERT_TRUE(runUntil([&] { return !lengths.empty(); }));
    EXPECT_THAT(lengths, ElementsAre(1024u * 1024));
}

TEST_F(ALocalSession, RefusesOneByteMoreThanAMebibyteAtFirst)
{
    peer.send(frameHead(1024 * 1024 + 1));
    expectEnd(itcClosed::tooLong);
}

TEST_F(ALocalSession, RefusesALengthWithoutAskingForMemory)
{
    for (const std::uint32_t length : {0x100001U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(length);
        SocketEnds sockets = connectLocally();
        const Peer hostile(std::move(sockets.far));
        itcSession victim(connectionOver(sockets.near), dispatcher);
        std::vector<itcClosed> told;
        victim.onClosed([&](const itcClosed& why) { told.push_back(why); });
        OsFaults::malloc().clear();
        hostile.send(frameHead(length));
        runCycles();
        ASSERT_EQ(told.size(), 1u);
        EXPECT_EQ(told[0].reason, itcClosed::tooLong);
        EXPECT_EQ(OsFaults::malloc().calls(), 0);
    }
}

TEST_F(ALocalSession, HoldsALowerLimitForALaterPacketToo)
{
    rememberLengths();
    peer.send(frameAround(dataOfLength(2000)));
    runCycles();
    session().setMaxPacketSize(1999);
    peer.send(frameHead(2000));
    expectEnd(itcClosed::tooLong);
    EXPECT_THAT(lengths, ElementsAre(2000u));
}

TEST_F(ALocalSession, TellsThatThereIsNoMemoryForAPacket)
{
    OsFaults::malloc().failNext(100, ENOMEM);
    peer.send(frameHead(100'000));
    expectEnd(itcClosed::systemError, ENOMEM);
}

TEST_F(ALocalSession, RefusesBytesThatAreNoMagicAtEachOfTheFourPlaces)
{
    for (std::size_t place = 0; place < 4; ++place) {
        SCOPED_TRACE(place);
        SocketEnds sockets = connectLocally();
        const Peer stranger(std::move(sockets.far));
        itcSession host(connectionOver(sockets.near), dispatcher);
        std::vector<itcClosed> told;
        host.onClosed([&](const itcClosed& why) { told.push_back(why); });
        std::string frame = frameOf(1);
        frame[place] ^= 1;
        stranger.send(frame);
        runCycles();
        ASSERT_EQ(told.size(), 1u);
        EXPECT_EQ(told[0].reason, itcClosed::notOurProtocol);
    }
}

TEST_F(ALocalSession, RefusesAFrameWithoutData)
{
    peer.send(frameHead(0));
    expectEnd(itcClosed::notOurProtocol);
}

TEST_F(ALocalSession, RefusesAFrameWithHalfALabel)
{
    peer.send(frameAround("x"));
    expectEnd(itcClosed::notOurProtocol);
}

TEST_F(ALocalSession, DoesNotHandOverAnEmptyPacket)
{
    peer.send(heartbeatFrame() + frameOf(7));
    runCycles();
    EXPECT_THAT(numbers, ElementsAre(7));
    EXPECT_EQ(session().counters().packetsReceived, 1u);
    EXPECT_EQ(session().counters().bytesReceived, 10 + intFrame);
}

TEST_F(ALocalSession, EndsAfterATakeThatFindsTooLittle)
{
    bool isTaken = true;
    bool isOpenInside = true;
    session().onPacket([&](itcNDRReceive& packet) {
        int first = 0;
        int second = 0;
        isTaken = session().take(packet, first, second);
        isOpenInside = session().isOpen();
        EXPECT_THAT(ends, IsEmpty());
    });
    peer.send(frameOf(1) + frameOf(2));
    expectEnd(itcClosed::badPacket);
    EXPECT_FALSE(isTaken);
    EXPECT_FALSE(isOpenInside);
    EXPECT_THAT(ends[0].status, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(session().counters().packetsReceived, 1u);
}

TEST_F(ALocalSession, GoesOnAfterATakeThatHasCutAText)
{
    char text[4] = {};
    int number = 0;
    bool isTaken = false;
    session().onPacket([&](itcNDRReceive& packet) { isTaken = session().take(packet, itcText(text), number); });
    peer.send(frameOf("a longer text", 5));
    runCycles();
    EXPECT_TRUE(isTaken);
    EXPECT_STREQ(text, "a l");
    EXPECT_EQ(number, 5);
    EXPECT_TRUE(session().isOpen());
}

TEST_F(ALocalSession, KeepsTheFirstReasonOfTwo)
{
    session().onPacket([&](itcNDRReceive& packet) {
        double tooLong = 0;
        std::string text;
        EXPECT_FALSE(session().take(packet, tooLong, text));
        session().close();
    });
    peer.send(frameOf(1));
    expectEnd(itcClosed::badPacket);
}

TEST_F(ALocalSession, ReceivesWithoutAFunctionForPackets)
{
    session().onPacket(nullptr);
    peer.send(frameOf(1));
    runCycles();
    EXPECT_EQ(session().counters().packetsReceived, 1u);
    EXPECT_TRUE(session().isOpen());
}

TEST_F(ALocalSession, CountsFramesWithTheirHeads)
{
    peer.send(frameOf(1) + frameOf(2));
    runCycles();
    EXPECT_EQ(session().counters().packetsReceived, 2u);
    EXPECT_EQ(session().counters().bytesReceived, 2 * intFrame);
}

TEST_F(ALocalSession, TellsAnEndAlsoWithoutAFunctionForPackets)
{
    session().onPacket(nullptr);
    peer.close();
    expectEnd(itcClosed::peerLeft);
}
