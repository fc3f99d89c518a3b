/// \file
/// The pending one-shot timers of the dispatcher.
#pragma once

#include <kiv/dispatcher/Timeval.h>

class itcIOHandler;

/// One-shot timers in the order in which they are due. Each dispatcher owns one queue.
///
/// The queue is a singly linked list. Invariant: along Timer::next, Timer::expiry never decreases. Only insert() adds a
/// timer, and it keeps the invariant.
///
/// All times are readings of one clock. The dispatcher uses itcDispatcher::currentTime().
///
/// \par Ownership
/// The queue owns its timers. A handler belongs to the host and must live while a timer of it is
/// queued.
/// \par Threads
/// Only the thread that runs the dispatcher.
class KIV_EXPORT TimerQueue {
public:
    TimerQueue() = default; ///< An empty queue.
    ~TimerQueue();          ///< Frees the pending timers. No handler is called.
    TimerQueue(const TimerQueue&) = delete;
    TimerQueue& operator=(const TimerQueue&) = delete;

    /// Queues a timer. The cost grows with the number of timers that are due earlier.
    ///
    /// Nothing is checked:
    /// - A handler may be queued many times.
    /// - A time in the past is accepted. The timer fires at the next expiry.
    /// - A null handler is accepted. The timer expires and nobody is called.
    ///
    /// Timers of equal time do not fire in the order of their starts. A timer equal to the first one goes directly
    /// behind the first one. A timer equal to later ones goes in front of all of these. Three equal timers A, B, C fire
    /// as A, C, B. Where the order matters, give the timers different times.
    /// \param when    the time at which the timer is due.
    /// \param handler is called when the timer fires; not owned.
    /// \return true: the timer is queued.
    ///         false: there is no memory; nothing is queued.
    bool insert(timeval when, itcIOHandler* handler);

    /// Queues a timer that carries an interval. Nothing reads the interval: the timer fires once, as every timer does.
    /// A handler that wants to be called again queues itself again in timerExpired().
    /// \param when     the time at which the timer is due.
    /// \param interval is stored in the timer.
    /// \param handler  is called when the timer fires; not owned.
    /// \return true: the timer is queued.
    ///         false: there is no memory; nothing is queued.
    bool insert(timeval when, timeval interval, itcIOHandler* handler);

    /// Removes the first timer of this handler. Other timers of the handler stay. Without a timer nothing happens.
    void remove(itcIOHandler* handler);

    /// Fires and frees every timer that is due before `now`. A timer that is due exactly at `now` stays.
    ///
    /// Each handler is told `now`, not the time of its timer. A timer leaves the queue before its handler runs: the
    /// handler may start and stop timers.
    /// \warning A timer that a handler starts for a time before `now` fires in this same call. A handler that always
    ///          does this never lets the call end: start timers for `now` or later.
    void expire(timeval now);

    bool empty() const { return head == nullptr; }    ///< True if no timer is pending.
    timeval earliest() const { return head->expiry; } ///< The time of the first timer. REQUIRES: not empty().

protected:
    /// One pending timer.
    struct Timer {
        timeval expiry;        ///< The time at which the timer is due.
        timeval interval;      ///< What insert() was given; otherwise a copy of `expiry`. Nothing reads it.
        itcIOHandler* handler; ///< Not owned; may be null.
        Timer* next;           ///< The timer behind this one: due at the same time or later. Null at the end.
    };

    Timer* head = nullptr; ///< The first timer; null if the queue is empty. Along `next`, `expiry` never decreases.

private:
    KIV_HIDDEN bool isSorted() const;
};
