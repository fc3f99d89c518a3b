// The worker threads that belong to notifications. The dispatcher waits for each worker and deletes the worker.
#include "HookRecorder.h"
#include "ReadyParts.h"

#include <kiv/foundation/KivDebug.h>

#include <gmock/gmock.h>

#include <QDeadlineTimer>
#include <QThread>

#include <atomic>
#include <dlfcn.h>
#include <stdexcept>

// ThreadSanitizer does not see Qt's locks and would report races.
extern "C" const char* __tsan_default_suppressions() { return "race:QWaitCondition\nrace:libglib-2.0.so\n"; }

namespace {

// While set, replaces QThread::wait(). No test then has to wait for a real deadline.
std::function<bool(QThread*, QDeadlineTimer)> waitInstead;

} // namespace

bool QThread::wait(QDeadlineTimer deadline)
{
    if (waitInstead)
        return waitInstead(this, deadline);
    using Wait = bool(QThread*, QDeadlineTimer);
    static auto* const real = reinterpret_cast<Wait*>(::dlsym(RTLD_NEXT, "_ZN7QThread4waitE14QDeadlineTimer"));
    return real(this, deadline);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Worker : public QThread {
public:
    explicit Worker(int& deletionCount, std::function<void()> work = nullptr)
        : deletions(deletionCount), task(std::move(work))
    {}
    ~Worker() override
    {
        ended.load(std::memory_order_acquire);
        ++deletions;
    }

private:
    void run() override
    {
        if (task)
            task();
        ended.store(true, std::memory_order_release);
    }

    int& deletions;
    std::function<void()> task;
    std::atomic<bool> ended = false; // repeats the order of wait() for ThreadSanitizer, which does not see into Qt
};

// Qt opens a descriptor with the first thread and keeps this descriptor. Therefore one thread runs before all tests:
// the leak listener would otherwise report the descriptor.
class FirstThread : public testing::Environment {
    void SetUp() override
    {
        int deletions = 0;
        Worker first(deletions);
        first.start();
        first.wait();
    }
};
const auto* const firstThread = testing::AddGlobalTestEnvironment(new FirstThread);

class DispatcherWorkers : public ReadyTest {
protected:
    Worker* started(std::function<void()> task = nullptr)
    {
        auto* const worker = new Worker(deletions, std::move(task));
        worker->start();
        return worker;
    }
    void TearDown() override { waitInstead = nullptr; }

    Receiver receiver;
    int deletions = 0;
};

TEST_F(DispatcherWorkers, AreDeletedWhenTheyHaveFinished)
{
    Worker* const worker = started();
    worker->wait();
    notify(1, &receiver, worker);
    EXPECT_EQ(deletions, 0);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1));
    EXPECT_EQ(deletions, 1);
}

TEST_F(DispatcherWorkers, MayNotifyWithThemselves)
{
    Event notified;
    started([&] {
        notify(1, &receiver, QThread::currentThread());
        notified.happens();
    });
    notified.await();
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1));
    EXPECT_EQ(deletions, 1);
}

TEST_F(DispatcherWorkers, AreWaitedForBehindTheDelivery)
{
    Event told;
    Worker* const worker = started([&] { told.await(); });
    receiver.onReady = [&](int) {
        EXPECT_EQ(deletions, 0);
        EXPECT_TRUE(worker->isRunning());
        told.happens();
    };
    notify(1, &receiver, worker);
    drain();
    EXPECT_EQ(deletions, 1);
}

TEST_F(DispatcherWorkers, AreDeletedWhenNobodyIsTold)
{
    {
        Receiver dead;
        notify(1, &dead, started());
    }
    notify(2, nullptr, started());
    drain();
    EXPECT_EQ(deletions, 2);
}

TEST_F(DispatcherWorkers, AreDeletedWhenTheReceiverThrows)
{
    receiver.onReady = [](int) { throw std::runtime_error("the host's own"); };
    notify(1, &receiver, started());
    EXPECT_THROW(drain(), std::runtime_error);
    EXPECT_EQ(deletions, 1);
    EXPECT_TRUE(lockIsFree());
}

TEST_F(DispatcherWorkers, AreDeletedWhenTheyWereNeverStarted)
{
    notify(1, &receiver, new Worker(deletions));
    drain();
    EXPECT_EQ(deletions, 1);
}

TEST_F(DispatcherWorkers, AreNotWaitedForWhereThereIsNone)
{
    int waits = 0;
    waitInstead = [&](QThread*, QDeadlineTimer) {
        ++waits;
        return true;
    };
    notify(1, &receiver);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1));
    EXPECT_EQ(waits, 0);
}

