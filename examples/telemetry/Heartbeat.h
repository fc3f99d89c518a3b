// A sign of life.
#pragma once

#include <kiv/kiv.h>

/// Travels as a datagram, so any of them may be lost. The number shows how many there should have been.
struct Heartbeat : itcXNDR {
    static constexpr int intervalMillis = 1000;

    long long number = 0; ///< 1, 2, 3, ... per agent.

    itcNDRReceive& to_internal(itcNDRReceive& buffer) override { return buffer >> number; }
    itcNDRSend& to_external(itcNDRSend& buffer) const override { return buffer << number; }
};
