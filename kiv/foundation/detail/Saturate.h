/// \file
/// Internal: 64-bit arithmetic that stops at the ends of its range, for times that a host may choose freely.
#pragma once

#include <cstdint>
#include <limits>

namespace kiv {

inline int64_t saturated(bool negative)
{
    return negative ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

inline int64_t saturatingAdd(int64_t a, int64_t b)
{
    int64_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? saturated(b < 0) : sum;
}

inline int64_t saturatingSub(int64_t a, int64_t b)
{
    int64_t difference = 0;
    return __builtin_sub_overflow(a, b, &difference) ? saturated(b > 0) : difference;
}

inline int64_t saturatingMul(int64_t a, int64_t b)
{
    int64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? saturated((a < 0) != (b < 0)) : product;
}

} // namespace kiv
