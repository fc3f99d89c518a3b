/// \file
/// TCP streams.
#pragma once

#include <kiv/connection/itcNetConnection.h>

/// A TCP connection over IPv4 or IPv6, either side of it.
///
/// A server calls CreateEndpoint() and hands out one new object per peer with AcceptConnection(). A client calls
/// OpenConnection(): blocking, blocking with a time-out, or in ItcNonBlocking mode, where the dispatcher tells success
/// through outputReady() and failure through exceptionRaised().
///
/// Reading, writing, shutdown and close are those of itcConnection. Ports are bound with SO_REUSEADDR; sockets on IPv6
/// addresses take IPv4 peers too. Descriptors are not marked close-on-exec: child processes inherit them.
///
/// \par Callbacks  Where a callback is taken it is called with the very result that the operation returns, on the same
///                 thread, before the operation returns.
class KIV_EXPORT itcInetSockStream : public itcNetConnection {
public:
    itcInetSockStream();                         ///< No socket yet.
    explicit itcInetSockStream(ConnOptions opt); ///< No socket yet; the option counts for the connect.
    /// A socket bound to `local`, not listening yet. Test `severity`: failures are those of CreateEndpoint(), but for
    /// listening.
    explicit itcInetSockStream(itcInetAddress& local);
    ~itcInetSockStream() override;

    using itcNetConnection::GetPeername;
    using itcNetConnection::GetSockname;

    /// Limits a blocking connect to `ms` milliseconds; 0 for no limit.
    ///
    /// \warning The limit is kept with SIGALRM and the process's real-time interval timer. One such connect at a time,
    ///          on the main thread, with SIGALRM unblocked and both left alone meanwhile; an alarm that fires before
    ///          the connect has been entered is lost. Wherever that is too much to promise, connect in ItcNonBlocking
    ///          mode and start a timer of the dispatcher. Where the handler of SIGALRM cannot be installed there is no
    ///          limit.
    void setConnTimeout(unsigned int ms);

    /// Chooses how Close() ends the connection: true, the normal way, gracefully; false, at once, with a reset, unsent
    /// data dropped and no TIME_WAIT. Mind the sense: false is what switches the socket option on.
    /// \return false when the system refuses; the status is not touched.
    bool setLingering(bool on);

    /// Binds and listens, with room for 5 peers that wait to be accepted. An object that is bound already only listens,
    /// and `local` is not used.
    /// \return 1, with a clear status; 0 with (`Itc_Tp_Socket_Still_Connected`, Warning) when connected, or with
    ///         `Itc_Tp_Max_Connections_Reached`, `Itc_Tp_Socket_Call_Failed`, `Itc_Tp_Bind_Call_Failed` or
    ///         `Itc_Tp_Listen_Call_Failed`, Error. After a failed bind or listen the socket is closed.
    int CreateEndpoint(itcInetAddress& local) override;

    /// Connects, and tells `cb` the result.
    ///
    /// \return 1 when connected, or, in ItcNonBlocking mode, when the connect is under way. Otherwise 0 with
    ///         (`Itc_Tp_Socket_Still_Connected`, Warning) when in use already, or with
    ///         `Itc_Tp_Max_Connections_Reached`, `Itc_Tp_Socket_Call_Failed` or `Itc_Tp_Connect_Call_Failed`, Error,
    ///         the socket being closed after a failed connect; or -1 with (`Itc_Tp_Would_Block`, Warning), the socket
    ///         being kept. Success leaves the status as it was.
    /// \warning With setConnTimeout() it belongs to the main thread, one at a time; see there.
    int OpenConnection(itcInetAddress& remote, ICBKivReady* cb, void* clientData) override;
    /// OpenConnection() without a callback.
    int OpenConnNormal(itcInetAddress& remote);
    /// The connect itself: a success leaves the state as it is.
    int OpenConn(itcInetAddress& remote);

    /// Accepts one peer.
    ///
    /// \param out receives a new itcInetSockStream, connected and blocking, which the caller owns. It inherits nothing
    ///            from this object and is not marked close-on-exec. Null fails like a failed accept, before anything is
    ///            accepted.
    /// \return 1, with a clear status; else -1 as doAccept().
    /// \warning At the connection limit this object closes itself, while the accepted descriptor stays open and
    ///          uncounted: a server at its limit stops serving. Ask hasMaxConnCount() before accepting.
    /// \warning While the process is out of descriptors a listener stays readable: unlink it and come back by timer.
    int AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData) override;

    /// Accepts one peer as a bare, counted descriptor, not marked close-on-exec.
    ///
    /// \return the descriptor; else -1, which `cb` is told too, with (`Itc_Tp_Socket_Still_Connected`, Warning) when
    ///         not listening, (`Itc_Tp_Would_Block`, Warning), or `Itc_Tp_Accept_Call_Failed` or
    ///         `Itc_Tp_Max_Connections_Reached`, Error.
    /// \warning As AcceptConnection().
    int doAccept(ICBKivReady* cb, void* clientData);

    /// The address of the peer. \return 1, with a clear status; 0 with `Itc_Tp_Descriptor_Not_Yet_Set` (`addr` is left
    /// alone) or `Itc_Tp_Getpeername_Call_Failed` (`addr` becomes the wildcard), Error.
    int GetPeername(itcInetAddress& addr) override;
    /// The local address. \return 1, with a clear status; 0 with `Itc_Tp_Descriptor_Not_Yet_Set` (`addr` is left alone)
    /// or `Itc_Tp_Getsockname_Call_Failed` (`addr` becomes the wildcard), Error.
    int GetSockname(itcInetAddress& addr) override;

    /// The handler of SIGALRM during a timed connect: sets #intrFlag.
    static void alrmSigHdl(int);

    /// Set to 1 by the alarm of a timed connect; back to 0 when that has been reported, before the next timed attempt,
    /// and by setConnTimeout(). It stays 1 after an alarm that came too late to matter.
    static int intrFlag;

protected:
    itcInetSockStream(int fd, ConnType type); ///< An accepted connection.

    unsigned int connTimeout = 0; ///< Limit of a blocking connect in milliseconds; 0 for none.

private:
    KIV_HIDDEN int openNonBlocking(itcInetAddress& remote);
    KIV_HIDDEN int openBlocking(itcInetAddress& remote);
    KIV_HIDDEN int connectWithinTime(itcInetAddress& remote);
    KIV_HIDDEN void failByTimeout(int c);
};
