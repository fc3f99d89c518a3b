// Sends a number and a text, prints what comes back.   echo_client [host] [port] [text]
#include <kiv/kiv.h>

#include <csignal>
#include <iostream>

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // writing to a server that has gone fails, it does not end the client
    const char* const host = argc > 1 ? argv[1] : "localhost";
    const char* const port = argc > 2 ? argv[2] : "5000";
    const char* const text = argc > 3 ? argv[3] : "hello";

    itcInetAddress server(host, port, IPPROTO_TCP);
    if (server.status.severity != Success)
        return std::cerr << host << ": " << server.status.STATUS_text() << '\n', 1;

    itcInetSockStream connection(itcConnection::ItcStrictBlocking);
    if (connection.OpenConnection(server, nullptr, nullptr) != 1)
        return std::cerr << "connect: " << connection.STATUS_text() << '\n', 1;

    itcNDRSend request;
    request << 42 << text;
    connection << request; // one frame, one send()
    if (request.severity != Success)
        return std::cerr << "send: " << request.STATUS_text() << '\n', 1;

    itcNDRReceive reply;
    connection >> reply;
    if (reply.severity != Success)
        return std::cerr << "receive: " << reply.STATUS_text() << '\n', 1;

    int number = 0;
    unsigned int length = 0; // the zero at the end included
    char answer[256] = "";
    reply >> number >> length;
    if (reply.severity == Success && length < sizeof answer)
        reply.extract(answer, length); // unlike >>, bounded
    if (reply.severity != Success)
        return std::cerr << "answer: " << reply.STATUS_text() << '\n', 1;
    std::cout << number << ' ' << answer << '\n';
}
