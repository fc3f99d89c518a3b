// Each kind of value on the plain buffers: its bytes on the wire, and the way back.
#include "ValueProbe.h"

namespace {

using namespace std::literals;

// ---- Numbers

template <class Value> class FixedWidthInteger : public testing::Test {};
using FixedWidthIntegers =
    testing::Types<std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t, std::uint32_t, std::int64_t,
                   std::uint64_t, std::int_least8_t, std::uint_least8_t, std::int_least16_t, std::uint_least16_t,
                   std::int_least32_t, std::uint_least32_t, std::int_least64_t, std::uint_least64_t, std::int_fast8_t,
                   std::uint_fast8_t, std::int_fast16_t, std::uint_fast16_t, std::int_fast32_t, std::uint_fast32_t,
                   std::int_fast64_t, std::uint_fast64_t, std::intmax_t, std::uintmax_t, std::intptr_t, std::uintptr_t,
                   std::size_t, std::ptrdiff_t, std::conditional_t<sizeof(long) == 8, long, int>,
                   std::conditional_t<sizeof(long) == 8, unsigned long, int>>;
TYPED_TEST_SUITE(FixedWidthInteger, FixedWidthIntegers);

TYPED_TEST(FixedWidthInteger, IsItsBytesInMemoryAtAMultipleOfItsSize)
{
    for (unsigned int before = 0; before < 8; ++before) {
        OpenSend b(64);
        std::memset(b.writePos, 0xEE, 40);
        b.insert("pppppppp", static_cast<int>(before), false);
        b << countingValue<TypeParam>();

        const size_t gap = (sizeof(TypeParam) - (2 + before) % sizeof(TypeParam)) % sizeof(TypeParam);
        EXPECT_EQ(b.values(), std::string(before, 'p') + std::string(gap, '\0') + countingBytes(sizeof(TypeParam)));
    }
}

TYPED_TEST(FixedWidthInteger, IsTakenAsItWasPut)
{
    OpenSend b;
    b << 'p' << countingValue<TypeParam>() << std::numeric_limits<TypeParam>::min();
    OpenReceive r(b.data());
    char before = 0;
    TypeParam counting = 0, least = 1;
    r >> before >> counting >> least;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(counting, countingValue<TypeParam>());
    EXPECT_EQ(least, std::numeric_limits<TypeParam>::min());
}

TYPED_TEST(FixedWidthInteger, IsReversedWhenThePeerHasTheOtherByteOrder)
{
    OpenSend b;
    b << countingValue<TypeParam>();
    OpenReceive r(packet(b.values(), 0x00));
    TypeParam value = 0;
    r >> value;
    EXPECT_EQ(bytesOf(value), reversed(countingBytes(sizeof value)));
}

TEST(ByteValue, IsOneByte) { expectTravelsAs(std::byte{0xC3}, static_cast<unsigned char>(0xC3)); }

// ---- Enumerations

enum class Colour : std::uint8_t { red = 1, blue = 0xFE };
enum class Huge : std::int64_t { low = -2 };
enum class Scoped { one = 1 };
enum class Letter : char { a = 'a' };
enum class Answer : bool { no, yes };
enum Unfixed { unfixedOne = 1, unfixedLarge = 70000 };
enum Short : std::int16_t { shortOne = 1 };

TEST(EnumerationValue, TravelsAsItsUnderlyingType)
{
    expectTravelsAs(Colour::blue, static_cast<unsigned char>(0xFE));
    expectTravelsAs(Huge::low, -2LL);
    expectTravelsAs(Scoped::one, 1);
    expectTravelsAs(Letter::a, 'a');
    expectTravelsAs(Answer::yes, true);
}

TEST(EnumerationValue, UnscopedTravelsAsItsUnderlyingTypeToo)
{
    expectTravelsAs(shortOne, short(1));
    expectTravelsAs(unfixedLarge, static_cast<std::underlying_type_t<Unfixed>>(70000));
}

TEST(EnumerationValue, WithoutANameIsTakenAsItIs)
{
    OpenReceive r(packet(bytes({0x77})));
    Colour colour{};
    r >> colour;
    EXPECT_EQ(static_cast<int>(colour), 0x77);
    EXPECT_THAT(r, HasClearStatus());
}

TEST(EnumerationValue, OfBoolTakesEveryOtherByteAsTrue)
{
    OpenReceive r(packet(bytes({0x80})));
    Answer answer = Answer::no;
    r >> answer;
    EXPECT_EQ(answer, Answer::yes);
}

// ---- Texts

TEST(TextValue, TravelsAsTheLibrarysText) { expectTravelsAs("abc"s, "abc"); }

TEST(TextValue, EmptyIsOneZeroByte) { expectTravelsAs(std::string(), ""); }

TEST(TextValue, KeepsAZeroInside) { expectTravelsAs("a\0b"s, 4u, 'a', '\0', 'b', '\0'); }

TEST(TextValue, KeepsManyZerosAtTheEnd) { expectTravelsAs(std::string(3, '\0'), 4u, '\0', '\0', '\0', '\0'); }

TEST(TextValue, IsReadIntoAnArrayOfCharacters)
{
    OpenSend b;
    b << "abc"s;
    OpenReceive r(b.data());
    char text[8] = "zzzzzzz";
    r >> text;
    EXPECT_STREQ(text, "abc");
    EXPECT_THAT(r, HasClearStatus());
}

TEST(TextValue, ReadsATextOfAnArrayOfCharacters)
{
    OpenSend b;
    const char text[8] = "abc";
    b << text;
    OpenReceive r(b.data());
    std::string back = "longer than the text";
    r >> back;
    EXPECT_EQ(back, "abc");
}

TEST(TextValue, IsTakenWithoutAZeroAtTheEnd)
{
    OpenReceive r(packet("\0\0"s + word(3) + "abc"));
    std::string text;
    r >> text;
    EXPECT_EQ(text, "abc");
    EXPECT_THAT(r, HasClearStatus());
}

TEST(TextValue, OfLengthZeroIsEmpty)
{
    OpenReceive r(packet("\0\0"s + word(0)));
    std::string text = "old";
    r >> text;
    EXPECT_EQ(text, "");
    EXPECT_THAT(r, HasClearStatus());
}

TEST(ViewValue, IsPutAsAText) { EXPECT_EQ(bytesOfPuts("abcdef"sv.substr(1, 3)), bytesOfPuts("bcd")); }

TEST(ViewValue, PointsIntoThePacket)
{
    OpenReceive r(packet("\0\0"s + word(4) + "abc\0"s));
    std::string_view view;
    r >> view;
    EXPECT_EQ(view, "abc");
    EXPECT_EQ(view.data(), r.raw_data() + 8);
}

TEST(PathValue, TravelsAsAText) { expectTravelsAs(std::filesystem::path("/a/b.c"), "/a/b.c"); }

TEST(PathValue, EmptyTravels) { expectTravelsAs(std::filesystem::path(), ""); }

// ---- Arrays

TEST(ArrayValue, IsItsElementsWithoutACount)
{
    expectTravelsAs(std::array<int, 3>{1, 2, 3}, 1, 2, 3);
    expectTravelsAs(std::array<bool, 2>{true, false}, true, false);
    expectTravelsAs(std::array<std::string, 2>{"a", "bc"}, "a", "bc");
    expectTravelsAs(std::array<std::array<short, 2>, 2>{{{1, 2}, {3, 4}}}, short(1), short(2), short(3), short(4));
}

TEST(ArrayValue, WithoutElementsHasNoBytes) { expectTravelsAs(std::array<double, 0>()); }

TEST(ArrayValue, OfAThousandNumbersIsTheirBytes)
{
    std::array<double, 1000> values;
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<double>(i) / 7;
    OpenSend oneByOne;
    for (const double value : values)
        oneByOne << value;
    OpenSend whole;
    whole << values;
    EXPECT_EQ(whole.data(), oneByOne.data());
    OpenReceive r(whole.data());
    std::array<double, 1000> back;
    r >> back;
    EXPECT_EQ(back, values);
}

TEST(ArrayValue, OfTheLanguageIsItsElements)
{
    const int values[3] = {1, 2, 3};
    EXPECT_EQ(bytesOfPuts(values), bytesOfPuts(1, 2, 3));
}

TEST(ArrayValue, OfTheLanguageIsTaken)
{
    OpenReceive r(packet(bytesOfPuts(1, 2, 3, 4)));
    int values[2][2] = {};
    r >> values;
    EXPECT_EQ(values[0][0], 1);
    EXPECT_EQ(values[0][1], 2);
    EXPECT_EQ(values[1][0], 3);
    EXPECT_EQ(values[1][1], 4);
    EXPECT_THAT(r, HasClearStatus());
}

TEST(ArrayValue, OfTextsInArraysIsTheirTexts)
{
    const char names[2][4] = {"ab", "xyz"};
    EXPECT_EQ(bytesOfPuts(names), bytesOfPuts("ab", "xyz"));
    OpenReceive r(packet(bytesOfPuts("ab", "xyz")));
    char back[2][4] = {"...", "..."};
    r >> back;
    EXPECT_STREQ(back[0], "ab");
    EXPECT_STREQ(back[1], "xyz");
}

// ---- Sequences

TEST(VectorValue, IsACountAndItsElements)
{
    expectTravelsAs(std::vector<int>{1, 2, 3}, 3u, 1, 2, 3);
    expectTravelsAs(std::vector<double>{1.5, -2}, 2u, 1.5, -2.0);
    expectTravelsAs(std::vector<char>{'a', 'b'}, 2u, 'a', 'b');
    expectTravelsAs(std::vector<std::int64_t>{7}, 1u, 7LL);
}

TEST(VectorValue, EmptyIsACountOfZeroAndNoGap)
{
    expectTravelsAs(std::vector<double>(), 0u);
    expectTravelsAs(std::vector<std::string>(), 0u);
}

TEST(VectorValue, OfBoolIsOneBytePerElement)
{
    expectTravelsAs(std::vector<bool>{true, false, true}, 3u, true, false, true);
}

TEST(VectorValue, OfBoolTakesEveryOtherByteAsTrue)
{
    OpenReceive r(packet("\0\0"s + word(2) + bytes({0x80, 0})));
    std::vector<bool> values;
    r >> values;
    EXPECT_EQ(values, (std::vector<bool>{true, false}));
}

TEST(VectorValue, OfTextsIsACountAndTheTexts)
{
    expectTravelsAs(std::vector<std::string>{"a", "", "bcd"}, 3u, "a", "", "bcd");
}

TEST(VectorValue, OfVectorsHasACountForEach)
{
    expectTravelsAs(std::vector<std::vector<short>>{{1}, {}, {2, 3}}, 3u, 1u, short(1), 0u, 2u, short(2), short(3));
}

TEST(VectorValue, OfEnumerationsIsTheirNumbers)
{
    expectTravelsAs(std::vector<Colour>{Colour::red, Colour::blue}, 2u, static_cast<unsigned char>(1),
                    static_cast<unsigned char>(0xFE));
    expectTravelsAs(std::vector<Answer>{Answer::yes, Answer::no}, 2u, true, false);
}

TEST(VectorValue, OfTimesIsTheirCounts)
{
    using Milliseconds = std::chrono::duration<std::int32_t, std::milli>;
    expectTravelsAs(std::vector<Milliseconds>{Milliseconds(1), Milliseconds(-2)}, 2u, 1, -2);
}

TEST(VectorValue, ReplacesWhatTheTargetHad)
{
    OpenReceive r(packet(bytesOfPuts(1u, 7)));
    std::vector<int> values{1, 2, 3};
    r >> values;
    EXPECT_EQ(values, std::vector<int>{7});
}

TEST(VectorValue, OfBytesIsTheLibrarysBinaryData)
{
    EXPECT_EQ(bytesOfPuts(std::vector<char>{'a', '\0', 'b'}), bytesOfPuts(binary("a\0b"s)));
}

TEST(DequeValue, IsACountAndItsElements)
{
    expectTravelsAs(std::deque<int>{1, 2}, 2u, 1, 2);
    expectTravelsAs(std::deque<bool>{true}, 1u, true);
}

TEST(ListValue, IsACountAndItsElements) { expectTravelsAs(std::list<std::string>{"a", "b"}, 2u, "a", "b"); }

// ---- Sets, maps

TEST(SetValue, IsACountAndItsKeysInTheirOrder)
{
    expectTravelsAs(std::set<int>{3, 1, 2}, 3u, 1, 2, 3);
    expectTravelsAs(std::set<std::string>(), 0u);
    expectTravelsAs(std::multiset<int>{2, 1, 2}, 3u, 1, 2, 2);
}

TEST(SetValue, UnorderedIsACountAndItsKeys)
{
    expectTravelsAs(std::unordered_set<std::string>{"a"}, 1u, "a");
    expectTravelsAs(std::unordered_multiset<int>{5, 5}, 2u, 5, 5);
}

TEST(SetValue, UnorderedWithManyKeysComesBack)
{
    std::unordered_set<int> keys;
    for (int key = 0; key < 100; ++key)
        keys.insert(key * key);
    OpenSend b;
    b << keys;
    OpenReceive r(b.data());
    std::unordered_set<int> back{-1};
    r >> back;
    EXPECT_EQ(back, keys);
}

TEST(MapValue, IsACountThenKeyAndValueInTurn)
{
    expectTravelsAs(std::map<std::string, int>{{"b", 2}, {"a", 1}}, 2u, "a", 1, "b", 2);
    expectTravelsAs(std::multimap<int, bool>{{1, true}, {1, false}}, 2u, 1, true, 1, false);
    expectTravelsAs(std::map<int, std::vector<int>>{{1, {2, 3}}}, 1u, 1, 2u, 2, 3);
}

TEST(MapValue, UnorderedIsACountThenKeyAndValueInTurn)
{
    expectTravelsAs(std::unordered_map<int, std::string>{{1, "a"}}, 1u, 1, "a");
    expectTravelsAs(std::unordered_multimap<int, int>{{1, 2}, {1, 2}}, 2u, 1, 2, 1, 2);
}

TEST(MapValue, ReplacesWhatTheTargetHad)
{
    OpenReceive r(packet(bytesOfPuts(1u, 7, 8)));
    std::map<int, int> values{{1, 2}};
    r >> values;
    EXPECT_EQ(values, (std::map<int, int>{{7, 8}}));
}

// ---- Optionals, tuples, variants

TEST(OptionalValue, IsABoolAndTheValueIfThereIsOne)
{
    expectTravelsAs(std::optional<int>(7), true, 7);
    expectTravelsAs(std::optional<int>(), false);
    expectTravelsAs(std::optional<std::string>("a"), true, "a");
    expectTravelsAs(std::optional<std::optional<bool>>(std::optional<bool>()), true, false);
}

TEST(OptionalValue, WithoutValueRemovesTheValueOfTheTarget)
{
    OpenReceive r(packet(bytesOfPuts(false)));
    std::optional<std::string> value = "old";
    r >> value;
    EXPECT_EQ(value, std::nullopt);
}

TEST(TupleValue, IsItsParts)
{
    expectTravelsAs(std::pair<char, double>('c', 2.5), 'c', 2.5);
    expectTravelsAs(std::tuple<short, std::string, int>(short(1), "a", 2), short(1), "a", 2);
    expectTravelsAs(std::tuple<>());
    expectTravelsAs(std::monostate());
}

TEST(VariantValue, IsTheNumberOfTheAlternativeAndItsValue)
{
    using Variant = std::variant<std::monostate, int, std::string>;
    expectTravelsAs(Variant(), 0u);
    expectTravelsAs(Variant(7), 1u, 7);
    expectTravelsAs(Variant("a"), 2u, "a");
}

TEST(VariantValue, ChangesTheAlternativeOfTheTarget)
{
    OpenReceive r(packet(bytesOfPuts(0u, 7)));
    std::variant<int, std::string> value = "old";
    r >> value;
    EXPECT_EQ(std::get<int>(value), 7);
}

TEST(VariantValue, AtTheEndOfThePacketMayHaveFewerBytesThanItsNumber)
{
    using Variant = std::variant<int, std::string, char, std::monostate>;
    for (const Variant& value : {Variant('c'), Variant(std::monostate())}) {
        OpenReceive r(packet(bytesOfPuts(value)));
        Variant back;
        r >> back;
        EXPECT_THAT(r, HasClearStatus()) << value.index();
        EXPECT_EQ(back, value);
    }
}

struct Breaking {
    Breaking() = default;
    explicit Breaking(int number) { throw number; }
    std::vector<std::string> texts;
    KIV_FIELDS(texts)
};

TEST(VariantValue, WithoutItsValueIsNotPut)
{
    std::variant<int, Breaking> value;
    EXPECT_ANY_THROW(value.emplace<Breaking>(1));
    ASSERT_TRUE(value.valueless_by_exception());
    OpenSend b;
    b << 'c' << value;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    EXPECT_EQ(b.values(), "c");
}

// ---- Times

TEST(DurationValue, IsItsCount)
{
    expectTravelsAs(std::chrono::nanoseconds(-5), -5LL);
    expectTravelsAs(std::chrono::duration<float>(1.5f), 1.5f);
    expectTravelsAs(std::chrono::duration<std::uint8_t>(7), static_cast<unsigned char>(7));
}

TEST(TimePointValue, IsTheCountSinceTheEpochOfItsClock)
{
    using Clock = std::chrono::system_clock;
    const std::chrono::time_point<Clock, std::chrono::milliseconds> time(std::chrono::milliseconds(123456789));
    expectTravelsAs(time, 123456789LL);
}

// ---- Areas

TEST(BytesValue, TravelAsTheLibrarysBinaryData)
{
    EXPECT_EQ(bytesOfPuts(itcBytes("a\0b", 3)), bytesOfPuts(binary("a\0b"s)));
}

TEST(BytesValue, NullWithoutBytesIsACountOfZero) { EXPECT_EQ(bytesOfPuts(itcBytes(nullptr, 0)), bytesOfPuts(0u)); }

TEST(BytesValue, NullWithASizeIsNotPut)
{
    OpenSend b;
    b << 'c' << itcBytes(nullptr, 3);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    EXPECT_EQ(b.values(), "c");
}

TEST(CharactersValue, IsPutUpToItsZero)
{
    char text[8] = "ab\0cd";
    EXPECT_EQ(bytesOfPuts(itcText(text)), bytesOfPuts("ab"));
}

TEST(CharactersValue, WithoutAZeroIsPutWhole)
{
    char text[2] = {'a', 'b'};
    EXPECT_EQ(bytesOfPuts(itcText(text)), bytesOfPuts("ab"));
}

TEST(CharactersValue, NullIsNotPut)
{
    OpenSend b;
    b << 'c' << itcText(nullptr, 3);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    EXPECT_EQ(b.values(), "c");
}

TEST(CharactersValue, OfSizeZeroIsNotPut)
{
    char text[1] = "";
    OpenSend b;
    b << 'c' << itcText(text, 0);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    EXPECT_EQ(b.values(), "c");
}

// ---- Values with operators of their own

struct Point : itcXNDR {
    Point() = default;
    Point(short px, int py) : x(px), y(py) {}
    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b >> x >> y; }
    itcNDRSend& to_external(itcNDRSend& b) const override { return b << x << y; }
    bool operator==(const Point& other) const { return x == other.x && y == other.y; }

