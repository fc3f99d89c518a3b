// How many bytes a type or a value takes in a packet.
#include "ValueProbe.h"

namespace {

using namespace std::literals;

enum class Colour : std::uint8_t { red = 1 };

struct Position {
    char c = 0;
    double x = 0;
    short s = 0;
    Colour colour = Colour::red;
    KIV_FIELDS(c, x, s, colour)
};

struct Sample {
    Position position;
    std::string text;
    KIV_VERSIONED(position, text)
};

static_assert(itcSizeOnWire<int>() == 4);
static_assert(itcSizeOnWire<Position>() == 8 + 8 + 2 + 1);

struct Failing : itcXNDR {
    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b; }
    itcNDRSend& to_external(itcNDRSend& b) const override { return b << static_cast<const char*>(nullptr); }
};

TEST(SizeOnWire, OfNumbersIsTheirSize)
{
    EXPECT_EQ(itcSizeOnWire<bool>(), 1U);
    EXPECT_EQ(itcSizeOnWire<std::int64_t>(), 8U);
    EXPECT_EQ(itcSizeOnWire<Colour>(), 1U);
    EXPECT_EQ(itcSizeOnWire<std::chrono::nanoseconds>(), 8U);
}

TEST(SizeOnWire, CountsTheGapsInside)
{
    EXPECT_EQ((itcSizeOnWire<std::pair<char, double>>()), 16U);
    EXPECT_EQ((itcSizeOnWire<std::array<std::pair<int, char>, 3>>()), 8U + 8U + 5U);
    EXPECT_EQ((itcSizeOnWire<std::array<double, 0>>()), 0U);
    EXPECT_EQ(itcSizeOnWire<int[2][3]>(), 24U);
}

TEST(SizeOnWire, OfAValueIsThatOfItsType)
{
    EXPECT_EQ(itcSizeOnWire(Position()), itcSizeOnWire<Position>());
    EXPECT_EQ(itcSizeOnWire(std::pair<char, double>()), 16U);
}

TEST(SizeOnWire, OfAValueOfVariableSizeIsCounted)
{
    EXPECT_EQ(itcSizeOnWire("abc"s), 4U + 4U);
    EXPECT_EQ(itcSizeOnWire(std::vector<double>{1, 2}), 8U + 16U);
    EXPECT_EQ(itcSizeOnWire(std::vector<double>()), 4U);
    EXPECT_EQ(itcSizeOnWire(Sample{{}, "ab"}), 4U + 4U + 8U + 2U + 1U + 1U + 4U + 3U);
    EXPECT_EQ(itcSizeOnWire(std::tuple<>()), 0U);
}

TEST(SizeOnWire, OfAValueIsWhatAPacketGrowsByAtAMultipleOfEight)
{
    OpenSend b;
    b.insert("123456", 6, false);
    b << Sample{{}, "abcdef"};
    EXPECT_EQ(itcSizeOnWire(Sample{{}, "abcdef"}), b.raw_length() - 8);
}

TEST(SizeOnWire, OfWhatCannotBePutIsZero) { EXPECT_EQ(itcSizeOnWire(std::vector<Failing>(1)), 0U); }

TEST(SizeOnWire, WithoutMemoryIsZero)
{
    OsFaults::malloc().instead = [](size_t) -> void* { return nullptr; };
    const size_t size = itcSizeOnWire(7);
    OsFaults::malloc().clear();
    EXPECT_EQ(size, 0U);
}

} // namespace
