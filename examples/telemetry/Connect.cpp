// The connect itself may wait: the agent has nothing to do before it is connected. Only then the connection becomes
// non-blocking. By TCP the wait has a limit: a machine that is switched off never answers.
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
        // After a lookup the error number is the resolver's return code. gai_strerror() has the text for this code.
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
    connection->setTcpNodelay(true); // a sample is complete: the system need not wait for more bytes before it sends
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
