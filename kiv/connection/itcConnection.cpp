#include <kiv/connection/itcConnection.h>

#include <kiv/address/detail/HostName.h>
#include <kiv/address/itcInetAddress.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/foundation/detail/Trace.h>

#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <new>

using namespace kiv;

int itcConnection::currentConns = 0;
// Some descriptors are left to the host, and select() serves no more than 1024.
int itcConnection::maxConns = std::min(OS_availablefds() - 16, 1024);

namespace {

// A negative length must not reach the system, which would take it for a huge one.
ssize_t refuseLength()
{
    errno = EINVAL;
    return -1;
}

// A host name that is wanted as text: the numeric form where there is no name. The addresses' own text buffers are
// shared by all threads, connections are not: so the text is made here.
std::string textOf(const itcInetAddress& address)
{
    HostText text;
    std::string name = hostNameOf(address.address, text, 0);
    if (name.empty())
        name = hostNameOf(address.address, text, NI_NUMERICHOST);
    return name;
}

} // namespace

itcConnection::itcConnection() : itcConnection(-1, ItcTypeUnspecified) {}

itcConnection::itcConnection(ConnOptions opt) : itcConnection()
{
    connOptions = opt;
}

itcConnection::itcConnection(int fd, ConnType type)
    : td(fd), connOptions(ItcBlocking), connType(type), connState(fd >= 0 ? ItcStateConnected : ItcStateClosed),
      readByteCount(0), writeByteCount(0), readCallCount(0), writeCallCount(0)
{}

itcConnection::itcConnection(int fd, ConnOptions opt) : itcConnection(fd, ItcTypeUnspecified)
{
    itcConnection::SetOption(opt);
}

itcConnection::~itcConnection()
{
    if (td >= 0)
        itcConnection::Close();
}

int itcConnection::ReadDescriptor() const
{
    return td;
}

int itcConnection::WriteDescriptor() const
{
    return td;
}

int itcConnection::ExceptDescriptor() const
{
    return td;
}

int itcConnection::Pending()
{
    if (td < 0) {
        traceFailure("itcConnection::Pending() wrong socket descriptor");
        setStatus(*this, Itc_Tp_Descriptor_Not_Yet_Set, Error);
        return -1;
    }
    int n = 0;
    if (OS_ioctl(td, FIONREAD, &n) < 0) {
        traceFailure("itcConnection::Pending() ioctl call failed");
        setStatus(*this, Itc_Tp_Ioctl_Call_Failed, Error);
        return -1;
    }
    clearStatus(*this);
    return n;
}

int itcConnection::InitRead()
{
    return 0;
}

int itcConnection::Read(void* buf, int len)
{
    if (KIV_UNLIKELY(td < 0)) {
        traceFailure("itcConnection::Read() wrong socket descriptor");
        setStatus(*this, Itc_Tp_Descriptor_Not_Yet_Set, Error);
        return -1;
    }
    return connOptions == ItcStrictBlocking ? readAll(buf, len) : readOnce(buf, len);
}

// A request too large for what the socket has is never refused, so "would block" means that it has nothing. It is asked
// for less all the same, as a write is, and only then reported. Would-block is -1 here but 0 in Write().
int itcConnection::readOnce(void* buf, int len)
{
    for (;;) {
        const ssize_t n = KIV_LIKELY(len >= 0) ? OS_recv(td, buf, static_cast<size_t>(len)) : refuseLength();
        if (KIV_LIKELY(n != -1)) {
            clearStatus(*this);
            readCallCount += 1;
            readByteCount += static_cast<uint64_t>(n);
            return static_cast<int>(n);
        }
        const int error = OS_getLastError();
        if (error == EINTR)
            continue;
        if (error == EAGAIN) {
            if (len > 1) {
                len /= 2;
                continue;
            }
            setStatus(*this, Itc_Tp_Would_Block, Warning);
            return -1;
        }
        traceFailure([&](std::ostream& out) {
            out << "itcConnection::Read() read/recv call failed. td: " << td << " errno = " << error;
        });
        setStatus(*this, Itc_Tp_Read_Call_Failed, Error);
        return -1;
    }
}

// Only an end before the first byte counts as a disconnection. One that comes later is an ordinary count of 0, and the
// loop goes on asking: whoever does not trust the peer must not read in this mode.
int itcConnection::readAll(void* buf, int len)
{
    char* p = static_cast<char*>(buf);
    int left = len;
    while (left > 0) {
        const ssize_t n = OS_recv(td, p, static_cast<size_t>(left));
        if (n == 0 && p == buf) {
            setStatus(*this, Itc_Tp_Unexpected_Disconnection, Warning);
            return 0;
        }
        if (KIV_UNLIKELY(n == -1)) {
            const int error = OS_getLastError();
            if (error == EINTR)
                continue;
            traceFailure([&](std::ostream& out) {
                out << "itcConnection::Read() read/recv (ItcStrictBlocking) call failed. td: " << td
                    << " errno = " << error;
            });
            setStatus(*this, Itc_Tp_Read_Call_Failed, Error);
            return -1;
        }
        left -= static_cast<int>(n);
        p += n;
    }
    clearStatus(*this);
    readCallCount += 1;
    readByteCount += static_cast<uint64_t>(len);
    return len;
}

