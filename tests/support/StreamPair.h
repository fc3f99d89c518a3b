/// \file
/// Two connected stream sockets: one inside a connection, the other bare.
#pragma once

#include <kiv/connection/itcConnection.h>

#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <system_error>

/// A connection that shows its protected fields.
class OpenedConnection : public itcConnection {
public:
    using itcConnection::connOptions;
    using itcConnection::connState;
    using itcConnection::connType;
    using itcConnection::itcConnection;
    using itcConnection::readByteCount;
    using itcConnection::readCallCount;
    using itcConnection::td;
    using itcConnection::writeByteCount;
    using itcConnection::writeCallCount;
};

class StreamPair {
public:
    explicit StreamPair(itcConnection::ConnOptions option = itcConnection::ItcBlocking) : StreamPair(makePair(), option)
    {}
    ~StreamPair() { closeFar(); }
    StreamPair(const StreamPair&) = delete;
    StreamPair& operator=(const StreamPair&) = delete;

    OpenedConnection& near() { return nearEnd; }
    int far() const { return farEnd; }

    /// These are actions of the peer.
    void farSends(const std::string& bytes) const
    {
        if (::send(farEnd, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()))
            throw std::system_error(errno, std::generic_category(), "send");
    }
    std::string farReceives(size_t count) const
    {
        std::string bytes(count, '\0');
        const ssize_t n = ::recv(farEnd, bytes.data(), count, MSG_WAITALL);
        bytes.resize(n > 0 ? static_cast<size_t>(n) : 0);
        return bytes;
    }
    void closeFar()
    {
        if (farEnd >= 0)
            ::close(farEnd);
        farEnd = -1;
    }

private:
    struct Ends {
        int fd[2];
    };

    StreamPair(Ends ends, itcConnection::ConnOptions option) : nearEnd(ends.fd[0], option), farEnd(ends.fd[1])
    {
        itcConnection::incConnCount(); // the constructor does not count, but closing lowers the count
    }

    static Ends makePair()
    {
        Ends ends;
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.fd) != 0)
            throw std::system_error(errno, std::generic_category(), "socketpair");
        return ends;
    }

    OpenedConnection nearEnd;
    int farEnd;
};
