// Sending, over a connection that does not wait.
#pragma once

#include <kiv/kiv.h>

#include <deque>
#include <string>

/// What is to be sent waits here until the connection takes it.
///
/// A peer that takes nothing for a while, because it is busy, stopped, or far away, thus neither holds this side up nor
/// loses anything. The dispatcher is asked to report the connection writable only while something waits: a connection
/// that has nothing to send is writable nearly always.
class SendQueue {
public:
    /// \param handler  calls flush() from its outputReady(), and unlinks the connection in the end.
    SendQueue(itcDispatcher& dispatcher, itcConnection& connection, itcIOHandler& handler);

    /// Sends at once if nothing waits. \return false after a failure, for which see error().
    bool put(const itcMsgHdr& header);
    bool put(const itcMsgHdr& header, const itcXNDR& record);
    /// Goes on sending. \return as put().
    bool flush();

    std::size_t size() const { return packets.size(); }
    /// The most that have ever waited.
    std::size_t mostWaiting() const { return most; }
    const std::string& error() const { return failure; }

private:
    bool sendUnlessOthersWait();
    bool fail(const itcStatus& status);
    void watchConnection(bool on);

    itcDispatcher& dispatcher;
    itcConnection& connection;
    itcIOHandler& handler;
    std::deque<itcNdrUbSend> packets; ///< A deque keeps them where they are: they can be neither copied nor moved.
    std::size_t most = 0;
    bool watching = false;
    std::string failure;
};
