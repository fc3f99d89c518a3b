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

/// The kinds of interest in a descriptor. A mask is one kind or a combination of kinds.
enum itcDispatcherMask : int {
    ReadMask = 1,  ///< Readable: calls itcIOHandler::inputReady().
    WriteMask = 2, ///< Writable: calls itcIOHandler::outputReady().
    ExceptMask = 4 ///< Exceptional condition: calls itcIOHandler::exceptionRaised().
};

/// Combines two masks. \return the kinds of `a` and the kinds of `b`.
constexpr itcDispatcherMask operator|(itcDispatcherMask a, itcDispatcherMask b)
{
    return static_cast<itcDispatcherMask>(static_cast<int>(a) | static_cast<int>(b));
}

/// An event loop on select(). The host links descriptors to handlers, starts timers, and calls dispatch() in a loop of
/// its own. Connections never link themselves.
///
/// One call of dispatch() is one cycle:
/// 1. report() prints the performance report, if it is due.
/// 2. waitFor() waits in select(), once. After a bad descriptor has been removed it waits again.
/// 3. fillInReady() adds the descriptors whose handlers have asked to be called again.
/// 4. notify() calls the handlers of the ready descriptors, in ascending order of descriptors. For one descriptor the
///    order is read, write, exception.
/// 5. notify() delivers the notifications from other threads (processAsyncReadyNotify()).
/// 6. notify() fires the timers that are due.
/// 7. The time slept is counted, and the profiler is told.
///
/// \par Ownership
/// Handlers, connections and client data belong to the host. They must live while they are linked: the
/// dispatcher keeps plain pointers.
/// \par Threads
/// Everything runs on the host's dispatching thread. Three operations may be called on any thread:
/// addAsyncReadyNotify(), registerICBKivReady(), deregisterICBKivReady().
/// \par Errors
/// An operation returns a plain result. The reason lies in the dispatcher's own itcStatus. When no
/// system call has failed, the status carries the error number that was pending (`errno`); go by the
/// code. Nothing throws, except functions of the host. An exception of the host leaves the cycle at
/// once, and the remaining steps do not happen.
/// \par Limits
/// Descriptors from 0 to 1023, the size of an `fd_set`.
class KIV_EXPORT itcDispatcher : public itcStatus {
public:
    /// Makes a dispatcher. To make it the singleton, call instance(itcDispatcher*).
    ///
    /// When there is no memory the process ends: without a dispatcher a host cannot go on.
    itcDispatcher() noexcept;
    itcDispatcher(const itcDispatcher&) = delete;
    itcDispatcher& operator=(const itcDispatcher&) = delete;

    // Hosts derive from this class to replace single steps; internal calls go through these operations too. Their
    // order is binary interface.

    /// Frees the tables and the timers. Handlers and connections are not deleted. Notifications stay queued: another
    /// dispatcher of the process can deliver them. If this dispatcher is the singleton, there is none afterwards.
    ///
    /// Waits until no other thread holds the notification lock.
    virtual ~itcDispatcher();

    /// Registers a handler for the descriptors of a connection. Clears the status first.
    ///
    /// For each kind in `mask`, in the order read, write, exception, attach() is called with the connection's
    /// descriptor for this kind. When one call fails the later ones are made nevertheless.
    ///
    /// Client data is kept per descriptor and kind. The connection is kept once per descriptor: the connection that is
    /// linked last counts for all three kinds.
    /// \warning Unlink a connection before it is closed or deleted. After Close() the connection no longer knows its
    ///          descriptor, so unlink() fails; detach() the number then. After a delete the dispatcher would use a dead
    ///          pointer.
    /// \warning Use ItcNonBlocking for what is linked. A descriptor that is closed, and whose number is used again
    ///          within one cycle, brings the readiness of the old connection to the new one. A blocking Read() would
    ///          then wait for data that has never come. A non-blocking Read() reports Itc_Tp_Would_Block.
    /// \param conn       the connection; not owned.
    /// \param clientData is passed to the handler's calls unchanged; may be null; not owned.
    /// \param mask       any combination of kinds. Other bits are ignored; without a kind nothing is registered.
    /// \param h          the handler; not owned. Not null: select() would report the descriptor and nobody would be
    ///                   called, so the loop would spin.
    /// \return 1: every step has succeeded; the status is clear.
    ///         0, status clear: `conn` is null.
    ///         0, (Itc_Dp_Invalid_File_Descriptor, Error): a descriptor is outside 0 to 1023, for example closed.
    virtual int link(itcConnection* conn, char* clientData, itcDispatcherMask mask, itcIOHandler* h);

