// The framed read: magic, length and data with one read each.
#include "NdrProbe.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class NdrReceiveFrame : public testing::Test {
protected:
    std::vector<size_t> sizesRead() const { return OsFaults::recv().askedArgument<2>(); }
    void expectFailure(int code, int errorNumber)
    {
        EXPECT_EQ(&(pair.near() >> b), &pair.near());
        EXPECT_THAT(b, HasStatus(code, Error, errorNumber));
    }
    void expectFailure(int code)
    {
        pair.near() >> b;
        EXPECT_THAT(b, HasStatus(code, Error));
    }
    StreamPair pair;
    OpenReceive b{32};
};

TEST_F(NdrReceiveFrame, IsReadInThreePieces)
{
    pair.farSends(frame(packet("abc", 0x23, 7)));
    leaveMark(b);
    b.transactionEnd = 9;
    EXPECT_EQ(&(pair.near() >> b), &pair.near());
    EXPECT_THAT(sizesRead(), ElementsAre(4u, 4u, 5u));
    EXPECT_EQ(std::get<1>(OsFaults::recv().asked()[2]), b.dataStart) << "no copy is made";
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.transactionEnd, 0u);
    EXPECT_EQ(b.codes(), std::make_tuple(2, 3, 7));
    EXPECT_EQ(b.position(), 2);
    EXPECT_EQ(std::string(b.raw_data(), b.raw_length()), packet("abc", 0x23, 7));
}

TEST_F(NdrReceiveFrame, MakesItsOwnStorage)
{
    OpenReceive empty;
    pair.farSends(frame(packet("abc")));
    pair.near() >> empty;
    EXPECT_THAT(empty, HasClearStatus());
    EXPECT_THAT(empty.pagesAsked, ElementsAre(1u));
    EXPECT_EQ(empty.raw_length(), 5u);
}

TEST_F(NdrReceiveFrame, FollowsThePacketBefore)
{
    pair.farSends(frame(packet("\0\0"s + word(1))) + frame(packet("\0\0"s + word(2))));
    for (const int expected : {1, 2}) {
        int value = 0;
        pair.near() >> b;
        b >> value;
        EXPECT_EQ(value, expected);
        EXPECT_THAT(b, HasClearStatus());
    }
}

TEST_F(NdrReceiveFrame, ThatJustFitsDoesNotGrow)
{
    const std::string values(b.free_buffer_size() - 2, 'v');
    pair.farSends(frame(packet(values)));
    pair.near() >> b;
    EXPECT_THAT(b.pagesAsked, IsEmpty());
    EXPECT_EQ(std::string(b.raw_data(), b.raw_length()), packet(values));
}

TEST_F(NdrReceiveFrame, OfOneByteMoreGrowsByAPage)
{
    const std::string values(b.free_buffer_size() - 1, 'v');
    pair.farSends(frame(packet(values)));
    pair.near() >> b;
    EXPECT_THAT(b.pagesAsked, ElementsAre(1u));
    EXPECT_EQ(std::string(b.raw_data(), b.raw_length()), packet(values));
}

TEST_F(NdrReceiveFrame, OfTenThousandBytesGrowsByThreePages)
{
    pair.farSends(frame(packet(std::string(9998, 'v'))));
    pair.near() >> b;
    EXPECT_THAT(b.pagesAsked, ElementsAre(3u));
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_length(), 10000u);
}

TEST_F(NdrReceiveFrame, AboutAMultipleOfAPageFits)
{
    for (const unsigned int length : {4095u, 4096u, 4097u, 8191u, 8192u}) {
        OpenReceive fresh;
        pair.farSends(frame(packet(std::string(length - 2, 'v'))));
        pair.near() >> fresh;
        EXPECT_THAT(fresh, HasClearStatus());
        EXPECT_EQ(fresh.raw_length(), length);
        EXPECT_THAT(fresh.pagesAsked, ElementsAre((length >> 12) + 1));
    }
}

TEST_F(NdrReceiveFrame, IsReadIntoACallersBuffer)
{
    alignas(8) char area[64] = "\x10\0abcd";
    OpenReceive wrapped;
    wrapped.init(area, sizeof area);
    pair.farSends(frame(packet("xyz")));
    pair.near() >> wrapped;
    EXPECT_EQ(std::string(area, 5), packet("xyz"));
    EXPECT_EQ(wrapped.raw_length(), 5u);
    EXPECT_THAT(wrapped.pagesAsked, IsEmpty());
}

