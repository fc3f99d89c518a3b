// Something that is to happen over and over.
#pragma once

#include <kiv/kiv.h>

#include <chrono>
#include <functional>

/// Calls an action at intervals. The dispatcher's timers fire once; this one starts itself anew each time.
class Ticker : public itcIOHandler {
public:
    Ticker(itcDispatcher& dispatcher, std::chrono::milliseconds interval, std::function<void()> action);
    ~Ticker() override;

    void start(); ///< The first call comes after one interval.
    void stop();  ///< The action may do this, too.

    void timerExpired(long sec, long usec) override;

private:
    itcDispatcher& dispatcher;
    const std::chrono::milliseconds interval;
    const std::function<void()> action;
};
