// The registry of receivers and the queue of notifications, on one thread.
#include "ReadyParts.h"
#include "StatusMatchers.h"

#include <kiv/dispatcher/itcAsyncFuncReady.h>

#include <gmock/gmock.h>

#include <QQueue>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DispatcherReady : public ReadyTest {};

TEST_F(DispatcherReady, DeliversTheResultAndTheUserData)
{
    Receiver receiver;
    int data = 0;
    dispatcher.addAsyncReadyNotify(-7, &receiver, &data, nullptr);
    EXPECT_THAT(receiver.results, IsEmpty()) << "only the dispatching thread delivers";
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(-7));
    EXPECT_EQ(receiver.userData, &data);
}

TEST_F(DispatcherReady, DeliversOnlyOnce)
{
    Receiver receiver;
    notify(1, &receiver);
    drain();
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1));
}

TEST_F(DispatcherReady, DeliversInTheOrderOfTheQueueWithinOneCycle)
{
    std::vector<int> log;
    Receiver first(log), second(log);
    notify(1, &first);
    notify(2, &second);
    notify(3, &first);
    notify(4, &first);
    dispatcher.dispatch(0.0);
    EXPECT_THAT(log, ElementsAre(1, 2, 3, 4));
}

TEST_F(DispatcherReady, DrainsAnEmptyQueueWithoutEffect)
{
    drain();
    EXPECT_TRUE(lockIsFree());
}

TEST_F(DispatcherReady, DropsWhatIsQueuedForADeadReceiver)
{
    std::vector<int> log;
    Receiver living(log);
    {
        Receiver dead(log);
        notify(1, &dead);
        notify(2, &living);
        notify(3, &dead);
    }
    drain();
    EXPECT_THAT(log, ElementsAre(2));
}

TEST_F(DispatcherReady, DropsWhatIsQueuedForNobody)
{
    Receiver receiver;
    notify(1, nullptr);
    notify(2, &receiver);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(2));
}

TEST_F(DispatcherReady, DropsWhatIsQueuedForNobodyEvenIfNobodyIsRegistered)
{
    dispatcher.registerICBKivReady(nullptr);
    notify(1, nullptr);
    drain();
    EXPECT_TRUE(SharedState::pending.isEmpty());
    dispatcher.deregisterICBKivReady(nullptr);
}

TEST_F(DispatcherReady, DropsWhatIsQueuedForAReceiverThatWasDeregistered)
{
    Receiver receiver;
    notify(1, &receiver);
    dispatcher.deregisterICBKivReady(&receiver);
    drain();
    EXPECT_THAT(receiver.results, IsEmpty());
}

TEST_F(DispatcherReady, DeliversToAReceiverThatIsRegisteredAgainInTime)
{
    Receiver receiver;
    notify(1, &receiver);
    dispatcher.deregisterICBKivReady(&receiver);
    dispatcher.registerICBKivReady(&receiver);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1));
}

TEST_F(DispatcherReady, ForgetsAReceiverAtOnceHoweverOftenItWasRegistered)
{
    Receiver receiver;
    dispatcher.registerICBKivReady(&receiver);
    dispatcher.registerICBKivReady(&receiver);
    dispatcher.deregisterICBKivReady(&receiver);
    notify(1, &receiver);
    drain();
    EXPECT_THAT(receiver.results, IsEmpty());
}

TEST_F(DispatcherReady, IgnoresTheFarewellOfAStranger)
{
    Receiver receiver;
    dispatcher.deregisterICBKivReady(&receiver);
    dispatcher.deregisterICBKivReady(&receiver);
    dispatcher.deregisterICBKivReady(nullptr);
    EXPECT_TRUE(lockIsFree());
}

TEST_F(DispatcherReady, LeavesTheStatusAlone)
{
    leaveMark(dispatcher);
    Receiver receiver;
    dispatcher.registerICBKivReady(&receiver);
    notify(1, &receiver);
    drain();
    dispatcher.deregisterICBKivReady(&receiver);
    EXPECT_THAT(dispatcher, StillHasMark());
}

TEST_F(DispatcherReady, SharesTheQueueAmongAllDispatchers)
{
    Receiver receiver;
    {
        OpenDispatcher mortal;
        mortal.addAsyncReadyNotify(1, &receiver, nullptr, nullptr);
    }
    EXPECT_THAT(receiver.results, IsEmpty()) << "a dying dispatcher drains nothing";
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1));
}

TEST_F(DispatcherReady, PassesOverARecordThatIsNull)
{
    Receiver receiver;
    SharedState::pending.enqueue(nullptr);
    notify(1, &receiver);
    SharedState::pending.enqueue(nullptr);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1));
    EXPECT_TRUE(SharedState::pending.isEmpty());
    EXPECT_TRUE(lockIsFree());
}

TEST_F(DispatcherReady, DeliversARecordThatADerivedDispatcherQueuesItself)
{
    Receiver receiver;
    SharedState::pending.enqueue(new itcAsyncFuncReady{5, &receiver, nullptr, nullptr});
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(5));
    notify(6, nullptr);
    drain(); // leaves the queue empty in any case
}

// Inside ready()

