// The tables of registrations: the singleton, attach() and detach() for each kind of interest, the highest descriptor.
#include "RegistrationParts.h"
#include "StatusMatchers.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>

namespace {

constexpr auto strangeMask = static_cast<itcDispatcherMask>(8);

TEST_F(Registration, ANewDispatcherHasNothingRegistered)
{
    EXPECT_THAT(dispatcher, HasClearStatus());
    EXPECT_EQ(dispatcher.capacity, 1024);
    EXPECT_EQ(dispatcher.dispatchCount, 0);
    EXPECT_EQ(dispatcher.sleepMicros, 0);
    EXPECT_TRUE(dispatcher.timers->empty());
    EXPECT_FALSE(dispatcher.anyReady());
    expectNothingRegistered();
}

TEST_F(Registration, ANewDispatcherHasRoomForEveryDescriptorThatAsksToBeCalledAgain)
{
    for (const Kind& kind : kinds)
        EXPECT_EQ((dispatcher.*kind.ready)->capacity(), 1024u) << kind.name;
}

TEST_F(Registration, TheFieldsStandInTheirOrder)
{
    const std::vector<const void*> fields = {
        &dispatcher.capacity,      &dispatcher.nfds,          &dispatcher.readMask,       &dispatcher.writeMask,
        &dispatcher.exceptMask,    &dispatcher.readyRead,     &dispatcher.readyWrite,     &dispatcher.readyExcept,
        &dispatcher.readHandlers,  &dispatcher.writeHandlers, &dispatcher.exceptHandlers, &dispatcher.timers,
        &dispatcher.connections,   &dispatcher.readData,      &dispatcher.writeData,      &dispatcher.exceptData,
        &dispatcher.dispatchCount, &dispatcher.sleepMicros};
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<>()));
}

// The singleton

TEST_F(Registration, TheInstanceIsCreatedOnce)
{
    itcDispatcher* const first = itcDispatcher::instance();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(itcDispatcher::instance(), first);
}

TEST_F(Registration, TheInstanceCanBeReplaced)
{
    itcDispatcher* const first = itcDispatcher::instance();
    itcDispatcher::instance(&dispatcher);
    EXPECT_EQ(itcDispatcher::instance(), &dispatcher);
    EXPECT_THAT(*first, HasClearStatus()); // the first dispatcher still exists
    itcDispatcher::instance(nullptr);
    delete first;
}

TEST_F(Registration, AFreshInstanceFollowsANullOne)
{
    itcDispatcher* const first = itcDispatcher::instance();
    itcDispatcher::instance(nullptr);
    itcDispatcher* const second = itcDispatcher::instance();
    EXPECT_NE(second, first);
    EXPECT_NE(second, nullptr);
    delete first;
}

// attach() and detach(), for each kind of interest

class RegistrationOfAKind : public Registration, public testing::WithParamInterface<Kind> {
protected:
    const Kind& kind = GetParam();
};

TEST_P(RegistrationOfAKind, AttachStoresEverythingUnderTheDescriptor)
{
    dispatcher.attach(10, &conn, &data1, kind.mask, &h1);
    EXPECT_EQ(dispatcher.connections[10], &conn);
    EXPECT_EQ(dispatcher.nfds, 11);
    EXPECT_THAT(dispatcher, HasClearStatus());
    for (const Kind& each : kinds)
        EXPECT_EQ(entry(each, 10), each.mask == kind.mask ? Entry(true, &h1, &data1) : nothing()) << each.name;
}

TEST_P(RegistrationOfAKind, ASecondAttachReplacesTheFirst)
{
    dispatcher.attach(10, &conn, &data1, kind.mask, &h1);
    dispatcher.attach(10, &other, &data2, kind.mask, &h2);
    EXPECT_EQ(entry(kind, 10), Entry(true, &h2, &data2));
    EXPECT_EQ(dispatcher.connections[10], &other);
    EXPECT_EQ(dispatcher.nfds, 11);
}

