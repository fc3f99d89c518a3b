/// \file
/// The address of a peer as text.
#pragma once

#include <string>

class itcConnection;

namespace kiv {

/// Asks the system, not the resolver. \return for example "192.0.2.1:5000", "[2001:db8::1]:5000", "local"; "unknown" if
/// the connection has no peer; empty if there is no memory.
std::string addressOfPeer(const itcConnection& connection);

} // namespace kiv
