// A link registers a handler for its own life, and removes only what is its own.
#include "BareSocket.h"
#include "Loop.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <kiv/connection/itcConnection.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/session/itcLink.h>

#include <optional>
#include <type_traits>
#include <utility>

namespace {

constexpr itcDispatcherMask everyKind = ReadMask | WriteMask | ExceptMask;

struct Counting : itcIOHandler {
    int inputs = 0;
    int outputs = 0;
    int answer = 0;
    itcConnection* latest = nullptr;
    int inputReady(itcConnection* connection, char*) override
    {
        inputs += 1;
        latest = connection;
        return answer;
    }
    int outputReady(itcConnection*, char*) override
    {
        outputs += 1;
        return answer;
    }
};

/// A connection with the numbers that a test names. The connection owns no descriptor.
class Numbered : public itcConnection {
public:
    Numbered(int toRead, int toWrite) : reading(toRead), writing(toWrite) {}
    int ReadDescriptor() const override { return reading; }
    int WriteDescriptor() const override { return writing; }
    int ExceptDescriptor() const override { return reading; }

private:
    const int reading;
    const int writing;
};

/// Counts the registrations that end.
class CountingDispatcher : public itcDispatcher {
public:
    int detaches = 0;
    void detach(int fd, itcDispatcherMask mask) override
    {
        detaches += 1;
        itcDispatcher::detach(fd, mask);
    }
};

class ALink : public Loop {
protected:
    itcIOHandler* registered(itcDispatcherMask kind) { return dispatcher.handler(&pair.near(), kind); }

    StreamPair pair{itcConnection::ItcNonBlocking};
    Counting handler;
    Counting other;
};

} // namespace

TEST_F(ALink, CallsTheHandlerWhileItLives)
{
    pair.farSends("x");
    {
        const itcLink link(pair.near(), ReadMask, handler);
        EXPECT_TRUE(link.isLinked());
        dispatcher.dispatch(0.0);
        EXPECT_EQ(handler.inputs, 1);
    }
    dispatcher.dispatch(0.0);
    EXPECT_EQ(handler.inputs, 1);
}

TEST_F(ALink, HandsTheConnectionToTheHandler)
{
    pair.farSends("x");
    const itcLink link(pair.near(), ReadMask, handler);
    dispatcher.dispatch(0.0);
    EXPECT_EQ(handler.latest, &pair.near());
}

TEST_F(ALink, KnowsThatTheDispatcherHasDroppedTheDescriptor)
{
    handler.answer = -1;
    pair.farSends("x");
    const itcLink link(pair.near(), ReadMask, handler);
    dispatcher.dispatch(0.0);
    EXPECT_FALSE(link.isLinked());
}

TEST_F(ALink, KnowsThatTheDescriptorWasBad)
{
    misusesByIntent();
    const itcLink link(pair.near(), ReadMask, handler);
    pair.near().Close();
    dispatcher.dispatch(0.0);
    EXPECT_FALSE(link.isLinked());
}

TEST_F(ALink, LinksNothingAtFirst)
{
    const itcLink link;
    EXPECT_FALSE(link.isLinked());
    EXPECT_THAT(link.status(), HasClearStatus());
}

TEST_F(ALink, IsTrueWhileItIsLinked)
{
    itcLink link(pair.near(), ReadMask, handler);
    EXPECT_TRUE(static_cast<bool>(link));
    link.unlink();
    EXPECT_FALSE(static_cast<bool>(link));
}

TEST_F(ALink, LinksNothingWithoutAKind)
{
    const itcLink link(pair.near(), itcDispatcherMask(0), handler);
    EXPECT_FALSE(link.isLinked());
    EXPECT_THAT(link.status(), HasClearStatus());
}

TEST_F(ALink, LinksSeveralKinds)
{
    const itcLink link(pair.near(), ReadMask | WriteMask, handler);
    pair.farSends("x");
    dispatcher.dispatch(0.0);
    EXPECT_EQ(handler.inputs, 1);
    EXPECT_EQ(handler.outputs, 1);
}

TEST_F(ALink, EndsSeveralKinds)
{
    {
        const itcLink link(pair.near(), everyKind, handler);
        EXPECT_EQ(registered(ExceptMask), &handler);
    }
    EXPECT_EQ(registered(ReadMask), nullptr);
    EXPECT_EQ(registered(WriteMask), nullptr);
    EXPECT_EQ(registered(ExceptMask), nullptr);
}

TEST_F(ALink, IsNotLinkedWhenOneOfItsKindsWasDropped)
{
    const itcLink link(pair.near(), ReadMask | WriteMask, handler);
    dispatcher.unlink(&pair.near(), WriteMask);
    EXPECT_FALSE(link.isLinked());
}

TEST_F(ALink, EndsTheKindsThatAreLeft)
{
    {
        const itcLink link(pair.near(), ReadMask | WriteMask, handler);
        dispatcher.unlink(&pair.near(), WriteMask);
    }
    EXPECT_EQ(registered(ReadMask), nullptr);
}

