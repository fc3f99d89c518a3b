// The connections on the side of the collector.
#pragma once

#include "AgentTable.h"
#include "Display.h"
#include "MessageReader.h"
#include "SendQueue.h"
#include "Ticker.h"

#include <kiv/kiv.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>

/// Enters the samples of the connected agents into the table, and acknowledges each sample.
///
/// One handler serves all agents. The dispatcher passes the connection, and the connection tells which agent it is. The
/// server never waits for an agent: neither for the rest of a message, nor for room to send an answer. An agent that is
/// slow or broken therefore does no harm to the others.
class SampleServer : public itcIOHandler {
public:
    SampleServer(itcDispatcher& dispatcher, AgentTable& table, Display& display);
    ~SampleServer() override;

    /// Serves an agent that has just connected.
    void serve(std::unique_ptr<itcConnection> connection);
    /// Asks all agents to stop sending. Their last samples are still served.
    void sayGoodbye();

    /// True if at least one connection exists.
    bool hasSessions() const { return !sessions.empty(); }
    /// True if at least one connection has sent a sample.
    bool hasAgents() const;
    /// The number of connections that the server has closed because of a failure or a wrong message.
    int refusedConnections() const { return refused; }

    int inputReady(itcConnection* conn, char* clientData) override;
    int outputReady(itcConnection* conn, char* clientData) override;

private:
    using Clock = std::chrono::steady_clock;

    /// One connection and its state.
    struct Session {
        Session(itcDispatcher& dispatcher, std::unique_ptr<itcConnection> connection, SampleServer& handler);

        const std::unique_ptr<itcConnection> connection;
        const std::string from;
        MessageReader incoming;
        SendQueue outgoing;
        Agent* agent = nullptr; ///< Null until the first sample names the agent.
        Clock::time_point latestMessage = Clock::now();
    };

    void receive(Session& session);
    bool takeSample(Session& session);
    bool acknowledge(Session& session, const Sample& sample);
    void refuseStalled();
    void refuse(Session& session, const std::string& reason);
    void end(Session& session);

    itcDispatcher& dispatcher;
    AgentTable& table;
    Display& display;

    std::map<itcConnection*, Session> sessions;
    Ticker stallCheck;
    int refused = 0;
};
