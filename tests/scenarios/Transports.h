/// \file
/// The kinds of streams: TCP over IPv4, TCP over IPv6, and local streams. Each scenario runs over every kind.
#pragma once

#include "BareSocket.h"
#include "OsFaults.h"
#include "StatusMatchers.h"
#include "TemporaryFolder.h"

#include <kiv/address/itcInetAddress.h>
#include <kiv/address/itcUnixAddress.h>
#include <kiv/connection/itcInetSockStream.h>
#include <kiv/connection/itcUnixSockStream.h>
#include <kiv/dispatcher/itcDispatcher.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <utility>

/// A kind of stream, with one address for the listener and for the connects of a test.
class Transport {
public:
    virtual ~Transport() = default;

    virtual std::unique_ptr<itcConnection> makeStream() const = 0;
    virtual bool listen(itcConnection& stream) = 0;
    virtual int connect(itcConnection& stream, ICBKivReady* cb = nullptr) = 0;
    /// True when a second listener takes the address away from the first listener.
    virtual bool lastListenerWins() const = 0;
};

class TcpTransport : public Transport {
public:
    explicit TcpTransport(const char* host) : address(socketAddress(host)) {}

    std::unique_ptr<itcConnection> makeStream() const override { return std::make_unique<itcInetSockStream>(); }
    bool listen(itcConnection& stream) override
    {
        const bool listens = static_cast<itcInetSockStream&>(stream).CreateEndpoint(address) == 1;
        if (listens)
            address = itcInetAddress(addressOf(stream.ReadDescriptor())); // with the port that the system chose
        return listens;
    }
    int connect(itcConnection& stream, ICBKivReady* cb) override
    {
        return static_cast<itcInetSockStream&>(stream).OpenConnection(address, cb, nullptr);
    }
    bool lastListenerWins() const override { return false; }

private:
    itcInetAddress address;
};

class UnixTransport : public Transport {
public:
    std::unique_ptr<itcConnection> makeStream() const override { return std::make_unique<itcUnixSockStream>(); }
    bool listen(itcConnection& stream) override
    {
        return static_cast<itcUnixSockStream&>(stream).CreateEndpoint(address);
    }
    int connect(itcConnection& stream, ICBKivReady* cb) override
    {
        return static_cast<itcUnixSockStream&>(stream).OpenConnection(address, cb, nullptr);
    }
    bool lastListenerWins() const override { return true; }

private:
    const TemporaryFolder folder;
    itcUnixAddress address{folder.path("socket").c_str()};
};

struct TransportKind {
    const char* name;
    std::unique_ptr<Transport> (*make)();
};

inline const TransportKind transportKinds[] = {
    {"TcpIPv4", []() -> std::unique_ptr<Transport> { return std::make_unique<TcpTransport>("127.0.0.1"); }},
    {"TcpIPv6", []() -> std::unique_ptr<Transport> { return std::make_unique<TcpTransport>("::1"); }},
    {"Unix", []() -> std::unique_ptr<Transport> { return std::make_unique<UnixTransport>(); }},
};

inline void PrintTo(const TransportKind& kind, std::ostream* out) { *out << kind.name; }

inline std::string transportName(const testing::TestParamInfo<TransportKind>& info) { return info.param.name; }

/// The fixture of the scenarios: a stream that listens, and the dispatcher.
class TransportTest : public testing::TestWithParam<TransportKind> {
protected:
    TransportTest() { listens = transport->listen(*listener); }
    ~TransportTest() override { dispatcher.unlink_all(ReadMask | WriteMask | ExceptMask); }
    void SetUp() override { ASSERT_TRUE(listens) << listener->STATUS_text(); }

    std::unique_ptr<itcConnection> connect()
    {
        auto client = transport->makeStream();
        EXPECT_EQ(transport->connect(*client), 1) << client->STATUS_text();
        return client;
    }
    std::unique_ptr<itcConnection> accept()
    {
        itcConnection* accepted = nullptr;
        EXPECT_EQ(listener->AcceptConnection(&accepted, nullptr, nullptr), 1) << listener->STATUS_text();
        return std::unique_ptr<itcConnection>(accepted);
    }

    /// Runs the dispatcher until the condition holds. Fails when nothing is ready for ten seconds.
    template <class Condition> void dispatchUntil(Condition condition)
    {
        while (!condition()) {
            if (dispatcher.dispatch(10.0) == 0 && !condition())
                FAIL() << "nothing happens any more: " << dispatcher.STATUS_text();
        }
    }

    const std::unique_ptr<Transport> transport = GetParam().make();
    const std::unique_ptr<itcConnection> listener = transport->makeStream();
    itcDispatcher& dispatcher = *itcDispatcher::instance();

private:
    bool listens = false;
};

/// While TinySocketBuffers exists, the library's sockets have buffers of `size` bytes. So have accepted sockets.
class TinySocketBuffers {
public:
    explicit TinySocketBuffers(int size)
    {
        OsFaults::socket().instead = [=](int family, int type, int protocol) {
            return shrink(::socket(family, type, protocol), size);
        };
        OsFaults::accept().instead = [=](int fd, sockaddr* address, socklen_t* length) {
            return shrink(::accept(fd, address, length), size);
        };
    }
    ~TinySocketBuffers()
    {
        OsFaults::socket().instead = nullptr;
        OsFaults::accept().instead = nullptr;
    }
    TinySocketBuffers(const TinySocketBuffers&) = delete;
    TinySocketBuffers& operator=(const TinySocketBuffers&) = delete;

private:
    static int shrink(int fd, int size)
    {
        mustWork(fd, "socket");
        mustWork(::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size), "setsockopt");
        mustWork(::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size), "setsockopt");
        return fd;
    }
};
