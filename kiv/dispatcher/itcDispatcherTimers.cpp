// The timers of the dispatcher, and the clock that they run on.
//
// The clock is the sum of two readings: the wall clock when the clock was first read, and OS_getuptime() now. The first
// reading is kept. The second reading follows the steps of the wall clock, so the timers follow them, too. The sum is
// not the time of day, because the two begin at different moments. All timers use this clock: only differences matter.
#include <kiv/dispatcher/itcDispatcher.h>

#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/SetStatus.h>

using namespace kiv;

namespace {

timeval clockBase{}; // {0, 0} until the clock is first read

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

timeval itcDispatcher::currentTime() const
{
    if (clockBase == timeval{})
        OS_gettimeofday(&clockBase, nullptr);
    timeval uptime = {};
    OS_getuptime(&uptime);
    return clockBase + uptime;
}
