// Internet addresses: lookups, names, and the flags that a host reads.
// The resolver wants to know the family of a wildcard. Each lookup therefore begins with the preferred family. The
// first lookup of the process finds the preferred family with two sockets; later lookups use the stored result.
//
// Host texts may come from a configuration or from a user: the length is checked before a text is copied. The answer of
// the resolver is trusted except for its length. The status is set before the answer is freed: freeing prints traces,
// and the print hook of the host may do anything, `errno` included.
#include <kiv/address/itcInetAddress.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/address/detail/HostName.h>
#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/SetStatus.h>

#include <cstdio>
#include <cstring>

using namespace kiv;

const char* const itcInetAddress::Any = "0.0.0.0";
const char* const itcInetAddress::Any6 = "::";
const char* const itcInetAddress::Localhost = "127.0.0.1";
const char* const itcInetAddress::Localhost6 = "::1";
const char* const itcInetAddress::Broadcast = "255.255.255.255";

int itcInetAddress::preferredFamily = 0;

namespace {

bool hasInet()
{
    const int inet = OS_socket(AF_INET, SOCK_STREAM, 0);
    if (inet == -1)
        return false;
    OS_closesocket(inet);
    return true;
}

// True if this IPv6 socket can serve IPv4 peers, too. False for -1, the descriptor of a socket that could not be made.
bool servesBothFamilies(int inet6)
{
    const int off = 0;
    return OS_setsockopt(inet6, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off) == 0;
}

// Copies the host text. URLs put an IPv6 address in brackets; a pair of brackets is left out.
// The caller has checked that the text fits.
void copyHost(HostText& copy, const char* host)
{
    size_t length = std::strlen(host);
    if (length >= 2 && host[0] == '[' && host[length - 1] == ']') {
        ++host;
        length -= 2;
    }
    std::memcpy(copy, host, length);
    copy[length] = '\0';
}

// \return the family of the wildcard that this name asks for; 0 (`AF_UNSPEC`) for every other name.
int wildcardFamilyOf(const HostText& name, int preferred)
{
    if (name[0] == '\0')
        return preferred;
    if (std::strcmp(name, itcInetAddress::Any) == 0)
        return AF_INET;
    return std::strcmp(name, itcInetAddress::Any6) == 0 ? AF_INET6 : AF_UNSPEC;
}

int socketTypeOf(int protocol)
{
    switch (protocol) {
    case IPPROTO_UDP:
        return SOCK_DGRAM;
    case IPPROTO_TCP:
        return SOCK_STREAM;
    default:
        return 0;
    }
}

} // namespace

itcInetAddress::itcInetAddress() { lookup(nullptr, 0, 0); }

itcInetAddress::itcInetAddress(int port) { lookup(nullptr, port, 0); }

itcInetAddress::itcInetAddress(const char* host, int port) { lookup(host, port, 0); }

itcInetAddress::itcInetAddress(const char* host, int port, int protocol) { lookup(host, port, protocol); }

itcInetAddress::itcInetAddress(const char* host, const char* service, int protocol) { lookup(host, service, protocol); }

itcInetAddress::itcInetAddress(const sockaddr_storage& systemAddress)
{
    address = systemAddress;
    computeFlags();
}

bool itcInetAddress::lookup(const char* host, int port, int protocol)
{
    char service[sizeof "-2147483648"];
    static_cast<void>(std::snprintf(service, sizeof service, "%d", port));
    return lookup(host, service, protocol);
}

