/// \file
/// Internal: host names as texts.
#pragma once

#include <sys/socket.h>

#include <cstddef>

namespace kiv {

constexpr std::size_t maxHostLength = 1024;

/// Host texts have one size everywhere: what a lookup takes and what the name functions give.
using HostText = char[maxHostLength + 1];

/// The name of an address, by `NI_` flags, written to `text`; empty if it has none.
const char* hostNameOf(const sockaddr_storage& address, HostText& text, int flags);

} // namespace kiv
