/// \file
/// Unix-domain streams.
#pragma once

#include <kiv/connection/itcLocalConnection.h>

/// A stream between processes of one machine, either side of it, named by a socket file.
///
/// A server calls CreateEndpoint() and hands out one new object per peer with AcceptConnection(); a client calls
/// OpenConnection(). Reading, writing, shutdown and close are those of itcConnection, traces included; what is added
/// here prints none: its failures are in the status only. Descriptors are not marked close-on-exec.
///
/// \par Files      The socket file has mode 0777 whatever the umask, so that every local user may connect; protect the
///                 directory where that is too many. The destructor removes the path that this object has bound
///                 last, or tried to; Close() does not.
/// \par Callbacks  Called with the very result that the operation returns, on the same thread, before it returns.
class KIV_EXPORT itcUnixSockStream : public itcLocalConnection {
public:
    itcUnixSockStream(); ///< No socket yet.
    /// A socket bound to `addr`, not listening yet. Test `severity`: failures are those of CreateEndpoint(), but for
    /// listening. An address without a path is refused by the bind.
    /// \warning Whatever lies at the path is unlinked first, so that a file which a crashed process has left does no
    ///          harm: choose the path accordingly.
    explicit itcUnixSockStream(itcUnixAddress& addr);
    ~itcUnixSockStream() override;

    /// Accepts one peer.
    /// \param out receives a new itcUnixSockStream, connected, which the caller owns. Null fails like a failed accept,
    ///            before anything is accepted.
    /// \return 1, with a clear status; -1 with (`Itc_Tp_Socket_Still_Connected`, Warning) when not listening,
    ///         (`Itc_Tp_Would_Block`, Warning), or `Itc_Tp_Accept_Call_Failed` or `Itc_Tp_Max_Connections_Reached`,
    ///         Error.
    /// \warning At the connection limit this object closes itself, while the accepted descriptor stays open and
    ///          uncounted: a server at its limit stops serving. Ask hasMaxConnCount() before accepting.
    /// \warning While the process is out of descriptors a listener stays readable: unlink it and come back by timer.
    int AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData) override;

    using itcLocalConnection::GetPeername;
    using itcLocalConnection::GetSockname;

    /// The path of the peer, empty when it has bound none, or on failure; the status is that of the address form.
    std::string GetPeername() const override;
    /// The path of this end, empty on failure; the status is that of the address form.
    std::string GetSockname() const override;

    /// Connects, and tells `cb` the result. A successful connect leaves state and status as they were.
    /// \return 1; 0 with (`Itc_Tp_Socket_Still_Connected`, Warning) when listening, accepted or shut down, or with
    ///         `Itc_Tp_Max_Connections_Reached`, `Itc_Tp_Socket_Call_Failed` or `Itc_Tp_Connect_Call_Failed`, Error,
    ///         the socket being closed after a failed connect; -1 with (`Itc_Tp_Would_Block`, Warning), the socket
    ///         being kept.
    /// \warning Since the state does not tell that a client is connected, nothing stops a second call: the system then
    ///          refuses the connect, and the connection that was there is closed.
    int OpenConnection(itcUnixAddress& addr, ICBKivReady* cb, void* clientData) override;

    /// Binds and listens, with room for 5 peers that wait to be accepted. An object that is bound already only listens,
    /// and `addr` is not used.
    /// \return true, with a clear status; false with (`Itc_Tp_Socket_Still_Connected`, Warning) when accepted, or with
    ///         `Itc_Tp_Max_Connections_Reached`, `Itc_Tp_Socket_Call_Failed`, `Itc_Tp_Bind_Call_Failed` or
    ///         `Itc_Tp_Listen_Call_Failed`, Error. After a failed bind or listen the socket is closed.
    /// \warning Whatever lies at the path is unlinked first. A connected client is not refused: it loses its
    ///          connection. An object that binds a second path forgets the first: its file stays, and so does the
    ///          memory of its name.
    bool CreateEndpoint(itcUnixAddress& addr) override;

    int OpenConn(itcUnixAddress& addr);       ///< OpenConnection() without a callback.
    int OpenConnNormal(itcUnixAddress& addr); ///< The same.

    /// The path of this end. \return 1, with a clear status, `out` having the outcome of its set(); 0 with
    /// `Itc_Tp_Descriptor_Not_Yet_Set` or `Itc_Tp_Getsockname_Call_Failed`, Error.
    int GetSockname(itcUnixAddress& out);
    /// The path of the peer. \return 1, with a clear status, `out` having the outcome of its set(); 0 with
    /// `Itc_Tp_Descriptor_Not_Yet_Set` or `Itc_Tp_Getpeername_Call_Failed`, Error.
    int GetPeername(itcUnixAddress& out);

protected:
    itcUnixSockStream(int fd, ConnType type); ///< An accepted connection.

private:
    KIV_HIDDEN bool bindPath(const itcUnixAddress& addr);
};
