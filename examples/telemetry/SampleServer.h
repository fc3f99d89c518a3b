// The collector's side of the connections.
#pragma once

#include "AgentTable.h"
#include "Display.h"

#include <kiv/kiv.h>

#include <map>
#include <memory>
#include <string>

/// Accepts agents, enters their samples into the table and acknowledges each.
///
/// One handler serves the listener and all agents; the connection that it is called with tells them apart.
class SampleServer : public itcIOHandler {
public:
    SampleServer(itcDispatcher& dispatcher, AgentTable& table, Display& display);
    ~SampleServer() override;

    /// Listens on all addresses of the machine, IPv4 and IPv6. \param port 0 for one that is free.
    /// \return the port; 0 after printing why not.
    int listen(int port);
    /// Takes no more agents and asks those that are connected to finish. Their last samples are still served.
    void sayGoodbye();

    bool hasSessions() const { return !sessions.empty(); }
    int refusedConnections() const { return refused; }

    int inputReady(itcConnection* conn, char* clientData) override;
    void timerExpired(long sec, long usec) override;

private:
    struct Session {
        std::unique_ptr<itcConnection> connection;
        std::string from;
        Agent* agent = nullptr; ///< Known from the first sample on.
    };
    using Sessions = std::map<itcConnection*, Session>;

    void accept();
    void pauseAccepting();
    void receive(Session& session);
    bool enter(Session& session);
    bool acknowledge(Session& session);
    void refuse(Session& session, const std::string& reason);
    void end(Session& session);

    itcDispatcher& dispatcher;
    AgentTable& table;
    Display& display;

    itcInetSockStream listener;
    Sessions sessions;
    itcNDRReceive incoming;
    itcNDRSend outgoing;
    Sample sample;
    int refused = 0;
};
