#include <kiv/dispatcher/itcIOHandler.h>

itcIOHandler::~itcIOHandler() = default;

int itcIOHandler::inputReady(itcConnection*, char*)
{
    return -1;
}

int itcIOHandler::outputReady(itcConnection*, char*)
{
    return -1;
}

int itcIOHandler::exceptionRaised(itcConnection*, char*)
{
    return -1;
}

void itcIOHandler::timerExpired(long, long) {}
