// The send buffer: where its storage lies, how the buffer grows, when the storage is freed.
#include "NdrProbe.h"
#include "StatusMatchers.h"

#include <type_traits>

namespace {

using namespace std::string_literals;
using testing::ElementsAre;

const auto nothing = std::make_tuple<unsigned int, char*, char*, char*, char*>(0, nullptr, nullptr, nullptr, nullptr);

TEST(NdrSendBuffer, HasNoStorageAtFirst)
{
    const OpenSend b;
    EXPECT_EQ(b.fields(), nothing);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.raw_length(), 0u);
    EXPECT_EQ(b.raw_length_inline(), 0u);
    EXPECT_EQ(b.free_buffer_size(), 0u);
    EXPECT_EQ(b.free_buffer_size_inline(), 0u);
}

TEST(NdrSendBuffer, OfASizeBelowOneHasNoStorage)
{
    for (const int size : {0, -1, INT32_MIN}) {
        const OpenSend b(size);
        EXPECT_EQ(b.fields(), nothing);
        EXPECT_THAT(b, HasClearStatus());
    }
    EXPECT_EQ(OsFaults::malloc().calls(), 0);
}

TEST(NdrSendBuffer, OfTenBytesHasThirtyTwo)
{
    OpenSend b(10);
    EXPECT_THAT(sizesAllocated(), ElementsAre(32u));
    EXPECT_EQ(b.raw_length(), 2u);
    EXPECT_EQ(b.raw_data(), b.storage + 16);
    EXPECT_EQ(b.frameStart, b.storage + 4);
    EXPECT_EQ(b.writePos, b.storage + 18);
    EXPECT_EQ(b.lastUsable, b.storage + 30);
    EXPECT_EQ(b.free_buffer_size(), 13u);
    EXPECT_EQ(b.free_buffer_size_inline(), 13u);
    EXPECT_EQ(b.transactionOffset, 0u);
}

TEST(NdrSendBuffer, IsNotCopyable)
{
    EXPECT_FALSE(std::is_copy_constructible_v<itcNDRSend>);
    EXPECT_FALSE(std::is_copy_assignable_v<itcNDRSend>);
}

TEST(NdrSendBuffer, SaysThatItCouldNotBeMade)
{
    OsFaults::malloc().failNext(1, ENOMEM);
    const OpenSend b(100);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.fields(), nothing);
}

TEST(NdrSendBuffer, LengthsAreZeroWhileAPointerIsMissing)
{
    OpenSend b(64);
    char* const frameStart = b.frameStart;
    char* const writePos = b.writePos;
    char* const lastUsable = b.lastUsable;

    b.frameStart = nullptr;
    EXPECT_EQ(b.raw_length(), 0u);
    b.frameStart = frameStart;
    b.writePos = nullptr;
    EXPECT_EQ(b.raw_length(), 0u);
    EXPECT_EQ(b.free_buffer_size(), 0u);
    b.writePos = writePos;
    b.lastUsable = nullptr;
    EXPECT_EQ(b.free_buffer_size(), 0u);
    b.lastUsable = writePos - 1;
    EXPECT_EQ(b.free_buffer_size(), 0u);
    b.lastUsable = writePos;
    EXPECT_EQ(b.free_buffer_size(), 1u);
    b.lastUsable = lastUsable;
}

class NdrSendCreate : public testing::TestWithParam<unsigned int> { // the offset from a multiple of 8
protected:
    ~NdrSendCreate() override { b.storage = nullptr; } // this memory cannot be freed
    void expectDataAtFirstMultipleOfEight(char* last)
    {
        char* const header = memory.block() + 12;
        char* const start = roundedUp(header);
        EXPECT_EQ(b.fields(), std::make_tuple(0u, start - 12, start + 2, last, memory.block()));
        EXPECT_EQ(b.data(), bytes({0x10, 0x00}));
        EXPECT_TRUE(isZero(header, start));
        EXPECT_EQ(*b.writePos, '\xEE');
    }
    CrookedMemory memory{GetParam()};
    OpenSend b;
};

TEST_P(NdrSendCreate, PutsTheDataOnAnEightByteBoundary)
{
    b.create_buffer(100);
    expectDataAtFirstMultipleOfEight(memory.block() + 98);
}

TEST_P(NdrSendCreate, GrowingPutsTheDataOnAnEightByteBoundaryToo)
{
    b.extend_buffer(1);
    EXPECT_THAT(sizesAllocated(), ElementsAre(4104u));
    expectDataAtFirstMultipleOfEight(memory.block() + 4096 + 6);
}

INSTANTIATE_TEST_SUITE_P(Offsets, NdrSendCreate, testing::Range(0u, 8u));

TEST(NdrSendCreateSize, AllocatesTheSizeButNotLessThanThirtyTwo)
{
    for (const unsigned int size : {0u, 1u, 31u, 32u, 33u, 5000u}) {
        OpenSend b;
        b.create_buffer(size);
        EXPECT_EQ(sizesAllocated().back(), size < 32 ? 32 : size);
        EXPECT_EQ(b.lastUsable, b.storage + (size < 32 ? 32 : size) - 2);
    }
}

