// The way from other threads to the dispatching thread: order, life times, exceptions, and the wait that is woken.
#include "DescriptorLimit.h"
#include "Loop.h"
#include "OsFaults.h"
#include "StatusMatchers.h"

#include <kiv/session/itcPost.h>

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using testing::ElementsAre;

namespace {

constexpr double longWait = 100.0; // seconds; a test that is not woken waits for so long

const itcPost::Sender* senderOfSignals = nullptr;

void wakeBySignal(int) { senderOfSignals->wake(); }

class APost : public Loop {
protected:
    [[nodiscard]] bool postStep(int step)
    {
        return post.post([this, step] { steps.push_back(step); });
    }

    /// Runs one cycle with a long limit. Another thread acts as soon as the wait begins. \return true: the cycle has
    /// ended long before its limit.
    template <class Act> bool isWokenBy(Act act)
    {
        std::promise<void> waits;
        std::atomic<bool> isFirst{true};
        OsFaults::select().watch = [&](int, fd_set*, fd_set*, fd_set*, timeval*) {
            if (isFirst.exchange(false))
                waits.set_value();
        };
        std::thread actor([&] {
            waits.get_future().wait();
            act();
        });
        const auto begin = std::chrono::steady_clock::now();
        dispatcher.dispatch(longWait);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        actor.join();
        OsFaults::select().watch = nullptr;
        return taken.count() < longWait / 2;
    }

    itcPost post;
    std::vector<int> steps;
};

} // namespace

TEST_F(APost, IsReadyAfterItsConstruction)
{
    EXPECT_TRUE(static_cast<bool>(post));
    EXPECT_THAT(post.status(), HasClearStatus());
}

TEST_F(APost, RunsAFunctionInTheNextCycle)
{
    ASSERT_TRUE(postStep(1));
    EXPECT_TRUE(steps.empty());
    dispatcher.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(1));
    runCycles();
    EXPECT_THAT(steps, ElementsAre(1));
}

TEST_F(APost, RunsOnTheDispatchingThread)
{
    std::thread::id ranOn;
    std::thread worker(
        [&, sender = post.sender()] { EXPECT_TRUE(sender.post([&] { ranOn = std::this_thread::get_id(); })); });
    worker.join();
    EXPECT_EQ(ranOn, std::thread::id());
    dispatcher.dispatch(0.0);
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(APost, WakesAWaitThatIsUnderWay)
{
    const itcPost::Sender sender = post.sender();
    EXPECT_TRUE(isWokenBy([&] { EXPECT_TRUE(sender.post([this] { steps.push_back(1); })); }));
    EXPECT_THAT(steps, ElementsAre(1));
}

TEST_F(APost, DoesNotMakeTheLoopSpin)
{
    ASSERT_TRUE(postStep(1));
    dispatcher.dispatch(0.0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(dispatcher.dispatch(0.0), 0) << "nothing is ready any more";
    }
}

TEST_F(APost, RunsFunctionsInTheirOrder)
{
    for (int step = 1; step <= 5; ++step)
        ASSERT_TRUE(postStep(step));
    dispatcher.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(APost, KeepsTheOrderOfSeveralSenders)
{
    const itcPost::Sender first = post.sender();
    const itcPost::Sender second = post.sender();
    ASSERT_TRUE(first.post([this] { steps.push_back(1); }));
    ASSERT_TRUE(second.post([this] { steps.push_back(2); }));
    ASSERT_TRUE(first.post([this] { steps.push_back(3); }));
    dispatcher.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(1, 2, 3));
}

TEST_F(APost, RunsWhatARunningFunctionPostsInTheNextCycle)
{
    std::function<void()> again = [&] {
        steps.push_back(static_cast<int>(steps.size()));
        EXPECT_TRUE(post.post(again));
    };
    ASSERT_TRUE(post.post(again));
    dispatcher.dispatch(0.0);
    EXPECT_EQ(steps.size(), 1U);
    dispatcher.dispatch(0.0);
    EXPECT_EQ(steps.size(), 2U);
}

TEST_F(APost, RefusesAnEmptyFunction)
{
    EXPECT_FALSE(post.post(nullptr));
    EXPECT_FALSE(post.sender().post(std::function<void()>()));
    EXPECT_EQ(dispatcher.dispatch(0.0), 0) << "nothing has woken the loop";
}

TEST_F(APost, HasSendersThatCanBeCopiedAndMoved)
{
    itcPost::Sender sender = post.sender();
    itcPost::Sender copy = sender;
    itcPost::Sender moved = std::move(sender);
    EXPECT_TRUE(copy.post([this] { steps.push_back(1); }));
    EXPECT_TRUE(moved.post([this] { steps.push_back(2); }));
    dispatcher.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(1, 2));
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<itcPost::Sender>);
    EXPECT_FALSE(std::is_copy_constructible_v<itcPost>);
}

