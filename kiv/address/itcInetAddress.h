/// \file
/// Internet endpoint addresses, IPv4 and IPv6.
#pragma once

#include <kiv/address/itcAddress.h>

/// One IPv4 or IPv6 endpoint: an address and a port, for TCP and UDP connections.
///
/// Built from a host text and a service or port by a resolver query, or from an address that the system returned.
/// A wildcard address takes the family that the machine prefers: IPv6 where its sockets can serve both families, so
/// that a server bound to the wildcard accepts IPv4 and IPv6 clients alike.
///
/// \par Blocking  A lookup of a name, and the text of a name, wait for the resolver, for as long as it takes.
/// \par Threads   One thread at a time per object. hostname() and numeric_hostname() return text that all objects
///                share. The preference is probed by the first lookup of the process; threads that race on it find
///                the same.
/// \par Errors    Nothing throws. lookup() tells success and leaves the reason in `status`; after a constructor test
///                `status.severity`.
class KIV_EXPORT itcInetAddress : public itcAddress {
public:
    static const char* const Any;        ///< "0.0.0.0"
    static const char* const Any6;       ///< "::"
    static const char* const Localhost;  ///< "127.0.0.1"
    static const char* const Localhost6; ///< "::1"
    static const char* const Broadcast;  ///< "255.255.255.255"

    itcInetAddress();                                                    ///< The preferred wildcard, port 0.
    explicit itcInetAddress(int port);                                   ///< The preferred wildcard with a port.
    itcInetAddress(const char* host, int port);                          ///< lookup(host, port, 0)
    itcInetAddress(const char* host, int port, int protocol);            ///< lookup(host, port, protocol)
    itcInetAddress(const char* host, const char* service, int protocol); ///< lookup(host, service, protocol)
    explicit itcInetAddress(const sockaddr_storage& systemAddress);      ///< A copy, flags computed; asks no resolver.

    /// Resolves and stores the first answer. Waits for the resolver, for as long as it takes.
    ///
    /// \param host      A name, a numeric address, or an IPv6 address in brackets, at most 1024 characters. Null, "",
    ///                  #Any and #Any6 ask for a wildcard: the first two of the preferred family, the others of theirs.
    /// \param service   A service name or a port in decimal; null for none.
    /// \param protocol  6 (TCP), 17 (UDP) or 0 (either).
    /// \return true when `status.severity` is Success afterwards. Otherwise the stored address is the one from before
    ///         and the status is one of:
    ///         - `Itc_Tp_Gethostname_Call_Failed`, Error: the host text is too long; no resolver was asked.
    ///         - `Itc_Tp_Unknown_Peer`, Error: the resolver failed, its return code (`EAI_...`) being the error number.
    ///           An answer too long for the storage counts as `EAI_OVERFLOW`.
    bool lookup(const char* host, const char* service, int protocol);
    bool lookup(const char* host, int port, int protocol); ///< The same with the port as a number.

    /// The host's name by reverse lookup, empty if there is none. Waits for the resolver. The text lives in a buffer
    /// that all objects share: copy it before anybody's next call.
    const char* hostname() const;
    /// The address as a numeric text, empty if it has none. The text lives in a second buffer that all objects share.
    const char* numeric_hostname() const;
    /// The port in host byte order; 0 for a family without ports.
    int port() const;

    int isAny = 0;       ///< 1 for 0.0.0.0 and `::`.
    int isLoopback = 0;  ///< 1 for 127.0.0.1, `::1` and `::ffff:127.0.0.1`.
    int isBroadcast = 0; ///< 1 for 255.255.255.255.

protected:
    /// `AF_INET` or `AF_INET6` once the first lookup has probed the machine, 0 before.
    static int preferredFamily;

private:
    KIV_HIDDEN void computeFlags();
    KIV_HIDDEN static int preferredWildcardFamily();
};
