// A server of the library alone, for processes that trust each other.   plain_server [port]
// It answers every packet with the number and the text of the packet. A client that stops inside a packet stops this
// server for ever: where clients are not trusted, take server.cpp as the model.
// One handler serves the listener and all clients. The dispatcher tells the handler which connection has input.
// A client that sends something wrong loses its connection; the server goes on.
#include <kiv/kiv.h>

#include <csignal>
#include <iostream>

struct PlainServer : itcIOHandler {
    itcInetSockStream listener;
    itcNDRReceive request;
    int inputReady(itcConnection* conn, char*) override
    {
        if (conn == &listener)
            return accept();
        *conn >> request;
        if (request.severity == Success && answer(*conn))
            return 0;
        itcDispatcher::instance()->unlink(conn, ReadMask); // before the delete: the dispatcher keeps the pointer
        delete conn; // the client has left, or has sent a packet with other content
        return 0;
    }

    int accept()
    {
        itcConnection* peer = nullptr; // owned by this server: inputReady() deletes the connection
        if (listener.AcceptConnection(&peer, nullptr, nullptr) != 1)
            return -1; // -1 unlinks the listener; the loop in main() ends
        // Each read waits for the whole packet: this is what a client must be trusted with.
        peer->SetOption(itcConnection::ItcStrictBlocking);
        itcDispatcher::instance()->link(peer, nullptr, ReadMask, this);
        return 0;
    }

    bool answer(itcConnection& peer)
    {
        int number = 0;
        char text[256] = "";
        if (request.raw_length() >= sizeof text)
            return false; // no text is longer than its packet: from here on the text fits
        request >> number >> text;
        itcNDRSend reply;
        reply << number << text;
        if (request.severity == Success) // one test after the last take is enough: takes do not clear the status
            peer << reply;
        return request.severity == Success && reply.severity == Success;
    }
};

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // a write to a client that has gone then fails; without this the process ends
    PlainServer server;
    // No host: the server serves IPv4 and IPv6 clients, if the machine can.
    itcInetAddress local(nullptr, argc > 1 ? argv[1] : "5000", IPPROTO_TCP);
    server.listener.CreateEndpoint(local);
    itcDispatcher::instance()->link(&server.listener, nullptr, ReadMask, &server);
    while (server.listener.severity == Success) // until the listener fails: at the start, or at an accept
        itcDispatcher::instance()->dispatch();
    std::cerr << "listen: " << server.listener.STATUS_text() << '\n';
    return 1;
}
