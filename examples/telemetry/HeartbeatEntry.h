// Heartbeats on the side of the collector.
#pragma once

#include "AgentTable.h"

#include <kiv/companion.h>

/// Enters a heartbeat into the table. Anybody can send a datagram to the port: a packet that is not a heartbeat of a
/// connected agent is dropped, and no answer is sent.
void enterHeartbeat(itcNDRReceive& packet, AgentTable& table);
