/// \file
/// Internal: how much of a socket-address storage counts.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace kiv {

/// The length that the system is told for an address of this family: 110, 28, or 16 for everything else.
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

inline const sockaddr* asSockaddr(const sockaddr_storage& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

inline sockaddr* asSockaddr(sockaddr_storage& address)
{
    return reinterpret_cast<sockaddr*>(&address);
}

} // namespace kiv
