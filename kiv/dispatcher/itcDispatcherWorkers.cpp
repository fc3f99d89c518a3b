// The end of a worker thread that has notified: the dispatcher owns the thread from the notification on.
//
// A worker notifies last thing. So the thread is about to finish, and the dispatcher waits for that, at most 10 s,
// before the dispatcher deletes the thread object. The lock of the notifications is held during the wait: a worker that
// needs the lock to finish (it notifies again, or destroys a receiver) is waited for in vain.
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

// Several records may name one worker: records in the queue, and records under delivery while cycles nest. All of them
// forget the worker before the worker is deleted. So no worker is waited for, or deleted, twice.
void itcDispatcher::deleteWorker(QThread* worker)
{
    for (itcAsyncFuncReady* const record : pending) {
        if (record != nullptr && record->thread == worker)
            record->thread = nullptr;
    }
    Delivery::forget(worker);
    delete worker;
}
