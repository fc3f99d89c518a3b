// The performance report. The tests move the stopwatches.
#include "DispatcherParts.h"
#include "HookRecorder.h"

#include <gmock/gmock.h>

#include <QElapsedTimer>

#include <dlfcn.h>
#include <map>

namespace {

/// While FakeStopwatches exists, the time of all stopwatches moves only with advance().
class FakeStopwatches {
public:
    FakeStopwatches() { current = this; }
    ~FakeStopwatches() { current = nullptr; }
    FakeStopwatches(const FakeStopwatches&) = delete;
    FakeStopwatches& operator=(const FakeStopwatches&) = delete;

    void advance(qint64 milliseconds) { now += milliseconds * 1000000; }

    void start(const QElapsedTimer* stopwatch) { starts[stopwatch] = now; }
    qint64 elapsed(const QElapsedTimer* stopwatch) { return now - starts[stopwatch]; }

    static inline FakeStopwatches* current = nullptr;

private:
    qint64 now = 0;
    std::map<const QElapsedTimer*, qint64> starts;
};

template <class Function> Function* real(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

void QElapsedTimer::start() noexcept
{
    if (FakeStopwatches::current != nullptr)
        return FakeStopwatches::current->start(this);
    static auto* const function = real<void(QElapsedTimer*)>("_ZN13QElapsedTimer5startEv");
    function(this);
}

qint64 QElapsedTimer::nsecsElapsed() const noexcept
{
    if (FakeStopwatches::current != nullptr)
        return FakeStopwatches::current->elapsed(this);
    static auto* const function = real<qint64(const QElapsedTimer*)>("_ZNK13QElapsedTimer12nsecsElapsedEv");
    return function(this);
}

bool QElapsedTimer::hasExpired(qint64 timeout) const noexcept
{
    if (FakeStopwatches::current != nullptr)
        return FakeStopwatches::current->elapsed(this) / 1000000 > timeout;
    static auto* const function = real<bool(const QElapsedTimer*, qint64)>("_ZNK13QElapsedTimer10hasExpiredEx");
    return function(this, timeout);
}

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Before each test a report sets all figures and stopwatches to zero. Each test has a new dispatcher.
class DispatcherReport : public testing::Test {
protected:
    DispatcherReport()
    {
        dispatcher.attach(3, nullptr, nullptr, ReadMask, &handler);
        dispatcher.attach(4, nullptr, nullptr, ReadMask, &handler);
        dispatcher.attach(5, nullptr, nullptr, WriteMask, &handler);
        dispatcher.attach(6, nullptr, nullptr, ExceptMask, &handler);
    }
    void TearDown() override { zeroFigures(); }

    bool zeroFigures()
    {
        OpenDispatcher other;
        stopwatches.advance(60001);
        hooks.check = [](short) { return true; };
        other.report();
        hooks.clear();
        return true;
    }
    void cycle() { dispatcher.dispatch(0.0); }
    void readOnce()
    {
        select.ready({3});
        cycle();
    }
    // Lets a minute pass, runs one cycle and returns its report.
    std::string report()
    {
        hooks.clear();
        stopwatches.advance(60001);
        cycle();
        return hooks.texts().size() == 1 ? hooks.texts()[0] : "not one report";
    }

    FakeStopwatches stopwatches;
    HookRecorder hooks;
    const bool zeroed = zeroFigures();
    FakeSelect select;
    OpenDispatcher dispatcher;
    Handler handler;
};

constexpr auto emptyReport = "\n select calls      #1 time #0 sec. time per call 0 msec. \n"
                             " time #0 sec. \n\n"
                             " InputReady calls  #0 time #0 sec. \n"
                             " OutputReady calls #0 time #0 sec. \n"
                             " ======================================================================= \n";

TEST_F(DispatcherReport, OfAnIdleMinuteShowsNoReadFigures)
{
    EXPECT_EQ(report(), emptyReport);
    EXPECT_THAT(hooks.flags(), ElementsAre(HookRecorder::nfrFlag));
}

TEST_F(DispatcherReport, ShowsAllFigures)
{
    select.meanwhile = [&] { stopwatches.advance(250); };
    handler.onInput = [&] { return stopwatches.advance(500), 0; };
    handler.onOutput = [&] { return stopwatches.advance(125), 0; };
    handler.onException = [&] { return stopwatches.advance(99000), 0; }; // counted nowhere
    hooks.check = [](short) { return false; };                           // no report in between
    stopwatches.advance(1000);
    select.ready({3, 4}, {5}, {6});
    cycle();
    stopwatches.advance(2500);
    select.ready({3});
    cycle();
    itcDispatcher::messagesRead = 7;
    itcDispatcher::bytesRead = 100;
    hooks.check = [](short) { return true; };
    EXPECT_EQ(report(), "\n select calls      #3 time #0.5 sec. time per call 166.667 msec. \n"
                        " Messages per read #2 Bytes / read#33"
                        " time #3.5 sec. \n\n"
                        " InputReady calls  #3 time #1.5 sec. \n"
                        " OutputReady calls #1 time #0.125 sec. \n"
                        " ======================================================================= \n");
}

TEST_F(DispatcherReport, IsComposedBeforeTheHookIsAskedTheSecondTime)
{
    readOnce();
    itcDispatcher::messagesRead = 9;
    hooks.check = [this](short) {
        if (hooks.checks() == 2)
            itcDispatcher::messagesRead = 5;
        return true;
    };
    EXPECT_THAT(report(), HasSubstr(" Messages per read #9"));
}

TEST_F(DispatcherReport, ShowsMessagesWithoutBytes)
{
    readOnce();
    readOnce();
    itcDispatcher::messagesRead = 9;
    EXPECT_THAT(report(), HasSubstr(" msec. \n Messages per read #4 time #"));
}

TEST_F(DispatcherReport, ShowsBytesAloneUnderALongerLabel)
{
    for (int i = 0; i < 10; ++i)
        readOnce();
    itcDispatcher::bytesRead = 1000;
    EXPECT_THAT(report(), HasSubstr(" msec. \n Bytes per read    #100 time #"));
}

TEST_F(DispatcherReport, ShowsZeroBytesOfReadsThatNobodyCounted)
{
    readOnce();
    EXPECT_THAT(report(), HasSubstr(" msec. \n Bytes per read    #0 time #"));
}

TEST_F(DispatcherReport, ShowsNeitherMessagesNorBytesWithoutAnyRead)
{
    itcDispatcher::messagesRead = 5;
    itcDispatcher::bytesRead = 500;
    EXPECT_EQ(report(), emptyReport);
}

TEST_F(DispatcherReport, ShowsFiguresOfUnsignedNumbers)
{
    readOnce();
    itcDispatcher::messagesRead = 4294967295u;
    itcDispatcher::bytesRead = 3000000000u;
    EXPECT_THAT(report(), HasSubstr(" Messages per read #4294967295 Bytes / read#3000000000 time #"));
}

TEST_F(DispatcherReport, ShowsTimesInSixDigits)
{
    hooks.check = [](short) { return false; };
    stopwatches.advance(1234567890);
    cycle();
    hooks.check = [](short) { return true; };
    EXPECT_THAT(report(), HasSubstr(" msec. \n time #1.23457e+06 sec. \n\n"));
}

// When the report comes

TEST_F(DispatcherReport, ComesOnlyAfterAMinute)
{
    stopwatches.advance(30000);
    cycle();
    stopwatches.advance(30000);
    cycle();
    EXPECT_THAT(hooks.texts(), IsEmpty());
    stopwatches.advance(1);
    cycle();
    EXPECT_EQ(hooks.texts().size(), 1u);
}

TEST_F(DispatcherReport, ComesAgainAMinuteLater)
{
    report();
    stopwatches.advance(59999);
    cycle();
    EXPECT_EQ(hooks.texts().size(), 1u);
    stopwatches.advance(2);
    cycle();
    EXPECT_EQ(hooks.texts().size(), 2u);
}

TEST_F(DispatcherReport, ComesAtTheStartOfTheCycle)
{
    select.meanwhile = [&] { EXPECT_EQ(hooks.texts().size(), 1u); };
    report();
}

TEST_F(DispatcherReport, ComesWithTheFirstCycleAfterALongRest)
{
    stopwatches.advance(1000000);
    cycle();
    cycle();
    EXPECT_EQ(hooks.texts().size(), 1u);
}

TEST_F(DispatcherReport, DoesNotComeWhileItsFlagIsOff)
{
    hooks.check = [](short flag) { return flag != HookRecorder::nfrFlag; };
    stopwatches.advance(60001);
    cycle();
    EXPECT_THAT(hooks.texts(), IsEmpty());
}

TEST_F(DispatcherReport, LetsTheFiguresGrowWhileItsFlagIsOff)
{
    hooks.check = [](short flag) { return flag != HookRecorder::nfrFlag; };
    for (int minute = 0; minute < 3; ++minute) {
        stopwatches.advance(60001);
        readOnce();
    }
    itcDispatcher::bytesRead = 30;
    hooks.check = [](short) { return true; };
    cycle(); // prints, since the minutes have passed
    ASSERT_EQ(hooks.texts().size(), 1u);
    EXPECT_EQ(hooks.texts()[0], "\n select calls      #4 time #0 sec. time per call 0 msec. \n"
                                " Bytes per read    #10 time #180.003 sec. \n\n"
                                " InputReady calls  #3 time #0 sec. \n"
                                " OutputReady calls #0 time #0 sec. \n"
                                " ======================================================================= \n");
}

TEST_F(DispatcherReport, DoesNotNeedTheOtherFlags)
{
    hooks.check = [](short flag) { return flag == HookRecorder::nfrFlag; };
    EXPECT_EQ(report(), emptyReport);
}

// What the report resets

TEST_F(DispatcherReport, StartsAllFiguresAnew)
{
    select.meanwhile = [&] { stopwatches.advance(250); };
    handler.onEvery([&] { return stopwatches.advance(500), 0; });
    select.ready({3, 4}, {5});
    cycle();
    itcDispatcher::messagesRead = 7;
    itcDispatcher::bytesRead = 100;
    dispatcher.report();
    stopwatches.advance(60001);
    dispatcher.report();
    EXPECT_EQ(itcDispatcher::messagesRead, 0u);
    EXPECT_EQ(itcDispatcher::bytesRead, 0u);
    select.meanwhile = nullptr;
    EXPECT_EQ(report(), emptyReport);
}

TEST_F(DispatcherReport, StartsAnewAlsoWhenItsFlagGoesOffMeanwhile)
{
    itcDispatcher::messagesRead = 7;
    int asked = 0;
    hooks.check = [&](short) { return ++asked == 1; };
    stopwatches.advance(60001);
    cycle();
    EXPECT_EQ(asked, 2);
    EXPECT_THAT(hooks.texts(), IsEmpty());
    EXPECT_EQ(itcDispatcher::messagesRead, 0u);
}

TEST_F(DispatcherReport, KeepsTheFiguresUntilItIsDue)
{
    itcDispatcher::messagesRead = 7;
    itcDispatcher::bytesRead = 8;
    cycle();
    EXPECT_EQ(itcDispatcher::messagesRead, 7u);
    EXPECT_EQ(itcDispatcher::bytesRead, 8u);
}

// What the report measures

TEST_F(DispatcherReport, CountsTheCycleThatPrintsIt)
{
    cycle();
    cycle();
    EXPECT_THAT(report(), HasSubstr(" select calls      #3 time"));
}

TEST_F(DispatcherReport, CountsARepeatedWaitAsOneCallAndBothTimesWithoutTheProbes)
{
    select.fails(EBADF);
    select.meanwhile = [&] { stopwatches.advance(250); };
    cycle();
    ASSERT_EQ(select.asked.size(), 6u); // two waits, four probes
    select.meanwhile = nullptr;
    EXPECT_THAT(report(), HasSubstr(" select calls      #2 time #0.5 sec. time per call 250 msec. \n"));
}

TEST_F(DispatcherReport, DoesNotCountTheHandlerOfABadDescriptor)
{
    select.fails(EBADF);
    select.fails(EBADF);
    cycle();
    ASSERT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_THAT(report(), HasSubstr(" InputReady calls  #0 time #0 sec. \n"));
}

TEST_F(DispatcherReport, DoesNotCountEventsWithoutAHandler)
{
    dispatcher.attach(7, nullptr, nullptr, ReadMask, nullptr);
    dispatcher.attach(8, nullptr, nullptr, ReadMask, &handler);
    select.ready({7}, {7});
    cycle();
    EXPECT_THAT(report(), Not(HasSubstr("Bytes per read")));
}

// The markers around a handler call are counted nowhere. The markers at both ends of a cycle are counted as time
// outside.
TEST_F(DispatcherReport, CountsTheTimeOfTheCyclesMarkersAsTimeOutside)
{
    static FakeStopwatches* slowed;
    slowed = &stopwatches;
    itcDispatcher::startTimerFP = [](int marker) {
        constexpr int milliseconds[] = {1000, 2000, 100000, 200000, 400000, 800000, 1600000, 3200000};
        slowed->advance(milliseconds[marker]);
    };
    hooks.check = [](short) { return false; };
    select.ready({3}, {5}, {6});
    cycle();
    itcDispatcher::startTimerFP = nullptr;
    cycle();
    hooks.check = [](short) { return true; };
    cycle();
    ASSERT_EQ(hooks.texts().size(), 1u);
    EXPECT_EQ(hooks.texts()[0], "\n select calls      #3 time #0 sec. time per call 0 msec. \n"
                                " Bytes per read    #0 time #3 sec. \n\n"
                                " InputReady calls  #1 time #0 sec. \n"
                                " OutputReady calls #1 time #0 sec. \n"
                                " ======================================================================= \n");
}

// All cycles share their stopwatches. The wait of a cycle inside a handler starts the handler's stopwatch again. Only
// the handler's time from this wait on is counted. The time since the last cycle is counted twice.
TEST_F(DispatcherReport, CountsACycleInsideAHandlerAsACycleAndRestartsTheHandlersStopwatch)
{
    hooks.check = [](short) { return false; };
    handler.onInput = [&] {
        stopwatches.advance(10000);
        select.meanwhile = [&] { stopwatches.advance(500); };
        cycle();
        select.meanwhile = nullptr;
        stopwatches.advance(2000);
        return 0;
    };
    stopwatches.advance(1000);
    select.ready({3});
    cycle();
    hooks.check = [](short) { return true; };
    EXPECT_EQ(report(), "\n select calls      #3 time #0.5 sec. time per call 166.667 msec. \n"
                        " Bytes per read    #0 time #12 sec. \n\n"
                        " InputReady calls  #1 time #2.5 sec. \n"
                        " OutputReady calls #0 time #0 sec. \n"
                        " ======================================================================= \n");
}

TEST_F(DispatcherReport, MeasuresTimeOutsideFromTheEndOfOneCycleToTheStartOfTheNext)
{
    hooks.check = [](short) { return false; };
    handler.onTimer = [&] { stopwatches.advance(7000); }; // time inside the cycle
    dispatcher.startTimer(-1, 0, &handler);
    stopwatches.advance(100);
    cycle();
    stopwatches.advance(200);
    cycle();
    hooks.check = [](short) { return true; };
    EXPECT_THAT(report(), HasSubstr(" msec. \n time #0.3 sec. \n\n"));
}

} // namespace
