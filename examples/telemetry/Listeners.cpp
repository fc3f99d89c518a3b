// An endpoint for each transport that agents may use. The collector treats both alike from here on: as itcConnection.
#include "Listeners.h"

#include <fmt/core.h>

std::unique_ptr<itcConnection> listenByTcp(int& port)
{
    auto listener = std::make_unique<itcInetSockStream>();
    itcInetAddress local(port);
    itcInetAddress bound;
    if (!listener->CreateEndpoint(local) || !listener->GetSockname(bound)) {
        fmt::print(stderr, "can not listen on port {}: {}\n", port, listener->STATUS_text());
        return nullptr;
    }
    port = bound.port();
    return listener;
}

std::unique_ptr<itcConnection> listenByUnix(const std::string& path)
{
    auto listener = std::make_unique<itcUnixSockStream>();
    itcUnixAddress local(path.c_str());
    if (local.status.severity != Success || !listener->CreateEndpoint(local)) {
        const itcStatus& reason = local.status.severity != Success ? local.status : *listener;
        fmt::print(stderr, "can not listen at {}: {}\n", path, reason.STATUS_text());
        return nullptr;
    }
    return listener;
}
