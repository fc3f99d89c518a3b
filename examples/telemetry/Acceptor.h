// Accepts the connections of agents.
#pragma once

#include <kiv/kiv.h>

#include <functional>
#include <memory>
#include <string>

/// Accepts the connections of one listener, until the Acceptor is destroyed. The listener may be of any transport.
///
/// A listener sometimes cannot accept: no descriptor is free, or the process has as many connections as it may have.
/// The listener then stays readable, and the dispatcher would report it again and again. So the Acceptor unlinks the
/// listener for one second.
class Acceptor : public itcIOHandler {
public:
    using Accepted = std::function<void(std::unique_ptr<itcConnection>)>;
    using Note = std::function<void(const std::string&)>;

    /// \param listener  listens already.
    /// \param accepted  is called with each new connection and owns the connection from then on.
    /// \param note      is called with a text that says why the listener rests.
    Acceptor(itcDispatcher& dispatcher, std::unique_ptr<itcConnection> listener, Accepted accepted, Note note);
    ~Acceptor() override;

    /// Links the listener to the dispatcher. \return false if that fails.
    bool start();

    int inputReady(itcConnection* conn, char* clientData) override;
    void timerExpired(long sec, long usec) override;

private:
    /// Unlinks the listener until the timer fires. \return the result for the dispatcher.
    int rest(const std::string& reason);

    itcDispatcher& dispatcher;
    const std::unique_ptr<itcConnection> listener;
    const Accepted accepted;
    const Note note;
};
