// What a test of the host holds fast: the size of a record, and its description.   pinned
#include <kiv/companion.h>

#include <iostream>

struct Position {
    double x = 0;
    double y = 0;
    std::int32_t floor = 0;
    KIV_FIELDS(x, y, floor)
};
static_assert(itcSizeOnWire<Position>() == 20); // the list
static_assert(sizeof(Position) == 24);          // the structure

enum class Mode : std::uint8_t { idle, moving };

struct Lift {
    Mode mode = Mode::idle;
    Position at;
    std::vector<std::int32_t> calls;
    KIV_VERSIONED(mode, at, calls)
};

int main()
{
    const std::string described = itcDescribe<Lift>();
    std::cout << described << '\n';
    const std::string expected =
        R"({"type":"record","record":"Lift","version":3,"fields":[)"
        R"({"name":"mode","type":"uint8","enumeration":"Mode"},)"
        R"({"name":"at","type":"record","record":"Position","fields":[)"
        R"({"name":"x","type":"float64"},{"name":"y","type":"float64"},{"name":"floor","type":"int32"}]},)"
        R"({"name":"calls","type":"sequence","of":{"type":"int32"}}]})";
    return described == expected && itcSizeOnWire(Lift{}) == 32 ? 0 : 1;
}
