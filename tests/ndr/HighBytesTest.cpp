// Bytes above 0x7F. On some machines char has a sign, on others not. The meaning of a packet does not depend on this.
#include "Characters.h"
#include "NdrProbe.h"
#include "StreamPair.h"
#include "UbProbe.h"

#include <kiv/ndr/itcMsgHdr.h>

#include <tuple>

namespace {

using namespace std::string_literals;

constexpr int valueAsSigned(int byte) { return byte < 128 ? byte : byte - 256; }

TEST(HighBytes, ArePutAsTheyAre)
{
    for (int byte = 0; byte < 256; ++byte) {
        OpenSend b;
        b << static_cast<char>(byte) << static_cast<signed char>(valueAsSigned(byte))
          << static_cast<unsigned char>(byte);
        EXPECT_EQ(b.values(), bytes({byte, byte, byte}));
    }
}

TEST(HighBytes, AreTakenWithTheSignOfTheirType)
{
    for (int byte = 0; byte < 256; ++byte) {
        OpenReceive b(packet(bytes({byte, byte, byte})));
        char plain;
        signed char withSign;
        unsigned char without;
        b >> plain >> withSign >> without;
        EXPECT_EQ(plain, static_cast<char>(byte));
        EXPECT_EQ(withSign, valueAsSigned(byte));
        EXPECT_EQ(without, byte);
    }
}

TEST(HighBytes, AreTrue)
{
    for (int byte = 1; byte < 256; ++byte) {
        OpenReceive b(packet(bytes({byte})));
        bool value = false;
        b >> value;
        EXPECT_TRUE(value) << byte;
    }
}

TEST(HighBytes, DoNotSpreadOverTheRestOfAWord)
{
    const std::string own = bytes({0xFE, 0x80, 0x80, 0x00, 0x00, 0x00, 0x81, 0, 0, 0, 0, 0, 0, 0x80});
    const std::string foreign = bytes({0x80, 0xFE, 0x00, 0x00, 0x00, 0x80, 0x80, 0, 0, 0, 0, 0, 0, 0x81});
    for (const std::string& ndr : {packet(own, 0x10), packet(foreign, 0x80)}) {
        OpenReceive b(ndr);
        unsigned short s = 0;
        unsigned int i = 0;
        unsigned long long ll = 0;
        b >> s >> i >> ll;
        EXPECT_EQ(s, 0x80FEu);
        EXPECT_EQ(i, 0x80u);
        EXPECT_EQ(ll, 0x8000000000000081u);
    }
}

TEST(HighBytes, OfATextArePutAndTaken)
{
    OpenSend out;
    out << characters(1, 0xFF).c_str();
    EXPECT_EQ(out.values(), "\0\0"s + word(256) + characters(1, 0xFF) + '\0');

    OpenReceive in(out.data());
    char text[256];
    in >> text;
    EXPECT_EQ(text, characters(1, 0xFF));
    EXPECT_THAT(in, HasClearStatus());
}

TEST(HighBytes, OfBlocksArePutAndTaken)
{
    OpenSend out;
    out << binary(characters(1, 0xFF));
    out.insert(characters(1, 0xFF).data(), 255, true);
    out.put_opaque(characters(1, 0xFF).data(), 255, true, true);

    OpenReceive in(out.data());
    char area[255];
    itcBinData data;
    data.data = area;
    in >> data;
    EXPECT_EQ(std::string(area, 255), characters(1, 0xFF));
    char* counted = area;
    int length = 0;
    std::memset(area, 0, sizeof area);
    in.extract(counted, sizeof area, length);
    EXPECT_EQ(std::string(area, 255), characters(1, 0xFF));
    void* opaque = area;
    std::memset(area, 0, sizeof area);
    in.get_opaque(opaque, sizeof area, length);
    EXPECT_EQ(std::string(area, 255), characters(1, 0xFF));
    EXPECT_EQ(length, 255);
}

TEST(HighBytes, OfAMessageHeaderArePutTakenAndCut)
{
    const std::string fitting = characters(1, 0xFF).substr(224); // the last 31 characters
    const std::string tooLong = characters(1, 0xFF).substr(127); // the characters from 0x80 on
    OpenSend out;
    out << itcMsgHdr(1, itcMsgHdr::itcMsgType(2), fitting.c_str(), tooLong.c_str(), 3, 4, 5, -6);

    OpenReceive in(out.data());
    itcMsgHdr header;
    in >> header;
    EXPECT_THAT(in, HasClearStatus());
    EXPECT_EQ(header.text1, fitting);
    EXPECT_EQ(header.text2, tooLong.substr(0, 31));
    EXPECT_EQ(header.value4, -6);
}

// The ways in which a packet may arrive. Each of them reads the label.
struct Arrival {
    const char* name;
    std::tuple<int, int, int> (*codes)(const std::string& ndr);
};

void PrintTo(const Arrival& arrival, std::ostream* out) { *out << arrival.name; }

class HighBytesOfTheLabel : public testing::TestWithParam<Arrival> {};

struct OpenCodes : OpenUbReceive {
    using itcNDRReceive::peerChar;
    using itcNDRReceive::peerEndian;
    using itcNDRReceive::peerFloat;
    using OpenUbReceive::OpenUbReceive;

