// The resumable receive: pieces, states, failures and resets.
#include "UbProbe.h"

#include <utility>

namespace {

// A packet with one text of 20 bytes in it: 2 for the label, 2 for the gap, 4 for the length, 20 for the text.
class UbReceive : public testing::Test {
protected:
    UbReceive()
    {
        itcNDRSend out;
        out << "nineteen characters";
        ndr.assign(out.raw_data(), out.raw_length());
    }

    std::string takenText()
    {
        char text[32] = "?";
        packet >> text;
        return text;
    }

    unsigned int receiveFrom(ScriptedConnection& c) { return c >> packet; }

    std::string ndr;
    OpenUbReceive packet{77};
    ScriptedConnection connection;
};

TEST_F(UbReceive, StartsIdle)
{
    const OpenUbReceive fresh(5);
    EXPECT_EQ(fresh.tag, 5U);
    EXPECT_EQ(fresh.rxState, Idle);
    EXPECT_EQ(fresh.lengthPos, reinterpret_cast<const char*>(&fresh.lengthBuf));
    EXPECT_EQ(fresh.magicPos, nullptr);
    EXPECT_EQ(fresh.dataPos, nullptr);
    EXPECT_EQ(fresh.magicRemaining + fresh.lengthBuf + fresh.lengthRemaining + fresh.dataRemaining, 0U);
    EXPECT_EQ(fresh.bytesReceived, 0U);
    EXPECT_THAT(fresh, HasClearStatus());
}

TEST_F(UbReceive, TheSecondArgumentMakesStorage)
{
    const OpenUbReceive fresh(5, 100);
    EXPECT_EQ(fresh.free_buffer_size(), 100U);
    EXPECT_EQ(fresh.rxState, Idle);
}

TEST_F(UbReceive, AWholeFrameIsCompleteAtOnce)
{
    connection.gives(frame(ndr));
    EXPECT_EQ(receiveFrom(connection), 0U);
    EXPECT_EQ(packet.rxState, Complete);
    EXPECT_EQ(packet.bytesReceived, 36U);
    EXPECT_EQ(connection.readsAsked, (std::vector<int>{4, 4, 28}));
    EXPECT_EQ(connection.initReads, 1);
    EXPECT_EQ(packet.dataLast, packet.dataStart + 27);
    EXPECT_EQ(packet.dataPos, packet.raw_data());
    EXPECT_EQ(packet.lengthBuf, 28U);
    EXPECT_THAT(packet, HasClearStatus());
    EXPECT_EQ(takenText(), "nineteen characters");
}

TEST_F(UbReceive, EachPieceTellsHowMuchIsKnownToBeMissing)
{
    connection.gives("QV").wouldBlock().gives(std::string("R\0\0", 3)).wouldBlock().gives(std::string("\0\0\x1c", 3));
    EXPECT_EQ(receiveFrom(connection), 6U);
    EXPECT_EQ(packet.rxState, ReadingMagic);
    EXPECT_EQ(packet.bytesReceived, 2U);
    EXPECT_EQ(receiveFrom(connection), 6U); // would block
    EXPECT_EQ(packet.bytesReceived, 0U);
    EXPECT_EQ(receiveFrom(connection), 3U);
    EXPECT_EQ(packet.rxState, ReadingLength);
    EXPECT_EQ(packet.bytesReceived, 3U);
    EXPECT_EQ(receiveFrom(connection), 3U); // would block
    EXPECT_EQ(receiveFrom(connection), 28U);
    EXPECT_EQ(packet.rxState, Transferring);
    connection.gives(ndr.substr(0, 10));
    EXPECT_EQ(receiveFrom(connection), 18U);
    EXPECT_EQ(receiveFrom(connection), 18U); // would block
    connection.gives(ndr.substr(10));
    EXPECT_EQ(receiveFrom(connection), 0U);
    EXPECT_EQ(packet.bytesReceived, 18U);
    EXPECT_EQ(takenText(), "nineteen characters");
}

TEST_F(UbReceive, ArrivesByteByByteWithAWouldBlockBeforeEach)
{
    const std::string bytes = frame(ndr);
    for (const char byte : bytes)
        connection.wouldBlock().gives(std::string(1, byte));
    for (size_t calls = 0; packet.rxState != Complete; ++calls) {
        ASSERT_LT(calls, 2 * bytes.size());
        receiveFrom(connection);
        ASSERT_THAT(packet, HasClearStatus());
    }
    EXPECT_EQ(takenText(), "nineteen characters");
}

// The frame arrives in two pieces. The tests cut the frame at every byte.
class UbReceiveCut : public UbReceive, public testing::WithParamInterface<size_t> {};
INSTANTIATE_TEST_SUITE_P(AtEveryByte, UbReceiveCut, testing::Range<size_t>(1, 36));

TEST_P(UbReceiveCut, GoesOnWhereItStopped)
{
    const std::string bytes = frame(ndr);
    connection.gives(bytes.substr(0, GetParam())).wouldBlock().gives(bytes.substr(GetParam()));
    while (packet.rxState != Complete && connection.initReads < 5)
        receiveFrom(connection);
    EXPECT_EQ(packet.rxState, Complete);
    EXPECT_EQ(takenText(), "nineteen characters");
}

TEST_P(UbReceiveCut, APeerThatClosesThereIsNoticed)
{
    const size_t cut = GetParam();
    connection.gives(frame(ndr).substr(0, cut)).closes().closes();
    while (packet.severity == Success && connection.initReads < 5)
        receiveFrom(connection);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Disconnection, Error));
    EXPECT_EQ(packet.rxState, cut < 8 ? Disconnected : Failed);
}

