// The receive buffer: where its storage lies, what the buffer knows of its peer, when the storage is freed.
#include "NdrProbe.h"
#include "StatusMatchers.h"

#include <type_traits>

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(NdrReceiveBuffer, HasNoStorageAtFirst)
{
    OpenReceive b;
    EXPECT_EQ(b.pointers(), noReceivePointers);
    EXPECT_EQ(b.transactionEnd, 0u);
    EXPECT_EQ(b.codes(), noCodes);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_data(), nullptr);
    EXPECT_EQ(b.raw_length(), 0u);
    EXPECT_EQ(b.free_buffer_size(), 0u);
    EXPECT_EQ(b.free_buffer_size_inline(), 0u);
    EXPECT_EQ(b.pending_length(), 0u);
}

TEST(NdrReceiveBuffer, OfASizeBelowOneHasNoStorage)
{
    for (const int size : {0, -1, INT32_MIN}) {
        OpenReceive b(size);
        EXPECT_EQ(b.pointers(), noReceivePointers);
        EXPECT_EQ(b.codes(), noCodes);
        EXPECT_THAT(b, HasClearStatus());
    }
    EXPECT_THAT(sizesAllocated(), IsEmpty());
}

TEST(NdrReceiveBuffer, OfASizeHasStorageButNoPacket)
{
    OpenReceive b(100);
    EXPECT_THAT(sizesAllocated(), ElementsAre(100u));
    EXPECT_EQ(b.dataStart, b.storage);
    EXPECT_EQ(b.readPos, b.dataStart);
    EXPECT_EQ(b.dataLast, b.dataStart);
    EXPECT_EQ(b.bufferLast, b.storage + 99);
    EXPECT_EQ(b.codes(), noCodes);
    EXPECT_EQ(b.raw_data(), b.dataStart);
    EXPECT_EQ(b.raw_length(), 0u);
    EXPECT_EQ(b.free_buffer_size(), 100u);
    EXPECT_EQ(b.free_buffer_size_inline(), 100u);
    EXPECT_EQ(b.pending_length(), 0u);
}

TEST(NdrReceiveBuffer, IsNotCopyable)
{
    EXPECT_FALSE(std::is_copy_constructible_v<itcNDRReceive>);
    EXPECT_FALSE(std::is_copy_assignable_v<itcNDRReceive>);
}

TEST(NdrReceiveBuffer, SaysThatItCouldNotBeMade)
{
    OsFaults::malloc().failNext(1, ENOMEM);
    OpenReceive b(100);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.pointers(), noReceivePointers);
}

TEST(NdrReceiveFromBytes, HoldsACopyBehindTheLabel)
{
    std::string source = packet("abc", 0x23, 7);
    OpenReceive b(source.data(), 5);
    source.assign(5, '?');
    EXPECT_EQ(b.raw_length(), 5u);
    EXPECT_EQ(std::string(b.raw_data(), 5), packet("abc", 0x23, 7));
    EXPECT_EQ(b.dataLast, b.dataStart + 4);
    EXPECT_EQ(b.position(), 2);
    EXPECT_EQ(b.codes(), std::make_tuple(2, 3, 7));
    EXPECT_EQ(b.free_buffer_size(), 32u);
    EXPECT_THAT(b, HasClearStatus());
}

TEST(NdrReceiveFromBytes, ReadsTheCodesAsUnsignedBytes)
{
    OpenReceive b(packet("a", 0xFE, 0xFD));
    EXPECT_EQ(b.codes(), std::make_tuple(15, 14, 0xFD));
}

TEST(NdrReceiveFromBytes, StaysEmptyWithoutValues)
{
    for (const unsigned int length : {0u, 1u, 2u}) {
        OpenReceive b("abc", length);
        EXPECT_EQ(b.pointers(), noReceivePointers);
        EXPECT_EQ(b.codes(), noCodes);
        EXPECT_THAT(b, HasClearStatus());
    }
    OpenReceive null(nullptr, 100u);
    EXPECT_EQ(null.pointers(), noReceivePointers);
    EXPECT_THAT(null, HasClearStatus());
    EXPECT_THAT(sizesAllocated(), IsEmpty());
}

