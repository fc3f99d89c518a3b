// Heartbeats on the side of the agent.
#pragma once

#include <kiv/companion.h>

#include <string>

/// Sends heartbeats to the port of the collector, until the HeartbeatSender is destroyed. A heartbeat that cannot be
/// sent is lost, like a heartbeat that is lost on its way. The next one follows after one second.
class HeartbeatSender {
public:
    HeartbeatSender(const itcInetAddress& collector, std::string agent);

    const itcStatus& status() const { return socket.status(); }

private:
    void send();

    const std::string agent;
    itcDatagramSender socket;
    itcTimer timer;
    long long number = 0;
};
