/// \file
/// Receives frames without waiting, and knows why it cannot go on.
#pragma once

#include <kiv/ndr/itcNdrUbReceive.h>
#include <kiv/session/detail/FrameSizes.h>
#include <kiv/session/itcClosed.h>

#include <algorithm>
#include <cstdint>

namespace kiv {

/// Reads one packet after the other. A packet that announces more than the limit is refused before room is made.
class FrameReader : public itcNdrUbReceive {
public:
    enum class Outcome { incomplete, complete, failed };

    FrameReader();

    /// At least the label is allowed: a heartbeat has nothing else.
    void setLongest(std::uint32_t bytes) { longest = std::max<std::uint32_t>(bytes, emptyLength); }

    /// Reads what has arrived of the packet. After a complete packet it begins the next one.
    Outcome read(itcConnection& connection);

    bool hasHeard() const { return bytesReceived > 0; } ///< The latest read() has received bytes.
    bool isInsideFrame() const;
    itcClosed failure() const; ///< After a failed read().

    /// Called by the base class to ask what it has, and to make room. Both obey the limit.
    unsigned int free_buffer_size() const override;
    void extend_buffer(unsigned int pages) override;

private:
    bool isTooLong() const { return lengthBuf > longest; }

    std::uint32_t longest = 1024 * 1024;
};

} // namespace kiv
