// One dispatch cycle. Read it from dispatch(timeval*) downward: report, wait, add the descriptors whose handlers asked
// to be called again, call the handlers, account for the time. The other forms of dispatch() only make the time limit.
//
// The order matters: requests to be called again are added after the wait, so that each event counts once. Timers
// come last, so that a timer that gives up a connection runs after the data that has come in the same cycle was served.
//
// What may be trusted: after a successful select() the sets and the count n agree. After a failed select() the sets
// hold what was asked, and tell nothing. Handlers may change any table and may run a cycle of their own: after each
// call the tables are read again.
#include <kiv/dispatcher/itcDispatcher.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/dispatcher/detail/Performance.h>
#include <kiv/dispatcher/detail/Select.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/Micros.h>
#include <kiv/foundation/detail/Saturate.h>
#include <kiv/foundation/detail/SetStatus.h>

#include <cmath>
#include <limits>
#include <new>

using namespace kiv;

namespace {

long saturatedLong(double value)
{
    using Limits = std::numeric_limits<long>;
    if (std::isnan(value))
        return 0;
    if (value >= -static_cast<double>(Limits::min())) // 2 to the power of 63 or 31: the first value beyond
        return Limits::max();
    if (value <= static_cast<double>(Limits::min()))
        return Limits::min();
    return static_cast<long>(value);
}

timeval timevalOf(double seconds)
{
    double whole = 0.0;
    const double fraction = std::modf(seconds, &whole);
    timeval tv = {};
    tv.tv_sec = saturatedLong(whole);
    tv.tv_usec = saturatedLong(fraction * double{microsPerSecond});
    return tv;
}

// \return true: `fd` is in the list. false: there is no memory.
bool appendFd(std::vector<int>& fds, int fd)
try {
    fds.push_back(fd);
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

// The limit of a wait as the caller gave it. The wait overwrites the caller's timeval with what is left.
class AskedTime {
public:
    explicit AskedTime(const timeval* timeout)
        : sec(timeout != nullptr ? static_cast<long>(timeout->tv_sec) : 0),
          usec(timeout != nullptr ? static_cast<long>(timeout->tv_usec) : 0)
    {}

    int64_t microsUsed(const timeval& left) const
    {
        const int64_t secondsUsed = saturatingSub(sec, left.tv_sec);
        return saturatingSub(saturatingAdd(saturatingMul(secondsUsed, microsPerSecond), usec), left.tv_usec);
    }

    void tellProfiler(const timeval& left) const
    {
        itcDispatcher::incDispatchSleepTimeFP(sec, usec, static_cast<long>(left.tv_sec),
                                              static_cast<long>(left.tv_usec));
    }

private:
    long sec;
    long usec;
};

} // namespace

int itcDispatcher::dispatch()
{
    clearStatus(*this);
    const int result = dispatch(nullptr);
    if (result != 0)
        return result;
    setStatus(*this, Itc_Dp_No_Connection_Linked, Error);
    return errorNumber;
}

int itcDispatcher::dispatch(double seconds)
{
    clearStatus(*this);
    timeval tv = timevalOf(seconds);
    return dispatch(&tv);
}

int itcDispatcher::dispatch(long& sec, long& usec)
{
    clearStatus(*this);
    timeval tv = {};
    tv.tv_sec = sec;
    tv.tv_usec = usec;
    const timeval begin = currentTime();
    const int result = dispatch(&tv);
    const timeval elapsed = currentTime() - begin;
    // One would expect the rest of the limit here, whatever it is. A rest longer than the cycle took becomes 0. A loop
    // that passes the rest on therefore ends early, never late. Hosts rely on these values.
    if (tv > elapsed)
        tv = timeval{};
    sec = static_cast<long>(tv.tv_sec);
    usec = static_cast<long>(tv.tv_usec);
    return result;
}

int itcDispatcher::dispatch(timeval* timeout)
{
    clearStatus(*this);
    perfFigures.selectCalls += 1;
    report();

    FdMask r;
    FdMask w;
    FdMask e;
    dispatchCount += 1;
    const AskedTime asked(timeout);
    mark(DispatchBegin);
    perfFigures.outsideTime += secondsOf(perfStopwatches.outsideTimer);

    int n = waitFor(r, w, e, timeout);
    fillInReady(n, r, w, e);
    notify(n, r, w, e);

    perfStopwatches.outsideTimer.start();
    if (startTimerFP != nullptr) {
        startTimerFP(DispatchEnd);
        if (timeout != nullptr && incDispatchSleepTimeFP != nullptr)
            asked.tellProfiler(*timeout);
    }
    if (timeout != nullptr)
        sleepMicros = saturatingAdd(sleepMicros, asked.microsUsed(*timeout));
    return n != 0;
}

int itcDispatcher::waitFor(FdMask& r, FdMask& w, FdMask& e, timeval* timeout)
{
    timeval local = {};
    for (;;) {
        r = *readMask;
        w = *writeMask;
        e = *exceptMask;
        std::vector<int> buffered;
        timeout = calculateTimeout(timeout, local, buffered);
        // detach() never makes nfds negative. A deriving dispatcher may: nfds is a protected field. select() would
        // refuse a negative number at once, and the loop would spin.
        if (nfds < 0)
            nfds = 0;

        perfStopwatches.callTimer.start();
        int n = OS_select(nfds, asFdSet(r), asFdSet(w), asFdSet(e), timeout);
        perfFigures.selectTime += secondsOf(perfStopwatches.callTimer);

        // One would expect this only after a successful select(). After a failed one it changes nothing: the sets are
        // as they were asked, so the descriptors are found in r, and n stays -1. The bytes are still held: the next
        // wait finds them.
        if (checkCommunicationBuffer && !buffered.empty())
            fillMask(n, r, buffered);
        // For the same reason a request to be called again is lost in a failed wait: fillInReady() finds its descriptor
        // in the set, does not count it, and empties the list. Such a wait has a limit of 0, so a signal seldom meets
        // it.
        if (n < 0 && handleError() != 0)
            return 0;
        if (nfds == 0)
            return 0;
        if (n >= 0)
            return n;
    }
}

timeval* itcDispatcher::calculateTimeout(timeval* timeout, timeval& local)
{
    std::vector<int> buffered;
    return calculateTimeout(timeout, local, buffered);
}

timeval* itcDispatcher::calculateTimeout(timeval* timeout, timeval& local, std::vector<int>& buffered)
{
    timeval* result = timeout;
    bool somethingIsDue = false;

    if (!timers->empty()) {
        const timeval now = currentTime();
        const timeval head = timers->earliest();
        if (head > now) {
            local = head - now;
            if (timeout == nullptr || *timeout > local)
                result = &local;
            if (result->tv_usec < 0)
                result->tv_usec = 0;
        } else {
            somethingIsDue = true;
        }
    }
    if (checkCommunicationBuffer) {
        for (int fd = 0; fd < nfds; ++fd) {
            // Without memory for the list this cycle must not wait either: select() does not see held bytes.
            if (readHandlers[fd] != nullptr && bufferedBytes(fd) > 0 && !appendFd(buffered, fd))
                somethingIsDue = true;
        }
        somethingIsDue = somethingIsDue || !buffered.empty();
    }
    if (somethingIsDue || anyReady()) {
        if (result == nullptr)
            result = &local;
        *result = timeval{};
    }
    return result;
}

// A slot with a read handler can be without a connection: attach() was given none, or a later attach() of another kind
// was given none. Such a slot holds no bytes.
int itcDispatcher::bufferedBytes(int fd) const { return connections[fd] != nullptr ? connections[fd]->bytes() : 0; }

bool itcDispatcher::anyReady() { return !readyRead->empty() || !readyWrite->empty() || !readyExcept->empty(); }

void itcDispatcher::fillMask(int& n, FdMask& m, const std::vector<int>& fds)
{
    for (const int fd : fds) {
        if (isSlot(fd) && !m.isSet(fd)) {
            m.setBit(fd);
            n += 1;
        }
    }
}

void itcDispatcher::fillInReady(int& n, FdMask& r, FdMask& w, FdMask& e)
{
    const auto merge = [&](FdMask& mask, std::vector<int>& list) {
        if (!list.empty()) {
            fillMask(n, mask, list);
            list.clear();
        }
    };
    merge(r, *readyRead);
    merge(w, *readyWrite);
    merge(e, *readyExcept);
}

// n counts events, not descriptors. When n is 0 every event has been served, and the loop ends early. An event counts
// also when its handler is gone. A write event that becomes an exception is one event: it is counted as the exception.
//
// Exceptions are neither counted nor timed, unlike reads and writes. The report has no line for them, and its text is
// known outside. A profiler is told their two markers.
void itcDispatcher::notify(int n, FdMask& r, FdMask& w, FdMask& e)
{
    const auto obey = [this](int result, int fd, std::vector<int>& ready) {
        if (result < 0)
            detach(fd, everyKind);
        else if (result > 0)
            appendFd(ready, fd); // fails only without memory, in nested cycles: the lists have room for all slots
    };

    // A handler may detach any descriptor, or link another connection under a number that is still to come. Therefore
    // nfds and the tables are read again at every step.
    for (int fd = 0; fd < nfds && n > 0; ++fd) {
        if (r.isSet(fd)) {
            if (itcIOHandler* const h = readHandlers[fd]) {
                obey(measuredCall(InputReadyBegin, InputReadyEnd, perfFigures.input,
                                  [&] { return h->inputReady(connections[fd], readData[fd]); }),
                     fd, *readyRead);
            }
            n -= 1;
        }
        if (w.isSet(fd)) {
            if (connectHasFailed(fd)) {
                if (e.isSet(fd))
                    n -= 1;
                else
                    e.setBit(fd);
            } else {
                if (itcIOHandler* const h = writeHandlers[fd]) {
                    obey(measuredCall(OutputReadyBegin, OutputReadyEnd, perfFigures.output,
                                      [&] { return h->outputReady(connections[fd], writeData[fd]); }),
                         fd, *readyWrite);
                }
                n -= 1;
            }
        }
        if (e.isSet(fd)) {
            if (itcIOHandler* const h = exceptHandlers[fd]) {
                mark(ExceptionBegin);
                const int result = h->exceptionRaised(connections[fd], exceptData[fd]);
                mark(ExceptionEnd);
                obey(result, fd, *readyExcept);
            }
            n -= 1;
        }
    }

    processAsyncReadyNotify();
    if (!timers->empty())
        timers->expire(currentTime());
}

// A pending connect that fails makes its descriptor writable, and leaves an error in the socket. select() reports no
// exception then. Hosts with an exception handler rely on this function: they are told of a failed connect there.
//
// SO_ERROR is the only way to find the failure, and asking clears it: the handler cannot learn the reason any more. So
// without an exception handler the socket is not asked, and the host can ask. If asking fails, the connect counts as
// failed.
bool itcDispatcher::connectHasFailed(int fd) const
{
    const itcConnection* const conn = connections[fd];
    if (conn == nullptr || conn->connState != itcConnection::ItcStateConnectPending || exceptHandlers[fd] == nullptr)
        return false;
    int error = 0;
    socklen_t length = sizeof error;
    return OS_getsockopt(conn->ExceptDescriptor(), SOL_SOCKET, SO_ERROR, &error, &length) != 0 || error != 0;
}
