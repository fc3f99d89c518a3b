/// \file
/// The kinds of machines whose packets are stored, and the comparison of a frame with a stored packet.
#pragma once

#include "GoldenPacket.h"
#include "StreamPair.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <sstream>
#include <string>

/// A kind of machine that writes packets. The file of its packet, and the label in the file, have the same name.
struct Kind {
    const char* name;
    int endian, floats;
};

inline const Kind littleEndianIeee = {"little-endian-ieee", 1, 0};
inline const Kind bigEndianIeee = {"big-endian-ieee", 0, 0};
inline const Kind littleEndianVax = {"little-endian-vax", 1, 1};
inline const Kind bigEndianVax = {"big-endian-vax", 0, 1};

inline const auto allKinds = testing::Values(littleEndianIeee, bigEndianIeee, littleEndianVax, bigEndianVax);

// The library writes lengths and counts in the byte order of the real machine. Therefore packets of the other byte
// order can be read here, but not written.
constexpr bool isLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
inline const auto kindsOfThisOrder =
    isLittleEndian ? testing::Values(littleEndianIeee, littleEndianVax) : testing::Values(bigEndianIeee, bigEndianVax);

inline void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

inline std::string nameOf(const testing::TestParamInfo<Kind>& info)
{
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

inline std::string hexOf(char byte)
{
    std::ostringstream out;
    out << std::hex << static_cast<unsigned int>(static_cast<unsigned char>(byte));
    return out.str();
}

inline testing::AssertionResult isTheFrameOf(const GoldenPacket& packet, const std::string& frame)
{
    const size_t common = std::min(frame.size(), packet.frame.size());
    const auto differs =
        std::mismatch(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(common), packet.frame.begin());
    const auto offset = static_cast<size_t>(differs.first - frame.begin());
    if (offset < common)
        return testing::AssertionFailure() << "byte " << offset << " of the frame is " << hexOf(*differs.first)
                                           << " instead of " << hexOf(*differs.second) << ", first in\n"
                                           << packet.lineAt(offset);
    if (frame.size() != packet.frame.size())
        return testing::AssertionFailure() << "the frame has " << frame.size() << " bytes instead of "
                                           << packet.frame.size() << ", the same as far as\n"
                                           << packet.lineAt(common - 1);
    return testing::AssertionSuccess();
}

// Ends the sending direction and returns the bytes that the peer receives, at most `atMost`.
inline std::string sentThrough(StreamPair& pair, size_t atMost)
{
    ::shutdown(pair.near().td, SHUT_WR);
    return pair.farReceives(atMost);
}