TEST_F(UbReceive, APeerThatClosesBeforeAnythingIsDisconnected)
{
    connection.closes();
    EXPECT_EQ(receiveFrom(connection), 8U);
    EXPECT_EQ(packet.rxState, Disconnected);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Disconnection, Error));
}

TEST_F(UbReceive, ACloseInTheLengthIsToldByTheNextCallOnly)
{
    connection.gives(std::string("QVR\0", 4)).closes();
    EXPECT_EQ(receiveFrom(connection), 4U);
    EXPECT_EQ(packet.rxState, ReadingLength);
    EXPECT_THAT(packet, HasClearStatus());
    connection.closes();
    EXPECT_EQ(receiveFrom(connection), 4U);
    EXPECT_EQ(packet.rxState, Disconnected);
}

TEST_F(UbReceive, ACloseInTheDataIsAFailure)
{
    connection.gives(frame(ndr).substr(0, 20)).closes();
    EXPECT_EQ(receiveFrom(connection), 16U);
    EXPECT_EQ(receiveFrom(connection), 16U);
    EXPECT_EQ(packet.rxState, Failed);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Disconnection, Error));
}

TEST_F(UbReceive, AWrongMagicFailsWhicheverByteItIs)
{
    for (size_t i = 0; i < 4; ++i) {
        OpenUbReceive other(1);
        std::string bytes = frame(ndr);
        bytes[i] = 'x';
        ScriptedConnection c;
        EXPECT_EQ(c.gives(bytes) >> other, 4U);
        EXPECT_EQ(other.rxState, Failed);
        EXPECT_THAT(other, HasStatus(Itc_Ndr_Magic_Error, Error));
    }
}

TEST_F(UbReceive, AReadErrorFailsInEachStageWithTheConnectionsErrorNumber)
{
    const struct {
        size_t before;
        unsigned int missing;
    } stages[] = {{0, 8}, {2, 6}, {4, 4}, {6, 2}, {8, 28}, {20, 16}};
    for (const auto& stage : stages) {
        OpenUbReceive other(1);
        ScriptedConnection c;
        if (stage.before > 0)
            c.gives(frame(ndr).substr(0, stage.before));
        c.breaks();
        unsigned int missing = c >> other;
        if (other.severity == Success)
            missing = c >> other;
        EXPECT_EQ(missing, stage.missing) << stage.before;
        EXPECT_EQ(other.rxState, Failed);
        EXPECT_THAT(other, HasStatus(Itc_Ndr_Ub_Packet_Read_Failed, Error, ScriptedConnection::brokenError));
    }
}