bool itcInetAddress::lookup(const char* host, const char* service, int protocol)
{
    const int wildcardFamily = preferredWildcardFamily();
    clearStatus(status);

    HostText name = "";
    if (host != nullptr) {
        if (std::strlen(host) > maxHostLength) {
            setStatus(status, Itc_Tp_Gethostname_Call_Failed, Error);
            return false;
        }
        copyHost(name, host);
    }

    addrinfo hints = {};
    if (const int family = wildcardFamilyOf(name, wildcardFamily)) {
        hints.ai_flags = AI_PASSIVE;
        hints.ai_family = family;
        name[0] = '\0';
    }
    hints.ai_protocol = protocol;
    hints.ai_socktype = socketTypeOf(protocol);

    const char* const askedHost = name[0] != '\0' ? name : nullptr;
    addrinfo* answers = nullptr;
    int returnCode = OS_getaddrinfo(askedHost, service, &hints, &answers);
    if (protocol == 0 && returnCode == EAI_SERVICE) {
        // The database may list a service for one protocol only. Then the resolver does not find the service for
        // "either", and the second question asks for streams.
        hints.ai_socktype = SOCK_STREAM;
        returnCode = OS_getaddrinfo(askedHost, service, &hints, &answers);
    }

    // Only the first answer is used: the order of the resolver decides.
    const addrinfo* const first = returnCode == 0 ? answers : nullptr;
    if (first != nullptr && first->ai_addr != nullptr) {
        if (first->ai_addrlen <= sizeof address)
            std::memcpy(&address, first->ai_addr, first->ai_addrlen);
        else
            returnCode = EAI_OVERFLOW;
    }
    if (returnCode != 0)
        setStatus(status, Itc_Tp_Unknown_Peer, Error, returnCode);
    computeFlags(); // also after a failure: a host may have written `address` itself
    OS_freeaddrinfo(answers);
    return status.severity < Warning;
}

const char* itcInetAddress::hostname() const
{
    static HostText text;
    return hostNameOf(address, text, 0);
}

const char* itcInetAddress::numeric_hostname() const
{
    static HostText text;
    return hostNameOf(address, text, NI_NUMERICHOST);
}

int itcInetAddress::port() const
{
    if (address.ss_family != AF_INET && address.ss_family != AF_INET6)
        return 0;
    sockaddr_in inet; // the port lies at the same place in sockaddr_in and in sockaddr_in6
    std::memcpy(&inet, &address, sizeof inet);
    return static_cast<int>(OS_ntohs(inet.sin_port));
}

void itcInetAddress::computeFlags()
{
    isAny = isLoopback = isBroadcast = 0;
    if (address.ss_family == AF_INET) {
        sockaddr_in inet;
        std::memcpy(&inet, &address, sizeof inet);
        isAny = inet.sin_addr.s_addr == OS_htonl(INADDR_ANY);
        isLoopback = inet.sin_addr.s_addr == OS_htonl(INADDR_LOOPBACK);
        isBroadcast = inet.sin_addr.s_addr == OS_htonl(INADDR_BROADCAST);
    } else if (address.ss_family == AF_INET6) {
        constexpr unsigned char mappedLoopback[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 127, 0, 0, 1};
        sockaddr_in6 inet6;
        std::memcpy(&inet6, &address, sizeof inet6);
        isAny = IN6_IS_ADDR_UNSPECIFIED(&inet6.sin6_addr);
        isLoopback = IN6_IS_ADDR_LOOPBACK(&inet6.sin6_addr) ||
                     std::memcmp(&inet6.sin6_addr, mappedLoopback, sizeof mappedLoopback) == 0;
    }
}

// Several threads may make the first lookup at the same time. Each thread then asks the machine, and all find the same
// family, so no lock is needed. The atomic access makes this defined behaviour in C++; hosts see `preferredFamily` as a
// plain int, so the variable itself is not a std::atomic.
int itcInetAddress::preferredWildcardFamily()
{
    const auto family = [] { return __atomic_load_n(&preferredFamily, __ATOMIC_RELAXED); };
    const auto prefer = [](int found) { __atomic_store_n(&preferredFamily, found, __ATOMIC_RELAXED); };
    if (family() != 0)
        return family();
    if (!hasInet()) {
        prefer(AF_INET6);
    } else if (family() == 0) { // another thread may have stored the family in between
        const int inet6 = OS_socket(AF_INET6, SOCK_STREAM, 0);
        prefer(servesBothFamilies(inet6) ? AF_INET6 : AF_INET);
        if (inet6 != -1)
            OS_closesocket(inet6);
    }
    return family();
}
