// Taking texts, binary data and records: items for which the caller states no size.
#include "NdrProbe.h"
#include "StatusMatchers.h"

namespace {

using namespace std::string_literals;

std::string counted(unsigned int length, const std::string& bytes) { return "\0\0"s + word(length) + bytes; }

class NdrReceiveText : public testing::Test {
protected:
    char text[16] = "***************";
};

TEST_F(NdrReceiveText, IsTakenWithItsZero)
{
    OpenReceive b(packet(counted(3, "ab\0"s)));
    EXPECT_EQ(&(b >> text), &b);
    EXPECT_EQ(std::string(text, 5), "ab\0**"s);
    EXPECT_EQ(b.position(), 11);
    EXPECT_THAT(b, HasClearStatus());
}

TEST_F(NdrReceiveText, EndsAtItsFirstZeroAndIsFilledWithZeros)
{
    OpenReceive b(packet(counted(6, "a\0bcde"s)));
    b >> text;
    EXPECT_EQ(std::string(text, 8), "a\0\0\0\0\0**"s);
    EXPECT_EQ(b.position(), 14);
}

TEST_F(NdrReceiveText, IsNotTerminatedWhenThePacketsOwnBytesAreNot)
{
    OpenReceive b(packet(counted(3, "abc")));
    b >> text;
    EXPECT_EQ(std::string(text, 5), "abc**");
}

TEST_F(NdrReceiveText, OfNoBytesLeavesTheTarget)
{
    OpenReceive b(packet(counted(0, "x")));
    b >> text;
    EXPECT_EQ(std::string(text, 3), "***");
    EXPECT_EQ(b.position(), 8);
    EXPECT_THAT(b, HasClearStatus());
}

TEST_F(NdrReceiveText, BeyondTheDataIsEmpty)
{
    for (const unsigned int length : {4u, 5u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        OpenReceive b(packet(counted(length, "ab\0"s)));
        text[0] = '*';
        errno = 77;
        b >> text;
        EXPECT_EQ(std::string(text, 3), "\0**"s) << length;
        EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning, 77));
        EXPECT_EQ(b.position(), 8);
    }
}

TEST_F(NdrReceiveText, WithoutItsLengthIsEmpty)
{
    OpenReceive b(packet("\0\0\3\0\0"s));
    b >> text;
    EXPECT_EQ(text[0], '\0');
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

TEST_F(NdrReceiveText, IsEmptyAfterAnyEarlierFailureButItsLengthIsRead)
{
    for (const int severity : {Warning, Error, FatalError}) {
        OpenReceive b(packet(counted(3, "ab\0"s)));
        text[0] = '*';
        b.severity = severity;
        b >> text;
        EXPECT_EQ(std::string(text, 3), "\0**"s);
        EXPECT_EQ(b.severity, severity);
        EXPECT_EQ(b.position(), 8);
    }
}

TEST_F(NdrReceiveText, IsEmptyAfterAnEndOfDataAlthoughItIsThere)
{
    OpenReceive b(packet("\0\0"s + word(2) + "a\0"s));
    double tooLong;
    b >> tooLong;
    ASSERT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    b.skip(-4);
    b >> text;
    EXPECT_STREQ(text, "");
}

TEST_F(NdrReceiveText, WithoutAPacketIsEmpty)
{
    OpenReceive none;
    none >> text;
    EXPECT_EQ(text[0], '\0');
    EXPECT_THAT(none, HasStatus(Itc_Ndr_End_Of_Data, Warning));

    OpenReceive sized(64);
    text[0] = '*';
    sized >> text;
    EXPECT_EQ(text[0], '\0');
    EXPECT_THAT(sized, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

TEST_F(NdrReceiveText, ToTheLastByteIsTaken)
{
    OpenReceive b(packet(counted(1, "\0"s)));
    b >> text;
    EXPECT_STREQ(text, "");
    EXPECT_THAT(b, HasClearStatus());
}

class NdrReceiveBinary : public testing::Test {
protected:
    NdrReceiveBinary() { data = binary(area); }
    std::string area = "********";
    itcBinData data;
};

TEST_F(NdrReceiveBinary, IsCopiedToTheRecordsOwnArea)
{
    OpenReceive b(packet(counted(3, "\0xyz"s)));
    data.length = 99;
    char* const place = data.data;
    EXPECT_EQ(&(b >> data), &b);
    EXPECT_EQ(area, "\0xy*****"s);
    EXPECT_EQ(data.data, place);
    EXPECT_EQ(data.length, 99u) << "the length is the host's";
    EXPECT_EQ(b.position(), 11);
    EXPECT_THAT(b, HasClearStatus());
}

TEST_F(NdrReceiveBinary, OfNoBytesLeavesTheArea)
{
    OpenReceive b(packet(counted(0, "x")));
    b >> data;
    EXPECT_EQ(area, "********");
    EXPECT_EQ(b.position(), 8);
    EXPECT_THAT(b, HasClearStatus());
}

TEST_F(NdrReceiveBinary, OfNoBytesNeedsNoArea)
{
    OpenReceive b(packet(counted(0, "x")));
    itcBinData none;
    b >> none;
    EXPECT_THAT(b, HasClearStatus());
}

TEST_F(NdrReceiveBinary, BeyondTheDataLeavesTheArea)
{
    for (const unsigned int length : {4u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        OpenReceive b(packet(counted(length, "xyz")));
        errno = 77;
        b >> data;
        EXPECT_EQ(area, "********");
        EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning, 77));
        EXPECT_EQ(b.position(), 8);
    }
}

TEST_F(NdrReceiveBinary, IsLeftAfterAnyEarlierFailureButItsLengthIsRead)
{
    for (const int severity : {Warning, Error}) {
        OpenReceive b(packet(counted(3, "xyz")));
        b.severity = severity;
        b >> data;
        EXPECT_EQ(area, "********");
        EXPECT_EQ(b.severity, severity);
        EXPECT_EQ(b.position(), 8);
    }
}

TEST_F(NdrReceiveBinary, WithoutAPacketLeavesTheArea)
{
    OpenReceive none;
    none >> data;
    EXPECT_THAT(none, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    OpenReceive sized(64);
    sized >> data;
    EXPECT_THAT(sized, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(area, "********");
}

TEST(NdrReceiveRecord, IsCalledWithThisBuffer)
{
    struct Record : itcXNDR {
        itcNDRReceive& to_internal(itcNDRReceive& b) override
        {
            calledWith = &b;
            return b >> value;
        }
        itcNDRSend& to_external(itcNDRSend& b) const override { return b; }
        itcNDRReceive* calledWith = nullptr;
        short value = 0;
    } record;
    OpenReceive b(packet("\7\0"s));
    EXPECT_EQ(&(b >> static_cast<itcXNDR&>(record)), &b);
    EXPECT_EQ(record.calledWith, &b);
    EXPECT_EQ(record.value, 7);
}

} // namespace
