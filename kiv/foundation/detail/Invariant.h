/// \file
/// Internal: statements that hold between any two calls, checked in debug and sanitizer builds. Release builds carry
/// nothing of them.
#pragma once

#ifdef KIV_CHECK_INVARIANTS

#include <cstdio>
#include <cstdlib>

namespace kiv {

[[noreturn]] inline void invariantBroken(const char* statement, const char* function)
{
    std::fprintf(stderr, "KIV: broken invariant in %s: %s\n", function, statement);
    std::abort();
}

} // namespace kiv

#define KIV_INVARIANT(statement)                                                                                       \
    ((statement) ? static_cast<void>(0) : ::kiv::invariantBroken(#statement, __PRETTY_FUNCTION__))

#else

#define KIV_INVARIANT(statement) static_cast<void>(0)

#endif
