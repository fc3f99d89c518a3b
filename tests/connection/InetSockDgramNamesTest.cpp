// The two names of a datagram socket, and the operations that have no meaning for datagrams.
#include "DatagramTest.h"
#include "VirtualSlots.h"

#include <cstring>
#include <type_traits>
#include <utility>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class InetSockDgramPeername : public DatagramEndpointTest {
protected:
    InetSockDgramPeername()
    {
        std::memset(&found.address, 0xAB, sizeof found.address);
        leaveMark(found.status);
        found.isAny = 4711;
    }

    int get() { return endpoint.GetPeername(found); }

    /// Exactly the first `count` bytes of the peer's address have been copied.
    void expectCopied(size_t count) const
    {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(&found.address);
        EXPECT_EQ(std::memcmp(bytes, &endpoint.peerAddress, count), 0);
        EXPECT_EQ(bytes[count], 0xAB);
        EXPECT_EQ(bytes[127], 0xAB);
        EXPECT_EQ(found.isAny, 4711);
        EXPECT_THAT(found.status, StillHasMark());
    }

    itcInetAddress found{sockaddr_storage{}};
};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockDgramPeername, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockDgramPeername, IsAllZeroBeforeTheFirstDatagram)
{
    leaveMark(endpoint);
    EXPECT_EQ(get(), 1);
    EXPECT_EQ(found.address.ss_family, AF_UNSPEC);
    expectCopied(16);
    EXPECT_THAT(endpoint, StillHasMark());
}

TEST_P(InetSockDgramPeername, IsTheSenderOfTheLastDatagram)
{
    const BareSocket other = bareDatagramSocket();
    sendTo(endpoint, other, "first");
    send("second");
    endpoint.InitRead();
    get();
    EXPECT_EQ(found.port(), portOf(::addressOf(other.get())));
    endpoint.InitRead();
    leaveMark(endpoint);
    EXPECT_EQ(get(), 1);
    EXPECT_EQ(found.port(), portOf(::addressOf(sender.get())));
    EXPECT_EQ(found.address.ss_family, GetParam().family);
    expectCopied(static_cast<size_t>(GetParam().addressLength));
    EXPECT_THAT(endpoint, StillHasMark());
    EXPECT_EQ(OsFaults::getpeername().calls(), 0);
}

TEST_P(InetSockDgramPeername, StaysWhileTheDatagramIsReadOut)
{
    send("hello");
    endpoint.InitRead();
    read(5);
    get();
    EXPECT_EQ(found.port(), portOf(::addressOf(sender.get())));
}

TEST_P(InetSockDgramPeername, IsForgottenAfterAFailedReceive)
{
    send("hello");
    endpoint.InitRead();
    OsFaults::recvfrom().failNext(1, EIO);
    endpoint.InitRead();
    EXPECT_EQ(get(), 1);
    EXPECT_EQ(found.address.ss_family, AF_UNSPEC);
    expectCopied(16);
}

TEST_P(InetSockDgramPeername, OfAnotherFamilyIsCopiedByItsFirst16Bytes)
{
    std::memset(&endpoint.peerAddress, 0xCD, sizeof endpoint.peerAddress);
    endpoint.peerAddress.ss_family = AF_UNIX;
    EXPECT_EQ(get(), 1);
    expectCopied(16);
}

TEST_P(InetSockDgramPeername, IsTheSenderInEveryStateButConnected)
{
    send("hello");
    endpoint.InitRead();
    for (const int state : {0, 2, 3, 4, 5, 6}) {
        endpoint.connState = state;
        found.address = {};
        EXPECT_EQ(get(), 1) << "state " << state;
        EXPECT_EQ(found.port(), portOf(::addressOf(sender.get())));
    }
    EXPECT_EQ(OsFaults::getpeername().calls(), 0);
}

