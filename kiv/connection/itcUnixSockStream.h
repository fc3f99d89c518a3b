/// \file
/// Unix-domain streams.
#pragma once

#include <kiv/connection/itcLocalConnection.h>

/// A stream between processes of one machine. A socket file names the server. One class serves both sides.
///
/// A server calls CreateEndpoint(). AcceptConnection() then hands out one new object per peer. A client calls
/// OpenConnection(). Reading, writing, shutdown and close are those of itcConnection, and print its traces. The
/// operations of this class print no traces: their failures are in the status only. Descriptors are not marked
/// close-on-exec.
///
/// \par Files
/// The socket file has mode 0777 whatever the umask is, so that every local user may connect. Where that is too many
/// users, protect the directory. Close() does not remove the file. The destructor removes the file at the path that
/// this object has bound last, or has tried to bind, also when another process has bound the same path since. Give each
/// server a path of its own.
/// \par Callbacks
/// A callback is called with the very result that the operation returns, on the same thread, before the operation
/// returns.
class KIV_EXPORT itcUnixSockStream : public itcLocalConnection {
public:
    itcUnixSockStream(); ///< No socket yet.
    /// Makes a socket that is bound to `addr` and does not listen yet. Test `severity`: the failures are those of
    /// CreateEndpoint(), except for listening. An address without a path cannot be bound.
    /// \warning Whatever lies at the path is unlinked first: the file of a crashed process must not stop the next one.
    ///          Choose the path accordingly.
    explicit itcUnixSockStream(itcUnixAddress& addr);
    ~itcUnixSockStream() override; ///< Removes the file at the path that this object has bound; see Files above.

    /// Accepts one peer, and tells `cb` the result.
    /// \param out        receives a new itcUnixSockStream, which is connected. The caller owns the new object. Null
    ///                   fails like a failed accept, and nothing is accepted.
    /// \param cb         is told the result; may be null.
    /// \param clientData is handed to `cb`.
    /// \return 1: accepted; the status is clear.
    ///         -1, (`Itc_Tp_Socket_Still_Connected`, Warning): not listening.
    ///         -1, (`Itc_Tp_Would_Block`, Warning): nobody waits to be accepted.
    ///         -1, (`Itc_Tp_Accept_Call_Failed`, Error): the system refused; `out` is null (EINVAL); or there is no
    ///         memory (ENOMEM), and the peer is disconnected.
    ///         -1, (`Itc_Tp_Max_Connections_Reached`, Error): the connection limit is reached; this object is closed.
    /// \warning At the connection limit this object closes itself, and the accepted descriptor stays open and
    ///          uncounted: a server at its limit stops serving. Ask hasMaxConnCount() before accepting.
    /// \warning While the process is out of descriptors a listener stays readable, and a dispatcher loop spins. Unlink
    ///          the listener, and link it again from a timer.
    int AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData) override;

    using itcLocalConnection::GetPeername;
    using itcLocalConnection::GetSockname;

    /// The path of the peer. Sets the status as GetPeername(itcUnixAddress&) does. Waits for the resolver.
    /// \return the path; empty when the peer has bound none, and on failure.
    std::string GetPeername() const override;
    /// The path of this end. Sets the status as GetSockname(itcUnixAddress&) does. Waits for the resolver.
    /// \return the path; empty on failure.
    std::string GetSockname() const override;

    /// Connects, and tells `cb` the result.
    /// \return 1: connected. State and status are left as they were.
    ///         0, (`Itc_Tp_Socket_Still_Connected`, Warning): the state is neither Closed nor Bound.
    ///         0, (`Itc_Tp_Max_Connections_Reached`, Error): the connection limit is reached.
    ///         0, (`Itc_Tp_Socket_Call_Failed`, Error): no socket.
    ///         0, (`Itc_Tp_Connect_Call_Failed`, Error): nobody listens at the path; the socket is closed.
    ///         -1, (`Itc_Tp_Would_Block`, Warning): the server's backlog is full; the socket is kept.
    /// \warning The state does not tell that a client is connected. Nothing stops a second call: the system then
    ///          refuses the connect, and the first connection is closed.
    int OpenConnection(itcUnixAddress& addr, ICBKivReady* cb, void* clientData) override;

    /// Binds and listens. An object that is bound already only listens, and `addr` is not used.
    /// \return true: listening; the status is clear.
    ///         false, (`Itc_Tp_Socket_Still_Connected`, Warning): accepted by a server.
    ///         false, (`Itc_Tp_Max_Connections_Reached`, Error): the connection limit is reached.
    ///         false, (`Itc_Tp_Socket_Call_Failed`, Error): no socket.
    ///         false, (`Itc_Tp_Bind_Call_Failed`, Error): the socket is closed.
    ///         false, (`Itc_Tp_Listen_Call_Failed`, Error): the socket is closed.
    /// \warning Whatever lies at the path is unlinked first, also when the bind then fails. A connected client is not
    ///          refused: the client loses its connection, and the file at the path is gone. An object that binds a
    ///          second path forgets the first: the first file stays, and the memory of its name is not freed.
    /// \warning Only 5 peers may wait to be accepted; further clients get "would block" or wait. Hosts that expect many
    ///          clients call `OS_listen(listener.ReadDescriptor(), 1024)` behind this operation.
    bool CreateEndpoint(itcUnixAddress& addr) override;

    int OpenConn(itcUnixAddress& addr);       ///< OpenConnection() without a callback.
    int OpenConnNormal(itcUnixAddress& addr); ///< OpenConnection() without a callback.

    /// Asks for the path of this end. Waits for the resolver, which itcUnixAddress::set() asks.
    /// \return 1: `out` has the outcome of its set(); the status of this connection is clear.
    ///         0, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): no descriptor.
    ///         0, (`Itc_Tp_Getsockname_Call_Failed`, Error): the system refused.
    int GetSockname(itcUnixAddress& out);
    /// Asks for the path of the peer. Waits for the resolver, which itcUnixAddress::set() asks.
    /// \return 1: `out` has the outcome of its set(); the status of this connection is clear.
    ///         0, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): no descriptor.
    ///         0, (`Itc_Tp_Getpeername_Call_Failed`, Error): the system refused.
    int GetPeername(itcUnixAddress& out);

protected:
    itcUnixSockStream(int fd, ConnType type); ///< An accepted connection.

private:
    KIV_HIDDEN bool bindPath(const itcUnixAddress& addr);
};
