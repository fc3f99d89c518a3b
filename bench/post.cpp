// How long a function that another thread hands over takes to run, while the dispatching thread waits in dispatch(1.0).
//
// The other thread rests between two functions: the dispatching thread must be waiting again. The row of notifications
// shows the library alone: a notification does not wake the wait, so it takes the rest of the second. It makes few
// rounds.
#include <kiv/companion.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double microsSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

// Measures `rounds` handovers. \return the times from the handover to the call, in microseconds.
template <class HandOver> std::vector<double> measure(int rounds, std::chrono::microseconds rest, HandOver handOver)
{
    std::vector<double> times;
    std::atomic<int> arrived{0};
    const auto arrive = [&](Clock::time_point begin) {
        times.push_back(microsSince(begin));
        arrived += 1;
    };
    std::thread other([&] {
        for (int round = 0; round < rounds; ++round) {
            while (arrived < round)
                std::this_thread::yield();
            std::this_thread::sleep_for(rest);
            handOver(arrive, Clock::now());
        }
    });
    while (arrived < rounds)
        itcDispatcher::instance()->dispatch(1.0);
    other.join();
    return times;
}

void report(benchmark::State& state, std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    state.counters["median_us"] = times[times.size() / 2];
    state.counters["p99_us"] = times[times.size() * 99 / 100];
}

void post(benchmark::State& state)
{
    const itcPost posts;
    const itcPost::Sender sender = posts.sender();
    std::vector<double> times;
    for (auto _ : state) {
        times = measure(2000, std::chrono::microseconds(300), [&](const auto& arrive, Clock::time_point begin) {
            (void)sender.post([&arrive, begin] { arrive(begin); });
        });
    }
    report(state, std::move(times));
}

struct Receiver : ICBKivReady {
    std::function<void()> function;
    void ready(int, void*) override { function(); }
};

void notification(benchmark::State& state)
{
    Receiver receiver;
    std::vector<double> times;
    for (auto _ : state) {
        times = measure(5, std::chrono::milliseconds(400), [&](const auto& arrive, Clock::time_point begin) {
            receiver.function = [&arrive, begin] { arrive(begin); };
            itcDispatcher::instance()->addAsyncReadyNotify(0, &receiver, nullptr, nullptr);
        });
    }
    report(state, std::move(times));
}

BENCHMARK(post)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(notification)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