    /// Looks up the handler of a connection for one kind of interest. Clears the status first.
    /// \param conn the connection whose descriptor is looked up.
    /// \param mask exactly one kind.
    /// \return the handler: it is registered for this kind; the status is clear.
    ///         null, status clear: no handler is registered for this kind.
    ///         null, (Itc_Dp_Invalid_Mask, Error): `mask` is not exactly one kind.
    ///         null, (Itc_Dp_Invalid_File_Descriptor, Error): `conn` is null, or its descriptor is outside 0 to 1023.
    virtual itcIOHandler* handler(itcConnection* conn, itcDispatcherMask mask);

    /// Removes the registrations of a connection. Clears the status first.
    ///
    /// For each kind in `mask`, in the order read, write, exception, detach() is called with the connection's
    /// descriptor for this kind. When one call fails the later ones are made nevertheless. A kind that is not
    /// registered is no error.
    /// \param conn the connection, before it is closed.
    /// \param mask any combination of kinds. Other bits are ignored.
    /// \return 1: every step has succeeded; the status is clear.
    ///         0, status clear: `conn` is null.
    ///         0, (Itc_Dp_Invalid_File_Descriptor, Error): a descriptor is outside 0 to 1023, for example closed.
    virtual int unlink(itcConnection* conn, itcDispatcherMask mask);

    /// Removes the registrations of all descriptors for each kind in `mask`. Clears the status first.
    /// \param mask any combination of kinds. Other bits are ignored.
    /// \return 1: done; the status is clear.
    ///         0: only where detach() of a deriving dispatcher has reported a failure in the status.
    virtual int unlink_all(itcDispatcherMask mask);

    /// Starts a one-shot timer. Clears the status first.
    ///
    /// itcIOHandler::timerExpired() is called once, at the end of the first cycle in which more than the delay has
    /// passed. A handler may have many timers.
    ///
    /// When there is no memory the timer is not started, and the status is (Itc_Tp_Malloc_Error, Error).
    /// \warning Timers follow the steps of the wall clock, because currentTime() does. When the clock is set back by an
    ///          hour every timer is an hour late; when it is set forward timers fire early. Let the system adjust its
    ///          clock slowly instead of in steps, or measure with a steady clock in timerExpired() and start the timer
    ///          again.
    /// \warning A timer that a handler starts in timerExpired() for a time in the past fires in the same cycle. A
    ///          handler that always does this never lets the cycle end. Use a delay of 0 or more there.
    /// \param sec  seconds of the delay. A negative delay gives a time in the past.
    /// \param usec microseconds of the delay, from 0 to 999999. Only one second of a larger number is carried, and
    ///             the timer fires too early.
    /// \param h    the handler; not owned. With null the timer expires and nobody is called.
    virtual void startTimer(long sec, long usec, itcIOHandler* h);

    /// Stops the timer of this handler that is due first. Other timers of the handler stay. Without a timer nothing
    /// happens. Clears the status.
    virtual void stopTimer(itcIOHandler* h);

    /// Runs one cycle without a limit. The wait ends early for a timer, for held bytes, and for a request to be called
    /// again.
    ///
    /// One would expect a clear status after a cycle in which a timer has fired. But only descriptors count: a timer or
    /// a notification alone gives (Itc_Dp_No_Connection_Linked, Error). A host's loop goes on after this status. The
    /// pending error number may be 0 or 1, so the result alone does not tell the two cases apart: test `code`.
    /// \return 1: a descriptor was ready.
    ///         The pending error number, which may be 0, with (Itc_Dp_No_Connection_Linked, Error): no descriptor was
    ///         ready. Nothing is linked, or only a timer fired, or the wait was interrupted or failed.
    virtual int dispatch();

