// Putting values: when the buffer grows, what a buffer in Error still takes, and which room a put needs.
#include "NdrProbe.h"
#include "StatusMatchers.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

template <class Value> constexpr unsigned int roomAsked = sizeof(Value) == 1 ? 1 : 2 * sizeof(Value);

template <class Value> class NdrSendPut : public testing::Test {
protected:
    OpenSend b{256};
    const Value value = countingValue<Value>();

    std::string aligned() const
    {
        return std::string((sizeof(Value) - 2 % sizeof(Value)) % sizeof(Value), '\0') + countingBytes(sizeof(Value));
    }
};

template <class Value> class NdrSendPutByte : public NdrSendPut<Value> {};
template <class Value> class NdrSendPutAligned : public NdrSendPut<Value> {};
TYPED_TEST_SUITE(NdrSendPut, ValueTypes);
TYPED_TEST_SUITE(NdrSendPutByte, ByteTypes);
TYPED_TEST_SUITE(NdrSendPutAligned, AlignedTypes);

TYPED_TEST(NdrSendPut, ReturnsTheBuffer) { EXPECT_EQ(&(this->b << this->value), &this->b); }

TYPED_TEST(NdrSendPut, DoesNotGrowWhileThereIsRoomForTwiceTheValue)
{
    this->b.leaveFree(roomAsked<TypeParam>);
    this->b << this->value;
    EXPECT_THAT(this->b.pagesAsked, IsEmpty());
    EXPECT_EQ(this->b.values(), this->aligned());
}

TYPED_TEST(NdrSendPut, GrowsByOnePageWithOneByteLess)
{
    this->b.leaveFree(roomAsked<TypeParam> - 1);
    this->b << this->value;
    EXPECT_THAT(this->b.pagesAsked, ElementsAre(1u));
    EXPECT_EQ(this->b.values(), this->aligned());
}

TYPED_TEST(NdrSendPut, MakesTheFirstStorageAndItsLabel)
{
    OpenSend empty;
    empty << this->value;
    EXPECT_THAT(empty.pagesAsked, ElementsAre(1u));
    EXPECT_EQ(empty.data(), packet(this->aligned()));
    EXPECT_THAT(empty, HasClearStatus());
}

TYPED_TEST(NdrSendPut, LeavesTheStatusAlone)
{
    leaveMark(this->b); // FatalError is not Error: no put is refused
    this->b << this->value;
    EXPECT_THAT(this->b, StillHasMark());
    EXPECT_EQ(this->b.values(), this->aligned());
}

TYPED_TEST(NdrSendPut, IsTakenAfterAWarning)
{
    this->b.severity = Warning;
    this->b << this->value;
    EXPECT_EQ(this->b.severity, Warning);
    EXPECT_EQ(this->b.values(), this->aligned());
}

TYPED_TEST(NdrSendPut, IsTakenAfterAnErrorIfTheBufferHadToGrow)
{
    leaveError(this->b);
    this->b.leaveFree(roomAsked<TypeParam> - 1);
    this->b << this->value;
    EXPECT_THAT(this->b, HasClearStatus()); // growing clears the status
    EXPECT_EQ(this->b.values(), this->aligned());
}

