// What an agent measures, and how that travels.
#pragma once

#include <kiv/kiv.h>

/// The state of a machine at one moment.
///
/// The 64-bit fields are `long long`, not `std::int64_t`: on 64-bit Linux the latter is `long`, whose size differs
/// between machines, so the buffers do not take it.
struct Sample : itcXNDR {
    long long sequence = 0;      ///< 1, 2, 3, ... per connection: a gap is a loss.
    long long sentMicros = 0;    ///< When it was sent, on the agent's own clock; only differences mean anything.
    double uptimeSeconds = 0;    ///< Since the machine was started.
    double cpuPercent = 0;       ///< Of all processors together, since the sample before.
    double memoryPercent = 0;    ///< In use: what programs could not get.
    double load = 0;             ///< The load average over one minute.
    long long bytesReceived = 0; ///< By all network interfaces since the machine was started.
    long long bytesSent = 0;     ///< By all network interfaces since the machine was started.

    /// What could not be taken shows in the buffer's status.
    itcNDRReceive& to_internal(itcNDRReceive& buffer) override;
    itcNDRSend& to_external(itcNDRSend& buffer) const override;
};
