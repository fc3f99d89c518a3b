// The server that the hostile peers attack. It answers each packet with a packet of 2 KiB, and prints one line for each
// session that has ended: the address of the peer, the number of the reason, the reason.
//
// The first line tells the port. SIGHUP prints the sessions and the open descriptors. SIGTERM ends the server.
#include <kiv/companion.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iterator>

namespace {

using namespace std::chrono_literals;

int openDescriptors()
{
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

void serve(itcSession& peer)
{
    peer.setIdleTimeout(2s).setPacketTimeout(1s).setSendTimeout(1s);
    peer.setQueue(256 * 1024, 128 * 1024, itcSession::WhenFull::refuseNewest);
    peer.onPacket([&peer](itcNDRReceive& packet) {
        int number = 0;
        static const std::string answer(2000, 'x');
        if (peer.take(packet, number))
            (void)peer.send(number, answer);
    });
    peer.onClosed([&peer](const itcClosed& why) {
        std::printf("%s %d %s\n", peer.peerAddress().c_str(), why.reason, why.text().c_str());
    });
}

} // namespace

int main()
{
    std::setvbuf(stdout, nullptr, _IOLBF, 1 << 16);
    itcAcceptor acceptor(itcInetAddress(itcInetAddress::Any, 0), serve);
    const itcSignals report({SIGHUP}, [&](int) {
        std::printf("now %zu sessions %d descriptors\n", acceptor.sessions(), openDescriptors());
    });
    std::printf("listening %d\n", acceptor.port());
    return acceptor ? itcRunUntilSignal() : 1;
}
