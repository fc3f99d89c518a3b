// Packets of machines with the other byte order, and with VAX numbers. For each kind: the companion gives what the
// library's own takes give one by one.
#include "Everything.h"
#include "StatusMatchers.h"

#include <numeric>

namespace {

class ForeignOrder : public testing::TestWithParam<Sender> {
protected:
    /// The packet gives this value, and nothing is left of the packet.
    template <class T> static void expectTaken(const Wire& w, const T& expected)
    {
        ExactReceive b(w.data);
        T value{};
        b >> value;
        EXPECT_THAT(b, HasClearStatus());
        EXPECT_TRUE(value == expected);
        EXPECT_EQ(b.position(), static_cast<std::ptrdiff_t>(w.data.size()));
    }

    /// Puts the value and expects the same value back. It has no floating-point number.
    template <class T> void expectBack(const T& value)
    {
        Wire w(GetParam());
        w.put(value);
        expectTaken(w, value);
    }

    /// Numbers behind a count, taken by the library's own takes.
    template <class Number> static std::vector<Number> oneByOne(const Wire& w)
    {
        ExactReceive b(w.data);
        unsigned int count = 0;
        b >> count;
        std::vector<Number> numbers(count);
        for (Number& number : numbers)
            b >> number;
        EXPECT_THAT(b, HasClearStatus());
        return numbers;
    }

