// The collector's answer to one sample.
#pragma once

#include <kiv/kiv.h>

/// Says which sample has arrived. It carries the agent's own send time back, so the agent measures the round trip
/// without remembering anything, and without the two clocks having to agree.
struct Acknowledgement : itcXNDR {
    long long sequence = 0;
    long long sentMicros = 0;

    itcNDRReceive& to_internal(itcNDRReceive& buffer) override { return buffer >> sequence >> sentMicros; }
    itcNDRSend& to_external(itcNDRSend& buffer) const override { return buffer << sequence << sentMicros; }
};
