// The hooks of a host's profiler: texts, markers and sleep times, and when the dispatcher calls them.
#include "DispatcherParts.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Calls told; // a global variable, since the profiler's hooks have no client data

void text(int id, const char* words) { told.push_back(std::to_string(id) + " " + words); }
void mark(int id) { told.push_back(std::to_string(id)); }
void sleep(long origSec, long origUsec, long leftSec, long leftUsec)
{
    told.push_back("sleep " + std::to_string(origSec) + " " + std::to_string(origUsec) + " " + std::to_string(leftSec) +
                   " " + std::to_string(leftUsec));
}

class DispatcherMarkers : public DispatcherTest {
protected:
    void SetUp() override { install(mark, sleep); }
    void TearDown() override
    {
        itcDispatcher::intReservedTextFP = nullptr;
        itcDispatcher::startTimerFP = nullptr;
        itcDispatcher::incDispatchSleepTimeFP = nullptr;
    }
    void install(void (*startTimer)(int), void (*incDispatchSleepTime)(long, long, long, long))
    {
        itcDispatcher::setPerfFunctions(text, startTimer, incDispatchSleepTime);
        told.clear();
    }
    void writeDownCalls()
    {
        handler.onInput = [] { return told.push_back("inputReady"), 0; };
        handler.onOutput = [] { return told.push_back("outputReady"), 0; };
        handler.onException = [] { return told.push_back("exceptionRaised"), 0; };
    }
};

TEST_F(DispatcherMarkers, AreRegisteredInOrderWithTheirTexts)
{
    itcDispatcher::setPerfFunctions(text, nullptr, nullptr);
    EXPECT_THAT(told, ElementsAre("0 dispatch begin", "1 dispatch end", "2 inprdy begin", "3 inprdy end",
                                  "4 outrdy begin", "5 outrdy end", "6 except begin", "7 except end"));
}

TEST_F(DispatcherMarkers, AreToldAlsoWhereNobodyWantsTheirTexts)
{
    itcDispatcher::setPerfFunctions(nullptr, mark, nullptr);
    EXPECT_THAT(told, IsEmpty());
    cycle();
    EXPECT_THAT(told, ElementsAre("0", "1"));
}

TEST_F(DispatcherMarkers, AreStoredWhereTheHostCanSeeThem)
{
    EXPECT_EQ(itcDispatcher::intReservedTextFP, text);
    EXPECT_EQ(itcDispatcher::startTimerFP, mark);
    EXPECT_EQ(itcDispatcher::incDispatchSleepTimeFP, sleep);
    install(nullptr, nullptr);
    EXPECT_EQ(itcDispatcher::intReservedTextFP, text);
    EXPECT_EQ(itcDispatcher::startTimerFP, nullptr);
    EXPECT_EQ(itcDispatcher::incDispatchSleepTimeFP, nullptr);
}

TEST_F(DispatcherMarkers, AreStoredBeforeTheTextsAreRegistered)
{
    static bool stored;
    stored = false;
    itcDispatcher::setPerfFunctions(
        [](int, const char*) {
            stored = itcDispatcher::startTimerFP == mark && itcDispatcher::incDispatchSleepTimeFP == sleep;
        },
        mark, sleep);
    EXPECT_TRUE(stored);
}

TEST_F(DispatcherMarkers, StandAroundTheCycleAndItsCalls)
{
    attach(3, everyKind, &handler);
    writeDownCalls();
    select.ready({3}, {3}, {3});
    select.meanwhile = [] { told.push_back("select"); };
    dispatcher.dispatch();
    EXPECT_THAT(told, ElementsAre("0", "select", "2", "inputReady", "3", "4", "outputReady", "5", "6",
                                  "exceptionRaised", "7", "1"));
}

TEST_F(DispatcherMarkers, StandAroundAnEmptyCycle)
{
    dispatcher.dispatch();
    EXPECT_THAT(told, ElementsAre("0", "1"));
}

TEST_F(DispatcherMarkers, StandInFrontOfTheTimersAndBehindThemAtTheEnd)
{
    handler.onTimer = [] { told.push_back("timer"); };
    dispatcher.startTimer(-1, 0, &handler);
    dispatcher.dispatch();
    EXPECT_THAT(told, ElementsAre("0", "timer", "1"));
}

TEST_F(DispatcherMarkers, AreLeftOutForEventsWithoutAHandler)
{
    attach(3, everyKind, nullptr);
    attach(4, ReadMask, &handler);
    select.ready({3}, {3}, {3});
    dispatcher.dispatch();
    EXPECT_THAT(told, ElementsAre("0", "1"));
}

TEST_F(DispatcherMarkers, StandBeforeTheAnswerIsObeyed)
{
    struct Detaching : OpenDispatcher {
        void detach(int fd, itcDispatcherMask mask) override
        {
            told.push_back("detach");
            itcDispatcher::detach(fd, mask);
        }
    } detaching;
    itcIOHandler refusing;
    detaching.attach(3, nullptr, nullptr, ReadMask, &refusing);
    select.ready({3});
    detaching.dispatch();
    EXPECT_THAT(told, ElementsAre("0", "2", "3", "detach", "1"));
}

TEST_F(DispatcherMarkers, EndWithTheSleepOfACycleThatHadALimit)
{
    select.left = tv(1, 7);
    dispatcher.dispatch(2.5);
    EXPECT_THAT(told, ElementsAre("0", "1", "sleep 2 500000 1 7"));
}

TEST_F(DispatcherMarkers, EndWithTheCallersLimitAlsoUnderATimer)
{
    FakeClock clock;
    dispatcher.startTimer(1, 0, &handler);
    dispatcher.dispatch(2.5);
    EXPECT_THAT(told, ElementsAre("0", "1", "sleep 2 500000 2 500000"));
}

TEST_F(DispatcherMarkers, EndWithoutSleepInACycleThatHadNoLimit)
{
    dispatcher.dispatch(static_cast<timeval*>(nullptr));
    EXPECT_THAT(told, ElementsAre("0", "1"));
}

TEST_F(DispatcherMarkers, EndWithoutSleepWhenThatHookIsNull)
{
    install(mark, nullptr);
    dispatcher.dispatch(1.0);
    EXPECT_THAT(told, ElementsAre("0", "1"));
}

TEST_F(DispatcherMarkers, AreAllOffWithoutTheMarkerHook)
{
    install(nullptr, sleep);
    attach(3, everyKind, &handler);
    select.ready({3}, {3}, {3});
    dispatcher.dispatch(1.0);
    EXPECT_THAT(told, IsEmpty()) << "no sleep either";
}

// The end of a cycle looks for a profiler only once, before the last marker.
TEST_F(DispatcherMarkers, EndWithSleepAlsoWhenTheLastMarkerTakesTheProfilerAway)
{
    install(
        [](int id) {
            mark(id);
            if (id == 1)
                itcDispatcher::startTimerFP = nullptr;
        },
        sleep);
    select.left = tv(1, 7);
    dispatcher.dispatch(2.5);
    EXPECT_THAT(told, ElementsAre("0", "1", "sleep 2 500000 1 7"));
}

TEST_F(DispatcherMarkers, AreNotSetAroundTheHandlerOfABadDescriptor)
{
    attach(3, ReadMask, &handler);
    writeDownCalls();
    select.fails(EBADF);
    select.fails(EBADF);
    dispatcher.dispatch();
    EXPECT_THAT(told, ElementsAre("0", "inputReady", "1"));
}

} // namespace
