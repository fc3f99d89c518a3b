#include "SampleServer.h"

#include "Acknowledgement.h"
#include "Packet.h"

#include <fmt/core.h>

namespace {

constexpr long acceptPauseSeconds = 1;

// Numeric: the text forms that give names would wait for the resolver, and all agents with them.
std::string addressText(itcInetSockStream& connection)
{
    itcInetAddress peer;
    if (!connection.GetPeername(peer))
        return "?";
    const std::string text = peer.numeric_hostname();
    const std::string mapped = "::ffff:"; // how an IPv6 socket shows its IPv4 peers
    return text.compare(0, mapped.size(), mapped) == 0 ? text.substr(mapped.size()) : text;
}

} // namespace

SampleServer::SampleServer(itcDispatcher& dispatcher, AgentTable& table, Display& display)
    : dispatcher(dispatcher), table(table), display(display)
{}

SampleServer::~SampleServer()
{
    dispatcher.stopTimer(this);
    dispatcher.unlink(&listener, ReadMask);
    while (!sessions.empty())
        end(sessions.begin()->second);
}

int SampleServer::listen(int port)
{
    itcInetAddress local(port);
    itcInetAddress bound;
    if (!listener.CreateEndpoint(local) || !listener.GetSockname(bound)) {
        fmt::print(stderr, "can not listen on port {}: {}\n", port, listener.STATUS_text());
        return 0;
    }
    if (!dispatcher.link(&listener, nullptr, ReadMask, this)) {
        fmt::print(stderr, "the dispatcher does not take the listener: {}\n", dispatcher.STATUS_text());
        return 0;
    }
    return bound.port();
}

int SampleServer::inputReady(itcConnection* conn, char* /*clientData*/)
{
    if (conn == &listener)
        accept();
    else
        receive(sessions.at(conn));
    return 0; // stay linked; who is to go is unlinked in end()
}

void SampleServer::accept()
{
    // Asked first, since at the limit AcceptConnection() would close the listener for good.
    if (itcConnection::hasMaxConnCount()) {
        display.note("as many agents as this process may have; further ones wait");
        pauseAccepting();
        return;
    }
    itcConnection* accepted = nullptr;
    if (listener.AcceptConnection(&accepted, nullptr, nullptr) != 1) {
        display.note(fmt::format("an agent could not be accepted: {}", listener.STATUS_text()));
        pauseAccepting();
        return;
    }
    std::unique_ptr<itcConnection> connection(accepted);

    // Strict reads take a packet whole, in however many pieces it arrives. The price: a peer that stops, or closes, in
    // the middle of one holds up all the others for good. In a network where not everybody can be trusted, keep the
    // connection non-blocking and read with the resumable buffers, which take what is there and go on at the next call.
    connection->SetOption(itcConnection::ItcStrictBlocking);
    auto& stream = static_cast<itcInetSockStream&>(*connection); // it is what a stream accepts
    stream.setTcpNodelay(true);                                  // an acknowledgement is not to wait for the next one

    if (!dispatcher.link(accepted, nullptr, ReadMask, this)) {
        display.note(fmt::format("an agent is turned away: {}", dispatcher.STATUS_text()));
        dispatcher.unlink(accepted, ReadMask);
        return;
    }
    Session& session = sessions[accepted];
    session.from = addressText(stream);
    session.connection = std::move(connection);
}

// A listener that is left linked stays readable and would be reported over and over.
void SampleServer::pauseAccepting()
{
    dispatcher.unlink(&listener, ReadMask);
    dispatcher.startTimer(acceptPauseSeconds, 0, this);
}

void SampleServer::timerExpired(long /*sec*/, long /*usec*/)
{
    dispatcher.link(&listener, nullptr, ReadMask, this);
}

void SampleServer::receive(Session& session)
{
    PacketKind kind = {};
    if (!receivePacket(*session.connection, incoming, kind)) {
        if (incoming.code == Itc_Ndr_Disconnection)
            end(session);
        else
            refuse(session, incoming.STATUS_text());
        return;
    }
    if (kind == PacketKind::sample)
        incoming >> sample;
    else
        ::refuse(incoming, Itc_Tp_Unknown_Protocol);

    if (incoming.severity != Success || !enter(session))
        refuse(session, incoming.STATUS_text());
    else if (!acknowledge(session))
        refuse(session, fmt::format("{} ({})", outgoing.STATUS_text(), session.connection->STATUS_text()));
}

bool SampleServer::enter(Session& session)
{
    const bool isFirst = session.agent == nullptr;
    if (isFirst)
        session.agent = &table.arrive(sample.agent, session.from);
    const bool follows = session.agent->add(sample);
    if (!follows)
        ::refuse(incoming, Itc_Tp_Unknown_Protocol);
    if (isFirst)
        display.note(fmt::format("{} has connected from {}", sample.agent, session.from));
    return follows;
}

bool SampleServer::acknowledge(Session& session)
{
    beginPacket(outgoing, PacketKind::acknowledgement) << Acknowledgement{sample.sequence, sample.sentMicros};
    *session.connection << outgoing;
    return outgoing.severity == Success;
}

void SampleServer::sayGoodbye()
{
    dispatcher.stopTimer(this);
    dispatcher.unlink(&listener, ReadMask);
    listener.Close();
    for (auto& [connection, session] : sessions) {
        beginPacket(outgoing, PacketKind::goodbye);
        *connection << outgoing; // one that fails is found out by the next read
    }
}

void SampleServer::refuse(Session& session, const std::string& reason)
{
    ++refused;
    display.note(fmt::format("closing the connection from {}: {}", session.from, reason));
    end(session);
}

void SampleServer::end(Session& session)
{
    if (session.agent != nullptr) {
        session.agent->connected = false;
        display.note(fmt::format("{} has left", session.agent->latest.agent));
    }
    itcConnection* const connection = session.connection.get();
    dispatcher.unlink(connection, ReadMask); // before it is deleted: the dispatcher keeps only pointers
    sessions.erase(connection);
}
