/// \file
/// Sockets that a test makes without the library: listeners, peers and strangers. Each is closed by its destructor.
#pragma once

#include "SocketAddresses.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

/// Returns the result of a system call that the test itself makes. Throws if the call has failed.
inline int mustWork(int result, const char* call)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), call);
    return result;
}

/// Owns a descriptor. The destructor closes the descriptor.
class BareSocket {
public:
    explicit BareSocket(int ownedFd = -1) : fd(ownedFd) {}
    BareSocket(BareSocket&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    BareSocket& operator=(BareSocket&& other) noexcept
    {
        std::swap(fd, other.fd);
        return *this;
    }
    ~BareSocket() { close(); }

    int get() const { return fd; }
    void close()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }

private:
    int fd;
};

/// The local address of a socket.
inline sockaddr_storage addressOf(int fd)
{
    sockaddr_storage address = {};
    socklen_t length = sizeof address;
    mustWork(::getsockname(fd, asSocketAddress(address), &length), "getsockname");
    return address;
}

inline int portOf(const sockaddr_storage& address)
{
    // The port lies at the same place in both families.
    return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

/// A stream socket on a free port of this host, which does not listen yet.
inline BareSocket boundSocket(const char* host)
{
    const sockaddr_storage address = socketAddress(host);
    BareSocket socket(mustWork(::socket(address.ss_family, SOCK_STREAM, 0), "socket"));
    mustWork(::bind(socket.get(), asSocketAddress(address), lengthOf(address)), "bind");
    return socket;
}

inline BareSocket listeningSocket(const char* host, int backlog = 5)
{
    BareSocket socket = boundSocket(host);
    mustWork(::listen(socket.get(), backlog), "listen");
    return socket;
}

inline BareSocket connectedSocket(const sockaddr_storage& remote)
{
    BareSocket socket(mustWork(::socket(remote.ss_family, SOCK_STREAM, 0), "socket"));
    mustWork(::connect(socket.get(), asSocketAddress(remote), lengthOf(remote)), "connect");
    return socket;
}

inline BareSocket acceptedSocket(const BareSocket& listener)
{
    return BareSocket(mustWork(::accept(listener.get(), nullptr, nullptr), "accept"));
}

/// A listener that answers no connect: its queue has one place, and the guest has taken this place.
class SilentListener {
public:
    explicit SilentListener(const char* host)
        : listener(listeningSocket(host, 0)), guest(connectedSocket(addressOf(listener.get())))
    {
        // The guest has its place only when the listener has seen the end of the handshake.
        pollfd arrival = {listener.get(), POLLIN, 0};
        mustWork(::poll(&arrival, 1, -1), "poll");
    }

    sockaddr_storage address() const { return addressOf(listener.get()); }

private:
    BareSocket listener;
    BareSocket guest;
};

/// A close() that succeeds and then sets `errno` to EXDEV, a number that none of the tested calls sets.
inline int closeLeavingEXDEV(int fd)
{
    const int result = ::close(fd);
    errno = EXDEV;
    return result;
}

inline bool isNonBlocking(int fd) { return (mustWork(::fcntl(fd, F_GETFL), "fcntl") & O_NONBLOCK) != 0; }

inline bool isClosedOnExec(int fd) { return (mustWork(::fcntl(fd, F_GETFD), "fcntl") & FD_CLOEXEC) != 0; }

inline bool isOpen(int fd) { return ::fcntl(fd, F_GETFD) != -1; }

/// Returns the value of a socket option whose value is an int.
inline int socketOption(int fd, int level, int option)
{
    int value = 0;
    socklen_t length = sizeof value;
    mustWork(::getsockopt(fd, level, option, &value, &length), "getsockopt");
    return value;
}