TEST_F(UbReceive, AFailureStaysThroughFurtherCalls)
{
    connection.breaks().gives(frame(ndr));
    receiveFrom(connection);
    EXPECT_EQ(receiveFrom(connection), 0U);
    EXPECT_EQ(connection.initReads, 2);
    EXPECT_EQ(connection.readsAsked.size(), 1U);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Packet_Read_Failed, Error, ScriptedConnection::brokenError));
}

TEST_F(UbReceive, CompleteAndDisconnectedReadNothingAndClearTheStatus)
{
    for (const int state : {int{Complete}, int{Disconnected}}) {
        packet.rxState = state;
        leaveMark(packet);
        EXPECT_EQ(receiveFrom(connection), 0U);
        EXPECT_EQ(packet.rxState, state);
        EXPECT_THAT(packet, HasClearStatus());
    }
    EXPECT_EQ(connection.initReads, 2);
    EXPECT_TRUE(connection.readsAsked.empty());
}

TEST_F(UbReceive, AStateOutsideTheEnumerationIsUnknown)
{
    packet.rxState = 7;
    packet.lengthRemaining = 3;
    packet.dataRemaining = 10;
    EXPECT_EQ(receiveFrom(connection), 13U);
    EXPECT_EQ(packet.rxState, Failed);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Unknown_Receive_State, Error));
}

TEST_F(UbReceive, AFailedInitReadEndsTheCall)
{
    packet.dataRemaining = 9;
    connection.initReadResult = -1;
    setStatus(connection, Itc_Tp_Would_Block, Error, 11);
    EXPECT_EQ(receiveFrom(connection), 9U);
    EXPECT_EQ(packet.rxState, Idle);
    EXPECT_THAT(packet, HasClearStatus());

    setStatus(connection, Itc_Tp_Read_Call_Failed, Error, 5);
    EXPECT_EQ(receiveFrom(connection), 9U);
    EXPECT_EQ(packet.rxState, Failed);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Packet_Read_Failed, Error, 5));
}

// The receiver calls InitRead() before looking at the state.
class UbReceiveInitRead : public UbReceive, public testing::WithParamInterface<int> {
protected:
    UbReceiveInitRead()
    {
        packet.rxState = GetParam();
        packet.magicRemaining = 1;
        packet.lengthRemaining = 2;
        packet.dataRemaining = 9;
        connection.gives(frame(ndr));
        connection.initReadResult = -1;
        leaveMark(packet);
    }

    void expectNothingRead()
    {
        EXPECT_EQ(receiveFrom(connection), 9U) << "of the data alone";
        EXPECT_TRUE(connection.readsAsked.empty());
    }
};
INSTANTIATE_TEST_SUITE_P(InEveryState, UbReceiveInitRead,
                         testing::Values(Idle, ReadingMagic, ReadingLength, Transferring, Complete, Failed,
                                         Disconnected, 7));

TEST_P(UbReceiveInitRead, ThatFailsIsAFailedRead)
{
    setStatus(connection, Itc_Tp_Read_Call_Failed, Error, 5);
    expectNothingRead();
    EXPECT_EQ(packet.rxState, Failed);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Packet_Read_Failed, Error, 5));
}

TEST_P(UbReceiveInitRead, ThatWouldBlockLeavesTheState)
{
    setStatus(connection, Itc_Tp_Would_Block, Error, 11);
    expectNothingRead();
    EXPECT_EQ(packet.rxState, GetParam());
    if (GetParam() == Failed) {
        EXPECT_THAT(packet, StillHasMark());
    } else {
        EXPECT_THAT(packet, HasClearStatus());
    }
}

