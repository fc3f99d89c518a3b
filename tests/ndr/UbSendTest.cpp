// The resumable send: pieces, states, failures and resets, and which puts are allowed in which state.
#include "UbProbe.h"

#include <climits>
#include <sstream>

namespace {

// The packet has 92 bytes, its frame 100 bytes.
class UbSend : public testing::Test {
protected:
    UbSend() { packet.itcNDRSend::insert(std::string(90, 'x').data(), 90, false); }

    std::string frameOfPacket() { return frame(packet.data()); }

    // Brings the sender into a state. Uses only calls that lead to this state.
    void bringTo(int state)
    {
        ScriptedConnection c;
        if (state == Transferring)
            c.takes(30) << packet;
        else if (state == Complete)
            c.takesTheRest() << packet;
        else if (state == Failed)
            c.breaks() << packet;
        ASSERT_EQ(packet.txState, state);
    }

    OpenUbSend packet{77};
    ScriptedConnection connection;
};

TEST_F(UbSend, StartsIdleWithNothingInTransit)
{
    const OpenUbSend fresh(5);
    EXPECT_EQ(fresh.tag, 5U);
    EXPECT_EQ(fresh.sendPos, nullptr);
    EXPECT_EQ(fresh.sendRemaining, 0U);
    EXPECT_EQ(fresh.txState, Idle);
    EXPECT_EQ(fresh.bytesSent, 0U);
    EXPECT_EQ(fresh.storage, nullptr);
    EXPECT_THAT(fresh, HasClearStatus());
}

TEST_F(UbSend, TheSecondArgumentMakesStorage)
{
    const OpenUbSend fresh(5, 10);
    EXPECT_EQ(fresh.tag, 5U);
    EXPECT_NE(fresh.storage, nullptr);
    EXPECT_EQ(fresh.raw_length(), 2U);
    EXPECT_EQ(fresh.txState, Idle);
}

TEST_F(UbSend, GoesOutPieceByPiece)
{
    connection.takes(30).wouldBlock().takesTheRest();
    EXPECT_EQ(connection << packet, 70U);
    EXPECT_EQ(packet.bytesSent, 30U);
    EXPECT_EQ(packet.txState, Transferring);
    EXPECT_EQ(connection << packet, 70U);
    EXPECT_EQ(packet.bytesSent, 0U);
    EXPECT_EQ(connection << packet, 0U);
    EXPECT_EQ(packet.bytesSent, 70U);
    EXPECT_EQ(packet.txState, Complete);
    EXPECT_EQ(packet.sendPos, packet.raw_data());
    EXPECT_EQ(connection.written, frameOfPacket());
    EXPECT_THAT(packet, HasClearStatus());
}

TEST_F(UbSend, GoesOutByteByByteWithAWouldBlockBeforeEach)
{
    for (int i = 0; i < 100; ++i)
        connection.wouldBlock().takes(1);
    for (unsigned int left = 100; left > 0; --left) {
        ASSERT_EQ(connection << packet, left);
        ASSERT_EQ(connection << packet, left - 1);
    }
    EXPECT_EQ(connection.written, frameOfPacket());
    EXPECT_EQ(packet.txState, Complete);
}

TEST_F(UbSend, AWriteThatFailsWithWouldBlockChangesNothing)
{
    struct Blocked : ScriptedConnection {
        int Write(const void*, int) override
        {
            setStatus(*this, Itc_Tp_Would_Block, Warning, 11);
            return -1;
        }
    } blocked;
    EXPECT_EQ(blocked << packet, 100U);
    EXPECT_EQ(packet.txState, Transferring);
    EXPECT_THAT(packet, HasClearStatus());
}

TEST_F(UbSend, AFailedWriteEndsTheTransferWithTheConnectionsErrorNumber)
{
    connection.takes(30).breaks();
    connection << packet;
    EXPECT_EQ(connection << packet, 70U);
    EXPECT_EQ(packet.txState, Failed);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Packet_Write_Failed, Error, ScriptedConnection::brokenError));
}

