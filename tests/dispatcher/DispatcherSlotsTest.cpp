// The order of the virtual operations is part of the binary interface. The internal steps of a cycle are virtual calls.
#include "DispatcherParts.h"
#include "StatusMatchers.h"
#include "VirtualSlots.h"

#include <kiv/dispatcher/ICBKivReady.h>
#include <kiv/dispatcher/itcAsyncFuncReady.h>

#include <gmock/gmock.h>

#include <cstddef>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(DispatcherSlots, StandInTheirOrderBehindTheDestructors)
{
    using D = itcDispatcher;
    const std::vector<int> slots = {
        slotOf(&D::link),
        slotOf(&D::handler),
        slotOf(&D::unlink),
        slotOf(&D::unlink_all),
        slotOf(&D::startTimer),
        slotOf(&D::stopTimer),
        slotOf(static_cast<int (D::*)()>(&D::dispatch)),
        slotOf(static_cast<int (D::*)(long&, long&)>(&D::dispatch)),
        slotOf(static_cast<int (D::*)(double)>(&D::dispatch)),
        slotOf(&D::addAsyncReadyNotify),
        slotOf(&D::registerICBKivReady),
        slotOf(&D::deregisterICBKivReady),
        slotOf(&D::attach),
        slotOf(&D::detach),
        slotOf(&D::detach_all),
        slotOf(static_cast<int (D::*)(timeval*)>(&D::dispatch)),
        slotOf(&D::waitFor),
        slotOf(&D::notify),
        slotOf(static_cast<timeval* (D::*)(timeval*, timeval&)>(&D::calculateTimeout)),
        slotOf(&D::handleError),
        slotOf(&D::checkConnections),
    };
    EXPECT_THAT(slots, ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22));
    EXPECT_EQ(slotCount<D>(), 23);
}

// A queued notification: a number and three pointers, in this order.
static_assert(offsetof(itcAsyncFuncReady, result) == 0 && offsetof(itcAsyncFuncReady, target) == sizeof(void*) &&
              offsetof(itcAsyncFuncReady, userData) == 2 * sizeof(void*) &&
              offsetof(itcAsyncFuncReady, thread) == 3 * sizeof(void*));

TEST(DispatcherSlots, HoldNoneOfTheOtherOperations)
{
    using D = itcDispatcher;
    EXPECT_EQ(slotOf(&D::anyReady), -1);
    EXPECT_EQ(slotOf(&D::fillMask), -1);
    EXPECT_EQ(slotOf(&D::fillInReady), -1);
    EXPECT_EQ(slotOf(static_cast<timeval* (D::*)(timeval*, timeval&, std::vector<int>&)>(&D::calculateTimeout)), -1);
    EXPECT_EQ(slotOf(&D::currentTime), -1);
    EXPECT_EQ(slotOf(&D::processAsyncReadyNotify), -1);
    EXPECT_EQ(slotOf(&D::report), -1);
}

TEST(HandlerSlots, StandInTheirOrderBehindTheDestructors)
{
    EXPECT_EQ(slotOf(&itcIOHandler::inputReady), 2);
    EXPECT_EQ(slotOf(&itcIOHandler::outputReady), 3);
    EXPECT_EQ(slotOf(&itcIOHandler::exceptionRaised), 4);
    EXPECT_EQ(slotOf(&itcIOHandler::timerExpired), 5);
    EXPECT_EQ(slotCount<itcIOHandler>(), 6);
    EXPECT_EQ(sizeof(itcIOHandler), sizeof(void*)) << "no data";
}

TEST(ReceiverSlots, StandInTheirOrderBehindTheDestructors)
{
    EXPECT_EQ(slotOf(&ICBKivReady::ready), 2);
    EXPECT_EQ(slotCount<ICBKivReady>(), 3);
    EXPECT_EQ(sizeof(ICBKivReady), sizeof(void*)) << "no data";
}

