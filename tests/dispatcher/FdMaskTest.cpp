// The set of descriptors: its bits, its layout in memory, and descriptors outside the set.
#include <kiv/dispatcher/FdMask.h>

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>
#include <type_traits>

namespace {

std::array<uint32_t, 32> wordsOf(const FdMask& mask)
{
    std::array<uint32_t, 32> words;
    static_assert(sizeof words == sizeof mask, "1024 bits, nothing else");
    std::memcpy(words.data(), &mask, sizeof mask);
    return words;
}

TEST(FdMask, IsAPlainBlockOfBits)
{
    EXPECT_EQ(sizeof(FdMask), 128u);
    EXPECT_FALSE(std::is_polymorphic_v<FdMask>);
    EXPECT_TRUE(std::is_trivially_copyable_v<FdMask>);
    EXPECT_TRUE(std::is_standard_layout_v<FdMask>);
}

TEST(FdMask, IsEmptyAtFirst)
{
    const FdMask mask;
    EXPECT_FALSE(mask.anySet());
    EXPECT_EQ(mask.numSet(), 0);
    for (int fd = 0; fd < 1024; ++fd)
        EXPECT_FALSE(mask.isSet(fd)) << fd;
}

class FdMaskBit : public testing::TestWithParam<int> {};

TEST_P(FdMaskBit, IsTheOnlyOneThatSettingItSets)
{
    FdMask mask;
    mask.setBit(GetParam());
    for (int fd = 0; fd < 1024; ++fd)
        EXPECT_EQ(mask.isSet(fd), fd == GetParam()) << fd;
    EXPECT_TRUE(mask.anySet());
    EXPECT_EQ(mask.numSet(), 1);
}

TEST_P(FdMaskBit, IsTheOnlyOneThatClearingItClears)
{
    FdMask mask;
    for (int fd = 0; fd < 1024; ++fd)
        mask.setBit(fd);
    mask.clrBit(GetParam());
    for (int fd = 0; fd < 1024; ++fd)
        EXPECT_EQ(mask.isSet(fd), fd != GetParam()) << fd;
    EXPECT_EQ(mask.numSet(), 1023);
}

TEST_P(FdMaskBit, LeavesTheSetEmptyWhenItIsClearedAgain)
{
    FdMask mask;
    mask.setBit(GetParam());
    mask.clrBit(GetParam());
    EXPECT_FALSE(mask.anySet());
    EXPECT_EQ(mask.numSet(), 0);
}

TEST_P(FdMaskBit, StandsInItsWordOf32Bits)
{
    FdMask mask;
    mask.setBit(GetParam());
    std::array<uint32_t, 32> expected = {};
    expected[static_cast<size_t>(GetParam() / 32)] = uint32_t{1} << (GetParam() % 32);
    EXPECT_EQ(wordsOf(mask), expected);
}

TEST_P(FdMaskBit, IsWhereThePlatformHasIt)
{
    fd_set platform;
    FD_ZERO(&platform);
    FD_SET(GetParam(), &platform);
    FdMask mask;
    mask.setBit(GetParam());
    EXPECT_EQ(std::memcmp(&mask, &platform, sizeof mask), 0);
}

INSTANTIATE_TEST_SUITE_P(Edges, FdMaskBit,
                         testing::Values(0, 1, 30, 31, 32, 33, 63, 64, 511, 512, 991, 992, 1022, 1023));

TEST(FdMask, CountsABitOnceHoweverOftenItIsSet)
{
    FdMask mask;
    mask.setBit(7);
    mask.setBit(7);
    EXPECT_EQ(mask.numSet(), 1);
    mask.clrBit(7);
    mask.clrBit(7);
    EXPECT_EQ(mask.numSet(), 0);
}

TEST(FdMask, CountsOverAllWords)
{
    FdMask mask;
    for (int fd = 0; fd < 1024; fd += 3)
        mask.setBit(fd);
    EXPECT_EQ(mask.numSet(), 342);
}

TEST(FdMask, ZeroClearsAllBits)
{
    FdMask mask;
    for (int fd = 0; fd < 1024; ++fd)
        mask.setBit(fd);
    EXPECT_EQ(mask.numSet(), 1024);
    mask.zero();
    EXPECT_FALSE(mask.anySet());
    EXPECT_EQ(wordsOf(mask), (std::array<uint32_t, 32>{}));
}

TEST(FdMask, CopiesByBytes)
{
    FdMask original, copy;
    original.setBit(3);
    original.setBit(1023);
    std::memcpy(static_cast<void*>(&copy), &original, sizeof copy);
    EXPECT_TRUE(copy.isSet(3));
    EXPECT_TRUE(copy.isSet(1023));
    EXPECT_EQ(copy.numSet(), 2);
}

class DescriptorMapping : public testing::TestWithParam<int> {};

TEST_P(DescriptorMapping, IsTheIdentity)
{
    FdMask mask;
    EXPECT_EQ(mask.allocFd(GetParam()), GetParam());
    EXPECT_EQ(mask.realFd(GetParam()), GetParam());
    EXPECT_FALSE(mask.anySet());
}

TEST_P(DescriptorMapping, FreeingDoesNothing)
{
    FdMask mask;
    for (int fd = 0; fd < 1024; ++fd)
        mask.setBit(fd);
    mask.freeFd(GetParam());
    EXPECT_EQ(mask.numSet(), 1024);
}

INSTANTIATE_TEST_SUITE_P(Any, DescriptorMapping, testing::Values(INT_MIN, -1, 0, 1, 1023, 1024, INT_MAX));

// The mask stands between two others. A bit that is written outside the mask shows in its neighbours.
class DescriptorOutsideTheMask : public testing::TestWithParam<int> {
protected:
    FdMask masks[3];
};

TEST_P(DescriptorOutsideTheMask, SetsNoBitAnywhere)
{
    masks[1].setBit(GetParam());
    EXPECT_FALSE(masks[1].isSet(GetParam()));
    for (const FdMask& mask : masks)
        EXPECT_FALSE(mask.anySet());
}

TEST_P(DescriptorOutsideTheMask, ClearsNoBitAnywhere)
{
    for (FdMask& mask : masks) {
        for (int fd = 0; fd < 1024; ++fd)
            mask.setBit(fd);
    }
    masks[1].clrBit(GetParam());
    for (const FdMask& mask : masks)
        EXPECT_EQ(mask.numSet(), 1024);
}

INSTANTIATE_TEST_SUITE_P(Edges, DescriptorOutsideTheMask, testing::Values(INT_MIN, -33, -32, -1, 1024, 1056, INT_MAX));

} // namespace
