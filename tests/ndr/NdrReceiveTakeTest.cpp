// Taking single values: gaps, missing bytes, and the result when the value is missing.
#include "NdrProbe.h"
#include "StatusMatchers.h"

#include <kiv/ndr/itcMsgHdr.h>

namespace {

using namespace std::string_literals;

constexpr std::ptrdiff_t firstMultiple(std::ptrdiff_t position, std::ptrdiff_t of)
{
    return (position + of - 1) / of * of;
}

template <class Value> class NdrReceiveTake : public testing::Test {
protected:
    static constexpr auto size = static_cast<std::ptrdiff_t>(sizeof(Value));
    const std::string counting = countingBytes(sizeof(Value));

    // Takes a value that the packet does not hold completely. Expects the read position behind the gap.
    static void expectEndOfData(OpenReceive& b)
    {
        const std::ptrdiff_t position = firstMultiple(b.position(), size);
        auto value = countingValue<Value>();
        errno = 77;
        b >> value;
        EXPECT_EQ(bytesOf(value), std::string(sizeof(Value), '\0'));
        EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning, 77));
        EXPECT_EQ(b.position(), position);
    }
};

TYPED_TEST_SUITE(NdrReceiveTake, ValueTypes);

TYPED_TEST(NdrReceiveTake, ReturnsTheBuffer)
{
    OpenReceive b(packet(std::string(20, '\1')));
    TypeParam value;
    EXPECT_EQ(&(b >> value), &b);
}

TYPED_TEST(NdrReceiveTake, SkipsTheGapWithoutLookingAtIt)
{
    for (std::ptrdiff_t before = 0; before < 8; ++before) {
        const std::ptrdiff_t start = firstMultiple(2 + before, this->size);
        OpenReceive b(packet(std::string(static_cast<size_t>(start - 2), '\xEE') + this->counting));
        b.skip(static_cast<int>(before));
        TypeParam value{};
        b >> value;
        EXPECT_EQ(bytesOf(value), this->counting);
        EXPECT_THAT(b, HasClearStatus());
        EXPECT_EQ(b.position(), start + this->size);
    }
}

TYPED_TEST(NdrReceiveTake, DoesNotClearTheStatus)
{
    OpenReceive b(packet(std::string(20, '\1')));
    leaveMark(b);
    TypeParam value;
    b >> value;
    EXPECT_THAT(b, StillHasMark());
}

TYPED_TEST(NdrReceiveTake, SucceedsWithTheLastBytes)
{
    const std::ptrdiff_t start = firstMultiple(2, this->size);
    OpenReceive b(packet(std::string(static_cast<size_t>(start - 2), '\0') + this->counting));
    TypeParam value{};
    b >> value;
    EXPECT_EQ(bytesOf(value), this->counting);
    EXPECT_THAT(b, HasClearStatus());
    this->expectEndOfData(b);
}

TYPED_TEST(NdrReceiveTake, FailsWithOneByteLessAndStaysBehindTheGap)
{
    const std::ptrdiff_t start = firstMultiple(2, this->size);
    for (std::ptrdiff_t there = 0; there < this->size; ++there) {
        OpenReceive b(packet(std::string(20, '\1'))); // the data ends before the storage
        b.dataLast = b.dataStart + start + there - 1;
        this->expectEndOfData(b);
    }
}

TYPED_TEST(NdrReceiveTake, FailsWithoutStorage)
{
    OpenReceive b;
    auto value = countingValue<TypeParam>();
    b >> value;
    EXPECT_EQ(bytesOf(value), std::string(sizeof(TypeParam), '\0'));
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(b.pointers(), noReceivePointers);
}

TYPED_TEST(NdrReceiveTake, FailsWithoutAPacket)
{
    for (const int room : {1, 32, 100}) {
        OpenReceive b(room);
        this->expectEndOfData(b);
    }
    OpenReceive grown;
    grown.extend_buffer(1);
    this->expectEndOfData(grown);
}

TYPED_TEST(NdrReceiveTake, FailsWithoutAPacketAfterAReset)
{
    OpenReceive b(100);
    b.reset();
    this->expectEndOfData(b);
}

TYPED_TEST(NdrReceiveTake, FailsWhenTheStorageWasGivenBack)
{
    OpenReceive b(0x100000 + 64);
    b.reset();
    ASSERT_EQ(b.pointers(), noReceivePointers);
    TypeParam value;
    b >> value;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

TYPED_TEST(NdrReceiveTake, FailsWhenTheStorageCouldNotGrow)
{
    OpenReceive b(packet("abcdefghijklmnop"));
    OsFaults::malloc().failNext(1, ENOMEM);
    b.extend_buffer(1);
    TypeParam value;
    b >> value;
    EXPECT_EQ(b.code, Itc_Ndr_End_Of_Data);
}

TEST(NdrReceiveBool, IsTrueForAnyByteButZero)
{
    OpenReceive b(packet(bytes({0, 1, 2, 0x80, 0xFF})));
    for (const bool expected : {false, true, true, true, true}) {
        bool value = !expected;
        b >> value;
        EXPECT_EQ(value, expected);
    }
}

TEST(NdrReceiveInt, FailsWithThreeBytesBehindTheGap)
{
    OpenReceive b(packet("\0\0abc"s));
    int value = 5;
    b >> value;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(value, 0);
    EXPECT_EQ(b.position(), 4);
    char next;
    b >> next;
    EXPECT_EQ(next, 'a') << "the bytes are still there for smaller values";
}

TEST(NdrReceiveMsgType, IsTakenAsAnInt)
{
    OpenReceive b(packet("\0\0"s + word(0x80000001)));
    auto type = itcMsgHdr::itcMsgType(0);
    EXPECT_EQ(&(b >> type), &b);
    EXPECT_EQ(static_cast<int>(type), static_cast<int>(0x80000001));
    EXPECT_EQ(b.position(), 8);
}

TEST(NdrReceiveMsgType, IsReversedLikeAnInt)
{
    OpenReceive b(packet("\0\0"s + reversed(word(0x01020304)), 0x00));
    auto type = itcMsgHdr::itcMsgType(0);
    b >> type;
    EXPECT_EQ(static_cast<int>(type), 0x01020304);
}

TEST(NdrReceiveMsgType, BeyondTheDataIsZero)
{
    OpenReceive b(packet("\0\0abc"s));
    auto type = itcMsgHdr::itcMsgType(5);
    b >> type;
    EXPECT_EQ(static_cast<int>(type), 0);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(b.position(), 4);
}

} // namespace
