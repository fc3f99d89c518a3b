// The collector's answer to one sample.
#pragma once

#include <kiv/companion.h>

/// Says which sample has arrived.
///
/// The acknowledgement carries the send time of the sample back to the agent. The agent subtracts this time from its
/// own clock and gets the round trip. The agent need not store send times, and the clocks of the two machines need not
/// agree.
struct Acknowledgement {
    std::int64_t sequence = 0;   ///< The sequence number of the sample.
    std::int64_t sentMicros = 0; ///< The send time of the sample, on the clock of the agent.
    KIV_FIELDS(sequence, sentMicros)
};
