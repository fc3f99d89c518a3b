// Three things happen, each in a call of the dispatcher: the timer takes a sample; the connection can take more bytes;
// the connection has received bytes. None of them waits.
// Any failure, and any message that does not make sense, ends the connection: the stream cannot be trusted any more.
#include "SampleSender.h"

#include "Acknowledgement.h"
#include "Message.h"

#include <fmt/core.h>

#include <utility>

namespace {

// The largest number of samples that wait: some megabytes, hours at the usual interval. If so many wait, the agent
// takes no further samples until there is room. A sample that was not taken has no number and does not count as lost.
constexpr std::size_t mostToKeep = 20000;

// Not the wall clock: somebody may set the wall clock while a sample is on its way. The steady clock never goes back.
long long nowMicros()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

SampleSender::SampleSender(itcDispatcher& loop, std::unique_ptr<itcConnection> toCollector, std::string ownName,
                           std::chrono::milliseconds interval)
    : dispatcher(loop), connection(std::move(toCollector)), agent(std::move(ownName)),
      outgoing(loop, *connection, *this), ticker(loop, interval, [this] { sendSample(); })
{}

SampleSender::~SampleSender()
{
    if (connected)
        dispatcher.unlink(connection.get(), ReadMask | WriteMask); // the dispatcher keeps the pointers
}

bool SampleSender::start()
{
    if (!dispatcher.link(connection.get(), nullptr, ReadMask, this)) {
        fmt::print(stderr, "the dispatcher does not take the connection: {}\n", dispatcher.STATUS_text());
        return false;
    }
    connected = sampling = true;
    ticker.start();
    return true;
}

void SampleSender::stopSampling()
{
    sampling = false;
    ticker.stop();
}

void SampleSender::sendSample()
{
    if (outgoing.size() >= mostToKeep)
        return;
    Sample sample = machine.read();
    sample.sequence = ++samplesSent;
    sample.sentMicros = nowMicros();
    if (!outgoing.put(headerOf(MessageKind::sample, agent), sample))
        disconnect(outgoing.error());
}

int SampleSender::outputReady(itcConnection* /*conn*/, char* /*clientData*/)
{
    if (!outgoing.flush())
        disconnect(outgoing.error());
    return 0;
}

int SampleSender::inputReady(itcConnection* /*conn*/, char* /*clientData*/)
{
    if (incoming.read(*connection)) {
        if (!takeMessage())
            disconnect("a message that makes no sense");
    } else if (incoming.severity == Error) {
        disconnect(incoming.STATUS_text());
    }
    return 0;
}

bool SampleSender::takeMessage()
{
    itcMsgHdr header;
    incoming >> header;
    if (incoming.severity != Success)
        return false;
    switch (kindOf(header)) {
    case MessageKind::acknowledgement:
        return takeAcknowledgement();
    case MessageKind::goodbye:
        fmt::print("{}: the collector is ending\n", agent);
        stopSampling();
        return true;
    default:
        return false;
    }
}

bool SampleSender::takeAcknowledgement()
{
    Acknowledgement acknowledgement;
    incoming >> acknowledgement;
    if (incoming.severity != Success || acknowledgement.sequence != samplesAcknowledged + 1)
        return false; // each sample has one acknowledgement, in the order of the samples
    ++samplesAcknowledged;
    roundTripMicros.add(static_cast<double>(nowMicros() - acknowledgement.sentMicros));
    return true;
}

void SampleSender::disconnect(const std::string& reason)
{
    fmt::print(stderr, "{}: the connection to the collector has ended: {}\n", agent, reason);
    stopSampling();
    connected = false;
    dispatcher.unlink(connection.get(), ReadMask | WriteMask);
    connection->Close();
}
