// Frames from hostile or faulty peers. Nothing is read or written outside the buffer. The next good frame is read well.
#include "NdrProbe.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <kiv/ndr/itcMsgHdr.h>

namespace {

using namespace std::string_literals;

// Takes values of every kind, three times over, whatever the buffer holds.
void takeEverything(OpenReceive& b)
{
    for (int round = 0; round < 3; ++round) {
        bool truth;
        char c;
        short s;
        int i;
        float f;
        double d;
        long long l;
        b >> c >> truth >> s >> i >> f >> d >> l;
        std::vector<char> text(0x20000); // larger than any packet here
        b >> text.data();
        itcBinData data;
        data.data = text.data();
        b >> data;
        itcMsgHdr header;
        b >> header;
        char* block = nullptr;
        int length = 0;
        b.extract(block, 0, length);
        const std::unique_ptr<char[]> owner(block);
        void* opaque = nullptr;
        b.get_opaque(opaque, 0, length);
        const std::unique_ptr<char[]> otherOwner(static_cast<char*>(opaque));
        b.start_transaction();
        b >> i;
        b.end_transaction();
        unsigned int left = 0;
        b.extract(nullptr, left);
        b.pending_length();
        b.skip(-1);
        b.skip(1);
    }
}

// A packet with something of every kind.
std::string richPacket()
{
    OpenSend b;
    b << 'c' << true << short(1) << 2 << 3.0f << 4.0 << 5LL << "six" << binary("seven");
    b << itcMsgHdr(1, itcMsgHdr::itcMsgType(2), const_cast<char*>("abc"), const_cast<char*>("de"), 3, 4, 5, 6);
    b.insert("eight", 5, true).put_opaque("nine", 4, true, true);
    b.start_transaction();
    b << 10;
    b.end_transaction();
    return b.data();
}

void expectTheNextGoodFrameWorks(OpenReceive& b)
{
    StreamPair pair(itcConnection::ItcStrictBlocking);
    pair.farSends(frame(packet("\0\0"s + word(4711))));
    pair.near() >> b;
    int value = 0;
    b >> value;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(value, 4711);
}

class HostileLength : public testing::TestWithParam<std::tuple<unsigned int, itcConnection::ConnOptions>> {
protected:
    unsigned int length() const { return std::get<0>(GetParam()); }
    StreamPair pair{std::get<1>(GetParam())};
};

// The allocation for a huge length fails. No byte of the data is read.
TEST_P(HostileLength, IsAnAllocationThatFails)
{
    refuseHugeAllocations();
    OpenReceive b(32);
    pair.farSends(frameHeader(length()) + packet(std::string(100, 'v')));
    pair.near() >> b;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error));
    EXPECT_EQ(OsFaults::recv().calls(), 2);
    EXPECT_EQ(b.pointers(), noReceivePointers);
    EXPECT_EQ(b.free_buffer_size(), 0u);
    OsFaults::malloc().clear();

    takeEverything(b);
    b.reset();
    expectTheNextGoodFrameWorks(b);
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, HostileLength,
    testing::Combine(testing::Values(0x10000000u, 0x7FFFEFFFu, 0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xFFFFEFFFu,
                                     0xFFFFF000u, 0xFFFFF001u, 0xFFFFFFFFu),
                     testing::Values(itcConnection::ItcBlocking, itcConnection::ItcStrictBlocking)));

TEST(HostileFrame, OfNoBytesIsADisconnection)
{
    StreamPair pair(itcConnection::ItcStrictBlocking);
    for (const int size : {0, 32}) {
        OpenReceive b(size);
        pair.farSends(frameHeader(0));
        pair.near() >> b;
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Disconnection, Error));
        takeEverything(b);
        expectTheNextGoodFrameWorks(b);
    }
}

TEST(HostileFrame, OfNoBytesLeavesThePacketFromBefore)
{
    StreamPair pair(itcConnection::ItcStrictBlocking);
    OpenReceive b(packet("abc"));
    pair.farSends(frameHeader(0));
    pair.near() >> b;
    EXPECT_EQ(std::string(b.raw_data(), b.raw_length()), packet("abc"));
}