TEST_F(UbReceive, GrowsByThePagesThatTheFrameNeeds)
{
    struct Growing : OpenUbReceive {
        using OpenUbReceive::OpenUbReceive;
        void extend_buffer(unsigned int pages) override
        {
            asked.push_back(pages);
            OpenUbReceive::extend_buffer(pages);
        }
        std::vector<unsigned int> asked;
    } growing(1, 32);
    connection.gives(frameHeader(10000));
    EXPECT_EQ(connection >> growing, 10000U);
    EXPECT_EQ(growing.asked, std::vector<unsigned int>{3});
    EXPECT_EQ(growing.dataPos, growing.raw_data());
}

TEST_F(UbReceive, AConnectionThatClaimsTooMuchIsCountedAsItSaysAndReadsNoMore)
{
    struct Boasting : ScriptedConnection {
        int Read(void* buf, int len) override { return ScriptedConnection::Read(buf, len) + 500; }
    } boasting;
    boasting.gives(frame(ndr));
    EXPECT_EQ(boasting >> packet, 0U);
    EXPECT_EQ(packet.bytesReceived, 8U + ndr.size() + 3 * 500);
    EXPECT_EQ(takenText(), "nineteen characters");
}

TEST_F(UbReceive, AFailedGrowthLeavesTheErrorOfTheMoment)
{
    struct Refusing : OpenUbReceive {
        using OpenUbReceive::OpenUbReceive;
        void extend_buffer(unsigned int) override
        {
            setStatus(*this, Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM);
            errno = EXDEV;
        }
    } refusing(1, 32);
    connection.gives(frameHeader(5000)) >> refusing;
    EXPECT_THAT(refusing, HasStatus(Itc_Ndr_Ub_Extend_Buffer_Failed, Error, EXDEV));
}

TEST_F(UbReceive, LengthsThatNoMemoryHoldsFail)
{
    refuseHugeAllocations();
    for (const unsigned int length : {0x7fffffffU, 0x80000000U, 0xfffff000U, 0xffffffffU}) {
        OpenUbReceive other(1, 100);
        ScriptedConnection c;
        EXPECT_EQ(c.gives(frameHeader(length)) >> other, length);
        EXPECT_EQ(other.rxState, Failed);
        EXPECT_THAT(other, HasStatus(Itc_Ndr_Ub_Extend_Buffer_Failed, Error, ENOMEM));
        EXPECT_EQ(other.free_buffer_size(), 0U);

        other.reset_transmission_state();
        c.gives(frame(ndr));
        EXPECT_EQ(c >> other, 0U);
        EXPECT_EQ(other.rxState, Complete);
    }
}

TEST_F(UbReceive, AGrowthBeyondTheMaximumIsForgivenOnlyIfTheBufferHoldsTheFrame)
{
    struct Limited : OpenUbReceive {
        using OpenUbReceive::OpenUbReceive;
        void extend_buffer(unsigned int pages) override
        {
            if (reallyGrows)
                OpenUbReceive::extend_buffer(pages);
            setStatus(*this, Itc_Ndr_Buff_Sz_More_Than_Max, Error, 0);
        }
        bool reallyGrows = false;
    } limited(1, 32);
    connection.gives(frameHeader(5000));
    connection >> limited;
    EXPECT_EQ(limited.rxState, Failed);
    EXPECT_THAT(limited, HasStatus(Itc_Ndr_Ub_Extend_Buffer_Failed, Error));

    limited.reset_transmission_state();
    limited.reallyGrows = true;
    ScriptedConnection second;
    second.gives(frameHeader(5000));
    second >> limited;
    EXPECT_EQ(limited.rxState, Transferring);
}

TEST_F(UbReceive, AFrameOfLengthZeroIsADisconnectionInTheData)
{
    connection.gives(frameHeader(0)).closes();
    EXPECT_EQ(receiveFrom(connection), 0U);
    EXPECT_EQ(packet.rxState, Failed);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Disconnection, Error));
}

