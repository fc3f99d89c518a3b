// What the dispatcher does with the answer of a handler, and what a handler may do inside a call.
#include "DispatcherParts.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The answers of a handler, for every kind of event.
class HandlerAnswer : public DispatcherTest, public testing::WithParamInterface<Kind> {
protected:
    void SetUp() override { dispatcher.attach(6, nullptr, nullptr, kind.mask, &handler); }
    void answer(int result)
    {
        handler.onEvery([result] { return result; });
    }
    int cycleWith(const std::vector<int>& fds)
    {
        select.readyFor(kind.mask, fds);
        return cycle();
    }
    const Kind& kind = GetParam();
};

TEST_P(HandlerAnswer, ComesToACallWithTheConnectionAndTheClientData)
{
    OpenedConnection conn;
    char data = 'x';
    dispatcher.attach(6, &conn, &data, kind.mask, &handler);
    EXPECT_EQ(cycleWith({6}), 1);
    EXPECT_THAT(handler.calls, ElementsAre(kind.name));
    EXPECT_EQ(handler.conn, &conn);
    EXPECT_EQ(handler.data, &data);
}

TEST_P(HandlerAnswer, ComesToACallWithoutAConnectionWhereNoneWasGiven)
{
    cycleWith({6});
    EXPECT_THAT(handler.calls, ElementsAre(kind.name));
    EXPECT_EQ(handler.conn, nullptr);
    EXPECT_EQ(handler.data, nullptr);
}

TEST_P(HandlerAnswer, BelowZeroDetachesTheDescriptorFromAllKinds)
{
    attach(6, everyKind, &handler);
    answer(-1);
    EXPECT_EQ(cycleWith({6}), 1);
    EXPECT_THAT(handler.calls, ElementsAre(kind.name));
    EXPECT_EQ(dispatcher.nfds, 0);
    for (const Kind& each : kinds)
        EXPECT_FALSE((dispatcher.*each.set)->anySet());
}

TEST_P(HandlerAnswer, OfTheDefaultHandlerUnlinksIt)
{
    itcIOHandler plain;
    dispatcher.attach(6, nullptr, nullptr, kind.mask, &plain);
    cycleWith({6});
    EXPECT_EQ(dispatcher.nfds, 0);
    EXPECT_EQ((dispatcher.*kind.handlers)[6], nullptr);
}

TEST_P(HandlerAnswer, ZeroLeavesTheDescriptorAlone)
{
    answer(0);
    cycleWith({6});
    EXPECT_EQ((dispatcher.*kind.handlers)[6], &handler);
    EXPECT_FALSE(dispatcher.anyReady());
    cycle();
    EXPECT_EQ(fields(select.asked.back().timeout), Fields(5, 0));
    EXPECT_THAT(handler.calls, ElementsAre(kind.name));
}

TEST_P(HandlerAnswer, AboveZeroIsQueuedOnTheListOfItsKind)
{
    answer(1);
    cycleWith({6});
    EXPECT_THAT(*(dispatcher.*kind.ready), ElementsAre(6));
    EXPECT_TRUE(dispatcher.anyReady());
}

TEST_P(HandlerAnswer, AboveZeroBringsAnotherCallWithoutAWait)
{
    answer(7);
    cycleWith({6});
    answer(0);
    EXPECT_EQ(cycle(), 1);
    EXPECT_EQ(fields(select.asked.back().timeout), Fields(0, 0));
    EXPECT_THAT(handler.calls, ElementsAre(kind.name, kind.name));

    EXPECT_EQ(cycle(), 0) << "the request holds for one cycle";
    EXPECT_EQ(fields(select.asked.back().timeout), Fields(5, 0));
}

TEST_P(HandlerAnswer, AboveZeroEndsAnUnlimitedWaitToo)
{
    answer(1);
    cycleWith({6});
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_TRUE(select.asked.back().limited);
    EXPECT_EQ(fields(select.asked.back().timeout), Fields(0, 0));
}

TEST_P(HandlerAnswer, AboveZeroBringsOneCallWhereSelectReportsTheDescriptorToo)
{
    answer(1);
    cycleWith({6});
    cycleWith({6});
    EXPECT_THAT(handler.calls, ElementsAre(kind.name, kind.name));
}

TEST_P(HandlerAnswer, AboveZeroIsCountedBesideWhatSelectReports)
{
    Handler later;
    dispatcher.attach(9, nullptr, nullptr, kind.mask, &later);
    answer(1);
    cycleWith({6});
    cycleWith({9});
    EXPECT_THAT(handler.calls, ElementsAre(kind.name, kind.name));
    EXPECT_THAT(later.calls, ElementsAre(kind.name));
}

TEST_P(HandlerAnswer, AboveZeroIsForgottenWhenTheDescriptorGoesMeanwhile)
{
    answer(1);
    cycleWith({6});
    dispatcher.attach(9, nullptr, nullptr, ReadMask, &handler); // keeps one descriptor linked
    dispatcher.detach(6, everyKind);
    EXPECT_EQ(cycle(), 1) << "it still counts as an event";
    EXPECT_THAT(handler.calls, ElementsAre(kind.name));
    EXPECT_FALSE(dispatcher.anyReady());
}

