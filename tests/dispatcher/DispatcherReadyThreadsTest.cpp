// Notifications that come from other threads.
#include "ReadyParts.h"

#include <kiv/dispatcher/itcAsyncFuncReady.h>

#include <gmock/gmock.h>

#include <QQueue>

#include <algorithm>
#include <atomic>
#include <memory>
#include <numeric>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DispatcherReadyThreads : public ReadyTest {
protected:
    template <class Task> static std::future<void> start(Task task)
    {
        return std::async(std::launch::async, std::move(task));
    }
};

TEST_F(DispatcherReadyThreads, DeliversOnTheThreadThatDispatches)
{
    Receiver receiver;
    std::thread::id told;
    receiver.onReady = [&](int) { told = std::this_thread::get_id(); };
    start([&] { notify(1, &receiver); }).get();
    EXPECT_THAT(receiver.results, IsEmpty());
    dispatcher.dispatch(0.0);
    EXPECT_THAT(receiver.results, ElementsAre(1));
    EXPECT_EQ(told, std::this_thread::get_id());
}

TEST_F(DispatcherReadyThreads, KeepsTheOrderOfEachThread)
{
    constexpr int threads = 4, each = 500;
    Receiver receiver;
    std::vector<std::future<void>> tasks;
    for (int t = 0; t < threads; ++t) {
        tasks.push_back(start([&, t] {
            for (int i = 0; i < each; ++i)
                notify(t * each + i, &receiver);
        }));
    }
    while (receiver.results.size() < size_t{threads} * each)
        dispatcher.dispatch(0.0); // the other threads append at this time
    for (int t = 0; t < threads; ++t) {
        std::vector<int> own, expected(each);
        std::copy_if(receiver.results.begin(), receiver.results.end(), std::back_inserter(own),
                     [t](int result) { return result / each == t; });
        std::iota(expected.begin(), expected.end(), t * each);
        EXPECT_EQ(own, expected);
    }
}

TEST_F(DispatcherReadyThreads, DeliversEachNotificationOnceWhenTwoThreadsDrain)
{
    constexpr int count = 2000;
    Receiver receiver; // called with the lock held: by one thread at a time
    Event begin;
    auto other = start([&] {
        begin.await();
        for (int i = 0; i < count; ++i)
            drain();
    });
    begin.happens();
    for (int i = 0; i < count; ++i) {
        notify(i, &receiver);
        drain();
    }
    other.get();
    drain();
    std::vector<int> expected(count);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(receiver.results, expected);
}

TEST_F(DispatcherReadyThreads, HoldsUpANotificationWhileAReceiverIsCalled)
{
    Receiver receiver;
    std::future<void> other;
    receiver.onReady = [&](int result) {
        if (result != 1)
            return;
        other = start([&] { notify(2, &receiver); });
        EXPECT_TRUE(isHeldUp(other));
    };
    notify(1, &receiver);
    drain();
    other.get();
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1, 2));
}

TEST_F(DispatcherReadyThreads, HoldsUpTheDeathOfAReceiverWhileOneIsCalled)
{
    Receiver receiver;
    auto mortal = std::make_unique<Receiver>();
    std::future<void> other;
    receiver.onReady = [&](int) {
        other = start([&] { mortal.reset(); });
        EXPECT_TRUE(isHeldUp(other));
    };
    notify(1, &receiver);
    drain();
    other.get();
    EXPECT_EQ(mortal, nullptr);
}

TEST_F(DispatcherReadyThreads, HoldsUpADrainWhileAnotherThreadHasTheLockAndSomethingIsQueued)
{
    Receiver receiver;
    notify(1, &receiver);
    SharedState::asyncLock.lock();
    auto other = start([&] { drain(); });
    EXPECT_TRUE(isHeldUp(other));
    SharedState::asyncLock.unlock();
    other.get();
    EXPECT_THAT(receiver.results, ElementsAre(1));
}

TEST_F(DispatcherReadyThreads, DoesNotHoldUpADrainOfNothingWhileAnotherThreadHasTheLock)
{
    drain(); // from here on nothing is announced
    SharedState::asyncLock.lock();
    auto other = start([&] { drain(); });
    EXPECT_TRUE(finishes(other));
    SharedState::asyncLock.unlock();
}

// A deriving dispatcher may put a record into the queue without notify(). A drain finds this record only if the lock is
// free.
TEST_F(DispatcherReadyThreads, DeliversARecordThatNobodyAnnouncedOnceTheLockIsFree)
{
    Receiver receiver;
    drain();
    SharedState::asyncLock.lock();
    SharedState::pending.enqueue(new itcAsyncFuncReady{1, &receiver, nullptr, nullptr});
    auto other = start([&] { drain(); });
    EXPECT_TRUE(finishes(other));
    EXPECT_THAT(receiver.results, IsEmpty());
    SharedState::asyncLock.unlock();
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1));
}

TEST_F(DispatcherReadyThreads, DropsWhatIsQueuedForAReceiverThatDiedOnAnotherThread)
{
    std::vector<int> log;
    start([&] {
        Receiver receiver(log);
        notify(1, &receiver);
    }).get();
    drain();
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(DispatcherReadyThreads, LetsReceiversComeAndGoOnOtherThreads)
{
    itcDispatcher::instance(); // created before the threads run, since no lock guards the creation
    std::atomic<bool> done = false;
    auto other = start([&] {
        for (int i = 0; i < 500; ++i) {
            Receiver receiver;
            notify(i, nullptr);
        }
        done = true;
    });
    Receiver receiver;
    int sent = 0;
    while (!done) {
        notify(++sent, &receiver);
        drain();
    }
    other.get();
    drain();
    EXPECT_EQ(receiver.results.size(), static_cast<size_t>(sent));
}

TEST_F(DispatcherReadyThreads, DoesNotWakeAWaitThatIsUnderWay)
{
    Receiver receiver;
    FakeSelect select;
    select.meanwhile = [&] { start([&] { notify(1, &receiver); }).get(); };
    EXPECT_EQ(dispatcher.dispatch(5.0), 0);
    EXPECT_EQ(select.asked.size(), 1u);
    EXPECT_THAT(receiver.results, ElementsAre(1)) << "it comes at the end of the cycle";
}

TEST_F(DispatcherReadyThreads, DoesNotFinishItsDestructorWhileAThreadIsInsideTheLock)
{
    auto mortal = std::make_unique<OpenDispatcher>();
    SharedState::asyncLock.tryLock(-1);
    auto other = start([&] { mortal.reset(); });
    EXPECT_TRUE(isHeldUp(other));
    SharedState::asyncLock.unlock();
    other.get();
    EXPECT_TRUE(lockIsFree());
}

} // namespace
