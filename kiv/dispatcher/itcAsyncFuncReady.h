/// \file
/// A notification on its way from another thread to the dispatching thread.
#pragma once

class ICBKivReady;
class QThread;

/// One queued call of ICBKivReady::ready(). itcDispatcher::addAsyncReadyNotify() makes the record, the delivery deletes
/// it.
struct itcAsyncFuncReady {
    int result;          ///< The first argument of ready().
    ICBKivReady* target; ///< The receiver. Not owned: it may be gone at the delivery, which then drops the call.
    void* userData;      ///< The second argument of ready(). Not owned.
    QThread* thread;     ///< The worker that notifies, or null. Owned: waited for and deleted after the delivery.
};
