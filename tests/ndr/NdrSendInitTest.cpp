// A packet built in the caller's buffer.
#include "NdrProbe.h"
#include "StatusMatchers.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;

class NdrSendInit : public testing::TestWithParam<unsigned int> { // the offset from a multiple of 8
protected:
    char* buffer() { return roundedUp(area) + GetParam(); }
    char area[200];
};

TEST_P(NdrSendInit, BeginsAtTheFirstMultipleOfEight)
{
    std::memset(area, 0xEE, sizeof area);
    OpenSend b;
    b.init(buffer(), 100);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.storage, nullptr);
    EXPECT_EQ(b.frameStart, roundedUp(buffer()));
    EXPECT_EQ(b.writePos, b.frameStart + 14);
    EXPECT_EQ(b.lastUsable, buffer() + 98);
    EXPECT_EQ(b.data(), bytes({0x10, 0x00}));
    EXPECT_TRUE(isZero(buffer(), b.frameStart));
    EXPECT_EQ(buffer()[-1 + 100], '\xEE');
}

TEST_P(NdrSendInit, TakesTheSmallestBuffer)
{
    const std::unique_ptr<char[]> exact(new char[32 + GetParam()]);
    OpenSend b;
    b.init(exact.get() + GetParam(), 32);
    EXPECT_THAT(b, HasClearStatus());
    const unsigned int room = b.free_buffer_size();
    EXPECT_LE(room, 17u);
    for (unsigned int i = 0; i < room; ++i)
        b << 'x';
    EXPECT_THAT(b.pagesAsked, testing::IsEmpty());
    b << 'y';
    EXPECT_THAT(b.pagesAsked, ElementsAre(1u));
    EXPECT_EQ(b.values(), std::string(room, 'x') + 'y');
}

INSTANTIATE_TEST_SUITE_P(Offsets, NdrSendInit, testing::Range(0u, 8u));

TEST(NdrSendCallersBuffer, PutsEightByteValuesFourBehindAMultipleOfEight)
{
    alignas(8) char area[64];
    OpenSend b;
    b.init(area, sizeof area);
    b << countingValue<double>();
    EXPECT_EQ(b.data(), packet("\0\0"s + countingBytes(8)));
    b << 'c' << countingValue<long long>();
    EXPECT_EQ(b.data().substr(12), "c\0\0\0\0\0\0\0"s + countingBytes(8));
}

TEST(NdrSendCallersBuffer, PadsAnAlignedBlockByItsAddressToo)
{
    alignas(8) char area[64];
    OpenSend b;
    b.init(area, sizeof area);
    b.put_opaque("xyz", 3, true, false);
    EXPECT_EQ(b.data(), packet("\0\0xyz"s));
}

TEST(NdrSendCallersBuffer, OfNullFailsAndLeavesTheBuffer)
{
    OpenSend b(64);
    leaveMark(b);
    const auto before = b.fields();
    errno = 77;
    b.init(nullptr, 100);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error, 77));
    EXPECT_EQ(b.fields(), before);
}

TEST(NdrSendCallersBuffer, OfThirtyOneBytesOrFewerFailsAndLeavesTheBuffer)
{
    char area[32];
    for (const unsigned int size : {0u, 1u, 31u}) {
        OpenSend b(64);
        const auto before = b.fields();
        errno = 77;
        b.init(area, size);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Error, 77));
        EXPECT_EQ(b.fields(), before);
    }
}

TEST(NdrSendCallersBuffer, OfMoreThanOneMebibyteIsIgnoredWithAClearStatus)
{
    char area[32]; // never touched
    for (const unsigned int size : {0x100001u, 2000000u, 0xFFFFFFFFu}) {
        OpenSend b(64);
        b << "abc";
        leaveMark(b);
        const auto before = b.fields();
        b.init(area, size);
        EXPECT_THAT(b, HasClearStatus());
        EXPECT_EQ(b.fields(), before);
    }
}

TEST(NdrSendCallersBuffer, TakesOneMebibyte)
{
    std::vector<char> area(0x100000);
    OpenSend b;
    b.init(area.data(), 0x100000);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.lastUsable, area.data() + 0x100000 - 2);
}

TEST(NdrSendCallersBuffer, ReplacesOwnStorageAndForgetsTheTransaction)
{
    alignas(8) char area[64];
    OpenSend b(64);
    b.start_transaction();
    leaveMark(b);
    b.init(area, sizeof area);
    EXPECT_EQ(b.storage, nullptr); // the leak checker reports storage that is not freed
    EXPECT_EQ(b.transactionOffset, 0u);
    EXPECT_THAT(b, HasClearStatus());
}

} // namespace
