// The record written by a chain of unaligned copies with a test of the room before each: the shape of the fastest
// serialisers that consist of headers only. Nothing is aligned, and no byte order is turned.
#include "../Sample.h"

#include <cstring>
#include <vector>

namespace {

class Chain {
public:
    Chain(char* first, char* last) : place(first), end(last) {}

    template <class Value> bool put(const Value& value)
    {
        if (static_cast<std::size_t>(end - place) < sizeof value)
            return false;
        std::memcpy(place, &value, sizeof value);
        place += sizeof value;
        return true;
    }
    bool put(const std::string& text)
    {
        if (!put(static_cast<unsigned int>(text.size())) || static_cast<std::size_t>(end - place) < text.size())
            return false;
        std::memcpy(place, text.data(), text.size());
        place += text.size();
        return true;
    }
    template <class Value> bool take(Value& value)
    {
        if (static_cast<std::size_t>(end - place) < sizeof value)
            return false;
        std::memcpy(&value, place, sizeof value);
        place += sizeof value;
        return true;
    }
    bool take(std::string& text)
    {
        unsigned int length = 0;
        if (!take(length) || static_cast<std::size_t>(end - place) < length)
            return false;
        text.assign(place, length);
        place += length;
        return true;
    }

private:
    char* place;
    char* end;
};

KIV_APART bool put(Chain& out, const Sample& s)
{
    return out.put(s.number) && out.put(s.at) && out.put(s.celsius) && out.put(s.bar) && out.put(s.volts) &&
           out.put(s.humidity) && out.put(s.rack) && out.put(s.isValid) && out.put(s.grade) && out.put(s.place);
}

KIV_APART bool take(Chain& in, Sample& s)
{
    return in.take(s.number) && in.take(s.at) && in.take(s.celsius) && in.take(s.bar) && in.take(s.volts) &&
           in.take(s.humidity) && in.take(s.rack) && in.take(s.isValid) && in.take(s.grade) && in.take(s.place);
}

void chainPut(benchmark::State& state)
{
    std::vector<char> data(8192);
    runPut(state, [&] {
        Chain out(data.data(), data.data() + data.size());
        for (int i = 0; i < recordsPerPacket; ++i)
            benchmark::DoNotOptimize(put(out, sample));
    });
}

void chainTake(benchmark::State& state)
{
    std::vector<char> data(8192);
    Chain out(data.data(), data.data() + data.size());
    for (int i = 0; i < recordsPerPacket; ++i)
        put(out, sample);
    Sample taken;
    runTake(state, taken, [&] {
        Chain in(data.data(), data.data() + data.size());
        for (int i = 0; i < recordsPerPacket; ++i)
            benchmark::DoNotOptimize(take(in, taken));
    });
}

} // namespace

BENCHMARK(chainPut);
BENCHMARK(chainTake);
