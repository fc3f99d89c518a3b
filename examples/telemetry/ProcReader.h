// Measures this machine.
#pragma once

#include "Sample.h"

/// Reads the figures of the kernel from the folder /proc. If a file cannot be read, its values are zero.
class ProcReader {
public:
    ProcReader(); ///< Reads the processors once: the first sample counts from this reading.

    /// A sample with all measured values. The sender fills in the sequence number and the send time.
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
