/// \file
/// The three kinds of streams: TCP over IPv4, TCP over IPv6, and local streams. The tests in Stream*Test.cpp run over
/// each kind. A StreamKind holds what differs between the kinds. What only one class of streams does is tested in the
/// files that carry the name of the class.
#pragma once

#include "BareSocket.h"
#include "HookRecorder.h"
#include "OpenedStream.h"
#include "SingleFailures.h"
#include "StatusMatchers.h"
#include "StreamPair.h"
#include "TemporaryFolder.h"

#include <kiv/address/itcInetAddress.h>
#include <kiv/address/itcUnixAddress.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using Texts = std::vector<std::string>;

/// A connection of any class, with the protected fields that all of them have.
class AnyStream {
public:
    explicit AnyStream(std::unique_ptr<itcConnection> made) : connection(std::move(made)) {}

    itcConnection& operator*() const { return *connection; }
    itcConnection* operator->() const { return connection.get(); }
    itcConnection* get() const { return connection.get(); }

    int& td() const { return (*connection).*(&OpenedConnection::td); }
    int& state() const { return (*connection).*(&OpenedConnection::connState); }
    itcConnection::ConnType& type() const { return (*connection).*(&OpenedConnection::connType); }
    itcConnection::ConnOptions options() const { return (*connection).*(&OpenedConnection::connOptions); }

    /// Returns how often the stream was closed through the virtual table. Only for streams that a StreamKind has made.
    int closes() const { return dynamic_cast<CountsCloses&>(*connection).closes; }

private:
    std::unique_ptr<itcConnection> connection;
};

/// Selects one of a connection's two names.
enum class End { peer, own };

class StreamKind {
public:
    virtual ~StreamKind() = default;

    virtual AnyStream closedStream() const = 0;
    /// Makes a stream with the constructor from an address.
    virtual AnyStream boundStream() = 0;
    virtual bool createEndpoint(const AnyStream& stream) = 0;
    /// Calls CreateEndpoint() with an address that the test has not used before.
    virtual bool createEndpointElsewhere(const AnyStream& stream) = 0;
    virtual int connect(const AnyStream& stream, const AnyStream& listener) = 0;

    /// Asks for a name. An address inside this object receives the name.
    virtual int askForName(const AnyStream& stream, End end) = 0;
    /// Gives the address inside this object a value that no stream has. A test then sees whether the address is
    /// changed.
    virtual void markAddress() = 0;
    virtual bool addressIsMarked() const = 0;

    /// The journal's line of the call that makes a socket, and the lines of all calls of CreateEndpoint().
    virtual std::string socketCall() const = 0;
    virtual Texts endpointCalls() const = 0;
    virtual std::vector<Consequence> endpointFailures() const = 0;
    /// The length of an address of this kind, and the size of the memory into which the system writes a name.
    virtual socklen_t addressLength() const = 0;
    virtual socklen_t roomForName() const = 0;
    /// The recorded error number after a failed bind or listen. Both failures close the socket. TCP streams record the
    /// error number of the failed call. Local streams record the value of `errno` after the close.
    virtual int recordedError(int ofTheCall, int behindTheClose) const = 0;
    /// The failure traces of a stream's own operations. Local streams print none.
    virtual Texts traces(const std::string& text) const = 0;
};

class TcpKind : public StreamKind {
public:
    explicit TcpKind(const char* host) : address(socketAddress(host)) {}

    AnyStream closedStream() const override { return AnyStream(std::make_unique<StreamWithOwnSteps>()); }
    AnyStream boundStream() override { return AnyStream(std::make_unique<StreamWithOwnSteps>(address)); }
    bool createEndpoint(const AnyStream& stream) override { return tcp(stream).CreateEndpoint(address) == 1; }
    bool createEndpointElsewhere(const AnyStream& stream) override
    {
        itcInetAddress elsewhere(socketAddress(address.numeric_hostname(), 1));
        return tcp(stream).CreateEndpoint(elsewhere) == 1;
    }
    int connect(const AnyStream& stream, const AnyStream& listener) override
    {
        itcInetAddress remote(addressOf(listener.td()));
        return tcp(stream).OpenConnNormal(remote);
    }
    int askForName(const AnyStream& stream, End end) override
    {
        return end == End::peer ? stream->GetPeername(name) : stream->GetSockname(name);
    }
    void markAddress() override { name = itcInetAddress(socketAddress("192.0.2.1", 4711)); }
    bool addressIsMarked() const override
    {
        return name.port() == 4711 && name.numeric_hostname() == std::string("192.0.2.1");
    }

