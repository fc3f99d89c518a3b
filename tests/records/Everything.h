/// \file
/// A record with values of every kind, on three levels.
#pragma once

#include "Wire.h"

#include <kiv/companion.h>

enum class Colour : std::uint8_t { red = 1, green = 2 };

/// The innermost level.
struct Leaf {
    short number = 0;
    std::string text;
    double real = 0;
    std::vector<float> raw;
    KIV_FIELDS(number, text, real, raw)

    void writeTo(Wire& w) const { w.all(number, text, real, raw); }
};

/// The level in the middle. Later versions may append fields.
struct Branch {
    std::int64_t at = 0;
    char name[8] = {};
    std::optional<Leaf> maybe;
    std::vector<Leaf> leaves;
    std::map<std::string, Leaf> named;
    std::variant<int, std::string, Leaf> either;
    KIV_VERSIONED(at, name, maybe, leaves, named, either)

    void writeTo(Wire& w) const
    {
        w.withLength([&] { w.all(at, std::string(name), maybe, leaves, named, either); });
    }
};

/// The outermost level. Containers without an order have one element: every library writes them in the same order.
struct Everything {
    bool truth = false;
    char character = 0;
    std::int8_t int8 = 0;
    std::uint16_t uint16 = 0;
    std::int32_t int32 = 0;
    std::uint64_t uint64 = 0;
    float single = 0;
    double real = 0;
    int level = 7; ///< The default is not 0: an emptied record has 0 here all the same.
    Colour colour = Colour();
    std::byte byte = std::byte();
    std::chrono::milliseconds duration = {};
    std::chrono::system_clock::time_point time = {};
    char characters[6] = {};
    std::string text;
    std::filesystem::path path;
    std::array<short, 3> array = {};
    double grid[2] = {};
    std::vector<std::int32_t> numbers;
    std::vector<bool> truths;
    std::vector<std::string> texts;
    std::deque<std::int32_t> deque;
    std::list<short> list;
    std::set<std::int32_t> set;
    std::unordered_set<std::string> unorderedSet;
    std::map<std::int32_t, std::string> map;
    std::unordered_map<std::int32_t, double> unorderedMap;
    std::optional<std::int64_t> optional;
    std::pair<char, std::int32_t> pair = {};
    std::tuple<bool, std::string, double> tuple = {};
    std::variant<std::monostate, std::string, double> variant;
    Branch branch;
    std::vector<Branch> branches;
    KIV_FIELDS(truth, character, int8, uint16, int32, uint64, single, real, level, colour, byte, duration, time,
               characters, text, path, array, grid, numbers, truths, texts, deque, list, set, unorderedSet, map,
               unorderedMap, optional, pair, tuple, variant, branch, branches)

    void writeTo(Wire& w) const
    {
        w.all(truth, character, int8, uint16, int32, uint64, single, real, level, colour, byte, duration, time,
              std::string(characters), text, path, array, grid, numbers, truths, texts, deque, list, set, unorderedSet,
              map, unorderedMap, optional, pair, tuple, variant, branch, branches);
    }
};

/// The floating-point numbers of a sender that has VAX numbers are not always those that it wanted to send.
template <class Number> Number asRead(Number sent, Sender sender)
{
    Wire w(sender);
    w.put(sent);
    OpenReceive b(w.data);
    Number read = 0;
    b >> read;
    return read;
}

inline Leaf sampleLeaf(Sender sender, int seed)
{
    Leaf leaf;
    leaf.number = static_cast<short>(-300 + seed);
    leaf.text = "leaf " + std::to_string(seed);
    leaf.real = asRead(0.5 + seed, sender);
    leaf.raw = {asRead(1.25F, sender), asRead(-2.0F, sender)};
    return leaf;
}

inline Branch sampleBranch(Sender sender)
{
    Branch branch;
    branch.at = -5'000'000'000;
    std::strcpy(branch.name, "branch");
    branch.maybe = sampleLeaf(sender, 1);
    branch.leaves = {sampleLeaf(sender, 2), sampleLeaf(sender, 3)};
    branch.named["x"] = sampleLeaf(sender, 4);
    branch.either = sampleLeaf(sender, 5);
    return branch;
}

/// Every field has a value that is not its empty value. `sender` is the machine whose packet shall give the values.
inline Everything sampleOf(Sender sender)
{
    Everything e;
    e.truth = true;
    e.character = 'c';
    e.int8 = -8;
    e.uint16 = 0xABCD;
    e.int32 = -70'000;
    e.uint64 = 0x0102030405060708;
    e.single = asRead(0.75F, sender);
    e.real = asRead(-1.5, sender);
    e.level = 3;
    e.colour = Colour::green;
    e.byte = std::byte{0xFE};
    e.duration = std::chrono::milliseconds(1500);
    e.time = std::chrono::system_clock::time_point(std::chrono::system_clock::duration(123'456'789'012));
    std::strcpy(e.characters, "chars");
    e.text = "text";
    e.path = "/tmp/file";
    e.array = {1, -2, 3};
    e.grid[0] = asRead(4.0, sender);
    e.grid[1] = asRead(0.125, sender);
    e.numbers = {1, -2, 3};
    e.truths = {true, false, true};
    e.texts = {"", "one"};
    e.deque = {4, 5};
    e.list = {-6, 7};
    e.set = {8, 9};
    e.unorderedSet = {"key"};
    e.map = {{1, "a"}, {2, "b"}};
    e.unorderedMap = {{3, asRead(8.0, sender)}};
    e.optional = -1;
    e.pair = {'p', 11};
    e.tuple = {true, "tuple", asRead(2.5, sender)};
    e.variant = "variant";
    e.branch = sampleBranch(sender);
    e.branches = {sampleBranch(sender)};
    return e;
}

/// What a target holds after a take that has failed.
inline Everything emptied()
{
    Everything e;
    e.level = 0;
    return e;
}

/// A packet with one Everything. The values in it are those that the sender wanted to send.
inline std::string packetOfEverything(Sender sender)
{
    Wire w(sender);
    w.put(sampleOf(thisMachine));
    return w.data;
}
