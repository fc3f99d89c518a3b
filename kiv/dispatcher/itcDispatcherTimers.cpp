// Timers of the dispatcher, and the clock that they run on.
#include <kiv/dispatcher/itcDispatcher.h>

#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/SetStatus.h>

using namespace kiv;

namespace {

timeval clockBase{}; // all zero until the clock is first read

} // namespace

void itcDispatcher::startTimer(long sec, long usec, itcIOHandler* h)
{
    clearStatus(*this);
    timeval delay = {};
    delay.tv_sec = sec;
    delay.tv_usec = usec;
    if (!timers->insert(currentTime() + delay, h))
        setStatus(*this, Itc_Tp_Malloc_Error, Error);
}

void itcDispatcher::stopTimer(itcIOHandler* h)
{
    clearStatus(*this);
    timers->remove(h);
}

// The base is never refreshed and the uptime at which it was taken is not subtracted, so this is not the wall clock.
// Every timer measures with it, so only differences matter.
timeval itcDispatcher::currentTime() const
{
    if (clockBase == timeval{})
        OS_gettimeofday(&clockBase, nullptr);
    timeval uptime = {};
    OS_getuptime(&uptime);
    return clockBase + uptime;
}
