#include "LoopbackTest.h"
#include "OsFaults.h"

#include <memory>
#include <tuple>
#include <utility>

namespace {

using testing::ElementsAre;

struct Name {
    const char* operation;
    int (itcInetSockStream::*get)(itcInetAddress&);
    std::string (itcInetSockStream::*text)() const;
    OsCall<int(int, sockaddr*, socklen_t*)>& (*call)();
    int (*system)(int, sockaddr*, socklen_t*);
    const char* wrongDescriptor;
    const char* callFailed;
    ItcStatusCode failure;
};

const Name names[] = {
    {"GetPeername", &itcInetSockStream::GetPeername, &itcInetSockStream::GetPeername, OsFaults::getpeername,
     [](int fd, sockaddr* address, socklen_t* length) { return ::getpeername(fd, address, length); },
     "itcInetSockStream::GetPeername() wrong socket descriptor",
     "itcInetSockStream::GetPeername() OS_getpeername() call failed", Itc_Tp_Getpeername_Call_Failed},
    {"GetSockname", &itcInetSockStream::GetSockname, &itcInetSockStream::GetSockname, OsFaults::getsockname,
     [](int fd, sockaddr* address, socklen_t* length) { return ::getsockname(fd, address, length); },
     "itcInetSockStream::GetSockname() wrong socket descriptor",
     "itcInetSockStream::GetSockname() OS_getsockname() call failed", Itc_Tp_Getsockname_Call_Failed},
};

void PrintTo(const Name& name, std::ostream* out)
{
    *out << name.operation;
}

class InetSockStreamNames : public testing::TestWithParam<std::tuple<Name, Loopback>> {
protected:
    InetSockStreamNames()
    {
        itcInetAddress remote(::addressOf(listener.get()));
        stream.OpenConnection(remote, nullptr, nullptr);
        OsFaults::clearAll();
    }

    static const Name& name() { return std::get<0>(GetParam()); }
    static const Loopback& loopback() { return std::get<1>(GetParam()); }

    int get(OpenedStream& from) { return (from.*name().get)(address); }
    std::string text() const { return (stream.*name().text)(); }

    /// The port that the answer should have.
    int expectedPort() const
    {
        sockaddr_storage end = {};
        socklen_t length = sizeof end;
        name().system(stream.td, asSocketAddress(end), &length);
        return portOf(end);
    }

    const BareSocket listener = listeningSocket(loopback().host);
    OpenedStream stream;
    itcInetAddress address{socketAddress("192.0.2.1", 4711)};
};

INSTANTIATE_TEST_SUITE_P(Loopback, InetSockStreamNames,
                         testing::Combine(testing::ValuesIn(names), testing::ValuesIn(loopbacks)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).operation) + std::get<1>(info.param).name;
                         });

TEST_P(InetSockStreamNames, FillTheAddress)
{
    leaveMark(stream);
    EXPECT_EQ(get(stream), 1);
    EXPECT_THAT(stream, HasClearStatus());
    EXPECT_EQ(address.address.ss_family, loopback().family);
    EXPECT_EQ(address.port(), expectedPort());
    EXPECT_EQ(address.isLoopback, 1);
    EXPECT_THAT(address.status, HasClearStatus());
}

TEST_P(InetSockStreamNames, OfferTheSystemAZeroedStorage)
{
    name().call().instead = [](int, sockaddr* storage, socklen_t* length) {
        const sockaddr_storage zero = {};
        EXPECT_EQ(*length, 128u);
        EXPECT_EQ(std::memcmp(storage, &zero, sizeof zero), 0);
        return 0;
    };
    EXPECT_EQ(get(stream), 1);
    EXPECT_EQ(address.address.ss_family, AF_UNSPEC) << "a copy of what the system left";
}

TEST_P(InetSockStreamNames, NeedADescriptor)
{
    const HookRecorder hooks;
    OpenedStream closed;
    errno = EXDEV;
    EXPECT_EQ(get(closed), 0);
    EXPECT_THAT(closed, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error, EXDEV));
    EXPECT_THAT(hooks.texts(), ElementsAre(name().wrongDescriptor));
    EXPECT_EQ(name().call().calls(), 0);
    EXPECT_EQ(address.port(), 4711);
    EXPECT_STREQ(address.numeric_hostname(), "192.0.2.1");
}

TEST_P(InetSockStreamNames, BecomeTheWildcardWhenTheSystemRefuses)
{
    name().call().failNext(1, ENOBUFS);
    EXPECT_EQ(get(stream), 0);
    EXPECT_THAT(stream, HasStatus(name().failure, Error, ENOBUFS));
    EXPECT_EQ(address.isAny, 1);
    EXPECT_EQ(address.port(), 0);
    EXPECT_EQ(address.address.ss_family, itcInetAddress().address.ss_family);
}

TEST_P(InetSockStreamNames, TraceTheRefusal)
{
    const HookRecorder hooks;
    name().call().failNext(1, ENOBUFS);
    get(stream);
    ASSERT_FALSE(hooks.texts().empty());
    EXPECT_EQ(hooks.texts().front(), name().callFailed) << "the making of the wildcard is traced behind it";
}

TEST_P(InetSockStreamNames, AreTextsWithoutThePort)
{
    OsFaults::getnameinfo().instead = [](const sockaddr*, socklen_t, char* host, socklen_t, char*, socklen_t,
                                         int flags) {
        std::strcpy(host, flags == 0 ? "host.example" : "number");
        return 0;
    };
    EXPECT_EQ(text(), "host.example");
}

TEST_P(InetSockStreamNames, AreNumbersWhereThereIsNoName)
{
    OsFaults::getnameinfo().failNext(1, 0);
    EXPECT_EQ(text(), loopback().host);
}

TEST_P(InetSockStreamNames, AreEmptyTextsWhenTheSystemRefuses)
{
    name().call().failNext(1, ENOBUFS);
    EXPECT_EQ(text(), "");
    EXPECT_THAT(stream, HasStatus(name().failure, Error, ENOBUFS));
}

TEST(InetSockStreamPeername, FailsWhereNobodyIsConnected)
{
    itcInetAddress address(socketAddress("127.0.0.1"));
    OpenedStream stream(address);
    EXPECT_EQ(stream.GetPeername(address), 0);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Getpeername_Call_Failed, Error, ENOTCONN));
}

TEST(InetSockStreamPeername, OfAnAcceptedConnectionIsTheClient)
{
    itcInetAddress address(socketAddress("127.0.0.1"));
    OpenedStream server;
    ASSERT_EQ(server.CreateEndpoint(address), 1);
    const BareSocket client = connectedSocket(::addressOf(server.td));
    itcConnection* out = nullptr;
    ASSERT_EQ(server.AcceptConnection(&out, nullptr, nullptr), 1);
    const std::unique_ptr<itcConnection> accepted(out);

    EXPECT_EQ(accepted->GetPeername(address), 1);
    EXPECT_EQ(address.port(), portOf(::addressOf(client.get())));
    OsFaults::getnameinfo().failNext(1, 0);
    EXPECT_EQ(std::as_const(*accepted).GetPeername(), "127.0.0.1");
}

} // namespace
