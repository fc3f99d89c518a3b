/// \file
/// Internal: 64-bit arithmetic that stops at the ends of its range.
///
/// A host may pass any number as a time. Signed overflow is undefined behaviour in C++. Here a result that is too large
/// becomes the largest int64_t, and a result that is too small becomes the smallest int64_t. The dispatcher, its timers
/// and the clock calculate with these functions.
#pragma once

#include <cstdint>
#include <limits>

namespace kiv {

/// The end of the range at the negative or at the positive side.
inline int64_t saturated(bool negative)
{
    return negative ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

/// `a + b`. An overflow is possible only if both have the same sign, so the sign of `b` tells the side.
inline int64_t saturatingAdd(int64_t a, int64_t b)
{
    int64_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? saturated(b < 0) : sum;
}

/// `a - b`. An overflow is possible only if the signs differ, so the sign of `b` tells the side.
inline int64_t saturatingSub(int64_t a, int64_t b)
{
    int64_t difference = 0;
    return __builtin_sub_overflow(a, b, &difference) ? saturated(b > 0) : difference;
}

/// `a * b`. The product is negative if exactly one of the factors is negative.
inline int64_t saturatingMul(int64_t a, int64_t b)
{
    int64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? saturated((a < 0) != (b < 0)) : product;
}

} // namespace kiv
