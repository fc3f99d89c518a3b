/// \file
/// UDP datagrams.
#pragma once

#include <kiv/connection/itcNetConnection.h>

/// UDP over IPv4 or IPv6, read like a stream: InitRead() receives one datagram, Read() hands it out in pieces.
///
/// An endpoint (CreateEndpoint() or the constructor from an address) learns its peer from each datagram; an object that
/// is connected (OpenConnection()) has a fixed one. Sending is Write(), which needs a connected object.
///
/// A typical handler calls InitRead() once, then Read() until it gives 0, then GetPeername() for the sender. A datagram
/// of more than 512 bytes is cut to that. bytes() stays 0 while a datagram is held: read it out in one call.
/// Descriptors are not marked close-on-exec.
class KIV_EXPORT itcInetSockDgram : public itcNetConnection {
public:
    itcInetSockDgram();                      ///< No socket yet.
    itcInetSockDgram(int fd, ConnType type); ///< Takes over a descriptor, uncounted; see itcConnection.
    /// An endpoint bound to `local`. Test `severity`: failures are those of CreateEndpoint().
    explicit itcInetSockDgram(itcInetAddress& local);
    ~itcInetSockDgram() override;

    using itcNetConnection::GetPeername;
    using itcNetConnection::GetSockname;

    /// Receives one datagram and forgets what was left of the one before.
    ///
    /// \return its size, 512 at most, the status left alone. -1 with `Itc_Tp_Descriptor_Not_Yet_Set` or
    ///         `Itc_Tp_Read_Call_Failed`, Error, the latter also when a non-blocking socket has none; or, for an empty
    ///         datagram, with `Itc_Tp_Would_Block`, but as an Error. Such a datagram is gone: go on with the next.
    int InitRead() override;

    /// Hands out the datagram that InitRead() has received; never receives itself, and leaves the status and the
    /// counters alone.
    /// \return the number of bytes copied; 0 when nothing is left; -1 after a failed InitRead(), or with
    ///         `Itc_Tp_Descriptor_Not_Yet_Set`, Error. A negative `len` fails as a read with EINVAL does.
    int Read(void* buf, int len) override;

    /// Binds. An object that is bound already is left as it is, and `local` is not used.
    /// \return 1, with a clear status; 0 with (`Itc_Tp_Socket_Still_Connected`, Warning) when connected, or with
    ///         `Itc_Tp_Max_Connections_Reached`, `Itc_Tp_Socket_Call_Failed` or `Itc_Tp_Bind_Call_Failed`, Error. After
    ///         a failed bind the socket is closed.
    int CreateEndpoint(itcInetAddress& local) override;

    /// Fixes the peer, in any state, and tells `cb` the result.
    /// \return 1, the status left alone; 0 with `Itc_Tp_Max_Connections_Reached`, `Itc_Tp_Socket_Call_Failed` or
    ///         `Itc_Tp_Connect_Call_Failed`, Error. After a failed connect the socket is closed.
    int OpenConnection(itcInetAddress& remote, ICBKivReady* cb, void* clientData) override;

    /// The peer: of a connected object as the system knows it, with results as in itcInetSockStream; of any other the
    /// sender of the last datagram, all zero before the first.
    /// \return 1 or 0. For the sender always 1: only the socket address inside `addr` is set then, neither its flags
    ///         nor any status.
    int GetPeername(itcInetAddress& addr) override;
    /// The local address, with results as in itcInetSockStream.
    int GetSockname(itcInetAddress& addr) override;

    /// There is nothing to delay: reported through KivDebug::pKivErrorPrint. \return false.
    bool setTcpNodelay(bool on) override;

protected:
    char* recvBuffer;             ///< The last datagram; owned, 512 bytes, from array new.
    int buflen;                   ///< The bytes of it that are left; -1 after a failed receive.
    sockaddr_storage peerAddress; ///< Its sender; all zero before the first and after a failed receive.

private:
    KIV_HIDDEN void makeBuffer();
    KIV_HIDDEN void receiveOne();
    KIV_HIDDEN int fixPeer(itcInetAddress& remote);
};
