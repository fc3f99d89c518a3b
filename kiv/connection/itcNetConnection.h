/// \file
/// The base of the Internet connections.
#pragma once

#include <kiv/connection/itcConnection.h>

/// What TCP streams and UDP datagrams have in common: an itcInetAddress names each end.
class KIV_EXPORT itcNetConnection : public itcConnection {
public:
    using itcConnection::itcConnection;
    itcNetConnection() = default;

    // Hosts derive from this class: the order of these operations, behind those of itcConnection, is binary interface.

    ~itcNetConnection() override;

    /// Connects to a peer.
    /// \param remote     the address of the peer.
    /// \param cb         is told the result before this operation returns; may be null.
    /// \param clientData is handed to `cb`.
    /// \return 1: connected or under way; 0: failed; -1: would block. The status says why.
    virtual int OpenConnection(itcInetAddress& remote, ICBKivReady* cb, void* clientData) = 0;
    /// Makes the connection reachable under a local address.
    /// \return 1: reachable; 0: failed. The status says why.
    virtual int CreateEndpoint(itcInetAddress& local) = 0;
    /// Switches `TCP_NODELAY`: true sends small pieces at once, false lets the system gather them. The status is not
    /// touched.
    /// \return true: done; false: the system refused.
    virtual bool setTcpNodelay(bool on);
    /// The cipher that protects the connection.
    /// \return "none" here: plain sockets carry no cipher.
    virtual const char* getCipherSuite() const;
};
