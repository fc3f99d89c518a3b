/// \file
/// UDP datagrams.
#pragma once

#include <kiv/connection/itcNetConnection.h>

/// UDP over IPv4 or IPv6, read like a stream. InitRead() receives one datagram, and Read() hands it out in pieces.
///
/// An endpoint (CreateEndpoint(), or the constructor from an address) learns its peer from each datagram. An object
/// that is connected (OpenConnection()) has a fixed peer. Sending is Write(), which needs a connected object.
///
/// A typical handler calls InitRead() once, then Read() until Read() gives 0, then GetPeername() for the sender. A
/// datagram of more than 512 bytes is cut to 512, and the rest is lost. bytes() stays 0 while a datagram is held: read
/// the whole datagram in one call of the handler. Descriptors are not marked close-on-exec.
class KIV_EXPORT itcInetSockDgram : public itcNetConnection {
public:
    itcInetSockDgram(); ///< No socket yet.
    /// Takes ownership of a descriptor, which is not counted; see itcConnection.
    itcInetSockDgram(int fd, ConnType type);
    /// Makes a socket that is bound to `local`. The role stays unspecified: only CreateEndpoint() sets ItcTypeEndpoint.
    /// Test `severity`: the failures are the connection limit, the socket, the bind.
    explicit itcInetSockDgram(itcInetAddress& local);
    ~itcInetSockDgram() override;

    using itcNetConnection::GetPeername;
    using itcNetConnection::GetSockname;

    /// Receives one datagram. What was left of the datagram before is forgotten.
    ///
    /// \return 1 to 512: the size of the datagram; the status is left alone.
    ///         -1, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): no descriptor.
    ///         -1, (`Itc_Tp_Read_Call_Failed`, Error): the system refused, or a non-blocking socket has nothing.
    ///         -1, (`Itc_Tp_Would_Block`, Error): an empty datagram came, and is gone. The severity is Error here: an
    ///         empty datagram must not pass for "try again". Go on with the next datagram.
    int InitRead() override;

    /// Hands out bytes of the datagram that InitRead() has received. Read() never receives, and never counts traffic.
    /// \return 1 or more: the number of bytes copied; the status is not changed.
    ///         0: nothing is left, `len` is 0, or the last datagram was empty; the status is not changed.
    ///         -1, status not changed: the last receive has failed.
    ///         -1, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): no descriptor.
    ///         -1, (`Itc_Tp_Read_Call_Failed`, Error), EINVAL: `len` is negative.
    int Read(void* buf, int len) override;

    /// Binds. An object that is bound already is left as it is, and `local` is not used.
    /// \return 1: bound; the status is clear.
    ///         0, (`Itc_Tp_Socket_Still_Connected`, Warning): already connected.
    ///         0, (`Itc_Tp_Max_Connections_Reached`, Error): the connection limit is reached.
    ///         0, (`Itc_Tp_Socket_Call_Failed`, Error): no socket.
    ///         0, (`Itc_Tp_Bind_Call_Failed`, Error): the socket is closed.
    int CreateEndpoint(itcInetAddress& local) override;

    /// Fixes the peer, in any state, and tells `cb` the result.
    /// \return 1: the peer is fixed; the status is left alone.
    ///         0, (`Itc_Tp_Max_Connections_Reached`, Error): the connection limit is reached.
    ///         0, (`Itc_Tp_Socket_Call_Failed`, Error): no socket.
    ///         0, (`Itc_Tp_Connect_Call_Failed`, Error): the socket is closed.
    int OpenConnection(itcInetAddress& remote, ICBKivReady* cb, void* clientData) override;

    /// Asks for the peer. A connected object asks the system. Every other object gives the sender of the last datagram,
    /// which is all zero before the first datagram.
    /// \return 1: `addr` is set. For a sender only the socket address inside `addr` is set, and no status and no flags.
    ///         0, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): no descriptor; `addr` is untouched.
    ///         0, (`Itc_Tp_Getpeername_Call_Failed`, Error): `addr` becomes the wildcard.
    int GetPeername(itcInetAddress& addr) override;
    /// Asks for the local address.
    /// \return 1: `addr` is set; the status is clear.
    ///         0, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): no descriptor; `addr` is untouched.
    ///         0, (`Itc_Tp_Getsockname_Call_Failed`, Error): `addr` becomes the wildcard.
    int GetSockname(itcInetAddress& addr) override;

    /// Datagrams are never gathered: there is nothing to switch. The wrong use is reported through
    /// KivDebug::pKivErrorPrint.
    /// \return false.
    bool setTcpNodelay(bool on) override;

protected:
    char* recvBuffer;             ///< The last datagram: 512 bytes from array new, which this object owns.
    int buflen;                   ///< The bytes of the datagram that are left; -1 after a failed receive.
    sockaddr_storage peerAddress; ///< The sender. All zero before the first datagram and after a failed receive.

private:
    KIV_HIDDEN void makeBuffer();
    KIV_HIDDEN void receiveOne();
    KIV_HIDDEN int fixPeer(itcInetAddress& remote);
};
