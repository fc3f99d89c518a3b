/// \file
/// TCP streams.
#pragma once

#include <kiv/connection/itcNetConnection.h>

/// A TCP connection over IPv4 or IPv6. One class serves both sides.
///
/// A server calls CreateEndpoint(). AcceptConnection() then hands out one new object per peer. A client calls
/// OpenConnection(): blocking, blocking with a time-out, or in ItcNonBlocking mode. In ItcNonBlocking mode the
/// dispatcher tells success through outputReady() and failure through exceptionRaised().
///
/// Reading, writing, shutdown and close are those of itcConnection. Ports are bound with SO_REUSEADDR. Sockets on IPv6
/// addresses take IPv4 peers too. Descriptors are not marked close-on-exec: child processes inherit them.
///
/// \par Callbacks
/// A callback is called with the very result that the operation returns, on the same thread, before the operation
/// returns.
class KIV_EXPORT itcInetSockStream : public itcNetConnection {
public:
    itcInetSockStream();                         ///< No socket yet.
    explicit itcInetSockStream(ConnOptions opt); ///< No socket yet. The option decides how OpenConnection() connects.
    /// Makes a socket that is bound to `local` and does not listen yet. Test `severity`: the failures are those of
    /// CreateEndpoint(), except for listening.
    explicit itcInetSockStream(itcInetAddress& local);
    ~itcInetSockStream() override;

    using itcNetConnection::GetPeername;
    using itcNetConnection::GetSockname;

    /// Limits a blocking connect.
    ///
    /// \param ms the limit in milliseconds; 0 for no limit.
    /// \warning The limit is an alarm: SIGALRM and the real-time interval timer of the process. Therefore:
    ///          - Only one such connect may run at a time, on the main thread, with SIGALRM unblocked.
    ///          - The host leaves SIGALRM and the timer alone meanwhile.
    ///          - An alarm that fires before the connect is entered is lost.
    ///          - Every other handled signal arms the full time again: a periodic signal takes the limit off.
    ///          - Where the system refuses a handler for SIGALRM there is no limit.
    ///
    ///          To avoid these dangers connect in ItcNonBlocking mode, and start a timer of the dispatcher.
    void setConnTimeout(unsigned int ms);

    /// Chooses how Close() ends the connection. The status is not touched.
    ///
    /// \param on true: the normal end; unsent data is still sent. false: the connection is reset at once; unsent data
    ///           is dropped, and no TIME_WAIT remains. Mind the sense: false switches the socket option SO_LINGER on.
    /// \return true: done; false: the system refused.
    bool setLingering(bool on);

    /// Binds and listens. An object that is bound already only listens, and `local` is not used.
    ///
    /// \return 1: listening; the status is clear.
    ///         0, (`Itc_Tp_Socket_Still_Connected`, Warning): already connected.
    ///         0, (`Itc_Tp_Max_Connections_Reached`, Error): the connection limit is reached.
    ///         0, (`Itc_Tp_Socket_Call_Failed`, Error): no socket, or SO_REUSEADDR was refused.
    ///         0, (`Itc_Tp_Bind_Call_Failed`, Error): the socket is closed.
    ///         0, (`Itc_Tp_Listen_Call_Failed`, Error): the socket is closed.
    /// \warning Only 5 peers may wait to be accepted. The system drops further ones, and a dropped client tries again
    ///          after a second. Of 1,000 clients that connect at once, 583 were served within 40 s; with a backlog of
    ///          1,000 all were served within 0.07 s. Hosts that expect many clients call
    ///          `OS_listen(listener.ReadDescriptor(), 1024)` behind this operation.
    int CreateEndpoint(itcInetAddress& local) override;

