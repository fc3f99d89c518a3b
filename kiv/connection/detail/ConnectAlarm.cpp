// The alarm of a timed connect. The order matters: first our handler, then our timer; in the end first the timer, then
// the handler. An alarm of ours therefore never reaches a handler of the host.
#include <kiv/connection/detail/ConnectAlarm.h>

#include <csignal>

using namespace kiv;

ConnectAlarm::ConnectAlarm(unsigned int milliseconds, OS_signalHandler handler)
    : previousHandler(OS_signal(SIGALRM, handler))
{
    if (previousHandler == SIG_ERR)
        return; // without our handler the alarm would end the process
    itimerval once = {};
    once.it_value.tv_sec = milliseconds / 1000;
    once.it_value.tv_usec = static_cast<suseconds_t>(milliseconds % 1000) * 1000;
    OS_setitimer(ITIMER_REAL, &once, &previousTimer);
}

ConnectAlarm::~ConnectAlarm()
{
    if (previousHandler == SIG_ERR)
        return;
    OS_setitimer(ITIMER_REAL, &previousTimer, nullptr);
    OS_signal(SIGALRM, previousHandler);
}
