// Sends as fast as the peer takes, with a small queue.
#include <kiv/companion.h>

#include <vector>

namespace {

constexpr int mostBlocks = 2000;

// Sends until the queue is full. The block that was refused is sent when there is room.
void sendBlocks(itcSession& peer, int& next)
{
    const std::vector<double> block(128, 0.5);
    while (next < mostBlocks && peer.send(next, block))
        next += 1;
}

} // namespace

int main()
{
    int next = 0;
    itcAcceptor acceptor(itcInetAddress(0), [&next](itcSession& peer) {
        peer.setQueue(64'000, 16'000, itcSession::WhenFull::refuseNewest);
        peer.onRoom([&peer, &next] { sendBlocks(peer, next); });
        sendBlocks(peer, next);
    });
    int received = 0;
    itcConnector connector("127.0.0.1", acceptor.port(), [&received](itcSession& server) {
        server.onPacket([&received, &server](itcNDRReceive& packet) {
            int number = 0;
            if (server.take(packet, number) && number == received) // in order, none is lost
                received += 1;
        });
    });
    while (received < mostBlocks)
        itcDispatcher::instance()->dispatch(1.0);
}
