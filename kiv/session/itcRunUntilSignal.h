/// \file
/// The loop of a program that serves until it is told to end.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>

/// Ignores SIGPIPE, then calls dispatch() again and again until SIGINT or SIGTERM comes, or until itcStopRunning() is
/// called.
///
/// The actions of SIGINT and SIGTERM are set back afterwards. SIGPIPE stays ignored.
/// \param dispatcher the dispatcher, or the singleton.
/// \return 0: a signal or itcStopRunning() has ended the loop.
///         1: the signals could not be watched; the reason is in the status of the dispatcher.
[[nodiscard]] KIV_EXPORT int itcRunUntilSignal(itcDispatcher& dispatcher = *itcDispatcher::instance());

/// Ends itcRunUntilSignal() behind the present cycle. To be called on the dispatching thread, by functions that the
/// loop calls; other threads post it (itcPost). Of loops inside of one another the innermost ends. Where no loop runs
/// nothing happens.
KIV_EXPORT void itcStopRunning();
