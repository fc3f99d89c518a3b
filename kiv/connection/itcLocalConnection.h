/// \file
/// The base of the connections within one machine.
#pragma once

#include <kiv/connection/itcConnection.h>

class itcUnixAddress;

/// What connections between processes of one machine have in common: endpoints named by an itcUnixAddress.
class KIV_EXPORT itcLocalConnection : public itcConnection {
public:
    using itcConnection::itcConnection;
    itcLocalConnection() = default;

    // Hosts derive from this class: the order of these operations, behind those of itcConnection, is binary interface.

    ~itcLocalConnection() override; ///< Frees #boundPath.

    /// Connects to a peer. \param cb is told the result before this returns; may be null.
    virtual int OpenConnection(itcUnixAddress& remote, ICBKivReady* cb, void* clientData) = 0;
    /// Becomes reachable under a local path.
    virtual bool CreateEndpoint(itcUnixAddress& local) = 0;

protected:
    /// The path that this object has bound, or tried to; owned, from array new. Null when there is none.
    char* boundPath = nullptr;
};
