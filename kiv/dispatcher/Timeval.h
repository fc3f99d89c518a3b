/// \file
/// Arithmetic and comparison of `timeval`, with the library's own rules of normalisation.
#pragma once

#include <kiv/foundation/export.h>

#include <sys/time.h>

/// The sum of both fields, carrying one second when the microseconds reach a million. A negative microsecond part
/// borrows only while the seconds are at least 1, unlike in subtraction, so {0, -5} + {0, 0} stays {0, -5}.
/// Fields saturate instead of overflowing.
KIV_EXPORT timeval operator+(timeval a, timeval b);

/// The difference of both fields. A negative microsecond part always borrows one second, so a negative difference has
/// negative seconds and microseconds from 0 to 999999. Fields saturate instead of overflowing.
KIV_EXPORT timeval operator-(timeval a, timeval b);

/// \name Comparisons
/// They look at the fields as they stand: {0, 1500000} is less than {1, 0}.
/// \{
KIV_EXPORT bool operator>(timeval a, timeval b);
KIV_EXPORT bool operator<(timeval a, timeval b);
KIV_EXPORT bool operator==(timeval a, timeval b);
/// \}
