// Sends messages without waiting.
#pragma once

#include <kiv/companion.h>

#include <deque>
#include <string>

/// Messages wait here until the connection takes them.
///
/// A peer may take nothing for a while, because it is busy, stopped or far away. This side then goes on with its work,
/// and no message is lost.
/// The connection is linked for writing only while messages wait. Without messages it would nearly always be writable,
/// and the dispatcher would call the handler again and again for nothing.
class SendQueue {
public:
    /// \param handler  calls flush() in its outputReady(), and unlinks the connection at the end.
    SendQueue(itcDispatcher& dispatcher, itcConnection& connection, itcIOHandler& handler);

    /// Queues a message: a header, or a header and a record. Sends the message at once if no other message waits.
    /// \return false after a failure: error() says why.
    template <class... Record> bool put(const itcMsgHdr& header, const Record&... record)
    {
        // Puts through the base class: they do not clear the status, so one test after the last put is enough.
        itcNDRSend& packet = packets.emplace_back(0, usualSize);
        ((packet << header) << ... << record);
        return sendUnlessOthersWait();
    }
    /// Sends as much as the connection takes.
    /// \return false after a failure: error() says why.
    bool flush();

    std::size_t size() const { return packets.size(); }
    /// The largest number of messages that have waited at the same time.
    std::size_t mostWaiting() const { return most; }
    const std::string& error() const { return failure; }

private:
    static constexpr unsigned int usualSize = 256;

    bool sendUnlessOthersWait();
    bool fail(const itcStatus& status);
    void watchConnection(bool on);

    itcDispatcher& dispatcher;
    itcConnection& connection;
    itcIOHandler& handler;
    std::deque<itcNdrUbSend> packets; ///< A deque does not move its elements. Packets cannot be moved.
    std::size_t most = 0;
    bool watching = false;
    std::string failure;
};
