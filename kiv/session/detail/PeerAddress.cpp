// IPv6 addresses stand in brackets, because a colon is in front of the port. IPv4 peers of an IPv6 listener are shown
// as IPv4: the mapped form says the same in a longer way.
#include <kiv/session/detail/PeerAddress.h>

#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/OS.h>

#include <new>

namespace kiv {

std::string addressOfPeer(const itcConnection& connection)
try {
    sockaddr_storage peer = {};
    socklen_t length = sizeof peer;
    if (OS_getpeername(connection.ReadDescriptor(), reinterpret_cast<sockaddr*>(&peer), &length) != 0)
        return "unknown";
    if (peer.ss_family != AF_INET && peer.ss_family != AF_INET6)
        return "local";
    const itcInetAddress address(peer);
    const std::string mapped = "::ffff:";
    std::string host = address.numeric_hostname();
    if (host.compare(0, mapped.size(), mapped) == 0 && host.find('.') != std::string::npos)
        host.erase(0, mapped.size());
    if (host.find(':') != std::string::npos)
        host = '[' + host + ']';
    return host + ':' + std::to_string(address.port());
} catch (const std::bad_alloc&) {
    return {};
}

} // namespace kiv