    short x = 0;
    int y = 0;
};

TEST(HostValue, InAContainerPutsItself)
{
    expectTravelsAs(std::vector<Point>{{1, 2}, {3, 4}}, 2u, short(1), 2, short(3), 4);
    expectTravelsAs(std::optional<Point>(Point(1, 2)), true, short(1), 2);
    expectTravelsAs(std::map<int, Point>{{7, {1, 2}}}, 1u, 7, short(1), 2);
}

struct WithHosts {
    char before = 0;
    Point point;
    std::string behind;
    KIV_FIELDS(before, point, behind)
};

TEST(HostValue, InARecordPutsItself) { expectTravelsAs(WithHosts{'c', {1, 2}, "end"}, 'c', short(1), 2, "end"); }

struct WithHeader {
    char before = 0;
    itcMsgHdr header;
    int behind = 0;
    KIV_FIELDS(before, header, behind)
};

TEST(HostValue, TheMessageHeaderIsAField)
{
    const itcMsgHdr header(1, itcMsgHdr::itcMsgType(2), "abc", "de", 3, 4, 5, 6);
    const WithHeader value{'c', header, 7};
    EXPECT_EQ(bytesOfPuts(value), bytesOfPuts('c', header, 7));

    OpenReceive r(packet(bytesOfPuts(value)));
    WithHeader back;
    r >> back;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(back.header.number, 1);
    EXPECT_STREQ(back.header.text2, "de");
    EXPECT_EQ(back.header.value4, 6);
    EXPECT_EQ(back.behind, 7);
}

} // namespace
