// The figures and stopwatches. All dispatchers of the process share them: there is one report per process.
// A host that makes a second dispatcher starts the report's minute again.
#include <kiv/dispatcher/detail/Performance.h>

kiv::PerfFigures kiv::perfFigures;
kiv::PerfStopwatches kiv::perfStopwatches;
