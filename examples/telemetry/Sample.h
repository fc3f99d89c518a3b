// What an agent measures.
#pragma once

#include <kiv/companion.h>

/// The state of a machine at one moment. The list of the fields is the order on the wire. Add new fields at the end: a
/// receiver that does not know them ignores them.
struct Sample {
    std::int64_t sequence = 0;      ///< 1 for the first sample of a connection, then 2, 3 and so on. A gap is a loss.
    std::int64_t sentMicros = 0;    ///< The send time on the agent's clock. Only differences have a meaning.
    double uptimeSeconds = 0;       ///< Since the start of the machine.
    double cpuPercent = 0;          ///< Of all processors together, since the previous sample.
    double memoryPercent = 0;       ///< The part of the memory that programs could not get.
    double load = 0;                ///< The load average over one minute.
    std::int64_t bytesReceived = 0; ///< By all network interfaces since the start of the machine.
    std::int64_t bytesSent = 0;     ///< By all network interfaces since the start of the machine.
    KIV_FIELDS(sequence, sentMicros, uptimeSeconds, cpuPercent, memoryPercent, load, bytesReceived, bytesSent)
};
