// What an agent measures, and how the values travel.
#pragma once

#include <kiv/kiv.h>

/// The state of a machine at one moment.
///
/// The 64-bit fields are `long long`, not `std::int64_t`. On 64-bit Linux `std::int64_t` is `long`. The size of `long`
/// differs between machines, and the buffers therefore do not take a `long`.
struct Sample : itcXNDR {
    long long sequence = 0;      ///< 1 for the first sample of a connection, then 2, 3 and so on. A gap is a loss.
    long long sentMicros = 0;    ///< The send time on the agent's clock. Only differences have a meaning.
    double uptimeSeconds = 0;    ///< Since the start of the machine.
    double cpuPercent = 0;       ///< Of all processors together, since the previous sample.
    double memoryPercent = 0;    ///< The part of the memory that programs could not get.
    double load = 0;             ///< The load average over one minute.
    long long bytesReceived = 0; ///< By all network interfaces since the start of the machine.
    long long bytesSent = 0;     ///< By all network interfaces since the start of the machine.

    /// If a field cannot be taken, the status of the buffer says so.
    itcNDRReceive& to_internal(itcNDRReceive& buffer) override;
    itcNDRSend& to_external(itcNDRSend& buffer) const override;
};
