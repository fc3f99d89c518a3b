/// \file
/// One end of a connection. The dispatcher calls the peer to send and to receive packets.
#pragma once

#include "../ndr/UbProbe.h"

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/dispatcher/itcIOHandler.h>

#include <functional>
#include <memory>
#include <utility>

/// Sends one packet at a time and receives one packet at a time. Each transfer takes as many calls as necessary.
class Peer : public itcIOHandler {
public:
    explicit Peer(std::unique_ptr<itcConnection> owned) : connection(std::move(owned))
    {
        connection->SetOption(itcConnection::ItcNonBlocking);
    }
    ~Peer() override { dispatcher.unlink(connection.get(), ReadMask | WriteMask | ExceptMask); }

    void receive() { dispatcher.link(connection.get(), nullptr, ReadMask, this); }
    void send() { dispatcher.link(connection.get(), nullptr, WriteMask, this); }

    bool hasSent() const { return outgoing.txState == Complete; }
    bool hasReceived() const { return incoming.rxState == Complete; }
    bool isOver() const { return incoming.rxState >= Complete; } ///< Completed, failed or disconnected.

    int inputReady(itcConnection* c, char*) override
    {
        ++inputs;
        *c >> incoming;
        if (isOver())
            dispatcher.unlink(c, ReadMask);
        if (hasReceived() && onPacket)
            onPacket();
        return 0;
    }
    int outputReady(itcConnection* c, char*) override
    {
        ++outputs;
        *c << outgoing;
        if (outgoing.txState >= Complete)
            dispatcher.unlink(c, WriteMask);
        return 0;
    }

    const std::unique_ptr<itcConnection> connection;
    OpenUbSend outgoing{1};
    OpenUbReceive incoming{2};
    std::function<void()> onPacket;
    int inputs = 0;  ///< The number of calls to receive.
    int outputs = 0; ///< The number of calls to send.

private:
    itcDispatcher& dispatcher = *itcDispatcher::instance();
};
