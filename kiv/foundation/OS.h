/// \file
/// The portability layer: the system calls of the library, under names of its own.
///
/// "Wraps x()" below means: the function passes its arguments to x() unchanged and returns the result of x() unchanged.
/// A failure shows as x() shows it: -1 and `errno`, a null pointer, or an error code. No function of this file touches
/// an itcStatus.
///
/// \par Blocking
/// A function blocks where the wrapped call blocks.
///
/// \par Threads
/// A function is as safe as the wrapped call. OS_inet_ntoa(), OS_gethostbyname() and OS_gethostbyaddr() return static
/// storage that the next call overwrites. Two kinds of state belong to this layer itself: the start time of
/// OS_getuptime(), which is not synchronised, and the trace counters of the resolver functions, which are atomic.
///
/// \par Replacing a function
/// A program may define any of these functions itself. The library calls each function through its dynamic symbol.
/// The definition of the program therefore replaces the definition of the library, in the library's own calls too.
/// Tests make the network fail in this way.
///
/// \par Porting
/// A port to another platform rewrites the functions of this file. System calls outside this layer serve socket files
/// only: unlink() and chmod() in itcUnixSockStream, tmpnam() in itcUnixAddress.
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

/// The second argument of OS_shutdown(). The values are those of the platform.
enum OS_shutdown_mode : int {
    OS_shutdown_receive = 0, ///< Stop receiving.
    OS_shutdown_send = 1,    ///< Stop sending. The peer reads the end of the stream.
    OS_shutdown_both = 2     ///< Stop receiving and sending.
};

