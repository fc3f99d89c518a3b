// The bytes that wait are counted with the heads of their frames, and without what has left already. A packet without
// values is a heartbeat: it is not counted as a packet.
#include <kiv/session/detail/SendQueue.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/session/detail/FrameSizes.h>

#include <algorithm>
#include <cerrno>
#include <new>

namespace kiv {

namespace {

constexpr unsigned int usualSize = 256; // bytes of storage at first
constexpr std::size_t mostSpare = 4;

unsigned int frameSize(const itcNDRSend& packet) { return packet.raw_length() + frameHead; }

} // namespace

itcNDRSend* SendQueue::begin()
try {
    status = {};
    recycle(begun);
    if (spare.empty())
        begun.emplace_back(0, usualSize);
    else
        begun.splice(begun.end(), spare, spare.begin());
    return &begun.front();
} catch (const std::bad_alloc&) {
    status = {Itc_Tp_Malloc_Error, Error, ENOMEM};
    return nullptr;
}

bool SendQueue::queueBegun()
{
    foundFull = false;
    status = begun.front();
    if (status.severity != Success)
        return false;
    if (begun.front().raw_length() == 0)
        return refuse(Itc_Ndr_Buffer_Alloc_Failed, Error);
    const std::size_t size = frameSize(begun.front());
    if (size > high)
        return refuse(Itc_Ndr_Buffer_Size_Too_Large, Error);
    if (!makeRoom(size)) {
        counters.packetsRefused += 1;
        return refuse(Itc_Tp_Would_Block, Warning);
    }
    waiting.splice(waiting.end(), begun);
    counters.queuedBytes += size;
    counters.queuedPackets += 1;
    counters.mostQueuedBytes = std::max(counters.mostQueuedBytes, counters.queuedBytes);
    counters.mostQueuedPackets = std::max(counters.mostQueuedPackets, counters.queuedPackets);
    return true;
}

// Nothing is dropped in vain: what may not be dropped must leave room for the new packet.
bool SendQueue::makeRoom(std::size_t size)
{
    if (counters.queuedBytes + size <= high)
        return true;
    foundFull = true;
    const std::size_t kept = isFrontUnderWay() ? frontLeft : 0;
    if (!mayDrop || kept + size > high)
        return false;
    dropOldest(size);
    return true;
}

// A packet of which bytes have left must leave whole: the peer would take the next one for its rest.
bool SendQueue::isFrontUnderWay() const
{
    return !waiting.empty() && frontLeft != 0 && frontLeft < frameSize(waiting.front());
}

SendQueue::Flushed SendQueue::flush(itcConnection& connection)
{
    progress = 0;
    while (!waiting.empty()) {
        itcNdrUbSend& packet = waiting.front();
        if (frontLeft == 0)
            frontLeft = frameSize(packet);
        const unsigned int left = connection << packet;
        if (packet.severity == Error) {
            status = packet;
            return Flushed::failed;
        }
        countSent(left);
        if (left > 0)
            return Flushed::part;
        if (packet.raw_length() > emptyLength)
            counters.packetsSent += 1;
        counters.queuedPackets -= 1;
        Packets sent;
        sent.splice(sent.end(), waiting, waiting.begin());
        recycle(sent);
    }
    return Flushed::all;
}

void SendQueue::countSent(unsigned int left)
{
    const unsigned int sent = frontLeft - left;
    frontLeft = left;
    progress += sent;
    counters.bytesSent += sent;
    counters.queuedBytes -= sent;
}

void SendQueue::clear()
{
    waiting.clear();
    frontLeft = 0;
    counters.queuedBytes = 0;
    counters.queuedPackets = 0;
}

void SendQueue::setSize(std::size_t highWater, std::size_t lowWater, bool dropsOldest)
{
    high = std::max<std::size_t>(highWater, frameHead + emptyLength); // a heartbeat always fits
    low = std::min(lowWater, high);
    mayDrop = dropsOldest;
}

bool SendQueue::refuse(ItcStatusCode code, StatusSeverity severity)
{
    status = {code, severity, 0};
    return false;
}

void SendQueue::dropOldest(std::size_t bytesNeeded)
{
    auto oldest = waiting.begin();
    if (isFrontUnderWay())
        ++oldest;
    while (oldest != waiting.end() && counters.queuedBytes + bytesNeeded > high) {
        if (oldest == waiting.begin())
            frontLeft = 0;
        counters.queuedBytes -= frameSize(*oldest);
        counters.queuedPackets -= 1;
        counters.packetsDropped += 1;
        oldest = waiting.erase(oldest);
    }
}

// A packet that was sent, or only begun, may be reset: no part of it is on its way. The reset gives large storage back.
// A packet without storage is not used again: it would have no label, and could not serve as a heartbeat.
void SendQueue::recycle(Packets& from)
{
    if (from.empty())
        return;
    from.front().reset();
    if (spare.size() < mostSpare && from.front().raw_length() > 0)
        spare.splice(spare.begin(), from, from.begin());
    else
        from.pop_front();
}

} // namespace kiv
