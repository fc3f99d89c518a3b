#include "Connect.h"

#include <fmt/core.h>

#include <netdb.h>

namespace {

constexpr unsigned int timeoutMillis = 5000;

}

std::unique_ptr<itcConnection> connectByTcp(const std::string& host, int port)
{
    itcInetAddress collector(host.c_str(), port, IPPROTO_TCP);
    if (collector.status.severity != Success) {
        // The one status whose error number is not the system's but the resolver's.
        fmt::print(stderr, "{}: {} ({})\n", host, collector.status.STATUS_text(),
                   gai_strerror(collector.status.errorNumber));
        return nullptr;
    }
    auto connection = std::make_unique<itcInetSockStream>();
    connection->setConnTimeout(timeoutMillis);
    if (connection->OpenConnection(collector, nullptr, nullptr) != 1 ||
        !connection->SetOption(itcConnection::ItcNonBlocking)) {
        fmt::print(stderr, "no collector at {} port {}: {}\n", host, port, connection->STATUS_text());
        return nullptr;
    }
    connection->setTcpNodelay(true); // a sample is small and complete: nothing to wait for
    return connection;
}

std::unique_ptr<itcConnection> connectByUnix(const std::string& path)
{
    itcUnixAddress collector(path.c_str());
    auto connection = std::make_unique<itcUnixSockStream>();
    if (collector.status.severity != Success || connection->OpenConnection(collector, nullptr, nullptr) != 1 ||
        !connection->SetOption(itcConnection::ItcNonBlocking)) {
        const itcStatus& reason = collector.status.severity != Success ? collector.status : *connection;
        fmt::print(stderr, "no collector at {}: {}\n", path, reason.STATUS_text());
        return nullptr;
    }
    return connection;
}
