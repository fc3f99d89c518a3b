// One list of the fields serves both directions. Putting and taking can therefore never have different orders.
// The order is the order on the wire. Add new fields at the end: a receiver that does not know them ignores them.
#include "Sample.h"

namespace {

// Calls `action` with each field, in the order on the wire.
template <class Record, class Action> void forEachField(Record& sample, Action action)
{
    action(sample.sequence);
    action(sample.sentMicros);
    action(sample.uptimeSeconds);
    action(sample.cpuPercent);
    action(sample.memoryPercent);
    action(sample.load);
    action(sample.bytesReceived);
    action(sample.bytesSent);
}

} // namespace

itcNDRReceive& Sample::to_internal(itcNDRReceive& buffer)
{
    forEachField(*this, [&](auto& value) { buffer >> value; });
    return buffer;
}

itcNDRSend& Sample::to_external(itcNDRSend& buffer) const
{
    forEachField(*this, [&](const auto& value) { buffer << value; });
    return buffer;
}
