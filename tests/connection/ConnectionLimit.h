/// \file
/// While a ConnectionLimit exists, only `room` more connections may be made.
#pragma once

#include <kiv/connection/itcConnection.h>

class ConnectionLimit {
public:
    explicit ConnectionLimit(int room)
    {
        // A limit below 1 counts as no limit. One connection is counted here, so that the limit is at least 1.
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
