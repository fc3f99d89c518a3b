// Clocks, interval timers and signals of the portability layer.
// OS_getuptime() is the clock of the dispatcher's timers. OS_getuptime() keeps the only state of this file: the time of
// its first successful call. This state has no lock: the first call must come before other threads call.
// OS_signal() exists for the timed connect, whose alarm must end a blocked connect().
#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/Micros.h>
#include <kiv/foundation/detail/Saturate.h>

#include <csignal>

using namespace kiv;

namespace {

// SA_INTERRUPT: an interrupted system call fails with EINTR. Linux ignores this bit; the absence of SA_RESTART has the
// effect. The bit says what is meant. SA_INTERRUPT is not in POSIX, so a header may lack the name.
constexpr int interruptSystemCalls = 0x20000000;

timeval uptimeStart{}; // all zero: OS_getuptime() has not succeeded yet

} // namespace

int OS_gettimeofday(timeval* tv, void* timezone) { return ::gettimeofday(tv, timezone); }

int OS_settimeofday(const timeval* tv, const struct timezone* timezone) { return ::settimeofday(tv, timezone); }

int OS_adjtime(const timeval* delta, timeval* oldDelta) { return ::adjtime(delta, oldDelta); }

int OS_getitimer(int which, itimerval* value) { return ::getitimer(which, value); }

int OS_setitimer(int which, const itimerval* value, itimerval* oldValue) { return ::setitimer(which, value, oldValue); }

clock_t OS_times(tms* buffer) { return ::times(buffer); }

int OS_getuptime(timeval* tv)
{
    if (tv == nullptr)
        return -1;
    if (OS_gettimeofday(tv, nullptr) < 0)
        return -1;

    if (uptimeStart.tv_sec == 0 && uptimeStart.tv_usec == 0) {
        uptimeStart = *tv;
        *tv = timeval{};
        return 0;
    }
    tv->tv_sec = saturatingSub(tv->tv_sec, uptimeStart.tv_sec);
    tv->tv_usec = saturatingSub(tv->tv_usec, uptimeStart.tv_usec);
    while (tv->tv_usec < 0) {
        tv->tv_sec = saturatingSub(tv->tv_sec, 1);
        tv->tv_usec += microsPerSecond;
    }
    return 0;
}

OS_signalHandler OS_signal(int signal, OS_signalHandler handler)
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = interruptSystemCalls;
    sigemptyset(&action.sa_mask);

    struct sigaction previous = {};
    if (::sigaction(signal, &action, &previous) != 0)
        return SIG_ERR;
    return previous.sa_handler;
}
