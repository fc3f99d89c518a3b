// Records: their bytes, comparisons, ways to describe them, and how deep they may lie in one another.
#include "ValueProbe.h"

#include <sstream>

namespace {

using namespace std::literals;

enum class Colour : std::uint8_t { red = 1, blue = 2 };

struct Sample {
    long long at = 0;
    double celsius = 0;
    std::string place;
    std::vector<float> raw;
    KIV_FIELDS(at, celsius, place, raw)
};

struct Numbers {
    char c = 0;
    int i = 0;
    Colour colour = Colour::red;
    double d = 0;
    short s = 0;
    bool b = false;
    KIV_FIELDS(c, i, colour, d, s, b)
};

struct Label {
    char text[8] = "";
    int number = 0;
    KIV_FIELDS(text, number)
};

struct Nested {
    char c = 0;
    Numbers numbers;
    Sample sample;
    std::vector<Label> labels;
    KIV_FIELDS(c, numbers, sample, labels)
};

const Sample cellar{1, 21.5, "cellar", {1, 2}};

// ---- Bytes

TEST(Record, OfNumbersIsItsFieldsOneByOne)
{
    expectTravelsAs(Numbers{'c', 1, Colour::blue, 2.5, 3, true}, 'c', 1, static_cast<unsigned char>(2), 2.5, short(3),
                    true);
}

TEST(Record, OfVariableSizeIsItsFieldsOneByOne) { expectTravelsAs(cellar, 1LL, 21.5, "cellar", 2u, 1.0f, 2.0f); }

TEST(Record, WithAnArrayOfCharactersHasATextThere) { expectTravelsAs(Label{"ab", 1}, "ab", 1); }

TEST(Record, InARecordAddsNothing)
{
    const Numbers numbers{'n', 1, Colour::red, 2, 3, false};
    expectTravelsAs(Nested{'c', numbers, cellar, {{"ab", 1}, {"", 2}}}, 'c', numbers, cellar, 2u, "ab", 1, "", 2);
}

TEST(Record, InContainersIsAnElement)
{
    const Label a{"a", 1}, b{"b", 2};
    expectTravelsAs(std::vector<Label>{a, b}, 2u, a, b);
    expectTravelsAs(std::array<Label, 2>{a, b}, a, b);
    expectTravelsAs(std::optional<Label>(a), true, a);
    expectTravelsAs(std::map<std::string, Label>{{"k", a}}, 1u, "k", a);
    expectTravelsAs(std::set<Label>{b, a}, 2u, a, b);
    expectTravelsAs(std::pair<Label, char>(a, 'c'), a, 'c');
    expectTravelsAs(std::variant<int, Label>(a), 1u, a);
}

TEST(Record, OfTheOtherByteOrderIsTakenAsItsFieldsAre)
{
    const std::string data = packet(bytesOfPuts('c', 0x01020304, 'e', 1.5, short(0x0506), true), 0x00);
    OpenReceive one(data), whole(data);
    Numbers expected, record;
    one >> expected.c >> expected.i >> expected.colour >> expected.d >> expected.s >> expected.b;
    whole >> record;
    EXPECT_THAT(whole, HasClearStatus());
    EXPECT_EQ(record, expected);
    EXPECT_EQ(record.i, 0x04030201);
}

TEST(Record, OfTheOtherFloatFormatIsTakenAsItsFieldsAre)
{
    for (const int label0 : {0x10, 0x00}) {
        const std::string data = packet(bytesOfPuts('c', 7, 'e', 1.5, short(2), true), label0, 1);
        OpenReceive one(data), whole(data);
        Numbers expected, record;
        one >> expected.c >> expected.i >> expected.colour >> expected.d >> expected.s >> expected.b;
        whole >> record;
        EXPECT_THAT(whole, HasClearStatus());
        EXPECT_EQ(bytesOf(record.d), bytesOf(expected.d));
        EXPECT_EQ(record.i, expected.i);
        EXPECT_EQ(record.s, expected.s);
    }
}

TEST(Record, IsStillAnAggregate)
{
    EXPECT_TRUE(std::is_aggregate_v<Sample>);
    EXPECT_TRUE(std::is_trivially_copyable_v<Numbers>);
}

TEST(Record, KeepsItsLayout)
{
    struct Plain {
        char c;
        int i;
        Colour colour;
        double d;
        short s;
        bool b;
    };
    EXPECT_EQ(sizeof(Numbers), sizeof(Plain));
}

// ---- Comparisons

TEST(RecordComparison, EqualWhenAllFieldsAre)
{
    Sample other = cellar;
    EXPECT_TRUE(cellar == other);
    EXPECT_FALSE(cellar != other);
    EXPECT_FALSE(cellar < other);
}

TEST(RecordComparison, EveryFieldCounts)
{
    Sample at = cellar, celsius = cellar, place = cellar, raw = cellar;
    at.at = 2;
    celsius.celsius = 0;
    place.place = "roof";
    raw.raw.push_back(0);
    for (const Sample& other : {at, celsius, place, raw}) {
        EXPECT_FALSE(cellar == other);
        EXPECT_TRUE(cellar != other);
    }
}

TEST(RecordComparison, TheFirstFieldThatDiffersDecides)
{
    const Sample less{1, 9, "a", {}}, more{2, 0, "", {}};
    EXPECT_TRUE(less < more);
    EXPECT_FALSE(more < less);
    EXPECT_TRUE((Sample{1, 1, "a", {}}) < (Sample{1, 1, "b", {}}));
    EXPECT_TRUE((Sample{1, 1, "a", {1}}) < (Sample{1, 1, "a", {1, 0}}));
}

TEST(RecordComparison, ArraysOfCharactersAreTexts)
{
    Label a{"ab", 1}, b{"ab", 1};
    a.text[4] = 'x';
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a < b);
    b.text[1] = 'c';
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(b < a);
}