TYPED_TEST(NdrSendPut, WritesNothingWhenTheBufferCannotGrow)
{
    this->b << 'x';
    this->b.leaveFree(roomAsked<TypeParam> - 1);
    const auto before = this->b.fields();
    OsFaults::malloc().failNext(1, ENOMEM);
    this->b << this->value;
    EXPECT_THAT(this->b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(this->b.fields(), before);
    EXPECT_EQ(this->b.values(), "x");
}

TYPED_TEST(NdrSendPut, WritesNothingWhenThereIsNoStorageAndNoMemory)
{
    OpenSend empty;
    OsFaults::malloc().failNext(1, ENOMEM);
    empty << this->value;
    EXPECT_THAT(empty, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(empty.fields(), OpenSend().fields());
}

TYPED_TEST(NdrSendPut, FillsTheBufferToItsLastUsableByte)
{
    OpenSend small(32);
    const unsigned int room = small.free_buffer_size();
    small.leaveFree(room);
    char* const last = small.lastUsable;
    while (small.free_buffer_size() >= roomAsked<TypeParam>)
        small << this->value;
    EXPECT_LE(small.writePos, last + 1);
    EXPECT_THAT(small.pagesAsked, IsEmpty());
}

TYPED_TEST(NdrSendPutByte, IsTakenByABufferInError)
{
    leaveError(this->b);
    this->b << this->value;
    EXPECT_EQ(this->b.values(), countingBytes(1));
    EXPECT_THAT(this->b, HasStatus(Itc_Tp_New_Path_Error, Error, 4711));
}

TYPED_TEST(NdrSendPutAligned, IsRefusedByABufferInErrorAlthoughThereIsRoom)
{
    leaveError(this->b);
    const auto before = this->b.fields();
    this->b << this->value;
    EXPECT_EQ(this->b.fields(), before);
    EXPECT_THAT(this->b, HasStatus(Itc_Tp_New_Path_Error, Error, 4711));
}

// Texts and binary data are both a length word and n bytes.
struct CountedKind {
    const char* name;
    void (*put)(itcNDRSend& b, const std::string& wire); // wire: the n bytes, ending with a zero
};

void PrintTo(const CountedKind& kind, std::ostream* out) { *out << kind.name; }

class NdrSendPutCounted : public testing::TestWithParam<CountedKind> {
protected:
    static std::string bytesOfLength(unsigned int n) { return std::string(n - 1, 't') + '\0'; }
    void put(itcNDRSend& b, unsigned int n) const { GetParam().put(b, bytesOfLength(n)); }
    static std::string wire(unsigned int n) { return "\0\0"s + word(n) + bytesOfLength(n); }
};

TEST_P(NdrSendPutCounted, GrowsOnlyWithLessThanEightBytesMoreThanItHas)
{
    for (const unsigned int n : {1u, 2u, 50u}) {
        OpenSend roomy(256);
        roomy.leaveFree(n + 8);
        put(roomy, n);
        EXPECT_THAT(roomy.pagesAsked, IsEmpty());
        EXPECT_EQ(roomy.values(), wire(n));

        OpenSend tight(256);
        tight.leaveFree(n + 7);
        put(tight, n);
        EXPECT_THAT(tight.pagesAsked, ElementsAre(1u));
        EXPECT_EQ(tight.values(), wire(n));
    }
}

TEST_P(NdrSendPutCounted, AsksForThePagesOfItsBytesAndOneMore)
{
    const std::pair<unsigned int, unsigned int> pagesOf[] = {{1, 1}, {4000, 1}, {4096, 2}, {5000, 2}, {8192, 3}};
    for (const auto& [n, pages] : pagesOf) {
        OpenSend b;
        put(b, n);
        EXPECT_THAT(b.pagesAsked, ElementsAre(pages)) << n;
        EXPECT_EQ(b.values(), wire(n));
    }
}

TEST_P(NdrSendPutCounted, IsTakenByABufferInErrorThatNeedNotGrow)
{
    OpenSend b(256);
    leaveError(b);
    put(b, 5);
    EXPECT_EQ(b.values(), wire(5));
    EXPECT_THAT(b, HasStatus(Itc_Tp_New_Path_Error, Error, 4711));
}

TEST_P(NdrSendPutCounted, LeavesTheStatusAlone)
{
    OpenSend b(256);
    leaveMark(b);
    put(b, 5);
    EXPECT_THAT(b, StillHasMark());
}

TEST_P(NdrSendPutCounted, WritesNothingWhenTheBufferCannotGrow)
{
    OpenSend b(32);
    b << 'x';
    const auto before = b.fields();
    OsFaults::malloc().failNext(1, ENOMEM);
    put(b, 50);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.fields(), before);
    EXPECT_EQ(b.values(), "x");
}

// The first page has no room for the label, the gap, the length word and 4095 bytes.
TEST_P(NdrSendPutCounted, AsksForMoreWhenTheStatedPagesFallShort)
{
    OpenSend b;
    put(b, 4095);
    EXPECT_EQ(b.pagesAsked.size(), 2u);
    EXPECT_EQ(b.pagesAsked.front(), 1u);
    EXPECT_EQ(b.values(), wire(4095));
}

TEST_P(NdrSendPutCounted, WritesNothingWhenTheSecondGrowthFails)
{
    OpenSend b;
    OsFaults::malloc().failCall(2, ENOMEM);
    put(b, 4095);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.values(), "");
}

