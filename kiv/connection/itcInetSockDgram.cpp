// UDP datagrams: InitRead() receives one datagram into a buffer, and Read() hands the buffer out in pieces.
//
// The buffer has 512 bytes: with its headers such a datagram fits into the 576 bytes that every IPv4 host can receive.
// Read() never receives, so a reader that forgets InitRead() reads 0 bytes for ever. The buffer is made once and reused
// for every datagram.
#include <kiv/connection/itcInetSockDgram.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/detail/ConnectionSteps.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

using namespace kiv;

namespace {

constexpr int datagramSize = 512;

constexpr StepTexts constructorTexts = {
    "itcInetSockDgram::itcInetSockDgram() max connections reached",
    "itcInetSockDgram::itcInetSockDgram() OS_socket() call failed. td = ",
    nullptr,
    "itcInetSockDgram::itcInetSockDgram() OS_bind() call failed. errorNumber = ",
};

constexpr StepTexts endpointTexts = {
    "itcInetSockDgram::CreateEndpoint() max connections reached",
    "itcInetSockDgram::CreateEndpoint() OS_socket() call failed. td = ",
    nullptr,
    "itcInetSockDgram::CreateEndpoint() OS_bind() call failed. errno = ",
};

constexpr StepTexts connectTexts = {
    "itcInetSockDgram::OpenConnection() max connections reached",
    "itcInetSockDgram::OpenConnection() OS_socket() call failed. td = ",
};

constexpr NameQuery peerName = {OS_getpeername, "itcInetSockDgram::GetPeername() wrong socket descriptor",
                                "itcInetSockDgram::GetPeername() OS_getpeername() call failed",
                                Itc_Tp_Getpeername_Call_Failed};

constexpr NameQuery ownName = {OS_getsockname, "itcInetSockDgram::GetSockname() wrong socket descriptor",
                               "itcInetSockDgram::GetSockname() OS_getsockname() call failed",
                               Itc_Tp_Getsockname_Call_Failed};

} // namespace

itcInetSockDgram::itcInetSockDgram() { makeBuffer(); }

itcInetSockDgram::itcInetSockDgram(int fd, ConnType type) : itcNetConnection(fd, type) { makeBuffer(); }

itcInetSockDgram::itcInetSockDgram(itcInetAddress& local)
{
    makeBuffer();
    Steps steps(*this, constructorTexts);
    static_cast<void>(itcConnection::Close() && steps.makeSocket(local.address.ss_family, SOCK_DGRAM) &&
                      steps.bindInternet(local.address) && steps.becomeBound());
}

itcInetSockDgram::~itcInetSockDgram() { delete[] recvBuffer; }

// Without memory for the buffer the object exists all the same. Every receive then fails with ENOMEM.
void itcInetSockDgram::makeBuffer()
{
    recvBuffer = new (std::nothrow) char[datagramSize];
    buflen = 0;
    peerAddress = {};
}

int itcInetSockDgram::InitRead()
{
    buflen = 0;
    if (td < 0)
        return failWithoutDescriptor(*this, "itcInetSockDgram::InitRead() wrong socket descriptor", -1);
    do {
        receiveOne();
    } while (buflen == -1 && OS_getLastError() == EINTR);

    if (buflen > 0)
        return buflen;
    if (buflen == 0) {
        // An empty datagram looks like the end of a stream, which a datagram socket does not have. The code says "would
        // block", the severity says Error: hosts drop the datagram, and go on with the next one.
        const int error = OS_getLastError();
        traceFailure("itcInetSockDgram::InitRead() OS_recvfrom() returns zero byte");
        setStatus(*this, Itc_Tp_Would_Block, Error, error);
        return -1;
    }
    traceFailure([&](std::ostream& out) {
        out << "itcInetSockDgram::InitRead() OS_recvfrom() call failed. buflen = " << buflen;
    });
    setStatus(*this, Itc_Tp_Read_Call_Failed, Error);
    peerAddress = {};
    return buflen;
}

void itcInetSockDgram::receiveOne()
{
    peerAddress = {};
    socklen_t length = sizeof peerAddress;
    if (recvBuffer != nullptr) {
        buflen = static_cast<int>(OS_recvfrom(td, recvBuffer, datagramSize, 0, asSockaddr(peerAddress), &length));
    } else {
        errno = ENOMEM;
        buflen = -1;
    }
}

int itcInetSockDgram::Read(void* buf, int len)
{
    if (td < 0)
        return failWithoutDescriptor(*this, "itcInetSockDgram::Read() wrong socket descriptor", -1);
    if (len < 0) {
        setStatus(*this, Itc_Tp_Read_Call_Failed, Error, EINVAL);
        return -1;
    }
    const int taken = std::min(len, buflen);
    if (taken <= 0)
        return taken; // nothing was asked for, nothing is left, or the receive has failed
    std::memcpy(buf, recvBuffer, static_cast<size_t>(taken));
    buflen -= taken;
    std::memmove(recvBuffer, recvBuffer + taken, static_cast<size_t>(buflen));
    return taken;
}

int itcInetSockDgram::CreateEndpoint(itcInetAddress& local)
{
    Steps steps(*this, endpointTexts);
    return steps.mayBecomeEndpoint() && steps.makeSocket(local.address.ss_family, SOCK_DGRAM) &&
           (steps.isBound() || steps.bindInternet(local.address)) && steps.becomeDatagramEndpoint();
}

int itcInetSockDgram::OpenConnection(itcInetAddress& remote, ICBKivReady* cb, void* clientData)
{
    return tell(cb, fixPeer(remote), clientData);
}

// Connecting a datagram socket sends nothing: the system only notes the peer. The trace comes before the close here,
// and behind the close in a TCP stream. A host's own Close() may print, and readers of logs know both orders.
int itcInetSockDgram::fixPeer(itcInetAddress& remote)
{
    Steps steps(*this, connectTexts);
    if (!steps.makeSocket(remote.address.ss_family, SOCK_DGRAM))
        return 0;
    if (steps.connect(remote.address) < 0) {
        const int error = OS_getLastError();
        if (error != EAGAIN && error != EINPROGRESS) {
            traceFailure([&](std::ostream& out) {
                out << "itcInetSockDgram::OpenConnection() OS_connect() call failed. errno = " << error;
            });
            Close();
            setStatus(*this, Itc_Tp_Connect_Call_Failed, Error, error);
            return 0;
        }
    }
    steps.becomeConnected();
    connType = ItcTypeConnection;
    return 1;
}

int itcInetSockDgram::GetPeername(itcInetAddress& addr)
{
    if (td < 0 || connState == ItcStateConnected)
        return Steps(*this, noTexts).askForName(peerName, addr);
    std::memcpy(&addr.address, &peerAddress,
                peerAddress.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in));
    return 1;
}

int itcInetSockDgram::GetSockname(itcInetAddress& addr) { return Steps(*this, noTexts).askForName(ownName, addr); }

bool itcInetSockDgram::setTcpNodelay(bool)
{
    reportError(KivError::ErrType(0), "setTcpNodelay()", "not applicable!");
    return false;
}
