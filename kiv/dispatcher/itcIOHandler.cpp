// The default calls. Each descriptor call answers -1, which detaches the descriptor.
// An event that nobody handles stays ready in select(): with the answer 0 the loop would spin.
// An expired timer has left the queue already, so the default of timerExpired() has nothing to do.
#include <kiv/dispatcher/itcIOHandler.h>

#include <atomic>

// A destroyed handler bears the mark of this class: its first word is the address of this class's table. A compiler
// leaves this store out, because nothing reads a destroyed object. A dispatcher that looks for dead handlers reads it.
itcIOHandler::~itcIOHandler() { std::atomic_signal_fence(std::memory_order_release); }

int itcIOHandler::inputReady(itcConnection*, char*) { return -1; }

int itcIOHandler::outputReady(itcConnection*, char*) { return -1; }

int itcIOHandler::exceptionRaised(itcConnection*, char*) { return -1; }

void itcIOHandler::timerExpired(long, long) {}
