// The bytes that peers exchange, spelled out.
#include "NdrProbe.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

namespace {

using namespace std::string_literals;

TEST(WireFormat, ThisProcessIsLittleEndianIeeeWithCharacterSetZero)
{
    EXPECT_EQ(itcNDR::ndr_endian, 1);
    EXPECT_EQ(itcNDR::ndr_float, 0);
    EXPECT_EQ(itcNDR::ndr_char, 0);
}

TEST(WireFormat, AFrameWithoutValuesHasTenBytes)
{
    StreamPair pair;
    itcNDRSend b(10);
    pair.near() << b;

    EXPECT_EQ(pair.farReceives(10), bytes({0x51, 0x56, 0x52, 0x00, 0, 0, 0, 2, 0x10, 0x00}));
}

TEST(WireFormat, TheFrameCountsLabelAndValuesInNetworkOrder)
{
    StreamPair pair;
    itcNDRSend b;
    b.insert(std::string(300, 'x').data(), 300, false);
    pair.near() << b;

    EXPECT_EQ(pair.farReceives(310),
              bytes({0x51, 0x56, 0x52, 0x00, 0, 0, 0x01, 0x2E, 0x10, 0x00}) + std::string(300, 'x'));
}

TEST(WireFormat, TheFrameLengthIsInNetworkOrderWhateverTheLabelSays)
{
    FormatCodes codes(0, 0, 0);
    StreamPair pair;
    itcNDRSend b(10);
    pair.near() << b;

    EXPECT_EQ(pair.farReceives(10), bytes({0x51, 0x56, 0x52, 0x00, 0, 0, 0, 2, 0x00, 0x00}));
}

struct LabelCase {
    int endian, floats, chars;
    int label0, label1;
};

class WireFormatLabel : public testing::TestWithParam<LabelCase> {};

TEST_P(WireFormatLabel, HoldsTheThreeCodes)
{
    FormatCodes codes(GetParam().endian, GetParam().floats, GetParam().chars);
    OpenSend b(10);
    EXPECT_EQ(b.data(), bytes({GetParam().label0, GetParam().label1}));
}

INSTANTIATE_TEST_SUITE_P(
    AllNibbles, WireFormatLabel,
    testing::Values(LabelCase{1, 0, 0, 0x10, 0x00}, LabelCase{0, 0, 0, 0x00, 0x00}, LabelCase{2, 1, 3, 0x23, 0x01},
                    LabelCase{15, 255, 15, 0xFF, 0xFF}, LabelCase{0x1F, 0, 0, 0xF0, 0x00}, // truncated to 8 bits
                    LabelCase{1, 0x102, 0x105, 0x15, 0x02}, // the character code overlaps the byte order
                    LabelCase{1, 0, 0x20, 0x30, 0x00}));

template <class Value> class WireFormatValue : public testing::Test {};
TYPED_TEST_SUITE(WireFormatValue, ValueTypes);

TYPED_TEST(WireFormatValue, IsItsBytesInMemoryAtAMultipleOfItsSizeBehindZeros)
{
    for (unsigned int before = 0; before < 8; ++before) {
        OpenSend b(64);
        std::memset(b.writePos, 0xEE, 40); // the old bytes of the memory must not be sent
        b.insert("pppppppp", static_cast<int>(before), false);
        b << countingValue<TypeParam>();

        const size_t gap = (sizeof(TypeParam) - (2 + before) % sizeof(TypeParam)) % sizeof(TypeParam);
        EXPECT_EQ(b.values(), std::string(before, 'p') + std::string(gap, '\0') + countingBytes(sizeof(TypeParam)));
    }
}

TEST(WireFormat, BoolIsOneByteOfZeroOrOne)
{
    OpenSend b;
    b << true << false;
    EXPECT_EQ(b.values(), bytes({1, 0}));
}

TEST(WireFormat, IntegersAreLittleEndian)
{
    OpenSend b;
    b << short(0x0102) << -2 << 0x0102030405060708LL;
    EXPECT_EQ(b.values(), bytes({2, 1, 0xFE, 0xFF, 0xFF, 0xFF, 8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST(WireFormat, FloatsAreIeee)
{
    OpenSend b;
    b << 1.0f << -2.0;
    EXPECT_EQ(b.values(), bytes({0, 0, 0, 0, 0x80, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0xC0}));
}

TEST(WireFormat, ShortIntAndDoubleFillSixteenBytesWithoutAGap)
{
    OpenSend b;
    b << short(1) << 2 << 0.0;
    EXPECT_EQ(b.data(), packet(bytes({1, 0, 2, 0, 0, 0}) + std::string(8, '\0')));
    EXPECT_EQ(b.raw_length(), 16u);
}

TEST(WireFormat, CharThenIntHaveAGapOfOne)
{
    OpenSend b;
    b << 'c' << 1;
    EXPECT_EQ(b.values(), bytes({'c', 0, 1, 0, 0, 0}));
}

TEST(WireFormat, ATextIsItsLengthWithTheZeroAndItsBytesWithTheZero)
{
    OpenSend b;
    b << "ab";
    EXPECT_EQ(b.values(), "\0\0"s + word(3) + "ab\0"s);
}

TEST(WireFormat, TheEmptyTextIsOneZeroByte)
{
    OpenSend b;
    b << "";
    EXPECT_EQ(b.values(), "\0\0"s + word(1) + "\0"s);
}

TEST(WireFormat, NoGapFollowsATextAndTheNextValuePadsForItself)
{
    OpenSend b;
    b << "ab" << 'c' << "d" << 7;
    EXPECT_EQ(b.values(), "\0\0"s + word(3) + "ab\0c"s + word(2) + "d\0\0\0"s + word(7));
}

TEST(WireFormat, BinaryDataIsItsLengthAndItsBytes)
{
    OpenSend b;
    b << binary("\0\1\2"s) << 'c';
    EXPECT_EQ(b.values(), "\0\0"s + word(3) + "\0\1\2c"s);
}

TEST(WireFormat, EmptyBinaryDataIsALengthOfZero)
{
    OpenSend b;
    b << itcBinData() << 'c';
    EXPECT_EQ(b.values(), "\0\0"s + word(0) + "c");
}

struct OpaqueCase {
    bool align8, withLength;
    std::string wire; // behind the label and one byte 'c'
};

class WireFormatOpaque : public testing::TestWithParam<OpaqueCase> {};

TEST_P(WireFormatOpaque, HasOneOfFourLayouts)
{
    OpenSend b(64);
    std::memset(b.writePos, 0xEE, 40);
    b << 'c';
    b.put_opaque("xyz", 3, GetParam().align8, GetParam().withLength);
    EXPECT_EQ(b.values(), "c" + GetParam().wire);
}

INSTANTIATE_TEST_SUITE_P(Flags, WireFormatOpaque,
                         testing::Values(OpaqueCase{false, false, "xyz"}, OpaqueCase{false, true, "\0\3\0\0\0xyz"s},
                                         OpaqueCase{true, false, "\0\0\0\0\0xyz"s},
                                         OpaqueCase{true, true, "\0\3\0\0\0xyz"s}));

TEST(WireFormat, AnAlignedBlockPadsToEightBehindItsLength)
{
    OpenSend b;
    b << 1; // offsets 4 to 7
    b.put_opaque("xyz", 3, true, true);
    EXPECT_EQ(b.values(), "\0\0"s + word(1) + word(3) + std::string(4, '\0') + "xyz");
}

TEST(WireFormat, AnInsertedBlockIsNotAligned)
{
    OpenSend b;
    b << 1;
    b.insert("xyz", 3, true).insert("uv", 2, false);
    EXPECT_EQ(b.values(), "\0\0"s + word(1) + word(3) + "xyzuv");
}

TEST(WireFormat, ATransactionCountsTheBytesBehindItsCount)
{
    OpenSend b;
    b << 'c';
    b.start_transaction();
    b << 1 << short(2);
    b.end_transaction();
    b << 'd';
    EXPECT_EQ(b.values(), "c\0"s + word(6) + word(1) + "\2\0d"s);
}

TEST(WireFormat, ARecordIsWhatItPutsWithoutAFrameOfItsOwn)
{
    struct Point : itcXNDR {
        itcNDRReceive& to_internal(itcNDRReceive& b) override { return b; }
        itcNDRSend& to_external(itcNDRSend& b) const override { return b << short(1) << short(2); }
    };
    OpenSend b;
    b << Point();
    EXPECT_EQ(b.values(), bytes({1, 0, 2, 0}));
}

TEST(WireFormat, FramesFollowOneAnotherDirectly)
{
    StreamPair pair;
    OpenSend b;
    b << 'a';
    pair.near() << b << b;
    EXPECT_EQ(pair.farReceives(22), frame(packet("a")) + frame(packet("a")));
}

} // namespace
