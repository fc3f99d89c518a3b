/// \file
/// Internal: the unit of the second field of a timeval.
#pragma once

#include <cstdint>

constexpr int64_t microsPerSecond = 1000000;
