#include "Ticker.h"

#include <utility>

Ticker::Ticker(itcDispatcher& dispatcher, std::chrono::milliseconds interval, std::function<void()> action)
    : dispatcher(dispatcher), interval(interval), action(std::move(action))
{}

Ticker::~Ticker()
{
    stop(); // the dispatcher must not outlive it with a dead pointer
}

void Ticker::start()
{
    const auto micros = std::chrono::microseconds(interval).count();
    dispatcher.startTimer(static_cast<long>(micros / 1000000), static_cast<long>(micros % 1000000), this);
}

void Ticker::stop()
{
    dispatcher.stopTimer(this);
}

void Ticker::timerExpired(long /*sec*/, long /*usec*/)
{
    start(); // first: the action may stop it
    action();
}
