// TCP streams: the order of the steps, and the texts of the traces.
//
// The order of the steps is part of the interface: hosts and their tests replace single OS_ calls and count them. The
// steps themselves are in detail/ConnectionSteps.h. The connect is in itcInetSockStreamConnect.cpp.
#include <kiv/connection/itcInetSockStream.h>

#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/detail/ConnectionSteps.h>

#include <new>

using namespace kiv;

namespace {

constexpr StepTexts constructorTexts = {
    "itcInetSockStream::itcInetSockStream() max connections reached",
    "itcInetSockStream::itcInetSockStream() OS_socket() call failed. td = ",
    "itcInetSockStream::itcInetSockStream() OS_setsockopt() call failed",
    "itcInetSockStream::itcInetSockStream() OS_bind() call failed. errorNumber = ",
};

constexpr StepTexts endpointTexts = {
    "itcInetSockStream::CreateEndpoint() max connections reached",
    "itcInetSockStream::CreateEndpoint() OS_socket() call failed. td = ",
    "itcInetSockStream::CreateEndpoint() OS_setsockopt() call failed",
    "itcInetSockStream::CreateEndpoint() OS_bind() call failed. errorNumber = ",
    "itcInetSockStream::CreateEndpoint() OS_listen() call failed. errorNumber = ",
};

// Named after AcceptConnection() also where doAccept() is called: log readers know these texts.
constexpr StepTexts acceptTexts = {
    "itcInetSockStream::AcceptConnection() max connections reached",           nullptr, nullptr, nullptr, nullptr,
    "itcInetSockStream::AcceptConnection() OS_accept() call failed. errno = ",
};

constexpr NameQuery peerName = {OS_getpeername, "itcInetSockStream::GetPeername() wrong socket descriptor",
                                "itcInetSockStream::GetPeername() OS_getpeername() call failed",
                                Itc_Tp_Getpeername_Call_Failed};

constexpr NameQuery ownName = {OS_getsockname, "itcInetSockStream::GetSockname() wrong socket descriptor",
                               "itcInetSockStream::GetSockname() OS_getsockname() call failed",
                               Itc_Tp_Getsockname_Call_Failed};

} // namespace

itcInetSockStream::itcInetSockStream() = default;

itcInetSockStream::itcInetSockStream(ConnOptions opt) : itcNetConnection(opt) {}

itcInetSockStream::itcInetSockStream(int fd, ConnType type) : itcNetConnection(fd, type) {}

itcInetSockStream::~itcInetSockStream() = default;

itcInetSockStream::itcInetSockStream(itcInetAddress& local)
{
    Steps steps(*this, constructorTexts);
    static_cast<void>(itcConnection::Close() && steps.makeSocket(local.address.ss_family, SOCK_STREAM) &&
                      steps.reuseAddress() && steps.bindInternet(local.address) && steps.becomeBound());
}

bool itcInetSockStream::setLingering(bool on)
{
    const linger option = {on ? 0 : 1, 0};
    return OS_setsockopt(td, SOL_SOCKET, SO_LINGER, &option, sizeof option) == 0;
}

int itcInetSockStream::CreateEndpoint(itcInetAddress& local)
{
    Steps steps(*this, endpointTexts);
    const auto hasSocket = [&] {
        return steps.hasSocket() || (steps.makeSocket(local.address.ss_family, SOCK_STREAM) && steps.reuseAddress());
    };
    const auto isBound = [&] { return steps.isBound() || steps.isListening() || steps.bindInternet(local.address); };
    return steps.mayBecomeEndpoint() && hasSocket() && isBound() && steps.listen() && steps.becomeListening();
}

int itcInetSockStream::doAccept(ICBKivReady* cb, void* clientData)
{
    const int fd = Steps(*this, acceptTexts).accept(sizeof(sockaddr_storage));
    if (fd < 0)
        tell(cb, -1, clientData);
    return fd;
}

int itcInetSockStream::AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData)
{
    Steps steps(*this, acceptTexts);
    if (out == nullptr && steps.isListening())
        return tell(cb, steps.refuseToAccept(), clientData);
    const int fd = doAccept(cb, clientData);
    if (fd < 0)
        return -1; // doAccept() has told the callback
    return tell(cb, steps.handOut(new (std::nothrow) itcInetSockStream(fd, ItcTypeConnection), fd, out), clientData);
}

int itcInetSockStream::GetPeername(itcInetAddress& addr) { return Steps(*this, noTexts).askForName(peerName, addr); }

int itcInetSockStream::GetSockname(itcInetAddress& addr) { return Steps(*this, noTexts).askForName(ownName, addr); }
