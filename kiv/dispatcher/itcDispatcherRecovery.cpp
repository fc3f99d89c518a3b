// What happens after select() has failed.
#include <kiv/dispatcher/itcDispatcher.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/dispatcher/detail/Select.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/foundation/detail/Trace.h>

#include <cerrno>

using namespace kiv;

namespace {

// A zero-time select() of this descriptor alone.
bool isBad(int fd)
{
    FdMask single;
    single.setBit(fd);
    timeval atOnce = {};
    return OS_select(fd + 1, asFdSet(single), nullptr, nullptr, &atOnce) < 0;
}

} // namespace

int itcDispatcher::handleError()
{
    const int error = OS_getLastError();
    if (error == EINTR)
        return 1;

    char buffer[1023];
    const char* const text = OS_getStrError(error, buffer, sizeof buffer);
    traceFailure([&](std::ostream& out) { out << "itcDispatcher::handleError() " << text; });
    if (error != EBADF && error != ENOTSOCK)
        return 1;

    setStatus(*this, Itc_Dp_Select_Call_Failed_EBADF, Error);
    checkConnections();
    return 0;
}

void itcDispatcher::checkConnections()
{
    for (int fd = 0; fd < nfds; ++fd) {
        if (!isWanted(fd) || !isBad(fd))
            continue;
        if (connections[fd] != nullptr)
            setStatus(*connections[fd], Itc_Dp_Select_Call_Failed_EBADF, Error);
        tellOneHandler(fd);
        detach(fd, everyKind);
    }
}

// One handler is enough to let the host clean up; the one for exceptions is the first to be asked. What it answers does
// not matter, since the descriptor goes in any case.
void itcDispatcher::tellOneHandler(int fd)
{
    if (itcIOHandler* const except = exceptHandlers[fd])
        except->exceptionRaised(connections[fd], exceptData[fd]);
    else if (itcIOHandler* const write = writeHandlers[fd])
        write->outputReady(connections[fd], writeData[fd]);
    else if (itcIOHandler* const read = readHandlers[fd])
        read->inputReady(connections[fd], readData[fd]);
}
