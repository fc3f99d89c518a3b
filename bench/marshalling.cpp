// How much time does it take to put one value into a packet, and to take one value out of a packet?
#include <kiv/kiv.h>

#include <benchmark/benchmark.h>

namespace {

constexpr int valuesPerPacket = 1000;

// The lower bound: writing the same bytes to plain memory, with the alignment of a packet.
template <class Value> void storeToMemory(benchmark::State& state)
{
    alignas(8) static char memory[valuesPerPacket * sizeof(Value)];
    for (auto _ : state) {
        for (int i = 0; i < valuesPerPacket; ++i) {
            const auto value = static_cast<Value>(i);
            std::memcpy(memory + i * sizeof(Value), &value, sizeof value);
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * valuesPerPacket);
}

template <class Value> void put(benchmark::State& state)
{
    itcNDRSend packet(valuesPerPacket * 8 + 64);
    for (auto _ : state) {
        packet.reset();
        for (int i = 0; i < valuesPerPacket; ++i)
            packet << static_cast<Value>(i);
        benchmark::DoNotOptimize(packet.raw_data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * valuesPerPacket);
}

// `label` is the first byte of the packet, which tells the sender's byte order: 0x10 little-endian, 0x00 big-endian.
template <class Value> void take(benchmark::State& state)
{
    itcNDRSend packet;
    for (int i = 0; i < valuesPerPacket; ++i)
        packet << static_cast<Value>(i);
    packet.raw_data()[0] = static_cast<char>(state.range(0));
    itcNDRReceive received(packet.raw_data(), packet.raw_length());
    for (auto _ : state) {
        received.reset();
        for (int i = 0; i < valuesPerPacket; ++i) {
            Value value;
            received >> value;
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(state.iterations() * valuesPerPacket);
}

void putText(benchmark::State& state)
{
    const std::string text(static_cast<size_t>(state.range(0)), 'x');
    itcNDRSend packet(valuesPerPacket * (static_cast<int>(text.size()) + 16));
    for (auto _ : state) {
        packet.reset();
        for (int i = 0; i < 100; ++i)
            packet << text.c_str();
    }
    state.SetItemsProcessed(state.iterations() * 100);
}

// A packet like those of applications: a record of thirteen values of different types.
void putRecord(benchmark::State& state)
{
    itcNDRSend packet(4096);
    for (auto _ : state) {
        packet.reset();
        packet << 1 << 2U << 3.0 << 4.0F << short{5} << true << 'x' << 8LL << "nine" << 10.0 << 11 << 12 << 13;
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 13);
}

} // namespace

BENCHMARK(storeToMemory<int>);
BENCHMARK(storeToMemory<double>);
BENCHMARK(put<char>);
BENCHMARK(put<short>);
BENCHMARK(put<int>);
BENCHMARK(put<double>);
BENCHMARK(take<char>)->Arg(0x10);
BENCHMARK(take<short>)->Arg(0x10)->Arg(0x00);
BENCHMARK(take<int>)->Arg(0x10)->Arg(0x00);
BENCHMARK(take<double>)->Arg(0x10)->Arg(0x00);
BENCHMARK(putText)->Arg(8)->Arg(256);
BENCHMARK(putRecord);
