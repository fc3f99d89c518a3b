/// \file
/// Internal: what the files of the dispatcher have in common when they wait.
#pragma once

#include <kiv/dispatcher/FdMask.h>
#include <kiv/dispatcher/itcDispatcher.h>

namespace kiv {

/// The kinds of interest, in the order in which the dispatcher serves them.
constexpr itcDispatcherMask eachKind[] = {ReadMask, WriteMask, ExceptMask};

/// All kinds of interest in one mask.
constexpr itcDispatcherMask everyKind = ReadMask | WriteMask | ExceptMask;

inline fd_set* asFdSet(FdMask& mask)
{
    return reinterpret_cast<fd_set*>(&mask);
}

} // namespace kiv
