/// \file
/// Internal: what the dispatcher measures about itself.
///
/// The dispatch cycle writes the figures, and itcDispatcherReport.cpp prints them. All dispatchers of the process share
/// one set of figures. Only the dispatching thread touches them; nothing is locked.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>

#include <QElapsedTimer>

namespace kiv {

/// The places of a cycle that a host's profiler is told. Hosts know the numbers 0 to 7: the order must not change.
enum PerfMarker : int {
    DispatchBegin,
    DispatchEnd,
    InputReadyBegin,
    InputReadyEnd,
    OutputReadyBegin,
    OutputReadyEnd,
    ExceptionBegin,
    ExceptionEnd
};

/// Tells the profiler, if one is installed, that the cycle has reached this place.
inline void mark(PerfMarker marker)
{
    if (itcDispatcher::startTimerFP != nullptr)
        itcDispatcher::startTimerFP(marker);
}

/// The time since the stopwatch was started.
inline double secondsOf(const QElapsedTimer& stopwatch)
{
    return static_cast<double>(stopwatch.nsecsElapsed()) / 1000000000.0;
}

/// How often handlers of one kind were called, and for how long.
struct CallFigures {
    unsigned int calls = 0;
    double seconds = 0.0;
};

/// What the report shows, counted since the last report.
struct PerfFigures {
    unsigned int selectCalls = 0; ///< Cycles, not waits: a wait that is repeated counts once.
    double selectTime = 0.0;      ///< Seconds inside select().
    double outsideTime = 0.0;     ///< Seconds between the end of a cycle and the start of the next.
    CallFigures input;            ///< Calls of inputReady().
    CallFigures output;           ///< Calls of outputReady().
};

/// The stopwatches behind the figures.
struct PerfStopwatches {
    QElapsedTimer reportTimer;  ///< Since the last report, or since the dispatcher was made.
    QElapsedTimer outsideTimer; ///< Since the last cycle ended.
    QElapsedTimer callTimer;    ///< Since the latest select() or handler call began.
};

extern PerfFigures perfFigures;
extern PerfStopwatches perfStopwatches;

/// Calls a handler, tells the profiler before and after the call, and adds the call to the figures.
///
/// The stopwatch is shared. A handler that runs a cycle of its own starts the stopwatch again, and only the time since
/// then is added for the outer call.
/// \return what the handler returned.
template <class Call> int measuredCall(PerfMarker begin, PerfMarker end, CallFigures& figures, Call call)
{
    mark(begin);
    perfStopwatches.callTimer.start();
    const int result = call();
    figures.seconds += secondsOf(perfStopwatches.callTimer);
    figures.calls += 1;
    mark(end);
    return result;
}

} // namespace kiv
