// One dispatch cycle, from dispatch(timeval*) downward: report, wait, merge those who asked to be called again, notify,
// account. The other forms of dispatch() only make the time limit.
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

// \return false without memory.
bool appendFd(std::vector<int>& fds, int fd)
try {
    fds.push_back(fd);
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

// The limit of a wait as the caller gave it, to be compared with what the wait leaves of it.
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
    // One would expect the rest to be handed back whole. It becomes zero whenever more was left than was used.
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
        if (nfds < 0)
            nfds = 0;

        perfStopwatches.callTimer.start();
        int n = OS_select(nfds, asFdSet(r), asFdSet(w), asFdSet(e), timeout);
        perfFigures.selectTime += secondsOf(perfStopwatches.callTimer);

        if (checkCommunicationBuffer && !buffered.empty())
            fillMask(n, r, buffered);
        // A failed select() leaves the sets as they were asked. fillInReady() then takes the descriptors that asked to
        // be called again for ready ones that are counted already: their request is lost, and the cycle returns 0.
        // In practice such a wait has a zero limit, and a signal hardly ever meets it.
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
            // Without memory for the list this cycle must not wait either: select() does not see those bytes.
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

// A descriptor may have been attached without a connection, or lost it to another interest's attach.
int itcDispatcher::bufferedBytes(int fd) const
{
    return connections[fd] != nullptr ? connections[fd]->bytes() : 0;
}

bool itcDispatcher::anyReady()
{
    return !readyRead->empty() || !readyWrite->empty() || !readyExcept->empty();
}

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

// n counts ready events, not descriptors: at 0 nothing more can be set. A write event that turns into an exception is
// still one event.
void itcDispatcher::notify(int n, FdMask& r, FdMask& w, FdMask& e)
{
    const auto obey = [this](int result, int fd, std::vector<int>& ready) {
        if (result < 0)
            detach(fd, everyKind);
        else if (result > 0)
            appendFd(ready, fd); // room is kept for every descriptor; nested cycles may ask for more
    };

    // Handlers may detach any descriptor meanwhile: nfds and the tables are read anew at every step.
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

// A pending connect that fails makes its descriptor writable, with the error waiting in the socket. Where somebody
// listens for exceptions, that is what it is told as.
bool itcDispatcher::connectHasFailed(int fd) const
{
    const itcConnection* const conn = connections[fd];
    if (conn == nullptr || conn->connState != itcConnection::ItcStateConnectPending || exceptHandlers[fd] == nullptr)
        return false;
    int error = 0;
    socklen_t length = sizeof error;
    return OS_getsockopt(conn->ExceptDescriptor(), SOL_SOCKET, SO_ERROR, &error, &length) != 0 || error != 0;
}