    /// Runs one cycle. The wait takes at most `sec` seconds and `usec` microseconds.
    ///
    /// On return `sec` and `usec` hold the rest of the limit. The first case that applies decides:
    /// - A timer was to fire before the limit: the rest is the whole limit.
    /// - A timer was due, a connection held received bytes, or a handler had asked to be called again: the rest is 0.
    /// - In all other cases the rest is the time not slept.
    ///
    /// A rest that is longer than the cycle took is then replaced by 0. Do not pass the rest to the next call as a
    /// remaining time: measure with currentTime().
    /// \warning A negative limit that is not replaced by 0 makes the wait fail at once: see dispatch(timeval*). No
    ///          descriptor is served, the result is 0, and a loop would spin. Pass 0 instead.
    /// \param sec  seconds of the limit; overwritten.
    /// \param usec microseconds of the limit; overwritten.
    /// \return 1: a descriptor was ready, a connection held received bytes, or a handler had asked to be called again.
    ///         0: the time was up, only a timer fired, nothing is linked, or the wait failed (a signal, too).
    virtual int dispatch(long& sec, long& usec);

    /// Runs one cycle. The wait takes at most `seconds`. Fractions of a microsecond are cut off. Too large values are
    /// cut to the largest `long`; NaN counts as 0.
    /// \warning A negative limit makes the wait fail at once, and the result is 0: a loop would spin. Pass 0 instead.
    /// \param seconds the limit.
    /// \return 1: a descriptor was ready, a connection held received bytes, or a handler had asked to be called again.
    ///         0: the time was up, only a timer fired, nothing is linked, or the wait failed (a signal, too).
    virtual int dispatch(double seconds);

    /// Queues a call of `target->ready(result, userData)` for the dispatching thread. Any thread may call this. The
    /// calls are delivered in the order in which they were queued, at the end of the next cycle of any dispatcher of
    /// the process.
    ///
    /// Waits while a delivery is under way on another thread: the delivery holds the notification lock. Without memory
    /// the notification is dropped, and `thread` is neither waited for nor deleted. A notification for a receiver that
    /// is not registered at the delivery is dropped too, but its `thread` is waited for and deleted.
    /// \warning A notification does not wake a wait that is under way. Give the wait a limit, or write a byte into a
    ///          pipe that is linked.
    /// \warning What is queued during a delivery is delivered in the same cycle. A ready() that always queues another
    ///          notification never lets the cycle end: let a timer queue it.
    /// \param result   the first argument of ready().
    /// \param target   the receiver; not owned. It may be destroyed before the delivery.
    /// \param userData the second argument of ready(); not owned.
    /// \param thread   the worker that notifies, or null. The dispatcher becomes its owner: after the delivery it waits
    ///                 up to 10 s for the thread to finish, and deletes it. A thread that has not finished by then is
    ///                 reported through KivDebug::pKivErrorPrint and never deleted. So let a worker notify last thing.
    virtual void addAsyncReadyNotify(int result, ICBKivReady* target, void* userData, QThread* thread);

    /// Makes a receiver known: from now on notifications for it are delivered. Any thread may call this. ICBKivReady
    /// calls this in its constructor.
    ///
    /// Waits while a delivery is under way on another thread. Without memory the receiver stays unknown.
    virtual void registerICBKivReady(ICBKivReady* r);
    /// Forgets a receiver: notifications that are queued for it are dropped. Any thread may call this. ICBKivReady
    /// calls this in its destructor.
    ///
    /// Waits while a delivery is under way on another thread. A receiver that is not known is no error.
    virtual void deregisterICBKivReady(ICBKivReady* r);

