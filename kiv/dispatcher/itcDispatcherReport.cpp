// The figures of the dispatcher and the report that shows them.
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

// By PerfMarker.
constexpr const char* markerTexts[] = {"dispatch begin", "dispatch end", "inprdy begin", "inprdy end",
                                       "outrdy begin",   "outrdy end",   "except begin", "except end"};

// The labels are padded so that the "#" stand in columns; the short one behind the messages stands in no column.
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

    // The text is complete before the hook is asked the second time: what the hook changes meanwhile is not in the text.
    const std::optional<std::string> text = composed(writeReport);
    if (traceWanted(KivDebug::DBG_NFR))
        print(KivDebug::DBG_NFR, text);
    perfFigures = PerfFigures{};
    messagesRead = 0;
    bytesRead = 0;
}