TEST(NdrSendCreateSize, ClearsTheStatus)
{
    OpenSend b;
    leaveMark(b);
    b.create_buffer(64);
    EXPECT_THAT(b, HasClearStatus());
}

TEST(NdrSendCreateSize, DoesNotReleaseWhatTheBufferHadBefore)
{
    OpenSend b(64);
    b << "abc";
    char* const before = b.storage;
    char* const data = b.raw_data();
    b.create_buffer(128);
    EXPECT_NE(b.storage, before);
    EXPECT_EQ(b.raw_length(), 2u);
    EXPECT_STREQ(data + 8, "abc"); // not freed
    OS_free(before);
}

TEST(NdrSendCreateSize, LeavesTheFieldsWithoutMemory)
{
    OpenSend b(64);
    b << "abc";
    const auto before = b.fields();
    OsFaults::malloc().failNext(1, ENOMEM);
    b.create_buffer(128);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.fields(), before);
}

struct GrowthCase {
    unsigned int content, pages; // bytes behind the label; the requested growth
    size_t allocated;
};

class NdrSendExtend : public testing::TestWithParam<GrowthCase> {};

// The old size is the header area (12), the label (2) and the content. The growth is the larger of the requested pages
// and half of the old size. The new size is the sum of both and 8.
TEST_P(NdrSendExtend, AddsThePagesOrHalfTheContent)
{
    const std::string content(GetParam().content, 'c');
    OpenSend b(static_cast<int>(content.size() + 64));
    b.insert(content.data(), static_cast<int>(content.size()), false);
    OsFaults::malloc().clear();
    b.transactionOffset = 14;

    b.extend_buffer(GetParam().pages);
    EXPECT_THAT(sizesAllocated(), ElementsAre(GetParam().allocated));
    EXPECT_EQ(b.lastUsable, b.storage + GetParam().allocated - 2);
    EXPECT_EQ(b.raw_data(), roundedUp(b.storage + 12));
    EXPECT_EQ(b.frameStart, b.raw_data() - 12);
    EXPECT_EQ(b.writePos, b.frameStart + 14 + content.size());
    EXPECT_EQ(b.data(), packet(content));
    EXPECT_EQ(b.transactionOffset, 14u);
}

INSTANTIATE_TEST_SUITE_P(Contents, NdrSendExtend,
                         testing::Values(GrowthCase{0, 1, 14 + 4096 + 8}, GrowthCase{0, 3, 14 + 12288 + 8},
                                         GrowthCase{100, 1, 114 + 4096 + 8}, GrowthCase{8176, 1, 8190 + 4096 + 8},
                                         GrowthCase{8178, 1, 8192 + 4096 + 8}, GrowthCase{8180, 1, 8194 + 4097 + 8},
                                         GrowthCase{20000, 1, 20014 + 10007 + 8},
                                         GrowthCase{20000, 2, 20014 + 10007 + 8},
                                         GrowthCase{20000, 3, 20014 + 12288 + 8}));

TEST(NdrSendExtend, GivesAnEmptyBufferPagesAndALabel)
{
    OpenSend b;
    b.extend_buffer(2);
    EXPECT_THAT(sizesAllocated(), ElementsAre(8200u));
    EXPECT_EQ(b.lastUsable, b.storage + 8198);
    EXPECT_EQ(b.data(), bytes({0x10, 0x00}));
}

TEST(NdrSendExtend, ClearsTheStatus)
{
    OpenSend b(32);
    leaveMark(b);
    b.extend_buffer(1);
    EXPECT_THAT(b, HasClearStatus());
}

TEST(NdrSendExtend, KeepsTheLabelAsItWasWritten)
{
    OpenSend b(32);
    FormatCodes codes(0, 1, 5);
    b.extend_buffer(1);
    EXPECT_EQ(b.data(), bytes({0x10, 0x00}));
}

TEST(NdrSendExtend, KeepsTheHeaderArea)
{
    OpenSend b(32);
    std::memcpy(b.frameStart, "0123QVRx\1\2\3\4", 12);
    b.extend_buffer(1);
    EXPECT_EQ(std::string(b.frameStart, 12), "0123QVRx\1\2\3\4");
}

TEST(NdrSendExtend, LeavesEverythingWithoutMemory)
{
    OpenSend b(64);
    b << "abc";
    leaveMark(b);
    const auto before = b.fields();
    OsFaults::malloc().failNext(1, ENOMEM);
    b.extend_buffer(1);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.fields(), before);
    EXPECT_STREQ(b.raw_data() + 8, "abc");
}

TEST(NdrSendExtend, MovesFromTheCallersBufferIntoItsOwn)
{
    char area[64];
    for (unsigned int offset = 0; offset < 8; ++offset) {
        OpenSend b;
        b.init(area + offset, 48);
        b << 'a' << short(1) << 2;
        const std::string before = b.data();
        b.extend_buffer(1);
        EXPECT_EQ(b.data(), before) << "offsets and gaps stay";
        EXPECT_NE(b.storage, nullptr);
        EXPECT_EQ(b.raw_data(), roundedUp(b.storage + 12));
    }
}

