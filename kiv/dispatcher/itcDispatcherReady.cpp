// Ready callbacks: the registry of live receivers and the queue of notifications that other threads fill.
//
// One recursive lock guards both. It is held during a delivery and during the wait for the worker behind it; the
// dispatching thread itself may notify, create and destroy receivers from inside ready().
#include <kiv/dispatcher/itcDispatcher.h>

#include <kiv/dispatcher/ICBKivReady.h>
#include <kiv/dispatcher/itcAsyncFuncReady.h>
#include <kiv/foundation/detail/Trace.h>

#include <QDeadlineTimer>
#include <QQueue>
#include <QRecursiveMutex>
#include <QSet>
#include <QThread>

#include <atomic>
#include <memory>
#include <new>

QRecursiveMutex itcDispatcher::asyncLock;
QSet<ICBKivReady*> itcDispatcher::registered;
QQueue<itcAsyncFuncReady*> itcDispatcher::pending;

namespace {

constexpr qint64 workerPatienceMs = 10000;

// Static receivers of a host, or of a plug-in that is unloaded late, may outlive the three objects above. This flag
// has no constructor and no destructor, so it can be asked at any time: false before they exist and after they died.
std::atomic<bool> asyncStateExists;

struct AsyncStateLife {
    AsyncStateLife() { asyncStateExists = true; }
    ~AsyncStateLife() { asyncStateExists = false; }
} asyncStateLife;

// Set after each append, cleared under the lock once the queue is found empty. While it is set a drain waits for the
// lock; while it is not, it looks into the queue only if the lock is free. To look without the lock would race with
// those who append, and to wait for it always would let them hold up an idle loop.
std::atomic<bool> notificationAnnounced;

constexpr int withoutLimit = -1;
constexpr int notAtAll = 0;

class AsyncLock {
public:
    explicit AsyncLock(QRecursiveMutex& mutex, int patienceMs = withoutLimit)
        : mutex(mutex), held(mutex.tryLock(patienceMs))
    {
        // The order that the lock gives, said once more for tools that cannot look into Qt's.
        if (held)
            handedOver.load(std::memory_order_acquire);
    }
    ~AsyncLock()
    {
        if (!held)
            return;
        handedOver.store(true, std::memory_order_release);
        mutex.unlock();
    }
    AsyncLock(const AsyncLock&) = delete;
    AsyncLock& operator=(const AsyncLock&) = delete;

    bool isHeld() const { return held; }

private:
    static inline std::atomic<bool> handedOver = false;

    QRecursiveMutex& mutex;
    const bool held;
};

// A record that is being delivered, linked to those further out, since ready() may run a cycle of its own.
// REQUIRES: the lock.
class Delivery {
public:
    explicit Delivery(itcAsyncFuncReady& record) : record(record), outer(innermost) { innermost = this; }
    ~Delivery() { innermost = outer; }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    static void forget(const QThread* thread)
    {
        for (Delivery* delivery = innermost; delivery != nullptr; delivery = delivery->outer) {
            if (delivery->record.thread == thread)
                delivery->record.thread = nullptr;
        }
    }

private:
    static inline Delivery* innermost = nullptr;

    itcAsyncFuncReady& record;
    Delivery* outer;
};

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
        std::unique_ptr<itcAsyncFuncReady> record; // outlives the lock
        const AsyncLock lock(asyncLock, notificationAnnounced ? withoutLimit : notAtAll);
        if (!lock.isHeld())
            return;
        if (pending.isEmpty()) {
            notificationAnnounced = false;
            return;
        }
        record.reset(pending.dequeue());
        if (record == nullptr)
            continue;

        const Delivery delivery(*record);
        try {
            if (record->target != nullptr && registered.contains(record->target))
                record->target->ready(record->result, record->userData);
        } catch (...) {
            retireWorker(record->thread);
            throw;
        }
        retireWorker(record->thread);
    }
}

void itcDispatcher::retireWorker(QThread* thread)
{
    if (thread == nullptr)
        return;
    if (thread->wait(QDeadlineTimer(workerPatienceMs, Qt::CoarseTimer)))
        deleteWorker(thread);
    else
        reportError(KivError::ErrType(1), "workerThread is still running, memory leak expected!");
}

// A worker may be named in several records, queued or under delivery: all forget it before it goes.
void itcDispatcher::deleteWorker(QThread* thread)
{
    for (itcAsyncFuncReady* const record : pending) {
        if (record != nullptr && record->thread == thread)
            record->thread = nullptr;
    }
    Delivery::forget(thread);
    delete thread;
}

void itcDispatcher::forgetReceiver(ICBKivReady* r)
{
    if (!asyncStateExists)
        return;
    const AsyncLock lock(asyncLock);
    registered.remove(r);
}

void itcDispatcher::awaitOtherThreads()
{
    if (asyncStateExists) {
        const AsyncLock lock(asyncLock);
    }
}

ICBKivReady::ICBKivReady()
{
    if (asyncStateExists)
        itcDispatcher::instance()->registerICBKivReady(this);
}

// A copy is a receiver of its own.
ICBKivReady::ICBKivReady(const ICBKivReady&) : ICBKivReady() {}

ICBKivReady::~ICBKivReady()
{
    // The dispatcher may be gone before its receivers. A new one only to say farewell would stay behind for ever.
    if (itcDispatcher::_instance != nullptr)
        itcDispatcher::_instance->deregisterICBKivReady(this);
    else
        itcDispatcher::forgetReceiver(this);
}