TEST_F(UbReceive, AFrameOfOneByteHoldsNoValue)
{
    connection.gives(frameHeader(1) + "\x10");
    EXPECT_EQ(receiveFrom(connection), 0U);
    EXPECT_EQ(packet.rxState, Complete);
    char value = 'x';
    packet >> value;
    EXPECT_EQ(value, 0);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

TEST_F(UbReceive, StorageThatWasReplacedUnderWayIsAFailedRead)
{
    connection.gives(frame(ndr).substr(0, 20));
    receiveFrom(connection);
    char* const earlier = std::exchange(packet.storage, nullptr); // freed later: the next storage lies elsewhere
    packet.itcNDRReceive::extend_buffer(1);
    OS_free(earlier);
    connection.gives(frame(ndr).substr(20));
    receiveFrom(connection);
    EXPECT_EQ(packet.rxState, Failed);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Packet_Read_Failed, Error));
}

TEST_F(UbReceive, FramesFollowOneAnother)
{
    connection.gives(frame(ndr) + frame(ndr));
    for (int i = 0; i < 2; ++i) {
        receiveFrom(connection);
        ASSERT_EQ(packet.rxState, Complete);
        EXPECT_EQ(takenText(), "nineteen characters");
        packet.reset();
    }
}

TEST_F(UbReceive, TheEndOfATransactionIsNotForgottenByTheNextFrame)
{
    packet.transactionEnd = 12;
    connection.gives(frame(ndr));
    receiveFrom(connection);
    EXPECT_EQ(packet.transactionEnd, 12U);
}

// The two resets, in each state.

constexpr char sixBytes[] = {0x10, 0, 1, 0, 2, 0};

struct Permission {
    int state;
    bool reset;
    bool resetTransmission;
};

class UbReceiveResets : public testing::TestWithParam<Permission> {};
INSTANTIATE_TEST_SUITE_P(ByState, UbReceiveResets,
                         testing::Values(Permission{Idle, true, true}, Permission{ReadingMagic, false, false},
                                         Permission{ReadingLength, false, false},
                                         Permission{Transferring, false, false}, Permission{Complete, true, true},
                                         Permission{Failed, false, true}, Permission{Disconnected, false, false}));

void expectOutcome(OpenUbReceive& packet, bool allowed, int state)
{
    if (allowed) {
        EXPECT_EQ(packet.rxState, Idle);
        EXPECT_EQ(packet.lengthBuf, 0U);
        EXPECT_EQ(packet.lengthRemaining, 0U);
        EXPECT_EQ(packet.lengthPos, reinterpret_cast<char*>(&packet.lengthBuf));
        EXPECT_EQ(packet.dataPos, nullptr);
        EXPECT_EQ(packet.dataRemaining, 0U);
        EXPECT_THAT(packet, HasClearStatus());
    } else {
        EXPECT_EQ(packet.rxState, state);
        EXPECT_EQ(packet.lengthBuf, 6U);
        EXPECT_EQ(packet.dataRemaining, 0U);
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Error));
    }
}

TEST_P(UbReceiveResets, ResetIsAllowedOrRefused)
{
    OpenUbReceive packet(1, sixBytes, 6);
    packet.rxState = GetParam().state;
    packet.skip(2);
    const auto position = packet.readPos;
    packet.reset();
    expectOutcome(packet, GetParam().reset, GetParam().state);
    EXPECT_EQ(packet.readPos, GetParam().reset ? packet.dataStart + 2 : position);
}

TEST_P(UbReceiveResets, ResetOfTheTransferIsAllowedOrRefused)
{
    OpenUbReceive packet(1, sixBytes, 6);
    packet.skip(2);
    const auto position = packet.readPos;
    packet.rxState = GetParam().state;
    packet.reset_transmission_state();
    expectOutcome(packet, GetParam().resetTransmission, GetParam().state);
    EXPECT_EQ(packet.readPos, position) << "the buffer is left alone";
}

} // namespace
