// Connects an agent to its collector.
#pragma once

#include <kiv/kiv.h>

#include <memory>
#include <string>

// Both functions wait until the connection is made. A connect by TCP waits five seconds at most. The returned
// connection is non-blocking. After a failure the reason is printed and the result is null.

std::unique_ptr<itcConnection> connectByTcp(const std::string& host, int port);
std::unique_ptr<itcConnection> connectByUnix(const std::string& path);
