// Taking raw bytes and blocks with a length in front, and moving the read position.
#include "NdrProbe.h"
#include "StatusMatchers.h"

#include <limits>
#include <new>

namespace {

bool arraysAreRefused = false;

} // namespace

// The library allocates blocks with this form of array new. A test can let the allocation fail.
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
try {
    return arraysAreRefused ? nullptr : ::operator new[](size);
} catch (const std::bad_alloc&) { // an announced length may be more than a 32-bit machine has
    return nullptr;
}

namespace {

using namespace std::string_literals;

// While NoArrays exists, array new finds no memory.
struct NoArrays {
    NoArrays() { arraysAreRefused = true; }
    ~NoArrays() { arraysAreRefused = false; }
};

class NdrReceiveRaw : public testing::Test {
protected:
    char area[9] = "********";
    unsigned int length = 0;
};

TEST_F(NdrReceiveRaw, BytesAreCopiedAndTheStatusIsCleared)
{
    OpenReceive b(packet("abcd"));
    leaveMark(b);
    length = 3;
    EXPECT_EQ(&b.extract(area, length), &b);
    EXPECT_STREQ(area, "abc*****");
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(b.position(), 5);
    EXPECT_THAT(b, HasClearStatus());
}

TEST_F(NdrReceiveRaw, BytesCanBeTakenToTheLast)
{
    OpenReceive b(packet("abcd"));
    length = 4;
    b.extract(area, length);
    EXPECT_STREQ(area, "abcd****");
    EXPECT_THAT(b, HasClearStatus());
}

TEST_F(NdrReceiveRaw, BytesBeyondTheDataAreNotCopiedInPart)
{
    for (const unsigned int asked : {5u, 6u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        OpenReceive b(packet("abcd"));
        length = asked;
        errno = 77;
        b.extract(area, length);
        EXPECT_STREQ(area, "********");
        EXPECT_EQ(b.position(), 2);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning, 77));
    }
}

TEST_F(NdrReceiveRaw, NoBytesAtTheEndAreNoFailure)
{
    OpenReceive b(packet("a"));
    char c;
    b >> c;
    b.extract(area, length);
    EXPECT_THAT(b, HasClearStatus());
}

TEST_F(NdrReceiveRaw, BytesNeedABuffer)
{
    OpenReceive b;
    leaveMark(b);
    length = 1;
    errno = 77;
    b.extract(area, length);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error, 77));
    b.extract(nullptr, length);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
}

TEST_F(NdrReceiveRaw, BytesAreNotThereWithoutAPacket)
{
    OpenReceive b(64);
    length = 1;
    b.extract(area, length);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_STREQ(area, "********");
}

TEST_F(NdrReceiveRaw, WithoutATargetTheBytesLeftAreReported)
{
    OpenReceive b(packet("abcd"));
    leaveMark(b);
    for (const unsigned int left : {4u, 3u, 2u, 1u, 0u}) {
        b.extract(nullptr, length);
        EXPECT_EQ(length, left);
        EXPECT_THAT(b, HasClearStatus());
        b.readPos += 1;
    }
    b.extract(nullptr, length); // the read position is one byte behind the data
    EXPECT_EQ(length, 0u);
}

TEST_F(NdrReceiveRaw, WithoutATargetTheBytesLeftOfTheTransactionAreReported)
{
    OpenReceive b(packet("\0\0"s + word(6) + "abcdefgh"));
    b.start_transaction();
    b.extract(nullptr, length);
    EXPECT_EQ(length, 6u);
    b.skip(4);
    b.extract(nullptr, length);
    EXPECT_EQ(length, 2u);
}

TEST_F(NdrReceiveRaw, WithoutATargetTheBytesBehindATransactionAreReportedToTheEndOfTheData)
{
    OpenReceive b(packet("\0\0"s + word(2) + "abcdefgh"));
    b.start_transaction();
    b.skip(2);
    b.extract(nullptr, length);
    EXPECT_EQ(length, 0u) << "exactly at the end of the transaction";
    for (const unsigned int left : {5u, 4u}) {
        b.readPos = b.dataLast + 1 - left;
        b.extract(nullptr, length);
        EXPECT_EQ(length, left);
    }
}

// extract() and get_opaque() of a block. One packet serves both, since its block begins at a multiple of 8.
struct BlockKind {
    const char* name;
    bool aligned;
};

void PrintTo(const BlockKind& kind, std::ostream* out) { *out << kind.name; }

