// A described record for an interface that wants an itcXNDR.   as_xndr
#include <kiv/companion.h>

struct Order {
    int number = 0;
    std::string goods;
    KIV_FIELDS(number, goods)
};

// An operation of the host, older than the record.
static bool pack(itcNDRSend& packet, const itcXNDR& record)
{
    packet << record;
    return packet.severity == Success;
}

int main()
{
    const Order sent{7, "bolts"};
    itcNDRSend packet;
    if (!pack(packet, itcAsXNDR(sent)))
        return 1;

    itcNDRReceive arrived(packet.raw_data(), packet.raw_length());
    Order order;
    arrived >> order; // the bytes are those of packet << sent
    return arrived.severity == Success && order == sent ? 0 : 1;
}
