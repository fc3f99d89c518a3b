// Sends a number and a text, prints what comes back.   echo_client [host] [port] [text]
#include <kiv/kiv.h>

#include <csignal>
#include <iostream>

static int fail(const char* what, const itcStatus& status)
{
    std::cerr << what << ": " << status.STATUS_text() << '\n';
    return 1;
}

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // writing to a server that has gone fails, it does not end the client
    const char* const host = argc > 1 ? argv[1] : "localhost";
    const char* const port = argc > 2 ? argv[2] : "5000";
    const char* const text = argc > 3 ? argv[3] : "hello";

    itcInetAddress server(host, port, IPPROTO_TCP);
    if (server.status.severity != Success)
        return fail(host, server.status);

    itcInetSockStream connection(itcConnection::ItcStrictBlocking); // packets are read whole
    if (connection.OpenConnection(server, nullptr, nullptr) != 1)
        return fail("connect", connection);

    itcNDRSend request;
    request << 42 << text;
    connection << request; // one frame, one send()
    if (request.severity != Success)
        return fail("send", request);

    itcNDRReceive reply;
    connection >> reply;
    if (reply.severity != Success)
        return fail("receive", reply);

    int number = 0;
    char answer[256] = "";
    if (reply.raw_length() >= sizeof answer)
        return fail("too long an answer", reply); // a text may be as long as its packet, so from here on it fits
    reply >> number >> answer;
    if (reply.severity != Success) // asked after the last take: nothing clears it in between
        return fail("answer", reply);
    std::cout << number << ' ' << answer << '\n';
}
