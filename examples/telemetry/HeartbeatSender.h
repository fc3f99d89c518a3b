// The agent's side of the heartbeats.
#pragma once

#include "Ticker.h"

#include <kiv/kiv.h>

#include <string>

/// Sends heartbeats to the collector's port as long as it lives. One that cannot be sent is lost, like any other.
class HeartbeatSender {
public:
    HeartbeatSender(itcDispatcher& dispatcher, std::string agent);

    /// \return false after printing why not.
    bool start(const std::string& host, int port);

private:
    void send();

    const std::string agent;
    itcInetSockDgram socket;
    Ticker ticker;
    long long number = 0;
};
