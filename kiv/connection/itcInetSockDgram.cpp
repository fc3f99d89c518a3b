#include <kiv/connection/itcInetSockDgram.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/detail/SocketSteps.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/foundation/detail/Trace.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

using namespace kiv;

namespace {

constexpr int datagramSize = 512;

} // namespace

itcInetSockDgram::itcInetSockDgram()
{
    makeBuffer();
}

itcInetSockDgram::itcInetSockDgram(int fd, ConnType type) : itcNetConnection(fd, type)
{
    makeBuffer();
}

itcInetSockDgram::itcInetSockDgram(itcInetAddress& local)
{
    makeBuffer();
    if (!itcConnection::Close())
        return;
    if (!makeSocket(*this, td, local.address.ss_family, SOCK_DGRAM,
                    {"itcInetSockDgram::itcInetSockDgram() max connections reached",
                     "itcInetSockDgram::itcInetSockDgram() OS_socket() call failed. td = "}))
        return;
    if (!bindNetOrClose(*this, td, local.address,
                        "itcInetSockDgram::itcInetSockDgram() OS_bind() call failed. errorNumber = "))
        return;
    connType = ItcTypeUnspecified;
    connOptions = ItcBlocking;
    connState = ItcStateBound;
}

itcInetSockDgram::~itcInetSockDgram()
{
    delete[] recvBuffer;
}

// Without memory for the buffer the object exists all the same: receiving then fails as a receive with ENOMEM does.
void itcInetSockDgram::makeBuffer()
{
    recvBuffer = new (std::nothrow) char[datagramSize];
    buflen = 0;
    peerAddress = {};
}

int itcInetSockDgram::InitRead()
{
    buflen = 0;
    if (td < 0) {
        traceFailure("itcInetSockDgram::InitRead() wrong socket descriptor");
        setStatus(*this, Itc_Tp_Descriptor_Not_Yet_Set, Error);
        return -1;
    }
    do {
        peerAddress = {};
        socklen_t length = sizeof peerAddress;
        if (recvBuffer != nullptr) {
            buflen = static_cast<int>(OS_recvfrom(td, recvBuffer, datagramSize, 0, asSockaddr(peerAddress), &length));
        } else {
            errno = ENOMEM;
            buflen = -1;
        }
    } while (buflen == -1 && OS_getLastError() == EINTR);

    if (buflen > 0)
        return buflen;
    if (buflen == 0) {
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

int itcInetSockDgram::Read(void* buf, int len)
{
    if (td < 0) {
        traceFailure("itcInetSockDgram::Read() wrong socket descriptor");
        setStatus(*this, Itc_Tp_Descriptor_Not_Yet_Set, Error);
        return -1;
    }
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
    if (connState == ItcStateConnected) {
        setStatus(*this, Itc_Tp_Socket_Still_Connected, Warning);
        return 0;
    }
    if (td < 0 && !makeSocket(*this, td, local.address.ss_family, SOCK_DGRAM,
                              {"itcInetSockDgram::CreateEndpoint() max connections reached",
                               "itcInetSockDgram::CreateEndpoint() OS_socket() call failed. td = "}))
        return 0;
    if (connState != ItcStateBound &&
        !bindNetOrClose(*this, td, local.address, "itcInetSockDgram::CreateEndpoint() OS_bind() call failed. errno = "))
        return 0;
    connType = ItcTypeEndpoint;
    connState = ItcStateBound;
    clearStatus(*this);
    return 1;
}

int itcInetSockDgram::OpenConnection(itcInetAddress& remote, ICBKivReady* cb, void* clientData)
{
    int result = 0;
    if (td >= 0 || makeSocket(*this, td, remote.address.ss_family, SOCK_DGRAM,
                              {"itcInetSockDgram::OpenConnection() max connections reached",
                               "itcInetSockDgram::OpenConnection() OS_socket() call failed. td = "})) {
        const bool failed = connectSocket(td, remote.address) < 0;
        const int error = OS_getLastError();
        if (failed && error != EAGAIN && error != EINPROGRESS) {
            traceFailure([&](std::ostream& out) {
                out << "itcInetSockDgram::OpenConnection() OS_connect() call failed. errno = " << error;
            });
            Close();
            setStatus(*this, Itc_Tp_Connect_Call_Failed, Error, error);
        } else {
            connState = ItcStateConnected;
            connType = ItcTypeConnection;
            result = 1;
        }
    }
    tell(cb, result, clientData);
    return result;
}

int itcInetSockDgram::GetPeername(itcInetAddress& addr)
{
    if (td >= 0 && connState != ItcStateConnected) {
        std::memcpy(&addr.address, &peerAddress,
                    peerAddress.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in));
        return 1;
    }
    return askForName(*this, td,
                      {OS_getpeername, "itcInetSockDgram::GetPeername() wrong socket descriptor",
                       "itcInetSockDgram::GetPeername() OS_getpeername() call failed", Itc_Tp_Getpeername_Call_Failed},
                      addr);
}

int itcInetSockDgram::GetSockname(itcInetAddress& addr)
{
    return askForName(*this, td,
                      {OS_getsockname, "itcInetSockDgram::GetSockname() wrong socket descriptor",
                       "itcInetSockDgram::GetSockname() OS_getsockname() call failed", Itc_Tp_Getsockname_Call_Failed},
                      addr);
}

bool itcInetSockDgram::setTcpNodelay(bool)
{
    reportError(KivError::ErrType(0), "setTcpNodelay()", "not applicable!");
    return false;
}