    /// Registers a handler for one descriptor and one kind. Another registration of the same descriptor and kind is
    /// replaced. Writes the status only on failure.
    ///
    /// On failure nothing changes. The status is then:
    /// - (Itc_Dp_Invalid_File_Descriptor, Error): `fd` is outside 0 to 1023.
    /// - (Itc_Dp_Invalid_Mask, Error): `mask` is not exactly one kind.
    ///
    /// \warning Detach the descriptor before `conn` is deleted: the dispatcher would use a dead pointer.
    /// \warning Use the non-blocking mode. A descriptor that is closed, and whose number is used again within one
    ///          cycle, brings the readiness of the old descriptor to the new one. A blocking read would then wait for
    ///          data that has never come.
    /// \param fd         the descriptor.
    /// \param conn       the connection that the handler is given, or null; not owned. It counts for all three kinds of
    ///                   this descriptor. A descriptor without a connection has no held bytes and no pending connect.
    /// \param clientData is passed to the handler's calls unchanged; may be null; not owned.
    /// \param mask       exactly one kind.
    /// \param h          the handler; not owned. Not null: select() would report the descriptor and nobody would be
    ///                   called, so the loop would spin.
    virtual void attach(int fd, itcConnection* conn, char* clientData, itcDispatcherMask mask, itcIOHandler* h);

    /// Removes the registrations of one descriptor for each kind in `mask`. Writes the status only on failure. A kind
    /// that is not registered is no error. When the descriptor has no handler left, its connection is forgotten.
    ///
    /// On failure nothing changes, and the status is (Itc_Dp_Invalid_File_Descriptor, Error): `fd` is outside 0 to
    /// 1023.
    ///
    /// A request to be called again is kept: if another handler is attached to the number before the next cycle, that
    /// handler is called.
    /// \param fd   the descriptor.
    /// \param mask any combination of kinds. Other bits are ignored.
    virtual void detach(int fd, itcDispatcherMask mask);

    /// Calls detach() for every descriptor below #nfds, from the highest down.
    /// \param mask any combination of kinds. Other bits are ignored.
    virtual void detach_all(itcDispatcherMask mask);

    /// Runs one cycle: see the class for its steps. The other forms of dispatch() call this one. Clears the status
    /// first. A handler may call it: cycles nest.
    ///
    /// The status afterwards is one of:
    /// - clear;
    /// - (Itc_Dp_Select_Call_Failed_EBADF, Error): a bad descriptor was removed;
    /// - the status that a handler's own call of this dispatcher has left.
    ///
    /// On return `*timeout` is:
    /// - unchanged, if a timer was to fire before the limit;
    /// - otherwise 0, if a timer was due, a connection held received bytes, or a handler had asked to be called again;
    /// - otherwise the time not slept, as select() has written it.
    ///
    /// \warning A negative limit that is not replaced by 0 makes the wait fail at once (select() refuses it): no
    ///          descriptor is served, the result is 0, and a loop would spin. Pass 0 instead. Timers and notifications
    ///          are served nevertheless.
    /// \warning A signal ends the wait, and the result is 0. A request to be called again that was made in the cycle
    ///          before is lost then. A handler that relies on the call starts a timer beside the request.
    /// \param timeout the limit of the wait; overwritten. Null: no limit.
    /// \return 1: a descriptor was ready, a connection held received bytes, or a handler had asked to be called again.
    ///         0: the time was up, only a timer fired, nothing is linked, or the wait failed (a signal, too).
    virtual int dispatch(timeval* timeout);

    /// Waits until something is ready. What the sets held before is overwritten.
    ///
    /// When select() fails, handleError() decides whether the wait is repeated. A wait that is not repeated returns 0,
    /// and the three sets then hold all that is wanted, not what is ready: do not evaluate them.
    /// \warning A request to be called again that meets such a failed wait is lost. After a failed wait each wanted
    ///          descriptor is still in the sets. fillInReady() does not count it, and drops the request. A handler that
    ///          relies on the call starts a timer beside the request.
    /// \warning A request for a kind of interest that has been unlinked since is counted nevertheless. If the request
    ///          meets a failed wait, notify() calls the handler of the lowest wanted descriptor, although nothing is
    ///          ready. A handler that unlinks its descriptor returns 0. Non-blocking connections bear such a call.
    /// \param r       receives the descriptors that are readable, or whose connections hold received bytes.
    /// \param w       receives the descriptors that are writable.
    /// \param e       receives the descriptors with an exceptional condition.
    /// \param timeout the limit of the wait; overwritten as dispatch(timeval*) says. Null: no limit.
    /// \return the number of ready events: a descriptor that is readable and writable is two events.
    ///         0: the time was up, the wait failed, or nothing is linked.
    virtual int waitFor(FdMask& r, FdMask& w, FdMask& e, timeval* timeout);

