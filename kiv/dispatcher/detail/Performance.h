/// \file
/// Internal: what the dispatcher measures about itself. Its cycle calls these at the points named; how the figures
/// become the report is told in itcDispatcherReport.cpp.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>

#include <QElapsedTimer>

namespace kiv {

/// The places of a cycle that a host's profiler is told, by number.
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

inline void mark(PerfMarker marker)
{
    if (itcDispatcher::startTimerFP != nullptr)
        itcDispatcher::startTimerFP(marker);
}

inline double secondsOf(const QElapsedTimer& stopwatch)
{
    return static_cast<double>(stopwatch.nsecsElapsed()) / 1000000000.0;
}

/// How often handlers of one kind were called, and for how long.
struct CallFigures {
    unsigned int calls = 0;
    double seconds = 0.0;
};

struct PerfFigures {
    unsigned int selectCalls = 0; ///< Cycles; each waits at least once.
    double selectTime = 0.0;      ///< Seconds inside select().
    double outsideTime = 0.0;     ///< Seconds between the end of a cycle and the start of the next.
    CallFigures input;
    CallFigures output;
};

struct PerfStopwatches {
    QElapsedTimer reportTimer;  ///< Since the last report, or since the dispatcher was made.
    QElapsedTimer outsideTimer; ///< Since the last cycle ended.
    QElapsedTimer callTimer;    ///< Since the present select() or handler call began.
};

extern PerfFigures perfFigures;
extern PerfStopwatches perfStopwatches;

/// Calls a handler with the stopwatch running and the profiler told.
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
