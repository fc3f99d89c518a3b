// Transactions on the sending side. A transaction is a part of a packet that the reader can skip. If a put in the part
// fails, the sender removes the part.
#include "NdrProbe.h"
#include "StatusMatchers.h"

namespace {

using namespace std::string_literals;

const std::string placeholder = bytes({0xFF, 0xFF, 0xFF, 0xFF});

TEST(NdrSendTransaction, BeginsWithAPlaceholder)
{
    OpenSend b;
    EXPECT_EQ(&b.start_transaction(), &b);
    EXPECT_EQ(b.values(), "\0\0"s + placeholder);
    EXPECT_EQ(b.transactionOffset, 12u + 8u);
    EXPECT_EQ(b.frameStart + b.transactionOffset, b.writePos);
}

TEST(NdrSendTransaction, OfSixBytesGetsTheCountSix)
{
    OpenSend b;
    b.start_transaction();
    b << 1 << short(2);
    EXPECT_EQ(b.end_transaction(), 0);
    EXPECT_EQ(b.values(), "\0\0"s + word(6) + word(1) + "\2\0"s);
    EXPECT_THAT(b, HasClearStatus());
}

TEST(NdrSendTransaction, WithoutContentGetsTheCountZero)
{
    OpenSend b;
    b.start_transaction();
    EXPECT_EQ(b.end_transaction(), 0);
    EXPECT_EQ(b.values(), "\0\0"s + word(0));
}

TEST(NdrSendTransaction, CountsItsGaps)
{
    OpenSend b;
    b.start_transaction();
    b << 'c' << 1.0; // the char at 8, a gap, the double at 16 to 23
    b.end_transaction();
    EXPECT_EQ(b.values().substr(2, 4), word(16));
}

TEST(NdrSendTransaction, VanishesWhenSomethingInItFails)
{
    for (const int severity : {Warning, Error, SystemError, FatalError}) {
        OpenSend b;
        b << 'a';
        b.start_transaction();
        b << 1 << 2;
        b.code = Itc_Tp_New_Path_Error;
        b.severity = severity;
        EXPECT_EQ(b.end_transaction(), severity);
        EXPECT_EQ(b.values(), "a\0"s) << "the gap before the count stays";
        EXPECT_THAT(b, HasStatus(Itc_Tp_New_Path_Error, severity));
    }
}

TEST(NdrSendTransaction, ThatHasVanishedMayBeEndedASecondTime)
{
    OpenSend b;
    b << 'a';
    b.start_transaction();
    b << 1 << 2;
    b.severity = Warning;
    b.end_transaction();
    const std::string values = b.values();
    const std::string behind(b.writePos, 16); // where the count of the transaction stood
    for (const int severity : {Success, Warning, Error}) {
        static_cast<itcStatus&>(b) = itcStatus{Itc_Ok, severity, 0};
        EXPECT_EQ(b.end_transaction(), severity);
        EXPECT_EQ(b.values(), values);
        EXPECT_EQ(std::string(b.writePos, 16), behind);
        EXPECT_THAT(b, HasStatus(Itc_Ok, severity, 0));
    }
}

TEST(NdrSendTransaction, VanishesWithThePutThatFailed)
{
    OpenSend b(64);
    b << 7;
    b.start_transaction();
    b << 1;
    b.put_opaque("x", -1, false, false);
    b << 2;
    EXPECT_EQ(b.end_transaction(), Error);
    EXPECT_EQ(b.values(), "\0\0"s + word(7));
}

TEST(NdrSendTransaction, LeavesItsOffsetWhenItEnds)
{
    OpenSend b;
    b.start_transaction();
    const unsigned int offset = b.transactionOffset;
    b << 1;
    b.end_transaction();
    EXPECT_EQ(b.transactionOffset, offset);
    b << 2;
    EXPECT_EQ(b.end_transaction(), 0) << "so it can be ended again, with all that followed";
    EXPECT_EQ(b.values(), "\0\0"s + word(8) + word(1) + word(2));
}

TEST(NdrSendTransaction, IsReplacedByASecondOne)
{
    OpenSend b;
    b.start_transaction();
    b << 1;
    b.start_transaction();
    b << 2;
    b.end_transaction();
    EXPECT_EQ(b.values(), "\0\0"s + placeholder + word(1) + word(4) + word(2));
}

TEST(NdrSendTransaction, MayGrowTheBuffer)
{
    OpenSend b(32);
    b.start_transaction();
    b.insert(std::string(10000, 'x').data(), 10000, false);
    EXPECT_EQ(b.end_transaction(), 0);
    EXPECT_EQ(b.values(), "\0\0"s + word(10000) + std::string(10000, 'x'));
}

// The count is written at the begin of the transaction. It must not be put as a value: a put asks for more room than is
// left, and growing would cut the packet off at the count.
TEST(NdrSendTransaction, ThatEndsInTheLastBytesOfTheBufferKeepsItsContent)
{
    for (unsigned int content = 0; content <= 8; ++content) {
        OpenSend b(128);
        b.start_transaction();
        b.insert("12345678", static_cast<int>(content), false);
        b.leaveFree(0);
        const std::vector<unsigned int> asked = b.pagesAsked;
        EXPECT_EQ(b.end_transaction(), 0);
        EXPECT_EQ(b.pagesAsked, asked);
        EXPECT_EQ(b.values(), "\0\0"s + word(content) + std::string("12345678").substr(0, content));
    }
}

TEST(NdrSendTransaction, ThatNeverBeganCannotEnd)
{
    OpenSend b(64);
    b << 1;
    errno = 77;
    EXPECT_EQ(b.end_transaction(), Error);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error, 77));
    EXPECT_EQ(b.values(), "\0\0"s + word(1));
}

