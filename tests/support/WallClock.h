/// \file
/// A wall clock that shows what a test says.
#pragma once

#include "OsFaults.h"

#include <cstdint>

/// Every reading from now on gives this time, until the next call.
inline void setWallClock(int64_t sec, int64_t usec)
{
    OsFaults::gettimeofday().instead = [=](timeval* tv, void*) {
        *tv = {};
        tv->tv_sec = sec;
        tv->tv_usec = usec;
        return 0;
    };
}
