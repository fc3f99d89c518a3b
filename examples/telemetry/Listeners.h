// Where the collector can be reached.
#pragma once

#include <kiv/kiv.h>

#include <memory>
#include <string>

// Each returns null after printing why not.

/// Listens on all addresses of the machine, IPv4 and IPv6. \param port 0 for one that is free; receives its number.
std::unique_ptr<itcConnection> listenByTcp(int& port);
/// \param path of the socket file. Whatever lies there is replaced.
std::unique_ptr<itcConnection> listenByUnix(const std::string& path);
