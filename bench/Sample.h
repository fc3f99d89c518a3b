/// \file
/// The record that all marshallers put and take: a telemetry sample of ten fields.
#pragma once

#include <kiv/companion.h>

#include <benchmark/benchmark.h>

#include <string>

// The compiler must not look into a function from outside: it would see that the values are constants.
#ifdef __clang__
#define KIV_APART [[gnu::noinline]]
#else
#define KIV_APART [[gnu::noipa]]
#endif

/// The text has 23 characters, and 24 with its zero.
struct Sample {
    int number = 0;
    long long at = 0;
    double celsius = 0;
    double bar = 0;
    double volts = 0;
    float humidity = 0;
    short rack = 0;
    bool isValid = false;
    char grade = 0;
    std::string place;
    KIV_FIELDS(number, at, celsius, bar, volts, humidity, rack, isValid, grade, place)
};

inline const Sample sample{7, 1'700'000'000'000, 21.5, 1.013, 230.1, 0.4F, 12, true, 'A', "boiler room, north wall"};

/// A packet has many records: the time of its beginning and its end does not count.
constexpr int recordsPerPacket = 50;

/// Runs `putAll` and counts records.
template <class PutAll> void runPut(benchmark::State& state, const PutAll& putAll)
{
    for (auto _ : state) {
        putAll();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * recordsPerPacket);
}

/// Runs `takeAll`, which takes records into `taken`, and counts them. The last record must be the sample.
template <class TakeAll> void runTake(benchmark::State& state, const Sample& taken, const TakeAll& takeAll)
{
    for (auto _ : state) {
        takeAll();
        benchmark::ClobberMemory();
    }
    if (taken != sample)
        state.SkipWithError("wrong values");
    state.SetItemsProcessed(state.iterations() * recordsPerPacket);
}
