// A record of one's own that puts and takes itself, behind a header that says which record it is.   own_record
#include <kiv/kiv.h>

#include <sys/socket.h>

#include <iostream>

constexpr auto readingType = static_cast<itcMsgHdr::itcMsgType>(1); // what a number means is ours to say

// Both sides put and take the fields in the same order. Only types whose size is the same everywhere can travel: int
// and long long, but not long.
struct Reading : itcXNDR {
    int sensor = 0;
    double celsius = 0;
    long long micros = 0;

    itcNDRSend& to_external(itcNDRSend& buffer) const override { return buffer << sensor << celsius << micros; }
    itcNDRReceive& to_internal(itcNDRReceive& buffer) override { return buffer >> sensor >> celsius >> micros; }
};

static bool send(itcConnection& connection, int number, const Reading& reading)
{
    const itcMsgHdr header(number, readingType, "cellar", "", 0, 0, 0, 0);
    itcNDRSend packet;
    packet << header << reading;
    connection << packet;
    if (packet.severity != Success)
        std::cerr << "send: " << packet.STATUS_text() << '\n';
    return packet.severity == Success;
}

static bool receive(itcConnection& connection)
{
    itcNDRReceive packet;
    itcMsgHdr header;
    Reading reading;
    connection >> packet;
    if (packet.severity == Success)
        packet >> header;
    if (packet.severity == Success && header.type == readingType)
        packet >> reading; // a type that is not known is left alone: nobody can say how long it is
    if (packet.severity != Success || header.type != readingType) {
        std::cerr << "no reading: " << packet.STATUS_text() << '\n';
        return false;
    }
    std::cout << "message " << header.number << " from the " << header.text1 << ": sensor " << reading.sensor << ", "
              << reading.celsius << " degrees at " << reading.micros << '\n';
    return true;
}

int main()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        return 1;
    itcConnection near(ends[0], itcConnection::ItcStrictBlocking); // the base class serves for any stream socket
    itcConnection far(ends[1], itcConnection::ItcStrictBlocking);

    Reading reading;
    reading.sensor = 7;
    reading.celsius = 12.5;
    reading.micros = 1700000000000000;
    return send(near, 1, reading) && receive(far) ? 0 : 1;
}
