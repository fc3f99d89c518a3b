// The figures and stopwatches that every dispatcher of the process shares.
#include <kiv/dispatcher/detail/Performance.h>

kiv::PerfFigures kiv::perfFigures;
kiv::PerfStopwatches kiv::perfStopwatches;
