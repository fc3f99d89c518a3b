/// \file
/// A wall clock that shows the time that a test has set.
#pragma once

#include "OsFaults.h"

#include <cstdint>

/// From now on every reading of the wall clock gives this time, until the next call of setWallClock().
inline void setWallClock(int64_t sec, int64_t usec)
{
    OsFaults::gettimeofday().instead = [=](timeval* tv, void*) {
        *tv = {};
        tv->tv_sec = sec;
        tv->tv_usec = usec;
        return 0;
    };
}
