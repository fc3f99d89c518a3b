// The timer is started again before the action runs. The action can therefore stop the Ticker. The time that
// the action takes does not make the interval longer, as long as the action is faster than the interval.
#include "Ticker.h"

#include <utility>

Ticker::Ticker(itcDispatcher& loop, std::chrono::milliseconds period, std::function<void()> onTick)
    : dispatcher(loop), interval(period), action(std::move(onTick))
{}

Ticker::~Ticker()
{
    stop(); // the dispatcher would keep a pointer to a destroyed handler
}

void Ticker::start()
{
    const auto micros = std::chrono::microseconds(interval).count();
    dispatcher.startTimer(static_cast<long>(micros / 1000000), static_cast<long>(micros % 1000000), this);
}

void Ticker::stop() { dispatcher.stopTimer(this); }

void Ticker::timerExpired(long /*sec*/, long /*usec*/)
{
    start(); // before the action: the action may call stop()
    action();
}
