#include <kiv/connection/itcUnixSockStream.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/address/itcUnixAddress.h>
#include <kiv/connection/detail/SocketSteps.h>
#include <kiv/foundation/detail/SetStatus.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>

using namespace kiv;

namespace {

constexpr mode_t everybody = 0777;

// Local streams print nothing of their own.
constexpr SocketTexts silently = {nullptr, nullptr};
constexpr AcceptTexts acceptSilently = {nullptr, nullptr};

// \return null for null, and without memory.
char* copyOf(const char* path)
{
    if (path == nullptr)
        return nullptr;
    const size_t size = std::strlen(path) + 1;
    char* const copy = new (std::nothrow) char[size];
    return copy != nullptr ? static_cast<char*>(std::memcpy(copy, path, size)) : nullptr;
}

int askForPath(itcStatus& status, int td, int (*call)(int, sockaddr*, socklen_t*), ItcStatusCode failure,
               itcUnixAddress& out)
{
    if (td < 0) {
        setStatus(status, Itc_Tp_Descriptor_Not_Yet_Set, Error);
        return 0;
    }
    // A peer may have bound all 108 bytes of a path without a zero: what lies behind the name keeps the text in bounds.
    sockaddr_storage name = {};
    socklen_t length = sizeof(sockaddr_un);
    if (call(td, asSockaddr(name), &length) != 0) {
        setStatus(status, failure, Error);
        return 0;
    }
    out.set(reinterpret_cast<const char*>(&name) + offsetof(sockaddr_un, sun_path));
    clearStatus(status);
    return 1;
}

} // namespace

itcUnixSockStream::itcUnixSockStream() = default;

itcUnixSockStream::itcUnixSockStream(int fd, ConnType type) : itcLocalConnection(fd, type) {}

itcUnixSockStream::itcUnixSockStream(itcUnixAddress& addr)
{
    if (!itcConnection::Close())
        return;
    if (!makeSocket(*this, td, AF_UNIX, SOCK_STREAM, silently))
        return;
    if (!bindPath(addr))
        return;
    connOptions = ItcBlocking;
    connType = ItcTypeUnspecified;
    connState = ItcStateBound;
}

itcUnixSockStream::~itcUnixSockStream()
{
    if (boundPath != nullptr)
        ::unlink(boundPath);
}

// Replaces an earlier copy of the path without freeing it: whoever binds one object to many paths, one after the other,
// pays with their memory. Without memory for the copy nothing is bound, for the file could not be removed again.
bool itcUnixSockStream::bindPath(const itcUnixAddress& addr)
{
    boundPath = copyOf(addr.pathname());
    if (boundPath != nullptr) {
        ::unlink(boundPath);
    } else if (addr.pathname() != nullptr) {
        Close();
        setStatus(*this, Itc_Tp_Bind_Call_Failed, Error, ENOMEM);
        return false;
    }
    if (!bindOrClose(*this, td, addr.address, nullptr))
        return false;
    if (boundPath != nullptr)
        ::chmod(boundPath, everybody);
    return true;
}

bool itcUnixSockStream::CreateEndpoint(itcUnixAddress& addr)
{
    if (connState == ItcStateConnected) {
        setStatus(*this, Itc_Tp_Socket_Still_Connected, Warning);
        return false;
    }
    if (td < 0 && !makeSocket(*this, td, AF_UNIX, SOCK_STREAM, silently))
        return false;
    const bool isBound = connState == ItcStateBound || connState == ItcStateListening;
    if (!isBound && !bindPath(addr))
        return false;
    if (!listenOrClose(*this, td, nullptr))
        return false;
    connType = ItcTypeEndpoint;
    connState = ItcStateListening;
    clearStatus(*this);
    return true;
}

int itcUnixSockStream::AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData)
{
    int result = -1;
    if (out == nullptr && connState == ItcStateListening) {
        result = refuseToAccept(*this);
    } else {
        const int fd = acceptPeer(*this, td, connState, sizeof(sockaddr_un), acceptSilently);
        if (fd >= 0)
            result = handOut(new (std::nothrow) itcUnixSockStream(fd, ItcTypeConnection), fd, out, *this);
        if (result == 1)
            connType = ItcTypeEndpoint;
    }
    tell(cb, result, clientData);
    return result;
}

int itcUnixSockStream::OpenConnection(itcUnixAddress& addr, ICBKivReady* cb, void* clientData)
{
    const int result = OpenConnNormal(addr);
    tell(cb, result, clientData);
    return result;
}

int itcUnixSockStream::OpenConnNormal(itcUnixAddress& addr)
{
    return OpenConn(addr);
}

int itcUnixSockStream::OpenConn(itcUnixAddress& addr)
{
    if (connState != ItcStateClosed && connState != ItcStateBound) {
        setStatus(*this, Itc_Tp_Socket_Still_Connected, Warning);
        return 0;
    }
    for (;;) {
        if (td < 0 && !makeSocket(*this, td, AF_UNIX, SOCK_STREAM, silently))
            return 0;
        if (connectSocket(td, addr.address) >= 0)
            return 1;
        switch (OS_getLastError()) {
        case EINTR:
            break;
        case EAGAIN:
            setStatus(*this, Itc_Tp_Would_Block, Warning);
            return -1;
        default:
            Close();
            setStatus(*this, Itc_Tp_Connect_Call_Failed, Error);
            return 0;
        }
    }
}

int itcUnixSockStream::GetSockname(itcUnixAddress& out)
{
    return askForPath(*this, td, OS_getsockname, Itc_Tp_Getsockname_Call_Failed, out);
}

int itcUnixSockStream::GetPeername(itcUnixAddress& out)
{
    return askForPath(*this, td, OS_getpeername, Itc_Tp_Getpeername_Call_Failed, out);
}

// The text forms ask the address forms, which record their outcome: the object changes although it looks constant here.
std::string itcUnixSockStream::GetSockname() const
try {
    itcUnixAddress address;
    if (const_cast<itcUnixSockStream*>(this)->GetSockname(address) == 0 || address.pathname() == nullptr)
        return {};
    return address.pathname();
} catch (const std::bad_alloc&) {
    return {};
}

std::string itcUnixSockStream::GetPeername() const
try {
    itcUnixAddress address;
    if (const_cast<itcUnixSockStream*>(this)->GetPeername(address) == 0 || address.pathname() == nullptr)
        return {};
    return address.pathname();
} catch (const std::bad_alloc&) {
    return {};
}
