// Answers every packet with the number and the text that it brought.   echo_server [port]
#include <kiv/kiv.h>

#include <csignal>
#include <iostream>

class EchoServer : public itcIOHandler {
public:
    itcInetSockStream listener;

    int inputReady(itcConnection* conn, char*) override { return conn == &listener ? accept() : answer(*conn); }

private:
    int accept()
    {
        itcConnection* peer = nullptr; // ours from here on: answer() deletes it
        if (itcConnection::hasMaxConnCount() || listener.AcceptConnection(&peer, nullptr, nullptr) != 1)
            return std::cerr << "accept: " << listener.STATUS_text() << '\n', -1;
        peer->SetOption(itcConnection::ItcStrictBlocking); // packets are read whole, in however many pieces they come
        itcDispatcher::instance()->link(peer, nullptr, ReadMask, this);
        return 0;
    }

    int answer(itcConnection& peer)
    {
        int number = 0;
        unsigned int length = 0; // the zero at the end included
        char text[256] = "";
        peer >> request;
        if (request.severity == Success && (request >> number >> length, request.severity == Success) &&
            length < sizeof text) {
            request.extract(text, length); // unlike >>, bounded: the packet comes from outside
            reply.reset();
            reply << number << text;
            if (request.severity == Success && (peer << reply, reply.severity == Success))
                return 0;
        }
        std::cerr << "a client has left, or does not speak our language: " << request.STATUS_text() << '\n';
        itcDispatcher::instance()->unlink(&peer, ReadMask); // first: the dispatcher keeps only pointers
        delete &peer;
        return 0;
    }

    itcNDRReceive request;
    itcNDRSend reply;
};

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // writing to a client that has gone fails, it does not end the server
    EchoServer server;
    itcInetAddress local(nullptr, argc > 1 ? argv[1] : "5000", IPPROTO_TCP); // no host: IPv4 and IPv6
    if (!server.listener.CreateEndpoint(local))
        return std::cerr << "listen: " << server.listener.STATUS_text() << '\n', 1;
    itcDispatcher::instance()->link(&server.listener, nullptr, ReadMask, &server);
    for (;;)
        itcDispatcher::instance()->dispatch();
}
