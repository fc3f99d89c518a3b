// The message by which an agent shows that it lives.
#pragma once

#include <kiv/kiv.h>

/// Each heartbeat travels as a datagram, and any datagram may be lost. The largest number that has come shows how many
/// heartbeats were sent.
struct Heartbeat : itcXNDR {
    static constexpr int intervalMillis = 1000;

    long long number = 0; ///< 1 for the agent's first heartbeat, then 2, 3 and so on.

    itcNDRReceive& to_internal(itcNDRReceive& buffer) override { return buffer >> number; }
    itcNDRSend& to_external(itcNDRSend& buffer) const override { return buffer << number; }
};