TEST_P(RegistrationOfAKind, AttachOverwritesTheConnectionThatAnotherKindStored)
{
    dispatcher.attach(10, &other, &data2, kind.mask == ReadMask ? WriteMask : ReadMask, &h2);
    dispatcher.attach(10, &conn, &data1, kind.mask, &h1);
    EXPECT_EQ(dispatcher.connections[10], &conn);
}

TEST_P(RegistrationOfAKind, AttachTakesTheFirstAndTheLastDescriptor)
{
    dispatcher.attach(0, &conn, &data1, kind.mask, &h1);
    EXPECT_EQ(dispatcher.nfds, 1);
    dispatcher.attach(1023, &conn, &data1, kind.mask, &h1);
    EXPECT_EQ(dispatcher.nfds, 1024);
    EXPECT_EQ(entry(kind, 0), Entry(true, &h1, &data1));
    EXPECT_EQ(entry(kind, 1023), Entry(true, &h1, &data1));
}

TEST_P(RegistrationOfAKind, AttachStoresANullHandlerToo)
{
    dispatcher.attach(10, nullptr, nullptr, kind.mask, nullptr);
    EXPECT_EQ(entry(kind, 10), Entry(true, nullptr, nullptr));
    EXPECT_EQ(dispatcher.nfds, 11);
}

TEST_P(RegistrationOfAKind, AttachLeavesTheStatusAlone)
{
    leaveMark(dispatcher);
    dispatcher.attach(10, &conn, &data1, kind.mask, &h1);
    EXPECT_THAT(dispatcher, StillHasMark());
}

TEST_P(RegistrationOfAKind, DetachRemovesEverything)
{
    dispatcher.attach(10, &conn, &data1, kind.mask, &h1);
    dispatcher.detach(10, kind.mask);
    expectNothingRegistered();
}

TEST_P(RegistrationOfAKind, DetachLeavesTheStatusAlone)
{
    dispatcher.attach(10, &conn, &data1, kind.mask, &h1);
    leaveMark(dispatcher);
    dispatcher.detach(10, kind.mask);
    EXPECT_THAT(dispatcher, StillHasMark());
}

TEST_P(RegistrationOfAKind, DetachKeepsTheOtherKinds)
{
    for (const Kind& each : kinds)
        dispatcher.attach(10, &conn, &data1, each.mask, &h1);
    dispatcher.detach(10, kind.mask);
    for (const Kind& each : kinds)
        EXPECT_EQ(entry(each, 10), each.mask == kind.mask ? nothing() : Entry(true, &h1, &data1)) << each.name;
    EXPECT_EQ(dispatcher.connections[10], &conn);
    EXPECT_EQ(dispatcher.nfds, 11);
}

TEST_P(RegistrationOfAKind, DetachAllRemovesOnlyThatKind)
{
    const Kind& stays = kinds[kind.mask == ReadMask ? 1 : 0];
    for (const int fd : {2, 7}) {
        dispatcher.attach(fd, &conn, &data1, kind.mask, &h1);
        dispatcher.attach(fd, &conn, &data2, stays.mask, &h2);
    }
    dispatcher.detach_all(kind.mask);
    for (const int fd : {2, 7}) {
        EXPECT_EQ(entry(kind, fd), nothing());
        EXPECT_EQ(entry(stays, fd), Entry(true, &h2, &data2));
    }
    EXPECT_EQ(dispatcher.nfds, 8);
}

TEST_P(RegistrationOfAKind, HandlerFindsWhatIsRegistered)
{
    BufferedConnection split(4, 5, 6);
    const int fd = kind.mask == ReadMask ? 4 : kind.mask == WriteMask ? 5 : 6;
    EXPECT_EQ(dispatcher.handler(&split, kind.mask), nullptr);
    EXPECT_THAT(dispatcher, HasClearStatus());
    dispatcher.attach(fd, &split, nullptr, kind.mask, &h1);
    leaveMark(dispatcher);
    EXPECT_EQ(dispatcher.handler(&split, kind.mask), &h1);
    EXPECT_THAT(dispatcher, HasClearStatus());
}