struct Grid {
    int cells[2][2] = {};
    std::optional<Label> label;
    std::pair<int, std::string> pair;
    KIV_FIELDS(cells, label, pair)
};

TEST(RecordComparison, LooksIntoArraysOptionalsAndPairs)
{
    Grid a, b;
    EXPECT_EQ(a, b);
    b.cells[1][1] = 1;
    EXPECT_TRUE(a < b);
    b = a;
    b.label = Label{"x", 1};
    EXPECT_TRUE(a < b);
    EXPECT_TRUE(a != b);
    b = a;
    b.pair.second = "x";
    EXPECT_TRUE(a < b);
}

// ---- Where a record may stand

namespace plant {

struct Valve {
    int number = 0;
    KIV_FIELDS(number)

    struct State {
        bool open = false;
        KIV_FIELDS(open)
    };
    State state; // not in the list
};

template <class T> struct Boxed {
    T value{};
    KIV_FIELDS(value)
};

} // namespace plant

TEST(RecordInANamespace, IsPutComparedAndPrinted)
{
    expectTravelsAs(plant::Valve{7, {}}, 7);
    std::ostringstream out;
    out << plant::Valve{7, {}};
    EXPECT_EQ(out.str(), "{number: 7}");
}

TEST(RecordInARecord, IsPutComparedAndPrinted)
{
    expectTravelsAs(plant::Valve::State{true}, true);
    std::ostringstream out;
    out << plant::Valve::State{true};
    EXPECT_EQ(out.str(), "{open: true}");
}

TEST(RecordField, OutsideTheListDoesNotTravelAndIsNotCompared)
{
    EXPECT_EQ((plant::Valve{7, {true}}), (plant::Valve{7, {false}}));
    OpenReceive r(packet(bytesOfPuts(plant::Valve{8, {false}})));
    plant::Valve valve{7, {true}};
    r >> valve;
    EXPECT_EQ(valve.number, 8);
    EXPECT_TRUE(valve.state.open);
}

TEST(RecordTemplate, IsARecord)
{
    expectTravelsAs(plant::Boxed<int>{3}, 3);
    expectTravelsAs(plant::Boxed<std::string>{"abc"}, "abc");
    std::ostringstream out;
    out << plant::Boxed<int>{3};
    EXPECT_EQ(out.str(), "{value: 3}");
}

struct Base {
    int base = 0;
    KIV_FIELDS(base)
};

struct Derived : Base {
    int more = 0;
    KIV_FIELDS(base, more)
};

TEST(DerivedRecord, TravelsWithItsOwnList)
{
    Derived value;
    value.base = 1;
    value.more = 2;
    expectTravelsAs(value, 1, 2);
}

TEST(DerivedRecord, IsPrintedWithItsOwnList)
{
    EXPECT_TRUE(kiv::isStreamable<Derived>); // false as well when the call is ambiguous
    std::ostringstream out;
    out << itcPrinted(Derived());
    EXPECT_EQ(out.str(), "{base: 0, more: 0}");
}

// ---- Descriptions from outside

namespace vendor {

struct Point {
    short x;
    int y;
    char name[4];
};

constexpr auto itcFieldsOf(const Point*)
{
    return std::tuple(itcField("x", &Point::x), itcField("y", &Point::y), itcField("name", &Point::name));
}

struct Grown {
    int first = 1;
    int second = 2;
};

constexpr auto itcVersionedFieldsOf(const Grown*)
{
    return std::tuple(itcField("first", &Grown::first), itcField("second", &Grown::second));
}

} // namespace vendor

struct WithPoint {
    char c = 0;
    vendor::Point point{};
    KIV_FIELDS(c, point)
};

