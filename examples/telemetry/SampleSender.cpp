#include "SampleSender.h"

#include "Acknowledgement.h"
#include "Packet.h"

#include <fmt/core.h>

#include <netdb.h>

#include <utility>

namespace {

constexpr unsigned int connectTimeoutMillis = 5000;

// The wall clock may be set while a sample is under way; this one only ever goes on.
long long nowMicros()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

// ItcStrictBlocking: a read returns with all that was asked for, so a packet is taken whole, in however many pieces it
// arrives. The agent has chosen its collector and trusts it not to stop in the middle of one.
SampleSender::SampleSender(itcDispatcher& dispatcher, std::string agent, std::chrono::milliseconds interval)
    : dispatcher(dispatcher), agent(std::move(agent)), interval(interval), connection(itcConnection::ItcStrictBlocking)
{}

SampleSender::~SampleSender()
{
    stopSampling();
    if (connected)
        dispatcher.unlink(&connection, ReadMask); // the dispatcher must not outlive it with a dead pointer
}

bool SampleSender::start(const std::string& host, int port)
{
    itcInetAddress collector(host.c_str(), port, IPPROTO_TCP);
    if (collector.status.severity != Success) {
        // The one status whose error number is not the system's but the resolver's.
        fmt::print(stderr, "{}: {} ({})\n", host, collector.status.STATUS_text(),
                   gai_strerror(collector.status.errorNumber));
        return false;
    }
    connection.setConnTimeout(connectTimeoutMillis);
    if (connection.OpenConnection(collector, nullptr, nullptr) != 1) {
        fmt::print(stderr, "no collector at {} port {}: {}\n", host, port, connection.STATUS_text());
        return false;
    }
    connection.setTcpNodelay(true); // a sample is small and complete: nothing to wait for
    if (!dispatcher.link(&connection, nullptr, ReadMask, this)) {
        fmt::print(stderr, "the dispatcher does not take the connection: {}\n", dispatcher.STATUS_text());
        return false;
    }
    connected = sampling = true;
    startTimer();
    return true;
}

void SampleSender::startTimer()
{
    const auto micros = std::chrono::microseconds(interval).count();
    dispatcher.startTimer(static_cast<long>(micros / 1000000), static_cast<long>(micros % 1000000), this);
}

void SampleSender::stopSampling()
{
    if (std::exchange(sampling, false))
        dispatcher.stopTimer(this);
}

// Timers fire once, so each tick starts the next one.
void SampleSender::timerExpired(long /*sec*/, long /*usec*/)
{
    Sample sample = machine.read();
    sample.agent = agent;
    sample.sequence = ++samplesSent;
    sample.sentMicros = nowMicros();
    beginPacket(outgoing, PacketKind::sample) << sample;
    connection << outgoing;
    if (outgoing.severity == Success)
        startTimer();
    else
        disconnect(fmt::format("{} ({})", outgoing.STATUS_text(), connection.STATUS_text()));
}

int SampleSender::inputReady(itcConnection* /*conn*/, char* /*clientData*/)
{
    PacketKind kind = {};
    if (!receivePacket(connection, incoming, kind)) {
        disconnect(incoming.STATUS_text());
    } else if (kind == PacketKind::goodbye) {
        fmt::print("{}: the collector is ending\n", agent);
        stopSampling();
    } else if (kind == PacketKind::acknowledgement) {
        Acknowledgement acknowledgement;
        incoming >> acknowledgement;
        accept(acknowledgement);
    } else {
        refuse(incoming, Itc_Tp_Unknown_Protocol);
        disconnect(incoming.STATUS_text());
    }
    return 0;
}

void SampleSender::accept(const Acknowledgement& acknowledgement)
{
    if (incoming.severity == Success && acknowledgement.sequence != samplesAcknowledged + 1)
        refuse(incoming, Itc_Tp_Unknown_Protocol); // they come in the order of the samples, one each
    if (incoming.severity != Success) {
        disconnect(incoming.STATUS_text());
        return;
    }
    ++samplesAcknowledged;
    roundTripMicros.add(static_cast<double>(nowMicros() - acknowledgement.sentMicros));
}

void SampleSender::disconnect(const std::string& reason)
{
    fmt::print(stderr, "{}: the connection to the collector has ended: {}\n", agent, reason);
    stopSampling();
    connected = false;
    dispatcher.unlink(&connection, ReadMask);
    connection.Close();
}
