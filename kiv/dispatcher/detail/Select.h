/// \file
/// Internal: what the files of the dispatcher have in common when they wait.
#pragma once

#include <kiv/dispatcher/FdMask.h>
#include <kiv/dispatcher/itcDispatcher.h>

constexpr itcDispatcherMask everyKind = ReadMask | WriteMask | ExceptMask;

inline fd_set* asFdSet(FdMask& mask)
{
    return reinterpret_cast<fd_set*>(&mask);
}
