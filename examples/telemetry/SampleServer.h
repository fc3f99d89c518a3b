// The collector's side of the connections.
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

/// Enters the samples of connected agents into the table and acknowledges each.
///
/// One handler serves all agents; the connection that it is called with tells them apart. No agent is ever waited for,
/// neither for the rest of what it sends nor for the room to answer it, so whatever one does hurts no other.
class SampleServer : public itcIOHandler {
public:
    SampleServer(itcDispatcher& dispatcher, AgentTable& table, Display& display);
    ~SampleServer() override;

    /// Serves an agent that has just connected.
    void serve(std::unique_ptr<itcConnection> connection);
    /// Asks all agents to finish. Their last samples are still served.
    void sayGoodbye();

    /// Anybody is connected.
    bool hasSessions() const { return !sessions.empty(); }
    /// Anybody is connected who has sent a sample.
    bool hasAgents() const;
    int refusedConnections() const { return refused; }

    int inputReady(itcConnection* conn, char* clientData) override;
    int outputReady(itcConnection* conn, char* clientData) override;

private:
    using Clock = std::chrono::steady_clock;

    struct Session {
        Session(itcDispatcher& dispatcher, std::unique_ptr<itcConnection> connection, SampleServer& handler);

        const std::unique_ptr<itcConnection> connection;
        const std::string from;
        MessageReader incoming;
        SendQueue outgoing;
        Agent* agent = nullptr; ///< Known from the first sample on.
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
