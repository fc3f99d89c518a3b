/// \file
/// The loop of a program that serves until it is told to end.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>

/// Ignores SIGPIPE, then calls dispatch() again and again until SIGINT or SIGTERM comes. A host that wants to end the
/// loop from inside calls `std::raise(SIGTERM)`.
///
/// The actions of SIGINT and SIGTERM are set back afterwards. SIGPIPE stays ignored.
/// \param dispatcher the dispatcher, or the singleton.
/// \return 0: a signal has ended the loop.
///         1: the signals could not be watched; the reason is in the status of the dispatcher.
[[nodiscard]] KIV_EXPORT int itcRunUntilSignal(itcDispatcher& dispatcher = *itcDispatcher::instance());
