// A server that ends in good order: what waits for the clients is sent, and the clients see a regular end.
#include <kiv/companion.h>

#include <string>

int main()
{
    itcAcceptor acceptor(itcInetAddress(0), [](itcSession& peer) { (void)peer.send(std::string("welcome")); });
    itcClosed seen{itcClosed::systemError, 0, {}};
    itcConnector connector("127.0.0.1", acceptor.port(), [&seen](itcSession& server) {
        server.onPacket([](itcNDRReceive&) { itcStopRunning(); }); // a signal from outside does the same
        server.onClosed([&seen](const itcClosed& why) { seen = why; });
    });

    if (itcRunUntilSignal() != 0)
        return 1;
    acceptor.finish(std::chrono::seconds(5));
    while (acceptor.sessions() > 0)
        itcDispatcher::instance()->dispatch(1.0);

    return seen.reason == itcClosed::peerLeft ? 0 : 1;
}
