/// \file
/// Internal: the steps that all transports share. Texts are whole sentences of the caller: log readers search for them.
#pragma once

#include <kiv/foundation/OS.h>
#include <kiv/foundation/itcStatus.h>

#include <sys/socket.h>

class ICBKivReady;
class itcConnection;
class itcInetAddress;

namespace kiv {

/// What an operation says when it cannot have a socket; null where a transport prints nothing.
struct SocketTexts {
    const char* limitReached;
    const char* socketFailed; ///< Ends where the descriptor is appended.
};

/// Creates the counted socket of a connection, unless the limit is reached.
/// \return false with (`Itc_Tp_Max_Connections_Reached`, Error) or (`Itc_Tp_Socket_Call_Failed`, Error) in `status`.
bool makeSocket(itcStatus& status, int& td, int family, int type, const SocketTexts& texts);

int connectSocket(int td, const sockaddr_storage& remote);

/// Binds the socket of a connection. What cannot be bound is closed.
/// \param failed ends where the error number is appended; null where a transport prints nothing.
/// \return false with (`Itc_Tp_Bind_Call_Failed`, Error) and the bind's error number in the connection's status.
bool bindOrClose(itcConnection& connection, int td, const sockaddr_storage& local, const char* failed);

/// The same for an Internet address: a socket on IPv6 takes IPv4 peers too.
bool bindNetOrClose(itcConnection& connection, int td, const sockaddr_storage& local, const char* failed);

/// Listens on the socket of a connection; what cannot listen is closed.
/// \param failed ends where the error number is appended; null where a transport prints nothing.
/// \return false with (`Itc_Tp_Listen_Call_Failed`, Error) and the listen's error number in the connection's status.
bool listenOrClose(itcConnection& connection, int td, const char* failed);

/// An IPv6 socket takes IPv4 peers too, where the system allows it. Does nothing for other families.
void takeIPv4PeersToo(int td, const sockaddr_storage& address);

/// Asking the system for an end's name, and what is said when that fails.
struct NameQuery {
    int (*call)(int, sockaddr*, socklen_t*);
    const char* wrongDescriptor;
    const char* callFailed;
    ItcStatusCode failure;
};

/// \return 1 with `addr` set and a clear status; 0 with (`Itc_Tp_Descriptor_Not_Yet_Set`, Error), `addr` untouched, or
///         with (`query.failure`, Error), `addr` being the wildcard.
int askForName(itcStatus& status, int td, const NameQuery& query, itcInetAddress& addr);

/// What a listener says when it cannot accept; null where a transport prints nothing.
struct AcceptTexts {
    const char* acceptFailed; ///< Ends where the error number is appended.
    const char* limitReached;
};

/// Accepts a counted descriptor on a listener that has this descriptor and state. `peerSize` is the room that the
/// system is given for the peer's address.
///
/// \return -1 with (`Itc_Tp_Socket_Still_Connected`, Warning) when not listening, (`Itc_Tp_Would_Block`, Warning), or
///         `Itc_Tp_Accept_Call_Failed` or `Itc_Tp_Max_Connections_Reached`, Error, in the listener's status.
int acceptPeer(itcConnection& listener, int td, int connState, socklen_t peerSize, const AcceptTexts& texts);

/// Gives an accepted connection to its new owner. Null, for want of memory, fails like a failed accept: the descriptor
/// is closed and no longer counted.
/// \return 1 with a clear status of the listener, -1 with (`Itc_Tp_Accept_Call_Failed`, Error).
int handOut(itcConnection* accepted, int fd, itcConnection** out, itcStatus& listener);

/// What a listener answers that was given no place for the accepted connection: a failed accept.
int refuseToAccept(itcStatus& listener);

/// Calls the callback, if there is one.
void tell(ICBKivReady* cb, int result, void* clientData);

} // namespace kiv
