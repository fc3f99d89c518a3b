// The descriptor that wakes a wait: readable while it is raised.
#include "BareSocket.h"
#include "DescriptorLimit.h"

#include <kiv/connection/itcConnection.h>
#include <kiv/session/detail/EventDescriptor.h>

#include <gtest/gtest.h>

#include <memory>

using kiv::EventDescriptor;

namespace {

bool isReadable(const EventDescriptor& event)
{
    pollfd asked = {event.number(), POLLIN, 0};
    return mustWork(::poll(&asked, 1, 0), "poll") == 1;
}

} // namespace

TEST(AnEventDescriptor, IsNotReadableAtFirst)
{
    const EventDescriptor event;
    EXPECT_GE(event.number(), 0);
    EXPECT_FALSE(isReadable(event));
}

TEST(AnEventDescriptor, IsReadableWhileItIsRaised)
{
    const EventDescriptor event;
    event.raise();
    EXPECT_TRUE(isReadable(event));
    event.raise();
    event.lower();
    EXPECT_FALSE(isReadable(event)) << "one lower() ends several raises";
    event.raise();
    EXPECT_TRUE(isReadable(event));
}

TEST(AnEventDescriptor, IsRaisedByItsNumber)
{
    const EventDescriptor event;
    EventDescriptor::raise(event.number());
    EXPECT_TRUE(isReadable(event));
}

TEST(AnEventDescriptor, IsLoweredAtOnceWhenItIsNotRaised)
{
    const EventDescriptor event;
    event.lower();
    EXPECT_FALSE(isReadable(event));
}

TEST(AnEventDescriptor, KeepsTheErrorNumberWhenItIsRaised)
{
    errno = EXDEV;
    EventDescriptor::raise(-1);
    EXPECT_EQ(errno, EXDEV);
}

TEST(AnEventDescriptor, ClosesItsDescriptor)
{
    int number = -1;
    {
        const EventDescriptor event;
        number = event.number();
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(AnEventDescriptor, IsClosedInOtherPrograms)
{
    const EventDescriptor event;
    EXPECT_TRUE(isClosedOnExec(event.number()));
}

TEST(AnEventDescriptor, IsNotCountedAsAConnection)
{
    const int before = itcConnection::getConnectionCount();
    const EventDescriptor event;
    EXPECT_EQ(itcConnection::getConnectionCount(), before);
}

TEST(AnEventDescriptor, IsNegativeWithoutADescriptor)
{
    std::unique_ptr<EventDescriptor> event;
    {
        const DescriptorLimit none;
        event = std::make_unique<EventDescriptor>();
    }
    EXPECT_LT(event->number(), 0);
    event->raise();
    event->lower();
}
