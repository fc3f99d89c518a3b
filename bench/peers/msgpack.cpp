// The record with msgpack-cxx: described by its macro, taken with the visitor-free unpack of whole objects.
#include "../Sample.h"

#define MSGPACK_NO_BOOST
#include <msgpack.hpp>

namespace {

struct Packed {
    int number;
    long long at;
    double celsius, bar, volts;
    float humidity;
    short rack;
    bool isValid;
    char grade;
    std::string place;
    MSGPACK_DEFINE(number, at, celsius, bar, volts, humidity, rack, isValid, grade, place)
};

Packed packed(const Sample& s)
{
    return {s.number, s.at, s.celsius, s.bar, s.volts, s.humidity, s.rack, s.isValid, s.grade, s.place};
}

KIV_APART void put(msgpack::sbuffer& out, const Packed& value) { msgpack::pack(out, value); }

void msgpackPut(benchmark::State& state)
{
    const Packed value = packed(sample);
    msgpack::sbuffer out(8192);
    runPut(state, [&] {
        out.clear();
        for (int i = 0; i < recordsPerPacket; ++i)
            put(out, value);
    });
}

KIV_APART void take(const msgpack::sbuffer& in, std::size_t& offset, Packed& value)
{
    msgpack::unpack(in.data(), in.size(), offset).get().convert(value);
}

void msgpackTake(benchmark::State& state)
{
    msgpack::sbuffer in(8192);
    for (int i = 0; i < recordsPerPacket; ++i)
        put(in, packed(sample));
    Packed value{};
    Sample taken;
    runTake(state, taken, [&] {
        std::size_t offset = 0;
        for (int i = 0; i < recordsPerPacket; ++i)
            take(in, offset, value);
        taken = {value.number,   value.at,   value.celsius, value.bar,   value.volts,
                 value.humidity, value.rack, value.isValid, value.grade, value.place};
    });
}

} // namespace

BENCHMARK(msgpackPut);
BENCHMARK(msgpackTake);
