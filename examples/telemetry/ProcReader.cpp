// Parses files of /proc, in the formats of Linux. The kernel counts clock ticks from the start of the machine. The use
// of the processors is therefore calculated from the difference of two readings.
#include "ProcReader.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>

namespace {

void skipLine(std::istream& file) { file.ignore(std::numeric_limits<std::streamsize>::max(), '\n'); }

// A line of the file: "MemTotal: 4028432 kB".
double memoryPercent()
{
    std::ifstream file("/proc/meminfo");
    double total = 0;
    double available = 0;
    std::string name;
    double kilobytes = 0;
    while (file >> name >> kilobytes) {
        if (name == "MemTotal:")
            total = kilobytes;
        else if (name == "MemAvailable:")
            available = kilobytes;
        skipLine(file);
    }
    return total > 0 ? 100 * (total - available) / total : 0;
}

// The file has two lines of headings. Then each line is "eth0: <bytes received> <7 more figures> <bytes sent> <more>".
// The loopback interface is counted, too: an agent on the machine of its collector then sees the traffic between them.
void readNetwork(Sample& sample)
{
    std::ifstream file("/proc/net/dev");
    skipLine(file);
    skipLine(file);
    std::string interface;
    while (std::getline(file, interface, ':')) {
        long long received = 0;
        long long sent = 0;
        file >> received;
        for (int figure = 0; figure < 7; ++figure)
            file >> sent;
        file >> sent;
        sample.bytesReceived += received;
        sample.bytesSent += sent;
        skipLine(file);
    }
}

} // namespace

ProcReader::ProcReader() : last(readCpuTicks()) {}

Sample ProcReader::read()
{
    Sample sample;
    sample.cpuPercent = cpuPercent();
    sample.memoryPercent = memoryPercent();
    readNetwork(sample);
    std::ifstream("/proc/loadavg") >> sample.load;
    std::ifstream("/proc/uptime") >> sample.uptimeSeconds;
    return sample;
}

// The first line: "cpu <user> <nice> <system> <idle> <iowait> <irq> <softirq> <steal> <guest> <guest nice>". The time
// of guests is contained in the first two figures and is not added a second time.
ProcReader::CpuTicks ProcReader::readCpuTicks()
{
    std::ifstream file("/proc/stat");
    std::string name;
    file >> name;
    CpuTicks ticks;
    for (int column = 0; column < 8; ++column) {
        long long value = 0;
        file >> value;
        ticks.total += value;
        if (column == 3 || column == 4)
            ticks.idle += value;
    }
    return ticks;
}

double ProcReader::cpuPercent()
{
    const CpuTicks now = readCpuTicks();
    const auto total = static_cast<double>(now.total - last.total);
    const auto idle = static_cast<double>(now.idle - last.idle);
    // Between two quick readings there may be no tick. Then the last result is returned again. The kernel sometimes
    // sets the idle time back, so the result is also kept between 0 and 100.
    if (total > 0) {
        lastCpuPercent = std::clamp(100 * (total - idle) / total, 0.0, 100.0);
        last = now;
    }
    return lastCpuPercent;
}