TEST(HostileFrame, OfOneByteHasNoLabelAndNoValues)
{
    StreamPair pair;
    OpenReceive b(packet("abc", 0x10, 1)); // the label of this packet must not be used again
    pair.farSends(frameHeader(1) + "\x23");
    pair.near() >> b;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_length(), 0u);
    EXPECT_EQ(b.pending_length(), 0u);
    EXPECT_NE(b.peerFloat, 1);
    char c = 'x';
    b >> c;
    EXPECT_EQ(c, '\0');
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    takeEverything(b);
    expectTheNextGoodFrameWorks(b);
}

TEST(HostileFrame, OfTwoBytesHasNoValues)
{
    StreamPair pair;
    OpenReceive b(32);
    pair.farSends(frame(packet("", 0x23, 7)));
    pair.near() >> b;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_length(), 2u);
    EXPECT_EQ(b.codes(), std::make_tuple(2, 3, 7));
    char c = 'x';
    b >> c;
    EXPECT_EQ(c, '\0');
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

TEST(HostileFrame, WithARotatedMagicIsRefusedEachTime)
{
    for (const char* magic : {"\0QVR", "QVR", "RVQ", "qvr", "QVRQ"}) {
        StreamPair pair;
        OpenReceive b(32);
        std::string bad(magic, 4);
        if (bad == "QVR\0"s)
            bad = "VRQ\0"s;
        pair.farSends(bad + networkWord(2) + packet(""));
        pair.near() >> b;
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Magic_Error, Error));
        expectTheNextGoodFrameWorks(b);
    }
}

// The frame is cut at every byte. Then the peer closes.
TEST(HostileFrame, CutAnywhereFailsAsItsPieceDoesAndTheNextGoodFrameWorks)
{
    const std::string whole = frame(richPacket());
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        StreamPair pair;
        pair.farSends(whole.substr(0, cut));
        pair.closeFar();
        OpenReceive b;
        pair.near() >> b;
        const int expected = cut >= 9                           ? Itc_Ndr_Packet_Read_Not_All_Data
                             : cut == 0 || cut == 4 || cut == 8 ? Itc_Ndr_Disconnection
                                                                : Itc_Ndr_Packet_Length_Read_Failed;
        EXPECT_THAT(b, HasStatus(expected, Error));
        EXPECT_EQ(b.raw_length(), cut > 9 ? cut - 8 : 0); // a single byte of data counts as none
        takeEverything(b);
        expectTheNextGoodFrameWorks(b);
    }
}

// The storage still holds bytes of an earlier, larger packet. They must not be read behind the end of a smaller packet.
TEST(HostileFrame, ShorterThanTheOneBeforeShowsNothingOfIt)
{
    StreamPair pair;
    OpenReceive b;
    pair.farSends(frame(packet("secretsecretsecret")));
    pair.near() >> b;
    pair.farSends(frame(packet("ab")));
    pair.near() >> b;
    char area[20] = {};
    unsigned int length = 3;
    b.extract(area, length);
    EXPECT_STREQ(area, "");
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    long long value = -1;
    b >> value;
    EXPECT_EQ(value, 0);
}

// The data ends with its block. The address checker reports every read behind the block.
class HostileBlock : public testing::TestWithParam<unsigned int> { // the offset from a multiple of 8
protected:
    // Wraps a block. The data begins at the first multiple of 8 in the block and ends with the block.
    void wrap(const std::string& data)
    {
        const unsigned int gap = (8 - GetParam()) % 8;
        block.reset(new char[GetParam() + gap + data.size()]); // begins at a multiple of 8
        std::memcpy(block.get() + GetParam() + gap, data.data(), data.size());
        b.init(block.get() + GetParam(), static_cast<unsigned int>(gap + data.size()));
        ASSERT_THAT(b, HasClearStatus());
        ASSERT_EQ(b.dataStart, block.get() + GetParam() + gap);
    }
    std::unique_ptr<char[]> block;
    OpenReceive b;
};

TEST_P(HostileBlock, CutAnywhereIsReadToItsEndOnly)
{
    const std::string whole = richPacket();
    for (size_t cut = 3; cut <= whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        wrap(whole.substr(0, cut));
        takeEverything(b);
    }
}

TEST_P(HostileBlock, IsReadToItsEndFromEveryByte)
{
    const std::string whole = richPacket();
    for (std::ptrdiff_t start = 2; start < static_cast<std::ptrdiff_t>(whole.size()); ++start) {
        wrap(whole);
        b.readPos = b.dataStart + start;
        takeEverything(b);
    }
}

