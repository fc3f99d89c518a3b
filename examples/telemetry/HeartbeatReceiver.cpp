// Anybody can send a datagram to the port. A datagram is therefore read to its end before anything is believed: it must
// hold one complete message, the message must be a heartbeat, and the agent must be connected. No answer is sent.
#include "HeartbeatReceiver.h"

#include "Heartbeat.h"
#include "Message.h"
#include "MessageReader.h"

HeartbeatReceiver::HeartbeatReceiver(itcDispatcher& loop, AgentTable& agents) : dispatcher(loop), table(agents) {}

HeartbeatReceiver::~HeartbeatReceiver() { dispatcher.unlink(&endpoint, ReadMask); }

bool HeartbeatReceiver::listen(int port)
{
    itcInetAddress local(port);
    // Non-blocking: the system may report a datagram and then drop it because its checksum is wrong. A blocking read
    // would then wait.
    return endpoint.CreateEndpoint(local) == 1 && endpoint.SetOption(itcConnection::ItcNonBlocking) &&
           dispatcher.link(&endpoint, nullptr, ReadMask, this) == 1;
}

int HeartbeatReceiver::inputReady(itcConnection* /*conn*/, char* /*clientData*/)
{
    MessageReader datagram; // new for each datagram: a message never continues in the next datagram
    itcMsgHdr header;
    Heartbeat heartbeat;
    if (!datagram.read(endpoint))
        return 0;
    datagram >> header;
    if (datagram.severity != Success || kindOf(header) != MessageKind::heartbeat)
        return 0;
    datagram >> heartbeat;
    if (Agent* const agent = table.connected(agentOf(header)); agent != nullptr && datagram.severity == Success)
        agent->addHeartbeat(heartbeat.number);
    return 0;
}
