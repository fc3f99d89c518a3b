// What the dispatcher does after a failed select(). Some errors end the cycle. Others make the dispatcher look for bad
// descriptors.
#include "DispatcherParts.h"
#include "HookRecorder.h"
#include "StatusMatchers.h"

#include <gmock/gmock.h>

#include <csignal>
#include <memory>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Errors that end the cycle

class FailedWait : public DispatcherTest {
protected:
    HookRecorder hooks;
};

TEST_F(FailedWait, ByAnInterruptionEndsTheCycleWithoutAText)
{
    attach(3, everyKind, &handler);
    select.fails(EINTR);
    EXPECT_EQ(cycle(), 0);
    EXPECT_THAT(handler.calls, IsEmpty());
    EXPECT_THAT(dispatcher, HasClearStatus());
    EXPECT_THAT(hooks.texts(), IsEmpty());
    EXPECT_EQ(select.asked.size(), 1u);
}

// A failed select() does not change its sets. A descriptor whose handler asked to be called again is already in its
// set. Only descriptors that are missing in the set are counted. Therefore the request is lost.
TEST_F(FailedWait, ByAnInterruptionLosesRequestsToBeCalledAgain)
{
    attach(3, ReadMask, &handler);
    handler.onInput = [] { return 1; };
    select.ready({3});
    cycle();
    select.fails(EINTR);
    EXPECT_EQ(cycle(), 0);
    EXPECT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_FALSE(dispatcher.anyReady());
}

class FailedWaitByError : public FailedWait, public testing::WithParamInterface<std::pair<int, const char*>> {};

TEST_P(FailedWaitByError, EndsTheCycleWithAText)
{
    attach(3, everyKind, &handler);
    select.fails(GetParam().first);
    EXPECT_EQ(cycle(), 0);
    EXPECT_THAT(handler.calls, IsEmpty());
    EXPECT_THAT(dispatcher, HasClearStatus());
    EXPECT_THAT(hooks.texts(), ElementsAre(GetParam().second));
    EXPECT_THAT(hooks.flags(), ElementsAre(HookRecorder::kivFlag));
    EXPECT_EQ(select.asked.size(), 1u);
}

TEST_P(FailedWaitByError, EndsTheCycleSilentlyWhileTracesAreOff)
{
    hooks.check = [](short flag) { return flag != HookRecorder::kivFlag; };
    select.fails(GetParam().first);
    EXPECT_EQ(cycle(), 0);
    EXPECT_THAT(hooks.texts(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Other, FailedWaitByError,
                         testing::Values(std::pair(EINVAL, "itcDispatcher::handleError() [22] Invalid argument"),
                                         std::pair(ENOMEM,
                                                   "itcDispatcher::handleError() [12] Cannot allocate memory")));

TEST_F(FailedWait, IsJudgedByThePendingError)
{
    errno = EINTR;
    EXPECT_EQ(dispatcher.handleError(), 1);
    errno = EINVAL;
    EXPECT_EQ(dispatcher.handleError(), 1);
    errno = EBADF;
    EXPECT_EQ(dispatcher.handleError(), 0);
    errno = ENOTSOCK;
    EXPECT_EQ(dispatcher.handleError(), 0);
}

class BadDescriptorError : public FailedWait, public testing::WithParamInterface<std::pair<int, const char*>> {};

TEST_P(BadDescriptorError, IsRecordedTracedAndFollowedByAnotherWait)
{
    attach(3, ReadMask, &handler);
    select.fails(GetParam().first);
    select.ready({});  // the probe of descriptor 3
    select.ready({3}); // the repeated wait
    EXPECT_EQ(cycle(), 1);
    EXPECT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Select_Call_Failed_EBADF, Error, GetParam().first));
    EXPECT_THAT(hooks.texts(), ElementsAre(GetParam().second));
    EXPECT_THAT(hooks.flags(), ElementsAre(HookRecorder::kivFlag));
}

INSTANTIATE_TEST_SUITE_P(
    Both, BadDescriptorError,
    testing::Values(std::pair(EBADF, "itcDispatcher::handleError() [9] Bad file descriptor"),
                    std::pair(ENOTSOCK, "itcDispatcher::handleError() [88] Socket operation on non-socket")));

