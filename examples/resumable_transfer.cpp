// Sends a packet of 1 MB through a socket that takes a few kilobytes at a time.   resumable_transfer
// No call waits. Each call of the handler moves as many bytes as the socket can take or has received. The buffer keeps
// the position of the transfer. The dispatcher calls the handler again when the socket is ready again.
#include <kiv/kiv.h>

#include <sys/socket.h>

#include <iostream>
#include <numeric>
#include <vector>

// The sender and the receiver in one handler. Usually they are in two processes.
class Transfer : public itcIOHandler {
public:
    itcNdrUbSend outgoing{0};
    itcNdrUbReceive incoming{0};
    int writes = 0;
    int reads = 0;
    bool finished = false;

    int outputReady(itcConnection* connection, char*) override
    {
        ++writes;
        const unsigned int unsent = *connection << outgoing;
        return unsent == 0 || outgoing.severity == Error ? -1 : 0; // -1 unlinks: nothing is left to send
    }

    int inputReady(itcConnection* connection, char*) override
    {
        ++reads;
        const unsigned int expected = *connection >> incoming;
        finished = expected == 0 || incoming.severity == Error;
        return finished ? -1 : 0;
    }
};

int main()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        return 1;
    const int small = 4096;
    setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    itcConnection near(ends[0], itcConnection::ItcNonBlocking);
    itcConnection far(ends[1], itcConnection::ItcNonBlocking);

    std::vector<char> sent(1000000);
    std::iota(sent.begin(), sent.end(), char(0));
    Transfer transfer;
    transfer.outgoing.insert(sent.data(), static_cast<int>(sent.size()), false);

    itcDispatcher& dispatcher = *itcDispatcher::instance();
    dispatcher.link(&near, nullptr, WriteMask, &transfer);
    dispatcher.link(&far, nullptr, ReadMask, &transfer);
    while (!transfer.finished && transfer.outgoing.severity != Error)
        dispatcher.dispatch();
    delete &dispatcher;

    std::vector<char> received(sent.size());
    auto size = static_cast<unsigned int>(received.size());
    transfer.incoming.extract(received.data(), size);
    const bool isEqual = transfer.incoming.severity == Success && received == sent;
    std::cout << transfer.writes << " writes, " << transfer.reads << " reads, " << (isEqual ? "all" : "not all")
              << " is there\n";
    return isEqual ? 0 : 1;
}
