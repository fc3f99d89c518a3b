// The messages between agent and collector. A message is an itcMsgHdr; the type in the header says which record
// follows.
#pragma once

#include <kiv/kiv.h>

#include <string>

/// The numbers travel in the packets. Add new numbers; never reuse an old number, since old programs still send it.
enum class MessageKind : int {
    sample = 1,          ///< agent to collector: a Sample follows
    acknowledgement = 2, ///< collector to agent, for each sample: an Acknowledgement follows
    goodbye = 3,         ///< collector to agent: stop sending, the collector ends; nothing follows
    heartbeat = 4        ///< agent to collector, as a datagram: a Heartbeat follows
};

/// The largest number of characters in an agent's name: as many as a text of the header holds.
constexpr unsigned int longestName = itcMsgHdr::textSize - 1;

/// Makes a header.
/// \param agent  the name of the agent that the message comes from or goes to.
itcMsgHdr headerOf(MessageKind kind, const std::string& agent);
/// The kind in the header. The number comes from another program and may be none of MessageKind.
MessageKind kindOf(const itcMsgHdr& header);
/// The agent's name in the header. Each character that is not printable ASCII becomes '?': the name comes from another
/// program and is printed, and a terminal could take some characters for commands.
std::string agentOf(const itcMsgHdr& header);
