// A client of the library alone, for a server that it trusts.   plain_client [host] [port] [text]
// It sends a number and a text to plain_server, waits for the answer, and prints it.
// The shortest way through the library: look up an address, connect, put values, send, receive, take values.
// Each step leaves its status in the object that did the work, and each status is tested.
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
    std::signal(SIGPIPE, SIG_IGN); // a write to a server that has gone then fails; without this the process ends
    const char* const host = argc > 1 ? argv[1] : "localhost";
    const char* const port = argc > 2 ? argv[2] : "5000";
    const char* const text = argc > 3 ? argv[3] : "hello";

    itcInetAddress server(host, port, IPPROTO_TCP);
    if (server.status.severity != Success)
        return fail(host, server.status);

    itcInetSockStream connection(itcConnection::ItcStrictBlocking); // each read waits for the whole packet
    if (connection.OpenConnection(server, nullptr, nullptr) != 1)
        return fail("connect", connection);

    itcNDRSend request;
    request << 42 << text;
    connection << request; // the whole packet leaves in one send()
    if (request.severity != Success)
        return fail("send", request);

    itcNDRReceive reply;
    connection >> reply;
    if (reply.severity != Success)
        return fail("receive", reply);

    int number = 0;
    char answer[256] = "";
    if (reply.raw_length() >= sizeof answer)
        return fail("too long an answer", reply); // no text is longer than its packet: from here on the text fits
    reply >> number >> answer;
    if (reply.severity != Success) // one test after the last take is enough: takes do not clear the status
        return fail("answer", reply);
    std::cout << number << ' ' << answer << '\n';
}