TEST_F(NdrReceiveFrame, OutgrowsACallersBuffer)
{
    const std::unique_ptr<char[]> area(new char[40]);
    OpenReceive wrapped;
    wrapped.init(area.get(), 40);
    pair.farSends(frame(packet(std::string(50, 'v'))));
    pair.near() >> wrapped;
    EXPECT_EQ(wrapped.raw_length(), 52u);
    EXPECT_NE(wrapped.storage, nullptr);
}

// Failures of the three reads, by the counts that the reads return.

TEST_F(NdrReceiveFrame, FailsWhenTheConnectionDoes)
{
    for (const int nth : {1, 2, 3}) {
        StreamPair fresh;
        fresh.farSends(frame(packet("abc")));
        OsFaults::recv().failCall(nth, EIO);
        fresh.near() >> b;
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Conn_Read_Failed, Error, EIO)) << nth;
        EXPECT_THAT(fresh.near(), HasStatus(Itc_Tp_Read_Call_Failed, Error, EIO));
    }
}

TEST_F(NdrReceiveFrame, FailsWhenNothingIsThereYet)
{
    StreamPair impatient(itcConnection::ItcNonBlocking);
    impatient.near() >> b;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Conn_Read_Failed, Error, EAGAIN));
    EXPECT_THAT(impatient.near(), HasStatus(Itc_Tp_Would_Block, Warning));
}

TEST_F(NdrReceiveFrame, FailsOnAConnectionWithoutADescriptor)
{
    itcConnection closed;
    closed >> b;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Conn_Read_Failed, Error));
}

TEST_F(NdrReceiveFrame, IsADisconnectionWhenThePeerClosesBetweenThePieces)
{
    for (const size_t there : {0u, 4u, 8u}) {
        StreamPair fresh;
        fresh.farSends(frame(packet("abc")).substr(0, there));
        fresh.closeFar();
        errno = 77;
        fresh.near() >> b;
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Disconnection, Error, 77)) << there;
    }
}

TEST_F(NdrReceiveFrame, WithPartOfTheMagicIsNoMagicError)
{
    for (const char* part : {"Q", "QV", "QVR", "xy"}) {
        pair.farSends(part);
        errno = 77;
        expectFailure(Itc_Ndr_Packet_Length_Read_Failed, 77);
    }
}

TEST_F(NdrReceiveFrame, WithPartOfTheLengthFails)
{
    for (const int part : {1, 2, 3}) {
        pair.farSends("QVR\0"s + std::string(static_cast<size_t>(part), '\0'));
        errno = 77;
        expectFailure(Itc_Ndr_Packet_Length_Read_Failed, 77);
    }
}

class NdrReceiveMagic : public testing::TestWithParam<size_t> {};

TEST_P(NdrReceiveMagic, ThatDiffersInOneByteEndsTheReadBeforeTheLength)
{
    for (const int flipped : {0x01, 0x20, 0x80}) {
        StreamPair pair;
        OpenReceive b(packet("abc"));
        const auto before = b.pointers();
        std::string bad = frame(packet("xyz"));
        bad[GetParam()] = static_cast<char>(bad[GetParam()] ^ flipped);
        pair.farSends(bad);
        errno = 77;
        pair.near() >> b;
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Magic_Error, Error, 77));
        EXPECT_EQ(pair.near().Pending(), 9) << "length and data are still there";
        EXPECT_EQ(b.pointers(), before) << "and the packet from before";
    }
}

INSTANTIATE_TEST_SUITE_P(Bytes, NdrReceiveMagic, testing::Range(size_t{0}, size_t{4}));

TEST_F(NdrReceiveFrame, ThatEndsEarlyCanBeReadThatFar)
{
    pair.farSends(frameHeader(20) + packet("abc", 0x23, 7));
    b.transactionEnd = 9;
    errno = 77;
    expectFailure(Itc_Ndr_Packet_Read_Not_All_Data, 77);
    EXPECT_EQ(b.transactionEnd, 9u) << "left as it was";
    EXPECT_EQ(b.raw_length(), 5u);
    EXPECT_EQ(b.codes(), std::make_tuple(2, 3, 7));
    char text[4] = {};
    b >> text[0] >> text[1] >> text[2];
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(b.pending_length(), 0u);
}