TEST_F(APost, HasSendersThatRefuseWithoutAPost)
{
    const itcPost::Sender sender;
    const auto captured = std::make_shared<int>();
    EXPECT_FALSE(sender.post([captured] {}));
    EXPECT_EQ(captured.use_count(), 1) << "the function was destroyed";
    sender.wake();
}

TEST_F(APost, HasSendersThatOutliveIt)
{
    itcPost::Sender sender;
    {
        const itcPost gone;
        sender = gone.sender();
        EXPECT_TRUE(sender.post([this] { steps.push_back(1); }));
    }
    const auto captured = std::make_shared<int>();
    EXPECT_FALSE(sender.post([captured] {}));
    EXPECT_EQ(captured.use_count(), 1) << "the function was destroyed";
    sender.wake();
    runCycles();
    EXPECT_TRUE(steps.empty());
}

TEST_F(APost, DestroysWhatHasNotRun)
{
    const auto captured = std::make_shared<int>();
    const itcPost::Sender sender = [&] {
        const itcPost gone;
        EXPECT_TRUE(gone.post([captured] {}));
        return gone.sender();
    }();
    EXPECT_EQ(captured.use_count(), 1) << "a sender that is left does not keep the function";
}

TEST_F(APost, MayBeUsedByTheDestructorOfAFunction)
{
    struct Posting {
        itcPost::Sender sender;
        bool* wasRefused;
        ~Posting()
        {
            *wasRefused = !sender.post([] {});
        }
    };
    bool wasRefused = false;
    {
        const itcPost gone;
        const auto posting = std::make_shared<Posting>(Posting{gone.sender(), &wasRefused});
        EXPECT_TRUE(gone.post([posting] {}));
    }
    EXPECT_TRUE(wasRefused);
}

TEST_F(APost, MayBeDestroyedInsideOfAFunction)
{
    auto gone = std::make_unique<itcPost>();
    const auto captured = std::make_shared<int>();
    ASSERT_TRUE(gone->post([&, captured] {
        gone.reset();
        steps.push_back(1);
    }));
    ASSERT_TRUE(gone->post([&, captured] { steps.push_back(2); }));
    runCycles();
    EXPECT_THAT(steps, ElementsAre(1)) << "what has not run never runs";
    EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(APost, LetsAnExceptionLeaveTheCycle)
{
    ASSERT_TRUE(post.post([] { throw std::runtime_error("the host's"); }));
    EXPECT_THROW(dispatcher.dispatch(0.0), std::runtime_error);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
}

TEST_F(APost, KeepsTheOrderInACycleInsideOfAFunction)
{
    ASSERT_TRUE(post.post([this] {
        EXPECT_TRUE(postStep(3));
        dispatcher.dispatch(0.0);
    }));
    ASSERT_TRUE(postStep(2));
    runCycles();
    EXPECT_THAT(steps, ElementsAre(2, 3));
}

TEST_F(APost, RunsTheFunctionsBehindAnExceptionInTheNextCycle)
{
    ASSERT_TRUE(postStep(1));
    ASSERT_TRUE(post.post([] { throw std::runtime_error("the host's"); }));
    ASSERT_TRUE(postStep(2));
    ASSERT_TRUE(postStep(3));
    EXPECT_THROW(dispatcher.dispatch(0.0), std::runtime_error);
    EXPECT_THAT(steps, ElementsAre(1));
    dispatcher.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(1, 2, 3));
}

