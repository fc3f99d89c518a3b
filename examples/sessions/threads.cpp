// A worker computes, and the session that has asked gets the answer, if the session is still there.
#include <kiv/companion.h>

#include <thread>
#include <vector>

namespace {

int computeForAWhile(int question) { return question * question; }

} // namespace

int main()
{
    std::vector<std::thread> workers;
    itcPost post;
    itcAcceptor acceptor(itcInetAddress(0), [&](itcSession& peer) {
        peer.onPacket([&](itcNDRReceive& packet) {
            int question = 0;
            if (!peer.take(packet, question))
                return;
            workers.emplace_back([sender = post.sender(), asker = peer.handle(), question] {
                const int answer = computeForAWhile(question);
                (void)sender.post([asker, answer] { // runs on the dispatching thread
                    if (itcSession* const session = asker.get())
                        (void)session->send(answer);
                });
            });
        });
    });
    int answer = 0;
    itcConnector connector("127.0.0.1", acceptor.port(), [&answer](itcSession& server) {
        server.onPacket([&server, &answer](itcNDRReceive& packet) { (void)server.take(packet, answer); });
        (void)server.send(7);
    });
    while (answer == 0)
        itcDispatcher::instance()->dispatch(1.0);
    for (std::thread& worker : workers)
        worker.join();
    return answer == 49 ? 0 : 1;
}
