// The record with protozero: the wire format of protocol buffers, fixed-size numbers where there are any.
#include "../Sample.h"

#include <protozero/pbf_reader.hpp>
#include <protozero/pbf_writer.hpp>

namespace {

KIV_APART void put(std::string& out, const Sample& s)
{
    protozero::pbf_writer list(out);
    protozero::pbf_writer w(list, 1);
    w.add_sfixed32(1, s.number);
    w.add_sfixed64(2, s.at);
    w.add_double(3, s.celsius);
    w.add_double(4, s.bar);
    w.add_double(5, s.volts);
    w.add_float(6, s.humidity);
    w.add_int32(7, s.rack);
    w.add_bool(8, s.isValid);
    w.add_int32(9, s.grade);
    w.add_string(10, s.place);
}

void protozeroPut(benchmark::State& state)
{
    std::string out;
    out.reserve(8192);
    runPut(state, [&] {
        out.clear();
        for (int i = 0; i < recordsPerPacket; ++i)
            put(out, sample);
    });
}

KIV_APART void take(protozero::pbf_reader r, Sample& s)
{
    while (r.next()) {
        switch (r.tag()) {
        case 1:
            s.number = r.get_sfixed32();
            break;
        case 2:
            s.at = r.get_sfixed64();
            break;
        case 3:
            s.celsius = r.get_double();
            break;
        case 4:
            s.bar = r.get_double();
            break;
        case 5:
            s.volts = r.get_double();
            break;
        case 6:
            s.humidity = r.get_float();
            break;
        case 7:
            s.rack = static_cast<short>(r.get_int32());
            break;
        case 8:
            s.isValid = r.get_bool();
            break;
        case 9:
            s.grade = static_cast<char>(r.get_int32());
            break;
        case 10: {
            const auto view = r.get_view();
            s.place.assign(view.data(), view.size());
            break;
        }
        default:
            r.skip();
        }
    }
}

void protozeroTake(benchmark::State& state)
{
    std::string in;
    for (int i = 0; i < recordsPerPacket; ++i)
        put(in, sample);
    Sample taken;
    runTake(state, taken, [&] {
        protozero::pbf_reader list(in);
        while (list.next(1))
            take(list.get_message(), taken);
    });
}

} // namespace

BENCHMARK(protozeroPut);
BENCHMARK(protozeroTake);
