/// \file
/// Receivers of notifications, and how two threads wait for one another.
#pragma once

#include "DispatcherParts.h"

#include <kiv/dispatcher/ICBKivReady.h>

#include <QRecursiveMutex>

#include <chrono>
#include <future>
#include <thread>

/// Shows what the dispatcher shares with other threads.
class SharedState : public OpenDispatcher {
public:
    using itcDispatcher::asyncLock;
    using itcDispatcher::pending;
};

/// Writes down the results that it is told, and does what it is asked to.
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

/// Something that happens once and can be waited for.
class Event {
public:
    void happens() { promise.set_value(); }
    void await() { future.wait(); }

private:
    std::promise<void> promise;
    std::shared_future<void> future = promise.get_future().share();
};

/// True when the task has not finished although it was given some time to: it is being held up.
inline bool isHeldUp(std::future<void>& task)
{
    return task.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
}

/// True when the task finishes. It is given far more time than it needs, so that a task which never finishes makes a
/// test fail and not hang.
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

    /// What another thread finds: nobody holds the lock.
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
