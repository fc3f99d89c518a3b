// The record with Fast-CDR, in its plain (aligning) and its fast (not aligning) class.
#include "../Sample.h"

#include <fastcdr/Cdr.h>
#include <fastcdr/FastCdr.h>

#include <vector>

using namespace eprosima::fastcdr;

namespace {

template <class Cdr> KIV_APART void put(Cdr& out, const Sample& s)
{
    out << s.number << static_cast<int64_t>(s.at) << s.celsius << s.bar << s.volts << s.humidity << s.rack << s.isValid
        << s.grade << s.place;
}

template <class Cdr> KIV_APART void take(Cdr& in, Sample& s)
{
    int64_t at = 0;
    in >> s.number >> at >> s.celsius >> s.bar >> s.volts >> s.humidity >> s.rack >> s.isValid >> s.grade >> s.place;
    s.at = at;
}

template <class Cdr> void fastcdrPut(benchmark::State& state)
{
    std::vector<char> data(8192);
    FastBuffer buffer(data.data(), data.size());
    Cdr out(buffer);
    runPut(state, [&] {
        out.reset();
        for (int i = 0; i < recordsPerPacket; ++i)
            put(out, sample);
    });
}

template <class Cdr> void take(benchmark::State& state, FastBuffer& buffer, Cdr&& in)
{
    Cdr out(buffer);
    for (int i = 0; i < recordsPerPacket; ++i)
        put(out, sample);
    Sample taken;
    runTake(state, taken, [&] {
        in.reset();
        for (int i = 0; i < recordsPerPacket; ++i)
            take(in, taken);
    });
}

template <class Cdr> void fastcdrTake(benchmark::State& state)
{
    std::vector<char> data(8192);
    FastBuffer buffer(data.data(), data.size());
    take(state, buffer, Cdr(buffer));
}

void fastcdrTakeForeign(benchmark::State& state)
{
    std::vector<char> data(8192);
    FastBuffer buffer(data.data(), data.size());
    Cdr out(buffer, Cdr::BIG_ENDIANNESS);
    for (int i = 0; i < recordsPerPacket; ++i)
        put(out, sample);
    Cdr in(buffer, Cdr::BIG_ENDIANNESS);
    Sample taken;
    runTake(state, taken, [&] {
        in.reset();
        for (int i = 0; i < recordsPerPacket; ++i)
            take(in, taken);
    });
}

} // namespace

BENCHMARK(fastcdrPut<Cdr>);
BENCHMARK(fastcdrPut<FastCdr>);
BENCHMARK(fastcdrTake<Cdr>);
BENCHMARK(fastcdrTake<FastCdr>);
BENCHMARK(fastcdrTakeForeign);
