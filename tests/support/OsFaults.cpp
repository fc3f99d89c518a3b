#include "OsFaults.h"

#include <csignal>
#include <dlfcn.h>

namespace {

// The library's own function of this name: the next one behind the test program's. Keeps `errno`, which a test may have
// set for OS_getLastError().
template <class Function> Function* libraryFunction(const char* name)
{
    const int kept = errno;
    auto* const function = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
    errno = kept;
    return function;
}

} // namespace

// Defines OS_<name> in this program, its script OsFaults::<name>(), and what a scripted failure returns.
#define KIV_FAULTABLE(result, name, failure, parameters, arguments)                                                    \
    namespace OsFaults {                                                                                               \
    OsCall<result parameters>& name()                                                                                  \
    {                                                                                                                  \
        static auto& script = *new OsCall<result parameters>(failure);                                                 \
        return script;                                                                                                 \
    }                                                                                                                  \
    }                                                                                                                  \
    result OS_##name parameters                                                                                        \
    {                                                                                                                  \
        static const auto real = libraryFunction<result parameters>("OS_" #name);                                      \
        return OsFaults::name().call arguments;                                                                        \
    }

KIV_FAULTABLE(int, socket, -1, (int family, int type, int protocol), (real, family, type, protocol))
KIV_FAULTABLE(int, bind, -1, (int fd, const sockaddr* address, socklen_t length), (real, fd, address, length))
KIV_FAULTABLE(int, connect, -1, (int fd, const sockaddr* address, socklen_t length), (real, fd, address, length))
KIV_FAULTABLE(int, listen, -1, (int fd, int backlog), (real, fd, backlog))
KIV_FAULTABLE(int, accept, -1, (int fd, sockaddr* address, socklen_t* length), (real, fd, address, length))
KIV_FAULTABLE(int, getsockname, -1, (int fd, sockaddr* address, socklen_t* length), (real, fd, address, length))
KIV_FAULTABLE(int, getpeername, -1, (int fd, sockaddr* address, socklen_t* length), (real, fd, address, length))
KIV_FAULTABLE(int, getsockopt, -1, (int fd, int level, int option, void* value, socklen_t* length),
              (real, fd, level, option, value, length))
KIV_FAULTABLE(int, setsockopt, -1, (int fd, int level, int option, const void* value, socklen_t length),
              (real, fd, level, option, value, length))
KIV_FAULTABLE(ssize_t, send, -1, (int fd, const void* buffer, size_t length, int flags),
              (real, fd, buffer, length, flags))
KIV_FAULTABLE(ssize_t, recv, -1, (int fd, void* buffer, size_t length), (real, fd, buffer, length))
KIV_FAULTABLE(ssize_t, recvfrom, -1,
              (int fd, void* buffer, size_t length, int flags, sockaddr* address, socklen_t* addressLength),
              (real, fd, buffer, length, flags, address, addressLength))
KIV_FAULTABLE(int, shutdown, -1, (int fd, OS_shutdown_mode how), (real, fd, how))
KIV_FAULTABLE(int, closesocket, -1, (int fd), (real, fd))
KIV_FAULTABLE(int, select, -1, (int nfds, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout),
              (real, nfds, readSet, writeSet, exceptSet, timeout))
KIV_FAULTABLE(int, ioctl, -1, (int fd, unsigned long request, void* argument), (real, fd, request, argument))
KIV_FAULTABLE(int, getLastError, 0, (), (real))
KIV_FAULTABLE(int, setNonBlocking, 0, (int fd), (real, fd))
KIV_FAULTABLE(int, setBlocking, 0, (int fd), (real, fd))
KIV_FAULTABLE(void*, malloc, nullptr, (size_t size), (real, size))
KIV_FAULTABLE(int, getaddrinfo, EAI_FAIL,
              (const char* host, const char* service, const addrinfo* hints, addrinfo** result),
              (real, host, service, hints, result))
KIV_FAULTABLE(int, getnameinfo, EAI_FAIL,
              (const sockaddr* address, socklen_t addressLength, char* host, socklen_t hostLength, char* service,
               socklen_t serviceLength, int flags),
              (real, address, addressLength, host, hostLength, service, serviceLength, flags))
KIV_FAULTABLE(int, gettimeofday, -1, (timeval * tv, void* timezone), (real, tv, timezone))
KIV_FAULTABLE(int, getuptime, -1, (timeval * tv), (real, tv))
KIV_FAULTABLE(OS_signalHandler, signal, SIG_ERR, (int signal, OS_signalHandler handler), (real, signal, handler))
KIV_FAULTABLE(int, setitimer, -1, (int which, const itimerval* value, itimerval* oldValue),
              (real, which, value, oldValue))

void OsFaults::clearAll()
{
    socket().clear();
    bind().clear();
    connect().clear();
    listen().clear();
    accept().clear();
    getsockname().clear();
    getpeername().clear();
    getsockopt().clear();
    setsockopt().clear();
    send().clear();
    recv().clear();
    recvfrom().clear();
    shutdown().clear();
    closesocket().clear();
    select().clear();
    ioctl().clear();
    getLastError().clear();
    setNonBlocking().clear();
    setBlocking().clear();
    malloc().clear();
    getaddrinfo().clear();
    getnameinfo().clear();
    gettimeofday().clear();
    getuptime().clear();
    signal().clear();
    setitimer().clear();
}
