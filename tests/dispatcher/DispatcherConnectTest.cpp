// A pending connect that fails. select() shows the descriptor as writable. The dispatcher then calls the exception
// handler.
#include "DispatcherParts.h"

#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/itcInetSockStream.h>

#include <gmock/gmock.h>

#include <netinet/in.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Descriptor 6 has a pending connect, whose socket error is scripted. Descriptor 9 comes after descriptor 6.
class PendingConnect : public DispatcherTest {
protected:
    void SetUp() override
    {
        conn.connState = itcConnection::ItcStateConnectPending;
        link(everyKind);
        dispatcher.attach(9, nullptr, nullptr, ReadMask, &later);
        OsFaults::getsockopt().instead = [this](int, int, int, void* value, socklen_t*) {
            *static_cast<int*>(value) = socketError;
            return 0;
        };
    }
    void link(itcDispatcherMask kinds)
    {
        dispatcher.detach(6, everyKind);
        dispatcher.link(&conn, nullptr, kinds, &handler);
    }

    BufferedConnection conn{6, 6, 6};
    Handler later;
    int socketError = ECONNREFUSED;
};

TEST_F(PendingConnect, ThatFailsIsToldAsAnException)
{
    select.ready({}, {6});
    EXPECT_EQ(cycle(), 1);
    EXPECT_THAT(handler.calls, ElementsAre("except"));
    EXPECT_EQ(handler.conn, &conn);
}

