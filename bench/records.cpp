// How much time does it take to put a described record into a packet, and to take it out? How much more is it than what
// the same bytes cost in straight-line code, which knows the record, the room and the place?
#include "Sample.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

// ---- Straight-line code: the same bytes at the same places

// The offsets in a packet: the label is at 0.
struct Offsets {
    static constexpr std::size_t number = 4, at = 8, celsius = 16, bar = 24, volts = 32, humidity = 40, rack = 44,
                                 isValid = 46, grade = 47, count = 48, place = 52;
};

template <class Value> void store(char* place, const Value& value) { std::memcpy(place, &value, sizeof value); }

KIV_APART void putStraight(char* data, const Sample& s)
{
    store(data + 2, short{0});
    store(data + Offsets::number, s.number);
    store(data + Offsets::at, s.at);
    store(data + Offsets::celsius, s.celsius);
    store(data + Offsets::bar, s.bar);
    store(data + Offsets::volts, s.volts);
    store(data + Offsets::humidity, s.humidity);
    store(data + Offsets::rack, s.rack);
    store(data + Offsets::isValid, s.isValid);
    store(data + Offsets::grade, s.grade);
    const auto length = static_cast<unsigned int>(s.place.size() + 1);
    store(data + Offsets::count, length);
    std::memcpy(data + Offsets::place, s.place.c_str(), length);
}

enum class Order { own, foreign };

template <Order order, class Value> void load(const char* place, Value& value)
{
    if constexpr (order == Order::own || sizeof(Value) == 1) {
        std::memcpy(&value, place, sizeof value);
    } else {
        kiv::Word<sizeof(Value)> word;
        std::memcpy(&word, place, sizeof word);
        word = kiv::reversed(word);
        std::memcpy(&value, &word, sizeof value);
    }
}

template <Order order> KIV_APART void takeStraight(const char* data, Sample& s)
{
    load<order>(data + Offsets::number, s.number);
    load<order>(data + Offsets::at, s.at);
    load<order>(data + Offsets::celsius, s.celsius);
    load<order>(data + Offsets::bar, s.bar);
    load<order>(data + Offsets::volts, s.volts);
    load<order>(data + Offsets::humidity, s.humidity);
    load<order>(data + Offsets::rack, s.rack);
    load<Order::own>(data + Offsets::isValid, s.isValid);
    load<Order::own>(data + Offsets::grade, s.grade);
    unsigned int length;
    load<order>(data + Offsets::count, length);
    s.place.assign(data + Offsets::place, length - 1);
}

// ---- One by one, with the library's own operators

KIV_APART void putSingly(itcNDRSend& packet, const Sample& s)
{
    packet << s.number << s.at << s.celsius << s.bar << s.volts << s.humidity << s.rack << s.isValid << s.grade
           << s.place.c_str();
}

KIV_APART void takeSingly(itcNDRReceive& packet, Sample& s)
{
    char place[24];
    packet >> s.number >> s.at >> s.celsius >> s.bar >> s.volts >> s.humidity >> s.rack >> s.isValid >> s.grade >>
        place;
    s.place = place;
}

// ---- Described

KIV_APART void putDescribed(itcNDRSend& packet, const Sample& s) { packet << s; }
KIV_APART void takeDescribed(itcNDRReceive& packet, Sample& s) { packet >> s; }

// ---- The runs

constexpr std::size_t recordDistance = 72; // one record ends at offset 76, and the next begins there

void recordPutStraight(benchmark::State& state)
{
    std::vector<char> data(recordsPerPacket * recordDistance + 8);
    runPut(state, [&] {
        for (int i = 0; i < recordsPerPacket; ++i)
            putStraight(data.data() + i * recordDistance, sample);
    });
}

template <void (*put)(itcNDRSend&, const Sample&)> void recordPut(benchmark::State& state)
{
    itcNDRSend packet(8192);
    runPut(state, [&] {
        packet.reset();
        for (int i = 0; i < recordsPerPacket; ++i)
            put(packet, sample);
    });
}

/// A packet of records. The label says which byte order it has.
std::vector<char> packetOf(Order order)
{
    itcNDRSend packet;
    for (int i = 0; i < recordsPerPacket; ++i)
        packet << sample;
    std::vector<char> data(packet.raw_data(), packet.raw_data() + packet.raw_length());
    if (order == Order::own)
        return data;
    data[0] = 0;
    const auto turn = [&](std::size_t at, std::size_t size) {
        const auto first = data.begin() + static_cast<std::ptrdiff_t>(at);
        std::reverse(first, first + static_cast<std::ptrdiff_t>(size));
    };
    for (std::size_t record = 0; record < data.size() - 8; record += recordDistance) {
        for (const std::size_t at : {Offsets::number, Offsets::humidity, Offsets::count})
            turn(record + at, 4);
        for (const std::size_t at : {Offsets::at, Offsets::celsius, Offsets::bar, Offsets::volts})
            turn(record + at, 8);
        turn(record + Offsets::rack, 2);
    }
    return data;
}

