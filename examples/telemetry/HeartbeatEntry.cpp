// The packet is read to its end before anything is believed.
#include "HeartbeatEntry.h"

#include "Heartbeat.h"
#include "Message.h"

void enterHeartbeat(itcNDRReceive& packet, AgentTable& table)
{
    itcMsgHdr header;
    Heartbeat heartbeat;
    packet >> header >> heartbeat;
    if (packet.severity != Success || kindOf(header) != MessageKind::heartbeat)
        return;
    if (Agent* const agent = table.connected(agentOf(header)))
        agent->addHeartbeat(heartbeat.number);
}
