/// \file
/// The pending one-shot timers of the dispatcher.
#pragma once

#include <kiv/dispatcher/Timeval.h>

class itcIOHandler;

/// One-shot timers, sorted by the time at which they are due. The dispatcher owns one such queue.
///
/// \par Ownership  The queue owns its nodes, never the handlers: a handler stays alive while it is queued.
/// \par Threads    Only the thread that runs the dispatcher.
class KIV_EXPORT TimerQueue {
public:
    TimerQueue() = default;
    ~TimerQueue(); ///< Frees what is pending; no handler is called.
    TimerQueue(const TimerQueue&) = delete;
    TimerQueue& operator=(const TimerQueue&) = delete;

    /// Queues a timer due at `when`; a linear walk. Nothing is checked: a handler may be queued many times, a time may
    /// lie in the past (it fires at the next expiry), a null handler expires silently.
    ///
    /// Timers of equal time are not first in, first out: one equal to the head goes directly behind the head, one
    /// equal to any later node in front of it.
    /// \return true; false when there is no memory for the node, and nothing is queued.
    bool insert(timeval when, itcIOHandler* handler);
    /// The same with an interval that the node carries and nothing reads: a timer fires once. A handler that wants to
    /// be called again queues itself again from timerExpired().
    bool insert(timeval when, timeval interval, itcIOHandler* handler);

    /// Removes the first timer of this handler; the others stay.
    void remove(itcIOHandler* handler);

    /// Fires and frees every timer due strictly before `now`; each handler is told `now`, not its own time.
    ///
    /// A timer has left the queue before its handler runs, so the handler may start and stop timers. One that it
    /// starts for a time before `now` fires in this same call: a handler that always does so never lets it end.
    void expire(timeval now);

    bool empty() const { return head == nullptr; }
    timeval earliest() const { return head->expiry; } ///< REQUIRES: not empty().

protected:
    struct Timer {
        timeval expiry;
        timeval interval;
        itcIOHandler* handler; // may be null
        Timer* next;
    };

    Timer* head = nullptr; ///< Along `next`, `expiry` never decreases.
};
