// Two terminals talk through a socket file. The first to come listens, the second connects.   unix_chat [path]
#include <kiv/kiv.h>

#include <unistd.h>

#include <csignal>
#include <iostream>
#include <memory>
#include <string>

// Serves the terminal, which is a bare descriptor to the dispatcher, and the peer, which is a connection.
class Chat : public itcIOHandler {
public:
    explicit Chat(itcConnection& peer) : peer(peer) {}

    bool isOver = false;

    int inputReady(itcConnection* connection, char*) override
    {
        char text[1024];
        const bool isTyped = connection == nullptr;
        const auto size =
            static_cast<int>(isTyped ? read(STDIN_FILENO, text, sizeof text) : peer.Read(text, sizeof text));
        if (size > 0 && isTyped)
            isOver = peer.Write(text, size) != size; // blocking: all of it or an error
        else if (size > 0)
            std::cout << "> " << std::string(text, static_cast<std::size_t>(size)) << std::flush;
        else
            isOver = true; // the end of the input, or the peer has gone
        return 0;
    }

private:
    itcConnection& peer;
};

// \return null after saying why.
static std::unique_ptr<itcConnection> meet(const char* path)
{
    itcUnixAddress address(path);
    auto client = std::make_unique<itcUnixSockStream>();
    if (client->OpenConnection(address, nullptr, nullptr) == 1)
        return client;
    itcUnixSockStream listener; // removes the socket file at the end of this function: two is company
    itcConnection* accepted = nullptr;
    std::cout << "waiting for the other one at " << path << std::endl;
    if (!listener.CreateEndpoint(address) || listener.AcceptConnection(&accepted, nullptr, nullptr) != 1)
        std::cerr << path << ": " << listener.STATUS_text() << '\n';
    return std::unique_ptr<itcConnection>(accepted);
}

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // writing to a peer that has gone fails, it does not end us
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