// A deriving class may define the length of its content, for example without a trailer.
struct OwnLength : OpenSend {
    using OpenSend::OpenSend;
    unsigned int raw_length() const override { return said; }
    unsigned int said = 0;
};

TEST(NdrSendExtend, KeepsTheContentThatTheBufferSaysItHas)
{
    OwnLength b(64);
    b << 'a' << 'b' << 'c' << 'd';
    b.said = 4;
    b.extend_buffer(1);
    b.said = b.raw_length_inline();
    EXPECT_EQ(b.said, 4u);
    EXPECT_EQ(b.values(), "ab");
}

TEST(NdrSendExtend, BeginsAFreshPacketWhenTheBufferSaysThatItIsEmpty)
{
    OwnLength b(64);
    b << 'a' << 'b';
    b.said = 0;
    b.extend_buffer(1);
    EXPECT_EQ(b.raw_length_inline(), 2u);
}

TEST(NdrSendExtend, KeepsTheLabelHoweverLittleTheBufferSays)
{
    OwnLength b(64);
    b << 'a' << 'b';
    b.said = 1;
    b.extend_buffer(1);
    EXPECT_EQ(b.raw_length_inline(), 2u);
    EXPECT_EQ(b.raw_data()[0], 0x10);
}

TEST(NdrSendExtend, KeepsNoMoreThanIsThereWhateverTheBufferSays)
{
    OwnLength b(64);
    b << 'a' << 'b';
    for (const unsigned int said : {5u, 1u << 20, 0xFFFFFFFFu}) {
        b.said = said;
        b.extend_buffer(1);
        EXPECT_EQ(b.raw_length_inline(), 4u);
        EXPECT_THAT(b, HasClearStatus());
    }
}

TEST(NdrSendExtend, ByPagesBeyondThirtyTwoBitsFails)
{
    refuseHugeAllocations();
    for (const unsigned int pages : {0xFFFFFu, 0x100000u, 0x100001u, 0xFFFFFFFFu}) {
        OpenSend b(64);
        b << "abc";
        const auto before = b.fields();
        b.extend_buffer(pages);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error)) << pages;
        EXPECT_EQ(b.fields(), before);
    }
}

TEST(NdrSendExtend, ByNoPagesLeavesABufferThatCanBeUsed)
{
    OpenSend b;
    b.extend_buffer(0);
    b << 1 << "abc";
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.values(), "\0\0"s + word(1) + word(4) + "abc\0"s);

    OpenSend full(32);
    full.extend_buffer(0); // grows by half of 14 bytes
    full << 1;
    EXPECT_EQ(full.values(), "\0\0"s + word(1));
}

TEST(NdrSendReset, WithoutStorageTouchesNothing)
{
    OpenSend b;
    leaveMark(b);
    b.reset();
    EXPECT_THAT(b, StillHasMark());
    EXPECT_EQ(b.fields(), nothing);
}

TEST(NdrSendReset, OfACallersBufferTouchesNothing)
{
    alignas(8) char area[64];
    OpenSend b;
    b.init(area, sizeof area);
    b << 1;
    leaveMark(b);
    const auto before = b.fields();
    b.reset();
    EXPECT_THAT(b, StillHasMark());
    EXPECT_EQ(b.fields(), before);
    EXPECT_EQ(b.raw_length(), 8u);
}

TEST(NdrSendReset, KeepsStorageAndLabel)
{
    OpenSend b(64);
    b << "abc";
    b.start_transaction();
    leaveMark(b);
    char* const storage = b.storage;
    FormatCodes codes(0, 1, 3);
    b.reset();
    EXPECT_EQ(b.storage, storage);
    EXPECT_EQ(b.data(), bytes({0x10, 0x00})) << "the label stays as it was written";
    EXPECT_EQ(b.transactionOffset, 0u);
    EXPECT_THAT(b, HasClearStatus());
}

TEST(NdrSendReset, KeepsAMebibyteAndReleasesAByteMore)
{
    for (const unsigned int more : {0u, 1u}) {
        OpenSend b(0x100000 + 64);
        b << "abc";
        b.lastUsable = b.frameStart + 14 + 0x100000 - 1 + more;
        leaveMark(b);
        b.reset();
        EXPECT_EQ(b.storage == nullptr, more == 1);
        EXPECT_EQ(b.fields() == nothing, more == 1);
        EXPECT_THAT(b, HasClearStatus());
    }
}

TEST(NdrSendReset, ABufferThatWasGivenBackAllocatesAfresh)
{
    OpenSend b(0x100000 + 64);
    b.reset();
    ASSERT_EQ(b.fields(), nothing);
    OsFaults::malloc().clear();
    b << 'x';
    EXPECT_THAT(sizesAllocated(), ElementsAre(4104u));
    EXPECT_EQ(b.data(), packet("x"));
}

} // namespace
