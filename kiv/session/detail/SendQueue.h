/// \file
/// Packets that wait until the connection takes them.
#pragma once

#include <kiv/ndr/itcNdrUbSend.h>
#include <kiv/session/itcSession.h>

#include <cstddef>
#include <list>

namespace kiv {

/// Packets leave in their order. Only the first one is under way; it keeps the position of its transfer itself.
///
/// Packets move between three lists, and are used again: while packets leave as fast as they are built, nothing is
/// allocated.
class SendQueue {
public:
    enum class Flushed { all, part, failed };

    explicit SendQueue(itcSessionCounters& shared) : counters(shared) {}

    /// An empty packet to be filled. The next begin() takes it back. \return null if there is no memory.
    itcNDRSend* begin();

    /// Queues the packet that begin() has given. \return false: refused; the status says why.
    bool queueBegun();
    /// Sends what the connection takes.
    Flushed flush(itcConnection& connection);

    bool isEmpty() const { return waiting.empty(); }
    bool wasFull() const { return foundFull; } ///< The latest queueBegun() has found too little room.
    bool isLow() const { return counters.queuedBytes <= low; }
    bool hasProgressed() const { return progress > 0; } ///< The latest flush() has sent bytes.
    void clear();

    void setSize(std::size_t highWater, std::size_t lowWater, bool dropsOldest);

    itcStatus status; ///< Of the latest operation.

private:
    using Packets = std::list<itcNdrUbSend>; // a list: packets cannot be moved

    bool refuse(ItcStatusCode code, StatusSeverity severity);
    bool makeRoom(std::size_t size);
    bool isFrontUnderWay() const;
    void dropOldest(std::size_t bytesNeeded);
    void countSent(unsigned int left);
    void recycle(Packets& from);

    itcSessionCounters& counters;
    Packets spare;   ///< To be used again.
    Packets begun;   ///< One packet at most: the one that is being filled.
    Packets waiting; ///< In the order in which they leave.
    unsigned int frontLeft =
        0; ///< Bytes of the first packet that are not yet sent; 0 before its first byte is offered.
    std::size_t progress = 0;
    std::size_t high = std::size_t{2048} * 1024;
    std::size_t low = std::size_t{1024} * 1024;
    bool mayDrop = false;
    bool foundFull = false;
};

} // namespace kiv
