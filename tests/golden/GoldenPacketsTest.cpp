// Packets that are stored byte by byte. On every machine the library reads the stored values. The library writes the
// stored bytes of the packets in the machine's own byte order.
#include "../ndr/UbProbe.h"
#include "GoldenMeanings.h"
#include "GoldenPacket.h"
#include "StreamPair.h"

#include <gtest/gtest-spi.h>

#include <algorithm>
#include <sstream>

namespace {

/// A kind of machine that writes packets. The file of its packet, and the label in the file, have the same name.
struct Kind {
    const char* name;
    int endian, floats;
};

const Kind littleEndianIeee = {"little-endian-ieee", 1, 0};
const Kind bigEndianIeee = {"big-endian-ieee", 0, 0};
const Kind littleEndianVax = {"little-endian-vax", 1, 1};
const Kind bigEndianVax = {"big-endian-vax", 0, 1};

void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

std::string nameOf(const testing::TestParamInfo<Kind>& info)
{
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

std::string hexOf(char byte)
{
    std::ostringstream out;
    out << std::hex << static_cast<unsigned int>(static_cast<unsigned char>(byte));
    return out.str();
}

testing::AssertionResult isTheFrameOf(const GoldenPacket& packet, const std::string& frame)
{
    const size_t common = std::min(frame.size(), packet.frame.size());
    const auto differs =
        std::mismatch(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(common), packet.frame.begin());
    const auto offset = static_cast<size_t>(differs.first - frame.begin());
    if (offset < common)
        return testing::AssertionFailure() << "byte " << offset << " of the frame is " << hexOf(*differs.first)
                                           << " instead of " << hexOf(*differs.second) << ", first in\n"
                                           << packet.lineAt(offset);
    if (frame.size() != packet.frame.size())
        return testing::AssertionFailure() << "the frame has " << frame.size() << " bytes instead of "
                                           << packet.frame.size() << ", the same as far as\n"
                                           << packet.lineAt(common - 1);
    return testing::AssertionSuccess();
}

// Ends the sending direction and returns the bytes that the peer receives, at most `atMost`.
std::string sentThrough(StreamPair& pair, size_t atMost)
{
    ::shutdown(pair.near().td, SHUT_WR);
    return pair.farReceives(atMost);
}

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

INSTANTIATE_TEST_SUITE_P(Of, GoldenPacketsRead,
                         testing::Values(littleEndianIeee, bigEndianIeee, littleEndianVax, bigEndianVax), nameOf);

// The library writes lengths and counts in the byte order of the real machine. Therefore packets of the other byte
// order can be read here, but not written.
constexpr bool isLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
const auto kindsOfThisOrder =
    isLittleEndian ? testing::Values(littleEndianIeee, littleEndianVax) : testing::Values(bigEndianIeee, bigEndianVax);

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
