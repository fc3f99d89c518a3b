/// \file
/// Socket addresses from their texts.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdint>
#include <cstring>

/// Returns the IPv4 or IPv6 address that a numeric text names. The port is in host byte order.
inline sockaddr_storage socketAddress(const char* text, uint16_t port = 0)
{
    sockaddr_storage address = {};
    if (std::strchr(text, ':') != nullptr) {
        sockaddr_in6 inet6 = {};
        inet6.sin6_family = AF_INET6;
        inet6.sin6_port = htons(port);
        ::inet_pton(AF_INET6, text, &inet6.sin6_addr);
        std::memcpy(&address, &inet6, sizeof inet6);
    } else {
        sockaddr_in inet = {};
        inet.sin_family = AF_INET;
        inet.sin_port = htons(port);
        ::inet_pton(AF_INET, text, &inet.sin_addr);
        std::memcpy(&address, &inet, sizeof inet);
    }
    return address;
}

inline socklen_t lengthOf(const sockaddr_storage& address)
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

inline const sockaddr* asSocketAddress(const sockaddr_storage& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

inline sockaddr* asSocketAddress(sockaddr_storage& address) { return reinterpret_cast<sockaddr*>(&address); }