class NdrReceiveBlock : public testing::TestWithParam<BlockKind> {
protected:
    static std::string block(unsigned int length, const std::string& bytes)
    {
        return packet("\0\0"s + word(length) + bytes);
    }
    itcNDRReceive& take(itcNDRReceive& b, int cap)
    {
        if (!GetParam().aligned)
            return b.extract(dst, cap, length);
        void* any = dst;
        b.get_opaque(any, cap, length);
        dst = static_cast<char*>(any);
        return b;
    }

    char area[9] = "********";
    char* dst = area;
    int length = -9;
};

TEST_P(NdrReceiveBlock, IsCopiedIntoTheCallersArea)
{
    OpenReceive b(block(3, "xyz"));
    leaveMark(b);
    EXPECT_EQ(&take(b, 8), &b);
    EXPECT_EQ(dst, area);
    EXPECT_STREQ(area, "xyz*****");
    EXPECT_EQ(length, 3);
    EXPECT_EQ(b.position(), 11);
    EXPECT_THAT(b, HasClearStatus());
}

TEST_P(NdrReceiveBlock, ThatJustFitsKeepsTheArea)
{
    OpenReceive b(block(3, "xyz"));
    take(b, 3);
    EXPECT_EQ(dst, area);
    EXPECT_STREQ(area, "xyz*****");
}

TEST_P(NdrReceiveBlock, ThatDoesNotFitReplacesTheArray)
{
    OpenReceive b(block(3, "xyz"));
    dst = new char[2]; // the take frees the array; the leak checker reports a failure
    take(b, 2);
    const std::unique_ptr<char[]> owner(dst);
    EXPECT_EQ(std::string(dst, 3), "xyz");
    EXPECT_EQ(length, 3);
    EXPECT_THAT(b, HasClearStatus());
}

TEST_P(NdrReceiveBlock, WithoutCapacityLeavesTheOldArrayToTheCaller)
{
    for (const int cap : {0, -1}) {
        OpenReceive b(block(3, "xyz"));
        dst = area;
        take(b, cap);
        ASSERT_NE(dst, area);
        const std::unique_ptr<char[]> owner(dst);
        EXPECT_EQ(std::string(dst, 3), "xyz");
    }
    EXPECT_STREQ(area, "********");
}

TEST_P(NdrReceiveBlock, LargerThanTheCapacityReplacesANullPointer)
{
    OpenReceive b(block(3, "xyz"));
    dst = nullptr;
    take(b, 2);
    const std::unique_ptr<char[]> owner(dst);
    ASSERT_NE(dst, nullptr);
    EXPECT_EQ(std::string(dst, 3), "xyz");
}

TEST_P(NdrReceiveBlock, OfNoBytesEndsWithItsLength)
{
    OpenReceive b(block(0, "x"));
    take(b, 8);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(b.position(), 8);
    EXPECT_STREQ(area, "********");
    EXPECT_THAT(b, HasClearStatus());
}

TEST_P(NdrReceiveBlock, WithoutItsLengthEndsThere)
{
    OpenReceive b(packet("\0\0\3\0\0"s));
    take(b, 8);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(dst, area);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

TEST_P(NdrReceiveBlock, BeyondTheDataIsNotCopiedInPart)
{
    OpenReceive b(block(4, "xyz"));
    errno = 77;
    take(b, 8);
    EXPECT_EQ(dst, area);
    EXPECT_STREQ(area, "********");
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning, 77));
    EXPECT_EQ(b.position(), 8);
}

// The caller knows the size of its array by one rule: the size is the larger of `cap` and `len`.
TEST_P(NdrReceiveBlock, BeyondTheDataReplacesAnArrayThatIsTooSmallForTheAnnouncedLength)
{
    OpenReceive b(block(100, "0123456789"));
    dst = new char[4]; // the take frees the array; the leak checker reports a failure
    take(b, 4);
    const std::unique_ptr<char[]> owner(dst);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(length, 100);
    EXPECT_EQ(b.position(), 8);
    std::memset(dst, 'x', 100); // the address checker reports an array that is too small
}

TEST_P(NdrReceiveBlock, WithoutMemoryForTheArrayKeepsTheCallersAndItsLengthIsZero)
{
    for (const std::string& present : {"xyz"s, std::string(100, 'x')}) {
        OpenReceive b(block(100, present));
        dst = area;
        {
            const NoArrays none;
            take(b, 4);
        }
        EXPECT_EQ(dst, area);
        EXPECT_EQ(length, 0);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    }
}

