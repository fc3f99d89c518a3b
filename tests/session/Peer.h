/// \file
/// The other side of a session: a bare socket, and frames that are made and read byte by byte.
#pragma once

#include "BareSocket.h"

#include <kiv/connection/itcConnection.h>
#include <kiv/ndr/itcNDRReceive.h>
#include <kiv/ndr/itcNDRSend.h>
#include <kiv/records/itcValues.h>

#include <netinet/tcp.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

/// The first 8 bytes of a frame: the magic and a length.
inline std::string frameHead(std::uint32_t length)
{
    std::string head("QVR\0", 4);
    for (int shift = 24; shift >= 0; shift -= 8)
        head.push_back(static_cast<char>(length >> shift & 0xFF));
    return head;
}

inline std::string frameAround(const std::string& data)
{
    return frameHead(static_cast<std::uint32_t>(data.size())) + data;
}

/// The data of a packet of these values, with the label.
template <class... Values> std::string dataOf(const Values&... values)
{
    itcNDRSend packet;
    (packet << ... << values);
    return {packet.raw_data(), packet.raw_length()};
}

template <class... Values> std::string frameOf(const Values&... values) { return frameAround(dataOf(values...)); }

/// The data of a packet of `length` bytes. The values are zeros.
inline std::string dataOfLength(std::size_t length)
{
    return dataOf('\0').substr(0, 2) + std::string(length - 2, '\0');
}

/// A frame without values.
inline std::string heartbeatFrame() { return frameAround(dataOfLength(2)); }

/// The size of the frame of an int: head, label, gap, int.
constexpr std::size_t intFrame = 16;

/// The data of each complete frame in `bytes`.
inline std::vector<std::string> packetsIn(const std::string& bytes)
{
    std::vector<std::string> packets;
    std::size_t at = 0;
    while (bytes.size() - at >= 8) {
        std::size_t length = 0;
        for (std::size_t i = 4; i < 8; ++i)
            length = length << 8 | static_cast<unsigned char>(bytes[at + i]);
        if (bytes.size() - at - 8 < length)
            break;
        packets.push_back(bytes.substr(at + 8, length));
        at += 8 + length;
    }
    return packets;
}

/// The int at the beginning of a packet.
inline int numberIn(const std::string& data)
{
    itcNDRReceive packet(data.data(), static_cast<unsigned int>(data.size()));
    int number = -1;
    packet >> number;
    return number;
}

/// The peer of a session. It never waits.
class Peer {
public:
    explicit Peer(BareSocket connected = BareSocket()) : socket(std::move(connected)) {}

    std::string received;  ///< All bytes that read() has found.
    bool hasEnded = false; ///< read() has found the end of the stream.
    int error = 0;         ///< The error number of a read() that has failed.

    int get() const { return socket.get(); }
    /// Sends bytes that fit into the socket.
    void send(const std::string& bytes) const
    {
        const ssize_t sent = ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent != static_cast<ssize_t>(bytes.size()))
            throw std::system_error(errno, std::generic_category(), "send");
    }
    /// Reads what is there.
    void read()
    {
        char piece[65536];
        for (;;) {
            const ssize_t count = ::recv(socket.get(), piece, sizeof piece, MSG_DONTWAIT);
            if (count <= 0) {
                hasEnded = hasEnded || count == 0;
                if (count < 0 && errno != EAGAIN)
                    error = errno;
                return;
            }
            received.append(piece, static_cast<std::size_t>(count));
        }
    }
    std::vector<std::string> packets()
    {
        read();
        return packetsIn(received);
    }
    /// The numbers in the packets. Heartbeats are left out.
    std::vector<int> numbers()
    {
        std::vector<int> found;
        for (const std::string& packet : packets())
            if (packet.size() > 2)
                found.push_back(numberIn(packet));
        return found;
    }
    int heartbeats()
    {
        const std::vector<std::string> all = packets();
        return static_cast<int>(std::count_if(all.begin(), all.end(), [](const auto& one) { return one.size() == 2; }));
    }
    void shutDown() const { mustWork(::shutdown(socket.get(), SHUT_WR), "shutdown"); }
    void close() { socket.close(); }
    /// Ends a TCP connection so that the other side finds a reset.
    void reset()
    {
        const linger atOnce = {1, 0};
        mustWork(::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce), "setsockopt");
        close();
    }

private:
    BareSocket socket;
};

/// Two connected sockets. The one is for a session.
struct SocketEnds {
    int near;
    BareSocket far;
};

inline SocketEnds connectLocally()
{
    int ends[2];
    mustWork(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), "socketpair");
    return {ends[0], BareSocket(ends[1])};
}

inline SocketEnds connectByTcp(const char* host)
{
    const BareSocket listener = listeningSocket(host);
    BareSocket far = connectedSocket(addressOf(listener.get()));
    const int near = mustWork(::accept(listener.get(), nullptr, nullptr), "accept");
    // What a peer sends must be there when the next cycle looks: nothing waits for more bytes.
    const int on = 1;
    mustWork(::setsockopt(far.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), "setsockopt");
    return {near, std::move(far)};
}

struct StreamKind {
    const char* name;
    SocketEnds (*connect)();
};

inline const StreamKind localStream = {"Local", connectLocally};
inline const StreamKind streamKinds[] = {
    localStream,
    {"TcpIPv4", [] { return connectByTcp("127.0.0.1"); }},
    {"TcpIPv6", [] { return connectByTcp("::1"); }},
};

inline void PrintTo(const StreamKind& kind, std::ostream* out) { *out << kind.name; }

/// A connection that owns a descriptor, and is counted.
inline std::unique_ptr<itcConnection> connectionOver(int fd)
{
    itcConnection::incConnCount();
    return std::make_unique<itcConnection>(fd, itcConnection::ItcTypeConnection);
}