TEST_F(PendingConnect, ThatFailsIsOneEvent)
{
    select.ready({9}, {6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("except"));
    EXPECT_THAT(later.calls, ElementsAre("in"));
}

TEST_F(PendingConnect, ThatFailsAndRaisesAnExceptionAnywayIsToldOnce)
{
    select.ready({9}, {6}, {6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("except"));
    EXPECT_THAT(later.calls, ElementsAre("in"));
}

// notify() ends when it has counted n events. In the first call the write event of descriptor 6 becomes an exception,
// which counts once. The sets keep this exception. In the later calls descriptor 6 therefore has two events.
TEST_F(PendingConnect, CountsTheTurnedEventExactlyOnce)
{
    FdMask r, w, e;
    r.setBit(9);
    w.setBit(6);
    dispatcher.notify(1, r, w, e);
    EXPECT_THAT(handler.calls, ElementsAre("except"));
    EXPECT_THAT(later.calls, IsEmpty());
    dispatcher.notify(2, r, w, e);
    EXPECT_THAT(later.calls, IsEmpty()) << "the exception that was added to the set counts beside the write event";
    dispatcher.notify(3, r, w, e);
    EXPECT_THAT(later.calls, ElementsAre("in"));
}

TEST_F(PendingConnect, IsToldAsAnExceptionWhenTheErrorCannotBeRead)
{
    OsFaults::getsockopt().failNext(1, ENOTSOCK);
    select.ready({}, {6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("except"));
}

TEST_F(PendingConnect, ThatSucceedsIsWritable)
{
    socketError = 0;
    select.ready({9}, {6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("out"));
    EXPECT_THAT(later.calls, ElementsAre("in"));
}

TEST_F(PendingConnect, ThatSucceedsMayRaiseAnExceptionBesides)
{
    socketError = 0;
    select.ready({}, {6}, {6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("out", "except"));
}

TEST_F(PendingConnect, IsAskedForItsSocketErrorOnTheExceptDescriptor)
{
    BufferedConnection split(6, 6, 77);
    split.connState = itcConnection::ItcStateConnectPending;
    dispatcher.attach(6, &split, nullptr, WriteMask, &handler);
    socklen_t length = 0;
    OsFaults::getsockopt().instead = [&](int, int, int, void* value, socklen_t* l) {
        length = *l;
        *static_cast<int*>(value) = 0;
        return 0;
    };
    select.ready({}, {6});
    cycle();
    ASSERT_EQ(OsFaults::getsockopt().calls(), 1);
    EXPECT_THAT(OsFaults::getsockopt().askedArgument<0>(), ElementsAre(77));
    EXPECT_THAT(OsFaults::getsockopt().askedArgument<1>(), ElementsAre(1)); // SOL_SOCKET
    EXPECT_THAT(OsFaults::getsockopt().askedArgument<2>(), ElementsAre(4)); // SO_ERROR
    EXPECT_EQ(length, 4u);
}

TEST_F(PendingConnect, WithoutAnExceptionHandlerIsWritableWhateverBecameOfIt)
{
    link(ReadMask | WriteMask);
    select.ready({}, {6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("out"));
    EXPECT_EQ(OsFaults::getsockopt().calls(), 0);
}

TEST_F(PendingConnect, IsNotAskedWhenItIsOnlyReadable)
{
    select.ready({6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_EQ(OsFaults::getsockopt().calls(), 0);
}

TEST_F(PendingConnect, WithoutAWriteHandlerStillTurnsIntoAnException)
{
    link(ExceptMask);
    select.ready({}, {6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("except"));
}

TEST_F(PendingConnect, DetachedByItsReadHandlerIsNotAsked)
{
    handler.onInput = [] { return -1; };
    select.ready({6}, {6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("in"));
    EXPECT_EQ(OsFaults::getsockopt().calls(), 0);
}

TEST_F(PendingConnect, IsKnownOnlyByItsConnection)
{
    attach(6, WriteMask, &handler); // replaces the connection with null
    select.ready({}, {6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("out"));
    EXPECT_EQ(OsFaults::getsockopt().calls(), 0);
}

class OtherState : public PendingConnect, public testing::WithParamInterface<int> {};

TEST_P(OtherState, IsNotAskedForASocketError)
{
    conn.connState = GetParam();
    select.ready({}, {6});
    cycle();
    EXPECT_THAT(handler.calls, ElementsAre("out"));
    EXPECT_EQ(OsFaults::getsockopt().calls(), 0);
}

INSTANTIATE_TEST_SUITE_P(NotPending, OtherState, testing::Values(0, 1, 2, 3, 4, 6));

// Real connects over loopback.
class RealConnect : public testing::TestWithParam<int> {
protected:
    void SetUp() override
    {
        listener = ::socket(GetParam(), SOCK_STREAM, 0);
        sockaddr_storage address = {};
        address.ss_family = static_cast<sa_family_t>(GetParam());
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (GetParam() == AF_INET)
            reinterpret_cast<sockaddr_in*>(&address)->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        else
            reinterpret_cast<sockaddr_in6*>(&address)->sin6_addr = in6addr_loopback;
        socklen_t length = GetParam() == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
        ASSERT_EQ(::bind(listener, generic, length), 0);
        ASSERT_EQ(::getsockname(listener, generic, &length), 0);
        peer = itcInetAddress(address);
    }
    void TearDown() override { ::close(listener); }

    void open(itcDispatcherMask kinds)
    {
        ASSERT_EQ(stream.OpenConnection(peer, nullptr, nullptr), 1);
        dispatcher.link(&stream, nullptr, kinds, &handler);
    }

    struct Stream : itcInetSockStream {
        using itcConnection::connState;
        using itcInetSockStream::itcInetSockStream;
    };

    int listener = -1;
    itcInetAddress peer;
    OpenDispatcher dispatcher;
    Handler handler;
    Stream stream{itcConnection::ItcNonBlocking};
};

// The port is bound but nobody listens: the connect is refused.
TEST_P(RealConnect, ThatIsRefusedRaisesAnException)
{
    open(WriteMask | ExceptMask);
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(handler.calls, ElementsAre("except"));
    EXPECT_EQ(handler.conn, &stream);
}

TEST_P(RealConnect, ThatIsRefusedIsWritableWithoutAnExceptionHandler)
{
    open(WriteMask);
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(handler.calls, ElementsAre("out"));
}

TEST_P(RealConnect, ThatSucceedsIsWritable)
{
    ASSERT_EQ(::listen(listener, 1), 0);
    open(WriteMask | ExceptMask);
    EXPECT_EQ(dispatcher.dispatch(), 1);
    EXPECT_THAT(handler.calls, ElementsAre("out"));
    EXPECT_EQ(stream.connState, itcConnection::ItcStateConnectPending) << "the dispatcher changes no state";
}

INSTANTIATE_TEST_SUITE_P(Loopback, RealConnect, testing::Values(AF_INET, AF_INET6),
                         [](const auto& tested) { return tested.param == AF_INET ? "IPv4" : "IPv6"; });

} // namespace
