// The collector's side of the heartbeats.
#pragma once

#include "AgentTable.h"

#include <kiv/kiv.h>

/// Enters the heartbeats that come as datagrams into the table. What is no heartbeat of a connected agent is dropped.
class HeartbeatReceiver : public itcIOHandler {
public:
    HeartbeatReceiver(itcDispatcher& dispatcher, AgentTable& table);
    ~HeartbeatReceiver() override;

    /// \return false if the port is not to be had: its status says why.
    bool listen(int port);
    std::string error() const { return endpoint.STATUS_text(); }

    int inputReady(itcConnection* conn, char* clientData) override;

private:
    itcDispatcher& dispatcher;
    AgentTable& table;
    itcInetSockDgram endpoint;
};