TEST_F(DispatcherReady, DeliversInTheSameDrainWhatAReceiverQueues)
{
    Receiver receiver;
    receiver.onReady = [&](int result) {
        if (result < 5)
            notify(result + 1, &receiver);
    };
    notify(1, &receiver);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(DispatcherReady, LetsAReceiverCreateAnotherThatIsServedInTheSameDrain)
{
    Receiver receiver;
    std::unique_ptr<Receiver> born;
    receiver.onReady = [&](int) {
        born = std::make_unique<Receiver>();
        notify(2, born.get());
    };
    notify(1, &receiver);
    drain();
    EXPECT_THAT(born->results, ElementsAre(2));
}

TEST_F(DispatcherReady, DropsWhatIsQueuedForAReceiverThatAnotherDeletes)
{
    std::vector<int> log;
    Receiver receiver(log);
    auto victim = std::make_unique<Receiver>(log);
    receiver.onReady = [&](int) { victim.reset(); };
    notify(1, &receiver);
    notify(2, victim.get());
    notify(3, &receiver);
    drain();
    EXPECT_THAT(log, ElementsAre(1, 3));
}

TEST_F(DispatcherReady, LetsAReceiverDeleteItself)
{
    std::vector<int> log;
    auto* const mortal = new Receiver(log);
    mortal->onReady = [mortal](int) { delete mortal; };
    notify(1, mortal);
    notify(2, mortal);
    drain();
    EXPECT_THAT(log, ElementsAre(1));
}

TEST_F(DispatcherReady, LetsAReceiverRunACycle)
{
    std::vector<int> log;
    Receiver receiver(log);
    receiver.onReady = [&](int result) {
        if (result == 1)
            dispatcher.dispatch(0.0);
        log.push_back(-result);
    };
    notify(1, &receiver);
    notify(2, &receiver);
    drain();
    EXPECT_THAT(log, ElementsAre(1, 2, -2, -1));
}

TEST_F(DispatcherReady, LetsAnExceptionOfAReceiverPassAndHoldsNoLock)
{
    Receiver receiver;
    receiver.onReady = [](int result) {
        if (result == 1)
            throw std::runtime_error("the host's own");
    };
    notify(1, &receiver);
    notify(2, &receiver);
    EXPECT_THROW(drain(), std::runtime_error);
    EXPECT_TRUE(lockIsFree());
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1, 2));
}

TEST_F(DispatcherReady, HoldsTheLockWhileAReceiverIsCalled)
{
    Receiver receiver;
    bool freeInside = true;
    receiver.onReady = [&](int) { freeInside = lockIsFree(); };
    notify(1, &receiver);
    drain();
    EXPECT_FALSE(freeInside);
    EXPECT_TRUE(lockIsFree());
}

// Receivers and the instance

TEST_F(DispatcherReady, ComesToLifeWithTheFirstReceiver)
{
    ASSERT_EQ(OpenDispatcher::_instance, nullptr);
    const Receiver receiver;
    EXPECT_NE(OpenDispatcher::_instance, nullptr);
}

TEST_F(DispatcherReady, IsNotCreatedAgainByTheDeathOfAReceiver)
{
    {
        const Receiver receiver;
        delete itcDispatcher::instance();
        itcDispatcher::instance(nullptr);
    }
    EXPECT_EQ(OpenDispatcher::_instance, nullptr);
}

TEST_F(DispatcherReady, MayBeDeletedBeforeItsReceivers)
{
    const Receiver receiver;
    delete itcDispatcher::instance();
    EXPECT_EQ(OpenDispatcher::_instance, nullptr) << "nobody finds what is gone";
}

TEST_F(DispatcherReady, ForgetsAReceiverThatDiesWithoutADispatcher)
{
    std::vector<int> log;
    {
        Receiver receiver(log);
        delete itcDispatcher::instance();
        itcDispatcher::instance(nullptr);
        notify(1, &receiver);
    }
    drain();
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(DispatcherReady, TakesACopyAsAReceiverOfItsOwn)
{
    struct Copied : ICBKivReady {
        void ready(int result, void*) override { last = result; }
        int last = 0;
    };
    auto original = std::make_unique<Copied>();
    Copied copy(*original);
    original.reset();
    notify(4, &copy);
    drain();
    EXPECT_EQ(copy.last, 4);
}

// The C library flushes its streams after the destructors of all static objects, including those of the library. The
// flush calls this function.
ssize_t deleteReceiverAtTheVeryEnd(void* receiver, const char*, size_t)
{
    delete static_cast<Receiver*>(receiver);
    const bool quiet = OpenDispatcher::_instance == nullptr;
    std::_Exit(quiet ? 42 : 1);
}

[[noreturn]] void endWithALateReceiver()
{
    auto* const late = new Receiver;
    delete itcDispatcher::instance();
    itcDispatcher::instance(nullptr);
    cookie_io_functions_t functions = {};
    functions.write = deleteReceiverAtTheVeryEnd;
    std::FILE* const stream = ::fopencookie(late, "w", functions);
    std::fputs("not flushed yet", stream);
    std::exit(1);
}

TEST(LateReceiver, DiesQuietlyWhenTheLibraryHasEnded)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(endWithALateReceiver(), testing::ExitedWithCode(42), "");
}

// A static receiver of the host. Its destructor runs after main().
[[noreturn]] void endWithAStaticReceiver()
{
    static const Receiver receiver;
    delete itcDispatcher::instance();
    std::exit(42);
}

TEST(LateReceiver, MayBeStatic)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(endWithAStaticReceiver(), testing::ExitedWithCode(42), "");
}

} // namespace
