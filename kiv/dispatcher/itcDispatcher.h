/// \file
/// The event loop.
#pragma once

#include <kiv/dispatcher/FdMask.h>
#include <kiv/dispatcher/TimerQueue.h>
#include <kiv/dispatcher/Timeval.h>
#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

#include <cstdint>
#include <vector>

class ICBKivReady;
class itcConnection;
class itcIOHandler;
struct itcAsyncFuncReady;

// Qt's types appear only as declarations, so that a host needs none of its headers.
class QRecursiveMutex;
class QThread;
template <typename T> class QQueue;
template <typename T> class QSet;

/// The kinds of interest in a descriptor; link(), unlink() and detach() take any combination.
enum itcDispatcherMask : int {
    ReadMask = 1,  ///< Readable: itcIOHandler::inputReady().
    WriteMask = 2, ///< Writable: itcIOHandler::outputReady().
    ExceptMask = 4 ///< Exceptional condition: itcIOHandler::exceptionRaised().
};

constexpr itcDispatcherMask operator|(itcDispatcherMask a, itcDispatcherMask b)
{
    return static_cast<itcDispatcherMask>(static_cast<int>(a) | static_cast<int>(b));
}

/// A select()-based event loop with one instance in the process.
///
/// The host links descriptors to handlers, starts timers and calls a form of dispatch() in its own loop. One cycle
/// waits once, calls the handlers of what is ready in ascending order of descriptors, delivers notifications from
/// other threads and fires the timers that are due. Connections never link themselves.
///
/// \par Ownership  Handlers, connections and client data stay the host's and must live while they are linked.
/// \par Threads    Everything runs on the host's dispatching thread, but for addAsyncReadyNotify(),
///                 registerICBKivReady() and deregisterICBKivReady(), which any thread may call.
/// \par Errors     A plain result; the reason lies in the dispatcher's own itcStatus. Nothing throws, except what a
///                 handler of the host itself lets out.
/// \par Limits     Descriptors from 0 to 1023.
class KIV_EXPORT itcDispatcher : public itcStatus {
public:
    /// Creates a dispatcher beside the singleton; install it with instance(itcDispatcher*) if it is to be found.
    /// Running out of memory here ends the process: without a dispatcher a host cannot go on.
    itcDispatcher() noexcept;
    itcDispatcher(const itcDispatcher&) = delete;
    itcDispatcher& operator=(const itcDispatcher&) = delete;

    // Hosts derive from this class to replace single steps; internal calls go through these operations too. Their
    // order is binary interface.

    /// Frees the tables, not what they point to; queued notifications stay queued. Waits until no other thread is
    /// inside the notification lock.
    virtual ~itcDispatcher();

    /// Registers a handler for the connection's descriptors, for each kind in `mask`.
    ///
    /// Client data is kept per descriptor and kind; the connection is kept per descriptor, so the last one linked or
    /// attached counts for all kinds. Unlink a connection before it is closed or deleted: the dispatcher keeps a
    /// pointer.
    /// \return 1 when every step succeeded; otherwise 0, later steps having been taken all the same, with the status of
    ///         the failing attach(). A null connection gives 0 with a clear status.
    virtual int link(itcConnection* conn, char* clientData, itcDispatcherMask mask, itcIOHandler* h);

    /// The handler registered for one kind of interest in the connection's descriptor.
    ///
    /// \return null when there is none; with `Itc_Dp_Invalid_Mask`, Error, where `mask` is not one single kind, or with
    ///         `Itc_Dp_Invalid_File_Descriptor`, Error, where `conn` is null or has no descriptor.
    virtual itcIOHandler* handler(itcConnection* conn, itcDispatcherMask mask);

    /// Takes back link() for each kind in `mask`. \return as link().
    virtual int unlink(itcConnection* conn, itcDispatcherMask mask);

    /// Takes back every registration of these kinds. \return 1.
    virtual int unlink_all(itcDispatcherMask mask);

    /// Starts a one-shot timer that calls itcIOHandler::timerExpired() in the first cycle that ends later than
    /// `sec` seconds and `usec` microseconds from now. Clears the status.
    ///
    /// Timers run on currentTime(), which follows when the wall clock is set. A handler may start itself again in
    /// timerExpired(), but for a time ahead: one that is due already fires in the same cycle, which may then never end.
    /// When there is no memory the timer is not started and the status is
    /// (`Itc_Tp_Malloc_Error`, Error).
    virtual void startTimer(long sec, long usec, itcIOHandler* h);

    /// Stops the earliest timer of this handler; none is no error. Clears the status.
    virtual void stopTimer(itcIOHandler* h);

