#include <kiv/connection/detail/SocketSteps.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/itcConnection.h>
#include <kiv/dispatcher/ICBKivReady.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/foundation/detail/Trace.h>

#include <cerrno>

namespace kiv {

namespace {

constexpr int listenBacklog = 5;

// Internet sockets trace their failures and record the error number of the failed call. Local sockets print nothing and
// record the error number that is pending after the close: usually the same, since a close that succeeds leaves it.
bool closeAndFail(itcConnection& connection, const char* failed, ItcStatusCode code)
{
    const int error = OS_getLastError();
    connection.Close();
    if (failed == nullptr) {
        setStatus(connection, code, Error);
        return false;
    }
    traceFailure([&](std::ostream& out) { out << failed << error; });
    setStatus(connection, code, Error, error);
    return false;
}

} // namespace

bool makeSocket(itcStatus& status, int& td, int family, int type, const SocketTexts& texts)
{
    if (itcConnection::hasMaxConnCount()) {
        if (texts.limitReached != nullptr)
            traceFailure(texts.limitReached);
        setStatus(status, Itc_Tp_Max_Connections_Reached, Error);
        return false;
    }
    td = OS_socket(family, type, 0);
    if (td < 0) {
        if (texts.socketFailed != nullptr)
            traceFailure([&](std::ostream& out) { out << texts.socketFailed << td; });
        setStatus(status, Itc_Tp_Socket_Call_Failed, Error);
        return false;
    }
    itcConnection::incConnCount();
    return true;
}

int connectSocket(int td, const sockaddr_storage& remote)
{
    return OS_connect(td, asSockaddr(remote), addressLength(remote));
}

void takeIPv4PeersToo(int td, const sockaddr_storage& address)
{
    if (address.ss_family == AF_INET6) {
        const int off = 0;
        OS_setsockopt(td, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    }
}

bool bindOrClose(itcConnection& connection, int td, const sockaddr_storage& local, const char* failed)
{
    return OS_bind(td, asSockaddr(local), addressLength(local)) >= 0 ||
           closeAndFail(connection, failed, Itc_Tp_Bind_Call_Failed);
}

bool bindNetOrClose(itcConnection& connection, int td, const sockaddr_storage& local, const char* failed)
{
    takeIPv4PeersToo(td, local);
    return bindOrClose(connection, td, local, failed);
}

bool listenOrClose(itcConnection& connection, int td, const char* failed)
{
    return OS_listen(td, listenBacklog) == 0 || closeAndFail(connection, failed, Itc_Tp_Listen_Call_Failed);
}

int askForName(itcStatus& status, int td, const NameQuery& query, itcInetAddress& addr)
{
    if (td < 0) {
        traceFailure(query.wrongDescriptor);
        setStatus(status, Itc_Tp_Descriptor_Not_Yet_Set, Error);
        return 0;
    }
    sockaddr_storage storage = {};
    socklen_t length = sizeof storage;
    if (query.call(td, asSockaddr(storage), &length) != 0) {
        traceFailure(query.callFailed);
        setStatus(status, query.failure, Error);
        addr = itcInetAddress();
        return 0;
    }
    clearStatus(status);
    addr = itcInetAddress(storage);
    return 1;
}

int acceptPeer(itcConnection& listener, int td, int connState, socklen_t peerSize, const AcceptTexts& texts)
{
    if (connState != itcConnection::ItcStateListening) {
        setStatus(listener, Itc_Tp_Socket_Still_Connected, Warning);
        return -1;
    }
    int fd = -1;
    do {
        sockaddr_storage peer = {}; // who it is can be asked of the new connection
        socklen_t length = peerSize;
        fd = OS_accept(td, asSockaddr(peer), &length);
    } while (fd < 0 && OS_getLastError() == EINTR);

    if (fd < 0) {
        const int error = OS_getLastError();
        if (error == EAGAIN) {
            setStatus(listener, Itc_Tp_Would_Block, Warning);
            return -1;
        }
        if (texts.acceptFailed != nullptr)
            traceFailure([&](std::ostream& out) { out << texts.acceptFailed << error; });
        setStatus(listener, Itc_Tp_Accept_Call_Failed, Error);
        return -1;
    }
    if (itcConnection::hasMaxConnCount()) {
        // One would expect the newcomer to be turned away and the listener to go on. It is the listener that closes: at
        // its limit a server stops accepting altogether. The newcomer stays open and is not counted.
        if (texts.limitReached != nullptr)
            traceFailure(texts.limitReached);
        listener.Close();
        setStatus(listener, Itc_Tp_Max_Connections_Reached, Error);
        return -1;
    }
    itcConnection::incConnCount();
    return fd;
}

int handOut(itcConnection* accepted, int fd, itcConnection** out, itcStatus& listener)
{
    if (accepted == nullptr) {
        OS_closesocket(fd);
        itcConnection::decConnCount();
        setStatus(listener, Itc_Tp_Accept_Call_Failed, Error, ENOMEM);
        return -1;
    }
    *out = accepted;
    clearStatus(listener);
    return 1;
}

int refuseToAccept(itcStatus& listener)
{
    setStatus(listener, Itc_Tp_Accept_Call_Failed, Error, EINVAL);
    return -1;
}

void tell(ICBKivReady* cb, int result, void* clientData)
{
    if (cb != nullptr)
        cb->ready(result, clientData);
}

} // namespace kiv
