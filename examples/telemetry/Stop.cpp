#include "Stop.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t stopFlag = 0;

void requestStop(int /*signal*/)
{
    stopFlag = 1; // about all that a signal handler may do
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

bool stopRequested()
{
    return stopFlag != 0;
}