    /// One cycle without a limit on the wait.
    ///
    /// \return non-zero when something was ready. Otherwise the status is (`Itc_Dp_No_Connection_Linked`, Error), also
    ///         when only a timer fired, and the result is its error number, which may be 0: test the status.
    virtual int dispatch();

    /// One cycle that waits for `sec` seconds and `usec` microseconds at most; a negative time makes the wait fail at
    /// once, and the result is 0. \return as dispatch(timeval*).
    ///
    /// Both arguments are handed back as the wait left them, but as zero whenever that is more than the time which the
    /// cycle took. So they are no budget for a loop: measure with currentTime() instead.
    virtual int dispatch(long& sec, long& usec);

    /// One cycle that waits for `seconds` at most. More seconds than a `long` holds are the most that it holds, a NaN
    /// is no time at all, and a negative time makes the wait fail at once, with the result 0.
    /// \return as dispatch(timeval*).
    virtual int dispatch(double seconds);

    /// Queues `target->ready(result, userData)` for the dispatching thread, in the order of the calls. Any thread.
    ///
    /// It does not wake a wait that is under way: give the wait a limit, or write to a descriptor that is linked. What
    /// is queued during a delivery is delivered in the same cycle: a ready() that always queues again never lets it
    /// end.
    /// \param thread the worker that notifies, or null. The dispatcher takes it over: after the delivery it waits up to
    ///               10 s for the thread to finish and deletes it. One that does not finish is reported through
    ///               KivDebug::pKivErrorPrint and never deleted.
    virtual void addAsyncReadyNotify(int result, ICBKivReady* target, void* userData, QThread* thread);

    /// Makes a receiver known; ICBKivReady does this itself. Any thread.
    virtual void registerICBKivReady(ICBKivReady* r);
    /// Forgets a receiver; notifications that are queued for it will be dropped. Any thread.
    virtual void deregisterICBKivReady(ICBKivReady* r);

    /// Registers a handler for a bare descriptor; `mask` is exactly one kind. A second registration of the same kind
    /// replaces the first. Detach it before `conn`, if there is one, is deleted. Does not clear the status.
    ///
    /// Failures: `Itc_Dp_Invalid_File_Descriptor` outside 0 to 1023, `Itc_Dp_Invalid_Mask`; Error, with whatever error
    /// number is pending, nothing changed.
    virtual void attach(int fd, itcConnection* conn, char* clientData, itcDispatcherMask mask, itcIOHandler* h);

    /// Takes back attach() for each kind in `mask`. Does not clear the status.
    /// Failure: `Itc_Dp_Invalid_File_Descriptor`, Error, nothing changed.
    virtual void detach(int fd, itcDispatcherMask mask);

    /// detach() for every descriptor.
    virtual void detach_all(itcDispatcherMask mask);

    /// One cycle: report, wait, merge those who asked to be called again, notify, account.
    ///
    /// \param timeout the limit of the wait, null for none. It is overwritten: with zero when something was waiting
    ///                already, else by select() with the time not slept, unless a timer was nearer.
    ///                A negative time makes the wait fail at once.
    /// \return 1 when something was ready, else 0: the time was up, only a timer fired, or the wait failed or was
    ///         interrupted.
    virtual int dispatch(timeval* timeout);

    /// The wait. \return the number of ready events, which `r`, `w` and `e` show.
    virtual int waitFor(FdMask& r, FdMask& w, FdMask& e, timeval* timeout);
    /// The handler calls, then the cross-thread notifications, then the timers.
    virtual void notify(int n, FdMask& r, FdMask& w, FdMask& e);
    /// The other calculateTimeout(), for callers that do not ask which descriptors hold input.
    virtual timeval* calculateTimeout(timeval* timeout, timeval& local);
    /// What is to be done about a failed select(). \return 0 to wait again, 1 to end the cycle.
    virtual int handleError();
    /// Finds the descriptors that select() refuses, tells one handler of each, and detaches them. A signal that arrives
    /// during the search makes a descriptor seem refused: link again what is still good.
    virtual void checkConnections();

    /// The singleton, created by the first call. Not guarded by a lock. The host deletes it when it is done.
    static itcDispatcher* instance();
    /// Replaces the singleton by a derived dispatcher, or by null so that the next instance() creates a fresh one. The
    /// previous one is not deleted.
    static void instance(itcDispatcher* d);

