// Receiving values from a machine with another byte order or with other floating-point formats.
#include "NdrProbe.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <tuple>

namespace {

using namespace std::string_literals;

// Returns a packet with one value behind six bytes. The value lies at offset 8, which is aligned for every size.
std::string packetOfOne(const std::string& value, int label0, int label1 = 0)
{
    return packet(std::string(6, '\x55') + value, label0, label1);
}

template <class Value> Value taken(const std::string& ndr)
{
    OpenReceive b(ndr);
    b.skip(6);
    Value value{};
    b >> value;
    EXPECT_THAT(b, HasClearStatus());
    return value;
}

// Returns the bytes after a conversion, for example Itc_itof.
std::string convertedBytes(void (*convert)(void*), std::string value)
{
    convert(value.data());
    return value;
}

template <class Value> class ByteOrder : public testing::Test {};
TYPED_TEST_SUITE(ByteOrder, ValueTypes);

TYPED_TEST(ByteOrder, OfThisMachineIsTakenAsItIs)
{
    const auto value = taken<TypeParam>(packetOfOne(countingBytes(sizeof(TypeParam)), 0x10));
    EXPECT_EQ(bytesOf(value), countingBytes(sizeof(TypeParam)));
}

TYPED_TEST(ByteOrder, AnyOtherCodeIsReversed)
{
    for (const int peer : {0, 2, 3, 8, 15}) {
        const auto value = taken<TypeParam>(packetOfOne(reversed(countingBytes(sizeof(TypeParam))), peer << 4));
        EXPECT_EQ(bytesOf(value), countingBytes(sizeof(TypeParam))) << peer;
    }
}

TYPED_TEST(ByteOrder, IsComparedWithTheCodeOfThisProcess)
{
    FormatCodes codes(0, 0, 0);
    const std::string counting = countingBytes(sizeof(TypeParam));
    EXPECT_EQ(bytesOf(taken<TypeParam>(packetOfOne(counting, 0x00))), counting);
    EXPECT_EQ(bytesOf(taken<TypeParam>(packetOfOne(reversed(counting), 0x10))), counting);
}

TYPED_TEST(ByteOrder, IsTheHighNibbleAndTheCharacterCodeIsIgnored)
{
    const std::string counting = countingBytes(sizeof(TypeParam));
    EXPECT_EQ(bytesOf(taken<TypeParam>(packetOfOne(counting, 0x1F))), counting);
    EXPECT_EQ(bytesOf(taken<TypeParam>(packetOfOne(reversed(counting), 0x01))), counting);
}

TEST(ByteOrderOf, ATextReversesItsLengthOnly)
{
    OpenReceive b(packet("\0\0\0\0\0\3ab\0"s, 0x00));
    char text[8];
    b >> text;
    EXPECT_STREQ(text, "ab");
    EXPECT_EQ(b.position(), 11);
}

TEST(ByteOrderOf, BinaryDataReversesItsLengthOnly)
{
    OpenReceive b(packet("\0\0\0\0\0\3xyz"s, 0x20));
    std::string area(3, '\0');
    itcBinData data = binary(area);
    b >> data;
    EXPECT_EQ(area, "xyz");
    EXPECT_THAT(b, HasClearStatus());
}

TEST(ByteOrderOf, BlocksReverseTheirLengthsOnly)
{
    OpenReceive b(packet("\0\0\0\0\0\3xyz\0\0\0\0\2uv"s, 0xF0));
    char area[8];
    char* dst = area;
    int length = 0;
    b.extract(dst, sizeof area, length);
    EXPECT_EQ(std::string(area, 3), "xyz");
    EXPECT_EQ(length, 3);

    void* aligned = area; // the length lies at offset 12, the bytes at 16
    b.get_opaque(aligned, sizeof area, length);
    EXPECT_EQ(length, 2);
    EXPECT_EQ(std::string(area, 3), "uvz");
}

TEST(ByteOrderOf, ATransactionReversesItsCount)
{
    OpenReceive b(packet("\0\0\0\0\0\4\0\0\0\7"s, 0x00));
    b.start_transaction();
    EXPECT_EQ(b.transactionEnd, 12u);
    int value = 0;
    b >> value;
    EXPECT_EQ(value, 7);
    EXPECT_EQ(b.end_transaction(), 0);
}

TEST(PeersByteOrder, DoesNotTouchTheFrameLength)
{
    StreamPair pair;
    pair.farSends(frame(packet("\0\0\0\0\0\7"s, 0x00)));
    itcNDRReceive b;
    pair.near() >> b;
    ASSERT_THAT(b, HasClearStatus());
    int value = 0;
    b >> value;
    EXPECT_EQ(value, 7);
}

TEST(PeersByteOrder, DoesNotTouchSingleBytesOrTexts)
{
    OpenReceive b(packet("xyz", 0x0F));
    char text[4] = {};
    unsigned int length = 3;
    b.extract(text, length);
    EXPECT_STREQ(text, "xyz");
}

// The float codes of the peer and of this machine, and the conversions that they require.
struct FormatCase {
    int peer, own;
    void (*single)(void*);
    void (*twice)(void*);
};

class FloatFormat : public testing::TestWithParam<std::tuple<FormatCase, int>> {
protected:
    const FormatCase& format() const { return std::get<0>(GetParam()); }

    // Takes `value` from a peer, which sends the value in the peer's byte order. Returns the bytes of the taken value.
    template <class Value> std::string takenBytes(const std::string& value)
    {
        FormatCodes codes(1, format().own, 0);
        const int endian = std::get<1>(GetParam());
        return bytesOf(taken<Value>(packetOfOne(endian == 1 ? value : reversed(value), endian << 4, format().peer)));
    }
};

TEST_P(FloatFormat, OfASingleIsConvertedAfterItsByteOrder)
{
    const std::string sent = word(0xFF02FFFE);
    EXPECT_EQ(takenBytes<float>(sent), convertedBytes(format().single, sent));
}

TEST_P(FloatFormat, OfADoubleIsConvertedAfterItsByteOrder)
{
    const std::string sent = word(0x007FE7FE) + word(0x01020304);
    EXPECT_EQ(takenBytes<double>(sent), convertedBytes(format().twice, sent));
}

TEST_P(FloatFormat, DoesNotConcernIntegers)
{
    EXPECT_EQ(takenBytes<int>(countingBytes(4)), countingBytes(4));
    EXPECT_EQ(takenBytes<unsigned long long>(countingBytes(8)), countingBytes(8));
}

void leave(void*) {}

const FormatCase formats[] = {
    {0, 0, leave, leave},   {1, 1, leave, leave},   {0, 1, Itc_itof, Itc_itod}, {1, 0, Itc_ftoi, Itc_dtoi},
    {2, 0, leave, leave},   {2, 1, leave, leave},   {0, 2, leave, leave},       {1, 2, leave, leave},
    {255, 0, leave, leave}, {255, 1, leave, leave}, {2, 2, leave, leave},
};

INSTANTIATE_TEST_SUITE_P(PeerAndOwn, FloatFormat,
                         testing::Combine(testing::ValuesIn(formats), testing::Values(1, 0, 15)));

TEST(FloatCode, TwoPassesThrough)
{
    EXPECT_EQ(taken<float>(packetOfOne(bytesOf(1.5f), 0x10, 2)), 1.5f);
    EXPECT_EQ(taken<double>(packetOfOne(bytesOf(-2.25), 0x10, 2)), -2.25);
}

} // namespace
