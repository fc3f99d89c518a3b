// What every host of the library does first. The signals are set before anything else runs, so no write can come too
// early.
#include "Program.h"

#include "Stop.h"

#include <csignal>
#include <cstdio>
#include <exception>

int runProgram(const char* name, const std::function<int()>& body)
try {
    // Without this a write to a peer that has gone ends the process. With this the write fails.
    std::signal(SIGPIPE, SIG_IGN);
    stopOnSignals();
    return body();
} catch (const std::exception& failure) { // the library throws nothing; printing text may
    std::fprintf(stderr, "%s: %s\n", name, failure.what());
    return 1;
}
