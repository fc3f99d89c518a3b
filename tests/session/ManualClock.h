/// \file
/// A clock that only a test moves. ManualClockTest.cpp defines it.
#pragma once

#include <chrono>

/// While a ManualClock exists, std::chrono::steady_clock and the clock of the dispatcher stand still, except for one
/// microsecond in each cycle. Deadlines of hours are then tested without waiting, and a slow machine changes nothing.
/// Objects with timers must be made and destroyed while the ManualClock exists.
class ManualClock {
public:
    ManualClock();
    ~ManualClock();
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    void advance(std::chrono::nanoseconds time);
};
