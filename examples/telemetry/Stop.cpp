// The signal handler only sets a flag; the main loop asks for the flag. The handler removes itself when it is called
// (SA_RESETHAND), and the next signal of the same kind has its usual effect: it ends the process.
#include "Stop.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t stopFlag = 0;

void requestStop(int /*signal*/)
{
    stopFlag = 1; // hardly anything else is allowed in a signal handler
}

} // namespace

void stopOnSignals()
{
    struct sigaction action = {};
    action.sa_handler = requestStop;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool stopRequested() { return stopFlag != 0; }
