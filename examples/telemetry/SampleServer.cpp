// An agent is a stranger until its first sample, and is never trusted: its messages, its pace and its numbers are
// checked. An agent that breaks a rule loses its connection; the other agents notice nothing.
//
// A session ends in one place, end(). The order there matters: unlink the connection, then delete it.
#include "SampleServer.h"

#include "Acknowledgement.h"
#include "Message.h"

#include <fmt/core.h>

#include <algorithm>
#include <utility>

namespace {

using namespace std::chrono_literals;

constexpr auto stallCheckInterval = 1000ms;
constexpr auto longestStall = 10s;
constexpr std::size_t mostWaiting = 10000; // the largest number of acknowledgements that wait for one agent

// The numeric text. The text with the name would wait for the resolver, and all agents would wait, too.
std::string addressText(itcConnection& connection)
{
    itcInetAddress peer;
    if (!connection.GetPeername(peer))
        return "unix"; // a peer that connects to a socket file has no address to show
    const std::string text = peer.numeric_hostname();
    const std::string mapped = "::ffff:"; // an IPv6 socket shows the address of an IPv4 peer behind this text
    return text.compare(0, mapped.size(), mapped) == 0 ? text.substr(mapped.size()) : text;
}

} // namespace

SampleServer::Session::Session(itcDispatcher& dispatcher, std::unique_ptr<itcConnection> accepted,
                               SampleServer& handler)
    : connection(std::move(accepted)), from(addressText(*connection)), outgoing(dispatcher, *connection, handler)
{}

SampleServer::SampleServer(itcDispatcher& loop, AgentTable& agents, Display& screen)
    : dispatcher(loop), table(agents), display(screen),
      stallCheck(loop, stallCheckInterval, [this] { refuseStalled(); })
{
    stallCheck.start();
}

SampleServer::~SampleServer()
{
    while (!sessions.empty())
        end(sessions.begin()->second);
}

bool SampleServer::hasAgents() const
{
    return std::any_of(sessions.begin(), sessions.end(),
                       [](const auto& entry) { return entry.second.agent != nullptr; });
}

void SampleServer::serve(std::unique_ptr<itcConnection> connection)
{
    itcConnection* const key = connection.get();
    if (auto* const stream = dynamic_cast<itcInetSockStream*>(key))
        stream->setTcpNodelay(true); // an acknowledgement shall not wait for the next one
    Session& session = sessions.try_emplace(key, dispatcher, std::move(connection), *this).first->second;
    if (!key->SetOption(itcConnection::ItcNonBlocking) || !dispatcher.link(key, nullptr, ReadMask, this))
        refuse(session, fmt::format("{} ({})", dispatcher.STATUS_text(), key->STATUS_text()));
}

int SampleServer::inputReady(itcConnection* conn, char* /*clientData*/)
{
    receive(sessions.at(conn));
    return 0; // 0 keeps the link; end() unlinks a connection that ends
}

int SampleServer::outputReady(itcConnection* conn, char* /*clientData*/)
{
    Session& session = sessions.at(conn);
    if (!session.outgoing.flush())
        refuse(session, session.outgoing.error());
    return 0;
}

// Reads one message only. If more has come, the dispatcher calls again, after the other agents have been served.
void SampleServer::receive(Session& session)
{
    if (!session.incoming.read(*session.connection)) {
        if (session.incoming.hasPeerLeft())
            end(session);
        else if (session.incoming.severity == Error)
            refuse(session, session.incoming.STATUS_text());
        return;
    }
    session.latestMessage = Clock::now();
    itcDispatcher::messagesRead += 1; // for the library's report
    itcDispatcher::bytesRead += session.incoming.raw_length();
    if (!takeSample(session))
        refuse(session, "a message that makes no sense");
}

bool SampleServer::takeSample(Session& session)
{
    itcMsgHdr header;
    session.incoming >> header;
    if (session.incoming.severity != Success || kindOf(header) != MessageKind::sample)
        return false;
    Sample sample;
    session.incoming >> sample;
    if (session.incoming.severity != Success)
        return false;

    const std::string name = agentOf(header);
    if (session.agent == nullptr) {
        session.agent = &table.arrive(name, session.from);
        display.note(fmt::format("{} has connected from {}", name, session.from));
    }
    return session.agent->name == name && session.agent->add(sample) && acknowledge(session, sample);
}

bool SampleServer::acknowledge(Session& session, const Sample& sample)
{
    const Acknowledgement acknowledgement{sample.sequence, sample.sentMicros};
    return session.outgoing.size() < mostWaiting &&
           session.outgoing.put(headerOf(MessageKind::acknowledgement, session.agent->name), acknowledgement);
}

void SampleServer::sayGoodbye()
{
    for (auto& [connection, session] : sessions) {
        const std::string name = session.agent != nullptr ? session.agent->name : "";
        session.outgoing.put(headerOf(MessageKind::goodbye, name)); // a failure is ignored: the next read finds it
    }
}

// Between two messages an agent may be silent without a limit. Inside a message, and before the first message, the
// silence has a limit.
void SampleServer::refuseStalled()
{
    for (auto next = sessions.begin(); next != sessions.end();) {
        Session& session = (next++)->second;
        const bool owesSomething = session.agent == nullptr || session.incoming.isInsideMessage();
        if (owesSomething && Clock::now() - session.latestMessage > longestStall)
            refuse(session, "nothing more has come");
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
        display.note(fmt::format("{} has left", session.agent->name));
    }
    itcConnection* const connection = session.connection.get();
    dispatcher.unlink(connection, ReadMask | WriteMask); // before the delete: the dispatcher keeps the pointer
    sessions.erase(connection);
}
