// The four conversions of floating-point formats. The words lie in memory with the least significant byte first.
#include <kiv/ndr/itcNDR.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <array>
#include <cstdint>
#include <cstring>

namespace {

uint32_t converted(void (*convert)(void*), uint32_t value)
{
    convert(&value);
    return value;
}

using Bytes = std::array<unsigned, 8>;

struct DoubleWords {
    uint32_t w0, w1;
};

// Returns the eight bytes as numbers, in the order of their addresses.
Bytes vaxOf(DoubleWords words)
{
    unsigned char raw[8];
    std::memcpy(raw, &words, sizeof raw);
    Itc_itod(raw);
    Bytes bytes;
    for (size_t i = 0; i < 8; ++i)
        bytes[i] = raw[i];
    return bytes;
}

DoubleWords ieeeOf(const Bytes& bytes)
{
    unsigned char raw[8];
    for (size_t i = 0; i < 8; ++i)
        raw[i] = static_cast<unsigned char>(bytes[i]);
    Itc_dtoi(raw);
    DoubleWords words;
    std::memcpy(&words, raw, sizeof words);
    return words;
}

struct SingleCase {
    const char* what;
    uint32_t from, to;
};

struct DoubleCase {
    const char* what;
    DoubleWords ieee;
    Bytes vax;
};

void PrintTo(const SingleCase& c, std::ostream* out) { *out << c.what; }

void PrintTo(const DoubleCase& c, std::ostream* out) { *out << c.what; }

class IeeeToVaxSingle : public testing::TestWithParam<SingleCase> {};

TEST_P(IeeeToVaxSingle, MovesTheFields)
{
    EXPECT_EQ(converted(Itc_itof, GetParam().from), GetParam().to) << std::hex << GetParam().from;
}

INSTANTIATE_TEST_SUITE_P(Table, IeeeToVaxSingle,
                         testing::Values(SingleCase{"infinity is the maximum", 0x000001FE, 0xFFFEFFFF},
                                         SingleCase{"minus infinity", 0x000001FF, 0xFFFFFFFF},
                                         SingleCase{"zero", 0x00000000, 0x00000000},
                                         SingleCase{"minus zero", 0x00000001, 0x00010000},
                                         SingleCase{"e 127 becomes 129", 0x000000FE, 0x01020000},
                                         SingleCase{"all of m", 0xFFFFFEFE, 0xFF02FFFF},
                                         SingleCase{"lowest bit of m", 0x000002FE, 0x01020001},
                                         SingleCase{"m's bit 16 goes to bit 25", 0x020000FE, 0x03020000},
                                         SingleCase{"e 254 wraps to 0", 0x000003FC, 0x00000001},
                                         SingleCase{"e 255 with m wraps to 1", 0x000003FE, 0x00020001},
                                         SingleCase{"e 0 with m", 0x00000200, 0x00040001},
                                         SingleCase{"sign goes to bit 16", 0x000000FF, 0x01030000}));

class VaxToIeeeSingle : public testing::TestWithParam<SingleCase> {};

TEST_P(VaxToIeeeSingle, MovesTheFields)
{
    EXPECT_EQ(converted(Itc_ftoi, GetParam().from), GetParam().to) << std::hex << GetParam().from;
}

INSTANTIATE_TEST_SUITE_P(Table, VaxToIeeeSingle,
                         testing::Values(SingleCase{"the maximum is infinity", 0xFFFEFFFF, 0x000001FE},
                                         SingleCase{"minus the maximum", 0xFFFFFFFF, 0x000001FF},
                                         SingleCase{"zero", 0x00000000, 0x00000000},
                                         SingleCase{"minus zero", 0x00010000, 0x00000001},
                                         SingleCase{"e 129 becomes 127", 0x01020000, 0x000000FE},
                                         SingleCase{"all of m", 0xFF02FFFF, 0xFFFFFEFE},
                                         SingleCase{"e 0 wraps to 254", 0x00000001, 0x000003FC},
                                         SingleCase{"e 1 wraps to 255", 0x00020001, 0x000003FE},
                                         SingleCase{"m1 is above m2", 0x03020000, 0x020000FE},
                                         SingleCase{"sign goes to bit 0", 0x01030000, 0x000000FF}));

TEST(FloatFormats, ASingleComesBackUnlessItsExponentWraps)
{
    for (uint32_t e = 1; e < 253; ++e)
        for (const uint32_t m : {0u, 1u, 0x5A5A5Au, 0x7FFFFFu})
            for (const uint32_t s : {0u, 1u}) {
                const uint32_t value = s | e << 1 | m << 9;
                EXPECT_EQ(converted(Itc_ftoi, converted(Itc_itof, value)), value) << std::hex << value;
            }
}

class IeeeToVaxDouble : public testing::TestWithParam<DoubleCase> {};

TEST_P(IeeeToVaxDouble, MovesTheFields) { EXPECT_EQ(vaxOf(GetParam().ieee), GetParam().vax); }

INSTANTIATE_TEST_SUITE_P(
    Table, IeeeToVaxDouble,
    testing::Values(
        DoubleCase{"the maximum", {0x007FF000, 0}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF}},
        DoubleCase{"minus the maximum", {0x007FF001, 0}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
        DoubleCase{"zero", {0, 0}, {0, 0, 0, 0, 0, 0, 0, 0}},
        DoubleCase{"minus zero", {1, 0}, {0, 0, 0, 0, 0, 0, 0x01, 0}},
        DoubleCase{"e 1023 becomes 129", {0x7FE, 0}, {0, 0, 0, 0, 0, 0, 0x02, 0x01}},
        DoubleCase{"sign goes to byte 6", {0x7FF, 0}, {0, 0, 0, 0, 0, 0, 0x03, 0x01}},
        DoubleCase{"an exponent of ones is no maximum", {0xFFE, 0}, {0, 0, 0, 0, 0, 0, 0x02, 0x01}},
        DoubleCase{"the maximum's pattern with ml is none", {0x007FF000, 0x2000}, {0, 0, 1, 0, 0xF8, 0x3F, 0x04, 0x01}},
        DoubleCase{"e 0 with mh wraps to 130", {0x1000, 0}, {0, 0, 0, 0, 0x08, 0, 0x04, 0x01}},
        DoubleCase{"top of mh", {0x020007FE, 0}, {0, 0, 0, 0, 0, 0, 0x02, 0x03}},
        DoubleCase{"bottom of mh", {0x17FE, 0}, {0, 0, 0, 0, 0x08, 0, 0x02, 0x01}},
        DoubleCase{"top of ml", {0x7FE, 0xE0000000}, {0, 0, 0, 0, 0x07, 0, 0x02, 0x01}},
        DoubleCase{"middle of ml", {0x7FE, 0x2000}, {0, 0, 0x01, 0, 0, 0, 0x02, 0x01}},
        DoubleCase{"bits 3 to 12 of ml are dropped", {0x7FE, 0x1FF8}, {0, 0, 0, 0, 0, 0, 0x02, 0x01}},
        DoubleCase{"bits 0 to 2 of ml go to 13 to 15", {0x7FE, 7}, {0, 0xE0, 0, 0, 0, 0, 0x02, 0x01}},
        DoubleCase{"all of m", {0xFFFFF7FF, 0xFFFFFFFF}, {0, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF, 0x03, 0xFF}}));

class VaxToIeeeDouble : public testing::TestWithParam<DoubleCase> {};

TEST_P(VaxToIeeeDouble, MovesTheFields)
{
    const DoubleWords ieee = ieeeOf(GetParam().vax);
    EXPECT_EQ(ieee.w0, GetParam().ieee.w0);
    EXPECT_EQ(ieee.w1, GetParam().ieee.w1);
}

INSTANTIATE_TEST_SUITE_P(
    Table, VaxToIeeeDouble,
    testing::Values(DoubleCase{"the maximum", {0x007FF000, 0}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF}},
                    DoubleCase{"minus the maximum", {0x007FF001, 0}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
                    DoubleCase{"zero", {0, 0}, {0, 0, 0, 0, 0, 0, 0, 0}},
                    DoubleCase{"minus zero", {1, 0}, {0, 0, 0, 0, 0, 0, 0x01, 0}},
                    DoubleCase{"e 129 becomes 1023", {0x7FE, 0}, {0, 0, 0, 0, 0, 0, 0x02, 0x01}},
                    DoubleCase{"sign comes to bit 0", {0x7FF, 0}, {0, 0, 0, 0, 0, 0, 0x03, 0x01}},
                    DoubleCase{"e 0 with m becomes 894", {0x16FC, 0}, {0, 0, 0, 0, 0x08, 0, 0, 0}},
                    DoubleCase{"e 255 becomes 1149", {0x8FA, 0}, {0, 0, 0, 0, 0, 0, 0xFE, 0x01}},
                    DoubleCase{"m1", {0x020007FE, 0}, {0, 0, 0, 0, 0, 0, 0x02, 0x03}},
                    DoubleCase{"m2's high bits", {0x17FE, 0}, {0, 0, 0, 0, 0x08, 0, 0x02, 0x01}},
                    DoubleCase{"m2's low bits", {0x7FE, 0xE0000000}, {0, 0, 0, 0, 0x07, 0, 0x02, 0x01}},
                    DoubleCase{"m3", {0x7FE, 0x1FFFE000}, {0, 0, 0xFF, 0xFF, 0, 0, 0x02, 0x01}},
                    DoubleCase{"m4 is shifted by 3", {0x7FE, 0x1C00}, {0, 0xE0, 0, 0, 0, 0, 0x02, 0x01}},
                    DoubleCase{"m4 without its lowest bits", {0x7FE, 0x1FFF}, {0xFF, 0xFF, 0, 0, 0, 0, 0x02, 0x01}}));

TEST(FloatFormats, ADoubleComesBackWithoutItsLowestBits)
{
    for (uint32_t e = 895; e < 1149; ++e)
        for (const uint32_t w1 : {0u, 0x2000u, 0x5A5A4000u, 0xFFFFE000u}) {
            const DoubleWords value{e << 1 | 0x5A5A5u << 12, w1};
            const DoubleWords back = ieeeOf(vaxOf(value));
            EXPECT_EQ(back.w0, value.w0);
            EXPECT_EQ(back.w1, value.w1);
        }
}

TEST(FloatFormats, BitsThreeToTwelveOfADoubleDoNotComeBack)
{
    const DoubleWords back = ieeeOf(vaxOf({0x7FE, 0x1FF8}));
    EXPECT_EQ(back.w0, 0x7FEu);
    EXPECT_EQ(back.w1, 0u);
}

TEST(FloatFormats, WriteNothingBesideTheValue)
{
    for (void (*const convert)(void*) : {Itc_itof, Itc_ftoi}) {
        unsigned char area[] = {0xAA, 1, 2, 3, 4, 0xBB};
        convert(area + 1); // an odd address is allowed
        EXPECT_EQ(area[0], 0xAA);
        EXPECT_EQ(area[5], 0xBB);
    }
    for (void (*const convert)(void*) : {Itc_itod, Itc_dtoi}) {
        unsigned char area[] = {0xAA, 1, 2, 3, 4, 5, 6, 7, 8, 0xBB};
        convert(area + 1);
        EXPECT_EQ(area[0], 0xAA);
        EXPECT_EQ(area[9], 0xBB);
    }
}

TEST(FloatFormats, HaveUnmangledNames)
{
    EXPECT_EQ(::dlsym(RTLD_DEFAULT, "Itc_itof"), reinterpret_cast<void*>(Itc_itof));
    EXPECT_EQ(::dlsym(RTLD_DEFAULT, "Itc_ftoi"), reinterpret_cast<void*>(Itc_ftoi));
    EXPECT_EQ(::dlsym(RTLD_DEFAULT, "Itc_itod"), reinterpret_cast<void*>(Itc_itod));
    EXPECT_EQ(::dlsym(RTLD_DEFAULT, "Itc_dtoi"), reinterpret_cast<void*>(Itc_dtoi));
}

} // namespace
