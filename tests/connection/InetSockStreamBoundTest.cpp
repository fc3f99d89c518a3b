// The constructor of a TCP stream from an address: the socket is bound and does not listen.
#include "ConnectionLimit.h"
#include "LoopbackTest.h"

#include <optional>
#include <vector>

namespace {

using testing::ElementsAre;

class InetSockStreamBound : public LoopbackTest {};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockStreamBound, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockStreamBound, IsBoundAndCountedButDoesNotListen)
{
    const int counted = itcConnection::getConnectionCount();
    itcInetAddress address = local();
    const OpenedStream stream(address);

    EXPECT_EQ(stream.connState, itcConnection::ItcStateBound);
    EXPECT_EQ(stream.connType, itcConnection::ItcTypeUnspecified);
    EXPECT_EQ(stream.connOptions, itcConnection::ItcBlocking);
    EXPECT_EQ(stream.connTimeout, 0u);
    EXPECT_THAT(stream, HasClearStatus());
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_NE(portOf(::addressOf(stream.td)), 0);
    EXPECT_EQ(OsFaults::listen().calls(), 0);
}

TEST_P(InetSockStreamBound, TakesItsStepsInOrder)
{
    const CallJournal journal;
    itcInetAddress address = local();
    const OpenedStream stream(address);
    EXPECT_EQ(journal.calls(), steps({socketCall(), reuseAddress(), v6OnlyOff(), bindCall()}));
}

TEST_P(InetSockStreamBound, StopsAtTheConnectionLimit)
{
    const HookRecorder hooks;
    const ConnectionLimit limit(0);
    const int counted = itcConnection::getConnectionCount();
    itcInetAddress address = local();
    const OpenedStream stream(address);

    EXPECT_EQ(stream.td, -1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockStream::itcInetSockStream() max connections reached"));
    EXPECT_EQ(OsFaults::socket().calls(), 0);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_P(InetSockStreamBound, StopsWithoutASocket)
{
    const HookRecorder hooks;
    OsFaults::socket().failNext(1, EMFILE);
    itcInetAddress address = local();
    const OpenedStream stream(address);

    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Call_Failed, Error, EMFILE));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockStream::itcInetSockStream() OS_socket() call failed. td = -1"));
}

TEST_P(InetSockStreamBound, KeepsTheSocketThatCannotReuseAddresses)
{
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    OsFaults::setsockopt().failNext(1, ENOPROTOOPT);
    itcInetAddress address = local();
    const OpenedStream stream(address);

    EXPECT_TRUE(isOpen(stream.td));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Call_Failed, Error, ENOPROTOOPT));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockStream::itcInetSockStream() OS_setsockopt() call failed"));
    EXPECT_EQ(OsFaults::bind().calls(), 0);
}

TEST_P(InetSockStreamBound, ClosesTheSocketOfAnAddressInUse)
{
    const BareSocket owner = listeningSocket(GetParam().host);
    const HookRecorder hooks;
    const int counted = itcConnection::getConnectionCount();
    itcInetAddress address = addressOf(owner);
    const OpenedStream stream(address);

    EXPECT_EQ(stream.td, -1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRINUSE));
    EXPECT_THAT(hooks.texts(),
                ElementsAre("itcInetSockStream::itcInetSockStream() OS_bind() call failed. errorNumber = 98"));
}

TEST_P(InetSockStreamBound, ReportsTheFailedBindEvenWhereTheCloseFailsToo)
{
    const HookRecorder hooks;
    OsFaults::bind().failNext(1, EADDRNOTAVAIL);
    OsFaults::closesocket().failNext(1, EIO);
    itcInetAddress address = local();
    const OpenedStream stream(address);

    EXPECT_TRUE(isOpen(stream.td)) << "a failed close keeps the descriptor";
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRNOTAVAIL));
    EXPECT_THAT(hooks.texts(),
                ElementsAre("itcConnection::Close() close/closesocket call failed",
                            "itcInetSockStream::itcInetSockStream() OS_bind() call failed. errorNumber = 99"));
}

TEST_P(InetSockStreamBound, RecordsFailuresWithoutBeingTraced)
{
    HookRecorder hooks;
    hooks.check = [](short) { return false; };
    OsFaults::bind().failNext(1, EADDRNOTAVAIL);
    itcInetAddress address = local();
    const OpenedStream stream(address);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRNOTAVAIL));
    EXPECT_TRUE(hooks.texts().empty());
}

TEST(InetSockStreamBoundToIPv6, IsBoundEvenWhereItCannotTakeIPv4Peers)
{
    itcInetAddress address(socketAddress("::1"));
    OsFaults::setsockopt().failCall(2, ENOPROTOOPT);
    const OpenedStream stream(address);
    EXPECT_EQ(OsFaults::setsockopt().calls(), 2);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateBound);
    EXPECT_THAT(stream, HasClearStatus());
}

TEST(InetSockStreamConstruction, StartsWithoutASocket)
{
    const OpenedStream plain;
    EXPECT_EQ(plain.td, -1);
    EXPECT_EQ(plain.connOptions, itcConnection::ItcBlocking);
    EXPECT_EQ(plain.connType, itcConnection::ItcTypeUnspecified);
    EXPECT_EQ(plain.connState, itcConnection::ItcStateClosed);
    EXPECT_EQ(plain.connTimeout, 0u);
    EXPECT_THAT(plain, HasClearStatus());
}

TEST(InetSockStreamConstruction, StoresTheOptionForLater)
{
    for (const int option : {0, 1, 2, 7}) {
        const OpenedStream stream(static_cast<itcConnection::ConnOptions>(option));
        EXPECT_EQ(stream.connOptions, option);
        EXPECT_EQ(stream.td, -1);
        EXPECT_EQ(stream.connTimeout, 0u);
        EXPECT_THAT(stream, HasClearStatus());
    }
}

TEST(InetSockStreamConstruction, MakesNoSystemCall)
{
    const CallJournal journal;
    const OpenedStream plain;
    const OpenedStream optional(itcConnection::ItcNonBlocking);
    EXPECT_TRUE(journal.calls().empty());
}

TEST_P(InetSockStreamBound, TellsWhicheverCallFailsAndServesOn)
{
    std::vector<Consequence> consequences = {fails("socket", Itc_Tp_Socket_Call_Failed),
                                             fails("setsockopt", Itc_Tp_Socket_Call_Failed)};
    if (GetParam().family == AF_INET6)
        consequences.push_back(survives("setsockopt")); // the socket then takes no IPv4 peers
    consequences.push_back(fails("bind", Itc_Tp_Bind_Call_Failed));

    walkSingleFailures(consequences, [](SingleFailure& failure) {
        itcInetAddress address = local();
        std::optional<OpenedStream> stream;
        failure.during([&] { stream.emplace(address); });
        failure.expectIn(*stream);
        EXPECT_EQ(stream->connState,
                  failure.isSurvived() ? itcConnection::ItcStateBound : itcConnection::ItcStateClosed);
        EXPECT_EQ(stream->CreateEndpoint(address), 1);
    });
}

} // namespace
