// Transactions on the reading side. The end of a transaction checks what has been read and skips the rest.
#include "NdrProbe.h"
#include "StatusMatchers.h"

namespace {

using namespace std::string_literals;

// A transaction of eight bytes at offset 8, and one value behind it.
OpenReceive* packetWithTransaction()
{
    return new OpenReceive(packet("\0\0"s + word(8) + word(1) + word(2) + word(3)));
}

class NdrReceiveTransaction : public testing::Test {
protected:
    void expectNextValue(int expected)
    {
        int next = 0;
        b->severity = Success;
        *b >> next;
        EXPECT_EQ(next, expected);
    }
    const std::unique_ptr<OpenReceive> b{packetWithTransaction()};
    int value = 0;
};

TEST_F(NdrReceiveTransaction, BeginsWithTheOffsetOfItsEnd)
{
    EXPECT_EQ(&b->start_transaction(), b.get());
    EXPECT_EQ(b->transactionEnd, 16u);
    EXPECT_EQ(b->position(), 8);
}

TEST_F(NdrReceiveTransaction, ReadToItsEndIsFine)
{
    b->start_transaction();
    *b >> value >> value;
    EXPECT_EQ(b->end_transaction(), 0);
    EXPECT_THAT(*b, HasClearStatus());
    expectNextValue(3);
}

TEST_F(NdrReceiveTransaction, ReadTooLittleIsLeftWithACodeOfItsOwn)
{
    b->start_transaction();
    *b >> value;
    errno = 77;
    EXPECT_EQ(b->end_transaction(), 2);
    EXPECT_THAT(*b, HasStatus(-1, Error, 77));
    EXPECT_EQ(b->position(), 16);
    expectNextValue(3);
}

TEST_F(NdrReceiveTransaction, ReadTooFarGoesBackToItsEnd)
{
    b->start_transaction();
    *b >> value >> value >> value;
    errno = 77;
    EXPECT_EQ(b->end_transaction(), 2);
    EXPECT_THAT(*b, HasStatus(-1, Error, 77));
    EXPECT_EQ(b->position(), 16);
}

TEST_F(NdrReceiveTransaction, InWhichSomethingFailedIsSkipped)
{
    for (const int severity : {Warning, Error, FatalError}) {
        b->reset();
        b->start_transaction();
        *b >> value;
        b->code = Itc_Tp_New_Path_Error;
        b->severity = severity;
        EXPECT_EQ(b->end_transaction(), severity);
        EXPECT_THAT(*b, HasStatus(Itc_Tp_New_Path_Error, severity));
        EXPECT_EQ(b->position(), 16);
    }
}

TEST_F(NdrReceiveTransaction, ThatWasReadRightButFailedBeforeReportsThat)
{
    b->start_transaction();
    *b >> value >> value;
    b->severity = Warning;
    EXPECT_EQ(b->end_transaction(), Warning);
}

TEST_F(NdrReceiveTransaction, ThatNeverBeganGoesToTheStartOfTheData)
{
    *b >> value;
    EXPECT_EQ(b->end_transaction(), 2);
    EXPECT_THAT(*b, HasStatus(-1, Error));
    EXPECT_EQ(b->position(), 0);
}

TEST_F(NdrReceiveTransaction, WithinAnotherReplacesIt)
{
    OpenReceive nested(packet("\0\0"s + word(12) + word(4) + word(1) + word(2) + word(3)));
    nested.start_transaction();
    nested.start_transaction();
    EXPECT_EQ(nested.transactionEnd, 16u);
    nested >> value;
    EXPECT_EQ(nested.end_transaction(), 0);
    nested >> value;
    EXPECT_EQ(value, 2);
}

TEST_F(NdrReceiveTransaction, OfNoBytesEndsAtOnce)
{
    OpenReceive empty(packet("\0\0"s + word(0) + word(3)));
    empty.start_transaction();
    EXPECT_EQ(empty.end_transaction(), 0);
    EXPECT_EQ(empty.position(), 8);
}

TEST_F(NdrReceiveTransaction, WithoutStorageCannotEnd)
{
    OpenReceive none;
    errno = 77;
    EXPECT_EQ(none.end_transaction(), Error);
    EXPECT_THAT(none, HasStatus(Itc_Ndr_No_Buffer_Provided, Error, 77));
}

TEST_F(NdrReceiveTransaction, WithoutStorageLeavesAnEarlierFailure)
{
    OpenReceive none;
    leaveMark(none);
    EXPECT_EQ(none.end_transaction(), FatalError);
    EXPECT_THAT(none, StillHasMark());
}

TEST_F(NdrReceiveTransaction, WithoutStorageCannotBegin)
{
    OpenReceive none;
    none.start_transaction();
    EXPECT_THAT(none, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(none.end_transaction(), Warning);
    EXPECT_EQ(none.pointers(), noReceivePointers);
}

TEST_F(NdrReceiveTransaction, AtTheVeryEndOfTheDataCannotBegin)
{
    OpenReceive atEnd(packet("ab"));
    char c;
    atEnd >> c >> c;
    atEnd.start_transaction();
    EXPECT_THAT(atEnd, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(atEnd.end_transaction(), Warning);
    atEnd >> c;
    EXPECT_EQ(c, '\0');
}

// The count of a transaction comes from the peer and may point behind the data. No byte outside the data is read.
class NdrReceiveTransactionBeyond : public testing::TestWithParam<unsigned int> {};

TEST_P(NdrReceiveTransactionBeyond, ThatIsSkippedStaysInsideTheData)
{
    for (const int severity : {Success, Warning}) {
        OpenReceive b(packet("\0\0"s + word(GetParam()) + word(1)));
        b.start_transaction();
        b.severity = severity;
        EXPECT_EQ(b.end_transaction(), severity == Success ? 2 : 1);
        EXPECT_GE(b.position(), 0);
        EXPECT_LE(b.position(), 12);
        b.severity = Success;
        char c = 'x';
        b >> c;
        EXPECT_EQ(c, '\0');
        EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    }
}

TEST_P(NdrReceiveTransactionBeyond, ReportsNoMoreThanAPacketCanHoldAndGivesNoneOfIt)
{
    OpenReceive b(packet("\0\0"s + word(GetParam()) + word(1)));
    b.start_transaction();
    char area[4];
    unsigned int length = 5;
    b.extract(area, length);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

INSTANTIATE_TEST_SUITE_P(Counts, NdrReceiveTransactionBeyond,
                         testing::Values(5u, 4096u, 0x7FFFFFF0u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFF8u,
                                         0xFFFFFFFCu, 0xFFFFFFFFu));

} // namespace
