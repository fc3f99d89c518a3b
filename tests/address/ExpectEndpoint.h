/// \file
/// Expects the address and the status that a successful lookup leaves.
#pragma once

#include "StatusMatchers.h"

#include <kiv/address/itcInetAddress.h>

constexpr int tcp = 6; // the numbers of the protocols
constexpr int udp = 17;

inline void expectEndpoint(const itcInetAddress& address, const char* ip, int port)
{
    EXPECT_THAT(address.status, HasClearStatus());
    EXPECT_STREQ(address.numeric_hostname(), ip);
    EXPECT_EQ(address.port(), port);
}
