// The default calls. Each descriptor call answers -1, which detaches the descriptor.
// An event that nobody handles stays ready in select(): with the answer 0 the loop would spin.
// An expired timer has left the queue already, so the default of timerExpired() has nothing to do.
#include <kiv/dispatcher/itcIOHandler.h>

itcIOHandler::~itcIOHandler() = default;

int itcIOHandler::inputReady(itcConnection*, char*) { return -1; }

int itcIOHandler::outputReady(itcConnection*, char*) { return -1; }

int itcIOHandler::exceptionRaised(itcConnection*, char*) { return -1; }

void itcIOHandler::timerExpired(long, long) {}
