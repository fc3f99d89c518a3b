// The loop asks `isDone` after each cycle. Whatever can change the answer ends the wait: packets, timers and signals.
#include "Program.h"

#include <kiv/companion.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>

int runProgram(const char* name, const std::function<int()>& body)
try {
    return body();
} catch (const std::exception& failure) { // the library throws nothing; printing text may
    std::fprintf(stderr, "%s: %s\n", name, failure.what());
    return 1;
}

bool dispatchUntil(const std::function<bool()>& isDone, double seconds)
{
    using Seconds = std::chrono::duration<double>;
    const auto begin = std::chrono::steady_clock::now();
    bool hasSignal = false;
    const itcSignals signals({SIGINT, SIGTERM}, [&](int) { hasSignal = true; });
    while (!hasSignal && !isDone()) {
        const double left = seconds - Seconds(std::chrono::steady_clock::now() - begin).count();
        if (left <= 0)
            break;
        itcDispatcher::instance()->dispatch(left);
    }
    return !hasSignal;
}
