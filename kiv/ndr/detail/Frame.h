/// \file
/// Internal: the frame around a packet, magic and length. docs/wire-format.md shows every byte.
#pragma once

#include <kiv/foundation/OS.h>

#include <cstdint>
#include <cstring>
#include <limits>

namespace kiv {

/// The first four bytes of every frame: three letters and a zero.
constexpr char frameMagic[4] = {'Q', 'V', 'R', '\0'};

/// Magic and length together.
constexpr unsigned int frameHeadSize = 8;

/// The format label, at the start of the NDR data.
constexpr unsigned int labelSize = 2;

/// The longest frame that can be read: its data comes with one Read(), whose count is an int.
constexpr unsigned int longestFrame = std::numeric_limits<int>::max();

/// Writes magic and length in front of the NDR data. The length is in network order whatever the label says.
/// \return the first byte of the frame.
inline char* writeFrameHead(char* data, std::uint32_t length)
{
    char* const frame = data - frameHeadSize;
    const std::uint32_t networkLength = OS_htonl(length);
    std::memcpy(frame, frameMagic, sizeof frameMagic);
    std::memcpy(frame + sizeof frameMagic, &networkLength, sizeof networkLength);
    return frame;
}

/// The length that stands in front of the NDR data.
inline std::uint32_t frameLengthBefore(const char* data)
{
    std::uint32_t networkLength = 0;
    std::memcpy(&networkLength, data - sizeof networkLength, sizeof networkLength);
    return OS_ntohl(networkLength);
}

inline bool isFrameMagic(const char* bytes) { return std::memcmp(bytes, frameMagic, sizeof frameMagic) == 0; }

} // namespace kiv
