/// \file
/// The base of the Internet connections.
#pragma once

#include <kiv/connection/itcConnection.h>

/// What TCP streams and UDP datagrams have in common: endpoints named by an itcInetAddress.
class KIV_EXPORT itcNetConnection : public itcConnection {
public:
    using itcConnection::itcConnection;
    itcNetConnection() = default;

    // Hosts derive from this class: the order of these operations, behind those of itcConnection, is binary interface.

    ~itcNetConnection() override;

    /// Connects to a peer. \param cb is told the result before this returns; may be null.
    virtual int OpenConnection(itcInetAddress& remote, ICBKivReady* cb, void* clientData) = 0;
    /// Becomes reachable under a local address.
    virtual int CreateEndpoint(itcInetAddress& local) = 0;
    /// Sends small pieces at once instead of gathering them (`TCP_NODELAY`). \return false when the system refuses; the
    /// status is not touched.
    virtual bool setTcpNodelay(bool on);
    /// The cipher that protects the connection. \return "none": plain sockets carry no cipher.
    virtual const char* getCipherSuite() const;
};
