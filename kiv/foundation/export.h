/// \file
/// What every interface of the library rests on: which symbols are visible, and how wide times are.
///
/// The library is built with everything hidden; what a host may use is marked by hand.
#pragma once

#include <sys/time.h>
#include <sys/types.h>

// Every timeval that crosses the library's border has 64-bit fields. A host on a 32-bit machine that forgets to ask for
// them would hand over structures of another size, so it is stopped here rather than at run time.
static_assert(sizeof(timeval::tv_sec) == 8 && sizeof(timeval::tv_usec) == 8 && sizeof(off_t) == 8,
              "compile with -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64");

/// Part of the binary interface: a class with all its members, a function, or a variable.
#define KIV_EXPORT __attribute__((visibility("default")))

/// A member of an exported class that is ours alone: not part of the binary interface.
#define KIV_HIDDEN __attribute__((visibility("hidden")))

/// Small enough to become part of the host's own code; never a symbol of its own.
#define KIV_INLINE inline __attribute__((always_inline, visibility("hidden")))

#define KIV_LIKELY(condition) (__builtin_expect(!!(condition), 1))
#define KIV_UNLIKELY(condition) (__builtin_expect(!!(condition), 0))