    /// Calls the handlers, then delivers the notifications from other threads, then fires the timers.
    ///
    /// Handlers are called in ascending order of descriptors; for one descriptor in the order read, write, exception.
    /// What the handlers answer is obeyed at once (see itcIOHandler). The calls stop when `n` events have been served.
    ///
    /// A pending connect that has failed makes its descriptor writable. If an exception handler is registered, that
    /// handler is called, and outputReady() is not. To find the failure the dispatcher asks the socket for its error
    /// (SO_ERROR), which clears the error there.
    /// \warning exceptionRaised() cannot learn the reason of a failed connect. A host that needs the reason registers
    ///          no exception handler while the connect is pending, and asks for SO_ERROR in outputReady().
    /// \warning A descriptor that a handler closes, and whose number is used again in the same cycle, brings the
    ///          readiness of the old connection to the new one. Use ItcNonBlocking for what is linked.
    /// \param n the number of events in the three sets.
    /// \param r the descriptors ready for reading.
    /// \param w the descriptors ready for writing.
    /// \param e the descriptors with an exceptional condition; failed connects are added.
    virtual void notify(int n, FdMask& r, FdMask& w, FdMask& e);

    /// Computes the limit of a wait. Calls the form with three arguments and drops the list of descriptors.
    ///
    /// One would expect that a deriving dispatcher changes the wait by replacing this operation. But the cycle does not
    /// call this operation: waitFor() needs the list and calls the form with three arguments. Replace waitFor()
    /// instead.
    /// \param timeout the limit of the caller, or null for none; may be overwritten.
    /// \param local   storage for a limit that is not the caller's. Must live as long as the result is used.
    /// \return null: no limit.
    ///         `timeout` or `&local`: the limit for select().
    virtual timeval* calculateTimeout(timeval* timeout, timeval& local);

    /// Decides what follows a failed select(). Call it directly after the failure: it reads `errno`.
    ///
    /// - EBADF, ENOTSOCK: the text is traced under KivDebug::DBG_KIV, the status becomes
    ///   (Itc_Dp_Select_Call_Failed_EBADF, Error), and checkConnections() is called.
    /// - EINTR: nothing more.
    /// - Any other error: its text is traced under KivDebug::DBG_KIV.
    ///
    /// \return 0: wait again. Bad descriptors have been removed.
    ///         1: end the cycle. The wait was interrupted, or another error happened.
    virtual int handleError();

    /// Finds the descriptors that select() refuses, and removes them. Each wanted descriptor is asked alone, without
    /// waiting.
    ///
    /// For each refused descriptor:
    /// 1. The status of its connection, if there is one, becomes (Itc_Dp_Select_Call_Failed_EBADF, Error).
    /// 2. One handler is called, and its answer is ignored: exceptionRaised() if there is an exception handler,
    ///    otherwise outputReady(), otherwise inputReady().
    /// 3. The descriptor is detached from all three kinds.
    ///
    /// \warning A signal that arrives during the search makes a good descriptor seem refused. The handler that is told
    ///          looks at its connection, and links it again from a timer if it is still good.
    /// \warning A handler that step 2 calls must not link a new connection. The new connection often gets the same
    ///          number, and step 3 would detach it. Connect again from a timer.
    virtual void checkConnections();

    /// The singleton. The first call creates it; without memory the process is aborted.
    ///
    /// Not guarded by a lock: make the first call before other threads use the dispatcher. The host deletes the
    /// dispatcher when it is done.
    /// \return the singleton, never null.
    static itcDispatcher* instance();
    /// Replaces the singleton. The previous one is not deleted.
    /// \param d a dispatcher, for example of a deriving class; it stays the host's. Null: the next instance() creates
    ///          one.
    static void instance(itcDispatcher* d);