template <Order order> void recordTakeStraight(benchmark::State& state)
{
    const std::vector<char> data = packetOf(order);
    Sample taken;
    runTake(state, taken, [&] {
        for (int i = 0; i < recordsPerPacket; ++i)
            takeStraight<order>(data.data() + i * recordDistance, taken);
    });
}

template <Order order, void (*take)(itcNDRReceive&, Sample&)> void recordTake(benchmark::State& state)
{
    const std::vector<char> data = packetOf(order);
    itcNDRReceive packet(data.data(), static_cast<unsigned int>(data.size()));
    Sample taken;
    runTake(state, taken, [&] {
        packet.reset();
        for (int i = 0; i < recordsPerPacket; ++i)
            take(packet, taken);
    });
}

// ---- Arrays of 1,000 doubles

constexpr std::size_t many = 1000;

void arrayCopy(benchmark::State& state)
{
    const std::vector<double> values(many, 1.5);
    std::vector<double> copy(many);
    for (auto _ : state) {
        std::memcpy(copy.data(), values.data(), many * sizeof(double));
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
}

void arrayTurn(benchmark::State& state)
{
    const std::vector<std::uint64_t> values(many, 1);
    std::vector<std::uint64_t> copy(many);
    for (auto _ : state) {
        for (std::size_t i = 0; i < many; ++i)
            copy[i] = __builtin_bswap64(values[i]);
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
}

void arrayPut(benchmark::State& state)
{
    const std::vector<double> values(many, 1.5);
    itcNDRSend packet(16384);
    bool isWhole = true;
    for (auto _ : state) {
        packet.reset();
        isWhole = itcPutArray(packet, values.data(), many) && isWhole;
        benchmark::ClobberMemory();
    }
    if (!isWhole)
        state.SkipWithError("not put");
}

void vectorPut(benchmark::State& state)
{
    const std::vector<double> values(many, 1.5);
    itcNDRSend packet(16384);
    for (auto _ : state) {
        packet.reset();
        packet << values;
        benchmark::ClobberMemory();
    }
}

// `label` is the first byte of the packet: 0x10 for this machine's byte order, 0x00 for the other.
template <class Take>
void takeMany(benchmark::State& state, const std::vector<double>& values, bool withCount, const Take& take)
{
    itcNDRSend packet(16384);
    if (withCount)
        packet << values;
    else if (!itcPutArray(packet, values.data(), many))
        state.SkipWithError("not put");
    if (state.range(0) == 0) {
        packet.raw_data()[0] = 0;
        if (withCount)
            std::reverse(packet.raw_data() + 4, packet.raw_data() + 8);
    }
    itcNDRReceive received(packet.raw_data(), packet.raw_length());
    for (auto _ : state) {
        received.reset();
        take(received);
        benchmark::ClobberMemory();
    }
    if (received.severity != Success)
        state.SkipWithError("not taken");
}

void arrayTake(benchmark::State& state)
{
    std::vector<double> taken(many);
    benchmark::DoNotOptimize(taken.data());
    bool isWhole = true;
    takeMany(state, std::vector<double>(many, 1.5), false,
             [&](itcNDRReceive& b) { isWhole = itcTakeArray(b, taken.data(), many) && isWhole; });
}

void vectorTake(benchmark::State& state)
{
    std::vector<double> taken;
    takeMany(state, std::vector<double>(many, 1.5), true, [&](itcNDRReceive& b) { b >> taken; });
}

} // namespace

BENCHMARK(recordPutStraight);
BENCHMARK(recordPut<putSingly>);
BENCHMARK(recordPut<putDescribed>);
BENCHMARK(recordTakeStraight<Order::own>);
BENCHMARK(recordTake<Order::own, takeSingly>);
BENCHMARK(recordTake<Order::own, takeDescribed>);
BENCHMARK(recordTakeStraight<Order::foreign>);
BENCHMARK(recordTake<Order::foreign, takeSingly>);
BENCHMARK(recordTake<Order::foreign, takeDescribed>);
BENCHMARK(arrayCopy);
BENCHMARK(arrayPut);
BENCHMARK(vectorPut);
BENCHMARK(arrayTake)->Arg(0x10);
BENCHMARK(vectorTake)->Arg(0x10);
BENCHMARK(arrayTurn);
BENCHMARK(arrayTake)->Arg(0x00);
BENCHMARK(vectorTake)->Arg(0x00);
