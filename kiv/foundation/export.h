/// \file
/// What every public header needs: the marks for visible and hidden symbols, and the check of the width of times.
///
/// The library is compiled with all symbols hidden. Only what is marked KIV_EXPORT can be used by a host.
#pragma once

#include <sys/time.h>
#include <sys/types.h>

// Every timeval that a host and the library exchange has two 64-bit fields. On a 32-bit machine a host gets 64-bit
// fields only if the host asks for them. A host that forgets would pass structures of another size, and the values
// would be read from wrong places. The assertion stops that host when it is compiled.
static_assert(sizeof(timeval::tv_sec) == 8 && sizeof(timeval::tv_usec) == 8 && sizeof(off_t) == 8,
              "compile with -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64");

/// Marks a part of the binary interface: a class with all its members, a function, or a variable.
#define KIV_EXPORT __attribute__((visibility("default")))

/// Marks a member of an exported class that only the library uses. The member is not part of the binary interface.
#define KIV_HIDDEN __attribute__((visibility("hidden")))

/// Marks a small function that is compiled into the code of the host. The function is never a symbol of the library.
#define KIV_INLINE inline __attribute__((always_inline, visibility("hidden")))

/// Tells the compiler that a condition is nearly always true. The value of the condition does not change.
#define KIV_LIKELY(condition) (__builtin_expect(!!(condition), 1))
/// Tells the compiler that a condition is nearly always false. The value of the condition does not change.
#define KIV_UNLIKELY(condition) (__builtin_expect(!!(condition), 0))