TEST_F(APost, RunsTheFunctionsBehindAnExceptionBeforeWhatWasPostedMeanwhile)
{
    ASSERT_TRUE(post.post([this] {
        EXPECT_TRUE(postStep(2));
        throw std::runtime_error("the host's");
    }));
    ASSERT_TRUE(postStep(1));
    EXPECT_THROW(dispatcher.dispatch(0.0), std::runtime_error);
    dispatcher.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(1, 2));
}

TEST_F(APost, MayBeDestroyedInsideOfAFunctionThatThrows)
{
    auto gone = std::make_unique<itcPost>();
    ASSERT_TRUE(gone->post([&] {
        gone.reset();
        throw std::runtime_error("the host's");
    }));
    ASSERT_TRUE(gone->post([&] { steps.push_back(1); }));
    EXPECT_THROW(dispatcher.dispatch(0.0), std::runtime_error);
    runCycles();
    EXPECT_TRUE(steps.empty());
}

TEST_F(APost, CallsTheFunctionOfAWake)
{
    post.onWake([this] { steps.push_back(1); });
    post.sender().wake();
    EXPECT_TRUE(steps.empty());
    dispatcher.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(1));
    runCycles();
    EXPECT_THAT(steps, ElementsAre(1));
}

TEST_F(APost, TakesSeveralWakesForOne)
{
    post.onWake([this] { steps.push_back(1); });
    const itcPost::Sender sender = post.sender();
    sender.wake();
    sender.wake();
    post.sender().wake();
    runCycles();
    EXPECT_THAT(steps, ElementsAre(1));
    sender.wake();
    runCycles();
    EXPECT_THAT(steps, ElementsAre(1, 1));
}

TEST_F(APost, DoesNotTakeAPostForAWake)
{
    post.onWake([this] { steps.push_back(1); });
    ASSERT_TRUE(postStep(2));
    runCycles();
    EXPECT_THAT(steps, ElementsAre(2));
}

TEST_F(APost, IsWokenWithoutAFunction)
{
    post.sender().wake();
    EXPECT_EQ(dispatcher.dispatch(0.0), 1);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
}

TEST_F(APost, IsWokenByAnotherThread)
{
    post.onWake([this] { steps.push_back(1); });
    const itcPost::Sender sender = post.sender();
    EXPECT_TRUE(isWokenBy([&] { sender.wake(); }));
    EXPECT_THAT(steps, ElementsAre(1));
}

TEST_F(APost, IsWokenByASignalHandler)
{
    const itcPost::Sender sender = post.sender();
    senderOfSignals = &sender;
    post.onWake([this] { steps.push_back(1); });
    struct sigaction before = {};
    struct sigaction action = {};
    action.sa_handler = wakeBySignal;
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    errno = EXDEV;
    std::raise(SIGUSR1);
    EXPECT_EQ(errno, EXDEV) << "a signal handler must keep errno";
    sigaction(SIGUSR1, &before, nullptr);
    senderOfSignals = nullptr;
    dispatcher.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(1));
}

TEST_F(APost, LetsAnExceptionOfTheWakeLeaveTheCycle)
{
    post.onWake([] { throw std::runtime_error("the host's"); });
    ASSERT_TRUE(postStep(1));
    post.sender().wake();
    ASSERT_TRUE(postStep(2));
    EXPECT_THROW(dispatcher.dispatch(0.0), std::runtime_error);
    dispatcher.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(1, 2)) << "the functions run in the next cycle";
}

TEST_F(APost, MayGetAnotherFunctionInsideOfAWake)
{
    const auto captured = std::make_shared<int>(4711);
    post.onWake([this, captured] {
        post.onWake([this] { steps.push_back(2); });
        steps.push_back(*captured);
    });
    post.sender().wake();
    dispatcher.dispatch(0.0);
    post.sender().wake();
    dispatcher.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(4711, 2));
}

