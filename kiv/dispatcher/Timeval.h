/// \file
/// Arithmetic and comparison of `timeval`: whole seconds (`tv_sec`) plus microseconds (`tv_usec`).
///
/// A value is normalised when its microseconds lie in 0 to 999999. A sum or difference of two normalised values is
/// normalised. Each operation carries or borrows at most one second. A value that is not normalised can therefore give
/// a result that is not normalised either. A field that would overflow stays at the limit of 64 bits.
#pragma once

#include <kiv/foundation/export.h>

#include <sys/time.h>

/// Adds two times.
///
/// The seconds and the microseconds are added. What follows depends on the sum of the microseconds:
/// - 1000000 or more: one second is carried.
/// - Negative, and the sum of the seconds is 1 or more: one second is borrowed. {2, -5} + {0, 0} is {1, 999995}.
/// - Negative, and the sum of the seconds is 0 or less: nothing is borrowed. {0, -5} + {0, 0} stays {0, -5}.
///
/// The third rule differs from subtraction, which always borrows. Reason: a borrow in an addition never makes the
/// seconds negative. Host code that needs one form for negative times subtracts: {0, 0} - {0, 5} is {-1, 999995}.
KIV_EXPORT timeval operator+(timeval a, timeval b);

/// Subtracts `b` from `a`.
///
/// The seconds and the microseconds are subtracted. What follows depends on the difference of the microseconds:
/// - Negative: one second is borrowed, whatever the seconds are.
/// - 1000000 or more: one second is carried.
///
/// A negative difference of normalised times has negative seconds and microseconds from 0 to 999999:
/// {1, 0} - {2, 500000} is {-2, 500000}.
KIV_EXPORT timeval operator-(timeval a, timeval b);

/// \name Comparisons
/// The fields are compared as they stand: the seconds first, the microseconds only if the seconds are equal. Nothing is
/// normalised before: {0, 1500000} is less than {1, 0}.
/// \{
KIV_EXPORT bool operator>(timeval a, timeval b);  ///< True if `a` is later than `b`.
KIV_EXPORT bool operator<(timeval a, timeval b);  ///< True if `a` is earlier than `b`.
KIV_EXPORT bool operator==(timeval a, timeval b); ///< True if both fields are equal.
/// \}