    /// True if a handler has asked to be called again and the next cycle has not yet taken up the request.
    bool anyReady();
    /// Adds descriptors to a set, and counts those that were not yet in it. Descriptors outside 0 to 1023 are ignored.
    /// \param n   is raised by 1 for each descriptor that is added.
    /// \param m   the set.
    /// \param fds the descriptors.
    void fillMask(int& n, FdMask& m, const std::vector<int>& fds);
    /// Adds the descriptors whose handlers have asked to be called again to the ready sets, and forgets the requests.
    /// \param n is raised by 1 for each descriptor that was not yet in its set.
    /// \param r the descriptors ready for reading.
    /// \param w the descriptors ready for writing.
    /// \param e the descriptors with an exceptional condition.
    void fillInReady(int& n, FdMask& r, FdMask& w, FdMask& e);
    /// Computes the limit of a wait, in these steps:
    /// 1. The limit is that of the caller.
    /// 2. A timer that is due later, but before the limit, becomes the limit.
    /// 3. While a timer is pending that is not yet due, negative microseconds of the limit become 0.
    /// 4. The limit becomes 0 if a timer is due, a connection holds received bytes, or a handler has asked to be called
    ///    again. The wait then returns at once with what is ready.
    ///
    /// Without memory for `buffered` the limit becomes 0, too: select() does not see held bytes.
    /// \param timeout  the limit of the caller, or null for none. Overwritten with 0 in step 4 unless a timer has
    ///                 become the limit; its negative microseconds are overwritten in step 3.
    /// \param local    storage for a limit that is not the caller's. Must live as long as the result is used.
    /// \param buffered receives the descriptors whose connections hold received bytes (itcConnection::bytes()).
    /// \return null: no limit.
    ///         `timeout` or `&local`: the limit for select().
    timeval* calculateTimeout(timeval* timeout, timeval& local, std::vector<int>& buffered);
    /// The clock of the timers: the wall clock of the first call, plus OS_getuptime().
    ///
    /// OS_getuptime() counts from a start of its own, so the sum is not the time of day: only differences mean
    /// something. The clock jumps when the wall clock is set. All dispatchers of a process share the clock. The first
    /// call is not synchronised: make the first call before other threads use the clock.
    timeval currentTime() const;
    /// Delivers what addAsyncReadyNotify() has queued, in order, also what is queued meanwhile. Part of every cycle.
    ///
    /// The calls of ready() and the waits for workers run with the notification lock held. Other threads that notify,
    /// create receivers or destroy receivers wait meanwhile.
    void processAsyncReadyNotify();

    /// True at first. When true, every wait first asks each connection with a read handler whether the connection holds
    /// received bytes (itcConnection::bytes()). A host with many descriptors whose connections hold none may set it
    /// false.
    static bool checkCommunicationBuffer;

    /// \name Performance figures
    /// The dispatcher counts and times its waits and handler calls. While the flag KivDebug::DBG_NFR is on, a report is
    /// printed at the start of a cycle, at most once a minute, and the figures are set to 0. While the flag is off
    /// nothing is printed, and the figures grow until they wrap. All dispatchers of a process share the figures.
    /// \{

    /// Installs the functions of a profiler. Call this once, before dispatching starts: the pointers are plain words.
    /// \param intReservedText      is called at once for each of the eight markers 0 to 7, with its number and its
    ///                             text. Null: the texts are not registered. The markers are told nevertheless.
    /// \param startTimer           is called with the number of a marker at the marker's place in each cycle. Null:
    ///                             never.
    /// \param incDispatchSleepTime is called at the end of each cycle with a time limit, with four numbers: seconds and
    ///                             microseconds of the limit as given, seconds and microseconds as the wait left them.
    ///                             It is called only if `startTimer` is installed, too. Null: never.
    static void setPerfFunctions(void (*intReservedText)(int, const char*), void (*startTimer)(int),
                                 void (*incDispatchSleepTime)(long, long, long, long));
    /// Prints the report if the flag is on and 60 s have passed since the last report (or since a dispatcher was made).
    /// Part of every cycle.
    void report();

