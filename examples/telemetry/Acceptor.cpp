// Accepts one connection for each report of the dispatcher. The connection limit is asked before the accept. A listener
// that cannot accept rests: unlinked, until a timer of the dispatcher starts it again.
#include "Acceptor.h"

#include <utility>

namespace {

constexpr long restSeconds = 1;

}

Acceptor::Acceptor(itcDispatcher& loop, std::unique_ptr<itcConnection> endpoint, Accepted onAccepted, Note onNote)
    : dispatcher(loop), listener(std::move(endpoint)), accepted(std::move(onAccepted)), note(std::move(onNote))
{}

Acceptor::~Acceptor()
{
    dispatcher.stopTimer(this);
    dispatcher.unlink(listener.get(), ReadMask);
}

bool Acceptor::start()
{
    // Non-blocking: a client that has connected may be gone before the accept. A blocking accept would then wait.
    return listener->SetOption(itcConnection::ItcNonBlocking) &&
           dispatcher.link(listener.get(), nullptr, ReadMask, this) == 1;
}

int Acceptor::inputReady(itcConnection* /*conn*/, char* /*clientData*/)
{
    // The limit is asked first. At the limit AcceptConnection() would close the listener, and nobody could connect
    // again.
    if (itcConnection::hasMaxConnCount())
        return rest("as many connections as this process may have; further ones wait");
    itcConnection* peer = nullptr;
    const bool hasAccepted = listener->AcceptConnection(&peer, nullptr, nullptr) == 1;
    if (!hasAccepted && listener->code == Itc_Tp_Would_Block)
        return 0;
    if (!hasAccepted)
        return rest("a connection could not be accepted: " + listener->STATUS_text());
    accepted(std::unique_ptr<itcConnection>(peer));
    return 0;
}

int Acceptor::rest(const std::string& reason)
{
    note(reason);
    dispatcher.startTimer(restSeconds, 0, this);
    return -1; // -1 unlinks the listener
}

void Acceptor::timerExpired(long /*sec*/, long /*usec*/) { start(); }
