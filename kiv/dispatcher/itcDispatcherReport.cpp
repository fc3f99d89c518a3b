// The report that shows the dispatcher's figures, and the hooks for a profiler.
//
// The literals of the report are known outside, byte for byte, blanks included. The figures are written by the cycle
// (detail/Performance.h); messagesRead and bytesRead by the host. Only a report sets them back to 0. All of them belong
// to the dispatching thread and are not locked.
#include <kiv/dispatcher/itcDispatcher.h>

#include <kiv/dispatcher/detail/Performance.h>
#include <kiv/foundation/KivDebug.h>
#include <kiv/foundation/detail/Trace.h>

using namespace kiv;

unsigned int itcDispatcher::messagesRead = 0;
unsigned int itcDispatcher::bytesRead = 0;
void (*itcDispatcher::intReservedTextFP)(int, const char*) = nullptr;
void (*itcDispatcher::startTimerFP)(int) = nullptr;
void (*itcDispatcher::incDispatchSleepTimeFP)(long, long, long, long) = nullptr;

namespace {

constexpr qint64 reportIntervalMs = 60000;

// One text per PerfMarker, in the order of the enumeration.
constexpr const char* markerTexts[] = {"dispatch begin", "dispatch end", "inprdy begin", "inprdy end",
                                       "outrdy begin",   "outrdy end",   "except begin", "except end"};

// Labels are padded so that the "#" line up, except the short "Bytes / read#", which follows another figure.
// selectCalls is at least 1 in a cycle: the cycle counts itself before it reports.
void writeReport(std::ostream& out)
{
    const PerfFigures& f = perfFigures;
    const unsigned int messages = itcDispatcher::messagesRead;
    const unsigned int bytes = itcDispatcher::bytesRead;

    out << "\n"
        << " select calls      #" << f.selectCalls << " time #" << f.selectTime << " sec."
        << " time per call " << f.selectTime / f.selectCalls * 1000.0 << " msec. \n";
    if (f.input.calls != 0) {
        if (messages != 0) {
            out << " Messages per read #" << messages / f.input.calls;
            if (bytes != 0)
                out << " Bytes / read#" << bytes / f.input.calls;
        } else {
            out << " Bytes per read    #" << bytes / f.input.calls;
        }
    }
    out << " time #" << f.outsideTime << " sec. \n\n"
        << " InputReady calls  #" << f.input.calls << " time #" << f.input.seconds << " sec. \n"
        << " OutputReady calls #" << f.output.calls << " time #" << f.output.seconds << " sec. \n"
        << " ======================================================================= \n";
}

} // namespace

void itcDispatcher::setPerfFunctions(void (*intReservedText)(int, const char*), void (*startTimer)(int),
                                     void (*incDispatchSleepTime)(long, long, long, long))
{
    intReservedTextFP = intReservedText;
    startTimerFP = startTimer;
    incDispatchSleepTimeFP = incDispatchSleepTime;
    if (intReservedText == nullptr)
        return;
    for (int marker = DispatchBegin; marker <= ExceptionEnd; ++marker)
        intReservedText(marker, markerTexts[marker]);
}

void itcDispatcher::report()
{
    if (!traceWanted(KivDebug::DBG_NFR) || !perfStopwatches.reportTimer.hasExpired(reportIntervalMs))
        return;
    perfStopwatches.reportTimer.start();

    // The check hook is asked twice. Its first answer decides that the report is due: the figures start from 0 then.
    // Its second answer, directly before the print, decides whether the text is printed, because a host may switch the
    // flag off while the text is composed. The text is complete before the second question.
    const std::optional<std::string> text = composed(writeReport);
    if (traceWanted(KivDebug::DBG_NFR))
        print(KivDebug::DBG_NFR, text);
    perfFigures = PerfFigures{};
    messagesRead = 0;
    bytesRead = 0;
}