    static unsigned int messagesRead; ///< For the host to increment, on the dispatching thread; shown in the report.
    static unsigned int bytesRead;    ///< For the host to increment, on the dispatching thread; shown in the report.
    static void (*intReservedTextFP)(int id, const char* text); ///< See setPerfFunctions(); null at first.
    static void (*startTimerFP)(int id);                        ///< See setPerfFunctions(); null at first.
    /// See setPerfFunctions(); null at first.
    static void (*incDispatchSleepTimeFP)(long origSec, long origUsec, long leftSec, long leftUsec);
    /// \}

protected:
    int capacity; ///< The number of descriptor slots: 1024. Every table has one entry per slot.

    /// Invariant: no descriptor from this number on has a handler. attach() keeps the number above the descriptors that
    /// are attached. detach() lowers the number to one more than the highest descriptor with a handler, or to 0. A null
    /// handler does not count there. select() is asked for the descriptors below this number. A deriving dispatcher
    /// that writes the tables itself must keep the invariant.
    int nfds;

    // Invariant per descriptor and kind: the bit in the set, the handler and the client data are written together, by
    // attach() and detach(). notify() may find a bit whose handler is null, and then calls nobody.
    FdMask* readMask;   ///< The descriptors that are wanted for reading. Owned.
    FdMask* writeMask;  ///< The descriptors that are wanted for writing. Owned.
    FdMask* exceptMask; ///< The descriptors that are wanted for exceptions. Owned.

    // Invariant: each list holds the descriptors whose handler of this kind has asked to be called again (a positive
    // answer). notify() appends to the lists. fillInReady() empties them in the next cycle. detach() leaves them alone,
    // so a listed descriptor may have no handler any more.
    std::vector<int>* readyRead;   ///< Asked to be called again: inputReady(). Owned.
    std::vector<int>* readyWrite;  ///< Asked to be called again: outputReady(). Owned.
    std::vector<int>* readyExcept; ///< Asked to be called again: exceptionRaised(). Owned.

    itcIOHandler** readHandlers;   ///< The handlers for reading, by descriptor; null where there is none.
    itcIOHandler** writeHandlers;  ///< The handlers for writing, by descriptor; null where there is none.
    itcIOHandler** exceptHandlers; ///< The handlers for exceptions, by descriptor; null where there is none.
    TimerQueue* timers;            ///< The pending timers. Owned. Sorted: see TimerQueue.
    itcConnection** connections;   ///< One per descriptor, shared by the three kinds; null where there is none.
    char** readData;               ///< Client data for reading, by descriptor.
    char** writeData;              ///< Client data for writing, by descriptor.
    char** exceptData;             ///< Client data for exceptions, by descriptor.

    int64_t dispatchCount; ///< The number of cycles.

    /// Microseconds by which the waits have used up the callers' limits: the sum of each limit as given minus the limit
    /// as the wait left it. One cycle adds:
    /// - the time slept, if the caller's limit was used;
    /// - the whole limit, if something was due before the wait;
    /// - 0, if a timer set the limit, or if there was no limit.
    int64_t sleepMicros;

    static itcDispatcher* _instance; ///< The singleton; null before the first instance() and after its deletion.

    /// Guards #registered and #pending, which other threads use. Recursive: ready() runs under it and may notify.
    static QRecursiveMutex asyncLock;
    static QSet<ICBKivReady*> registered; ///< The receivers that live. Under #asyncLock. Not owned.

    /// The notifications, oldest first. Under #asyncLock. The queue owns its records: the delivery deletes them.
    ///
    /// A deriving dispatcher may append records itself, made with `new`, while it holds #asyncLock. They are delivered
    /// by the next drain that gets the lock. addAsyncReadyNotify() also sets a flag, and with the flag a drain waits
    /// for the lock. Without the flag a drain only tries the lock, and leaves the records to a later cycle if another
    /// thread holds it.
    static QQueue<itcAsyncFuncReady*> pending;

private:
    friend class ICBKivReady;

    struct Interest;

    KIV_HIDDEN Interest interestIn(itcDispatcherMask kind) const;
    KIV_HIDDEN bool isSlot(int fd) const { return fd >= 0 && fd < capacity; }
    KIV_HIDDEN bool hasHandler(int fd) const;
    KIV_HIDDEN bool isSound() const;
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
