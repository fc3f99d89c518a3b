// Taking values from the resumable receive buffer, which is allowed in Complete only; and receiving from streams.
#include "UbProbe.h"

#include <sstream>

namespace {

constexpr int notComplete[] = {Idle, ReadingMagic, ReadingLength, Transferring, Failed, Disconnected};

TEST(UbReceiveFromBytes, IsCompleteAtOnce)
{
    itcNDRSend out;
    out << 42;
    OpenUbReceive packet(9, out.raw_data(), out.raw_length());
    EXPECT_EQ(packet.tag, 9U);
    EXPECT_EQ(packet.rxState, Complete);
    EXPECT_EQ(packet.lengthBuf, 8U);
    EXPECT_EQ(packet.lengthPos, reinterpret_cast<char*>(&packet.lengthBuf));
    EXPECT_EQ(packet.bytesReceived, 8U);
    EXPECT_EQ(packet.dataPos, packet.raw_data());
    EXPECT_EQ(packet.dataRemaining, 0U);
    EXPECT_EQ(packet.magicPos, nullptr);
    EXPECT_THAT(packet, HasClearStatus());
    int value = 0;
    packet >> value;
    EXPECT_EQ(value, 42);
}

TEST(UbReceiveFromBytes, TooFewBytesAreCompleteAndHoldNothing)
{
    OpenUbReceive packet(9, "\x10", 1);
    EXPECT_EQ(packet.rxState, Complete);
    int value = 7;
    packet >> value;
    EXPECT_EQ(value, 0);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

TEST(UbReceiveInit, WrapsACallersBufferAndIsComplete)
{
    alignas(8) char buffer[8] = {0x10, 0, 0, 0, 42, 0, 0, 0};
    OpenUbReceive packet(9);
    packet.init(buffer, sizeof buffer);
    EXPECT_EQ(packet.rxState, Complete);
    EXPECT_EQ(packet.lengthBuf, 8U);
    EXPECT_EQ(packet.bytesReceived, 8U);
    EXPECT_EQ(packet.dataPos, buffer);
    int value = 0;
    packet >> value;
    EXPECT_EQ(value, 42);
}

TEST(UbReceiveInit, IsCompleteEvenWhenTheBufferWasRefused)
{
    OpenUbReceive packet(9);
    packet.init(nullptr, 8);
    EXPECT_EQ(packet.rxState, Complete);
    EXPECT_EQ(packet.lengthBuf, 8U);
    EXPECT_EQ(packet.bytesReceived, 8U);
    EXPECT_EQ(packet.dataPos, nullptr);
    int value = 7;
    packet >> value;
    EXPECT_EQ(value, 0);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

TEST(UbReceiveInit, SaysWhyABufferWasRefused)
{
    alignas(8) char buffer[8] = {};
    OpenUbReceive packet(9);
    packet.init(nullptr, 8);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    packet.init(buffer, 2);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Error));
    packet.init(buffer, sizeof buffer);
    EXPECT_THAT(packet, HasClearStatus());
}

template <class Value> class UbReceiveTake : public testing::Test {};
TYPED_TEST_SUITE(UbReceiveTake, ValueTypes);

TYPED_TEST(UbReceiveTake, TakesInComplete)
{
    const auto value = countingValue<TypeParam>();
    itcNDRSend out;
    out << value;
    OpenUbReceive packet(1, out.raw_data(), out.raw_length());
    leaveMark(packet);
    TypeParam taken = TypeParam();
    EXPECT_EQ(&(packet >> taken), &packet);
    EXPECT_EQ(taken, value);
    EXPECT_THAT(packet, HasClearStatus());
}

TYPED_TEST(UbReceiveTake, IsRefusedInEveryOtherState)
{
    for (const int state : notComplete) {
        OpenUbReceive packet(1, "\x10\0\1\2\3\4\5\6\7\x8\1\2\3\4\5\6", 16);
        const auto position = packet.readPos;
        packet.rxState = state;
        auto target = countingValue<TypeParam>();
        packet >> target;
        EXPECT_EQ(target, countingValue<TypeParam>()) << "the target is left alone";
        EXPECT_EQ(packet.readPos, position);
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));
    }
}

