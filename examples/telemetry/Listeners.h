// Opens the endpoints at which agents connect.
#pragma once

#include <kiv/kiv.h>

#include <memory>
#include <string>

// After a failure both functions print the reason and return null.

/// Listens on all addresses of the machine, IPv4 and IPv6.
/// \param port  the port to listen on; 0 for any free port. Receives the port that is used.
std::unique_ptr<itcConnection> listenByTcp(int& port);
/// Listens at a socket file.
/// \param path  the path of the socket file. A file that lies there already is replaced.
std::unique_ptr<itcConnection> listenByUnix(const std::string& path);
