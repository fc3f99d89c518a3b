// What Internet connections add to the base: gathering of small pieces, and the name of a cipher that they do not have.
#include <kiv/connection/itcNetConnection.h>

#include <netinet/in.h>
#include <netinet/tcp.h>

itcNetConnection::~itcNetConnection() = default;

bool itcNetConnection::setTcpNodelay(bool on)
{
    const int value = on ? 1 : 0;
    return OS_setsockopt(td, IPPROTO_TCP, TCP_NODELAY, &value, sizeof value) == 0;
}

const char* itcNetConnection::getCipherSuite() const { return "none"; }
