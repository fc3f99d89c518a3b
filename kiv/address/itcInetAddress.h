/// \file
/// Addresses of internet endpoints, IPv4 and IPv6.
#pragma once

#include <kiv/address/itcAddress.h>

/// The address of one IPv4 or IPv6 endpoint: a host and a port, for TCP and UDP connections.
///
/// There are two ways to make an address:
/// - A lookup passes a host text and a service or port to the resolver.
/// - A copy takes an address that the system has returned.
///
/// A wildcard address means "all addresses of this machine". A server binds to a wildcard. The first lookup of the
/// process finds the preferred family of wildcards:
/// - IPv6, if an IPv6 socket of this machine can serve IPv4 peers, too. A server then accepts clients of both families.
/// - IPv6, if the machine has no IPv4 sockets.
/// - IPv4 otherwise.
///
/// \par Blocking
/// A lookup waits for the resolver. hostname() waits for the resolver, too. There is no time limit.
///
/// \par Threads
/// One thread at a time per object. hostname() returns text that all objects share, and numeric_hostname() returns a
/// second text that all objects share. Several threads may make the first lookup at the same time: all of them find the
/// same preferred family.
///
/// \par Errors
/// Nothing throws. lookup() returns success or failure and leaves the reason in `status`. After a constructor test
/// `status.severity`.
class KIV_EXPORT itcInetAddress : public itcAddress {
public:
    static const char* const Any;        ///< "0.0.0.0": the IPv4 wildcard. lookup() compares the text, not the pointer.
    static const char* const Any6;       ///< "::": the IPv6 wildcard. lookup() compares the text, not the pointer.
    static const char* const Localhost;  ///< "127.0.0.1"
    static const char* const Localhost6; ///< "::1"
    static const char* const Broadcast;  ///< "255.255.255.255"

    /// The wildcard of the preferred family with port 0. Calls lookup(nullptr, 0, 0).
    itcInetAddress();
    /// The wildcard of the preferred family with a port. Calls lookup(nullptr, port, 0).
    explicit itcInetAddress(int port);
    /// Calls lookup(host, port, 0).
    itcInetAddress(const char* host, int port);
    /// Calls lookup(host, port, protocol).
    itcInetAddress(const char* host, int port, int protocol);
    /// Calls lookup(host, service, protocol).
    itcInetAddress(const char* host, const char* service, int protocol);
    /// Copies an address of the system and computes the flags. Does not ask the resolver. The status is clear.
    explicit itcInetAddress(const sockaddr_storage& systemAddress);

    /// Asks the resolver for an address, stores the first answer, and computes the flags. Waits for the resolver.
    ///
    /// A failed lookup keeps the stored address.
    ///
    /// \param host      a name, a numeric address, or an IPv6 address in brackets; at most 1024 characters. Null and ""
    ///                  give the wildcard of the preferred family, #Any that of IPv4, #Any6 that of IPv6.
    /// \param service   a service name, or a port as decimal text; null for none.
    /// \param protocol  6 (TCP), 17 (UDP) or 0 (either). With 0, a service that is not known for "either" is looked up
    ///                  a second time, for streams.
    /// \return true:  the status is clear.
    ///         false, (Itc_Tp_Gethostname_Call_Failed, Error): the host text is too long; the resolver was not asked;
    ///         the error number is whatever `errno` is at this moment.
    ///         false, (Itc_Tp_Unknown_Peer, Error): the resolver failed; the error number is the resolver's return code
    ///         (`EAI_...`). An answer that is longer than the storage counts as `EAI_OVERFLOW`.
    bool lookup(const char* host, const char* service, int protocol);
    /// Formats `port` as decimal text and calls lookup() with this text as the service.
    /// \return the result of that lookup().
    bool lookup(const char* host, int port, int protocol);

    /// The name of the host, by reverse lookup. Waits for the resolver.
    /// \return the name; the numeric address if the resolver knows no name; an empty text if the resolver fails or the
    ///         family is unknown. All objects share the buffer of the text. The next call of hostname(), of any object
    ///         in any thread, overwrites the buffer: copy the text at once.
    const char* hostname() const;
    /// The address as numeric text, for example "192.0.2.1". Asks no server.
    /// \return a text in a second buffer that all objects share; an empty text if there is none. The next call of
    ///         numeric_hostname(), of any object in any thread, overwrites the buffer: copy the text at once.
    const char* numeric_hostname() const;
    /// The port, in the byte order of the machine.
    /// \return the port; 0 if the family is neither IPv4 nor IPv6.
    int port() const;

    int isAny = 0;       ///< 1 for the wildcards 0.0.0.0 and `::`, otherwise 0.
    int isLoopback = 0;  ///< 1 for 127.0.0.1, `::1` and the IPv4-mapped form of 127.0.0.1, otherwise 0.
    int isBroadcast = 0; ///< 1 for 255.255.255.255, otherwise 0.

protected:
    /// The preferred family of wildcards: `AF_INET` or `AF_INET6`. 0 until the first lookup of the process has found
    /// the family.
    static int preferredFamily;

private:
    KIV_HIDDEN void computeFlags();
    KIV_HIDDEN static int preferredWildcardFamily();
};
