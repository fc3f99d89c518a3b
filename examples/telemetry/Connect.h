// Reaching the collector.
#pragma once

#include <kiv/kiv.h>

#include <memory>
#include <string>

// Each waits until the connection is there, five seconds at most by TCP; from then on it does not block. Null after
// printing why not.
std::unique_ptr<itcConnection> connectByTcp(const std::string& host, int port);
std::unique_ptr<itcConnection> connectByUnix(const std::string& path);
