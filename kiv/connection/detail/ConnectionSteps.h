/// \file
/// Internal: the steps that all transports share, and the one place where a transport changes the connection's state.
///
/// An operation of a transport is a chain of steps. Each step tells whether the next one may follow. A step that fails
/// has traced its text, has set the status, and has closed the socket where the operation promises that.
#pragma once

#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/foundation/detail/Trace.h>

#include <sys/socket.h>

class itcInetAddress;

namespace kiv {

/// What an operation prints when a step fails. Each text is a whole sentence, because log readers search for it. Null:
/// the transport prints nothing, or the operation does not have this step.
struct StepTexts {
    const char* limitReached = nullptr;
    const char* socketFailed = nullptr; ///< The descriptor is appended.
    const char* reuseFailed = nullptr;
    const char* bindFailed = nullptr;   ///< The error number is appended.
    const char* listenFailed = nullptr; ///< The error number is appended.
    const char* acceptFailed = nullptr; ///< The error number is appended.
};

/// For operations that print nothing, or that only change the state.
inline constexpr StepTexts noTexts = {};

/// One of the two questions for a name: which call is made, and what a failure says.
struct NameQuery {
    int (*call)(int, sockaddr*, socklen_t*);
    const char* wrongDescriptor;
    const char* callFailed;
    ItcStatusCode failure;
};

/// What every operation does that finds no descriptor.
/// \return `result`, with (`Itc_Tp_Descriptor_Not_Yet_Set`, Error).
template <class Result> Result failWithoutDescriptor(itcStatus& status, const char* text, Result result)
{
    if (text != nullptr)
        traceFailure(text);
    setStatus(status, Itc_Tp_Descriptor_Not_Yet_Set, Error);
    return result;
}

/// Tells the result to the callback, if there is a callback. \return the result.
int tell(ICBKivReady* cb, int result, void* clientData);

} // namespace kiv

/// The steps, on one connection.
class itcConnection::Steps {
public:
    Steps(itcConnection& connection, const kiv::StepTexts& ofOperation) : c(connection), texts(ofOperation) {}

    /// \name Sockets
    /// \{

    /// Creates the counted socket, unless the connection limit is reached. A connection that has a socket keeps it.
    /// \return false with (`Itc_Tp_Max_Connections_Reached`, Error) or (`Itc_Tp_Socket_Call_Failed`, Error).
    bool makeSocket(int family, int type);
    bool hasSocket() const { return c.td >= 0; }

    /// Lets the port be bound again at once (SO_REUSEADDR).
    /// \return false with (`Itc_Tp_Socket_Call_Failed`, Error); the socket stays open and counted.
    bool reuseAddress();

    /// Lets an IPv6 socket take IPv4 peers too, where the system allows that. Does nothing for other families.
    void takeIPv4PeersToo(const sockaddr_storage& address);

    /// \return false with (`Itc_Tp_Bind_Call_Failed`, Error); the socket is closed.
    bool bind(const sockaddr_storage& local);
    /// bind() for an Internet address: an IPv6 socket takes IPv4 peers too.
    bool bindInternet(const sockaddr_storage& local);
    /// \return false with (`Itc_Tp_Listen_Call_Failed`, Error); the socket is closed.
    bool listen();
    /// \return what the system returned; the error number is pending after a failure.
    int connect(const sockaddr_storage& remote);

    /// Accepts one counted descriptor. `peerSize` is the room that the system is told for the peer's address.
    /// \return the descriptor, or -1 with one of:
    ///         (`Itc_Tp_Socket_Still_Connected`, Warning): the connection does not listen.
    ///         (`Itc_Tp_Would_Block`, Warning): nobody waits to be accepted.
    ///         (`Itc_Tp_Accept_Call_Failed`, Error): the system refused.
    ///         (`Itc_Tp_Max_Connections_Reached`, Error): the limit is reached; the listener is closed.
    int accept(socklen_t peerSize);

    /// Gives an accepted connection to the caller. Without memory for the connection (`accepted` is null) the
    /// descriptor is closed and no longer counted.
    /// \return 1 with a clear status; -1 with (`Itc_Tp_Accept_Call_Failed`, Error).
    int handOut(itcConnection* accepted, int fd, itcConnection** out);

    /// \return -1 with (`Itc_Tp_Accept_Call_Failed`, Error): the caller gave no place for the accepted connection.
    int refuseToAccept();

    /// Asks the system for an end's name.
    /// \return 1 with `addr` set and a clear status; 0 with one of:
    ///         (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): `addr` is untouched.
    ///         (`query.failure`, Error): `addr` is the wildcard.
    int askForName(const kiv::NameQuery& query, itcInetAddress& addr);
    /// \}

    /// \name States
    /// The constructors of itcConnection choose the first state. These steps make every later change. The table at
    /// itcConnection::connState lists the changes, and docs/architecture.md draws them.
    /// \{
    bool isBound() const { return c.connState == ItcStateBound; }
    bool isListening() const { return c.connState == ItcStateListening; }

    /// \return false with (`Itc_Tp_Socket_Still_Connected`, Warning): only a connection that is not connected becomes
    ///         an endpoint.
    bool mayBecomeEndpoint();
    /// \return false with (`Itc_Tp_Socket_Still_Connected`, Warning): only Closed and Bound connections connect.
    bool mayConnect();

    void becomeClosed() { c.connState = ItcStateClosed; }
    /// A socket that a constructor has bound: no role yet, and blocking.
    bool becomeBound();
    /// A datagram endpoint is ready once it is bound. Clears the status.
    bool becomeDatagramEndpoint() { return becomeEndpoint(ItcStateBound); }
    /// Clears the status.
    bool becomeListening() { return becomeEndpoint(ItcStateListening); }
    void becomeConnected() { c.connState = ItcStateConnected; }
    /// The dispatcher asks such a connection for the outcome of its connect.
    void becomeConnectPending() { c.connState = ItcStateConnectPending; }
    void becomeShutdown() { c.connState = ItcStateShutdown; }
    /// \}

private:
    bool becomeEndpoint(ConnState state);
    bool closeAndFail(ItcStatusCode code, const char* text);

    itcConnection& c;
    const kiv::StepTexts& texts;
};