TEST_F(FailedWait, AsksForTheTextOfTheErrorInto1023Bytes)
{
    for (const int error : {EINVAL, EBADF}) {
        OsFaults::getStrError().clear();
        select.fails(error);
        cycle();
        EXPECT_THAT(OsFaults::getStrError().askedArgument<0>(), ElementsAre(error));
        EXPECT_THAT(OsFaults::getStrError().askedArgument<2>(), ElementsAre(1023u));
    }
}

TEST_F(FailedWait, AsksForTheTextAlsoWhileTracesAreOffAndBeforeTheHookIsAsked)
{
    select.fails(EINVAL);
    std::vector<int> textsAskedBefore;
    hooks.check = [&](short flag) {
        if (flag == HookRecorder::kivFlag)
            textsAskedBefore.push_back(OsFaults::getStrError().calls());
        return false;
    };
    cycle();
    EXPECT_THAT(textsAskedBefore, ElementsAre(1));
    EXPECT_THAT(hooks.texts(), IsEmpty());
}

TEST_F(FailedWait, ByAnInterruptionAsksForNoText)
{
    select.fails(EINTR);
    cycle();
    EXPECT_EQ(OsFaults::getStrError().calls(), 0);
}

TEST_F(FailedWait, LeavesItsErrorNumberToTheDispatcherAndThatOfTheProbeToTheConnection)
{
    OpenedConnection conn;
    dispatcher.attach(3, &conn, nullptr, ReadMask, &handler);
    select.fails(EBADF);
    select.fails(ENOMEM);
    cycle();
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Select_Call_Failed_EBADF, Error, EBADF));
    EXPECT_THAT(conn, HasStatus(Itc_Dp_Select_Call_Failed_EBADF, Error, ENOMEM));
}

// The caller gives no limit. The timer limits the wait. The repeated wait keeps this limit, although the timer is gone.
TEST_F(FailedWait, KeepsTheLimitOfATimerThatIsStoppedMeanwhile)
{
    FakeClock clock;
    attach(3, ReadMask, &handler);
    attach(4, ReadMask, &handler);
    dispatcher.startTimer(2, 0, &handler);
    handler.onInput = [&] { return dispatcher.stopTimer(&handler), 0; };
    select.left = tv(1, 7);
    select.fails(EBADF);
    select.fails(EBADF); // the probe of descriptor 3
    dispatcher.dispatch(static_cast<timeval*>(nullptr));
    ASSERT_EQ(select.asked.size(), 4u);
    EXPECT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_TRUE(select.asked[3].limited);
    EXPECT_EQ(fields(select.asked[3].timeout), Fields(1, 7)) << "what the first wait has left";
}

TEST_F(FailedWait, ProbesEachLinkedDescriptorAloneForReading)
{
    attach(3, WriteMask, &handler);
    attach(7, ExceptMask, &handler);
    select.fails(EBADF);
    cycle();
    ASSERT_EQ(select.asked.size(), 4u);
    int index = 1;
    for (const int fd : {3, 7}) {
        const FakeSelect::Asked& probe = select.asked[index++];
        EXPECT_EQ(probe.nfds, fd + 1);
        EXPECT_TRUE(probe.read.isSet(fd));
        EXPECT_EQ(probe.read.numSet(), 1);
        EXPECT_FALSE(probe.write.anySet());
        EXPECT_FALSE(probe.except.anySet());
        EXPECT_EQ(fields(probe.timeout), Fields(0, 0));
    }
    EXPECT_EQ(select.asked[3].nfds, 8);
    EXPECT_EQ(fields(select.asked[3].timeout), Fields(5, 0));
}

class FailedProbe : public FailedWait, public testing::WithParamInterface<int> {};

TEST_P(FailedProbe, DropsTheDescriptorForWhateverReason)
{
    attach(3, ReadMask, &handler);
    select.fails(EBADF);
    select.fails(GetParam());
    EXPECT_EQ(cycle(), 0);
    EXPECT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_EQ(dispatcher.nfds, 0);
}

INSTANTIATE_TEST_SUITE_P(Any, FailedProbe, testing::Values(EBADF, ENOTSOCK, EINVAL, ENOMEM, EINTR));

TEST_F(FailedWait, ForgetsTheWishOfTheOnlyDescriptorWhenThatIsBad)
{
    attach(3, ReadMask, &handler);
    dispatcher.readyRead->push_back(3);
    select.fails(EBADF);
    select.fails(EBADF);
    EXPECT_EQ(cycle(), 0);
    EXPECT_THAT(handler.calls, ElementsAre("in")) << "of its end";
    EXPECT_FALSE(dispatcher.anyReady());
}

