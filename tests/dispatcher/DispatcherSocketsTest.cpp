// Cycles with real sockets. Handlers unlink, delete and link connections inside their calls.
#include "DispatcherParts.h"
#include "StatusMatchers.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <memory>
#include <netinet/in.h>

namespace {

using testing::ElementsAre;

class LinkedSockets : public testing::Test {
protected:
    OpenDispatcher dispatcher;
    Calls calls;
    Handler a{"A", calls}, b{"B", calls};
};

TEST_F(LinkedSockets, AreReadableWhenThePeerHasSent)
{
    StreamPair pair;
    char data = 'x';
    dispatcher.link(&pair.near(), &data, ReadMask, &a);
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    pair.farSends("hello");
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(calls, ElementsAre("A in"));
    EXPECT_EQ(a.conn, &pair.near());
    EXPECT_EQ(a.data, &data);
}

TEST_F(LinkedSockets, AreReadableWhenThePeerHasClosed)
{
    StreamPair pair;
    dispatcher.link(&pair.near(), nullptr, ReadMask, &a);
    pair.closeFar();
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(calls, ElementsAre("A in"));
}

TEST_F(LinkedSockets, AreWritableWhileThereIsRoom)
{
    StreamPair pair;
    dispatcher.link(&pair.near(), nullptr, WriteMask, &a);
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(calls, ElementsAre("A out"));
}

TEST_F(LinkedSockets, RaiseAnExceptionForUrgentData)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(::bind(listener, generic, length), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    ASSERT_EQ(::getsockname(listener, generic, &length), 0);
    const int client = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(::connect(client, generic, length), 0);
    const int server = ::accept(listener, nullptr, nullptr);

    dispatcher.attach(server, nullptr, nullptr, ExceptMask, &a);
    ASSERT_EQ(::send(client, "!", 1, MSG_OOB), 1);
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(calls, ElementsAre("A except"));
    for (const int fd : {listener, client, server})
        ::close(fd);
}

TEST_F(LinkedSockets, WorkAtTheLastDescriptor)
{
    StreamPair pair;
    if (::fcntl(1023, F_GETFD) != -1 || ::dup2(pair.near().td, 1023) != 1023)
        GTEST_SKIP() << "descriptor 1023 is not to be had here";
    dispatcher.attach(1023, nullptr, nullptr, ReadMask, &a);
    pair.farSends("x");
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(calls, ElementsAre("A in"));
    ::close(1023);
}

TEST_F(LinkedSockets, AreCalledAgainOnRequestWithoutNewData)
{
    StreamPair pair;
    dispatcher.link(&pair.near(), nullptr, ReadMask, &a);
    a.onInput = [&] {
        char all[8];
        return calls.size() == 1 ? pair.near().Read(all, sizeof all) : 0;
    };
    pair.farSends("x");
    dispatcher.dispatch();
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(calls, ElementsAre("A in", "A in"));
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
}

TEST_F(LinkedSockets, CanBeUnlinkedAndDeletedByTheirOwnHandler)
{
    auto pair = std::make_unique<StreamPair>();
    dispatcher.link(&pair->near(), nullptr, everyKind, &a);
    a.onInput = [&] {
        dispatcher.unlink(&pair->near(), everyKind);
        pair.reset();
        return 0;
    };
    pair->farSends("x");
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(calls, ElementsAre("A in"));
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
    EXPECT_THAT(dispatcher, HasClearStatus());
}

TEST_F(LinkedSockets, CanBeDeletedByTheirOwnHandlerThatAnswersBelowZero)
{
    auto pair = std::make_unique<StreamPair>();
    dispatcher.link(&pair->near(), nullptr, everyKind, &a);
    a.onInput = [&] {
        pair.reset();
        return -1;
    };
    pair->farSends("x");
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(calls, ElementsAre("A in"));
    EXPECT_EQ(dispatcher.dispatch(0.0), 0);
}

TEST_F(LinkedSockets, CanBeUnlinkedAndDeletedByAnotherHandler)
{
    auto first = std::make_unique<StreamPair>();
    auto second = std::make_unique<StreamPair>();
    const auto link = [&](StreamPair& own, std::unique_ptr<StreamPair>& victim, Handler& handler) {
        dispatcher.link(&own.near(), nullptr, ReadMask, &handler);
        handler.onInput = [&] {
            dispatcher.unlink(&victim->near(), ReadMask);
            victim.reset();
            return 0;
        };
        own.farSends("x");
    };
    link(*first, second, a);
    link(*second, first, b);
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_EQ(calls.size(), 1u) << "the one that comes first deletes the other";
}

TEST_F(LinkedSockets, CanBeLinkedFromInsideACall)
{
    StreamPair first, second;
    dispatcher.link(&first.near(), nullptr, ReadMask, &a);
    a.onInput = [&] {
        dispatcher.unlink(&first.near(), ReadMask);
        return dispatcher.link(&second.near(), nullptr, ReadMask, &b) - 1;
    };
    first.farSends("x");
    second.farSends("y");
    dispatcher.dispatch();
    EXPECT_THAT(calls, ElementsAre("A in"));
    dispatcher.dispatch();
    EXPECT_THAT(calls, ElementsAre("A in", "B in"));
}

} // namespace
