// Calls an action again and again.
#pragma once

#include <kiv/kiv.h>

#include <chrono>
#include <functional>

/// Calls an action at intervals. A timer of the dispatcher fires once; the Ticker starts the timer again each time.
class Ticker : public itcIOHandler {
public:
    Ticker(itcDispatcher& dispatcher, std::chrono::milliseconds interval, std::function<void()> action);
    ~Ticker() override;

    void start(); ///< The first call comes after one interval.
    void stop();  ///< The action may call stop(), too.

    void timerExpired(long sec, long usec) override;

private:
    itcDispatcher& dispatcher;
    const std::chrono::milliseconds interval;
    const std::function<void()> action;
};