    std::string socketCall() const override { return "socket(" + std::to_string(family()) + ", 1, 0)"; }
    Texts endpointCalls() const override
    {
        Texts calls = {socketCall(), "setsockopt(1, 2, 1)"};
        if (family() == AF_INET6)
            calls.emplace_back("setsockopt(41, 26, 0)");
        calls.push_back("bind(" + std::to_string(addressLength()) + ")");
        calls.emplace_back("listen(5)");
        return calls;
    }
    std::vector<Consequence> endpointFailures() const override
    {
        std::vector<Consequence> consequences = {fails("socket", Itc_Tp_Socket_Call_Failed),
                                                 fails("setsockopt", Itc_Tp_Socket_Call_Failed)};
        if (family() == AF_INET6)
            consequences.push_back(survives("setsockopt")); // the socket then takes no IPv4 peers
        consequences.push_back(fails("bind", Itc_Tp_Bind_Call_Failed));
        consequences.push_back(fails("listen", Itc_Tp_Listen_Call_Failed));
        return consequences;
    }
    socklen_t addressLength() const override { return lengthOf(address.address); }
    socklen_t roomForName() const override { return sizeof(sockaddr_storage); }
    int recordedError(int ofTheCall, int) const override { return ofTheCall; }
    Texts traces(const std::string& text) const override { return {"itcInetSockStream::" + text}; }

private:
    static itcInetSockStream& tcp(const AnyStream& stream) { return dynamic_cast<itcInetSockStream&>(*stream); }
    int family() const { return address.address.ss_family; }

    itcInetAddress address;
    itcInetAddress name{sockaddr_storage{}};
};

class LocalKind : public StreamKind {
public:
    AnyStream closedStream() const override { return AnyStream(std::make_unique<Stream>()); }
    AnyStream boundStream() override { return AnyStream(std::make_unique<Stream>(address)); }
    bool createEndpoint(const AnyStream& stream) override { return createEndpointAt(stream, address); }
    bool createEndpointElsewhere(const AnyStream& stream) override
    {
        itcUnixAddress elsewhere(folder.path("elsewhere").c_str());
        return createEndpointAt(stream, elsewhere);
    }
    int connect(const AnyStream& stream, const AnyStream&) override { return local(stream).OpenConnNormal(address); }
    int askForName(const AnyStream& stream, End end) override
    {
        return end == End::peer ? local(stream).GetPeername(name) : local(stream).GetSockname(name);
    }
    void markAddress() override { name.set("/before"); }
    bool addressIsMarked() const override { return name.pathname() == std::string("/before"); }

    std::string socketCall() const override { return "socket(1, 1, 0)"; }
    Texts endpointCalls() const override { return {socketCall(), "bind(110)", "listen(5)"}; }
    std::vector<Consequence> endpointFailures() const override
    {
        return {fails("socket", Itc_Tp_Socket_Call_Failed), fails("bind", Itc_Tp_Bind_Call_Failed),
                fails("listen", Itc_Tp_Listen_Call_Failed)};
    }
    socklen_t addressLength() const override { return sizeof(sockaddr_un); }
    socklen_t roomForName() const override { return sizeof(sockaddr_un); }
    int recordedError(int, int behindTheClose) const override { return behindTheClose; }
    Texts traces(const std::string&) const override { return {}; }

private:
    using Stream = WithOwnClose<OpenedUnixStream>;

    static Stream& local(const AnyStream& stream) { return dynamic_cast<Stream&>(*stream); }

    // A stream that is bound again replaces its copy of the path and does not free the earlier copy. The test frees the
    // earlier copy.
    static bool createEndpointAt(const AnyStream& stream, itcUnixAddress& where)
    {
        char* const earlier = local(stream).boundPath;
        const bool listens = local(stream).CreateEndpoint(where);
        if (local(stream).boundPath != earlier)
            delete[] earlier;
        return listens;
    }

    const TemporaryFolder folder;
    itcUnixAddress address{folder.path("socket").c_str()};
    itcUnixAddress name;
};

struct NamedKind {
    const char* name;
    std::unique_ptr<StreamKind> (*make)();
};

inline const NamedKind streamKinds[] = {
    {"TcpIPv4", []() -> std::unique_ptr<StreamKind> { return std::make_unique<TcpKind>("127.0.0.1"); }},
    {"TcpIPv6", []() -> std::unique_ptr<StreamKind> { return std::make_unique<TcpKind>("::1"); }},
    {"Local", []() -> std::unique_ptr<StreamKind> { return std::make_unique<LocalKind>(); }},
};

inline void PrintTo(const NamedKind& kind, std::ostream* out) { *out << kind.name; }

inline std::string kindName(const testing::TestParamInfo<NamedKind>& info) { return info.param.name; }

/// Expects a stream that has closed its socket after a failure. The close must go through the virtual table.
inline void expectGivenUp(const AnyStream& stream, int countedAfterwards)
{
    EXPECT_EQ(stream.td(), -1);
    EXPECT_EQ(stream.state(), itcConnection::ItcStateClosed);
    EXPECT_EQ(stream.closes(), 1);
    EXPECT_EQ(itcConnection::getConnectionCount(), countedAfterwards);
}
