/// \file
/// The pauses between attempts.
#pragma once

#include <chrono>
#include <cstdint>

namespace kiv {

/// Each pause is twice as long as the one before, up to a longest one. A random part of up to a half is taken off:
/// clients that were disconnected together do not come back together.
class Backoff {
public:
    using Duration = std::chrono::milliseconds;

    Backoff();

    void setRange(Duration first, Duration longest);
    Duration longest() const { return most; }
    void succeed() { next = least; } ///< The next pause is the first one.
    Duration pause();                ///< The pause to be made now.

private:
    Duration least = std::chrono::milliseconds(500);
    Duration most = std::chrono::seconds(30);
    Duration next = least;
    std::uint64_t random;
};

} // namespace kiv