TEST_P(NdrReceiveBlock, OfNegativeLengthIsAnEndOfData)
{
    for (const unsigned int announced : {0xFFFFFFFFu, 0x80000000u, 0x80000001u}) {
        OpenReceive b(block(announced, "xyz"));
        dst = area;
        take(b, 8);
        EXPECT_EQ(dst, area);
        EXPECT_STREQ(area, "********");
        EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
        EXPECT_EQ(b.position(), 8);
    }
}

TEST_P(NdrReceiveBlock, NeedsABuffer)
{
    OpenReceive b;
    errno = 77;
    take(b, 8);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error, 77));
    EXPECT_EQ(dst, area);
}

TEST_P(NdrReceiveBlock, IsNotThereWithoutAPacket)
{
    OpenReceive b(64);
    take(b, 8);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(length, 0);
    EXPECT_EQ(dst, area);
}

TEST_P(NdrReceiveBlock, IsTakenAlthoughAnEarlierTakeFailed)
{
    OpenReceive b(block(3, "xyz"));
    b.severity = Warning;
    take(b, 8);
    EXPECT_STREQ(area, "xyz*****");
    EXPECT_THAT(b, HasClearStatus());
}

INSTANTIATE_TEST_SUITE_P(Kinds, NdrReceiveBlock,
                         testing::Values(BlockKind{"extract", false}, BlockKind{"get_opaque", true}));

TEST(NdrReceiveOpaque, SkipsToAMultipleOfEight)
{
    OpenReceive b(packet("\0\0"s + word(1) + word(3) + "\xEE\xEE\xEE\xEExyz"));
    int first;
    b >> first;
    char area[8];
    void* dst = area;
    int length;
    b.get_opaque(dst, sizeof area, length);
    EXPECT_EQ(std::string(area, 3), "xyz");
    EXPECT_EQ(b.position(), 19);
    EXPECT_THAT(b, HasClearStatus());
}

TEST(NdrReceiveOpaque, WithTheGapButNotTheBytesIsAnEndOfData)
{
    OpenReceive b(packet("\0\0"s + word(1) + word(3) + "\0\0"s)); // the data ends inside the gap
    int first;
    b >> first;
    char area[8];
    void* dst = area;
    int length;
    b.get_opaque(dst, sizeof area, length);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(b.position(), 16);
    EXPECT_EQ(b.pending_length(), 0u);
}

TEST(NdrReceiveOpaque, ReplacesANullPointerEvenWithinTheCapacity)
{
    OpenReceive b(packet("\0\0"s + word(3) + "xyz"));
    void* dst = nullptr;
    int length;
    b.get_opaque(dst, 8, length);
    const std::unique_ptr<char[]> owner(static_cast<char*>(dst));
    ASSERT_NE(dst, nullptr);
    EXPECT_EQ(std::string(owner.get(), 3), "xyz");
}

TEST(NdrReceiveSkip, MovesWithinTheDataAndLeavesTheStatus)
{
    OpenReceive b(packet("abcd"));
    leaveMark(b);
    EXPECT_EQ(&b.skip(3), &b);
    EXPECT_EQ(b.position(), 5);
    b.skip(-2);
    EXPECT_EQ(b.position(), 3);
    b.skip(0);
    EXPECT_EQ(b.position(), 3);
    b.skip(3);
    EXPECT_EQ(b.position(), 6);
    EXPECT_THAT(b, StillHasMark());
}

TEST(NdrReceiveSkip, BeyondTheDataStays)
{
    for (const int n : {5, 100, std::numeric_limits<int>::max()}) {
        OpenReceive b(packet("abcd"));
        errno = 77;
        b.skip(n);
        EXPECT_EQ(b.position(), 2);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning, 77));
    }
}

TEST(NdrReceiveSkip, BeforeTheDataStays)
{
    for (const int n : {-3, -100, std::numeric_limits<int>::min()}) {
        OpenReceive b(packet("abcd"));
        b.skip(n);
        EXPECT_EQ(b.position(), 2);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    }
}

TEST(NdrReceiveSkip, WithoutAPacketStays)
{
    OpenReceive none;
    none.skip(1);
    EXPECT_EQ(none.pointers(), noReceivePointers);
    EXPECT_THAT(none, HasStatus(Itc_Ndr_End_Of_Data, Warning));

    OpenReceive sized(64);
    sized.skip(2);
    EXPECT_EQ(sized.position(), 0);
    EXPECT_THAT(sized, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

} // namespace
