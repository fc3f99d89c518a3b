/// \file
/// Internal: host names as texts.
///
/// One size serves everywhere, for the host text that a lookup takes and for the names that the resolver gives. A name
/// from the resolver can therefore be passed to a lookup again.
#pragma once

#include <sys/socket.h>

#include <cstddef>

namespace kiv {

/// The largest number of characters in a host text, without the terminating zero.
constexpr std::size_t maxHostLength = 1024;

/// Room for a host text with its terminating zero.
using HostText = char[maxHostLength + 1];

/// Writes the name of an address to `text`; an empty text if there is no name. Waits for the resolver.
/// \param flags  the flags of getnameinfo(): `NI_NUMERICHOST` for the numeric text, 0 for a name.
/// \return `text`.
const char* hostNameOf(const sockaddr_storage& address, HostText& text, int flags);

} // namespace kiv
