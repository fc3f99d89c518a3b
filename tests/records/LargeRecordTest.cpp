// Records with more numbers than fit into one step, or on a stack.
#include <kiv/companion.h>

#include "Allocations.h"
#include "StatusMatchers.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>

namespace {

struct Picture {
    int width = 3;
    double pixels[2'000'000] = {};
    std::string note = "none";
    KIV_VERSIONED(width, pixels, note)
};

struct Cube {
    float cells[16][16][16] = {};
    KIV_FIELDS(cells)
};
static_assert(itcSizeOnWire<Cube>() == 16 * 16 * 16 * 4);
static_assert(itcSizeOnWire<std::array<double, 300'000>>() == 2'400'000);

TEST(LargeRecord, OfAnEarlierVersionGetsItsDefaults)
{
    const auto picture = std::make_unique<Picture>();
    picture->width = 9;
    picture->note = "old";
    itcNDRSend b;
    b << 0U; // a version without fields
    itcNDRReceive r(b.raw_data(), b.raw_length());
    r >> *picture;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(picture->width, 3);
    EXPECT_EQ(picture->note, "none");
}

TEST(LargeRecord, IsNotMadeForACountThatIsFalse)
{
    itcNDRSend b;
    b << 50U; // records, of which the first does not fit
    for (int i = 0; i < 50; ++i)
        b << 0xFFFFFFFFU;
    itcNDRReceive r(b.raw_data(), b.raw_length());
    std::vector<Picture> pictures;
    Allocations allocations;
    r >> pictures;
    allocations.stop();
    EXPECT_THAT(r, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_TRUE(pictures.empty());
    EXPECT_LE(allocations.largest(), sizeof(Picture));
}

TEST(LargeRecord, OfArraysOfArraysComesBack)
{
    const auto sent = std::make_unique<Cube>();
    sent->cells[15][14][13] = 2.5F;
    itcNDRSend b;
    b << *sent;
    itcNDRReceive r(b.raw_data(), b.raw_length());
    const auto taken = std::make_unique<Cube>();
    r >> *taken;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(*taken, *sent);
}

} // namespace
