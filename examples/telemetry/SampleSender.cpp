// The timer takes a sample; the session sends it and brings the acknowledgements. Nothing waits. While there is no
// connection no sample is taken: it would be old when the connection is back.
#include "SampleSender.h"

#include "Acknowledgement.h"
#include "Message.h"

#include <fmt/core.h>

#include <algorithm>
#include <utility>

namespace {

// Hours at the usual interval. If so many bytes wait, the agent takes no further samples until there is room. A sample
// that was not taken has no number and does not count as lost.
constexpr std::size_t mostWaitingBytes = std::size_t{4} * 1024 * 1024;
constexpr std::uint32_t longestMessage = 4096; // the messages have less than 200 bytes

// Not the wall clock: somebody may set the wall clock while a sample is on its way. The steady clock never goes back.
long long nowMicros()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

SampleSender::SampleSender(std::string ownName, std::chrono::milliseconds betweenSamples)
    : agent(std::move(ownName)), interval(betweenSamples), timer([this] { sendSample(); })
{}

void SampleSender::use(itcSession& session)
{
    collector = session.handle();
    latestSent = latestAcknowledged = 0;
    session.setMaxPacketSize(longestMessage);
    session.setQueue(2 * mostWaitingBytes, mostWaitingBytes, itcSession::WhenFull::refuseNewest);
    session.onPacket([this, &session](itcNDRReceive& packet) { receive(session, packet); });
    session.onClosed([this](const itcClosed& why) {
        fmt::print(stderr, "{}: the connection to the collector has ended: {}\n", agent, why.text());
    });
    if (!timer.isRunning() && !dismissed)
        timer.startEvery(interval);
}

void SampleSender::sendSample()
{
    itcSession* const session = collector.get();
    if (session == nullptr || session->counters().queuedBytes > mostWaitingBytes)
        return;
    Sample sample = machine.read();
    sample.sequence = latestSent + 1;
    sample.sentMicros = nowMicros();
    if (!session->send(headerOf(MessageKind::sample, agent), sample))
        return;
    ++latestSent;
    ++samplesSent;
    mostQueued = std::max(mostQueued, session->counters().mostQueuedPackets);
}

void SampleSender::receive(itcSession& session, itcNDRReceive& packet)
{
    itcMsgHdr header;
    if (!session.take(packet, header))
        return;
    switch (kindOf(header)) {
    case MessageKind::acknowledgement:
        takeAcknowledgement(session, packet);
        break;
    case MessageKind::goodbye:
        fmt::print("{}: the collector is ending\n", agent);
        dismissed = true;
        stopSampling();
        break;
    default:
        session.close();
    }
}

void SampleSender::takeAcknowledgement(itcSession& session, itcNDRReceive& packet)
{
    Acknowledgement acknowledgement;
    if (!session.take(packet, acknowledgement))
        return;
    if (acknowledgement.sequence != latestAcknowledged + 1) {
        session.close(); // each sample has one acknowledgement, in the order of the samples
        return;
    }
    ++latestAcknowledged;
    ++samplesAcknowledged;
    roundTripMicros.add(static_cast<double>(nowMicros() - acknowledgement.sentMicros));
}
