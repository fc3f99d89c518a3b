// The first server: answers each reading with a warmer one. Nobody can hold it up.   server [port]
#include <kiv/companion.h>

#include <iostream>

struct Reading {
    int sensor = 0;
    double celsius = 0;
    KIV_FIELDS(sensor, celsius)
};

int main(int argc, char** argv)
{
    const itcInetAddress local(nullptr, argc > 1 ? argv[1] : "5000", IPPROTO_TCP);
    itcAcceptor acceptor(local, [](itcSession& peer) {
        peer.onPacket([&peer](itcNDRReceive& packet) {
            Reading reading;
            if (peer.take(packet, reading)) // otherwise the session closes, and tells why
                (void)peer.send(Reading{reading.sensor, reading.celsius + 1});
        });
        peer.onClosed([&peer](const itcClosed& why) { std::cout << peer.peerAddress() << ": " << why.text() << '\n'; });
    });
    if (!acceptor)
        std::cerr << acceptor.status().STATUS_text() << '\n';
    return acceptor ? itcRunUntilSignal() : 1;
}
