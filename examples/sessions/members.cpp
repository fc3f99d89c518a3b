// A class that has a connector, a timer and signals as members.
#include <kiv/companion.h>

#include <csignal>
#include <string>

namespace {

class Station {
public:
    Station(const std::string& host, int port)
        : collector(host, port, [this](itcSession& session) { connected(session); }), timer([this] { measure(); }),
          reload({SIGHUP}, [this](int) { readings = 0; })
    {
        timer.startEvery(std::chrono::milliseconds(10));
    }

private:
    void connected(itcSession& session)
    {
        session.onPacket([this, &session](itcNDRReceive& packet) { (void)session.take(packet, acknowledged); });
    }
    void measure()
    {
        if (collector.send(readings)) // false: there is no session now
            readings += 1;
    }

    int readings = 0;
    int acknowledged = 0;
    // Last: members are destroyed in the reverse order. What the functions use is destroyed after them.
    itcConnector collector;
    itcTimer timer;
    itcSignals reload;
};

} // namespace

int main()
{
    int received = 0;
    itcAcceptor acceptor(itcInetAddress(0), [&received](itcSession& peer) {
        peer.onPacket([&peer, &received](itcNDRReceive& packet) {
            if (peer.take(packet, received))
                (void)peer.send(received);
        });
    });
    const Station station("127.0.0.1", acceptor.port());
    while (received < 3)
        itcDispatcher::instance()->dispatch(1.0);
}
