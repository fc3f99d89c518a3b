// One packet, one datagram. A failed send is ignored: the collector need not run yet.
#include "HeartbeatSender.h"

#include "Heartbeat.h"
#include "Message.h"

#include <utility>

HeartbeatSender::HeartbeatSender(const itcInetAddress& collector, std::string ownName)
    : agent(std::move(ownName)), socket(collector), timer([this] { send(); })
{
    if (socket)
        timer.startEvery(std::chrono::milliseconds(Heartbeat::intervalMillis));
}

void HeartbeatSender::send()
{
    static_cast<void>(socket.send(headerOf(MessageKind::heartbeat, agent), Heartbeat{++number}));
}
