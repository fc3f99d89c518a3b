// Heartbeats on the side of the collector.
#pragma once

#include "AgentTable.h"

#include <kiv/kiv.h>

/// Receives heartbeats as datagrams and enters them into the table. A datagram that is not a heartbeat of a connected
/// agent is dropped.
class HeartbeatReceiver : public itcIOHandler {
public:
    HeartbeatReceiver(itcDispatcher& dispatcher, AgentTable& table);
    ~HeartbeatReceiver() override;

    /// Opens the port and links it to the dispatcher. \return false if that fails: error() says why.
    bool listen(int port);
    std::string error() const { return endpoint.STATUS_text(); }

    int inputReady(itcConnection* conn, char* clientData) override;

private:
    itcDispatcher& dispatcher;
    AgentTable& table;
    itcInetSockDgram endpoint;
};
