/// \file
/// An address that no resolver gives.
#pragma once

#include <sys/socket.h>

#include <cstring>

/// An address of this family with every other byte set to 0xAB.
inline sockaddr_storage filledAddress(sa_family_t family)
{
    sockaddr_storage address;
    std::memset(&address, 0xAB, sizeof address);
    address.ss_family = family;
    return address;
}
