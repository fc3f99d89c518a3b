// A host that deletes a linked connection is told.
#include <kiv/companion.h>

#include <iostream>
#include <memory>
#include <string>

namespace {

class Handler : public itcIOHandler {};

} // namespace

int main()
{
    bool isTold = false;
    itcCheckedDispatcher checked([&isTold](const std::string& line) {
        std::cerr << line << '\n';
        isTold = true;
    });
    itcDispatcher::instance(&checked); // before anything is linked

    Handler handler;
    itcInetAddress local(0);
    auto listener = std::make_unique<itcInetSockStream>();
    if (listener->CreateEndpoint(local) != 1)
        return 1;
    listener->SetOption(itcConnection::ItcNonBlocking);
    checked.link(listener.get(), nullptr, ReadMask, &handler);
    checked.dispatch(0.0);
    listener.reset(); // the mistake: unlink() is missing
    checked.dispatch(0.0);
    return isTold ? 0 : 1;
}