TEST_F(FailedWait, KeepsTheLimitOfATimerForTheNextWait)
{
    FakeClock clock;
    attach(3, ReadMask, &handler);
    dispatcher.startTimer(2, 0, &handler);
    select.fails(EBADF);
    select.meanwhile = [&] {
        if (select.asked.size() == 1)
            clock.advance(0, 500000);
    };
    cycle();
    ASSERT_EQ(select.asked.size(), 3u);
    EXPECT_EQ(fields(select.asked[0].timeout), Fields(2, 0));
    EXPECT_EQ(fields(select.asked[2].timeout), Fields(1, 500000));
}

TEST_F(FailedWait, EndsWithZeroWhenTheLastDescriptorIsDropped)
{
    attach(3, ReadMask, &handler);
    select.fails(EBADF);
    select.fails(EBADF);
    EXPECT_EQ(cycle(), 0);
    EXPECT_EQ(select.asked.size(), 2u) << "nothing is left to wait for";
}

TEST_F(FailedWait, ByABadDescriptorKeepsRequestsToBeCalledAgain)
{
    attach(3, ReadMask, &handler);
    handler.onInput = [] { return 1; };
    select.ready({3});
    cycle();
    handler.onInput = nullptr;
    select.fails(EBADF);
    EXPECT_EQ(cycle(), 1);
    EXPECT_THAT(handler.calls, ElementsAre("in", "in"));
}

// Descriptors that are really closed.
class ClosedDescriptor : public testing::Test {
protected:
    // Links a connection for these kinds and closes its descriptor. The dispatcher is not told.
    void linkAndClose(itcDispatcherMask kinds)
    {
        dispatcher.link(&pair->near(), &data, kinds, &handler);
        number = pair->near().td;
        ASSERT_EQ(::close(number), 0);
    }
    void TearDown() override
    {
        pair->near().td = -1;
        itcConnection::decConnCount();
    }

    std::unique_ptr<StreamPair> pair = std::make_unique<StreamPair>();
    OpenDispatcher dispatcher;
    Handler handler;
    char data = 'x';
    int number = -1;
};

struct ToldHandler {
    itcDispatcherMask linked;
    const char* told;
};

class ClosedDescriptorOf : public ClosedDescriptor, public testing::WithParamInterface<ToldHandler> {};

TEST_P(ClosedDescriptorOf, IsToldToOneHandlerAndDropped)
{
    linkAndClose(GetParam().linked);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    EXPECT_THAT(handler.calls, ElementsAre(GetParam().told));
    EXPECT_EQ(handler.conn, &pair->near());
    EXPECT_EQ(handler.data, &data);
    EXPECT_EQ(dispatcher.nfds, 0);
    EXPECT_THAT(pair->near(), HasStatus(Itc_Dp_Select_Call_Failed_EBADF, Error, EBADF));
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Select_Call_Failed_EBADF, Error, EBADF));
}

TEST_P(ClosedDescriptorOf, IsDroppedWhateverTheHandlerAnswers)
{
    linkAndClose(GetParam().linked);
    handler.onEvery([] { return 1; });
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    EXPECT_EQ(dispatcher.nfds, 0);
    EXPECT_FALSE(dispatcher.anyReady());
}

INSTANTIATE_TEST_SUITE_P(ExceptionFirstThenWriteThenRead, ClosedDescriptorOf,
                         testing::Values(ToldHandler{everyKind, "except"}, ToldHandler{ReadMask | ExceptMask, "except"},
                                         ToldHandler{WriteMask | ExceptMask, "except"},
                                         ToldHandler{ExceptMask, "except"}, ToldHandler{ReadMask | WriteMask, "out"},
                                         ToldHandler{WriteMask, "out"}, ToldHandler{ReadMask, "in"}));

TEST_F(ClosedDescriptor, CarriesItsStatusWhileTheHandlerIsTold)
{
    linkAndClose(ReadMask);
    itcStatus seen;
    handler.onInput = [&] {
        seen = pair->near();
        return 0;
    };
    dispatcher.dispatch(0.0);
    EXPECT_THAT(seen, HasStatus(Itc_Dp_Select_Call_Failed_EBADF, Error, EBADF));
}