extern "C" {

/// \name Sockets
/// \{

/// Wraps socket(). The caller owns the returned descriptor.
KIV_EXPORT int OS_socket(int family, int type, int protocol);
/// Wraps bind().
KIV_EXPORT int OS_bind(int fd, const sockaddr* address, socklen_t length);
/// Wraps connect().
KIV_EXPORT int OS_connect(int fd, const sockaddr* address, socklen_t length);
/// Wraps listen().
KIV_EXPORT int OS_listen(int fd, int backlog);
/// Wraps accept(). The caller owns the returned descriptor.
KIV_EXPORT int OS_accept(int fd, sockaddr* address, socklen_t* length);
/// Wraps getsockname().
KIV_EXPORT int OS_getsockname(int fd, sockaddr* address, socklen_t* length);
/// Wraps getpeername().
KIV_EXPORT int OS_getpeername(int fd, sockaddr* address, socklen_t* length);
/// Wraps getsockopt().
KIV_EXPORT int OS_getsockopt(int fd, int level, int option, void* value, socklen_t* length);
/// Wraps setsockopt().
KIV_EXPORT int OS_setsockopt(int fd, int level, int option, const void* value, socklen_t length);
/// Wraps send().
KIV_EXPORT ssize_t OS_send(int fd, const void* buffer, size_t length, int flags);
/// Wraps sendto().
KIV_EXPORT ssize_t OS_sendto(int fd, const void* buffer, size_t length, int flags, const sockaddr* address,
                             socklen_t addressLength);
/// Wraps read(), not recv(). There are no flags, and `fd` may be a descriptor that is not a socket.
KIV_EXPORT ssize_t OS_recv(int fd, void* buffer, size_t length);
/// Wraps recvfrom().
KIV_EXPORT ssize_t OS_recvfrom(int fd, void* buffer, size_t length, int flags, sockaddr* address,
                               socklen_t* addressLength);
/// Wraps shutdown().
KIV_EXPORT int OS_shutdown(int fd, OS_shutdown_mode how);
/// Wraps close().
KIV_EXPORT int OS_closesocket(int fd);
/// Wraps select().
///
/// Keep the microseconds of `timeout` below 1,000,000: the C library cuts them to 32 bits.
KIV_EXPORT int OS_select(int nfds, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout);
/// Wraps ioctl() with one argument behind the request.
KIV_EXPORT int OS_ioctl(int fd, unsigned long request, void* argument);
/// Wraps fcntl() with one argument behind the command.
KIV_EXPORT int OS_fcntl(int fd, int command, long argument);
/// Switches a descriptor to non-blocking mode.
/// \return 1: done.
///         0: the system refused; `errno` is set.
KIV_EXPORT int OS_setNonBlocking(int fd);
/// Switches a descriptor to blocking mode.
/// \return 1: done.
///         0: the system refused; `errno` is set.
KIV_EXPORT int OS_setBlocking(int fd);
/// \}

/// \name Files and host
/// \{

/// Wraps ftruncate() with a length of 64 bits, in bytes.
KIV_EXPORT int OS_ftruncate(int fd, int64_t length);
/// Wraps truncate() with a length of 64 bits, in bytes.
KIV_EXPORT int OS_truncate(const char* path, int64_t length);
/// Wraps gethostname().
KIV_EXPORT int OS_gethostname(char* name, size_t length);
/// Wraps getdomainname().
KIV_EXPORT int OS_getdomainname(char* name, size_t length);
/// The number of descriptors that the process may have open: `sysconf(_SC_OPEN_MAX)`.
/// \return the limit; the largest int if the limit does not fit into an int; -1 if sysconf() gives none.
KIV_EXPORT int OS_availablefds();
/// \}

/// \name Addresses and numbers
/// The four byte-order functions convert between the byte order of the machine and network byte order. They swap bytes
/// on little-endian machines. They change nothing on big-endian machines.
/// \{

/// 32 bits from machine order to network order.
KIV_EXPORT uint32_t OS_htonl(uint32_t value);
/// 32 bits from network order to machine order.
KIV_EXPORT uint32_t OS_ntohl(uint32_t value);
/// 16 bits from machine order to network order, in a 32-bit word.
///
/// The upper 16 bits of the argument are ignored. The upper 16 bits of the result are 0.
KIV_EXPORT uint32_t OS_htons(uint32_t value);
/// 16 bits from network order to machine order, in a 32-bit word.
///
/// The upper 16 bits of the argument are ignored. The upper 16 bits of the result are 0.
KIV_EXPORT uint32_t OS_ntohs(uint32_t value);
/// Wraps inet_addr().
KIV_EXPORT in_addr_t OS_inet_addr(const char* text);
/// Wraps inet_network().
KIV_EXPORT in_addr_t OS_inet_network(const char* text);
/// Wraps inet_ntoa(). The text lies in static storage: copy the text before the next call.
KIV_EXPORT char* OS_inet_ntoa(in_addr address);
/// Wraps inet_makeaddr().
KIV_EXPORT in_addr OS_inet_makeaddr(in_addr_t network, in_addr_t host);
/// Wraps inet_lnaof().
KIV_EXPORT in_addr_t OS_inet_lnaof(in_addr address);
/// Wraps inet_netof().
KIV_EXPORT in_addr_t OS_inet_netof(in_addr address);
/// Wraps inet_ntop().
KIV_EXPORT const char* OS_inet_ntop(int family, const void* address, char* text, socklen_t size);
/// Wraps inet_pton().
KIV_EXPORT int OS_inet_pton(int family, const char* text, void* address);
/// Wraps atof().
KIV_EXPORT double OS_atof(const char* text);
/// Wraps strtoul().
KIV_EXPORT unsigned long OS_strtoul(const char* text, char** end, int base);
/// Wraps vsprintf(). The size of `buffer` is not checked: the caller provides enough room for the whole text.
KIV_EXPORT int OS_sprintf(char* buffer, const char* format, ...) __attribute__((format(printf, 2, 3)));
/// \}

/// \name Time and signals
/// \{

/// Wraps gettimeofday().
KIV_EXPORT int OS_gettimeofday(timeval* tv, void* timezone);
/// Wraps settimeofday().
KIV_EXPORT int OS_settimeofday(const timeval* tv, const struct timezone* timezone);
/// Wraps adjtime().
KIV_EXPORT int OS_adjtime(const timeval* delta, timeval* oldDelta);
/// Wraps getitimer().
KIV_EXPORT int OS_getitimer(int which, itimerval* value);
/// Wraps setitimer().
KIV_EXPORT int OS_setitimer(int which, const itimerval* value, itimerval* oldValue);
/// Wraps times().
///
/// The result has the platform's own type. On 32-bit machines that type has 32 bits, and the number of ticks wraps
/// around; the 64-bit times of this library do not.
KIV_EXPORT clock_t OS_times(tms* buffer);

/// The time since the first successful call of OS_getuptime() in this process. The first call gives zero.
///
/// The result is the difference between two readings of the wall clock. If the wall clock is set forward or back, the
/// result jumps with the wall clock.
///
/// The first call is not synchronised. Make the first call before other threads call OS_getuptime().
/// \param tv  receives seconds and microseconds; the microseconds are not negative.
/// \return  0: `tv` holds the time.
///         -1: `tv` is null.
///         -1: the clock failed; `tv` holds whatever the clock left there.
KIV_EXPORT int OS_getuptime(timeval* tv);

/// A signal handler. The argument is the number of the signal.
using OS_signalHandler = void (*)(int);
/// Installs a signal handler. A system call that the signal interrupts fails with `EINTR` and is not restarted.
///
/// signal() of the C library restarts such calls. The timed connect of itcInetSockStream must not use signal(): the
/// alarm ends the blocked connect() only if the connect() is not restarted.
/// \return the previous handler, or `SIG_ERR` with `errno` set.
KIV_EXPORT OS_signalHandler OS_signal(int signal, OS_signalHandler handler);
/// \}

/// \name Memory
/// The three allocating functions raise a size of 0 to 1. A null result therefore always means that there is no memory,
/// and OS_realloc() with a size of 0 keeps the block. The caller owns the memory and gives it back with OS_free().
/// \{

/// Wraps malloc(); a `size` of 0 counts as 1.
KIV_EXPORT void* OS_malloc(size_t size);
/// Wraps calloc(); a `count` of 0 counts as 1, and a `size` of 0 counts as 1.
KIV_EXPORT void* OS_calloc(size_t count, size_t size);
/// Wraps realloc(); a `size` of 0 counts as 1.
KIV_EXPORT void* OS_realloc(void* pointer, size_t size);
/// Wraps free(). A null `pointer` is ignored.
KIV_EXPORT void OS_free(void* pointer);
/// \}

/// \name Errors
/// \{

/// The `errno` of the calling thread.
KIV_EXPORT int OS_getLastError();
/// Writes "[<errorNumber>] <text of the system>" into `buffer`, for example "[98] Address already in use".
///
/// The text is cut to `size` - 1 characters and always ends with a zero.
/// \return `buffer`; a static empty string if `size` is too small for "[<errorNumber>] ".
KIV_EXPORT const char* OS_getStrError(int errorNumber, char* buffer, size_t size);
/// Returns null for all arguments. Use OS_getStrError() instead.
///
/// Nothing in the library calls OS_strerror(). The name stays exported because the symbols of the library are part of
/// the binary interface.
KIV_EXPORT char* OS_strerror(...);
/// \}

/// \name Resolver
/// Each function wraps the call of the same name and adds two traces under `DBG_KIV`: one before the call, one after
/// the call. Both texts show the number of the call. Each function counts its own calls, from 0, while traces are on. A
/// failing OS_getaddrinfo() adds a third trace with the error code.
///
/// - Ports are shown as they lie in memory, in network byte order: port 80 reads 20480 on a little-endian machine.
/// - A null `host` or `service` of OS_getaddrinfo() shows as the word empty, without quotes.
/// - Everything else that has no text shows as an empty text: a null pointer, a host buffer without a terminating
///   zero, an address that is too short for its family.
/// - `errno` is not kept across the second trace. After a traced call `errno` is whatever the print hook left.
/// \{

/// Wraps getaddrinfo(). The caller gives `*result` back with OS_freeaddrinfo().
///
/// A call with null `host` and null `service` is not traced.
KIV_EXPORT int OS_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** result);
/// Wraps freeaddrinfo(). A null `list` is traced, and freeaddrinfo() is not called.
KIV_EXPORT void OS_freeaddrinfo(addrinfo* list);
/// Wraps getnameinfo().
KIV_EXPORT int OS_getnameinfo(const sockaddr* address, socklen_t addressLength, char* host, socklen_t hostLength,
                              char* service, socklen_t serviceLength, int flags);
/// Wraps gethostbyname(). The result lies in static storage of the system. Only hosts call this function.
KIV_EXPORT hostent* OS_gethostbyname(const char* name);
/// Wraps gethostbyaddr(). The result lies in static storage of the system. Only hosts call this function.
KIV_EXPORT hostent* OS_gethostbyaddr(const void* address, socklen_t length, int type);
/// \}

} // extern "C"