class Twice : public itcXNDR {
public:
    int first = 0;
    int second = 0;

    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b >> first >> second; }
    itcNDRSend& to_external(itcNDRSend& b) const override { return b << first << second; }
};

// Takes of long items. `put` puts the item, `takeAndCheck` takes the item and compares.
struct LongTake {
    const char* name;
    void (*put)(itcNDRSend&);
    bool (*takeAndCheck)(itcNdrUbReceive&);
};

void PrintTo(const LongTake& take, std::ostream* out) { *out << take.name; }

const LongTake longTakes[] = {
    {"text", [](itcNDRSend& b) { b << "abc"; },
     [](itcNdrUbReceive& b) {
         char text[8] = "";
         b >> text;
         return std::string(text) == "abc";
     }},
    {"binary", [](itcNDRSend& b) { b << binary("abc"); },
     [](itcNdrUbReceive& b) {
         char area[3] = {};
         itcBinData data;
         data.data = area;
         b >> data;
         return std::string(area, 3) == "abc";
     }},
    {"record", [](itcNDRSend& b) { b << 1 << 2; },
     [](itcNdrUbReceive& b) {
         Twice record;
         b >> record;
         return record.first == 1 && record.second == 2;
     }},
    {"raw bytes", [](itcNDRSend& b) { b.insert("abc", 3, false); },
     [](itcNdrUbReceive& b) {
         char area[3] = {};
         unsigned int size = 3;
         b.extract(area, size);
         return std::string(area, 3) == "abc";
     }},
    {"counted bytes", [](itcNDRSend& b) { b.insert("abc", 3, true); },
     [](itcNdrUbReceive& b) {
         char area[8] = {};
         char* place = area;
         int size = 0;
         b.extract(place, sizeof area, size);
         return size == 3 && std::string(area, 3) == "abc";
     }},
    {"opaque block", [](itcNDRSend& b) { b.put_opaque("abc", 3, true, true); },
     [](itcNdrUbReceive& b) {
         char area[8] = {};
         void* place = area;
         int size = 0;
         b.get_opaque(place, sizeof area, size);
         return size == 3 && std::string(area, 3) == "abc";
     }},
};

class UbReceiveLongTake : public testing::TestWithParam<LongTake> {};
INSTANTIATE_TEST_SUITE_P(Each, UbReceiveLongTake, testing::ValuesIn(longTakes));

TEST_P(UbReceiveLongTake, TakesInComplete)
{
    itcNDRSend out;
    GetParam().put(out);
    OpenUbReceive packet(1, out.raw_data(), out.raw_length());
    leaveMark(packet);
    EXPECT_TRUE(GetParam().takeAndCheck(packet));
    EXPECT_THAT(packet, HasClearStatus());
}

TEST_P(UbReceiveLongTake, IsRefusedInEveryOtherState)
{
    itcNDRSend out;
    GetParam().put(out);
    for (const int state : notComplete) {
        OpenUbReceive packet(1, out.raw_data(), out.raw_length());
        const auto position = packet.readPos;
        packet.rxState = state;
        EXPECT_FALSE(GetParam().takeAndCheck(packet));
        EXPECT_EQ(packet.readPos, position);
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));
    }
}

TEST(UbReceiveMessageType, IsTakenInCompleteAndRefusedInEveryOtherState)
{
    itcNDRSend out;
    out << 5;
    OpenUbReceive packet(1, out.raw_data(), out.raw_length());
    for (const int state : notComplete) {
        auto type = itcMsgHdr::itcMsgType(3);
        packet.rxState = state;
        packet >> type;
        EXPECT_EQ(type, 3);
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));
    }
    packet.rxState = Complete;
    auto type = itcMsgHdr::itcMsgType(3);
    EXPECT_EQ(&(packet >> type), &packet);
    EXPECT_EQ(type, 5);
    EXPECT_THAT(packet, HasClearStatus());
}

TEST(UbReceiveSkip, DoesNotClearTheStatus)
{
    OpenUbReceive packet(1, "\x10\0\1\2", 4);
    leaveMark(packet);
    packet.skip(1);
    EXPECT_EQ(packet.readPos, packet.dataStart + 3);
    EXPECT_THAT(packet, StillHasMark());
}

