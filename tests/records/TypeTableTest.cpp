// The table of types in docs/records.md, row by row, against the code.
#include <kiv/companion.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Row {
    std::string type, put, taken, wireForm, bound;
};

std::string trimmed(const std::string& text)
{
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

/// The names between backticks.
std::vector<std::string> namesIn(const std::string& cell)
{
    std::vector<std::string> names;
    std::istringstream in(cell);
    for (std::string part; std::getline(in, part, '`');)
        if (std::getline(in, part, '`'))
            names.push_back(part);
    return names;
}

/// One row for each type of the table below the header.
std::vector<Row> rowsOf(std::istream&& document)
{
    std::vector<Row> rows;
    bool isInside = false;
    for (std::string line; std::getline(document, line);) {
        if (line == "| Type | Put | Taken | Wire form | Bound |") {
            isInside = true;
        } else if (isInside && line.compare(0, 2, "| ") == 0) {
            std::vector<std::string> cells;
            std::istringstream in(line.substr(1));
            for (std::string cell; std::getline(in, cell, '|');)
                cells.push_back(trimmed(cell));
            cells.resize(5);
            for (const std::string& name : namesIn(cells[0]))
                rows.push_back({name, cells[1], cells[2], cells[3], cells[4]});
        } else if (line.compare(0, 1, "|") != 0) {
            isInside = false;
        }
    }
    return rows;
}

enum class Signal : std::int16_t { stop = 1 };

struct Record {
    char character;
    std::int32_t number;
    KIV_FIELDS(character, number)
};

struct Versioned {
    char character;
    std::int32_t number;
    KIV_VERSIONED(character, number)
};

class HostRecord : public itcXNDR {
public:
    itcNDRSend& to_external(itcNDRSend& b) const override { return b << 1 << 2; }
    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b >> one >> two; }

private:
    int one = 0, two = 0;
};

/// What the code says about a type.
struct Checked {
    bool put, taken;
    std::size_t size;     ///< The bytes of a sample, put at a multiple of 8. 0 for types that are not put.
    std::size_t expected; ///< The bytes that the wire form gives the sample.
};

template <class T, class = void> constexpr bool canBePut = false;
template <class T>
constexpr bool canBePut<T, std::void_t<decltype(std::declval<itcNDRSend&>() << std::declval<const T&>())>> = true;
template <class T, class = void> constexpr bool canBeTaken = false;
template <class T>
constexpr bool canBeTaken<T, std::void_t<decltype(std::declval<itcNDRReceive&>() >> std::declval<T&>())>> = true;

// The operators that refuse a type are there, too: they stop the compiler with a sentence.
template <class T> constexpr bool isRefused = kiv::kindOfOperand<T> == kiv::Kind::refused;

template <class T> Checked sample(const T& value, std::size_t expected)
{
    return {canBePut<T> && !isRefused<T>, canBeTaken<T> && !isRefused<T>, itcSizeOnWire(value), expected};
}

template <class T> Checked number() { return sample(T(), sizeof(T)); }

template <class T> Checked notPut() { return {canBePut<T> && !isRefused<T>, canBeTaken<T> && !isRefused<T>, 0, 0}; }

template <class Set> Checked set() { return sample(Set{1, 2}, 4 + 2 * 4); }
template <class Map> Checked map() { return sample(Map{{1, 2}, {3, 4}}, 4 + 4 * 4); }

