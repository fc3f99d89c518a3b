// Transfers of packets that are repeated. In each repetition another system call fails.
#include "SingleFailures.h"
#include "StreamPair.h"
#include "UbProbe.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr int value = 4711;

std::string frameOfValue()
{
    itcNDRSend out;
    out << value;
    return frame({out.raw_data(), out.raw_length()});
}

/// Expects that the bytes of the whole frame have arrived at the other end.
void expectFrameAt(const StreamPair& pair) { EXPECT_EQ(pair.farReceives(frameOfValue().size()), frameOfValue()); }

template <class Buffer> void expectValueIn(Buffer& buffer)
{
    int taken = 0;
    buffer >> taken;
    EXPECT_EQ(taken, value);
    EXPECT_THAT(buffer, HasClearStatus());
}

TEST(TransferFailures, OfTheFramedWriteAreToldAndThePacketCanBeSentLater)
{
    const std::vector<Consequence> consequences = {fails("malloc", Itc_Ndr_Packet_Write_Failed),
                                                   fails("send", Itc_Ndr_Packet_Write_Failed)};
    walkSingleFailures(consequences, [](SingleFailure& failure) {
        StreamPair pair;
        itcNDRSend packet;
        failure.during([&] {
            packet << value;
            pair.near() << packet;
        });
        failure.expectIn(packet);
        if (failure.hasHit("send")) {
            EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Write_Call_Failed, Error, failureError));
        } else {
            EXPECT_THAT(pair.near(), HasClearStatus());
        }
        if (!failure.isSurvived()) {
            packet.reset();
            packet << value;
            pair.near() << packet;
            EXPECT_THAT(packet, HasClearStatus());
        }
        expectFrameAt(pair);
    });
}

TEST(TransferFailures, OfTheFramedReadAreToldAndTheNextFrameCanBeRead)
{
    const std::vector<Consequence> consequences = {
        fails("recv", Itc_Ndr_Conn_Read_Failed), fails("recv", Itc_Ndr_Conn_Read_Failed),
        fails("malloc", Itc_Ndr_Buffer_Alloc_Failed), fails("recv", Itc_Ndr_Conn_Read_Failed)};
    walkSingleFailures(consequences, [](SingleFailure& failure) {
        StreamPair pair;
        pair.farSends(frameOfValue());
        itcNDRReceive packet;
        failure.during([&] { pair.near() >> packet; });
        failure.expectIn(packet);
        if (failure.hasHit("recv")) {
            EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Read_Call_Failed, Error, failureError));
        }
        if (!failure.isSurvived()) {
            StreamPair next; // the rest of the frame is still in the first
            next.farSends(frameOfValue());
            next.near() >> packet;
            EXPECT_THAT(packet, HasClearStatus());
        }
        expectValueIn(packet);
    });
}

TEST(TransferFailures, OfTheResumableSendAreToldAndThePacketCanBeSentLater)
{
    walkSingleFailures(
        {fails("malloc", Itc_Ndr_Ub_Packet_Write_Failed, 0), fails("send", Itc_Ndr_Ub_Packet_Write_Failed)},
        [](SingleFailure& failure) {
            StreamPair pair;
            OpenUbSend packet(1);
            unsigned int left = 0;
            failure.during([&] {
                packet << value;
                left = pair.near() << packet;
            });
            failure.expectIn(packet);
            EXPECT_EQ(packet.txState, failure.isSurvived() ? Complete : Failed);
            const std::size_t headAlone = 8; // the frame of a packet without storage
            EXPECT_EQ(left, failure.isSurvived() ? 0 : failure.hasHit("send") ? frameOfValue().size() : headAlone);
            if (!failure.isSurvived()) {
                packet.reset();
                packet.reset_transmission_state();
                packet << value;
                EXPECT_EQ(pair.near() << packet, 0u);
                EXPECT_THAT(packet, HasClearStatus());
            }
            expectFrameAt(pair);
        });
}

TEST(TransferFailures, OfTheResumableReceiveAreToldAndTheNextFrameCanBeReceived)
{
    const std::vector<Consequence> consequences = {
        fails("recv", Itc_Ndr_Ub_Packet_Read_Failed), fails("recv", Itc_Ndr_Ub_Packet_Read_Failed),
        fails("malloc", Itc_Ndr_Ub_Extend_Buffer_Failed), fails("recv", Itc_Ndr_Ub_Packet_Read_Failed)};
    walkSingleFailures(consequences, [](SingleFailure& failure) {
        StreamPair pair;
        pair.farSends(frameOfValue());
        OpenUbReceive packet(1);
        failure.during([&] { pair.near() >> packet; });
        failure.expectIn(packet);
        EXPECT_EQ(packet.rxState, failure.isSurvived() ? Complete : Failed);
        if (!failure.isSurvived()) {
            packet.reset_transmission_state();
            StreamPair next; // the rest of the frame is still in the first
            next.farSends(frameOfValue());
            EXPECT_EQ(next.near() >> packet, 0u);
        }
        expectValueIn(packet);
    });
}

} // namespace