TEST_P(InetSockDgramPeername, OfAConnectedObjectIsTheSystemsAnswer)
{
    send("hello");
    endpoint.InitRead();
    const BareSocket other = bareDatagramSocket();
    itcInetAddress remote = addressOf(other);
    ASSERT_EQ(endpoint.OpenConnection(remote, nullptr, nullptr), 1);
    leaveMark(endpoint);
    EXPECT_EQ(get(), 1);
    EXPECT_EQ(found.port(), portOf(::addressOf(other.get())));
    EXPECT_EQ(found.isLoopback, 1);
    EXPECT_THAT(found.status, HasClearStatus());
    EXPECT_THAT(endpoint, HasClearStatus());
}

TEST_P(InetSockDgramPeername, AsTextIsThatOfTheSender)
{
    send("hello");
    endpoint.InitRead();
    OsFaults::getnameinfo().failNext(1, 0);
    EXPECT_EQ(std::as_const(endpoint).GetPeername(), GetParam().host);
}

struct DatagramName {
    const char* operation;
    int (itcInetSockDgram::*get)(itcInetAddress&);
    OsCall<int(int, sockaddr*, socklen_t*)>& (*call)();
    const char* wrongDescriptor;
    const char* callFailed;
    ItcStatusCode failure;
};

const DatagramName datagramNames[] = {
    {"GetPeername", &itcInetSockDgram::GetPeername, OsFaults::getpeername,
     "itcInetSockDgram::GetPeername() wrong socket descriptor",
     "itcInetSockDgram::GetPeername() OS_getpeername() call failed", Itc_Tp_Getpeername_Call_Failed},
    {"GetSockname", &itcInetSockDgram::GetSockname, OsFaults::getsockname,
     "itcInetSockDgram::GetSockname() wrong socket descriptor",
     "itcInetSockDgram::GetSockname() OS_getsockname() call failed", Itc_Tp_Getsockname_Call_Failed},
};

void PrintTo(const DatagramName& name, std::ostream* out) { *out << name.operation; }

class InetSockDgramNames : public testing::TestWithParam<DatagramName> {
protected:
    InetSockDgramNames()
    {
        itcInetAddress remote(socketAddress("127.0.0.1", 9));
        connected.OpenConnection(remote, nullptr, nullptr);
    }

    int get(OpenedDatagram& from) { return (from.*GetParam().get)(found); }

    OpenedDatagram connected;
    itcInetAddress found{socketAddress("192.0.2.1", 4711)};
};
INSTANTIATE_TEST_SUITE_P(, InetSockDgramNames, testing::ValuesIn(datagramNames),
                         [](const auto& tested) { return tested.param.operation; });

TEST_P(InetSockDgramNames, NeedADescriptor)
{
    for (const int state : {0, 1, 3}) {
        const HookRecorder hooks;
        OpenedDatagram closed;
        closed.connState = state;
        errno = EXDEV;
        EXPECT_EQ(get(closed), 0);
        EXPECT_THAT(closed, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error, EXDEV));
        EXPECT_THAT(hooks.texts(), ElementsAre(GetParam().wrongDescriptor));
    }
    EXPECT_EQ(found.port(), 4711);
}

TEST_P(InetSockDgramNames, BecomeTheWildcardWhenTheSystemRefuses)
{
    const HookRecorder hooks;
    GetParam().call().failNext(1, ENOBUFS);
    EXPECT_EQ(get(connected), 0);
    EXPECT_THAT(connected, HasStatus(GetParam().failure, Error, ENOBUFS));
    EXPECT_EQ(found.isAny, 1);
    EXPECT_EQ(found.port(), 0);
    ASSERT_FALSE(hooks.texts().empty());
    EXPECT_EQ(hooks.texts().front(), GetParam().callFailed) << "the making of the wildcard is traced behind it";
}

