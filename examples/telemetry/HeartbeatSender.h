// Heartbeats on the side of the agent.
#pragma once

#include "Ticker.h"

#include <kiv/kiv.h>

#include <string>

/// Sends heartbeats to the port of the collector, until the HeartbeatSender is destroyed. A heartbeat that cannot be
/// sent is lost, like a heartbeat that is lost on its way.
class HeartbeatSender {
public:
    HeartbeatSender(itcDispatcher& dispatcher, std::string agent);

    /// \return false after printing the reason.
    bool start(const std::string& host, int port);

private:
    void send();

    const std::string agent;
    itcInetSockDgram socket;
    Ticker ticker;
    long long number = 0;
};