// A socket buffer too full for the whole piece may still take a smaller one. So "would block" halves the request and
// asks again at once, and only a refused single byte is reported.
int itcConnection::Write(const void* buf, int len)
{
    if (KIV_UNLIKELY(td < 0)) {
        traceFailure("itcConnection::Write() wrong socket descriptor");
        setStatus(*this, Itc_Tp_Descriptor_Not_Yet_Set, Error);
        return -1;
    }
    for (;;) {
        const ssize_t n = KIV_LIKELY(len >= 0) ? OS_send(td, buf, static_cast<size_t>(len), 0) : refuseLength();
        if (KIV_LIKELY(n != -1)) {
            clearStatus(*this);
            writeCallCount += 1;
            writeByteCount += static_cast<uint64_t>(n);
            return static_cast<int>(n);
        }
        const int error = OS_getLastError();
        traceFailure([&](std::ostream& out) {
            out << "itcConnection::Write() OS_send returned td: " << td << " nbw: " << n << " errno = " << error;
        });
        if (error == EINTR)
            continue;
        if (error == EAGAIN) {
            if (len > 1) {
                len >>= 1;
                continue;
            }
            setStatus(*this, Itc_Tp_Would_Block, Warning);
            return 0;
        }
        traceFailure([&](std::ostream& out) {
            out << "itcConnection::Write() OS_send failed. td: " << td << " errno = " << error;
        });
        setStatus(*this, Itc_Tp_Write_Call_Failed, Error);
        return -1;
    }
}

bool itcConnection::SetOption(ConnOptions opt)
{
    if (td < 0) {
        traceFailure("itcConnection::SetOption() wrong socket descriptor");
        setStatus(*this, Itc_Tp_Descriptor_Not_Yet_Set, Error);
        return false;
    }
    // A refused switch leaves the status as it was.
    if (opt == ItcNonBlocking && OS_setNonBlocking(td) == 0) {
        traceFailure("itcConnection::SetOption() failed to set socket to non-blocking");
        return false;
    }
    if (opt == ItcBlocking && OS_setBlocking(td) == 0) {
        traceFailure("itcConnection::SetOption() failed to set socket to blocking");
        return false;
    }
    connOptions = opt;
    return true;
}

int itcConnection::AcceptConnection(itcConnection**, ICBKivReady*, void*)
{
    return 0;
}

bool itcConnection::Close()
{
    connState = ItcStateClosed;
    if (td >= 0) {
        if (OS_closesocket(td) == -1) {
            traceFailure("itcConnection::Close() close/closesocket call failed");
            setStatus(*this, Itc_Tp_Close_Call_Failed, Error);
            return false;
        }
        td = -1;
        decConnCount();
    }
    clearStatus(*this);
    return true;
}

bool itcConnection::Shutdown(OS_shutdown_mode how)
{
    if (OS_shutdown(td, how) != 0) {
        traceFailure("itcConnection::Shutdown() shutdown call failed");
        setStatus(*this, Itc_Tp_Shutdown_Call_Failed, Error);
        return false;
    }
    clearStatus(*this);
    connState = ItcStateShutdown;
    return true;
}

int itcConnection::GetPeername(itcInetAddress&)
{
    return 0;
}

int itcConnection::GetSockname(itcInetAddress&)
{
    return 0;
}

int itcConnection::GetPeerNameResolutionErr() const
{
    return OS_getLastError();
}

int itcConnection::GetSockNameResolutionErr() const
{
    return OS_getLastError();
}

// The text forms ask the address forms, which record their outcome: the object changes although it looks constant here.
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

int itcConnection::flush()
{
    return 0;
}

int itcConnection::flush(unsigned int n)
{
    return static_cast<int>(n);
}

void itcConnection::reset() {}

int itcConnection::empty()
{
    return 0;
}

int itcConnection::items()
{
    return 0;
}

int itcConnection::bytes()
{
    return 0;
}

int itcConnection::getConnectionCount()
{
    return __atomic_load_n(&currentConns, __ATOMIC_SEQ_CST);
}

void itcConnection::incConnCount()
{
    __atomic_fetch_add(&currentConns, 1, __ATOMIC_SEQ_CST);
}

void itcConnection::decConnCount()
{
    __atomic_fetch_sub(&currentConns, 1, __ATOMIC_SEQ_CST);
}

bool itcConnection::hasMaxConnCount()
{
    return maxConns >= 1 && getConnectionCount() >= maxConns;
}
