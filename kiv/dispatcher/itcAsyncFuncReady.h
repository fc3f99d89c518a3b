/// \file
/// A notification on its way from another thread to the dispatching one.
#pragma once

class ICBKivReady;
class QThread;

/// One queued call of ICBKivReady::ready(); see itcDispatcher::addAsyncReadyNotify().
struct itcAsyncFuncReady {
    int result;
    ICBKivReady* target; ///< Not owned; may be gone by the time of the delivery.
    void* userData;
    QThread* thread; ///< The worker that notifies, owned from now on; or null.
};
