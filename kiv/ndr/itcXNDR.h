/// \file
/// Records that put and take themselves.
#pragma once

#include <kiv/foundation/export.h>

class itcNDRReceive;
class itcNDRSend;

/// A record that knows how to travel in a packet. Derive from this class, and `buffer << record` and `buffer >> record`
/// work.
///
/// The record puts and takes its fields with the ordinary operations, in one order on both sides. The library adds
/// nothing: no frame, and no type. A host that must tell records apart puts an itcMsgHdr in front.
class KIV_EXPORT itcXNDR {
public:
    // Hosts derive from this class: the order of these operations is binary interface.
    virtual ~itcXNDR();
    /// Takes the fields out of `b`. \return `b`; the status of `b` says what went wrong.
    virtual itcNDRReceive& to_internal(itcNDRReceive& b) = 0;
    /// Puts the fields into `b`. \return `b`; the status of `b` says what went wrong.
    virtual itcNDRSend& to_external(itcNDRSend& b) const = 0;
};