TEST(NdrReceiveFromBytes, SaysThatThereIsNoMemory)
{
    OsFaults::malloc().failNext(1, ENOMEM);
    OpenReceive b("abc", 3u);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.pointers(), noReceivePointers);
}

class NdrReceiveCrooked : public testing::TestWithParam<unsigned int> { // the offset from a multiple of 8
protected:
    ~NdrReceiveCrooked() override { b.storage = nullptr; } // this memory cannot be freed
    void expectDataAtFirstMultipleOfEight(char* last)
    {
        char* const start = roundedUp(memory.block());
        EXPECT_EQ(b.pointers(), std::make_tuple(start, start, start, last, memory.block()));
        EXPECT_TRUE(isZero(memory.block(), start));
        EXPECT_EQ(*start, '\xEE');
    }
    CrookedMemory memory{GetParam()};
    OpenReceive b;
};

TEST_P(NdrReceiveCrooked, CreatePutsTheDataOnAnEightByteBoundary)
{
    b.create_buffer(100);
    expectDataAtFirstMultipleOfEight(memory.block() + 99);
    EXPECT_EQ(b.free_buffer_size(), static_cast<unsigned int>(100 - (b.dataStart - memory.block())));
}

TEST_P(NdrReceiveCrooked, ExtendPutsTheDataOnAnEightByteBoundary)
{
    b.extend_buffer(1);
    expectDataAtFirstMultipleOfEight(memory.block() + 4103);
}

INSTANTIATE_TEST_SUITE_P(Offsets, NdrReceiveCrooked, testing::Range(0u, 8u));

TEST(NdrReceiveCreate, AllocatesTheSizeButNotLessThanThirtyTwo)
{
    for (const unsigned int size : {0u, 1u, 31u, 32u, 33u, 5000u}) {
        OpenReceive b;
        leaveMark(b);
        b.create_buffer(size);
        EXPECT_EQ(sizesAllocated().back(), size < 32 ? 32 : size);
        EXPECT_EQ(b.bufferLast, b.storage + (size < 32 ? 32 : size) - 1);
        EXPECT_THAT(b, HasClearStatus());
    }
}

TEST(NdrReceiveCreate, ForgetsThePeerAndDoesNotReleaseWhatTheBufferHadBefore)
{
    OpenReceive b(packet("abc", 0x23, 7));
    char* const before = b.storage;
    b.create_buffer(64);
    EXPECT_NE(b.storage, before);
    EXPECT_EQ(b.codes(), noCodes);
    EXPECT_EQ(b.raw_length(), 0u);
    EXPECT_EQ(std::string(before + 2, 3), "abc"); // not freed
    OS_free(before);
}

TEST(NdrReceiveExtend, DiscardsTheContentForNewPages)
{
    OpenReceive b(packet("abc"));
    leaveMark(b);
    OsFaults::malloc().clear();
    b.extend_buffer(3);
    EXPECT_THAT(sizesAllocated(), ElementsAre(3 * 4096u + 8));
    EXPECT_EQ(b.pointers(), std::make_tuple(b.storage, b.storage, b.storage, b.storage + 3 * 4096 + 7, b.storage));
    EXPECT_EQ(b.raw_length(), 0u);
    EXPECT_EQ(b.free_buffer_size(), 3 * 4096u + 8);
    EXPECT_THAT(b, HasClearStatus());
}

