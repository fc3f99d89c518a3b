// The wait has a limit only because a wait without one tells "nothing is ready" as an error. The signals wake it.
#include <kiv/session/itcRunUntilSignal.h>

#include <kiv/session/itcSignals.h>

#include <csignal>

int itcRunUntilSignal(itcDispatcher& dispatcher)
{
    constexpr double longestWait = 3600.0; // seconds
    bool isToEnd = false;
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
