// A heartbeat needs no answer and no second try: the next one follows after one second. A failed write is therefore
// ignored.
#include "HeartbeatSender.h"

#include "Heartbeat.h"
#include "Message.h"

#include <fmt/core.h>

#include <utility>

HeartbeatSender::HeartbeatSender(itcDispatcher& dispatcher, std::string ownName)
    : agent(std::move(ownName)),
      ticker(dispatcher, std::chrono::milliseconds(Heartbeat::intervalMillis), [this] { send(); })
{}

bool HeartbeatSender::start(const std::string& host, int port)
{
    itcInetAddress collector(host.c_str(), port, IPPROTO_UDP);
    // For a datagram socket a connect only stores the address of the collector. The collector need not run yet.
    if (collector.status.severity != Success || socket.OpenConnection(collector, nullptr, nullptr) != 1 ||
        !socket.SetOption(itcConnection::ItcNonBlocking)) {
        fmt::print(stderr, "no heartbeats to {} port {}: {} {}\n", host, port, collector.status.STATUS_text(),
                   socket.STATUS_text());
        return false;
    }
    ticker.start();
    return true;
}

void HeartbeatSender::send()
{
    itcNDRSend datagram;
    datagram << headerOf(MessageKind::heartbeat, agent) << Heartbeat{++number};
    socket << datagram; // one packet, one datagram
}
