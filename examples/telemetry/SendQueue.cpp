// Each message is a packet of its own, and the packets leave in their order. Only the first packet is under way; it
// keeps the position of its transfer itself.
#include "SendQueue.h"

#include <fmt/core.h>

#include <algorithm>

SendQueue::SendQueue(itcDispatcher& loop, itcConnection& peer, itcIOHandler& owner)
    : dispatcher(loop), connection(peer), handler(owner)
{}

// If other packets wait, the connection cannot take more now. The dispatcher calls flush() when the connection can.
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
