// A timer that ticks, one that fires once, and one that is stopped before it fires.   timers
#include <kiv/kiv.h>

#include <iostream>

// The library's timers fire once. One that is to go on starts itself again.
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

class Alarm : public itcIOHandler {
public:
    explicit Alarm(const char* text) : text(text) {}

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
        dispatcher.dispatch(5.0); // ends for each timer, and after 5 seconds in any case

    metronome.stop(); // a timer left running would call a handler that is gone
    dispatcher.dispatch(0.5);
    delete &dispatcher;
    return metronome.beats == 5 && !never.hasRung ? 0 : 1;
}
