/// \file
/// The OS_ functions that the test program replaces. This is the only place that lists them: OsFaults.h declares a
/// script for each, and OsFaults.cpp defines the function, the script and clearAll().
///
/// An entry holds the result type, the name without OS_, what a scripted failure returns, the parameters, and the
/// arguments of a call of the library's own function (`real`).
///
/// setNonBlocking and setBlocking report a failure as 0. getLastError cannot fail: its entry serves scripts only.
/// freeaddrinfo has no result and cannot fail.
#pragma once

// clang-format off
#define KIV_OS_FAULTS(X)                                                                                               \
    X(int, socket, -1, (int family, int type, int protocol), (real, family, type, protocol))                           \
    X(int, bind, -1, (int fd, const sockaddr* address, socklen_t length), (real, fd, address, length))                 \
    X(int, connect, -1, (int fd, const sockaddr* address, socklen_t length), (real, fd, address, length))              \
    X(int, listen, -1, (int fd, int backlog), (real, fd, backlog))                                                     \
    X(int, accept, -1, (int fd, sockaddr* address, socklen_t* length), (real, fd, address, length))                    \
    X(int, getsockname, -1, (int fd, sockaddr* address, socklen_t* length), (real, fd, address, length))               \
    X(int, getpeername, -1, (int fd, sockaddr* address, socklen_t* length), (real, fd, address, length))               \
    X(int, getsockopt, -1, (int fd, int level, int option, void* value, socklen_t* length),                            \
      (real, fd, level, option, value, length))                                                                        \
    X(int, setsockopt, -1, (int fd, int level, int option, const void* value, socklen_t length),                       \
      (real, fd, level, option, value, length))                                                                        \
    X(ssize_t, send, -1, (int fd, const void* buffer, size_t length, int flags), (real, fd, buffer, length, flags))    \
    X(ssize_t, recv, -1, (int fd, void* buffer, size_t length), (real, fd, buffer, length))                            \
    X(ssize_t, recvfrom, -1,                                                                                           \
      (int fd, void* buffer, size_t length, int flags, sockaddr* address, socklen_t* addressLength),                   \
      (real, fd, buffer, length, flags, address, addressLength))                                                       \
    X(int, shutdown, -1, (int fd, OS_shutdown_mode how), (real, fd, how))                                              \
    X(int, closesocket, -1, (int fd), (real, fd))                                                                      \
    X(int, select, -1, (int nfds, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout),             \
      (real, nfds, readSet, writeSet, exceptSet, timeout))                                                             \
    X(int, ioctl, -1, (int fd, unsigned long request, void* argument), (real, fd, request, argument))                  \
    X(int, getLastError, 0, (), (real))                                                                                \
    X(int, setNonBlocking, 0, (int fd), (real, fd))                                                                    \
    X(int, setBlocking, 0, (int fd), (real, fd))                                                                       \
    X(void*, malloc, nullptr, (size_t size), (real, size))                                                             \
    X(int, getaddrinfo, EAI_FAIL,                                                                                      \
      (const char* host, const char* service, const addrinfo* hints, addrinfo** result),                               \
      (real, host, service, hints, result))                                                                            \
    X(void, freeaddrinfo, nullptr, (addrinfo * list), (real, list))                                                    \
    X(int, getnameinfo, EAI_FAIL,                                                                                      \
      (const sockaddr* address, socklen_t addressLength, char* host, socklen_t hostLength, char* service,              \
       socklen_t serviceLength, int flags),                                                                            \
      (real, address, addressLength, host, hostLength, service, serviceLength, flags))                                 \
    X(int, gettimeofday, -1, (timeval * tv, void* zone), (real, tv, zone))                                             \
    X(int, getuptime, -1, (timeval * tv), (real, tv))                                                                  \
    X(OS_signalHandler, signal, SIG_ERR, (int signal, OS_signalHandler handler), (real, signal, handler))              \
    X(int, setitimer, -1, (int which, const itimerval* value, itimerval* oldValue), (real, which, value, oldValue))    \
    X(const char*, getStrError, "", (int errorNumber, char* buffer, size_t size), (real, errorNumber, buffer, size))
// clang-format on
