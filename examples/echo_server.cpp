// Answers every packet with the number and the text that it brought.   echo_server [port]
#include <kiv/kiv.h>

#include <csignal>
#include <iostream>

struct EchoServer : itcIOHandler {
    itcInetSockStream listener;
    itcNDRReceive request;
    int inputReady(itcConnection* conn, char*) override
    {
        if (conn == &listener)
            return accept();
        *conn >> request;
        if (request.severity == Success && answer(*conn))
            return 0;
        itcDispatcher::instance()->unlink(conn, ReadMask); // first: the dispatcher keeps only pointers
        delete conn;                                       // it has left, or does not speak our language
        return 0;
    }

    int accept()
    {
        itcConnection* peer = nullptr; // ours: inputReady() deletes it
        if (listener.AcceptConnection(&peer, nullptr, nullptr) != 1)
            return -1; // at the connection limit, or out of descriptors: main() ends
        // Packets are read whole. A peer that closes inside one would hang us; docs/integration.md tells another way.
        peer->SetOption(itcConnection::ItcStrictBlocking);
        itcDispatcher::instance()->link(peer, nullptr, ReadMask, this);
        return 0;
    }

    bool answer(itcConnection& peer)
    {
        int number = 0;
        char text[256] = "";
        if (request.raw_length() >= sizeof text)
            return false; // a text may be as long as its packet, so from here on it fits
        request >> number >> text;
        itcNDRSend reply;
        reply << number << text;
        if (request.severity == Success) // asked after the last take: nothing clears it in between
            peer << reply;
        return request.severity == Success && reply.severity == Success;
    }
};

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // writing to a client that has gone fails, it does not end the server
    EchoServer server;
    itcInetAddress local(nullptr, argc > 1 ? argv[1] : "5000", IPPROTO_TCP); // no host: IPv4 and IPv6
    server.listener.CreateEndpoint(local);
    itcDispatcher::instance()->link(&server.listener, nullptr, ReadMask, &server);
    while (server.listener.severity == Success) // else it could not be made, or cannot accept any more
        itcDispatcher::instance()->dispatch();
    std::cerr << "listen: " << server.listener.STATUS_text() << '\n';
    return 1;
}
