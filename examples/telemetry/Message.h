// What agent and collector say to each other: an itcMsgHdr, whose type tells which record follows.
#pragma once

#include <kiv/kiv.h>

#include <string>

/// The numbers are on the wire: add new ones, never reuse old ones.
enum class MessageKind : int {
    sample = 1,          ///< agent to collector: a Sample
    acknowledgement = 2, ///< collector to agent: an Acknowledgement, one for each sample
    goodbye = 3,         ///< collector to agent: send no more, I am ending; nothing follows
    heartbeat = 4        ///< agent to collector, as a datagram: a Heartbeat
};

/// As many characters as a header's text takes.
constexpr unsigned int longestName = itcMsgHdr::textSize - 1;

/// \param agent the name of the agent that the message comes from or goes to.
itcMsgHdr headerOf(MessageKind kind, const std::string& agent);
MessageKind kindOf(const itcMsgHdr& header);
/// The name in the header. Whatever a terminal might take for a command is '?': it is from outside, and gets printed.
std::string agentOf(const itcMsgHdr& header);
