/// \file
/// Internal: the number of microseconds in a second.
///
/// The second field of a timeval counts microseconds. Adding and subtracting times carries and borrows with this
/// constant, in OS_getuptime(), in the dispatcher and in its operators on timeval.
#pragma once

#include <cstdint>

namespace kiv {

/// Microseconds in one second.
constexpr int64_t microsPerSecond = 1000000;

} // namespace kiv
