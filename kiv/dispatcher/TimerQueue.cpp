#include <kiv/dispatcher/TimerQueue.h>

#include <kiv/dispatcher/Timeval.h>
#include <kiv/dispatcher/itcIOHandler.h>

#include <memory>
#include <new>
#include <utility>

TimerQueue::~TimerQueue()
{
    while (head != nullptr)
        delete std::exchange(head, head->next);
}

bool TimerQueue::insert(timeval when, itcIOHandler* handler)
{
    return insert(when, when, handler);
}

bool TimerQueue::insert(timeval when, timeval interval, itcIOHandler* handler)
{
    Timer* const timer = new (std::nothrow) Timer{when, interval, handler, nullptr};
    if (timer == nullptr)
        return false;

    // The head yields only to an earlier timer, every later node already to an equal one: that is the order of ties.
    Timer** place = &head;
    if (head != nullptr && !(when < head->expiry)) {
        place = &head->next;
        while (*place != nullptr && when > (*place)->expiry)
            place = &(*place)->next;
    }
    timer->next = *place;
    *place = timer;
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

void TimerQueue::expire(timeval now)
{
    while (head != nullptr && head->expiry < now) {
        const std::unique_ptr<Timer> due(std::exchange(head, head->next));
        if (due->handler != nullptr)
            due->handler->timerExpired(static_cast<long>(now.tv_sec), static_cast<long>(now.tv_usec));
    }
}
