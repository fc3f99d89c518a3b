/// \file
/// Marks of functions that are compiled into their callers. Compilers that optimise for size, or a little, would call
/// them otherwise, and what they know about a place in a packet when they compile would be lost.
#pragma once

/// Marks a function.
#define KIV_ALWAYS_INLINE inline __attribute__((always_inline))

/// Marks a lambda, behind its parameters.
#define KIV_ALWAYS_INLINE_LAMBDA __attribute__((always_inline))
