// How the names of TCP streams are shown. StreamNamesTest.cpp tests what all streams do.
#include "LoopbackTest.h"
#include "OsFaults.h"

#include <memory>
#include <tuple>
#include <utility>

namespace {

struct Name {
    const char* operation;
    int (itcInetSockStream::*get)(itcInetAddress&);
    std::string (itcInetSockStream::*text)() const;
    OsCall<int(int, sockaddr*, socklen_t*)>& (*call)();
    int (*system)(int, sockaddr*, socklen_t*);
    const char* callFailed;
};

const Name names[] = {
    {"GetPeername", &itcInetSockStream::GetPeername, &itcInetSockStream::GetPeername, OsFaults::getpeername,
     [](int fd, sockaddr* address, socklen_t* length) { return ::getpeername(fd, address, length); },
     "itcInetSockStream::GetPeername() OS_getpeername() call failed"},
    {"GetSockname", &itcInetSockStream::GetSockname, &itcInetSockStream::GetSockname, OsFaults::getsockname,
     [](int fd, sockaddr* address, socklen_t* length) { return ::getsockname(fd, address, length); },
     "itcInetSockStream::GetSockname() OS_getsockname() call failed"},
};

void PrintTo(const Name& name, std::ostream* out) { *out << name.operation; }

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

    /// Returns the port that the name must contain. Asks the system.
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
                         [](const auto& tested) {
                             return std::string(std::get<0>(tested.param).operation) + std::get<1>(tested.param).name;
                         });

TEST_P(InetSockStreamNames, FillTheAddress)
{
    EXPECT_EQ(get(stream), 1);
    EXPECT_EQ(address.address.ss_family, loopback().family);
    EXPECT_EQ(address.port(), expectedPort());
    EXPECT_EQ(address.isLoopback, 1);
    EXPECT_THAT(address.status, HasClearStatus());
}

TEST_P(InetSockStreamNames, AreACopyOfWhatTheSystemLeaves)
{
    name().call().instead = [](int, sockaddr*, socklen_t*) { return 0; };
    EXPECT_EQ(get(stream), 1);
    EXPECT_EQ(address.address.ss_family, AF_UNSPEC);
}

TEST_P(InetSockStreamNames, BecomeTheWildcardWhenTheSystemRefuses)
{
    name().call().failNext(1, ENOBUFS);
    EXPECT_EQ(get(stream), 0);
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