TEST_P(HostileBlock, OfOnesIsReadToItsEndOnly)
{
    for (size_t size = 3; size < 64; ++size) {
        wrap(packet(std::string(size - 2, '\xFF')));
        takeEverything(b);
        wrap(packet(std::string(size - 2, '\x7F'), 0x00));
        takeEverything(b);
    }
}

template <class Value> void takeToTheEnd(OpenReceive& b, std::ptrdiff_t start)
{
    b.readPos = b.dataStart + start;
    b.severity = Success;
    Value value;
    while (b.severity == Success)
        b >> value;
    EXPECT_EQ(b.code, Itc_Ndr_End_Of_Data);
    EXPECT_EQ(bytesOf(value), std::string(sizeof value, '\0'));
}

TEST_P(HostileBlock, GivesValuesOfEveryTypeToItsEndOnly)
{
    for (size_t size = 3; size < 32; ++size)
        for (std::ptrdiff_t start = 2; start <= static_cast<std::ptrdiff_t>(size); ++start) {
            wrap(packet(std::string(size - 2, '\1')));
            takeToTheEnd<bool>(b, start);
            takeToTheEnd<char>(b, start);
            takeToTheEnd<signed char>(b, start);
            takeToTheEnd<unsigned char>(b, start);
            takeToTheEnd<short>(b, start);
            takeToTheEnd<unsigned short>(b, start);
            takeToTheEnd<int>(b, start);
            takeToTheEnd<unsigned int>(b, start);
            takeToTheEnd<float>(b, start);
            takeToTheEnd<double>(b, start);
            takeToTheEnd<long long>(b, start);
            takeToTheEnd<unsigned long long>(b, start);
        }
}

TEST_P(HostileBlock, GivesRawBytesToItsEndOnly)
{
    wrap(packet("abcd"));
    std::vector<char> area(64);
    for (unsigned int length = 4; length < 16; ++length) {
        b.readPos = b.dataStart + 2;
        unsigned int asked = length;
        b.extract(area.data(), asked);
        EXPECT_EQ(b.severity, length == 4 ? Success : Warning) << length;
    }
}

TEST_P(HostileBlock, IsNotLeftByATransactionOrASkip)
{
    wrap(packet("\0\0"s + word(6) + "abcd"));
    b.start_transaction();
    b.end_transaction();
    EXPECT_LE(b.readPos, b.bufferLast + 1);
    b.readPos = b.dataStart + 8;
    b.severity = Success;
    b.skip(5);
    EXPECT_EQ(b.position(), 8);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

INSTANTIATE_TEST_SUITE_P(Offsets, HostileBlock, testing::Range(0u, 8u));

TEST(HostileFrame, WithEveryLengthWordReplacedIsReadToItsEndOnly)
{
    const std::string whole = richPacket();
    for (size_t at = 4; at + 4 <= whole.size(); at += 4)
        for (const unsigned int length : {0u, 1u, 31u, 32u, 33u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
            std::string bad = whole;
            bad.replace(at, 4, word(length));
            OpenReceive b(bad);
            takeEverything(b);
        }
}

// The allocation for a frame fails. The next good frame is read well.
TEST(HostileMemory, ThatFailsOnceIsForgottenWithTheNextFrame)
{
    for (const unsigned int length : {5u, 100u, 5000u}) {
        OpenReceive b;
        StreamPair pair;
        pair.farSends(frame(packet(std::string(length - 2, 'v'))));
        OsFaults::malloc().failNext(1, ENOMEM);
        pair.near() >> b;
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
        takeEverything(b);
        expectTheNextGoodFrameWorks(b);
    }
}

TEST(HostileMemory, ThatFailsOnceLeavesASenderWhole)
{
    for (int nth = 1; nth <= 4; ++nth) {
        OpenSend b;
        OsFaults::malloc().failCall(nth, ENOMEM);
        for (int i = 0; i < 2000; ++i)
            b << "some text" << 7.0;
        OsFaults::malloc().clear();
        b.reset();
        EXPECT_THAT(b, HasClearStatus());
        b << "abc" << 1;
        OpenReceive back(b.data());
        char text[8];
        int value;
        back >> text >> value;
        EXPECT_STREQ(text, "abc");
        EXPECT_EQ(value, 1);
        EXPECT_THAT(back, HasClearStatus());
    }
}

} // namespace
