/// \file
/// What a host derives from to be called by the dispatcher.
#pragma once

#include <kiv/foundation/export.h>

class itcConnection;

/// The handler of descriptors and timers. Derive, override what is wanted, and link it to the itcDispatcher.
///
/// The result of the three descriptor calls steers what happens next:
/// - negative: the descriptor is detached from all three interests. The defaults answer -1, so an event that a handler
///   does not care for unlinks the descriptor instead of spinning;
/// - zero: nothing more;
/// - positive: call me again: the next cycle does not wait and reports the descriptor ready, whatever select() says.
///
/// A handler may unlink, close or delete its own connection, or another's, inside a call. It must unlink a connection
/// before it deletes it: the dispatcher keeps only pointers.
///
/// \par Ownership  The dispatcher owns neither handlers nor connections nor client data.
/// \par Threads    All calls come on the dispatching thread.
class KIV_EXPORT itcIOHandler {
public:
    // Hosts derive from this class: the order of these operations is binary interface.
    virtual ~itcIOHandler();
    /// The descriptor is readable. \param conn what it was linked with, or null; \param clientData what was given then.
    virtual int inputReady(itcConnection* conn, char* clientData);
    /// The descriptor is writable; a pending connect has succeeded.
    virtual int outputReady(itcConnection* conn, char* clientData);
    /// An exceptional condition: urgent data, a pending connect that failed, or a descriptor that turned out bad.
    virtual int exceptionRaised(itcConnection* conn, char* clientData);
    /// A timer has expired. The dispatcher's clock is passed as it was when the expiry began. A timer that is started
    /// here for a time already past fires in the same cycle.
    virtual void timerExpired(long sec, long usec);
};