INSTANTIATE_TEST_SUITE_P(Kinds, NdrSendPutCounted,
                         testing::Values(CountedKind{"text",
                                                     [](itcNDRSend& b, const std::string& wire) {
                                                         EXPECT_EQ(&(b << wire.c_str()), &b);
                                                     }},
                                         CountedKind{"binary data", [](itcNDRSend& b, const std::string& wire) {
                                                         EXPECT_EQ(&(b << binary(wire)), &b);
                                                     }}));

TEST(NdrSendPutText, OfNullPutsNothing)
{
    OpenSend b(64);
    b << static_cast<const char*>(nullptr);
    EXPECT_EQ(b.values(), "");
    EXPECT_EQ(b.severity, Error);
}

TEST(NdrSendPutBinary, OfNullPutsNothing)
{
    OpenSend b(64);
    itcBinData data;
    data.length = 5;
    b << data;
    EXPECT_EQ(b.values(), "");
    EXPECT_EQ(b.severity, Error);
}

TEST(NdrSendPutRecord, CallsItWithThisBuffer)
{
    struct Record : itcXNDR {
        itcNDRReceive& to_internal(itcNDRReceive& b) override { return b; }
        itcNDRSend& to_external(itcNDRSend& b) const override
        {
            calledWith = &b;
            return b;
        }
        mutable itcNDRSend* calledWith = nullptr;
    } record;
    OpenSend b;
    EXPECT_EQ(&(b << static_cast<const itcXNDR&>(record)), &b);
    EXPECT_EQ(record.calledWith, &b);
    EXPECT_THAT(b.pagesAsked, IsEmpty());
}

// A deriving class may grow by exactly the bytes that the value and its gap need.
template <class Value> class NdrSendPutWithLittleRoom : public testing::Test {};
TYPED_TEST_SUITE(NdrSendPutWithLittleRoom, AlignedTypes);

TYPED_TEST(NdrSendPutWithLittleRoom, NeedsTheGapAndTheValueAfterAGrowth)
{
    for (const unsigned int gap : {0u, static_cast<unsigned int>(sizeof(TypeParam)) - 1}) {
        struct Frugal : OpenSend {
            using OpenSend::OpenSend;
            void extend_buffer(unsigned int) override { leaveFree(offered); }
            unsigned int offered = 0;
        } frugal(64);
        const unsigned int alignedOffset = 8;
        while (frugal.raw_length() < alignedOffset + sizeof(TypeParam) - gap)
            frugal << 'a';
        const unsigned int before = frugal.raw_length();
        frugal.leaveFree(0);
        frugal.offered = gap + sizeof(TypeParam) - 1;
        frugal << countingValue<TypeParam>();
        EXPECT_EQ(frugal.raw_length(), before) << "one byte too few";
        EXPECT_THAT(frugal, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error));

        static_cast<itcStatus&>(frugal) = itcStatus();
        frugal.leaveFree(0);
        frugal.offered = gap + sizeof(TypeParam);
        frugal << countingValue<TypeParam>();
        EXPECT_EQ(frugal.raw_length(), before + gap + sizeof(TypeParam));
        EXPECT_THAT(frugal, HasClearStatus());
    }
}

// A deriving class may refuse to grow. Nothing is put, and the status tells a failed allocation.
template <class Value> class NdrSendPutWithoutRoom : public testing::Test {};
TYPED_TEST_SUITE(NdrSendPutWithoutRoom, ValueTypes);

TYPED_TEST(NdrSendPutWithoutRoom, IsAFailedGrowth)
{
    struct Fixed : OpenSend {
        using OpenSend::OpenSend;
        void extend_buffer(unsigned int) override {}
    } fixed(32);
    fixed.leaveFree(0);
    fixed << countingValue<TypeParam>();
    EXPECT_EQ(fixed.raw_length(), 2u);
    EXPECT_THAT(fixed, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error));
}

} // namespace