TEST_F(ClosedDescriptor, LetsTheOthersBeServedInTheSameCycle)
{
    StreamPair good;
    Handler other;
    linkAndClose(ReadMask);
    dispatcher.link(&good.near(), nullptr, ReadMask, &other);
    good.farSends("x");
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_THAT(other.calls, ElementsAre("in"));
    EXPECT_THAT(good.near(), HasClearStatus());
}

TEST_F(ClosedDescriptor, WithoutAConnectionIsDroppedToo)
{
    dispatcher.attach(pair->near().td, nullptr, &data, ReadMask, &handler);
    ASSERT_EQ(::close(pair->near().td), 0);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    EXPECT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_EQ(handler.conn, nullptr);
    EXPECT_EQ(dispatcher.nfds, 0);
    EXPECT_THAT(pair->near(), HasClearStatus());
}

TEST_F(ClosedDescriptor, WithANullHandlerIsDroppedSilently)
{
    dispatcher.attach(pair->near().td, nullptr, nullptr, ReadMask, nullptr);
    ASSERT_EQ(::close(pair->near().td), 0);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    EXPECT_EQ(dispatcher.nfds, 0);
    EXPECT_FALSE(dispatcher.readMask->anySet());
}

TEST_F(ClosedDescriptor, MayBeUnlinkedByTheHandlerThatIsTold)
{
    linkAndClose(everyKind);
    handler.onException = [&] {
        dispatcher.detach_all(everyKind);
        return 0;
    };
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    EXPECT_THAT(handler.calls, ElementsAre("except"));
    EXPECT_EQ(dispatcher.nfds, 0);
}

TEST_F(ClosedDescriptor, TakesNoOtherDescriptorWithItWhenItsHandlerDetachesThat)
{
    StreamPair good;
    Handler other;
    linkAndClose(ReadMask);
    dispatcher.link(&good.near(), nullptr, ReadMask, &other);
    good.farSends("x");
    handler.onInput = [&] {
        dispatcher.unlink(&good.near(), everyKind);
        return 0;
    };
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    EXPECT_THAT(other.calls, IsEmpty());
}

TEST_F(ClosedDescriptor, ThatAHandlerClosedItselfIsToldInTheNextCycle)
{
    dispatcher.link(&pair->near(), &data, ReadMask, &handler);
    handler.onInput = [&] {
        if (handler.calls.size() == 1)
            ::close(pair->near().td);
        return 0;
    };
    pair->farSends("x");
    EXPECT_EQ(dispatcher.dispatch(0.0), 1);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    EXPECT_THAT(handler.calls, ElementsAre("in", "in"));
    EXPECT_THAT(pair->near(), HasStatus(Itc_Dp_Select_Call_Failed_EBADF, Error));
    EXPECT_EQ(dispatcher.nfds, 0);
}

TEST(SeveralClosedDescriptors, AreEachToldOnce)
{
    OpenDispatcher dispatcher;
    Calls calls;
    Handler a("A", calls), b("B", calls), c("C", calls);
    int fd[3];
    for (int& each : fd)
        each = ::dup(0);
    dispatcher.attach(fd[0], nullptr, nullptr, ReadMask, &a);
    dispatcher.attach(fd[1], nullptr, nullptr, WriteMask, &b);
    dispatcher.attach(fd[2], nullptr, nullptr, ExceptMask, &c);
    for (const int each : fd)
        ::close(each);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    EXPECT_THAT(calls, ElementsAre("A in", "B out", "C except"));
    EXPECT_EQ(dispatcher.nfds, 0);
}

// A signal ends a wait without a limit. The alarm is repeated, since the first one may come before the wait.
TEST(InterruptedWait, OnNothingLinkedReturnsTheErrorOfTheInterruption)
{
    const OS_signalHandler previous = OS_signal(SIGALRM, [](int) {});
    itimerval repeated = {};
    repeated.it_value.tv_usec = repeated.it_interval.tv_usec = 10000;
    OS_setitimer(ITIMER_REAL, &repeated, nullptr);

    OpenDispatcher dispatcher;
    EXPECT_EQ(dispatcher.dispatch(), EINTR);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_No_Connection_Linked, Error, EINTR));

    const itimerval off = {};
    OS_setitimer(ITIMER_REAL, &off, nullptr);
    OS_signal(SIGALRM, previous);
}

} // namespace