TEST_F(UbSend, NothingMoreIsSentInCompleteAndFailed)
{
    for (const int state : {int{Complete}, int{Failed}}) {
        packet.reset_transmission_state();
        bringTo(state);
        ScriptedConnection later;
        EXPECT_EQ(later.takesTheRest() << packet, 0U);
        EXPECT_EQ(later.written, "");
        EXPECT_EQ(packet.txState, state);
        EXPECT_EQ(packet.bytesSent, 0U);
        EXPECT_THAT(packet, HasClearStatus());
    }
}

TEST_F(UbSend, StatesOfTheOtherDirectionAreUnknown)
{
    for (const int state : {int{ReadingMagic}, int{ReadingLength}, int{Disconnected}, 7, -1}) {
        packet.txState = state;
        packet.sendRemaining = 13;
        EXPECT_EQ(connection << packet, 13U) << state;
        EXPECT_EQ(packet.txState, Failed);
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Unknown_Send_State, Error));
    }
}

TEST_F(UbSend, APacketWithoutStorageIsAFailedWrite)
{
    OpenUbSend empty(1);
    connection.takesTheRest();
    connection.errorNumber = EXDEV;
    EXPECT_EQ(connection << empty, 8U) << "the head that was left to send: 0 would mean that all is sent";
    EXPECT_EQ(empty.txState, Failed);
    EXPECT_THAT(empty, HasStatus(Itc_Ndr_Ub_Packet_Write_Failed, Error, EXDEV));
    EXPECT_EQ(connection.written, "");
    EXPECT_EQ(connection << empty, 0U) << "nothing is sent in Failed";
}

TEST_F(UbSend, APacketWithoutStorageIsAFailedWriteToAStreamToo)
{
    OpenUbSend empty(1);
    std::ostringstream stream;
    errno = EXDEV;
    stream << empty;
    EXPECT_THAT(empty, HasStatus(Itc_Ndr_Ub_Packet_Write_Failed, Error, EXDEV));
    EXPECT_EQ(stream.str(), "");
}

TEST_F(UbSend, ADerivingClassMaySendLessThanItHolds)
{
    struct WithoutTrailer : OpenUbSend {
        using OpenUbSend::OpenUbSend;
        unsigned int raw_length() const override { return OpenUbSend::raw_length() - 4; }
    } shorter(1, 64);
    shorter << 1 << 2;
    EXPECT_EQ(connection.takes(3) << shorter, 13U);
    EXPECT_EQ(connection.takesTheRest() << shorter, 0U);
    EXPECT_EQ(shorter.txState, Complete);
    EXPECT_EQ(connection.written.size(), 16U);
}

TEST_F(UbSend, AConnectionThatClaimsTooMuchIsCountedAsItSaysAndSendsNoMore)
{
    struct Boasting : itcConnection {
        int Write(const void*, int) override { return 500; }
    } boasting;
    EXPECT_EQ(boasting << packet, 0U);
    EXPECT_EQ(packet.bytesSent, 500U);
    EXPECT_EQ(packet.txState, Complete);
}

TEST_F(UbSend, StorageThatMovedUnderWayIsAFailedWrite)
{
    bringTo(Transferring);
    static_cast<itcNDRSend&>(packet).extend_buffer(2);
    EXPECT_EQ(connection.takesTheRest() << packet, 70U);
    EXPECT_EQ(packet.txState, Failed);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Packet_Write_Failed, Error));
    EXPECT_EQ(connection.written, "");
}

TEST_F(UbSend, APutThroughTheBaseThatLeavesTheFrameInPlaceDoesNotDisturbIt)
{
    bringTo(Transferring);
    const std::string sentAlready = connection.written;
    const std::string rest(packet.sendPos, packet.sendRemaining);
    static_cast<itcNDRSend&>(packet) << 'y';
    connection.written.clear();
    EXPECT_EQ(connection.takesTheRest() << packet, 0U);
    EXPECT_EQ(packet.txState, Complete);
    EXPECT_EQ(connection.written, rest);
}