    auto codes() const { return std::make_tuple(peerEndian, peerChar, peerFloat); }
};

const Arrival arrivals[] = {
    {"bytes", [](const std::string& ndr) { return std::tuple<int, int, int>(OpenReceive(ndr).codes()); }},
    {"callers buffer",
     [](const std::string& ndr) {
         alignas(8) char area[16] = "";
         std::memcpy(area, ndr.data(), ndr.size());
         OpenReceive b;
         b.init(area, static_cast<unsigned int>(ndr.size()));
         return std::tuple<int, int, int>(b.codes());
     }},
    {"frame",
     [](const std::string& ndr) {
         ScriptedConnection connection;
         OpenReceive b;
         connection.gives(frame(ndr)) >> b;
         return std::tuple<int, int, int>(b.codes());
     }},
    {"part of a frame",
     [](const std::string& ndr) {
         ScriptedConnection connection;
         OpenReceive b;
         connection.gives(frameHeader(100)).gives(ndr) >> b;
         return std::tuple<int, int, int>(b.codes());
     }},
    {"resumable frame",
     [](const std::string& ndr) {
         ScriptedConnection connection;
         OpenCodes b(1);
         connection.gives(frame(ndr)) >> b;
         return std::tuple<int, int, int>(b.codes());
     }},
};

INSTANTIATE_TEST_SUITE_P(Arrivals, HighBytesOfTheLabel, testing::ValuesIn(arrivals));

TEST_P(HighBytesOfTheLabel, AreCodesWithoutASign)
{
    for (int label0 = 0; label0 < 256; ++label0) {
        EXPECT_EQ(GetParam().codes(packet("v", label0, 0)), std::make_tuple(label0 / 16, label0 % 16, 0));
        EXPECT_EQ(GetParam().codes(packet("v", 0x10, label0)), std::make_tuple(1, 0, label0));
    }
}

TEST(HighByteOrders, AreEqualToTheSameOfThisProcess)
{
    for (int order = 8; order < 16; ++order) {
        const FormatCodes codes(order, 0, 0);
        OpenReceive same(packet("\0\0"s + word(0x01020304), order << 4));
        int value = 0;
        same >> value;
        EXPECT_EQ(value, 0x01020304) << order;
        OpenReceive other(packet("\0\0"s + word(0x01020304), (order - 8) << 4));
        other >> value;
        EXPECT_EQ(value, 0x04030201) << order;
    }
}

TEST(HighByteOrders, ReachTheLabelOfAPacket)
{
    for (int order = 8; order < 16; ++order) {
        const FormatCodes codes(order, 0x80 + order, order);
        OpenSend out(32);
        EXPECT_EQ(out.data(), bytes({order * 17, 0x80 + order}));
        out << 4711 << 1.5;
        OpenReceive in(out.data());
        int value = 0;
        double number = 0;
        in >> value >> number;
        EXPECT_EQ(value, 4711);
        EXPECT_EQ(number, 1.5);
    }
}

// Lengths whose bytes have the highest bit set, and the length just below.
class HighBytesOfTheLength : public testing::TestWithParam<unsigned int> {
protected:
    const std::string ndr = packet("\0\0"s + word(GetParam() - 8) + std::string(GetParam() - 9, 'x') + '\0');
    ScriptedConnection connection;
    std::vector<char> text = std::vector<char>(GetParam());
};
INSTANTIATE_TEST_SUITE_P(Lengths, HighBytesOfTheLength,
                         testing::Values(0x7Fu, 0x80u, 0xFEu, 0xFFu, 0x8000u, 0x8081u, 0xFFFFu, 0x808080u));

TEST_P(HighBytesOfTheLength, AreReadWithoutASign)
{
    itcNDRReceive b;
    connection.gives(frame(ndr)) >> b;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_length(), GetParam());
    b >> text.data();
    EXPECT_EQ(std::strlen(text.data()), GetParam() - 9);
}

TEST_P(HighBytesOfTheLength, AreReadWithoutASignInPieces)
{
    const std::string bytes = frame(ndr);
    OpenUbReceive b(1);
    for (size_t at = 0; at < 8; ++at)
        connection.gives(bytes.substr(at, 1)) >> b;
    EXPECT_EQ(connection.gives(bytes.substr(8)) >> b, 0u);
    EXPECT_EQ(b.rxState, Complete);
    EXPECT_EQ(b.raw_length(), GetParam());
}

TEST_P(HighBytesOfTheLength, AreWrittenWithoutASign)
{
    itcNDRSend b;
    b.insert(ndr.data() + 2, static_cast<int>(ndr.size() - 2), false);
    connection.takesTheRest() << b;
    EXPECT_EQ(connection.written, frame(ndr));
    EXPECT_EQ(connection.written.substr(4, 4), networkWord(GetParam()));
}

} // namespace
