// What every connection has: its descriptor, its mode, its end, and its place in the count of open descriptors.
//
// Close() writes the state first, also when the close then fails: a connection that was told to close is not used
// again. The count of open descriptors is the only datum that threads share. It changes only by atomic operations.
#include <kiv/connection/itcConnection.h>

#include <kiv/connection/detail/ConnectionSteps.h>

#include <sys/ioctl.h>

#include <algorithm>

using namespace kiv;

int itcConnection::currentConns = 0;
// 16 descriptors are left to the host. select() serves no more than 1024.
int itcConnection::maxConns = std::min(OS_availablefds() - 16, 1024);

itcConnection::itcConnection() : itcConnection(-1, ItcTypeUnspecified) {}

itcConnection::itcConnection(ConnOptions opt) : itcConnection() { connOptions = opt; }

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

int itcConnection::ReadDescriptor() const { return td; }

int itcConnection::WriteDescriptor() const { return td; }

int itcConnection::ExceptDescriptor() const { return td; }

int itcConnection::Pending()
{
    if (td < 0)
        return failWithoutDescriptor(*this, "itcConnection::Pending() wrong socket descriptor", -1);
    int n = 0;
    if (OS_ioctl(td, FIONREAD, &n) < 0) {
        traceFailure("itcConnection::Pending() ioctl call failed");
        setStatus(*this, Itc_Tp_Ioctl_Call_Failed, Error);
        return -1;
    }
    clearStatus(*this);
    return n;
}

int itcConnection::InitRead() { return 0; }

bool itcConnection::SetOption(ConnOptions opt)
{
    if (td < 0)
        return failWithoutDescriptor(*this, "itcConnection::SetOption() wrong socket descriptor", false);
    // A switch that the system refuses leaves the status as it was: the old mode goes on, and no transfer has failed.
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

int itcConnection::AcceptConnection(itcConnection**, ICBKivReady*, void*) { return 0; }

bool itcConnection::Close()
{
    Steps(*this, noTexts).becomeClosed();
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
    Steps(*this, noTexts).becomeShutdown();
    return true;
}

int itcConnection::flush() { return 0; }

int itcConnection::flush(unsigned int n) { return static_cast<int>(n); }

void itcConnection::reset() {}

int itcConnection::empty() { return 0; }

int itcConnection::items() { return 0; }

int itcConnection::bytes() { return 0; }

int itcConnection::getConnectionCount() { return __atomic_load_n(&currentConns, __ATOMIC_SEQ_CST); }

void itcConnection::incConnCount() { __atomic_fetch_add(&currentConns, 1, __ATOMIC_SEQ_CST); }

void itcConnection::decConnCount() { __atomic_fetch_sub(&currentConns, 1, __ATOMIC_SEQ_CST); }

bool itcConnection::hasMaxConnCount() { return maxConns >= 1 && getConnectionCount() >= maxConns; }