    /// True when a handler asked in the last cycle to be called again.
    bool anyReady();
    /// Adds each of `fds` to `m` and counts it in `n`, unless it is there already.
    void fillMask(int& n, FdMask& m, const std::vector<int>& fds);
    /// Adds those who asked to be called again to the ready sets and forgets them.
    void fillInReady(int& n, FdMask& r, FdMask& w, FdMask& e);
    /// Shortens the wait to the earliest timer, and to zero when input is already there.
    /// \param local    storage for a limit that is not the caller's.
    /// \param buffered receives the descriptors whose connections hold received bytes.
    /// \return what select() is to be given: null for no limit, `timeout`, or `&local`.
    timeval* calculateTimeout(timeval* timeout, timeval& local, std::vector<int>& buffered);
    /// The clock of the timers: the wall clock of the first call plus OS_getuptime(), which counts from a start of its
    /// own, so only differences mean anything. It follows when the wall clock is set, as OS_getuptime() does.
    timeval currentTime() const;
    /// Delivers what addAsyncReadyNotify() has queued, also what is queued meanwhile; part of every cycle.
    ///
    /// `ready()` and the wait for a worker run with the notification lock held: other threads that notify, create or
    /// destroy receivers wait meanwhile.
    void processAsyncReadyNotify();

    /// When true, every wait first asks each connection with a read handler whether it holds received bytes. A host
    /// with many descriptors whose connections hold none may switch it off.
    static bool checkCommunicationBuffer;

    /// \name Performance figures
    /// The dispatcher counts and times its waits and handler calls. While the flag `DBG_NFR` is on it prints a report
    /// once a minute at most and starts counting anew; while it is off the counters grow and finally wrap.
    /// \{

    /// Installs a profiler: `startTimer` is called with a marker's number at its place in the cycle, and
    /// `incDispatchSleepTime` at the end of a cycle that had a limit, with the limit as given and as the wait left it,
    /// but only while `startTimer` is installed too. Both may be null. Call it once, before dispatching starts.
    /// \param intReservedText is called at once for each of the eight markers, in order, with its text; null is
    ///                        told nothing.
    static void setPerfFunctions(void (*intReservedText)(int, const char*), void (*startTimer)(int),
                                 void (*incDispatchSleepTime)(long, long, long, long));
    /// Prints the report if it is due; part of every cycle.
    void report();

    static unsigned int messagesRead; ///< For the host to increment, on the dispatching thread; shown in the report.
    static unsigned int bytesRead;    ///< For the host to increment, on the dispatching thread; shown in the report.
    static void (*intReservedTextFP)(int id, const char* text);
    static void (*startTimerFP)(int id);
    static void (*incDispatchSleepTimeFP)(long origSec, long origUsec, long leftSec, long leftUsec);
    /// \}

protected:
    int capacity; ///< Number of descriptor slots.
    int nfds;     ///< One more than the highest descriptor that has a handler; 0 when none has.

    // What is wanted, what asked to be called again, and who is told: one of each per kind of interest.
    FdMask* readMask;
    FdMask* writeMask;
    FdMask* exceptMask;
    std::vector<int>* readyRead;
    std::vector<int>* readyWrite;
    std::vector<int>* readyExcept;
    itcIOHandler** readHandlers;
    itcIOHandler** writeHandlers;
    itcIOHandler** exceptHandlers;
    TimerQueue* timers;
    itcConnection** connections; ///< One per descriptor, shared by the three kinds.
    char** readData;
    char** writeData;
    char** exceptData;

    int64_t dispatchCount; ///< Number of cycles.
    int64_t sleepMicros;   ///< Microseconds by which the waits have used up the callers' limits.

    static itcDispatcher* _instance;

    // Shared with other threads, under asyncLock.
    static QRecursiveMutex asyncLock;
    static QSet<ICBKivReady*> registered;
    static QQueue<itcAsyncFuncReady*> pending;

private:
    friend class ICBKivReady;

    struct Interest;

    KIV_HIDDEN Interest interestIn(itcDispatcherMask kind) const;
    KIV_HIDDEN bool isSlot(int fd) const { return fd >= 0 && fd < capacity; }
    KIV_HIDDEN bool hasHandler(int fd) const;
    KIV_HIDDEN bool isWanted(int fd) const;
    KIV_HIDDEN int bufferedBytes(int fd) const;
    KIV_HIDDEN bool connectHasFailed(int fd) const;
    KIV_HIDDEN void tellOneHandler(int fd);
    KIV_HIDDEN static void forgetReceiver(ICBKivReady* r);
    KIV_HIDDEN static void deliver(itcAsyncFuncReady& record);
    KIV_HIDDEN static void retireWorker(QThread* worker);
    KIV_HIDDEN static void deleteWorker(QThread* worker);
    KIV_HIDDEN static void awaitOtherThreads();
};