TEST(RecordFromOutside, IsItsFieldsOneByOne)
{
    EXPECT_EQ(bytesOfPuts(vendor::Point{1, 2, "ab"}), bytesOfPuts(short(1), 2, "ab"));
}

TEST(RecordFromOutside, IsTaken)
{
    OpenReceive r(packet(bytesOfPuts(short(1), 2, "ab")));
    vendor::Point point{};
    r >> point;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(point.x, 1);
    EXPECT_EQ(point.y, 2);
    EXPECT_STREQ(point.name, "ab");
}

TEST(RecordFromOutside, IsAFieldThatIsComparedAndPrinted)
{
    const WithPoint value{'c', {1, 2, "ab"}};
    expectTravelsAs(value, 'c', short(1), 2, "ab");
    EXPECT_FALSE(value == (WithPoint{'c', {1, 3, "ab"}}));
    EXPECT_EQ(testing::PrintToString(value), "{c: \"c\", point: {x: 1, y: 2, name: \"ab\"}}");
}

struct WithPoints {
    std::map<std::string, vendor::Point> points;
    std::variant<int, vendor::Point> either;
    KIV_FIELDS(points, either)
};

TEST(RecordFromOutside, IsComparedInsideOfAMapAndOfAVariant)
{
    const WithPoints value{{{"a", {1, 2, "x"}}}, vendor::Point{3, 4, "y"}};
    EXPECT_EQ(value, (WithPoints{{{"a", {1, 2, "x"}}}, vendor::Point{3, 4, "y"}}));
    EXPECT_NE(value, (WithPoints{{{"a", {1, 9, "x"}}}, vendor::Point{3, 4, "y"}}));
    EXPECT_NE(value, (WithPoints{{{"a", {1, 2, "x"}}}, vendor::Point{3, 9, "y"}}));
    EXPECT_NE(value, (WithPoints{{{"a", {1, 2, "x"}}}, 3}));
    EXPECT_LT(value, (WithPoints{{{"a", {1, 2, "x"}}}, vendor::Point{3, 5, "y"}}));
    EXPECT_LT((WithPoints{{{"a", {1, 2, "x"}}}, 3}), value);
}

TEST(RecordFromOutside, MayBeVersioned)
{
    EXPECT_EQ(bytesOfPuts(vendor::Grown{3, 4}), bytesOfPuts(8u, 3, 4));
    OpenReceive r(packet(bytesOfPuts(4u, 3)));
    vendor::Grown value{7, 8};
    r >> value;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(value.first, 3);
    EXPECT_EQ(value.second, 2);
}

// ---- Many fields

struct Sixtyfour {
    int a0 = 0, a1 = 1, a2 = 2, a3 = 3, a4 = 4, a5 = 5, a6 = 6, a7 = 7;
    char b0 = 0, b1 = 1, b2 = 2, b3 = 3, b4 = 4, b5 = 5, b6 = 6, b7 = 7;
    double c0 = 0, c1 = 1, c2 = 2, c3 = 3, c4 = 4, c5 = 5, c6 = 6, c7 = 7;
    std::string d0 = "0", d1 = "1", d2 = "2", d3 = "3", d4 = "4", d5 = "5", d6 = "6", d7 = "7";
    bool e0 = false, e1 = true, e2 = false, e3 = true, e4 = false, e5 = true, e6 = false, e7 = true;
    short f0 = 0, f1 = 1, f2 = 2, f3 = 3, f4 = 4, f5 = 5, f6 = 6, f7 = 7;
    Colour g0 = Colour::red, g1 = g0, g2 = g0, g3 = g0, g4 = g0, g5 = g0, g6 = g0, g7 = g0;
    float h0 = 0, h1 = 1, h2 = 2, h3 = 3, h4 = 4, h5 = 5, h6 = 6, h7 = 7;
    KIV_FIELDS(a0, a1, a2, a3, a4, a5, a6, a7, b0, b1, b2, b3, b4, b5, b6, b7, c0, c1, c2, c3, c4, c5, c6, c7, d0, d1,
               d2, d3, d4, d5, d6, d7, e0, e1, e2, e3, e4, e5, e6, e7, f0, f1, f2, f3, f4, f5, f6, f7, g0, g1, g2, g3,
               g4, g5, g6, g7, h0, h1, h2, h3, h4, h5, h6, h7)
};

TEST(RecordOf64Fields, IsItsFieldsOneByOne)
{
    const Sixtyfour r;
    expectTravelsAs(r, r.a0, r.a1, r.a2, r.a3, r.a4, r.a5, r.a6, r.a7, r.b0, r.b1, r.b2, r.b3, r.b4, r.b5, r.b6, r.b7,
                    r.c0, r.c1, r.c2, r.c3, r.c4, r.c5, r.c6, r.c7, r.d0, r.d1, r.d2, r.d3, r.d4, r.d5, r.d6, r.d7,
                    r.e0, r.e1, r.e2, r.e3, r.e4, r.e5, r.e6, r.e7, r.f0, r.f1, r.f2, r.f3, r.f4, r.f5, r.f6, r.f7,
                    r.g0, r.g1, r.g2, r.g3, r.g4, r.g5, r.g6, r.g7, r.h0, r.h1, r.h2, r.h3, r.h4, r.h5, r.h6, r.h7);
}

