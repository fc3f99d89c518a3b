/// \file
/// The receiver of completion callbacks.
#pragma once

#include <kiv/foundation/export.h>

/// Is told when an operation has completed: by a connection, synchronously, or through the dispatcher, from another
/// thread (itcDispatcher::addAsyncReadyNotify()).
///
/// Every receiver registers itself with the dispatcher while it lives, so that a notification for one that is gone is
/// dropped. The first receiver of a process therefore also creates the dispatcher. A receiver that outlives the
/// dispatcher, or even the library's own static data, dies quietly and creates nothing.
///
/// \par Threads  May be created and destroyed on any thread. But only the destructor of this base waits for a delivery
///               that is under way, and by then the deriving part is gone: destroy receivers of cross-thread
///               notifications on the dispatching thread.
class KIV_EXPORT ICBKivReady {
public:
    ICBKivReady();
    ICBKivReady(const ICBKivReady&);
    ICBKivReady& operator=(const ICBKivReady&) = default;

    // Hosts derive from this class: the order of these operations is binary interface.
    virtual ~ICBKivReady();
    /// It may notify again; but what it queues is delivered in the same cycle, so it must not always do so.
    /// \param result   what the operation returned, or what addAsyncReadyNotify() was given.
    /// \param userData what the caller passed with the request.
    virtual void ready(int result, void* userData) = 0;
};
