#include "Program.h"

#include "Stop.h"

#include <csignal>
#include <cstdio>
#include <exception>

int runProgram(const char* name, const std::function<int()>& body)
try {
    // First thing in every host: writing to a peer that has gone then fails, instead of ending the process.
    std::signal(SIGPIPE, SIG_IGN);
    stopOnSignals();
    return body();
} catch (const std::exception& failure) { // the library throws nothing, but printing may
    std::fprintf(stderr, "%s: %s\n", name, failure.what());
    return 1;
}
