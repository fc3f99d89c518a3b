// Sends a record of this program's own.   own_record
// The record lists its fields once. A header in front of the record says which record follows. The receiver takes the
// header first, and the record only if the receiver knows the type.
#include <kiv/companion.h>

#include <sys/socket.h>

#include <iostream>

// The meaning of the numbers belongs to the program. The library gives them none.
constexpr auto readingType = static_cast<itcMsgHdr::itcMsgType>(1);

// The list is the order on the wire. The types have the same size on every machine.
struct Reading {
    std::int32_t sensor = 0;
    double celsius = 0;
    std::int64_t micros = 0;
    KIV_FIELDS(sensor, celsius, micros)
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
        packet >> reading; // an unknown type is not taken: its length is unknown, too
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
    // The base class is enough for a socket that is connected already.
    itcConnection near(ends[0], itcConnection::ItcStrictBlocking);
    itcConnection far(ends[1], itcConnection::ItcStrictBlocking);

    return send(near, 1, {7, 12.5, 1700000000000000}) && receive(far) ? 0 : 1;
}