TEST(DefaultHandler, RefusesEveryEventAndIgnoresTimers)
{
    itcIOHandler handler;
    EXPECT_EQ(handler.inputReady(nullptr, nullptr), -1);
    EXPECT_EQ(handler.outputReady(nullptr, nullptr), -1);
    EXPECT_EQ(handler.exceptionRaised(nullptr, nullptr), -1);
    handler.timerExpired(1, 2);
}

TEST(DispatcherMask, HasItsValues)
{
    EXPECT_EQ(ReadMask, 1);
    EXPECT_EQ(WriteMask, 2);
    EXPECT_EQ(ExceptMask, 4);
}

// Writes down each step and then calls the library's step.
class TracedDispatcher : public OpenDispatcher {
public:
    using itcDispatcher::calculateTimeout;
    using itcDispatcher::dispatch;

    Calls steps;

    void attach(int fd, itcConnection* conn, char* data, itcDispatcherMask mask, itcIOHandler* h) override
    {
        steps.push_back("attach " + std::to_string(fd) + " " + std::to_string(mask));
        itcDispatcher::attach(fd, conn, data, mask, h);
    }
    void detach(int fd, itcDispatcherMask mask) override
    {
        steps.push_back("detach " + std::to_string(fd) + " " + std::to_string(mask));
        itcDispatcher::detach(fd, mask);
    }
    void detach_all(itcDispatcherMask mask) override
    {
        steps.push_back("detach_all " + std::to_string(mask));
        itcDispatcher::detach_all(mask);
    }
    int dispatch(timeval* timeout) override
    {
        steps.push_back("dispatch");
        return itcDispatcher::dispatch(timeout);
    }
    int waitFor(FdMask& r, FdMask& w, FdMask& e, timeval* timeout) override
    {
        steps.push_back("waitFor");
        return itcDispatcher::waitFor(r, w, e, timeout);
    }
    void notify(int n, FdMask& r, FdMask& w, FdMask& e) override
    {
        steps.push_back("notify " + std::to_string(n));
        itcDispatcher::notify(n, r, w, e);
    }
    timeval* calculateTimeout(timeval* timeout, timeval& local) override
    {
        steps.push_back("calculateTimeout");
        return itcDispatcher::calculateTimeout(timeout, local);
    }
    int handleError() override
    {
        steps.push_back("handleError");
        return itcDispatcher::handleError();
    }
    void checkConnections() override
    {
        steps.push_back("checkConnections");
        itcDispatcher::checkConnections();
    }
    void registerICBKivReady(ICBKivReady* r) override
    {
        steps.push_back("register");
        itcDispatcher::registerICBKivReady(r);
    }
    void deregisterICBKivReady(ICBKivReady* r) override
    {
        steps.push_back("deregister");
        itcDispatcher::deregisterICBKivReady(r);
    }
};

class InternalSteps : public testing::Test {
protected:
    void attach(int fd, itcDispatcherMask kind)
    {
        dispatcher.itcDispatcher::attach(fd, nullptr, nullptr, kind, &handler);
    }

    FakeSelect select;
    TracedDispatcher dispatcher;
    Handler handler;
};

TEST_F(InternalSteps, OfLinkAreItsAttachesInTheOrderOfTheBits)
{
    BufferedConnection conn(4, 5, 6);
    dispatcher.link(&conn, nullptr, everyKind, &handler);
    EXPECT_THAT(dispatcher.steps, ElementsAre("attach 4 1", "attach 5 2", "attach 6 4"));
}

TEST_F(InternalSteps, OfUnlinkAreItsDetachesInTheOrderOfTheBits)
{
    BufferedConnection conn(4, 5, 6);
    dispatcher.unlink(&conn, everyKind);
    EXPECT_THAT(dispatcher.steps, ElementsAre("detach 4 1", "detach 5 2", "detach 6 4"));
}

TEST_F(InternalSteps, OfUnlinkAllAreDetachAllAndItsDetachesFromTheTop)
{
    attach(2, ReadMask);
    attach(0, ReadMask);
    EXPECT_EQ(dispatcher.unlink_all(ReadMask), 1);
    EXPECT_THAT(dispatcher.steps, ElementsAre("detach_all 1", "detach 2 1", "detach 1 1", "detach 0 1"));
}

