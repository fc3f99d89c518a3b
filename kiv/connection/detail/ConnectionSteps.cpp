// The steps of the transports.
//
// Status and traces: the trace comes first, then the status. An Internet endpoint that cannot bind or listen records
// the error number of the failed call, which its trace shows. A local endpoint prints nothing, and records the error
// number that is pending after the close: the caller finds the same number in `errno`.
#include <kiv/connection/detail/ConnectionSteps.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/address/itcInetAddress.h>
#include <kiv/dispatcher/ICBKivReady.h>

#include <cerrno>

using namespace kiv;

namespace {

// Peers that may wait to be accepted. The system drops what does not fit, and a dropped client tries again after a
// second. A host that expects more at once calls OS_listen() on the descriptor again, with a number of its own.
constexpr int listenBacklog = 5;

} // namespace

int kiv::tell(ICBKivReady* cb, int result, void* clientData)
{
    if (cb != nullptr)
        cb->ready(result, clientData);
    return result;
}

bool itcConnection::Steps::makeSocket(int family, int type)
{
    if (hasSocket())
        return true;
    if (hasMaxConnCount()) {
        if (texts.limitReached != nullptr)
            traceFailure(texts.limitReached);
        setStatus(c, Itc_Tp_Max_Connections_Reached, Error);
        return false;
    }
    c.td = OS_socket(family, type, 0);
    if (c.td < 0) {
        if (texts.socketFailed != nullptr)
            traceFailure([&](std::ostream& out) { out << texts.socketFailed << c.td; });
        setStatus(c, Itc_Tp_Socket_Call_Failed, Error);
        return false;
    }
    incConnCount();
    return true;
}

bool itcConnection::Steps::reuseAddress()
{
    const int one = 1;
    if (OS_setsockopt(c.td, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) == 0)
        return true;
    traceFailure(texts.reuseFailed);
    setStatus(c, Itc_Tp_Socket_Call_Failed, Error);
    return false;
}

void itcConnection::Steps::takeIPv4PeersToo(const sockaddr_storage& address)
{
    if (address.ss_family == AF_INET6) {
        const int off = 0;
        OS_setsockopt(c.td, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    }
}

bool itcConnection::Steps::bind(const sockaddr_storage& local)
{
    return OS_bind(c.td, asSockaddr(local), addressLength(local)) >= 0 ||
           closeAndFail(Itc_Tp_Bind_Call_Failed, texts.bindFailed);
}

bool itcConnection::Steps::bindInternet(const sockaddr_storage& local)
{
    takeIPv4PeersToo(local);
    return bind(local);
}

bool itcConnection::Steps::listen()
{
    return OS_listen(c.td, listenBacklog) == 0 || closeAndFail(Itc_Tp_Listen_Call_Failed, texts.listenFailed);
}

// \return false.
bool itcConnection::Steps::closeAndFail(ItcStatusCode code, const char* text)
{
    if (text == nullptr) {
        c.Close();
        setStatus(c, code, Error);
        return false;
    }
    const int error = OS_getLastError();
    c.Close();
    traceFailure([&](std::ostream& out) { out << text << error; });
    setStatus(c, code, Error, error);
    return false;
}

int itcConnection::Steps::connect(const sockaddr_storage& remote)
{
    return OS_connect(c.td, asSockaddr(remote), addressLength(remote));
}

int itcConnection::Steps::accept(socklen_t peerSize)
{
    if (!isListening()) {
        setStatus(c, Itc_Tp_Socket_Still_Connected, Warning);
        return -1;
    }
    int fd = -1;
    do {
        sockaddr_storage peer = {}; // not kept: the new connection can be asked for its peer
        socklen_t length = peerSize;
        fd = OS_accept(c.td, asSockaddr(peer), &length);
    } while (fd < 0 && OS_getLastError() == EINTR);

    if (fd < 0) {
        const int error = OS_getLastError();
        if (error == EAGAIN) {
            setStatus(c, Itc_Tp_Would_Block, Warning);
            return -1;
        }
        if (texts.acceptFailed != nullptr)
            traceFailure([&](std::ostream& out) { out << texts.acceptFailed << error; });
        setStatus(c, Itc_Tp_Accept_Call_Failed, Error);
        return -1;
    }
    if (hasMaxConnCount()) {
        // A reader would expect that the newcomer is turned away and that the listener goes on. But the listener closes
        // itself: a server at its limit stops accepting altogether, and its host sees that at once in the status. The
        // newcomer's descriptor stays open and is not counted. Hosts ask hasMaxConnCount() before they accept.
        if (texts.limitReached != nullptr)
            traceFailure(texts.limitReached);
        c.Close();
        setStatus(c, Itc_Tp_Max_Connections_Reached, Error);
        return -1;
    }
    incConnCount();
    return fd;
}

int itcConnection::Steps::handOut(itcConnection* accepted, int fd, itcConnection** out)
{
    if (accepted == nullptr) {
        OS_closesocket(fd);
        decConnCount();
        setStatus(c, Itc_Tp_Accept_Call_Failed, Error, ENOMEM);
        return -1;
    }
    *out = accepted;
    // A host may have written the role. Whoever accepts is an endpoint, so each accept writes the role again.
    c.connType = ItcTypeEndpoint;
    clearStatus(c);
    return 1;
}

int itcConnection::Steps::refuseToAccept()
{
    setStatus(c, Itc_Tp_Accept_Call_Failed, Error, EINVAL);
    return -1;
}

int itcConnection::Steps::askForName(const NameQuery& query, itcInetAddress& addr)
{
    if (!hasSocket())
        return failWithoutDescriptor(c, query.wrongDescriptor, 0);
    sockaddr_storage storage = {};
    socklen_t length = sizeof storage;
    if (query.call(c.td, asSockaddr(storage), &length) != 0) {
        traceFailure(query.callFailed);
        setStatus(c, query.failure, Error);
        addr = itcInetAddress();
        return 0;
    }
    clearStatus(c);
    addr = itcInetAddress(storage);
    return 1;
}

bool itcConnection::Steps::mayBecomeEndpoint()
{
    if (c.connState != ItcStateConnected)
        return true;
    setStatus(c, Itc_Tp_Socket_Still_Connected, Warning);
    return false;
}

bool itcConnection::Steps::mayConnect()
{
    if (c.connState == ItcStateClosed || c.connState == ItcStateBound)
        return true;
    setStatus(c, Itc_Tp_Socket_Still_Connected, Warning);
    return false;
}

// \return true.
bool itcConnection::Steps::becomeBound()
{
    c.connType = ItcTypeUnspecified;
    c.connOptions = ItcBlocking;
    c.connState = ItcStateBound;
    return true;
}

// \return true.
bool itcConnection::Steps::becomeEndpoint(ConnState state)
{
    clearStatus(c);
    c.connType = ItcTypeEndpoint;
    c.connState = state;
    return true;
}
