#include "SendQueue.h"

#include <fmt/core.h>

#include <algorithm>

namespace {

constexpr unsigned int usualSize = 256;

}

SendQueue::SendQueue(itcDispatcher& dispatcher, itcConnection& connection, itcIOHandler& handler)
    : dispatcher(dispatcher), connection(connection), handler(handler)
{}

bool SendQueue::put(const itcMsgHdr& header)
{
    packets.emplace_back(0, usualSize) << header;
    return sendUnlessOthersWait();
}

bool SendQueue::put(const itcMsgHdr& header, const itcXNDR& record)
{
    // By the puts of the base class: theirs do not clear the status, so that it can be tested after the last.
    itcNDRSend& packet = packets.emplace_back(0, usualSize);
    packet << header << record;
    return sendUnlessOthersWait();
}

// While others wait the connection has just taken all that it could, and the dispatcher will say when it takes more.
bool SendQueue::sendUnlessOthersWait()
{
    most = std::max(most, packets.size());
    if (packets.back().severity != Success)
        return fail(packets.back());
    return packets.size() > 1 || flush();
}

bool SendQueue::flush()
{
    while (!packets.empty()) {
        itcNdrUbSend& packet = packets.front();
        const unsigned int unsent = connection << packet;
        if (packet.severity == Error)
            return fail(packet);
        if (unsent > 0)
            break;
        packets.pop_front();
    }
    watchConnection(!packets.empty());
    return true;
}

bool SendQueue::fail(const itcStatus& status)
{
    failure = fmt::format("{} ({})", status.STATUS_text(), connection.STATUS_text());
    return false;
}

void SendQueue::watchConnection(bool on)
{
    if (on && !watching)
        dispatcher.link(&connection, nullptr, WriteMask, &handler);
    else if (!on && watching)
        dispatcher.unlink(&connection, WriteMask);
    watching = on;
}
