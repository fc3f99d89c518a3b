/// \file
/// Room for so many more connections, while it exists.
#pragma once

#include <kiv/connection/itcConnection.h>

class ConnectionLimit {
public:
    explicit ConnectionLimit(int room)
    {
        // A limit below 1 would be none at all, so there is always one connection that counts.
        itcConnection::incConnCount();
        itcConnection::maxConns = itcConnection::getConnectionCount() + room;
    }
    ~ConnectionLimit()
    {
        itcConnection::maxConns = previous;
        itcConnection::decConnCount();
    }
    ConnectionLimit(const ConnectionLimit&) = delete;
    ConnectionLimit& operator=(const ConnectionLimit&) = delete;

private:
    const int previous = itcConnection::maxConns;
};