TEST_P(InetSockDgramNames, OfferTheSystemAZeroedStorage)
{
    GetParam().call().instead = [](int, sockaddr* storage, socklen_t* length) {
        const sockaddr_storage zero = {};
        EXPECT_EQ(*length, 128u);
        EXPECT_EQ(std::memcmp(storage, &zero, sizeof zero), 0);
        return 0;
    };
    leaveMark(connected);
    EXPECT_EQ(get(connected), 1);
    EXPECT_THAT(connected, HasClearStatus());
}

TEST(InetSockDgramSockname, DoesNotDependOnTheState)
{
    itcInetAddress address(socketAddress("127.0.0.1"));
    OpenedDatagram endpoint(address);
    const int port = portOf(::addressOf(endpoint.td));
    for (const int state : {0, 1, 2, 3, 4, 5, 6}) {
        endpoint.connState = state;
        EXPECT_EQ(endpoint.GetSockname(address), 1) << "state " << state;
        EXPECT_EQ(address.port(), port);
    }
}

TEST(InetSockDgramNodelay, IsReportedOnceAsNotApplicable)
{
    const HookRecorder hooks;
    OpenedDatagram datagram;
    leaveMark(datagram);
    for (const bool on : {true, false}) {
        EXPECT_FALSE(datagram.setTcpNodelay(on));
    }
    const auto reports = hooks.errorReports();
    ASSERT_EQ(reports.size(), 2u) << "one for each call";
    EXPECT_EQ(reports[0].priority, 1);
    EXPECT_EQ(reports[0].type, 0);
    EXPECT_EQ(reports[0].code, 54);
    EXPECT_EQ(reports[0].text1, "setTcpNodelay()");
    EXPECT_EQ(reports[0].text2, "not applicable!");
    EXPECT_EQ(reports[0].text3, std::nullopt);
    EXPECT_THAT(hooks.texts(), IsEmpty());
    EXPECT_THAT(datagram, StillHasMark());
    EXPECT_EQ(OsFaults::setsockopt().calls(), 0);
}

TEST(InetSockDgramNodelay, IsDroppedWithoutAHook)
{
    const HookRecorder hooks;
    KivDebug::initKivErrorPrint(nullptr);
    OpenedDatagram datagram;
    EXPECT_FALSE(datagram.setTcpNodelay(true));
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
}

TEST(InetSockDgramSlots, AppendNoneToThoseOfAnInternetConnection)
{
    using Datagram = itcInetSockDgram;
    EXPECT_EQ(slotOf(&Datagram::InitRead), 6);
    EXPECT_EQ(slotOf(&Datagram::Read), 7);
    EXPECT_EQ(slotOf<int (Datagram::*)(itcInetAddress&)>(&Datagram::GetPeername), 13);
    EXPECT_EQ(slotOf<int (Datagram::*)(itcInetAddress&)>(&Datagram::GetSockname), 14);
    EXPECT_EQ(slotOf(&Datagram::OpenConnection), 25);
    EXPECT_EQ(slotOf(&Datagram::CreateEndpoint), 26);
    EXPECT_EQ(slotOf(&Datagram::setTcpNodelay), 27);
    EXPECT_EQ(slotOf(&Datagram::getCipherSuite), 28);
    EXPECT_EQ(slotCount<Datagram>(), 29);
    EXPECT_FALSE(std::is_abstract_v<Datagram>);
}

TEST(InetSockDgramSlots, AcceptNobodyAndCarryNoCipher)
{
    itcInetSockDgram datagram;
    itcConnection* accepted = &datagram;
    EXPECT_EQ(datagram.AcceptConnection(&accepted, nullptr, nullptr), 0);
    EXPECT_EQ(accepted, &datagram);
    EXPECT_STREQ(datagram.getCipherSuite(), "none");
}

TEST(InetSockDgramSlots, ShowEveryNameThroughTheClass)
{
    const itcInetSockDgram datagram;
    EXPECT_EQ(datagram.GetPeername(), "");
    EXPECT_EQ(datagram.GetSockname(), "");
}

} // namespace
