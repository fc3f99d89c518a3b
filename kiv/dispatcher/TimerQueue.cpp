// The timers, as a list sorted by time: along `next`, `expiry` never decreases.
//
// A timer leaves the list before its handler is called. Handlers may therefore start and stop timers while expire()
// runs, and expire() keeps no position in the list: each round begins at the head.
#include <kiv/dispatcher/TimerQueue.h>

#include <kiv/dispatcher/Timeval.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/foundation/detail/Invariant.h>

#include <memory>
#include <new>
#include <utility>

TimerQueue::~TimerQueue()
{
    while (head != nullptr)
        delete std::exchange(head, head->next);
}

bool TimerQueue::insert(timeval when, itcIOHandler* handler) { return insert(when, when, handler); }

bool TimerQueue::insert(timeval when, timeval interval, itcIOHandler* handler)
{
    Timer* const timer = new (std::nothrow) Timer{when, interval, handler, nullptr};
    if (timer == nullptr)
        return false;

    // The order of equal timers: one would expect the order of their starts. Here a new timer goes behind an equal
    // head, but in front of an equal later timer. Hosts see this order, so the two different tests stay as they are.
    Timer** place = &head;
    if (head != nullptr && !(when < head->expiry)) {
        place = &head->next;
        while (*place != nullptr && when > (*place)->expiry)
            place = &(*place)->next;
    }
    timer->next = *place;
    *place = timer;
    KIV_INVARIANT(isSorted());
    return true;
}

bool TimerQueue::isSorted() const
{
    for (const Timer* timer = head; timer != nullptr && timer->next != nullptr; timer = timer->next) {
        if (timer->next->expiry < timer->expiry)
            return false;
    }
    return true;
}

void TimerQueue::remove(itcIOHandler* handler)
{
    for (Timer** place = &head; *place != nullptr; place = &(*place)->next) {
        if ((*place)->handler == handler) {
            delete std::exchange(*place, (*place)->next);
            return;
        }
    }
}

// "Earlier", not "earlier or equal": a handler may start itself again with a delay of 0. Within the resolution of the
// clock the new timer is due exactly at `now`. It must wait for the next cycle, since otherwise this loop would not
// end.
void TimerQueue::expire(timeval now)
{
    while (head != nullptr && head->expiry < now) {
        const std::unique_ptr<Timer> due(std::exchange(head, head->next));
        if (due->handler != nullptr)
            due->handler->timerExpired(static_cast<long>(now.tv_sec), static_cast<long>(now.tv_usec));
    }
}
