// Ready callbacks: the registry of living receivers, and the queue of notifications that other threads fill.
//
// One recursive lock guards both. Other threads hold the lock while they register, deregister or append. The
// dispatching thread holds the lock while it calls a receiver and while it waits for the worker behind a notification.
// The lock is recursive because a receiver may notify, create receivers and destroy receivers inside ready().
#include <kiv/dispatcher/itcDispatcher.h>

#include <kiv/dispatcher/ICBKivReady.h>
#include <kiv/dispatcher/detail/AsyncLock.h>
#include <kiv/dispatcher/detail/Delivery.h>
#include <kiv/dispatcher/itcAsyncFuncReady.h>

#include <QQueue>
#include <QSet>

#include <memory>
#include <new>

using namespace kiv;

QRecursiveMutex itcDispatcher::asyncLock;
QSet<ICBKivReady*> itcDispatcher::registered;
QQueue<itcAsyncFuncReady*> itcDispatcher::pending;

std::atomic<bool> kiv::asyncStateExists;

namespace {

// Made after the three objects above, and destroyed before them: within one file, objects are made in order
// and destroyed in the reverse order.
struct AsyncStateLife {
    AsyncStateLife() { asyncStateExists = true; }
    ~AsyncStateLife() { asyncStateExists = false; }
} asyncStateLife;

// True while the queue is known to hold records. Written under the lock, read without the lock.
std::atomic<bool> notificationAnnounced;

// - Flag set: the drain waits for the lock, however long another thread holds it.
// - Flag clear: the drain only tries the lock, because an idle loop must not wait for other threads. If the lock is
//   free the drain looks into the queue all the same: a deriving dispatcher may have appended records without the flag.
//   The next drain that gets the lock finds them.
//
// Nobody may look into the queue without the lock: that would be a data race with the threads that append.
int patienceOfADrain() { return notificationAnnounced ? AsyncLock::withoutLimit : AsyncLock::notAtAll; }

} // namespace

void itcDispatcher::registerICBKivReady(ICBKivReady* r)
try {
    if (!asyncStateExists)
        return;
    const AsyncLock lock(asyncLock);
    registered.insert(r);
} catch (const std::bad_alloc&) { // the receiver stays unknown: notifications for it are dropped
}

void itcDispatcher::deregisterICBKivReady(ICBKivReady* r) { forgetReceiver(r); }

void itcDispatcher::forgetReceiver(ICBKivReady* r)
{
    if (!asyncStateExists)
        return;
    const AsyncLock lock(asyncLock);
    registered.remove(r);
}

void itcDispatcher::addAsyncReadyNotify(int result, ICBKivReady* target, void* userData, QThread* thread)
try {
    std::unique_ptr<itcAsyncFuncReady> record(new itcAsyncFuncReady{result, target, userData, thread});
    if (!asyncStateExists)
        return;
    const AsyncLock lock(asyncLock);
    pending.enqueue(record.get());
    static_cast<void>(record.release());
    notificationAnnounced = true;
} catch (const std::bad_alloc&) { // the notification is dropped: this thread has no status to write into
}

void itcDispatcher::processAsyncReadyNotify()
{
    while (asyncStateExists) {
        std::unique_ptr<itcAsyncFuncReady> record; // freed after the lock is given back
        const AsyncLock lock(asyncLock, patienceOfADrain());
        if (!lock.isHeld() || pending.isEmpty())
            return;
        record.reset(pending.dequeue());
        if (record != nullptr)
            deliver(*record);
        // Written while the lock is held, so the flag is true to the queue. Behind the last record it is clear, and the
        // next round of this loop does not wait for the lock only to find the queue empty.
        notificationAnnounced = !pending.isEmpty();
    }
}

// REQUIRES: the lock is held. When a receiver throws, its notification counts as delivered, its worker is retired, and
// the exception goes on to the caller of the cycle.
void itcDispatcher::deliver(itcAsyncFuncReady& record)
{
    const Delivery delivery(record);
    try {
        if (record.target != nullptr && registered.contains(record.target))
            record.target->ready(record.result, record.userData);
    } catch (...) {
        notificationAnnounced = !pending.isEmpty();
        retireWorker(record.thread);
        throw;
    }
    retireWorker(record.thread);
}

// For the destructor. A thread that is inside the lock may still use the dispatcher. When the lock has been taken once,
// that thread has left.
void itcDispatcher::awaitOtherThreads()
{
    if (asyncStateExists) {
        const AsyncLock lock(asyncLock);
    }
}