TEST(NdrReceiveExtend, WithoutMemoryLeavesNothingThatLooksUsable)
{
    OpenReceive b(packet("abc"));
    OsFaults::malloc().failNext(1, ENOMEM);
    b.extend_buffer(1);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.pointers(), noReceivePointers);
    EXPECT_EQ(b.free_buffer_size(), 0u);
    EXPECT_EQ(b.raw_length(), 0u);
    EXPECT_EQ(b.pending_length(), 0u);
    b.reset();
    EXPECT_EQ(b.pointers(), noReceivePointers);
    b.create_buffer(64);
    EXPECT_EQ(b.free_buffer_size(), 64u);
}

TEST(NdrReceiveExtend, ByPagesBeyondThirtyTwoBitsFails)
{
    refuseHugeAllocations();
    for (const unsigned int pages : {0xFFFFFu, 0x100000u, 0x100001u, 0xFFFFFFFFu}) {
        OpenReceive b(64);
        b.extend_buffer(pages);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error)) << pages;
        EXPECT_EQ(b.free_buffer_size(), 0u);
    }
}

TEST(NdrReceiveExtend, ByNoPagesHasRoomForEightBytes)
{
    OpenReceive b;
    b.extend_buffer(0);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.free_buffer_size(), 8u);
}

class NdrReceiveInit : public testing::TestWithParam<unsigned int> { // the offset from a multiple of 8
protected:
    char* buffer() { return roundedUp(area) + GetParam(); }
    char area[200];
};

TEST_P(NdrReceiveInit, WrapsTheDataAtTheFirstMultipleOfEight)
{
    std::memset(area, 0xEE, sizeof area);
    char* const start = roundedUp(buffer());
    std::memcpy(start, packet("abc", 0x23, 7).data(), 5);
    OpenReceive b(64);
    leaveMark(b);
    b.init(buffer(), 100);
    EXPECT_THAT(b, HasClearStatus());
    // The data ends 100 bytes behind its start. The bytes that are skipped in front are not subtracted.
    EXPECT_EQ(b.pointers(), std::make_tuple(start, start + 2, start + 99, buffer() + 99, static_cast<char*>(nullptr)));
    EXPECT_EQ(b.codes(), std::make_tuple(2, 3, 7));
    EXPECT_EQ(b.raw_length(), 100u);
    EXPECT_EQ(b.pending_length(), 98u);
    EXPECT_EQ(b.free_buffer_size(), static_cast<unsigned int>(100 - (start - buffer())));
    EXPECT_TRUE(isZero(buffer(), start));
    EXPECT_EQ(buffer()[100], '\xEE');
    if (GetParam() != 0) {
        EXPECT_EQ(buffer()[-1], '\xEE');
    }
}

TEST_P(NdrReceiveInit, OfABufferThatItsGapUsesUpFailsAndTouchesNothing)
{
    const unsigned int gap = (8 - GetParam()) % 8;
    for (unsigned int size = 3; size < gap + 2; ++size) {
        const std::unique_ptr<char[]> exact(new char[GetParam() + size]);
        std::memset(exact.get(), 0xEE, GetParam() + size);
        OpenReceive b;
        b.init(exact.get() + GetParam(), size);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Error));
        EXPECT_EQ(b.pointers(), noReceivePointers);
        EXPECT_EQ(std::string(exact.get(), GetParam() + size), std::string(GetParam() + size, '\xEE'));
    }
}

INSTANTIATE_TEST_SUITE_P(Offsets, NdrReceiveInit, testing::Range(0u, 8u));

TEST(NdrReceiveCallersBuffer, OfNullFailsAndLeavesThePacket)
{
    OpenReceive b(packet("abc"));
    const auto before = b.pointers();
    leaveMark(b);
    errno = 77;
    b.init(nullptr, 100);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error, 77));
    EXPECT_EQ(b.pointers(), before);
}

TEST(NdrReceiveCallersBuffer, OfTwoBytesOrFewerFailsAndLeavesThePacket)
{
    alignas(8) char area[8] = "zzz";
    for (const unsigned int size : {0u, 1u, 2u}) {
        OpenReceive b(packet("abc"));
        const auto before = b.pointers();
        errno = 77;
        b.init(area, size);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Error, 77));
        EXPECT_EQ(b.pointers(), before);
    }
}

