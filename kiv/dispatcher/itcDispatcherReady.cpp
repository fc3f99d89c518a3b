// Ready callbacks: the registry of living receivers, and the queue of notifications that other threads fill.
//
// One recursive lock guards both. Other threads hold the lock while they register, deregister or append. The dispatching
// thread holds the lock while it calls a receiver and while it waits for the worker behind a notification. The lock is
// recursive because a receiver may notify, create receivers and destroy receivers inside ready().
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

// Made after the three objects above and destroyed before them.
struct AsyncStateLife {
    AsyncStateLife() { asyncStateExists = true; }
    ~AsyncStateLife() { asyncStateExists = false; }
} asyncStateLife;

// True while the queue is known to hold records. Written under the lock, read without the lock.
std::atomic<bool> notificationAnnounced;

// Flag set: the drain waits for the lock, however long another thread holds it.
// Flag clear: the drain only tries the lock. An idle loop must not wait for other threads. The drain still looks into the
// queue when the lock is free, because a deriving dispatcher may have appended without the flag.
// Looking into the queue without the lock would be a data race with the threads that append.
int patienceOfADrain()
{
    return notificationAnnounced ? AsyncLock::withoutLimit : AsyncLock::notAtAll;
}

} // namespace

void itcDispatcher::registerICBKivReady(ICBKivReady* r)
try {
    if (!asyncStateExists)
        return;
    const AsyncLock lock(asyncLock);
    registered.insert(r);
} catch (const std::bad_alloc&) { // the receiver stays unknown: what is sent to it is dropped
}

void itcDispatcher::deregisterICBKivReady(ICBKivReady* r)
{
    forgetReceiver(r);
}

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
} catch (const std::bad_alloc&) { // there is nobody to tell on this thread, and no memory to remember it with
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
        // Said under the lock: behind the last record the drain need not wait for the lock to find the queue empty.
        notificationAnnounced = !pending.isEmpty();
    }
}

// REQUIRES: the lock. A receiver that throws leaves its notification delivered and its worker retired.
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

void itcDispatcher::awaitOtherThreads()
{
    if (asyncStateExists) {
        const AsyncLock lock(asyncLock);
    }
}
