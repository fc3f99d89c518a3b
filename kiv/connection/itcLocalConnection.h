/// \file
/// The base of the connections within one machine.
#pragma once

#include <kiv/connection/itcConnection.h>

class itcUnixAddress;

/// What connections between processes of one machine have in common: an itcUnixAddress names each end.
class KIV_EXPORT itcLocalConnection : public itcConnection {
public:
    using itcConnection::itcConnection;
    itcLocalConnection() = default;

    // Hosts derive from this class: the order of these operations, behind those of itcConnection, is binary interface.

    ~itcLocalConnection() override; ///< Frees #boundPath.

    /// Connects to a peer.
    /// \param remote     the path of the peer.
    /// \param cb         is told the result before this operation returns; may be null.
    /// \param clientData is handed to `cb`.
    /// \return 1: connected or under way; 0: failed; -1: would block. The status says why.
    virtual int OpenConnection(itcUnixAddress& remote, ICBKivReady* cb, void* clientData) = 0;
    /// Makes the connection reachable under a local path.
    /// \return true: reachable; false: failed. The status says why.
    virtual bool CreateEndpoint(itcUnixAddress& local) = 0;

protected:
    /// The path that this object has bound, or has tried to bind. The object owns the text, which comes from array new.
    /// Null when there is none.
    char* boundPath = nullptr;
};
