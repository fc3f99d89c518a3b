// The message by which an agent shows that it lives.
#pragma once

#include <kiv/companion.h>

/// Each heartbeat travels as a datagram, and any datagram may be lost. The largest number that has come shows how many
/// heartbeats were sent.
struct Heartbeat {
    static constexpr int intervalMillis = 1000;

    std::int64_t number = 0; ///< 1 for the agent's first heartbeat, then 2, 3 and so on.
    KIV_FIELDS(number)
};
