// The ends of a connection as texts.
//
// The base class has no address. The text forms ask the virtual address forms, and a transport overrides those. Each
// text waits for the resolver.
#include <kiv/connection/itcConnection.h>

#include <kiv/address/detail/HostName.h>
#include <kiv/address/itcInetAddress.h>

#include <new>

using namespace kiv;

namespace {

// The host name, or the numeric address where there is no name. The text is made here, because the addresses' own text
// buffers are shared by all threads and connections may live on several threads.
std::string textOf(const itcInetAddress& address)
{
    HostText text;
    std::string name = hostNameOf(address.address, text, 0);
    if (name.empty())
        name = hostNameOf(address.address, text, NI_NUMERICHOST);
    return name;
}

} // namespace

int itcConnection::GetPeername(itcInetAddress&) { return 0; }

int itcConnection::GetSockname(itcInetAddress&) { return 0; }

int itcConnection::GetPeerNameResolutionErr() const { return OS_getLastError(); }

int itcConnection::GetSockNameResolutionErr() const { return OS_getLastError(); }

// The address forms record their outcome in the status. The object changes although it looks constant here.
std::string itcConnection::GetPeername() const
try {
    itcInetAddress address;
    return const_cast<itcConnection*>(this)->GetPeername(address) < 1 ? std::string() : textOf(address);
} catch (const std::bad_alloc&) {
    return {};
}

std::string itcConnection::GetSockname() const
try {
    itcInetAddress address;
    return const_cast<itcConnection*>(this)->GetSockname(address) < 1 ? std::string() : textOf(address);
} catch (const std::bad_alloc&) {
    return {};
}