TEST_F(ALink, LeavesTheKindsOfOthersAlone)
{
    const itcLink writing(pair.near(), WriteMask, other);
    {
        const itcLink reading(pair.near(), ReadMask, handler);
    }
    EXPECT_TRUE(writing.isLinked());
}

TEST_F(ALink, LinksABareDescriptor)
{
    pair.farSends("x");
    handler.latest = &pair.near();
    {
        const itcLink link(pair.near().td, ReadMask, handler);
        EXPECT_TRUE(link.isLinked());
        EXPECT_THAT(link.status(), HasClearStatus());
        dispatcher.dispatch(0.0);
    }
    EXPECT_EQ(handler.inputs, 1);
    EXPECT_EQ(handler.latest, nullptr);
    EXPECT_EQ(registered(ReadMask), nullptr);
}

TEST_F(ALink, LinksABareDescriptorForSeveralKinds)
{
    const itcLink link(pair.near().td, ReadMask | WriteMask, handler);
    EXPECT_EQ(registered(ReadMask), &handler);
    EXPECT_EQ(registered(WriteMask), &handler);
}

TEST_F(ALink, RefusesANegativeDescriptor)
{
    const itcLink link(-1, ReadMask, handler);
    EXPECT_FALSE(link.isLinked());
    EXPECT_THAT(link.status(), HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
}

TEST_F(ALink, RefusesADescriptorAboveTheLimit)
{
    misusesByIntent();
    const itcLink link(1024, ReadMask, handler);
    EXPECT_FALSE(link.isLinked());
    EXPECT_THAT(link.status(), HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
}

TEST_F(ALink, LinksTheHighestDescriptor)
{
    const itcLink link(1023, ReadMask, handler);
    EXPECT_TRUE(link.isLinked());
}

TEST_F(ALink, RefusesAConnectionWithoutADescriptor)
{
    pair.near().Close();
    const itcLink link(pair.near(), ReadMask, handler);
    EXPECT_FALSE(link.isLinked());
    EXPECT_THAT(link.status(), HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
}

TEST_F(ALink, LinksNoKindWhenOneIsRefused)
{
    Numbered connection(pair.near().td, -1);
    const itcLink link(connection, ReadMask | WriteMask, handler);
    EXPECT_THAT(link.status(), HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
    EXPECT_EQ(registered(ReadMask), nullptr);
}

TEST_F(ALink, LinksNoKindWhenOneIsAboveTheLimit)
{
    misusesByIntent();
    Numbered connection(pair.near().td, 1024);
    const itcLink link(connection, ReadMask | WriteMask, handler);
    EXPECT_THAT(link.status(), HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
    EXPECT_EQ(registered(ReadMask), nullptr);
}

TEST_F(ALink, DoesNotTakeTheEarlierStatusOfTheDispatcherForItsOwn)
{
    leaveMark(dispatcher);
    const itcLink link(pair.near().td, ReadMask, handler);
    EXPECT_THAT(link.status(), HasClearStatus());
    EXPECT_TRUE(link.isLinked());
}

TEST_F(ALink, EndsAfterItsConnectionWasClosed)
{
    const int number = pair.near().td;
    {
        const itcLink link(pair.near(), everyKind, handler);
        pair.near().Close();
    }
    Numbered connection(number, number);
    EXPECT_EQ(dispatcher.handler(&connection, ReadMask), nullptr);
    EXPECT_EQ(dispatcher.handler(&connection, WriteMask), nullptr);
}

TEST_F(ALink, LeavesAnotherHandlerOfItsNumberAlone)
{
    std::optional<itcLink> link(std::in_place, pair.near(), ReadMask | WriteMask, handler);
    const itcLink later(pair.near(), ReadMask, other);
    EXPECT_FALSE(link->isLinked());
    link.reset();
    EXPECT_TRUE(later.isLinked());
    EXPECT_EQ(registered(WriteMask), nullptr) << "this kind still belonged to the earlier link";
}

TEST_F(ALink, LeavesANumberThatWasUsedAgainAlone)
{
    std::optional<itcLink> link(std::in_place, pair.near(), ReadMask, handler);
    const int number = pair.near().td;
    pair.near().Close();
    const BareSocket again(mustWork(::dup2(pair.far(), number), "dup2"));
    const itcLink later(again.get(), ReadMask, other);
    link.reset();
    EXPECT_TRUE(later.isLinked());
}

TEST_F(ALink, IsUnlinkedTwiceWithoutHarm)
{
    itcLink link(pair.near(), ReadMask, handler);
    link.unlink();
    const itcLink later(pair.near(), ReadMask, handler);
    link.unlink();
    EXPECT_FALSE(link.isLinked());
    EXPECT_TRUE(later.isLinked());
}

TEST_F(ALink, CanBeMovedOnly)
{
    EXPECT_FALSE(std::is_copy_constructible_v<itcLink>);
    EXPECT_FALSE(std::is_copy_assignable_v<itcLink>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<itcLink>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<itcLink>);
}

TEST_F(ALink, IsTakenOverByConstruction)
{
    std::optional<itcLink> first(std::in_place, pair.near(), ReadMask, handler);
    const itcLink second(std::move(*first));
    EXPECT_FALSE(first->isLinked());
    first.reset();
    EXPECT_TRUE(second.isLinked());
}

TEST_F(ALink, IsTakenOverByAssignment)
{
    std::optional<itcLink> first(std::in_place, pair.near(), ReadMask, handler);
    itcLink second;
    second = std::move(*first);
    EXPECT_FALSE(first->isLinked());
    first.reset();
    EXPECT_TRUE(second.isLinked());
}

TEST_F(ALink, EndsItsOwnRegistrationWhenItTakesOverAnother)
{
    const StreamPair another(itcConnection::ItcNonBlocking);
    itcLink link(pair.near(), ReadMask, handler);
    link = itcLink(another.far(), ReadMask, handler);
    EXPECT_EQ(registered(ReadMask), nullptr);
    EXPECT_TRUE(link.isLinked());
}

TEST_F(ALink, KeepsTheRegistrationWhenItIsReplacedByALinkOfTheSameDescriptor)
{
    itcLink link(pair.near(), ReadMask, handler);
    link = itcLink(pair.near(), ReadMask, handler);
    EXPECT_TRUE(link.isLinked());
    EXPECT_EQ(registered(ReadMask), &handler);
}

TEST_F(ALink, EndsOnlyTheKindsThatItsReplacementLacks)
{
    itcLink link(pair.near(), ReadMask | WriteMask, handler);
    link = itcLink(pair.near(), ReadMask, handler);
    EXPECT_EQ(registered(ReadMask), &handler);
    EXPECT_EQ(registered(WriteMask), nullptr);
}

TEST_F(ALink, ChangesItsHandlerByAssignment)
{
    itcLink link(pair.near(), ReadMask, handler);
    link = itcLink(pair.near(), ReadMask, other);
    EXPECT_EQ(registered(ReadMask), &other);
    EXPECT_TRUE(link.isLinked());
}

TEST_F(ALink, ChangesItsDispatcherByAssignment)
{
    itcDispatcher second;
    itcLink link(pair.near(), ReadMask, handler);
    link = itcLink(pair.near(), ReadMask, handler, second);
    EXPECT_EQ(registered(ReadMask), nullptr);
    EXPECT_EQ(second.handler(&pair.near(), ReadMask), &handler);
}

TEST_F(ALink, SurvivesTheAssignmentToItself)
{
    itcLink link(pair.near(), ReadMask, handler);
    itcLink& same = link;
    link = std::move(same);
    EXPECT_TRUE(link.isLinked());
}

TEST_F(ALink, TakesTheStatusOverToo)
{
    itcLink link;
    link = itcLink(-1, ReadMask, handler);
    EXPECT_THAT(link.status(), HasStatus(Itc_Dp_Invalid_File_Descriptor, Error));
}

TEST_F(ALink, IsReplacedByALaterLinkOfTheSameKind)
{
    pair.farSends("x");
    const itcLink link(pair.near(), ReadMask, handler);
    const itcLink later(pair.near(), ReadMask, other);
    dispatcher.dispatch(0.0);
    EXPECT_EQ(handler.inputs, 0);
    EXPECT_EQ(other.inputs, 1);
}

TEST_F(ALink, LeavesTheStatusOfTheDispatcherAsItWas)
{
    std::optional<itcLink> link(std::in_place, pair.near(), everyKind, handler);
    const itcLink refused(-1, ReadMask, handler);
    leaveMark(dispatcher);
    EXPECT_TRUE(link->isLinked());
    EXPECT_THAT(dispatcher, StillHasMark()) << "isLinked()";
    itcLink moved(std::move(*link));
    EXPECT_THAT(dispatcher, StillHasMark()) << "move construction";
    itcLink assigned;
    assigned = std::move(moved);
    EXPECT_THAT(dispatcher, StillHasMark()) << "move assignment";
    pair.near().Close();
    assigned.unlink();
    EXPECT_THAT(dispatcher, StillHasMark()) << "unlink()";
    link.reset();
    EXPECT_THAT(dispatcher, StillHasMark()) << "destructor";
}

TEST_F(ALink, UsesTheDispatcherThatItIsGiven)
{
    CountingDispatcher second;
    {
        const itcLink link(pair.near(), ReadMask, handler, second);
        EXPECT_EQ(registered(ReadMask), nullptr);
        EXPECT_EQ(second.detaches, 0);
    }
    EXPECT_EQ(second.detaches, 1);
}
