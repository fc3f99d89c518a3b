// Deriving buffers that replace raw_data() and raw_length(): which operations ask them, and which do not.
#include "StreamPair.h"
#include "UbProbe.h"

#include <gmock/gmock.h>

#include <string>

namespace {

/// A buffer that reports its content as two bytes shorter.
template <class Buffer> struct Shorter : Buffer {
    using Buffer::Buffer;
    unsigned int raw_length() const override { return Buffer::raw_length() - 2; }
};

/// A buffer that reports another place of its content: in `area`, behind room for a frame's head.
template <class Buffer> struct Elsewhere : Buffer {
    using Buffer::Buffer;
    char* raw_data() override { return area + 8; }
    alignas(8) char area[64] = {};
};

TEST(NdrOverrides, OfTheLengthAreAskedByTheFramedWrite)
{
    StreamPair pair;
    Shorter<OpenSend> b;
    b.insert("abcd", 4, false);
    pair.near() << b;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(pair.farReceives(12), frame(packet("ab", b.raw_data()[0], b.raw_data()[1])));
}

TEST(NdrOverrides, OfTheLengthAreAskedWhenASendBufferGrows)
{
    Shorter<OpenSend> b;
    b.insert("abcd", 4, false);
    b.extend_buffer(1);
    EXPECT_EQ(std::string(b.frameStart + 14, 2), "ab");
    EXPECT_EQ(b.writePos, b.frameStart + 16);
}

TEST(NdrOverrides, OfThePlaceAreNotAskedByTheFramedWrite)
{
    StreamPair pair;
    Elsewhere<OpenSend> b;
    b.insert("abcd", 4, false);
    pair.near() << b;
    EXPECT_EQ(pair.farReceives(14).substr(10), "abcd");
}

TEST(NdrOverrides, AreNotAskedByTheFramedRead)
{
    StreamPair pair;
    pair.farSends(frame(packet("abcd")));
    Elsewhere<Shorter<OpenReceive>> b;
    pair.near() >> b;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(std::string(b.dataStart, 6), packet("abcd"));
    EXPECT_EQ(b.dataLast, b.dataStart + 5);
}

TEST(NdrOverrides, OfTheLengthAreAskedByTheResumableSend)
{
    Shorter<OpenUbSend> b(1);
    b.insert("abcd", 4, false);
    const std::string label = b.data().substr(0, 2);
    ScriptedConnection connection;
    EXPECT_EQ(connection.takesTheRest() << b, 0u);
    EXPECT_EQ(connection.written, frame(label + "ab"));
    EXPECT_EQ(b.txState, Complete);
}

TEST(NdrOverrides, OfThePlaceAreAskedByTheResumableSendWhichWritesTheHeadInFrontOfIt)
{
    Elsewhere<OpenUbSend> b(1);
    b.insert("abcd", 4, false);
    std::memcpy(b.raw_data(), "others", 6);
    ScriptedConnection connection;
    EXPECT_EQ(connection.takesTheRest() << b, 0u);
    EXPECT_EQ(connection.written, frame("others"));
    EXPECT_EQ(std::string(b.area, 14), frame("others"));
}

// The receiver would read the data to the place that the override names. Before the read, the receiver notices that
// this place lies outside its storage.
TEST(NdrOverrides, OfThePlaceMakeTheResumableReceiveFailWithAndWithoutStorage)
{
    for (const unsigned int size : {0, 100}) {
        Elsewhere<OpenUbReceive> b(1, size);
        ScriptedConnection connection;
        connection.gives(frame(packet("abcd")));
        EXPECT_EQ(connection >> b, 6u);
        EXPECT_EQ(b.rxState, Failed);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Ub_Packet_Read_Failed, Error));
        EXPECT_TRUE(isZero(b.area, b.area + sizeof b.area));
    }
}

TEST(NdrOverrides, OfTheLengthAreNotAskedByTheResumableReceive)
{
    Shorter<OpenUbReceive> b(1);
    ScriptedConnection connection;
    connection.gives(frame(packet("abcd")));
    EXPECT_EQ(connection >> b, 0u);
    EXPECT_EQ(b.rxState, Complete);
    EXPECT_EQ(std::string(b.dataStart, 6), packet("abcd"));
    EXPECT_EQ(b.dataLast, b.dataStart + 5);
}

} // namespace
