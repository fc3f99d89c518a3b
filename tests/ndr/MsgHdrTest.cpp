// The message header: its wire image, its cut texts, and packets that try to overrun them.
#include "NdrProbe.h"
#include "StatusMatchers.h"

#include <kiv/ndr/itcMsgHdr.h>

namespace {

using namespace std::string_literals;

struct OpenMsgHdr : itcMsgHdr {
    using itcMsgHdr::itcMsgHdr;
    using itcMsgHdr::number;
    using itcMsgHdr::text1;
    using itcMsgHdr::text2;
    using itcMsgHdr::type;
    using itcMsgHdr::value1;
    using itcMsgHdr::value2;
    using itcMsgHdr::value3;
    using itcMsgHdr::value4;

    auto numbers() const { return std::make_tuple(number, static_cast<int>(type), value1, value2, value3, value4); }
};

OpenMsgHdr header(std::string text1, std::string text2)
{
    return OpenMsgHdr(1, itcMsgHdr::itcMsgType(2), text1.data(), text2.data(), 3, 4, 5, 6);
}

// Returns a text behind its length, and the gap in front of the next 4-byte value.
std::string wireText(const std::string& bytes)
{
    return word(static_cast<unsigned int>(bytes.size())) + bytes + std::string(-bytes.size() % 4, '\0');
}

std::string wireHeader(const std::string& text1, const std::string& text2)
{
    return packet("\0\0"s + word(1) + word(2) + wireText(text1) + wireText(text2) + word(3) + word(4) + word(5) +
                  word(6));
}

TEST(MsgHdr, IsEmptyAtFirst)
{
    // The memory holds other values first. The constructor must set all fields.
    alignas(OpenMsgHdr) char memory[sizeof(OpenMsgHdr)];
    std::memset(memory, 0x55, sizeof memory);
    auto* const empty = new (memory) OpenMsgHdr;
    EXPECT_EQ(empty->numbers(), std::make_tuple(0, 0, 0, 0, 0, 0));
    EXPECT_EQ(empty->text1[0], '\0');
    EXPECT_EQ(empty->text2[0], '\0');
    empty->~OpenMsgHdr();
}

TEST(MsgHdr, KeepsItsArguments)
{
    const OpenMsgHdr h = header("abc", "de");
    EXPECT_EQ(h.numbers(), std::make_tuple(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(std::string(h.text1, 32), "abc" + std::string(29, '\0'));
    EXPECT_EQ(std::string(h.text2, 32), "de" + std::string(30, '\0'));
}

TEST(MsgHdr, CutsItsTextsToThirtyOneCharacters)
{
    for (const size_t length : {31u, 32u, 33u, 40u, 1000u}) {
        const OpenMsgHdr h = header(std::string(length, 'a'), std::string(length, 'b'));
        EXPECT_EQ(std::string(h.text1, 32), std::string(31, 'a') + '\0');
        EXPECT_EQ(std::string(h.text2, 32), std::string(31, 'b') + '\0');
    }
}

TEST(MsgHdr, TravelsAsItsEightFields)
{
    OpenSend b;
    const OpenMsgHdr h = header("abc", "de");
    EXPECT_EQ(&h.to_external(b), &b);
    EXPECT_EQ(b.data(), wireHeader("abc\0"s, "de\0"s));
    EXPECT_EQ(b.raw_length(), 44u);
}

TEST(MsgHdr, TravelsThroughTheOperatorsOfRecords)
{
    OpenSend b;
    b << header("abc", "de");
    OpenReceive in(b.data());
    OpenMsgHdr h;
    in >> h;
    EXPECT_THAT(in, HasClearStatus());
    EXPECT_EQ(h.numbers(), std::make_tuple(1, 2, 3, 4, 5, 6));
    EXPECT_STREQ(h.text1, "abc");
    EXPECT_STREQ(h.text2, "de");
}

TEST(MsgHdr, ThatIsEmptyPutsTwoEmptyTexts)
{
    OpenSend b;
    b << OpenMsgHdr();
    EXPECT_EQ(b.values(), std::string(10, '\0') + word(1) + std::string(4, '\0') + word(1) + std::string(20, '\0'));
}

TEST(MsgHdr, OfALongTextTravelsWithThirtyTwoBytes)
{
    OpenSend b;
    b << header(std::string(40, 'a'), "");
    EXPECT_EQ(b.data(), wireHeader(std::string(31, 'a') + '\0', "\0"s));
}

TEST(MsgHdr, IsTakenFromAPeerOfAnotherByteOrder)
{
    const auto swapped = [](unsigned int value) { return reversed(word(value)); };
    OpenReceive in(packet("\0\0"s + swapped(1) + swapped(2) + swapped(2) + "a\0\0\0"s + swapped(1) + "\0\0\0\0"s +
                              swapped(3) + swapped(4) + swapped(5) + swapped(0x80000006),
                          0x00));
    OpenMsgHdr h;
    EXPECT_EQ(&h.to_internal(in), &in);
    EXPECT_THAT(in, HasClearStatus());
    EXPECT_EQ(h.numbers(), std::make_tuple(1, 2, 3, 4, 5, static_cast<int>(0x80000006)));
    EXPECT_STREQ(h.text1, "a");
    EXPECT_STREQ(h.text2, "");
}

TEST(MsgHdr, WithTextsThatAreTooLongIsCutAndReadBehindThem)
{
    for (const size_t length : {32u, 33u, 40u, 1000u, 5000u}) {
        SCOPED_TRACE(length);
        OpenReceive in(wireHeader(std::string(length - 1, 'a') + '\0', std::string(length, 'b')));
        OpenMsgHdr h;
        in >> h;
        EXPECT_THAT(in, HasClearStatus());
        EXPECT_EQ(std::string(h.text1, 32), std::string(31, 'a') + '\0');
        EXPECT_EQ(std::string(h.text2, 32), std::string(31, 'b') + '\0');
        EXPECT_EQ(h.numbers(), std::make_tuple(1, 2, 3, 4, 5, 6));
    }
}

TEST(MsgHdr, TakesTheBytesOfItsTextsAndNoMore)
{
    OpenReceive in(wireHeader("abc\0"s, "\0"s));
    OpenMsgHdr h = header(std::string(31, 'x'), std::string(31, 'y'));
    in >> h;
    EXPECT_EQ(std::string(h.text1, 32), "abc\0"s + std::string(27, 'x') + '\0');
    EXPECT_EQ(std::string(h.text2, 32), "\0"s + std::string(30, 'y') + '\0');
}

TEST(MsgHdr, EndsTextsThatAPeerHasNotTerminated)
{
    OpenReceive in(wireHeader("abc", ""));
    OpenMsgHdr h = header(std::string(31, 'x'), std::string(31, 'y'));
    in >> h;
    EXPECT_STREQ(h.text1, "abc");
    EXPECT_STREQ(h.text2, "");
}

TEST(MsgHdr, PutsAtMostThirtyOneCharactersOfAFieldWithoutAZero)
{
    OpenMsgHdr h = header("", "");
    std::memset(h.text1, 'a', sizeof h.text1);
    std::memset(h.text2, 'b', sizeof h.text2);
    OpenSend b;
    b << h;
    EXPECT_EQ(b.data(), wireHeader(std::string(31, 'a') + '\0', std::string(31, 'b') + '\0'));
}

TEST(MsgHdr, RelaysNoForeignMemoryBehindAnUnterminatedText)
{
    alignas(OpenMsgHdr) char memory[sizeof(OpenMsgHdr)];
    std::memset(memory, 0x55, sizeof memory);
    auto* const h = new (memory) OpenMsgHdr;
    OpenReceive in(wireHeader("abc", "de"));
    in >> *h;
    OpenSend b;
    b << *h;
    EXPECT_EQ(b.data(), wireHeader("abc\0"s, "de\0"s));
    h->~OpenMsgHdr();
}

TEST(MsgHdr, ThatIsCutAnywhereEndsWithZerosAndAWarning)
{
    const std::string whole = wireHeader("abc\0"s, "de\0"s);
    for (size_t length = 3; length < whole.size(); ++length) {
        OpenReceive in(whole.substr(0, length));
        OpenMsgHdr h = header(std::string(31, 'x'), std::string(31, 'x'));
        in >> h;
        EXPECT_THAT(in, HasStatus(Itc_Ndr_End_Of_Data, Warning)) << length;
        EXPECT_EQ(h.value4, 0);
        EXPECT_EQ(h.text2[0], length < 27 ? '\0' : 'd') << length;
    }
}

TEST(MsgHdr, WithTextLengthsBeyondThePacketEndsWithAWarning)
{
    for (const unsigned int announced : {40u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        OpenReceive in(packet("\0\0"s + word(1) + word(2) + word(announced) + "abc\0"s));
        OpenMsgHdr h;
        in >> h;
        EXPECT_THAT(in, HasStatus(Itc_Ndr_End_Of_Data, Warning));
        EXPECT_STREQ(h.text1, "");
        EXPECT_STREQ(h.text2, "");
    }
}

} // namespace
