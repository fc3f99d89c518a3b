#include "Sample.h"

namespace {

// The fields in their order on the wire. One list serves both directions, so that putting and taking cannot drift
// apart. New fields go to its end: a receiver does not mind what it does not know there.
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