const std::map<std::string, std::function<Checked()>> checkers = {
    {"bool", number<bool>},
    {"char", number<char>},
    {"signed char", number<signed char>},
    {"unsigned char", number<unsigned char>},
    {"std::int8_t", number<std::int8_t>},
    {"std::uint8_t", number<std::uint8_t>},
    {"std::byte", number<std::byte>},
    {"std::int16_t", number<std::int16_t>},
    {"std::uint16_t", number<std::uint16_t>},
    {"std::int32_t", number<std::int32_t>},
    {"std::uint32_t", number<std::uint32_t>},
    {"std::int64_t", number<std::int64_t>},
    {"std::uint64_t", number<std::uint64_t>},
    {"long long", number<long long>},
    {"unsigned long long", number<unsigned long long>},
    {"float", number<float>},
    {"double", number<double>},
    {"enum", [] { return sample(Signal::stop, 2); }},
    {"std::chrono::duration", [] { return sample(std::chrono::duration<std::int16_t>(1), 2); }},
    {"std::chrono::time_point",
     [] {
         using Duration = std::chrono::duration<std::int64_t>;
         return sample(std::chrono::time_point<std::chrono::system_clock, Duration>(), 8);
     }},
    {"char[N]",
     [] {
         const char text[10] = "abc";
         return sample(text, 4 + 4);
     }},
    {"std::string", [] { return sample(std::string("abc"), 4 + 4); }},
    {"std::string_view", [] { return sample(std::string_view("abcd"), 4 + 5); }},
    {"std::filesystem::path", [] { return sample(std::filesystem::path("/tmp"), 4 + 5); }},
    {"std::array<T, N>", [] { return sample(std::array<std::int16_t, 3>(), 6); }},
    {"T[N]",
     [] {
         const double numbers[2] = {};
         return sample(numbers, 16);
     }},
    {"std::vector<T>", set<std::vector<std::int32_t>>},
    {"std::deque<T>", set<std::deque<std::int32_t>>},
    {"std::list<T>", set<std::list<std::int32_t>>},
    {"std::set<T>", set<std::set<std::int32_t>>},
    {"std::multiset<T>", set<std::multiset<std::int32_t>>},
    {"std::unordered_set<T>", set<std::unordered_set<std::int32_t>>},
    {"std::unordered_multiset<T>", set<std::unordered_multiset<std::int32_t>>},
    {"std::map<K, T>", map<std::map<std::int32_t, std::int32_t>>},
    {"std::multimap<K, T>", map<std::multimap<std::int32_t, std::int32_t>>},
    {"std::unordered_map<K, T>", map<std::unordered_map<std::int32_t, std::int32_t>>},
    {"std::unordered_multimap<K, T>", map<std::unordered_multimap<std::int32_t, std::int32_t>>},
    {"std::optional<T>", [] { return sample(std::optional<char>('c'), 1 + 1); }},
    {"std::pair<A, B>", [] { return sample(std::pair<char, std::int32_t>(), 8); }},
    {"std::tuple<T...>", [] { return sample(std::tuple<char, std::int16_t, bool>(), 5); }},
    {"std::monostate", [] { return sample(std::monostate(), 0); }},
    {"std::variant<T...>", [] { return sample(std::variant<double, char>('c'), 4 + 1); }},
    {"KIV_FIELDS", [] { return sample(Record(), 8); }},
    {"KIV_VERSIONED", [] { return sample(Versioned(), 4 + 8); }},
    {"itcXNDR", [] { return sample(HostRecord(), 8); }},
    {"itcText",
     [] {
         char text[10] = "abc";
         return sample(itcText(text), 4 + 4);
     }},
    {"itcBytes", [] { return sample(itcBytes("abc", 3), 4 + 3); }},
    {"itcBounded<T>", notPut<itcBounded<std::string>>},
    {"const char*", [] { return sample(static_cast<const char*>("abc"), 4 + 4); }},
    {"T*", notPut<int*>},
    {"std::unique_ptr<T>", notPut<std::unique_ptr<int>>},
    {"std::shared_ptr<T>", notPut<std::shared_ptr<int>>},
    {"wchar_t", notPut<wchar_t>},
    {"char16_t", notPut<char16_t>},
    {"char32_t", notPut<char32_t>},
    {"std::wstring", notPut<std::wstring>},
    {"long double", notPut<long double>},
};

class TypeTable : public testing::Test {
protected:
    const std::vector<Row> rows = rowsOf(std::ifstream(KIV_RECORDS_DOCUMENT));
};

TEST_F(TypeTable, IsThere) { EXPECT_FALSE(rows.empty()); }

TEST_F(TypeTable, HasOnlyTypesThatThisTestKnows)
{
    for (const Row& row : rows)
        EXPECT_EQ(checkers.count(row.type), 1u) << row.type;
}

TEST_F(TypeTable, HasEveryTypeThatThisTestKnowsOnce)
{
    std::map<std::string, int> times;
    for (const Row& row : rows)
        ++times[row.type];
    for (const auto& [type, check] : checkers)
        EXPECT_EQ(times[type], 1) << type;
}

TEST_F(TypeTable, SaysWhichTypesArePutAndTaken)
{
    for (const Row& row : rows) {
        SCOPED_TRACE(row.type);
        const auto checker = checkers.find(row.type);
        if (checker == checkers.end())
            continue;
        const Checked checked = checker->second();
        EXPECT_EQ(row.put, checked.put ? "yes" : "no");
        EXPECT_EQ(row.taken, checked.taken ? "yes" : "no");
    }
}

TEST_F(TypeTable, SaysTheWireFormAndTheBoundOfWhatTravels)
{
    for (const Row& row : rows) {
        EXPECT_EQ(row.wireForm.empty(), row.put == "no" && row.taken == "no") << row.type;
        EXPECT_EQ(row.bound.empty(), row.taken == "no") << row.type;
    }
}

TEST_F(TypeTable, HasTypesOfTheSizeThatTheirWireFormGives)
{
    for (const auto& [type, check] : checkers) {
        const Checked checked = check();
        EXPECT_EQ(checked.size, checked.expected) << type;
    }
}

TEST(TypeTableFile, GivesARowForEachName)
{
    const std::vector<Row> rows = rowsOf(std::istringstream("| `not` | this | one |\n"
                                                            "| Type | Put | Taken | Wire form | Bound |\n"
                                                            "|---|---|---|---|---|\n"
                                                            "| `one`, `two` | yes | no | `int` n | |\n"
                                                            "\n"
                                                            "| `nor` | this | one |\n"));
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].type, "one");
    EXPECT_EQ(rows[1].type, "two");
    EXPECT_EQ(rows[1].put, "yes");
    EXPECT_EQ(rows[1].taken, "no");
    EXPECT_EQ(rows[1].wireForm, "`int` n");
    EXPECT_EQ(rows[1].bound, "");
}

} // namespace
