#include <kiv/connection/itcInetSockStream.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/detail/ConnectAlarm.h>
#include <kiv/dispatcher/ICBKivReady.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/foundation/detail/Trace.h>

#include <cerrno>
#include <new>
#include <optional>

int itcInetSockStream::intrFlag = 0;

/// What an operation says when it cannot have a socket. The traces name the operation, so each has its own.
struct itcInetSockStream::SocketTexts {
    const char* limitReached;
    const char* socketFailed;
};

namespace {

constexpr int listenBacklog = 5;

void tell(ICBKivReady* cb, int result, void* clientData)
{
    if (cb != nullptr)
        cb->ready(result, clientData);
}

int bindTo(int td, const itcInetAddress& local)
{
    return OS_bind(td, asSockaddr(local.address), addressLength(local.address));
}

int connectTo(int td, const itcInetAddress& remote)
{
    return OS_connect(td, asSockaddr(remote.address), addressLength(remote.address));
}

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
    if (!makeSocket(local, {"itcInetSockStream::itcInetSockStream() max connections reached",
                            "itcInetSockStream::itcInetSockStream() OS_socket() call failed. td = "}))
        return;
    if (reuseAddress(td) != 0) {
        trace("itcInetSockStream::itcInetSockStream() OS_setsockopt() call failed");
        setStatus(*this, Itc_Tp_Socket_Call_Failed, Error);
        return;
    }
    takeIPv4PeersToo(local);
    if (bindTo(td, local) != 0) {
        const int error = OS_getLastError();
        itcConnection::Close();
        trace([&](std::ostream& out) {
            out << "itcInetSockStream::itcInetSockStream() OS_bind() call failed. errorNumber = " << error;
        });
        setStatus(*this, Itc_Tp_Bind_Call_Failed, Error, error);
        return;
    }
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

bool itcInetSockStream::makeSocket(const itcInetAddress& address, const SocketTexts& texts)
{
    if (hasMaxConnCount()) {
        trace(texts.limitReached);
        setStatus(*this, Itc_Tp_Max_Connections_Reached, Error);
        return false;
    }
    td = OS_socket(address.address.ss_family, SOCK_STREAM, 0);
    if (td < 0) {
        const int error = OS_getLastError();
        trace([&](std::ostream& out) { out << texts.socketFailed << td; });
        setStatus(*this, Itc_Tp_Socket_Call_Failed, Error, error);
        return false;
    }
    incConnCount();
    return true;
}

void itcInetSockStream::takeIPv4PeersToo(const itcInetAddress& address)
{
    if (address.address.ss_family == AF_INET6) {
        const int off = 0;
        OS_setsockopt(td, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    }
}

int itcInetSockStream::CreateEndpoint(itcInetAddress& local)
{
    if (connState == ItcStateConnected) {
        setStatus(*this, Itc_Tp_Socket_Still_Connected, Warning);
        return 0;
    }
    if (td < 0) {
        if (!makeSocket(local, {"itcInetSockStream::CreateEndpoint() max connections reached",
                                "itcInetSockStream::CreateEndpoint() OS_socket() call failed. td = "}))
            return 0;
        if (reuseAddress(td) != 0) {
            trace("itcInetSockStream::CreateEndpoint() OS_setsockopt() call failed");
            setStatus(*this, Itc_Tp_Socket_Call_Failed, Error);
            return 0;
        }
    }
    if (connState != ItcStateBound && connState != ItcStateListening) {
        takeIPv4PeersToo(local);
        if (bindTo(td, local) != 0) {
            const int error = OS_getLastError();
            Close();
            trace([&](std::ostream& out) {
                out << "itcInetSockStream::CreateEndpoint() OS_bind() call failed. errorNumber = " << error;
            });
            setStatus(*this, Itc_Tp_Bind_Call_Failed, Error, error);
            return 0;
        }
    }
    if (OS_listen(td, listenBacklog) != 0) {
        const int error = OS_getLastError();
        Close();
        trace([&](std::ostream& out) {
            out << "itcInetSockStream::CreateEndpoint() OS_listen() call failed. errorNumber = " << error;
        });
        setStatus(*this, Itc_Tp_Listen_Call_Failed, Error, error);
        return 0;
    }
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
    if (td < 0 &&
        !makeSocket(remote, {"itcInetSockStream::OpenConn() [ItcNonBlocking] max connections reached",
                             "itcInetSockStream::OpenConn() [ItcNonBlocking] OS_socket() call failed. td = "}))
        return 0;
    connOptions = ItcBlocking; // until the descriptor really is in the mode that was asked for
    SetOption(ItcNonBlocking);
    takeIPv4PeersToo(remote);

    const int c = connectTo(td, remote);
    if (c >= 0)
        return 1;
    const int error = OS_getLastError();
    if (error == EAGAIN || error == EINPROGRESS)
        return 1;
    Close();
    trace([&](std::ostream& out) {
        out << "itcInetSockStream::OpenConn() [ItcNonBlocking] OS_connect() call failed. cres = " << c
            << " errorNumber = " << error;
    });
    setStatus(*this, Itc_Tp_Connect_Call_Failed, Error, error);
    return 0;
}

int itcInetSockStream::openBlocking(itcInetAddress& remote)
{
    for (;;) {
        if (td < 0 && !makeSocket(remote, {"itcInetSockStream::OpenConn() max connections reached",
                                           "itcInetSockStream::OpenConn() OS_socket() call failed. td = "}))
            return 0;

        int c = 0;
        int error = 0;
        {
            std::optional<ConnectAlarm> alarm;
            if (connTimeout != 0) {
                setIntrFlag(0);
                alarm.emplace(connTimeout, alrmSigHdl);
            }
            c = connectTo(td, remote);
            error = OS_getLastError();
        }
        if (c >= 0)
            return 1;
        if (error == EINTR) {
            if (getIntrFlag() == 0)
                continue; // another signal: the full time once more
            trace([&](std::ostream& out) {
                out << "itcInetSockStream::OpenConn() OS_connect() call failed. cres = " << c
                    << " errno = EINTR intrFlag = " << getIntrFlag();
            });
            setIntrFlag(0);
            Close();
            setStatus(*this, Itc_Tp_Connect_Call_Failed, Error);
            return 0;
        }
        if (error == EAGAIN) {
            setStatus(*this, Itc_Tp_Would_Block, Warning, error);
            return -1;
        }
        Close();
        trace([&](std::ostream& out) {
            out << "itcInetSockStream::OpenConn() OS_connect() call failed. cres = " << c << " errno = " << error;
        });
        setStatus(*this, Itc_Tp_Connect_Call_Failed, Error, error);
        return 0;
    }
}

int itcInetSockStream::doAccept(ICBKivReady* cb, void* clientData)
{
    const int fd = acceptPeer();
    if (fd < 0)
        tell(cb, -1, clientData);
    return fd;
}

int itcInetSockStream::acceptPeer()
{
    if (connState != ItcStateListening) {
        setStatus(*this, Itc_Tp_Socket_Still_Connected, Warning);
        return -1;
    }
    int fd = -1;
    int error = 0;
    do {
        sockaddr_storage peer = {}; // who it is can be asked of the new connection
        socklen_t length = sizeof peer;
        fd = OS_accept(td, asSockaddr(peer), &length);
        error = OS_getLastError();
    } while (fd < 0 && error == EINTR);

    if (fd < 0) {
        if (error == EAGAIN) {
            setStatus(*this, Itc_Tp_Would_Block, Warning, error);
            return -1;
        }
        trace([&](std::ostream& out) {
            out << "itcInetSockStream::AcceptConnection() OS_accept() call failed. errno = " << error;
        });
        setStatus(*this, Itc_Tp_Accept_Call_Failed, Error, error);
        return -1;
    }
    if (hasMaxConnCount()) {
        // One would expect the newcomer to be turned away. The design asks for more: at the limit the server stops
        // accepting altogether, and the descriptor stays open for whoever knows of it.
        trace("itcInetSockStream::AcceptConnection() max connections reached");
        Close();
        setStatus(*this, Itc_Tp_Max_Connections_Reached, Error);
        return -1;
    }
    incConnCount();
    return fd;
}

int itcInetSockStream::AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData)
{
    if (out == nullptr) {
        setStatus(*this, Itc_Tp_Accept_Call_Failed, Error, EINVAL);
        tell(cb, -1, clientData);
        return -1;
    }
    const int fd = doAccept(cb, clientData);
    if (fd < 0)
        return -1;
    itcInetSockStream* const accepted = new (std::nothrow) itcInetSockStream(fd, ItcTypeConnection);
    if (accepted == nullptr) {
        OS_closesocket(fd);
        decConnCount();
        setStatus(*this, Itc_Tp_Accept_Call_Failed, Error, ENOMEM);
        tell(cb, -1, clientData);
        return -1;
    }
    *out = accepted;
    connType = ItcTypeEndpoint;
    clearStatus(*this);
    tell(cb, 1, clientData);
    return 1;
}

int itcInetSockStream::GetPeername(itcInetAddress& addr)
{
    if (td < 0) {
        trace("itcInetSockStream::GetPeername() wrong socket descriptor");
        setStatus(*this, Itc_Tp_Descriptor_Not_Yet_Set, Error);
        return 0;
    }
    sockaddr_storage storage = {};
    socklen_t length = sizeof storage;
    if (OS_getpeername(td, asSockaddr(storage), &length) != 0) {
        trace("itcInetSockStream::GetPeername() OS_getpeername() call failed");
        setStatus(*this, Itc_Tp_Getpeername_Call_Failed, Error);
        addr = itcInetAddress();
        return 0;
    }
    clearStatus(*this);
    addr = itcInetAddress(storage);
    return 1;
}

int itcInetSockStream::GetSockname(itcInetAddress& addr)
{
    if (td < 0) {
        trace("itcInetSockStream::GetSockname() wrong socket descriptor");
        setStatus(*this, Itc_Tp_Descriptor_Not_Yet_Set, Error);
        return 0;
    }
    sockaddr_storage storage = {};
    socklen_t length = sizeof storage;
    if (OS_getsockname(td, asSockaddr(storage), &length) != 0) {
        trace("itcInetSockStream::GetSockname() OS_getsockname() call failed");
        setStatus(*this, Itc_Tp_Getsockname_Call_Failed, Error);
        addr = itcInetAddress();
        return 0;
    }
    clearStatus(*this);
    addr = itcInetAddress(storage);
    return 1;
}

void itcInetSockStream::alrmSigHdl(int)
{
    setIntrFlag(1);
}
