/// \file
/// Signals as calls on the dispatching thread.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

#include <functional>
#include <initializer_list>
#include <memory>

/// Calls a function on the dispatching thread when a signal has come. The function may do anything: it does not run
/// inside of the signal handler.
///
/// \code
/// itcSignals reload({SIGHUP}, [&](int) { configuration.read(); });
/// \endcode
/// Several deliveries of one signal before the loop comes to it are one call. The signal wakes a wait that is under
/// way.
///
/// The signals of the process are changed while this object lives. Its destructor sets the actions back that it has
/// found. Of two objects for one signal the later one is called; destroy the later one first.
///
/// \par Threads
/// The dispatching thread only. The signal itself may come to any thread.
/// \par Errors
/// Nothing throws, except the function.
class KIV_EXPORT itcSignals {
public:
    /// \param signals    for example `{SIGINT, SIGTERM, SIGHUP}`.
    /// \param function   is called with the number of the signal. It may destroy this object.
    /// \param dispatcher the dispatcher, or the singleton.
    itcSignals(std::initializer_list<int> signals, std::function<void(int)> function,
               itcDispatcher& dispatcher = *itcDispatcher::instance());
    itcSignals(const itcSignals&) = delete;
    itcSignals& operator=(const itcSignals&) = delete;
    ~itcSignals();

    /// Ignores SIGPIPE from now on, in the whole process. Without this a write to a peer that has gone ends the
    /// process. With this the write fails, and a session closes. Every host of sockets does this first thing;
    /// itcRunUntilSignal() does it, too.
    static void ignorePipe();

    /// Clear, or why nothing is watched: (`Itc_Dp_Invalid_File_Descriptor`, Error) when the process has no descriptor
    /// left, (`Itc_Tp_Malloc_Error`, Error) without memory, (`Itc_Tp_Negative_Arg`, Error) for a number that is no
    /// signal or cannot be caught.
    const itcStatus& status() const { return signalStatus; }
    explicit operator bool() const { return signalStatus.severity == Success; } ///< The status is clear.

private:
    class KIV_HIDDEN Core;
    std::shared_ptr<Core> core; // null only without memory
    itcStatus signalStatus;
};
