// The wait: the arguments of select(), and what the dispatcher adds to the answer of select().
#include "DispatcherParts.h"
#include "StatusMatchers.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int> bitsOf(const FdMask& mask)
{
    std::vector<int> fds;
    for (int fd = 0; fd < 1024; ++fd) {
        if (mask.isSet(fd))
            fds.push_back(fd);
    }
    return fds;
}

class DispatcherWait : public DispatcherTest {
protected:
    int wait(timeval* limit) { return dispatcher.waitFor(r, w, e, limit); }
    void hold(BufferedConnection& conn, int fd)
    {
        conn.held = 1;
        dispatcher.attach(fd, &conn, nullptr, ReadMask, &handler);
    }

    FdMask r, w, e;
    timeval timeout = tv(5, 0);
    BufferedConnection first, second;
};

TEST_F(DispatcherWait, GivesSelectTheInterestsAndTheHighestDescriptor)
{
    attach(3, ReadMask, &handler);
    attach(4, WriteMask, &handler);
    attach(10, ExceptMask, &handler);
    wait(&timeout);
    ASSERT_EQ(select.asked.size(), 1u);
    EXPECT_EQ(select.asked[0].nfds, 11);
    EXPECT_THAT(bitsOf(select.asked[0].read), ElementsAre(3));
    EXPECT_THAT(bitsOf(select.asked[0].write), ElementsAre(4));
    EXPECT_THAT(bitsOf(select.asked[0].except), ElementsAre(10));
    EXPECT_EQ(fields(select.asked[0].timeout), Fields(5, 0));
}

TEST_F(DispatcherWait, OverwritesWhatTheSetsHeld)
{
    attach(3, ReadMask, &handler);
    for (FdMask* mask : {&r, &w, &e})
        mask->setBit(99);
    wait(&timeout);
    EXPECT_THAT(bitsOf(select.asked[0].read), ElementsAre(3));
    EXPECT_THAT(bitsOf(select.asked[0].write), IsEmpty());
    EXPECT_THAT(bitsOf(select.asked[0].except), IsEmpty());
}

TEST_F(DispatcherWait, LeavesTheInterestsAlone)
{
    attach(3, everyKind, &handler);
    wait(&timeout);
    for (const Kind& kind : kinds)
        EXPECT_THAT(bitsOf(*(dispatcher.*kind.set)), ElementsAre(3));
}

TEST_F(DispatcherWait, ReturnsHowManyEventsAreReady)
{
    attach(3, everyKind, &handler);
    select.ready({3}, {3}, {3});
    EXPECT_EQ(wait(&timeout), 3);
    EXPECT_THAT(bitsOf(r), ElementsAre(3));
    EXPECT_THAT(bitsOf(w), ElementsAre(3));
    EXPECT_THAT(bitsOf(e), ElementsAre(3));
}

TEST_F(DispatcherWait, WaitsWithoutALimitWhenNoneIsGiven)
{
    wait(nullptr);
    EXPECT_FALSE(select.asked[0].limited);
}

TEST_F(DispatcherWait, RaisesANegativeDescriptorCountToZero)
{
    dispatcher.nfds = -3;
    EXPECT_EQ(wait(&timeout), 0);
    EXPECT_EQ(select.asked[0].nfds, 0);
    EXPECT_EQ(dispatcher.nfds, 0);
}

TEST_F(DispatcherWait, ReturnsZeroWhenNothingIsLinkedWhateverSelectSays)
{
    select.ready({3, 4});
    EXPECT_EQ(wait(&timeout), 0);
}

TEST_F(DispatcherWait, ReportsAConnectionThatHoldsBytes)
{
    hold(first, 6);
    EXPECT_EQ(wait(&timeout), 1);
    EXPECT_THAT(bitsOf(r), ElementsAre(6));
    EXPECT_EQ(fields(select.asked[0].timeout), Fields(0, 0));
}

TEST_F(DispatcherWait, CountsAConnectionOnceThatHoldsBytesAndIsReadable)
{
    hold(first, 6);
    hold(second, 7);
    select.ready({6});
    EXPECT_EQ(wait(&timeout), 2);
    EXPECT_THAT(bitsOf(r), ElementsAre(6, 7));
}

