// Packets with values of the companion's kinds. The companion reads the stored values on every machine, and writes the
// stored bytes. The library alone does the same, value by value: a host without the companion understands the packets.
#include "../ndr/UbProbe.h"
#include "GoldenMachines.h"
#include "GoldenMeanings.h"

#include <kiv/companion.h>

namespace {

// Both come back from VAX as they were.
constexpr double aDouble = -0x1.92000abcde7d1p+1;
constexpr double otherDouble = -0x1.7e000987657d1p-7;

enum class Colour : std::uint8_t { green = 2 };

struct Inner {
    short number = 0;
    std::string text;
    double real = 0;
    KIV_FIELDS(number, text, real)
};

struct Versioned {
    char character = 0;
    std::int32_t number = 0;
    std::string text;
    KIV_VERSIONED(character, number, text)
};

/// The values of a packet, in the order of RECORDS in make_packets.
struct Stored {
    char first = 0;
    std::int64_t int64 = 0;
    Colour colour = {};
    std::byte byte = {};
    std::int16_t int16 = 0;
    std::string text;
    std::string_view view;
    std::filesystem::path path;
    char characters[8] = {};
    std::chrono::duration<std::int64_t, std::milli> duration = {};
    std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<std::int64_t>> time = {};
    std::chrono::duration<double> realDuration = {};
    std::array<short, 3> array = {};
    float floats[2] = {};
    std::vector<std::int32_t> numbers;
    std::vector<std::int32_t> none;
    std::vector<bool> truths;
    std::vector<double> reals;
    std::vector<std::string> texts;
    std::deque<std::uint16_t> deque;
    std::list<float> list;
    std::set<std::int32_t> set;
    std::unordered_set<std::string> unorderedSet;
    std::map<std::string, std::int32_t> map;
    std::multimap<short, std::int64_t> multimap;
    std::unordered_map<std::int32_t, float> unorderedMap;
    std::optional<std::int32_t> some;
    std::optional<std::int32_t> nothing;
    std::pair<char, std::int32_t> pair = {};
    std::tuple<bool, std::string, double> tuple = {};
    std::variant<std::monostate, std::int32_t, std::string> third;
    std::variant<std::monostate, std::int32_t> empty;
    Inner inner;
    Versioned versioned;
    std::vector<Versioned> versions;
    KIV_FIELDS(first, int64, colour, byte, int16, text, view, path, characters, duration, time, realDuration, array,
               floats, numbers, none, truths, reals, texts, deque, list, set, unorderedSet, map, multimap, unorderedMap,
               some, nothing, pair, tuple, third, empty, inner, versioned, versions)
};

/// Returns the number as this process keeps it: as a VAX number where the format codes say that.
template <class Number> Number kept(Number number)
{
    if (itcNDR::ndr_float == 1)
        (sizeof number == 4 ? Itc_itof : Itc_itod)(&number);
    return number;
}

Stored stored()
{
    Stored s;
    s.first = 'a';
    s.int64 = -5'000'000'000;
    s.colour = Colour::green;
    s.byte = std::byte{0xFE};
    s.int16 = -2;
    s.text = "text";
    s.view = "\x80 view";
    s.path = "/tmp/file";
    std::strcpy(s.characters, "chars");
    s.duration = std::chrono::milliseconds(1500);
    s.time = decltype(s.time)(std::chrono::seconds(1'700'000'000));
    s.realDuration = std::chrono::duration<double>(kept(aDouble));
    s.array = {1, -2, 3};
    s.floats[0] = kept(1.5F);
    s.floats[1] = kept(-0.25F);
    s.numbers = {1, -2, 0x7FFFFFFF};
    s.truths = {true, false, true};
    s.reals = {kept(otherDouble), kept(aDouble)};
    s.texts = {"", "one"};
    s.deque = {0xABCD, 1};
    s.list = {kept(2.0F)};
    s.set = {-1, 7};
    s.unorderedSet = {"key"};
    s.map = {{"a", 1}, {"bc", -2}};
    s.multimap = {{short{5}, std::numeric_limits<std::int64_t>::max()}, {short{5}, -1}};
    s.unorderedMap = {{3, kept(0.5F)}};
    s.some = 11;
    s.pair = {'p', 12};
    s.tuple = {true, "t", kept(otherDouble)};
    s.third = "third";
    s.inner = {-3, "inner", kept(aDouble)};
    s.versioned = {'v', 13, "last"};
    s.versions = {{'w', 14, ""}, {'x', 15, "end"}};
    return s;
}

const std::string block("\x00\xff\x80", 3);

template <class Buffer> void putStored(Buffer& b)
{
    b << stored() << itcBytes(block.data(), block.size()) << 'z';
    EXPECT_THAT(b, HasClearStatus());
}

template <class Buffer> void expectStored(Buffer& b)
{
    Stored taken;
    char area[8];
    unsigned int length = 0;
    char last = 0;
    b >> taken;
    EXPECT_THAT(b, HasClearStatus());
    b >> itcBytes(area, sizeof area, length);
    EXPECT_THAT(b, HasClearStatus());
    b >> last;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(taken, stored());
    EXPECT_EQ(std::string(area, length), block);
    EXPECT_EQ(last, 'z');
    EXPECT_EQ(b.pending_length(), 0u);
}

class GoldenRecords : public testing::TestWithParam<Kind> {
protected:
    GoldenPacket packet = GoldenPacket::ofKind(std::string("records-") + GetParam().name);
    StreamPair pair;
};

class GoldenRecordsRead : public GoldenRecords {};

TEST_P(GoldenRecordsRead, GiveTheirValuesToTheCompanion)
{
    pair.farSends(packet.frame);
    itcNDRReceive b;
    pair.near() >> b;
    expectStored(b);
}

TEST_P(GoldenRecordsRead, GiveTheirValuesToTheCompanionFromAResumableBuffer)
{
    pair.farSends(packet.frame);
    itcNdrUbReceive b(0);
    ASSERT_EQ(pair.near() >> b, 0u);
    expectStored(b);
}

TEST_P(GoldenRecordsRead, GiveTheirValuesToTheLibraryAlone)
{
    pair.farSends(packet.frame);
    itcNDRReceive b;
    pair.near() >> b;
    visit(packet.lines, Taker(b));
    EXPECT_EQ(b.pending_length(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Of, GoldenRecordsRead, allKinds, nameOf);

class GoldenRecordsWritten : public GoldenRecords {
protected:
    FormatCodes codes{GetParam().endian, GetParam().floats, 0};
};

TEST_P(GoldenRecordsWritten, ByTheCompanionAreTheSameByteForByte)
{
    itcNDRSend b;
    putStored(b);
    pair.near() << b;
    EXPECT_TRUE(isTheFrameOf(packet, sentThrough(pair, packet.frame.size() + 1)));
}

TEST_P(GoldenRecordsWritten, ByTheCompanionAreTheSameFromAResumableBuffer)
{
    itcNdrUbSend b(0);
    putStored(b);
    EXPECT_EQ(pair.near() << b, 0u);
    EXPECT_TRUE(isTheFrameOf(packet, sentThrough(pair, packet.frame.size() + 1)));
}

TEST_P(GoldenRecordsWritten, ByTheLibraryAloneAreTheSameByteForByte)
{
    itcNDRSend b;
    visit(packet.lines, Putter(b));
    pair.near() << b;
    EXPECT_TRUE(isTheFrameOf(packet, sentThrough(pair, packet.frame.size() + 1)));
}

INSTANTIATE_TEST_SUITE_P(By, GoldenRecordsWritten, kindsOfThisOrder, nameOf);

} // namespace
