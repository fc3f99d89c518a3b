/// \file
/// Internal: how many bytes of a socket-address storage are used.
///
/// A sockaddr_storage has room for every family. The socket calls want the length of the actual family, and
/// refuse a length that is too short for the family.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace kiv {

/// The length of an address, by its family: 110 bytes for a local address, 28 for IPv6, 16 for every other family.
///
/// A local address always has its full length, not the length of its path. The path ends with a zero, and the system
/// reads the path up to this zero.
inline socklen_t addressLength(const sockaddr_storage& address)
{
    switch (address.ss_family) {
    case AF_UNIX:
        return sizeof(sockaddr_un);
    case AF_INET6:
        return sizeof(sockaddr_in6);
    default:
        return sizeof(sockaddr_in);
    }
}

static_assert(sizeof(sockaddr_un) == 110 && sizeof(sockaddr_in6) == 28 && sizeof(sockaddr_in) == 16);

/// The type that the socket calls take.
inline const sockaddr* asSockaddr(const sockaddr_storage& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

/// The type that the socket calls take.
inline sockaddr* asSockaddr(sockaddr_storage& address) { return reinterpret_cast<sockaddr*>(&address); }

} // namespace kiv
