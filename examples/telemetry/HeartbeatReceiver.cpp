#include "HeartbeatReceiver.h"

#include "Heartbeat.h"
#include "Message.h"
#include "MessageReader.h"

HeartbeatReceiver::HeartbeatReceiver(itcDispatcher& dispatcher, AgentTable& table)
    : dispatcher(dispatcher), table(table)
{}

HeartbeatReceiver::~HeartbeatReceiver()
{
    dispatcher.unlink(&endpoint, ReadMask);
}

bool HeartbeatReceiver::listen(int port)
{
    itcInetAddress local(port);
    // Non-blocking: a datagram that is reported may be gone when it is asked for, its checksum having been wrong.
    return endpoint.CreateEndpoint(local) == 1 && endpoint.SetOption(itcConnection::ItcNonBlocking) &&
           dispatcher.link(&endpoint, nullptr, ReadMask, this) == 1;
}

int HeartbeatReceiver::inputReady(itcConnection* /*conn*/, char* /*clientData*/)
{
    MessageReader datagram; // a new one each time: where one ends inside a message, the next does not go on
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
