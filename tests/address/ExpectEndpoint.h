/// \file
/// What a good lookup leaves.
#pragma once

#include "StatusMatchers.h"

#include <kiv/address/itcInetAddress.h>

constexpr int tcp = 6; // as an address is told: the numbers of the protocols
constexpr int udp = 17;

inline void expectEndpoint(const itcInetAddress& address, const char* ip, int port)
{
    EXPECT_THAT(address.status, HasClearStatus());
    EXPECT_STREQ(address.numeric_hostname(), ip);
    EXPECT_EQ(address.port(), port);
}
