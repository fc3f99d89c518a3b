// The wait has a limit only because a wait without one tells "nothing is ready" as an error. The signals wake it.
#include <kiv/session/itcRunUntilSignal.h>

#include <kiv/session/itcSignals.h>

#include <csignal>
#include <utility>

namespace {

// The flag of the innermost loop; null while none runs.
thread_local bool* toEndInnermost = nullptr;

// Makes a flag the innermost one, until the loop ends.
class Innermost {
public:
    explicit Innermost(bool& flag) : outer(std::exchange(toEndInnermost, &flag)) {}
    ~Innermost() { toEndInnermost = outer; } // also when a function of the host throws
    Innermost(const Innermost&) = delete;
    Innermost& operator=(const Innermost&) = delete;

private:
    bool* const outer;
};

} // namespace

int itcRunUntilSignal(itcDispatcher& dispatcher)
{
    constexpr double longestWait = 3600.0; // seconds
    bool isToEnd = false;
    const Innermost innermost(isToEnd);
    itcSignals::ignorePipe();
    const itcSignals signals(
        {SIGINT, SIGTERM}, [&](int) { isToEnd = true; }, dispatcher);
    if (!signals) {
        static_cast<itcStatus&>(dispatcher) = signals.status();
        return 1;
    }
    while (!isToEnd)
        dispatcher.dispatch(longestWait);
    return 0;
}

void itcStopRunning()
{
    if (toEndInnermost != nullptr)
        *toEndInnermost = true;
}
