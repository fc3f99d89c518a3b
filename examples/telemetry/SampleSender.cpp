#include "SampleSender.h"

#include "Acknowledgement.h"
#include "Message.h"

#include <fmt/core.h>

#include <utility>

namespace {

// Some megabytes, and minutes at usual intervals. An agent whose collector is away for longer takes no samples until
// there is room again: what is not taken is not lost.
constexpr std::size_t mostToKeep = 20000;

// The wall clock may be set while a sample is under way; this one only ever goes on.
long long nowMicros()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

SampleSender::SampleSender(itcDispatcher& dispatcher, std::unique_ptr<itcConnection> connection, std::string agent,
                           std::chrono::milliseconds interval)
    : dispatcher(dispatcher), connection(std::move(connection)), agent(std::move(agent)),
      outgoing(dispatcher, *this->connection, *this), ticker(dispatcher, interval, [this] { sendSample(); })
{}

SampleSender::~SampleSender()
{
    if (connected)
        dispatcher.unlink(connection.get(), ReadMask | WriteMask); // the dispatcher keeps only pointers
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
        return false; // they come in the order of the samples, one each
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
