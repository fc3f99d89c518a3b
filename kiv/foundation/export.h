/// \file
/// Symbol visibility. The library is built with everything hidden; what a host may use is marked here by hand.
#pragma once

/// Part of the binary interface: a class with all its members, a function, or a variable.
#define KIV_EXPORT __attribute__((visibility("default")))

/// A member of an exported class that is ours alone: not part of the binary interface.
#define KIV_HIDDEN __attribute__((visibility("hidden")))

/// Small enough to become part of the host's own code; never a symbol of its own.
#define KIV_INLINE inline __attribute__((always_inline, visibility("hidden")))

#define KIV_LIKELY(condition) (__builtin_expect(!!(condition), 1))
#define KIV_UNLIKELY(condition) (__builtin_expect(!!(condition), 0))