TEST_F(APost, MayBeDestroyedInsideOfAWake)
{
    auto gone = std::make_unique<itcPost>();
    gone->onWake([&] {
        gone.reset();
        steps.push_back(1);
    });
    ASSERT_TRUE(gone->post([this] { steps.push_back(2); }));
    gone->sender().wake();
    runCycles();
    EXPECT_THAT(steps, ElementsAre(1));
}

TEST_F(APost, RunsEveryFunctionOfSeveralThreads)
{
    constexpr int threads = 4;
    constexpr int each = 500;
    std::vector<int> latest(threads, -1);
    int run = 0;
    std::vector<std::thread> workers;
    for (int worker = 0; worker < threads; ++worker) {
        workers.emplace_back([&, worker, sender = post.sender()] {
            for (int i = 0; i < each; ++i) {
                EXPECT_TRUE(sender.post([&, worker, i] {
                    int& before = latest[static_cast<std::size_t>(worker)];
                    EXPECT_EQ(before, i - 1) << "the order of one thread";
                    before = i;
                    run += 1;
                }));
            }
        });
    }
    EXPECT_TRUE(runUntil([&] { return run == threads * each; }));
    for (std::thread& worker : workers)
        worker.join();
}

TEST_F(APost, SharesOneSenderBetweenThreads)
{
    const itcPost::Sender sender = post.sender();
    int run = 0;
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 4; ++worker) {
        workers.emplace_back([&] {
            for (int i = 0; i < 100; ++i) {
                EXPECT_TRUE(sender.post([&] { run += 1; }));
                sender.wake();
            }
        });
    }
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_TRUE(runUntil([&] { return run == 400; }));
}

TEST_F(APost, MayBeDestroyedWhileThreadsPost)
{
    auto gone = std::make_unique<itcPost>();
    const auto captured = std::make_shared<int>();
    std::atomic<int> posted{0};
    std::atomic<int> refusedThreads{0};
    std::atomic<int> run{0};
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 4; ++worker) {
        workers.emplace_back([&, sender = gone->sender()] {
            while (sender.post([&run, captured] { run += 1; })) {
                posted += 1;
                sender.wake();
            }
            refusedThreads += 1;
        });
    }
    EXPECT_TRUE(runUntil([&] { return run > 100; }));
    gone.reset();
    const int runAtTheEnd = run;
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(refusedThreads, 4);
    EXPECT_GE(posted, runAtTheEnd);
    runCycles();
    EXPECT_EQ(run, runAtTheEnd);
    EXPECT_EQ(captured.use_count(), 1) << "what has not run was destroyed";
}

TEST_F(APost, ServesItsOwnDispatcherOnly)
{
    itcDispatcher second;
    const itcPost another(second);
    ASSERT_TRUE(another.post([this] { steps.push_back(1); }));
    runCycles();
    EXPECT_TRUE(steps.empty());
    second.dispatch(0.0);
    EXPECT_THAT(steps, ElementsAre(1));
}

TEST_F(APost, RefusesWithoutADescriptor)
{
    std::unique_ptr<itcPost> without;
    {
        const DescriptorLimit none;
        without = std::make_unique<itcPost>();
    }
    EXPECT_FALSE(static_cast<bool>(*without));
    EXPECT_THAT(without->status(), HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
    const auto captured = std::make_shared<int>();
    EXPECT_FALSE(without->post([captured] {}));
    EXPECT_FALSE(without->sender().post([captured] {}));
    EXPECT_EQ(captured.use_count(), 1);
    without->sender().wake();
    runCycles();
}

TEST_F(APost, WakesACycleInsideOfAFunctionAlsoWhileOthersWait)
{
    ASSERT_TRUE(post.post([this] {
        EXPECT_TRUE(postStep(3));
        dispatcher.dispatch(60.0); // a cycle that does not see the functions would wait for a minute
        EXPECT_THAT(steps, ElementsAre(2, 3));
    }));
    ASSERT_TRUE(postStep(2));
    dispatcher.dispatch(60.0);
}
