// How the delivery of notifications takes the lock that other threads share.
#include "ReadyParts.h"

#include <kiv/dispatcher/itcAsyncFuncReady.h>

#include <gmock/gmock.h>

#include <QQueue>

#include <dlfcn.h>

namespace {

std::vector<int>* limitsAsked = nullptr;

// While a LockRecorder exists, `limits` receives the time limit of every attempt to take a recursive lock.
class LockRecorder {
public:
    LockRecorder() { limitsAsked = &limits; }
    ~LockRecorder() { limitsAsked = nullptr; }
    LockRecorder(const LockRecorder&) = delete;
    LockRecorder& operator=(const LockRecorder&) = delete;

    std::vector<int> limits;
};

} // namespace

bool QRecursiveMutex::tryLock(int timeout) noexcept
{
    if (limitsAsked != nullptr)
        limitsAsked->push_back(timeout);
    static auto* const function =
        reinterpret_cast<bool (*)(QRecursiveMutex*, int)>(::dlsym(RTLD_NEXT, "_ZN15QRecursiveMutex7tryLockEi"));
    return function(this, timeout);
}

namespace {

using testing::ElementsAre;

constexpr int withoutLimit = -1;
constexpr int notAtAll = 0;

class DispatcherReadyLock : public ReadyTest {
protected:
    std::vector<int> limitsOfADrain()
    {
        const LockRecorder recorder;
        drain();
        return recorder.limits;
    }

    Receiver receiver;
};

TEST_F(DispatcherReadyLock, IsOnlyTriedWhileNothingIsAnnounced)
{
    EXPECT_THAT(limitsOfADrain(), ElementsAre(notAtAll));
}

TEST_F(DispatcherReadyLock, IsWaitedForOnceForEachRecordAndThenOnlyTried)
{
    notify(1, &receiver);
    EXPECT_THAT(limitsOfADrain(), ElementsAre(withoutLimit, notAtAll));
    notify(2, &receiver);
    notify(3, &receiver);
    EXPECT_THAT(limitsOfADrain(), ElementsAre(withoutLimit, withoutLimit, notAtAll));
    EXPECT_THAT(receiver.results, ElementsAre(1, 2, 3));
}

TEST_F(DispatcherReadyLock, IsWaitedForWhenAReceiverNotifiesAgain)
{
    receiver.onReady = [&](int result) {
        if (result < 3)
            dispatcher.addAsyncReadyNotify(result + 1, &receiver, nullptr, nullptr);
    };
    notify(1, &receiver);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1, 2, 3));
}

// A deriving dispatcher may append to the queue without notify().
TEST_F(DispatcherReadyLock, IsTakenForRecordsThatADerivingDispatcherAppends)
{
    for (const int result : {1, 2})
        SharedState::pending.enqueue(new itcAsyncFuncReady{result, &receiver, nullptr, nullptr});
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1, 2));

    notify(3, &receiver);
    receiver.onReady = [&](int result) {
        if (result == 3)
            SharedState::pending.enqueue(new itcAsyncFuncReady{4, &receiver, nullptr, nullptr});
    };
    EXPECT_THAT(limitsOfADrain(), ElementsAre(withoutLimit, withoutLimit, notAtAll)) << "known under the lock";
    EXPECT_THAT(receiver.results, ElementsAre(1, 2, 3, 4));
}

TEST_F(DispatcherReadyLock, IsOnlyTriedAgainAfterAReceiverThatThrows)
{
    receiver.onReady = [](int) { throw 1; };
    notify(1, &receiver);
    EXPECT_THROW(drain(), int);
    EXPECT_THAT(limitsOfADrain(), ElementsAre(notAtAll));
}

} // namespace
