/// \file
/// The portability layer: the system calls of the library, under names of ours.
///
/// Whoever ports the library writes these functions anew; only the handling of socket files (unlink, chmod, temporary
/// names) lies with the local sockets. Whoever tests it defines one of them in the test program: the library calls each
/// through its dynamic symbol, so the program's definition replaces ours.
///
/// Where only a wrapped call is named, the function forwards its arguments unchanged and reports as that call does
/// (-1 and `errno`, a null pointer, or an error code). None touches an itcStatus.
///
/// \par Threads  As safe as the wrapped call: OS_inet_ntoa() and the gethostby* family use static storage. Only
///               OS_getuptime() keeps state of its own.
#pragma once

#include <kiv/foundation/export.h>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/times.h>

#include <cstddef>
#include <cstdint>

/// Second argument of OS_shutdown(), with the platform's own values.
enum OS_shutdown_mode : int {
    OS_shutdown_receive = 0, ///< No more receiving.
    OS_shutdown_send = 1,    ///< No more sending: the peer reads the end of the stream.
    OS_shutdown_both = 2     ///< Neither.
};

extern "C" {

/// \name Sockets
/// \{
KIV_EXPORT int OS_socket(int family, int type, int protocol);
KIV_EXPORT int OS_bind(int fd, const sockaddr* address, socklen_t length);
KIV_EXPORT int OS_connect(int fd, const sockaddr* address, socklen_t length);
KIV_EXPORT int OS_listen(int fd, int backlog);
KIV_EXPORT int OS_accept(int fd, sockaddr* address, socklen_t* length);
KIV_EXPORT int OS_getsockname(int fd, sockaddr* address, socklen_t* length);
KIV_EXPORT int OS_getpeername(int fd, sockaddr* address, socklen_t* length);
KIV_EXPORT int OS_getsockopt(int fd, int level, int option, void* value, socklen_t* length);
KIV_EXPORT int OS_setsockopt(int fd, int level, int option, const void* value, socklen_t length);
KIV_EXPORT ssize_t OS_send(int fd, const void* buffer, size_t length, int flags);
KIV_EXPORT ssize_t OS_sendto(int fd, const void* buffer, size_t length, int flags, const sockaddr* address,
                             socklen_t addressLength);
/// Wraps read(), not recv(): there are no flags, and a descriptor that is no socket serves as well.
KIV_EXPORT ssize_t OS_recv(int fd, void* buffer, size_t length);
KIV_EXPORT ssize_t OS_recvfrom(int fd, void* buffer, size_t length, int flags, sockaddr* address,
                               socklen_t* addressLength);
KIV_EXPORT int OS_shutdown(int fd, OS_shutdown_mode how);
KIV_EXPORT int OS_closesocket(int fd); ///< Wraps close().
/// The C library cuts the microseconds of a time-out to 32 bits: keep them below a million.
KIV_EXPORT int OS_select(int nfds, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout);
KIV_EXPORT int OS_ioctl(int fd, unsigned long request, void* argument);
KIV_EXPORT int OS_fcntl(int fd, int command, long argument);
/// Switches the descriptor to non-blocking mode. \return 1 when done; 0 when refused, with `errno` set.
KIV_EXPORT int OS_setNonBlocking(int fd);
/// Switches the descriptor to blocking mode. \return 1 when done; 0 when refused, with `errno` set.
KIV_EXPORT int OS_setBlocking(int fd);
/// \}

/// \name Files and host
/// \{
KIV_EXPORT int OS_ftruncate(int fd, int64_t length);
KIV_EXPORT int OS_truncate(const char* path, int64_t length);
KIV_EXPORT int OS_gethostname(char* name, size_t length);
KIV_EXPORT int OS_getdomainname(char* name, size_t length);
/// The number of descriptors that the process may have open (`sysconf(_SC_OPEN_MAX)`); a limit beyond an int is
/// reported as the largest int.
KIV_EXPORT int OS_availablefds();
/// \}

/// \name Addresses and numbers
/// The byte-order functions turn the host's order into the network's and back. They swap on little-endian machines
/// and change nothing on others.
/// \{
KIV_EXPORT uint32_t OS_htonl(uint32_t value);
KIV_EXPORT uint32_t OS_ntohl(uint32_t value);
/// A 16-bit value, passed and returned in a 32-bit word; the upper half of the argument is ignored, of the result 0.
KIV_EXPORT uint32_t OS_htons(uint32_t value);
/// A 16-bit value, passed and returned in a 32-bit word; the upper half of the argument is ignored, of the result 0.
KIV_EXPORT uint32_t OS_ntohs(uint32_t value);
KIV_EXPORT in_addr_t OS_inet_addr(const char* text);
KIV_EXPORT in_addr_t OS_inet_network(const char* text);
KIV_EXPORT char* OS_inet_ntoa(in_addr address);
KIV_EXPORT in_addr OS_inet_makeaddr(in_addr_t network, in_addr_t host);
KIV_EXPORT in_addr_t OS_inet_lnaof(in_addr address);
KIV_EXPORT in_addr_t OS_inet_netof(in_addr address);
KIV_EXPORT const char* OS_inet_ntop(int family, const void* address, char* text, socklen_t size);
KIV_EXPORT int OS_inet_pton(int family, const char* text, void* address);
KIV_EXPORT double OS_atof(const char* text);
KIV_EXPORT unsigned long OS_strtoul(const char* text, char** end, int base);
/// vsprintf() without a bound: the caller answers for the room.
KIV_EXPORT int OS_sprintf(char* buffer, const char* format, ...) __attribute__((format(printf, 2, 3)));
/// \}

/// \name Time and signals
/// \{
KIV_EXPORT int OS_gettimeofday(timeval* tv, void* timezone);
KIV_EXPORT int OS_settimeofday(const timeval* tv, const struct timezone* timezone);
KIV_EXPORT int OS_adjtime(const timeval* delta, timeval* oldDelta);
KIV_EXPORT int OS_getitimer(int which, itimerval* value);
KIV_EXPORT int OS_setitimer(int which, const itimerval* value, itimerval* oldValue);
/// The ticks are of the platform's own type, which on 32-bit machines wraps where a time does not.
KIV_EXPORT clock_t OS_times(tms* buffer);

/// The time since this function's own first successful call, which itself gives zero.
///
/// It is the difference of two wall-clock readings, so it follows when the wall clock is set. The first call is not
/// synchronised: make it before other threads use it.
/// \return 0; -1 for a null argument or a failing clock, `tv` then being whatever the clock left there.
KIV_EXPORT int OS_getuptime(timeval* tv);

using OS_signalHandler = void (*)(int);
/// Installs a handler such that an interrupted system call is not restarted but fails with `EINTR`; the timed connect
/// of itcInetSockStream lives by that. \return the previous handler, or `SIG_ERR`.
KIV_EXPORT OS_signalHandler OS_signal(int signal, OS_signalHandler handler);
/// \}

/// \name Memory
/// Sizes of 0 are raised to 1, so that success is always a usable pointer and OS_realloc() never frees.
/// \{
KIV_EXPORT void* OS_malloc(size_t size);
KIV_EXPORT void* OS_calloc(size_t count, size_t size);
KIV_EXPORT void* OS_realloc(void* pointer, size_t size);
KIV_EXPORT void OS_free(void* pointer); ///< Does nothing for null.
/// \}

/// \name Errors
/// \{
KIV_EXPORT int OS_getLastError(); ///< The calling thread's `errno`.
/// "[<errorNumber>] <system text>", cut to `size` - 1 characters.
/// \return `buffer`, or a static empty string when not even the number fits.
KIV_EXPORT const char* OS_getStrError(int errorNumber, char* buffer, size_t size);
/// Always null, whatever it is given. Only the name is kept, nothing calls it: use OS_getStrError().
KIV_EXPORT char* OS_strerror(...);
/// \}

/// \name Resolver
/// Each call behaves exactly as the one it wraps and is traced before and after under `DBG_KIV`, the two texts paired
/// by the call's number. The ports in those texts are the raw field in network order: port 80 reads 20480. Where an
/// argument or result has no text to show (null, unterminated, too short for its family) the trace shows none. `errno`
/// is not kept across the second trace.
/// \{
KIV_EXPORT int OS_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** result);
KIV_EXPORT void OS_freeaddrinfo(addrinfo* list); ///< A null list is traced but nothing is called.
KIV_EXPORT int OS_getnameinfo(const sockaddr* address, socklen_t addressLength, char* host, socklen_t hostLength,
                              char* service, socklen_t serviceLength, int flags);
KIV_EXPORT hostent* OS_gethostbyname(const char* name);
KIV_EXPORT hostent* OS_gethostbyaddr(const void* address, socklen_t length, int type);
/// \}

} // extern "C"