    template <class Number> void expectNumbersAsOneByOne(const std::vector<Number>& numbers)
    {
        Wire w(GetParam());
        w.put(numbers);
        expectTaken(w, oneByOne<Number>(w));
    }
};

TEST_P(ForeignOrder, OfIntegers)
{
    expectBack(std::int64_t{-5'000'000'000});
    expectBack(std::uint64_t{0x0102030405060708});
    expectNumbersAsOneByOne<short>({1, -2, 0x0102});
    expectNumbersAsOneByOne<unsigned short>({0xFFFE, 0x0102});
    expectNumbersAsOneByOne<int>({1, -2, 0x01020304});
    expectNumbersAsOneByOne<unsigned int>({0xFFFFFFFE, 0x01020304});
    expectNumbersAsOneByOne<long long>({1, -2, 0x0102030405060708});
    expectNumbersAsOneByOne<unsigned long long>({~0ULL, 0x0102030405060708});
    expectNumbersAsOneByOne<signed char>({1, -2});
}

TEST_P(ForeignOrder, OfFloatingPointNumbers)
{
    expectNumbersAsOneByOne<float>({0.0F, -0.0F, 1.0F, -3.14159F, 1e38F, 1e-38F});
    expectNumbersAsOneByOne<double>({0.0, -0.0, 1.0, -3.14159, 1e300, 1e-300, 1e-40});
}

TEST_P(ForeignOrder, OfEnumerationsAndBytes)
{
    enum class Wide : std::int16_t { some = 0x0102 };
    expectBack(Wide::some);
    expectBack(Wide(0x0304)); // no enumerator has this value
    expectBack(Colour::green);
    expectBack(std::byte{0xFE});
}

TEST_P(ForeignOrder, OfTimes)
{
    expectBack(std::chrono::milliseconds(0x010203));
    expectBack(std::chrono::duration<std::int16_t>(0x0102));
    expectBack(std::chrono::system_clock::time_point(std::chrono::system_clock::duration(0x01020304050607)));
    Wire w(GetParam());
    w.put(std::chrono::duration<double>(1.5));
    expectTaken(w, std::chrono::duration<double>(asRead(1.5, GetParam())));
}

TEST_P(ForeignOrder, OfTexts)
{
    expectBack(std::string("text"));
    expectBack(std::filesystem::path("/tmp/file"));
    Wire w(GetParam());
    w.put("view");
    ExactReceive b(w.data);
    std::string_view view;
    b >> view;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(view, "view");
}

TEST_P(ForeignOrder, OfATextForAnArrayOfCharacters)
{
    Wire w(GetParam());
    w.all("abc", "longer");
    ExactReceive b(w.data);
    char text[5];
    b >> itcText(text);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_STREQ(text, "abc");
    b >> itcText(text);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Warning));
    EXPECT_STREQ(text, "long");
}

TEST_P(ForeignOrder, OfABlock)
{
    Wire w(GetParam());
    w.count(3);
    w.data += "abc";
    ExactReceive b(w.data);
    char area[8] = {};
    unsigned int length = 0;
    b >> itcBytes(area, sizeof area, length);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(std::string(area, length), "abc");
}

TEST_P(ForeignOrder, OfArrays)
{
    expectBack(std::array<std::int16_t, 3>{1, 0x0102, -3});
    expectBack(std::array<std::string, 2>{"a", "bc"});
    std::array<std::int64_t, 100> many;
    std::iota(many.begin(), many.end(), 0x0102030405);
    expectBack(many);
    Wire w(GetParam());
    w.put(std::array<float, 2>{0.5F, 1.5F});
    expectTaken(w, std::array<float, 2>{asRead(0.5F, GetParam()), asRead(1.5F, GetParam())});
}

TEST_P(ForeignOrder, OfSequences)
{
    expectBack(std::vector<bool>{true, false, true});
    expectBack(std::vector<std::string>{"a", "bc"});
    expectBack(std::deque<std::int64_t>{1, 0x0102030405});
    expectBack(std::list<short>{1, 0x0102});
    expectBack(std::vector<std::vector<short>>{{1, 2}, {}, {0x0102}});
    expectBack(std::vector<Colour>{Colour::green, Colour::red});
}

TEST_P(ForeignOrder, OfSets)
{
    expectBack(std::set<std::int32_t>{1, 0x01020304});
    expectBack(std::multiset<std::string>{"a", "a"});
    expectBack(std::unordered_set<std::int64_t>{0x0102030405});
    expectBack(std::unordered_multiset<short>{0x0102, 0x0102});
}

TEST_P(ForeignOrder, OfMaps)
{
    expectBack(std::map<std::int32_t, std::string>{{1, "a"}, {0x01020304, "b"}});
    expectBack(std::multimap<short, short>{{1, 2}, {1, 0x0102}});
    expectBack(std::unordered_map<std::string, std::int64_t>{{"key", 0x0102030405}});
    expectBack(std::unordered_multimap<short, bool>{{0x0102, true}, {0x0102, true}});
}

TEST_P(ForeignOrder, OfOptionals)
{
    expectBack(std::optional<std::int32_t>(0x01020304));
    expectBack(std::optional<std::int32_t>());
}

TEST_P(ForeignOrder, OfPairsAndTuples)
{
    expectBack(std::pair<char, std::int32_t>('p', 0x01020304));
    expectBack(std::tuple<bool, std::string, std::int16_t>(true, "t", 0x0102));
}

TEST_P(ForeignOrder, OfVariants)
{
    using Variant = std::variant<std::monostate, std::int16_t, std::string>;
    expectBack(Variant());
    expectBack(Variant(std::int16_t{0x0102}));
    expectBack(Variant("text"));
}

TEST_P(ForeignOrder, OfRecords)
{
    Wire w(GetParam());
    w.all(sampleLeaf(thisMachine, 1));
    expectTaken(w, sampleLeaf(GetParam(), 1));
}

TEST_P(ForeignOrder, OfVersionedRecords)
{
    Wire w(GetParam());
    w.put(sampleBranch(thisMachine));
    expectTaken(w, sampleBranch(GetParam()));
}

TEST_P(ForeignOrder, OfEverything)
{
    Wire w(GetParam());
    w.put(sampleOf(thisMachine));
    expectTaken(w, sampleOf(GetParam()));
}

/// Numbers only: they are taken in one step.
struct Numbers {
    char character;
    double real;
    short half;
    float single;
    std::int64_t whole;
    float singles[3];
    KIV_FIELDS(character, real, half, single, whole, singles)
};

TEST_P(ForeignOrder, OfNumbersIsWhatTheLibrarysTakesGive)
{
    Wire w(GetParam());
    w.all('c', 1.5, short{0x0102}, 2.5F, 0x0102030405060708, -1.0F, 0.25F, 1e-30F);
    Numbers expected = {};
    long long whole = 0;
    ExactReceive one(w.data);
    one >> expected.character >> expected.real >> expected.half >> expected.single >> whole;
    for (float& single : expected.singles)
        one >> single;
    expected.whole = whole;
    EXPECT_THAT(one, HasClearStatus());
    expectTaken(w, expected);
}

INSTANTIATE_TEST_SUITE_P(Senders, ForeignOrder,
                         testing::Values(thisMachine, otherOrder, vaxOfThisOrder, vaxOfOtherOrder));

// Codes that no known machine has. The library reverses the bytes for every other byte order. The library does not
// convert unknown floating-point formats.
TEST(UnknownFormat, IsTakenAsTheLibraryTakesIt)
{
    const int own = itcNDR::ndr_endian;
    for (const int endian : {own, own ^ 1, 7, 15})
        for (const int floats : {2, 3, 255}) {
            Wire w;
            w.data = bytes({endian << 4 | 5, floats});
            w.all(std::vector<double>{1.5, -2.5});
            w.data.replace(4, 4, endian == own ? word(2) : reversed(word(2)));
            ExactReceive one(w.data);
            unsigned int count = 0;
            double numbers[2] = {};
            one >> count >> numbers[0] >> numbers[1];
            EXPECT_EQ(count, 2u);
            ExactReceive b(w.data);
            std::vector<double> taken;
            b >> taken;
            EXPECT_THAT(b, HasClearStatus());
            EXPECT_EQ(bytesOf(taken.at(0)), bytesOf(numbers[0]));
            EXPECT_EQ(bytesOf(taken.at(1)), bytesOf(numbers[1]));
            EXPECT_EQ(b.position(), one.position());
        }
}

} // namespace
