// The end of a worker thread that has notified: the dispatcher owns the thread from the notification on.
//
// A worker notifies as its last act. The dispatcher therefore waits a short time for the thread to finish, and deletes
// the thread object. All this happens under the lock of the notifications.
#include <kiv/dispatcher/itcDispatcher.h>

#include <kiv/dispatcher/detail/Delivery.h>
#include <kiv/dispatcher/itcAsyncFuncReady.h>
#include <kiv/foundation/detail/Trace.h>

#include <QDeadlineTimer>
#include <QQueue>
#include <QThread>

using namespace kiv;

namespace {

constexpr qint64 workerPatienceMs = 10000;

} // namespace

// A worker that does not finish in time is reported and never deleted: deleting a running QThread ends the process.
void itcDispatcher::retireWorker(QThread* worker)
{
    if (worker == nullptr)
        return;
    if (worker->wait(QDeadlineTimer(workerPatienceMs, Qt::CoarseTimer)))
        deleteWorker(worker);
    else
        reportError(KivError::ErrType(1), "workerThread is still running, memory leak expected!");
}

// Several records may name one worker, in the queue or under delivery. All of them forget the worker before it goes.
void itcDispatcher::deleteWorker(QThread* worker)
{
    for (itcAsyncFuncReady* const record : pending) {
        if (record != nullptr && record->thread == worker)
            record->thread = nullptr;
    }
    Delivery::forget(worker);
    delete worker;
}
