#include "Sample.h"

#include "Packet.h"

namespace {

// The fields behind the name, in their order on the wire. One list serves both directions, so that putting and taking
// cannot drift apart. New fields go to its end: a receiver does not mind what it does not know there.
template <class Record, class Action> void forEachNumber(Record& sample, Action action)
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

itcNDRSend& operator<<(itcNDRSend& buffer, const Sample& sample)
{
    buffer << sample.agent.c_str();
    forEachNumber(sample, [&](const auto& value) { buffer << value; });
    return buffer;
}

itcNDRReceive& operator>>(itcNDRReceive& buffer, Sample& sample)
{
    takeText(buffer, sample.agent, Sample::longestName);
    // After a refused text the rest is not where it should be; taking it is harmless, and the status stays.
    forEachNumber(sample, [&](auto& value) { buffer >> value; });
    return buffer;
}