TEST_F(DispatcherWait, CallsTheReaderOfHeldBytesInTheCycle)
{
    hold(first, 6);
    EXPECT_EQ(cycle(), 1);
    EXPECT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_EQ(handler.conn, &first);
}

TEST_F(DispatcherWait, DoesNotReportHeldBytesWhileTheCheckIsOff)
{
    hold(first, 6);
    itcDispatcher::checkCommunicationBuffer = false;
    EXPECT_EQ(wait(&timeout), 0);
    EXPECT_EQ(fields(select.asked[0].timeout), Fields(5, 0));
    itcDispatcher::checkCommunicationBuffer = true;
}

TEST_F(DispatcherWait, EndsWithZeroWhenItIsInterruptedWhileBytesAreHeld)
{
    hold(first, 6);
    hold(second, 7);
    select.fails(EINTR);
    EXPECT_EQ(wait(&timeout), 0);
}

TEST_F(DispatcherWait, LeavesTheSetsOfAFailedSelectAsTheyWere)
{
    attach(3, ReadMask, &handler);
    attach(4, WriteMask, &handler);
    attach(5, ExceptMask, &handler);
    select.fails(EINTR);
    EXPECT_EQ(wait(&timeout), 0);
    EXPECT_THAT(bitsOf(r), ElementsAre(3));
    EXPECT_THAT(bitsOf(w), ElementsAre(4));
    EXPECT_THAT(bitsOf(e), ElementsAre(5));
}

// Linux does not change the sets of a failed select(). This scripted select() empties one. The connections that hold
// bytes are then added, and each of them adds 1 to the result -1.
TEST_F(DispatcherWait, AddsHeldBytesToAFailedSelectToo)
{
    hold(first, 6);
    hold(second, 7);
    OsFaults::select().instead = [](int, fd_set* read, fd_set*, fd_set*, timeval*) {
        FD_ZERO(read);
        errno = ENOMEM;
        return -1;
    };
    EXPECT_EQ(wait(&timeout), 1);
    EXPECT_THAT(bitsOf(r), ElementsAre(6, 7));
    EXPECT_EQ(OsFaults::select().calls(), 1);
}

// fillMask() and fillInReady()

TEST_F(DispatcherWait, FillMaskSetsAndCountsWhatIsMissing)
{
    int n = 10;
    r.setBit(5);
    dispatcher.fillMask(n, r, {3, 5, 3, 1023});
    EXPECT_EQ(n, 12);
    EXPECT_THAT(bitsOf(r), ElementsAre(3, 5, 1023));
}

TEST_F(DispatcherWait, FillMaskOfNothingDoesNothing)
{
    int n = -1;
    dispatcher.fillMask(n, r, {});
    EXPECT_EQ(n, -1);
    EXPECT_FALSE(r.anySet());
}

TEST_F(DispatcherWait, FillMaskIgnoresDescriptorsOutsideTheMask)
{
    int n = 0;
    dispatcher.fillMask(n, r, {-1, 1024, 1 << 30});
    EXPECT_EQ(n, 0);
    EXPECT_FALSE(r.anySet());
    EXPECT_FALSE(w.anySet());
}

TEST_F(DispatcherWait, FillInReadyMovesEachListIntoItsSet)
{
    *dispatcher.readyRead = {3, 4};
    *dispatcher.readyWrite = {5};
    *dispatcher.readyExcept = {6, 7, 8};
    r.setBit(4);
    int n = 1;
    dispatcher.fillInReady(n, r, w, e);
    EXPECT_EQ(n, 6);
    EXPECT_THAT(bitsOf(r), ElementsAre(3, 4));
    EXPECT_THAT(bitsOf(w), ElementsAre(5));
    EXPECT_THAT(bitsOf(e), ElementsAre(6, 7, 8));
    EXPECT_FALSE(dispatcher.anyReady());
}

TEST_F(DispatcherWait, AnyReadyAsksAllThreeLists)
{
    EXPECT_FALSE(dispatcher.anyReady());
    for (const Kind& kind : kinds) {
        (dispatcher.*kind.ready)->push_back(1);
        EXPECT_TRUE(dispatcher.anyReady()) << kind.name;
        (dispatcher.*kind.ready)->clear();
    }
}

} // namespace
