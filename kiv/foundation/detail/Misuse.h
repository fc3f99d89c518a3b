/// \file
/// Internal: what a host does wrong is told to the error-report hook, in debug and sanitizer builds. Release builds carry
/// nothing of it.
#pragma once

#ifdef KIV_CHECK_INVARIANTS

#include <kiv/foundation/detail/Trace.h>

#include <string>

namespace kiv {

/// Reports wrong use of a descriptor. Type 0 is wrong use.
inline void reportMisuse(const char* what, int descriptor)
{
    reportError(KivError::ErrType(0), what, ("descriptor " + std::to_string(descriptor)).c_str());
}

} // namespace kiv

#define KIV_TELL_MISUSE(isMisuse, what, descriptor)                                                                    \
    ((isMisuse) ? ::kiv::reportMisuse(what, descriptor) : static_cast<void>(0))

#else

#define KIV_TELL_MISUSE(isMisuse, what, descriptor) static_cast<void>(0)

#endif
