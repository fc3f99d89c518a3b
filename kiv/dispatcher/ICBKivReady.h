/// \file
/// The receiver of completion callbacks.
#pragma once

#include <kiv/foundation/export.h>

/// The receiver of ready(): the host learns that an operation has completed.
///
/// There are two callers:
/// - A connection calls ready() directly, inside the operation (OpenConnection(), AcceptConnection() and others).
/// - The dispatcher calls ready() for itcDispatcher::addAsyncReadyNotify(), which may be called on any thread.
///
/// Each receiver registers itself with the dispatcher in its constructor and deregisters itself in its destructor. The
/// dispatcher drops a notification whose receiver is not registered. The first receiver of a process therefore creates
/// the dispatcher (itcDispatcher::instance()).
///
/// A receiver may outlive the dispatcher, and even the library's static data. Its destructor then does nothing harmful
/// and creates no new dispatcher. A receiver that is created before the library's static data exists stays
/// unregistered.
///
/// \par Threads
/// May be created and destroyed on any thread. The constructor and the destructor wait while the
/// dispatching thread delivers a notification.
/// \warning Destroy a receiver of notifications on the dispatching thread. On another thread, ready() may run while
///          the deriving destructor runs: only ~ICBKivReady() waits for the delivery, and ~ICBKivReady() runs last.
class KIV_EXPORT ICBKivReady {
public:
    ICBKivReady();                                        ///< Registers this receiver.
    ICBKivReady(const ICBKivReady&);                      ///< Registers this receiver: a copy is a receiver of its own.
    ICBKivReady& operator=(const ICBKivReady&) = default; ///< Copies nothing: both receivers stay registered.

    // Hosts derive from this class: the order of these operations is binary interface.

    virtual ~ICBKivReady(); ///< Deregisters this receiver. Notifications that are queued for it are dropped.

    /// Called when an operation has completed, or when a notification is delivered.
    ///
    /// A connection calls ready() inside its operation, on the thread of the caller. The dispatcher calls ready() on
    /// the dispatching thread, with the notification lock held. The receiver may notify, create receivers and destroy
    /// receivers here, also itself.
    /// \warning A notification that is queued during a delivery is delivered in the same cycle. If every ready() queues
    ///          a notification, the cycle never ends: let a timer queue the next one.
    /// \param result   what the operation returned, or what addAsyncReadyNotify() was given.
    /// \param userData what the caller passed with the request; unchanged.
    virtual void ready(int result, void* userData) = 0;
};