TEST_F(UbSend, ContentThatShrankUnderWayIsAFailedWrite)
{
    bringTo(Transferring);
    packet.itcNDRSend::reset();
    EXPECT_EQ(connection.takesTheRest() << packet, 70U);
    EXPECT_EQ(packet.txState, Failed);
    EXPECT_EQ(connection.written, "");
}

TEST_F(UbSend, StorageThatWasGivenBackUnderWayIsAFailedWrite)
{
    OpenUbSend large(1, 2 << 20);
    large << 1;
    connection.takes(3) << large;
    connection.written.clear();
    large.itcNDRSend::reset();
    EXPECT_EQ(connection.takesTheRest() << large, 13U);
    EXPECT_EQ(large.txState, Failed);
    EXPECT_EQ(connection.written, "");
}

TEST_F(UbSend, ACallersBufferThatReplacesTheStorageUnderWayIsAFailedWrite)
{
    bringTo(Transferring);
    alignas(8) char other[64];
    packet.itcNDRSend::init(other, sizeof other);
    EXPECT_EQ(connection.takesTheRest() << packet, 70U);
    EXPECT_EQ(packet.txState, Failed);
    EXPECT_EQ(connection.written, "");
}

TEST_F(UbSend, ResetForgetsTheContentWhereItIsAllowed)
{
    for (const int state : {int{Idle}, int{Complete}, int{Failed}}) {
        packet.reset_transmission_state();
        bringTo(state);
        packet.reset();
        EXPECT_EQ(packet.txState, Idle) << state;
        EXPECT_EQ(packet.raw_length(), 2U);
        EXPECT_EQ(packet.sendPos, nullptr);
        EXPECT_EQ(packet.sendRemaining, 0U);
        EXPECT_THAT(packet, HasClearStatus());
    }
}

TEST_F(UbSend, ResetOfTheTransferKeepsTheContentToBeSentAgain)
{
    for (const int state : {int{Idle}, int{Complete}, int{Failed}}) {
        bringTo(state);
        const unsigned int sent = packet.bytesSent;
        packet.reset_transmission_state();
        EXPECT_EQ(packet.txState, Idle) << state;
        EXPECT_EQ(packet.raw_length(), 92U);
        EXPECT_EQ(packet.sendPos, nullptr);
        EXPECT_EQ(packet.sendRemaining, 0U);
        EXPECT_EQ(packet.bytesSent, sent);
        EXPECT_THAT(packet, HasClearStatus());
    }
    connection.takesTheRest() << packet;
    EXPECT_EQ(connection.written, frameOfPacket());
}

TEST_F(UbSend, BothResetsAreRefusedWhileAFrameIsInTransit)
{
    bringTo(Transferring);
    const char* const position = packet.sendPos;
    packet.reset();
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Error));
    leaveMark(packet);
    packet.reset_transmission_state();
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Error));
    EXPECT_EQ(packet.txState, Transferring);
    EXPECT_EQ(packet.sendPos, position);
    EXPECT_EQ(packet.sendRemaining, 70U);
    EXPECT_EQ(packet.raw_length(), 92U);
}

TEST_F(UbSend, BothResetsAreRefusedInStatesThatASenderDoesNotHave)
{
    for (const int state : {int{ReadingMagic}, int{ReadingLength}, int{Disconnected}}) {
        packet.txState = state;
        packet.reset();
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Error));
        packet.reset_transmission_state();
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Error));
        EXPECT_EQ(packet.txState, state);
    }
}

TEST_F(UbSend, AStreamTakesTheFrameInOneStep)
{
    std::ostringstream stream;
    EXPECT_EQ(&(stream << packet), &stream);
    EXPECT_EQ(stream.str(), frameOfPacket());
    EXPECT_EQ(packet.txState, Complete);
    EXPECT_EQ(packet.bytesSent, 100U);
    EXPECT_EQ(packet.sendRemaining, 0U);
    EXPECT_EQ(packet.sendPos, packet.raw_data());
    EXPECT_THAT(packet, HasClearStatus());
}