    /// Connects, and tells `cb` the result.
    ///
    /// \return 1: connected; in ItcNonBlocking mode connected or under way. The status is left as it was.
    ///         0, (`Itc_Tp_Socket_Still_Connected`, Warning): the state is neither Closed nor Bound.
    ///         0, (`Itc_Tp_Max_Connections_Reached`, Error): the connection limit is reached.
    ///         0, (`Itc_Tp_Socket_Call_Failed`, Error): no socket.
    ///         0, (`Itc_Tp_Connect_Call_Failed`, Error): the peer refused, is not there, or the time is up; the socket
    ///         is closed.
    ///         -1, (`Itc_Tp_Would_Block`, Warning): the system cannot connect now; the socket is kept.
    /// \warning With setConnTimeout() the connect belongs to the main thread, one at a time.
    /// \warning In ItcNonBlocking mode the descriptor is switched here. If the system refuses the switch, the option
    ///          becomes ItcBlocking, and this connect blocks without a limit.
    int OpenConnection(itcInetAddress& remote, ICBKivReady* cb, void* clientData) override;
    /// OpenConnection() without a callback.
    int OpenConnNormal(itcInetAddress& remote);
    /// OpenConnection() without a callback. A success leaves the state as it is.
    int OpenConn(itcInetAddress& remote);

    /// Accepts one peer, and tells `cb` the result.
    ///
    /// \param out        receives a new itcInetSockStream, connected and blocking. The caller owns the new object. The
    ///                   new object inherits nothing from this one. Null fails like a failed accept, and nothing is
    ///                   accepted.
    /// \param cb         is told the result; may be null.
    /// \param clientData is handed to `cb`.
    /// \return 1: accepted; the status is clear.
    ///         -1: the failures of doAccept(), or:
    ///         -1, (`Itc_Tp_Accept_Call_Failed`, Error), EINVAL: `out` is null.
    ///         -1, (`Itc_Tp_Accept_Call_Failed`, Error), ENOMEM: there is no memory; the peer is disconnected.
    /// \warning At the connection limit this object closes itself, and the accepted descriptor stays open and
    ///          uncounted: a server at its limit stops serving. Ask hasMaxConnCount() before accepting.
    /// \warning While the process is out of descriptors a listener stays readable, and a dispatcher loop spins. Unlink
    ///          the listener, and link it again from a timer.
    int AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData) override;

    /// Accepts one peer as a bare descriptor, which is counted. The descriptor is not marked close-on-exec. `cb` is
    /// called only for a failure, with -1.
    ///
    /// \return 0 or more: the descriptor; the status is not cleared.
    ///         -1, (`Itc_Tp_Socket_Still_Connected`, Warning): not listening.
    ///         -1, (`Itc_Tp_Would_Block`, Warning): nobody waits to be accepted.
    ///         -1, (`Itc_Tp_Accept_Call_Failed`, Error): the system refused.
    ///         -1, (`Itc_Tp_Max_Connections_Reached`, Error): the connection limit is reached; this object is closed.
    /// \warning The warnings of AcceptConnection() hold here too.
    int doAccept(ICBKivReady* cb, void* clientData);

    /// Asks for the address of the peer.
    /// \return 1: `addr` is set; the status is clear.
    ///         0, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): no descriptor; `addr` is untouched.
    ///         0, (`Itc_Tp_Getpeername_Call_Failed`, Error): `addr` becomes the wildcard.
    int GetPeername(itcInetAddress& addr) override;
    /// Asks for the local address.
    /// \return 1: `addr` is set; the status is clear.
    ///         0, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): no descriptor; `addr` is untouched.
    ///         0, (`Itc_Tp_Getsockname_Call_Failed`, Error): `addr` becomes the wildcard.
    int GetSockname(itcInetAddress& addr) override;

    /// The handler of SIGALRM during a timed connect. It sets #intrFlag.
    static void alrmSigHdl(int);

    /// 1 after the alarm of a timed connect, otherwise 0. The flag becomes 0 when the time-out is reported, before the
    /// next timed attempt, and in setConnTimeout(). The flag stays 1 after an alarm that came behind the end of the
    /// connect.
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
