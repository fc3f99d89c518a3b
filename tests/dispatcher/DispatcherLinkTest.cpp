// Registration through a connection: the connection names the descriptors.
#include "RegistrationParts.h"
#include "StatusMatchers.h"

#include <gmock/gmock.h>

namespace {

constexpr auto noMask = static_cast<itcDispatcherMask>(0);
constexpr auto strangeMask = static_cast<itcDispatcherMask>(8);

TEST_F(Registration, LinkOfNoConnectionFailsWithAClearStatus)
{
    leaveMark(dispatcher);
    EXPECT_EQ(dispatcher.link(nullptr, &data1, ReadMask, &h1), 0);
    EXPECT_THAT(dispatcher, HasClearStatus());
    expectNothingRegistered();
}

TEST_F(Registration, UnlinkOfNoConnectionFailsWithAClearStatus)
{
    leaveMark(dispatcher);
    EXPECT_EQ(dispatcher.unlink(nullptr, ReadMask), 0);
    EXPECT_THAT(dispatcher, HasClearStatus());
}

TEST_F(Registration, LinkWithoutAKindSucceedsAndRegistersNothing)
{
    StreamPair pair;
    leaveMark(dispatcher);
    EXPECT_EQ(dispatcher.link(&pair.near(), &data1, noMask, &h1), 1);
    EXPECT_THAT(dispatcher, HasClearStatus());
    EXPECT_EQ(dispatcher.link(&pair.near(), &data1, strangeMask, &h1), 1);
    EXPECT_THAT(dispatcher, HasClearStatus());
    expectNothingRegistered();
}

TEST_F(Registration, LinkTakesAllKindsAtOnce)
{
    StreamPair pair;
    const int fd = pair.near().td;
    EXPECT_EQ(dispatcher.link(&pair.near(), &data1, everyKind | strangeMask, &h1), 1);
    for (const Kind& kind : kinds)
        EXPECT_EQ(entry(kind, fd), Entry(true, &h1, &data1)) << kind.name;
    EXPECT_EQ(dispatcher.connections[fd], &pair.near());
}

TEST_F(Registration, LinkGoesOnBehindAFailingStep)
{
    BufferedConnection split(-1, 5, 6);
    EXPECT_EQ(dispatcher.link(&split, &data1, everyKind, &h1), 0);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
    EXPECT_EQ(entry(kinds[1], 5), Entry(true, &h1, &data1));
    EXPECT_EQ(entry(kinds[2], 6), Entry(true, &h1, &data1));
}

TEST_F(Registration, UnlinkGoesOnBehindAFailingStep)
{
    dispatcher.attach(5, nullptr, nullptr, WriteMask, &h1);
    dispatcher.attach(6, nullptr, nullptr, ExceptMask, &h1);
    BufferedConnection split(-1, 5, 6);
    EXPECT_EQ(dispatcher.unlink(&split, everyKind), 0);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
    expectNothingRegistered();
}

TEST_F(Registration, LinkOfAConnectionWithoutDescriptorFails)
{
    errno = 0;
    EXPECT_EQ(dispatcher.link(&conn, &data1, ReadMask, &h1), 0);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_File_Descriptor, Error, 0));
    EXPECT_THAT(conn, HasClearStatus()) << "the status is the dispatcher's, not the connection's";
}

TEST_F(Registration, ASuccessfulLinkClearsTheStatus)
{
    StreamPair pair;
    leaveMark(dispatcher);
    EXPECT_EQ(dispatcher.link(&pair.near(), nullptr, ReadMask, &h1), 1);
    EXPECT_THAT(dispatcher, HasClearStatus());
    leaveMark(dispatcher);
    EXPECT_EQ(dispatcher.unlink(&pair.near(), ReadMask), 1);
    EXPECT_THAT(dispatcher, HasClearStatus());
}

TEST_F(Registration, UnlinkOfSomethingNeverLinkedSucceeds)
{
    StreamPair pair;
    EXPECT_EQ(dispatcher.unlink(&pair.near(), everyKind), 1);
    EXPECT_EQ(dispatcher.unlink(&pair.near(), noMask), 1);
}

TEST_F(Registration, EachKindKeepsItsOwnClientData)
{
    StreamPair pair;
    char data3 = 'z';
    dispatcher.link(&pair.near(), &data1, ReadMask, &h1);
    dispatcher.link(&pair.near(), &data2, WriteMask, &h2);
    dispatcher.link(&pair.near(), &data3, ExceptMask, &h1);
    const int fd = pair.near().td;
    EXPECT_EQ(entry(kinds[0], fd), Entry(true, &h1, &data1));
    EXPECT_EQ(entry(kinds[1], fd), Entry(true, &h2, &data2));
    EXPECT_EQ(entry(kinds[2], fd), Entry(true, &h1, &data3));
}

TEST_F(Registration, ADyingDispatcherTouchesNeitherHandlersNorConnections)
{
    StreamPair pair;
    {
        OpenDispatcher mortal;
        mortal.link(&pair.near(), &data1, everyKind, &h1);
    }
    EXPECT_THAT(h1.calls, testing::IsEmpty());
    pair.farSends("x");
    char byte = 0;
    EXPECT_EQ(pair.near().Read(&byte, 1), 1);
}

} // namespace
