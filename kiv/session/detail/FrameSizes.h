/// \file
/// The sizes of a frame that sessions count with. docs/wire-format.md shows a frame.
#pragma once

namespace kiv {

constexpr unsigned int frameHead = 8;   ///< Magic and length, in front of a packet.
constexpr unsigned int emptyLength = 2; ///< The label alone. Between sessions such a packet is a heartbeat.

} // namespace kiv
