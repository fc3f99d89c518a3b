/// \file
/// Internal: the unit of the second field of a timeval.
#pragma once

#include <cstdint>

namespace kiv {

constexpr int64_t microsPerSecond = 1000000;

} // namespace kiv