TEST_F(DispatcherWorkers, AreGivenTenSecondsByACoarseTimer)
{
    constexpr qint64 tenSeconds = 10000;
    QDeadlineTimer given;
    QDeadlineTimer latest;
    waitInstead = [&](QThread*, QDeadlineTimer deadline) {
        given = deadline;
        latest = QDeadlineTimer(tenSeconds, Qt::CoarseTimer);
        return true;
    };
    notify(1, &receiver, new Worker(deletions));
    // The drain's deadline must lie between `earliest` and `latest`, however long the drain takes.
    const QDeadlineTimer earliest(tenSeconds, Qt::CoarseTimer);
    drain();
    EXPECT_GE(given.deadlineNSecs(), earliest.deadlineNSecs());
    EXPECT_LE(given.deadlineNSecs(), latest.deadlineNSecs());
    EXPECT_EQ(given.timerType(), Qt::CoarseTimer);
    EXPECT_EQ(deletions, 1);
}

TEST_F(DispatcherWorkers, AreWaitedForWithTheLockHeld)
{
    bool freeInside = true;
    waitInstead = [&](QThread*, QDeadlineTimer) {
        freeInside = lockIsFree();
        return true;
    };
    notify(1, &receiver, new Worker(deletions));
    drain();
    EXPECT_FALSE(freeInside);
    EXPECT_TRUE(lockIsFree());
}

TEST_F(DispatcherWorkers, AreDeletedOnceWhenTwoRecordsNameThem)
{
    Worker* const worker = started();
    notify(1, &receiver, worker);
    notify(2, &receiver, worker);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1, 2));
    EXPECT_EQ(deletions, 1);
}

TEST_F(DispatcherWorkers, AreDeletedOnceWhenAReceiverNamesThemAgain)
{
    Worker* const worker = started();
    receiver.onReady = [&](int result) {
        if (result == 1)
            notify(2, &receiver, worker);
    };
    notify(1, &receiver, worker);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1, 2));
    EXPECT_EQ(deletions, 1);
}

TEST_F(DispatcherWorkers, AreDeletedOnceWhenADeliveryInsideTheDeliveryNamesThem)
{
    Worker* const worker = started();
    receiver.onReady = [&](int result) {
        if (result == 1)
            drain();
    };
    notify(1, &receiver, worker);
    notify(2, &receiver, worker);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1, 2));
    EXPECT_EQ(deletions, 1);
}

TEST_F(DispatcherWorkers, AreDeletedOnceWhenTwoThreadsDrain)
{
    constexpr int count = 200;
    auto other = std::async(std::launch::async, [&] {
        for (int i = 0; i < count; ++i)
            drain();
    });
    for (int i = 0; i < count; ++i) {
        notify(i, nullptr, new Worker(deletions));
        drain();
    }
    other.get();
    drain();
    EXPECT_EQ(deletions, count);
}

// A worker that is still running when the wait ends. Here the wait ends at once.
class StuckWorker : public DispatcherWorkers {
protected:
    void SetUp() override
    {
        waitInstead = [](QThread*, QDeadlineTimer) { return false; };
    }
    void TearDown() override
    {
        DispatcherWorkers::TearDown();
        EXPECT_EQ(deletions, 0);
        end.happens();
        stuck->wait();
        delete stuck;
    }

    Event end;
    Worker* const stuck = started([this] { end.await(); });
};

TEST_F(StuckWorker, IsReportedAndNotDeleted)
{
    const HookRecorder hooks;
    notify(1, &receiver, stuck);
    drain();
    ASSERT_EQ(hooks.errorReports().size(), 1u);
    const HookRecorder::ErrorReport report = hooks.errorReports()[0];
    EXPECT_EQ(report.priority, 1);
    EXPECT_EQ(report.type, 1);
    EXPECT_EQ(report.code, 54);
    EXPECT_EQ(report.text1, "workerThread is still running, memory leak expected!");
    EXPECT_THAT(hooks.texts(), IsEmpty());
    EXPECT_THAT(receiver.results, ElementsAre(1));
}

TEST_F(StuckWorker, IsNotMentionedAgainByTheNextCycle)
{
    const HookRecorder hooks;
    notify(1, &receiver, stuck);
    drain();
    drain();
    EXPECT_EQ(hooks.errorReports().size(), 1u);
}

TEST_F(StuckWorker, IsReportedForEachRecordThatNamesIt)
{
    const HookRecorder hooks;
    notify(1, &receiver, stuck);
    notify(2, &receiver, stuck);
    drain();
    EXPECT_EQ(hooks.errorReports().size(), 2u);
    EXPECT_THAT(receiver.results, ElementsAre(1, 2));
}

TEST_F(StuckWorker, DoesNotKeepLaterNotificationsBack)
{
    notify(1, &receiver, stuck);
    notify(2, &receiver);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1, 2));
    EXPECT_TRUE(lockIsFree());
}

TEST_F(StuckWorker, IsLeftSilentlyWithoutAnErrorHook)
{
    ASSERT_EQ(KivDebug::pKivErrorPrint, nullptr);
    notify(1, &receiver, stuck);
    drain();
    EXPECT_THAT(receiver.results, ElementsAre(1));
}

} // namespace