TEST(NdrSendTransaction, CannotEndWithoutStorage)
{
    OpenSend b;
    errno = 77;
    EXPECT_EQ(b.end_transaction(), Error);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error, 77));
}

TEST(NdrSendTransaction, ThatNeverBeganLeavesAnEarlierFailure)
{
    OpenSend b;
    leaveMark(b);
    EXPECT_EQ(b.end_transaction(), FatalError);
    EXPECT_THAT(b, StillHasMark());
}

TEST(NdrSendTransaction, CannotEndAfterAReset)
{
    OpenSend b(64);
    b.start_transaction();
    b.reset();
    EXPECT_EQ(b.end_transaction(), Error);
    EXPECT_EQ(b.values(), "");
}

// A buffer in Error refuses the placeholder of the count. The end of the transaction must not remove the value in
// front.
TEST(NdrSendTransaction, InABufferInErrorTakesNothingAway)
{
    OpenSend b(64);
    b << 1 << 2;
    b.severity = Error;
    b.start_transaction();
    b << 'x';
    EXPECT_EQ(b.end_transaction(), Error);
    EXPECT_EQ(b.values().substr(0, 10), "\0\0"s + word(1) + word(2));
    EXPECT_GE(b.raw_length(), 12u);
}

TEST(NdrSendTransaction, InABufferInErrorThatIsEmptyTakesNothingAway)
{
    OpenSend b(64);
    b.severity = Error;
    b.start_transaction();
    EXPECT_EQ(b.end_transaction(), Error);
    EXPECT_EQ(b.data(), bytes({0x10, 0x00}));
}

TEST(NdrSendTransaction, InABufferThatCannotGrowTakesNothingAway)
{
    OpenSend b(64);
    b << 1;
    b.leaveFree(3);
    OsFaults::malloc().failNext(1, ENOMEM);
    b.start_transaction();
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.end_transaction(), Error);
    EXPECT_EQ(b.values(), "\0\0"s + word(1));
}

TEST(NdrSendTransaction, WithoutStorageAndMemoryIsNeverOpen)
{
    OpenSend b;
    OsFaults::malloc().failNext(1, ENOMEM);
    b.start_transaction();
    EXPECT_EQ(b.end_transaction(), Error);
    EXPECT_EQ(b.raw_length(), 0u);
}

} // namespace