// ---- Depth

struct Tree {
    std::vector<Tree> branches;
    KIV_FIELDS(branches)
};

struct VersionedTree {
    std::vector<VersionedTree> branches;
    KIV_VERSIONED(branches)
};

template <class Node> class RecursiveRecord : public testing::Test {
protected:
    static Node ofLevels(int levels)
    {
        Node node;
        for (; levels > 1; --levels) {
            Node around;
            around.branches.push_back(std::move(node));
            node = std::move(around);
        }
        return node;
    }

    static int levelsOf(const Node& node) { return node.branches.empty() ? 1 : 1 + levelsOf(node.branches.front()); }
};
using Recursive = testing::Types<Tree, VersionedTree>;
TYPED_TEST_SUITE(RecursiveRecord, Recursive);

TYPED_TEST(RecursiveRecord, Travels64LevelsDeep)
{
    OpenSend b;
    b << this->ofLevels(64);
    ASSERT_THAT(b, HasClearStatus());
    OpenReceive r(b.data());
    TypeParam back;
    r >> back;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(this->levelsOf(back), 64);
}

TYPED_TEST(RecursiveRecord, IsNotPut65LevelsDeep)
{
    OpenSend b;
    b << 'c' << this->ofLevels(65);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
    EXPECT_EQ(b.values(), "c");
}

TEST(RecursiveRecordOfAPeer, IsNotTaken65LevelsDeep)
{
    OpenSend b;
    for (int level = 1; level < 65; ++level)
        b << 1u;
    b << 0u;
    OpenReceive r(b.data());
    Tree tree{{Tree()}};
    r >> tree;
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
    EXPECT_TRUE(tree.branches.empty());
    EXPECT_EQ(r.position(), 2);
}

TEST(RecursiveRecordOfAPeer, IsNotTakenAMillionLevelsDeep)
{
    OpenSend b;
    for (int level = 1; level < 1000000; ++level)
        b << 1u;
    b << 0u;
    OpenReceive r(b.data());
    Tree tree;
    r >> tree;
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
    EXPECT_TRUE(tree.branches.empty());
}

// ---- Texts that are cut

struct Cut {
    int before = 0;
    char text[4] = "";
    std::string whole;
    char second[4] = "";
    int behind = 0;
    KIV_FIELDS(before, text, whole, second, behind)
};

TEST(RecordWithATextThatIsCut, HasAllOtherFields)
{
    OpenReceive r(packet(bytesOfPuts(1, "abcdef", "whole", "xy", 2)));
    Cut record;
    r >> record;
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Warning));
    EXPECT_EQ(record, (Cut{1, "abc", "whole", "xy", 2}));
}

TEST(RecordWithATextThatIsCut, StopsNoFurtherRecord)
{
    OpenReceive r(packet(bytesOfPuts(1, "abcdef", "whole", "xy", 2, cellar, 3)));
    Cut record;
    Sample sample;
    int number = 0;
    r >> record >> sample >> number;
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Warning));
    EXPECT_EQ(sample, cellar);
    EXPECT_EQ(number, 3);
}

struct Badge : itcXNDR {
    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b >> itcText(text) >> number; }
    itcNDRSend& to_external(itcNDRSend& b) const override { return b << text << number; }

    char text[4] = "";
    int number = 0;
};

struct WithBadge {
    int before = 0;
    Badge badge;
    int behind = 0;
    KIV_FIELDS(before, badge, behind)
};

TEST(RecordWithATextThatIsCut, MayHaveTheTextInAFieldThatTakesItself)
{
    OpenReceive r(packet(bytesOfPuts(1, "abcdef", 2, 3)));
    WithBadge record;
    r >> record;
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Warning));
    EXPECT_EQ(record.before, 1);
    EXPECT_STREQ(record.badge.text, "abc");
    EXPECT_EQ(record.badge.number, 2);
    EXPECT_EQ(record.behind, 3);
}

TEST(RecordWithATextThatIsCut, StopsNoFieldThatTakesItself)
{
    OpenReceive r(packet(bytesOfPuts("abcdef", 1, "ab", 2, 3)));
    char text[4];
    WithBadge record;
    r >> itcText(text) >> record;
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Warning));
    EXPECT_STREQ(record.badge.text, "ab");
    EXPECT_EQ(record.behind, 3);
}

} // namespace
