// Packets that are stored byte by byte. On every machine the library reads the stored values. The library writes the
// stored bytes of the packets in the machine's own byte order.
#include "../ndr/UbProbe.h"
#include "GoldenMachines.h"
#include "GoldenMeanings.h"
#include "GoldenPacket.h"
#include "StreamPair.h"

#include <gtest/gtest-spi.h>

#include <algorithm>
#include <sstream>

namespace {

GoldenPacket packetOf(const std::string& lines) { return GoldenPacket(std::istringstream(lines)); }

class GoldenPackets : public testing::TestWithParam<Kind> {
protected:
    GoldenPacket packet = GoldenPacket::ofKind(GetParam().name);
    StreamPair pair;
};

class GoldenPacketsRead : public GoldenPackets {};

TEST_P(GoldenPacketsRead, NameTheMachineInTheirLabel)
{
    const auto label = std::find_if(packet.lines.begin(), packet.lines.end(),
                                    [](const GoldenLine& line) { return line.type == "label"; });
    ASSERT_NE(label, packet.lines.end());
    EXPECT_EQ(label->value, GetParam().name);
    EXPECT_EQ(label->bytes, bytes({GetParam().endian << 4, GetParam().floats}));
}

TEST_P(GoldenPacketsRead, GiveTheirValuesInOneFrame)
{
    pair.farSends(packet.frame);
    itcNDRReceive b;
    pair.near() >> b;
    visit(packet.lines, Taker(b));
    EXPECT_EQ(b.pending_length(), 0u);
}

TEST_P(GoldenPacketsRead, GiveTheirValuesInSmallPieces)
{
    itcNdrUbReceive b(0);
    unsigned int expected = 1;
    for (size_t from = 0; from < packet.frame.size(); from += 3) {
        ASSERT_GT(expected, 0u);
        pair.farSends(packet.frame.substr(from, 3));
        expected = pair.near() >> b;
    }
    EXPECT_EQ(expected, 0u);
    visit(packet.lines, Taker(b));
    EXPECT_EQ(b.pending_length(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Of, GoldenPacketsRead, allKinds, nameOf);

class GoldenPacketsWritten : public GoldenPackets {
protected:
    FormatCodes codes{GetParam().endian, GetParam().floats, 0};
};

TEST_P(GoldenPacketsWritten, AreTheSameByteForByte)
{
    itcNDRSend b;
    visit(packet.lines, Putter(b));
    pair.near() << b;
    EXPECT_TRUE(isTheFrameOf(packet, sentThrough(pair, packet.frame.size() + 1)));
}

TEST_P(GoldenPacketsWritten, AreTheSameFromAResumableBuffer)
{
    itcNdrUbSend b(0);
    visit(packet.lines, Putter(b));
    EXPECT_EQ(pair.near() << b, 0u);
    EXPECT_TRUE(isTheFrameOf(packet, sentThrough(pair, packet.frame.size() + 1)));
}

INSTANTIATE_TEST_SUITE_P(By, GoldenPacketsWritten, kindsOfThisOrder, nameOf);

TEST(GoldenPacketFile, MustKnowEveryMeaning)
{
    itcNDRSend b;
    EXPECT_THROW(visit(packetOf("00 | complex: 1\n").lines, Putter(b)), std::invalid_argument);
    EXPECT_THROW(visit(packetOf("00 | bool: maybe\n").lines, Putter(b)), std::invalid_argument);
    EXPECT_THROW(visit(packetOf("00 | int: 2147483648\n").lines, Putter(b)), std::invalid_argument);
    EXPECT_THROW(packetOf("00\n"), std::invalid_argument);
    EXPECT_THROW(packetOf("0 | bool: false\n"), std::invalid_argument);
    EXPECT_THROW(GoldenPacket::ofKind("middle-endian"), std::runtime_error);
}

TEST(GoldenPacketFile, TellsTheLineOfAWrongByte)
{
    const GoldenPacket packet = packetOf("# remark\n01 02 | short: 513\n03 | char: 3\n");
    EXPECT_TRUE(isTheFrameOf(packet, bytes({1, 2, 3})));
    EXPECT_STREQ(isTheFrameOf(packet, bytes({1, 4, 3})).message(),
                 "byte 1 of the frame is 4 instead of 2, first in\nline 2: 01 02 | short: 513");
    EXPECT_STREQ(isTheFrameOf(packet, bytes({1, 2, 3, 4})).message(),
                 "the frame has 4 bytes instead of 3, the same as far as\nline 3: 03 | char: 3");
}

TEST(GoldenPacketFile, TellsTheLineOfAWrongValue)
{
    const auto takeAnother = [] {
        const GoldenPacket packet = packetOf("51 56 52 00 00 00 00 04 10 00 | label\n05 00 | short: 6\n");
        OpenReceive b(packet.frame.substr(8));
        visit({packet.lines.back()}, Taker(b));
    };
    EXPECT_NONFATAL_FAILURE(takeAnother(), "line 2: 05 00 | short: 6");
}

} // namespace
