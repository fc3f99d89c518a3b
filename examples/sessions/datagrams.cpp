// Heartbeats by UDP: one packet is one datagram.
#include <kiv/companion.h>

#include <iostream>

namespace {

struct Beat {
    int number = 0;
    KIV_FIELDS(number)
};

} // namespace

int main()
{
    int received = 0;
    itcDatagramReceiver hearts(itcInetAddress("127.0.0.1", 0), [&](itcNDRReceive& packet, const itcInetAddress& from) {
        Beat beat;
        packet >> beat;
        if (packet.severity != Success)
            return; // a packet with other content
        received += 1;
        std::cout << from.numeric_hostname() << " beats: " << beat << '\n';
    });
    if (!hearts)
        std::cerr << hearts.status().STATUS_text() << '\n';

    itcDatagramSender heart(itcInetAddress("127.0.0.1", hearts.port()));
    itcTimer timer([&heart, beat = Beat{1}] { (void)heart.send(beat); }); // what is lost is lost
    timer.startEvery(std::chrono::milliseconds(10));
    while (hearts && received < 3)
        itcDispatcher::instance()->dispatch(1.0);
    return received >= 3 ? 0 : 1;
}
