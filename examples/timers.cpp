// Three timers: the first ticks, the second fires once, the third is stopped before it fires.   timers
// A timer belongs to a handler and fires once. A timer that shall fire again is started again in timerExpired().
// A handler stops its timers before the handler is destroyed: the dispatcher keeps a pointer.
#include <kiv/kiv.h>

#include <iostream>

// Ticks: each tick starts the timer for the next tick.
class Metronome : public itcIOHandler {
public:
    int beats = 0;

    void start() { itcDispatcher::instance()->startTimer(0, 200000, this); } // seconds, microseconds
    void stop() { itcDispatcher::instance()->stopTimer(this); }

    void timerExpired(long, long) override
    {
        std::cout << "beat " << ++beats << '\n';
        start();
    }
};

// Fires once.
class Alarm : public itcIOHandler {
public:
    explicit Alarm(const char* ringing) : text(ringing) {}

    bool hasRung = false;

    void timerExpired(long, long) override
    {
        std::cout << text << '\n';
        hasRung = true;
    }

private:
    const char* const text;
};

int main()
{
    itcDispatcher& dispatcher = *itcDispatcher::instance();
    Metronome metronome;
    Alarm second("one second is over");
    Alarm never("this is never printed");

    metronome.start();
    dispatcher.startTimer(1, 100000, &second);
    dispatcher.startTimer(0, 500000, &never);
    dispatcher.stopTimer(&never);
    while (!second.hasRung)
        dispatcher.dispatch(5.0); // returns after each timer, and after 5 seconds at the latest

    metronome.stop(); // without this the timer would call a handler that no longer exists
    dispatcher.dispatch(0.5);
    delete &dispatcher;
    return metronome.beats == 5 && !never.hasRung ? 0 : 1;
}