TEST_P(RegistrationOfAKind, HandlerOfNoConnectionIsRefused)
{
    EXPECT_EQ(dispatcher.handler(nullptr, kind.mask), nullptr);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
}

TEST_P(RegistrationOfAKind, LinkAsksTheConnectionForThatDescriptor)
{
    BufferedConnection split(4, 5, 6);
    const int fd = kind.mask == ReadMask ? 4 : kind.mask == WriteMask ? 5 : 6;
    EXPECT_EQ(dispatcher.link(&split, &data1, kind.mask, &h1), 1);
    EXPECT_EQ(entry(kind, fd), Entry(true, &h1, &data1));
    EXPECT_EQ(dispatcher.connections[fd], &split);
    EXPECT_EQ(dispatcher.nfds, fd + 1);
    EXPECT_EQ(dispatcher.unlink(&split, kind.mask), 1);
    expectNothingRegistered();
}

INSTANTIATE_TEST_SUITE_P(Every, RegistrationOfAKind, testing::ValuesIn(kinds),
                         [](const auto& tested) { return std::string(tested.param.name); });

// The highest descriptor

TEST_F(Registration, NfdsFollowsTheHighestDescriptor)
{
    dispatcher.attach(3, nullptr, nullptr, ReadMask, &h1);
    dispatcher.attach(10, nullptr, nullptr, ReadMask, &h1);
    EXPECT_EQ(dispatcher.nfds, 11);
    dispatcher.detach(10, ReadMask);
    EXPECT_EQ(dispatcher.nfds, 4);
    dispatcher.detach(3, ReadMask);
    EXPECT_EQ(dispatcher.nfds, 0);
}

TEST_F(Registration, NfdsStaysWhenALowerDescriptorGoes)
{
    dispatcher.attach(3, nullptr, nullptr, ReadMask, &h1);
    dispatcher.attach(10, nullptr, nullptr, WriteMask, &h1);
    dispatcher.detach(3, ReadMask);
    EXPECT_EQ(dispatcher.nfds, 11);
}

TEST_F(Registration, NfdsStopsAtADescriptorWithAnyHandler)
{
    dispatcher.attach(4, nullptr, nullptr, ReadMask, &h1);
    dispatcher.attach(5, nullptr, nullptr, ExceptMask, &h1);
    dispatcher.attach(6, nullptr, nullptr, WriteMask, nullptr); // does not count without a handler
    dispatcher.attach(9, nullptr, nullptr, WriteMask, &h1);
    dispatcher.detach(9, WriteMask);
    EXPECT_EQ(dispatcher.nfds, 6);
}

TEST_F(Registration, DetachIgnoresBitsThatAreNoKind)
{
    dispatcher.attach(5, &conn, &data1, ReadMask, &h1);
    dispatcher.detach(5, strangeMask);
    EXPECT_EQ(entry(kinds[0], 5), Entry(true, &h1, &data1));
    EXPECT_THAT(dispatcher, HasClearStatus());
    dispatcher.detach(5, ReadMask | strangeMask);
    expectNothingRegistered();
    EXPECT_THAT(dispatcher, HasClearStatus());
}

TEST_F(Registration, DetachOfSomethingNeverAttachedIsNoError)
{
    dispatcher.detach(5, everyKind);
    EXPECT_THAT(dispatcher, HasClearStatus());
    expectNothingRegistered();
}

TEST_F(Registration, DetachAllLeavesNothing)
{
    for (const int fd : {0, 31, 32, 1023}) {
        for (const Kind& kind : kinds)
            dispatcher.attach(fd, &conn, &data1, kind.mask, &h1);
    }
    dispatcher.detach_all(everyKind);
    expectNothingRegistered();
}

TEST_F(Registration, UnlinkAllClearsTheStatusAndLeavesNothing)
{
    dispatcher.attach(5, &conn, &data1, ReadMask, &h1);
    leaveMark(dispatcher);
    EXPECT_EQ(dispatcher.unlink_all(everyKind), 1);
    EXPECT_THAT(dispatcher, HasClearStatus());
    expectNothingRegistered();
}

} // namespace
