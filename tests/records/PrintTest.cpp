// How values are printed for traces and tests.
#include "ValueProbe.h"

#include <iomanip>
#include <sstream>

namespace {

using namespace std::literals;

enum class Colour : std::uint8_t { red = 1, blue = 200 };

struct Sample {
    long long at = 0;
    double celsius = 0;
    std::string place;
    std::vector<float> raw;
    KIV_FIELDS(at, celsius, place, raw)
};

struct Nested {
    Sample sample;
    char name[4] = "ab";
    std::optional<int> number;
    KIV_VERSIONED(sample, name, number)
};

struct Hidden : itcXNDR {
    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b; }
    itcNDRSend& to_external(itcNDRSend& b) const override { return b; }
};

struct Shown : Hidden {
    friend std::ostream& operator<<(std::ostream& out, const Shown&) { return out << "shown"; }
};

struct Outside {
    int x = 1;
    std::string y = "why";
};
constexpr auto itcFieldsOf(const Outside*)
{
    return std::tuple(itcField("x", &Outside::x), itcField("y", &Outside::y));
}

template <class T> std::string printed(const T& value)
{
    std::ostringstream out;
    out << itcPrinted(value);
    return out.str();
}

TEST(PrintedRecord, NamesItsFields)
{
    std::ostringstream out;
    out << Sample{1, 21.5, "cellar", {1, 2}};
    EXPECT_EQ(out.str(), R"({at: 1, celsius: 21.5, place: "cellar", raw: [1, 2]})");
}

TEST(PrintedRecord, InARecordIsPrintedInside)
{
    std::ostringstream out;
    out << Nested{{1, 2, "", {}}, "ab", {}};
    EXPECT_EQ(out.str(), R"({sample: {at: 1, celsius: 2, place: "", raw: []}, name: "ab", number: none})");
}

TEST(PrintedRecord, IsPrintedByTheTests)
{
    EXPECT_EQ(testing::PrintToString(Sample()), R"({at: 0, celsius: 0, place: "", raw: []})");
    EXPECT_EQ(testing::PrintToString(std::vector<Sample>(1)), R"({ {at: 0, celsius: 0, place: "", raw: []} })");
}

TEST(PrintedRecord, ReturnsTheStream)
{
    std::ostringstream out;
    EXPECT_EQ(&(out << Sample()), &out);
    EXPECT_EQ(&(out << itcPrinted(7)), &out);
}

TEST(PrintedRecord, FromOutsideIsPrintedByItsName) { EXPECT_EQ(printed(Outside()), R"({x: 1, y: "why"})"); }

TEST(PrintedNumber, IsANumber)
{
    EXPECT_EQ(printed(-5), "-5");
    EXPECT_EQ(printed(std::int8_t{65}), "65");
    EXPECT_EQ(printed(std::uint8_t{200}), "200");
    EXPECT_EQ(printed(std::byte{200}), "200");
    EXPECT_EQ(printed(Colour::blue), "200");
    EXPECT_EQ(printed(2.5), "2.5");
    EXPECT_EQ(printed(true), "true");
    EXPECT_EQ(printed(false), "false");
}

TEST(PrintedNumber, HasTheSettingsOfTheStream)
{
    std::ostringstream out;
    out << std::hex << itcPrinted(std::vector<int>{255, 16}) << std::fixed << std::setprecision(2) << itcPrinted(1.5);
    EXPECT_EQ(out.str(), "[ff, 10]1.50");
}

TEST(PrintedText, IsQuoted)
{
    EXPECT_EQ(printed("ab"s), R"("ab")");
    EXPECT_EQ(printed("ab"sv), R"("ab")");
    EXPECT_EQ(printed('a'), R"("a")");
    EXPECT_EQ(printed(std::filesystem::path("/a b")), R"("/a b")");
}

TEST(PrintedText, ShowsBytesThatAreNoCharacters) { EXPECT_EQ(printed("a\n\0\x1b[\x7f"s), R"("a\x0a\x00\x1b[\x7f")"); }

TEST(PrintedText, MarksQuotesAndBackslashes) { EXPECT_EQ(printed(R"(a"b\c)"s), R"("a\"b\\c")"); }

TEST(PrintedText, InAnArrayOfCharactersEndsAtItsZero)
{
    const char text[8] = "ab\0cd";
    const char full[2] = {'a', 'b'};
    EXPECT_EQ(printed(text), R"("ab")");
    EXPECT_EQ(printed(full), R"("ab")");
}

TEST(PrintedContainer, ListsItsElements)
{
    EXPECT_EQ(printed(std::vector<int>{1, 2}), "[1, 2]");
    EXPECT_EQ(printed(std::vector<bool>{true, false}), "[true, false]");
    EXPECT_EQ(printed(std::array<std::string, 2>{"a", "b"}), R"(["a", "b"])");
    EXPECT_EQ(printed(std::set<int>{2, 1}), "[1, 2]");
    EXPECT_EQ(printed(std::list<int>()), "[]");
    EXPECT_EQ(printed(std::map<std::string, int>{{"a", 1}, {"b", 2}}), R"({"a": 1, "b": 2})");
    EXPECT_EQ(printed(std::vector<std::vector<int>>{{1}, {}}), "[[1], []]");
}

TEST(PrintedContainer, OfRecordsPrintsTheRecords)
{
    EXPECT_EQ(printed(std::vector<Outside>(2)), R"([{x: 1, y: "why"}, {x: 1, y: "why"}])");
}

TEST(PrintedOptional, IsItsValueOrNone)
{
    EXPECT_EQ(printed(std::optional<int>(7)), "7");
    EXPECT_EQ(printed(std::optional<int>()), "none");
}

TEST(PrintedTuple, IsInParentheses)
{
    EXPECT_EQ(printed(std::pair<int, std::string>(1, "a")), R"((1, "a"))");
    EXPECT_EQ(printed(std::tuple<>()), "()");
}

TEST(PrintedVariant, IsItsValue) { EXPECT_EQ(printed(std::variant<int, std::string>("a")), R"("a")"); }

TEST(PrintedTime, IsItsCount)
{
    EXPECT_EQ(printed(std::chrono::milliseconds(5)), "5");
    EXPECT_EQ(printed(std::chrono::system_clock::time_point()), "0");
}

TEST(PrintedHostValue, PrintsItselfIfItCan)
{
    EXPECT_EQ(printed(std::vector<Shown>(1)), "[shown]");
    EXPECT_EQ(printed(std::vector<Hidden>(1)), "[...]");
}

} // namespace
