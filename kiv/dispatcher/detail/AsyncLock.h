/// \file
/// Internal: the lock that the dispatching thread shares with the threads that notify it.
#pragma once

#include <QRecursiveMutex>

#include <atomic>

namespace kiv {

/// False before the library's registry, queue and lock exist, and after they are gone.
///
/// Static receivers of a host, or of a plug-in that is unloaded late, may outlive the three objects. The flag itself
/// needs no run-time construction and no destruction, so every receiver may ask it at any time.
extern std::atomic<bool> asyncStateExists;

/// Takes the lock of the notifications, and gives it back when this object is destroyed. With a limit the lock may not
/// be had: ask isHeld().
class AsyncLock {
public:
    static constexpr int withoutLimit = -1; ///< Wait until the lock is free.
    static constexpr int notAtAll = 0;      ///< Take the lock only if nobody holds it.

    /// Waits for the lock for `patienceMs` milliseconds, or as one of the two constants says.
    explicit AsyncLock(QRecursiveMutex& notifications, int patienceMs = withoutLimit)
        : mutex(notifications), held(mutex.tryLock(patienceMs))
    {
        // Repeats the lock's ordering with an atomic: ThreadSanitizer does not see Qt's mutex and would report races.
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

    bool isHeld() const { return held; } ///< False if the lock was not had in time. Then nothing may be touched.

private:
    static inline std::atomic<bool> handedOver = false;

    QRecursiveMutex& mutex;
    const bool held;
};

} // namespace kiv
