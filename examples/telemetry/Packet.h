// The packets that agent and collector exchange: the kind first, then what that kind carries.
#pragma once

#include <kiv/kiv.h>

#include <string>

/// The numbers are on the wire: add new ones, never reuse old ones.
enum class PacketKind : int {
    sample = 1,          ///< agent to collector: a Sample
    acknowledgement = 2, ///< collector to agent: an Acknowledgement, one for each sample
    goodbye = 3          ///< collector to agent: send no more, I am ending; nothing follows
};

/// Empties the buffer and begins a packet of this kind; put the rest with `<<`.
itcNDRSend& beginPacket(itcNDRSend& buffer, PacketKind kind);

/// Receives one packet and takes its kind; take the rest with `>>`. \return false: the buffer's status says why.
bool receivePacket(itcConnection& connection, itcNDRReceive& buffer, PacketKind& kind);

/// Marks a packet that came over well but makes no sense, so that it is reported in the same way as one that did not.
void refuse(itcNDRReceive& buffer, ItcStatusCode code);

/// Takes a text that was put as `const char*`. More than `longest` characters are refused, and whatever a terminal
/// might take for a command becomes '?': the text is from outside, and the collector prints it.
void takeText(itcNDRReceive& buffer, std::string& text, unsigned int longest);
