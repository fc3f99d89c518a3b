// What happens after select() has failed.
//
// A host may close a descriptor without unlinking it. select() then refuses the whole set and does not say which
// descriptor is bad. So every wanted descriptor is asked alone, the bad ones are removed, and waitFor() waits again.
// The handler is told before the descriptor is detached: it still finds its connection, with the status of the failure.
// Any other failure ends the cycle. The next cycle waits again, with the same sets.
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

// Asks select() for this descriptor alone, without waiting. Every failure counts, also an interruption: the cycle must
// not wait again with a descriptor that cannot be judged.
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

// One call is enough: the host cleans up there, and may delete its other handlers. The handler for exceptions comes
// first, because a bad descriptor is an exception to the host. The answer is ignored: the descriptor goes in any case.
void itcDispatcher::tellOneHandler(int fd)
{
    if (itcIOHandler* const except = exceptHandlers[fd])
        except->exceptionRaised(connections[fd], exceptData[fd]);
    else if (itcIOHandler* const write = writeHandlers[fd])
        write->outputReady(connections[fd], writeData[fd]);
    else if (itcIOHandler* const read = readHandlers[fd])
        read->inputReady(connections[fd], readData[fd]);
}
