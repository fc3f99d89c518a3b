// Local streams: sockets named by files.
//
// The operations of this class print no traces: failures are in the status only. An object that binds a path removes
// what lies at the path first, gives the new file mode 0777, and removes the file in its destructor. Accepted
// connections and clients bind nothing and remove nothing.
#include <kiv/connection/itcUnixSockStream.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/address/itcUnixAddress.h>
#include <kiv/connection/detail/ConnectionSteps.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>

using namespace kiv;

namespace {

constexpr mode_t everybody = 0777;

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
    if (td < 0)
        return failWithoutDescriptor(status, nullptr, 0);
    // A peer's path may fill all 108 bytes without a terminator. `name` is larger and zeroed, so the text ends behind
    // it.
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

// \return an empty text for null.
std::string textOf(const char* path) { return path != nullptr ? path : ""; }

} // namespace

itcUnixSockStream::itcUnixSockStream() = default;

itcUnixSockStream::itcUnixSockStream(int fd, ConnType type) : itcLocalConnection(fd, type) {}

itcUnixSockStream::itcUnixSockStream(itcUnixAddress& addr)
{
    Steps steps(*this, noTexts);
    static_cast<void>(itcConnection::Close() && steps.makeSocket(AF_UNIX, SOCK_STREAM) && bindPath(addr) &&
                      steps.becomeBound());
}

// The file at the path is removed, whoever has bound the path by now.
itcUnixSockStream::~itcUnixSockStream()
{
    if (boundPath != nullptr)
        ::unlink(boundPath);
}

// Replaces an earlier copy of the path without freeing the copy: an object that binds many paths one after the other
// pays with their memory. Without memory for the new copy nothing is bound, because the file could not be removed
// again.
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
    if (!Steps(*this, noTexts).bind(addr.address))
        return false;
    if (boundPath != nullptr)
        ::chmod(boundPath, everybody);
    return true;
}

bool itcUnixSockStream::CreateEndpoint(itcUnixAddress& addr)
{
    Steps steps(*this, noTexts);
    const auto isBound = [&] { return steps.isBound() || steps.isListening() || bindPath(addr); };
    return steps.mayBecomeEndpoint() && steps.makeSocket(AF_UNIX, SOCK_STREAM) && isBound() && steps.listen() &&
           steps.becomeListening();
}

int itcUnixSockStream::AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData)
{
    Steps steps(*this, noTexts);
    if (out == nullptr && steps.isListening())
        return tell(cb, steps.refuseToAccept(), clientData);
    const int fd = steps.accept(sizeof(sockaddr_un));
    if (fd < 0)
        return tell(cb, -1, clientData);
    return tell(cb, steps.handOut(new (std::nothrow) itcUnixSockStream(fd, ItcTypeConnection), fd, out), clientData);
}

int itcUnixSockStream::OpenConnection(itcUnixAddress& addr, ICBKivReady* cb, void* clientData)
{
    return tell(cb, OpenConnNormal(addr), clientData);
}

int itcUnixSockStream::OpenConnNormal(itcUnixAddress& addr) { return OpenConn(addr); }

// One would expect the state to become Connected. The state stays what it was: Closed, or Bound. Nothing therefore
// stops a second connect on a connected client. The system refuses that connect, and the first connection is closed.
int itcUnixSockStream::OpenConn(itcUnixAddress& addr)
{
    Steps steps(*this, noTexts);
    if (!steps.mayConnect())
        return 0;
    for (;;) {
        if (!steps.makeSocket(AF_UNIX, SOCK_STREAM))
            return 0;
        if (steps.connect(addr.address) >= 0)
            return 1;
        switch (OS_getLastError()) {
        case EINTR:
            break;
        case EAGAIN:
            setStatus(*this, Itc_Tp_Would_Block, Warning);
            return -1;
        default:
            // The status records the number that is pending behind the close, as everywhere in this class. A TCP
            // stream records the number of the connect.
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

// The text forms ask the address forms, which record their outcome. The object changes although it looks constant here.
std::string itcUnixSockStream::GetSockname() const
try {
    itcUnixAddress address;
    return const_cast<itcUnixSockStream*>(this)->GetSockname(address) == 1 ? textOf(address.pathname()) : "";
} catch (const std::bad_alloc&) {
    return {};
}

std::string itcUnixSockStream::GetPeername() const
try {
    itcUnixAddress address;
    return const_cast<itcUnixSockStream*>(this)->GetPeername(address) == 1 ? textOf(address.pathname()) : "";
} catch (const std::bad_alloc&) {
    return {};
}
