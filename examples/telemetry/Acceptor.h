// Taking in those who connect.
#pragma once

#include <kiv/kiv.h>

#include <functional>
#include <memory>
#include <string>

/// Accepts what connects to one listener, of whatever transport, until it is destroyed.
///
/// A listener that cannot accept, for lack of descriptors or because the process has as many connections as it may,
/// stays readable: left linked, it would be reported over and over. So it rests for a while then.
class Acceptor : public itcIOHandler {
public:
    using Accepted = std::function<void(std::unique_ptr<itcConnection>)>;
    using Note = std::function<void(const std::string&)>;

    /// \param listener  listens already.
    Acceptor(itcDispatcher& dispatcher, std::unique_ptr<itcConnection> listener, Accepted accepted, Note note);
    ~Acceptor() override;

    bool start();

    int inputReady(itcConnection* conn, char* clientData) override;
    void timerExpired(long sec, long usec) override;

private:
    int rest(const std::string& reason);

    itcDispatcher& dispatcher;
    const std::unique_ptr<itcConnection> listener;
    const Accepted accepted;
    const Note note;
};
