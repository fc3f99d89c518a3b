// The virtual operations of the buffers. Deriving hosts are compiled against the order of these operations. Every
// growth is a virtual call.
#include "NdrProbe.h"
#include "StatusMatchers.h"
#include "StreamPair.h"
#include "VirtualSlots.h"

#include <kiv/ndr/UbTransmissionState.h>
#include <kiv/ndr/itcMsgHdr.h>

#include <algorithm>
#include <functional>
#include <type_traits>

namespace {

using testing::ElementsAre;

bool ascending(const std::vector<const void*>& addresses)
{
    return std::is_sorted(addresses.begin(), addresses.end(), std::less<const void*>());
}

template <class Buffer> std::vector<int> slotsOfBuffer()
{
    return {slotOf(&Buffer::reset),
            slotOf(&Buffer::raw_data),
            slotOf(&Buffer::raw_length),
            slotOf(&Buffer::extend_buffer),
            slotOf(&Buffer::free_buffer_size),
            slotOf(&Buffer::create_buffer),
            slotCount<Buffer>()};
}

TEST(NdrSlots, OfTheSendBufferAreInOrder)
{
    EXPECT_THAT(slotsOfBuffer<itcNDRSend>(), ElementsAre(2, 3, 4, 5, 6, 7, 8));
}

TEST(NdrSlots, OfTheReceiveBufferAreInOrder)
{
    EXPECT_THAT(slotsOfBuffer<itcNDRReceive>(), ElementsAre(2, 3, 4, 5, 6, 7, 8));
}

TEST(NdrSlots, OfARecordAreInOrder)
{
    struct Behind : itcXNDR {
        virtual void more() {}
    };
    EXPECT_EQ(slotOf(&itcXNDR::to_internal), 2);
    EXPECT_EQ(slotOf(&itcXNDR::to_external), 3);
    EXPECT_EQ(slotOf(&Behind::more), 4);
    EXPECT_EQ(slotCount<itcMsgHdr>(), 4);
}

TEST(NdrSlots, BuffersCarryAStatus)
{
    EXPECT_TRUE((std::is_base_of_v<itcStatus, itcNDR>));
    EXPECT_TRUE((std::is_base_of_v<itcNDR, itcNDRSend>));
    EXPECT_TRUE((std::is_base_of_v<itcNDR, itcNDRReceive>));
    EXPECT_TRUE(std::is_polymorphic_v<itcNDR>);
    EXPECT_TRUE(std::is_abstract_v<itcXNDR>);
    EXPECT_TRUE((std::is_base_of_v<itcXNDR, itcMsgHdr>));
    EXPECT_FALSE(std::is_polymorphic_v<itcBinData>);
}

TEST(NdrSlots, FieldsAreInOrder)
{
    OpenSend out;
    EXPECT_TRUE(ascending({&out.transactionOffset, &out.frameStart, &out.writePos, &out.lastUsable, &out.storage}));
    OpenReceive in;
    EXPECT_TRUE(ascending({&in.transactionEnd, &in.peerEndian, &in.peerChar, &in.peerFloat, &in.dataStart, &in.readPos,
                           &in.dataLast, &in.bufferLast, &in.storage}));
    struct OpenMsgHdr : itcMsgHdr {
        std::vector<const void*> fields() const
        {
            return {&number, &type, text1, text2, &value1, &value2, &value3, &value4};
        }
    } header;
    EXPECT_TRUE(ascending(header.fields()));
}

TEST(NdrSlots, BinaryDataBeginsWithLengthAndPointer)
{
    EXPECT_TRUE(std::is_standard_layout_v<itcBinData>);
    EXPECT_EQ(offsetof(itcBinData, length), 0u);
    EXPECT_EQ(offsetof(itcBinData, data), sizeof(void*));
}

static_assert(Idle == 0 && ReadingMagic == 1 && ReadingLength == 2 && Transferring == 3 && Complete == 4 &&
              Failed == 5 && Disconnected == 6);

// Everything that makes a send buffer grow. The deriving class of the test refuses to grow.
struct GrowthThroughSlot {
    const char* name;
    void (*put)(itcNDRSend& b);
};

void PrintTo(const GrowthThroughSlot& growth, std::ostream* out) { *out << growth.name; }

class NdrSendGrowth : public testing::TestWithParam<GrowthThroughSlot> {};

TEST_P(NdrSendGrowth, GoesThroughTheVirtualSlot)
{
    struct Fixed : itcNDRSend {
        using itcNDRSend::itcNDRSend;
        using itcNDRSend::storage;
        std::vector<unsigned int> asked;
        void extend_buffer(unsigned int pages) override
        {
            asked.push_back(pages);
            severity = Error;
        }
    } b;
    GetParam().put(b);
    EXPECT_THAT(b.asked, ElementsAre(1u));
    EXPECT_EQ(b.storage, nullptr);
    EXPECT_EQ(b.raw_length(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Puts, NdrSendGrowth,
    testing::Values(GrowthThroughSlot{"byte", [](itcNDRSend& b) { b << 'c'; }},
                    GrowthThroughSlot{"short", [](itcNDRSend& b) { b << short(1); }},
                    GrowthThroughSlot{"int", [](itcNDRSend& b) { b << 1; }},
                    GrowthThroughSlot{"double", [](itcNDRSend& b) { b << 1.0; }},
                    GrowthThroughSlot{"text", [](itcNDRSend& b) { b << "abc"; }},
                    GrowthThroughSlot{"binary data", [](itcNDRSend& b) { b << binary("abc"); }},
                    GrowthThroughSlot{"block", [](itcNDRSend& b) { b.put_opaque("abc", 3, true, false); }},
                    GrowthThroughSlot{"transaction", [](itcNDRSend& b) { b.start_transaction(); }}));

TEST(NdrSendGrowthThatFails, PutsNothingEvenIfThereIsRoomNow)
{
    struct Complaining : itcNDRSend {
        void extend_buffer(unsigned int pages) override
        {
            itcNDRSend::extend_buffer(pages);
            severity = Error;
        }
    } b;
    b << 'a';
    EXPECT_EQ(b.raw_length(), 2u);
}

TEST(NdrReceiveGrowth, GoesThroughTheVirtualSlotAndStopsOnItsError)
{
    struct Refusing : OpenReceive {
        void extend_buffer(unsigned int pages) override
        {
            pagesAsked.push_back(pages);
            leaveMark(*this);
            severity = Error;
        }
    } b;
    StreamPair pair;
    pair.farSends(frame(packet("abc")));
    pair.near() >> b;
    EXPECT_THAT(b.pagesAsked, ElementsAre(1u));
    EXPECT_THAT(b, HasStatus(Itc_Tp_New_Path_Error, Error, 4711)) << "the status is the growth's";
    EXPECT_EQ(OsFaults::recv().calls(), 2);
}

TEST(NdrSendReset, AsksTheVirtualFreeSize)
{
    struct Boasting : itcNDRSend {
        Boasting() : itcNDRSend(64) {}
        using itcNDRSend::storage;
        unsigned int free_buffer_size() const override { return 0x100001; }
    } b;
    b.reset();
    EXPECT_EQ(b.storage, nullptr);
}

} // namespace
