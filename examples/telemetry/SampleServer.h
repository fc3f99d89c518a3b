// The conversations with the agents, on the side of the collector.
#pragma once

#include "AgentTable.h"
#include "Display.h"

#include <kiv/companion.h>

#include <string>

/// Enters the samples of the connected agents into the table, and acknowledges each sample.
///
/// An agent is a stranger until its first sample, and is never trusted: its messages and its numbers are checked. An
/// agent that breaks a rule loses its connection; the other agents notice nothing.
class SampleServer {
public:
    SampleServer(AgentTable& table, Display& display);

    /// Serves an agent that has just connected.
    void serve(itcSession& session);

    /// True if at least one agent is connected that has sent a sample.
    bool hasAgents() const;
    /// The number of connections that the server has closed because of a failure or a wrong message.
    int refusedConnections() const { return refused; }

private:
    void receive(itcSession& session, itcNDRReceive& packet, Agent*& agent);
    bool enter(itcSession& session, const std::string& name, const Sample& sample, Agent*& agent);
    void hasLeft(const itcSession& session, const itcClosed& why, Agent* agent);

    AgentTable& table;
    Display& display;
    int refused = 0;
};