TEST_F(InternalSteps, OfEveryDispatchLeadThroughTheOneWithATimeval)
{
    long sec = 0, usec = 0;
    dispatcher.dispatch();
    dispatcher.dispatch(0.0);
    dispatcher.dispatch(sec, usec);
    const Calls one = {"dispatch", "waitFor", "notify 0"};
    Calls three = one;
    three.insert(three.end(), one.begin(), one.end());
    three.insert(three.end(), one.begin(), one.end());
    EXPECT_EQ(dispatcher.steps, three);
}

TEST_F(InternalSteps, OfACycleDetachARefusingHandler)
{
    attach(3, WriteMask);
    handler.onOutput = [] { return -1; };
    select.ready({}, {3});
    dispatcher.dispatch(0.0);
    EXPECT_THAT(dispatcher.steps, ElementsAre("dispatch", "waitFor", "notify 1", "detach 3 7"));
}

TEST_F(InternalSteps, OfARecoveryEndInAnotherWaitInsideTheSameStep)
{
    attach(3, ReadMask);
    attach(4, ReadMask);
    select.fails(EBADF);
    select.fails(EBADF); // the probe of descriptor 3
    dispatcher.dispatch(0.0);
    EXPECT_THAT(dispatcher.steps,
                ElementsAre("dispatch", "waitFor", "handleError", "checkConnections", "detach 3 7", "notify 0"));
}

TEST_F(InternalSteps, OfTheRegistryGoThroughTheInstance)
{
    struct Receiver : ICBKivReady {
        void ready(int, void*) override {}
    };
    itcDispatcher::instance(&dispatcher);
    {
        const Receiver receiver;
        EXPECT_THAT(dispatcher.steps, ElementsAre("register"));
    }
    EXPECT_THAT(dispatcher.steps, ElementsAre("register", "deregister"));
    itcDispatcher::instance(nullptr);
}

TEST_F(InternalSteps, DecideWhatUnlinkAllReturns)
{
    struct Refusing : OpenDispatcher {
        void detach_all(itcDispatcherMask) override { severity = Warning; }
    } refusing;
    EXPECT_EQ(refusing.unlink_all(ReadMask), 0);
}

TEST_F(InternalSteps, DecideWhetherAFailedWaitIsRepeated)
{
    struct Patient : OpenDispatcher {
        int handleError() override { return errno == EINTR ? 0 : 1; }
    } patient;
    patient.attach(3, nullptr, nullptr, ReadMask, &handler);
    select.fails(EINTR);
    select.ready({3});
    EXPECT_EQ(patient.dispatch(0.0), 1);
    EXPECT_THAT(handler.calls, ElementsAre("in"));
}

TEST_F(InternalSteps, CanBeReplacedAltogether)
{
    struct Made : OpenDispatcher {
        int waitFor(FdMask& r, FdMask&, FdMask&, timeval*) override
        {
            r.setBit(3);
            return 1;
        }
    } made;
    made.attach(3, nullptr, nullptr, ReadMask, &handler);
    EXPECT_EQ(made.dispatch(0.0), 1);
    EXPECT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_THAT(select.asked, IsEmpty());
}

// dispatch(timeval*) calls waitFor() with empty sets.
TEST_F(InternalSteps, StartFromEmptySets)
{
    struct Looking : OpenDispatcher {
        int waitFor(FdMask& r, FdMask& w, FdMask& e, timeval*) override
        {
            set = r.anySet() || w.anySet() || e.anySet();
            return 0;
        }
        bool set = true;
    } looking;
    looking.attach(3, nullptr, nullptr, everyKind, &handler);
    looking.attach(3, nullptr, nullptr, ReadMask, &handler);
    looking.dispatch(0.0);
    EXPECT_FALSE(looking.set);
}

} // namespace
