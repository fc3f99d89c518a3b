// A server with limits of its own, and with a state for each client.
#include <kiv/companion.h>

#include <iostream>
#include <memory>
#include <string>

namespace {

struct Client {
    std::string name;
    int readings = 0;
};

} // namespace

int main()
{
    bool isOver = false;
    itcAcceptor acceptor(itcInetAddress(0), [&isOver](itcSession& peer) {
        peer.setMaxPacketSize(64'000)
            .setIdleTimeout(std::chrono::minutes(2))
            .setPacketTimeout(std::chrono::seconds(10))
            .setSendTimeout(std::chrono::seconds(10))
            .setQueue(256'000, 64'000, itcSession::WhenFull::close);
        const auto client = std::make_shared<Client>(); // lives as long as the two functions
        peer.onPacket([&peer, client](itcNDRReceive& packet) {
            if (client->name.empty())
                (void)peer.take(packet, client->name); // the first packet says who it is
            else
                client->readings += 1;
        });
        peer.onClosed([&isOver, client](const itcClosed& why) {
            std::cout << client->name << ": " << client->readings << " readings, " << why.text() << '\n';
            isOver = client->name == "cellar" && client->readings == 1 && why.reason == itcClosed::tooLong;
        });
    });
    acceptor.setMaxSessions(100).setMaxAcceptRate(50);
    acceptor.onRest([](const itcStatus& why) { std::cerr << "clients must wait: " << why.STATUS_text() << '\n'; });

    itcConnector connector("127.0.0.1", acceptor.port(), [](itcSession& server) {
        (void)server.send(std::string("cellar"));
        (void)server.send(21.5);
        (void)server.send(std::string(70'000, ' ')); // above the limit
    });
    while (!isOver)
        itcDispatcher::instance()->dispatch(1.0);
}