TEST(UbReceiveSkip, IsRefusedInEveryOtherState)
{
    for (const int state : notComplete) {
        OpenUbReceive packet(1, "\x10\0\1\2", 4);
        packet.rxState = state;
        packet.skip(1);
        EXPECT_EQ(packet.readPos, packet.dataStart + 2);
        EXPECT_THAT(packet, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));
    }
}

// Standard streams

class UbReceiveStream : public testing::Test {
protected:
    UbReceiveStream()
    {
        itcNDRSend out;
        out << 42;
        bytes = frame({out.raw_data(), out.raw_length()});
    }

    OpenUbReceive packet{1};
    std::string bytes;
};

TEST_F(UbReceiveStream, ReadsAWholeFrame)
{
    std::istringstream stream(bytes);
    EXPECT_EQ(&(stream >> packet), &stream);
    EXPECT_EQ(packet.rxState, Complete);
    EXPECT_THAT(packet, HasClearStatus());
    int value = 0;
    packet >> value;
    EXPECT_EQ(value, 42);
}

TEST_F(UbReceiveStream, CountsTheHeaderButNotTheData)
{
    std::istringstream stream(bytes);
    stream >> packet;
    EXPECT_EQ(packet.bytesReceived, 8U);
}

TEST_F(UbReceiveStream, AnEndInTheHeaderIsADisconnectionAndInTheDataAFailure)
{
    for (size_t cut = 0; cut < bytes.size(); ++cut) {
        OpenUbReceive other(1);
        std::istringstream stream(bytes.substr(0, cut));
        stream >> other;
        EXPECT_EQ(other.rxState, cut < 8 ? Disconnected : Failed) << cut;
        EXPECT_THAT(other, HasStatus(Itc_Ndr_Ub_Disconnection, Error));
    }
}

TEST_F(UbReceiveStream, AStreamThatHasFailedIsAFailedRead)
{
    for (const auto bit : {std::ios::failbit, std::ios::badbit}) {
        OpenUbReceive other(1);
        std::istringstream stream(bytes);
        stream.setstate(bit);
        stream >> other;
        EXPECT_EQ(other.rxState, Failed);
        EXPECT_THAT(other, HasStatus(Itc_Ndr_Ub_Packet_Read_Failed, Error));
    }
}

TEST_F(UbReceiveStream, AStreamThatThrowsIsADisconnectionAllTheSame)
{
    std::istringstream stream("QV");
    stream.exceptions(std::ios::eofbit | std::ios::failbit);
    EXPECT_NO_THROW(stream >> packet);
    EXPECT_EQ(packet.rxState, Disconnected);
}

TEST_F(UbReceiveStream, AWrongMagicFails)
{
    bytes[3] = 'x';
    std::istringstream stream(bytes);
    stream >> packet;
    EXPECT_EQ(packet.rxState, Failed);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_Magic_Error, Error));
}

TEST_F(UbReceiveStream, GoesOnWhereAConnectionHasStopped)
{
    ScriptedConnection connection;
    connection.gives(bytes.substr(0, 10)) >> packet;
    std::istringstream stream(bytes.substr(10));
    stream >> packet;
    EXPECT_EQ(packet.rxState, Complete);
    EXPECT_EQ(packet.bytesReceived, 0U);
}

TEST_F(UbReceiveStream, ClearsTheStatusUnlessTheTransferHasEndedBadly)
{
    std::istringstream stream;
    for (int state = Idle; state <= Disconnected; ++state) {
        if (state != Complete && state != Failed && state != Disconnected)
            continue; // in the other states the call would read
        packet.rxState = state;
        leaveMark(packet);
        stream >> packet;
        if (state == Complete)
            EXPECT_THAT(packet, HasClearStatus());
        else
            EXPECT_THAT(packet, StillHasMark()) << state;
    }
}

TEST_F(UbReceiveStream, AnEmptyFrameIsCompleteAndHoldsNothing)
{
    std::istringstream stream(frameHeader(0));
    stream >> packet;
    EXPECT_EQ(packet.rxState, Complete);
    EXPECT_EQ(packet.raw_length(), 0U);
    char value = 'x';
    packet >> value;
    EXPECT_EQ(value, 0);
    EXPECT_THAT(packet, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

} // namespace
