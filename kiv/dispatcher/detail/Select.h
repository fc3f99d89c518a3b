/// \file
/// Internal: what the files of the dispatcher share when they go through the kinds of interest and when they wait.
#pragma once

#include <kiv/dispatcher/FdMask.h>
#include <kiv/dispatcher/itcDispatcher.h>

namespace kiv {

/// The kinds of interest, in the order in which link(), unlink() and detach() go through them and notify() serves them.
constexpr itcDispatcherMask eachKind[] = {ReadMask, WriteMask, ExceptMask};

/// All kinds of interest in one mask: detaches a descriptor completely.
constexpr itcDispatcherMask everyKind = ReadMask | WriteMask | ExceptMask;

/// An FdMask has the layout of an `fd_set`: FdMask.h asserts the size and the alignment.
inline fd_set* asFdSet(FdMask& mask) { return reinterpret_cast<fd_set*>(&mask); }

} // namespace kiv