TEST_F(NdrReceiveFrame, ArrivesInPiecesOverAStrictBlockingConnection)
{
    StreamPair strict(itcConnection::ItcStrictBlocking);
    const std::string whole = frame(packet(std::string(20, 'v')));
    size_t given = 0;
    OsFaults::recv().instead = [&](int, void* buffer, size_t size) {
        const size_t piece = std::min<size_t>(size, 3);
        std::memcpy(buffer, whole.data() + given, piece);
        given += piece;
        return static_cast<ssize_t>(piece);
    };
    strict.near() >> b;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_length(), 22u);
}

TEST_F(NdrReceiveFrame, IsADisconnectionOverAStrictBlockingConnectionToo)
{
    StreamPair strict(itcConnection::ItcStrictBlocking);
    strict.closeFar();
    strict.near() >> b;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Disconnection, Error));
    EXPECT_THAT(strict.near(), HasStatus(Itc_Tp_Unexpected_Disconnection, Warning));
}

TEST_F(NdrReceiveFrame, WithoutMemoryKeepsTheStatusOfTheGrowth)
{
    pair.farSends(frameHeader(10000));
    OsFaults::malloc().failNext(1, ENOMEM);
    expectFailure(Itc_Ndr_Buffer_Alloc_Failed, ENOMEM);
    EXPECT_THAT(sizesRead(), ElementsAre(4u, 4u));
    EXPECT_EQ(b.pointers(), noReceivePointers);
}

// A host's own class of connections. The test sets what its reads return.
class NdrReceiveFromHost : public testing::Test {
protected:
    struct Scripted : itcConnection {
        std::vector<std::string> pieces;
        std::vector<int> results;
        std::vector<int> sizes;
        int Read(void* buffer, int size) override
        {
            const size_t turn = sizes.size();
            sizes.push_back(size);
            std::memcpy(buffer, pieces.at(turn).data(), pieces.at(turn).size());
            return results.at(turn);
        }
    } connection;
    OpenReceive b;
};

TEST_F(NdrReceiveFromHost, CallsReadOncePerPiece)
{
    connection.pieces = {"QVR\0"s, networkWord(5), packet("abc")};
    connection.results = {4, 4, 5};
    connection >> b;
    EXPECT_THAT(connection.sizes, ElementsAre(4, 4, 5));
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_length(), 5u);
}

TEST_F(NdrReceiveFromHost, GoesOnAfterOtherNegativeCountsOfMagicAndLength)
{
    connection.pieces = {"QVR\0"s, networkWord(5), packet("abc")};
    connection.results = {-2, -3, 5};
    connection >> b;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_length(), 5u);
}

TEST_F(NdrReceiveFromHost, TakesNoMoreThanTheFrameFromACountTooLarge)
{
    connection.pieces = {"QVR\0"s, networkWord(5), packet("abc")};
    connection.results = {4, 4, 99};
    connection >> b;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_length(), 5u);
}

TEST_F(NdrReceiveFromHost, DoesNotBelieveAGrowthThatFellShort)
{
    struct Stingy : OpenReceive {
        void extend_buffer(unsigned int) override { create_buffer(32); }
    } stingy;
    connection.pieces = {"QVR\0"s, networkWord(100), ""};
    connection.results = {4, 4, 100};
    connection >> stingy;
    EXPECT_EQ(stingy.severity, Error);
    EXPECT_THAT(connection.sizes, ElementsAre(4, 4));
}

TEST_F(NdrReceiveFromHost, DoesNotBelieveASizeThatIsNotThere)
{
    struct Boastful : OpenReceive {
        using OpenReceive::OpenReceive;
        unsigned int free_buffer_size() const override { return 1000000; }
    } boastful(32);
    connection.pieces = {"QVR\0"s, networkWord(100), ""};
    connection.results = {4, 4, 100};
    connection >> boastful;
    EXPECT_THAT(boastful, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error));
    EXPECT_THAT(connection.sizes, ElementsAre(4, 4));
}

} // namespace
