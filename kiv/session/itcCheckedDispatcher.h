/// \file
/// A dispatcher that tells a host what it does wrong.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>

#include <functional>
#include <memory>
#include <string>

/// A dispatcher for debugging. It works like itcDispatcher, and prints one line for each misuse that it notices.
///
/// \code
/// #ifndef NDEBUG
///     itcCheckedDispatcher checked;
///     itcDispatcher::instance(&checked); // before anything is linked
/// #endif
/// \endcode
/// It notices, at the latest in the next cycle, about objects that were linked or started before the latest wait:
/// - a connection that was deleted while it is linked; the descriptor is unlinked then, since the dispatcher would use
///   the dead object;
/// - a descriptor that was closed while it is linked;
/// - a handler that was deleted while a timer of it runs; the timer is stopped then;
/// - a stream that is linked while SIGPIPE is not ignored;
/// - a handler that starts timers for the past again and again in one cycle;
/// - a listener in blocking mode that is linked for reading;
/// - a descriptor above the limit of 1024;
/// - a resumable buffer that is read or written through its base class, if the library is a debug build. The library
///   tells this to the hook for error reports: it is noticed unless the host has installed a hook of its own.
///
/// Each line names the class of the handler and the descriptor. A line that was told is not told again.
///
/// Blocking mode and SIGPIPE are looked at once, in the first wait of a descriptor.
///
/// It asks the system about every linked descriptor in every cycle: do not use it where speed matters. It looks at the
/// first word of an object to see whether the object lives. A dead object whose memory was used again for an object of
/// the same class is not noticed. The same holds for an object of itcConnection itself, without a deriving class, that
/// was not on the heap: its descriptor is told as closed.
/// \par Ownership
/// As every dispatcher it must outlive what is linked to it: make it before acceptors, connectors and timers.
/// \par Threads
/// As itcDispatcher.
class KIV_EXPORT itcCheckedDispatcher : public itcDispatcher {
public:
    using Print = std::function<void(const std::string& line)>; ///< Gets each line.

    itcCheckedDispatcher();                     ///< Prints to the standard error stream.
    explicit itcCheckedDispatcher(Print print); ///< Hands each line, without its end, to a function.
    ~itcCheckedDispatcher() override;

    void startTimer(long sec, long usec, itcIOHandler* h) override;
    void stopTimer(itcIOHandler* h) override;
    void attach(int fd, itcConnection* conn, char* clientData, itcDispatcherMask mask, itcIOHandler* h) override;
    void detach(int fd, itcDispatcherMask mask) override;
    int waitFor(FdMask& r, FdMask& w, FdMask& e, timeval* timeout) override;

private:
    class KIV_HIDDEN Checks;

    KIV_HIDDEN bool isInUse(int fd) const;
    KIV_HIDDEN void watch(int fd, itcConnection* conn, itcIOHandler* h);
    KIV_HIDDEN void lookAtConnections();
    KIV_HIDDEN void lookAtDescriptor(int fd);
    KIV_HIDDEN void lookAtTimers();

    std::unique_ptr<Checks> checks;
};
