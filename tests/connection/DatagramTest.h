/// \file
/// The fixture of the datagram tests: an endpoint, and a stranger's socket that sends to it.
#pragma once

#include "LoopbackTest.h"

#include <string>

class DatagramTest : public LoopbackTest {
protected:
    /// A datagram socket of a stranger, on a free port of this host.
    static BareSocket bareDatagramSocket()
    {
        const sockaddr_storage address = socketAddress(GetParam().host);
        BareSocket socket(mustWork(::socket(address.ss_family, SOCK_DGRAM, 0), "socket"));
        mustWork(::bind(socket.get(), asSocketAddress(address), lengthOf(address)), "bind");
        return socket;
    }

    static void sendTo(const OpenedDatagram& receiver, const BareSocket& from, const std::string& bytes)
    {
        const sockaddr_storage to = ::addressOf(receiver.td);
        mustWork(
            static_cast<int>(::sendto(from.get(), bytes.data(), bytes.size(), 0, asSocketAddress(to), lengthOf(to))),
            "sendto");
    }

    static std::string socketCall() { return LoopbackTest::socketCall(SOCK_DGRAM); }

    /// Returns `count` bytes. Neighbours always differ.
    static std::string bytes(size_t count)
    {
        std::string made(count, '\0');
        for (size_t i = 0; i < count; ++i)
            made[i] = static_cast<char>(i * 7 + i / 256);
        return made;
    }
};

/// The fixture for tests of a bound datagram endpoint. `sender` is the socket that sends to the endpoint.
class DatagramEndpointTest : public DatagramTest {
protected:
    DatagramEndpointTest()
    {
        itcInetAddress address = local();
        endpoint.CreateEndpoint(address);
        OsFaults::clearAll();
    }

    void send(const std::string& datagram) { sendTo(endpoint, sender, datagram); }

    /// Calls Read() for `length` bytes and returns the bytes that were read.
    std::string read(int length)
    {
        std::string area(static_cast<size_t>(length), '?');
        const int count = endpoint.Read(area.data(), length);
        area.resize(count > 0 ? static_cast<size_t>(count) : 0);
        return area;
    }

    OpenedDatagram endpoint;
    const BareSocket sender = bareDatagramSocket();
};
