// The description of types as JSON: every word, for each kind.
#include "ValueProbe.h"

namespace {

enum class Colour : std::uint8_t { red = 1 };

struct Sample {
    std::int64_t at = 0;
    std::string place;
    std::vector<float> raw;
    KIV_FIELDS(at, place, raw)
};

struct Versioned {
    Sample sample;
    char name[8] = "";
    KIV_VERSIONED(sample, name)
};

struct Tree {
    int value = 0;
    std::vector<Tree> branches;
    KIV_FIELDS(value, branches)
};

struct Twice {
    Tree first, second;
    KIV_FIELDS(first, second)
};

namespace vendor {
struct Point {
    short x, y;
};
constexpr auto itcFieldsOf(const Point*) { return std::tuple(itcField("x", &Point::x), itcField("why", &Point::y)); }
} // namespace vendor

struct Host : itcXNDR {
    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b; }
    itcNDRSend& to_external(itcNDRSend& b) const override { return b; }
};

const std::string sample = R"({"type":"record","record":"Sample","fields":[{"name":"at","type":"int64"},)"
                           R"({"name":"place","type":"text"},)"
                           R"({"name":"raw","type":"sequence","of":{"type":"float32"}}]})";

template <class T> void expectType(const std::string& name)
{
    EXPECT_EQ(itcDescribe<T>(), R"({"type":")" + name + R"("})");
}

TEST(DescribedNumber, HasANameThatIsTheSameOnAllMachines)
{
    expectType<bool>("bool");
    expectType<char>("char");
    expectType<std::int8_t>("int8");
    expectType<std::uint8_t>("uint8");
    expectType<std::int16_t>("int16");
    expectType<std::uint16_t>("uint16");
    expectType<std::int32_t>("int32");
    expectType<std::uint32_t>("uint32");
    expectType<std::int64_t>("int64");
    expectType<std::uint64_t>("uint64");
    expectType<long long>("int64");
    expectType<unsigned long long>("uint64");
    expectType<float>("float32");
    expectType<double>("float64");
}

TEST(DescribedEnumeration, HasItsNumberAndItsName)
{
    EXPECT_EQ(itcDescribe<Colour>(), R"({"type":"uint8","enumeration":"Colour"})");
}

TEST(DescribedText, IsAText)
{
    expectType<std::string>("text");
    expectType<std::string_view>("text");
    expectType<std::filesystem::path>("text");
}

TEST(DescribedText, InAnArrayHasTheMostCharacters) { EXPECT_EQ(itcDescribe<char[8]>(), R"({"type":"text","most":7})"); }

TEST(DescribedContainer, HasTheTypeOfItsElements)
{
    EXPECT_EQ((itcDescribe<std::array<int, 3>>()), R"({"type":"array","count":3,"of":{"type":"int32"}})");
    EXPECT_EQ(itcDescribe<short[2]>(), R"({"type":"array","count":2,"of":{"type":"int16"}})");
    EXPECT_EQ(itcDescribe<std::vector<bool>>(), R"({"type":"sequence","of":{"type":"bool"}})");
    EXPECT_EQ(itcDescribe<std::deque<char>>(), R"({"type":"sequence","of":{"type":"char"}})");
    EXPECT_EQ(itcDescribe<std::list<char>>(), R"({"type":"sequence","of":{"type":"char"}})");
    EXPECT_EQ(itcDescribe<std::set<int>>(), R"({"type":"set","of":{"type":"int32"}})");
    EXPECT_EQ(itcDescribe<std::unordered_multiset<int>>(), R"({"type":"set","of":{"type":"int32"}})");
    EXPECT_EQ((itcDescribe<std::map<std::string, int>>()),
              R"({"type":"map","key":{"type":"text"},"of":{"type":"int32"}})");
    EXPECT_EQ(itcDescribe<std::optional<int>>(), R"({"type":"optional","of":{"type":"int32"}})");
}

TEST(DescribedTuple, HasTheTypesOfItsParts)
{
    EXPECT_EQ((itcDescribe<std::pair<int, std::string>>()),
              R"({"type":"tuple","of":[{"type":"int32"},{"type":"text"}]})");
    EXPECT_EQ(itcDescribe<std::monostate>(), R"({"type":"tuple","of":[]})");
}

TEST(DescribedVariant, HasTheTypesOfItsAlternatives)
{
    EXPECT_EQ((itcDescribe<std::variant<std::monostate, int>>()),
              R"({"type":"variant","of":[{"type":"tuple","of":[]},{"type":"int32"}]})");
}

TEST(DescribedTime, HasItsNumberAndItsUnit)
{
    EXPECT_EQ(itcDescribe<std::chrono::nanoseconds>(),
              R"({"type":"duration","of":{"type":"int64"},"seconds":"1/1000000000"})");
    EXPECT_EQ((itcDescribe<std::chrono::duration<float, std::ratio<60>>>()),
              R"({"type":"duration","of":{"type":"float32"},"seconds":"60/1"})");
    EXPECT_EQ((itcDescribe<std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>>()),
              R"({"type":"time","of":{"type":"int64"},"seconds":"1/1000"})");
}

TEST(DescribedRecord, HasItsNameAndItsFields) { EXPECT_EQ(itcDescribe<Sample>(), sample); }

TEST(DescribedRecord, WithVersionsHasTheNumberOfItsFields)
{
    EXPECT_EQ(itcDescribe<Versioned>(),
              R"({"type":"record","record":"Versioned","version":2,"fields":[{"name":"sample",)" + sample.substr(1) +
                  R"(,{"name":"name","type":"text","most":7}]})");
}

TEST(DescribedRecord, InsideOfItselfIsOnlyNamed)
{
    EXPECT_EQ(itcDescribe<Tree>(), R"({"type":"record","record":"Tree","fields":[{"name":"value","type":"int32"},)"
                                   R"({"name":"branches","type":"sequence","of":{"type":"record","record":"Tree"}}]})");
}

TEST(DescribedRecord, BesideItselfIsDescribedAgain)
{
    const std::string tree = itcDescribe<Tree>().substr(1);
    EXPECT_EQ(itcDescribe<Twice>(), R"({"type":"record","record":"Twice","fields":[{"name":"first",)" + tree +
                                        R"(,{"name":"second",)" + tree + "]}");
}

TEST(DescribedRecord, FromOutsideHasTheNamesItWasGiven)
{
    EXPECT_EQ(
        itcDescribe<vendor::Point>(),
        R"({"type":"record","record":"Point","fields":[{"name":"x","type":"int16"},{"name":"why","type":"int16"}]})");
}

TEST(DescribedHostValue, HasItsName) { EXPECT_EQ(itcDescribe<Host>(), R"({"type":"host","host":"Host"})"); }

} // namespace