TEST(NdrReceiveCallersBuffer, HasNoUpperLimit)
{
    std::vector<char> area(0x100000 + 100);
    OpenReceive b;
    b.init(area.data(), static_cast<unsigned int>(area.size()));
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_length(), area.size());
}

TEST(NdrReceiveReset, WithoutStorageTouchesNothing)
{
    OpenReceive b;
    leaveMark(b);
    b.reset();
    EXPECT_THAT(b, StillHasMark());
    EXPECT_EQ(b.pointers(), noReceivePointers);
}

TEST(NdrReceiveReset, OfACallersBufferTouchesNothing)
{
    alignas(8) char area[16] = "\x10\0abcd";
    OpenReceive b;
    b.init(area, 6);
    char c;
    b >> c;
    leaveMark(b);
    b.reset();
    EXPECT_THAT(b, StillHasMark());
    EXPECT_EQ(b.position(), 3);
}

TEST(NdrReceiveReset, GoesBackToTheFirstValue)
{
    OpenReceive b(packet("\0\0"s + word(4711)));
    for (int times = 0; times < 2; ++times) {
        int value = 0;
        b >> value;
        EXPECT_EQ(value, 4711);
        b.transactionEnd = 9;
        leaveMark(b);
        b.reset();
        EXPECT_EQ(b.position(), 2);
        EXPECT_EQ(b.transactionEnd, 0u);
        EXPECT_THAT(b, HasClearStatus());
    }
}

TEST(NdrReceiveReset, KeepsAMebibyteAndReleasesAByteMore)
{
    for (const unsigned int more : {0u, 1u}) {
        OpenReceive b(static_cast<int>(0x100000 + more));
        ASSERT_EQ(b.free_buffer_size(), 0x100000 + more);
        leaveMark(b);
        b.reset();
        EXPECT_EQ(b.pointers() == noReceivePointers, more == 1);
        EXPECT_EQ(b.storage == nullptr, more == 1);
        EXPECT_THAT(b, HasClearStatus());
    }
}

TEST(NdrReceiveLengths, CapacityNeedsItsTwoPointersInOrder)
{
    OpenReceive b(64);
    char* const last = b.bufferLast;
    b.bufferLast = nullptr;
    EXPECT_EQ(b.free_buffer_size(), 0u);
    b.bufferLast = b.dataStart;
    EXPECT_EQ(b.free_buffer_size(), 1u);
    b.bufferLast = b.dataStart + 1;
    b.dataStart += 2;
    EXPECT_EQ(b.free_buffer_size(), 0u);
    b.bufferLast = last;
    b.dataStart = nullptr;
    EXPECT_EQ(b.free_buffer_size(), 0u);
}

TEST(NdrReceiveLengths, CapacityIsNotReducedByThePacket)
{
    OpenReceive b(packet("abc"));
    char c;
    b >> c;
    EXPECT_EQ(b.free_buffer_size(), 32u);
}

TEST(NdrReceiveLengths, OneByteLeftIsReportedAsNone)
{
    OpenReceive b(packet("abc"));
    char c;
    EXPECT_EQ(b.pending_length(), 3u);
    b >> c;
    EXPECT_EQ(b.pending_length(), 2u);
    b >> c;
    EXPECT_EQ(b.pending_length(), 0u) << "one is left";
    b >> c;
    EXPECT_EQ(c, 'c');
    EXPECT_EQ(b.pending_length(), 0u);
    EXPECT_THAT(b, HasClearStatus());
}

TEST(NdrReceiveLengths, NothingIsPendingWithoutAReadPosition)
{
    OpenReceive b(packet("abc"));
    b.readPos = nullptr;
    EXPECT_EQ(b.pending_length(), 0u);
}

} // namespace
