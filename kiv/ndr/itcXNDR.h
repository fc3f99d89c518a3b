/// \file
/// Records that put and take themselves.
#pragma once

#include <kiv/foundation/export.h>

class itcNDRReceive;
class itcNDRSend;

/// A record that knows how to travel in a packet: derive, and `buffer << record` and `buffer >> record` work.
///
/// The record puts and takes its fields with the ordinary operations, in the same order on both sides. Nothing is
/// added: no frame, no type. Who must tell records apart sends an itcMsgHdr in front.
class KIV_EXPORT itcXNDR {
public:
    // Hosts derive from this class: the order of these operations is binary interface.
    virtual ~itcXNDR();
    /// Takes the fields out of `b`. \return `b`; what went wrong is in its status.
    virtual itcNDRReceive& to_internal(itcNDRReceive& b) = 0;
    /// Puts the fields into `b`. \return `b`; what went wrong is in its status.
    virtual itcNDRSend& to_external(itcNDRSend& b) const = 0;
};
