// The socket, descriptor and file calls of the portability layer.
// Each function is one line on purpose. The rest of the library never names the platform, and a program or a test
// replaces a system call by defining the function of the same name. What a function adds to the wrapped call stands in
// OS.h.
#include <kiv/foundation/OS.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <limits>

namespace {

int setNonBlockingFlag(int fd, int on) { return ::ioctl(fd, FIONBIO, &on) >= 0 ? 1 : 0; }

} // namespace

int OS_socket(int family, int type, int protocol) { return ::socket(family, type, protocol); }

int OS_bind(int fd, const sockaddr* address, socklen_t length) { return ::bind(fd, address, length); }

int OS_connect(int fd, const sockaddr* address, socklen_t length) { return ::connect(fd, address, length); }

int OS_listen(int fd, int backlog) { return ::listen(fd, backlog); }

int OS_accept(int fd, sockaddr* address, socklen_t* length) { return ::accept(fd, address, length); }

int OS_getsockname(int fd, sockaddr* address, socklen_t* length) { return ::getsockname(fd, address, length); }

int OS_getpeername(int fd, sockaddr* address, socklen_t* length) { return ::getpeername(fd, address, length); }

int OS_getsockopt(int fd, int level, int option, void* value, socklen_t* length)
{
    return ::getsockopt(fd, level, option, value, length);
}

int OS_setsockopt(int fd, int level, int option, const void* value, socklen_t length)
{
    return ::setsockopt(fd, level, option, value, length);
}

ssize_t OS_send(int fd, const void* buffer, size_t length, int flags) { return ::send(fd, buffer, length, flags); }

ssize_t OS_sendto(int fd, const void* buffer, size_t length, int flags, const sockaddr* address,
                  socklen_t addressLength)
{
    return ::sendto(fd, buffer, length, flags, address, addressLength);
}

ssize_t OS_recv(int fd, void* buffer, size_t length) { return ::read(fd, buffer, length); }

ssize_t OS_recvfrom(int fd, void* buffer, size_t length, int flags, sockaddr* address, socklen_t* addressLength)
{
    return ::recvfrom(fd, buffer, length, flags, address, addressLength);
}

int OS_shutdown(int fd, OS_shutdown_mode how) { return ::shutdown(fd, how); }

int OS_closesocket(int fd) { return ::close(fd); }

int OS_select(int nfds, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout)
{
    return ::select(nfds, readSet, writeSet, exceptSet, timeout);
}

int OS_ioctl(int fd, unsigned long request, void* argument) { return ::ioctl(fd, request, argument); }

int OS_fcntl(int fd, int command, long argument) { return ::fcntl(fd, command, argument); }

int OS_setNonBlocking(int fd) { return setNonBlockingFlag(fd, 1); }

int OS_setBlocking(int fd) { return setNonBlockingFlag(fd, 0); }

int OS_ftruncate(int fd, int64_t length) { return ::ftruncate64(fd, length); }

int OS_truncate(const char* path, int64_t length) { return ::truncate64(path, length); }

int OS_gethostname(char* name, size_t length) { return ::gethostname(name, length); }

int OS_getdomainname(char* name, size_t length) { return ::getdomainname(name, length); }

int OS_availablefds()
{
    const long limit = ::sysconf(_SC_OPEN_MAX);
    return limit > std::numeric_limits<int>::max() ? std::numeric_limits<int>::max() : static_cast<int>(limit);
}
