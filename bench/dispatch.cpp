// How much time does one dispatch cycle take, beside its select() call?
#include <kiv/kiv.h>

#include <benchmark/benchmark.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <memory>
#include <vector>

namespace {

// `count` descriptors that are always readable.
class Readable {
public:
    explicit Readable(int count)
    {
        for (int i = 0; i < count; ++i)
            descriptors.push_back(::eventfd(1, 0));
    }
    ~Readable()
    {
        for (const int fd : descriptors)
            ::close(fd);
    }
    Readable(const Readable&) = delete;
    Readable& operator=(const Readable&) = delete;

    const std::vector<int>& all() const { return descriptors; }

private:
    std::vector<int> descriptors;
};

class Counter : public itcIOHandler {
public:
    int inputReady(itcConnection*, char*) override
    {
        ++calls;
        return 0;
    }
    long calls = 0;
};

// The lower bound: a bare select() of the same descriptors.
void bareSelect(benchmark::State& state)
{
    const Readable readable(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        fd_set set;
        FD_ZERO(&set);
        for (const int fd : readable.all())
            FD_SET(fd, &set);
        timeval atOnce = {};
        benchmark::DoNotOptimize(::select(readable.all().back() + 1, &set, nullptr, nullptr, &atOnce));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void dispatchCycle(benchmark::State& state)
{
    const Readable readable(static_cast<int>(state.range(0)));
    itcDispatcher dispatcher;
    Counter counter;
    for (const int fd : readable.all())
        dispatcher.attach(fd, nullptr, nullptr, ReadMask, &counter);
    for (auto _ : state) {
        timeval atOnce = {};
        dispatcher.dispatch(&atOnce);
    }
    state.SetItemsProcessed(counter.calls);
}

void timerStartAndExpire(benchmark::State& state)
{
    TimerQueue queue;
    itcIOHandler handler;
    for (auto _ : state) {
        queue.insert({1, 0}, &handler);
        queue.expire({2, 0});
    }
}

} // namespace

BENCHMARK(bareSelect)->Arg(1)->Arg(10)->Arg(100)->Arg(900);
BENCHMARK(dispatchCycle)->Arg(1)->Arg(10)->Arg(100)->Arg(900);
BENCHMARK(timerStartAndExpire);