TEST_F(UbSend, AStreamGoesOnWithWhatAConnectionHasLeft)
{
    bringTo(Transferring);
    std::ostringstream stream;
    stream << packet;
    EXPECT_EQ(stream.str(), frameOfPacket().substr(30));
}

TEST_F(UbSend, AStreamWithAnyStateBitSetIsAFailedWrite)
{
    for (const auto bit : {std::ios::badbit, std::ios::failbit, std::ios::eofbit}) {
        packet.reset_transmission_state();
        std::ostringstream stream;
        stream.setstate(bit);
        stream << packet;
        EXPECT_EQ(packet.txState, Failed);
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Packet_Write_Failed, Error));
    }
}

TEST_F(UbSend, AStreamThatThrowsIsAFailedWrite)
{
    struct Full : std::streambuf {
    } full;
    std::ostream stream(&full);
    stream.exceptions(std::ios::badbit | std::ios::failbit);
    EXPECT_NO_THROW(stream << packet);
    EXPECT_EQ(packet.txState, Failed);
}

// Puts of single values, for every type.

template <class Value> class UbSendPut : public testing::Test {};
TYPED_TEST_SUITE(UbSendPut, ValueTypes);

TYPED_TEST(UbSendPut, PutsInIdleWhatThePlainBufferPuts)
{
    OpenUbSend packet(1);
    itcNDRSend plain;
    leaveMark(packet);
    const auto value = countingValue<TypeParam>();
    EXPECT_EQ(&(packet << value), &packet);
    plain << value;
    EXPECT_EQ(packet.data(), std::string(plain.raw_data(), plain.raw_length()));
    EXPECT_THAT(packet, HasClearStatus());
}

TYPED_TEST(UbSendPut, IsRefusedInEveryOtherState)
{
    for (int state = ReadingMagic; state <= Disconnected; ++state) {
        OpenUbSend packet(1, 100);
        packet.txState = state;
        packet << TypeParam();
        EXPECT_EQ(packet.raw_length(), 2U) << state;
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));
    }
}

class Pair : public itcXNDR {
public:
    int first = 1;
    int second = 2;

    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b >> first >> second; }
    itcNDRSend& to_external(itcNDRSend& b) const override { return b << first << second; }
};

// Puts of long items, each with a name.
struct LongPut {
    const char* name;
    void (*put)(itcNdrUbSend&);
    void (*plain)(itcNDRSend&);
};

void PrintTo(const LongPut& put, std::ostream* out) { *out << put.name; }

template <class Buffer> void putText(Buffer& b) { b << "abc"; }
template <class Buffer> void putBinary(Buffer& b) { b << binary("12345"); }
template <class Buffer> void putRecord(Buffer& b) { b << Pair(); }
template <class Buffer> void putInserted(Buffer& b) { b.insert("abc", 3, true); }
template <class Buffer> void putOpaque(Buffer& b) { b.put_opaque("abc", 3, true, true); }

class UbSendLongPut : public testing::TestWithParam<LongPut> {};
INSTANTIATE_TEST_SUITE_P(Each, UbSendLongPut,
                         testing::Values(LongPut{"text", putText, putText}, LongPut{"binary", putBinary, putBinary},
                                         LongPut{"record", putRecord, putRecord},
                                         LongPut{"insert", putInserted, putInserted},
                                         LongPut{"put_opaque", putOpaque, putOpaque}));

TEST_P(UbSendLongPut, PutsInIdleWhatThePlainBufferPuts)
{
    OpenUbSend packet(1);
    itcNDRSend plain;
    leaveMark(packet);
    GetParam().put(packet);
    GetParam().plain(plain);
    EXPECT_EQ(packet.data(), std::string(plain.raw_data(), plain.raw_length()));
    EXPECT_THAT(packet, HasClearStatus());
}

TEST_P(UbSendLongPut, IsRefusedInEveryOtherState)
{
    for (int state = ReadingMagic; state <= Disconnected; ++state) {
        OpenUbSend packet(1, 100);
        packet.txState = state;
        GetParam().put(packet);
        EXPECT_EQ(packet.raw_length(), 2U) << state;
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));
    }
}

} // namespace
