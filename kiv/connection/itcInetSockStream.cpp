#include <kiv/connection/itcInetSockStream.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/detail/ConnectAlarm.h>
#include <kiv/connection/detail/SocketSteps.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/foundation/detail/Trace.h>

#include <cerrno>
#include <new>
#include <optional>

using namespace kiv;

int itcInetSockStream::intrFlag = 0;

namespace {

int reuseAddress(int td)
{
    const int one = 1;
    return OS_setsockopt(td, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
}

// The flag is written by a signal handler.
void setIntrFlag(int value)
{
    __atomic_store_n(&itcInetSockStream::intrFlag, value, __ATOMIC_RELAXED);
}

int getIntrFlag()
{
    return __atomic_load_n(&itcInetSockStream::intrFlag, __ATOMIC_RELAXED);
}

} // namespace

itcInetSockStream::itcInetSockStream() = default;

itcInetSockStream::itcInetSockStream(ConnOptions opt) : itcNetConnection(opt) {}

itcInetSockStream::itcInetSockStream(int fd, ConnType type) : itcNetConnection(fd, type) {}

itcInetSockStream::~itcInetSockStream() = default;

itcInetSockStream::itcInetSockStream(itcInetAddress& local)
{
    if (!itcConnection::Close())
        return;
    if (!makeSocket(*this, td, local.address.ss_family, SOCK_STREAM,
                    {"itcInetSockStream::itcInetSockStream() max connections reached",
                     "itcInetSockStream::itcInetSockStream() OS_socket() call failed. td = "}))
        return;
    if (reuseAddress(td) != 0) {
        traceFailure("itcInetSockStream::itcInetSockStream() OS_setsockopt() call failed");
        setStatus(*this, Itc_Tp_Socket_Call_Failed, Error);
        return;
    }
    if (!bindNetOrClose(*this, td, local.address,
                        "itcInetSockStream::itcInetSockStream() OS_bind() call failed. errorNumber = "))
        return;
    connType = ItcTypeUnspecified;
    connOptions = ItcBlocking;
    connState = ItcStateBound;
}

void itcInetSockStream::setConnTimeout(unsigned int ms)
{
    connTimeout = ms;
    setIntrFlag(0);
}

bool itcInetSockStream::setLingering(bool on)
{
    const linger option = {on ? 0 : 1, 0};
    return OS_setsockopt(td, SOL_SOCKET, SO_LINGER, &option, sizeof option) == 0;
}

int itcInetSockStream::CreateEndpoint(itcInetAddress& local)
{
    if (connState == ItcStateConnected) {
        setStatus(*this, Itc_Tp_Socket_Still_Connected, Warning);
        return 0;
    }
    if (td < 0) {
        if (!makeSocket(*this, td, local.address.ss_family, SOCK_STREAM,
                        {"itcInetSockStream::CreateEndpoint() max connections reached",
                         "itcInetSockStream::CreateEndpoint() OS_socket() call failed. td = "}))
            return 0;
        if (reuseAddress(td) != 0) {
            traceFailure("itcInetSockStream::CreateEndpoint() OS_setsockopt() call failed");
            setStatus(*this, Itc_Tp_Socket_Call_Failed, Error);
            return 0;
        }
    }
    const bool isBound = connState == ItcStateBound || connState == ItcStateListening;
    if (!isBound && !bindNetOrClose(*this, td, local.address,
                                    "itcInetSockStream::CreateEndpoint() OS_bind() call failed. errorNumber = "))
        return 0;
    if (!listenOrClose(*this, td, "itcInetSockStream::CreateEndpoint() OS_listen() call failed. errorNumber = "))
        return 0;
    clearStatus(*this);
    connType = ItcTypeEndpoint;
    connState = ItcStateListening;
    return 1;
}

int itcInetSockStream::OpenConnection(itcInetAddress& remote, ICBKivReady* cb, void* clientData)
{
    const int result = OpenConnNormal(remote);
    tell(cb, result, clientData);
    return result;
}

// A strict-blocking stream counts as pending too, although its connect has completed: the dispatcher then looks for an
// error once more, at the first write readiness, and finds none.
int itcInetSockStream::OpenConnNormal(itcInetAddress& remote)
{
    const int result = OpenConn(remote);
    if (result == 1)
        connState = connOptions != ItcBlocking ? ItcStateConnectPending : ItcStateConnected;
    return result;
}

int itcInetSockStream::OpenConn(itcInetAddress& remote)
{
    if (connState != ItcStateClosed && connState != ItcStateBound) {
        setStatus(*this, Itc_Tp_Socket_Still_Connected, Warning);
        return 0;
    }
    return connOptions == ItcNonBlocking ? openNonBlocking(remote) : openBlocking(remote);
}

int itcInetSockStream::openNonBlocking(itcInetAddress& remote)
{
    if (td < 0 && !makeSocket(*this, td, remote.address.ss_family, SOCK_STREAM,
                              {"itcInetSockStream::OpenConn() [ItcNonBlocking] max connections reached",
                               "itcInetSockStream::OpenConn() [ItcNonBlocking] OS_socket() call failed. td = "}))
        return 0;
    connOptions = ItcBlocking; // until the descriptor really is in the mode that was asked for
    SetOption(ItcNonBlocking);
    takeIPv4PeersToo(td, remote.address);

    const int c = connectSocket(td, remote.address);
    if (c >= 0)
        return 1;
    const int error = OS_getLastError();
    if (error == EAGAIN || error == EINPROGRESS)
        return 1;
    Close();
    traceFailure([&](std::ostream& out) {
        out << "itcInetSockStream::OpenConn() [ItcNonBlocking] OS_connect() call failed. cres = " << c
            << " errorNumber = " << error;
    });
    setStatus(*this, Itc_Tp_Connect_Call_Failed, Error, error);
    return 0;
}

int itcInetSockStream::openBlocking(itcInetAddress& remote)
{
    for (;;) {
        if (td < 0 && !makeSocket(*this, td, remote.address.ss_family, SOCK_STREAM,
                                  {"itcInetSockStream::OpenConn() max connections reached",
                                   "itcInetSockStream::OpenConn() OS_socket() call failed. td = "}))
            return 0;

        int c = 0;
        {
            std::optional<ConnectAlarm> alarm;
            if (connTimeout != 0) {
                setIntrFlag(0);
                alarm.emplace(connTimeout, alrmSigHdl);
            }
            c = connectSocket(td, remote.address);
        } // the host's timer and handler are back before the error number is read
        if (c >= 0)
            return 1;
        const int error = OS_getLastError();
        if (error == EINTR) {
            if (getIntrFlag() == 0)
                continue; // another signal: the full time once more
            traceFailure([&](std::ostream& out) {
                out << "itcInetSockStream::OpenConn() OS_connect() call failed. cres = " << c
                    << " errno = EINTR intrFlag = " << getIntrFlag();
            });
            setIntrFlag(0);
            Close();
            setStatus(*this, Itc_Tp_Connect_Call_Failed, Error);
            return 0;
        }
        if (error == EAGAIN) {
            setStatus(*this, Itc_Tp_Would_Block, Warning);
            return -1;
        }
        Close();
        traceFailure([&](std::ostream& out) {
            out << "itcInetSockStream::OpenConn() OS_connect() call failed. cres = " << c << " errno = " << error;
        });
        setStatus(*this, Itc_Tp_Connect_Call_Failed, Error, error);
        return 0;
    }
}

int itcInetSockStream::doAccept(ICBKivReady* cb, void* clientData)
{
    const int fd = acceptPeer(*this, td, connState, sizeof(sockaddr_storage),
                              {"itcInetSockStream::AcceptConnection() OS_accept() call failed. errno = ",
                               "itcInetSockStream::AcceptConnection() max connections reached"});
    if (fd < 0)
        tell(cb, -1, clientData);
    return fd;
}

int itcInetSockStream::AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData)
{
    int result = -1;
    if (out == nullptr && connState == ItcStateListening) {
        result = refuseToAccept(*this);
    } else {
        const int fd = doAccept(cb, clientData);
        if (fd < 0)
            return -1; // the callback has been told
        result = handOut(new (std::nothrow) itcInetSockStream(fd, ItcTypeConnection), fd, out, *this);
        if (result == 1)
            connType = ItcTypeEndpoint;
    }
    tell(cb, result, clientData);
    return result;
}

int itcInetSockStream::GetPeername(itcInetAddress& addr)
{
    return askForName(*this, td,
                      {OS_getpeername, "itcInetSockStream::GetPeername() wrong socket descriptor",
                       "itcInetSockStream::GetPeername() OS_getpeername() call failed", Itc_Tp_Getpeername_Call_Failed},
                      addr);
}

int itcInetSockStream::GetSockname(itcInetAddress& addr)
{
    return askForName(*this, td,
                      {OS_getsockname, "itcInetSockStream::GetSockname() wrong socket descriptor",
                       "itcInetSockStream::GetSockname() OS_getsockname() call failed", Itc_Tp_Getsockname_Call_Failed},
                      addr);
}

void itcInetSockStream::alrmSigHdl(int)
{
    setIntrFlag(1);
}
