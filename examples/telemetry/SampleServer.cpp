// What one connection knows is its agent, which the first sample names. The functions of the session share this pointer.
#include "SampleServer.h"

#include "Acknowledgement.h"
#include "Message.h"

#include <fmt/core.h>

#include <algorithm>
#include <memory>

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t longestMessage = 4096; // the messages have less than 200 bytes
constexpr auto longestStall = 10s;             // before the first sample, and inside a message

} // namespace

SampleServer::SampleServer(AgentTable& agents, Display& screen) : table(agents), display(screen) {}

bool SampleServer::hasAgents() const
{
    const auto& agents = table.agents();
    return std::any_of(agents.begin(), agents.end(), [](const Agent& agent) { return agent.connected; });
}

void SampleServer::serve(itcSession& session)
{
    const auto agent = std::make_shared<Agent*>(nullptr);
    session.setMaxPacketSize(longestMessage).setIdleTimeout(longestStall).setPacketTimeout(longestStall);
    session.onPacket([this, &session, agent](itcNDRReceive& packet) { receive(session, packet, *agent); });
    session.onClosed([this, &session, agent](const itcClosed& why) { hasLeft(session, why, *agent); });
}

void SampleServer::receive(itcSession& session, itcNDRReceive& packet, Agent*& agent)
{
    itcDispatcher::messagesRead += 1; // for the library's report
    itcDispatcher::bytesRead += packet.raw_length();
    itcMsgHdr header;
    Sample sample;
    if (!session.take(packet, header, sample))
        return;
    const bool isSample = kindOf(header) == MessageKind::sample;
    if (!isSample || !enter(session, agentOf(header), sample, agent)) {
        display.note(fmt::format("{} has sent a message that makes no sense", session.peerAddress()));
        ++refused;
        session.close();
        return;
    }
    const Acknowledgement acknowledgement{sample.sequence, sample.sentMicros};
    static_cast<void>(session.send(headerOf(MessageKind::acknowledgement, agent->name), acknowledgement));
}

// Between two samples an agent may be silent without a limit.
bool SampleServer::enter(itcSession& session, const std::string& name, const Sample& sample, Agent*& agent)
{
    if (agent == nullptr) {
        agent = &table.arrive(name, session.peerAddress());
        session.setIdleTimeout(0s);
        display.note(fmt::format("{} has connected from {}", name, session.peerAddress()));
    }
    return agent->name == name && agent->add(sample);
}

void SampleServer::hasLeft(const itcSession& session, const itcClosed& why, Agent* agent)
{
    if (why.reason != itcClosed::peerLeft && why.reason != itcClosed::closedByUs) {
        ++refused;
        display.note(fmt::format("closing the connection from {}: {}", session.peerAddress(), why.text()));
    }
    if (agent != nullptr) {
        agent->connected = false;
        display.note(fmt::format("{} has left", agent->name));
    }
}
