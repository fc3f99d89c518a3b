/// \file
/// Receivers of notifications, and how two threads wait for one another.
#pragma once

#include "DispatcherParts.h"

#include <kiv/dispatcher/ICBKivReady.h>

#include <QRecursiveMutex>

#include <chrono>
#include <future>
#include <thread>

/// A dispatcher that shows the fields that all threads share.
class SharedState : public OpenDispatcher {
public:
    using itcDispatcher::asyncLock;
    using itcDispatcher::pending;
};

/// A completion receiver that writes down each result and then runs `onReady`.
class Receiver : public ICBKivReady {
public:
    Receiver() : log(&results) {}
    explicit Receiver(std::vector<int>& sharedLog) : log(&sharedLog) {}

    void ready(int result, void* data) override
    {
        log->push_back(result);
        userData = data;
        if (const auto action = onReady)
            action(result);
    }

    std::function<void(int)> onReady;
    std::vector<int> results;
    void* userData = nullptr;

private:
    std::vector<int>* log;
};

/// An event that happens once. await() waits until another thread has called happens().
class Event {
public:
    void happens() { promise.set_value(); }
    void await() { future.wait(); }

private:
    std::promise<void> promise;
    std::shared_future<void> future = promise.get_future().share();
};

/// True when the task is still running after some time: another thread holds the task up.
inline bool isHeldUp(std::future<void>& task)
{
    return task.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
}

/// True when the task finishes. The limit is far longer than any task needs. A task that never finishes makes the test
/// fail; the test does not hang.
inline bool finishes(std::future<void>& task)
{
    return task.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
}

class ReadyTest : public testing::Test {
protected:
    void notify(int result, ICBKivReady* target, QThread* thread = nullptr)
    {
        dispatcher.addAsyncReadyNotify(result, target, nullptr, thread);
    }
    void drain() { dispatcher.processAsyncReadyNotify(); }

    /// True when another thread can take the lock: no thread holds the lock.
    static bool lockIsFree()
    {
        return std::async(std::launch::async,
                          [] {
                              const bool free = SharedState::asyncLock.tryLock(0);
                              if (free)
                                  SharedState::asyncLock.unlock();
                              return free;
                          })
            .get();
    }

    OpenDispatcher dispatcher;
};
