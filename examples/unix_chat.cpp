// Two terminals talk through a socket file.   unix_chat [path]
// The program first tries to connect. If nobody listens at the path, the program listens there itself and waits. So the
// first of the two listens, and the second connects. Then both do the same: what is typed is written to the peer, and
// what the peer has written is printed.
#include <kiv/kiv.h>

#include <unistd.h>

#include <csignal>
#include <iostream>
#include <memory>
#include <string>

// Serves the terminal and the peer. The dispatcher knows the terminal as a descriptor without a connection: then
// `connection` is null. The peer is a connection.
class Chat : public itcIOHandler {
public:
    explicit Chat(itcConnection& other) : peer(other) {}

    bool isOver = false;

    int inputReady(itcConnection* connection, char*) override
    {
        char text[1024];
        const bool isTyped = connection == nullptr;
        const auto size =
            static_cast<int>(isTyped ? read(STDIN_FILENO, text, sizeof text) : peer.Read(text, sizeof text));
        if (size > 0 && isTyped)
            isOver = peer.Write(text, size) != size; // the peer is blocking: less than `size` is an error
        else if (size > 0)
            std::cout << "> " << std::string(text, static_cast<std::size_t>(size)) << std::flush;
        else
            isOver = true; // the input has ended, or the peer has gone
        return 0;
    }

private:
    itcConnection& peer;
};

// Connects to the peer, or waits for the peer. Returns null after printing the reason.
static std::unique_ptr<itcConnection> meet(const char* path)
{
    itcUnixAddress address(path);
    auto client = std::make_unique<itcUnixSockStream>();
    if (client->OpenConnection(address, nullptr, nullptr) == 1)
        return client;
    itcUnixSockStream listener; // its destructor removes the socket file: no third one can connect
    itcConnection* accepted = nullptr;
    std::cout << "waiting for the other one at " << path << std::endl;
    if (!listener.CreateEndpoint(address) || listener.AcceptConnection(&accepted, nullptr, nullptr) != 1)
        std::cerr << path << ": " << listener.STATUS_text() << '\n';
    return std::unique_ptr<itcConnection>(accepted);
}

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // a write to a peer that has gone then fails; without this the process ends
    const std::unique_ptr<itcConnection> peer = meet(argc > 1 ? argv[1] : "/tmp/unix_chat");
    if (peer == nullptr)
        return 1;
    std::cout << "connected; end with Ctrl-D" << std::endl;

    itcDispatcher& dispatcher = *itcDispatcher::instance();
    Chat chat(*peer);
    dispatcher.attach(STDIN_FILENO, nullptr, nullptr, ReadMask, &chat);
    dispatcher.link(peer.get(), nullptr, ReadMask, &chat);
    while (!chat.isOver)
        dispatcher.dispatch();
    delete &dispatcher;
}
