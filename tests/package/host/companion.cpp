// A host of the installed companion. The host sends a described record through a session to itself.
#include <kiv/companion.h>

#include <iostream>
#include <string>

namespace {

struct Reading {
    int sensor = 0;
    std::string place;
    KIV_FIELDS(sensor, place)
};

} // namespace

int main()
{
    const Reading sent{7, "cellar"};
    Reading received;
    itcAcceptor acceptor(itcInetAddress(itcInetAddress::Localhost, 0), [&](itcSession& peer) {
        peer.onPacket([&](itcNDRReceive& packet) {
            if (peer.take(packet, received))
                itcStopRunning();
        });
    });
    const itcConnector connector(itcInetAddress::Localhost, acceptor.port(),
                                 [&](itcSession& server) { (void)server.send(sent); });
    const int result = acceptor ? itcRunUntilSignal() : 1;
    std::cout << received << ", " << acceptor.status().STATUS_text() << '\n';
    return received == sent ? result : 1;
}
