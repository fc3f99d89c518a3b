// Measures this machine.
#pragma once

#include "Sample.h"

/// Reads the kernel's figures from /proc. A file that cannot be read leaves its values at zero.
class ProcReader {
public:
    ProcReader(); ///< Takes the first reading of the processors, from which the first sample counts.

    /// A sample with all that is measured; who sends it, and when, is filled in by the sender.
    Sample read();

private:
    /// Clock ticks of all processors since the machine was started.
    struct CpuTicks {
        long long total = 0;
        long long idle = 0;
    };

    static CpuTicks readCpuTicks();
    double cpuPercent();

    CpuTicks last;
    double lastCpuPercent = 0;
};