TEST_P(HandlerAnswer, AboveZeroGoesToTheHandlerThatIsThereThen)
{
    Handler successor;
    answer(1);
    cycleWith({6});
    dispatcher.attach(6, nullptr, nullptr, kind.mask, &successor);
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre(kind.name));
    EXPECT_THAT(successor.calls, ElementsAre(kind.name));
}

class InterruptedHandlerAnswer : public HandlerAnswer {};

TEST_P(InterruptedHandlerAnswer, AboveZeroIsForgottenWhenTheWaitFails)
{
    for (const int error : {EINTR, ENOMEM, EINVAL}) {
        handler.calls.clear();
        answer(1);
        cycleWith({6});
        answer(0);
        select.fails(error);
        EXPECT_EQ(cycle(), 0);
        EXPECT_THAT(handler.calls, ElementsAre(kind.name)) << error;
        EXPECT_FALSE(dispatcher.anyReady()) << error;
    }
}

TEST_P(InterruptedHandlerAnswer, AboveZeroBringsNoCallToOthersWhenTheWaitFails)
{
    Handler below, above;
    attach(4, everyKind, &below);
    attach(8, everyKind, &above);
    answer(1);
    cycleWith({6});
    select.fails(EINTR);
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre(kind.name));
    EXPECT_THAT(below.calls, IsEmpty());
    EXPECT_THAT(above.calls, IsEmpty());
}

const auto kindName = [](const auto& tested) { return std::string(tested.param.name); };
INSTANTIATE_TEST_SUITE_P(Every, HandlerAnswer, testing::ValuesIn(kinds), kindName);
INSTANTIATE_TEST_SUITE_P(Every, InterruptedHandlerAnswer, testing::ValuesIn(kinds), kindName);

// Handlers that change registrations while a cycle calls them.
class HandlerInside : public DispatcherTest {
protected:
    void SetUp() override
    {
        attach(3, everyKind, &a);
        attach(5, everyKind, &b);
        attach(7, everyKind, &c);
    }
    template <class Deed> static Handler::Action doing(Deed deed, int result = 0)
    {
        return [=] {
            deed();
            return result;
        };
    }

    Calls calls;
    Handler a{"A", calls}, b{"B", calls}, c{"C", calls}, d{"D", calls};
};

TEST_F(HandlerInside, DetachesALaterDescriptorWhichIsNotCalled)
{
    a.onInput = doing([&] { dispatcher.detach(5, everyKind); });
    select.ready({3, 5, 7}, {5});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "C in"));
}

TEST_F(HandlerInside, DetachesTheHighestDescriptorWhichIsNotCalled)
{
    a.onInput = doing([&] { dispatcher.detach(7, everyKind); });
    select.ready({3, 5, 7});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "B in"));
}

TEST_F(HandlerInside, DetachesItsOwnDescriptorAndGetsNoFurtherEventOfIt)
{
    a.onInput = doing([&] { dispatcher.detach(3, everyKind); });
    select.ready({3, 5}, {3}, {3});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "B in"));
}

TEST_F(HandlerInside, AnswersBelowZeroAndGetsNoFurtherEventOfIt)
{
    a.onInput = [] { return -1; };
    select.ready({3, 5}, {3}, {3});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "B in"));
}

TEST_F(HandlerInside, DetachesEverything)
{
    a.onInput = doing([&] { dispatcher.detach_all(everyKind); });
    select.ready({3, 5, 7}, {3, 5, 7}, {3, 5, 7});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in"));
}

TEST_F(HandlerInside, AnswersAboveZeroForADescriptorThatItHasDetached)
{
    a.onInput = doing([&] { dispatcher.detach(3, everyKind); }, 1);
    select.ready({3});
    cycle();
    EXPECT_EQ(cycle(), 1);
    EXPECT_THAT(calls, ElementsAre("A in"));
}

TEST_F(HandlerInside, ReplacesTheHandlerOfALaterDescriptor)
{
    a.onInput = doing([&] { attach(5, ReadMask, &d); });
    select.ready({3, 5});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "D in"));
}

TEST_F(HandlerInside, AttachesADescriptorBeyondTheHighestThatIsReadyToo)
{
    a.onInput = doing([&] { attach(20, ReadMask, &d); });
    select.ready({3, 20});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "D in"));
}

TEST_F(HandlerInside, DeletesItselfAfterDetaching)
{
    auto* const mortal = new Handler("mortal", calls);
    attach(4, ReadMask, mortal);
    mortal->onInput = doing([this, mortal] {
        dispatcher.detach(4, everyKind);
        delete mortal;
    });
    select.ready({3, 4, 5});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "mortal in", "B in"));
}

TEST_F(HandlerInside, DeletesItselfAndAnswersBelowZero)
{
    auto* const mortal = new Handler("mortal", calls);
    attach(4, ReadMask, mortal);
    mortal->onInput = doing([mortal] { delete mortal; }, -1);
    select.ready({3, 4, 5});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "mortal in", "B in"));
}

TEST_F(HandlerInside, DeletesTheHandlerOfALaterDescriptor)
{
    auto* const mortal = new Handler("mortal", calls);
    attach(4, everyKind, mortal);
    a.onInput = doing([this, mortal] {
        dispatcher.detach(4, everyKind);
        delete mortal;
    });
    select.ready({3, 4, 5}, {4}, {4});
    cycle();
    EXPECT_THAT(calls, ElementsAre("A in", "B in"));
}

} // namespace
