/// \file
/// Internal: the frame around a packet, magic and length. docs/wire-format.md shows it.
#pragma once

namespace kiv {

/// The first four bytes of every frame: three letters and a zero.
constexpr char frameMagic[4] = {'Q', 'V', 'R', '\0'};

/// Magic and length together.
constexpr unsigned int framePrefixSize = 8;

/// The format label, at the start of the NDR data.
constexpr unsigned int labelSize = 2;

} // namespace kiv
