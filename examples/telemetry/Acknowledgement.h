// The collector's answer to one sample.
#pragma once

#include <kiv/kiv.h>

/// Says which sample has arrived.
///
/// The acknowledgement carries the send time of the sample back to the agent. The agent subtracts this time from its
/// own clock and gets the round trip. The agent need not store send times, and the clocks of the two machines need not
/// agree.
struct Acknowledgement : itcXNDR {
    long long sequence = 0;   ///< The sequence number of the sample.
    long long sentMicros = 0; ///< The send time of the sample, on the clock of the agent.

    itcNDRReceive& to_internal(itcNDRReceive& buffer) override { return buffer >> sequence >> sentMicros; }
    itcNDRSend& to_external(itcNDRSend& buffer) const override { return buffer << sequence << sentMicros; }
};
